// Helper of the tests of base: does one thing in a process of its own and prints what it saw.
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "base/file_io.h"
#include "base/system.h"

namespace morvane {
namespace {

struct Seen {
  int nice = 99;
  int policy = -1;
  bool refused = false;
  cpu_set_t processors;
};

void Look(void* context) {
  auto* seen = static_cast<Seen*>(context);
  seen->nice = getpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)));
  seen->policy = sched_getscheduler(0);
  CPU_ZERO(&seen->processors);
  sched_getaffinity(0, sizeof seen->processors, &seen->processors);
}

Seen SeenByThread(int32_t priorityCode, uint64_t affinityMask) {
  Seen seen;
  NxHandle thread = NxCreateThread(Look, &seen, 0, priorityCode, affinityMask, nullptr);
  NxWait(thread, kNxWaitForever);
  seen.refused = NxThreadPriorityRefused(thread);
  NxCloseHandle(thread);
  return seen;
}

bool DropRoot() {
  return geteuid() != 0 || (setgid(65534) == 0 && setuid(65534) == 0 && geteuid() != 0);
}

// Takes a machine-wide semaphore and holds it until killed.
int Hold(const char* name) {
  NxHandle semaphore = NxCreateSemaphore(1, 1, name);
  std::printf("%d\n", semaphore != nullptr ? NxWait(semaphore, 0) : 1);
  std::fflush(stdout);
  for (;;) pause();
}

// Waits for a machine-wide event until killed, or until it is set.
int WaitForEvent(const char* name) {
  NxHandle event = NxCreateEvent(false, true, name);  // not the first, so not set
  std::printf("waiting\n");
  std::fflush(stdout);
  std::printf("%d\n", NxWait(event, kNxWaitForever));
  NxCloseHandle(event);
  return 0;
}

// What a pinned thread of low priority passes on, for a user who cannot go back.
int Inherit() {
  if (!DropRoot()) return 77;
  struct Result {
    Seen own, child;
  } result;
  NxHandle thread = NxCreateThread(
      [](void* context) {
        auto* r = static_cast<Result*>(context);
        Look(&r->own);
        r->child = SeenByThread(1, kNxAllProcessors);
      },
      &result, 0, 0, 1, nullptr);
  NxWait(thread, kNxWaitForever);
  NxCloseHandle(thread);
  const int base = getpriority(PRIO_PROCESS, 0);
  std::printf("%d %d %d\n", result.own.nice - base, result.child.nice - base,
              CPU_COUNT(&result.child.processors));
  return 0;
}

// Which priority codes an ordinary user is refused.
int Refused() {
  if (!DropRoot()) return 77;
  for (int code = 0; code < 4; ++code) {
    std::printf("%d", SeenByThread(code, kNxAllProcessors).refused ? 1 : 0);
  }
  std::printf("\n");
  return 0;
}

int Processors() {
  const Seen seen = SeenByThread(1, 1);
  const Seen outside = SeenByThread(1, 4);
  std::printf("%u", NxProcessorCount());
  for (const Seen* s : {&seen, &outside}) {
    std::printf(" ");
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
      if (CPU_ISSET(cpu, &s->processors)) std::printf("%d,", cpu);
    }
  }
  std::printf("\n");
  return 0;
}

int Raise(bool asRoot) {
  if (!asRoot && !DropRoot()) return 77;
  const int before = getpriority(PRIO_PROCESS, 0);
  const bool raised = NxRaiseProcessPriority();
  std::printf("%d %d %d\n", raised ? 1 : 0, getpriority(PRIO_PROCESS, 0) - before,
              SeenByThread(1, kNxAllProcessors).nice - before);
  return 0;
}

int Realtime() {
  for (int code = 0; code < 4; ++code) {
    const Seen seen = SeenByThread(code, kNxAllProcessors);
    std::printf("%s ", seen.policy == SCHED_RR ? "rr" : seen.refused ? "refused" : "other");
  }
  std::printf("\n");
  return 0;
}

int Abandon() {
  const bool before = NxAnyThreadAbandoned();
  NxHandle thread = NxCreateThread(
      [](void*) {
        for (;;) NxSleep(1);
      },
      nullptr, 0, 1, kNxAllProcessors, nullptr);
  NxTerminateThread(thread, 0);
  std::printf("%d %d\n", before ? 1 : 0, NxAnyThreadAbandoned() ? 1 : 0);
  std::fflush(stdout);
  _exit(5);
}

// A forked child has the object of the thread maker, but not its thread.
int Fork() {
  (void)SeenByThread(1, kNxAllProcessors);
  const pid_t child = fork();
  if (child == 0) _exit(SeenByThread(0, kNxAllProcessors).nice == 99 ? 1 : 0);
  int status = -1;
  waitpid(child, &status, 0);
  std::printf("%d\n", status);
  return 0;
}

// Becomes root of name spaces of its own, where it may mount.
bool EnterOwnSpaces() {
  const std::string user = "0 " + std::to_string(geteuid()) + " 1";
  const std::string group = "0 " + std::to_string(getegid()) + " 1";
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
  std::ofstream("/proc/self/setgroups") << "deny" << std::flush;
  return (std::ofstream("/proc/self/uid_map") << user << std::flush).good() &&
         (std::ofstream("/proc/self/gid_map") << group << std::flush).good();
}

// New files on a file system that knows no direct transfers.
int WithoutDirect(const std::string& folder) {
  if (!EnterOwnSpaces() || mount("none", folder.c_str(), "ramfs", 0, nullptr) != 0) {
    std::printf("refused: %s\n", std::strerror(errno));
    return 77;
  }
  const std::string path = folder + "/clip";
  File file;
  const int created = file.Open(path, FileMode::kCreate, true);
  const bool unbuffered = file.IsUnbuffered();
  const int written = file.WriteAt("abc", 3, 0);
  File second;
  const int again = second.Open(path, FileMode::kCreate, true);
  uint64_t bytes = 0;
  const int sized = file.Size(&bytes);
  std::printf("%d %d %d %d %d %d\n", created, unbuffered ? 1 : 0, written, again == EEXIST ? 1 : 0,
              sized, static_cast<int>(bytes));
  return 0;
}

int Run(const std::string& command, const char* argument) {
  if (command == "hold") return Hold(argument);
  if (command == "wait-event") return WaitForEvent(argument);
  if (command == "inherit") return Inherit();
  if (command == "refused") return Refused();
  if (command == "processors") return Processors();
  if (command == "raise") return Raise(true);
  if (command == "raise-as-user") return Raise(false);
  if (command == "realtime") return Realtime();
  if (command == "abandon") return Abandon();
  if (command == "fork") return Fork();
  if (command == "without-direct") return WithoutDirect(argument);
  return 2;
}

}  // namespace
}  // namespace morvane

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  return morvane::Run(argv[1], argc > 2 ? argv[2] : "");
}
