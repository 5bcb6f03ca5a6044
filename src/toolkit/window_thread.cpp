#include "toolkit/window_thread.h"

#include "toolkit/gui.h"

namespace morvane {
namespace {

constexpr int kRounds = 1011;
constexpr uint32_t kRoundMs = 5;
constexpr uint32_t kRestMs = 1;

// Waits for `done`, bounded, with the sends of other threads served meanwhile.
template <typename Done>
bool WaitServing(Done done) {
  for (int round = 0; round < kRounds; ++round) {
    if (done()) return true;
    NXServiceSends();
    if (done()) return true;
    NxSleep(kRoundMs);
  }
  return done();
}

}  // namespace

bool WindowThread::Start(NxThreadRoutine routine, void* context, int32_t priorityCode,
                         uint64_t affinityMask) {
  if (worker_.Started()) return false;
  pause_.Set(0);
  paused_.Set(0);
  fresh_ = true;
  return worker_.Start(routine, context, priorityCode, affinityMask);
}

bool WindowThread::Stop() {
  return worker_.Stop(true, NXServiceSends);
}

void WindowThread::Pause() {
  if (!worker_.Running()) return;
  pause_.Set(1);
  if (!WaitServing([this] { return paused_.Get() != 0 || !worker_.Running(); })) paused_.Set(1);
}

void WindowThread::Resume() {
  pause_.Set(0);
  if (!worker_.Running()) return;
  if (!WaitServing([this] { return paused_.Get() == 0 || !worker_.Running(); })) paused_.Set(0);
}

void WindowThread::Rest() {
  paused_.Set(1);
  fresh_ = true;
  NxSleep(kRestMs);
}

bool WindowThread::TakeResumed() {
  if (paused_.Get() != 0) paused_.Set(0);
  const bool fresh = fresh_;
  fresh_ = false;
  return fresh;
}

}  // namespace morvane
