#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "base/clock.h"
#include "base/paths.h"
#include "base/system.h"
#include "child_process.h"
#include "support/clock_pump.h"
#include "support/test_environment.h"

namespace morvane {
namespace {

constexpr uint32_t kLongMs = 60000;

TEST(Semaphore, CountsDownAndUp) {
  NxHandle semaphore = NxCreateSemaphore(2, 3, nullptr);
  EXPECT_EQ(NxWait(semaphore, 0), NxErrSuccess);
  EXPECT_EQ(NxWait(semaphore, 0), NxErrSuccess);
  EXPECT_EQ(NxWait(semaphore, 0), NxErrFailure);
  EXPECT_EQ(NxReleaseSemaphore(semaphore), NxErrSuccess);
  EXPECT_EQ(NxWait(semaphore, 0), NxErrSuccess);
  NxCloseHandle(semaphore);
}

TEST(Semaphore, ReleaseAboveTheMaximumFails) {
  NxHandle semaphore = NxCreateSemaphore(1, 1, nullptr);
  EXPECT_EQ(NxReleaseSemaphore(semaphore), NxErrFailure);
  EXPECT_EQ(NxWait(semaphore, 0), NxErrSuccess);
  EXPECT_EQ(NxWait(semaphore, 0), NxErrFailure);  // the refused release added nothing
  NxCloseHandle(semaphore);
}

TEST(Semaphore, RefusesCountsThatCannotBe) {
  EXPECT_EQ(NxCreateSemaphore(0, 0, nullptr), nullptr);
  EXPECT_EQ(NxCreateSemaphore(2, 1, nullptr), nullptr);
  EXPECT_EQ(NxCreateSemaphore(-1, 1, nullptr), nullptr);
}

TEST(Semaphore, LetsNoMoreThroughThanItsCount) {
  NxHandle semaphore = NxCreateSemaphore(3, 3, nullptr);
  std::atomic<int> inside{0};
  std::atomic<int> most{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(NxWait(semaphore, kLongMs), NxErrSuccess);
        const int now = ++inside;
        int seen = most;
        while (now > seen && !most.compare_exchange_weak(seen, now)) {
        }
        --inside;
        ASSERT_EQ(NxReleaseSemaphore(semaphore), NxErrSuccess);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_LE(most, 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(NxWait(semaphore, 0), NxErrSuccess);
  EXPECT_EQ(NxWait(semaphore, 0), NxErrFailure);
  NxCloseHandle(semaphore);
}

TEST(Semaphore, MayBeReleasedByAnotherThread) {
  for (const char* name : {static_cast<const char*>(nullptr), "handed over"}) {
    NxHandle semaphore = NxCreateSemaphore(1, 1, name);
    ASSERT_EQ(NxWait(semaphore, 0), NxErrSuccess);
    std::thread other([&] { EXPECT_EQ(NxReleaseSemaphore(semaphore), NxErrSuccess); });
    EXPECT_EQ(NxWait(semaphore, kLongMs), NxErrSuccess);
    other.join();
    NxCloseHandle(semaphore);
  }
}

TEST(NamedSemaphore, TwoHandlesOfOneProcessExcludeEachOther) {
  NxHandle first = NxCreateSemaphore(1, 1, "SornCard4");
  NxHandle second = NxCreateSemaphore(1, 1, "SornCard4");
  NxHandle other = NxCreateSemaphore(1, 1, "SornCard5");
  EXPECT_EQ(NxWait(first, 0), NxErrSuccess);
  EXPECT_EQ(NxWait(second, 0), NxErrFailure);
  EXPECT_EQ(NxWait(first, 0), NxErrFailure);  // nor is it given twice to one handle
  EXPECT_EQ(NxWait(other, 0), NxErrSuccess);
  EXPECT_EQ(NxReleaseSemaphore(second), NxErrFailure);
  EXPECT_EQ(NxReleaseSemaphore(first), NxErrSuccess);
  EXPECT_EQ(NxReleaseSemaphore(first), NxErrFailure);
  EXPECT_EQ(NxWait(second, 0), NxErrSuccess);
  for (NxHandle handle : {first, second, other}) NxCloseHandle(handle);
}

TEST(NamedSemaphore, ClosingTheHandleFreesIt) {
  NxHandle first = NxCreateSemaphore(1, 1, "closed");
  NxHandle second = NxCreateSemaphore(1, 1, "closed");
  ASSERT_EQ(NxWait(first, 0), NxErrSuccess);
  NxCloseHandle(first);
  EXPECT_EQ(NxWait(second, 0), NxErrSuccess);
  NxCloseHandle(second);
}

TEST(NamedSemaphore, KillingTheHolderFreesIt) {
  test::ChildProcess holder({"hold", "SornCard3"});
  ASSERT_EQ(holder.ReadLine(), "0");
  test::ChildProcess second({"hold", "SornCard3"});
  EXPECT_EQ(second.ReadLine(), "-2");
  NxHandle own = NxCreateSemaphore(1, 1, "SornCard3");
  EXPECT_EQ(NxWait(own, 0), NxErrFailure);
  holder.Kill();
  EXPECT_EQ(NxWait(own, kLongMs), NxErrSuccess);
  NxCloseHandle(own);
}

TEST(NamedSemaphore, WaitEndsWithTheHolder) {
  ManualClock clock;
  test::ClockPump pump(&clock, 1);
  NxHandle first = NxCreateSemaphore(1, 1, "waited");
  NxHandle second = NxCreateSemaphore(1, 1, "waited");
  ASSERT_EQ(NxWait(first, 0), NxErrSuccess);
  const int64_t start = NxClockNowNs();
  EXPECT_EQ(NxWait(second, 250), NxErrFailure);
  EXPECT_EQ(NxClockNowNs() - start, 250000000);
  std::thread waiter([&] { EXPECT_EQ(NxWait(second, kNxWaitForever), NxErrSuccess); });
  EXPECT_EQ(NxReleaseSemaphore(first), NxErrSuccess);
  waiter.join();
  NxCloseHandle(first);
  NxCloseHandle(second);
}

TEST(NamedSemaphore, OnlyOneOfOneCanHaveAName) {
  EXPECT_EQ(NxCreateSemaphore(0, 1, "counts"), nullptr);
  EXPECT_EQ(NxCreateSemaphore(1, 2, "counts"), nullptr);
  EXPECT_EQ(NxCreateSemaphore(2, 2, "counts"), nullptr);
  EXPECT_EQ(NxCreateSemaphore(1, 1, ""), nullptr);
  EXPECT_EQ(NxCreateSemaphore(1, 1, "../up"), nullptr);
}

TEST(NamedSemaphore, FileIsOpenToAllUsersWhateverTheMask) {
  const mode_t old = umask(077);
  NxHandle semaphore = NxCreateSemaphore(1, 1, "open to all");
  umask(old);
  struct stat status;
  ASSERT_EQ(stat(JoinPath(LockFolder(), "morvane-open to all").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0666u);
  NxCloseHandle(semaphore);
}

}  // namespace
}  // namespace morvane
