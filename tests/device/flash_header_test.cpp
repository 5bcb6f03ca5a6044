#include "device/flash_header.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "base/byte_order.h"
#include "device/flash_image.h"
#include "support/test_environment.h"

namespace morvane {
namespace {

using test::FlashImage;

RQD5BitFileInfo Canary() {
  RQD5BitFileInfo info;
  std::memset(&info, 0xA5, sizeof info);
  return info;
}

bool IsUntouched(const RQD5BitFileInfo& info) {
  const RQD5BitFileInfo canary = Canary();
  return std::memcmp(&info, &canary, sizeof info) == 0;
}

std::string Field(const char (&field)[16]) {
  return {field, strnlen(field, 16)};
}

TEST(FlashHeader, FieldsComeFromTheHeader) {
  const auto image = FlashImage("5vlx50tff1136", true);
  RQD5BitFileInfo info = Canary();
  ASSERT_TRUE(ParseFlashHeader(image, &info));
  EXPECT_EQ(info.checksum, 0u);
  EXPECT_EQ(info.recordVersion, 0u);
  EXPECT_EQ(info.recordSize, 1024u);
  EXPECT_EQ(info.byteCount, 0x123456u);
  EXPECT_EQ(Field(info.date), "2009/06/18");
  EXPECT_EQ(Field(info.time), "14:25:07");
  EXPECT_EQ(Field(info.designName), "larch01");
  EXPECT_EQ(info.kind, 0u);
  EXPECT_EQ(Field(info.partName), "5vlx50tff1136");
  EXPECT_EQ(info.projectNumber, 0u);
  EXPECT_EQ(info.rest[0], 0xA5);
}

TEST(FlashHeader, SyncWordStandsFurtherOnForPartsOfFiveAndSix) {
  RQD5BitFileInfo info = Canary();
  EXPECT_TRUE(ParseFlashHeader(FlashImage("6slx45", true), &info));
  EXPECT_FALSE(ParseFlashHeader(FlashImage("6slx45", false), &info));
  EXPECT_FALSE(ParseFlashHeader(FlashImage("5vlx50tff1136", false), &info));
  EXPECT_TRUE(ParseFlashHeader(FlashImage("4vlx50tff1136", false), &info));
  info = Canary();
  EXPECT_FALSE(ParseFlashHeader(FlashImage("4vlx50tff1136", true), &info));
  EXPECT_TRUE(IsUntouched(info));
}

TEST(FlashHeader, SyncWordOfTheKnownImageStandsAt112Or68) {
  EXPECT_EQ(test::SyncOffset(FlashImage("5vlx50tff1136", true)), 112u);
  EXPECT_EQ(test::SyncOffset(FlashImage("4vlx50tff1136", false)), 68u);
}

TEST(FlashHeader, OnlyTheFirstLeadByteIsTested) {
  auto image = FlashImage("5vlx50tff1136", true);
  RQD5BitFileInfo info = Canary();
  std::fill(image.begin() + 1, image.begin() + 13, uint8_t{0x77});
  EXPECT_TRUE(ParseFlashHeader(image, &info));
  image[0] = 1;
  info = Canary();
  EXPECT_FALSE(ParseFlashHeader(image, &info));
  EXPECT_TRUE(IsUntouched(info));
}

TEST(FlashHeader, ALetterOutOfPlaceLeavesTheRecordAlone) {
  const auto good = FlashImage("5vlx50tff1136", true);
  for (const size_t offset : {13u, 23u, 39u, 52u, 63u}) {
    auto image = good;
    image[offset] = 'x';
    RQD5BitFileInfo info = Canary();
    EXPECT_FALSE(ParseFlashHeader(image, &info)) << offset;
    EXPECT_TRUE(IsUntouched(info)) << offset;
  }
}

TEST(FlashHeader, LengthsPastTheEndLeaveTheRecordAlone) {
  const auto good = FlashImage("5vlx50tff1136", true);
  for (const size_t offset : {14u, 24u, 40u, 53u}) {
    for (const uint16_t length : {uint16_t{230}, uint16_t{256}, uint16_t{0xFFFF}}) {
      auto image = good;
      StoreBe16(image.data() + offset, length);
      RQD5BitFileInfo info = Canary();
      EXPECT_FALSE(ParseFlashHeader(image, &info)) << offset << ' ' << length;
      EXPECT_TRUE(IsUntouched(info));
    }
  }
}

TEST(FlashHeader, EveryCutAndEveryChangedSyncByteIsRefused) {
  const auto good = FlashImage("5vlx50tff1136", true);
  for (size_t bytes = 0; bytes < 120; ++bytes) {
    const std::vector<uint8_t> cut(good.begin(), good.begin() + static_cast<ptrdiff_t>(bytes));
    RQD5BitFileInfo info = Canary();
    EXPECT_FALSE(ParseFlashHeader(cut, &info)) << bytes;
  }
  for (size_t i = 0; i < 8; ++i) {
    auto image = good;
    image[112 + i] ^= 1;
    RQD5BitFileInfo info = Canary();
    EXPECT_FALSE(ParseFlashHeader(image, &info)) << i;
  }
}

TEST(FlashHeader, LongTextsAreCutAtSixteen) {
  const auto image = FlashImage("4vlx50tff1136", false, "a design name of twenty-nine.");
  RQD5BitFileInfo info = Canary();
  ASSERT_TRUE(ParseFlashHeader(image, &info));
  EXPECT_EQ(std::string(info.designName, 16), "a design name of");
}

// What the fuzzer starts from and what it has found: a good header is one whose name says so.
TEST(FlashHeader, EveryFileOfTheCorpusIsReadOrLeavesTheRecordAlone) {
  size_t files = 0;
  for (const auto& entry :
       std::filesystem::directory_iterator(test::DataPath("corpus/flash_header"))) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<char> text((std::istreambuf_iterator<char>(file)), {});
    const std::vector<uint8_t> bytes(text.begin(), text.end());
    const std::string name = entry.path().filename().string();
    RQD5BitFileInfo info = Canary();
    const bool good = ParseFlashHeader(bytes, &info);
    EXPECT_EQ(good, name.rfind("good", 0) == 0) << name;
    EXPECT_EQ(IsUntouched(info), !good) << name;
    ++files;
  }
  EXPECT_GE(files, 8u);
}

}  // namespace
}  // namespace morvane
