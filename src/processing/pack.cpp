#include "processing/convert.h"
#include "processing/pixel_access.h"

// The public pack and unpack pairs and the rescaling of components.
namespace morvane {
namespace {

const PixelFormat* FindRgb(FourCCCode fourcc) {
  const PixelFormat* format = FindPixelFormat(fourcc);
  if (format == nullptr || format->layout == PixelLayout::kNone) return nullptr;
  const bool yuv =
      format->pixelClass == PixelClass::kYuv8 || format->pixelClass == PixelClass::kYuv10;
  return yuv ? nullptr : format;
}

const PixelFormat* FindYuv(FourCCCode fourcc) {
  const PixelFormat* format = FindPixelFormat(fourcc);
  if (format == nullptr) return nullptr;
  const bool yuv =
      format->pixelClass == PixelClass::kYuv8 || format->pixelClass == PixelClass::kYuv10;
  return yuv ? format : nullptr;
}

uint32_t Rescaled(uint32_t v, uint32_t fromMax, uint32_t toMax) {
  const double x = static_cast<double>(v) / fromMax * toMax + 0.5;
  return x < toMax ? static_cast<uint32_t>(x) : toMax;
}

}  // namespace

NxErr UnpackYuvPair(FourCCCode fourcc, const uint8_t* src, uint32_t* y0, uint32_t* cb, uint32_t* cr,
                    uint32_t* y1, int32_t p) {
  const PixelFormat* format = FindYuv(fourcc);
  if (format == nullptr) return NxErrParameterNotSupported;
  const YuvPair pair = LoadPair(*format, src, format->pixelClass == PixelClass::kYuv10 ? p : 0);
  *y0 = pair.y0;
  *cb = pair.cb;
  *cr = pair.cr;
  *y1 = pair.y1;
  return NxErrSuccess;
}

NxErr PackYuvPair(FourCCCode fourcc, uint8_t* dst, uint32_t y0, uint32_t cb, uint32_t cr,
                  uint32_t y1, int32_t p) {
  const PixelFormat* format = FindYuv(fourcc);
  if (format == nullptr) return NxErrParameterNotSupported;
  StorePair(*format, dst, format->pixelClass == PixelClass::kYuv10 ? p : 0, {y0, cb, cr, y1});
  return NxErrSuccess;
}

NxErr UnpackRgbPixel(FourCCCode fourcc, const uint8_t* src, uint32_t* r, uint32_t* g, uint32_t* b,
                     uint32_t* a, uint32_t* max, uint32_t* min) {
  const PixelFormat* format = FindRgb(fourcc);
  if (format == nullptr) return NxErrParameterNotSupported;
  const RgbPixel pixel = LoadRgb(*format, src);
  *r = pixel.r;
  *g = pixel.g;
  *b = pixel.b;
  *a = pixel.a;
  *max = format->max;
  *min = format->min;
  return NxErrSuccess;
}

NxErr PackRgbPixel(FourCCCode fourcc, uint8_t* dst, uint32_t r, uint32_t g, uint32_t b, uint32_t a,
                   uint32_t max, uint32_t min) {
  const PixelFormat* format = FindRgb(fourcc);
  if (format == nullptr) return NxErrParameterNotSupported;
  RescaleComponents(&r, &g, &b, &a, max, min, format->max, format->min);
  StoreRgb(*format, dst, {r, g, b, a});
  return NxErrSuccess;
}

void RescaleComponents(uint32_t* r, uint32_t* g, uint32_t* b, uint32_t* a, uint32_t fromMax,
                       uint32_t fromMin, uint32_t toMax, uint32_t toMin) {
  if (fromMax == toMax && fromMin == toMin) return;
  *r = Rescaled(*r, fromMax, toMax);
  *g = Rescaled(*g, fromMax, toMax);
  *b = Rescaled(*b, fromMax, toMax);
  *a = Rescaled(*a, fromMax, toMax);
}

}  // namespace morvane
