#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "base/nx_err.h"
#include "base/system.h"

namespace morvane {

inline constexpr int kMaxBoards = 8;

// What happens to a lock.
enum class BoardLockStep { Taken, Refused, GivenBack, Closed };
// Told of each step, with the lock's name ("SornCard0").
using BoardLockWatch = std::function<void(const std::string& name, BoardLockStep step)>;

// The machine-wide semaphores that keep several running copies of the application off the same
// board: families SornCard, SornControl, SornAudio, one each per board index.
// Owns: its 24 handles, from Create() to the destructor. Made by the program's main.
// Threads: main thread only.
class BoardLocks {
 public:
  BoardLocks() = default;
  ~BoardLocks();  // Close()
  BoardLocks(const BoardLocks&) = delete;
  BoardLocks& operator=(const BoardLocks&) = delete;

  // Makes all handles ("SornCard0", "SornAudio0", "SornControl0", "SornCard1" ...).
  // Returns: false if one could not be made; its board then counts as held elsewhere.
  [[nodiscard]] bool Create();
  // Closes all handles, the control family first, then audio, then card; what was held is free.
  void Close();
  // Takes card, then control (if the board has a control port), then audio (if it has audio
  // channels) of board `index` with time-out 0. When one is busy those taken are given back in
  // reverse order. Nothing happens for a board that is held already.
  // Returns: 0, 200000 when one is held elsewhere, or -2 for an index outside 0..7.
  NxErr Acquire(int index, bool hasControl = true, bool hasAudio = true);
  // Gives back audio, control, card. Nothing happens for a board that is not held.
  void Release(int index);
  [[nodiscard]] bool IsHeld(int index) const;
  // Called after each step, until another is set; empty: nobody is told. For tests.
  void Watch(BoardLockWatch watch) { watch_ = std::move(watch); }

 private:
  // One semaphore and whether this object holds it.
  struct Lock {
    NxHandle handle = nullptr;
    bool held = false;
    std::string name;
  };
  [[nodiscard]] bool Take(Lock* lock);
  void GiveBack(Lock* lock);
  void Tell(const Lock& lock, BoardLockStep step) const;

  Lock card_[kMaxBoards];
  Lock control_[kMaxBoards];
  Lock audio_[kMaxBoards];
  BoardLockWatch watch_;
};

}  // namespace morvane
