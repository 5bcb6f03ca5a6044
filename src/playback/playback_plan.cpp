#include <algorithm>
#include <span>

#include "device/formats.h"
#include "device/pattern_drawing.h"
#include "media/media_file_base.h"
#include "playback/engine_choice.h"
#include "playback/playback_engine.h"
#include "playback/playback_job.h"
#include "session/audio_output.h"
#include "session/card2.h"

// The frame plan: how clip, sound and the user's choices make a timeline.
namespace morvane {
namespace {

constexpr uint32_t kBarsPattern = 1;  // "75% ColorBars"

int32_t PartFrames(bool on, uint32_t seconds, uint32_t scale) {
  return on ? FramesOfSeconds(std::min(seconds, kMostPartSeconds), scale) : 0;
}

}  // namespace

void PlaybackEngine::PlanFrames() {
  uint32_t scale = 0;
  uint32_t duration = 0;
  session_->GetRate(&scale, &duration);
  plan_ = {};
  if (clip_ != nullptr && clipInfo_.streams != NxStreamsAudio) {
    plan_.video = std::max<int32_t>(clipInfo_.frameCount, 0);
    read_ = ChooseReadFormat(clipInfo_, *session_);
  } else {
    read_ = ChooseReadFormat({}, *session_);
  }
  PlanSound();
  plan_.clip = std::max(plan_.video, plan_.audio);
  plan_.bars = PartFrames(settings_.barsEnable != 0, settings_.barsSeconds, scale);
  plan_.leader = PartFrames(settings_.leaderEnable != 0, settings_.leaderSeconds, scale);
  plan_.trailer = PartFrames(settings_.trailerEnable != 0, settings_.trailerSeconds, scale);
  PlanBars();
  position_ = 0;
  job_->currentFrame.Set(0);
  job_->audioFrame.Set(0);
  inPoint_ = 0;
  outPoint_ = std::max(plan_.Length() - 1, 0);
  still_ = false;
  PlanMedia();
}

void PlaybackEngine::PlanSound() {
  uint32_t scale = 0;
  uint32_t duration = 0;
  session_->GetRate(&scale, &duration);
  for (AudioTrackSource& source : sound_.tracks) {
    source.length = 0;
    if (source.media == nullptr) continue;
    const uint64_t samples = source.media->GetAudioSampleCount(source.file);
    source.length = FramesOfSamples(samples, source.sampleRate, scale, duration);
    plan_.audio = std::max(plan_.audio, source.length);
  }
}

void PlaybackEngine::PlanBars() {
  if (settings_.barsEnable == 0) {
    bars_.reset();
    return;
  }
  uint32_t width = 0;
  uint32_t height = 0;
  session_->GetFrameRaster(&width, &height);
  const size_t bytes = size_t{width} * height * 4;
  PatternRaster raster;
  const VideoFormatRow* row = FindVideoFormat(session_->GetFormat().videoFormat);
  raster.standard = row != nullptr ? row->standard : Standard1080;
  raster.frameBufferFormat = FrameBuffer8BitArgb;
  raster.wide2K = row != nullptr && row->geometry == Geometry2048x1080;
  if (bars_ != nullptr && bars_->Bytes() == bytes) return;  // bars look alike in all standards
  auto frame = std::make_shared<PageBuffer>();
  bars_.reset();
  // Without memory or a drawing the bars play black.
  if (bytes == 0 || PatternDescriptor(raster).FrameBytes() != bytes || !frame->Allocate(bytes)) {
    return;
  }
  const std::span<uint8_t> pixels(frame->Data(), bytes);
  if (DrawTestPattern(kBarsPattern, raster, pixels) == nullptr) bars_ = std::move(frame);
}

void PlaybackEngine::PlanMedia() {
  hasVideo_ = plan_.video >= 1 && settings_.videoEnable != 0;
  hasAudio_ = plan_.audio > 0;
  if (plan_.bars != 0 || plan_.leader != 0) {
    hasVideo_ = true;
    hasAudio_ = true;
  }
  if (!audioOpened_ || !audioActive_ || audioTrackCount_ <= 0) hasAudio_ = false;
  const auto& enable = settings_.trackEnable;
  const bool anyTrack =
      std::any_of(std::begin(enable), std::end(enable), [](uint8_t on) { return on != 0; });
  if (!anyTrack && hasVideo_) hasAudio_ = false;
}

}  // namespace morvane
