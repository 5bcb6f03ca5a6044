#include "shell/main_window.h"

#include <utility>

#include "base/system.h"
#include "capture/capture_engine.h"
#include "playback/playback_engine.h"
#include "shell/process_objects.h"
#include "toolkit/gui.h"

namespace morvane {
namespace {

constexpr int kTabLeft = 8;
constexpr int kTabTop = 96;  // below the window's top
constexpr int kTabWidth = 96;
constexpr int kTabHeight = 64;
constexpr int kCaptionButton = 16;
constexpr int kHead = 128;  // title, tabs and bar
constexpr int kEdge = 3;
constexpr int kOptionsTop = 120;
constexpr int kOptionsHeight = 16;
constexpr int kOptionsMargin = 32;
constexpr uint32_t kPictureClose = 11;
constexpr uint32_t kPictureMinimize = 12;
constexpr uint32_t kPictureMaximize = 23;
constexpr int kOptionBytes = 64;

}  // namespace

MorvaneWnd::MorvaneWnd(ProcessObjects* objects) : objects_(objects) {
  NameNXWindow("mainWindow", "Morvane");
  playTab_.NameNXWindow("playTab");
  captureTab_.NameNXWindow("captureTab");
  setupTab_.NameNXWindow("setupTab");
  outputOptions_.NameNXWindow("outputOptions");
  minimizeButton_.NameNXWindow("minimizeButton", "Minimize");
  maximizeButton_.NameNXWindow("maximizeButton", "Maximize");
  closeButton_.NameNXWindow("closeButton", "Close");
}

MorvaneWnd::~MorvaneWnd() = default;

MorvaneWnd::Layout MorvaneWnd::MakeLayout() const {
  const int x = nxRect.x;
  const int w = nxRect.w;
  const int h = nxRect.h;
  const int spacing = NXGetDefaultSpacing();
  const auto button = [&](int left) {
    return NxRECT{x + w - left, h - kCaptionButton, kCaptionButton, kCaptionButton};
  };
  Layout layout;
  layout.playTab = {kTabLeft, h - kTabTop, kTabWidth, kTabHeight};
  layout.captureTab = layout.playTab;
  layout.captureTab.x += kTabWidth + 1;
  layout.setupTab = layout.captureTab;
  layout.setupTab.x += kTabWidth + 1;
  layout.minimize = button(3 * (spacing + kCaptionButton));
  layout.maximize = button(2 * spacing + 2 * kCaptionButton);
  layout.close = button(spacing + kCaptionButton);
  layout.tabWindow = {kEdge, 0, w - x - 2 * kEdge, h - kHead};
  const int optionsLeft = static_cast<int>(w * 0.75 + kOptionsMargin);
  layout.outputOptions = {optionsLeft, h - kOptionsTop, w - optionsLeft - kOptionsMargin,
                          kOptionsHeight};
  return layout;
}

NxErr MorvaneWnd::OnNXCreate() {
  const Layout layout = MakeLayout();
  playTab_.CreateNXWindow("Play", 0, 1, 0, &layout.playTab, this);
  playTab_.SetNXTabCheck(1);
  captureTab_.CreateNXWindow("Capture", 0, 1, 0, &layout.captureTab, this);
  setupTab_.CreateNXWindow("Setup", 0, 1, 0, &layout.setupTab, this);
  minimizeButton_.CreateNXWindow("-", 0, 1, 0, &layout.minimize, this);
  minimizeButton_.ButtonNXPictureType(kPictureMinimize);
  maximizeButton_.CreateNXWindow("M", 0, 1, 0, &layout.maximize, this);
  maximizeButton_.ButtonNXPictureType(kPictureMaximize);
  closeButton_.CreateNXWindow("x", 0, 1, 0, &layout.close, this);
  closeButton_.ButtonNXPictureType(kPictureClose);
  playback_.CreateNXWindow("play main", 0, 0, 0, &layout.tabWindow, this);
  capture_.CreateNXWindow("capture main", 0, 0, 0, &layout.tabWindow, this);
  setup_.CreateNXWindow("setup main", 0, 0, 0, &layout.tabWindow, this);

  (void)setup_.InitializeBoards(&objects_->locks, objects_->PreviewTable(8),
                                objects_->PreviewTable(10));
  (void)setup_.Deactivate();
  capture_.Prepare(objects_->moduleFolder);
  (void)playback_.Activate(setup_.CurrentPlayback(), setup_.IsHeld());
  playback_.ShowNXWindow(1, false);

  outputOptions_.CreateNXWindow("Output Options", 0, 1, 0, &layout.outputOptions, this);
  outputOptions_.SetNXComboType(1);
  FillOutputOptions();
  return NxErrSuccess;
}

// The playback window has none: the list stays empty, and its messages are routed all the same.
void MorvaneWnd::FillOutputOptions() {
  outputOptions_.ResetNXAll(false);
  for (int index = 0; index < playback_.GetNumOutputOptions(); ++index) {
    char text[kOptionBytes] = {};
    playback_.GetOutputOptionText(index, text, sizeof(text));
    outputOptions_.InsertNXItem(-1, text, false);
  }
  outputOptions_.SetNXCurSel(playback_.GetOutputOption(), false);
}

NxErr MorvaneWnd::OnNXResize() {
  const Layout layout = MakeLayout();
  playTab_.ResizeNXWindow(&layout.playTab, false);
  captureTab_.ResizeNXWindow(&layout.captureTab, false);
  setupTab_.ResizeNXWindow(&layout.setupTab, false);
  minimizeButton_.ResizeNXWindow(&layout.minimize, false);
  maximizeButton_.ResizeNXWindow(&layout.maximize, false);
  closeButton_.ResizeNXWindow(&layout.close, false);
  playback_.ResizeNXWindow(&layout.tabWindow, false);
  capture_.ResizeNXWindow(&layout.tabWindow, false);
  setup_.ResizeNXWindow(&layout.tabWindow, false);
  outputOptions_.ResizeNXWindow(&layout.outputOptions, false);
  return NxErrSuccess;
}

NxErr MorvaneWnd::ReceiveNXMessage(uint32_t message, int a, int b, void* c, void* d) {
  switch (message) {
    case NXMSG_LBUTTONDOWN:
      if (!moving_ && nxRect.w != static_cast<int>(NxScreenWidth())) {
        NXCaptureMouse(nxNode);
        moving_ = true;
        NXStartMoveGUI();
      }
      break;
    case NXMSG_LBUTTONUP:
      if (moving_) {
        NXStopMoveGUI();
        NXReleaseMouse();
        moving_ = false;
      }
      break;
    case NXMSG_MOUSEMOVE:
      if (moving_) NXMoveGUI();
      break;
    case NXMSG_CLICKED:
      Clicked(c);
      break;
    case NXMSG_SELCHANGED:
      if (c == &outputOptions_) SelectOutputOption(a);
      break;
    case NXMSG_APPACTIVATE:
      AppActivated(a != 0);
      break;
    case NXMSG_MOUSEWHEEL:
      ForwardWheel(a, b, c, d);
      break;
    default:
      break;
  }
  return NXWindow::ReceiveNXMessage(message, a, b, c, d);
}

void MorvaneWnd::Clicked(const void* sender) {
  if (sender == &minimizeButton_) {
    NXMinimizeGUI();
    return;
  }
  if (quitting_ || !IsFree()) return;
  if (sender == &closeButton_) {
    RequestClose();
  } else if (sender == &maximizeButton_) {
    Maximize();
  } else if (sender == &playTab_ && playTab_.GetNXTabCheck() == 0) {
    ShowPlayback();
  } else if (sender == &captureTab_ && captureTab_.GetNXTabCheck() == 0) {
    ShowCapture();
  } else if (sender == &setupTab_ && setupTab_.GetNXTabCheck() == 0) {
    ShowSetup();
  }
}

void MorvaneWnd::RequestClose() {
  if (quitting_ || !IsFree()) return;
  quitting_ = true;
  DeactivateAll(false);
  playback_.Shutdown();
  capture_.Shutdown();
  setup_.Shutdown();
  objects_->quit = true;
  NXWakeGUI();
}

void MorvaneWnd::PutAwayPlayback() {
  if (playback_.IsActivated()) {
    (void)playback_.Deactivate(true);
  } else {
    playback_.HideVideoWindow();
  }
}

void MorvaneWnd::PutAwayCapture() {
  if (capture_.IsActivated()) {
    (void)capture_.Deactivate(true);
  } else {
    capture_.HideVideoWindow();
  }
}

void MorvaneWnd::ShowPlayback() {
  PutAwayCapture();
  (void)setup_.Deactivate();
  setupTab_.SetNXTabCheck(0);
  captureTab_.SetNXTabCheck(0);
  playTab_.SetNXTabCheck(1);
  setup_.ShowNXWindow(0, false);
  capture_.ShowNXWindow(0, false);
  playback_.ShowNXWindow(1, true);
  if (!playback_.IsActivated()) {
    (void)playback_.Activate(setup_.CurrentPlayback(), setup_.IsHeld());
  }
}

void MorvaneWnd::ShowCapture() {
  PutAwayPlayback();
  (void)setup_.Deactivate();
  setupTab_.SetNXTabCheck(0);
  playTab_.SetNXTabCheck(0);
  captureTab_.SetNXTabCheck(1);
  setup_.ShowNXWindow(0, false);
  playback_.ShowNXWindow(0, false);
  capture_.ShowNXWindow(1, true);
  if (!capture_.IsActivated()) (void)capture_.Activate(setup_.CurrentCapture(), setup_.IsHeld());
}

void MorvaneWnd::ShowSetup() {
  PutAwayPlayback();
  PutAwayCapture();
  playTab_.SetNXTabCheck(0);
  captureTab_.SetNXTabCheck(0);
  setupTab_.SetNXTabCheck(1);
  playback_.ShowNXWindow(0, false);
  capture_.ShowNXWindow(0, false);
  setup_.ShowNXWindow(1, true);
  if (!setup_.IsActivated()) (void)setup_.Activate(setup_.IsHeld(), 0);
}

void MorvaneWnd::DeactivateAll(bool hide) {
  (void)playback_.Deactivate(hide);
  (void)capture_.Deactivate(hide);
  (void)setup_.Deactivate();
}

// The checked tab has what there is to have, the others have nothing.
void MorvaneWnd::RestoreCheckedTab() {
  const bool held = setup_.IsHeld();
  if (playTab_.GetNXTabCheck() == 0) (void)playback_.Deactivate(true);
  if (captureTab_.GetNXTabCheck() == 0) (void)capture_.Deactivate(true);
  if (setupTab_.GetNXTabCheck() == 0) (void)setup_.Deactivate();
  if (playTab_.GetNXTabCheck() != 0 && !playback_.IsActivated()) {
    (void)playback_.Activate(setup_.CurrentPlayback(), held);
  } else if (captureTab_.GetNXTabCheck() != 0 && !capture_.IsActivated()) {
    (void)capture_.Activate(setup_.CurrentCapture(), held);
  } else if (setupTab_.GetNXTabCheck() != 0 && !setup_.IsActivated()) {
    (void)setup_.Activate(held, 0);
  }
}

void MorvaneWnd::Maximize() {
  const auto screenWidth = static_cast<int>(NxScreenWidth());
  const auto screenHeight = static_cast<int>(NxScreenHeight());
  if (screenWidth < kMainWindowWidth || screenHeight < kMainWindowHeight) return;
  DeactivateAll(true);
  const bool small = nxRect.w == kMainWindowWidth && nxRect.h == kMainWindowHeight;
  NxRECT rect = nxRect;
  rect.w = kMainWindowWidth;
  rect.h = kMainWindowHeight;
  NXMaximizeGUI(&rect, small ? 0 : 1);
  NxRECT own = nxRect;
  own.w = rect.w;
  own.h = rect.h;
  ResizeNXWindow(&own, true);
  RestoreCheckedTab();
}

void MorvaneWnd::SetOptionSetters(OptionSetter playback, OptionSetter capture) {
  setPlaybackOption_ = std::move(playback);
  setCaptureOption_ = std::move(capture);
}

void MorvaneWnd::SelectOutputOption(int index) {
  if (!IsFree()) return;
  NxErr result = NxErrFailure;
  if (playTab_.GetNXTabCheck() != 0) {
    result = setPlaybackOption_ ? setPlaybackOption_(index) : playback_.SetOutputOption(index);
  } else if (captureTab_.GetNXTabCheck() != 0) {
    result = setCaptureOption_ ? setCaptureOption_(index) : capture_.SetOutputOption(index);
  }
  if (result == NxErrSuccess) outputOptions_.SetNXCurSel(index, false);
}

void MorvaneWnd::AppActivated(bool gained) {
  if (quitting_) return;
  if (gained) {
    setup_.AcquireBoards(BoardSelection::Automatic);
    RestoreCheckedTab();
    return;
  }
  if (!IsFree()) {
    setup_.ReleaseBoards(BoardSelection::OtherAutomatic);
    return;
  }
  if (setup_.MayDeactivate()) {
    (void)capture_.Deactivate(false);
    (void)playback_.Deactivate(false);
    (void)setup_.Deactivate();
  }
  setup_.ReleaseBoards(BoardSelection::Automatic);
}

void MorvaneWnd::ForwardWheel(int a, int b, void* c, void* d) {
  if (playTab_.GetNXTabCheck() != 0 && playback_.IsActivated()) {
    playback_.ReceiveNXMessage(NXMSG_MOUSEWHEEL, a, b, c, d);
  } else if (captureTab_.GetNXTabCheck() != 0 && capture_.IsActivated()) {
    capture_.ReceiveNXMessage(NXMSG_MOUSEWHEEL, a, b, c, d);
  }
}

}  // namespace morvane
