#include "device/formats.h"

#include <algorithm>
#include <iterator>

namespace morvane {
namespace {

// clang-format off
constexpr VideoFormatRow kVideoFormats[] = {
  // value, text             standard         geometry               rate              level, picture
  {  0, "",                      StandardUnknown, Geometry1920x1080,     FrameRateUnknown, 0, 0 },
  {  1, "1080i 50.00",           Standard1080,    Geometry1920x1080,     FrameRate2500,    0, 0 },
  {  2, "1080i 59.94",           Standard1080,    Geometry1920x1080,     FrameRate2997,    0, 0 },
  {  3, "1080i 60.00",           Standard1080,    Geometry1920x1080,     FrameRate3000,    0, 0 },
  {  4, "720p 59.94",            Standard720,     Geometry1280x720,      FrameRate5994,    0, 1 },
  {  5, "720p 60.00",            Standard720,     Geometry1280x720,      FrameRate6000,    0, 1 },
  {  6, "1080psf 23.98",         Standard1080,    Geometry1920x1080,     FrameRate2398,    0, 1 },
  {  7, "1080psf 24.00",         Standard1080,    Geometry1920x1080,     FrameRate2400,    0, 1 },
  {  8, "1080p 29.97",           Standard1080p,   Geometry1920x1080,     FrameRate2997,    0, 1 },
  {  9, "1080p 30.00",           Standard1080p,   Geometry1920x1080,     FrameRate3000,    0, 1 },
  { 10, "1080p 25.00",           Standard1080p,   Geometry1920x1080,     FrameRate2500,    0, 1 },
  { 11, "1080p 23.98",           Standard1080p,   Geometry1920x1080,     FrameRate2398,    0, 1 },
  { 12, "1080p 24.00",           Standard1080p,   Geometry1920x1080,     FrameRate2400,    0, 1 },
  { 13, "1080p 2K 23.98",        Standard1080p,   Geometry2048x1080,     FrameRate2398,    0, 1 },
  { 14, "1080p 2K 24.00",        Standard1080p,   Geometry2048x1080,     FrameRate2400,    0, 1 },
  { 15, "1080psf 2K 23.98",      Standard1080,    Geometry2048x1080,     FrameRate2398,    0, 1 },
  { 16, "1080psf 2K 24.00",      Standard1080,    Geometry2048x1080,     FrameRate2400,    0, 1 },
  { 17, "720p 50",               Standard720,     Geometry1280x720,      FrameRate5000,    0, 1 },
  { 18, "1080p 50.00b",          Standard1080,    Geometry1920x1080,     FrameRate2500,    1, 1 },
  { 19, "1080p 59.94b",          Standard1080,    Geometry1920x1080,     FrameRate2997,    1, 1 },
  { 20, "1080p 60.00b",          Standard1080,    Geometry1920x1080,     FrameRate3000,    1, 1 },
  { 21, "720p 23.98",            Standard720,     Geometry1280x720,      FrameRate2398,    0, 1 },
  { 22, "720p 25.00",            Standard720,     Geometry1280x720,      FrameRate2500,    0, 1 },
  { 23, "1080p 50.00a",          Standard1080p,   Geometry1920x1080,     FrameRate5000,    0, 1 },
  { 24, "1080p 59.94a",          Standard1080p,   Geometry1920x1080,     FrameRate5994,    0, 1 },
  { 25, "1080p 60.00a",          Standard1080p,   Geometry1920x1080,     FrameRate6000,    0, 1 },
  { 26, "1080p 2K 25",           Standard1080p,   Geometry2048x1080,     FrameRate2500,    0, 1 },
  { 27, "1080psf 2K 25",         Standard1080,    Geometry2048x1080,     FrameRate2500,    0, 1 },
  { 28, "1080psf 25",            Standard1080,    Geometry1920x1080,     FrameRate2500,    0, 1 },
  { 29, "1080psf 29.97",         Standard1080,    Geometry1920x1080,     FrameRate2997,    0, 1 },
  { 30, "1080psf 30",            Standard1080,    Geometry1920x1080,     FrameRate3000,    0, 1 },
  { 32, "525 59.94",             Standard525,     Geometry720x486,       FrameRate2997,    0, 0 },
  { 33, "625 50.00",             Standard625,     Geometry720x576,       FrameRate2500,    0, 0 },
  { 34, "525 23.98",             Standard525,     Geometry720x486,       FrameRate2398,    0, 1 },
  { 35, "525 24.00",             Standard525,     Geometry720x486,       FrameRate2400,    0, 1 },
  { 36, "525psf 29.97",          Standard525,     Geometry720x486,       FrameRate2997,    0, 1 },
  { 37, "625psf 25",             Standard625,     Geometry720x576,       FrameRate2500,    0, 1 },
  { 64, "1556psf 2K 14.98",      Standard2K,      Geometry2048x1556,     FrameRate1498,    0, 1 },
  { 65, "1556psf 2K 15.00",      Standard2K,      Geometry2048x1556,     FrameRate1500,    0, 1 },
  { 66, "1556psf 2K 23.98",      Standard2K,      Geometry2048x1556,     FrameRate2398,    0, 1 },
  { 67, "1556psf 2K 24.00",      Standard2K,      Geometry2048x1556,     FrameRate2400,    0, 1 },
  { 68, "1556psf 2K 25.00",      Standard2K,      Geometry2048x1556,     FrameRate2500,    0, 1 },
  { 80, "4x1920x1080psf 23.98",  Standard1080,    GeometryQuad1920x1080, FrameRate2398,    0, 1 },
  { 81, "4x1920x1080psf 24.00",  Standard1080,    GeometryQuad1920x1080, FrameRate2400,    0, 1 },
  { 82, "4x1920x1080psf 25.00",  Standard1080,    GeometryQuad1920x1080, FrameRate2500,    0, 1 },
  { 83, "4x1920x1080p 23.98",    Standard1080p,   GeometryQuad1920x1080, FrameRate2398,    0, 1 },
  { 84, "4x1920x1080p 24.00",    Standard1080p,   GeometryQuad1920x1080, FrameRate2400,    0, 1 },
  { 85, "4x1920x1080p 25.00",    Standard1080p,   GeometryQuad1920x1080, FrameRate2500,    0, 1 },
  { 86, "4x2048x1080psf 23.98",  Standard1080,    GeometryQuad2048x1080, FrameRate2398,    0, 1 },
  { 87, "4x2048x1080psf 24.00",  Standard1080,    GeometryQuad2048x1080, FrameRate2400,    0, 1 },
  { 88, "4x2048x1080psf 25.00",  Standard1080,    GeometryQuad2048x1080, FrameRate2500,    0, 1 },
  { 89, "4x2048x1080p 23.98",    Standard1080p,   GeometryQuad2048x1080, FrameRate2398,    0, 1 },
  { 90, "4x2048x1080p 24.00",    Standard1080p,   GeometryQuad2048x1080, FrameRate2400,    0, 1 },
  { 91, "4x2048x1080p 25.00",    Standard1080p,   GeometryQuad2048x1080, FrameRate2500,    0, 1 },
};

// Family words, from value 92 on.
constexpr const char* kFamilyWords[] = { "1080i", "720p", "525", "625", "1080p", "2k" };

constexpr const char* kFrameBufferTexts[] = {
  "10 Bit YCbCr",
  "8 Bit YCbCr - UYVY",
  "8 Bit ARGB",
  "8 Bit RGBA",
  "10 Bit RGB",
  "8 Bit YCbCr - YUY2",
  "8 Bit ABGR",
  "10 Bit RGB - DPX compatible",
  "10 Bit YCbCr - DPX compatible",
  "8 Bit DVCPro YCbCr - UYVY",
  "8 Bit QRez YCbCr - UYVY",
  "8 Bit HDV YCbCr - UYVY",
  "8 Bit RGB",
  "8 Bit BGR",
  "10 Bit YCbCrA",
  "10 Bit RGB - DPX Little Endian",
  "48 Bit RGB",
  "10 Bit YCbCr - Compressed",
  "10 Bit YCbCr DVCPro - Compressed",
  "10 Bit YCbCr HDV - Compressed",
  "10 Bit RGB Packed",
  "10 Bit ARGB",
  "16 Bit ARGB",
  "10 Bit YCbCr - Offset",
};
static_assert(std::size(kFrameBufferTexts) == kFrameBufferFormats);

struct RatePair { uint32_t rate, scale, duration; };
constexpr RatePair kRates[] = {
  { FrameRate6000, 60000, 1000 },
  { FrameRate5994, 60000, 1001 },
  { FrameRate3000, 30000, 1000 },
  { FrameRate2997, 30000, 1001 },
  { FrameRate2500, 25000, 1000 },
  { FrameRate2400, 24000, 1000 },
  { FrameRate2398, 24000, 1001 },
  { FrameRate5000, 50000, 1000 },
  { FrameRate1500, 15000, 1000 },
  { FrameRate1498, 15000, 1001 },
};
// clang-format on

static_assert(std::size(kVideoFormats) == 54);
static_assert(std::size(kFamilyWords) == kVideoFormatTextValues - kVideoFormatValues);

constexpr bool ValuesRise() {
  for (size_t i = 1; i < std::size(kVideoFormats); ++i) {
    if (kVideoFormats[i].value <= kVideoFormats[i - 1].value) return false;
  }
  return true;
}
static_assert(ValuesRise());

constexpr uint32_t kFirstMatchable = 1;  // row 0 is "no format"

}  // namespace

std::span<const VideoFormatRow> VideoFormatRows() {
  return kVideoFormats;
}

const VideoFormatRow* FindVideoFormat(uint32_t format) {
  const auto row = std::lower_bound(
      std::begin(kVideoFormats), std::end(kVideoFormats), format,
      [](const VideoFormatRow& candidate, uint32_t value) { return candidate.value < value; });
  return row != std::end(kVideoFormats) && row->value == format ? row : nullptr;
}

const char* VideoFormatText(uint32_t format) {
  if (format >= kVideoFormatValues && format < kVideoFormatTextValues) {
    return kFamilyWords[format - kVideoFormatValues];
  }
  const VideoFormatRow* row = FindVideoFormat(format);
  return row != nullptr ? row->text : "";
}

RQD5VideoFormat FormatOfText(std::string_view text) {
  for (const VideoFormatRow& row : VideoFormatRows().subspan(kFirstMatchable)) {
    if (text == row.text) return row.value;
  }
  return 0;
}

uint32_t FormatLines(uint32_t format) {
  if (format == 22) return 0;  // Deliberate: this 720-line format is not in the list.
  if (format >= 80) return 0;  // The quad formats have no lines of their own.
  const VideoFormatRow* row = FindVideoFormat(format);
  if (row == nullptr) return 0;
  switch (row->standard) {
    case Standard1080:
    case Standard1080p:
      return 1080;
    case Standard720:
      return 720;
    case Standard525:
      return 525;
    case Standard625:
      return 625;
    case Standard2K:
      return 1556;
    default:
      return 0;
  }
}

int CompareFormatLines(uint32_t formatA, uint32_t formatB) {
  const uint32_t a = FormatLines(formatA);
  const uint32_t b = FormatLines(formatB);
  return a < b ? -1 : a > b ? 1 : 0;
}

RQD5VideoFormat FormatFromColumns(uint32_t standard, uint32_t geometry, uint32_t rate,
                                  uint32_t level, uint32_t picture) {
  const uint32_t base = BaseGeometry(geometry);
  for (const VideoFormatRow& row : VideoFormatRows().subspan(kFirstMatchable)) {
    if (row.standard == standard && row.geometry == base && row.rate == rate &&
        row.level == level && row.picture == picture) {
      return row.value;
    }
  }
  return 0;
}

const char* UnsupportedFormatText(uint32_t standard) {
  return standard == Standard1080 ? "Unsupported standard 1080 frame rate requested."
                                  : "Unsupported video standard requested.";
}

bool FrameRatePair(uint32_t rate, uint32_t* scale, uint32_t* duration) {
  for (const RatePair& pair : kRates) {
    if (pair.rate != rate) continue;
    *scale = pair.scale;
    *duration = pair.duration;
    return true;
  }
  return false;
}

const char* FrameBufferFormatText(uint32_t frameBufferFormat) {
  return frameBufferFormat < kFrameBufferFormats ? kFrameBufferTexts[frameBufferFormat] : "";
}

uint32_t GeometryForQuad(uint32_t geometry) {
  return geometry == GeometryQuad1920x1080   ? Geometry1920x1080
         : geometry == GeometryQuad2048x1080 ? Geometry2048x1080
                                             : geometry;
}

uint32_t QuadForGeometry(uint32_t geometry) {
  return geometry == Geometry1920x1080   ? GeometryQuad1920x1080
         : geometry == Geometry2048x1080 ? GeometryQuad2048x1080
                                         : geometry;
}

uint32_t BaseGeometry(uint32_t geometry) {
  switch (geometry) {
    case Geometry1920x1112:
      return Geometry1920x1080;
    case Geometry1280x740:
      return Geometry1280x720;
    case Geometry720x508:
    case Geometry720x514:
      return Geometry720x486;
    case Geometry720x598:
    case Geometry720x612:
      return Geometry720x576;
    case Geometry2048x1112:
      return Geometry2048x1080;
    case Geometry2048x1588:
      return Geometry2048x1556;
    default:
      return geometry;
  }
}

}  // namespace morvane
