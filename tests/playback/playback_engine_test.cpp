#include "playback/playback_engine.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "base/page_memory.h"
#include "device/autocirculate.h"
#include "playback/play_rig.h"

// Whole plays with real threads against the simulated card.
namespace morvane {
namespace {

class PlaybackEngineTest : public test::PlayRig {
 protected:
  // Each frame of the clip that is out has its picture. Nothing was missed up to the last frame.
  void ExpectPictures() {
    int64_t before = -1;
    for (const test::LogLine& line : FrameLines()) {
      EXPECT_EQ(HashOf(line.user), line.md5) << line.user;
      EXPECT_EQ("2vuy", line.fourcc);
      EXPECT_EQ("0", line.flip);
      if (before >= 0) {
        EXPECT_EQ(before + 1, line.boundary) << line.user;
      }
      before = line.boundary;
    }
  }
};

TEST_F(PlaybackEngineTest, EachFrameGoesOutOnceInOrderWithSoundFromTheFirst) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(30, 4));
  EXPECT_TRUE(engine_->HasVideo());
  EXPECT_TRUE(engine_->HasAudio());
  EXPECT_EQ(30, engine_->TimelineLength());
  ASSERT_NO_FATAL_FAILURE(PlayWithoutRepeat(1));
  EXPECT_EQ(Count(0, 29), FramesOut());
  ExpectPictures();
  const std::vector<test::LogLine> lines = FrameLines();
  ASSERT_EQ(30U, lines.size());
  EXPECT_EQ("00:00:00:00", lines[0].rp188);
  EXPECT_EQ("00:00:00:29", lines[29].rp188);
  EXPECT_EQ("0", lines[0].audio);
  EXPECT_EQ("1601", lines[1].audio);  // a frame is 1601.6 samples
  EXPECT_EQ("3203", lines[2].audio);
  EXPECT_EQ(30, engine_->FramesPlayed());
  EXPECT_EQ(0U, engine_->FramesDropped());
  EXPECT_EQ(0, engine_->FramesLost());
  EXPECT_EQ(29, last_);
  EXPECT_EQ("Still", engine_->GetStatusWord());
}

TEST_F(PlaybackEngineTest, BackwardsGoesFromTheLastFrameToTheFirst) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(20, 0));
  ASSERT_EQ(NxErrSuccess, engine_->Play(-1, nullptr));
  EXPECT_EQ("Reverse Play -1x", engine_->GetStatusWord());
  EXPECT_EQ(NxErrSuccess, engine_->Stop(true));
  ASSERT_EQ(NxErrSuccess, engine_->SetPosition(0));
  ASSERT_NO_FATAL_FAILURE(PlayWithoutRepeat(-1));
  EXPECT_EQ(0, last_);
  EXPECT_EQ(Count(19, 0, -1), FramesOut());
  ExpectPictures();
  EXPECT_EQ(20, engine_->FramesPlayed());
  EXPECT_EQ("00:00:00:19", FrameLines()[0].rp188);  // counts on from the first frame that is out
  EXPECT_EQ("00:00:00:20", FrameLines()[1].rp188);
}

TEST_F(PlaybackEngineTest, WithoutSoundPicturesGoAlone) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(12));
  EXPECT_FALSE(engine_->HasAudio());
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  EXPECT_EQ(Count(0, 11), FramesOut());
  EXPECT_EQ("", FrameLines()[3].audio);
}

TEST_F(PlaybackEngineTest, RangeOfOneFrameIsPlayedBeforeItEnds) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(10, 0));
  ASSERT_EQ(NxErrSuccess, engine_->SetRangeType(1));
  ASSERT_EQ(NxErrSuccess, engine_->SetInPoint(6));
  ASSERT_EQ(NxErrSuccess, engine_->SetOutPoint(6));
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  EXPECT_EQ(std::vector<int32_t>{6}, FramesOut());
  EXPECT_EQ(6, last_);
  EXPECT_EQ(1, engine_->FramesPlayed());
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(-1));
  EXPECT_EQ((std::vector<int32_t>{6, 6}), FramesOut());
}

TEST_F(PlaybackEngineTest, MarksBoundThePlayAndReverseBeginsAtTheOutPoint) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(12));
  ASSERT_EQ(NxErrSuccess, engine_->SetRangeType(1));
  ASSERT_EQ(NxErrSuccess, engine_->SetInPoint(3));
  ASSERT_EQ(NxErrSuccess, engine_->SetOutPoint(8));
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(-1));
  EXPECT_EQ(Count(8, 3, -1), FramesOut());
  EXPECT_EQ(3, last_);
}

TEST_F(PlaybackEngineTest, DoubleSpeedPlaysTheLastFrameOnce) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(10));
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(2));
  const std::vector<int32_t> even = {0, 2, 4, 6, 8, 9};
  EXPECT_EQ(even, FramesOut());
  EXPECT_EQ(6, engine_->FramesPlayed());
  ASSERT_EQ(NxErrSuccess, engine_->SetRangeType(1));
  ASSERT_EQ(NxErrSuccess, engine_->SetOutPoint(8));
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(2));
  const std::vector<int32_t> both = {0, 2, 4, 6, 8, 9, 0, 2, 4, 6, 8};
  EXPECT_EQ(both, FramesOut());
}

TEST_F(PlaybackEngineTest, SixteenTimesOverTenFramesShowsTheFirstAndTheLast) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(10));
  ASSERT_EQ(NxErrSuccess, engine_->Play(16, nullptr));
  EXPECT_EQ("Fast Forward 16x", engine_->GetStatusWord());
  ASSERT_NO_FATAL_FAILURE(WaitUntil([&] { return engine_->HasEnded(); }));
  EXPECT_EQ(NxErrSuccess, engine_->Stop(true));
  EXPECT_EQ((std::vector<int32_t>{0, 9}), FramesOut());
}

TEST_F(PlaybackEngineTest, QuarterSpeedSendsEachFrameFourTimes) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(5));
  ASSERT_EQ(NxErrSuccess, engine_->Play(0.25, nullptr));
  EXPECT_EQ("Play 0.25x", engine_->GetStatusWord());
  ASSERT_NO_FATAL_FAILURE(WaitUntil([&] { return engine_->HasEnded(); }));
  EXPECT_EQ(NxErrSuccess, engine_->Stop(true));
  std::vector<int32_t> out = FramesOut();
  // The play ends when the last frame is on the output, whatever more of it waits in the card.
  ASSERT_GE(out.size(), 17U);
  out.resize(17);
  const std::vector<int32_t> wanted = {0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4};
  EXPECT_EQ(wanted, out);
  EXPECT_EQ(5, engine_->FramesPlayed());
}

TEST_F(PlaybackEngineTest, FramesThatAreMissingOrDamagedPlayBlack) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(12));
  ASSERT_TRUE(std::filesystem::remove(FramePath(4)));
  test::WriteBytes(FramePath(8), test::Noise(test::kNtscPictureBytes / 2, 1));
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  const std::vector<test::LogLine> lines = FrameLines();
  ASSERT_EQ(12U, lines.size());
  for (const test::LogLine& line : lines) {
    const bool bad = line.user == 4 || line.user == 8;
    EXPECT_EQ(bad ? BlackHash() : HashOf(line.user), line.md5) << line.user;
    EXPECT_EQ(bad ? "bgrA" : "2vuy", line.fourcc);
  }
  EXPECT_EQ(2, engine_->FramesLost());
}

TEST_F(PlaybackEngineTest, SoundAloneStartsNoPicturesAndMovesThePosition) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(15, 0));
  ASSERT_EQ(NxErrSuccess, engine_->SetVideoEnable(false));
  EXPECT_FALSE(engine_->HasVideo());
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  EXPECT_EQ(14, last_);
  EXPECT_EQ(15, engine_->FramesPlayed());
  EXPECT_TRUE(test::ReadLog(folder_ + "/out.csv").empty());
}

TEST_F(PlaybackEngineTest, ASoundFileCanBeTheClip) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_TRUE(test::WriteYuvClip(folder_, "clip", 10, nullptr, 4));
  ASSERT_EQ(NxErrSuccess, engine_->OpenClip(folder_ + "/clip.wav"));
  EXPECT_FALSE(engine_->HasVideo());
  EXPECT_EQ(10, engine_->TimelineLength());
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  EXPECT_EQ(9, last_);
}

TEST_F(PlaybackEngineTest, PicturesBehindTheClipAreBlackWhileSoundGoesOn) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(6));
  const std::string longer = test::FreshFolder("longer");
  ASSERT_TRUE(test::WriteYuvClip(longer, "tone", 10, nullptr, 0));
  ASSERT_EQ(NxErrSuccess, engine_->OpenAudio(longer + "/tone.wav", 0));
  EXPECT_EQ(10, engine_->TimelineLength());
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  const std::vector<test::LogLine> lines = FrameLines();
  ASSERT_EQ(10U, lines.size());
  for (const test::LogLine& line : lines) {
    EXPECT_EQ(line.user < 6 ? HashOf(line.user) : BlackHash(), line.md5) << line.user;
  }
  EXPECT_EQ(0, engine_->FramesLost());
}

TEST_F(PlaybackEngineTest, BarsLeaderAndTrailerGoRoundTheClip) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(5, 0));
  ASSERT_EQ(NxErrSuccess, engine_->SetBars(true, 1));
  ASSERT_EQ(NxErrSuccess, engine_->SetLeader(true, 1));
  ASSERT_EQ(NxErrSuccess, engine_->SetTrailer(true, 1));
  ASSERT_EQ(95, engine_->TimelineLength());
  ASSERT_EQ(NxErrSuccess, engine_->SetPosition(27));
  ASSERT_EQ(NxErrSuccess, engine_->SetRangeType(1));
  ASSERT_EQ(NxErrSuccess, engine_->SetOutPoint(68));
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  const std::vector<test::LogLine> lines = FrameLines();
  EXPECT_EQ(Count(27, 68), FramesOut());
  for (const test::LogLine& line : lines) {
    if (line.user < 30) {
      EXPECT_EQ(lines[0].md5, line.md5) << line.user;
      EXPECT_NE(BlackHash(), line.md5);
    } else if (line.user >= 60 && line.user < 65) {
      EXPECT_EQ(HashOf(line.user - 60), line.md5) << line.user;
    } else {
      EXPECT_EQ(BlackHash(), line.md5) << line.user;
    }
  }
}

TEST_F(PlaybackEngineTest, ALoopGoesOnFromTheOtherBound) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(8, 0));
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(-1));
  std::vector<int32_t> wanted = Count(0, 7);
  for (int32_t frame : Count(0, 7)) wanted.push_back(frame);
  for (int32_t frame : Count(7, 0, -1)) wanted.push_back(frame);
  EXPECT_EQ(wanted, FramesOut());
}

TEST_F(PlaybackEngineTest, StopKeepsThePositionAndPlayGoesOnFromIt) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenNoise(60, 0));
  ASSERT_EQ(NxErrSuccess, engine_->Play(1, nullptr));
  ASSERT_NO_FATAL_FAILURE(WaitUntil([&] { return engine_->FramesPlayed() >= 10; }));
  EXPECT_FALSE(engine_->HasEnded());
  EXPECT_TRUE(engine_->IsCirculating());
  EXPECT_EQ(NxErrSuccess, engine_->Stop(false));
  EXPECT_EQ("Stop", engine_->GetStatusWord());
  EXPECT_FALSE(engine_->IsPlaying());
  EXPECT_EQ(0, engine_->Speed());
  const int32_t position = engine_->Position();
  EXPECT_GE(position, 9);
  const size_t before = FramesOut().size();
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  const std::vector<int32_t> out = FramesOut();
  ASSERT_LT(before, out.size());
  EXPECT_EQ(position, out[before]);
  EXPECT_EQ(59, out.back());
  EXPECT_EQ(NxErrFailure, engine_->Stop(true));  // nothing plays any more
}

TEST_F(PlaybackEngineTest, LateTransfersAreCountedAndPlayGoesOn) {
  ASSERT_NO_FATAL_FAILURE(Begin(Machine("stall_transfer = [{frame = 25, ms = 1500}]\n")));
  ASSERT_NO_FATAL_FAILURE(OpenNoise(50));
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  EXPECT_EQ(Count(0, 49), FramesOut());
  EXPECT_GT(engine_->FramesDropped(), 0U);
  EXPECT_EQ(50, engine_->FramesPlayed());
}

TEST_F(PlaybackEngineTest, SettingsOutliveAnEngineThatKeepsThem) {
  ASSERT_NO_FATAL_FAILURE(BuildMachine(Machine()));
  for (const PlaybackStore store : {PlaybackStore::Keep, PlaybackStore::Ignore}) {
    engine_ = std::make_unique<PlaybackEngine>();
    ASSERT_EQ(NxErrSuccess, engine_->Open(board_, store));
    ASSERT_EQ(NxErrSuccess, engine_->Activate());
    ASSERT_EQ(NxErrSuccess, engine_->SetHandles(store == PlaybackStore::Keep ? 17 : 44));
    ASSERT_EQ(NxErrSuccess, engine_->Close());
  }
  ASSERT_EQ(NxErrSuccess, engine_->Open(board_, PlaybackStore::Keep));
  EXPECT_EQ(17, +engine_->Settings().handles);
  EXPECT_EQ(NxErrSuccess, engine_->Close());
  EXPECT_EQ(NxErrFailure, engine_->Close());
}

TEST_F(PlaybackEngineTest, EnforcedAlignmentPlaysTheSamePictures) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_EQ(NxErrSuccess, engine_->SetEnforceAlignment(true));
  ASSERT_NO_FATAL_FAILURE(OpenNoise(6));
  ASSERT_NO_FATAL_FAILURE(PlayWithoutRepeat(1));
  EXPECT_EQ(Count(0, 5), FramesOut());
  ExpectPictures();
}

}  // namespace
}  // namespace morvane
