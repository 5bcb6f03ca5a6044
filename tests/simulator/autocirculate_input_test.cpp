// Frame rings of inputs.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "base/byte_order.h"
#include "simulator/autocirculate_rig.h"
#include "simulator/input_source.h"

namespace morvane {
namespace {

using AutoCirculate = test::AutoCirculateRig;
using test::ElmWithBars;
using test::FrameStepper;
using test::kIn;
using test::PortClient;

TEST_F(AutoCirculate, CapturedFramesFollowOneAnotherWithTheirSound) {
  ASSERT_TRUE(card_->Init(kIn, 0, 30));
  ASSERT_TRUE(card_->Control(ACStart, kIn));
  step_.Step();
  RQD5AutoCirculateStatus status = card_->Status(kIn);
  EXPECT_EQ(status.state, ACStateRunning);
  EXPECT_EQ(status.bufferLevel, 0u);
  step_.Step(3);
  EXPECT_EQ(card_->Status(kIn).bufferLevel, 3u);

  const PortClient::Frame first = Take();
  const PortClient::Frame second = Take();
  EXPECT_EQ(first.status.transferFrame, 0);
  EXPECT_EQ(second.status.transferFrame, 1);
  EXPECT_EQ(first.status.audioBytes, 51264u);
  EXPECT_EQ(second.status.audioBytes, 51232u);
  const uint32_t number = ReadBarsFrameNumber(FourCC("2vuy"), first.video.data(), 1920);
  EXPECT_EQ(ReadBarsFrameNumber(FourCC("2vuy"), second.video.data(), 1920), number + 1);
  // The ramp of channel 2 goes on where the first frame ended.
  const uint32_t end = LoadLe32(first.audio.data() + 51264 - 28);
  EXPECT_EQ(LoadLe32(second.audio.data() + 4), end + 256);
}

TEST_F(AutoCirculate, ASlowCallerFindsTheRingFullAndFramesDropped) {
  ASSERT_TRUE(card_->Init(kIn, 0, 30));
  ASSERT_TRUE(card_->Control(ACStart, kIn));
  step_.Step();
  step_.Step(40);
  EXPECT_EQ(card_->Status(kIn).bufferLevel, 30u);
  EXPECT_EQ(card_->Status(kIn).framesDropped, 10u);
  EXPECT_EQ(card_->Status(kIn).framesProcessed, 30u);
}

TEST_F(AutoCirculate, WithoutASignalNothingCounts) {
  MachineDescription machine = ElmWithBars();
  machine.cards[0].inputs[0].source = SignalSource::kNone;
  Build(machine);
  ASSERT_TRUE(card_->Init(kIn, 0, 30));
  ASSERT_TRUE(card_->Control(ACStart, kIn));
  step_.Step(100);
  EXPECT_EQ(card_->Status(kIn).bufferLevel, 0u);
  EXPECT_EQ(card_->Status(kIn).framesDropped, 0u);
  EXPECT_EQ(Take().status.transferFrame, -1);
}

TEST_F(AutoCirculate, TimecodeOfTheInputCountsWithTheFrameNumber) {
  step_.Step(12);
  ASSERT_TRUE(card_->Init(kIn, 0, 30));
  ASSERT_TRUE(card_->Control(ACStart, kIn));
  step_.Step(4);
  for (int i = 0; i < 3; ++i) {
    const PortClient::Frame frame = Take();
    const uint32_t number = ReadBarsFrameNumber(FourCC("2vuy"), frame.video.data(), 1920);
    ASSERT_LT(number, 30u);
    const RQD5Rp188& words = frame.status.stamp.rp188;
    EXPECT_EQ(words.flags & 0x10000, 0x10000u);
    EXPECT_EQ(words.low, (number % 10) | (number / 10) << 8);
    EXPECT_EQ(words.high, 0x01000000u >> 8);  // one hour
  }
  EXPECT_EQ(card_->Status(kIn).timecodePresent, 1);
}

TEST_F(AutoCirculate, AStoppedInputKeepsNothing) {
  ASSERT_TRUE(card_->Init(kIn, 0, 30));
  ASSERT_TRUE(card_->Control(ACStart, kIn));
  step_.Step(5);
  ASSERT_TRUE(card_->Control(ACStop, kIn));
  step_.Step();
  EXPECT_EQ(card_->Status(kIn).state, ACStateIdle);
  EXPECT_EQ(card_->Status(kIn).bufferLevel, 0u);
  PortClient::Frame frame;
  frame.channelSpec = kIn;
  frame.video.resize(64);
  EXPECT_FALSE(card_->Transfer(&frame));
}

TEST_F(AutoCirculate, SlotsThatGrowUnderAnInputLoseNoFrame) {
  ASSERT_TRUE(card_->Init(kIn, 0, 30));
  ASSERT_TRUE(card_->Control(ACStart, kIn));
  step_.Step(21);
  card_->SetFrameBufferFormat(1, FrameBuffer48BitRgb);
  const PortClient::Frame first = Take();
  for (int i = 1; i < 20; ++i) {
    PortClient::Frame frame;
    frame.channelSpec = kIn;
    frame.video.resize(64);  // less than the frame
    ASSERT_TRUE(card_->Transfer(&frame));
    ASSERT_EQ(frame.status.transferFrame, i);
    // The burned-in number begins with black cells, and so with the same pixels.
    EXPECT_EQ(std::memcmp(frame.video.data(), first.video.data(), 64), 0) << i;
  }
}

TEST_F(AutoCirculate, AFrameLargerThanItsSlotTouchesNoOther) {
  MachineDescription machine = ElmWithBars();
  machine.cards[0].identity = BoardCedar;  // slots of 2 MiB
  Build(machine);
  ASSERT_TRUE(card_->Init(kIn, 0, 31));
  ASSERT_TRUE(card_->Control(ACStart, kIn));
  step_.Step();
  for (uint32_t i = 0; i < 32; ++i) {
    step_.Step();
    PortClient::Frame frame;
    frame.channelSpec = kIn;
    frame.video.resize(64);
    ASSERT_TRUE(card_->Transfer(&frame));
    ASSERT_EQ(frame.status.transferFrame, static_cast<int32_t>(i));
    EXPECT_NE(frame.video, std::vector<uint8_t>(64, 0));
    std::vector<uint8_t> next(64, 1);
    ASSERT_TRUE(card_->Dma(1, true, (i + 1) % 32, next.data(), 64));
    EXPECT_EQ(next, std::vector<uint8_t>(64, 0)) << i;
  }
}

TEST_F(AutoCirculate, SoundIsCutToTheCallersBufferAndLeftOutWhereNotAskedFor) {
  ASSERT_TRUE(card_->Init(kIn, 0, 30, false));
  ASSERT_TRUE(card_->Control(ACStart, kIn));
  step_.Step(3);
  EXPECT_EQ(Take().status.audioBytes, 0u);
  ASSERT_TRUE(card_->Control(ACAbort, kIn));
  ASSERT_TRUE(card_->Init(kIn, 0, 30, true));
  ASSERT_TRUE(card_->Control(ACStart, kIn));
  step_.Step(3);
  EXPECT_EQ(Take(4096).status.audioBytes, 4096u);
}

TEST_F(AutoCirculate, AChannelThatAKilledCallerLeftRunningIsStoppedByTheNext) {
  ASSERT_TRUE(card_->Init(kIn, 0, 30));
  ASSERT_TRUE(card_->Control(ACStart, kIn));
  step_.Step(3);
  card_ = std::make_unique<PortClient>(driver_.get(), BOARDTYPE_OEM2K);
  EXPECT_EQ(card_->Status(kIn).state, ACStateRunning);
  ASSERT_TRUE(card_->Control(ACStop, kIn));
  step_.Step(2);
  EXPECT_EQ(card_->Status(kIn).state, ACStateIdle);
  EXPECT_TRUE(card_->Init(kIn, 0, 30));
}

// Each at its own rate, none in the way of another.
TEST_F(AutoCirculate, EightCardsRunAtOnce) {
  constexpr uint32_t kFormats[] = {2, 4, 1, 17, 11, 32, 33, 25};
  constexpr uint32_t kIdentities[] = {BoardElm,    BoardLarch,  BoardQuince, BoardOak,
                                      BoardNutmeg, BoardPoplar, BoardWayxt,  BoardKapok};
  MachineDescription machine;
  for (size_t i = 0; i < 8; ++i) {
    machine.cards.push_back(ElmWithBars(kFormats[i]).cards[0]);
    machine.cards[i].identity = kIdentities[i];
  }
  card_.reset();
  driver_ = std::make_unique<SimulatedDriver>(machine);
  std::vector<std::unique_ptr<PortClient>> cards;
  for (uint32_t i = 0; i < 8; ++i) {
    cards.push_back(std::make_unique<PortClient>(driver_.get(), BOARDTYPE_OEM2K, i));
    ASSERT_TRUE(cards[i]->IsOpen()) << i;
    EXPECT_EQ(cards[i]->Get(50), kIdentities[i]);
    cards[i]->SetFormat(kFormats[i]);
    cards[i]->SetFrameBufferFormat(1, FrameBuffer8BitUyvy);
    cards[i]->Write(1, 1, 0x8000, 15);  // the first input
    ASSERT_TRUE(cards[i]->Init(kIn, 0, 13)) << i;
    ASSERT_TRUE(cards[i]->Control(ACStart, kIn)) << i;
  }
  clock_.Advance(200'000'001);
  for (uint32_t i = 0; i < 8; ++i) {
    uint32_t scale = 0, duration = 0;
    ASSERT_TRUE(FrameRatePair(FindVideoFormat(kFormats[i])->rate, &scale, &duration));
    // Boundaries within 200 ms; the first starts the run, and each other ends a frame.
    const uint32_t boundaries = scale / (duration * 5);
    EXPECT_EQ(cards[i]->Status(kIn).framesProcessed, boundaries - 1) << i;
    PortClient::Frame frame;
    frame.channelSpec = kIn;
    frame.video.resize(1920 * 1080 * 2);
    ASSERT_TRUE(cards[i]->Transfer(&frame));
    EXPECT_EQ(frame.status.transferFrame, 0);
  }
}

// Numbers of samples a frame, as the rates have them.
TEST_F(AutoCirculate, FramesCarryTheSamplesOfTheirRate) {
  struct Row {
    uint32_t videoFormat;
    uint32_t scale;
    uint32_t duration;
    std::vector<uint32_t> samples;
  };
  const Row rows[] = {
      {2, 30000, 1001, {1602, 1601, 1602, 1601, 1602, 1602}},
      {4, 60000, 1001, {801, 801, 800, 801, 801}},
      {1, 25000, 1000, {1920, 1920, 1920}},
      {17, 50000, 1000, {960, 960, 960}},
      {11, 24000, 1001, {2002, 2002, 2002}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.videoFormat);
    Build(ElmWithBars(row.videoFormat), row.videoFormat);
    FrameStepper step(&clock_, row.scale, row.duration);
    ASSERT_TRUE(card_->Init(kIn, 0, 30));
    ASSERT_TRUE(card_->Control(ACStart, kIn));
    step.Step(static_cast<int>(row.samples.size()) + 1);
    for (const uint32_t samples : row.samples) {
      EXPECT_EQ(Take().status.audioBytes, samples * 32);
    }
  }
}

}  // namespace
}  // namespace morvane
