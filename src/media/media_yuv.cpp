#include "media/media_yuv.h"

#include <algorithm>
#include <iterator>

namespace morvane {
namespace {

constexpr SeqWriteFormat kFormats[] = {
    {FourCC("2vuy"), "8-bit YUV 4:2:2", kOrientationTopDown, 8},
};

struct RasterRow {
  int32_t bytes;
  int32_t width;
  int32_t height;
};
// clang-format off
constexpr RasterRow kRasters[] = {
  {  699840,  720,  486 },
  {  829440,  720,  576 },
  {  691200,  720,  480 },
  { 1843200, 1280,  720 },
  { 4147200, 1920, 1080 },
  { 4423680, 2048, 1080 },
  { 6373376, 2048, 1556 },
};
// clang-format on
static_assert(std::size(kRasters) == 7);
constexpr bool BytesFollowFromSizes() {
  for (const RasterRow& row : kRasters) {
    if (row.bytes != row.width * row.height * 2) return false;
  }
  return true;
}
static_assert(BytesFollowFromSizes());

}  // namespace

std::span<const SeqWriteFormat> NxMediaYUV::WriteFormats() const {
  return kFormats;
}

bool NxMediaYUV::IsRaster(int32_t width, int32_t height) {
  return std::any_of(std::begin(kRasters), std::end(kRasters), [&](const RasterRow& row) {
    return row.width == width && row.height == height;
  });
}

NxErr NxMediaYUV::PlanWrite(NxMediaCreateInfo* info) {
  int32_t pitch = 0;
  int32_t bytes = 0;
  if (info->fourcc != kFormats[0].fourcc || info->orientation != kFormats[0].orientation ||
      !SizeProduct(info->width, 2, &pitch) || !SizeProduct(pitch, info->height, &bytes)) {
    return NxErrVideoFormatNotSupported;
  }
  PutName(info, kFormats[0].name);
  info->bitDepth = 8;
  info->imageBytes = bytes;
  info->imageOffset = 0;
  info->linePixels = info->width;
  info->linePitch = pitch;
  return NxErrSuccess;
}

NxErr NxMediaYUV::ParseFrame(FrameSource* source, bool, NxMediaFileInfo* info) {
  const uint64_t bytes = source->Bytes();
  for (const RasterRow& row : kRasters) {
    if (static_cast<uint64_t>(row.bytes) != bytes) continue;
    info->fourcc = info->nativeFourcc = kFormats[0].fourcc;
    info->orientation = kFormats[0].orientation;
    info->width = row.width;
    info->height = row.height;
    PutName(info, kFormats[0].name);
    info->bitDepth = 8;
    info->imageBytes = row.bytes;
    info->linePitch = row.width * 2;
    return NxErrSuccess;
  }
  return NxErrVideoFormatNotSupported;
}

}  // namespace morvane
