// The small parts under the clip classes: records, timecode, file object, text.
#include <gtest/gtest.h>

#include <cstring>

#include "media/clip_builder.h"
#include "media/media_timecode.h"
#include "support/test_environment.h"

namespace morvane::test {
namespace {

TEST(MediaRecords, MergeCopiesOnlyNamedSections) {
  NxMediaMetadata from = {};
  PutText("REEL", from.reelName, sizeof from.reelName);
  PutText("SHOT", from.shot, sizeof from.shot);
  NxMediaMetadata into = {};
  EXPECT_EQ(MergeMetadata(from, &into), -2);
  const NxMediaMetadata none = {};
  EXPECT_EQ(std::memcmp(&into, &none, sizeof none), 0) << "nothing named changes nothing";
  from.presentFlags = kMetaReelName;
  EXPECT_EQ(MergeMetadata(from, &into), 0);
  EXPECT_STREQ(into.reelName, "REEL");
  EXPECT_STREQ(into.shot, "");
  const auto* bytes = reinterpret_cast<const uint8_t*>(&into);
  const std::vector<uint8_t> block(bytes, bytes + sizeof into);
  EXPECT_EQ(Hex(block, 0, 8), "0100000008000000");
  EXPECT_EQ(Hex(block, 107, 4), "5245454c");
  EXPECT_EQ(Hex(block, 395, 8), "01000000fc050000");
  EXPECT_EQ(Hex(block, 4088, 8), "0010000078563412");
}

TEST(MediaRecords, MergeTakesEachSection) {
  NxMediaMetadata from;
  std::memset(static_cast<void*>(&from), 'x', sizeof from);
  struct Part {
    uint32_t bit;
    size_t offset, bytes;
  };
  const Part parts[] = {{1, 8, 14},    {2, 22, 21},    {4, 43, 64},
                        {8, 107, 32},  {16, 139, 128}, {32, 267, 64},
                        {64, 331, 32}, {128, 363, 32}, {256, 403, 1524}};
  for (const Part& part : parts) {
    NxMediaMetadata into = {};
    from.presentFlags = part.bit;
    ASSERT_EQ(MergeMetadata(from, &into), 0);
    EXPECT_EQ(into.presentFlags, part.bit);
    const auto* bytes = reinterpret_cast<const uint8_t*>(&into);
    for (size_t i = 8; i < 4088; ++i) {
      if (i >= 395 && i < 403) continue;  // the extended section's own head
      const bool inside = i >= part.offset && i < part.offset + part.bytes;
      ASSERT_EQ(bytes[i], inside ? 'x' : 0) << part.bit << " at " << i;
    }
  }
}

NxMediaMetadata Stamped(uint32_t word, int32_t scale, int32_t rate, uint8_t drop) {
  NxMediaMetadata metadata = {};
  metadata.presentFlags = kMetaTimeCode;
  metadata.timeCode = word;
  metadata.userBits = 0x12345678;
  metadata.timeCodeType = 2;
  metadata.dropFrame = drop;
  metadata.tcScale = scale;
  metadata.tcRate = rate;
  return metadata;
}

TEST(MediaTimecode, FrameIsAddedToTheStart) {
  NxTimeCodeRecord record;
  ASSERT_EQ(TimecodeOfFrame(Stamped(0x24590001, 25000, 1000, 0), 1, &record), 0);
  EXPECT_EQ(record.timeCode, 0x00000101u) << "01:00:59:24 and one frame";
  EXPECT_EQ(record.flags, 2u);
  EXPECT_EQ(record.tcScale, 25000);
  EXPECT_EQ(record.timeCodeType, 2u);
  ASSERT_EQ(TimecodeOfFrame(Stamped(0x00000001, 30000, 1001, 1), 1800, &record), 0);
  EXPECT_EQ(record.timeCode, 0x02000101u) << "01;01;00;02";
}

TEST(MediaTimecode, StartAtSixtyComesBack) {
  NxTimeCodeRecord record;
  ASSERT_EQ(TimecodeOfFrame(Stamped(0x00000001, 60000, 1001, 1), 0, &record), 0);
  EXPECT_EQ(record.timeCode, 0x00000001u) << "01;00;00;00";
  ASSERT_EQ(TimecodeOfFrame(Stamped(0x00000001, 60000, 1001, 1), 2, &record), 0);
  EXPECT_EQ(record.timeCode, 0x01000001u) << "two frames are one count";
}

TEST(MediaTimecode, RefusedRateGivesAZeroWord) {
  NxTimeCodeRecord record;
  ASSERT_EQ(TimecodeOfFrame(Stamped(0x05000001, -1, -1, 0), 3, &record), 0);
  EXPECT_EQ(record.flags, 2u);
  EXPECT_EQ(record.timeCode, 0u);
}

TEST(MediaTimecode, NoneIsAZeroRecord) {
  NxTimeCodeRecord record;
  std::memset(static_cast<void*>(&record), 'x', sizeof record);
  NxMediaMetadata metadata = Stamped(1, 25000, 1000, 0);
  EXPECT_EQ(TimecodeOfFrame(metadata, -1, &record), -2);
  const NxTimeCodeRecord none = {};
  EXPECT_EQ(std::memcmp(&record, &none, sizeof none), 0);
  metadata.presentFlags = kMetaReelName;
  EXPECT_EQ(TimecodeOfFrame(metadata, 0, &record), -2);
}

TEST(FileHandle, SeekOriginsHaveTheirNumbers) {
  EXPECT_EQ(NxSeekBegin, 1);
  EXPECT_EQ(NxSeekCurrent, 2);
  EXPECT_EQ(NxSeekEnd, 3);
}

TEST(FileHandle, OffsetsSeeksAndRefusals) {
  const std::string path = FreshFolder("handle") + "/f";
  NxFileHandle file;
  uint8_t buffer[8] = {};
  uint64_t done = 9;
  EXPECT_EQ(file.Read(buffer, 4, &done), 10001);
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(file.Write(buffer, 4), 10001);
  EXPECT_EQ(file.Seek64(0, NxSeekBegin), 10001);
  EXPECT_EQ(file.Close(), 10001);
  EXPECT_EQ(file.OpenA(path.c_str(), kOpenExisting, kAccessRead), -2);
  ASSERT_EQ(file.OpenA(path.c_str(), kCreateNew, kAccessRead | kAccessWrite | 0x40), 0);
  EXPECT_EQ(file.OpenA(path.c_str(), kCreateNew, kAccessRead), 10002);
  EXPECT_EQ(file.Write("abcdefgh", 8), 0);
  EXPECT_EQ(file.SeekScaled(-2, 2, NxSeekCurrent), 0);
  EXPECT_EQ(file.Read(buffer, 8, &done), 0);
  EXPECT_EQ(done, 4u);
  EXPECT_EQ(buffer[0], 'e');
  EXPECT_EQ(file.Seek64(-1, NxSeekEnd), 0);
  EXPECT_EQ(file.Read(buffer, 1, nullptr), 0);
  EXPECT_EQ(buffer[0], 'h');
  EXPECT_EQ(file.Seek64(-9, NxSeekEnd), -2);
  EXPECT_EQ(file.SeekScaled(INT64_MAX, 2, NxSeekBegin), -2);
  uint64_t bytes = 0;
  EXPECT_EQ(file.GetSize(&bytes), 0);
  EXPECT_EQ(bytes, 8u);
  EXPECT_EQ(file.Close(), 0);
  EXPECT_EQ(file.OpenA(path.c_str(), kCreateNew, kAccessWrite), -2);
  EXPECT_EQ(ReadText(path), "abcdefgh") << "only-new leaves what is there";
  ASSERT_EQ(file.OpenA(path.c_str(), kCreateOrTruncate, kAccessWrite), 0);
  EXPECT_EQ(file.GetSize(&bytes), 0);
  EXPECT_EQ(bytes, 0u);
}

TEST(MediaText, CleanTextIsAlwaysTaken) {
  EXPECT_EQ(CleanText("a\tb\x1F\x7F"), "ab\x7F");
  EXPECT_EQ(CleanText("\xC3\x84"), "\xC3\x84");
  EXPECT_EQ(CleanText("\xC3"), "\xC3\x83") << "half a character counts as Latin-1";
  EXPECT_EQ(CleanText("\xED\xA0\x80").size(), 6u) << "a surrogate is no UTF-8";
  EXPECT_EQ(CleanText("x\xEF\xBF\xBFy"), "xy");
}

TEST(MediaText, CutsBetweenCharacters) {
  char narrow[4];
  PutText("ab\xC3\x84", narrow, sizeof narrow);
  EXPECT_STREQ(narrow, "ab");
  char16_t wide[4];
  ASSERT_TRUE(PutText("ab\xF0\x9F\x8E\x9E", wide, 4));
  EXPECT_EQ(std::u16string(wide), u"ab");
  EXPECT_FALSE(PutText("\xFF", wide, 4));
}

}  // namespace
}  // namespace morvane::test
