// Fields, channels, frames, sound and required logic of the card control.
#include <gtest/gtest.h>

#include <vector>

#include "base/clock.h"
#include "device/card_rig.h"
#include "support/clock_pump.h"

namespace morvane {
namespace {

using Card = test::CardRig;
using test::Values;

TEST_F(Card, MembersOfTwoWritesTryBothAndPassFailureOn) {
  Open(BoardElm);
  port_.refusedRegisters = {0};
  EXPECT_FALSE(card_.SetFrameRate(9));
  EXPECT_EQ(port_.WritesTo(0).size(), 2u);
  uint32_t rate = 5;
  EXPECT_FALSE(card_.GetFrameRate(&rate));
  EXPECT_EQ(rate, 5u);
  EXPECT_FALSE(card_.SetVideoFormat(2));
  EXPECT_FALSE(card_.SetVideoFormat(2, true));
}

TEST_F(Card, EveryMemberOfSeveralWritesTriesThemAll) {
  Open(BoardElm);
  const auto expectWrites = [this](uint32_t number, std::vector<uint32_t> masks) {
    std::vector<uint32_t> written;
    for (const auto& call : port_.WritesTo(number)) written.push_back(call.Word(32));
    EXPECT_EQ(written, masks) << number;
    port_.calls.clear();
  };
  port_.refusedWrites = {1, 24, 131};
  EXPECT_FALSE(card_.SetAudioChannels(8, 1));
  expectWrites(24, {0x100000, 0x10000});
  EXPECT_FALSE(card_.SetAudioChannels(6, 1));
  expectWrites(24, {0x100000, 0x10000});
  EXPECT_FALSE(card_.SetFrameBufferFormat(1, 2));
  expectWrites(1, {0x1E, 0x40});
  EXPECT_FALSE(card_.SetInputSelect(1));
  expectWrites(1, {0x4000, 0x8000});
  EXPECT_FALSE(card_.SetConversionMode(27));  // of no logic of its own
  expectWrites(131, {0x7, 0x7000, 0x40, 0x8000});
}

TEST_F(Card, OtherChannelsActOnTheFirst) {
  Open(BoardElm);
  EXPECT_TRUE(card_.SetFrameBufferFormat(3, 1));
  EXPECT_EQ(Reg(1), 2u);
  EXPECT_TRUE(card_.SetOutputFrame(0, 12));
  EXPECT_EQ(Reg(2), 12u);
}

TEST_F(Card, SmallFieldsGoWhereTheyBelong) {
  Open(BoardElm);
  EXPECT_TRUE(card_.SetDualLink(0x101));
  EXPECT_EQ(Reg(0), 0x8000000u);
  EXPECT_TRUE(card_.SetDualLink(0x100));
  EXPECT_EQ(Reg(0), 0u);
  EXPECT_TRUE(card_.SetFrontPanel(2));
  EXPECT_EQ(Reg(0), 0x200000u);
  EXPECT_TRUE(card_.SetChannelMode(10, 1));
  EXPECT_EQ(Reg(260), 1u);
  uint32_t mode = 9;
  EXPECT_TRUE(card_.GetChannelMode(10, &mode));
  EXPECT_EQ(mode, 1u);
  Open(BoardAspen);
  EXPECT_TRUE(card_.SetFrontPanel(2));
  EXPECT_TRUE(port_.Writes().empty());
}

TEST_F(Card, FrameWordsOfEveryChannel) {
  Open(BoardElm);
  const struct {
    uint32_t channel, output, input, access;
  } kWanted[] = {{1, 2, 3, 4}, {2, 6, 7, 8}, {9, 289, 258, 259}, {10, 290, 261, 262}};
  for (const auto& wanted : kWanted) {
    EXPECT_TRUE(card_.SetOutputFrame(wanted.channel, 100));
    EXPECT_TRUE(card_.SetInputFrame(wanted.channel, 101));
    EXPECT_TRUE(card_.SetAccessFrame(wanted.channel, 102));
    EXPECT_EQ(Reg(wanted.output), 100u);
    EXPECT_EQ(Reg(wanted.input), 101u);
    EXPECT_EQ(Reg(wanted.access), 102u);
    uint32_t output = 0, input = 0;
    EXPECT_TRUE(card_.GetOutputFrame(wanted.channel, &output));
    EXPECT_TRUE(card_.GetInputFrame(wanted.channel, &input));
    EXPECT_EQ(output, 100u);
    EXPECT_EQ(input, 101u);
  }
}

// Deliberate: shows frame 3, 7, 258 or 261 (channel 1, 2, 9, 10), whatever was drawn last.
TEST_F(Card, ToggleFramesShowsTheNumberOfTheInputFrameRegister) {
  const struct {
    uint32_t channel, output, input, shown;
  } kWanted[] = {{1, 2, 3, 3}, {2, 6, 7, 7}, {9, 289, 258, 258}, {10, 290, 261, 261}};
  for (const auto& wanted : kWanted) {
    Open(BoardElm);
    Reg(wanted.input) = 55;
    EXPECT_TRUE(card_.ToggleFrames(wanted.channel));
    EXPECT_EQ(Reg(wanted.output), wanted.shown);
    EXPECT_EQ(Reg(wanted.input), 0u);
  }
}

TEST_F(Card, AudioChannelsAreTwoBits) {
  Open(BoardElm);
  Reg(24) = 1 << 20;
  EXPECT_TRUE(card_.SetAudioChannels(6, 1));
  EXPECT_EQ(Reg(24), 0u);
  EXPECT_EQ(card_.GetAudioChannels(1), 6u);
  EXPECT_TRUE(card_.SetAudioChannels(8, 1));
  EXPECT_EQ(Reg(24), 1u << 16);
  EXPECT_EQ(card_.GetAudioChannels(1), 8u);
  EXPECT_TRUE(card_.SetAudioChannels(16, 1));
  EXPECT_EQ(Reg(24) & 1u << 20, 1u << 20);
  EXPECT_EQ(card_.GetAudioChannels(1), 16u);
  EXPECT_TRUE(card_.SetAudioChannels(8, 10));
  EXPECT_EQ(Reg(279), 1u << 16);
  port_.calls.clear();
  EXPECT_FALSE(card_.SetAudioChannels(2, 1));
  EXPECT_TRUE(port_.Writes().empty());
}

TEST_F(Card, AnalogLevelSettlesOnThreeBoards) {
  ManualClock clock;
  const test::ClockPump pump(&clock, 1);
  for (const uint32_t identity : {BoardCedar, BoardDogwood, BoardGinkgo}) {
    SCOPED_TRACE(BoardName(identity));
    Open(identity);
    const int64_t start = NxClockNowNs();
    EXPECT_TRUE(card_.SetAnalogOutputLevel(0x11));
    EXPECT_EQ(NxClockNowNs() - start, 168'000'000);
    EXPECT_EQ(Reg(128), 0x110000u);
    ASSERT_EQ(port_.Writes().size(), 2u);
    EXPECT_EQ(port_.Writes()[1].Register(), 10053u);
  }
  Open(BoardElm);
  const int64_t start = NxClockNowNs();
  EXPECT_TRUE(card_.SetAnalogOutputLevel(0x11));
  EXPECT_EQ(NxClockNowNs() - start, 0);
  EXPECT_EQ(port_.Writes().size(), 1u);
}

TEST_F(Card, RequiredLogicOfTheConverterBoards) {
  const struct {
    uint32_t identity, primary, secondary, bitfile;
  } kWanted[] = {
      {BoardElm, 2, 32, 9},  {BoardElm, 32, 2, 10}, {BoardElm, 2, 4, 11},   {BoardElm, 4, 2, 12},
      {BoardElm, 4, 33, 9},  {BoardElm, 33, 4, 10}, {BoardElm, 2, 24, 0},   {BoardElm, 0, 2, 0},
      {BoardElm, 2, 0, 0},   {BoardElm, 22, 2, 0},  {BoardAlder, 2, 32, 3}, {BoardAlder, 32, 2, 4},
      {BoardAlder, 2, 4, 3}, {BoardAlder, 4, 2, 4}, {BoardCedar, 2, 32, 0}, {BoardLarch, 2, 32, 0},
  };
  for (const auto& wanted : kWanted) {
    Open(wanted.identity);
    Reg(10021) = wanted.primary;
    Reg(10020) = wanted.secondary;
    EXPECT_EQ(card_.GetRequiredBitfile(), wanted.bitfile)
        << BoardName(wanted.identity) << wanted.primary << ' ' << wanted.secondary;
    Reg(10100) = 1u << 30;
    EXPECT_EQ(card_.GetRequiredBitfile(), 0u);
  }
}

TEST_F(Card, RequiredLogicOfTheBirchPairFollowsTheInput) {
  for (const uint32_t identity : {BoardBirch, BoardBirch2}) {
    Open(identity);
    const struct {
      uint32_t primary, status, bitfile;
    } kWanted[] = {{2, 0x14, 1}, {32, 0x44, 2}, {2, 0x44, 0}, {32, 0x14, 0},
                   {2, 0, 0},    {0, 0x14, 0},  {64, 0x14, 0}};
    for (const auto& wanted : kWanted) {
      Reg(10021) = wanted.primary;
      Reg(22) = wanted.status;
      EXPECT_EQ(card_.GetRequiredBitfile(), wanted.bitfile) << wanted.primary;
    }
  }
}

TEST_F(Card, SwitchToRequiredLogicIsFalseWhenThereIsNone) {
  Open(BoardElm);
  EXPECT_FALSE(card_.SwitchToRequiredBitfile());
  Reg(10021) = 2;
  Reg(10020) = 32;
  EXPECT_TRUE(card_.SwitchToRequiredBitfile());
  EXPECT_EQ(ValuesWrittenTo(10050), Values{9});
  port_.calls.clear();
  EXPECT_TRUE(card_.SetFrameBufferFormat(1, 2, true));
  EXPECT_TRUE(card_.SetChannelMode(1, 1, true));
  EXPECT_TRUE(port_.WritesTo(10050).empty());
  EXPECT_TRUE(card_.SetFrameBufferFormat(1, 2));
  EXPECT_TRUE(card_.SetChannelMode(1, 1));
  EXPECT_EQ(port_.WritesTo(10050).size(), 2u);
}

TEST_F(Card, IdentityAndNameOfAFailingRead) {
  Open(BoardLarch);
  EXPECT_EQ(card_.GetBoardName(), "Larch ");
  EXPECT_EQ(card_.GetBoardID(), uint32_t{BoardLarch});
  port_.refusedRegisters = {50};
  EXPECT_EQ(card_.GetBoardID(), 0xFFFFFFFFu);
  EXPECT_EQ(card_.GetBoardName(), "BOARD NOT FOUND ");
}

TEST_F(Card, OpenBoardIsAQuietOpenOfTypeFour) {
  port_.AddBoard(4, BoardIris);
  EXPECT_TRUE(card_.OpenBoard(0));
  EXPECT_EQ(card_.BoardType(), 4u);
  EXPECT_FALSE(card_.DisplaysErrors());
  EXPECT_FALSE(card_.OpenBoard(3));
}

TEST_F(Card, LineMembersAreTheTables) {
  EXPECT_EQ(card_.FormatLines(64), 1556u);
  EXPECT_EQ(card_.CompareFormatLines(4, 2), -1);
}

TEST_F(Card, DmaWithOffsetsIsADmaTransfer) {
  Open(BoardElm);
  const uint8_t samples[64] = {};
  uint8_t read[64];
  EXPECT_TRUE(card_.DmaWriteWithOffset(7, 31, samples, 128, 64, true));
  EXPECT_EQ(port_.calls.back().Flags(), 2u);
  EXPECT_EQ(port_.calls.back().Word(24), 7u);
  EXPECT_EQ(port_.calls.back().Word(32), 31u);
  EXPECT_EQ(port_.calls.back().Word(40), 128u);
  EXPECT_TRUE(card_.DmaReadWithOffset(1, 0, read, 0, 64, true));
  EXPECT_EQ(port_.calls.back().Flags(), 1u);
}

}  // namespace
}  // namespace morvane
