// What every driver port owes of its frame rings.
#include <cstdint>

#include "device/driver_port_contract.h"

namespace morvane::test {
namespace {

constexpr uint32_t kOutput = 1;
constexpr uint32_t kInput = 1 | kACInput;

// ---- output ring ----

TEST_P(DriverPortContract, FramesWaitInAnInitialisedRing) {
  ASSERT_TRUE(Init(kOutput, 28));
  for (int32_t i = 0; i < 5; ++i) EXPECT_EQ(Send(static_cast<uint32_t>(i)), i);
  const auto status = Status(kOutput);
  EXPECT_EQ(status.state, uint32_t{ACStateInitialised});
  EXPECT_EQ(status.bufferLevel, 5u);
  EXPECT_EQ(status.activeFrame, kACNoFrame);
}

TEST_P(DriverPortContract, ARunningRingShowsOneFrameABoundaryAndDropsWhenEmpty) {
  ASSERT_TRUE(Init(kOutput, 28));
  for (uint32_t i = 0; i < 5; ++i) ASSERT_GE(Send(70 + i), 0);
  ASSERT_TRUE(card_.StartAutoCirculate(kOutput));
  EXPECT_EQ(Status(kOutput).state, uint32_t{ACStateStarting});
  PassFrames(1);
  auto status = Status(kOutput);
  EXPECT_EQ(status.state, uint32_t{ACStateRunning});
  EXPECT_EQ(status.activeFrame, 0u);
  EXPECT_EQ(status.framesProcessed, 1u);
  EXPECT_EQ(status.bufferLevel, 4u);
  EXPECT_EQ(status.framesDropped, 0u);
  PassFrames(4);
  status = Status(kOutput);
  EXPECT_EQ(status.activeFrame, 4u);
  EXPECT_EQ(status.bufferLevel, 0u);
  EXPECT_EQ(status.framesDropped, 0u);
  PassFrames(1);
  status = Status(kOutput);
  EXPECT_EQ(status.activeFrame, 4u);
  EXPECT_EQ(status.framesDropped, 1u);
  RQD5FrameStamp stamp{};
  ASSERT_TRUE(card_.GetFrameStamp(kOutput, 2, &stamp));
  EXPECT_EQ(stamp.framesProcessed, 3u);
  EXPECT_EQ(stamp.userData, 72u);
}

TEST_P(DriverPortContract, AFullRingTakesNothing) {
  ASSERT_TRUE(Init(kOutput, 28));
  for (int32_t i = 0; i < 29; ++i) EXPECT_EQ(Send(0), i);
  EXPECT_EQ(Send(0), -1);
  EXPECT_EQ(Status(kOutput).bufferLevel, 29u);
}

TEST_P(DriverPortContract, StartNeedsInitialisationAndARunningRingIsNotInitialised) {
  EXPECT_FALSE(card_.StartAutoCirculate(kOutput));
  ASSERT_TRUE(Init(kOutput, 28));
  ASSERT_TRUE(Init(kOutput, 28));
  ASSERT_TRUE(card_.StartAutoCirculate(kOutput));
  EXPECT_FALSE(Init(kOutput, 28));
  PassFrames(1);
  EXPECT_FALSE(Init(kOutput, 28));
  EXPECT_TRUE(card_.AbortAutoCirculate(kOutput));
  EXPECT_EQ(Status(kOutput).state, uint32_t{ACStateIdle});
  EXPECT_TRUE(Init(kOutput, 28));
}

TEST_P(DriverPortContract, StopComesToRestAtTheNextBoundary) {
  EXPECT_TRUE(StopWhileTimePasses(kOutput));  // of an idle ring
  ASSERT_TRUE(Init(kOutput, 28));
  ASSERT_GE(Send(1), 0);
  ASSERT_TRUE(card_.StartAutoCirculate(kOutput));
  PassFrames(2);
  EXPECT_TRUE(StopWhileTimePasses(kOutput));
  EXPECT_EQ(Status(kOutput).state, uint32_t{ACStateIdle});
  EXPECT_TRUE(card_.AbortAutoCirculate(kOutput));
}

TEST_P(DriverPortContract, ARingLeftByAClosedObjectIsStoppedByTheNext) {
  ASSERT_TRUE(Init(kOutput, 28));
  ASSERT_GE(Send(1), 0);
  ASSERT_TRUE(card_.StartAutoCirculate(kOutput));
  PassFrames(2);
  card_.Close();
  PassFrames(2);
  ASSERT_TRUE(card_.Open(0, false, BOARDTYPE_OEM2K, nullptr));
  EXPECT_EQ(Status(kOutput).state, uint32_t{ACStateRunning});
  EXPECT_TRUE(StopWhileTimePasses(kOutput));
  EXPECT_EQ(Status(kOutput).state, uint32_t{ACStateIdle});
}

TEST_P(DriverPortContract, TimecodeSentComesBackInTheStamp) {
  ASSERT_TRUE(Init(kOutput, 28));
  ASSERT_EQ(Send(0, {1u << 16, 0x05060509, 0x01020304}), 0);
  ASSERT_TRUE(card_.StartAutoCirculate(kOutput));
  PassFrames(1);
  RQD5FrameStamp stamp{};
  ASSERT_TRUE(card_.GetFrameStamp(kOutput, 0, &stamp));
  EXPECT_EQ(stamp.rp188.low, 0x05060509u);
  EXPECT_EQ(stamp.rp188.high, 0x01020304u);
  EXPECT_EQ(stamp.frameNumber, 0u);
}

TEST_P(DriverPortContract, RegistersOfAnExtendedTransferAreWrittenWithTheirFrame) {
  ASSERT_TRUE(Init(kOutput, 28));
  ASSERT_GE(Send(0), 0);
  RQD5RoutingTable extra{};
  extra.count = 2;
  extra.entries[0] = {200, 0xFFFFFFFF, 0, 0xCAFE};
  extra.entries[1] = {201, 0xF0, 4, 7};
  ASSERT_GE(Send(1, {}, &extra), 0);
  ASSERT_TRUE(card_.StartAutoCirculate(kOutput));
  PassFrames(1);
  uint32_t a = 0, b = 0;
  EXPECT_TRUE(card_.ReadRegister(200, &a) && card_.ReadRegister(201, &b));
  EXPECT_EQ(a | b, 0u);
  PassFrames(1);
  EXPECT_TRUE(card_.ReadRegister(200, &a) && card_.ReadRegister(201, &b));
  EXPECT_EQ(a, 0xCAFEu);
  EXPECT_EQ(b, 0x70u);
}

TEST_P(DriverPortContract, TheActiveFrameStandsInTheOutputFrameRegister) {
  ASSERT_TRUE(Init(kOutput, 28));
  for (uint32_t i = 0; i < 3; ++i) ASSERT_GE(Send(i), 0);
  ASSERT_TRUE(card_.StartAutoCirculate(kOutput));
  PassFrames(3);
  uint32_t frame = 0;
  EXPECT_TRUE(card_.GetOutputFrame(1, &frame));
  EXPECT_EQ(frame, 2u);
}

// ---- input ring ----

TEST_P(DriverPortContract, ACapturedFrameIsFullAtTheBoundaryAfterItsOwn) {
  ASSERT_TRUE(Init(kInput, 30));
  ASSERT_TRUE(card_.StartAutoCirculate(kInput));
  PassFrames(1);
  EXPECT_EQ(Status(kInput).state, uint32_t{ACStateRunning});
  EXPECT_EQ(Status(kInput).bufferLevel, 0u);
  EXPECT_EQ(Take().frame, -1);
  PassFrames(3);
  EXPECT_EQ(Status(kInput).bufferLevel, 3u);
  const Captured first = Take();
  const Captured second = Take();
  EXPECT_EQ(first.frame, 0);
  EXPECT_EQ(second.frame, 1);
  EXPECT_EQ(second.picture, first.picture + 1);
  EXPECT_EQ(first.audioBytes, 51264u);
  EXPECT_EQ(second.audioBytes, 51232u);
  EXPECT_EQ(Status(kInput).bufferLevel, 1u);
}

TEST_P(DriverPortContract, ACaptureThatNobodyReadsDrops) {
  ASSERT_TRUE(Init(kInput, 30));
  ASSERT_TRUE(card_.StartAutoCirculate(kInput));
  PassFrames(41);
  const auto status = Status(kInput);
  EXPECT_EQ(status.bufferLevel, 30u);
  EXPECT_EQ(status.framesDropped, 10u);
}

TEST_P(DriverPortContract, WithoutASignalNothingCounts) {
  const uint32_t channelSpec = 2 | kACInput;
  ASSERT_TRUE(Init(channelSpec, 30));
  ASSERT_TRUE(card_.StartAutoCirculate(channelSpec));
  PassFrames(100);
  const auto status = Status(channelSpec);
  EXPECT_EQ(status.bufferLevel, 0u);
  EXPECT_EQ(status.framesDropped, 0u);
  EXPECT_EQ(status.framesProcessed, 0u);
}

TEST_P(DriverPortContract, CapturedTimecodeCountsWithThePicture) {
  ASSERT_TRUE(Init(kInput, 30));
  ASSERT_TRUE(card_.StartAutoCirculate(kInput));
  PassFrames(8);
  for (int i = 0; i < 5; ++i) {
    const Captured frame = Take();
    ASSERT_EQ(frame.frame, i);
    EXPECT_NE(frame.timecode.flags & 1u << 16, 0u);
    ASSERT_LT(frame.picture, 30u);
    const uint32_t digits = frame.picture % 10 | frame.picture / 10 << 8;
    EXPECT_EQ(frame.timecode.low & 0x30F, digits);
    EXPECT_EQ(frame.timecode.high & 0x030F070F, 0x00010000u);  // one o'clock
  }
}

}  // namespace
}  // namespace morvane::test
