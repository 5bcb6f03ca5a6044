#include <gtest/gtest.h>

#include "exact_lines.h"

// Takes about 40 seconds; convert_exact_test tries a sample of the same.
namespace morvane {
namespace {

class ConvertExhaustive : public testing::TestWithParam<int32_t> {};
INSTANTIATE_TEST_SUITE_P(Matrices, ConvertExhaustive, testing::Range(0, 6));

TEST_P(ConvertExhaustive, AllHalfStepChromaToBgra) {
  test::CheckHalfSteps(GetParam(), 1);
}
TEST(ConvertAll, AllColoursToYuv) {
  test::CheckColours(1);
}
TEST(ConvertAll, ManyRandomLines) {
  test::CheckRandomLines(2000);
}

}  // namespace
}  // namespace morvane
