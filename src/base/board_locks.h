#pragma once

#include <cstdint>

#include "base/nx_err.h"
#include "base/system.h"

namespace morvane {

inline constexpr int kMaxBoards = 8;

// The machine-wide semaphores that keep several running copies of the application off the same
// board: families SornCard, SornControl, SornAudio, one each per board index.
// Owns: its 24 handles, from Create() to the destructor. Made by the program's main.
// Threads: main thread only.
class BoardLocks {
 public:
  BoardLocks() = default;
  ~BoardLocks();
  BoardLocks(const BoardLocks&) = delete;
  BoardLocks& operator=(const BoardLocks&) = delete;

  // Makes all handles ("SornCard0" ... ). Returns: false if one could not be made.
  [[nodiscard]] bool Create();
  // Takes card, then control, then audio of board `index` with time-out 0. When one is busy those
  // taken are given back in reverse order. Returns: 0, or 200000 when one is held elsewhere.
  NxErr Acquire(int index);
  // Gives back audio, control, card. Nothing happens for a board that is not held.
  void Release(int index);
  [[nodiscard]] bool IsHeld(int index) const;

 private:
  NxHandle card_[kMaxBoards] = {};
  NxHandle control_[kMaxBoards] = {};
  NxHandle audio_[kMaxBoards] = {};
  bool held_[kMaxBoards] = {};
};

}  // namespace morvane
