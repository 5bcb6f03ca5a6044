#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

// The vocabulary of pictures: standards, frame geometries, frame rates, video formats and
// frame-buffer formats, and the arithmetic between them. Pure data and pure functions.
// Threads: any. Arguments are plain numbers, since they come from registers and settings: every
// value is allowed and has a defined answer.
namespace morvane {

// Raster family, as held in register 0.
enum RQD5Standard : uint32_t {
  Standard1080 = 0,  // interlaced or segmented
  Standard720 = 1,   // progressive
  Standard525 = 2,
  Standard625 = 3,
  Standard1080p = 4,  // progressive
  Standard2K = 5,     // 2048 x 1556
  StandardUnknown = 6,
};

// Shape of the frame buffer, as held in register 0 (the quad values with the quad bit).
enum RQD5FrameGeometry : uint32_t {
  Geometry1920x1080 = 0,
  Geometry1280x720 = 1,
  Geometry720x486 = 2,
  Geometry720x576 = 3,
  Geometry720x508 = 6,  // from here on with the vertical ancillary lines
  Geometry720x598 = 7,
  Geometry1920x1112 = 8,
  Geometry1280x740 = 9,
  Geometry2048x1080 = 10,  // without
  Geometry2048x1556 = 11,  // without
  Geometry2048x1588 = 12,
  Geometry2048x1112 = 13,
  Geometry720x514 = 14,  // taller ancillary area
  Geometry720x612 = 15,
  GeometryQuad1920x1080 = 16,  // four quadrants; held as 0 plus the quad bit
  GeometryQuad2048x1080 = 17,  // four quadrants; held as 10 plus the quad bit
};

// Frame rate, as held in register 0 and in the input status.
enum RQD5FrameRate : uint32_t {
  FrameRateUnknown = 0,
  FrameRate6000 = 1,
  FrameRate5994 = 2,
  FrameRate3000 = 3,
  FrameRate2997 = 4,
  FrameRate2500 = 5,
  FrameRate2400 = 6,
  FrameRate2398 = 7,
  FrameRate5000 = 8,
  FrameRate1500 = 13,
  FrameRate1498 = 14,
};

// Pixel layout of a frame in card memory.
enum RQD5FrameBufferFormat : uint32_t {
  FrameBuffer10BitYCbCr = 0,
  FrameBuffer8BitUyvy = 1,
  FrameBuffer8BitArgb = 2,
  FrameBuffer8BitRgba = 3,
  FrameBuffer10BitRgb = 4,
  FrameBuffer8BitYuy2 = 5,
  FrameBuffer8BitAbgr = 6,
  FrameBuffer10BitRgbDpx = 7,
  FrameBuffer10BitYCbCrDpx = 8,
  FrameBuffer8BitDvcPro = 9,
  FrameBuffer8BitQRez = 10,
  FrameBuffer8BitHdv = 11,
  FrameBuffer8BitRgb = 12,
  FrameBuffer8BitBgr = 13,
  FrameBuffer10BitYCbCrA = 14,
  FrameBuffer10BitRgbDpxLittle = 15,
  FrameBuffer48BitRgb = 16,
  FrameBuffer10BitYCbCrCompressed = 17,
  FrameBuffer10BitDvcProCompressed = 18,
  FrameBuffer10BitHdvCompressed = 19,
  FrameBuffer10BitRgbPacked = 20,
  FrameBuffer10BitArgb = 21,
  FrameBuffer16BitArgb = 22,
  FrameBuffer10BitYCbCrOffset = 23,
};
inline constexpr uint32_t kFrameBufferFormats = 24;

// A frame-store channel. The numbering has gaps; any other value acts as channel 1.
enum RQD5Channel : uint32_t {
  RQD5Channel1 = 1,
  RQD5Channel2 = 2,
  RQD5Channel9 = 9,
  RQD5Channel10 = 10,
};
// Place of a channel in per-channel tables: 0 to 3.
[[nodiscard]] constexpr uint32_t ChannelIndex(uint32_t channel) {
  return channel == 2 ? 1 : channel == 9 ? 2 : channel == 10 ? 3 : 0;
}

// ---- video formats ----

using RQD5VideoFormat = uint32_t;
inline constexpr uint32_t kVideoFormatValues = 92;      // values 0 to 91
inline constexpr uint32_t kVideoFormatTextValues = 98;  // 92 to 97 are the family words

struct VideoFormatRow {
  uint32_t value;
  const char* text;
  uint32_t standard;
  uint32_t geometry;
  uint32_t rate;
  uint32_t level;    // dual-stream form: register 0 bit 15
  uint32_t picture;  // progressive or segmented: driver register 10260
};

// All rows that carry a format, by rising value; value 0 is the first, empty ones are left out.
[[nodiscard]] std::span<const VideoFormatRow> VideoFormatRows();
// Returns: the row of `format`, or null for an empty or unknown value (0 has a row).
[[nodiscard]] const VideoFormatRow* FindVideoFormat(uint32_t format);
// Text of a format, or of a family word from 92 on; empty for any other value.
[[nodiscard]] const char* VideoFormatText(uint32_t format);
// The format that is called so. Returns: 0 where none is.
[[nodiscard]] RQD5VideoFormat FormatOfText(std::string_view text);
// Lines of a format, 0 where it has none. Deliberate: 22 (720p 25.00) gives 0.
[[nodiscard]] uint32_t FormatLines(uint32_t format);
// Compares FormatLines of the two: -1, 0 or 1.
[[nodiscard]] int CompareFormatLines(uint32_t formatA, uint32_t formatB);
// The format whose row has these five columns; `geometry` may be one with ancillary lines, and is
// then first reduced to its base. Returns: 0 when no row matches.
[[nodiscard]] RQD5VideoFormat FormatFromColumns(uint32_t standard, uint32_t geometry, uint32_t rate,
                                                uint32_t level, uint32_t picture);
// The words for registers of this standard that FormatFromColumns does not know.
[[nodiscard]] const char* UnsupportedFormatText(uint32_t standard);

// Frames per second of a RQD5FrameRate as scale / duration, such as 30000 / 1001.
// Returns: false, outputs untouched, for a value that is no rate.
[[nodiscard]] bool FrameRatePair(uint32_t rate, uint32_t* scale, uint32_t* duration);

// ---- from an input to a format ----

// Standard of the geometry class that an input reports. Returns: 6 for an unknown class.
[[nodiscard]] uint32_t StandardOfGeometryClass(uint32_t geometryClass, bool progressive);
// Returns: 0 for a pair that is no format.
[[nodiscard]] RQD5VideoFormat InputFormat(uint32_t rate, uint32_t standard, bool level3G,
                                          uint32_t geometryClass, bool segmented);

// ---- frame buffers ----

// Text of a frame-buffer format; empty past 23.
[[nodiscard]] const char* FrameBufferFormatText(uint32_t frameBufferFormat);

struct RQD5FormatDescriptor {
  uint32_t numLines = 0;
  uint32_t numPixels = 0;
  uint32_t linePitch = 0;  // 32-bit words
  uint32_t firstActiveLine = 0;

  [[nodiscard]] uint32_t FrameBytes() const { return numLines * linePitch * 4; }
};

// Shape of a frame in memory. All zero for a combination that does not exist.
// `vanc`: with the vertical ancillary lines, `tallVanc`: with the taller ones (525 and 625 only),
// `wide2K`: 2048 pixels a line.
[[nodiscard]] RQD5FormatDescriptor GetFormatDescriptor(uint32_t standard,
                                                       uint32_t frameBufferFormat, bool vanc,
                                                       bool wide2K, bool tallVanc);

// 16 gives 0, 17 gives 10, others unchanged; and back.
[[nodiscard]] uint32_t GeometryForQuad(uint32_t geometry);
[[nodiscard]] uint32_t QuadForGeometry(uint32_t geometry);
// The geometry without its ancillary lines: 8 gives 0, 9: 1, 6 and 14: 2, 7 and 15: 3, 13: 10,
// 12: 11; others unchanged.
[[nodiscard]] uint32_t BaseGeometry(uint32_t geometry);

}  // namespace morvane
