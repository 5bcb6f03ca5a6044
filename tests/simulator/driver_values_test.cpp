// What the driver itself puts into its records: status, frame stamp, transfer status.
#include <gtest/gtest.h>

#include "simulator/port_client.h"
#include "simulator/simulated_driver.h"

namespace morvane {
namespace {

using test::ElmWithBars;
using test::FrameStepper;
using test::PortClient;

constexpr uint32_t kOut = 1;
constexpr uint32_t kIn = 1 | kACInput;

// 1080i 59.94 from the start of the machine. Boundary k lies at k * 1001 / 30000 s: in 100 ns at
// 333666, 667333, 1001000, 1334666, 1668333. 48 kHz have then passed 1601, 3203, 4804, 6406 and
// 8008 whole samples, which is where the audio clock stands: sample * 10000000 / 48000.
constexpr uint64_t kBoundary[] = {0, 333666, 667333, 1001000, 1334666, 1668333};
constexpr uint64_t kAudioClock[] = {0, 333541, 667291, 1000833, 1334583, 1668333};

class DriverValues : public ::testing::Test {
 protected:
  void Build(uint32_t identity) {
    card_.reset();
    MachineDescription machine = ElmWithBars();
    machine.cards[0].identity = identity;
    driver_ = std::make_unique<SimulatedDriver>(machine);
    card_ = std::make_unique<PortClient>(driver_.get(), BOARDTYPE_OEM2K);
    ASSERT_TRUE(card_->IsOpen());
    card_->SetFormat(2);
    card_->SetFrameBufferFormat(1, FrameBuffer8BitUyvy);
    card_->Write(1, 1, 0x8000, 15);         // the first input
    card_->Write(24, 1u << 12 | 1u << 16);  // the audio ring runs, eight channels
  }
  void SetUp() override { Build(BoardElm); }

  bool Init(uint32_t channelSpec, bool option0, bool option1, bool option2) {
    AutoCirculateControlRecord record = {};
    record.header = card_->Header(PropertyAutoCirculateControl, kPropertySet);
    record.command = ACInit;
    record.channelSpec = channelSpec;
    record.value2 = 28;
    record.value3 = 1;
    record.flags[0] = option0 ? 1 : 0;
    record.flags[1] = option1 ? 1 : 0;
    record.flags[2] = option2 ? 1 : 0;
    return card_->Request(&record, sizeof record);
  }
  RQD5AutoCirculateTransferStatus Transfer(uint32_t channelSpec, uint32_t user,
                                           uint32_t audioCapacity = 0) {
    PortClient::Frame frame;
    frame.channelSpec = channelSpec;
    frame.video.assign(64, 1);
    frame.audio.resize(audioCapacity);
    frame.user = user;
    frame.rp188 = {0x10000, 0x05060509, 0x01020304};
    EXPECT_TRUE(card_->Transfer(&frame));
    return frame.status;
  }

  ManualClock clock_;
  FrameStepper step_{&clock_, 30000, 1001};
  FrameStepper halfStep_{&clock_, 60000, 1001};
  std::unique_ptr<SimulatedDriver> driver_;
  std::unique_ptr<PortClient> card_;
};

struct WantedStatus {
  uint32_t state, active;
  uint64_t start, boundary, audioStart, audioNow;
  uint32_t processed, dropped, level;
};

void ExpectStatus(const RQD5AutoCirculateStatus& status, const WantedStatus& wanted) {
  EXPECT_EQ(status.state, wanted.state);
  EXPECT_EQ(status.activeFrame, wanted.active);
  EXPECT_EQ(status.startTime, wanted.start);
  EXPECT_EQ(status.boundaryTime, wanted.boundary);
  EXPECT_EQ(status.audioClockStart, wanted.audioStart);
  EXPECT_EQ(status.audioClockNow, wanted.audioNow);
  EXPECT_EQ(status.framesProcessed, wanted.processed);
  EXPECT_EQ(status.framesDropped, wanted.dropped);
  EXPECT_EQ(status.bufferLevel, wanted.level);
}

TEST_F(DriverValues, StatusOfAnOutputAtFiveBoundaries) {
  ASSERT_TRUE(Init(kOut, true, false, true));
  for (uint32_t i = 0; i < 3; ++i) Transfer(kOut, 100 + i);
  ExpectStatus(card_->Status(kOut), {ACStateInitialised, kACNoFrame, 0, 0, 0, 0, 0, 0, 3});
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  const WantedStatus kWanted[] = {
      {ACStateRunning, 0, kBoundary[1], kBoundary[1], kAudioClock[1], kAudioClock[1], 1, 0, 2},
      {ACStateRunning, 1, kBoundary[1], kBoundary[2], kAudioClock[1], kAudioClock[2], 2, 0, 1},
      {ACStateRunning, 2, kBoundary[1], kBoundary[3], kAudioClock[1], kAudioClock[3], 3, 0, 0},
      {ACStateRunning, 2, kBoundary[1], kBoundary[4], kAudioClock[1], kAudioClock[4], 3, 1, 0},
      {ACStateRunning, 2, kBoundary[1], kBoundary[5], kAudioClock[1], kAudioClock[5], 3, 2, 0},
  };
  for (const WantedStatus& wanted : kWanted) {
    SCOPED_TRACE(wanted.boundary);
    step_.Step();
    ExpectStatus(card_->Status(kOut), wanted);
  }
  const RQD5AutoCirculateStatus status = card_->Status(kOut);
  EXPECT_EQ(status.channelSpec, kOut);
  EXPECT_EQ(status.startFrame, 0u);
  EXPECT_EQ(status.endFrame, 28u);
  EXPECT_EQ(status.withAudio, 1);
  EXPECT_EQ(status.option0, 1);
  EXPECT_EQ(status.option1, 0);
  EXPECT_EQ(status.option2, 1);
  EXPECT_EQ(status.timecodePresent, 1);
  EXPECT_EQ(status.flag6, 0);
}

TEST_F(DriverValues, EachOptionHasAFlagOfItsOwn) {
  for (int option = 0; option < 3; ++option) {
    ASSERT_TRUE(Init(kOut, option == 0, option == 1, option == 2));
    const RQD5AutoCirculateStatus status = card_->Status(kOut);
    EXPECT_EQ(status.option0, option == 0 ? 1 : 0);
    EXPECT_EQ(status.option1, option == 1 ? 1 : 0);
    EXPECT_EQ(status.option2, option == 2 ? 1 : 0);
    EXPECT_EQ(status.timecodePresent, 0);
  }
}

TEST_F(DriverValues, StampsOfAnOutput) {
  ASSERT_TRUE(Init(kOut, true, false, false));
  for (uint32_t i = 0; i < 3; ++i) Transfer(kOut, 100 + i);
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  halfStep_.Step(11);  // half a frame behind the fifth boundary
  const struct {
    uint32_t processed;
    uint64_t boundary, audioClock;
    uint32_t audioOutStart, audioOutStop;
  } kWanted[] = {
      // Bytes of 32 a sample; the frame on the output has not ended yet.
      {1, kBoundary[1], kAudioClock[1], 1601 * 32, 3203 * 32},
      {2, kBoundary[2], kAudioClock[2], 3203 * 32, 4804 * 32},
      {3, kBoundary[3], kAudioClock[3], 4804 * 32, 0},
  };
  for (uint32_t frame = 0; frame < 3; ++frame) {
    SCOPED_TRACE(frame);
    RQD5FrameStamp stamp = {};
    ASSERT_TRUE(card_->Stamp(kOut, frame, &stamp));
    EXPECT_EQ(stamp.channelSpec, kOut);
    EXPECT_EQ(stamp.boundaryTime, kWanted[frame].boundary);
    EXPECT_EQ(stamp.frameNumber, frame);
    EXPECT_EQ(stamp.framesProcessed, kWanted[frame].processed);
    EXPECT_EQ(stamp.audioClock, kWanted[frame].audioClock);
    EXPECT_EQ(stamp.audioInStart, 0u);
    EXPECT_EQ(stamp.audioInStop, 0u);
    EXPECT_EQ(stamp.audioOutStart, kWanted[frame].audioOutStart);
    EXPECT_EQ(stamp.audioOutStop, kWanted[frame].audioOutStop);
    EXPECT_EQ(stamp.audioBytes, 0u);
    EXPECT_EQ(stamp.audioStartChannel, 0u);
    EXPECT_EQ(stamp.userData, 100 + frame);
    EXPECT_EQ(stamp.rp188.flags, 0x10000u);
    EXPECT_EQ(stamp.rp188.low, 0x05060509u);
    EXPECT_EQ(stamp.rp188.high, 0x01020304u);
    EXPECT_EQ(stamp.externalLtc.flags | stamp.externalLtc.low | stamp.externalLtc.high, 0u);
    EXPECT_EQ(stamp.line, 563u);  // of 1125, counted from 1
    EXPECT_EQ(stamp.now, 1835166u);
    EXPECT_EQ(stamp.framesDropped, 2u);
    EXPECT_EQ(stamp.bufferLevel, 0u);
  }
  // The next frame ends the sound of the one before it: at the sixth boundary, after 9609 samples.
  const RQD5AutoCirculateTransferStatus sent = Transfer(kOut, 103);
  EXPECT_EQ(sent.channelSpec, kOut);
  EXPECT_EQ(sent.state, uint32_t{ACStateRunning});
  EXPECT_EQ(sent.transferFrame, 3);
  EXPECT_EQ(sent.bufferLevel, 1u);
  EXPECT_EQ(sent.framesProcessed, 3u);
  EXPECT_EQ(sent.framesDropped, 2u);
  EXPECT_EQ(sent.audioBytes, 0u);
  EXPECT_EQ(sent.audioStartChannel, 0u);
  EXPECT_EQ(sent.stamp.frameNumber, 3u);
  EXPECT_EQ(sent.stamp.framesProcessed, 0u);  // not shown yet
  EXPECT_EQ(sent.stamp.boundaryTime, 0u);
  EXPECT_EQ(sent.stamp.userData, 103u);
  EXPECT_EQ(sent.stamp.line, 563u);
  EXPECT_EQ(sent.stamp.now, 1835166u);
  EXPECT_EQ(sent.stamp.framesDropped, 2u);
  EXPECT_EQ(sent.stamp.bufferLevel, 1u);
  halfStep_.Step(1);
  RQD5FrameStamp stamp = {};
  ASSERT_TRUE(card_->Stamp(kOut, 2, &stamp));
  EXPECT_EQ(stamp.audioOutStop, 9609u * 32);
  ASSERT_TRUE(card_->Stamp(kOut, 3, &stamp));
  EXPECT_EQ(stamp.audioOutStart, 9609u * 32);
  EXPECT_EQ(stamp.framesProcessed, 4u);
}

// A stamp tells the line of its own moment, however many were asked for before it.
TEST_F(DriverValues, EveryStampHasTheLineOfItsMoment) {
  ASSERT_TRUE(Init(kOut, true, false, false));
  const uint32_t kLines[] = {1, 282, 563, 844, 1};  // quarters of 1125 lines
  FrameStepper quarter(&clock_, 120000, 1001);
  for (const uint32_t line : kLines) {
    RQD5FrameStamp stamp = {};
    ASSERT_TRUE(card_->Stamp(kOut, 0, &stamp));
    EXPECT_EQ(stamp.line, line);
    quarter.Step();
  }
}

TEST_F(DriverValues, StatusOfAnInputAtFiveBoundaries) {
  ASSERT_TRUE(Init(kIn, true, true, false));
  ExpectStatus(card_->Status(kIn), {ACStateInitialised, kACNoFrame, 0, 0, 0, 0, 0, 0, 0});
  ASSERT_TRUE(card_->Control(ACStart, kIn));
  for (uint32_t k = 1; k <= 5; ++k) {
    SCOPED_TRACE(k);
    step_.Step();
    ExpectStatus(card_->Status(kIn), {ACStateRunning, k - 1, kBoundary[1], kBoundary[k],
                                      kAudioClock[1], kAudioClock[k], k - 1, 0, k - 1});
  }
  const RQD5AutoCirculateStatus status = card_->Status(kIn);
  EXPECT_EQ(status.channelSpec, kIn);
  EXPECT_EQ(status.withAudio, 1);
  EXPECT_EQ(status.option0, 1);
  EXPECT_EQ(status.option1, 1);
  EXPECT_EQ(status.option2, 0);
  EXPECT_EQ(status.timecodePresent, 1);
}

// Frame 1 of the source begins at the first boundary; its sound lies 1602 samples in.
TEST_F(DriverValues, TransfersAndStampsOfAnInput) {
  for (const uint32_t identity : {BoardElm, BoardLarch}) {
    SCOPED_TRACE(BoardName(identity));
    FrameStepper halfStep(&clock_, 60000, 1001);
    Build(identity);  // its time starts here
    ASSERT_TRUE(Init(kIn, true, false, false));
    ASSERT_TRUE(card_->Control(ACStart, kIn));
    halfStep.Step(11);
    const struct {
      uint32_t level, samples, firstSample, processed;
      uint64_t boundary, audioClock;
    } kWanted[] = {
        {3, 1602, 1602, 1, kBoundary[1], kAudioClock[1]},
        {2, 1601, 3204, 2, kBoundary[2], kAudioClock[2]},
        {1, 1602, 4805, 3, kBoundary[3], kAudioClock[3]},
        {0, 1601, 6407, 4, kBoundary[4], kAudioClock[4]},
    };
    for (uint32_t frame = 0; frame < 4; ++frame) {
      SCOPED_TRACE(frame);
      const auto& wanted = kWanted[frame];
      const RQD5AutoCirculateTransferStatus taken = Transfer(kIn, 70 + frame, 1 << 20);
      EXPECT_EQ(taken.channelSpec, kIn);
      EXPECT_EQ(taken.state, uint32_t{ACStateRunning});
      EXPECT_EQ(taken.transferFrame, static_cast<int32_t>(frame));
      EXPECT_EQ(taken.bufferLevel, wanted.level);
      EXPECT_EQ(taken.framesProcessed, 4u);
      EXPECT_EQ(taken.framesDropped, 0u);
      EXPECT_EQ(taken.audioBytes, wanted.samples * 32);
      EXPECT_EQ(taken.audioStartChannel, 0u);
      const RQD5FrameStamp& stamp = taken.stamp;
      EXPECT_EQ(stamp.channelSpec, kIn);
      EXPECT_EQ(stamp.boundaryTime, wanted.boundary);
      EXPECT_EQ(stamp.frameNumber, frame);
      EXPECT_EQ(stamp.framesProcessed, wanted.processed);
      EXPECT_EQ(stamp.audioClock, wanted.audioClock);
      EXPECT_EQ(stamp.audioInStart, wanted.firstSample * 32);
      EXPECT_EQ(stamp.audioInStop, (wanted.firstSample + wanted.samples) * 32);
      EXPECT_EQ(stamp.audioOutStart, 0u);
      EXPECT_EQ(stamp.audioOutStop, 0u);
      EXPECT_EQ(stamp.audioBytes, wanted.samples * 32);
      EXPECT_EQ(stamp.userData, 70 + frame);
      EXPECT_EQ(stamp.rp188.flags, 0x10000u);
      EXPECT_EQ(stamp.rp188.low, frame + 1);       // frame units
      EXPECT_EQ(stamp.rp188.high, 0x00010000u);    // one o'clock
      const bool hasLtc = identity == BoardLarch;  // that board alone
      EXPECT_EQ(stamp.externalLtc.flags, hasLtc ? 0x10000u : 0u);
      EXPECT_EQ(stamp.externalLtc.low, hasLtc ? frame + 1 : 0u);
      EXPECT_EQ(stamp.externalLtc.high, hasLtc ? 0x00010000u : 0u);
      EXPECT_EQ(stamp.line, 563u);
      EXPECT_EQ(stamp.now, 1835166u);
      EXPECT_EQ(stamp.framesDropped, 0u);
      EXPECT_EQ(stamp.bufferLevel, wanted.level);
    }
  }
}

// Without the first option no timecode is taken.
TEST_F(DriverValues, TimecodeIsTakenWhenAskedForAlone) {
  ASSERT_TRUE(Init(kIn, false, false, false));
  ASSERT_TRUE(card_->Control(ACStart, kIn));
  step_.Step(2);
  const RQD5FrameStamp stamp = Transfer(kIn, 0).stamp;
  EXPECT_EQ(stamp.rp188.flags | stamp.rp188.low | stamp.rp188.high, 0u);
}

// A block of registers has room for fifteen, and a count of fifteen is too many.
TEST_F(DriverValues, ABlockOfFifteenRegistersIsRefused) {
  ASSERT_TRUE(Init(kOut, true, false, false));
  PortClient::Frame frame;
  frame.video.assign(64, 1);
  for (uint32_t i = 0; i < 15; ++i) frame.routing.entries[i] = {300 + i, ~0u, 0, i + 1};
  frame.routing.count = 14;
  ASSERT_TRUE(card_->Transfer(&frame));
  EXPECT_EQ(card_->Status(kOut).bufferLevel, 1u);
  frame.routing.count = 15;
  EXPECT_FALSE(card_->Transfer(&frame));
  EXPECT_EQ(card_->Status(kOut).bufferLevel, 1u);
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  step_.Step();
  for (uint32_t i = 0; i < 14; ++i) EXPECT_EQ(card_->Get(300 + i), i + 1);
  EXPECT_EQ(card_->Get(314), 0u);
}

TEST_F(DriverValues, SoundOfACapturedFrameByRateAndChannels) {
  constexpr uint32_t kSixteen = 1u << 20, kEight = 1u << 16, k96 = 1u << 18;
  const struct {
    uint32_t control, sampleBytes;
    uint32_t samples[5];
  } kWanted[] = {
      {kEight, 32, {1602, 1601, 1602, 1601, 1602}},
      {0, 24, {1602, 1601, 1602, 1601, 1602}},
      {kSixteen, 64, {1602, 1601, 1602, 1601, 1602}},
      {kSixteen | kEight, 64, {1602, 1601, 1602, 1601, 1602}},
      {kEight | k96, 32, {3203, 3203, 3204, 3203, 3203}},
      {k96, 24, {3203, 3203, 3204, 3203, 3203}},
  };
  for (const auto& wanted : kWanted) {
    SCOPED_TRACE(wanted.control);
    Build(BoardElm);
    card_->Write(24, wanted.control);
    ASSERT_TRUE(Init(kIn, true, false, false));
    ASSERT_TRUE(card_->Control(ACStart, kIn));
    for (int i = 0; i < 7; ++i) clock_.Advance(33366667);
    for (const uint32_t samples : wanted.samples) {
      EXPECT_EQ(Transfer(kIn, 0, 1 << 20).audioBytes, samples * wanted.sampleBytes);
    }
  }
}

}  // namespace
}  // namespace morvane
