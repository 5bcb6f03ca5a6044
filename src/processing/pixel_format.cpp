#include "processing/pixel_format.h"

#include <cstddef>

namespace morvane {
namespace {

using enum PixelClass;
using enum PixelLayout;

// clang-format off
constexpr PixelFormat kPixelFormats[] = {
  // code            class                 layout        bytes pixels bits alpha  max    min
  { FourCC("2vuy"), kYuv8,                 kUyvy,        4,    2,     8,  false, 235,   16 },
  { FourCC("2Vuy"), kYuv8,                 kUyvy,        4,    2,     8,  false, 235,   16 },
  { FourCC("uyv9"), kYuv8,                 kUyvy,        4,    2,     8,  false, 235,   16 },
  { FourCC("dv51"), kYuv8,                 kUyvy,        4,    2,     8,  false, 235,   16 },
  { FourCC("dvhd"), kYuv8,                 kUyvy,        4,    2,     8,  false, 235,   16 },
  { FourCC("dv26"), kYuv8,                 kUyvy,        4,    2,     8,  false, 235,   16 },
  { FourCC("jpgq"), kYuv8,                 kUyvy,        4,    2,     8,  false, 235,   16 },
  { FourCC("yuy2"), kYuv8,                 kYuyv,        4,    2,     8,  false, 235,   16 },
  { FourCC("mjai"), kYuv8,                 kYuyv,        4,    2,     8,  false, 235,   16 },
  { FourCC("v219"), kYuv10,                kV210,        16,   6,     10, false, 940,   64 },
  { FourCC("V219"), kYuv10,                kV210,        16,   6,     10, false, 940,   64 },
  { FourCC("aphq"), kYuv10,                kV210,        16,   6,     10, false, 940,   64 },
  { FourCC("apnq"), kYuv10,                kV210,        16,   6,     10, false, 940,   64 },
  { FourCC("bgrA"), kRgb8,     kBgra8,       4,    1,     8,  true,  255,   0 },
  { FourCC("rleq"), kRgb8,     kBgra8,       4,    1,     8,  true,  255,   0 },
  { FourCC("rgba"), kRgb8,     kRgba8,       4,    1,     8,  true,  255,   0 },
  { FourCC("rgbb"), kRgb8,     kRgba8,       4,    1,     8,  true,  255,   0 },
  { FourCC("argB"), kRgb8,     kArgb8,       4,    1,     8,  true,  255,   0 },
  { FourCC("abgr"), kRgb8,     kAbgr8,       4,    1,     8,  true,  255,   0 },
  { FourCC("rgb "), kRgb8,     kRgb888,      3,    1,     8,  false, 255,   0 },
  { FourCC("rg2b"), kRgb8,     kRgb888,      3,    1,     8,  false, 255,   0 },
  { FourCC("mjbi"), kRgb8,     kRgb888,      3,    1,     8,  false, 255,   0 },
  { FourCC("bgr "), kRgb8,     kBgr888,      3,    1,     8,  false, 255,   0 },
  { FourCC("10rl"), kRgb10,                kWordRgbLe,   4,    1,     10, false, 1023,  0 },
  { FourCC("11rl"), kRgb10,                kWordRgbLe,   4,    1,     10, false, 1023,  0 },
  { FourCC("10rb"), kRgb10,                kWordRgbBe,   4,    1,     10, false, 1023,  0 },
  { FourCC("11rb"), kRgb10,                kWordRgbBe,   4,    1,     10, false, 1023,  0 },
  { FourCC("11rQ"), kRgb10,                kWordRgbBe,   4,    1,     10, false, 940,   64 },
  { FourCC("10RG"), kRgb10,                kWordBgrLe,   4,    1,     10, false, 1023,  0 },
  { FourCC("10RS"), kRgb10,                kWordBgrLe,   4,    1,     10, false, 940,   64 },
  { FourCC("10RA"), kRgb10,                kPacked40,    5,    1,     10, true,  1023,  0 },
  { FourCC(" RgB"), kRgb16,                kRgb16Le,     6,    1,     16, false, 32768, 0 },
  { FourCC("RGB "), kRgb16,                kRgb16Le,     6,    1,     16, false, 65535, 0 },
  { FourCC("RGb "), kRgb16,                kRgb16Be,     6,    1,     16, false, 65535, 0 },
  { FourCC("RgBA"), kRgb16,                kRgba16,      8,    1,     16, true,  32768, 0 },
  { FourCC("RGBA"), kRgb16,                kRgba16,      8,    1,     16, true,  65535, 0 },
  { FourCC("ARgB"), kRgb16,                kArgb16,      8,    1,     16, true,  32768, 0 },
  { FourCC("ARGB"), kRgb16,                kArgb16,      8,    1,     16, true,  65535, 0 },
  { FourCC("BRgB"), kRgb16,                kBgra16,      8,    1,     16, true,  32768, 0 },
  { FourCC(" RgF"), kRgbFloat, kFloatRgb,    12,   1,     32, false, 65535, 0 },
  { FourCC("RgBF"), kRgbFloat, kFloatRgba,   16,   1,     32, true,  65535, 0 },
  { FourCC("ARgF"), kRgbFloat, kFloatArgb,   16,   1,     32, true,  65535, 0 },
  { FourCC("BGrF"), kRgbFloat, kFloatBgra,   16,   1,     32, true,  65535, 0 },
  // Codes with a place in the offset tables and no layout: known, but no pixel can be read.
  { FourCC("BGR "), kRgb16,                kNone,        6,    1,     16, false, 65535, 0 },
  { FourCC("BGr "), kRgb16,                kNone,        6,    1,     16, false, 65535, 0 },
  { FourCC("RGbA"), kRgb16,                kNone,        8,    1,     16, true,  65535, 0 },
  { FourCC("BGRA"), kRgb16,                kNone,        8,    1,     16, true,  65535, 0 },
  { FourCC("BGrA"), kRgb16,                kNone,        8,    1,     16, true,  65535, 0 },
};
// clang-format on
static_assert(std::size(kPixelFormats) == 48);

constexpr int32_t kV210GroupsPerPad = 8;  // lines are padded to 48 pixels

bool HasClass(FourCCCode code, PixelClass wanted) {
  const PixelFormat* format = FindPixelFormat(code);
  return format != nullptr && format->pixelClass == wanted;
}

int32_t GroupsOfLine(const PixelFormat& format, int32_t width) {
  return static_cast<int32_t>((static_cast<int64_t>(width) + format.pixelsPerGroup - 1) /
                              format.pixelsPerGroup);
}

}  // namespace

std::span<const PixelFormat> PixelFormats() {
  return kPixelFormats;
}

const PixelFormat* FindPixelFormat(FourCCCode code) {
  for (const PixelFormat& format : kPixelFormats) {
    if (format.code == code) return &format;
  }
  return nullptr;
}

bool IsYuv8(FourCCCode code) {
  return HasClass(code, kYuv8);
}
bool IsYuv10(FourCCCode code) {
  return HasClass(code, kYuv10);
}
bool IsYuv(FourCCCode code) {
  return IsYuv8(code) || IsYuv10(code);
}
bool IsRgb(FourCCCode code) {
  return FindPixelFormat(code) != nullptr && !IsYuv(code);
}

bool IsYuyvOrder(FourCCCode code) {
  const PixelFormat* format = FindPixelFormat(code);
  return format != nullptr && format->layout == kYuyv;
}

bool HasAlpha(FourCCCode code) {
  const PixelFormat* format = FindPixelFormat(code);
  return format != nullptr && format->hasAlpha;
}

int32_t PixelLineBytes(FourCCCode code, int32_t width) {
  const PixelFormat* format = FindPixelFormat(code);
  if (format == nullptr || width < 1) return 0;
  return GroupsOfLine(*format, width) * format->bytesPerGroup;
}

int32_t PixelPitch(FourCCCode code, int32_t width) {
  const PixelFormat* format = FindPixelFormat(code);
  if (format == nullptr || width < 1) return 0;
  int32_t groups = GroupsOfLine(*format, width);
  if (format->layout == kV210) {
    groups = (groups + kV210GroupsPerPad - 1) / kV210GroupsPerPad * kV210GroupsPerPad;
  }
  return groups * format->bytesPerGroup;
}

}  // namespace morvane
