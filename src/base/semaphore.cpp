#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "base/clock.h"
#include "base/clock_monitor.h"
#include "base/handle_object.h"
#include "base/paths.h"
#include "base/system.h"

namespace morvane {
namespace {

class Semaphore final : public NxHandleObject {
 public:
  Semaphore(int32_t initialCount, int32_t maximumCount)
      : maximum_(maximumCount), count_(initialCount) {}

  bool WaitUntilNs(int64_t deadlineNs) override {
    return monitor_.WaitUntilNs(deadlineNs, [this] {
      if (count_ == 0) return false;
      --count_;
      return true;
    });
  }
  NxErr Release() override {
    return monitor_.Locked([this] {
      if (count_ >= maximum_) return NxErrFailure;
      ++count_;
      monitor_.NotifyAll();
      return NxErrSuccess;
    });
  }

 private:
  ClockMonitor monitor_;
  const int32_t maximum_;
  int32_t count_;  // under monitor_
};

// A machine-wide semaphore: the kernel's lock of a file, which dies with its holder. Each handle
// has an open file description of its own, so two handles of one process exclude each other too.
class MachineWideSemaphore final : public NxHandleObject {
 public:
  explicit MachineWideSemaphore(int descriptor) : descriptor_(descriptor) {}
  ~MachineWideSemaphore() override { close(descriptor_); }

  bool WaitUntilNs(int64_t deadlineNs) override {
    for (;;) {
      if (TryTake()) return true;
      const int64_t now = NxClockNowNs();
      if (now >= deadlineNs) return false;
      // The kernel's lock has no time-out, hence a poll. The board locks never come here.
      NxClockSleepUntilNs(now + std::min(deadlineNs - now, kPollNs));
    }
  }
  NxErr Release() override {
    return monitor_.Locked([this] {
      if (!held_ || flock(descriptor_, LOCK_UN) != 0) return NxErrFailure;
      held_ = false;
      return NxErrSuccess;
    });
  }

 private:
  static constexpr int64_t kPollNs = 1000000;

  bool TryTake() {
    return monitor_.Locked([this] {
      if (held_ || flock(descriptor_, LOCK_EX | LOCK_NB) != 0) return false;
      held_ = true;
      return true;
    });
  }

  ClockMonitor monitor_;
  const int descriptor_;
  bool held_ = false;  // under monitor_; the file's lock would be given to its holder twice
};

}  // namespace

int OpenMachineWideFile(const char* prefix, const char* name) {
  if (*name == '\0' || std::strchr(name, kPathSeparator) != nullptr) return -1;
  const std::string path = JoinPath(LockFolder(), std::string(prefix) + name);
  constexpr int kFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW;
  // Without creating first: in a shared folder the kernel may refuse to create what another user
  // has made, though everyone may open it.
  int descriptor = open(path.c_str(), kFlags);
  if (descriptor >= 0 || errno != ENOENT) return descriptor;
  descriptor = open(path.c_str(), kFlags | O_CREAT | O_EXCL, 0666);
  if (descriptor < 0) return open(path.c_str(), kFlags);  // somebody was quicker
  (void)fchmod(descriptor, 0666);                         // whatever the creation mask says
  return descriptor;
}

NxHandle NxCreateSemaphore(int32_t initialCount, int32_t maximumCount, const char* name) {
  NxLeaveIfAbandoned();
  if (maximumCount < 1 || initialCount < 0 || initialCount > maximumCount) return nullptr;
  if (name == nullptr) return new (std::nothrow) Semaphore(initialCount, maximumCount);
  if (initialCount != 1 || maximumCount != 1) return nullptr;
  const int descriptor = OpenMachineWideFile("morvane-", name);
  if (descriptor < 0) return nullptr;
  auto* semaphore = new (std::nothrow) MachineWideSemaphore(descriptor);
  if (semaphore == nullptr) close(descriptor);
  return semaphore;
}

}  // namespace morvane
