#include "toolkit/window_thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "base/clock.h"
#include "support/clock_pump.h"
#include "toolkit/gui.h"
#include "toolkit/headless/headless_toolkit.h"

namespace morvane::test {
namespace {

// A window with a thread that counts its rounds.
struct Counter {
  static void Run(void* self) { static_cast<Counter*>(self)->Loop(); }
  void Loop() {
    while (!thread.StopRequested()) {
      if (thread.PauseRequested()) {
        if (!thread.Rested()) ++pauses;
        thread.Rest();
        continue;
      }
      if (thread.TakeResumed()) ++starts;
      ++rounds;
      NxSleep(1);
    }
  }
  [[nodiscard]] bool Start() { return thread.Start(Run, this, 1, kNxAllProcessors); }

  WindowThread thread;
  std::atomic<int> rounds{0};
  std::atomic<int> starts{0};
  std::atomic<int> pauses{0};
};

void WaitForRounds(const Counter& counter, int count) {
  const int until = counter.rounds + count;
  while (counter.rounds < until) NxSleep(1);
}

TEST(WindowThread, RestsBetweenPauseAndResume) {
  Counter counter;
  ASSERT_TRUE(counter.Start());
  EXPECT_FALSE(counter.Start());
  WaitForRounds(counter, 3);
  counter.thread.Pause();
  const int rounds = counter.rounds;
  EXPECT_EQ(1, counter.pauses);
  NxSleep(20);
  EXPECT_EQ(rounds, counter.rounds);
  counter.thread.Resume();
  WaitForRounds(counter, 3);
  EXPECT_EQ(2, counter.starts);
  EXPECT_TRUE(counter.thread.Stop());
  EXPECT_FALSE(counter.thread.Running());
}

TEST(WindowThread, StopsWhileItRests) {
  Counter counter;
  ASSERT_TRUE(counter.Start());
  counter.thread.Pause();
  EXPECT_TRUE(counter.thread.Stop());
  // It can be started again, and begins anew.
  ASSERT_TRUE(counter.Start());
  WaitForRounds(counter, 3);
  EXPECT_TRUE(counter.thread.Stop());
}

TEST(WindowThread, WithoutAThreadNothingIsWaitedFor) {
  Counter counter;
  counter.thread.Pause();
  counter.thread.Resume();
  EXPECT_TRUE(counter.thread.Stop());
  EXPECT_EQ(0, counter.rounds);
}

// A thread that does not answer counts as paused after the bound.
TEST(WindowThread, APauseIsBounded) {
  ManualClock clock;
  struct Deaf {
    static void Run(void* self) {
      auto* deaf = static_cast<Deaf*>(self);
      while (!deaf->leave) NxSleep(1);
    }
    WindowThread thread;
    std::atomic<bool> leave{false};
  };
  Deaf deaf;
  const ClockPump pump(&clock, 1);
  ASSERT_TRUE(deaf.thread.Start(Deaf::Run, &deaf, 1, kNxAllProcessors));
  const int64_t before = NxClockNowNs();
  deaf.thread.Pause();
  const int64_t waitedMs = (NxClockNowNs() - before) / 1000000;
  EXPECT_GE(waitedMs, 1011 * 5);
  EXPECT_TRUE(deaf.thread.Rested());
  deaf.leave = true;
  while (deaf.thread.Running()) NxSleep(1);  // the pump's time runs faster than any thread
  EXPECT_TRUE(deaf.thread.Stop());
}

// A thread that does not end is waited for once, not by the window and then by the worker again.
TEST(WindowThread, AStopIsBounded) {
  ManualClock clock;
  struct Deaf {
    static void Run(void* self) {
      auto* deaf = static_cast<Deaf*>(self);
      for (;;) {
        ++deaf->rounds;
        NxSleep(1000);
      }
    }
    WindowThread thread;
    std::atomic<int> rounds{0};
  };
  auto* deaf = new Deaf;  // the abandoned thread's, for ever
  const ClockPump pump(&clock, 2);
  ASSERT_TRUE(deaf->thread.Start(Deaf::Run, deaf, 1, kNxAllProcessors));
  while (clock.Sleepers() < 1) std::this_thread::yield();
  const int64_t before = NxClockNowNs();
  EXPECT_FALSE(deaf->thread.Stop());
  EXPECT_EQ(1011 * 5, (NxClockNowNs() - before) / 1000000);
  EXPECT_FALSE(deaf->thread.Running());
}

// The thread sits in a send when the main thread pauses, and when it stops it.
TEST(WindowThread, AThreadInASendComesFree) {
  class Window : public NXWindow {
   public:
    NxErr ReceiveNXMessage(uint32_t message, int a, int b, void* c, void* d) override {
      ++received;
      return NXWindow::ReceiveNXMessage(message, a, b, c, d);
    }
    int received = 0;
  };
  struct Sender {
    static void Run(void* self) {
      auto* sender = static_cast<Sender*>(self);
      while (!sender->thread.StopRequested()) {
        if (sender->thread.PauseRequested()) {
          sender->thread.Rest();
          continue;
        }
        (void)sender->thread.TakeResumed();
        NXSendMessage(sender->window->nxNode, 1, 0, 0, nullptr, nullptr);
        ++sender->sent;
      }
    }
    WindowThread thread;
    NXWindow* window = nullptr;
    std::atomic<int> sent{0};
  };
  HeadlessToolkit toolkit;
  ASSERT_EQ(NxErrSuccess, NXInitGUI(0, 0, 10, 10, nullptr, "T", "i", nullptr, 0));
  Window window;
  const NxRECT rect = {0, 0, 10, 10};
  window.CreateNXWindow("root", 0, 1, 0, &rect, nullptr);
  Sender sender;
  sender.window = &window;
  // Also before the loop has begun.
  for (const bool started : {false, true}) {
    if (started) NXStartGUI();
    ASSERT_TRUE(sender.thread.Start(Sender::Run, &sender, 1, kNxAllProcessors));
    sender.thread.Pause();
    EXPECT_TRUE(sender.thread.Rested());
    sender.thread.Resume();
    EXPECT_TRUE(sender.thread.Stop());
  }
  EXPECT_EQ(sender.sent, window.received);
  NXKillGUI();
}

}  // namespace
}  // namespace morvane::test
