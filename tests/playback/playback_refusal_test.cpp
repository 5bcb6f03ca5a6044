#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "base/page_memory.h"
#include "base/system.h"
#include "device/autocirculate.h"
#include "playback/play_rig.h"

// What an engine refuses, and what it does when card, memory or a thread fails it.
namespace morvane {
namespace {

using PlaybackRefusalTest = test::PlayRig;

// Which mode the card's channel is in: 0 output, 1 input (what an idle engine shows).
uint32_t ChannelMode(PlaybackEngine& engine) {
  uint32_t mode = 99;
  (void)engine.Session().GetChannelMode(engine.Session().GetSessionChannel(), &mode);
  return mode;
}

uint32_t RingState(PlaybackEngine& engine) {
  RQD5AutoCirculateStatus status = {};
  (void)engine.Session().GetAutoCirculate(engine.Session().GetSessionChannel(), &status);
  return status.state;
}

uint32_t CardDrops(PlaybackEngine& engine) {
  RQD5AutoCirculateStatus status = {};
  (void)engine.Session().GetAutoCirculate(engine.Session().GetSessionChannel(), &status);
  return status.framesDropped;
}

TEST_F(PlaybackRefusalTest, StopBeforeAutoCirculateStartsLeavesTheCardIdle) {
  // The first transfer takes so long that the card cannot have started: three seconds of real time,
  // less than a stop waits for it.
  const auto stallMs = static_cast<int>(3000 * std::strtod(test::kPlayRate, nullptr));
  ASSERT_NO_FATAL_FAILURE(
      Begin(Machine("stall_transfer = [{frame = 0, ms = " + std::to_string(stallMs) + "}]\n")));
  ASSERT_NO_FATAL_FAILURE(OpenNoise(10, 0));
  EXPECT_EQ(1U, ChannelMode(*engine_));
  ASSERT_EQ(NxErrSuccess, engine_->Play(1, nullptr));
  EXPECT_FALSE(engine_->IsCirculating());
  EXPECT_EQ(NxErrSuccess, engine_->Stop(false));
  EXPECT_EQ(ACStateIdle, RingState(*engine_));
  EXPECT_EQ(1U, ChannelMode(*engine_));
  EXPECT_TRUE(FramesOut().empty());
  EXPECT_EQ(0, engine_->FramesPlayed());
}

TEST_F(PlaybackRefusalTest, WithoutMemoryForSixFramesNothingPlays) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(10));
  NxSetPageLimit(6 * test::kNtscSlotBytes);  // five and the black frame
  EXPECT_EQ(NxErrAllocateFifo, engine_->Play(1, nullptr));
  NxSetPageLimit(SIZE_MAX);
  EXPECT_FALSE(engine_->IsPlaying());
  EXPECT_EQ(0, engine_->Speed());
  EXPECT_EQ(1U, ChannelMode(*engine_));
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  EXPECT_EQ(Count(0, 9), FramesOut());
}

TEST_F(PlaybackRefusalTest, SixFramesOfMemoryAreEnough) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(20));
  const test::SmallRing ring;
  PlayToEnd(1);
  EXPECT_EQ(Count(0, 19), FramesOut());
}

TEST_F(PlaybackRefusalTest, ACardThatRefusesToInitialiseIsTold) {
  ASSERT_NO_FATAL_FAILURE(Begin(Machine("refuse_init = true\n")));
  ASSERT_NO_FATAL_FAILURE(OpenNoise(10, 0));
  EXPECT_EQ(NxErrInitAutoCirculate, engine_->Play(1, nullptr));
  EXPECT_FALSE(engine_->IsPlaying());
  EXPECT_EQ(1U, ChannelMode(*engine_));
}

TEST_F(PlaybackRefusalTest, ACardThatRefusesToStartEndsThePlay) {
  ASSERT_NO_FATAL_FAILURE(Begin(Machine("refuse_start = true\n")));
  ASSERT_NO_FATAL_FAILURE(OpenNoise(30, 0));
  ASSERT_EQ(NxErrSuccess, engine_->Play(1, nullptr));
  ASSERT_NO_FATAL_FAILURE(WaitUntil([&] { return engine_->HasEnded(); }));
  EXPECT_EQ(NxErrStartAutoCirculate, engine_->GetPlayError());
  EXPECT_EQ(NxErrSuccess, engine_->Stop(false));
  EXPECT_EQ(0, engine_->FramesPlayed());
}

TEST_F(PlaybackRefusalTest, NothingToPlayIsNoError) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  EXPECT_EQ(NxErrSuccess, engine_->Play(1, nullptr));
  EXPECT_FALSE(engine_->IsPlaying());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(5));
  for (const double speed : {0.0, std::nan(""), HUGE_VAL}) {
    EXPECT_EQ(NxErrFailure, engine_->Play(speed, nullptr)) << speed;
  }
  EXPECT_EQ(NxErrFailure, engine_->Play(1, nullptr, 1));
  EXPECT_EQ(NxErrSuccess, engine_->CloseClip());
  EXPECT_EQ(NxErrSuccess, engine_->Play(1, nullptr));
  EXPECT_FALSE(engine_->IsPlaying());
  EXPECT_EQ(NxErrSuccess, engine_->Deactivate());
  EXPECT_EQ("Offline", engine_->GetStatusWord());
}

TEST_F(PlaybackRefusalTest, AClipThatCannotBeOpenedLeavesTheOneBefore) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(5));
  EXPECT_NE(NxErrSuccess, engine_->OpenClip(folder_ + "/none_000000.yuv"));
  EXPECT_NE(NxErrSuccess, engine_->OpenClip(folder_ + "/none.txt"));
  EXPECT_NE(NxErrSuccess, engine_->OpenClip(""));
  EXPECT_TRUE(engine_->HasClip());
  EXPECT_EQ(5, engine_->TimelineLength());
  EXPECT_EQ(720, +engine_->ClipInfo().width);
}

TEST_F(PlaybackRefusalTest, ChoicesAreRefusedDuringAPlay) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(30));
  ASSERT_EQ(NxErrSuccess, engine_->Play(1, nullptr));
  EXPECT_EQ(NxErrFailure, engine_->SetInPoint(3));
  EXPECT_EQ(NxErrFailure, engine_->SetBars(true, 1));
  EXPECT_EQ(NxErrFailure, engine_->CloseClip());
  EXPECT_EQ(NxErrFailure, engine_->OpenClip(FramePath(0)));
  EXPECT_EQ(NxErrFailure, engine_->SetTrackEnable(0, false));
  EXPECT_EQ(NxErrSuccess, engine_->SetDisplaySpeed(2));
  EXPECT_EQ(NxErrSuccess, engine_->SetDisplayToDesktop(3));
  EXPECT_EQ(NxErrSuccess, engine_->Stop(true));
  EXPECT_EQ(NxErrSuccess, engine_->SetInPoint(3));
}

TEST_F(PlaybackRefusalTest, MarksKeepTheirOrderAndLieInTheTimeline) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(10));
  EXPECT_EQ(0, engine_->InPoint());
  EXPECT_EQ(9, engine_->OutPoint());
  EXPECT_EQ(NxErrFailure, engine_->SetInPoint(-1));
  EXPECT_EQ(NxErrFailure, engine_->SetOutPoint(10));
  EXPECT_EQ(NxErrSuccess, engine_->SetInPoint(9));  // a range of one frame, the last
  EXPECT_EQ(NxErrFailure, engine_->SetOutPoint(8));
  EXPECT_EQ(9, engine_->OutPoint());
  EXPECT_EQ(NxErrFailure, engine_->SetPosition(10));
  EXPECT_EQ(NxErrFailure, engine_->SetRangeType(2));
  EXPECT_EQ(0U, +engine_->Settings().rangeType);
  EXPECT_EQ(NxErrFailure, engine_->SetLoopType(3));
  EXPECT_EQ(NxErrSuccess, engine_->SetLeader(true, 121));  // too long: not taken
  EXPECT_EQ(0U, +engine_->Settings().leaderSeconds);
  EXPECT_EQ(9, engine_->OutPoint());  // the plan puts the marks back
  EXPECT_EQ(0, engine_->InPoint());
}

TEST_F(PlaybackRefusalTest, ChoicesAreClampedOrRefused) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  const PlaybackSettings& settings = engine_->Settings();
  EXPECT_EQ(NxErrSuccess, engine_->SetHandles(61));
  EXPECT_EQ(60, +settings.handles);
  EXPECT_EQ(NxErrSuccess, engine_->SetHandles(-1));
  EXPECT_EQ(0, +settings.handles);
  EXPECT_EQ(NxErrSuccess, engine_->SetTimecodeOffset(-31));
  EXPECT_EQ(-30, +settings.tcOffsetOut);
  EXPECT_EQ(NxErrSuccess, engine_->SetTimecodeOffset(31));
  EXPECT_EQ(30, +settings.tcOffsetOut);
  EXPECT_EQ(NxErrFailure, engine_->SetPrintType(4));
  EXPECT_EQ(NxErrFailure, engine_->SetDisplayType(2));
  EXPECT_EQ(NxErrFailure, engine_->SetDisplaySize(9));
  EXPECT_EQ(NxErrFailure, engine_->SetDisplayToDesktop(4));
  EXPECT_EQ(NxErrFailure, engine_->SetDisplaySpeed(3));
  EXPECT_EQ(NxErrFailure, engine_->SetToneLevel(101));
  EXPECT_EQ(NxErrFailure, engine_->SetTrackEnable(16, true));
  EXPECT_EQ(NxErrFailure, engine_->SetAudioDirectory("\xff"));
  EXPECT_EQ(1U, +settings.displayToDesktop);
  EXPECT_EQ(25U, +settings.toneLevel);
}

// A transfer that never comes back. The process cannot end normally any more, so it is one of its
// own.
TEST_F(PlaybackRefusalTest, AThreadThatDoesNotEndIsLeftBehindWithAllItCanTouch) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto scenario = [&] {
    Begin(Machine("stall_transfer = {frame = 30, ms = 60000}\n"));
    OpenNoise(50, 0);
    EXPECT_EQ(NxErrSuccess, engine_->Play(1, nullptr));
    WaitUntil([&] { return CardDrops(*engine_) > 0; });  // the transfer hangs
    EXPECT_EQ(NxErrSuccess, engine_->Stop(false));
    EXPECT_TRUE(NxAnyThreadAbandoned());
    EXPECT_FALSE(engine_->IsPlaying());
    EXPECT_FALSE(engine_->HasClip());  // it may still be in use
    EXPECT_EQ(1U, ChannelMode(*engine_));
    EXPECT_EQ(NxErrSuccess, engine_->Play(1, nullptr));
    EXPECT_FALSE(engine_->IsPlaying());
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
