#include "toolkit/core/text_input.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <utility>

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

// Every minute of a day, where numbers are left out and where not.
TEST(TypedNumber, ATimecodeThatWasTypedIsShown) {
  const struct {
    int32_t scale, rate, frames;  // the highest number of a second is one less
  } kRates[] = {{24000, 1000, 24}, {24000, 1001, 24}, {25000, 1000, 25}, {30000, 1000, 30},
                {30000, 1001, 30}, {50000, 1000, 25}, {60000, 1000, 30}, {60000, 1001, 30}};
  for (const auto& row : kRates) {
    for (const int drop : {0, 1}) {
      WindowState state;
      state.numberType = 2;
      state.timeScale = row.scale;
      state.timeRate = row.rate;
      state.dropFrame = drop;
      const bool drops = drop != 0 && row.frames == 30;
      const char mark = drops ? ';' : ':';
      for (int minute = 0; minute < 24 * 60; ++minute) {
        for (const auto& [second, frame] : {std::pair(0, 0), std::pair(0, 1), std::pair(0, 2),
                                            std::pair(1, 0), std::pair(59, row.frames - 1)}) {
          char typed[16];
          snprintf(typed, sizeof typed, "%02d%02d%02d%02d", minute / 60, minute % 60, second,
                   frame);
          // The two numbers that a minute lacks become its first.
          const bool lacks = drops && minute % 10 != 0 && second == 0 && frame < 2;
          char shown[16];
          snprintf(shown, sizeof shown, "%02d%c%02d%c%02d%c%02d", minute / 60, mark, minute % 60,
                   mark, second, mark, lacks ? 2 : frame);
          state.value = Typed(state, typed);
          ASSERT_EQ(shown, toolkit::NumberText(state)) << row.scale << "/" << row.rate;
          // The text that the application reads and puts again says the same.
          int32_t again = -999;
          ASSERT_TRUE(toolkit::ReadNumberText(state, shown, &again));
          ASSERT_EQ(state.value, again) << shown;
        }
      }
    }
  }
}

TEST(TypedNumber, AtSixtyATimecodeCountsPairs) {
  WindowState state;
  state.numberType = 2;
  state.timeScale = 60000;
  state.timeRate = 1001;
  EXPECT_EQ(36000, Typed(state, "00:10:00:00"));
  EXPECT_EQ(10, Typed(state, "5"));
  state.dropFrame = 1;
  EXPECT_EQ(2 * 17982, Typed(state, "00;10;00;00"));
  EXPECT_EQ(2 * 1800, Typed(state, "00;01;00;02"));
  EXPECT_EQ(-2 * 17982, Typed(state, "-00;10;00;00"));
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
