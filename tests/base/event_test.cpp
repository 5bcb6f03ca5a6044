#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "base/clock.h"
#include "base/system.h"
#include "child_process.h"

namespace morvane {
namespace {

constexpr uint32_t kLongMs = 60000;

// All that is true of an event with or without a name.
class EventTest : public testing::TestWithParam<const char*> {
 protected:
  static NxHandle Make(bool manualReset, bool set) {
    return NxCreateEvent(manualReset, set, GetParam());
  }
};
INSTANTIATE_TEST_SUITE_P(Kinds, EventTest, testing::Values(nullptr, "event of a test"),
                         [](const auto& test) {
                           return std::string(test.param == nullptr ? "Unnamed" : "Named");
                         });

TEST_P(EventTest, AutoResetLetsOneThrough) {
  NxHandle event = Make(false, false);
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(NxWait(event, 0), NxErrFailure);
  EXPECT_EQ(NxSetEvent(event), NxErrSuccess);
  EXPECT_EQ(NxSetEvent(event), NxErrSuccess);  // set is set, not a count
  EXPECT_EQ(NxWait(event, 0), NxErrSuccess);
  EXPECT_EQ(NxWait(event, 0), NxErrFailure);
  EXPECT_EQ(NxCloseHandle(event), NxErrSuccess);
}

TEST_P(EventTest, ManualResetStaysSet) {
  NxHandle event = Make(true, false);
  EXPECT_EQ(NxSetEvent(event), NxErrSuccess);
  EXPECT_EQ(NxWait(event, 0), NxErrSuccess);
  EXPECT_EQ(NxWait(event, 0), NxErrSuccess);
  EXPECT_EQ(NxResetEvent(event), NxErrSuccess);
  EXPECT_EQ(NxWait(event, 0), NxErrFailure);
  NxCloseHandle(event);
}

TEST_P(EventTest, MayBeginSet) {
  for (const bool manualReset : {false, true}) {
    NxHandle event = Make(manualReset, true);
    EXPECT_EQ(NxWait(event, kLongMs), NxErrSuccess);
    EXPECT_EQ(NxWait(event, 0), manualReset ? NxErrSuccess : NxErrFailure);
    NxCloseHandle(event);
  }
}

TEST_P(EventTest, WakesAWaiter) {
  for (const uint32_t timeoutMs : {kLongMs, kNxWaitForever}) {
    NxHandle event = Make(false, false);
    std::atomic<NxErr> result{NxErrUnknown};
    std::thread waiter([&] { result = NxWait(event, timeoutMs); });
    EXPECT_EQ(NxSetEvent(event), NxErrSuccess);
    waiter.join();
    EXPECT_EQ(result, NxErrSuccess);
    NxCloseHandle(event);
  }
}

TEST_P(EventTest, ManualResetWakesAllWaiters) {
  NxHandle event = Make(true, false);
  std::atomic<int> through{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 8; ++i) {
    waiters.emplace_back([&] { through += NxWait(event, kLongMs) == NxErrSuccess; });
  }
  NxSetEvent(event);
  for (std::thread& waiter : waiters) waiter.join();
  EXPECT_EQ(through, 8);
  NxCloseHandle(event);
}

TEST_P(EventTest, PassesATurnBackAndForth) {
  NxHandle ping = Make(false, false);
  NxHandle pong = NxCreateEvent(false, false, nullptr);
  int value = 0;  // guarded by the turn
  std::thread other([&] {
    for (int i = 0; i < 500; ++i) {
      ASSERT_EQ(NxWait(ping, kLongMs), NxErrSuccess);
      ++value;
      NxSetEvent(pong);
    }
  });
  for (int i = 0; i < 500; ++i) {
    ++value;
    NxSetEvent(ping);
    ASSERT_EQ(NxWait(pong, kLongMs), NxErrSuccess);
  }
  other.join();
  EXPECT_EQ(value, 1000);
  NxCloseHandle(ping);
  NxCloseHandle(pong);
}

TEST_P(EventTest, DeadlineMayBeGivenInClockTime) {
  ManualClock clock;
  NxHandle event = Make(false, false);
  EXPECT_EQ(NxWaitUntilNs(event, NxClockNowNs()), NxErrFailure);
  std::atomic<NxErr> result{NxErrUnknown};
  const int64_t deadline = NxClockNowNs() + 1500;
  std::thread waiter([&] { result = NxWaitUntilNs(event, deadline); });
  clock.Advance(1500);
  waiter.join();
  EXPECT_EQ(result, NxErrFailure);
  NxCloseHandle(event);
}

TEST(NamedEvent, IsOneForAllWhoNameIt) {
  NxHandle first = NxCreateEvent(true, true, "shared");
  NxHandle second = NxCreateEvent(true, false, "shared");  // its initial state does not count
  NxHandle other = NxCreateEvent(true, false, "other");
  EXPECT_EQ(NxWait(second, 0), NxErrSuccess);
  EXPECT_EQ(NxWait(other, 0), NxErrFailure);
  NxResetEvent(second);
  EXPECT_EQ(NxWait(first, 0), NxErrFailure);
  NxCloseHandle(first);
  NxSetEvent(second);
  NxHandle third = NxCreateEvent(true, false, "shared");
  EXPECT_EQ(NxWait(third, 0), NxErrSuccess);
  for (NxHandle handle : {second, third, other}) NxCloseHandle(handle);
}

TEST(NamedEvent, EndsWithItsLastHandle) {
  NxHandle first = NxCreateEvent(true, true, "mortal");
  NxCloseHandle(first);
  NxHandle next = NxCreateEvent(true, false, "mortal");
  EXPECT_EQ(NxWait(next, 0), NxErrFailure);
  NxCloseHandle(next);
}

TEST(NamedEvent, ReachesAnotherProcess) {
  NxHandle event = NxCreateEvent(false, false, "far");
  test::ChildProcess child({"wait-event", "far"});
  ASSERT_EQ(child.ReadLine(), "waiting");
  NxSetEvent(event);
  EXPECT_EQ(child.ReadLine(), "0");
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(NxWait(event, 0), NxErrFailure);  // the child took it
  NxCloseHandle(event);
}

TEST(NamedEvent, OutlivesAWaiterThatWasKilled) {
  NxHandle event = NxCreateEvent(false, false, "killed");
  {
    test::ChildProcess child({"wait-event", "killed"});
    ASSERT_EQ(child.ReadLine(), "waiting");
    child.Kill();
    child.Wait();
  }
  NxSetEvent(event);
  EXPECT_EQ(NxWait(event, 0), NxErrSuccess);
  NxCloseHandle(event);
}

TEST(NamedEvent, NeedsANameThatAFileCanHave) {
  EXPECT_EQ(NxCreateEvent(true, true, ""), nullptr);
  EXPECT_EQ(NxCreateEvent(true, true, "a/b"), nullptr);
  EXPECT_EQ(NxCreateEvent(true, true, std::string(300, 'x').c_str()), nullptr);
}

TEST(Handle, NullIsRefused) {
  EXPECT_EQ(NxCloseHandle(nullptr), NxErrCloseHandle);
  EXPECT_EQ(NxCloseHandle(nullptr), 10000);
  EXPECT_EQ(NxWait(nullptr, 0), NxErrFailure);
  EXPECT_EQ(NxSetEvent(nullptr), NxErrFailure);
  EXPECT_EQ(NxResetEvent(nullptr), NxErrFailure);
  EXPECT_EQ(NxReleaseSemaphore(nullptr), NxErrFailure);
  EXPECT_EQ(NxTerminateThread(nullptr, 0), NxErrFailure);
  uint32_t exitCode = 7;
  EXPECT_EQ(NxThreadExitCode(nullptr, &exitCode), NxErrFailure);
  EXPECT_EQ(exitCode, 7u);
}

TEST(Handle, OfAnotherKindIsRefused) {
  NxHandle event = NxCreateEvent(true, false, nullptr);
  NxHandle semaphore = NxCreateSemaphore(1, 1, nullptr);
  uint32_t exitCode = 7;
  EXPECT_EQ(NxReleaseSemaphore(event), NxErrFailure);
  EXPECT_EQ(NxSetEvent(semaphore), NxErrFailure);
  EXPECT_EQ(NxResetEvent(semaphore), NxErrFailure);
  EXPECT_EQ(NxThreadExitCode(event, &exitCode), NxErrFailure);
  EXPECT_EQ(NxTerminateThread(semaphore, 0), NxErrFailure);
  EXPECT_FALSE(NxThreadPriorityRefused(event));
  NxCloseHandle(event);
  NxCloseHandle(semaphore);
}

}  // namespace
}  // namespace morvane
