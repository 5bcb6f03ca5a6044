#pragma once

#include <cstdint>

namespace morvane {

// The time of a machine's cards: the process clock (base/clock.h) times a rate, 0 when the machine
// was built. Threads: any.
class MachineClock {
 public:
  explicit MachineClock(double rate);

  [[nodiscard]] int64_t NowNs() const;
  // The process time at which card time has reached `cardNs`.
  [[nodiscard]] int64_t ProcessNs(int64_t cardNs) const;
  [[nodiscard]] double Rate() const { return rate_; }

 private:
  double rate_;
  int64_t startNs_;
};

}  // namespace morvane
