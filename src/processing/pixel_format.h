#pragma once

#include <cstdint>
#include <span>

#include "base/fourcc.h"

// The pixel formats of the application, by their 32-bit codes, and how each lies in memory.
namespace morvane {

// What conversion asks first: every code of one class is treated alike.
enum class PixelClass : uint8_t {
  kYuv8,      // 8-bit 4:2:2, 4 bytes a pair
  kYuv10,     // 10-bit 4:2:2, 16 bytes for 6 pixels
  kRgb8,      // 8-bit RGB with or without alpha
  kRgb10,     // 10-bit RGB in one 32-bit word or in 40 bits
  kRgb16,     // 16-bit integers, range 0..32768 or 0..65535
  kRgbFloat,  // 32-bit floats, 1.0 is white
};

// The order of components in memory. Codes that share a layout differ in range or label only.
enum class PixelLayout : uint8_t {
  kUyvy,       // Cb, Y0, Cr, Y1 bytes
  kYuyv,       // Y0, Cb, Y1, Cr bytes
  kV210,       // four little-endian words of three 10-bit values for 6 pixels
  kBgra8,      // bytes B, G, R, A
  kRgba8,      // bytes R, G, B, A
  kArgb8,      // bytes A, R, G, B
  kAbgr8,      // bytes A, B, G, R
  kRgb888,     // bytes R, G, B
  kBgr888,     // bytes B, G, R
  kWordRgbLe,  // little-endian word, R bits 31-22, G 21-12, B 11-2
  kWordRgbBe,  // the same word, big-endian
  kWordBgrLe,  // little-endian word, R bits 9-0, G 19-10, B 29-20
  kPacked40,   // 40 bits big-endian, R 39-30, G 29-20, B 19-10, A 9-0
  kRgb16Le,    // u16 R, G, B little-endian
  kRgb16Be,    // u16 R, G, B big-endian
  kRgba16,     // u16 R, G, B, A little-endian
  kArgb16,     // u16 A, R, G, B little-endian
  kBgra16,     // u16 B, G, R, A little-endian
  kFloatRgb,   // f32 R, G, B
  kFloatRgba,  // f32 R, G, B, A
  kFloatArgb,  // f32 A, R, G, B
  kFloatBgra,  // f32 B, G, R, A
  kNone,       // a code that is known by name and range only: no pixel of it can be read
};

// One row of the format table. All are constants of the program.
struct PixelFormat {
  FourCCCode code;
  PixelClass pixelClass;
  PixelLayout layout;
  int32_t bytesPerGroup;   // bytes of one group of pixels
  int32_t pixelsPerGroup;  // 1; 2 for the pair formats; 6 for 10-bit 4:2:2
  int32_t bitDepth;        // bits of a stored component: 8, 10, 16 or 32
  bool hasAlpha;
  // Component range that the unpacker reports and the packer aims at. Floats count as 0..65535.
  // For 4:2:2 the luma video levels.
  uint32_t max;
  uint32_t min;
};

// All rows, in the order of the classes.
[[nodiscard]] std::span<const PixelFormat> PixelFormats();

// Returns: the row of `code`, or null for a code that is no pixel format of ours.
// The codes of layout kNone have a row, so look at the layout before touching pixels.
[[nodiscard]] const PixelFormat* FindPixelFormat(FourCCCode code);

[[nodiscard]] bool IsYuv8(FourCCCode code);
[[nodiscard]] bool IsYuv10(FourCCCode code);
[[nodiscard]] bool IsYuv(FourCCCode code);
[[nodiscard]] bool IsRgb(FourCCCode code);
// True if Y comes first in a pair ("yuy2", "mjai").
[[nodiscard]] bool IsYuyvOrder(FourCCCode code);
[[nodiscard]] bool HasAlpha(FourCCCode code);

// Bytes that `width` pixels take at least, without padding: whole pairs, whole groups of 6 for
// 10-bit 4:2:2. Returns: 0 for an unknown code or a width below 1.
[[nodiscard]] int32_t PixelLineBytes(FourCCCode code, int32_t width);
// Usual distance in bytes of two lines: as above, but 10-bit 4:2:2 is padded to whole 128 bytes
// (48 pixels). Returns: 0 for an unknown code or a width below 1.
[[nodiscard]] int32_t PixelPitch(FourCCCode code, int32_t width);

}  // namespace morvane
