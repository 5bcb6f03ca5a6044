#include "processing/timecode.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>

namespace morvane {
namespace {

struct Out {
  int32_t result;
  std::string text;
};

Out Text(int32_t frame, int32_t scale, int32_t rate, bool drop) {
  char text[kTimecodeTextBytes];
  std::memset(text, 'x', sizeof text);
  const int32_t result = FrameToTimecodeText(frame, scale, rate, drop, text);
  return {result, text};
}

uint32_t Bcd(int32_t frame, int32_t scale, int32_t rate, bool drop) {
  uint32_t word = 0xDEADBEEF;
  EXPECT_EQ(FrameToTimecodeBcd(frame, scale, rate, drop, &word), 0);
  return word;
}

uint32_t Frame(const std::string& text, int32_t scale, int32_t rate, bool drop) {
  uint32_t frame = 0xDEADBEEF;
  EXPECT_EQ(TimecodeTextToFrame(text.c_str(), scale, rate, drop, &frame), 0) << text;
  return frame;
}

uint32_t FrameOfBcd(uint32_t word, int32_t scale, int32_t rate, bool drop) {
  uint32_t frame = 0xDEADBEEF;
  EXPECT_EQ(TimecodeBcdToFrame(static_cast<int32_t>(word), scale, rate, drop, &frame), 0);
  return frame;
}

std::string Normalized(const std::string& input, int rateClass, bool drop) {
  char text[kTimecodeTextBytes];
  EXPECT_EQ(NormalizeTimecodeText(input.c_str(), text, rateClass, drop), 0);
  return text;
}

uint32_t Compared(const char* a, const char* b) {
  uint32_t result = 99;
  EXPECT_EQ(CompareTimecodeText(a, b, &result), 0);
  return result;
}

TEST(Timecode, TextOfACount) {
  const struct {
    int32_t frame, scale, rate;
    bool drop;
    const char* text;
  } kRows[] = {
      {0, 25000, 1000, false, "00:00:00:00"},      {1800, 30000, 1001, true, "00;01;00;02"},
      {1799, 30000, 1001, true, "00;00;59;29"},    {17981, 30000, 1001, true, "00;09;59;29"},
      {17982, 30000, 1001, true, "00;10;00;00"},   {107892, 30000, 1001, true, "01;00;00;00"},
      {2589407, 30000, 1001, true, "23;59;59;29"}, {1800, 30000, 1000, true, "00;01;00;02"},
      {1800, 30000, 1001, false, "00:01:00:00"},   {1800, 24000, 1001, true, "00:01:15:00"},
      {1800, 25000, 1000, true, "00:01:12:00"},    {-1, 25000, 1000, false, "-00:00:00:01"},
      {-1800, 30000, 1001, true, "-00;01;00;02"},  {100, 50000, 1000, false, "00:00:02:00"},
      {100, 50000, 1000, true, "00:00:02:00"},     {101, 50000, 1000, false, "00:00:02:01"},
      {101, 60000, 1001, true, "00;00;01;21"},     {3600, 60000, 1001, true, "00;01;00;02"},
      {3600, 60000, 1000, false, "00:01:00:00"},   {15000, 15000, 1001, false, "00:10:25:00"},
      {15000, 15000, 1000, true, "00:10:25:00"},
  };
  for (const auto& row : kRows) {
    const Out out = Text(row.frame, row.scale, row.rate, row.drop);
    EXPECT_EQ(out.result, 0) << row.text;
    EXPECT_EQ(out.text, row.text) << row.frame << " at " << row.scale << "/" << row.rate;
  }
}

TEST(Timecode, RateTable) {
  // Base and halving show in the text of 3600, drop in its separator, the way in in 00:00:01:00.
  const struct {
    int32_t scale, rate;
    const char* out;   // of 3600 frames with the flag set; null is refused
    int32_t inSecond;  // frames of one second on the way in; -1 is refused
  } kRows[] = {
      {24000, 1000, "00:02:30:00", 24},
      {24000, 1001, "00:02:30:00", 24},
      {15000, 1000, "00:02:30:00", -1},
      {15000, 1001, "00:02:30:00", -1},
      {25000, 1000, "00:02:24:00", 25},
      {25000, 1001, nullptr, -1},
      {30000, 1000, "00;02;00;04", 30},
      {30000, 1001, "00;02;00;04", 30},
      {50000, 1000, "00:01:12:00", 50},
      {50000, 1001, nullptr, -1},
      {60000, 1000, "00;01;00;02", 60},
      {60000, 1001, "00;01;00;02", 60},
      {48000, 1000, nullptr, -1},
      {24000, 1002, nullptr, -1},
      {30, 1, nullptr, -1},
      {0, 0, nullptr, -1},
      {30000, 0, nullptr, -1},
  };
  for (const auto& row : kRows) {
    const Out out = Text(3600, row.scale, row.rate, true);
    EXPECT_EQ(out.result, row.out == nullptr ? 1 : 0) << row.scale << "/" << row.rate;
    EXPECT_EQ(out.text, row.out == nullptr ? "00:00:00:00" : row.out);
    uint32_t word = 7;
    EXPECT_EQ(FrameToTimecodeBcd(3600, row.scale, row.rate, 1, &word), row.out == nullptr ? 1 : 0);
    if (row.out == nullptr) {
      EXPECT_EQ(word, 0u);
    }
    uint32_t frame = 7;
    const int32_t in = TimecodeTextToFrame("00:00:01:00", row.scale, row.rate, 1, &frame);
    EXPECT_EQ(in, row.inSecond < 0 ? 1 : 0);
    EXPECT_EQ(frame, row.inSecond < 0 ? 0u : static_cast<uint32_t>(row.inSecond));
    frame = 7;
    EXPECT_EQ(TimecodeBcdToFrame(0x00010000, row.scale, row.rate, 1, &frame), in);
    EXPECT_EQ(frame, row.inSecond < 0 ? 0u : static_cast<uint32_t>(row.inSecond));
  }
}

TEST(Timecode, HoursClampAndWrapAsWritten) {
  EXPECT_EQ(Text(2589408, 30000, 1001, true).text, "23;00;00;00");
  EXPECT_EQ(Text(24 * 3600 * 25, 25000, 1000, false).text, "23:00:00:00");
  EXPECT_EQ(Text(59 * 3600 * 25, 25000, 1000, false).text, "23:00:00:00");
  EXPECT_EQ(Text(60 * 3600 * 25, 25000, 1000, false).text, "00:00:00:00");
  // No wrap in drop frame: 60 hours stay at 23.
  EXPECT_EQ(Text(60 * 107892, 30000, 1001, true).text, "23;00;00;00");
}

TEST(Timecode, ExtremeCountsDoNotTrap) {
  const int32_t kMax = std::numeric_limits<int32_t>::max();
  const int32_t kMin = std::numeric_limits<int32_t>::min();
  for (const bool drop : {false, true}) {
    for (const int32_t scale : {24000, 30000, 60000}) {
      EXPECT_EQ(Text(kMax, scale, 1001, drop).result, 0);
      const Out low = Text(kMin, scale, 1001, drop);
      EXPECT_EQ(low.result, 0);
      EXPECT_EQ(low.text.size(), 12u);
      EXPECT_EQ(low.text[0], '-');
    }
  }
  // 2147483648 at 25: 23860 h 55 min 45 s 23; 23860 mod 60 is 40, clamped.
  EXPECT_EQ(Text(kMin, 25000, 1000, false).text, "-23:55:45:23");
  EXPECT_EQ(Text(kMax, 25000, 1000, false).text, "23:55:45:22");
  EXPECT_EQ(Bcd(kMin, 25000, 1000, false), 0x23455523u);
  EXPECT_EQ(Bcd(kMax, 25000, 1000, false), 0x22455523u);
  // Both halve to 1073741824 in single precision: 11930 h 27 min 52 s 24; 11930 mod 60 is 50.
  EXPECT_EQ(Text(kMin, 50000, 1000, false).text, "-23:27:52:24");
  EXPECT_EQ(Text(kMax, 50000, 1000, false).text, "23:27:52:24");
  EXPECT_EQ(Bcd(kMin, 50000, 1000, false), 0x24522723u);
  EXPECT_EQ(Bcd(kMax, 50000, 1000, false), 0x24522723u);
}

TEST(Timecode, HalvingIsInSinglePrecision) {
  // 33554435 becomes 33554436 and 33554433 becomes 33554432 in 24 bits.
  // 16777218 and 16777216 at 25: 186 h mod 60 is 6.
  EXPECT_EQ(Text(33554435, 50000, 1000, false).text, "06:24:48:18");
  EXPECT_EQ(Text(33554433, 50000, 1000, false).text, "06:24:48:16");
}

TEST(Timecode, PackedWordOfACount) {
  EXPECT_EQ(Bcd(1800, 30000, 1001, true), 0x02000100u);
  EXPECT_EQ(Bcd(-1, 25000, 1000, false), 0x01000000u);  // the sign is lost
  EXPECT_EQ(Bcd(2589407, 30000, 1001, true), 0x29595923u);
  EXPECT_EQ(Bcd(45296 * 30 + 19, 30000, 1000, false), 0x19563412u);
}

TEST(Timecode, CountOfAText) {
  EXPECT_EQ(Frame("00;01;00;02", 30000, 1001, true), 1800u);
  EXPECT_EQ(Frame("00;10;00;00", 30000, 1001, true), 17982u);
  EXPECT_EQ(Frame("01;00;00;00", 30000, 1001, true), 107892u);
  EXPECT_EQ(Frame("-00:00:00:01", 25000, 1000, false), 0xFFFFFFFFu);
  EXPECT_EQ(Frame("00:00:02:00", 50000, 1000, false), 100u);
  EXPECT_EQ(Frame("00:00:02:01", 50000, 1000, false), 102u);
  EXPECT_EQ(Frame("00;00;01;21", 60000, 1001, true), 102u);
  EXPECT_EQ(Frame("00;01;00;02", 60000, 1001, true), 3602u);
  // Two numbers a minute at 60 too, so the hour is longer than it was on the way out.
  EXPECT_EQ(Frame("01;00;00;00", 60000, 1001, true), 215892u);
  EXPECT_EQ(Text(7200, 60000, 1001, true).text, "00;02;00;04");
  EXPECT_EQ(Frame("00;02;00;04", 60000, 1001, true), 7204u);
}

TEST(Timecode, AnySeparatorIsAcceptedAndMissingFieldsAreZero) {
  EXPECT_EQ(Frame("01.02.03.04", 25000, 1000, false), uint32_t{(3600 + 123) * 25 + 4});
  EXPECT_EQ(Frame("", 25000, 1000, false), 0u);
  EXPECT_EQ(Frame("-", 25000, 1000, false), 0u);
  EXPECT_EQ(Frame("0", 25000, 1000, false), 0u);
  EXPECT_EQ(Frame("01", 25000, 1000, false), 3600u * 25);
  EXPECT_EQ(Frame("00:01:1", 25000, 1000, false), 61u * 25);
  EXPECT_EQ(Frame("00:00:00:", 25000, 1000, false), 0u);
  EXPECT_EQ(Frame("00:00:00: 7", 25000, 1000, false), 7u);
  EXPECT_EQ(Frame("xx:yy:00:07 and more", 25000, 1000, false), 7u);
}

TEST(Timecode, CountOfAPackedWord) {
  EXPECT_EQ(FrameOfBcd(0xC2000100, 30000, 1001, true), 1800u);  // the two top bits are masked
  EXPECT_EQ(FrameOfBcd(0x02000100, 30000, 1001, true), 1800u);
  EXPECT_EQ(FrameOfBcd(0x19563412, 30000, 1000, false), uint32_t{45296 * 30 + 19});
  // All four bits of hours, minutes and seconds count.
  EXPECT_EQ(FrameOfBcd(0x000000FF, 24000, 1000, false), 165u * 3600 * 24);
}

TEST(Timecode, EveryFrameOfADayComesBack) {
  const struct {
    int32_t scale, rate, base;
    bool drop;
  } kRows[] = {{24000, 1000, 24, false},
               {25000, 1000, 25, false},
               {30000, 1000, 30, false},
               {30000, 1001, 30, true}};
  for (const auto& row : kRows) {
    const int32_t frames = row.drop ? 24 * 107892 : 24 * 3600 * row.base;
    // In drop frame every frame of an hour, then steps that share no factor with a minute.
    for (int32_t f = 0; f < frames; f += row.drop && f > 110000 ? 7 : 1) {
      char text[kTimecodeTextBytes];
      uint32_t back = 0, word = 0, wordBack = 0;
      FrameToTimecodeText(f, row.scale, row.rate, row.drop, text);
      TimecodeTextToFrame(text, row.scale, row.rate, row.drop, &back);
      FrameToTimecodeBcd(f, row.scale, row.rate, row.drop, &word);
      TimecodeBcdToFrame(static_cast<int32_t>(word), row.scale, row.rate, row.drop, &wordBack);
      ASSERT_EQ(back, static_cast<uint32_t>(f)) << text;
      ASSERT_EQ(wordBack, static_cast<uint32_t>(f)) << text;
    }
  }
}

TEST(Timecode, OddCountsAtDoubleRatesComeBackOneHigher) {
  for (int32_t f = 0; f < 100000; ++f) {
    const uint32_t even = static_cast<uint32_t>(f + f % 2);
    ASSERT_EQ(Frame(Text(f, 50000, 1000, false).text, 50000, 1000, false), even);
    ASSERT_EQ(Frame(Text(f, 60000, 1000, false).text, 60000, 1000, false), even);
  }
}

TEST(Timecode, WordOfATextIsDigitByDigit) {
  const auto word = [](const char* text) {
    uint32_t value = 0xDEADBEEF;
    uint8_t bytes[32] = {};
    std::memcpy(bytes, text, std::strlen(text));
    EXPECT_EQ(TimecodeTextToBcd(bytes, &value, 48000, 7, 1, 0), 0);
    return value;
  };
  EXPECT_EQ(word("12:34:56:19"), 0x19563412u);
  EXPECT_EQ(word("12;34;56;19"), 0x19563412u);
  EXPECT_EQ(word("99:99:99:99"), 0x99999999u);
  EXPECT_EQ(word("-12:34:56:19"), 0x19563412u);
  EXPECT_EQ(word("1x:y4:56:19"), 0x19560410u);
  EXPECT_EQ(word("12:34"), 0x00003412u);
  EXPECT_EQ(word(""), 0u);
}

TEST(Timecode, NormalizedText) {
  const struct {
    const char* input;
    int rateClass;
    bool drop;
    const char* text;
  } kRows[] = {
      {"99999999", 0, false, "23:59:59:23"},
      {"99999999", 1, false, "23:59:59:24"},
      {"99999999", 2, false, "23:59:59:29"},
      {"00010000", 2, true, "00;01;00;02"},
      {"00010001", 2, true, "00;01;00;02"},
      {"00010002", 2, true, "00;01;00;02"},
      {"00010003", 2, true, "00;01;00;03"},
      {"00010100", 2, true, "00;01;01;00"},
      {"00100000", 2, true, "00;10;00;00"},
      {"00110000", 2, true, "00;11;00;02"},
      {"00010000", 2, false, "00:01:00:00"},
      {"00010000", 1, true, "00:01:00:00"},
      {"", 2, false, "00:00:00:00"},
      {"", 2, true, "00;00;00;00"},
      {"-", 1, false, "-00:00:00:00"},
      {"-5", 1, false, "-00:00:00:05"},
      {"1:2:3", 1, false, "00:00:01:23"},
      {"01:02:03:04", 1, false, "01:02:03:04"},
      {"1 h 2 m", 1, false, "00:00:00:12"},
      {"123456789", 1, false, "12:34:56:24"},  // the first eight digits
      {"19", 0, false, "00:00:00:19"},
      {"24", 0, false, "00:00:00:23"},
      {"29", 1, false, "00:00:00:24"},
      {"25000000", 1, false, "23:00:00:00"},
      {"19000000", 1, false, "19:00:00:00"},
      {"31000000", 1, false, "21:00:00:00"},  // by characters, not by value
      {"00606000", 1, false, "00:50:50:00"},
      {"00000031", 2, false, "00:00:00:21"},
      {"00000031", 7, true, "00:00:00:21"},  // an unknown class counts as 30, never dropping
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(Normalized(row.input, row.rateClass, row.drop), row.text)
        << '"' << row.input << "\" class " << row.rateClass;
  }
}

TEST(Timecode, ComparedDigitByDigit) {
  EXPECT_EQ(Compared("00:00:10:00", "00:00:09:29"), 1u);
  EXPECT_EQ(Compared("00:00:09:29", "00:00:10:00"), 2u);
  EXPECT_EQ(Compared("12:34:56:07", "12;34;56;07"), 0u);
  EXPECT_EQ(Compared("12:34:56:07", "12:34:56:08"), 2u);
  EXPECT_EQ(Compared("20:00:00:00", "19:59:59:24"), 1u);
  EXPECT_EQ(Compared("", ""), 0u);
}

TEST(Timecode, CardWordsOfFieldsAndText) {
  const Rp188Timecode words = PackRp188("12;34;56;19");
  EXPECT_EQ(words.low, 0x05060509u);
  EXPECT_EQ(words.high, 0x01020304u);
  EXPECT_EQ(words.flags, 0x00010000u);
  EXPECT_EQ(PackRp188(TimecodeFields{12, 34, 56, 19, true}), words);
  EXPECT_EQ(PackRp188("12:34:56:19").low, 0x05060109u);
  EXPECT_EQ(PackRp188("-12:34:56:19").low, 0x05060109u);

  char text[kTimecodeTextBytes];
  ASSERT_TRUE(UnpackRp188(words, text));
  EXPECT_STREQ(text, "12;34;56;19");
  ASSERT_TRUE(UnpackRp188(PackRp188("23:59:59:24"), text));
  EXPECT_STREQ(text, "23:59:59:24");
}

TEST(Timecode, FieldIdSitsInSwappedBits) {
  const uint32_t kBits[] = {0x00, 0x20, 0x10, 0x30};
  for (int id = 0; id < 4; ++id) {
    const Rp188Timecode words = PackRp188("12:34:56:19", id);
    EXPECT_EQ(words.low, 0x05060109u | kBits[id]);
    EXPECT_EQ(Rp188FieldId(words), id);
    TimecodeFields fields;
    ASSERT_TRUE(UnpackRp188(words, &fields));
    EXPECT_EQ(fields, (TimecodeFields{12, 34, 56, 19, false}));
  }
}

TEST(Timecode, CardWordsThatAreNotValidLeaveTheTargetAlone) {
  Rp188Timecode words = PackRp188("12:34:56:19");
  TimecodeFields fields{1, 2, 3, 4, false};
  words.flags = 0;
  EXPECT_FALSE(UnpackRp188(words, &fields));
  words = PackRp188("12:34:56:19");
  words.low |= 0xF;
  EXPECT_FALSE(UnpackRp188(words, &fields));
  EXPECT_EQ(fields, (TimecodeFields{1, 2, 3, 4, false}));
  char text[kTimecodeTextBytes] = "as it was";
  EXPECT_FALSE(UnpackRp188(words, text));
  EXPECT_STREQ(text, "as it was");
  // Foreign user bits in the other nibbles do no harm.
  words = PackRp188("12:34:56:19");
  words.low |= 0xF000F0C0;
  words.high |= 0xF0F0F0F0;
  ASSERT_TRUE(UnpackRp188(words, text));
  EXPECT_STREQ(text, "12:34:56:19");
}

}  // namespace
}  // namespace morvane
