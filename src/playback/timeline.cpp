#include "playback/timeline.h"

#include <cmath>

#include "session/audio_output.h"

namespace morvane {

FrameClass Timeline::Classify(int32_t frame) const {
  if (bars != 0 && frame >= 0 && frame < bars) return FrameClass::Bars;
  if (leader == 0) return FrameClass::Clip;
  if (frame >= bars && frame < bars + leader) return FrameClass::Leader;
  const int32_t clipEnd = bars + clip + leader;
  if (frame < clipEnd) return FrameClass::Clip;
  return frame < clipEnd + trailer ? FrameClass::Trailer : FrameClass::Clip;
}

int32_t FramesOfSeconds(uint32_t seconds, uint32_t scale) {
  return static_cast<int32_t>(static_cast<double>(scale) / 1000.0 * seconds);
}

int32_t FramesOfSamples(uint64_t samples, double sampleRate, uint32_t scale, uint32_t duration) {
  if (sampleRate < 1 || scale == 0 || duration == 0) return 0;
  const auto rate = static_cast<uint32_t>(std::lround(sampleRate));
  const double estimate = static_cast<double>(samples) * scale / (sampleRate * duration);
  if (estimate >= INT32_MAX) return INT32_MAX;
  auto frames = static_cast<uint64_t>(estimate);
  while (AudioSamplesUpTo(frames + 1, rate, scale, duration) <= samples) ++frames;
  while (frames > 0 && AudioSamplesUpTo(frames, rate, scale, duration) > samples) --frames;
  return static_cast<int32_t>(frames);
}

PlayBounds ChooseBounds(bool marked, int32_t inPoint, int32_t outPoint, int32_t length,
                        int32_t position, double speed) {
  PlayBounds bounds;
  bounds.start = marked ? inPoint : 0;
  bounds.end = marked ? outPoint : length - 1;
  bounds.first = position;
  if (speed > 0) {
    if (position >= bounds.end || (marked && position < bounds.start)) bounds.first = bounds.start;
  } else {
    if (position <= bounds.start || (marked && position > bounds.end)) bounds.first = bounds.end;
  }
  return bounds;
}

PlayPace::PlayPace(double speed) : speed_(speed) {
  slow_ = speed > -1 && speed < 1;
  direction_ = speed < 0 ? -1 : 1;
  constexpr double kMostRepeats = 1e6;
  const double size = std::abs(speed);
  repeat_ = static_cast<int32_t>(slow_ && size > 1 / kMostRepeats ? 1 / size : kMostRepeats);
}

int32_t PlayPace::Next(int32_t frame) {
  if (slow_) {
    if (++passes_ < repeat_) return frame;
    passes_ = 0;
    return frame + direction_;
  }
  return FrameAfter(frame, speed_);
}

int32_t PlayPace::Reached(int32_t start, int32_t played) const {
  // Deliberate: in slow motion the position of the sound goes a whole frame at a time.
  return FrameAfter(start, (slow_ ? direction_ : speed_) * played);
}

int32_t FrameAfter(int32_t frame, double frames) {
  // Far enough for any bound, and far from overflow.
  constexpr double kFarthest = 1e9;
  const double next = static_cast<double>(frame) + frames;
  return static_cast<int32_t>(next > kFarthest ? kFarthest : next < -kFarthest ? -kFarthest : next);
}

}  // namespace morvane
