#include "media/frame_source.h"

#include <cstring>

namespace morvane {

uint64_t FrameSource::Bytes() {
  if (!sizeKnown_) {
    sizeKnown_ = true;
    if (file_->GetSize(&bytes_) != NxErrSuccess) bytes_ = 0;
  }
  return bytes_;
}

bool FrameSource::Read(uint64_t offset, void* buffer, uint64_t bytes) {
  if (loaded_ == nullptr) {
    loaded_ = head_;
    (void)file_->ReadAt(0, head_, kHeadBytes, &loadedBytes_);
  }
  if (offset <= loadedBytes_ && bytes <= loadedBytes_ - offset) {
    std::memcpy(buffer, loaded_ + offset, bytes);
    return true;
  }
  uint64_t done = 0;
  return file_->ReadAt(offset, buffer, bytes, &done) == NxErrSuccess && done == bytes;
}

}  // namespace morvane
