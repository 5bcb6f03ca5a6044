#include "playback/playback_window.h"

#include <cstdio>

#include "playback/playback_engine.h"
#include "toolkit/gui.h"

namespace morvane {
namespace {

constexpr int kVideoLeft = 3;
constexpr int kStatusGap = 32;       // between picture and text
constexpr int kStatusRow = 42;       // from the top to the text
constexpr int kLabelHeight = 16;     // above the text
constexpr int32_t kLabelColor = 16;  // of the scheme

}  // namespace

MorvanePlaybackWnd::MorvanePlaybackWnd() {
  NameNXWindow("playbackWindow");
}

MorvanePlaybackWnd::~MorvanePlaybackWnd() = default;

NxRECT MorvanePlaybackWnd::VideoRect() const {
  const int width = static_cast<int>((nxRect.w + 2 * nxRect.x) * 0.75);
  const int height = width * 9 / 16;
  return {kVideoLeft, nxRect.h - height, width, height};
}

NxRECT MorvanePlaybackWnd::ActivityRect() const {
  const int left = static_cast<int>((nxRect.w + 2 * nxRect.x) * 0.75) + kStatusGap;
  return {left, nxRect.h - kStatusRow, nxRect.w - left - NXGetDefaultSpacing(),
          NXGetDefaultButtonYSize()};
}

NxErr MorvanePlaybackWnd::OnNXCreate() {
  const NxRECT videoRect = VideoRect();
  video_ = NXCreateVideoWindow(nxNode, "Playback Video Window", &videoRect, 3);
  const NxRECT rect = ActivityRect();
  activity_.NameNXWindow("activity", "VYR Device Status");
  activity_.CreateNXWindow("Not Open", 0, 1, 0, &rect, this);
  return NxErrSuccess;
}

NxErr MorvanePlaybackWnd::OnNXResize() {
  const NxRECT videoRect = VideoRect();
  NXResizeVideoWindow(video_, &videoRect);
  const NxRECT rect = ActivityRect();
  activity_.ResizeNXWindow(&rect, false);
  return NxErrSuccess;
}

NxErr MorvanePlaybackWnd::OnNXDestroy() {
  Shutdown();
  return NxErrSuccess;
}

NxErr MorvanePlaybackWnd::RenderNXWindow() {
  NxFCOLOR color;
  NXGetSchemeColor(kLabelColor, &color);
  NxRECT rect = ActivityRect();
  rect.y += rect.h;
  rect.h = kLabelHeight;
  return NXPrintText("VYR Device Status", &rect, &color, 0, 0, nullptr);
}

bool MorvanePlaybackWnd::IsBusy() const {
  return activated_ && engine_ != nullptr && engine_->IsPlaying();
}

NxErr MorvanePlaybackWnd::Activate(PlaybackEngine* engine, bool held) {
  if (activated_) return NxErrFailure;
  const bool open = engine != nullptr && engine->IsOpen();
  if (held && open) {
    NXShowVideoWindow(video_, 1);
    NXBlackenVideoWindow(video_);
    if (!engine->IsActive()) (void)engine->Activate();
  }
  const char* text = !open ? "Not Open" : engine->IsActive() ? "Active" : "Not Active";
  activity_.SetWindowNXText(text, true);
  if (!held || !open) return NxErrFailure;
  engine_ = engine;
  activated_ = true;
  return NxErrSuccess;
}

NxErr MorvanePlaybackWnd::Deactivate(bool hide) {
  if (!activated_) return NxErrFailure;
  if (engine_->IsActive()) (void)engine_->Deactivate();  // which stops a play
  engine_ = nullptr;
  activated_ = false;
  activity_.SetWindowNXText("Not Active", true);
  if (hide) {
    NXShowVideoWindow(video_, 0);
  } else {
    NXBlackenVideoWindow(video_);
  }
  return NxErrSuccess;
}

void MorvanePlaybackWnd::Shutdown() {
  (void)Deactivate(false);
  if (video_ != nullptr) NXDestroyVideoWindow(video_);
  video_ = nullptr;
}

void MorvanePlaybackWnd::HideVideoWindow() {
  NXShowVideoWindow(video_, 0);
}

NxErr MorvanePlaybackWnd::GetOutputOptionText(int index, char* text, int size) const {
  if (text != nullptr && size > 0) {
    snprintf(text, static_cast<size_t>(size), "%s", index == 0 ? "File Options" : "Unknown");
  }
  return NxErrFailure;
}

NxErr MorvanePlaybackWnd::SetOutputOption(int /*index*/) {
  return NxErrFailure;
}

NxErr MorvanePlaybackWnd::ReceiveNXMessage(uint32_t message, int a, int b, void* c, void* d) {
  if (message == NXMSG_VIDEOEXPOSED && c == video_ && video_ != nullptr && !IsBusy()) {
    NXBlackenVideoWindow(video_);
  }
  return NXWindow::ReceiveNXMessage(message, a, b, c, d);
}

}  // namespace morvane
