#pragma once

#include <pthread.h>

#include <cstdint>

#include "base/clock.h"

namespace morvane {

// A mutex with a condition whose time-outs run on the process clock: what events, semaphores and
// threads are made of, and whoever else waits for a state with a deadline.
// Threads: any. Destroyed with no thread inside.
class ClockMonitor {
 public:
  ClockMonitor();
  ~ClockMonitor();
  ClockMonitor(const ClockMonitor&) = delete;
  ClockMonitor& operator=(const ClockMonitor&) = delete;

  // Runs `work` under the lock. Returns: what it returns.
  template <typename Work>
  auto Locked(Work&& work) {
    Guard guard(this);
    return work();
  }
  // Wakes all waiters, which then try again.
  // Requires: called inside Locked(), after the state has changed.
  void NotifyAll();
  // Calls `tryTake` under the lock, now and after every notification, until it returns true or
  // the clock has reached `deadlineNs`. `tryTake` is called at least once.
  // Returns: true if `tryTake` did.
  template <typename TryTake>
  [[nodiscard]] bool WaitUntilNs(int64_t deadlineNs, TryTake&& tryTake) {
    {
      Guard guard(this);
      if (tryTake()) return true;
    }
    if (NxClockNowNs() >= deadlineNs) return false;
    Sleeper sleeper(this, deadlineNs);  // before the lock: see Advance()
    Guard guard(this);
    for (;;) {
      if (tryTake()) return true;
      if (NxClockNowNs() >= deadlineNs) return false;
      Block(deadlineNs);
    }
  }

 private:
  friend class ManualClock;

  class Guard {
   public:
    explicit Guard(ClockMonitor* monitor) : monitor_(monitor) {
      pthread_mutex_lock(&monitor_->mutex_);
    }
    ~Guard() { pthread_mutex_unlock(&monitor_->mutex_); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

   private:
    ClockMonitor* monitor_;
  };

  // Makes a timed waiter known to a manual clock; nothing happens on the real one.
  class Sleeper {
   public:
    Sleeper(ClockMonitor* monitor, int64_t deadlineNs);
    ~Sleeper();
    Sleeper(const Sleeper&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;

   private:
    friend class ManualClock;
    ClockMonitor* monitor_;
    int64_t deadlineNs_;
    bool registered_ = false;
  };

  void Block(int64_t deadlineNs);  // may return early; the caller looks again

  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t condition_;
};

}  // namespace morvane
