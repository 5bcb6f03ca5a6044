#include "device/card.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "base/clock.h"
#include "device/fake_driver_port.h"
#include "device/golden_lines.h"

namespace morvane {
namespace {

using test::FakeDriverPort;
using test::MessageRecorder;
using Texts = std::vector<std::string>;

class Card : public ::testing::Test {
 protected:
  void Open(uint32_t identity) {
    card_.Close();
    port_.devices.clear();
    port_.registers.clear();
    const uint32_t type = FindBoard(identity)->boardType;
    if (PropertySetOfBoardType(type) != nullptr) {
      port_.AddBoard(type, identity);
      ASSERT_TRUE(card_.Open(0, true, type, nullptr));
    } else {
      // An external board is not found by its own type; the identity is what the tests need.
      port_.AddBoard(8, identity);
      ASSERT_TRUE(card_.Open(0, true, 8, nullptr));
    }
    port_.calls.clear();
    messages_.texts.clear();
  }
  uint32_t& Reg(uint32_t number) { return port_.registers[number]; }
  [[nodiscard]] std::vector<uint32_t> ValuesWrittenTo(uint32_t number) const {
    std::vector<uint32_t> values;
    for (const auto& call : port_.WritesTo(number)) values.push_back(call.Value());
    return values;
  }

  FakeDriverPort port_;
  MessageRecorder messages_;
  CRQD5Card card_;
};

using Values = std::vector<uint32_t>;

// ---- formats ----

TEST_F(Card, SetVideoFormatWritesRegisterZero) {
  const struct {
    uint32_t format, register0;
  } kWanted[] = {{2, 0x00000004},  {4, 0x0000008A},  {19, 0x00008004}, {24, 0x00000202},
                 {13, 0x00000257}, {32, 0x00000114}, {33, 0x0000019D}, {64, 0x004002DE}};
  for (const auto& wanted : kWanted) {
    Open(BoardElm);
    EXPECT_TRUE(card_.SetVideoFormat(wanted.format));
    EXPECT_EQ(Reg(0), wanted.register0) << wanted.format;
    EXPECT_EQ(Reg(10260), FindVideoFormat(wanted.format)->picture);
    uint32_t format = 0;
    EXPECT_TRUE(card_.GetVideoFormat(&format));
    EXPECT_EQ(format, wanted.format);
  }
}

TEST_F(Card, EveryFormatReadsBack) {
  for (const uint32_t identity : {BoardElm, BoardQuince}) {
    Open(identity);
    for (const VideoFormatRow& row : VideoFormatRows()) {
      if (row.value == 0 || (row.value >= 80 && identity != BoardQuince)) continue;
      EXPECT_TRUE(card_.SetVideoFormat(row.value)) << row.text;
      uint32_t format = 0;
      EXPECT_TRUE(card_.GetVideoFormat(&format)) << row.text;
      EXPECT_EQ(format, row.value) << row.text;
    }
  }
}

TEST_F(Card, AValueThatIsNoFormatWritesNothing) {
  Open(BoardElm);
  for (const uint32_t format : {0u, 31u, 38u, 92u, 0xFFFFFFFFu}) {
    EXPECT_FALSE(card_.SetVideoFormat(format)) << format;
  }
  EXPECT_TRUE(port_.Writes().empty());
}

TEST_F(Card, QuadFormatsSetTheQuadBitOnTheQuadBoard) {
  Open(BoardQuince);
  EXPECT_TRUE(card_.SetVideoFormat(84));
  EXPECT_EQ(Reg(0), 0x00000206u);
  EXPECT_EQ(Reg(267), 8u);
  uint32_t geometry = 0;
  EXPECT_TRUE(card_.GetFrameGeometry(&geometry));
  EXPECT_EQ(geometry, 16u);
  EXPECT_EQ(card_.FrameSlotBytes(), 32u << 20);
  EXPECT_EQ(card_.FrameSlots(), 16u);
  EXPECT_TRUE(card_.SetVideoFormat(2));
  EXPECT_EQ(Reg(267), 0u);
  EXPECT_EQ(card_.FrameSlots(), 64u);
  EXPECT_TRUE(card_.SetFrameGeometry(17));
  EXPECT_EQ(Reg(0) & 0x78, 10u << 3);
  EXPECT_TRUE(card_.GetFrameGeometry(&geometry));
  EXPECT_EQ(geometry, 17u);
}

TEST_F(Card, OpenSeesTheQuadBit) {
  port_.AddBoard(8, BoardQuince);
  Reg(267) = 8;
  ASSERT_TRUE(card_.Open(0, false, 8, nullptr));
  EXPECT_EQ(card_.FrameSlotBytes(), 32u << 20);
  EXPECT_EQ(card_.FrameSlots(), 16u);
}

TEST_F(Card, ElsewhereGeometrySixteenIsMaskedByTheField) {
  Open(BoardElm);
  Reg(0) = 0x78;
  EXPECT_TRUE(card_.SetFrameGeometry(16));
  EXPECT_EQ(Reg(0), 0u);
  EXPECT_TRUE(port_.WritesTo(267).empty());
  EXPECT_EQ(ValuesWrittenTo(0), Values{16});
}

TEST_F(Card, MemoryFiguresFollowTheSlotSizeOnSwitchableBoardsOnly) {
  Open(BoardElm);
  EXPECT_EQ(card_.FrameSlots(), 32u);
  EXPECT_TRUE(card_.SetFrameGeometry(10));
  EXPECT_EQ(card_.FrameSlotBytes(), 16u << 20);
  EXPECT_EQ(card_.FrameSlots(), 16u);
  EXPECT_TRUE(card_.SetFrameBufferFormat(1, 16));
  EXPECT_EQ(card_.FrameSlots(), 16u);  // the size is the same, so the figures stay
  EXPECT_TRUE(card_.RefreshMemoryFigures());
  EXPECT_EQ(card_.FrameSlots(), 8u);

  Open(BoardQuince);
  EXPECT_TRUE(card_.SetFrameBufferFormat(1, 16));
  EXPECT_EQ(card_.FrameSlotBytes(), 16u << 20);
  EXPECT_EQ(card_.FrameSlots(), 32u);

  Open(BoardAlder);
  EXPECT_TRUE(card_.SetFrameGeometry(10));
  EXPECT_EQ(card_.FrameSlotBytes(), 8u << 20);
  EXPECT_EQ(card_.FrameSlots(), 16u);
}

TEST_F(Card, TheLargerOfTheTwoChannelsDecidesTheSlot) {
  Open(BoardQuince);
  Reg(5) = 0x40;  // channel 2: format 16, slots twice as large
  EXPECT_TRUE(card_.SetFrameGeometry(1));
  EXPECT_EQ(card_.FrameSlotBytes(), 8u << 20);
  EXPECT_TRUE(card_.SetFrameGeometry(0));
  EXPECT_EQ(card_.FrameSlotBytes(), 8u << 20);  // before: equal sizes, channel 1's format counts
}

TEST_F(Card, TimingIsCentredOrKept) {
  Open(BoardElm);
  EXPECT_TRUE(card_.SetVideoFormat(2));
  EXPECT_EQ(Reg(14), 0x08001000u);
  Reg(14) = 0x08101005;
  EXPECT_TRUE(card_.SetVideoFormat(4, true));
  EXPECT_EQ(Reg(14), 0x08101005u);
}

TEST_F(Card, BoardsWithLimitsOfTheirOwnGoToTheirCentre) {
  const struct {
    uint32_t identity, format, timing;
  } kWanted[] = {
      {BoardCedar, 32, 266u << 16 | 1600}, {BoardCedar, 33, 313u << 16 | 1592},
      {BoardIris, 2, 563u << 16 | 4000},   {BoardDogwood, 4, 375u << 16 | 2720},
      {BoardBasil, 32, 266u << 16 | 1600}, {BoardBirch2, 33, 313u << 16 | 1592},
      {BoardBirch, 8, 563u << 16 | 4000},
  };
  for (const auto& wanted : kWanted) {
    Open(wanted.identity);
    EXPECT_TRUE(card_.SetVideoFormat(wanted.format));
    EXPECT_EQ(Reg(14), wanted.timing) << BoardName(wanted.identity);
  }
}

TEST_F(Card, UnmatchedRegistersGiveFormatZeroAndWords) {
  Open(BoardElm);
  Reg(0) = 0x400000;  // standard 1080 at rate 8
  uint32_t format = 99;
  EXPECT_FALSE(card_.GetVideoFormat(&format));
  EXPECT_EQ(format, 0u);
  EXPECT_EQ(messages_.texts, Texts{"Unsupported standard 1080 frame rate requested."});
  Reg(0) = 6 << 7;
  EXPECT_FALSE(card_.GetVideoFormat(&format));
  EXPECT_EQ(messages_.texts.back(), "Unsupported video standard requested.");
}

TEST_F(Card, AncillaryGeometryReadsAsItsFormat) {
  Open(BoardElm);
  Reg(0) = 0x44;
  uint32_t format = 0;
  EXPECT_TRUE(card_.GetVideoFormat(&format));
  EXPECT_EQ(format, 2u);
}

TEST_F(Card, StandardQuestions) {
  Open(BoardElm);
  for (uint32_t standard = 0; standard < 7; ++standard) {
    Reg(0) = 0;
    EXPECT_TRUE(card_.SetStandard(standard));
    uint32_t read = 99;
    EXPECT_TRUE(card_.GetStandard(&read));
    EXPECT_EQ(read, standard);
    EXPECT_EQ(card_.IsSDStandard(), standard == 2 || standard == 3);
    EXPECT_EQ(card_.IsProgressivePicture(), standard == 1 || standard == 4);
    EXPECT_TRUE(card_.SetLevelFlag(1));
    EXPECT_TRUE(card_.IsProgressivePicture());
  }
}

TEST_F(Card, FrameRateIsThreeBitsAndOne) {
  Open(BoardElm);
  for (uint32_t rate = 0; rate < 16; ++rate) {
    EXPECT_TRUE(card_.SetFrameRate(rate));
    EXPECT_EQ(Reg(0), (rate & 7) | (rate >> 3) << 22);
    uint32_t read = 99;
    EXPECT_TRUE(card_.GetFrameRate(&read));
    EXPECT_EQ(read, rate);
  }
}

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

TEST_F(Card, FrameBufferFormatIsFourBitsAndOne) {
  Open(BoardElm);
  EXPECT_TRUE(card_.SetFrameBufferFormat(1, 17));
  EXPECT_EQ(Reg(1), 0x42u);
  uint32_t format = 0;
  EXPECT_TRUE(card_.GetFrameBufferFormat(1, &format));
  EXPECT_EQ(format, 17u);
  EXPECT_TRUE(card_.SetFrameBufferFormat(9, 22));
  EXPECT_EQ(Reg(257), 0x4Cu);
}

TEST_F(Card, FormatTenOnChannelTwoIsRefused) {
  Open(BoardElm);
  EXPECT_FALSE(card_.SetFrameBufferFormat(2, 10));
  EXPECT_TRUE(port_.Writes().empty());
  EXPECT_TRUE(card_.SetFrameBufferFormat(1, 10));
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

// ---- timing ----

TEST_F(Card, HorizontalTimingWritesItsTargetOnce) {
  Open(BoardElm);
  Reg(14) = 0x08001000;
  EXPECT_TRUE(card_.SetOutputTimingHorizontal(5));
  EXPECT_EQ(ValuesWrittenTo(14), Values{4101});
  EXPECT_EQ(Reg(14), 0x08001005u);
  EXPECT_TRUE(card_.SetOutputTimingHorizontal(5));
  EXPECT_EQ(ValuesWrittenTo(14), Values{4101});
}

TEST_F(Card, AStepOfOneGoesPastAndComesBack) {
  Open(BoardElm);
  Reg(14) = 4096;
  EXPECT_TRUE(card_.SetOutputTimingHorizontal(1));
  EXPECT_EQ(ValuesWrittenTo(14), (Values{4099, 4097}));
  size_t first = 0, last = 0, lineReads = 0;
  for (size_t i = 0; i < port_.calls.size(); ++i) {
    if (port_.calls[i].IsWrite()) (first == 0 ? first : last) = i;
  }
  for (size_t i = first; i < last; ++i) lineReads += port_.calls[i].Register() == 18 ? 1 : 0;
  EXPECT_GE(lineReads, 2u);

  port_.calls.clear();
  EXPECT_TRUE(card_.SetOutputTimingHorizontal(0));
  EXPECT_EQ(ValuesWrittenTo(14), (Values{4094, 4096}));
}

TEST_F(Card, IlexTakesAStepOfOne) {
  Open(BoardIlex);
  Reg(14) = 4096;
  EXPECT_TRUE(card_.SetOutputTimingHorizontal(1));
  EXPECT_EQ(ValuesWrittenTo(14), Values{4097});
}

TEST_F(Card, TimingIsClampedAndMirroredOnReversedBoards) {
  Open(BoardElm);
  EXPECT_TRUE(card_.SetOutputTimingHorizontal(9999));
  EXPECT_EQ(Reg(14) & 0xFFFF, 6144u);
  EXPECT_TRUE(card_.SetOutputTimingHorizontal(INT32_MIN));
  EXPECT_EQ(Reg(14) & 0xFFFF, 2048u);
  EXPECT_TRUE(card_.SetOutputTimingVertical(-3));
  EXPECT_EQ(Reg(14) >> 16, 2045u);
  EXPECT_TRUE(card_.SetOutputTimingVertical(1));
  EXPECT_TRUE(card_.SetOutputTimingVertical(2));
  EXPECT_EQ(Reg(14) >> 16, 2050u);

  Open(BoardFir);  // reversed sense
  EXPECT_TRUE(card_.SetOutputTimingHorizontal(5));
  EXPECT_EQ(Reg(14) & 0xFFFF, 4091u);
  EXPECT_TRUE(card_.SetOutputTimingVertical(INT32_MIN));
  EXPECT_EQ(Reg(14) >> 16, 3072u);
}

// Deliberate: half + 1, or -1 - half on boards of reversed sense; not the inverse of setting.
TEST_F(Card, TimingReadsFromTheHalfItself) {
  Open(BoardElm);
  Reg(14) = 0x08101005;
  int32_t offset = 0;
  EXPECT_TRUE(card_.GetOutputTimingHorizontal(&offset));
  EXPECT_EQ(offset, 4102);
  EXPECT_TRUE(card_.GetOutputTimingVertical(&offset));
  EXPECT_EQ(offset, 0x0811);
  Open(BoardFir);
  Reg(14) = 0x08101005;
  EXPECT_TRUE(card_.GetOutputTimingHorizontal(&offset));
  EXPECT_EQ(offset, -4102);
  EXPECT_TRUE(card_.GetOutputTimingVertical(&offset));
  EXPECT_EQ(offset, -0x0811);
}

TEST_F(Card, LimitsOfEachKindOfBoard) {
  const auto expect = [this](std::vector<int32_t> wanted) {
    CRQD5Card::TimingLimits limits{};
    ASSERT_TRUE(card_.GetTimingLimits(&limits));
    EXPECT_EQ((std::vector<int32_t>{limits.horizontalDefault, limits.horizontalMinimum,
                                    limits.horizontalMaximum, limits.verticalDefault,
                                    limits.verticalMinimum, limits.verticalMaximum}),
              wanted);
  };
  Open(BoardElm);
  expect({4096, 2048, 6144, 2048, 1024, 3072});
  Open(BoardGinkgo);
  expect({4096, 0, 12288, 2048, 0, 6144});
  for (const uint32_t identity : {BoardIris, BoardDogwood, BoardBirch, BoardBirch2}) {
    Open(identity);
    card_.SetStandard(Standard1080);
    expect({4000, 0, 4399, 563, 1, 1125});
    card_.SetStandard(Standard720);
    expect({2720, 0, 3299, 375, 1, 750});
    card_.SetStandard(Standard525);
    expect({1600, 0, 1715, 266, 1, 525});
    card_.SetStandard(Standard625);
    expect({1592, 0, 1727, 313, 1, 625});
  }
  Open(BoardCedar);
  card_.SetStandard(Standard625);
  expect({1592, 0, 1727, 313, 1, 625});
  card_.SetStandard(Standard525);
  expect({1600, 0, 1715, 266, 1, 525});
  for (const uint32_t identity : {BoardDexel, BoardRowan}) {
    Open(identity);
    EXPECT_FALSE(card_.SetOutputTimingHorizontal(1));
    EXPECT_FALSE(card_.SetOutputTimingVertical(1));
    EXPECT_TRUE(port_.Writes().empty());
  }
}

// ---- reference and inputs ----

TEST_F(Card, ReferenceInItsTwoForms) {
  Open(BoardElm);
  EXPECT_TRUE(card_.SetReference(0, true));
  EXPECT_EQ(Reg(10120), 1u);
  EXPECT_TRUE(card_.SetReference(3, true));
  EXPECT_EQ(Reg(10120), 0u);
  EXPECT_TRUE(card_.SetReference(1, true));
  EXPECT_EQ(Reg(10120), 2u);
  EXPECT_TRUE(card_.SetReference(2, false));
  EXPECT_EQ(Reg(0), 2u << 10);
}

TEST_F(Card, ReferenceTwoBecomesOneWhenTheFirstInputIsSelected) {
  for (const uint32_t identity : {BoardCedar, BoardDogwood, BoardGinkgo}) {
    Open(identity);
    Reg(1) = 1 << 15;
    EXPECT_TRUE(card_.SetReference(2, false));
    EXPECT_EQ(Reg(0) >> 10 & 7, 1u);
    EXPECT_TRUE(card_.SetReference(3, false));
    EXPECT_EQ(Reg(0) >> 10 & 7, 3u);
    Reg(1) = 0;
    EXPECT_TRUE(card_.SetReference(2, false));
    EXPECT_EQ(Reg(0) >> 10 & 7, 2u);
  }
  Open(BoardElm);
  Reg(1) = 1 << 15;
  EXPECT_TRUE(card_.SetReference(2, false));
  EXPECT_EQ(Reg(0) >> 10 & 7, 2u);
}

TEST_F(Card, DetectInputDecodesTheStatus) {
  Open(BoardLarch);
  const struct {
    uint32_t status, flags3G, format;
  } kWanted[] = {{0x44, 0, 2},  {0x100000B0, 0, 17}, {0x14, 0, 32}, {0xC1, 0, 25},
                 {0xC4, 1, 19}, {0xC4, 0, 8},        {0, 0, 0},     {0x74, 0, 0}};
  for (const auto& wanted : kWanted) {
    Reg(22) = wanted.status;
    Reg(232) = wanted.flags3G;
    EXPECT_EQ(card_.DetectInput(1), wanted.format) << std::hex << wanted.status;
  }
}

TEST_F(Card, TheSecondInputLiesEightHigher) {
  Open(BoardElm);
  Reg(22) = 0x00004414;
  EXPECT_EQ(card_.DetectInput(1), 32u);
  EXPECT_EQ(card_.DetectInput(2), 2u);
  Reg(22) = 1u << 29 | 3u << 12;  // rate 8 of class 3
  EXPECT_EQ(card_.DetectInput(2), 17u);
  EXPECT_EQ(card_.DetectInput(1), 0u);
  Reg(22) = 1u << 31 | 6u << 8;  // class 8 at 24
  EXPECT_EQ(card_.DetectInput(2), 16u);
  Reg(22) = 1u << 30 | 6u;
  EXPECT_EQ(card_.DetectInput(1), 16u);
  EXPECT_EQ(card_.DetectInput(4), 0u);
}

TEST_F(Card, ThreeGigabitFlagsOfTheSecondInput) {
  Reg(22) = 0xC400;
  const struct {
    uint32_t identity, flags, format;
  } kWanted[] = {{BoardLarch, 3, 19},      {BoardLarch, 2, 8},  {BoardLarch, 0x100, 8},
                 {BoardNutmeg, 0x100, 19}, {BoardNutmeg, 3, 8}, {BoardElm, 0x103, 8}};
  for (const auto& wanted : kWanted) {
    Open(wanted.identity);
    Reg(22) = 0xC400;
    Reg(232) = wanted.flags;
    EXPECT_EQ(card_.DetectInput(2), wanted.format) << BoardName(wanted.identity) << wanted.flags;
  }
}

TEST_F(Card, AnInputThatCannotBeReadIsNoFormat) {
  Open(BoardElm);
  Reg(22) = 0x44;
  port_.refusedRegisters = {22, 81, 126};
  EXPECT_EQ(card_.DetectInput(1), 0u);
  EXPECT_EQ(card_.DetectInput3(), 0u);
  EXPECT_EQ(card_.DetectReference(), 0u);
}

TEST_F(Card, ReferenceAndThirdInputShareALayout) {
  Open(BoardElm);
  Reg(126) = 0x44000C01;
  Reg(81) = 0x41000001;
  EXPECT_EQ(card_.DetectReference(), 2u);
  EXPECT_EQ(card_.DetectInput3(), 32u);
  EXPECT_EQ(card_.DetectInput(3), 32u);
  Reg(126) = 0x44000C00;
  EXPECT_EQ(card_.DetectReference(), 0u);
  Reg(126) = 0x84000001;  // 50 frames of 1080: interlaced by the clear flags, and so no format
  EXPECT_EQ(card_.DetectReference(), 0u);
}

TEST_F(Card, InputSelectIsTwoBits) {
  Open(BoardElm);
  const struct {
    uint32_t select, register1;
  } kWanted[] = {{1, 0x8000}, {2, 0x4000}, {5, 0xC000}, {4, 0}};
  for (const auto& wanted : kWanted) {
    Reg(1) = 0x5;
    EXPECT_TRUE(card_.SetInputSelect(wanted.select));
    EXPECT_EQ(Reg(1), wanted.register1 | 5) << wanted.select;
  }
  port_.calls.clear();
  for (const uint32_t select : {0u, 3u, 6u}) EXPECT_FALSE(card_.SetInputSelect(select));
  EXPECT_TRUE(port_.Writes().empty());
}

TEST_F(Card, InputSelectIsTheItemOnTwoBoards) {
  for (const uint32_t identity : {BoardCedar, BoardDogwood, BoardSpruce}) {
    Open(identity);
    Reg(1) = 0xC000;
    EXPECT_TRUE(card_.SetInputSelect(0));
    EXPECT_EQ(Reg(1), 0u);
    EXPECT_TRUE(card_.SetInputSelect(1));
    EXPECT_EQ(Reg(1), 0x4000u);
    EXPECT_FALSE(card_.SetInputSelect(2));
  }
}

// ---- audio, analog, ancillary ----

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
  Open(BoardCedar);
  int64_t start = NxClockNowNs();
  EXPECT_TRUE(card_.SetAnalogOutputLevel(0x11));
  EXPECT_GE(NxClockNowNs() - start, 168'000'000);
  EXPECT_EQ(Reg(128), 0x110000u);
  ASSERT_EQ(port_.Writes().size(), 2u);
  EXPECT_EQ(port_.Writes()[1].Register(), 10053u);

  Open(BoardElm);
  start = NxClockNowNs();
  EXPECT_TRUE(card_.SetAnalogOutputLevel(0x11));
  EXPECT_LT(NxClockNowNs() - start, 40'000'000);
  EXPECT_EQ(port_.Writes().size(), 1u);
}

TEST_F(Card, VancModeOfEveryStandardAndGeometry) {
  Open(BoardElm);
  for (uint32_t standard = 0; standard < 6; ++standard) {
    for (uint32_t geometry = 0; geometry < 16; ++geometry) {
      Reg(0) = standard << 7 | geometry << 3;
      const bool vancWanted =
          ((standard == 0 || standard == 4) && (geometry == 8 || geometry == 13)) ||
          (standard == 1 && geometry == 9) ||
          (standard == 2 && (geometry == 6 || geometry == 14)) ||
          (standard == 3 && (geometry == 7 || geometry == 15)) || (standard == 5 && geometry == 12);
      const bool tallWanted =
          (standard == 2 && geometry == 14) || (standard == 3 && geometry == 15);
      bool vanc = !vancWanted, tall = !tallWanted;
      EXPECT_TRUE(card_.GetVancMode(&vanc, &tall));
      EXPECT_EQ(vanc, vancWanted) << standard << ' ' << geometry;
      EXPECT_EQ(tall, tallWanted) << standard << ' ' << geometry;
    }
  }
}

TEST_F(Card, VancModeOfAnUnknownStandardFailsWithWords) {
  Open(BoardElm);
  Reg(0) = 6 << 7;
  bool vanc = true, tall = true;
  EXPECT_FALSE(card_.GetVancMode(&vanc, &tall));
  EXPECT_EQ(messages_.texts, Texts{"CRQD5Card::GetEnableVANCData(): Unsupported RQD5Standard "
                                   "requested."});
}

// ---- conversion and logic ----

TEST_F(Card, ConversionModesEqualTheWrittenTable) {
  for (const std::string& line : test::GoldenLines("conversion_modes.txt")) {
    uint32_t mode = 0, input = 0, output = 0, level = 0, segmented = 0, a = 0, b = 0;
    std::istringstream(line) >> mode >> input >> output >> level >> segmented >> a >> b;
    const uint32_t onIlex = b == 0 ? 0 : b + 8;
    const struct {
      uint32_t identity, bitfile;
    } kBoards[] = {{BoardAlder, a}, {BoardElm, b}, {BoardIlex, onIlex}, {BoardCedar, 0}};
    for (const auto& board : kBoards) {
      Open(board.identity);
      EXPECT_TRUE(card_.SetConversionMode(mode));
      EXPECT_EQ(Reg(131), input | output << 12 | level << 6 | segmented << 15) << line;
      EXPECT_EQ(Reg(10050), board.bitfile) << line << BoardName(board.identity);
    }
  }
}

TEST_F(Card, ConversionSwitchesItsLogicOnce) {
  Open(BoardElm);
  EXPECT_TRUE(card_.SetConversionMode(4));
  EXPECT_EQ(Reg(131), 2u);
  EXPECT_EQ(ValuesWrittenTo(10050), Values{10});
  EXPECT_TRUE(card_.SetConversionMode(4));
  EXPECT_EQ(ValuesWrittenTo(10050), Values{10});
}

// Deliberate: Ilex goes by Elm's identity, so that 237 of its registers are saved and not 2624.
TEST_F(Card, IlexSwitchesByElmsIdentity) {
  Open(BoardIlex);
  EXPECT_TRUE(card_.SetConversionMode(4));
  EXPECT_EQ(ValuesWrittenTo(10050), Values{18});
  uint32_t highest = 0;
  for (const auto& call : port_.calls) {
    if (call.IsRead() && call.Register() < 10000) highest = std::max(highest, call.Register());
  }
  EXPECT_EQ(highest, 236u);
}

TEST_F(Card, AModeBeyondTheTableChangesNothing) {
  Open(BoardElm);
  EXPECT_FALSE(card_.SetConversionMode(30));
  EXPECT_TRUE(port_.Writes().empty());
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

// ---- identity ----

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
