// How tapes count.
#include "simulator/tape_track.h"

#include <gtest/gtest.h>

namespace morvane {
namespace {

TapeRate Rate(uint32_t videoFormat, bool drop = false) {
  return TapeRate::Of(videoFormat, drop);
}

TEST(TapeTrack, TheRateOfAFormat) {
  struct Row {
    uint32_t format;
    bool drop;
    TapeRate rate;
  };
  const Row rows[] = {
      {2, false, {30000, 1001, 30, false, false}},  {2, true, {30000, 1001, 30, true, false}},
      {33, true, {25000, 1000, 25, false, false}},  // drop frame is for 30 alone
      {35, false, {24000, 1000, 24, false, false}}, {17, false, {50000, 1000, 25, false, true}},
      {4, true, {60000, 1001, 30, true, true}},
  };
  for (const Row& row : rows) EXPECT_EQ(Rate(row.format, row.drop), row.rate) << row.format;
}

TEST(TapeTrack, KnownCounts) {
  EXPECT_EQ(TapeCountOfText(Rate(2), "01:00:00:00"), 108000);
  EXPECT_EQ(TapeCountOfText(Rate(2, true), "01;00;00;00"), 107892);
  EXPECT_EQ(TapeCountOfText(Rate(2, true), "00;01;00;02"), 1800);
  EXPECT_EQ(TapeTimecodeText(Rate(2, true), 1799), "00;00;59;29");
  EXPECT_EQ(TapeTimecodeText(Rate(2, true), 1800), "00;01;00;02");
  EXPECT_EQ(TapeTimecodeText(Rate(2, true), 17982), "00;10;00;00");
  EXPECT_EQ(TapeTimecodeText(Rate(33), 25 * 86400 - 1), "23:59:59:24");
  EXPECT_EQ(TapeTimecodeText(Rate(33), 25 * 86400), "00:00:00:00");
  // What drop frame leaves out is the next that exists.
  EXPECT_EQ(TapeCountOfText(Rate(2, true), "00;01;00;00"), 1800);
}

TEST(TapeTrack, EveryNumberOfADayComesBack) {
  for (const TapeRate& rate : {Rate(2), Rate(2, true), Rate(33), Rate(35)}) {
    for (int64_t count = 0; count < rate.DayCount(); count += count % 1790 < 20 ? 1 : 13) {
      const TimecodeFields fields = TapeTimecode(rate, count);
      ASSERT_EQ(TapeCount(rate, fields), count);
      ASSERT_FALSE(rate.dropFrame && fields.minutes % 10 != 0 && fields.seconds == 0 &&
                   fields.frames < 2)
          << count;
    }
  }
}

TEST(TapeTrack, TheBytesOfTheLine) {
  const TapeRate drop = Rate(2, true);
  const int64_t count = TapeCountOfText(drop, "12;34;56;19");
  EXPECT_EQ(TapeTimecodeBytes(drop, count), (std::vector<uint8_t>{0x59, 0x56, 0x34, 0x12}));
  EXPECT_EQ(TapeCountOfBytes(drop, std::vector<uint8_t>{0xD9, 0xD6, 0xB4, 0xD2}), count);
  // Digits above nine count on, and never further than a day.
  const int64_t wild = TapeCountOfBytes(Rate(2), std::vector<uint8_t>{0xFF, 0xFF, 0xFF, 0xFF});
  EXPECT_GE(wild, 0);
  EXPECT_LT(wild, Rate(2).DayCount());
}

TEST(TapeTrack, FindsItsNumbersAndTheNearerEndForOthers) {
  const PlainTrack track(Rate(33), 25 * 3600, 100);
  EXPECT_EQ(track.Find(25 * 3600), 0);
  EXPECT_EQ(track.Find(25 * 3600 + 99), 99);
  EXPECT_EQ(track.Find(25 * 3600 + 100), 99);
  EXPECT_EQ(track.Find(25 * 3600 - 1), 0);
  const PlainTrack pairs(Rate(17), 1000, 100);
  EXPECT_EQ(pairs.CountAt(6), 1003);
  EXPECT_EQ(pairs.CountAt(7), 1003);
  EXPECT_EQ(pairs.Find(1003), 6);
  const PlainTrack midnight(Rate(33), 25 * 86400 - 10, 100);
  EXPECT_EQ(midnight.CountAt(10), 0);
  EXPECT_EQ(midnight.Find(5), 15);
}

}  // namespace
}  // namespace morvane
