#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "media/codec/media_reader.h"
#include "playback/play_rig.h"
#include "processing/picture_sink.h"
#include "processing/records.h"

// What reaches the card in other rasters and rates, what of the sound, and what the desktop shows.
namespace morvane {
namespace {

class PlaybackFormatsTest : public test::PlayRig {
 protected:
  // Writes a clip of that size and opens it.
  void OpenRaster(int frames, int32_t width, int32_t height, int audioRow = -1) {
    ASSERT_TRUE(test::WriteYuvClip(folder_, "clip", frames, nullptr, audioRow, 1, width, height));
    ASSERT_EQ(NxErrSuccess, engine_->OpenClip(FramePath(0), folder_));
  }

  // The machine with a recording of what leaves the output.
  [[nodiscard]] std::string RecordingMachine() const {
    std::string text = Machine();
    const std::string log = "log = ";
    return text.insert(text.find(log), "record = \"" + folder_ + "/out.mkv\"\n");
  }

  // Sample frames of the recording, all channels, from the first picture on.
  std::vector<int32_t> RecordedSound(int64_t samples, uint32_t* channels) {
    engine_.reset();
    machine_.reset();  // completes the file
    std::string error;
    const auto reader = MediaReader::Open(folder_ + "/out.mkv", 48000, &error);
    EXPECT_NE(nullptr, reader) << error;
    if (reader == nullptr) return {};
    *channels = reader->Info().soundChannels;
    std::vector<int32_t> sound(static_cast<size_t>(samples) * *channels);
    EXPECT_EQ(samples, reader->NextSound(sound.data(), samples));
    return sound;
  }
};

TEST_F(PlaybackFormatsTest, FourHundredEightyLinesGetBlackLinesAboveAndBelow) {
  ASSERT_NO_FATAL_FAILURE(Begin("", "720x480 @ 29.97i"));
  ASSERT_NO_FATAL_FAILURE(OpenRaster(8, 720, 480));
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  EXPECT_EQ(Count(0, 7), FramesOut());
  constexpr size_t kLine = 720 * 2;
  for (const test::LogLine& line : FrameLines()) {
    std::vector<uint8_t> frame(486 * kLine);
    for (size_t i = 0; i < frame.size(); ++i) frame[i] = i % 2 == 0 ? 0x80 : 0x10;
    const auto picture = test::Noise(480 * kLine, static_cast<uint32_t>(line.user + 1));
    std::copy(picture.begin(), picture.end(), frame.begin() + 4 * kLine);
    EXPECT_EQ(Md5Of(frame.data(), frame.size()), line.md5) << line.user;
  }
}

TEST_F(PlaybackFormatsTest, AnotherRasterIsScaledToTheOutput) {
  ASSERT_NO_FATAL_FAILURE(Begin("", "720x576 @ 25.00i"));
  ASSERT_NO_FATAL_FAILURE(OpenRaster(6, 720, 486));
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  const std::vector<test::LogLine> lines = FrameLines();
  ASSERT_EQ(6U, lines.size());
  EXPECT_EQ(Count(0, 5), FramesOut());
  EXPECT_EQ(0, engine_->FramesLost());
  for (size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ("bgrA", lines[i].fourcc);
    if (i > 0) {
      EXPECT_NE(lines[i - 1].md5, lines[i].md5);
    }
  }
}

// 48-bit pixels on channel 2 leave this board half of its slots, whoever has set them.
TEST_F(PlaybackFormatsTest, PlaysInTheSlotsThatTheOtherChannelLeaves) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_TRUE(engine_->Session().SetFrameBufferFormat(RQD5Channel2, FrameBuffer48BitRgb));
  ASSERT_NO_FATAL_FAILURE(OpenNoise(20));
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  EXPECT_EQ(Count(0, 19), FramesOut());
}

TEST_F(PlaybackFormatsTest, ABoardWithoutRgbMemoryGetsFourTwoTwo) {
  ASSERT_NO_FATAL_FAILURE(Begin(Machine("", "Maple"), "720x576 @ 25.00i"));
  ASSERT_NO_FATAL_FAILURE(OpenRaster(6, 720, 486));
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  EXPECT_EQ(Count(0, 5), FramesOut());
  for (const test::LogLine& line : FrameLines()) EXPECT_EQ("yuy2", line.fourcc);
}

TEST_F(PlaybackFormatsTest, EachFrameGoesTwiceWhereTheCardRunsAtTwiceTheRate) {
  ASSERT_NO_FATAL_FAILURE(Begin("", "1280x720 @ 25.00p"));
  ASSERT_NO_FATAL_FAILURE(OpenRaster(8, 1280, 720, 0));
  ASSERT_NO_FATAL_FAILURE(PlayWithoutRepeat(1));
  std::vector<int32_t> out = FramesOut();
  ASSERT_GE(out.size(), 15U);
  out.resize(15);  // the play ends when the last frame is on the output for the first time
  EXPECT_EQ((std::vector<int32_t>{0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7}), out);
  EXPECT_EQ(8, engine_->FramesPlayed());
  EXPECT_EQ(0U, engine_->FramesDropped());
  EXPECT_EQ("0", FrameLines()[0].audio);
  EXPECT_EQ("1920", FrameLines()[2].audio);  // one frame of the clip
}

TEST_F(PlaybackFormatsTest, FramesGoTwiceAndThriceInTurnAtTwentyFour) {
  ASSERT_NO_FATAL_FAILURE(Begin("", "1280x720 @ 24.00p"));
  ASSERT_NO_FATAL_FAILURE(OpenRaster(8, 1280, 720));
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  std::vector<int32_t> out = FramesOut();
  ASSERT_GE(out.size(), 18U);
  out.resize(18);
  EXPECT_EQ((std::vector<int32_t>{0, 0, 1, 1, 1, 2, 2, 3, 3, 3, 4, 4, 5, 5, 5, 6, 6, 7}), out);
  EXPECT_EQ(8, engine_->FramesPlayed());
}

TEST_F(PlaybackFormatsTest, DropFrameTimecodeIsMarked) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenRaster(6, 720, 486));
  ASSERT_EQ(NxErrSuccess, engine_->SetTimeBaseDisplay(2));
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  EXPECT_EQ("00;00;00;05", FrameLines()[5].rp188);
}

TEST_F(PlaybackFormatsTest, SoundLeavesSampleForSampleWithTheFirstPicture) {
  ASSERT_NO_FATAL_FAILURE(Begin(RecordingMachine()));
  ASSERT_NO_FATAL_FAILURE(OpenRaster(20, 720, 486, 4));  // 16-bit stereo
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  constexpr int64_t kSamples = 1602 * 10;
  uint32_t channels = 0;
  const std::vector<int32_t> sound = RecordedSound(kSamples, &channels);
  ASSERT_GE(channels, 2U);
  std::vector<uint8_t> file;
  for (int block = 0; block < 10; ++block) {
    const auto noise = test::Noise(4 * 1602, static_cast<uint32_t>(1000 + block));
    file.insert(file.end(), noise.begin(), noise.end());
  }
  for (size_t i = 0; i < kSamples; ++i) {
    for (size_t channel = 0; channel < 2; ++channel) {
      const size_t at = (i * 2 + channel) * 2;
      const auto wanted =
          static_cast<int32_t>(uint32_t{file[at]} << 16 | uint32_t{file[at + 1]} << 24);
      ASSERT_EQ(wanted, sound[i * channels + channel]) << "sample " << i << " of " << channel;
    }
    if (channels > 2) {
      ASSERT_EQ(0, sound[i * channels + 2]) << i;
    }
  }
}

TEST_F(PlaybackFormatsTest, AnotherSampleRateIsSilentWithoutAnError) {
  ASSERT_NO_FATAL_FAILURE(Begin(RecordingMachine()));
  ASSERT_NO_FATAL_FAILURE(OpenRaster(20, 720, 486, 8));  // 96 kHz mono
  EXPECT_TRUE(engine_->HasAudio());
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  EXPECT_EQ(Count(0, 19), FramesOut());
  uint32_t channels = 0;
  const std::vector<int32_t> sound = RecordedSound(1602 * 5, &channels);
  EXPECT_TRUE(std::all_of(sound.begin(), sound.end(), [](int32_t s) { return s == 0; }));
}

TEST_F(PlaybackFormatsTest, BarsCarryTheTone) {
  ASSERT_NO_FATAL_FAILURE(Begin(RecordingMachine()));
  ASSERT_NO_FATAL_FAILURE(OpenRaster(5, 720, 486, 0));
  ASSERT_EQ(NxErrSuccess, engine_->SetBars(true, 1));
  ASSERT_EQ(NxErrSuccess, engine_->SetToneLevel(50));
  ASSERT_EQ(NxErrSuccess, engine_->SetRangeType(1));
  ASSERT_EQ(NxErrSuccess, engine_->SetOutPoint(12));
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1));
  constexpr size_t kSamples = 4800;
  uint32_t channels = 0;
  const std::vector<int32_t> sound = RecordedSound(kSamples, &channels);
  ASSERT_GE(channels, 2U);
  EXPECT_EQ(0, sound[0]);
  EXPECT_NEAR(1073741824.0, sound[12 * channels], 256);  // a quarter of 48 samples on
  EXPECT_NEAR(-1073741824.0, sound[(48 * 90 + 36) * channels + 1], 256);
}

// Keeps what it is shown.
class Screen : public PictureSink {
 public:
  struct Shown {
    std::string md5;
    int32_t width;
    int32_t height;
    FourCCCode fourcc;
    int32_t bottomUp;
    NXVideoFrame frame;  // its picture is gone
  };
  bool Begin(int32_t width, int32_t height) override {
    begun.push_back({width, height});
    return true;
  }
  void Show(const NXVideoFrame& frame) override {
    const size_t bytes = static_cast<size_t>(frame.rowBytes) * static_cast<size_t>(frame.height);
    shown.push_back({Md5Of(frame.picture, bytes), frame.width, frame.height, frame.fourcc,
                     frame.bottomUp, frame});
  }
  void End() override { ++ends; }

  std::vector<std::pair<int32_t, int32_t>> begun;
  std::vector<Shown> shown;
  int ends = 0;
};

TEST_F(PlaybackFormatsTest, TheDesktopShowsEachPictureOnceInOrder) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenRaster(20, 720, 486, 0));
  ASSERT_EQ(NxErrSuccess, engine_->SetDisplayToDesktop(2));
  ASSERT_EQ(NxErrSuccess, engine_->SetDisplaySpeed(0));
  const test::SmallRing ring;
  Screen screen;
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1, &screen));
  EXPECT_EQ((std::vector<std::pair<int32_t, int32_t>>{{720, 486}}), screen.begun);
  EXPECT_EQ(1, screen.ends);
  // The last may be out before they have been shown: as many as the ring holds.
  ASSERT_GE(screen.shown.size(), 20U - test::SmallRing::kSlots);
  for (size_t i = 0; i < screen.shown.size(); ++i) {
    EXPECT_EQ(HashOf(static_cast<int>(i)), screen.shown[i].md5) << i;
    EXPECT_EQ(FourCC("2vuy"), screen.shown[i].fourcc);
    EXPECT_EQ(0, screen.shown[i].bottomUp);
  }
}

TEST_F(PlaybackFormatsTest, TheDesktopGetsPlaceZoomAndTheShapeOfPixels) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenRaster(8, 720, 486, 0));
  const test::SmallRing ring;
  ASSERT_EQ(NxErrSuccess, engine_->SetDisplayToDesktop(2));
  EXPECT_EQ(NxErrFailure, engine_->SetDisplayZoom(30, 30));  // the display size sets it
  const struct {
    uint32_t size;
    float zoomX, zoomY;
    int32_t x, y;
  } kRows[] = {{8, 1.25F, 0.5F, 7, -9}, {5, 2, 2, 7, -9}, {0, 0, 0, 0, 0}};
  for (const auto& row : kRows) {
    ASSERT_EQ(NxErrSuccess, engine_->SetDisplayOrigin(7, -9));
    ASSERT_EQ(NxErrSuccess, engine_->SetDisplaySize(row.size));
    if (row.size == 8) {
      ASSERT_EQ(NxErrSuccess, engine_->SetDisplayZoom(125, 50));
    }
    Screen screen;
    ASSERT_NO_FATAL_FAILURE(PlayToEnd(1, &screen));
    ASSERT_GE(screen.shown.size(), 1U);
    for (const Screen::Shown& shown : screen.shown) {
      EXPECT_EQ(row.zoomX, shown.frame.zoomX);
      EXPECT_EQ(row.zoomY, shown.frame.zoomY);
      EXPECT_EQ(row.x, shown.frame.originX);
      EXPECT_EQ(row.y, shown.frame.originY);
      EXPECT_EQ(10, shown.frame.aspectX);
      EXPECT_EQ(11, shown.frame.aspectY);
      EXPECT_EQ(4, shown.frame.modeA);
      EXPECT_EQ(4, shown.frame.modeB);
      EXPECT_EQ(1, shown.frame.fields.flagA);
    }
  }
}

TEST_F(PlaybackFormatsTest, HalfDisplaySpeedShowsEverySecondPicture) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenRaster(16, 720, 486));
  ASSERT_EQ(NxErrSuccess, engine_->SetDisplayToDesktop(3));
  ASSERT_EQ(NxErrSuccess, engine_->SetDisplaySpeed(1));
  const test::SmallRing ring;
  Screen screen;
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1, &screen));
  ASSERT_GE(screen.shown.size(), (16U - test::SmallRing::kSlots) / 2);
  for (size_t i = 0; i < screen.shown.size(); ++i) {
    EXPECT_EQ(HashOf(static_cast<int>(2 * i)), screen.shown[i].md5) << i;
  }
}

TEST_F(PlaybackFormatsTest, WithThePreviewOffOneBlackPictureIsShown) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenRaster(10, 720, 486));
  ASSERT_EQ(NxErrSuccess, engine_->SetDisplayToDesktop(0));
  const test::SmallRing ring;
  Screen screen;
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1, &screen));
  ASSERT_EQ(1U, screen.shown.size());
  EXPECT_EQ(BlackHash(), screen.shown[0].md5);
}

TEST_F(PlaybackFormatsTest, ASinkThatShowsNothingDoesNotStallThePlay) {
  class Refusing : public Screen {
    bool Begin(int32_t, int32_t) override { return false; }
  };
  ASSERT_NO_FATAL_FAILURE(Begin());
  ASSERT_NO_FATAL_FAILURE(OpenRaster(25, 720, 486));
  Refusing screen;
  ASSERT_NO_FATAL_FAILURE(PlayToEnd(1, &screen));
  EXPECT_EQ(Count(0, 24), FramesOut());
  EXPECT_TRUE(screen.shown.empty());
  EXPECT_EQ(0, screen.ends);
}

}  // namespace
}  // namespace morvane
