#pragma once

#include <cstdint>

#include "media/file_handle.h"

namespace morvane {

// The bytes of one frame's file as a header parser sees them: from memory as far as the frame has
// been read, else from the file, in whole sectors so that an unbuffered file stays unbuffered.
class FrameSource {
 public:
  // Nothing read yet.
  explicit FrameSource(NxFileHandle* file) : file_(file) {}
  // The first `bytes` of the file lie at `loaded`.
  FrameSource(NxFileHandle* file, const uint8_t* loaded, uint64_t bytes)
      : file_(file), loaded_(loaded), loadedBytes_(bytes) {}
  FrameSource(const FrameSource&) = delete;
  FrameSource& operator=(const FrameSource&) = delete;

  // Length of the file. Returns: 0 on failure.
  [[nodiscard]] uint64_t Bytes();
  // Reads exactly `bytes` at `offset`. Returns: false past the end of the file or on failure.
  [[nodiscard]] bool Read(uint64_t offset, void* buffer, uint64_t bytes);
  // For parsers with needs of their own.
  [[nodiscard]] NxFileHandle* File() { return file_; }

 private:
  static constexpr uint64_t kHeadBytes = 4096;

  NxFileHandle* file_;
  const uint8_t* loaded_ = nullptr;
  uint64_t loadedBytes_ = 0;
  bool sizeKnown_ = false;
  uint64_t bytes_ = 0;
  alignas(4096) uint8_t head_[kHeadBytes];
};

}  // namespace morvane
