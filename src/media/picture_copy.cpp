#include "media/picture_copy.h"

#include <algorithm>
#include <cstring>

#include "base/byte_order.h"
#include "base/page_memory.h"
#include "media/media_requests.h"
#include "processing/convert.h"
#include "processing/pixel_format.h"
#include "processing/software_convert.h"

namespace morvane {
namespace {

constexpr uint32_t kBlackRgba = 0xFF000000;  // R, G, B, A in memory: 0, 0, 0, 255

void CopyLine(const uint8_t* from, uint8_t* to, size_t bytes, bool turnPairs) {
  if (turnPairs) {
    SwapWordsRow(to, from, static_cast<int32_t>(bytes / 2));
  } else {
    std::memcpy(to, from, bytes);
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

NxColorContext WithMatrix(const NxColorContext& color, int32_t width) {
  NxColorContext known = color;
  if (known.matrix == kMatrixByWidth) {
    known.matrix = width < 800 ? ColorMatrix601Video : ColorMatrix709Video;
  }
  return known;
}

NxErr ScalePicture(const PicturePlace& from, const PicturePlace& to, bool flip,
                   const NxColorContext& color) {
  PicturePlace picture = from;
  PageBuffer deep;
  if (IsYuv8(from.fourcc) && IsYuv8(to.fourcc)) {
    // Inside 8-bit 4:2:2 the conversion moves nothing. (Chroma above 240 comes back as 240.)
    picture.fourcc = FourCC("v219");
    picture.pitch = static_cast<int32_t>(LineBytes(picture.fourcc, from.width));
    if (!deep.Allocate(static_cast<size_t>(picture.pitch) * static_cast<size_t>(from.height))) {
      return NxErrOutOfMemory;
    }
    picture.pixels = deep.Data();
    DeepenPicture(from, picture);
  }
  // The conversion leaves columns beside a narrower picture as they are.
  NxColorContext coefficients = WithMatrix(color, from.width);
  const NxErr result = BlackenPicture(to, coefficients);
  if (result != NxErrSuccess) return result;
  ConvertContext context;
  return ConvertImage(&context, picture.pixels, picture.width, picture.height, picture.fourcc,
                      picture.pitch, to.pixels, to.width, to.height, to.fourcc, to.pitch, true,
                      &coefficients, flip, &kBlackRgba);
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

void DeepenPicture(const PicturePlace& from, const PicturePlace& to) {
  for (int32_t y = 0; y < from.height; ++y) {
    const uint8_t* in = from.pixels + int64_t{y} * from.pitch;
    uint8_t* out = to.pixels + int64_t{y} * to.pitch;
    for (int32_t pair = 0; pair < (from.width + 1) / 2; ++pair) {
      uint32_t y0 = 0;
      uint32_t cb = 0;
      uint32_t cr = 0;
      uint32_t y1 = 0;
      UnpackYuvPair(from.fourcc, in + size_t{4} * pair, &y0, &cb, &cr, &y1, 0);
      PackYuvPair(to.fourcc, out, y0 * 4, cb * 4, cr * 4, y1 * 4, pair);
    }
  }
}

NxErr BlackenPicture(const PicturePlace& place, const NxColorContext& color) {
  PageBuffer line;
  if (!line.Allocate(static_cast<size_t>(place.width) * 4)) return NxErrOutOfMemory;
  for (int32_t x = 0; x < place.width; ++x) StoreLe32(line.Data() + size_t{4} * x, kBlackRgba);
  NxColorContext coefficients = WithMatrix(color, place.width);
  ConvertContext context;
  // The one line is taken for every row.
  return ConvertImage(&context, line.Data(), place.width, place.height, FourCC("rgba"), 0,
                      place.pixels, place.width, place.height, place.fourcc, place.pitch, false,
                      &coefficients, false, nullptr);
}

NxErr CopyPicture(const PicturePlace& from, const PicturePlace& to, bool flip,
                  const NxColorContext& color) {
  if (from.width != to.width || from.height != to.height) {
    return ScalePicture(from, to, flip, color);
  }
  bool turnPairs = false;
  if (LinesAreCopied(from.fourcc, to.fourcc, &turnPairs)) {
    const auto bytes = static_cast<size_t>(
        std::min({int64_t{from.pitch}, int64_t{to.pitch}, LineBytes(to.fourcc, to.width)}));
    for (int32_t y = 0; y < to.height; ++y) {
      const int64_t row = flip ? from.height - 1 - y : y;
      CopyLine(from.pixels + row * from.pitch, to.pixels + int64_t{y} * to.pitch, bytes, turnPairs);
    }
    return NxErrSuccess;
  }
  NxColorContext coefficients = WithMatrix(color, from.width);
  ConvertContext context;
  return ConvertImage(&context, from.pixels, from.width, from.height, from.fourcc, from.pitch,
                      to.pixels, to.width, to.height, to.fourcc, to.pitch, false, &coefficients,
                      flip, nullptr);
}

}  // namespace morvane
