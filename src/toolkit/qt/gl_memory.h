#pragma once

#include <cstdint>
#include <memory>

namespace morvane::toolkit {

// OpenGL (with the old drawing operations) into memory, without a window and without a screen.
// Threads: the one that made it.
class GlMemory {
 public:
  // Returns: null where the machine has no such OpenGL.
  static std::unique_ptr<GlMemory> Create();
  ~GlMemory();
  GlMemory(const GlMemory&) = delete;
  GlMemory& operator=(const GlMemory&) = delete;

  // Makes the context current with an area of this size (pixels). Ended by Leave().
  // Returns: false, with nothing current, where that cannot be had.
  [[nodiscard]] bool Enter(int width, int height);
  // Copies the area, the bottom line first, 4 bytes a pixel: blue, green, red, alpha.
  void Read(uint8_t* bgra);
  void Leave();  // nothing is current any more: another kind of context may be next

 private:
  GlMemory() = default;

  void* context_ = nullptr;
  uint32_t frame_ = 0;
  uint32_t pixels_ = 0;
  int width_ = 0;
  int height_ = 0;
};

}  // namespace morvane::toolkit
