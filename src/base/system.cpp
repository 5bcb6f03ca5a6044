#include "base/system.h"

#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include "base/clock.h"
#include "base/handle_object.h"

namespace morvane {
namespace {

constexpr int64_t kNsPerMs = 1000000;

SharedWord<uint32_t> g_screenWidth;
SharedWord<uint32_t> g_screenHeight;

NxErr Result(bool good) {
  return good ? NxErrSuccess : NxErrFailure;
}

// Runs one operation of a handle between two tests of the abandoned mark.
template <typename Operation>
NxErr OnHandle(NxHandle handle, Operation operation) {
  NxLeaveIfAbandoned();
  const NxErr result = handle != nullptr ? operation(handle) : NxErrFailure;
  NxLeaveIfAbandoned();
  return result;
}

}  // namespace

NxErr NxWaitUntilNs(NxHandle handle, int64_t deadlineNs) {
  return OnHandle(handle, [=](NxHandle h) { return Result(h->WaitUntilNs(deadlineNs)); });
}

NxErr NxWait(NxHandle handle, uint32_t timeoutMs) {
  if (timeoutMs == kNxWaitForever) return NxWaitUntilNs(handle, kClockForeverNs);
  if (timeoutMs == 0) return NxWaitUntilNs(handle, INT64_MIN);
  return NxWaitUntilNs(handle, NxClockNowNs() + timeoutMs * kNsPerMs);
}

NxErr NxSetEvent(NxHandle handle) {
  return OnHandle(handle, [](NxHandle h) { return h->Set(); });
}

NxErr NxResetEvent(NxHandle handle) {
  return OnHandle(handle, [](NxHandle h) { return h->Reset(); });
}

NxErr NxReleaseSemaphore(NxHandle handle) {
  return OnHandle(handle, [](NxHandle h) { return h->Release(); });
}

NxErr NxCloseHandle(NxHandle handle) {
  NxLeaveIfAbandoned();
  if (handle == nullptr) return NxErrCloseHandle;
  std::unique_ptr<NxHandleObject> closed(handle);
  return NxErrSuccess;
}

void NxSleep(uint32_t milliseconds) {
  NxClockSleepUntilNs(NxClockNowNs() + milliseconds * kNsPerMs);
  if (milliseconds == 0) sched_yield();  // a sleep of 0 gives the processor away
}

NxErr NxCreateFolder(const char* path) {
  NxLeaveIfAbandoned();
  const NxErr result = Result(mkdir(path, 0777) == 0);
  NxLeaveIfAbandoned();
  return result;
}

NxErr NxRemoveFolder(const char* path) {
  NxLeaveIfAbandoned();
  const NxErr result = Result(rmdir(path) == 0);
  NxLeaveIfAbandoned();
  return result;
}

uint32_t NxFileSize(int fd, uint32_t* high) {
  NxLeaveIfAbandoned();
  struct stat status;
  const bool good = fstat(fd, &status) == 0;
  NxLeaveIfAbandoned();
  if (!good) return 0xFFFFFFFF;
  const auto bytes = static_cast<uint64_t>(status.st_size);
  if (high != nullptr) *high = static_cast<uint32_t>(bytes >> 32);
  return static_cast<uint32_t>(bytes);
}

NxErr NxModulePath(char* path, size_t capacity) {
  if (path == nullptr || capacity == 0) return NxErrFailure;
  const ssize_t length = readlink("/proc/self/exe", path, capacity);
  // A full buffer may be a cut path, and leaves no room for the terminator.
  if (length < 0 || static_cast<size_t>(length) >= capacity) {
    path[0] = '\0';
    return NxErrFailure;
  }
  path[length] = '\0';
  return NxErrSuccess;
}

uint32_t NxScreenWidth() {
  return g_screenWidth.Get();
}

uint32_t NxScreenHeight() {
  return g_screenHeight.Get();
}

void NxSetScreenSize(uint32_t width, uint32_t height) {
  g_screenWidth.Set(width);
  g_screenHeight.Set(height);
}

}  // namespace morvane
