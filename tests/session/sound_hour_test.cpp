// An hour of sound, every sample looked at.
#include <gtest/gtest.h>

#include "session/simulated_board.h"

namespace morvane {
namespace {

using test::kSoundCases;
using test::Sound;

TEST_P(Sound, LeavesTheRingSampleForSampleForAnHour) {
  PlayAndHold(3600);
}

INSTANTIATE_TEST_SUITE_P(Boards, Sound, testing::ValuesIn(kSoundCases),
                         [](const auto& param) { return param.param.name; });

}  // namespace
}  // namespace morvane
