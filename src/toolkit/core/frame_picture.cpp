#include "toolkit/core/frame_picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "base/fourcc.h"
#include "processing/conversion_tables.h"
#include "processing/convert.h"
#include "processing/pixel_format.h"

namespace morvane::toolkit {
namespace {

constexpr int32_t kLargestSide = 16384;
constexpr FourCCCode kScreenFormat = FourCC("bgrA");
constexpr uint32_t kOpaque = 0xFF000000;  // of a "bgrA" pixel, as a little-endian number
constexpr int32_t kStandardDefinitionLines = 576;

bool IsUsable(const NXVideoFrame& frame) {
  const PixelFormat* format = FindPixelFormat(frame.fourcc);
  return frame.picture != nullptr && format != nullptr && format->layout != PixelLayout::kNone &&
         frame.width >= 1 && frame.width <= kLargestSide && frame.height >= 1 &&
         frame.height <= kLargestSide &&
         frame.rowBytes >= PixelLineBytes(frame.fourcc, frame.width);
}

ColorMatrix MatrixOf(const NXVideoFrame& frame) {
  if (frame.colorTable != nullptr) return static_cast<ColorMatrix>(frame.colorTable->matrix);
  return frame.height > kStandardDefinitionLines ? ColorMatrix709Video : ColorMatrix601Video;
}

// Copies "bgrA" pixels without their transparency. `from` and `to` may be the same.
void CopyOpaque(const uint8_t* from, size_t bytes, uint8_t* to) {
  for (size_t at = 0; at + 3 < bytes; at += 4) {
    uint32_t pixel = 0;
    memcpy(&pixel, from + at, sizeof(pixel));
    pixel |= kOpaque;
    memcpy(to + at, &pixel, sizeof(pixel));
  }
}

void CopyRows(const NXVideoFrame& frame, FramePicture* picture) {
  const auto lineBytes = static_cast<size_t>(picture->rowBytes);
  for (int32_t y = 0; y < frame.height; ++y) {
    const int32_t from = frame.bottomUp != 0 ? frame.height - 1 - y : y;
    CopyOpaque(frame.picture + static_cast<size_t>(from) * static_cast<size_t>(frame.rowBytes),
               lineBytes, picture->pixels.data() + static_cast<size_t>(y) * lineBytes);
  }
}

bool ConvertRows(const NXVideoFrame& frame, FramePicture* picture) {
  ConvertContext context;
  NxColorContext color;
  color.matrix = MatrixOf(frame);
  return ConvertImage(&context, frame.picture, frame.width, frame.height, frame.fourcc,
                      frame.rowBytes, picture->pixels.data(), frame.width, frame.height,
                      kScreenFormat, picture->rowBytes, false, &color, frame.bottomUp != 0,
                      nullptr) == NxErrSuccess;
}

using Curve = std::array<uint8_t, 256>;

// A curve of 1024 entries for values of 8 bits.
Curve MakeCurve(const uint32_t* entries) {
  Curve curve = {};
  for (uint32_t value = 0; value < curve.size(); ++value) {
    const uint32_t index = value << 2 | value >> 6;
    curve[value] = static_cast<uint8_t>(std::min(entries[index], kLutEntries - 1) >> 2);
  }
  return curve;
}

bool HasCurves(const NxRGBLUT* lut) {
  return lut != nullptr && lut->first != nullptr && lut->second != nullptr &&
         lut->third != nullptr && lut->entries == kLutEntries;
}

void ApplyCurves(const NxRGBLUT* lut, std::vector<uint8_t>* pixels) {
  const Curve red = MakeCurve(lut->first);
  const Curve green = MakeCurve(lut->second);
  const Curve blue = MakeCurve(lut->third);
  for (size_t at = 0; at + 3 < pixels->size(); at += 4) {
    uint8_t* pixel = pixels->data() + at;
    pixel[0] = blue[pixel[0]];
    pixel[1] = green[pixel[1]];
    pixel[2] = red[pixel[2]];
  }
}

bool Fits(float zoom) {
  return !(std::isfinite(zoom) && zoom > 0);
}

}  // namespace

bool ConvertFrame(const NXVideoFrame& frame, const NxRGBLUT* lut, FramePicture* picture) {
  if (!IsUsable(frame)) return false;
  picture->width = frame.width;
  picture->height = frame.height;
  picture->rowBytes = frame.width * 4;
  picture->aspectX = std::max(frame.aspectX, 1);
  picture->aspectY = std::max(frame.aspectY, 1);
  picture->originX = frame.originX;
  picture->originY = frame.originY;
  picture->zoomX = frame.zoomX;
  picture->zoomY = frame.zoomY;
  const size_t bytes = static_cast<size_t>(picture->rowBytes) * static_cast<size_t>(frame.height);
  // An odd last pixel of a pair format is nobody's: it stays black.
  if (picture->pixels.size() != bytes) picture->pixels.assign(bytes, 0);
  if (frame.fourcc == kScreenFormat) {
    CopyRows(frame, picture);
  } else if (ConvertRows(frame, picture)) {
    CopyOpaque(picture->pixels.data(), bytes, picture->pixels.data());
  } else {
    return false;
  }
  if (HasCurves(lut)) ApplyCurves(lut, &picture->pixels);
  return true;
}

FramePlace PlacePicture(const FramePicture& picture, int32_t windowWidth, int32_t windowHeight) {
  const double wide = static_cast<double>(picture.width) * picture.aspectX / picture.aspectY;
  const double high = picture.height;
  FramePlace place;
  if (Fits(picture.zoomX) || Fits(picture.zoomY)) {
    const double scale = std::min(windowWidth / wide, windowHeight / high);
    place.w = wide * scale;
    place.h = high * scale;
  } else {
    place.w = wide * picture.zoomX;
    place.h = high * picture.zoomY;
  }
  place.x = (windowWidth - place.w) / 2 + picture.originX;
  place.y = (windowHeight - place.h) / 2 + picture.originY;
  return place;
}

}  // namespace morvane::toolkit
