#include <gtest/gtest.h>

#include <atomic>

#include "base/clock.h"
#include "base/system.h"
#include "support/clock_pump.h"

namespace morvane {
namespace {

constexpr int64_t kMs = 1000000;

// A worker and what its routine counts. Never freed where the worker is abandoned.
struct Engine {
  WorkerThread worker;
  std::atomic<uint64_t> rounds{0};
  NxHandle go = nullptr;
};

void WellBehaved(void* context) {
  auto* engine = static_cast<Engine*>(context);
  while (!engine->worker.StopRequested()) {
    ++engine->rounds;
    NxSleep(1);
  }
  engine->worker.Leave();
}

void Deaf(void* context) {
  auto* engine = static_cast<Engine*>(context);
  for (;;) {
    ++engine->rounds;
    NxSleep(1);
  }
}

TEST(WorkerThread, RunsUntilItIsStopped) {
  const bool abandonedBefore = NxAnyThreadAbandoned();
  Engine engine;
  EXPECT_FALSE(engine.worker.Started());
  EXPECT_FALSE(engine.worker.Running());
  ASSERT_TRUE(engine.worker.Start(WellBehaved, &engine, 1, kNxAllProcessors));
  EXPECT_TRUE(engine.worker.Started());
  EXPECT_TRUE(engine.worker.Running());
  while (engine.rounds < 3) NxSleep(1);
  EXPECT_TRUE(engine.worker.Stop());
  EXPECT_FALSE(engine.worker.Running());
  EXPECT_FALSE(engine.worker.Started());
  EXPECT_TRUE(engine.worker.StopRequested());
  EXPECT_EQ(NxAnyThreadAbandoned(), abandonedBefore);
}

TEST(WorkerThread, MayBeStartedAgain) {
  Engine engine;
  for (int i = 0; i < 50; ++i) {
    ASSERT_TRUE(engine.worker.Start(WellBehaved, &engine, i % 4, 1));
    EXPECT_FALSE(engine.worker.StopRequested());
    EXPECT_TRUE(engine.worker.Stop(i % 2 == 0));
  }
}

TEST(WorkerThread, ShortRoutineIsNotSeenAsRunningForEver) {
  for (int i = 0; i < 200; ++i) {
    WorkerThread worker;
    ASSERT_TRUE(worker.Start([](void* w) { static_cast<WorkerThread*>(w)->Leave(); }, &worker, 1,
                             kNxAllProcessors));
    ASSERT_TRUE(worker.Stop());
    ASSERT_FALSE(worker.Running());
  }
}

TEST(WorkerThread, RoutineMayReturnPlainly) {
  WorkerThread worker;
  ASSERT_TRUE(worker.Start([](void*) {}, nullptr, 1, kNxAllProcessors));
  while (worker.Running()) NxSleep(1);
  EXPECT_TRUE(worker.Stop());
}

TEST(WorkerThread, StopWithoutAThreadIsNothing) {
  WorkerThread worker;
  EXPECT_TRUE(worker.Stop());
  EXPECT_TRUE(worker.StopRequested());
}

TEST(WorkerThread, LeftoverOfAnEndedThreadIsClosed) {
  WorkerThread worker;
  ASSERT_TRUE(worker.Start([](void*) {}, nullptr, 1, kNxAllProcessors));
  while (worker.Running()) NxSleep(1);
  EXPECT_TRUE(worker.Started());
  worker.CloseLeftover();
  EXPECT_FALSE(worker.Started());
  worker.CloseLeftover();
  ASSERT_TRUE(worker.Start([](void*) {}, nullptr, 1, kNxAllProcessors));
  while (worker.Running()) NxSleep(1);
  ASSERT_TRUE(worker.Start([](void*) {}, nullptr, 1, kNxAllProcessors));  // closes it by itself
  EXPECT_TRUE(worker.Stop());
}

TEST(WorkerThread, RunningOneIsNotStartedTwice) {
  Engine engine;
  ASSERT_TRUE(engine.worker.Start(WellBehaved, &engine, 1, kNxAllProcessors));
  engine.worker.CloseLeftover();  // not a leftover
  EXPECT_TRUE(engine.worker.Started());
  EXPECT_FALSE(engine.worker.Start(WellBehaved, &engine, 1, kNxAllProcessors));
  EXPECT_TRUE(engine.worker.Running());
  EXPECT_FALSE(engine.worker.StopRequested());
  EXPECT_TRUE(engine.worker.Stop());
}

TEST(WorkerThread, WithoutARoutineDoesNotStart) {
  WorkerThread worker;
  EXPECT_FALSE(worker.Start(nullptr, nullptr, 1, kNxAllProcessors));
  EXPECT_FALSE(worker.Running());
}

TEST(WorkerThread, DeafOneIsAbandonedAfter1011Polls) {
  ManualClock clock;
  auto* engine = new Engine;
  ASSERT_TRUE(engine->worker.Start(Deaf, engine, 1, kNxAllProcessors));
  clock.WaitForSleepers(1);
  const int64_t start = NxClockNowNs();
  {
    test::ClockPump pump(&clock, 2);
    EXPECT_FALSE(engine->worker.Stop());
  }
  EXPECT_EQ(NxClockNowNs() - start, 1011 * 5 * kMs);
  EXPECT_FALSE(engine->worker.Running());
  EXPECT_FALSE(engine->worker.Started());
  EXPECT_TRUE(NxAnyThreadAbandoned());
  const uint64_t rounds = engine->rounds;
  clock.Advance(1000 * kMs);  // it wakes, and goes no further
  test::ClockPump pump(&clock, 1);
  NxSleep(1000);
  EXPECT_LE(engine->rounds, rounds + 1);  // it may have stood between sleep and count
}

TEST(WorkerThread, StopMayLookAtTheRunningWordAlone) {
  // Clears its word but does not end: fine for a stop that asks for no exit code.
  const auto lingering = [](void* context) {
    auto* engine = static_cast<Engine*>(context);
    NxWait(engine->go, kNxWaitForever);
    engine->worker.Leave();
  };
  Engine engine;
  engine.go = NxCreateEvent(true, false, nullptr);
  ASSERT_TRUE(engine.worker.Start(lingering, &engine, 1, kNxAllProcessors));
  NxSetEvent(engine.go);
  EXPECT_TRUE(engine.worker.Stop(false));
  NxCloseHandle(engine.go);
}

TEST(WorkerThread, AnotherExitCodeRunsTheStopOutButIsNoAbandoning) {
  // Set by the thread's last breath, after its end was recorded: the time of a pump runs faster
  // than any thread.
  struct Breath {
    std::atomic<bool>* gone = nullptr;
    ~Breath() {
      if (gone != nullptr) *gone = true;
    }
  };
  static std::atomic<bool> gone;
  gone = false;
  WorkerThread worker;
  ASSERT_TRUE(worker.Start(
      [](void*) {
        static thread_local Breath breath;
        breath.gone = &gone;
        NxExitThread(7);
      },
      nullptr, 1, kNxAllProcessors));
  while (!gone) NxSleep(1);
  ManualClock clock;
  test::ClockPump pump(&clock, 1);
  const int64_t start = NxClockNowNs();
  EXPECT_TRUE(worker.Stop());
  EXPECT_EQ(NxClockNowNs() - start, 1011 * 5 * kMs);
  EXPECT_FALSE(worker.Running());
}

}  // namespace
}  // namespace morvane
