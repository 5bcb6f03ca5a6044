#pragma once

#include <cstdint>

#include "base/fourcc.h"
#include "processing/records.h"

namespace morvane {

// Display sizes by index: 0 fits the window, 1 to 7 are 25 to 800 percent, 8 is free.
inline constexpr uint32_t kFreeDisplaySize = 8;

// Where and how large a preview shows its pictures.
struct PreviewView {
  int32_t originX = 0;  // pixels
  int32_t originY = 0;
  float widthPercent = 100.0f;  // 0 means fit
  float heightPercent = 100.0f;
};

// Applies a display size: its percent in both directions; fitted pictures lose their origin too.
// Index 8, and any that does not exist, leaves the view as it is.
void ApplyDisplaySize(uint32_t index, PreviewView* view);

// What a job knows of the frame it wants to show.
struct PreviewSource : PreviewView {
  const uint8_t* picture = nullptr;  // first byte of the picture, offsets added
  int32_t width = 0;
  int32_t height = 0;
  int32_t rowBytes = 0;
  FourCCCode fourcc = 0;
  bool bottomUp = false;
  int32_t aspectX = 1;  // the session's pair for the video format
  int32_t aspectY = 1;
  NXFrameFields fields;                     // passed on as they are
  const NxColorTables* tables8 = nullptr;   // for all formats but
  const NxColorTables* tables10 = nullptr;  // these: "v219" and "V219"
};

// Makes the record of a job frame: modes 4, percent divided by 100, and the aspect of the stored
// DV100 rasters ("dvhd" of 1280x1080 3:2, 1440x1080 and 960x720 4:3) in place of the session's.
[[nodiscard]] NXVideoFrame MakeJobFrame(const PreviewSource& source);

// Makes the record of an idle frame or a logo: modes 1, no tables, the session's aspect.
[[nodiscard]] NXVideoFrame MakeIdleFrame(const PreviewSource& source);

}  // namespace morvane
