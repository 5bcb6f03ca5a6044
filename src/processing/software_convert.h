#pragma once

#include <array>
#include <cstdint>

// Small conversions beside the core: 4:2:2 for boards without an RGB frame buffer, range tables,
// and routines that work row by row.
namespace morvane {

// toFullRange:  i * 255 / 219 - 16, clamped to 0..255. Deliberate: it does not undo toVideoRange
//               (16 gives 2, 235 gives 255).
// toVideoRange: i * 219 / 255 + 16, at least 16.
struct RangeTables {
  std::array<uint8_t, 256> toFullRange;
  std::array<uint8_t, 256> toVideoRange;
};

// The tables, built at the first call. Threads: any.
[[nodiscard]] const RangeTables& GetRangeTables();

// Converts "bgrA" to 8-bit 4:2:2 in the order Y0 Cb Y1 Cr, in the video range of 601 up to 576
// lines and of 709 above. The last pixel of an odd width is left alone. Returns: false, and the
// destination as it was, when a destination row has fewer than 2 * width bytes, a source row fewer
// than 4 * width, or memory is short. Threads: any.
bool ConvertBgraTo422(uint8_t* destination, int32_t rowBytes, const uint8_t* source,
                      int32_t sourceRowBytes, int32_t width, int32_t height);

// Works on one row; `width` is counted in the units of the routine.
using RowRoutine = void (*)(uint8_t* destination, const uint8_t* source, int32_t width);

void CopyBgraRow(uint8_t* destination, const uint8_t* source, int32_t width);        // pixels
void VideoRangeBgraRow(uint8_t* destination, const uint8_t* source, int32_t width);  // alpha kept
void FullRangeBgraRow(uint8_t* destination, const uint8_t* source, int32_t width);   // alpha kept
// Swaps the bytes of each 16-bit word: UYVY and YUY2 into each other, big-endian rows to little.
void SwapWordsRow(uint8_t* destination, const uint8_t* source, int32_t width);  // words

// Runs `routine` once a row. Steps are bytes from row to row; the pointers name the start of each
// buffer, and with a negative step the rows are walked from the last one backwards.
// Routines may work in place (same pointer and step).
void ApplyRangeRows(RowRoutine routine, uint8_t* destination, int32_t step, const uint8_t* source,
                    int32_t sourceStep, int32_t width, int32_t height);

}  // namespace morvane
