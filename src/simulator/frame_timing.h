#pragma once

#include <cstdint>

// Frame boundaries and audio samples in exact rational arithmetic. Pure; any thread.
namespace morvane {

// Boundaries of one frame rate: boundary k lies at startNs + k * duration / scale seconds.
struct FrameTiming {
  int64_t startNs = 0;
  uint32_t scale = 0;  // 0: no boundaries
  uint32_t duration = 1;

  [[nodiscard]] bool Runs() const { return scale != 0; }
  // The first whole nanosecond at which boundary `k` has passed.
  [[nodiscard]] int64_t BoundaryNs(int64_t k) const;
  // The last boundary that has passed at `ns` (not before startNs); 0 when there are none.
  [[nodiscard]] int64_t IndexAt(int64_t ns) const;

  friend bool operator==(const FrameTiming&, const FrameTiming&) = default;
};

// Samples before frame `frame`: round(frame * sampleRate * duration / scale).
[[nodiscard]] int64_t SamplesBefore(int64_t frame, uint32_t sampleRate, uint32_t scale,
                                    uint32_t duration);

// Whole samples in `ns` nanoseconds.
[[nodiscard]] int64_t SamplesIn(int64_t ns, uint32_t sampleRate);

}  // namespace morvane
