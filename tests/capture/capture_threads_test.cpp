// The threads of a capture as the kernel sees them.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "base/thread_facts.h"
#include "capture/engine_rig.h"

namespace morvane {
namespace {

using CaptureThreads = test::EngineRig;

TEST_F(CaptureThreads, InputRunsOnTheFirstProcessorAndWriterOnTheLast) {
  ASSERT_NO_FATAL_FAILURE(Begin(test::BarsMachine()));
  ASSERT_NO_FATAL_FAILURE(SetLength(60));
  const std::set<uint32_t> before = test::ThreadIds();
  ASSERT_NO_FATAL_FAILURE(Launch());
  ASSERT_NO_FATAL_FAILURE(PreviewUntil([&] { return engine_->FramesCaptured() > 0; }));
  std::vector<std::string> places;
  for (const uint32_t id : test::ThreadIds()) {
    if (before.count(id) == 0) places.push_back(test::ProcessorsOfThread(id));
  }
  engine_->Stop();
  const std::string all = test::ProcessorsOfCaller();
  const int last = static_cast<int>(NxProcessorCount()) - 1;
  std::vector<std::string> wanted = {test::OneProcessor(all, 0), test::OneProcessor(all, last)};
  std::sort(wanted.begin(), wanted.end());
  std::sort(places.begin(), places.end());
  EXPECT_EQ(places, wanted);
}

}  // namespace
}  // namespace morvane
