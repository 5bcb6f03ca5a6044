#include "capture/capture_engine.h"
#include "playback/playback_engine.h"
#include "setup/setup_window.h"
#include "toolkit/gui.h"

// Boards, their engines, and who holds them.
namespace morvane {
namespace {

constexpr uint32_t kAllBoardTypes = 0xFF;
constexpr uint32_t kManual = 1;

}  // namespace

NxErr MorvaneSetupWnd::InitializeBoards(BoardLocks* locks, const NxColorTables* eightBit,
                                        const NxColorTables* tenBit) {
  locks_ = locks;
  for (const RQD5BoardInfo& info : RQD5BoardScan(kAllBoardTypes)) AddBoard(info, eightBit, tenBit);
  for (int index = kMaxBoards - 1; index >= 0; --index) {
    if (boards_[static_cast<size_t>(index)].playback != nullptr) current_ = index;
  }
  ShowBoards();
  AcquireBoards(BoardSelection::All);
  return current_ < 0 ? NxErrNoBoards : NxErrSuccess;
}

// A board whose engines cannot be opened is left out.
void MorvaneSetupWnd::AddBoard(const RQD5BoardInfo& info, const NxColorTables* eightBit,
                               const NxColorTables* tenBit) {
  if (info.boardIndex >= static_cast<uint32_t>(kMaxBoards)) return;
  auto capture = std::make_unique<CaptureEngine>();
  if (capture->Open(info) != NxErrSuccess) return;
  auto playback = std::make_unique<PlaybackEngine>();
  if (playback->Open(info) != NxErrSuccess) return;
  capture->SetColorTables(eightBit, tenBit);
  playback->SetColorTables(eightBit, tenBit);
  Board& board = boards_[info.boardIndex];
  board.info = info;
  board.capture = std::move(capture);
  board.playback = std::move(playback);
}

const MorvaneSetupWnd::Board* MorvaneSetupWnd::Current() const {
  return current_ < 0 ? nullptr : &boards_[static_cast<size_t>(current_)];
}

CaptureEngine* MorvaneSetupWnd::CurrentCapture() const {
  return Current() != nullptr ? Current()->capture.get() : nullptr;
}

PlaybackEngine* MorvaneSetupWnd::CurrentPlayback() const {
  return Current() != nullptr ? Current()->playback.get() : nullptr;
}

bool MorvaneSetupWnd::IsHeld() const {
  return locks_ != nullptr && locks_->IsHeld(current_);
}

bool MorvaneSetupWnd::IsManual(const Board& board) {
  return board.playback != nullptr && board.playback->Settings().activationMode == kManual;
}

bool MorvaneSetupWnd::MayDeactivate() const {
  return !(IsHeld() && IsManual(*Current()));
}

bool MorvaneSetupWnd::IsSelected(int index, BoardSelection selection) const {
  const Board& board = boards_[static_cast<size_t>(index)];
  if (board.playback == nullptr) return false;
  switch (selection) {
    case BoardSelection::All:
      return true;
    case BoardSelection::Automatic:
      return !IsManual(board);
    case BoardSelection::OtherAutomatic:
      return !IsManual(board) && index != current_;
  }
  return false;
}

void MorvaneSetupWnd::ReleaseBoards(BoardSelection selection) {
  for (int index = 0; index < kMaxBoards; ++index) {
    if (locks_ != nullptr && IsSelected(index, selection)) locks_->Release(index);
  }
  ShowStatus();
}

bool MorvaneSetupWnd::Take(int index) {
  const RQD5BoardInfo& info = boards_[static_cast<size_t>(index)].info;
  return locks_->Acquire(index, info.hasUart, info.audioSystems > 0) == NxErrSuccess;
}

void MorvaneSetupWnd::AcquireBoards(BoardSelection selection) {
  bool tookCurrent = false;
  for (int index = 0; index < kMaxBoards; ++index) {
    if (locks_ == nullptr || !IsSelected(index, selection) || locks_->IsHeld(index)) continue;
    const bool taken = Take(index);
    tookCurrent = tookCurrent || (taken && index == current_);
  }
  // Only one board is on show, whatever was taken beside it.
  if (tookCurrent) (void)Activate(true, 0);
  ShowStatus();
}

NxErr MorvaneSetupWnd::Activate(bool held, int /*option*/) {
  if (activated_) return NxErrFailure;
  CaptureEngine* capture = CurrentCapture();
  PlaybackEngine* playback = CurrentPlayback();
  if (held && capture != nullptr && playback != nullptr) {
    activated_ = true;
    (void)capture->Activate();
    (void)playback->Activate();
  }
  ShowBoard();
  return activated_ ? NxErrSuccess : NxErrFailure;
}

NxErr MorvaneSetupWnd::Deactivate() {
  if (!activated_) return NxErrFailure;
  (void)CurrentPlayback()->Deactivate();
  (void)CurrentCapture()->Deactivate();
  activated_ = false;
  ShowStatus();
  return NxErrSuccess;
}

void MorvaneSetupWnd::Shutdown() {
  (void)Deactivate();
  // Closing leaves the card alone, but an engine that is active still gives it back: first that,
  // then the locks.
  for (Board& board : boards_) {
    if (board.playback != nullptr) (void)board.playback->Close();
    if (board.capture != nullptr) (void)board.capture->Close();
  }
  ReleaseBoards(BoardSelection::All);
}

}  // namespace morvane
