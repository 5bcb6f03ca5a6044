#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/nx_err.h"
#include "base/shared_word.h"

// The operating system as this application sees it: threads, events, semaphores, sleeping,
// folders. The engines call only these wrappers, never the system itself.
// Threads: every function here may be called from any thread.
namespace morvane {

struct NxHandleObject;
using NxHandle = NxHandleObject*;  // opaque; null means failure

inline constexpr uint32_t kNxWaitForever = 0xFFFFFFFF;
inline constexpr uint64_t kNxAllProcessors = ~0ULL;
inline constexpr uint32_t kNxThreadStillActive = 259;  // exit code of a thread that still runs

// Creates an event. `name` null means unnamed; a name makes it machine-wide, and then only the
// first creator's initial state counts.
// Returns: a handle to be closed with NxCloseHandle, or null.
[[nodiscard]] NxHandle NxCreateEvent(bool manualReset, bool initiallySet, const char* name);

// Creates a semaphore with `initialCount` of `maximumCount`. A name makes it machine-wide (only
// 1 of 1 can have one): a lock file that the kernel frees when its holder dies, held by the handle
// from a successful NxWait to NxReleaseSemaphore or NxCloseHandle.
// Returns: a handle, or null.
[[nodiscard]] NxHandle NxCreateSemaphore(int32_t initialCount, int32_t maximumCount,
                                         const char* name);

// Waits for an event, a semaphore or the end of a thread. `timeoutMs` 0 is a poll.
// Returns: 0 if signalled, -2 on time-out or failure.
NxErr NxWait(NxHandle handle, uint32_t timeoutMs);

NxErr NxSetEvent(NxHandle handle);          // 0 or -2
NxErr NxResetEvent(NxHandle handle);        // 0 or -2
NxErr NxReleaseSemaphore(NxHandle handle);  // 0, or -2 above the maximum

// The same until the process clock (base/clock.h) has reached `deadlineNs`.
NxErr NxWaitUntilNs(NxHandle handle, int64_t deadlineNs);

// Frees the handle; a thread behind it runs on. No other thread may be using the handle.
// Returns: 0, or 10000 for a null handle.
NxErr NxCloseHandle(NxHandle handle);

using NxThreadRoutine = void (*)(void* context);

// Creates a thread. Priority codes: 0 below normal, 1 normal, 2 highest, 3 critical, others normal;
// a priority that the system refuses is no error (NxThreadPriorityRefused tells).
// `affinityMask` bit k is the k-th processor that the process may run on; all ones leaves the
// thread unpinned. Priority and processors are set before the routine's first statement.
// `threadId` may be null. Returns: a handle, or null.
[[nodiscard]] NxHandle NxCreateThread(NxThreadRoutine routine, void* context, uint32_t ignored,
                                      int32_t priorityCode, uint64_t affinityMask,
                                      uint32_t* threadId);
// Ends the calling thread; a routine calls it as its last statement. A plain return from the
// routine is as good, with exit code 0. Nothing is unwound, so it is safe below noexcept functions;
// objects on the thread's stack are not destroyed.
[[noreturn]] void NxExitThread(uint32_t exitCode);
NxErr NxThreadExitCode(NxHandle thread, uint32_t* exitCode);  // 0 or -2; 259 while it runs
// Last resort after a stop time-out: marks and abandons the thread, which from now on counts as
// ended with `exitCode`. The primitive that the thread is in, or the next one that it enters, never
// returns: the thread is parked in it for ever. (It does not exit: its stack would be reused while
// other threads may know objects on it.) What the thread may still touch must not be freed.
// Returns: 0, or -2 when the thread has already ended by itself.
NxErr NxTerminateThread(NxHandle thread, uint32_t exitCode);
// Parks the calling thread for ever if it was abandoned. A primitive of another folder (a driver
// request, a file operation) calls it on entry and before it returns.
void NxLeaveIfAbandoned();
// True if the system refused the priority that was asked for at creation.
[[nodiscard]] bool NxThreadPriorityRefused(NxHandle thread);
// True once any thread of this process was abandoned: the process must then end with _exit.
[[nodiscard]] bool NxAnyThreadAbandoned();

// Keeps the signals that ask the process for something (SIGTERM, SIGUSR1 ...) away from the calling
// thread: they are the main thread's business; faults stay with who makes them. Threads of
// NxCreateThread have it from the start.
void NxBlockProcessSignals();

void NxSleep(uint32_t milliseconds);

// Gives the process the priority of an application that must not be late, where the system allows
// it. The main program calls it before it creates a thread. Returns: false where refused.
bool NxRaiseProcessPriority();

NxErr NxCreateFolder(const char* path);  // 0, or -2; also when it exists
NxErr NxRemoveFolder(const char* path);  // 0, or -2; only an empty folder
// Size of the open file `fd`: low 32 bits returned, high 32 bits in `high` (may be null).
// Returns: 0xFFFFFFFF on failure, and `high` is then left as it is.
uint32_t NxFileSize(int fd, uint32_t* high);
// Full path of the executable into `path` of `capacity` bytes. Returns: 0 or -2.
NxErr NxModulePath(char* path, size_t capacity);
// Number of processors that this process may run on, at least 1.
[[nodiscard]] uint32_t NxProcessorCount();

// Pixels of the primary display; 0 where the program has none.
[[nodiscard]] uint32_t NxScreenWidth();
[[nodiscard]] uint32_t NxScreenHeight();
// Only the toolkit of a program knows its display: the main program tells it once the toolkit can,
// and again when the display changes.
void NxSetScreenSize(uint32_t width, uint32_t height);

// A worker thread with the stop and running words that all engines use.
// Threads: Start(), Stop() and CloseLeftover() on the owner's thread; Leave() on the worker; the
// words from anywhere. A worker that was abandoned may still touch this object: do not free it.
class WorkerThread {
 public:
  WorkerThread() = default;
  WorkerThread(const WorkerThread&) = delete;
  WorkerThread& operator=(const WorkerThread&) = delete;

  // Clears the stop word, sets the running word, then creates the thread (so that a short routine
  // cannot be seen as running for ever).
  // Returns: false, with running clear, if it cannot be made; false with nothing changed if the
  // one before is still running.
  [[nodiscard]] bool Start(NxThreadRoutine routine, void* context, int32_t priorityCode,
                           uint64_t affinityMask);
  // Sets the stop word, then polls the running word (and, with `needExitCode`, exit code 0) every
  // 5 ms up to 1011 times; after that abandons the thread. Closes the handle in any case. `serve`
  // (null: nothing) is called at each poll: for what the thread may be waiting for.
  // Returns: true if the thread ended by itself, or there is none; false if it was abandoned.
  bool Stop(bool needExitCode = true, void (*serve)() = nullptr);
  void RequestStop() { stop_.Set(1); }
  [[nodiscard]] bool StopRequested() const { return stop_.Get() != 0; }
  [[nodiscard]] bool Running() const { return running_.Get() != 0; }
  [[nodiscard]] bool Started() const { return thread_ != nullptr; }
  // The routine's last two steps: clears the running word and exits the thread with code 0. A
  // routine that returns does the same.
  [[noreturn]] void Leave();
  void CloseLeftover();  // closes the handle of an ended thread, if there is one

 private:
  static void Run(void* self);

  // Owner's thread; routine_ and context_ are read by the worker and stand before it begins.
  NxHandle thread_ = nullptr;
  uint32_t threadId_ = 0;
  NxThreadRoutine routine_ = nullptr;
  void* context_ = nullptr;
  // Written by the owner.
  SharedWord<uint8_t> stop_;
  // Written by the owner while there is no thread, by the worker after that.
  SharedWord<uint8_t> running_;
};

}  // namespace morvane
