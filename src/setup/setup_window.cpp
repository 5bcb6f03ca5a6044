#include "setup/setup_window.h"

#include "capture/capture_engine.h"
#include "capture/capture_settings.h"
#include "playback/playback_engine.h"
#include "playback/playback_settings.h"
#include "session/card2.h"
#include "toolkit/gui.h"

// The setup tab: which board, and when it is held.
namespace morvane {
namespace {

// Our own message: there are words for the user that had to wait for the message loop.
constexpr uint32_t kTellTrouble = 100001;
constexpr int kManualMode = 1;
constexpr int kRowHeight = 42;
constexpr int kLabelHeight = 16;
constexpr int kRowWidth = 320;
constexpr int32_t kLabelColor = 16;  // of the scheme

}  // namespace

MorvaneSetupWnd::MorvaneSetupWnd() {
  NameNXWindow("setupWindow");
}

MorvaneSetupWnd::~MorvaneSetupWnd() = default;

std::array<MorvaneSetupWnd::Row, MorvaneSetupWnd::kRows> MorvaneSetupWnd::Rows() {
  return {{{&boardList_, "board", "Board", "Video Mode"},
           {&modeList_, "activationMode", "Activation Mode", "Time base"},
           {&manualEnable_, "manualEnable", "", "Manual Enable"},
           {&status_, "boardStatus", "Sorn Status", "None"}}};
}

NxRECT MorvaneSetupWnd::RowRect(int row) const {
  const int spacing = NXGetDefaultSpacing();
  return {spacing, nxRect.h - kRowHeight * (row + 1), kRowWidth, NXGetDefaultButtonYSize()};
}

NxErr MorvaneSetupWnd::OnNXCreate() {
  int index = 0;
  for (const Row& row : Rows()) {
    const NxRECT rect = RowRect(index++);
    row.control->NameNXWindow(row.member, *row.label != '\0' ? row.label : row.name);
    row.control->CreateNXWindow(row.name, 0, 1, 0, &rect, this);
  }
  modeList_.InsertNXItem(-1, "Auto", false);
  modeList_.InsertNXItem(-1, "Manual", false);
  return NxErrSuccess;
}

NxErr MorvaneSetupWnd::OnNXResize() {
  int index = 0;
  for (const Row& row : Rows()) {
    const NxRECT rect = RowRect(index++);
    row.control->ResizeNXWindow(&rect, false);
  }
  return NxErrSuccess;
}

NxErr MorvaneSetupWnd::RenderNXWindow() {
  NxFCOLOR color;
  NXGetSchemeColor(kLabelColor, &color);
  int index = 0;
  for (const Row& row : Rows()) {
    NxRECT rect = RowRect(index++);
    rect.y += rect.h;
    rect.h = kLabelHeight;
    if (*row.label != '\0') NXPrintText(row.label, &rect, &color, 0, 0, nullptr);
  }
  return NxErrSuccess;
}

// The list has one row a board; without any it says so once the loop runs.
void MorvaneSetupWnd::ShowBoards() {
  boardList_.ResetNXAll(false);
  for (const Board& board : boards_) {
    if (board.playback != nullptr)
      boardList_.InsertNXItem(-1, board.info.displayName.c_str(), false);
  }
  if (current_ < 0) {
    char text[kNxErrTextBytes] = {};
    NxErrText(NxErrNoBoards, text);
    trouble_ = text;
    NXPostMessage(nxNode, kTellTrouble, 0, 0, nullptr, nullptr);
  }
  ShowBoard();
}

void MorvaneSetupWnd::ShowBoard() {
  int item = -1;
  for (int index = 0; index <= current_; ++index) {
    if (boards_[static_cast<size_t>(index)].playback != nullptr) ++item;
  }
  boardList_.SetNXCurSel(item, false);
  const bool manual = Current() != nullptr && IsManual(*Current());
  modeList_.SetNXCurSel(Current() == nullptr ? -1 : manual ? kManualMode : 0, false);
  manualEnable_.ShowNXWindow(manual ? 1 : 0, false);
  ShowStatus();
}

// What follows from who holds the board: any board can be looked at and, in "Manual", be asked for,
// but only one that is held has choices.
void MorvaneSetupWnd::ShowStatus() {
  const CaptureEngine* capture = CurrentCapture();
  const char* text = capture == nullptr || !capture->IsOpen() ? "Not Open"
                     : activated_ && capture->IsActive()      ? "Active"
                                                              : "Not Active";
  boardList_.EnableNXWindow(Current() != nullptr ? 1 : 0, false);
  modeList_.EnableNXWindow(IsHeld() ? 1 : 0, false);
  manualEnable_.EnableNXWindow(Current() != nullptr && IsManual(*Current()) ? 1 : 0, false);
  manualEnable_.SetNXCheck(IsHeld() ? 1 : 0);
  status_.SetWindowNXText(trouble_.empty() ? text : trouble_.c_str(), true);
}

void MorvaneSetupWnd::SelectBoard(int item) {
  int index = -1;
  for (int left = item + 1; left > 0 && index + 1 < kMaxBoards;) {
    ++index;
    if (boards_[static_cast<size_t>(index)].playback != nullptr) --left;
  }
  if (index < 0 || index == current_ || boards_[static_cast<size_t>(index)].playback == nullptr) {
    return;
  }
  (void)Deactivate();
  current_ = index;
  (void)Activate(IsHeld(), 0);
}

// Both engines keep the mode, and the store keeps theirs.
void MorvaneSetupWnd::SelectMode(int mode) {
  PlaybackEngine* playback = CurrentPlayback();
  if (playback == nullptr) return;
  if (IsHeld() && playback->SetActivationMode(static_cast<uint32_t>(mode)) == NxErrSuccess) {
    (void)CurrentCapture()->SetActivationMode(mode);
    SaveSettings();
  }
  ShowBoard();
}

void MorvaneSetupWnd::SaveSettings() {
  std::string board;
  if (!CurrentPlayback()->Session().GetBoardSuffix(&board)) return;
  SavePlaybackSettings(board, CurrentPlayback()->Settings());
  (void)SaveCaptureSettings(board, CurrentCapture()->Settings());
}

// The box was turned over by the user.
void MorvaneSetupWnd::EnableBoard() {
  if (Current() == nullptr || locks_ == nullptr || !IsManual(*Current())) return ShowBoard();
  if (manualEnable_.GetNXCheck() != 0) {
    if (Take(current_)) (void)Activate(true, 0);
  } else {
    (void)Deactivate();
    locks_->Release(current_);
  }
  ShowBoard();
}

NxErr MorvaneSetupWnd::ReceiveNXMessage(uint32_t message, int a, int b, void* c, void* d) {
  if (message == NXMSG_SELCHANGED && c == &boardList_) {
    SelectBoard(a);
    NXRePaint();
  } else if (message == NXMSG_SELCHANGED && c == &modeList_) {
    SelectMode(a);
    NXRePaint();
  } else if (message == NXMSG_CLICKED && c == &manualEnable_) {
    EnableBoard();
    NXRePaint();
  } else if (message == kTellTrouble) {
    NXShowMB("Error", trouble_.c_str());
  }
  return NXWindow::ReceiveNXMessage(message, a, b, c, d);
}

}  // namespace morvane
