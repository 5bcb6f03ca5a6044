#include "base/board_locks.h"

namespace morvane {

BoardLocks::~BoardLocks() {
  Close();
}

void BoardLocks::Close() {
  for (Lock* family : {control_, audio_, card_}) {
    for (int i = 0; i < kMaxBoards; ++i) {
      Lock& lock = family[i];
      if (lock.handle == nullptr) continue;
      NxCloseHandle(lock.handle);
      lock.handle = nullptr;
      lock.held = false;
      Tell(lock, BoardLockStep::Closed);
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
      Lock& lock = *entry.lock;
      lock.name = entry.family + std::to_string(i);
      if (lock.handle == nullptr) lock.handle = NxCreateSemaphore(1, 1, lock.name.c_str());
      complete = complete && lock.handle != nullptr;
    }
  }
  return complete;
}

void BoardLocks::Tell(const Lock& lock, BoardLockStep step) const {
  if (watch_) watch_(lock.name, step);
}

bool BoardLocks::Take(Lock* lock) {
  lock->held = lock->handle != nullptr && NxWait(lock->handle, 0) == NxErrSuccess;
  Tell(*lock, lock->held ? BoardLockStep::Taken : BoardLockStep::Refused);
  return lock->held;
}

void BoardLocks::GiveBack(Lock* lock) {
  if (!lock->held) return;
  NxReleaseSemaphore(lock->handle);
  lock->held = false;
  Tell(*lock, BoardLockStep::GivenBack);
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
