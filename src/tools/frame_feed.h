#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "media/picture_copy.h"
#include "tools/clip_reader.h"

namespace morvane::tools {

// Which frames of a clip to make, and how.
struct FeedPlan {
  std::string path;
  int32_t first = 0;  // both included
  int32_t last = 0;
  FourCCCode format = 0;
  int32_t matrix = 3;
  int32_t width = 0;
  int32_t height = 0;
  bool stretch = false;  // scale to that size rather than centre
};

// Reads and converts the frames of a clip on several threads and hands them out in order. Each
// thread has the clip open for itself and keeps at most two frames ahead.
// Threads: the owner's calls on one thread.
class FrameFeed {
 public:
  FrameFeed() = default;
  ~FrameFeed();  // waits for the frames that are being made
  FrameFeed(const FrameFeed&) = delete;
  FrameFeed& operator=(const FrameFeed&) = delete;

  // Returns: 0; else the code of the class, and nothing runs.
  [[nodiscard]] NxErr Start(const FeedPlan& plan, int32_t threads);
  // Waits for the next frame. `*pixels` is top row first in lines of the format's own pitch, and
  // good until the next call.
  // Returns: 0; else what the class or the conversion says of this frame.
  [[nodiscard]] NxErr Next(const uint8_t** pixels);

 private:
  static constexpr int32_t kSlots = 2;

  struct Slot {
    std::unique_ptr<ClipReader> reader;
    PageBuffer deep;
    PageBuffer scaled;
    bool full = false;  // guarded by mutex_
    NxErr result = NxErrSuccess;
    const uint8_t* pixels = nullptr;
  };
  struct Worker {
    OpenClip clip;
    Slot slots[kSlots];
    std::thread thread;
  };

  void RunWorker(Worker& worker, int32_t first);
  void Make(const Worker& worker, Slot& slot, int32_t frame);
  void Scale(const PicturePlace& picture, Slot& slot) const;
  [[nodiscard]] Slot& SlotOf(int32_t count);

  FeedPlan plan_;
  std::vector<std::unique_ptr<Worker>> workers_;
  int32_t handedOut_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool stop_ = false;  // guarded by mutex_
};

}  // namespace morvane::tools
