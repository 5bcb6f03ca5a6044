#include "capture/capture_engine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "base/byte_order.h"
#include "base/page_memory.h"
#include "capture/engine_rig.h"
#include "processing/picture_sink.h"
#include "processing/records.h"

// Whole jobs with real threads against the simulated card.
namespace morvane {
namespace {

using test::BarsMachine;
using test::BurnedInNumber;
using test::kNtsc;
using test::kNtscBytes;
using test::Listing;
using test::ReadWhole;

constexpr char kEmbedded[] = "Embedded  LTC (RP188)";
constexpr size_t kWavHead = 44;

class CaptureEngineTest : public test::EngineRig {
 protected:
  // All frames of the clip are there and follow each other. Returns: the first one's number.
  uint32_t ExpectUnbrokenFrames(int frames, const std::string& clip = "clip") {
    uint32_t first = 0;
    for (int frame = 0; frame < frames; ++frame) {
      const std::vector<uint8_t> bytes = ReadWhole(FramePath(frame, clip));
      EXPECT_EQ(kNtscBytes, bytes.size()) << frame;
      if (bytes.size() != kNtscBytes) return 0;
      const uint32_t number = BurnedInNumber(bytes, 720);
      if (frame == 0) first = number;
      EXPECT_EQ(first + static_cast<uint32_t>(frame), number) << "frame " << frame;
    }
    EXPECT_FALSE(std::filesystem::exists(FramePath(frames, clip)));
    return first;
  }
};

TEST_F(CaptureEngineTest, ADurationIsThatManyFramesWithTheirSound) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  ASSERT_NO_FATAL_FAILURE(Run(30));
  EXPECT_EQ(30, engine_->FramesCaptured());
  EXPECT_EQ(0U, engine_->FramesDropped());
  EXPECT_EQ(0, engine_->WritesFailed());
  ExpectUnbrokenFrames(30);
  EXPECT_EQ(FramePath(0), engine_->ClipPath());
  ASSERT_EQ(1U, engine_->AudioPaths().size());
  EXPECT_EQ(folder_ + "/clip.wav", engine_->AudioPaths()[0]);
  const std::vector<uint8_t> wav = ReadWhole(folder_ + "/clip.wav");
  ASSERT_GE(wav.size(), kWavHead);
  // Six cycles of 1602, 1601, 1602, 1601, 1602, beginning anywhere in the cycle.
  EXPECT_EQ(6U * 8008 * 2, LoadLe32(&wav[40]));
  EXPECT_TRUE(std::filesystem::exists(folder_ + "/clip/clip_000000.vyr"));
  EXPECT_EQ("00:00:01:00  ( 30 )", engine_->FramesCapturedText());
  EXPECT_EQ("00:00:00:00  ( 0 )", engine_->FramesDroppedText());
}

// 48-bit pixels on channel 2 leave this board half of its slots, whoever has set them.
TEST_F(CaptureEngineTest, CapturesInTheSlotsThatTheOtherChannelLeaves) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  ASSERT_TRUE(engine_->Session().SetFrameBufferFormat(RQD5Channel2, FrameBuffer48BitRgb));
  ASSERT_NO_FATAL_FAILURE(Run(20));
  EXPECT_EQ(20, engine_->FramesCaptured());
  ExpectUnbrokenFrames(20);
}

TEST_F(CaptureEngineTest, CaptureNowRunsUntilStopAndKeepsWhatIsInTheRing) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  ASSERT_NO_FATAL_FAILURE(Launch());
  EXPECT_TRUE(engine_->IsCapturing());
  EXPECT_EQ("Capturing...", engine_->StatusText());
  ASSERT_NO_FATAL_FAILURE(PreviewUntil([&] { return engine_->FramesCaptured() >= 12; }));
  EXPECT_FALSE(engine_->HasEnded());
  engine_->Stop();
  EXPECT_FALSE(engine_->IsCapturing());
  EXPECT_GE(engine_->FramesCaptured(), 12);
  ExpectUnbrokenFrames(engine_->FramesCaptured());
  engine_->Stop();  // safe to repeat
}

TEST_F(CaptureEngineTest, EachJobHasTheNextName) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  ASSERT_EQ(NxErrSuccess, engine_->SetClipName("reel 09"));
  for (const char* clip : {"reel 09", "reel 10"}) {
    ASSERT_NO_FATAL_FAILURE(Run(3));
    ExpectUnbrokenFrames(3, clip);
  }
  EXPECT_EQ("reel 11", engine_->ClipNameText());
}

TEST_F(CaptureEngineTest, EmbeddedTimecodeGoesWithItsPicture) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine("timecode = \"10:00:00:00\"\n"), kNtsc, kEmbedded));
  ASSERT_NO_FATAL_FAILURE(Run(5));
  const uint32_t first = ExpectUnbrokenFrames(5);
  char text[32];
  std::snprintf(text, sizeof text, "10:00:%02u:%02u", first / 30, first % 30);
  EXPECT_EQ(text, engine_->FirstTimecode());
}

TEST_F(CaptureEngineTest, NothingIsWrittenBeforeTimecodeComes) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine("timecode = \"none\"\n"), kNtsc, kEmbedded));
  ASSERT_NO_FATAL_FAILURE(SetLength(5));
  ASSERT_NO_FATAL_FAILURE(Launch());
  ASSERT_NO_FATAL_FAILURE(PreviewUntil([&] { return engine_->AwaitsTimecode(); }));
  EXPECT_EQ(0, engine_->FramesCaptured());
  engine_->Stop();
  EXPECT_TRUE(Listing(folder_).empty());
  EXPECT_EQ("", engine_->FirstTimecode());
  EXPECT_EQ("", engine_->ClipPath());
}

TEST_F(CaptureEngineTest, WithoutATapeMachineTimecodeIsZeros) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine(), kNtsc, "RS422"));
  ASSERT_NO_FATAL_FAILURE(Run(2));
  EXPECT_EQ("00:00:00:00", engine_->FirstTimecode());
}

TEST_F(CaptureEngineTest, VideoOnlyHasNoSound) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  ASSERT_NO_FATAL_FAILURE(SetStyle("Video Only"));
  ASSERT_NO_FATAL_FAILURE(Run(5));
  ExpectUnbrokenFrames(5);
  EXPECT_FALSE(std::filesystem::exists(folder_ + "/clip.wav"));
  EXPECT_TRUE(engine_->AudioPaths().empty());
}

TEST_F(CaptureEngineTest, AudioOnlyHasNoPicturesAndNoFolder) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  ASSERT_NO_FATAL_FAILURE(SetStyle("Audio Only"));
  ASSERT_NO_FATAL_FAILURE(Run(5));
  EXPECT_EQ(std::vector<std::string>{"clip.wav"}, Listing(folder_));
  EXPECT_EQ("", engine_->ClipPath());
  EXPECT_EQ(5, engine_->FramesCaptured());
  const std::vector<uint8_t> wav = ReadWhole(folder_ + "/clip.wav");
  ASSERT_GE(wav.size(), kWavHead);
  EXPECT_EQ(8008U * 2, LoadLe32(&wav[40]));
}

TEST_F(CaptureEngineTest, SoundIsContinuousAcrossFramesInEachTrack) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  ASSERT_EQ(NxErrSuccess, engine_->SetAudioSubtype(2));  // 32 bits, mono
  ASSERT_EQ(NxErrSuccess, engine_->SetAudioTracks(1));   // two of them
  ASSERT_NO_FATAL_FAILURE(Run(10));
  ASSERT_EQ(2U, engine_->AudioPaths().size());
  EXPECT_EQ(folder_ + "/clip_A2.wav", engine_->AudioPaths()[1]);
  // Channel 2 of the bars counts samples in its upper 24 bits.
  const std::vector<uint8_t> wav = ReadWhole(folder_ + "/clip_A2.wav");
  const size_t head = 68;
  ASSERT_GE(wav.size(), head + 16016 * 4);
  ASSERT_EQ(16016U * 4, LoadLe32(&wav[64]));
  const uint32_t first = LoadLe32(&wav[head]);
  for (uint32_t sample = 0; sample < 16016; ++sample) {
    ASSERT_EQ(first + (sample << 8), LoadLe32(&wav[head + 4 * sample])) << sample;
  }
}

TEST_F(CaptureEngineTest, The480LinePictureBeginsFourLinesIntoTheCardsFrame) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine(), "720x480 @ 29.97i"));
  ASSERT_NO_FATAL_FAILURE(Run(3));
  const std::vector<uint8_t> frame = ReadWhole(FramePath(1));
  ASSERT_EQ(720U * 480 * 2, frame.size());
  // The number's 16 lines lose their first four.
  const uint32_t number = BurnedInNumber(frame, 720, 0);
  EXPECT_EQ(number, BurnedInNumber(frame, 720, 11));
  EXPECT_EQ(number + 1, BurnedInNumber(ReadWhole(FramePath(2)), 720, 11));
  const std::vector<uint8_t> line11(&frame[11 * 1440], &frame[12 * 1440]);
  const std::vector<uint8_t> line12(&frame[12 * 1440], &frame[13 * 1440]);
  EXPECT_NE(line11, line12);
}

TEST_F(CaptureEngineTest, AStartNumberNamesTheFirstFrame) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  ASSERT_EQ(NxErrSuccess, engine_->SetSequenceOffset("98"));
  ASSERT_EQ(NxErrSuccess, engine_->SetFolderPerSequence(false));
  ASSERT_NO_FATAL_FAILURE(Run(4));
  EXPECT_EQ((std::vector<std::string>{"clip.wav", "clip_0098.vyr", "clip_0098.yuv", "clip_0099.yuv",
                                      "clip_0100.yuv", "clip_0101.yuv"}),
            Listing(folder_));
}

TEST_F(CaptureEngineTest, APartialRingIsEnough) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  NxSetPageLimit(12 * 1048576);
  ASSERT_NO_FATAL_FAILURE(Run(12));
  NxSetPageLimit(SIZE_MAX);
  ExpectUnbrokenFrames(12);
}

TEST_F(CaptureEngineTest, TheDesktopShowsFramesOfTheJobWhereAskedFor) {
  class Sink : public PictureSink {
   public:
    bool Begin(int32_t, int32_t) override { return true; }
    void Show(const NXVideoFrame& frame) override {
      ++shown;
      EXPECT_EQ(720, frame.width);
      EXPECT_EQ(486, frame.height);
      EXPECT_EQ(1440, frame.rowBytes);
      EXPECT_EQ(FourCC("2vuy"), frame.fourcc);
      EXPECT_EQ(10, frame.aspectX);
      EXPECT_EQ(11, frame.aspectY);
      EXPECT_EQ(0.5F, frame.zoomX);
      EXPECT_EQ(0.5F, frame.zoomY);
      EXPECT_EQ(-3, frame.originX);
      EXPECT_EQ(12, frame.originY);
      EXPECT_EQ(4, frame.modeA);
      EXPECT_EQ(1, frame.fields.flagA);
      std::vector<uint8_t> pixels(frame.picture, frame.picture + kNtscBytes);
      const uint32_t number = BurnedInNumber(pixels, 720);
      EXPECT_LT(last, number);
      last = number;
    }
    void End() override {}
    int shown = 0;
    uint32_t last = 0;
  };
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  ASSERT_EQ(NxErrSuccess, engine_->SetDisplaySize(2));
  ASSERT_EQ(NxErrSuccess, engine_->SetDisplayOrigin(-3, 12));
  Sink sink;
  for (const int32_t mode : {1, 2}) {  // while idle, while capturing
    ASSERT_EQ(NxErrSuccess, engine_->SetDisplayToDesktop(mode));
    // More than the ring takes, so that the job waits for the preview however late that is.
    ASSERT_NO_FATAL_FAILURE(SetLength(40));
    ASSERT_NO_FATAL_FAILURE(Launch());
    while (!engine_->HasEnded()) {
      engine_->PreviewRound(&sink);
      NxSleep(1);
    }
    engine_->Stop();
    if (mode == 1) {
      EXPECT_EQ(0, sink.shown);
    }
  }
  EXPECT_GT(sink.shown, 0);
  EXPECT_LE(sink.shown, 40);
}

TEST_F(CaptureEngineTest, LiveInputIsOnWhenNoJobRuns) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  EXPECT_TRUE(engine_->HasLiveInput());
  ASSERT_EQ(NxErrSuccess, engine_->Prepare());
  EXPECT_FALSE(engine_->HasLiveInput());
  EXPECT_EQ("Capture Queued", engine_->StatusText());
  engine_->Stop();
  EXPECT_TRUE(engine_->HasLiveInput());
  ASSERT_EQ(NxErrSuccess, engine_->Deactivate());
  EXPECT_FALSE(engine_->HasLiveInput());
  EXPECT_EQ("Offline", engine_->StatusText());
}

TEST_F(CaptureEngineTest, APreparedJobTellsWhatItTakes) {
  ASSERT_NO_FATAL_FAILURE(Begin(BarsMachine()));
  ASSERT_EQ(NxErrSuccess, engine_->Prepare());
  const size_t onDisk = (kNtscBytes + 511) / 512 * 512;
  EXPECT_NEAR(onDisk * 30000.0 / 1001, engine_->PictureBytesPerSecond(), 1);
  EXPECT_EQ(96000U, engine_->SoundBytesPerSecond());
}

}  // namespace
}  // namespace morvane
