#include "simulator/clip_format.h"

#include <cmath>

#include "device/formats.h"

namespace morvane {
namespace {

struct Raster {
  uint32_t width;
  uint32_t height;
};

Raster RasterOf(const VideoFormatRow& row) {
  const bool wide = BaseGeometry(row.geometry) == Geometry2048x1080;
  const RQD5FormatDescriptor descriptor =
      GetFormatDescriptor(row.standard, FrameBuffer10BitYCbCr, false, wide, false);
  return {descriptor.numPixels, descriptor.numLines};
}

// 29.97 is told as 30000/1001 by some files and as 2997/100 by others; 24 and 23.98 lie 0.1 %
// apart.
bool SameRate(const MediaInfo& movie, const VideoFormatRow& row) {
  uint32_t scale = 0;
  uint32_t duration = 1;
  if (!FrameRatePair(row.rate, &scale, &duration)) return false;
  const double rate =
      static_cast<double>(movie.rateScale) / static_cast<double>(movie.rateDuration);
  const double wanted = static_cast<double>(scale) / duration;
  return std::fabs(rate - wanted) < wanted * 0.0003;
}

bool SameRaster(const MediaInfo& movie, const VideoFormatRow& row) {
  const Raster raster = RasterOf(row);
  return movie.width == raster.width && movie.height == raster.height;
}

// Dual-stream rows tell half their rate, and quad rows are four pictures: no movie is one.
bool IsSingleStream(const VideoFormatRow& row) {
  return row.value != 0 && row.level == 0 && row.geometry < GeometryQuad1920x1080;
}

bool IsInterlaced(MediaScan scan) {
  return scan == MediaScan::kTopFieldFirst || scan == MediaScan::kBottomFieldFirst;
}

}  // namespace

uint32_t FormatOfMovie(const MediaInfo& movie) {
  const bool wantsInterlaced = movie.scan != MediaScan::kProgressive;
  uint32_t second = 0;
  uint32_t third = 0;
  for (const VideoFormatRow& row : VideoFormatRows()) {
    if (!IsSingleStream(row) || !SameRaster(movie, row) || !SameRate(movie, row)) continue;
    const bool interlaced = row.picture == 0;
    if (interlaced == wantsInterlaced && (interlaced || row.standard != Standard1080)) {
      return row.value;
    }
    // A progressive movie prefers a progressive row to a segmented one, and takes an interlaced
    // one last; a movie that does not tell its scan takes what there is.
    if (!interlaced && !IsInterlaced(movie.scan) && second == 0) second = row.value;
    if (interlaced && !wantsInterlaced && third == 0) third = row.value;
  }
  return second != 0 ? second : third;
}

bool MovieFits(const MediaInfo& movie, uint32_t videoFormat, std::string* error) {
  const VideoFormatRow* row = FindVideoFormat(videoFormat);
  if (row == nullptr || videoFormat == 0) {
    *error = "has no format";
    return false;
  }
  if (!SameRaster(movie, *row)) {
    const Raster raster = RasterOf(*row);
    *error = "is " + MovieText(movie) + ", not " + std::to_string(raster.width) + "x" +
             std::to_string(raster.height) + " as \"" + row->text + "\"";
    return false;
  }
  if (!SameRate(movie, *row)) {
    *error = "is " + MovieText(movie) + ", not at the rate of \"" + row->text + "\"";
    return false;
  }
  if (IsInterlaced(movie.scan) && row->picture != 0) {
    *error = "is " + MovieText(movie) + ", and \"" + row->text + "\" is not";
    return false;
  }
  return true;
}

std::string MovieText(const MediaInfo& movie) {
  std::string text = std::to_string(movie.width) + "x" + std::to_string(movie.height) + " at " +
                     std::to_string(movie.rateScale) + "/" + std::to_string(movie.rateDuration);
  if (movie.scan == MediaScan::kProgressive) text += ", progressive";
  if (IsInterlaced(movie.scan)) text += ", interlaced";
  return text;
}

}  // namespace morvane
