#pragma once

#include <cstdint>
#include <vector>

#include "toolkit/core/frame_picture.h"

namespace morvane::toolkit {

// Draws frames by OpenGL, the same in a window on the screen and in memory. Its names belong to the
// context that was current at the first picture and go with that context.
// Threads: the one whose context it is; a context is current in all calls.
class PicturePainter {
 public:
  // Fills an area of this size (pixels) with black and the picture on it.
  void Paint(const FramePicture& picture, uint32_t displayType, int width, int height);
  // The pixels of the last picture that was drawn as a texture, from the top down.
  // Returns: false where that was not of this size.
  bool ReadBack(std::vector<uint8_t>* bgra, int width, int height);
  static void PaintBlack(int width, int height);

 private:
  void PaintTexture(const FramePicture& picture, const FramePlace& place);
  static void PaintPixels(const FramePicture& picture, const FramePlace& place);

  uint32_t texture_ = 0;
  int textureWidth_ = 0;
  int textureHeight_ = 0;
};

}  // namespace morvane::toolkit
