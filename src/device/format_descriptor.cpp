#include "device/formats.h"

namespace morvane {
namespace {

// One raster: its size, and the pitch in 32-bit words by group of frame-buffer formats.
struct RasterRow {
  uint32_t lines;
  uint32_t pixels;
  uint32_t ycbcr10;  // 0, 8, 23
  uint32_t ycbcr8;   // 1, 5
  uint32_t rgb32;    // 2, 3, 4, 6, 7, 14, 15, 20
  uint32_t rgb24;    // 12, 13
  uint32_t rgb48;    // 16
  uint32_t argb10;   // 21
  uint32_t argb16;   // 22
};

// clang-format off
constexpr RasterRow kRasters[] = {
  // lines  pixels  ycbcr10  ycbcr8  rgb32  rgb24  rgb48  argb10  argb16
  {  1080,  1920,   1280,    960,    1920,  1440,  2880,  2560,   3840 },  // 1080
  {  720,   1280,   864,     640,    1280,  960,   1920,  1706,   2560 },  // 720
  {  486,   720,    480,     360,    720,   540,   1080,  960,    1440 },  // 525
  {  576,   720,    480,     360,    720,   540,   1080,  960,    1440 },  // 625
  {  1080,  1920,   1280,    960,    1920,  1440,  2880,  2560,   3840 },  // 1080p
  {  1556,  2048,   1376,    1024,   2048,  1536,  3072,  2730,   4096 },  // 2K
};
// Pitches of a line of 2048 pixels outside the 2K raster.
constexpr RasterRow kWide =
  {  0,     2048,   1376,    1024,   2048,  1536,  3072,  2730,   4096 };

// The reduced-raster formats 9, 10, 11.
constexpr RQD5FormatDescriptor kReduced1080[] = {{1080, 1280, 640, 0}, {540, 960, 480, 0}, {1080, 1440, 720, 0}};
constexpr RQD5FormatDescriptor kReduced720[]  = {{720, 960, 480, 0},   {360, 640, 320, 0}, {720, 960, 480, 0}};
// clang-format on

uint32_t PitchOf(const RasterRow& row, uint32_t frameBufferFormat) {
  switch (frameBufferFormat) {
    case 0:
    case 8:
    case 23:
      return row.ycbcr10;
    case 1:
    case 5:
      return row.ycbcr8;
    case 2:
    case 3:
    case 4:
    case 6:
    case 7:
    case 14:
    case 15:
    case 20:
      return row.rgb32;
    case 12:
    case 13:
      return row.rgb24;
    case 16:
      return row.rgb48;
    case 21:
      return row.argb10;
    case 22:
      return row.argb16;
    default:
      return 0;
  }
}

RQD5FormatDescriptor TableEntry(uint32_t standard, uint32_t frameBufferFormat) {
  if (frameBufferFormat >= 9 && frameBufferFormat <= 11) {
    if (standard == Standard1080 || standard == Standard1080p) {
      return kReduced1080[frameBufferFormat - 9];
    }
    if (standard == Standard720) return kReduced720[frameBufferFormat - 9];
    return {};
  }
  const RasterRow& row = kRasters[standard];
  uint32_t pitch = PitchOf(row, frameBufferFormat);
  if (standard == Standard2K && frameBufferFormat == FrameBuffer10BitYCbCrDpx) pitch = 2048;
  if (pitch == 0) return {};
  return {row.lines, row.pixels, pitch, 0};
}

// Every RGB layout of the 1080 raster, and format 8, has fewer ancillary lines.
bool HasShortAncillary(uint32_t frameBufferFormat) {
  switch (frameBufferFormat) {
    case 2:
    case 3:
    case 4:
    case 6:
    case 7:
    case 8:
    case 12:
    case 13:
    case 14:
    case 15:
    case 20:
    case 21:
    case 22:
      return true;
    default:
      return false;
  }
}

uint32_t LinesWithAncillary(uint32_t standard, uint32_t frameBufferFormat, bool tall) {
  switch (standard) {
    case Standard720:
      return 740;
    case Standard525:
      return tall ? 514 : 508;
    case Standard625:
      return tall ? 612 : 598;
    case Standard2K:
      return 1588;
    default:
      return HasShortAncillary(frameBufferFormat) ? 1092 : 1112;
  }
}

}  // namespace

RQD5FormatDescriptor GetFormatDescriptor(uint32_t standard, uint32_t frameBufferFormat, bool vanc,
                                         bool wide2K, bool tallVanc) {
  if (standard > Standard2K || frameBufferFormat >= kFrameBufferFormats) return {};
  RQD5FormatDescriptor descriptor = TableEntry(standard, frameBufferFormat);
  if (descriptor.linePitch == 0) return {};
  if (vanc) {
    const uint32_t lines = LinesWithAncillary(standard, frameBufferFormat, tallVanc);
    descriptor.firstActiveLine = lines - descriptor.numLines;
    descriptor.numLines = lines;
  }
  if (wide2K) {
    // Format 8 has no wide form.
    const uint32_t pitch =
        frameBufferFormat == FrameBuffer10BitYCbCrDpx ? 0 : PitchOf(kWide, frameBufferFormat);
    if (pitch == 0) return {};
    descriptor.numPixels = kWide.pixels;
    descriptor.linePitch = pitch;
  }
  return descriptor;
}

}  // namespace morvane
