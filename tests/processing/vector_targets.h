#pragma once

#include <hwy/targets.h>

#include <cstdint>
#include <vector>

namespace morvane::test {

// The kinds of processor that this one can stand in for, as Highway's bits.
inline std::vector<int64_t> VectorTargets() {
  std::vector<int64_t> targets;
  const int64_t compiled = HWY_SSE4 | HWY_AVX2 | HWY_AVX3 | HWY_STATIC_TARGET;
  for (int64_t left = hwy::SupportedTargets() & compiled; left != 0; left &= left - 1) {
    targets.push_back(left & -left);
  }
  return targets;
}

// False for the fallback, which is the plain code.
inline bool HasVectors(int64_t target) {
  return (target & (HWY_SCALAR | HWY_EMU128)) == 0;
}

// While one of these lives, routines are picked for one kind of processor.
class ScopedTarget {
 public:
  explicit ScopedTarget(int64_t target) { Set(target); }
  ~ScopedTarget() { Set(0); }
  ScopedTarget(const ScopedTarget&) = delete;
  ScopedTarget& operator=(const ScopedTarget&) = delete;

 private:
  static void Set(int64_t target) {
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
  }
};

}  // namespace morvane::test
