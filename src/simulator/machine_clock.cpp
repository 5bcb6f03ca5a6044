#include "simulator/machine_clock.h"

#include <cmath>

#include "base/clock.h"

namespace morvane {

MachineClock::MachineClock(double rate) : rate_(rate), startNs_(NxClockNowNs()) {}

int64_t MachineClock::NowNs() const {
  const int64_t elapsed = NxClockNowNs() - startNs_;
  // Untouched at rate 1, so that nothing is lost to floating point in the ordinary case.
  if (rate_ == 1.0) return elapsed;
  return static_cast<int64_t>(std::floor(static_cast<double>(elapsed) * rate_));
}

int64_t MachineClock::ProcessNs(int64_t cardNs) const {
  if (rate_ == 1.0) return startNs_ + cardNs;
  return startNs_ + static_cast<int64_t>(std::ceil(static_cast<double>(cardNs) / rate_)) + 1;
}

}  // namespace morvane
