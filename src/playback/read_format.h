#pragma once

#include <cstdint>

#include "base/fourcc.h"
#include "media/media_records.h"

namespace morvane {

class CRQD5Card2;

// How the pictures of a clip are asked for, and how they lie on the card.
struct ReadFormat {
  FourCCCode fourcc = 0;
  int32_t width = 0;
  int32_t height = 0;
  int32_t rowBytes = 0;
  int32_t orientation = 1;   // 1: top row first
  uint32_t cardLayout = 0;   // RQD5FrameBufferFormat
  int32_t colorMatrix = 3;   // for a read that converts
  bool softConvert = false;  // RGB that the board cannot keep goes to it as 4:2:2
};

// Chooses for a clip on the session's present video format: the pixels as the clip has them where
// the card takes them at this raster, else its second format, else bgrA, scaled to the raster.
[[nodiscard]] ReadFormat ChooseReadFormat(const NxMediaFileInfo& clip, CRQD5Card2& session);

}  // namespace morvane
