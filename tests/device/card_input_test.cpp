// Inputs and conversion of the card control.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

#include "device/card_rig.h"
#include "device/golden_lines.h"

namespace morvane {
namespace {

using Card = test::CardRig;
using test::Values;

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

}  // namespace
}  // namespace morvane
