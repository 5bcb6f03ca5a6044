#include "capture/capture_engine.h"
#include "session/card2.h"

// Taking the card for this application, and giving it back.
namespace morvane {

NxErr CaptureEngine::Activate() {
  if (!opened_) return NxErrFailure;
  // The overlay picture is loaded before, and given to the mixer after, when there is a window that
  // offers one.
  if (!session_->SetConfiguration(settings_.session)) return NxErrFailure;
  inputConfigured_ = true;
  session_->Settle();
  active_ = true;
  // A tape machine that is open is started here.
  LiveInputOn();
  return NxErrSuccess;
}

NxErr CaptureEngine::Deactivate() {
  if (!opened_ || !active_) return NxErrFailure;
  Stop();
  if (NxWait(lock_, 0) == NxErrSuccess) {
    (void)session_->SetLiveInput(false);
    (void)session_->SetIdleOutput(IdleOutput::Black);
    liveInput_ = false;
    NxReleaseSemaphore(lock_);
  }
  inputConfigured_ = false;
  active_ = false;
  std::string boardName;
  if (store_ == CaptureStore::Keep && session_->GetBoardSuffix(&boardName)) {
    (void)SaveCaptureSettings(boardName, settings_);
  }
  return NxErrSuccess;
}

NxErr CaptureEngine::KeepSessionChoices() {
  if (!opened_ || active_ || IsQueued() || IsCapturing()) return NxErrFailure;
  SessionConfigurationBlock configuration = {};
  if (!session_->GetConfiguration(&configuration)) return NxErrFailure;
  settings_.session = configuration;
  return NxErrSuccess;
}

void CaptureEngine::LiveInputOn() {
  if (!active_ || NxWait(lock_, 0) != NxErrSuccess) return;
  liveInput_ = session_->SetLiveInput(true);
  NxReleaseSemaphore(lock_);
}

}  // namespace morvane
