#pragma once

#include <cstdint>
#include <string>

#include "base/nx_err.h"

// What stands behind an NxHandle. For the files of this folder only.
namespace morvane {

struct ThreadState;

struct NxHandleObject {
  NxHandleObject() = default;
  virtual ~NxHandleObject() = default;
  NxHandleObject(const NxHandleObject&) = delete;
  NxHandleObject& operator=(const NxHandleObject&) = delete;

  // Takes what is waited for, or gives up when the process clock reaches `deadlineNs`.
  [[nodiscard]] virtual bool WaitUntilNs(int64_t deadlineNs) = 0;
  // Each 0, or -2; a handle of another kind refuses.
  virtual NxErr Set() { return NxErrFailure; }
  virtual NxErr Reset() { return NxErrFailure; }
  virtual NxErr Release() { return NxErrFailure; }
  virtual ThreadState* Thread() { return nullptr; }
};

// Opens the file `prefix` + `name` in the lock folder that stands for a machine-wide object,
// making it when missing so that every user of the machine can open it.
// Returns: a descriptor, or -1 (also for a name that cannot be a file's name).
[[nodiscard]] int OpenMachineWideFile(const char* prefix, const char* name);

}  // namespace morvane
