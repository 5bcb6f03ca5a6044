#include "toolkit/core/text_input.h"

#include <gtest/gtest.h>

#include "toolkit/core/user_events.h"

namespace morvane::test {
namespace {

using toolkit::CutCharacters;
using toolkit::FilterTyped;
using toolkit::ReadTypedNumber;
using toolkit::WindowState;

int32_t Typed(const WindowState& state, const char* text) {
  int32_t value = -999;
  return ReadTypedNumber(state, text, &value) ? value : -999;
}

TEST(TypedNumber, DigitsAreFoundAndTheRestIsNot) {
  const WindowState number;
  EXPECT_EQ(12, Typed(number, "12"));
  EXPECT_EQ(-12, Typed(number, "-12"));
  EXPECT_EQ(12, Typed(number, " 12 frames"));
  EXPECT_EQ(12, Typed(number, "- 12"));
  EXPECT_EQ(-999, Typed(number, ""));
  EXPECT_EQ(-999, Typed(number, "abc"));
  EXPECT_EQ(INT32_MAX, Typed(number, "99999999999999999999999"));
  EXPECT_EQ(INT32_MIN, Typed(number, "-99999999999999999999999"));
}

TEST(TypedNumber, ATimecodeIsTakenFromTheRight) {
  WindowState timecode;
  timecode.numberType = 2;
  timecode.timeScale = 25000;
  timecode.timeRate = 1000;
  EXPECT_EQ(5, Typed(timecode, "5"));
  EXPECT_EQ(30, Typed(timecode, "105"));
  EXPECT_EQ(90000, Typed(timecode, "01:00:00:00"));
  EXPECT_EQ(-999, Typed(timecode, "::"));
}

TEST(TypedText, KindsOfCharactersAreLeftOut) {
  WindowState state;
  EXPECT_EQ("aÄ1 -", FilterTyped(state, "aÄ1 -"));
  EXPECT_EQ("ab", FilterTyped(state, "a\nb\t"));
  state.others = false;
  EXPECT_EQ("aÄ1", FilterTyped(state, "aÄ1 -"));
  state.letters = false;
  EXPECT_EQ("1", FilterTyped(state, "aÄ1 -"));
  state.digits = false;
  EXPECT_EQ("", FilterTyped(state, "aÄ1 -"));
}

TEST(TypedText, TheLimitCountsCharacters) {
  EXPECT_EQ("äö", CutCharacters("äöü", 2));
  EXPECT_EQ("äöü", CutCharacters("äöü", 3));
  EXPECT_EQ("äöü", CutCharacters("äöü", 0));
  EXPECT_EQ("a€", CutCharacters("a€b", 2));
  EXPECT_EQ("", CutCharacters("", 2));
  EXPECT_EQ("\xC3", CutCharacters("\xC3", 2));  // half a character
}

TEST(NumberText, IsRefusedForRatesThatTimecodeHasNot) {
  EXPECT_TRUE(toolkit::IsTimecodeRate(30000, 1001));
  EXPECT_TRUE(toolkit::IsTimecodeRate(60000, 1000));
  EXPECT_FALSE(toolkit::IsTimecodeRate(15000, 1000));
  EXPECT_FALSE(toolkit::IsTimecodeRate(25000, 1001));
  EXPECT_FALSE(toolkit::IsTimecodeRate(0, 0));
}

}  // namespace
}  // namespace morvane::test
