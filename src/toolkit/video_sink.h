#pragma once

#include "processing/picture_sink.h"
#include "toolkit/video_window.h"

namespace morvane {

// A video window as the place where an engine's preview puts its pictures.
// Keeps: the window, which must stand as long as the sink is used.
class VideoWindowSink final : public PictureSink {
 public:
  void SetWindow(NXVideoWindowNode* window) { window_ = window; }
  void SetDisplayType(uint32_t displayType) { displayType_ = displayType; }
  void SetLut(const NxRGBLUT* lut) { lut_ = lut; }

  bool Begin(int32_t width, int32_t height) override {
    return NXStartDisplayVideoFrame(window_, static_cast<uint32_t>(width),
                                    static_cast<uint32_t>(height), displayType_,
                                    lut_) == NxErrSuccess;
  }
  void Show(const NXVideoFrame& frame) override { NXDisplayVideoFrame(window_, &frame, nullptr); }
  void End() override { NXStopDisplayVideoFrame(window_); }

 private:
  NXVideoWindowNode* window_ = nullptr;
  uint32_t displayType_ = NXDISPLAY_DRAWPIXELS;
  const NxRGBLUT* lut_ = nullptr;
};

}  // namespace morvane
