#pragma once

#include <cstdint>

#include "base/shared_word.h"
#include "base/system.h"

namespace morvane {

// A thread of a window: it runs while the window is activated, and stands still while the main
// thread works on the engine. Its routine:
//
//   while (!thread->StopRequested()) {
//     if (thread->PauseRequested()) { thread->Rest(); continue; }
//     if (thread->TakeResumed()) ...  // the first round after the start or after a pause
//     ... one round, a few milliseconds ...
//   }
//
// The waits serve NXSendMessage, so that a thread that waits for the main thread comes free; they
// are bounded (1011 rounds of 5 ms), and then the thread counts as paused, or is abandoned.
// Threads: Start, Stop, Pause, Resume on the main thread, the rest on the thread itself.
class WindowThread {
 public:
  // Returns: false if it runs already or cannot be made.
  [[nodiscard]] bool Start(NxThreadRoutine routine, void* context, int32_t priorityCode,
                           uint64_t affinityMask);
  // Returns: false if the thread had to be abandoned: what it may touch must not be freed.
  bool Stop();
  void Pause();   // returns when the thread rests; nothing without a thread
  void Resume();  // returns when it no longer does
  [[nodiscard]] bool Running() const { return worker_.Running(); }

  [[nodiscard]] bool StopRequested() const { return worker_.StopRequested(); }
  [[nodiscard]] bool PauseRequested() const { return pause_.Get() != 0; }
  // Whether this is the first Rest() of a pause.
  [[nodiscard]] bool Rested() const { return paused_.Get() != 0; }
  void Rest();  // says that the thread is paused and sleeps 1 ms
  // True once after the start and after each pause.
  [[nodiscard]] bool TakeResumed();

 private:
  WorkerThread worker_;
  // The main thread's; `pause_` is read by the thread.
  SharedWord<uint8_t> pause_;
  // The thread's; the main thread sets it when the thread does not answer.
  SharedWord<uint8_t> paused_;
  // The thread's own.
  bool fresh_ = true;
};

}  // namespace morvane
