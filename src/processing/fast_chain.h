#pragma once

#include "processing/fast_lines.h"

namespace morvane {

struct LineJob;

struct FastStep {
  StepRoutine run = nullptr;
  StepParams params;
};

// The steps from source to destination.
struct FastChain {
  static constexpr int kMostSteps = 4;
  int count = 0;
  FastStep steps[kMostSteps];
};

// Fills `job->chain` and `job->run` when there is a vector path for the job's formats, shape and
// coefficients. Returns: false, with the job unchanged in its routine, when there is none.
bool PickFastRoutine(LineJob* job);

}  // namespace morvane
