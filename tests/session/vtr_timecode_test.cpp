#include "session/vtr_timecode.h"

#include <gtest/gtest.h>

#include "device/golden_lines.h"

namespace morvane {
namespace {

const RQD5TimeBase& Base(uint32_t index) {
  return VtrTimeBases()[index];
}
constexpr uint32_t kNdf = 3, kDrop = 4;

TEST(VtrTimeBases, AreThoseOfTheWrittenTable) {
  std::vector<std::string> lines;
  for (size_t i = 0; i < VtrTimeBases().size(); ++i) {
    const RQD5TimeBase& base = VtrTimeBases()[i];
    lines.push_back(std::to_string(i) + "|" + base.name + "|" +
                    std::to_string(base.framesPerSecond) + "|" + std::to_string(base.scale) + "|" +
                    std::to_string(base.duration) + "|" + (base.dropFrame ? "yes" : "no"));
  }
  EXPECT_EQ(lines, test::GoldenLines("vtr_time_bases.txt"));
}

TEST(VtrTime, IsPackedFramesFirstTwoDigitsAByte) {
  EXPECT_EQ(PackVtrTime("01:20:10:00"), (VtrTime{0x00, 0x10, 0x20, 0x01}));
  EXPECT_EQ(PackVtrTime("23;59;58;29"), (VtrTime{0x29, 0x58, 0x59, 0x23}));
  EXPECT_EQ(PackVtrTime("99:99:99:99"), (VtrTime{0x99, 0x99, 0x99, 0x99}));
}

TEST(VtrTime, OfAnotherFormIsRefused) {
  for (const char* text : {"", "0", "01:20:10", "01:20:10:0", "01:20:10:000", "-1:20:10:00",
                           "01:20:1a:00", "01:20: 0:00", "-01:20:10:00", "xx:yy:zz:ww"}) {
    EXPECT_FALSE(PackVtrTime(text)) << text;
  }
}

TEST(VtrTime, FlagBitsAreMaskedAndLettersReadAsZero) {
  EXPECT_EQ(VtrTimeText({0x49, 0x58, 0x34, 0x12}, false), "12:34:58:09");
  EXPECT_EQ(VtrTimeText({0x49, 0x58, 0x34, 0x12}, true), "12;34;58;09");
  EXPECT_EQ(VtrTimeText({0xFF, 0xFF, 0xFF, 0xFF}, false), "30:70:70:30");
  EXPECT_EQ(VtrTimeText({0xC9, 0xD8, 0xB4, 0xD2}, false), "12:34:58:09");
  EXPECT_EQ(VtrTimeText({0x0A, 0x0B, 0x0C, 0x0F}, false), "00:00:00:00");
  EXPECT_EQ(NoVtrTimeText(true), "00;00;00;00");
}

struct StepCase {
  uint32_t base;
  const char* time;
  const char* next;
};

const StepCase kSteps[] = {
    {kNdf, "00:00:00:28", "00:00:00:29"},  {kNdf, "00:00:00:29", "00:00:01:00"},
    {kNdf, "00:00:59:29", "00:01:00:00"},  {kNdf, "00:59:59:29", "01:00:00:00"},
    {kNdf, "23:59:59:29", "00:00:00:00"},  {0, "10:00:00:23", "10:00:01:00"},
    {1, "10:00:00:24", "10:00:01:00"},     {2, "10:00:00:24", "10:00:01:00"},
    {kDrop, "00;09;59;29", "00;10;00;00"}, {kDrop, "00;10;00;29", "00;10;01;00"},
    {kDrop, "00;10;59;29", "00;11;00;02"}, {kDrop, "01;00;59;29", "01;01;00;02"},
    {kDrop, "00;01;00;02", "00;01;00;03"}, {kDrop, "00;59;59;29", "01;00;00;00"},
    {kDrop, "23;59;59;29", "00;00;00;00"}, {6, "01;00;59;29", "01;01;00;02"},
    {5, "01:00:59:29", "01:01:00:00"},
};

TEST(VtrTime, NextFrameCarries) {
  for (const StepCase& step : kSteps) {
    EXPECT_EQ(NextVtrTime(step.time, Base(step.base)), step.next) << step.time;
  }
}

TEST(VtrTime, PreviousFrameBorrows) {
  for (const StepCase& step : kSteps) {
    EXPECT_EQ(PreviousVtrTime(step.next, Base(step.base)), step.time) << step.next;
  }
}

TEST(VtrTime, BackFromAPlaceWithoutNumberGoesBeforeIt) {
  EXPECT_EQ(PreviousVtrTime("00;01;00;01", Base(kDrop)), "00;00;59;29");
  EXPECT_EQ(PreviousVtrTime("00;01;00;00", Base(kDrop)), "00;00;59;29");
}

TEST(VtrTime, NextAndPreviousUndoEachOtherOverADay) {
  const std::string first = "00;00;00;00";
  std::string time = first;
  uint32_t frames = 0;
  do {
    const std::string next = NextVtrTime(time, Base(kDrop));
    ASSERT_EQ(PreviousVtrTime(next, Base(kDrop)), time);
    time = next;
    ++frames;
  } while (time != first && frames <= 3000000);
  EXPECT_EQ(frames, 2589408u);  // frames of a day at 30000/1001
}

TEST(VtrTime, WildTextsStepToLegalOnes) {
  EXPECT_EQ(NextVtrTime("79:79:79:39", Base(kNdf)), "00:00:00:00");
  EXPECT_EQ(NextVtrTime("nonsense", Base(kNdf)), "nonsense");
  EXPECT_EQ(PreviousVtrTime("", Base(kNdf)), "");
}

}  // namespace
}  // namespace morvane
