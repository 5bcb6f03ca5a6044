#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace morvane {

struct LineJob;

// A scaled conversion as an unscaled one and a choice of pixels.
struct ScaledLine {
  std::unique_ptr<LineJob> whole;  // without scaling, by a vector routine
  std::vector<int32_t> pixels;     // for each written pixel the source pixel
};

// Fills `job->scaled` and `job->run` for a job that scales when its formats have a vector routine.
// Returns: false, with the job unchanged, when they have none or memory is short.
bool PickScaledRoutine(LineJob* job);

}  // namespace morvane
