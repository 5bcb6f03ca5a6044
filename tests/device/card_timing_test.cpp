// Output timing and reference of the card control.
#include <gtest/gtest.h>

#include <vector>

#include "device/card_rig.h"

namespace morvane {
namespace {

using Card = test::CardRig;
using test::Values;

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

}  // namespace
}  // namespace morvane
