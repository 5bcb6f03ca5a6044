#include <fcntl.h>
#include <linux/futex.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <new>

#include "base/clock.h"
#include "base/clock_monitor.h"
#include "base/handle_object.h"
#include "base/system.h"

namespace morvane {
namespace {

class Event final : public NxHandleObject {
 public:
  Event(bool manualReset, bool set) : manualReset_(manualReset), set_(set) {}

  bool WaitUntilNs(int64_t deadlineNs) override {
    return monitor_.WaitUntilNs(deadlineNs, [this] {
      if (!set_) return false;
      if (!manualReset_) set_ = false;
      return true;
    });
  }
  NxErr Set() override {
    monitor_.Locked([this] {
      set_ = true;
      monitor_.NotifyAll();
    });
    return NxErrSuccess;
  }
  NxErr Reset() override {
    monitor_.Locked([this] { set_ = false; });
    return NxErrSuccess;
  }

 private:
  ClockMonitor monitor_;
  const bool manualReset_;
  bool set_;  // under monitor_
};

// A machine-wide event: a word in a shared file that the kernel's futex waits on. Nothing in the
// file belongs to a process, so one that dies in a wait leaves nothing behind. Every user holds a
// shared lock of the file; who gets it alone is the first and gives the event its initial state.
class MachineWideEvent final : public NxHandleObject {
 public:
  ~MachineWideEvent() override {
    if (word_ != nullptr) munmap(word_, sizeof *word_);
    if (descriptor_ >= 0) close(descriptor_);
  }

  [[nodiscard]] bool Open(bool manualReset, bool set, const char* name) {
    manualReset_ = manualReset;
    descriptor_ = OpenMachineWideFile("morvane-event-", name);
    if (descriptor_ < 0) return false;
    const bool first = flock(descriptor_, LOCK_EX | LOCK_NB) == 0;
    if (first && ftruncate(descriptor_, kWordBytes) != 0) return false;
    // A second one waits here until the first has written the initial state.
    if (!first && flock(descriptor_, LOCK_SH) != 0) return false;
    // The first may have failed halfway; a word beyond the end of the file must not be touched.
    struct stat status;
    if (fstat(descriptor_, &status) != 0 || status.st_size < kWordBytes) return false;
    void* memory = mmap(nullptr, sizeof *word_, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor_, 0);
    if (memory == MAP_FAILED) return false;
    word_ = static_cast<std::atomic<uint32_t>*>(memory);
    if (first) word_->store(set ? 1 : 0);
    return !first || flock(descriptor_, LOCK_SH) == 0;
  }

  bool WaitUntilNs(int64_t deadlineNs) override {
    for (;;) {
      uint32_t expected = 1;
      if (manualReset_ ? word_->load() == 1 : word_->compare_exchange_strong(expected, 0)) {
        return true;
      }
      const int64_t now = NxClockNowNs();
      if (now >= deadlineNs) return false;
      // In slices, because a manual clock cannot wake a futex.
      const int64_t slice = std::min(deadlineNs - now, kSliceNs);
      const timespec relative = {0, static_cast<long>(slice)};
      syscall(SYS_futex, word_, FUTEX_WAIT, 0, &relative, nullptr, 0);
    }
  }
  NxErr Set() override {
    // Once the word is set, who waited may close this handle.
    std::atomic<uint32_t>* word = word_;
    word->store(1);
    syscall(SYS_futex, word, FUTEX_WAKE, INT32_MAX, nullptr, nullptr, 0);
    return NxErrSuccess;
  }
  NxErr Reset() override {
    word_->store(0);
    return NxErrSuccess;
  }

 private:
  static constexpr int64_t kSliceNs = 2000000;
  static constexpr off_t kWordBytes = sizeof(uint32_t);
  bool manualReset_ = false;
  int descriptor_ = -1;
  std::atomic<uint32_t>* word_ = nullptr;  // 1 is set; in the shared file
};

}  // namespace

NxHandle NxCreateEvent(bool manualReset, bool initiallySet, const char* name) {
  NxLeaveIfAbandoned();
  if (name == nullptr) return new (std::nothrow) Event(manualReset, initiallySet);
  std::unique_ptr<MachineWideEvent> event(new (std::nothrow) MachineWideEvent);
  if (event == nullptr || !event->Open(manualReset, initiallySet, name)) return nullptr;
  return event.release();
}

}  // namespace morvane
