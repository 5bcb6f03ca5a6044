#pragma once

#include <array>
#include <memory>
#include <string>

#include "base/board_locks.h"
#include "device/board_scan.h"
#include "toolkit/controls.h"

namespace morvane {

class CaptureEngine;
class PlaybackEngine;
struct NxColorTables;

// What Release and Acquire of boards are about.
enum class BoardSelection {
  All = 1,
  Automatic = 2,       // the boards in "Auto"
  OtherAutomatic = 3,  // those that are not the current one
};

// The setup tab, which owns the engines: for each board of the machine, up to eight, one capture
// and one playback engine, alive until the window goes. It also takes and gives back the boards, by
// the machine-wide locks, and shows which one is current and when it is held.
// Threads: main thread.
// Keeps: the locks and the tables, from InitializeBoards() to the destructor.
class MorvaneSetupWnd final : public NXWindow {
 public:
  MorvaneSetupWnd();
  ~MorvaneSetupWnd() override;

  // Once, with the window created: finds the boards, makes and opens their engines, and takes all
  // boards that are free. The tables are for the previews: of 8 and of 10 bits, may be null.
  // Returns: 0; 200006 when there is no board (a message box says so later, in the loop).
  NxErr InitializeBoards(BoardLocks* locks, const NxColorTables* eightBit,
                         const NxColorTables* tenBit);

  // --- What the main window asks
  // ------------------------------------------------------------------
  [[nodiscard]] bool IsActivated() const { return activated_; }
  // Activates both engines of the current board, capture first, so that the card shows what
  // playback wants; without `held` only the texts are filled. `option` is 0.
  // Returns: -2 when activated already, or when it did not come to that.
  NxErr Activate(bool held, int option);
  NxErr Deactivate();  // the reverse; -2 when not activated
  void Shutdown();     // gives back all boards and closes the engines
  // The current board is held by this program.
  [[nodiscard]] bool IsHeld() const;
  // A lost focus may deactivate a tab: not while the current board is held in "Manual".
  [[nodiscard]] bool MayDeactivate() const;
  // The engines of the current board; null without one.
  [[nodiscard]] CaptureEngine* CurrentCapture() const;
  [[nodiscard]] PlaybackEngine* CurrentPlayback() const;
  void ReleaseBoards(BoardSelection selection);
  // Takes what is free; never waits. When the current board was taken by this call, the window is
  // activated. The enable control shows whether the current board is held.
  void AcquireBoards(BoardSelection selection);

  [[nodiscard]] int CurrentBoard() const { return current_; }  // 0 to 7; -1: none

  NxErr RenderNXWindow() override;
  NxErr ReceiveNXMessage(uint32_t message, int a, int b, void* c, void* d) override;
  NxErr OnNXCreate() override;
  NxErr OnNXResize() override;

 private:
  // All that belongs to one board; engines are null where there is none.
  struct Board {
    RQD5BoardInfo info;
    std::unique_ptr<CaptureEngine> capture;
    std::unique_ptr<PlaybackEngine> playback;
  };
  struct Row {
    NXWindow* control;
    const char* member;
    const char* label;
    const char* name;
  };
  static constexpr int kRows = 4;
  [[nodiscard]] std::array<Row, kRows> Rows();
  [[nodiscard]] NxRECT RowRect(int row) const;

  [[nodiscard]] const Board* Current() const;
  [[nodiscard]] static bool IsManual(const Board& board);
  [[nodiscard]] bool IsSelected(int index, BoardSelection selection) const;
  [[nodiscard]] bool Take(int index);
  void AddBoard(const RQD5BoardInfo& info, const NxColorTables* eightBit,
                const NxColorTables* tenBit);

  void ShowBoards();
  void ShowBoard();
  void ShowStatus();
  void SelectBoard(int item);
  void SelectMode(int mode);
  void SaveSettings();
  void EnableBoard();

  NXComboButton boardList_;
  NXComboButton modeList_;
  NXCheckBox manualEnable_;
  NXStatic status_;

  BoardLocks* locks_ = nullptr;
  std::array<Board, kMaxBoards> boards_;
  int current_ = -1;
  bool activated_ = false;
  std::string trouble_;  // shown in place of the status while there is no board
};

}  // namespace morvane
