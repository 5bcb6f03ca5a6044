#include <algorithm>

#include "base/clock.h"
#include "capture/capture_engine.h"
#include "capture/capture_window.h"
#include "session/card2.h"
#include "toolkit/gui.h"

// The two threads of the capture tab.
namespace morvane {
namespace {

constexpr uint32_t kStatusRoundMs = 4;
constexpr uint32_t kIdleRoundMs = 8;
constexpr uint32_t kRoundMs = 1;
constexpr int64_t kNsPerSecond = 1'000'000'000;

// Sets a control's text if it is not the one that was shown last.
bool ShowIfNew(NXStatic* control, const std::string& text, std::string* shown) {
  if (text == *shown) return false;
  *shown = text;
  control->SetWindowNXText(text.c_str(), true);
  return true;
}

// Between two pictures of the format.
int64_t PicturePeriodNs(CRQD5Card2& session) {
  uint32_t scale = 0;
  uint32_t duration = 0;
  session.GetCardRate(&scale, &duration);
  return scale > 0 ? kNsPerSecond * duration / scale : 0;
}

}  // namespace

void MorvaneCaptureWnd::RunStatus(void* self) {
  static_cast<MorvaneCaptureWnd*>(self)->StatusLoop();
}

void MorvaneCaptureWnd::RunPreview(void* self) {
  static_cast<MorvaneCaptureWnd*>(self)->PreviewLoop();
}

void MorvaneCaptureWnd::StatusLoop() {
  while (!status_.StopRequested()) {
    if (status_.PauseRequested()) {
      status_.Rest();
      continue;
    }
    if (StatusRound(status_.TakeResumed())) NXRePaint();
    if (engine_->HasEnded()) NXSendMessage(nxNode, APPMSG_CAPTURE_ENDED, 0, 0, nullptr, nullptr);
    NxSleep(kStatusRoundMs);
  }
}

bool MorvaneCaptureWnd::StatusRound(bool afresh) {
  if (!engine_->IsActive()) return false;
  if (afresh) {
    shownStatus_.clear();
    shownCaptured_.clear();
    shownDropped_.clear();
  }
  bool changed = ShowIfNew(&framesCaptured_, engine_->FramesCapturedText(), &shownCaptured_);
  changed |= ShowIfNew(&framesDropped_, engine_->FramesDroppedText(), &shownDropped_);
  changed |= ShowIfNew(&captureStatus_, engine_->StatusText(), &shownStatus_);
  return changed;
}

void MorvaneCaptureWnd::PreviewBegin() {
  int32_t width = 0;
  int32_t height = 0;
  engine_->GetPreviewSize(&width, &height);
  sink_.SetDisplayType(static_cast<uint32_t>(engine_->Settings().displayType));
  (void)sink_.Begin(width, height);
  nextPictureNs_ = 0;
}

void MorvaneCaptureWnd::PreviewLoop() {
  while (!preview_.StopRequested()) {
    if (preview_.PauseRequested()) {
      if (!preview_.Rested()) sink_.End();
      preview_.Rest();
      continue;
    }
    if (preview_.TakeResumed()) PreviewBegin();
    if (engine_->IsQueued() || engine_->IsCapturing()) {
      // Out of sight the mark stands still, and the job with it: see NXIsVideoWindowVisible.
      if (NXIsVideoWindowVisible(video_) != 0 && engine_->PreviewRound(&sink_)) showsInput_.Set(1);
    } else {
      PreviewIdleRound();
      NxSleep(kIdleRoundMs);
    }
    NxSleep(kRoundMs);
  }
  sink_.End();
}

void MorvaneCaptureWnd::PreviewIdleRound() {
  const int64_t now = NxClockNowNs();
  if (now < nextPictureNs_ || !engine_->IsActive()) return;
  const auto shown = engine_->ShowLiveInput(&sink_, frame_.Data(), frame_.Bytes());
  if (shown == CaptureEngine::LivePicture::Shown) {
    showsInput_.Set(1);
    // As often as pictures come, however long the rounds are; what was missed is not made up for.
    const int64_t period = PicturePeriodNs(engine_->Session());
    nextPictureNs_ = std::max(nextPictureNs_, now - period) + period;
    return;
  }
  if (shown != CaptureEngine::LivePicture::NoSignal || !ShowsInput()) return;
  // The signal went: the logo needs a run of its own.
  sink_.End();
  ShowIdlePicture();
  PreviewBegin();
  showsInput_.Set(0);
}

}  // namespace morvane
