#include "base/clock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "base/clock_monitor.h"
#include "base/system.h"
#include "support/clock_pump.h"

namespace morvane {
namespace {

constexpr int64_t kMs = 1000000;

TEST(ManualClock, StandsStillButForAdvance) {
  const int64_t real = NxClockNowNs();
  ManualClock clock;
  const int64_t start = NxClockNowNs();
  EXPECT_GE(start, real);
  std::this_thread::yield();
  EXPECT_EQ(NxClockNowNs(), start);
  clock.Advance(5);
  EXPECT_EQ(NxClockNowNs(), start + 5);
}

TEST(ManualClock, LooksMayCostTime) {
  ManualClock clock;
  const int64_t start = NxClockNowNs();
  clock.AdvanceWithLooks(7, 2);
  EXPECT_EQ(NxClockNowNs(), start);
  EXPECT_EQ(NxClockNowNs(), start + 7);
  EXPECT_EQ(NxClockNowNs(), start + 14);
  EXPECT_EQ(NxClockNowNs(), start + 14);
}

TEST(ManualClock, TimeDoesNotRunBackWhenItEnds) {
  int64_t end = 0;
  {
    ManualClock clock;
    clock.Advance(3600000 * kMs);
    end = NxClockNowNs();
  }
  EXPECT_GE(NxClockNowNs(), end);
  const int64_t deadline = NxClockNowNs() + kMs;
  NxClockSleepUntilNs(deadline);
  EXPECT_GE(NxClockNowNs(), deadline);
  ManualClock again;
  EXPECT_GE(NxClockNowNs(), deadline);
}

TEST(ManualClock, SleeperWakesWhenItsDeadlineIsPassed) {
  ManualClock clock;
  const int64_t start = NxClockNowNs();
  std::atomic<bool> awake{false};
  std::thread sleeper([&] {
    NxSleep(10);
    awake = true;
  });
  clock.WaitForSleepers(1);
  EXPECT_EQ(clock.NextDeadlineNs(), start + 10 * kMs);
  clock.Advance(10 * kMs - 1);
  EXPECT_EQ(clock.Sleepers(), 1);
  EXPECT_FALSE(awake);
  clock.Advance(1);
  sleeper.join();
  EXPECT_TRUE(awake);
  EXPECT_EQ(clock.Sleepers(), 0);
  EXPECT_EQ(clock.NextDeadlineNs(), kClockForeverNs);
  EXPECT_EQ(NxClockNowNs(), start + 10 * kMs);
}

TEST(ManualClock, SleepThatIsOverReturnsAtOnce) {
  ManualClock clock;
  NxSleep(0);
  NxClockSleepUntilNs(NxClockNowNs());
  NxClockSleepUntilNs(INT64_MIN);
  EXPECT_EQ(clock.Sleepers(), 0);
}

TEST(ManualClock, WaitsWithATimeOutRunOnIt) {
  ManualClock clock;
  NxHandle event = NxCreateEvent(false, false, nullptr);
  NxHandle semaphore = NxCreateSemaphore(0, 1, nullptr);
  NxErr results[2] = {NxErrSuccess, NxErrSuccess};
  std::thread first([&] { results[0] = NxWait(event, 50); });
  std::thread second([&] { results[1] = NxWait(semaphore, 70); });
  clock.WaitForSleepers(2);
  clock.Advance(60 * kMs);
  first.join();
  EXPECT_EQ(results[0], NxErrFailure);
  EXPECT_EQ(clock.Sleepers(), 1);
  EXPECT_EQ(NxReleaseSemaphore(semaphore), NxErrSuccess);  // in time
  second.join();
  EXPECT_EQ(results[1], NxErrSuccess);
  NxCloseHandle(event);
  NxCloseHandle(semaphore);
}

TEST(ManualClock, StepsThreadsInLockstep) {
  ManualClock clock;
  constexpr int kThreads = 3;
  constexpr int kSteps = 300;
  std::atomic<int> rounds[kThreads] = {};
  std::vector<std::thread> threads;
  const int64_t start = NxClockNowNs();
  for (auto& count : rounds) {
    threads.emplace_back([&count, start] {
      for (int i = 1; i <= kSteps; ++i) {
        NxClockSleepUntilNs(start + i * kMs);
        ++count;
      }
      NxClockSleepUntilNs(start + (kSteps + 1) * kMs);
    });
  }
  clock.WaitForSleepers(kThreads);
  for (int i = 1; i <= kSteps; ++i) {
    clock.Advance(kMs);
    clock.WaitForSleepers(kThreads);
    for (const auto& count : rounds) ASSERT_EQ(count, i);
  }
  clock.Advance(kMs);
  for (std::thread& thread : threads) thread.join();
}

TEST(ManualClock, PumpLetsTimeRunByItself) {
  ManualClock clock;
  test::ClockPump pump(&clock, 1);
  const int64_t start = NxClockNowNs();
  NxSleep(3600000);
  NxHandle event = NxCreateEvent(true, false, nullptr);
  EXPECT_EQ(NxWait(event, 1000), NxErrFailure);
  NxCloseHandle(event);
  EXPECT_EQ(NxClockNowNs() - start, 3601000 * kMs);
}

TEST(ClockMonitor, TriesAtLeastOnce) {
  ClockMonitor monitor;
  int calls = 0;
  EXPECT_TRUE(monitor.WaitUntilNs(INT64_MIN, [&] { return ++calls == 1; }));
  EXPECT_FALSE(monitor.WaitUntilNs(INT64_MIN, [] { return false; }));
}

TEST(ClockMonitor, HandsAStateFromThreadToThread) {
  ClockMonitor monitor;
  int turn = 0;
  std::thread other([&] {
    for (int i = 0; i < 1000; ++i) {
      ASSERT_TRUE(monitor.WaitUntilNs(kClockForeverNs, [&] { return turn == 2 * i + 1; }));
      monitor.Locked([&] {
        ++turn;
        monitor.NotifyAll();
      });
    }
  });
  for (int i = 0; i < 1000; ++i) {
    monitor.Locked([&] {
      ++turn;
      monitor.NotifyAll();
    });
    ASSERT_TRUE(
        monitor.WaitUntilNs(NxClockNowNs() + 60000 * kMs, [&] { return turn == 2 * i + 2; }));
  }
  other.join();
}

}  // namespace
}  // namespace morvane
