#include "base/clock.h"

#include <time.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <vector>

#include "base/clock_monitor.h"
#include "base/system.h"

namespace morvane {
namespace {

constexpr int64_t kNsPerSecond = 1000000000;

// What a ManualClock puts in place of the system's time.
std::atomic<bool> g_manual{false};
std::atomic<int64_t> g_manualNowNs{0};
std::atomic<int64_t> g_lookNs{0};  // by which each of so many looks moves it on
std::atomic<int> g_looks{0};
// Added to the system's time, so that time does not jump back when a ManualClock ends.
std::atomic<int64_t> g_offsetNs{0};

pthread_mutex_t g_sleepersMutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t g_sleepersChanged = PTHREAD_COND_INITIALIZER;

class SleepersLock {
 public:
  SleepersLock() { pthread_mutex_lock(&g_sleepersMutex); }
  ~SleepersLock() { pthread_mutex_unlock(&g_sleepersMutex); }
  SleepersLock(const SleepersLock&) = delete;
  SleepersLock& operator=(const SleepersLock&) = delete;
};

// Timed waiters under a ManualClock, under g_sleepersMutex. Never freed: a thread may sleep while
// the process ends.
template <typename Entry>
std::vector<Entry*>& TimedWaiters() {
  static auto* waiters = new std::vector<Entry*>;
  return *waiters;
}

int64_t SystemNowNs() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<int64_t>(now.tv_sec) * kNsPerSecond + now.tv_nsec;
}

// A deadline of the process clock as the system's time takes it.
timespec SystemTime(int64_t deadlineNs) {
  const int64_t ns = std::max<int64_t>(deadlineNs - g_offsetNs.load(), 0);
  timespec time;
  time.tv_sec = ns / kNsPerSecond;
  time.tv_nsec = ns % kNsPerSecond;
  return time;
}

}  // namespace

int64_t NxClockNowNs() {
  if (g_manual.load(std::memory_order_acquire)) {
    if (g_looks.load(std::memory_order_acquire) <= 0 || g_looks.fetch_sub(1) <= 0) {
      return g_manualNowNs.load(std::memory_order_acquire);
    }
    return g_manualNowNs.fetch_add(g_lookNs.load());
  }
  return SystemNowNs() + g_offsetNs.load(std::memory_order_relaxed);
}

void NxClockSleepUntilNs(int64_t deadlineNs) {
  NxLeaveIfAbandoned();
  if (g_manual.load(std::memory_order_acquire) || deadlineNs == kClockForeverNs) {
    ClockMonitor monitor;
    (void)monitor.WaitUntilNs(deadlineNs, [] { return false; });
  } else {
    const timespec until = SystemTime(deadlineNs);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
    }
  }
  NxLeaveIfAbandoned();
}

ClockMonitor::ClockMonitor() {
  pthread_condattr_t attributes;
  pthread_condattr_init(&attributes);
  pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
  pthread_cond_init(&condition_, &attributes);
  pthread_condattr_destroy(&attributes);
}

ClockMonitor::~ClockMonitor() {
  pthread_cond_destroy(&condition_);
  pthread_mutex_destroy(&mutex_);
}

void ClockMonitor::NotifyAll() {
  pthread_cond_broadcast(&condition_);
}

void ClockMonitor::Block(int64_t deadlineNs) {
  if (deadlineNs == kClockForeverNs || g_manual.load(std::memory_order_acquire)) {
    pthread_cond_wait(&condition_, &mutex_);
    return;
  }
  const timespec until = SystemTime(deadlineNs);
  pthread_cond_timedwait(&condition_, &mutex_, &until);
}

ClockMonitor::Sleeper::Sleeper(ClockMonitor* monitor, int64_t deadlineNs)
    : monitor_(monitor), deadlineNs_(deadlineNs) {
  if (deadlineNs == kClockForeverNs || !g_manual.load(std::memory_order_acquire)) return;
  SleepersLock lock;
  TimedWaiters<Sleeper>().push_back(this);
  registered_ = true;
  pthread_cond_broadcast(&g_sleepersChanged);
}

ClockMonitor::Sleeper::~Sleeper() {
  if (!registered_) return;
  SleepersLock lock;
  std::erase(TimedWaiters<Sleeper>(), this);
}

ManualClock::ManualClock() {
  SleepersLock lock;
  g_manualNowNs.store(NxClockNowNs(), std::memory_order_release);
  g_looks.store(0);
  g_manual.store(true, std::memory_order_release);
}

ManualClock::~ManualClock() {
  SleepersLock lock;
  g_offsetNs.store(g_manualNowNs.load() - SystemNowNs());
  g_manual.store(false, std::memory_order_release);
}

void ManualClock::Advance(int64_t nanoseconds) {
  SleepersLock lock;
  const int64_t now = g_manualNowNs.load() + nanoseconds;
  g_manualNowNs.store(now, std::memory_order_release);
  // A waiter makes itself known before it takes its monitor's lock and is forgotten after it gave
  // it back, so the monitor is alive here and taking its lock cannot cross with a waiter.
  for (ClockMonitor::Sleeper* sleeper : TimedWaiters<ClockMonitor::Sleeper>()) {
    if (sleeper->deadlineNs_ > now) continue;
    ClockMonitor::Guard guard(sleeper->monitor_);
    sleeper->monitor_->NotifyAll();
  }
}

void ManualClock::AdvanceWithLooks(int64_t nanoseconds, int looks) {
  g_looks.store(0);
  g_lookNs.store(nanoseconds);
  g_looks.store(looks, std::memory_order_release);
}

int ManualClock::SleepersNow() {
  const int64_t now = g_manualNowNs.load();
  const auto& sleepers = TimedWaiters<ClockMonitor::Sleeper>();
  return static_cast<int>(std::count_if(sleepers.begin(), sleepers.end(),
                                        [now](const auto* s) { return s->deadlineNs_ > now; }));
}

void ManualClock::WaitForSleepers(int count) const {
  SleepersLock lock;
  while (SleepersNow() < count) pthread_cond_wait(&g_sleepersChanged, &g_sleepersMutex);
}

int ManualClock::Sleepers() const {
  SleepersLock lock;
  return SleepersNow();
}

int64_t ManualClock::NextDeadlineNs() const {
  SleepersLock lock;
  const int64_t now = g_manualNowNs.load();
  int64_t next = kClockForeverNs;
  for (const ClockMonitor::Sleeper* sleeper : TimedWaiters<ClockMonitor::Sleeper>()) {
    if (sleeper->deadlineNs_ > now) next = std::min(next, sleeper->deadlineNs_);
  }
  return next;
}

}  // namespace morvane
