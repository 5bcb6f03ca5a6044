#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "base/clock.h"
#include "base/file_io.h"
#include "base/system.h"
#include "child_process.h"
#include "support/clock_pump.h"
#include "support/test_environment.h"
#include "thread_facts.h"

namespace morvane {
namespace {

constexpr uint32_t kLongMs = 60000;

// Runs `work` on a thread of ours and waits for its end.
struct Job {
  void (*work)(Job*) = nullptr;
  uint32_t threadId = 0;
  int nice = 99;
  std::string processors;
};
void RunJob(void* context) {
  auto* job = static_cast<Job*>(context);
  job->processors = test::ProcessorsOfCaller();
  job->nice = test::NiceOfCaller();
  job->threadId = static_cast<uint32_t>(syscall(SYS_gettid));
  if (job->work != nullptr) job->work(job);
  NxExitThread(0);
}
Job Finished(int32_t priorityCode, uint64_t affinityMask, void (*work)(Job*) = nullptr) {
  Job job;
  job.work = work;
  NxHandle thread = NxCreateThread(RunJob, &job, 0, priorityCode, affinityMask, nullptr);
  EXPECT_NE(thread, nullptr);
  EXPECT_EQ(NxWait(thread, kLongMs), NxErrSuccess);
  EXPECT_EQ(NxCloseHandle(thread), NxErrSuccess);
  return job;
}

uint32_t ExitCodeOf(NxHandle thread) {
  uint32_t code = 12345;
  EXPECT_EQ(NxThreadExitCode(thread, &code), NxErrSuccess);
  return code;
}

TEST(Thread, ExitCodeIs259WhileItRunsAndThenItsOwn) {
  NxHandle go = NxCreateEvent(true, false, nullptr);
  NxHandle thread = NxCreateThread(
      [](void* context) {
        NxWait(static_cast<NxHandle>(context), kNxWaitForever);
        NxExitThread(0);
      },
      go, 0, 1, kNxAllProcessors, nullptr);
  EXPECT_EQ(ExitCodeOf(thread), 259u);
  EXPECT_EQ(NxWait(thread, 0), NxErrFailure);
  NxSetEvent(go);
  EXPECT_EQ(NxWait(thread, kLongMs), NxErrSuccess);
  EXPECT_EQ(NxWait(thread, 0), NxErrSuccess);  // an ended thread stays ended
  EXPECT_EQ(ExitCodeOf(thread), 0u);
  NxCloseHandle(thread);
  NxCloseHandle(go);
}

TEST(Thread, AnyExitCodeComesThrough) {
  for (const uint32_t code : {1u, 259u, 0xFFFFFFFFu}) {
    NxHandle thread =
        NxCreateThread([](void* context) { NxExitThread(*static_cast<uint32_t*>(context)); },
                       const_cast<uint32_t*>(&code), 0, 1, kNxAllProcessors, nullptr);
    EXPECT_EQ(NxWait(thread, kLongMs), NxErrSuccess);
    EXPECT_EQ(ExitCodeOf(thread), code);
    NxCloseHandle(thread);
  }
}

TEST(Thread, PlainReturnIsExitCodeZero) {
  NxHandle thread = NxCreateThread([](void*) {}, nullptr, 0, 1, kNxAllProcessors, nullptr);
  EXPECT_EQ(NxWait(thread, kLongMs), NxErrSuccess);
  EXPECT_EQ(ExitCodeOf(thread), 0u);
  NxCloseHandle(thread);
}

void LeaveBelowNoexcept() noexcept {
  try {
    NxExitThread(42);
  } catch (...) {
    abort();
  }
}

TEST(Thread, MayExitBelowNoexceptAndCatchAll) {
  NxHandle thread =
      NxCreateThread([](void*) { LeaveBelowNoexcept(); }, nullptr, 0, 1, kNxAllProcessors, nullptr);
  EXPECT_EQ(NxWait(thread, kLongMs), NxErrSuccess);
  EXPECT_EQ(ExitCodeOf(thread), 42u);
  NxCloseHandle(thread);
}

TEST(Thread, MayUseExceptionsOfItsOwn) {
  NxHandle thread = NxCreateThread(
      [](void*) {
        try {
          throw std::runtime_error("caught below");
        } catch (const std::exception&) {
        }
        NxExitThread(6);
      },
      nullptr, 0, 1, kNxAllProcessors, nullptr);
  EXPECT_EQ(NxWait(thread, kLongMs), NxErrSuccess);
  EXPECT_EQ(ExitCodeOf(thread), 6u);
  NxCloseHandle(thread);
}

TEST(Thread, IdIsTheKernelsAndKnownToTheCreator) {
  Job job;
  uint32_t threadId = 0;
  NxHandle thread = NxCreateThread(RunJob, &job, 0, 1, kNxAllProcessors, &threadId);
  EXPECT_NE(threadId, 0u);
  NxWait(thread, kLongMs);
  EXPECT_EQ(threadId, job.threadId);
  EXPECT_NE(threadId, static_cast<uint32_t>(getpid()));
  NxCloseHandle(thread);
}

TEST(Thread, RunsOnWhenItsHandleIsClosed) {
  NxHandle events[2] = {NxCreateEvent(true, false, nullptr), NxCreateEvent(true, false, nullptr)};
  NxHandle thread = NxCreateThread(
      [](void* context) {
        auto* e = static_cast<NxHandle*>(context);
        NxWait(e[0], kNxWaitForever);
        NxSetEvent(e[1]);
        NxExitThread(0);
      },
      events, 0, 1, kNxAllProcessors, nullptr);
  EXPECT_EQ(NxCloseHandle(thread), NxErrSuccess);
  NxSetEvent(events[0]);
  EXPECT_EQ(NxWait(events[1], kLongMs), NxErrSuccess);
  for (NxHandle event : events) NxCloseHandle(event);
}

TEST(Thread, WithoutARoutineIsRefused) {
  EXPECT_EQ(NxCreateThread(nullptr, nullptr, 0, 1, kNxAllProcessors, nullptr), nullptr);
}

TEST(ThreadPriority, CodesAreStepsFromTheProcess) {
  const int base = test::NiceOfCaller();
  const struct {
    int32_t code;
    int nice;
  } kRows[] = {{0, 10}, {1, 0}, {2, -10}, {3, -19}};
  for (const auto& row : kRows) {
    Job job;
    NxHandle thread = NxCreateThread(RunJob, &job, 0, row.code, kNxAllProcessors, nullptr);
    NxWait(thread, kLongMs);
    // What an ordinary user is refused leaves the base, and can be asked for.
    const int expected = NxThreadPriorityRefused(thread) ? base : base + row.nice;
    EXPECT_EQ(job.nice, std::min(std::max(expected, -20), 19)) << row.code;
    EXPECT_FALSE(row.code < 2 && NxThreadPriorityRefused(thread)) << row.code;
    NxCloseHandle(thread);
  }
}

TEST(ThreadPriority, UnknownCodesAreNormal) {
  const int normal = Finished(1, kNxAllProcessors).nice;
  for (const int32_t code : {-5, 4, 5, 99, INT32_MIN, INT32_MAX}) {
    EXPECT_EQ(Finished(code, kNxAllProcessors).nice, normal) << code;
  }
}

TEST(ThreadPriority, IsNotInheritedFromTheCreator) {
  test::ChildProcess child({"inherit"});
  const std::string line = child.ReadLine();
  if (child.Wait() == 77) GTEST_SKIP() << "this user cannot become an ordinary one";
  // Code 0 is 10 steps down; a normal thread that it creates is not, and may run everywhere.
  EXPECT_EQ(line, "10 0 " + std::to_string(NxProcessorCount()));
}

TEST(ThreadPriority, RefusalIsNoErrorAndCanBeAskedFor) {
  test::ChildProcess child({"refused"});
  const std::string line = child.ReadLine();
  if (child.Wait() == 77) GTEST_SKIP() << "this user cannot become an ordinary one";
  if (line == "0000") GTEST_SKIP() << "this system allows ordinary users any priority";
  EXPECT_EQ(line, "0011");
}

TEST(ThreadPriority, RoundRobinOnlyWhereAskedFor) {
  {
    test::ChildProcess child({"realtime"});
    const std::string line = child.ReadLine();
    EXPECT_EQ(line.find("rr"), std::string::npos) << line;
  }
  test::ChildProcess child({"realtime"}, {"env", "MORVANE_REALTIME=1"});
  const std::string line = child.ReadLine();
  if (line.find("refused") != std::string::npos) GTEST_SKIP() << "refused here: " << line;
  EXPECT_EQ(line, "other other rr rr ");
}

TEST(ProcessPriority, RaiseReachesTheThreadsOrIsRefused) {
  test::ChildProcess child({"raise"});
  const std::string line = child.ReadLine();
  if (line.front() == '0') {
    EXPECT_EQ(line, "0 0 0");
  } else {
    EXPECT_EQ(line, "1 -5 -5");
  }
  test::ChildProcess user({"raise-as-user"});
  const std::string userLine = user.ReadLine();
  if (user.Wait() == 77) GTEST_SKIP() << "this user cannot become an ordinary one";
  if (userLine.front() == '1') GTEST_SKIP() << "this system allows ordinary users any priority";
  EXPECT_EQ(userLine, "0 0 0");
}

TEST(ThreadProcessors, AreSetOnTheFirstStatement) {
  const std::string all = test::ProcessorsOfCaller();
  const int count = static_cast<int>(NxProcessorCount());
  for (int i = 0; i < 1000; ++i) {
    const int position = i % std::min(count, 64);
    ASSERT_EQ(Finished(1, uint64_t{1} << position).processors, test::OneProcessor(all, position));
  }
}

TEST(ThreadProcessors, AllOnesLeavesTheThreadUnpinned) {
  EXPECT_EQ(Finished(1, kNxAllProcessors).processors, test::ProcessorsOfCaller());
}

TEST(ThreadProcessors, AllOnesFromAPinnedThreadIsTheStartSet) {
  static std::string inner;
  const Job outer = Finished(0, 1, [](Job*) { inner = Finished(1, kNxAllProcessors).processors; });
  EXPECT_EQ(outer.processors, test::OneProcessor(test::ProcessorsOfCaller(), 0));
  EXPECT_EQ(inner, test::ProcessorsOfCaller());
}

TEST(ThreadProcessors, MaskOutsideTheSetIsNotFatal) {
  if (NxProcessorCount() > 62) GTEST_SKIP() << "every bit of a mask is a processor here";
  const std::string all = test::ProcessorsOfCaller();
  EXPECT_EQ(Finished(1, uint64_t{1} << 63).processors, all);
  EXPECT_EQ(Finished(1, 0).processors, all);
  // Bits outside are ignored next to one inside.
  EXPECT_EQ(Finished(1, uint64_t{1} << 63 | 1).processors, test::OneProcessor(all, 0));
}

TEST(Thread, CanBeMadeInAForkedChild) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "ThreadSanitizer allows no threads after a fork";
#endif
  test::ChildProcess child({"fork"});
  EXPECT_EQ(child.ReadLine(), "0");
}

// ---- the last resort -----------------------------------------------------------------------

struct Stubborn {
  void (*primitive)(Stubborn*) = nullptr;
  std::atomic<uint64_t> rounds{0};
  NxHandle handle = nullptr;
  std::string path;
};
// Never looks at a stop word. Its last primitive is known by the count that stands still.
void Insist(void* context) {
  auto* stubborn = static_cast<Stubborn*>(context);
  for (;;) {
    stubborn->primitive(stubborn);
    ++stubborn->rounds;
  }
}
bool ComesToRest(const Stubborn& stubborn) {
  for (int i = 0; i < 500; ++i) {
    const uint64_t before = stubborn.rounds;
    NxSleep(20);
    if (stubborn.rounds != before) continue;
    NxSleep(50);
    return stubborn.rounds <= before + 1;  // it may have stood between primitive and count
  }
  return false;
}

class Terminate : public testing::TestWithParam<std::pair<const char*, void (*)(Stubborn*)>> {};
INSTANTIATE_TEST_SUITE_P(
    Primitives, Terminate,
    testing::Values(std::pair(
                        "Sleep", +[](Stubborn*) { NxSleep(1); }),
                    std::pair(
                        "SleepNothing", +[](Stubborn*) { NxSleep(0); }),
                    std::pair(
                        "Wait", +[](Stubborn* s) { NxWait(s->handle, 1); }),
                    std::pair(
                        "Poll", +[](Stubborn* s) { NxWait(s->handle, 0); }),
                    std::pair(
                        "SetEvent", +[](Stubborn* s) { NxSetEvent(s->handle); }),
                    std::pair(
                        "CreateEvent",
                        +[](Stubborn*) { NxCloseHandle(NxCreateEvent(true, true, nullptr)); }),
                    std::pair(
                        "Folder", +[](Stubborn* s) { NxRemoveFolder(s->path.c_str()); }),
                    std::pair(
                        "FileSize", +[](Stubborn*) { (void)NxFileSize(0, nullptr); }),
                    std::pair(
                        "FileOpen",
                        +[](Stubborn* s) {
                          File file;
                          (void)file.Open(s->path, FileMode::kRead);
                        }),
                    std::pair(
                        "Exit", +[](Stubborn*) { NxLeaveIfAbandoned(); })),
    [](const auto& test) { return std::string(test.param.first); });

TEST_P(Terminate, ThreadGoesNoFurtherThanThePrimitive) {
  // Never freed: an abandoned thread may know it.
  auto* stubborn = new Stubborn;
  stubborn->primitive = GetParam().second;
  stubborn->handle = NxCreateEvent(true, false, nullptr);
  stubborn->path = test::FreshFolder("terminate") + "/none";
  NxHandle thread = NxCreateThread(Insist, stubborn, 0, 1, kNxAllProcessors, nullptr);
  while (stubborn->rounds < 3) NxSleep(1);
  EXPECT_EQ(ExitCodeOf(thread), 259u);
  EXPECT_EQ(NxTerminateThread(thread, 9), NxErrSuccess);
  EXPECT_TRUE(ComesToRest(*stubborn));
  EXPECT_EQ(ExitCodeOf(thread), 9u);
  EXPECT_EQ(NxWait(thread, 0), NxErrSuccess);
  EXPECT_EQ(NxTerminateThread(thread, 4), NxErrFailure);  // once only
  EXPECT_EQ(ExitCodeOf(thread), 9u);
  EXPECT_TRUE(NxAnyThreadAbandoned());
  EXPECT_EQ(NxCloseHandle(thread), NxErrSuccess);
}

TEST(TerminateThread, ReachesOneThatWaitsForEver) {
  auto* stubborn = new Stubborn;
  stubborn->handle = NxCreateEvent(true, false, nullptr);
  stubborn->primitive = [](Stubborn* s) { NxWait(s->handle, kNxWaitForever); };
  NxHandle thread = NxCreateThread(Insist, stubborn, 0, 1, kNxAllProcessors, nullptr);
  EXPECT_EQ(NxTerminateThread(thread, 0), NxErrSuccess);
  NxSetEvent(stubborn->handle);  // it wakes, and goes no further
  EXPECT_TRUE(ComesToRest(*stubborn));
  EXPECT_EQ(stubborn->rounds, 0u);
  NxCloseHandle(thread);
}

TEST(TerminateThread, HasNothingToDoForOneThatHasEnded) {
  NxHandle thread =
      NxCreateThread([](void*) { NxExitThread(3); }, nullptr, 0, 1, kNxAllProcessors, nullptr);
  NxWait(thread, kLongMs);
  EXPECT_EQ(NxTerminateThread(thread, 0), NxErrFailure);
  EXPECT_EQ(ExitCodeOf(thread), 3u);
  NxCloseHandle(thread);
}

TEST(TerminateThread, CodeStandsWhenTheRoutineReturnsLater) {
  struct Spinner {
    std::atomic<bool> go{false};
    std::atomic<bool> gone{false};
    // Set by the thread's last breath, after its end was recorded.
    struct Breath {
      Spinner* spinner = nullptr;
      ~Breath() {
        if (spinner != nullptr) spinner->gone = true;
      }
    };
  };
  auto* spinner = new Spinner;
  NxHandle thread = NxCreateThread(
      [](void* context) {
        static thread_local Spinner::Breath breath;
        breath.spinner = static_cast<Spinner*>(context);
        while (!breath.spinner->go) {
        }
      },
      spinner, 0, 1, kNxAllProcessors, nullptr);
  EXPECT_EQ(NxTerminateThread(thread, 9), NxErrSuccess);
  spinner->go = true;  // no primitive on its way out, so it does end
  while (!spinner->gone) NxSleep(1);
  EXPECT_EQ(ExitCodeOf(thread), 9u);
  NxCloseHandle(thread);
  delete spinner;
}

TEST(TerminateThread, IsRememberedSoThatMainCanLeaveAtOnce) {
  test::ChildProcess child({"abandon"});
  EXPECT_EQ(child.ReadLine(), "0 1");
  EXPECT_EQ(child.Wait(), 5);
}

// The signals that the calling thread does not get.
std::set<int> BlockedSignals() {
  sigset_t mask;
  pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  std::set<int> blocked;
  for (int number = 1; number < 32; ++number) {
    if (sigismember(&mask, number) == 1) blocked.insert(number);
  }
  return blocked;
}

TEST(Thread, SignalsOfTheProcessAreTheMainThreads) {
  const std::set<int> before = BlockedSignals();  // of who started the program
  std::set<int> expected = {SIGINT,  SIGTERM, SIGHUP,   SIGQUIT, SIGALRM, SIGCHLD,
                            SIGUSR1, SIGUSR2, SIGWINCH, SIGTSTP, SIGTTIN, SIGTTOU};
  expected.insert(before.begin(), before.end());
  std::set<int> blocked;
  NxHandle thread =
      NxCreateThread([](void* result) { *static_cast<std::set<int>*>(result) = BlockedSignals(); },
                     &blocked, 0, 1, kNxAllProcessors, nullptr);
  EXPECT_EQ(NxErrSuccess, NxWait(thread, kNxWaitForever));
  NxCloseHandle(thread);
  EXPECT_EQ(expected, blocked);
  // A thread that was made elsewhere asks for it.
  std::thread([&blocked] {
    NxBlockProcessSignals();
    blocked = BlockedSignals();
  }).join();
  EXPECT_EQ(expected, blocked);
  EXPECT_EQ(before, BlockedSignals());
}

}  // namespace
}  // namespace morvane
