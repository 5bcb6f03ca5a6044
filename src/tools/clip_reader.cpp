#include "tools/clip_reader.h"

#include <algorithm>

#include "processing/convert.h"
#include "processing/pixel_format.h"

namespace morvane::tools {
namespace {

constexpr size_t kSlackBytes = 4096;  // room for the header in front and the pad behind

}  // namespace

int32_t MatrixOfClip(int32_t width) {
  return width < 800 ? ColorMatrix601Video : ColorMatrix709Video;
}

ClipReader::ClipReader(OpenClip& clip, FourCCCode format)
    : ClipReader(clip, format, MatrixOfClip(clip.info.width)) {}

ClipReader::ClipReader(OpenClip& clip, FourCCCode format, int32_t matrix)
    : clip_(clip),
      format_(format),
      matrix_(matrix),
      pitch_(PixelPitch(format, clip.info.width)),
      bytes_(static_cast<size_t>(pitch_) * static_cast<size_t>(clip.info.height)) {}

NxErr ClipReader::Read(int32_t frame) {
  const size_t stored =
      static_cast<size_t>(std::max(0, static_cast<int32_t>(clip_.info.frameBytes)));
  if (buffer_.Data() == nullptr && !buffer_.Allocate(std::max(stored, bytes_) + kSlackBytes)) {
    return NxErrOutOfMemory;
  }
  NxImageReadRequest request;
  request.fourcc = format_;
  request.width = clip_.info.width;
  request.height = clip_.info.height;
  request.pitch = pitch_;
  request.orientation = kOrientationTopDown;
  request.color.matrix = matrix_;
  request.frame = frame;
  request.buffer = buffer_.Data();
  request.bufferBytes = static_cast<int32_t>(buffer_.Bytes());
  const NxErr result = clip_.file->ReadImage(&request);
  if (result != NxErrSuccess) return result;
  uint8_t* pixels = buffer_.Data() + request.dataOffset;
  if (request.orientation == static_cast<int32_t>(kOrientationBottomUp)) {
    const NxErr flipped = FlipLines(pixels, 0, clip_.info.height, pitch_);
    if (flipped != NxErrSuccess) return flipped;
  }
  pixels_ = pixels;
  return NxErrSuccess;
}

}  // namespace morvane::tools
