// The threads of a capture as the kernel sees them.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "base/thread_facts.h"
#include "capture/engine_rig.h"
#include "processing/picture_sink.h"

namespace morvane {
namespace {

using CaptureThreads = test::EngineRig;

TEST_F(CaptureThreads, InputRunsOnTheFirstProcessorAndWriterOnTheLast) {
  ASSERT_NO_FATAL_FAILURE(Begin(test::BarsMachine()));
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

// What the two threads of a window ask at the same time: the status in words, and a live picture
// whose failure leaves words in the session.
TEST_F(CaptureThreads, StatusAndLivePictureShareNothingThatIsWritten) {
  class NoSink final : public PictureSink {
   public:
    bool Begin(int32_t /*width*/, int32_t /*height*/) override { return true; }
    void Show(const NXVideoFrame& /*frame*/) override {}
    void End() override {}
  };
  ASSERT_NO_FATAL_FAILURE(Begin(test::BarsMachine()));
  constexpr int kRounds = 100;
  std::set<std::string> words;
  std::thread status([&] {
    for (int round = 0; round < kRounds; ++round) words.insert(engine_->StatusText());
  });
  NoSink sink;
  uint8_t tooSmall[16] = {};
  for (int round = 0; round < kRounds; ++round) {
    EXPECT_EQ(CaptureEngine::LivePicture::NoSignal,
              engine_->ShowLiveInput(&sink, tooSmall, sizeof tooSmall));
  }
  status.join();
  EXPECT_EQ((std::set<std::string>{"Idle"}), words);
  EXPECT_EQ("DMA Read Frame Failed", engine_->Session().GetLastError());
}

}  // namespace
}  // namespace morvane
