#pragma once

#include <cstdint>

// The one monotonic time of the process. Engine sleeps, driver waits and the simulated card all
// run on it, so that a test can step engine and card together.
// Threads: the two functions may be called from any thread.
namespace morvane {

inline constexpr int64_t kClockForeverNs = INT64_MAX;  // a deadline that is never reached

// Nanoseconds since an unspecified start. Never runs backwards.
[[nodiscard]] int64_t NxClockNowNs();
// Sleeps until NxClockNowNs() has reached `deadlineNs`; returns at once when it has.
void NxClockSleepUntilNs(int64_t deadlineNs);

// While one of these lives, time stands still but for Advance(). For tests.
// At the end time goes on from where it stands; it does not jump back.
// Threads: at most one lives at a time; made and destroyed with no other thread in a sleep or in a
// wait with a time-out; the members from any thread.
class ManualClock {
 public:
  ManualClock();
  ~ManualClock();
  ManualClock(const ManualClock&) = delete;
  ManualClock& operator=(const ManualClock&) = delete;

  void Advance(int64_t nanoseconds);  // wakes the sleepers that are due
  // The next `looks` looks at the clock, of any thread, find it where it is and leave it that much
  // further on, as if work behind each took so long. Wakes nobody.
  void AdvanceWithLooks(int64_t nanoseconds, int looks);
  // Blocks, in real time, until at least `count` threads are in a sleep or a wait with a time-out
  // whose deadline is still to come. After Advance() this tells that those who woke have done
  // their round and sleep again.
  void WaitForSleepers(int count) const;
  [[nodiscard]] int Sleepers() const;  // how many there are now
  // The earliest deadline of these threads; kClockForeverNs when there are none.
  [[nodiscard]] int64_t NextDeadlineNs() const;

 private:
  static int SleepersNow();
};

}  // namespace morvane
