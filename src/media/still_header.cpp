#include "media/still_header.h"

#include <algorithm>

#include "processing/pixel_format.h"

namespace morvane {
namespace {

// Room for a sector of shift and the rounding of callers above a frame.
constexpr int64_t kMostFrameBytes = INT32_MAX - 65536;

bool Fits(int64_t value) {
  return value > 0 && value <= kMostFrameBytes;
}

}  // namespace

NxErr LayOutFrame(const StillLayout& layout, NxMediaInfoHead* head) {
  // Every factor is below 2^31, so no product of two overflows.
  if (!Fits(layout.width) || !Fits(layout.height) || !Fits(layout.bytesPerPixel) ||
      layout.imageOffset < 0 || layout.imageOffset > kMostFrameBytes) {
    return NxErrVideoFormatNotSupported;
  }
  const int64_t pitch = layout.width * layout.bytesPerPixel;
  if (!Fits(pitch) || !Fits(pitch * layout.height)) return NxErrVideoFormatNotSupported;
  const int64_t imageBytes = pitch * layout.height;
  const int64_t sectors = (imageBytes + layout.imageOffset + kSectorBytes - 1) / kSectorBytes;
  if (!Fits(sectors * kSectorBytes)) return NxErrVideoFormatNotSupported;
  head->width = static_cast<int32_t>(layout.width);
  head->height = static_cast<int32_t>(layout.height);
  head->imageBytes = static_cast<int32_t>(imageBytes);
  head->imageOffset = static_cast<int32_t>(layout.imageOffset);
  head->linePitch = static_cast<int32_t>(pitch);
  head->frameBytes = static_cast<int32_t>(sectors * kSectorBytes);
  return NxErrSuccess;
}

NxErr LayOutReadFrame(const StillLayout& layout, NxMediaInfoHead* head) {
  if (layout.width > kLargestSide || layout.height > kLargestSide) {
    return NxErrVideoFormatNotSupported;
  }
  return LayOutFrame(layout, head);
}

const SeqWriteFormat* FindWriteFormat(std::span<const SeqWriteFormat> rows, FourCCCode fourcc,
                                      uint32_t orientation) {
  const auto row = std::find_if(rows.begin(), rows.end(), [&](const SeqWriteFormat& r) {
    return r.fourcc == fourcc && r.orientation == orientation;
  });
  return row == rows.end() ? nullptr : &*row;
}

int32_t BytesOfPixel(FourCCCode fourcc) {
  const PixelFormat* format = FindPixelFormat(fourcc);
  return format != nullptr && format->pixelsPerGroup == 1 ? format->bytesPerGroup : 0;
}

float FrameRateOf(int32_t timeScale, int32_t timeRate) {
  if (timeScale < 1 || timeRate < 1) return 0.0f;
  return static_cast<float>(timeScale) / static_cast<float>(timeRate);
}

void MakeOpaque(FourCCCode source, uint8_t* pixels, int64_t bytes) {
  if (HasAlpha(source)) return;
  for (int64_t i = 3; i < bytes; i += 4) pixels[i] = 255;
}

NxErr ReadHeader(FrameSource* source, size_t required, size_t bytes, uint8_t* header) {
  const uint64_t there = std::min<uint64_t>(source->Bytes(), bytes);
  if (there < required) return NxErrVideoFormatNotSupported;
  std::memset(header, 0xFF, bytes);
  return source->Read(0, header, there) ? NxErrSuccess : NxErrFailure;
}

}  // namespace morvane
