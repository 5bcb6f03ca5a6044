#include <cmath>

#include "playback/playback_job.h"
#include "session/audio_output.h"

// The audio thread: keeps the card's audio ring full and follows its position. With pictures it
// arms the ring, which then runs with the first of them; without, it starts it.
namespace morvane {
namespace {

constexpr uint32_t kFullMs = 3;
constexpr uint32_t kSampleBytes = 4;

class AudioRun {
 public:
  explicit AudioRun(PlaybackJob& job)
      : job_(job),
        output_(*job.audioOutput),
        filler_(job.soundPlan, job.sound),
        writePace_(job.speed),
        readPace_(job.speed),
        cursor_(job.bounds.first) {}

  void Run() {
    (void)output_.Reset();
    WriteLatency();
    while (!job_.player.StopRequested() && job_.startRefused.Get() == 0) {
      if (armed_ && FollowPosition()) break;
      if (WriteFrame()) continue;
      if (armed_) {
        NxSleep(kFullMs);
      } else {
        StartRing();
      }
    }
    (void)output_.Reset();
    (void)output_.Play(kAudioStop);
  }

 private:
  // Returns: true when the sound has reached the bound.
  bool FollowPosition() {
    const auto whole =
        static_cast<double>(output_.GetFramesPlayed(job_.rateScale, job_.rateDuration));
    // A converter in the output path delays the picture: silence was written for as long.
    const double heard = std::trunc(whole - static_cast<double>(job_.audioLatencyFrames));
    const int32_t played = heard > 0 ? static_cast<int32_t>(heard) : 0;
    if (played == lastPlayed_) return false;
    lastPlayed_ = played;
    job_.audioFramesPlayed.Set(played);
    const int32_t position = readPace_.Reached(job_.bounds.first, played - 1);
    const bool done = readPace_.HasReached(position, job_.bounds);
    job_.audioFrame.Set(done ? readPace_.Bound(job_.bounds) : position);
    return done;
  }

  // Half a frame: that part of frame 1. More: whole frames from 0 on.
  void WriteLatency() {
    const float frames = job_.audioLatencyFrames;
    if (frames <= 0) return;
    uint32_t samples = 0;
    if (frames < 1) {
      samples = static_cast<uint32_t>(std::lround(static_cast<float>(SamplesOf(1)) * frames));
    } else {
      for (int32_t frame = 0; frame < static_cast<int32_t>(frames); ++frame) {
        samples += SamplesOf(frame);
      }
    }
    const auto& silence = filler_.Silence(samples);
    (void)output_.Write(silence.data(), static_cast<uint32_t>(silence.size()) * kSampleBytes);
  }

  // Returns: false when the ring has no room.
  bool WriteFrame() {
    const uint32_t samples = SamplesOf(cursor_);
    const uint32_t bytes =
        samples * kSampleBytes * static_cast<uint32_t>(job_.soundPlan.cardTracks);
    if (!output_.CanWrite(bytes)) return false;
    const auto& frame = filler_.Fill(cursor_, samples, job_.speed, false);
    if (!output_.Write(frame.data(), bytes)) return false;
    cursor_ = writePace_.Next(cursor_);
    if (cursor_ < 0 && cursor_ < job_.bounds.start) cursor_ = 0;
    return true;
  }

  void StartRing() {
    armed_ = true;
    if (job_.hasVideo) {
      // Also when the card refuses: the pictures then play without sound.
      (void)output_.Play(kAudioRunWithVideo);
      job_.audioWaitingForVideo.Set(1);
      return;
    }
    // A print to tape of sound alone waits here for the tape machine.
    (void)output_.Play(kAudioRunNow);
    job_.circulating.Set(1);
  }

  [[nodiscard]] uint32_t SamplesOf(int32_t frame) const {
    const uint32_t at = frame < 0 ? 0 : static_cast<uint32_t>(frame);
    return output_.GetFrameSamples(at, job_.rateScale, job_.rateDuration);
  }

  PlaybackJob& job_;
  CRQD5AudioOutput& output_;
  SoundFiller filler_;
  PlayPace writePace_;
  PlayPace readPace_;
  int32_t cursor_;  // the timeline frame that is written next
  int32_t lastPlayed_ = 0;
  bool armed_ = false;
};

}  // namespace

void PlaybackAudioRoutine(void* context) {
  AudioRun(*static_cast<PlaybackJob*>(context)).Run();
}

}  // namespace morvane
