#pragma once

#include <cstdint>

namespace morvane {

struct NXVideoFrame;

// Where an engine's preview puts its pictures: a video window, or nothing in a program without
// one. Who runs the preview calls Begin() before the first round and End() after the last; the
// rounds call Show().
// Threads: all three on the thread that runs the preview.
class PictureSink {
 public:
  virtual ~PictureSink() = default;

  // Starts a run of pictures of this size. Returns: false if none can be shown.
  virtual bool Begin(int32_t width, int32_t height) = 0;
  // Shows one picture at once. Keeps: nothing; the memory behind `frame` is the caller's again.
  virtual void Show(const NXVideoFrame& frame) = 0;
  virtual void End() = 0;
};

}  // namespace morvane
