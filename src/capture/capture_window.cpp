#include "capture/capture_window.h"

#include "base/paths.h"
#include "base/system.h"
#include "capture/capture_engine.h"
#include "session/card2.h"
#include "toolkit/gui.h"

// The capture tab on the main thread; its threads are in capture_window_threads.cpp.
namespace morvane {
namespace {

constexpr size_t kIdleFrameBytes = 12746752;
constexpr char kNoFrames[] = "00:00:00:00  ( 0 )";
constexpr int kVideoLeft = 3;
constexpr int kStatusGap = 32;       // between picture and texts
constexpr int kStatusRow = 42;       // from text to text
constexpr int kLabelHeight = 16;     // above a text
constexpr int32_t kLabelColor = 16;  // of the scheme

constexpr int32_t kStatusPriority = 0;
constexpr int32_t kPreviewPriority = 1;

// The last processor but one.
uint64_t PreviewProcessor() {
  const uint32_t count = NxProcessorCount();
  return uint64_t{1} << (count > 1 ? (count - 2) % 64 : 0);
}

}  // namespace

MorvaneCaptureWnd::MorvaneCaptureWnd() {
  NameNXWindow("captureWindow");
}

MorvaneCaptureWnd::~MorvaneCaptureWnd() = default;

std::array<MorvaneCaptureWnd::StatusLine, MorvaneCaptureWnd::kStatusLines>
MorvaneCaptureWnd::StatusLines() {
  return {{{&activity_, "activity", "VYR Device Status", "Not Open"},
           {&videoFormat_, "videoFormat", "Video Format", ""},
           {&videoInput_, "videoInput", "Video Input", ""},
           {&captureStatus_, "captureStatus", "Capture Status", "Offline"},
           {&framesCaptured_, "framesCaptured", "Frames Captured", kNoFrames},
           {&framesDropped_, "framesDropped", "Frames Dropped", kNoFrames}}};
}

NxRECT MorvaneCaptureWnd::VideoRect() const {
  const int width = static_cast<int>((nxRect.w + 2 * nxRect.x) * 0.75);
  const int height = width * 9 / 16;
  return {kVideoLeft, nxRect.h - height, width, height};
}

NxRECT MorvaneCaptureWnd::StatusRect(int line) const {
  const int left = static_cast<int>((nxRect.w + 2 * nxRect.x) * 0.75) + kStatusGap;
  const int top = nxRect.h - kStatusRow * (line + 1);
  return {left, top, nxRect.w - left - NXGetDefaultSpacing(), NXGetDefaultButtonYSize()};
}

NxErr MorvaneCaptureWnd::OnNXCreate() {
  const NxRECT videoRect = VideoRect();
  video_ = NXCreateVideoWindow(nxNode, "Capture Video Window", &videoRect, 3);
  sink_.SetWindow(video_);
  int row = 0;
  for (const StatusLine& line : StatusLines()) {
    const NxRECT rect = StatusRect(row++);
    line.text->NameNXWindow(line.member, line.label);
    line.text->CreateNXWindow(line.idle, 0, 1, 0, &rect, this);
  }
  return NxErrSuccess;
}

NxErr MorvaneCaptureWnd::OnNXResize() {
  const NxRECT videoRect = VideoRect();
  NXResizeVideoWindow(video_, &videoRect);
  int row = 0;
  for (const StatusLine& line : StatusLines()) {
    const NxRECT rect = StatusRect(row++);
    line.text->ResizeNXWindow(&rect, false);
  }
  return NxErrSuccess;
}

NxErr MorvaneCaptureWnd::OnNXDestroy() {
  Shutdown();
  return NxErrSuccess;
}

NxErr MorvaneCaptureWnd::RenderNXWindow() {
  NxFCOLOR color;
  NXGetSchemeColor(kLabelColor, &color);
  int row = 0;
  for (const StatusLine& line : StatusLines()) {
    NxRECT rect = StatusRect(row++);
    rect.y += rect.h;
    rect.h = kLabelHeight;
    NXPrintText(line.label, &rect, &color, 0, 0, nullptr);
  }
  return NxErrSuccess;
}

void MorvaneCaptureWnd::Prepare(const std::string& moduleFolder) {
  (void)logo_.Load(JoinPath(moduleFolder, "data/icons/vyr.bmp"));
}

bool MorvaneCaptureWnd::IsBusy() const {
  return activated_ && engine_ != nullptr && (engine_->IsQueued() || engine_->IsCapturing());
}

NxErr MorvaneCaptureWnd::Activate(CaptureEngine* engine, bool held) {
  if (activated_ || threadLost_) return NxErrFailure;
  engine_ = engine;
  if (held && engine != nullptr) {
    NXShowVideoWindow(video_, 1);
    ShowIdlePicture();
    if (!frame_.Allocate(kIdleFrameBytes)) {
      Shutdown();
      engine_ = nullptr;
      return NxErrFailure;
    }
    if (!engine->IsActive()) (void)engine->Activate();
  }
  const bool open = engine != nullptr && engine->IsOpen();
  ShowDevice(!open ? "Not Open" : engine->IsActive() ? "Active" : "Not Active");
  if (!held || !open) {
    engine_ = nullptr;
    return NxErrFailure;
  }
  shownStatus_.clear();
  shownCaptured_.clear();
  shownDropped_.clear();
  activated_ = true;
  // A thread that cannot be made leaves its part of the window as it is.
  (void)status_.Start(RunStatus, this, kStatusPriority, 1);
  (void)preview_.Start(RunPreview, this, kPreviewPriority, PreviewProcessor());
  return NxErrSuccess;
}

NxErr MorvaneCaptureWnd::Deactivate(bool hide) {
  if (!activated_) return NxErrFailure;
  const bool statusEnded = status_.Stop();
  const bool previewEnded = preview_.Stop();
  threadLost_ = !statusEnded || !previewEnded;
  if (engine_ != nullptr && engine_->IsActive()) {
    engine_->Stop();
    (void)engine_->Deactivate();
  }
  activated_ = false;
  showsInput_.Set(0);
  ShowIdleTexts();
  // What an abandoned thread may still touch stays.
  if (!threadLost_) {
    frame_.Free();
    engine_ = nullptr;
  }
  // A picture that stands still for ever is not to be taken for the input.
  if (hide || threadLost_) {
    NXShowVideoWindow(video_, 0);
  } else {
    ShowIdlePicture();
  }
  return NxErrSuccess;
}

void MorvaneCaptureWnd::Shutdown() {
  (void)Deactivate(false);
  // Deliberate: an abandoned thread may still fill the frame buffer, draw the logo and be in its
  // run of the video window. They are left to it until the process ends.
  if (threadLost_) return;
  frame_.Free();
  logo_.Free();
  if (video_ != nullptr) NXDestroyVideoWindow(video_);
  video_ = nullptr;
}

void MorvaneCaptureWnd::HideVideoWindow() {
  NXShowVideoWindow(video_, 0);
}

NxErr MorvaneCaptureWnd::SetOutputOption(int /*index*/) {
  return NxErrFailure;
}

void MorvaneCaptureWnd::PauseThreads() {
  status_.Pause();
  preview_.Pause();
}

void MorvaneCaptureWnd::ResumeThreads() {
  preview_.Resume();
  status_.Resume();
}

void MorvaneCaptureWnd::ShowIdlePicture() {
  if (threadLost_) return;
  NXBlackenVideoWindow(video_);
  logo_.Draw(video_);
}

void MorvaneCaptureWnd::ShowDevice(const char* activity) {
  std::string format;
  std::string input;
  if (engine_ != nullptr && engine_->IsOpen()) {
    CRQD5Card2& session = engine_->Session();
    uint32_t index = 0;
    if (!session.GetVideoFormat(&index) || !session.GetVideoFormatDesc(index, &format)) {
      format.clear();
    }
    if (!session.GetVideoInput(&index) || !session.GetVideoInputDesc(index, &input)) input.clear();
  }
  activity_.SetWindowNXText(activity, true);
  videoFormat_.SetWindowNXText(format.c_str(), true);
  videoInput_.SetWindowNXText(input.c_str(), true);
}

void MorvaneCaptureWnd::ShowIdleTexts() {
  activity_.SetWindowNXText("Not Active", true);
  videoFormat_.SetWindowNXText("", true);
  videoInput_.SetWindowNXText("", true);
  captureStatus_.SetWindowNXText("Offline", true);
  framesCaptured_.SetWindowNXText(kNoFrames, true);
  framesDropped_.SetWindowNXText(kNoFrames, true);
}

// The status thread saw it and waits in its send: only the preview is paused.
void MorvaneCaptureWnd::CaptureEnded() {
  if (engine_ == nullptr) return;
  preview_.Pause();
  if (engine_->IsCapturing()) {
    engine_->Stop();
    if (engine_->FramesDropped() != 0 && engine_->Settings().abortOnDrop != 0) {
      NXShowMB("Error", "Capture Aborted. Frames Dropped.");
    }
  }
  preview_.Resume();
}

NxErr MorvaneCaptureWnd::ReceiveNXMessage(uint32_t message, int a, int b, void* c, void* d) {
  if (message == APPMSG_CAPTURE_ENDED) {
    CaptureEnded();
  } else if (message == NXMSG_VIDEOEXPOSED && c == video_ && video_ != nullptr) {
    preview_.Pause();
    if (!ShowsInput()) ShowIdlePicture();
    preview_.Resume();
  }
  return NXWindow::ReceiveNXMessage(message, a, b, c, d);
}

}  // namespace morvane
