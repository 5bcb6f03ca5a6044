#include "playback/playback_engine.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "device/board_scan.h"
#include "playback/playback_job.h"
#include "session/audio_output.h"
#include "session/card2.h"

// Life of an engine, and what it tells of a play.
namespace morvane {
namespace {

constexpr double kFastForward = 4;  // from above it on

}  // namespace

PlaybackEngine::PlaybackEngine()
    : session_(std::make_shared<CRQD5Card2>()),
      audio_(std::make_shared<CRQD5AudioOutput>()),
      job_(std::make_shared<PlaybackJob>()),
      processorCount_(NxProcessorCount()) {
  ResetPlaybackSettings(RQD5Channel1, {}, &settings_);
}

PlaybackEngine::~PlaybackEngine() {
  (void)Close();
}

NxErr PlaybackEngine::Open(const RQD5BoardInfo& board, PlaybackStore store) {
  (void)Close();
  if (!session_->OpenSession(board.boardIndex, board, kSessionCaptureAndPlay)) {
    return NxErrFailure;
  }
  lock_ = NxCreateSemaphore(1, 1, nullptr);
  if (lock_ == nullptr) {
    session_->Close();
    return NxErrFailure;
  }
  store_ = store;
  SessionConfigurationBlock configuration = {};
  (void)session_->GetDefaultConfiguration(&configuration);
  PlaybackSettings defaults;
  ResetPlaybackSettings(session_->GetSessionChannel(), configuration, &defaults);
  settings_ = defaults;
  std::string boardName;
  if (store_ == PlaybackStore::Keep && session_->GetBoardSuffix(&boardName)) {
    LoadPlaybackSettings(boardName, defaults, &settings_);
  }
  view_ = {};
  ApplyDisplaySize(settings_.displaySize, &view_);
  // A card without sound plays pictures alone.
  audioOpened_ =
      audio_->Open(static_cast<uint16_t>(board.boardNumber), false, board.boardType, nullptr);
  // The control of a tape machine is opened here, when playback drives one.
  opened_ = true;
  still_ = false;
  PlanFrames();
  return NxErrSuccess;
}

NxErr PlaybackEngine::Close() {
  if (!opened_) return NxErrFailure;
  (void)Deactivate();
  (void)CloseClip();
  sound_ = {};
  job_ = std::make_shared<PlaybackJob>();
  bars_.reset();
  if (audioOpened_) audio_->Close();
  audioOpened_ = false;
  session_->Close();
  NxCloseHandle(lock_);
  lock_ = nullptr;
  opened_ = false;
  return NxErrSuccess;
}

NxErr PlaybackEngine::Activate() {
  if (!opened_) return NxErrFailure;
  if (active_) return NxErrSuccess;
  if (!session_->SetConfiguration(settings_.session)) return NxErrFailure;
  sessionApplied_ = true;
  session_->Settle();
  if (audioOpened_) {
    if (!audio_->SetFormat(settings_.audio)) {
      AudioSettingsBlock plain = {};
      CRQD5AudioOutput::GetDefaultFormat(&plain);
      (void)audio_->SetFormat(plain);
    }
    audioActive_ = audio_->Start(0);
    audioTrackCount_ =
        std::min(static_cast<int32_t>(audio_->GetAudioChannels(RQD5Channel1)), kPlaybackTracks);
  }
  active_ = true;
  PlanFrames();
  RestoreIdle();
  Arm();
  return NxErrSuccess;
}

NxErr PlaybackEngine::Deactivate() {
  if (!opened_ || !active_) return NxErrFailure;
  (void)Stop(true);
  Disarm();
  if (NxWait(lock_, 0) == NxErrSuccess) {
    (void)session_->SetLiveInput(false);
    (void)session_->SetIdleOutput(IdleOutput::Black);
    if (audioActive_) (void)audio_->Stop();
    NxReleaseSemaphore(lock_);
  }
  audioActive_ = false;
  audioTrackCount_ = 0;
  sessionApplied_ = false;
  active_ = false;
  std::string boardName;
  if (store_ == PlaybackStore::Keep && session_->GetBoardSuffix(&boardName)) {
    SavePlaybackSettings(boardName, settings_);
  }
  return NxErrSuccess;
}

NxErr PlaybackEngine::KeepSessionChoices() {
  if (!MayChoose() || active_) return NxErrFailure;
  SessionConfigurationBlock configuration = {};
  if (!session_->GetConfiguration(&configuration)) return NxErrFailure;
  settings_.session = configuration;
  PlanFrames();
  return NxErrSuccess;
}

// Tried, cleared and released before anybody takes the lock for longer.
void PlaybackEngine::Disarm() {
  if (!armed_ || NxWait(lock_, 0) != NxErrSuccess) return;
  armed_ = false;
  NxReleaseSemaphore(lock_);
}

void PlaybackEngine::Arm() {
  if (armed_ || !active_ || NxWait(lock_, 0) != NxErrSuccess) return;
  armed_ = true;
  NxReleaseSemaphore(lock_);
}

void PlaybackEngine::RestoreIdle() {
  if (active_) (void)session_->SetIdleOutput(IdleOutput::EToE);
}

bool PlaybackEngine::IsCirculating() const {
  return IsPlaying() && job_->circulating.Get() != 0;
}

bool PlaybackEngine::HasEnded() const {
  return IsPlaying() && launched_.Get() != 0 && !job_->reader.Running() && !job_->mover.Running() &&
         !job_->player.Running();
}

int32_t PlaybackEngine::GetPlayingFrame() {
  const bool pictures = IsPlaying() ? job_->hasVideo : hasVideo_;
  const bool sound = IsPlaying() ? job_->hasAudio : hasAudio_;
  position_ = pictures ? job_->currentFrame.Get() : sound ? job_->audioFrame.Get() : 0;
  return position_;
}

int32_t PlaybackEngine::FramesPlayed() const {
  return job_->hasVideo ? job_->framesPlayed.Get() : job_->audioFramesPlayed.Get();
}

int32_t PlaybackEngine::FramesLost() const {
  return job_->framesLost.Get();
}

uint32_t PlaybackEngine::FramesDropped() const {
  return job_->droppedFrames.Get();
}

PlaybackDrops PlaybackEngine::Drops() const {
  return {job_->droppedByDisk.Get(), job_->droppedByCard.Get(), job_->droppedByProcessor.Get()};
}

NxErr PlaybackEngine::GetPlayError() const {
  return job_->startRefused.Get() != 0 ? NxErrStartAutoCirculate : NxErrSuccess;
}

std::string PlaybackEngine::GetStatusWord() const {
  if (!active_) return "Offline";
  if (!IsPlaying()) return still_ ? "Still" : "Stop";
  const double speed = Speed();
  const double size = std::abs(speed);
  const char* word = speed > kFastForward     ? "Fast Forward"
                     : speed > 0              ? "Play"
                     : speed >= -kFastForward ? "Reverse Play"
                                              : "Rewind";
  char text[64] = {};
  (void)std::snprintf(text, sizeof text, size < 1 || size >= 10 ? "%s %.2gx" : "%s %.1gx", word,
                      speed);
  return text;
}

}  // namespace morvane
