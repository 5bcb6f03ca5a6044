#include <algorithm>

#include "processing/line_job.h"

namespace morvane {
namespace {

bool IsYuvClass(const PixelFormat& format) {
  return format.pixelClass == PixelClass::kYuv8 || format.pixelClass == PixelClass::kYuv10;
}

// The paths in their order; the first that fits is taken.
NxErr FindPath(const PixelFormat& src, const PixelFormat& dst, LinePath* path) {
  const bool packedRgb =
      dst.pixelClass == PixelClass::kRgb8 || dst.pixelClass == PixelClass::kRgb10;
  if (src.pixelClass == PixelClass::kYuv8) {
    *path = dst.pixelClass == PixelClass::kYuv8 ? LinePath::kNothing : LinePath::kYuvToRgb;
    return dst.pixelClass == PixelClass::kYuv8 || packedRgb ? NxErrSuccess
                                                            : NxErrUnsupportedRequest;
  }
  if (src.pixelClass == PixelClass::kYuv10) {
    *path = dst.pixelClass == PixelClass::kYuv8 ? LinePath::kYuvToYuv : LinePath::kYuvToRgb;
    // Deliberate: 10-bit 4:2:2 to itself reaches the RGB packer, which does not know it.
    if (dst.pixelClass == PixelClass::kYuv10) return NxErrParameterNotSupported;
    return dst.pixelClass == PixelClass::kYuv8 || packedRgb ? NxErrSuccess
                                                            : NxErrUnsupportedRequest;
  }
  *path = IsYuvClass(dst) ? LinePath::kRgbToYuv : LinePath::kRgbToRgb;
  const bool layouts = src.layout != PixelLayout::kNone && dst.layout != PixelLayout::kNone;
  return layouts ? NxErrSuccess : NxErrParameterNotSupported;
}

LineShape ShapeOf(const PixelFormat& src, int32_t srcWidth, const PixelFormat& dst,
                  int32_t dstWidth, int32_t contextWidth, bool stretch) {
  LineShape shape;
  shape.srcWidth = srcWidth;
  const bool scaled = stretch && srcWidth != dstWidth;
  shape.scaledWidth = scaled ? dstWidth : 0;
  shape.count = scaled ? dstWidth : std::min(srcWidth, dstWidth);
  const int32_t whole = std::max(contextWidth, dstWidth);
  // Both starts lie on an even pixel, so that pairs stay pairs.
  shape.srcStart = scaled ? 0 : (srcWidth - shape.count) / 2 & ~1;
  shape.dstStart = (whole - shape.count) / 2 & ~1;
  if (IsYuvClass(src) || IsYuvClass(dst)) {
    shape.count &= ~1;  // the last pixel of an odd width is left alone
    if (IsYuvClass(src) && srcWidth < 2) shape.count = 0;
  }
  return shape;
}

}  // namespace

NxErr MakeLineJob(FourCCCode srcFourcc, int32_t srcWidth, FourCCCode dstFourcc, int32_t dstWidth,
                  int32_t contextWidth, bool stretch, const NxColorContext& color, bool reference,
                  LineJob* job) {
  job->src = FindPixelFormat(srcFourcc);
  job->dst = FindPixelFormat(dstFourcc);
  if (job->src == nullptr || job->dst == nullptr) return NxErrUnsupportedRequest;
  const NxErr result = FindPath(*job->src, *job->dst, &job->path);
  if (result != NxErrSuccess) return result;
  job->color = color;
  job->shape = {};
  if (srcWidth > 0 && dstWidth > 0) {
    job->shape = ShapeOf(*job->src, srcWidth, *job->dst, dstWidth, contextWidth, stretch);
  }
  job->run = PlainRoutine(job->path);
  if (!reference && !PickFastRoutine(job)) PickScaledRoutine(job);
  return NxErrSuccess;
}

NxErr ConvertLine(const ConvertContext* context, const uint8_t* src, int32_t srcWidth,
                  FourCCCode srcFourcc, int32_t /*srcPitch*/, uint8_t* dst, int32_t dstWidth,
                  FourCCCode dstFourcc, int32_t /*dstPitch*/, bool stretch,
                  const uint32_t* /*fill*/) {
  if (context == nullptr || src == nullptr || dst == nullptr) return NxErrFailure;
  LineJob job;
  const NxErr result = MakeLineJob(srcFourcc, srcWidth, dstFourcc, dstWidth, context->width,
                                   stretch, context->color, context->reference, &job);
  if (result == NxErrSuccess) job.run(job, src, dst);
  return result;
}

}  // namespace morvane
