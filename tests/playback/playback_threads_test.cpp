// The threads of a play as the kernel sees them.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "base/thread_facts.h"
#include "playback/play_rig.h"

namespace morvane {
namespace {

using PlaybackThreads = test::PlayRig;

TEST_F(PlaybackThreads, EachRunsOnItsProcessor) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(60, 0));
  const std::set<uint32_t> before = test::ThreadIds();
  std::vector<std::string> places;
  // Again where this thread came so late that some of the others may have ended.
  for (int32_t played = INT32_MAX; played > 30;) {
    ASSERT_EQ(NxErrSuccess, engine_->Play(1.0, nullptr));
    ASSERT_NO_FATAL_FAILURE(WaitUntil([&] { return engine_->FramesPlayed() > 0; }));
    places.clear();
    for (const uint32_t id : test::ThreadIds()) {
      if (before.count(id) == 0) places.push_back(test::ProcessorsOfThread(id));
    }
    played = engine_->FramesPlayed();
    EXPECT_EQ(NxErrSuccess, engine_->Stop(true));
    ASSERT_EQ(NxErrSuccess, engine_->SetPosition(0));
  }
  const std::string all = test::ProcessorsOfCaller();
  const int count = static_cast<int>(NxProcessorCount());
  const int preview = count == 1 ? 0 : count == 2 ? 1 : count - 2;
  std::vector<std::string> wanted = {test::OneProcessor(all, count - 1),  // reader
                                     test::OneProcessor(all, 0),          // transfer
                                     test::OneProcessor(all, 0),          // audio
                                     test::OneProcessor(all, preview)};
  std::sort(wanted.begin(), wanted.end());
  std::sort(places.begin(), places.end());
  EXPECT_EQ(places, wanted);
}

}  // namespace
}  // namespace morvane
