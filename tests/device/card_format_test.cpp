// Formats, geometries and memory figures of the card control.
#include <gtest/gtest.h>

#include "device/card_rig.h"

namespace morvane {
namespace {

using Card = test::CardRig;
using test::Texts;
using test::Values;

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

TEST_F(Card, TheFiguresFollowTheLargestChannelWhenAFormatChanges) {
  Open(BoardQuince);
  EXPECT_TRUE(card_.SetFrameBufferFormat(1, 16));
  EXPECT_TRUE(card_.SetFrameBufferFormat(2, 16));
  EXPECT_EQ(card_.FrameSlots(), 32u);
  EXPECT_TRUE(card_.SetFrameBufferFormat(2, 0));  // channel 1 still holds 48-bit frames
  EXPECT_EQ(card_.FrameSlots(), 32u);
  EXPECT_EQ(card_.FrameSlotBytes(), 16u << 20);
  EXPECT_TRUE(card_.SetFrameBufferFormat(1, 0));
  EXPECT_EQ(card_.FrameSlots(), 64u);
  EXPECT_TRUE(card_.SetFrameBufferFormat(2, 16));
  EXPECT_EQ(card_.FrameSlots(), 32u);
  EXPECT_TRUE(card_.SetFrameBufferFormat(9, 16));
  EXPECT_TRUE(card_.SetFrameBufferFormat(9, 0));
  EXPECT_EQ(card_.FrameSlots(), 32u);
}

TEST_F(Card, RefusedWritesLeaveTheFigures) {
  Open(BoardElm);
  port_.refusedRegisters = {0};
  EXPECT_FALSE(card_.SetFrameGeometry(10));
  EXPECT_EQ(card_.FrameSlots(), 32u);
  EXPECT_EQ(card_.FrameSlotBytes(), 8u << 20);
  port_.refusedRegisters.clear();
  port_.refusedWrites = {0};
  EXPECT_FALSE(card_.SetFrameGeometry(10));
  EXPECT_EQ(card_.FrameSlots(), 32u);

  port_.refusedWrites.clear();
  Open(BoardQuince);
  port_.refusedWrites = {1};
  EXPECT_FALSE(card_.SetFrameBufferFormat(1, 16));
  EXPECT_EQ(card_.FrameSlots(), 64u);
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
  for (uint32_t standard = 1; standard < 8; ++standard) {
    Reg(0) = standard << 7 | 0x400005;  // a rate that is nowhere in the table
    format = 99;
    EXPECT_FALSE(card_.GetVideoFormat(&format));
    EXPECT_EQ(format, 0u);
    EXPECT_EQ(messages_.texts.back(), "Unsupported video standard requested.") << standard;
  }
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

}  // namespace
}  // namespace morvane
