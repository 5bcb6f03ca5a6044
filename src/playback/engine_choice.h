#pragma once

#include "base/system.h"
#include "playback/playback_engine.h"

// How a choice is made in an engine: nothing plays, the card is disarmed meanwhile, and the lock is
// tried once. For the engine's own source files.
namespace morvane {

inline constexpr uint32_t kMostPartSeconds = 120;  // of bars, leader and trailer

template <typename Change>
NxErr PlaybackEngine::Choose(Change change) {
  if (!MayChoose()) return NxErrFailure;
  const bool wasArmed = armed_;
  Disarm();
  if (NxWait(lock_, 0) != NxErrSuccess) return NxErrFailure;
  const NxErr result = change();
  NxReleaseSemaphore(lock_);
  if (wasArmed) Arm();
  return result;
}

template <typename Change>
NxErr PlaybackEngine::Replan(Change change) {
  return Choose([&] {
    const NxErr result = change();
    if (result == NxErrSuccess) PlanFrames();
    return result;
  });
}

}  // namespace morvane
