#pragma once

#include <cstdint>
#include <vector>

#include "playback/playback_sound.h"
#include "playback/timeline.h"

namespace morvane {

// What of the settings and the card the sound of a play depends on.
struct SoundPlan {
  Timeline timeline;
  int32_t cardTracks = 0;  // channels of the card, at most 16
  double sampleRate = 48000;
  uint32_t rateScale = 25000;  // frames a second of the clip are rateScale / rateDuration
  uint32_t rateDuration = 1000;
  uint32_t toneLevel = 0;  // percent of full scale
  bool variSpeed = false;  // sound at speeds other than 1
  bool enabled[kPlaybackTracks] = {};
};

// Makes one frame of sound after the other for the card: 32-bit samples, left justified,
// interleaved over the card's tracks.
// Threads: one, with the tracks' files to itself as far as sound goes.
class SoundFiller {
 public:
  // Keeps: both references.
  SoundFiller(const SoundPlan& plan, const PlaybackSound& sound);

  // Fills the buffer with `samples` sample frames of timeline frame `frame`. A negative speed turns
  // them round. `scrub`: sound is wanted at any speed.
  // Returns: the buffer, valid until the next call.
  const std::vector<int32_t>& Fill(int32_t frame, uint32_t samples, double speed, bool scrub);
  // The same of silence.
  const std::vector<int32_t>& Silence(uint32_t samples);
  [[nodiscard]] double TonePhase() const { return tonePhase_; }

 private:
  void FillTone(uint32_t samples);
  void FillClip(int32_t clipFrame, uint32_t samples, bool backwards);
  [[nodiscard]] bool IsAudible(int32_t track, int32_t clipFrame) const;
  // Reads one frame of the track's file into `raw_`. False: nothing there, it is silent.
  bool ReadFile(const AudioTrackSource& source, int32_t clipFrame, uint32_t samples);
  void Spread(const AudioTrackSource& source, int32_t track, uint32_t samples, bool backwards);

  const SoundPlan& plan_;
  const PlaybackSound& sound_;
  std::vector<int32_t> samples_;
  std::vector<uint8_t> raw_;
  double tonePhase_ = 0;  // samples
};

// One sample of `bits` at `raw` as 32 bits, left justified. Other widths than 16, 24, 32: 0.
[[nodiscard]] int32_t SampleFrom(const uint8_t* raw, int32_t bits, bool floatingPoint,
                                 bool bigEndian);

}  // namespace morvane
