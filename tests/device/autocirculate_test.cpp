#include "device/autocirculate.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "base/clock.h"
#include "device/card.h"
#include "device/fake_driver_port.h"
#include "support/clock_pump.h"

namespace morvane {
namespace {

using test::FakeDriverPort;
using test::MessageRecorder;
using Texts = std::vector<std::string>;
using Words = std::vector<uint32_t>;

// A card of board Elm behind a driver that only keeps the records.
class RingRecords : public ::testing::Test {
 protected:
  void SetUp() override {
    port_.AddBoard(8, BoardElm);
    ASSERT_TRUE(card_.Open(0, true, 8, nullptr));
    port_.calls.clear();
  }
  [[nodiscard]] const FakeDriverPort::Call& Last() const { return port_.calls.back(); }
  bool Send(uint32_t command, void* record1 = nullptr, void* record2 = nullptr,
            void* record3 = nullptr, void* record4 = nullptr) {
    RQD5AutoCirculateData data;
    data.command = command;
    data.channelSpec = 9;
    data.value1 = -3;
    data.value2 = 40;
    data.value3 = 41;
    data.value4 = 42;
    for (bool& flag : data.flags) flag = true;
    data.record1 = record1;
    data.record2 = record2;
    data.record3 = record3;
    data.record4 = record4;
    return card_.AutoCirculate(data);
  }
  void ExpectHeader(uint32_t number, uint32_t flags, size_t inBytes, size_t outBytes) {
    ASSERT_FALSE(port_.calls.empty());
    EXPECT_EQ(Last().Number(), number);
    EXPECT_EQ(Last().Flags(), flags);
    EXPECT_EQ(Last().in.size(), inBytes);
    EXPECT_EQ(Last().out.size(), outBytes);
  }
  // Words from 24 on.
  [[nodiscard]] Words Payload() const {
    Words words;
    for (size_t offset = 24; offset < Last().in.size(); offset += 4) {
      words.push_back(Last().Word(offset));
    }
    return words;
  }

  FakeDriverPort port_;
  MessageRecorder messages_;
  CRQD5Card card_;
};

constexpr bool kFlags3[8] = {true, true, true};

TEST_F(RingRecords, InitialisationOfOneChannel) {
  ASSERT_TRUE(card_.InitAutoCirculate(1, 0, 28, kFlags3, false));
  ExpectHeader(6, 2, 56, 56);
  EXPECT_EQ(Payload(), (Words{0, 1, 0, 28, 0, 0x00010101, 0, 0}));
  ASSERT_TRUE(card_.InitAutoCirculate(0x101, 2, 30, kFlags3, true));
  EXPECT_EQ(Payload(), (Words{0, 0x101, 2, 30, 1, 0x00010101, 0, 0}));
}

TEST_F(RingRecords, ANegativeLastFrameIsTenAndANegativeFirstIsPassedOn) {
  ASSERT_TRUE(card_.InitAutoCirculate(1, -7, -1, kFlags3, false));
  EXPECT_EQ(Last().Word(32), static_cast<uint32_t>(-7));
  EXPECT_EQ(Last().Word(36), 10u);
}

TEST_F(RingRecords, InitialisationOfSeveralChannels) {
  RQD5AutoCirculateData data;
  data.command = ACInit;
  data.channelSpec = 1;
  data.value1 = 3;
  data.value2 = 28;
  data.value3 = 1;
  data.value4 = 2;
  data.flags[1] = data.flags[7] = true;
  ASSERT_TRUE(card_.AutoCirculate(data));
  ExpectHeader(18, 2, 88, 88);
  EXPECT_EQ(Payload(), (Words{0, 1, 3, 28, 1, 2, 0, 0, 0, 0, 0, 0, 0x100, 0x01000000, 0, 0}));
}

TEST_F(RingRecords, ControlCommandsCarryOnlyTheirOwnWords) {
  const struct {
    uint32_t command;
    Words payload;
  } kWanted[] = {
      {ACStart, {1, 9, 0, 0, 0, 0, 0, 0}},
      {ACStop, {2, 9, 0, 0, 0, 0, 0, 0}},
      {ACControl3, {3, 9, 0, 0, 0, 1, 0, 0}},
      {ACControl6, {6, 9, 0, 0, 0, 0, 0, 0}},
      {ACControl7, {7, 9, static_cast<uint32_t>(-3), 0, 0, 0, 0, 0}},
      {ACAbort, {9, 9, 0, 0, 0, 0, 0, 0}},
      {ACControl10, {10, 9, static_cast<uint32_t>(-3), 40, 0, 0, 0, 0}},
  };
  for (const auto& wanted : kWanted) {
    ASSERT_TRUE(Send(wanted.command));
    ExpectHeader(6, 2, 56, 56);
    EXPECT_EQ(Payload(), wanted.payload) << wanted.command;
  }
}

TEST_F(RingRecords, StatusComesBackFrom32) {
  port_.circulate = [](const FakeDriverPort::Call&, uint8_t* out, size_t) {
    for (uint8_t i = 0; i < 80; ++i) out[32 + i] = static_cast<uint8_t>(i + 1);
  };
  RQD5AutoCirculateStatus status{};
  ASSERT_TRUE(card_.GetAutoCirculate(0x102, &status));
  ExpectHeader(7, 1, 112, 112);
  EXPECT_EQ(Last().Word(24), 4u);
  EXPECT_EQ(Last().Word(28), 0x102u);
  uint8_t bytes[80];
  std::memcpy(bytes, &status, sizeof bytes);
  for (uint8_t i = 0; i < 80; ++i) EXPECT_EQ(bytes[i], i + 1);
  EXPECT_EQ(status.withAudio, 69);
  EXPECT_EQ(status.flag6, 75);
}

TEST_F(RingRecords, FrameStampGoesInAndOut) {
  port_.circulate = [](const FakeDriverPort::Call&, uint8_t* out, size_t) { out[40 + 56] = 99; };
  RQD5FrameStamp stamp{};
  stamp.line = 1234;
  ASSERT_TRUE(card_.GetFrameStamp(2, 17, &stamp));
  ExpectHeader(8, 1, 168, 168);
  EXPECT_EQ(Last().Word(24), 5u);
  EXPECT_EQ(Last().Word(28), 2u);
  EXPECT_EQ(Last().Word(32), 17u);
  EXPECT_EQ(Last().Word(40), 2u);
  EXPECT_EQ(Last().Word(40 + 16), 17u);
  EXPECT_EQ(Last().Word(40 + 84), 1234u);
  EXPECT_EQ(stamp.userData, 99u);
}

TEST_F(RingRecords, ExtendedFrameStampAndControl14CarryTheBlock) {
  RQD5FrameStamp stamp{};
  uint8_t block[36];
  for (uint8_t i = 0; i < 36; ++i) block[i] = static_cast<uint8_t>(0xC0 + i);
  ASSERT_TRUE(Send(ACFrameStampExtended, &stamp, block));
  ExpectHeader(15, 1, 208, 208);
  EXPECT_EQ(std::memcmp(Last().in.data() + 168, block, 36), 0);
  EXPECT_EQ(Last().Word(32), static_cast<uint32_t>(-3));
  ASSERT_TRUE(Send(ACFrameStampExtended, &stamp, nullptr));
  ASSERT_TRUE(Send(ACControl14, block));
  ExpectHeader(16, 2, 208, 208);
  EXPECT_EQ(Last().Word(24), 14u);
  EXPECT_EQ(Last().Word(28), 9u);
  EXPECT_EQ(Last().Word(32), 0u);
  EXPECT_EQ(std::memcmp(Last().in.data() + 168, block, 36), 0);
}

RQD5AutoCirculateTransfer SomeTransfer(void* video, uint32_t videoBytes, void* audio,
                                       uint32_t audioBytes) {
  RQD5AutoCirculateTransfer transfer;
  transfer.channelSpec = 1;
  transfer.videoBuffer = video;
  transfer.videoSize = videoBytes;
  transfer.videoOffset = 21;
  transfer.audioBuffer = audio;
  transfer.audioSize = audioBytes;
  transfer.audioOffset = 22;
  transfer.frameBufferFormat = 23;
  transfer.flip = 24;
  transfer.colourCorrection[0] = 25;
  transfer.colourCorrection[1] = 26;
  transfer.colourCorrection[2] = 27;
  transfer.frameRequest = -1;
  transfer.userData = 28;
  transfer.rp188 = {29, 30, 31};
  transfer.constant76 = 6;
  transfer.constant80 = 1;
  transfer.constant84 = 1;
  return transfer;
}

TEST_F(RingRecords, TransferRecordIsPinnedWhileTheDriverLooks) {
  std::vector<uint8_t> video(4096), audio(400);
  void* seenVideo = nullptr;
  void* seenAudio = nullptr;
  port_.circulate = [&](const FakeDriverPort::Call& call, uint8_t* out, size_t bytes) {
    ASSERT_EQ(bytes, 160u);
    seenVideo = port_.Memory().Find(call.Word(28 + 4), 4096);
    seenAudio = port_.Memory().Find(call.Word(28 + 16), 400);
    out[8] = 7;
  };
  auto transfer = SomeTransfer(video.data(), 4096, audio.data(), 400);
  RQD5AutoCirculateTransferStatus status{};
  status.bufferLevel = 0x77;
  ASSERT_TRUE(card_.TransferAutoCirculate(&transfer, &status));
  ExpectHeader(9, 1, 336, 160);
  EXPECT_EQ(seenVideo, video.data());
  EXPECT_EQ(seenAudio, audio.data());
  EXPECT_EQ(status.transferFrame, 7);
  EXPECT_EQ(status.bufferLevel, 0x77u);
  const auto& in = Last().in;
  const auto word = [&](size_t offset) { return Last().Word(28 + offset); };
  EXPECT_EQ(Last().Word(24), 8u);
  EXPECT_EQ(word(0), 1u);
  EXPECT_EQ(word(8), 4096u);
  EXPECT_EQ(word(12), 21u);
  EXPECT_EQ(word(20), 400u);
  for (uint32_t i = 0; i < 6; ++i) EXPECT_EQ(word(24 + 4 * i), 22 + i);
  EXPECT_EQ(word(48), 0xFFFFFFFF);
  for (uint32_t i = 0; i < 4; ++i) EXPECT_EQ(word(52 + 4 * i), 28 + i);
  EXPECT_EQ(word(72), 0u);
  EXPECT_EQ(word(76), 6u);
  EXPECT_EQ(word(80), 1u);
  EXPECT_EQ(in[28 + 84], 1);
  for (size_t i = 85; i < 148; ++i) EXPECT_EQ(in[28 + i], 0) << i;
  EXPECT_EQ(Last().Word(176 + 12), 0x77u);
  EXPECT_EQ(port_.Memory().Find(word(4), 1), nullptr);
  EXPECT_EQ(port_.Memory().Find(word(16), 1), nullptr);
}

TEST_F(RingRecords, ExtendedAndFullTransfersCarryTheirBlocks) {
  uint8_t video[64] = {};
  auto transfer = SomeTransfer(video, 64, nullptr, 0);
  RQD5AutoCirculateTransferStatus status{};
  RQD5RoutingTable extra{};
  extra.count = 2;
  extra.entries[0] = {100, 0xFF, 0, 5};
  extra.entries[14] = {1, 2, 3, 4};
  ASSERT_TRUE(card_.TransferAutoCirculateExtended(&transfer, &status, &extra));
  ExpectHeader(12, 1, 584, 160);
  EXPECT_EQ(std::memcmp(Last().in.data() + 336, &extra, 244), 0);
  ASSERT_TRUE(card_.TransferAutoCirculateExtended(&transfer, &status, nullptr));
  EXPECT_EQ(Last().Word(336), 0u);
  uint8_t block[36];
  std::memset(block, 0xD1, sizeof block);
  ASSERT_TRUE(Send(ACTransferFull, &transfer, &status, &extra, block));
  ExpectHeader(14, 1, 616, 160);
  EXPECT_EQ(std::memcmp(Last().in.data() + 336, &extra, 244), 0);
  EXPECT_EQ(std::memcmp(Last().in.data() + 580, block, 36), 0);
  ASSERT_TRUE(Send(ACTransferFull, &transfer, &status, nullptr, nullptr));
}

TEST_F(RingRecords, MissingRecordsFailWithoutACall) {
  RQD5AutoCirculateTransfer transfer;
  RQD5AutoCirculateTransferStatus status{};
  EXPECT_FALSE(card_.GetAutoCirculate(1, nullptr));
  EXPECT_FALSE(card_.GetFrameStamp(1, 0, nullptr));
  for (const uint32_t command : {ACStatus, ACFrameStamp, ACFrameStampExtended, ACControl14}) {
    EXPECT_FALSE(Send(command)) << command;
  }
  for (const uint32_t command : {ACTransfer, ACTransferExtended, ACTransferFull}) {
    EXPECT_FALSE(Send(command, nullptr, &status)) << command;
    EXPECT_FALSE(Send(command, &transfer, nullptr)) << command;
  }
  EXPECT_TRUE(port_.calls.empty());
}

TEST_F(RingRecords, UnknownCommandsAreTrueAndDoNothing) {
  EXPECT_TRUE(Send(15));
  EXPECT_TRUE(Send(0xFFFFFFFF));
  EXPECT_TRUE(port_.calls.empty());
}

TEST_F(RingRecords, AudioMustBeAMultipleOfFour) {
  alignas(8) uint8_t audio[16] = {};
  RQD5AutoCirculateTransferStatus status{};
  auto transfer = SomeTransfer(nullptr, 0, audio, 5);
  EXPECT_FALSE(card_.TransferAutoCirculate(&transfer, &status));
  EXPECT_EQ(messages_.texts, Texts{"TransferAutoCirculate failed - audio buffer size not mod 4"});
  for (uint32_t low = 1; low < 4; ++low) {
    transfer = SomeTransfer(nullptr, 0, audio + low, 8);
    EXPECT_FALSE(card_.TransferAutoCirculate(&transfer, &status));
    EXPECT_EQ(messages_.texts.back(),
              "TransferAutoCirculate failed - audio buffer address not mod 4");
  }
  EXPECT_TRUE(port_.calls.empty());
  transfer = SomeTransfer(nullptr, 0, audio + 1, 0);
  EXPECT_TRUE(card_.TransferAutoCirculate(&transfer, &status));
  EXPECT_EQ(port_.calls.size(), 1u);
}

TEST_F(RingRecords, AFailedTransferShowsTheSystemsWordsAndLeavesTheStatus) {
  port_.refusedProperties = {PropertyTransfer};
  RQD5AutoCirculateTransfer transfer;
  RQD5AutoCirculateTransferStatus status{};
  status.transferFrame = 12;
  testing::internal::CaptureStdout();
  EXPECT_FALSE(card_.TransferAutoCirculate(&transfer, &status));
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_EQ(status.transferFrame, 12);
  ASSERT_EQ(messages_.texts.size(), 1u);
  EXPECT_EQ(messages_.captions[0], "CRQD5WinDriverInterface");
  EXPECT_EQ(printed, "AutoCirculate transfer failed: " + messages_.texts[0] + "\n");
}

// ---- stop ----

TEST_F(RingRecords, StopOfAnIdleRingWaitsTwiceAndDoesNotAbort) {
  ManualClock clock;
  const test::ClockPump pump(&clock, 1);
  const int64_t start = NxClockNowNs();
  EXPECT_TRUE(card_.StopAutoCirculate(1));
  EXPECT_EQ(NxClockNowNs() - start, 84'000'000);
  ASSERT_EQ(port_.calls.size(), 2u);
  EXPECT_EQ(port_.calls[0].Word(24), uint32_t{ACStop});
  EXPECT_EQ(port_.calls[1].Word(24), uint32_t{ACStatus});
}

TEST_F(RingRecords, StopAbortsWhatHasNotComeToRest) {
  port_.circulate = [](const FakeDriverPort::Call& call, uint8_t* out, size_t) {
    if (call.Number() == PropertyAutoCirculateStatus) out[32 + 4] = ACStateStopping;
  };
  EXPECT_TRUE(card_.StopAutoCirculate(1));
  ASSERT_EQ(port_.calls.size(), 3u);
  EXPECT_EQ(port_.calls[2].Word(24), uint32_t{ACAbort});
}

TEST_F(RingRecords, ARefusedStopEndsAtOnce) {
  port_.refusedProperties = {PropertyAutoCirculateControl};
  EXPECT_FALSE(card_.StopAutoCirculate(1));
  EXPECT_EQ(port_.calls.size(), 1u);
  EXPECT_FALSE(card_.StartAutoCirculate(1));
  EXPECT_FALSE(card_.AbortAutoCirculate(1));
}

}  // namespace
}  // namespace morvane
