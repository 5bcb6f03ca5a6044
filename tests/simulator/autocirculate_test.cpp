// Frame rings of outputs, and what holds for both directions.
#include <gtest/gtest.h>

#include "simulator/autocirculate_rig.h"

namespace morvane {
namespace {

using AutoCirculate = test::AutoCirculateRig;
using test::ElmWithBars;
using test::kIn;
using test::kOut;
using test::PortClient;

TEST_F(AutoCirculate, FramesSentBeforeTheStartWaitInOrder) {
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  for (int i = 0; i < 5; ++i) {
    ASSERT_TRUE(Send(100u + static_cast<uint32_t>(i)));
    EXPECT_EQ(last_.transferFrame, i);
    EXPECT_EQ(last_.bufferLevel, static_cast<uint32_t>(i) + 1);
  }
  const RQD5AutoCirculateStatus status = card_->Status(kOut);
  EXPECT_EQ(status.state, ACStateInitialised);
  EXPECT_EQ(status.bufferLevel, 5u);
  EXPECT_EQ(status.activeFrame, kACNoFrame);
  EXPECT_EQ(status.startFrame, 0u);
  EXPECT_EQ(status.endFrame, 28u);
}

TEST_F(AutoCirculate, AnOutputShowsOneFrameABoundaryAndRepeatsTheLast) {
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  for (uint32_t i = 0; i < 5; ++i) ASSERT_TRUE(Send(100 + i));
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  EXPECT_EQ(card_->Status(kOut).state, ACStateStarting);
  step_.Step();
  RQD5AutoCirculateStatus status = card_->Status(kOut);
  EXPECT_EQ(status.state, ACStateRunning);
  EXPECT_EQ(status.activeFrame, 0u);
  EXPECT_EQ(status.framesProcessed, 1u);
  EXPECT_EQ(status.bufferLevel, 4u);
  EXPECT_EQ(status.framesDropped, 0u);
  EXPECT_EQ(card_->Get(2), 0u);
  step_.Step(4);
  status = card_->Status(kOut);
  EXPECT_EQ(status.activeFrame, 4u);
  EXPECT_EQ(status.bufferLevel, 0u);
  EXPECT_EQ(status.framesDropped, 0u);
  EXPECT_EQ(card_->Get(2), 4u);
  step_.Step();
  status = card_->Status(kOut);
  EXPECT_EQ(status.activeFrame, 4u);
  EXPECT_EQ(status.framesDropped, 1u);

  RQD5FrameStamp stamp;
  ASSERT_TRUE(card_->Stamp(kOut, 2, &stamp));
  EXPECT_EQ(stamp.framesProcessed, 3u);
  EXPECT_EQ(stamp.userData, 102u);
  EXPECT_EQ(stamp.frameNumber, 2u);
  EXPECT_EQ(stamp.rp188.low, 0x05060509u);
  EXPECT_EQ(stamp.rp188.high, 0x01020304u);
  // Frame 2 was shown at the third boundary: 3 * 1001 / 30000 s = 100.1 ms.
  EXPECT_EQ(stamp.boundaryTime, 1001000u);
  EXPECT_FALSE(card_->Stamp(kOut, 29, &stamp));
}

TEST_F(AutoCirculate, TheFrameOnTheOutputStandsInTheRegisterOfItsChannel) {
  MachineDescription machine = ElmWithBars();
  machine.cards[0].identity = BoardQuince;  // four channels
  Build(machine);
  const struct {
    uint32_t channel, outputFrame;
  } kChannels[] = {{1, 2}, {2, 6}, {9, 289}, {10, 290}};
  for (const auto& row : kChannels) {
    ASSERT_TRUE(card_->Init(row.channel, static_cast<int32_t>(row.channel), 28));
    PortClient::Frame frame;
    frame.channelSpec = row.channel;
    frame.video.assign(64, 1);
    ASSERT_TRUE(card_->Transfer(&frame));
    ASSERT_TRUE(card_->Transfer(&frame));
    ASSERT_TRUE(card_->Control(ACStart, row.channel));
  }
  step_.Step();
  for (const auto& row : kChannels) EXPECT_EQ(card_->Get(row.outputFrame), row.channel);
  step_.Step();
  for (const auto& row : kChannels) EXPECT_EQ(card_->Get(row.outputFrame), row.channel + 1);
}

TEST_F(AutoCirculate, AFrameNotYetShownHasNoCount) {
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  ASSERT_TRUE(Send(7));
  ASSERT_TRUE(Send(8));
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  step_.Step();
  RQD5FrameStamp stamp;
  ASSERT_TRUE(card_->Stamp(kOut, 1, &stamp));
  EXPECT_EQ(stamp.framesProcessed, 0u);
  EXPECT_EQ(stamp.userData, 8u);
}

TEST_F(AutoCirculate, AFullRingTakesNothingAndSaysSo) {
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  for (int i = 0; i < 29; ++i) {
    ASSERT_TRUE(Send(0));
    EXPECT_EQ(last_.transferFrame, i);
  }
  ASSERT_TRUE(Send(0));
  EXPECT_EQ(last_.transferFrame, -1);
  EXPECT_EQ(last_.bufferLevel, 29u);
}

TEST_F(AutoCirculate, NothingIsDroppedBeforeTheFirstFrameIsThere) {
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  step_.Step(10);
  EXPECT_EQ(card_->Status(kOut).framesDropped, 0u);
  EXPECT_EQ(card_->Status(kOut).activeFrame, kACNoFrame);
  ASSERT_TRUE(Send(1));
  step_.Step();
  EXPECT_EQ(card_->Status(kOut).framesProcessed, 1u);
  EXPECT_EQ(card_->Status(kOut).framesDropped, 0u);
}

TEST_F(AutoCirculate, StopTakesEffectAtTheNextBoundaryAndAbortAtOnce) {
  EXPECT_TRUE(card_->Control(ACStop, kOut));
  EXPECT_TRUE(card_->Control(ACAbort, kOut));
  EXPECT_EQ(card_->Status(kOut).state, ACStateIdle);
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  ASSERT_TRUE(Send(1));
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  step_.Step();
  ASSERT_TRUE(card_->Control(ACStop, kOut));
  EXPECT_EQ(card_->Status(kOut).state, ACStateStopping);
  EXPECT_FALSE(card_->Init(kOut, 0, 28));
  step_.Step();
  EXPECT_EQ(card_->Status(kOut).state, ACStateIdle);
  EXPECT_EQ(card_->Get(2), 0u);  // the still picture

  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  step_.Step();
  ASSERT_TRUE(card_->Control(ACAbort, kOut));
  EXPECT_EQ(card_->Status(kOut).state, ACStateIdle);
}

TEST_F(AutoCirculate, StartNeedsAnInitialisedChannelAndInitAnIdleOne) {
  EXPECT_FALSE(card_->Control(ACStart, kOut));
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  ASSERT_TRUE(card_->Init(kOut, 0, 28));  // again, before the start
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  EXPECT_FALSE(card_->Init(kOut, 0, 28));
  EXPECT_FALSE(card_->Control(ACStart, kOut));
  step_.Step();
  EXPECT_FALSE(card_->Init(kOut, 0, 28));
  EXPECT_FALSE(card_->Init(kIn, 0, 28));  // the channel plays
}

TEST_F(AutoCirculate, InitRefusesARunOutsideTheMemoryAndChannelsThatAreNone) {
  EXPECT_FALSE(card_->Init(kOut, 0, 32));
  EXPECT_FALSE(card_->Init(kOut, 5, 4));
  EXPECT_FALSE(card_->Init(kOut, -1, 4));
  EXPECT_FALSE(card_->Init(3, 0, 4));
  EXPECT_FALSE(card_->Init(9, 0, 4));  // Elm has two channels
  EXPECT_TRUE(card_->Init(2, 0, 4));
}

TEST_F(AutoCirculate, InitSetsTheDirectionOfTheChannel) {
  ASSERT_TRUE(card_->Init(kIn, 0, 30));
  EXPECT_EQ(card_->Get(1, 1), 1u);
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  EXPECT_EQ(card_->Get(1, 1), 0u);
}

TEST_F(AutoCirculate, RegistersOfATransferAreWrittenWhenItsFrameIsShown) {
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  ASSERT_TRUE(Send(0));
  PortClient::Frame frame;
  frame.video.assign(64, 1);
  frame.routing.count = 2;
  frame.routing.entries[0] = {200, 0xFF00, 8, 0x12};
  frame.routing.entries[1] = {201, 0xFFFFFFFF, 0, 0xCAFE};
  ASSERT_TRUE(card_->Transfer(&frame));
  card_->Write(200, 0xFFFFFFFF);
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  step_.Step();
  EXPECT_EQ(card_->Get(200), 0xFFFFFFFFu);
  EXPECT_EQ(card_->Get(201), 0u);
  step_.Step();
  EXPECT_EQ(card_->Get(200), 0xFFFF12FFu);
  EXPECT_EQ(card_->Get(201), 0xCAFEu);
}

TEST_F(AutoCirculate, TransfersLargerThanASlotAreRefused) {
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  PortClient::Frame frame;
  frame.video.resize((8u << 20) + 4);
  EXPECT_FALSE(card_->Transfer(&frame));
  frame.video.resize(8u << 20);
  EXPECT_TRUE(card_->Transfer(&frame));
}

TEST_F(AutoCirculate, SlotsThatGrowUnderAnOutputLeaveNoneOutsideTheMemory) {
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  card_->SetFrameBufferFormat(1, FrameBuffer48BitRgb);  // 16 slots instead of 32
  for (int i = 0; i < 16; ++i) {
    ASSERT_TRUE(Send(0));
    EXPECT_EQ(last_.transferFrame, i);
  }
  EXPECT_FALSE(Send(0));
  EXPECT_EQ(card_->Status(kOut).bufferLevel, 16u);
}

}  // namespace
}  // namespace morvane
