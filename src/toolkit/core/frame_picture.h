#pragma once

#include <cstdint>
#include <vector>

#include "toolkit/types.h"

// A frame for a video window as a picture that any screen can show.
namespace morvane::toolkit {

// "bgrA" pixels from the top down, and how they are placed.
struct FramePicture {
  std::vector<uint8_t> pixels;
  int32_t width = 0;
  int32_t height = 0;
  int32_t rowBytes = 0;
  int32_t aspectX = 1;  // shown aspectX / aspectY times as wide as stored
  int32_t aspectY = 1;
  int32_t originX = 0;  // pixels from the middle of the window, y upwards
  int32_t originY = 0;
  float zoomX = 1;  // 1 is 100 percent; 0: as large as fits
  float zoomY = 1;
};

// Where a picture lies in a window, in pixels from the window's bottom left.
struct FramePlace {
  double x = 0;
  double y = 0;
  double w = 0;
  double h = 0;
};

// Converts a frame: to 8 bits, from the top down, its colour table's matrix for YUV (without one
// 709 above 576 lines, else 601), then the curves of `lut` (may be null). Opaque throughout.
// `picture` keeps its memory from call to call.
// Returns: false, with `picture` undefined, for a frame without a picture, of a size below 1 or
// above 16384, of an unknown format, or with rows too short for it.
[[nodiscard]] bool ConvertFrame(const NXVideoFrame& frame, const NxRGBLUT* lut,
                                FramePicture* picture);

// The picture's centre lies at the window's centre plus the origin. A zoom of 0, or one that is no
// number, in either direction fits the picture into the window within its aspect.
[[nodiscard]] FramePlace PlacePicture(const FramePicture& picture, int32_t windowWidth,
                                      int32_t windowHeight);

}  // namespace morvane::toolkit
