#pragma once

#include <cstdint>

namespace morvane {

// What a frame of the timeline shows.
enum class FrameClass : int32_t { Clip = 0, Bars = 1, Leader = 2, Trailer = 3 };

// The parts of a timeline in the order in which they are played, in frames.
struct Timeline {
  int32_t bars = 0;
  int32_t leader = 0;
  int32_t clip = 0;  // the longer one of picture and sound
  int32_t trailer = 0;
  int32_t video = 0;  // frames of the clip file
  int32_t audio = 0;  // of the longest track

  [[nodiscard]] int32_t Length() const { return bars + leader + clip + trailer; }
  // Index in the clip of timeline frame `frame`; may lie outside it.
  [[nodiscard]] int32_t ClipFrame(int32_t frame) const { return frame - bars - leader; }
  // Deliberate: without a leader no frame is a trailer frame. Those behind the clip are black all
  // the same, because the reader looks at the clip's length; to the sound they are clip.
  [[nodiscard]] FrameClass Classify(int32_t frame) const;

  friend bool operator==(const Timeline&, const Timeline&) = default;
};

// Whole frames in `seconds` at `scale` / 1000 frames a second, truncated: 29.97 counts as 30.
[[nodiscard]] int32_t FramesOfSeconds(uint32_t seconds, uint32_t scale);

// Whole frames of `scale` / `duration` a second that `samples` at `sampleRate` last.
[[nodiscard]] int32_t FramesOfSamples(uint64_t samples, double sampleRate, uint32_t scale,
                                      uint32_t duration);

// Where a play runs: its bounds, and the frame that it starts with.
struct PlayBounds {
  int32_t start = 0;
  int32_t end = 0;
  int32_t first = 0;

  friend bool operator==(const PlayBounds&, const PlayBounds&) = default;
};

// `marked`: the bounds are the marks. At the end that it runs to, or outside the marks, a play
// starts at the other bound; elsewhere at `position`.
[[nodiscard]] PlayBounds ChooseBounds(bool marked, int32_t inPoint, int32_t outPoint,
                                      int32_t length, int32_t position, double speed);

// `frame` and `frames` more, truncated towards zero; held far from overflow.
[[nodiscard]] int32_t FrameAfter(int32_t frame, double frames);

// How a cursor goes through the timeline at a speed. Between -1 and 1 it stays on each frame for
// the whole part of 1 / speed passes; otherwise it goes `speed` frames a pass, truncated.
class PlayPace {
 public:
  explicit PlayPace(double speed);
  // The cursor's next frame. One call a pass.
  [[nodiscard]] int32_t Next(int32_t frame);
  // The frame whose sound has left when `played` frames of sound have, from `start` on.
  [[nodiscard]] int32_t Reached(int32_t start, int32_t played) const;
  [[nodiscard]] bool IsFast() const { return speed_ > 1 || speed_ < -1; }
  [[nodiscard]] bool IsForward() const { return speed_ > 0; }
  // `frame` is at the bound to which the play runs, or past it.
  [[nodiscard]] bool HasReached(int32_t frame, const PlayBounds& bounds) const {
    return IsForward() ? frame >= bounds.end : frame <= bounds.start;
  }
  [[nodiscard]] bool IsPast(int32_t frame, const PlayBounds& bounds) const {
    return IsForward() ? frame > bounds.end : frame < bounds.start;
  }
  [[nodiscard]] int32_t Bound(const PlayBounds& bounds) const {
    return IsForward() ? bounds.end : bounds.start;
  }

 private:
  double speed_;
  bool slow_ = false;
  int32_t direction_ = 1;
  int32_t repeat_ = 1;
  int32_t passes_ = 0;
};

}  // namespace morvane
