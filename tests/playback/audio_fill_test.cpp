#include "playback/audio_fill.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "media/clip_builder.h"
#include "support/test_environment.h"

namespace morvane {
namespace {

TEST(SampleFrom, AnyWidthBecomesLeftJustified) {
  const uint8_t raw[] = {0x12, 0x34, 0x56, 0x78};
  EXPECT_EQ(0x34120000, SampleFrom(raw, 16, false, false));
  EXPECT_EQ(0x12340000, SampleFrom(raw, 16, false, true));
  EXPECT_EQ(0x56341200, SampleFrom(raw, 24, false, false));
  EXPECT_EQ(0x12345600, SampleFrom(raw, 24, false, true));
  EXPECT_EQ(0x78563412, SampleFrom(raw, 32, false, false));
  EXPECT_EQ(0x12345678, SampleFrom(raw, 32, false, true));
  EXPECT_EQ(0, SampleFrom(raw, 8, false, false));
  const uint8_t negative[] = {0x00, 0x00, 0xFF};
  EXPECT_EQ(-0x1000000, SampleFrom(negative, 24, false, false));
}

TEST(SampleFrom, FloatsAreTruncatedAndHeldInRange) {
  const struct {
    float value;
    int32_t wanted;
  } kRows[] = {{0.5F, 1073741824},   {-0.5F, -1073741824}, {1.0F, INT32_MAX}, {-1.0F, INT32_MIN},
               {1000.0F, INT32_MAX}, {-3.0F, INT32_MIN},   {0.0F, 0},         {NAN, 0}};
  for (const auto& row : kRows) {
    uint8_t raw[4];
    std::memcpy(raw, &row.value, 4);
    EXPECT_EQ(row.wanted, SampleFrom(raw, 32, true, false)) << row.value;
  }
}

// Sound files of noise, opened onto tracks.
class SoundFillerTest : public ::testing::Test {
 protected:
  static constexpr uint32_t kSamples = 1602;

  SoundFillerTest() {
    plan_.timeline.clip = 10;
    plan_.timeline.audio = 10;
    plan_.cardTracks = 8;
    plan_.rateScale = 30000;
    plan_.rateDuration = 1001;
    for (bool& on : plan_.enabled) on = true;
  }

  // Ten frames of 16-bit stereo onto tracks 0 and 1.
  void OpenStereo() {
    const std::string folder = test::FreshFolder("sound");
    ASSERT_TRUE(test::WriteYuvClip(folder, "s", 10, nullptr, 4));
    NxMediaFileInfo info;
    MediaFilePtr file;
    ASSERT_EQ(NxErrSuccess, OpenMediaSound(folder + "/s.wav", false, &info, &file));
    std::shared_ptr<NxMediaFileBase> media(file.release(), ReleaseMediaFile);
    for (int32_t track = 0; track < 2; ++track) {
      AudioTrackSource& source = sound_.tracks[track];
      source.media = media;
      source.channel = track;
      source.channels = 2;
      source.length = 10;
      source.sampleRate = 48000;
      source.bitsPerSample = 16;
    }
    for (int block = 0; block < 10; ++block) {
      const auto noise = test::Noise(4 * 1602, static_cast<uint32_t>(1000 + block));
      file_.insert(file_.end(), noise.begin(), noise.end());
    }
  }

  // Sample `at` of the stereo file, from its first.
  [[nodiscard]] int32_t InFile(size_t at, size_t channel) const {
    const size_t byte = (at * 2 + channel) * 2;
    return static_cast<int32_t>(uint32_t{file_[byte]} << 16 | uint32_t{file_[byte + 1]} << 24);
  }

  static bool IsSilent(const std::vector<int32_t>& samples) {
    for (const int32_t sample : samples) {
      if (sample != 0) return false;
    }
    return true;
  }

  SoundPlan plan_;
  PlaybackSound sound_;
  std::vector<uint8_t> file_;
};

TEST_F(SoundFillerTest, TracksLieInTheirPlaces) {
  ASSERT_NO_FATAL_FAILURE(OpenStereo());
  SoundFiller filler(plan_, sound_);
  size_t position = 0;
  for (const uint32_t samples : {1602U, 1601U, 1602U}) {
    const int32_t frame = position == 0 ? 0 : position < 2000 ? 1 : 2;
    const auto& out = filler.Fill(frame, samples, 1, false);
    ASSERT_EQ(size_t{samples} * 8, out.size());
    for (size_t i = 0; i < samples; ++i) {
      ASSERT_EQ(InFile(position + i, 0), out[i * 8]) << position + i;
      ASSERT_EQ(InFile(position + i, 1), out[i * 8 + 1]);
      ASSERT_EQ(0, out[i * 8 + 2]);
    }
    position += samples;
  }
}

TEST_F(SoundFillerTest, BackwardsEachFrameIsTurnedRound) {
  ASSERT_NO_FATAL_FAILURE(OpenStereo());
  plan_.variSpeed = true;
  SoundFiller filler(plan_, sound_);
  const auto& out = filler.Fill(0, kSamples, -1, false);
  for (size_t i = 0; i < kSamples; ++i) ASSERT_EQ(InFile(kSamples - 1 - i, 1), out[i * 8 + 1]);
}

TEST_F(SoundFillerTest, OtherSpeedsAreSilentUnlessAskedForOrScrubbed) {
  ASSERT_NO_FATAL_FAILURE(OpenStereo());
  SoundFiller filler(plan_, sound_);
  for (const double speed : {-1.0, 2.0, 0.5}) {
    EXPECT_TRUE(IsSilent(filler.Fill(0, kSamples, speed, false))) << speed;
    EXPECT_FALSE(IsSilent(filler.Fill(0, kSamples, speed, true))) << speed;
  }
  plan_.variSpeed = true;
  EXPECT_FALSE(IsSilent(filler.Fill(0, kSamples, 2, false)));
}

TEST_F(SoundFillerTest, ATrackThatIsOffOrOutsideOrOfAnotherRateIsSilent) {
  ASSERT_NO_FATAL_FAILURE(OpenStereo());
  SoundFiller filler(plan_, sound_);
  plan_.enabled[0] = false;
  EXPECT_EQ(0, filler.Fill(0, kSamples, 1, false)[0]);
  EXPECT_EQ(InFile(0, 1), filler.Fill(0, kSamples, 1, false)[1]);
  EXPECT_TRUE(IsSilent(filler.Fill(10, kSamples, 1, false)));
  plan_.sampleRate = 96000;
  EXPECT_TRUE(IsSilent(filler.Fill(0, kSamples, 1, false)));
}

TEST_F(SoundFillerTest, SlipMovesATrackByFrames) {
  ASSERT_NO_FATAL_FAILURE(OpenStereo());
  sound_.tracks[1].slip = 5;
  SoundFiller filler(plan_, sound_);
  const auto& out = filler.Fill(0, kSamples, 1, false);
  EXPECT_EQ(InFile(0, 0), out[0]);
  EXPECT_EQ(InFile(8008, 1), out[1]);  // five frames on
  EXPECT_EQ(0, filler.Fill(5, kSamples, 1, false)[1]);
}

TEST_F(SoundFillerTest, LeaderAndTrailerAreSilentAndBarsCarryTone) {
  ASSERT_NO_FATAL_FAILURE(OpenStereo());
  plan_.timeline.bars = 2;
  plan_.timeline.leader = 2;
  plan_.timeline.trailer = 2;
  plan_.toneLevel = 100;
  SoundFiller filler(plan_, sound_);
  EXPECT_TRUE(IsSilent(filler.Fill(2, kSamples, 1, false)));
  EXPECT_TRUE(IsSilent(filler.Fill(14, kSamples, 1, false)));
  EXPECT_EQ(InFile(0, 0), filler.Fill(4, kSamples, 1, false)[0]);
  const std::vector<int32_t> tone = filler.Fill(0, 1602, 1, false);
  EXPECT_EQ(0, tone[0]);
  EXPECT_EQ(INT32_MAX, tone[12 * 8]);  // the top of a full-scale sine is held in range
  EXPECT_EQ(tone[12 * 8], tone[12 * 8 + 7]);
  EXPECT_EQ(18, filler.TonePhase());  // 1602 modulo 48
  const std::vector<int32_t>& more = filler.Fill(1, 1601, 1, false);
  EXPECT_EQ(tone[18 * 8], more[0]);
}

TEST_F(SoundFillerTest, ToneLevelIsAPercentageOfFullScale) {
  plan_.timeline.bars = 1;
  plan_.toneLevel = 25;
  SoundFiller filler(plan_, sound_);
  const auto& out = filler.Fill(0, 48, 1, false);
  for (size_t i = 0; i < 48; ++i) {
    const double wanted =
        std::sin(2 * M_PI * static_cast<double>(i) / 48) * 0.25 * 2147483648.0 + 0.5;
    EXPECT_NEAR(std::trunc(wanted), out[i * 8], 1) << i;
  }
}

}  // namespace
}  // namespace morvane
