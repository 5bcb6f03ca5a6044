#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "convert_helpers.h"
#include "processing/line_job.h"

// The vector routines against the plain code, on every kind of processor that this one can stand in
// for. The checks take a step: 1 tries all inputs, a larger one a sample.
namespace morvane::test {

// One pair of formats prepared for one line width: the plain routine and that of every target.
class LineUnderTest {
 public:
  LineUnderTest(FourCCCode from, FourCCCode to, int32_t width, int32_t matrix);
  // With coefficients of one's own; `vectors` tells whether there must be a vector routine.
  LineUnderTest(FourCCCode from, FourCCCode to, int32_t width, const NxColorContext& color,
                bool vectors);

  // Returns: false, with a failure told, when a byte differs.
  [[nodiscard]] bool Check(const Bytes& src);

 private:
  [[nodiscard]] std::unique_ptr<LineJob> MakeJob(FourCCCode from, FourCCCode to,
                                                 const NxColorContext& color, bool reference) const;
  void Tell(size_t t) const;

  int32_t width_;
  std::unique_ptr<LineJob> plain_;
  std::vector<std::unique_ptr<LineJob>> jobs_;
  std::vector<std::string> names_;
  Bytes wanted_, got_;
};

// 8-bit 4:2:2 to RGB: all luma with all chroma in half steps.
void CheckHalfSteps(int32_t matrix, uint32_t step);
// RGB to 8-bit and 10-bit 4:2:2: all colours, beside their like and beside others.
void CheckColours(uint32_t step);
// The coefficients of `matrix` in the scale of `fourcc`.
[[nodiscard]] NxColorContext ColorOf(int32_t matrix, FourCCCode fourcc);
// Random bytes, many of them at the ends of their range.
[[nodiscard]] Bytes RandomLine(FourCCCode fourcc, int32_t width, uint64_t seed);
// Wider inputs: lines of random values, many of them at the ends.
void CheckRandomLines(int rounds);

}  // namespace morvane::test
