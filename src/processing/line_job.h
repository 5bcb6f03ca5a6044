#pragma once

#include <cstdint>
#include <memory>

#include "processing/convert.h"
#include "processing/fast_chain.h"
#include "processing/fast_scaled.h"
#include "processing/pixel_format.h"

// One prepared line conversion: everything that is the same for all lines of an image.
namespace morvane {

// Which pixels of a source line go to which pixels of a destination line.
struct LineShape {
  int32_t srcWidth = 0;     // pixels of a source line
  int32_t srcStart = 0;     // first pixel taken, even
  int32_t dstStart = 0;     // first pixel written, even
  int32_t count = 0;        // pixels written
  int32_t scaledWidth = 0;  // 0: one to one; else the width that `srcWidth` pixels are scaled to
};

// What a conversion does with each line.
enum class LinePath : uint8_t {
  kNothing,   // 8-bit 4:2:2 to the same: callers copy
  kYuvToYuv,  // 10-bit 4:2:2 to 8-bit
  kYuvToRgb,
  kRgbToRgb,
  kRgbToYuv,
};

struct LineJob;
using LineRoutine = void (*)(const LineJob& job, const uint8_t* src, uint8_t* dst);

struct LineJob {
  const PixelFormat* src = nullptr;
  const PixelFormat* dst = nullptr;
  LinePath path = LinePath::kNothing;
  LineShape shape;
  NxColorContext color;
  LineRoutine run = nullptr;                 // picked once
  FastChain chain;                           // for the vector routines
  std::shared_ptr<const ScaledLine> scaled;  // when pixels are picked by position
};

// Prepares the conversion of lines of `srcWidth` pixels to lines of `dstWidth`, and picks the
// routine: the plain one if `reference` or if there is no faster one for the pair and shape.
// Returns: 0, 2 or -1 as ConvertLine.
[[nodiscard]] NxErr MakeLineJob(FourCCCode srcFourcc, int32_t srcWidth, FourCCCode dstFourcc,
                                int32_t dstWidth, int32_t contextWidth, bool stretch,
                                const NxColorContext& color, bool reference, LineJob* job);

// The reference: the formulas as they are written, in double precision.
[[nodiscard]] LineRoutine PlainRoutine(LinePath path);

// Source pixel that stands at pixel `i` of the written ones, by nearest position.
[[nodiscard]] inline int32_t SourcePixel(const LineShape& shape, int32_t i) {
  if (shape.scaledWidth == 0) return shape.srcStart + i;
  const double at = static_cast<double>(shape.srcWidth) * i / shape.scaledWidth + 0.5;
  const int32_t pixel = static_cast<int32_t>(at);
  return pixel < shape.srcWidth ? pixel : shape.srcWidth - 1;
}

// The same for a 4:2:2 source, held to whole pairs.
[[nodiscard]] inline int32_t SourcePairPixel(const LineShape& shape, int32_t i) {
  const int32_t pixel = SourcePixel(shape, i);
  const int32_t whole = shape.srcWidth / 2 * 2;
  return pixel < whole ? pixel : whole - 1;
}

// The same between RGB formats, where the position counts bytes and a part of a pixel is rounded
// up. Returns: the byte offset in the source line.
[[nodiscard]] inline int64_t SourceRgbOffset(const LineShape& shape, int32_t bytes, int32_t i) {
  if (shape.scaledWidth == 0) return static_cast<int64_t>(shape.srcStart + i) * bytes;
  const double at = static_cast<double>(shape.srcWidth) * i / shape.scaledWidth * bytes + 0.5;
  const int64_t offset = (static_cast<int64_t>(at) + bytes - 1) / bytes * bytes;
  const int64_t last = static_cast<int64_t>(shape.srcWidth - 1) * bytes;
  return offset < last ? offset : last;
}

// Truncates `x` to a whole number within `low`..`high`; no number counts as `low`.
[[nodiscard]] inline uint32_t ClipTruncated(double x, int32_t low, int32_t high) {
  if (!(x > low)) return static_cast<uint32_t>(low);
  if (x >= high) return static_cast<uint32_t>(high);
  return static_cast<uint32_t>(x);
}

// Scale from the numbers of `src` to those of 4:2:2 with 8 or 10 bits.
[[nodiscard]] inline double RgbToYuvScale(const PixelFormat& src, const PixelFormat& dst) {
  const double toTen = dst.pixelClass == PixelClass::kYuv10 ? 4.0 : 1.0;
  switch (src.pixelClass) {
    case PixelClass::kRgb8:
      return toTen;
    case PixelClass::kRgb10:
      return toTen / 4.0;
    default:
      return toTen / (src.max == 32768 ? 128.0 : 256.0);
  }
}

// The clips of RGB to 4:2:2.
struct YuvClips {
  int32_t low, highLuma, highChroma;
};

[[nodiscard]] inline YuvClips ClipsOf(const NxColorContext& color, const PixelFormat& dst) {
  const bool ten = dst.pixelClass == PixelClass::kYuv10;
  YuvClips clips = ten ? YuvClips{64, 940, 960} : YuvClips{16, 235, 240};
  if (color.fullBlack != 0) clips.low = 0;
  if (color.fullWhite != 0) clips.highLuma = clips.highChroma = ten ? 1023 : 255;
  return clips;
}

}  // namespace morvane
