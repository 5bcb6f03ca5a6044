#include <pthread.h>
#include <sched.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <deque>
#include <memory>
#include <new>

#include "base/clock_monitor.h"
#include "base/handle_object.h"
#include "base/system.h"

namespace morvane {

// Shared by a thread, its creation and its handle.
struct ThreadState {
  ClockMonitor monitor;
  // Under monitor.
  bool begun = false;   // the three below stand
  bool failed = false;  // there is no thread
  uint32_t threadId = 0;
  bool priorityRefused = false;
  bool ended = false;
  uint32_t exitCode = kNxThreadStillActive;
  // Set by who abandons the thread, read by the thread.
  std::atomic<bool> abandoned{false};
  // Set before the thread is made.
  NxThreadRoutine routine = nullptr;
  void* context = nullptr;
  int32_t priorityCode = 0;
  uint64_t affinityMask = 0;
  // The thread's own.
  jmp_buf exitPoint;
  uint32_t ownExitCode = 0;
};

namespace {

thread_local ThreadState* t_thread = nullptr;
std::atomic<bool> g_anyAbandoned{false};

// ---- what the process may use, as it was at its start --------------------------------------

struct StartSet {
  cpu_set_t processors;
  uint32_t count = 1;

  StartSet() {
    CPU_ZERO(&processors);
    if (sched_getaffinity(0, sizeof processors, &processors) != 0 || CPU_COUNT(&processors) == 0) {
      CPU_SET(0, &processors);
    }
    count = static_cast<uint32_t>(CPU_COUNT(&processors));
  }
};

const StartSet& TheStartSet() {
  static const StartSet set;
  return set;
}

// Looked at before main, when no thread can have been pinned yet.
[[maybe_unused]] const StartSet& g_readAtStart = TheStartSet();

// The permitted processors whose position is a bit of `mask`; all of them when that leaves none.
cpu_set_t ProcessorsOf(uint64_t mask) {
  const StartSet& start = TheStartSet();
  if (mask == kNxAllProcessors) return start.processors;
  cpu_set_t chosen;
  CPU_ZERO(&chosen);
  int position = 0;
  for (int cpu = 0; cpu < CPU_SETSIZE && position < 64; ++cpu) {
    if (!CPU_ISSET(cpu, &start.processors)) continue;
    if ((mask >> position & 1) != 0) CPU_SET(cpu, &chosen);
    ++position;
  }
  return CPU_COUNT(&chosen) > 0 ? chosen : start.processors;
}

// ---- priorities ----------------------------------------------------------------------------

constexpr int kProcessNice = -5;

struct PriorityRow {
  int nice;      // added to the process's
  int realtime;  // round-robin priority where the environment asks for it; 0 is none
};
// clang-format off
constexpr PriorityRow kPriorities[] = {
  { 10,  0},  // status and housekeeping
  {  0,  0},  // normal
  {-10, 10},  // time-sensitive data movers
  {-19, 20},  // critical
};
// clang-format on

const PriorityRow& PriorityOf(int32_t code) {
  const bool known = code >= 0 && code < static_cast<int32_t>(std::size(kPriorities));
  return kPriorities[known ? code : 1];
}

pid_t CallingThreadId() {
  return static_cast<pid_t>(syscall(SYS_gettid));
}

bool SetNice(pid_t thread, int nice) {
  return setpriority(PRIO_PROCESS, static_cast<id_t>(thread), std::clamp(nice, -20, 19)) == 0;
}

// Sets the calling thread's priority. Returns: false where the system refuses.
bool ApplyPriority(int32_t code, int baseNice, bool realtime) {
  const PriorityRow& row = PriorityOf(code);
  bool granted = true;
  if (realtime && row.realtime > 0) {
    sched_param parameter = {};
    parameter.sched_priority = row.realtime;
    granted = sched_setscheduler(0, SCHED_RR, &parameter) == 0;
  }
  return SetNice(CallingThreadId(), baseNice + row.nice) && granted;
}

// ---- the life of a thread ------------------------------------------------------------------

[[noreturn]] void ParkForEver() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
  for (;;) pause();
}

void RecordEnd(ThreadState* state) {
  state->monitor.Locked([state] {
    if (state->ended) return;  // abandoned: the code that it got then stands
    state->ended = true;
    state->exitCode = state->ownExitCode;
    state->monitor.NotifyAll();
  });
}

struct Launch {
  std::shared_ptr<ThreadState> state;
  int baseNice;
  bool realtime;
};

void* ThreadMain(void* argument) {
  std::unique_ptr<Launch> launch(static_cast<Launch*>(argument));
  const std::shared_ptr<ThreadState> state = launch->state;
  t_thread = state.get();
  const cpu_set_t processors = ProcessorsOf(state->affinityMask);
  sched_setaffinity(0, sizeof processors, &processors);
  const bool granted = ApplyPriority(state->priorityCode, launch->baseNice, launch->realtime);
  launch.reset();
  state->monitor.Locked([&] {
    state->begun = true;
    state->threadId = static_cast<uint32_t>(CallingThreadId());
    state->priorityRefused = !granted;
    state->monitor.NotifyAll();
  });
  // NxExitThread comes back here. A jump and not an exception: there may be noexcept functions and
  // catch-all handlers in between.
  if (_setjmp(state->exitPoint) == 0) state->routine(state->context);
  t_thread = nullptr;
  RecordEnd(state.get());
  return nullptr;
}

// ---- the spawner ---------------------------------------------------------------------------

// Creates a detached thread. Returns: false when the system cannot.
bool MakeDetached(void* (*routine)(void*), void* argument) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  pthread_t thread;
  const bool made = pthread_create(&thread, &attributes, routine, argument) == 0;
  pthread_attr_destroy(&attributes);
  return made;
}

// The thread that creates all others. A thread inherits nice value and processors from its creator
// and an ordinary user cannot go back, so the creator must be one that has neither.
class Spawner {
 public:
  // Queues the thread. Returns: false when there is no spawner.
  bool Post(const std::shared_ptr<ThreadState>& state) {
    return monitor_.Locked([&] {
      if (process_ != getpid() && !Begin()) return false;
      queue_.push_back(state);
      monitor_.NotifyAll();
      return true;
    });
  }
  void SetBaseNice(int nice) {
    monitor_.Locked([&] {
      baseNice_ = nice;
      if (process_ == getpid() && threadId_ != 0) SetNice(threadId_, nice);
    });
  }

 private:
  // Under monitor_. Also in a forked child, which has the object but not the thread.
  bool Begin() {
    queue_.clear();
    threadId_ = 0;
    baseNice_ = getpriority(PRIO_PROCESS, static_cast<id_t>(getpid()));  // the main thread's
    const char* wish = std::getenv("MORVANE_REALTIME");
    realtime_ = wish != nullptr && wish[0] == '1' && wish[1] == '\0';
    if (!MakeDetached(SpawnerMain, this)) return false;
    process_ = getpid();
    return true;
  }

  static void* SpawnerMain(void* self) {
    static_cast<Spawner*>(self)->Serve();
    return nullptr;
  }

  void Serve() {
    NxBlockProcessSignals();  // its children inherit it
    const cpu_set_t& processors = TheStartSet().processors;
    sched_setaffinity(0, sizeof processors, &processors);
    monitor_.Locked([this] {
      threadId_ = CallingThreadId();
      SetNice(threadId_, baseNice_);
    });
    for (;;) {
      auto launch = std::make_unique<Launch>();
      (void)monitor_.WaitUntilNs(kClockForeverNs, [&] {
        if (queue_.empty()) return false;
        *launch = {queue_.front(), baseNice_, realtime_};
        queue_.pop_front();
        return true;
      });
      const std::shared_ptr<ThreadState> state = launch->state;
      if (MakeDetached(ThreadMain, launch.get())) {
        (void)launch.release();  // the thread's
        continue;
      }
      state->monitor.Locked([&] {
        state->failed = true;
        state->monitor.NotifyAll();
      });
    }
  }

  ClockMonitor monitor_;
  // Under monitor_.
  std::deque<std::shared_ptr<ThreadState>> queue_;
  pid_t process_ = 0;  // the process that the spawner runs in
  pid_t threadId_ = 0;
  int baseNice_ = 0;
  bool realtime_ = false;
};

Spawner& TheSpawner() {
  static auto* spawner = new Spawner;  // its thread never ends
  return *spawner;
}

class ThreadHandle final : public NxHandleObject {
 public:
  explicit ThreadHandle(std::shared_ptr<ThreadState> state) : state_(std::move(state)) {}

  bool WaitUntilNs(int64_t deadlineNs) override {
    return state_->monitor.WaitUntilNs(deadlineNs, [this] { return state_->ended; });
  }
  ThreadState* Thread() override { return state_.get(); }

 private:
  const std::shared_ptr<ThreadState> state_;
};

ThreadState* StateOf(NxHandle thread) {
  return thread != nullptr ? thread->Thread() : nullptr;
}

}  // namespace

NxHandle NxCreateThread(NxThreadRoutine routine, void* context, uint32_t /*ignored*/,
                        int32_t priorityCode, uint64_t affinityMask, uint32_t* threadId) {
  NxLeaveIfAbandoned();
  if (routine == nullptr) return nullptr;
  auto state = std::make_shared<ThreadState>();
  state->routine = routine;
  state->context = context;
  state->priorityCode = priorityCode;
  state->affinityMask = affinityMask;
  auto handle = std::make_unique<ThreadHandle>(state);
  if (!TheSpawner().Post(state)) return nullptr;
  (void)state->monitor.WaitUntilNs(kClockForeverNs, [&] { return state->begun || state->failed; });
  NxLeaveIfAbandoned();
  const auto [failed, id] =
      state->monitor.Locked([&] { return std::pair(state->failed, state->threadId); });
  if (failed) return nullptr;
  if (threadId != nullptr) *threadId = id;
  return handle.release();
}

void NxExitThread(uint32_t exitCode) {
  NxLeaveIfAbandoned();
  if (t_thread == nullptr) pthread_exit(nullptr);  // not one of ours
  t_thread->ownExitCode = exitCode;
  _longjmp(t_thread->exitPoint, 1);
}

NxErr NxThreadExitCode(NxHandle thread, uint32_t* exitCode) {
  NxLeaveIfAbandoned();
  ThreadState* state = StateOf(thread);
  if (state == nullptr || exitCode == nullptr) return NxErrFailure;
  *exitCode = state->monitor.Locked([state] { return state->exitCode; });
  return NxErrSuccess;
}

NxErr NxTerminateThread(NxHandle thread, uint32_t exitCode) {
  NxLeaveIfAbandoned();
  ThreadState* state = StateOf(thread);
  if (state == nullptr) return NxErrFailure;
  const NxErr result = state->monitor.Locked([&] {
    if (state->ended) return NxErrFailure;
    g_anyAbandoned.store(true);
    state->abandoned.store(true, std::memory_order_release);
    state->ended = true;
    state->exitCode = exitCode;
    state->monitor.NotifyAll();
    return NxErrSuccess;
  });
  NxLeaveIfAbandoned();  // it may have been the caller itself
  return result;
}

void NxLeaveIfAbandoned() {
  if (t_thread != nullptr && t_thread->abandoned.load(std::memory_order_acquire)) ParkForEver();
}

void NxBlockProcessSignals() {
  sigset_t blocked;
  sigemptyset(&blocked);
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGALRM, SIGCHLD, SIGUSR1, SIGUSR2,
                           SIGWINCH, SIGTSTP, SIGTTIN, SIGTTOU}) {
    sigaddset(&blocked, number);
  }
  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
}

bool NxThreadPriorityRefused(NxHandle thread) {
  ThreadState* state = StateOf(thread);
  return state != nullptr && state->monitor.Locked([state] { return state->priorityRefused; });
}

bool NxAnyThreadAbandoned() {
  return g_anyAbandoned.load();
}

bool NxRaiseProcessPriority() {
  const pid_t mainThread = getpid();
  const int nice = getpriority(PRIO_PROCESS, static_cast<id_t>(mainThread)) + kProcessNice;
  if (!SetNice(mainThread, nice)) return false;
  TheSpawner().SetBaseNice(std::max(nice, -20));
  return true;
}

uint32_t NxProcessorCount() {
  return TheStartSet().count;
}

}  // namespace morvane
