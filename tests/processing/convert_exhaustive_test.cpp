#include <gtest/gtest.h>

#include "exact_lines.h"

// Takes minutes; convert_exact_test tries a sample of the same.
namespace morvane {
namespace {

TEST(ConvertExhaustive, AllHalfStepChromaToBgra) {
  test::CheckHalfSteps(1);
}
TEST(ConvertExhaustive, AllColoursToYuv) {
  test::CheckColours(1);
}
TEST(ConvertExhaustive, ManyRandomLines) {
  test::CheckRandomLines(2000);
}

}  // namespace
}  // namespace morvane
