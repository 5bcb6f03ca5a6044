#include "simulator/frame_timing.h"

namespace morvane {
namespace {

__extension__ using Wide = __int128;
constexpr int64_t kNsPerSecond = 1000000000;

Wide CeilingOf(Wide numerator, Wide denominator) {
  return (numerator + denominator - 1) / denominator;
}

}  // namespace

int64_t FrameTiming::BoundaryNs(int64_t k) const {
  const Wide numerator = static_cast<Wide>(k) * duration * kNsPerSecond;
  return startNs + static_cast<int64_t>(CeilingOf(numerator, scale));
}

int64_t FrameTiming::IndexAt(int64_t ns) const {
  if (!Runs() || ns <= startNs) return 0;
  const Wide elapsed = static_cast<Wide>(ns - startNs) * scale;
  return static_cast<int64_t>(elapsed / (static_cast<Wide>(duration) * kNsPerSecond));
}

int64_t SamplesBefore(int64_t frame, uint32_t sampleRate, uint32_t scale, uint32_t duration) {
  if (scale == 0) return 0;
  const Wide numerator = static_cast<Wide>(frame) * sampleRate * duration;
  return static_cast<int64_t>((2 * numerator + scale) / (2 * static_cast<Wide>(scale)));
}

int64_t SamplesIn(int64_t ns, uint32_t sampleRate) {
  if (ns <= 0) return 0;
  return static_cast<int64_t>(static_cast<Wide>(ns) * sampleRate / kNsPerSecond);
}

}  // namespace morvane
