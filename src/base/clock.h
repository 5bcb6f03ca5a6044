#pragma once

#include <cstdint>

// The one monotonic time of the process. Engine sleeps, driver waits and the simulated card all
// run on it, so that a test can step engine and card together.
namespace morvane {

[[nodiscard]] int64_t NxClockNowNs();
// Sleeps until NxClockNowNs() has reached `deadlineNs`.
void NxClockSleepUntilNs(int64_t deadlineNs);

// While one of these lives, time stands still but for Advance(). For tests.
// Threads: made and destroyed with no other thread in a sleep; Advance() from any thread.
class ManualClock {
 public:
  ManualClock();
  ~ManualClock();
  ManualClock(const ManualClock&) = delete;
  ManualClock& operator=(const ManualClock&) = delete;
  void Advance(int64_t nanoseconds);  // wakes the sleepers that are due
};

}  // namespace morvane
