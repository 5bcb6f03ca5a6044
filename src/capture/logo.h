#pragma once

#include <cstdint>
#include <string>

#include "base/page_memory.h"
#include "toolkit/video_window.h"

namespace morvane {

// The picture that a video window shows when there is no other.
// Threads: any, one at a time.
class Logo {
 public:
  // Reads a bitmap file. Returns: false, and there is no logo, when it cannot be read.
  bool Load(const std::string& path);
  void Free();
  // Shows it in the window, in a run of its own; nothing without a logo. The caller's thread must
  // be free to have one.
  void Draw(NXVideoWindowNode* window) const;
  [[nodiscard]] bool IsLoaded() const { return width_ > 0; }

 private:
  PageBuffer buffer_;
  const uint8_t* pixels_ = nullptr;  // "bgrA", in buffer_
  int32_t width_ = 0;
  int32_t height_ = 0;
  bool bottomUp_ = false;
};

}  // namespace morvane
