#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "capture/capture_engine.h"
#include "capture/engine_rig.h"
#include "device/autocirculate.h"
#include "device/card.h"

// Jobs in which somebody is late: the preview, a transfer, a thread that does not end.
namespace morvane {
namespace {

using test::BarsMachine;
using test::BurnedInNumber;
using test::kNtscBytes;
using test::ReadWhole;

class CaptureStall : public test::EngineRig {
 protected:
  // Waits until the card itself has dropped a frame, seen through a connection of its own.
  void WaitForDrop() {
    CRQD5Card observer;
    ASSERT_TRUE(
        observer.Open(static_cast<uint16_t>(board_.boardNumber), false, board_.boardType, nullptr));
    RQD5AutoCirculateStatus status = {};
    while (status.framesDropped == 0) {
      ASSERT_TRUE(observer.GetAutoCirculate(1 | kACInput, &status));
      ASSERT_NE(uint32_t{ACStateIdle}, status.state);
      NxSleep(5);
    }
    observer.Close();
  }
};

TEST_F(CaptureStall, ThirtyFramesGetInWithoutAPreview) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  ASSERT_NO_FATAL_FAILURE(Launch());
  ASSERT_NO_FATAL_FAILURE(WaitForDrop());
  while (engine_->FramesCaptured() < 30) NxSleep(5);
  // The mark has stood still: the card's memory has filled up behind thirty frames.
  EXPECT_EQ(30, engine_->FramesCaptured());
  ASSERT_NO_FATAL_FAILURE(PreviewUntil([&] { return engine_->FramesCaptured() >= 35; }));
  engine_->Stop();
  EXPECT_GT(engine_->FramesDropped(), 0U);
  EXPECT_EQ(engine_->FramesDropped(), engine_->Drops().processor);
  const uint32_t first = BurnedInNumber(ReadWhole(FramePath(0)), 720);
  for (uint32_t frame = 1; frame < 35; ++frame) {
    EXPECT_EQ(first + frame, BurnedInNumber(ReadWhole(FramePath(static_cast<int>(frame))), 720));
  }
}

TEST_F(CaptureStall, ALateTransferLosesFramesToTheProcessor) {
  // 1.5 seconds are 45 frames, and the card holds 30.
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine("", "stall_transfer = {frame = 5, ms = 1500}\n")));
  ASSERT_NO_FATAL_FAILURE(Run(45));
  EXPECT_EQ(45, engine_->FramesCaptured());
  EXPECT_GE(engine_->FramesDropped(), 10U);
  EXPECT_EQ(engine_->FramesDropped(), engine_->Drops().processor);
  EXPECT_EQ(0U, engine_->Drops().disk);
  EXPECT_EQ(0U, engine_->Drops().card);
}

TEST_F(CaptureStall, AnInputThatComesBackGoesOnInTheSameJob) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine("", "lose_input_at = 6\nreturn_input_at = 12\n")));
  ASSERT_NO_FATAL_FAILURE(Run(12));
  EXPECT_EQ(12, engine_->FramesCaptured());
  EXPECT_EQ(0U, engine_->FramesDropped());
}

// A transfer that never comes back. What was captured is whole, the clip is closed, the engine is
// at once ready for another card. The process cannot end normally any more, so it is one of its
// own.
TEST_F(CaptureStall, AThreadThatDoesNotEndIsLeftBehindWithAllItCanTouch) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto scenario = [&] {
    Begin(BarsMachine("", "stall_transfer = {frame = 4, ms = 60000}\n"));
    Launch();
    WaitForDrop();  // the transfer hangs
    engine_->Stop();
    EXPECT_FALSE(engine_->IsCapturing());
    EXPECT_EQ(4, engine_->FramesCaptured());
    EXPECT_TRUE(NxAnyThreadAbandoned());
    for (int frame = 0; frame < 4; ++frame) {
      EXPECT_EQ(kNtscBytes, ReadWhole(FramePath(frame)).size());
    }
    EXPECT_TRUE(std::filesystem::exists(folder_ + "/clip/clip_000000.vyr"));
    EXPECT_EQ("clip 01", engine_->ClipNameText());
    EXPECT_EQ(NxErrSuccess, engine_->Close());
    const bool good = !HasFailure();
    std::error_code ignored;
    std::filesystem::remove_all(test::PrivateFolder(), ignored);
    _exit(good ? 0 : 1);
  };
  EXPECT_EXIT(scenario(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace morvane
