#include "base/system.h"

namespace morvane {
namespace {

constexpr int kStopPolls = 1011;
constexpr uint32_t kStopPollMs = 5;

}  // namespace

bool WorkerThread::Start(NxThreadRoutine routine, void* context, int32_t priorityCode,
                         uint64_t affinityMask) {
  if (routine == nullptr) return false;
  CloseLeftover();
  if (thread_ != nullptr) return false;
  routine_ = routine;
  context_ = context;
  stop_.Set(0);
  running_.Set(1);
  thread_ = NxCreateThread(Run, this, 0, priorityCode, affinityMask, &threadId_);
  if (thread_ == nullptr) running_.Set(0);
  return thread_ != nullptr;
}

void WorkerThread::Run(void* self) {
  auto* worker = static_cast<WorkerThread*>(self);
  worker->routine_(worker->context_);
  worker->Leave();
}

bool WorkerThread::Stop(bool needExitCode, void (*serve)()) {
  RequestStop();
  if (thread_ == nullptr) return true;
  const auto ended = [&](uint32_t exitCode) {
    return !Running() && (!needExitCode || exitCode == 0);
  };
  uint32_t exitCode = kNxThreadStillActive;
  NxThreadExitCode(thread_, &exitCode);
  int polls = 0;
  for (; polls < kStopPolls && !ended(exitCode); ++polls) {
    if (serve != nullptr) serve();
    NxThreadExitCode(thread_, &exitCode);
    NxSleep(kStopPollMs);
  }
  // One that has ended all the same (with another exit code) is not abandoned.
  const bool abandoned = polls == kStopPolls && NxTerminateThread(thread_, 0) == NxErrSuccess;
  NxCloseHandle(thread_);
  thread_ = nullptr;
  threadId_ = 0;
  if (polls == kStopPolls) running_.Set(0);
  return !abandoned;
}

void WorkerThread::Leave() {
  NxLeaveIfAbandoned();  // the words may belong to the next worker by now
  running_.Set(0);       // nothing of this object may be touched after that
  NxExitThread(0);
}

void WorkerThread::CloseLeftover() {
  if (thread_ == nullptr || Running()) return;
  NxCloseHandle(thread_);
  thread_ = nullptr;
  threadId_ = 0;
}

}  // namespace morvane
