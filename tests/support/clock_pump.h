#pragma once

#include <time.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "base/clock.h"

namespace morvane::test {

// Lets a manual clock run by itself: whenever at least `sleepers` threads sleep, time jumps to the
// earliest of their deadlines. With it the test's own thread may call what sleeps, and with
// `sleepers` as the number of all threads that do, elapsed times are exact.
class ClockPump {
 public:
  ClockPump(ManualClock* clock, int sleepers)
      : clock_(clock), sleepers_(sleepers), thread_([this] { Run(); }) {}
  ~ClockPump() {
    stop_ = true;
    thread_.join();
  }
  ClockPump(const ClockPump&) = delete;
  ClockPump& operator=(const ClockPump&) = delete;

 private:
  void Run() {
    while (!stop_) {
      // The count first: once all of them sleep, the earliest deadline stands.
      const bool allSleep = clock_->Sleepers() >= sleepers_;
      const int64_t next = clock_->NextDeadlineNs();
      if (allSleep && next != kClockForeverNs) {
        clock_->Advance(std::max<int64_t>(next - NxClockNowNs(), 0));
      } else {
        const timespec moment = {0, 20000};
        nanosleep(&moment, nullptr);
      }
    }
  }

  ManualClock* const clock_;
  const int sleepers_;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

}  // namespace morvane::test
