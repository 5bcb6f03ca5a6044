#include "media/picture_copy.h"

#include <algorithm>
#include <cstring>

#include "media/media_requests.h"
#include "processing/convert.h"
#include "processing/pixel_format.h"

namespace morvane {
namespace {

constexpr uint32_t kBlackRgba = 0xFF000000;  // R, G, B, A in memory: 0, 0, 0, 255

void CopyLine(const uint8_t* from, uint8_t* to, size_t bytes, bool turnPairs) {
  if (!turnPairs) {
    std::memcpy(to, from, bytes);
    return;
  }
  for (size_t i = 0; i + 1 < bytes; i += 2) {
    const uint8_t first = from[i];
    to[i] = from[i + 1];
    to[i + 1] = first;
  }
}

// True for two formats between which lines are copied.
bool LinesAreCopied(FourCCCode from, FourCCCode to, bool* turnPairs) {
  *turnPairs = false;
  if (from == to) return true;
  const PixelFormat* a = FindPixelFormat(from);
  const PixelFormat* b = FindPixelFormat(to);
  if (a->pixelClass != b->pixelClass) return false;
  if (a->pixelClass == PixelClass::kYuv8) {
    *turnPairs = a->layout != b->layout;
    return true;
  }
  return a->pixelClass == PixelClass::kYuv10;
}

}  // namespace

int64_t LineBytes(FourCCCode fourcc, int64_t width) {
  const PixelFormat* format = FindPixelFormat(fourcc);
  if (format == nullptr || width < 0) return 0;
  const int64_t groups = (width + format->pixelsPerGroup - 1) / format->pixelsPerGroup;
  return groups * format->bytesPerGroup;
}

bool CheckPlace(const PicturePlace& place, int64_t bytes) {
  if (place.pixels == nullptr || place.width < 1 || place.height < 1) return false;
  const int64_t line = LineBytes(place.fourcc, place.width);
  return line > 0 && place.pitch >= line &&
         int64_t{place.pitch} * (place.height - 1) + line <= bytes;
}

NxErr CopyPicture(const PicturePlace& from, const PicturePlace& to, bool flip,
                  const NxColorContext& color) {
  const bool sameSize = from.width == to.width && from.height == to.height;
  bool turnPairs = false;
  if (sameSize && LinesAreCopied(from.fourcc, to.fourcc, &turnPairs)) {
    const auto bytes = static_cast<size_t>(
        std::min({int64_t{from.pitch}, int64_t{to.pitch}, LineBytes(to.fourcc, to.width)}));
    for (int32_t y = 0; y < to.height; ++y) {
      const int64_t row = flip ? from.height - 1 - y : y;
      CopyLine(from.pixels + row * from.pitch, to.pixels + int64_t{y} * to.pitch, bytes, turnPairs);
    }
    return NxErrSuccess;
  }
  if (!sameSize) {
    // The conversion leaves columns beside a narrower picture as they are.
    for (int32_t y = 0; y < to.height; ++y) {
      std::memset(to.pixels + int64_t{y} * to.pitch, 0,
                  static_cast<size_t>(LineBytes(to.fourcc, to.width)));
    }
  }
  NxColorContext coefficients = color;
  if (coefficients.matrix == kMatrixByWidth) {
    coefficients.matrix = from.width < 800 ? ColorMatrix601Video : ColorMatrix709Video;
  }
  ConvertContext context;
  return ConvertImage(&context, from.pixels, from.width, from.height, from.fourcc, from.pitch,
                      to.pixels, to.width, to.height, to.fourcc, to.pitch, !sameSize, &coefficients,
                      flip, sameSize ? nullptr : &kBlackRgba);
}

}  // namespace morvane
