#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

// What the benchmarks count with.
namespace morvane {

using Clock = std::chrono::steady_clock;

inline double Seconds(Clock::time_point from) {
  return std::chrono::duration<double>(Clock::now() - from).count();
}

// `share` 0 is the least of `values`, 1 the largest. 0 without any.
inline double Percentile(std::vector<double> values, double share) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  return values[static_cast<size_t>(share * static_cast<double>(values.size() - 1))];
}
inline double Median(const std::vector<double>& values) {
  return Percentile(values, 0.5);
}

}  // namespace morvane
