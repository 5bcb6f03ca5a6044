#include <algorithm>

#include "base/paths.h"
#include "playback/engine_choice.h"
#include "playback/playback_job.h"

// The user's choices.
namespace morvane {
namespace {

constexpr int32_t kMostHandles = 60;         // frames
constexpr int32_t kMostTimecodeOffset = 30;  // frames

}  // namespace

NxErr PlaybackEngine::SetRangeType(uint32_t type) {
  return Choose([&] {
    const bool known = type <= static_cast<uint32_t>(PlayRange::Marks);
    settings_.rangeType = known ? type : 0;
    return known ? NxErrSuccess : NxErrFailure;
  });
}

NxErr PlaybackEngine::SetLoopType(uint32_t type) {
  return Choose([&] {
    const bool known = type <= static_cast<uint32_t>(PlayLoop::Bounce);
    settings_.loopType = known ? type : 0;
    return known ? NxErrSuccess : NxErrFailure;
  });
}

NxErr PlaybackEngine::SetInPoint(int32_t frame) {
  return Choose([&] {
    if (frame < 0 || frame >= plan_.Length() || frame > outPoint_) return NxErrFailure;
    inPoint_ = frame;
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetOutPoint(int32_t frame) {
  return Choose([&] {
    if (frame < 0 || frame >= plan_.Length() || frame < inPoint_) return NxErrFailure;
    outPoint_ = frame;
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetPosition(int32_t frame) {
  return Choose([&] {
    if (frame < 0 || frame >= plan_.Length()) return NxErrFailure;
    position_ = frame;
    job_->currentFrame.Set(frame);
    job_->audioFrame.Set(frame);
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetVideoEnable(bool on) {
  return Choose([&] {
    settings_.videoEnable = on ? 1 : 0;
    PlanMedia();
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetTrackEnable(int32_t track, bool on) {
  return Choose([&] {
    if (track < 0 || track >= kPlaybackTracks) return NxErrFailure;
    settings_.trackEnable[track] = on ? 1 : 0;
    PlanMedia();
    return NxErrSuccess;
  });
}

// It says nothing to the card, so the card's lock is not asked for.
NxErr PlaybackEngine::SetActivationMode(uint32_t mode) {
  if (!MayChoose() || mode > 1) return NxErrFailure;
  settings_.activationMode = mode;
  return NxErrSuccess;
}

NxErr PlaybackEngine::SetAudioVarispeed(bool on) {
  return Choose([&] {
    settings_.audioVariSpeed = on ? 1 : 0;
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetTimeBaseDisplay(uint32_t base) {
  return Choose([&] {
    if (base > static_cast<uint32_t>(TimeBaseDisplay::DropFrame)) return NxErrFailure;
    settings_.timeBaseDisplay = base;
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetAudioAutoSearch(bool on) {
  return Choose([&] {
    settings_.audioAutoSearch = on ? 1 : 0;
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetEnforceAlignment(bool on) {
  return Choose([&] {
    settings_.enforceAlignment = on ? 1 : 0;
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetVideoDirectory(const std::string& utf8) {
  return Choose([&] {
    std::u16string wide;
    if (!Utf8ToUtf16(utf8, &wide)) return NxErrFailure;
    settings_.videoDirectory.Set(wide);
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetAudioDirectory(const std::string& utf8) {
  return Choose([&] {
    std::u16string wide;
    if (!Utf8ToUtf16(utf8, &wide)) return NxErrFailure;
    settings_.audioDirectory.Set(wide);
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetHandles(int32_t frames) {
  return Choose([&] {
    settings_.handles = std::clamp(frames, 0, kMostHandles);
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetTimecodeOffset(int32_t frames) {
  return Choose([&] {
    settings_.tcOffsetOut = std::clamp(frames, -kMostTimecodeOffset, kMostTimecodeOffset);
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetPrintType(uint32_t type) {
  return Choose([&] {
    if (type > static_cast<uint32_t>(PrintType::Blacken)) return NxErrFailure;
    settings_.printType = type;
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetDisplayType(uint32_t type) {
  return Choose([&] {
    if (type > 1) return NxErrFailure;
    settings_.displayType = type;
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetDisplaySize(uint32_t index) {
  return Choose([&] {
    if (index > 8) return NxErrFailure;
    settings_.displaySize = index;
    ApplyDisplaySize(index, &view_);
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetDisplayOrigin(int32_t x, int32_t y) {
  return Choose([&] {
    view_.originX = x;
    view_.originY = y;
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetDisplayZoom(float percentX, float percentY) {
  return Choose([&] {
    if (settings_.displaySize != kFreeDisplaySize) return NxErrFailure;
    view_.widthPercent = percentX;
    view_.heightPercent = percentY;
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetBars(bool on, uint32_t seconds) {
  return Replan([&] {
    settings_.barsEnable = on ? 1 : 0;
    if (seconds <= kMostPartSeconds) settings_.barsSeconds = seconds;
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetToneLevel(uint32_t percent) {
  return Choose([&] {
    if (percent > 100) return NxErrFailure;
    settings_.toneLevel = percent;
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetLeader(bool on, uint32_t seconds) {
  return Replan([&] {
    settings_.leaderEnable = on ? 1 : 0;
    if (seconds <= kMostPartSeconds) settings_.leaderSeconds = seconds;
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetTrailer(bool on, uint32_t seconds) {
  return Replan([&] {
    settings_.trailerEnable = on ? 1 : 0;
    if (seconds <= kMostPartSeconds) settings_.trailerSeconds = seconds;
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::SetDisplayToDesktop(uint32_t mode) {
  if (!opened_ || mode > 3) return NxErrFailure;
  settings_.displayToDesktop = mode;
  job_->displayToDesktop.Set(mode);
  return NxErrSuccess;
}

NxErr PlaybackEngine::SetDisplaySpeed(uint32_t speed) {
  if (!opened_ || speed > 2) return NxErrFailure;
  settings_.displaySpeed = speed;
  job_->displaySpeed.Set(speed);
  return NxErrSuccess;
}

}  // namespace morvane
