#pragma once

#include <cstddef>
#include <cstdint>

// The vector routines as steps that work on lines or on blocks of a line. A conversion is a chain
// of at most four steps; pixels between two steps lie in one of these forms:
//  - bgrA words: 32 bits, B in the lowest byte, A in the highest;
//  - high words: little-endian, R in bits 31-22, G 21-12, B 11-2;
//  - wide pairs: u16 Cb, Cr, Cb, Cr ... from the start of the block and u16 luma from kLumaPlane;
//  - wide planes: u16 R from the start of the block, G from kGreenPlane, B from kBluePlane.
namespace morvane {

// Pixels of a block: whole 10-bit groups, whole vectors of any width.
inline constexpr size_t kBlockPixels = 384;
// Bytes of a block's buffer, with room behind each plane for one vector and the pair that follows.
inline constexpr size_t kPlaneBytes = kBlockPixels * 2 + 256;
inline constexpr size_t kLumaPlane = kPlaneBytes;
inline constexpr size_t kGreenPlane = kPlaneBytes;
inline constexpr size_t kBluePlane = 2 * kPlaneBytes;
inline constexpr size_t kBlockBytes = 3 * kPlaneBytes;

// Which matrix coefficients go where in StepParams::k.
enum YuvToRgbTerm { kYGain, kYOff, kYOffRed, kCOff, kCrToR, kCbToB, kCrToG, kCbToG };
enum RgbToYuvTerm {
  kYR,
  kYG,
  kYB,
  kYAdd,
  kCbR,
  kCbG,
  kCbB,
  kCbAdd,
  kCrR,
  kCrG,
  kCrB,
  kCrAdd,
  kTerms
};

// What a step needs to know; each uses its own part.
struct StepParams {
  alignas(16) uint8_t table[16] = {};  // byte order within 16 bytes; above 127 gives 0
  uint32_t setBits = 0;                // set in each 32-bit pixel
  float factor = 0;                    // of a rescale
  bool powerOfTwo = false;             // a rescale from 32768, without the factor
  uint32_t top = 0;                    // clip of a rescale
  double k[kTerms] = {};               // matrix terms, already in the scale of the target
  int32_t low = 0, highLuma = 0, highChroma = 0;
};

// Where a line stands between two blocks.
struct LineState {
  bool first = true;       // no pair was converted yet
  uint32_t left[3] = {};   // R, G, B of the pixel to the left
  size_t pixelsAfter = 0;  // source pixels behind this block
};

// Converts `n` pixels. Reads and writes nothing outside of them, but whole 10-bit groups are read,
// and blocks may be read and written to their end.
using StepRoutine = void (*)(const StepParams& params, LineState* state, const uint8_t* in,
                             uint8_t* out, size_t n);

enum class WordOrder : uint8_t { kLittle, kBig, kBgr };  // of 10-bit RGB; kLittle is the high word
enum class WideOrder : uint8_t { kRgbLe, kRgbBe, kRgba, kArgb, kBgra };  // of 16-bit RGB
enum class PairOrder : uint8_t { kUyvy, kYuyv, kWide };                  // kWide: the block form
enum class RgbInput : uint8_t { kBgra, kHighWord, kWidePlanes };

// The routines for this machine's processor.
[[nodiscard]] StepRoutine ByteShuffleStep(int inBytes, int outBytes);  // each 3 or 4
[[nodiscard]] StepRoutine DoubleBytesStep(int bytes);  // of a pixel, 3 or 4; to 16 bits each
[[nodiscard]] StepRoutine MoveWordsStep(WordOrder from, WordOrder to);
[[nodiscard]] StepRoutine RescaleWordsStep(WordOrder from, WordOrder to);
[[nodiscard]] StepRoutine WordsToTopBytesStep(WordOrder from);      // to bgrA, top 8 bits
[[nodiscard]] StepRoutine RescaleWordsToBytesStep(WordOrder from);  // to bgrA
[[nodiscard]] StepRoutine RescaleBytesToWordsStep(WordOrder to);    // from bgrA
// 40-bit pixels from and to high words; the alpha of all written pixels is in `setBits`.
[[nodiscard]] StepRoutine Packed40ToWordsStep();
[[nodiscard]] StepRoutine Packed40ToTopBytesStep();  // to bgrA, top 8 bits
[[nodiscard]] StepRoutine WordsToPacked40Step();
[[nodiscard]] StepRoutine WideToBytesStep(WideOrder from);  // to bgrA
[[nodiscard]] StepRoutine WideToWordsStep(WideOrder from, WordOrder to);
[[nodiscard]] StepRoutine WideToPacked40Step(WideOrder from);  // with alpha only
[[nodiscard]] StepRoutine WideToPlanesStep(WideOrder from);
[[nodiscard]] StepRoutine V210ToBytesStep(PairOrder to);  // 8-bit 4:2:2
[[nodiscard]] StepRoutine V210ToWideStep();
[[nodiscard]] StepRoutine WideToV210Step();
// `quick` routines work in floats and do again in doubles what may have been rounded wrongly; they
// give the bits of the others, but take only coefficients of the usual sizes.
struct YuvToRgbKind {
  bool words;   // to high words instead of bgrA
  bool ownRed;  // the red row has a luma offset of its own
  bool quick;
};
[[nodiscard]] StepRoutine YuvToRgbStep(PairOrder from, const YuvToRgbKind& kind);
[[nodiscard]] StepRoutine RgbToYuvStep(RgbInput from, PairOrder to, bool quick);

}  // namespace morvane
