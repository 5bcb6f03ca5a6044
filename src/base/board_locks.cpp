#include "base/board_locks.h"

#include <string>

namespace morvane {
namespace {

NxHandle MakeLock(const char* family, int index) {
  return NxCreateSemaphore(1, 1, (family + std::to_string(index)).c_str());
}

}  // namespace

BoardLocks::~BoardLocks() {
  Close();
}

void BoardLocks::Close() {
  for (Lock* family : {control_, audio_, card_}) {
    for (int i = 0; i < kMaxBoards; ++i) {
      if (family[i].handle != nullptr) NxCloseHandle(family[i].handle);
      family[i] = {};
    }
  }
}

bool BoardLocks::Create() {
  bool complete = true;
  for (int i = 0; i < kMaxBoards; ++i) {
    const struct {
      Lock* lock;
      const char* family;
    } kLocks[] = {
        {&card_[i], "SornCard"}, {&audio_[i], "SornAudio"}, {&control_[i], "SornControl"}};
    for (const auto& entry : kLocks) {
      if (entry.lock->handle == nullptr) entry.lock->handle = MakeLock(entry.family, i);
      complete = complete && entry.lock->handle != nullptr;
    }
  }
  return complete;
}

bool BoardLocks::Take(Lock* lock) {
  lock->held = lock->handle != nullptr && NxWait(lock->handle, 0) == NxErrSuccess;
  return lock->held;
}

void BoardLocks::GiveBack(Lock* lock) {
  if (lock->held) NxReleaseSemaphore(lock->handle);
  lock->held = false;
}

NxErr BoardLocks::Acquire(int index, bool hasControl, bool hasAudio) {
  if (index < 0 || index >= kMaxBoards) return NxErrFailure;
  if (IsHeld(index)) return NxErrSuccess;
  if (Take(&card_[index]) && (!hasControl || Take(&control_[index])) &&
      (!hasAudio || Take(&audio_[index]))) {
    return NxErrSuccess;
  }
  Release(index);
  return NxErrBoardBusy;
}

void BoardLocks::Release(int index) {
  if (index < 0 || index >= kMaxBoards) return;
  GiveBack(&audio_[index]);
  GiveBack(&control_[index]);
  GiveBack(&card_[index]);
}

bool BoardLocks::IsHeld(int index) const {
  return index >= 0 && index < kMaxBoards && card_[index].held;
}

}  // namespace morvane
