#include "capture/logo.h"

#include <algorithm>

#include "media/media_factory.h"
#include "media/media_requests.h"

namespace morvane {
namespace {

constexpr size_t kSlackBytes = 4096;  // room for the header in front and the pad behind

}  // namespace

bool Logo::Load(const std::string& path) {
  Free();
  NxMediaFileInfo info = {};
  MediaFilePtr file;
  if (OpenMediaClip(path.c_str(), false, nullptr, 1, false, &info, &file) != NxErrSuccess) {
    return false;
  }
  const int32_t pitch = info.width * 4;
  const auto picture = static_cast<size_t>(std::max(pitch, 0)) *
                       static_cast<size_t>(std::max<int32_t>(info.height, 0));
  const auto stored = static_cast<size_t>(std::max(0, static_cast<int32_t>(info.frameBytes)));
  bool read = false;
  if (picture > 0 && buffer_.Allocate(std::max(stored, picture) + kSlackBytes)) {
    NxImageReadRequest request;
    request.fourcc = FourCC("bgrA");
    request.width = info.width;
    request.height = info.height;
    request.pitch = pitch;
    request.orientation = kOrientationTopDown;
    request.buffer = buffer_.Data();
    request.bufferBytes = static_cast<int32_t>(buffer_.Bytes());
    read = file->ReadImage(&request) == NxErrSuccess;
    pixels_ = buffer_.Data() + request.dataOffset;
    bottomUp_ = request.orientation == static_cast<int32_t>(kOrientationBottomUp);
  }
  (void)file->Close();
  if (!read) {
    Free();
    return false;
  }
  width_ = info.width;
  height_ = info.height;
  return true;
}

void Logo::Free() {
  buffer_.Free();
  pixels_ = nullptr;
  width_ = height_ = 0;
}

void Logo::Draw(NXVideoWindowNode* window) const {
  if (!IsLoaded()) return;
  NXVideoFrame frame;
  frame.picture = pixels_;
  frame.width = width_;
  frame.height = height_;
  frame.rowBytes = width_ * 4;
  frame.fourcc = FourCC("bgrA");
  frame.bottomUp = bottomUp_ ? 1 : 0;
  const auto across = static_cast<uint32_t>(width_);
  const auto down = static_cast<uint32_t>(height_);
  if (NXStartDisplayVideoFrame(window, across, down, NXDISPLAY_DRAWPIXELS, nullptr) !=
      NxErrSuccess) {
    return;
  }
  NXDisplayVideoFrame(window, &frame, nullptr);
  NXStopDisplayVideoFrame(window);
}

}  // namespace morvane
