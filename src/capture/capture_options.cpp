#include <algorithm>
#include <iterator>
#include <utility>

#include "base/paths.h"
#include "capture/capture_engine.h"
#include "media/media_file_base.h"

// The setters of the capture tab's choices: guards, clamps and resets.
namespace morvane {
namespace {

constexpr char16_t kDefaultClipName[] = u"Untitled Clip 01";
constexpr char kDefaultReelName[] = "Untitled";
constexpr size_t kLeastOffsetDigits = 4;
constexpr char kDigits[] = "0123456789";
constexpr int32_t kFreeZoom = kFreeDisplaySize;

// Directories are kept whole or not at all: a cut path would be another folder.
template <size_t N>
NxErr SetWhole(const std::string& utf8, WideField<N>* field) {
  std::u16string text;
  if (utf8.empty() || !Utf8ToUtf16(utf8, &text) || text.size() >= N) return NxErrFailure;
  field->Set(text);
  return NxErrSuccess;
}

}  // namespace

bool CaptureEngine::MayChoose() const {
  return opened_ && !IsQueued() && !IsCapturing();
}

template <typename Change>
NxErr CaptureEngine::Guarded(Guard guard, Change change) {
  if (!MayChoose() || (guard == Guard::ActiveLocked && !active_)) return NxErrFailure;
  if (guard == Guard::Open) return change();
  if (NxWait(lock_, 0) != NxErrSuccess) return NxErrFailure;
  const NxErr result = change();
  NxReleaseSemaphore(lock_);
  return result;
}

NxErr CaptureEngine::SetCaptureMode(int32_t mode) {
  return Guarded(Guard::Open, [&] {
    if (mode < 0 || mode >= GetNumCaptureModes()) return NxErrFailure;
    settings_.captureMode = mode;
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetFileType(int32_t type) {
  return Guarded(Guard::Open, [&] {
    settings_.fileType = type;
    settings_.fileType = static_cast<int32_t>(FileTypeOf(settings_));
    MakeFile();
    return file_ != nullptr ? NxErrSuccess : NxErrFailure;
  });
}

NxErr CaptureEngine::SetStyle(int32_t index) {
  return Guarded(Guard::Open, [&] {
    const bool known = index >= 0 && index < GetNumStyles();
    ChoicesOf(&settings_).style = known ? index : 0;
    return known ? NxErrSuccess : NxErrFailure;
  });
}

NxErr CaptureEngine::SetVideoSubtype(int32_t index) {
  return Guarded(Guard::Open, [&] {
    CaptureFileChoice& choice = ChoicesOf(&settings_);
    NxImageWriteFormatDescription format = {};
    const bool known = index >= 0 && index < GetNumVideoSubtypes() &&
                       file_->GetImageWriteFormatDescription(index, &format) == NxErrSuccess;
    choice.videoSubtype = known ? index : 0;
    if (!known) return NxErrFailure;
    const auto quality = static_cast<int64_t>(choice.videoQuality);
    if (format.hasQuality == 0) {
      choice.videoQuality = -1;
    } else if (quality < format.qualityMinimum || quality > format.qualityMaximum) {
      choice.videoQuality = static_cast<int32_t>(format.qualityDefault);
    }
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetAudioSubtype(int32_t index) {
  return Guarded(Guard::Open, [&] {
    CaptureFileChoice& choice = ChoicesOf(&settings_);
    const bool known = index >= 0 && index < GetNumAudioSubtypes();
    choice.audioSubtype = known ? index : 0;
    choice.audioTracks = 0;
    return known ? NxErrSuccess : NxErrFailure;
  });
}

NxErr CaptureEngine::SetAudioTracks(int32_t index) {
  return Guarded(Guard::Open, [&] {
    if (index < 0 || index >= GetNumAudioTracks()) return NxErrFailure;
    ChoicesOf(&settings_).audioTracks = index;
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetVideoQuality(int32_t quality) {
  return Guarded(Guard::Open, [&] {
    CaptureFileChoice& choice = ChoicesOf(&settings_);
    NxImageWriteFormatDescription format = {};
    if (file_ == nullptr ||
        file_->GetImageWriteFormatDescription(choice.videoSubtype, &format) != NxErrSuccess) {
      return NxErrFailure;
    }
    const auto value = static_cast<int64_t>(quality);
    if (format.hasQuality == 0 || value < format.qualityMinimum || value > format.qualityMaximum) {
      return NxErrFailure;
    }
    choice.videoQuality = quality;
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetVideoDirectory(const std::string& utf8) {
  return Guarded(Guard::Open, [&] { return SetWhole(utf8, &settings_.videoDirectory); });
}

NxErr CaptureEngine::SetAudioDirectory(const std::string& utf8) {
  return Guarded(Guard::Open, [&] { return SetWhole(utf8, &settings_.audioDirectory); });
}

NxErr CaptureEngine::SetClipName(const std::string& utf8) {
  return Guarded(Guard::ActiveLocked, [&] {
    std::u16string name;
    if (!Utf8ToUtf16(utf8, &name)) return NxErrFailure;
    if (name.empty()) name = kDefaultClipName;
    if (name.size() > kClipNameCharacters) name.resize(kClipNameCharacters);
    settings_.clipName.Set(name);
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetSequenceOffset(const std::string& text) {
  return Guarded(Guard::ActiveLocked, [&] {
    constexpr size_t kRoom = sizeof settings_.sequenceOffset / 2;
    if (text.size() >= kRoom || text.find_first_not_of(kDigits) != std::string::npos) {
      return NxErrFailure;
    }
    std::u16string number(text.begin(), text.end());
    if (number.size() < kLeastOffsetDigits) {
      number.insert(0, kLeastOffsetDigits - number.size(), u'0');
    }
    settings_.sequenceOffset.Set(number);
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetReelName(const std::string& utf8) {
  return Guarded(Guard::ActiveLocked, [&] {
    settings_.reelName.Set(utf8.empty() ? kDefaultReelName : utf8);
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetFolderPerSequence(bool on) {
  return Guarded(Guard::ActiveLocked, [&] {
    settings_.folderPerSequence = on ? 1 : 0;
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetAbortOnDrop(bool on) {
  return Guarded(Guard::ActiveLocked, [&] {
    settings_.abortOnDrop = on ? 1 : 0;
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetIn(const std::string& timecode) {
  return Guarded(Guard::ActiveLocked, [&] {
    SetInPoint(&settings_, timecode);
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetOut(const std::string& timecode) {
  return Guarded(Guard::ActiveLocked, [&] {
    SetOutPoint(&settings_, timecode);
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetInOutDuration(const std::string& timecode) {
  return Guarded(Guard::ActiveLocked, [&] {
    morvane::SetInOutDuration(&settings_, timecode);
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetDurationFrames(int32_t frames) {
  return Guarded(Guard::ActiveLocked, [&] {
    settings_.durationFrames = std::max(1, frames);
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetHandles(int32_t frames) {
  return Guarded(Guard::OpenLocked, [&] {
    settings_.handles = std::clamp(frames, 0, kMaximumHandles);
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetTimecodeOffset(int32_t frames) {
  return Guarded(Guard::OpenLocked, [&] {
    settings_.timecodeOffset = std::clamp(frames, -kMaximumTimecodeOffset, kMaximumTimecodeOffset);
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetEnforceAlignment(bool on) {
  return Guarded(Guard::OpenLocked, [&] {
    settings_.enforceAlignment = on ? 1 : 0;
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetAudioAutoSearch(bool on) {
  return Guarded(Guard::OpenLocked, [&] {
    settings_.audioAutoSearch = on ? 1 : 0;
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetAudioScrubbing(bool on) {
  return Guarded(Guard::OpenLocked, [&] {
    settings_.audioScrubbing = on ? 1 : 0;
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetAudioVarispeed(bool on) {
  return Guarded(Guard::OpenLocked, [&] {
    settings_.audioVarispeed = on ? 1 : 0;
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetDisplayToDesktop(int32_t mode) {
  return Guarded(Guard::Open, [&] {
    if (mode < 0 || mode > 3) return NxErrFailure;
    settings_.displayToDesktop = mode;
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetDisplayType(int32_t type) {
  return Guarded(Guard::Open, [&] {
    if (type < 0 || type > 1) return NxErrFailure;
    settings_.displayType = type;
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetDisplaySize(int32_t index) {
  return Guarded(Guard::Open, [&] {
    if (index < 0 || index > kFreeZoom) return NxErrFailure;
    settings_.displaySize = index;
    ApplyDisplaySize(static_cast<uint32_t>(index), &view_);
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetDisplayOrigin(int32_t x, int32_t y) {
  return Guarded(Guard::Open, [&] {
    view_.originX = x;
    view_.originY = y;
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetDisplayZoom(float percentX, float percentY) {
  return Guarded(Guard::Open, [&] {
    if (settings_.displaySize != kFreeZoom) return NxErrFailure;
    view_.widthPercent = percentX;
    view_.heightPercent = percentY;
    return NxErrSuccess;
  });
}

NxErr CaptureEngine::SetActivationMode(int32_t mode) {
  return Guarded(Guard::Open, [&] {
    if (mode < 0 || mode > 1) return NxErrFailure;
    settings_.activationMode = mode;
    return NxErrSuccess;
  });
}

}  // namespace morvane
