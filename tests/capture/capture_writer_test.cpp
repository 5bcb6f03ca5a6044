#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include "base/byte_order.h"
#include "capture/capture_job.h"
#include "capture/recording_file.h"
#include "session/card2.h"

// The writer thread by itself: a ring that the test fills, a file object that keeps what comes.
namespace morvane {
namespace {

using test::RecordingFile;

constexpr int32_t kWidth = 8;
constexpr int32_t kHeight = 5;
constexpr int32_t kPitch = 16;
constexpr size_t kPictureBytes = static_cast<size_t>(kPitch) * kHeight;
constexpr size_t kHeader = 128;
constexpr int kChannels = 8;

class CaptureWriter : public ::testing::Test {
 protected:
  CaptureWriter() {
    job_.file = file_;
    job_.videoOn = true;
    job_.image.fourcc = FourCC("2vuy");
    job_.image.width = kWidth;
    job_.image.height = kHeight;
    job_.image.pitch = kPitch;
    job_.stamp.timeCodeType = 2;
    job_.stamp.tcScale = 30000;
    job_.stamp.tcRate = 1001;
    job_.track = {.cardChannels = kChannels, .channelsPerTrack = 1, .bitsPerSample = 16};
    EXPECT_EQ(32, job_.ring.Allocate(kHeader, kPictureBytes + 2 * kPitch));
    job_.Rewind();
    job_.capturing.Set(1);
  }

  // Byte `x` of line `line` of frame `frame`.
  static uint8_t Pixel(int frame, int line, int x) {
    return static_cast<uint8_t>(frame * 100 + line * 16 + x);
  }

  // Puts the next frame into the ring. A null timecode is one that is not valid.
  void Put(const char* timecode = "01:00:00:00", bool writeFrame = true) {
    const int slot = job_.ring.WriteSlot();
    FrameSlot& picture = job_.ring.Picture(slot);
    uint8_t* const pixels = picture.data + job_.ring.PictureOffset() + job_.padBytes;
    for (int line = 0; line < kHeight; ++line) {
      for (int x = 0; x < kPitch; ++x) pixels[line * kPitch + x] = Pixel(put_, line, x);
    }
    picture.bottomUp.Set(1);
    picture.timecodeValid = timecode != nullptr ? 1 : 0;
    picture.writeFrame = writeFrame ? 1 : 0;
    if (timecode != nullptr) std::memcpy(picture.timecode, timecode, 12);
    AudioSlot& sound = job_.ring.Sound(slot);
    sound.bytes = 2 * kChannels * 4;
    for (int i = 0; i < 2 * kChannels; ++i) {
      StoreLe32(sound.data + 4 * i, static_cast<uint32_t>(put_ << 24 | i << 16));
    }
    job_.ring.Put();
    ++put_;
  }

  // Runs the writer until it has ended, or has taken `frames` slots and is told to stop.
  void Run(int frames) {
    ASSERT_TRUE(job_.writer.Start(CaptureWriterRoutine, &job_, 1, kNxAllProcessors));
    while (job_.writer.Running() && job_.ring.ReadIndex() < frames) NxSleep(1);
    ASSERT_TRUE(job_.writer.Stop());
  }

  void ExpectFrame(const RecordingFile::Picture& picture, int frame) {
    ASSERT_EQ(kPictureBytes, picture.pixels.size());
    for (int line = 0; line < kHeight; ++line) {
      for (int x = 0; x < kPitch; ++x) {
        ASSERT_EQ(Pixel(frame, line, x), picture.pixels[static_cast<size_t>(line * kPitch + x)])
            << "line " << line << " byte " << x;
      }
    }
  }

  std::shared_ptr<RecordingFile> file_ = std::make_shared<RecordingFile>();
  CaptureJob job_;
  int put_ = 0;
};

TEST_F(CaptureWriter, WritesFramesInOrderWithTheirTimecode) {
  Put("01:00:00:00");
  Put("01:00:00:01");
  Put(nullptr);
  Run(3);
  ASSERT_EQ(3U, file_->pictures.size());
  for (int frame = 0; frame < 3; ++frame) ExpectFrame(file_->pictures[frame], frame);
  EXPECT_EQ(0x00000001U, file_->pictures[0].timeCode.timeCode);
  EXPECT_EQ(2U, file_->pictures[0].timeCode.flags);
  EXPECT_EQ(0x01000001U, file_->pictures[1].timeCode.timeCode);
  EXPECT_EQ(30000, static_cast<int32_t>(file_->pictures[1].timeCode.tcScale));
  // A later frame without timecode is written all the same.
  EXPECT_EQ(0U, file_->pictures[2].timeCode.flags);
  EXPECT_EQ(0U, file_->pictures[2].timeCode.timeCode);
  EXPECT_EQ(3, job_.framesDone.Get());
  EXPECT_EQ(kHeader, static_cast<size_t>(file_->pictures[0].headerRoom));
}

TEST_F(CaptureWriter, BeginsWithTheFirstFrameThatHasTimecode) {
  Put(nullptr);
  Put(nullptr);
  Put("10:11:12:13");
  Run(3);
  ASSERT_EQ(1U, file_->pictures.size());
  ExpectFrame(file_->pictures[0], 2);
  EXPECT_EQ(1, job_.framesDone.Get());
  EXPECT_STREQ("10:11:12:13", job_.firstTimecode);
}

TEST_F(CaptureWriter, CarriesTheDropFrameFlag) {
  job_.dropFrame.Set(1);
  Put("00;01;00;02");
  Run(1);
  ASSERT_EQ(1U, file_->pictures.size());
  EXPECT_EQ(1, file_->pictures[0].timeCode.dropFrame);
  EXPECT_EQ(0x02000100U, file_->pictures[0].timeCode.timeCode);
}

TEST_F(CaptureWriter, ThrowsAwayFramesThatAreNotToBeWrittenButCountsThem) {
  Put("01:00:00:00");
  Put("01:00:00:00", false);
  Put("01:00:00:01");
  Run(3);
  ASSERT_EQ(2U, file_->pictures.size());
  ExpectFrame(file_->pictures[1], 2);
  EXPECT_EQ(3, job_.framesDone.Get());
}

TEST_F(CaptureWriter, LatencyOfOneWritesEachPictureWithTheTimecodeBefore) {
  job_.frameLatency = 1;
  job_.framesToDo = 2;
  for (const char* text : {"01:00:00:00", "01:00:00:01", "01:00:00:02", "01:00:00:03"}) Put(text);
  Run(4);
  // The frame that fills the delay line is not written; the job ends when three are done.
  EXPECT_EQ(3, job_.framesDone.Get());
  ASSERT_EQ(2U, file_->pictures.size());
  ExpectFrame(file_->pictures[0], 1);
  EXPECT_EQ(0x00000001U, file_->pictures[0].timeCode.timeCode);
  ExpectFrame(file_->pictures[1], 2);
  EXPECT_EQ(0x01000001U, file_->pictures[1].timeCode.timeCode);
}

TEST_F(CaptureWriter, LatencyOfTwoSkipsTwoFrames) {
  job_.frameLatency = 2;
  for (const char* text : {"01:00:00:00", "01:00:00:01", "01:00:00:02", "01:00:00:03"}) Put(text);
  Run(4);
  ASSERT_EQ(2U, file_->pictures.size());
  ExpectFrame(file_->pictures[0], 2);
  EXPECT_EQ(0x00000001U, file_->pictures[0].timeCode.timeCode);
  ExpectFrame(file_->pictures[1], 3);
  EXPECT_EQ(0x01000001U, file_->pictures[1].timeCode.timeCode);
  // The delay line is full with the second frame.
  EXPECT_EQ(3, job_.framesDone.Get());
}

TEST_F(CaptureWriter, SoundIsNeverDelayed) {
  job_.frameLatency = 1;
  job_.audioOn = true;
  job_.tracks = 2;
  Put("01:00:00:00");
  Put("01:00:00:01");
  Run(2);
  ASSERT_EQ(4U, file_->sounds.size());
  EXPECT_EQ(0, file_->sounds[0].file);
  EXPECT_EQ(1, file_->sounds[1].file);
  EXPECT_EQ((std::vector<uint8_t>{1, 0, 9, 0}), file_->sounds[1].bytes);
  EXPECT_EQ(0x00000001U, file_->sounds[0].timeCode.timeCode);
  EXPECT_EQ((std::vector<uint8_t>{0, 1, 8, 1}), file_->sounds[2].bytes);
  EXPECT_EQ(0x01000001U, file_->sounds[2].timeCode.timeCode);
}

TEST_F(CaptureWriter, WithoutPicturesOnlySoundIsWritten) {
  job_.videoOn = false;
  job_.audioOn = true;
  job_.tracks = 1;
  Put();
  Run(1);
  EXPECT_TRUE(file_->pictures.empty());
  EXPECT_EQ(1U, file_->sounds.size());
  EXPECT_EQ(1, job_.framesDone.Get());
}

TEST_F(CaptureWriter, TurnsRowsOverWhereTheFileWantsThemBottomToTop) {
  job_.reverseRows = true;
  job_.padBytes = 2 * kPitch;
  Put();
  FrameSlot& slot = job_.ring.Picture(0);
  std::memset(slot.data + kHeader, 0xEE, 2 * kPitch);
  Run(1);
  ASSERT_EQ(1U, file_->pictures.size());
  for (int line = 0; line < kHeight; ++line) {
    for (int x = 0; x < kPitch; ++x) {
      ASSERT_EQ(Pixel(0, kHeight - 1 - line, x),
                file_->pictures[0].pixels[static_cast<size_t>(line * kPitch + x)]);
    }
  }
  EXPECT_EQ(0U, slot.bottomUp.Get());
  EXPECT_EQ(0xEE, slot.data[kHeader + 2 * kPitch - 1]) << "a line above the picture was turned";
  EXPECT_EQ(kHeader, static_cast<size_t>(file_->pictures[0].headerRoom));
}

TEST_F(CaptureWriter, LowersByOneLineAndKeepsLineZero) {
  job_.lowerByOneLine = true;
  Put();
  Run(1);
  ASSERT_EQ(1U, file_->pictures.size());
  for (int line = 0; line < kHeight; ++line) {
    EXPECT_EQ(Pixel(0, line == 0 ? 0 : line - 1, 3),
              file_->pictures[0].pixels[static_cast<size_t>(line * kPitch + 3)]);
  }
}

TEST_F(CaptureWriter, AFailedWriteIsCountedAndTheJobRunsOn) {
  file_->failPictureFrom = 1;
  file_->failPictureTo = 3;
  file_->failError = ENOSPC;
  for (int frame = 0; frame < 5; ++frame) Put();
  Run(5);
  EXPECT_EQ(3U, file_->pictures.size());
  EXPECT_EQ(2, job_.writesFailed.Get());
  EXPECT_EQ(ENOSPC, job_.firstError.Get());
  EXPECT_EQ(5, job_.framesDone.Get());
}

TEST_F(CaptureWriter, AFrameWhosePictureAndSoundFailCountsOnce) {
  job_.audioOn = true;
  job_.tracks = 8;
  file_->failPictureFrom = 0;
  file_->refuseSound = true;
  Put();
  Run(1);
  EXPECT_EQ(1, job_.writesFailed.Get());
  EXPECT_NE(0, job_.firstError.Get());
}

TEST_F(CaptureWriter, EndsAtItsLengthAndDoesNotDrain) {
  job_.framesToDo = 3;
  for (int frame = 0; frame < 10; ++frame) Put();
  Run(10);
  EXPECT_EQ(3U, file_->pictures.size());
  EXPECT_EQ(3, job_.ring.ReadIndex());
}

TEST_F(CaptureWriter, WithoutALengthTheRingIsDrainedAfterTheStop) {
  for (int frame = 0; frame < 20; ++frame) Put();
  ASSERT_TRUE(job_.writer.Start(CaptureWriterRoutine, &job_, 1, kNxAllProcessors));
  ASSERT_TRUE(job_.writer.Stop());
  EXPECT_EQ(20U, file_->pictures.size());
  EXPECT_EQ(20, job_.ring.ReadIndex());
}

TEST_F(CaptureWriter, AnAbortedJobEndsByItselfAndDoesNotDrain) {
  job_.abortOnDrop = true;
  job_.framesDropped.Set(1);
  for (int frame = 0; frame < 20; ++frame) Put();
  ASSERT_TRUE(job_.writer.Start(CaptureWriterRoutine, &job_, 1, kNxAllProcessors));
  while (job_.writer.Running()) NxSleep(1);
  EXPECT_EQ(1U, file_->pictures.size());
  EXPECT_TRUE(job_.writer.Stop());
}

TEST_F(CaptureWriter, QueuedWritesGiveASlotBackOnceItHasLanded) {
  job_.queuedWrites = true;
  job_.queuedWriteDepth = 8;
  for (int frame = 0; frame < 6; ++frame) Put();
  Run(6);
  EXPECT_EQ(6U, file_->pictures.size());
  EXPECT_EQ(6, job_.queuedCount.Get());
  EXPECT_EQ((std::vector<int32_t>{0, 1, 2, 3, 4, 5}), file_->checked);
}

TEST_F(CaptureWriter, QueuedWritesSurviveSkippedAndFailedFrames) {
  job_.queuedWrites = true;
  job_.queuedWriteDepth = 8;
  file_->failPictureFrom = 2;
  file_->failPictureTo = 3;
  Put(nullptr);
  Put("01:00:00:00");
  Put("01:00:00:00", false);
  Put("01:00:00:01");
  Put("01:00:00:02");
  Put("01:00:00:03");
  Run(6);
  EXPECT_EQ(3U, file_->pictures.size());
  EXPECT_EQ(6, job_.ring.ReadIndex());
}

}  // namespace
}  // namespace morvane
