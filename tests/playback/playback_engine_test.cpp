#include "playback/playback_engine.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

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
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
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

}  // namespace
}  // namespace morvane
