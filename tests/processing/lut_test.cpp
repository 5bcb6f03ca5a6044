#include "processing/lut.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <fstream>
#include <functional>
#include <string>

#include "support/test_environment.h"

namespace morvane {
namespace {

constexpr char kHeader[] = "LUT: 3 1024\n";

std::string WriteFile(const std::string& bytes) {
  const std::string path = test::FreshFolder("lut") + "/curve.lut";
  std::ofstream(path, std::ios::binary) << bytes;
  return path;
}

std::string Lines(int count, const std::function<std::string(int)>& line) {
  std::string text;
  for (int i = 0; i < count; ++i) text += line(i) + "\n";
  return text;
}

uint32_t Crc(const CardLut& card) {
  return static_cast<uint32_t>(
      crc32(0, reinterpret_cast<const Bytef*>(card.data()), static_cast<uInt>(sizeof card)));
}

NxErr Read(const std::string& bytes, LutCurves* curves) {
  return ReadLutFile(WriteFile(bytes), curves);
}

TEST(Lut, IdentityCardTable) {
  const CardLut card = BuildCardLut(LutCurves());
  EXPECT_EQ(sizeof card, 6144u);
  EXPECT_EQ(card[0], 0x00400000u);
  EXPECT_EQ(card[1], 0x00C00080u);
  EXPECT_EQ(card[2], 0x01400100u);
  EXPECT_EQ(card[511], 0xFFC0FF80u);
  EXPECT_EQ(Crc(card), 0x84fce2e8u);
}

TEST(Lut, InvertedCardTable) {
  LutCurves curves;
  const std::string block = Lines(1024, [](int i) { return std::to_string(1023 - i); });
  ASSERT_EQ(Read(kHeader + block + block + block, &curves), NxErrSuccess);
  EXPECT_EQ(Crc(BuildCardLut(curves)), 0xba75b129u);
}

TEST(Lut, AnyMissingCurveGivesTheIdentity) {
  LutCurves curves;
  curves.first.fill(7);
  const uint32_t* table = curves.first.data();
  const CardLut identity = BuildCardLut(LutCurves());
  EXPECT_EQ(BuildCardLut(nullptr, table, table), identity);
  EXPECT_EQ(BuildCardLut(table, nullptr, table), identity);
  EXPECT_EQ(BuildCardLut(table, table, nullptr), identity);
  EXPECT_NE(BuildCardLut(table, table, table), identity);
}

TEST(Lut, MiddleBlockOfTheFileIsTheThirdCurve) {
  LutCurves curves;
  ASSERT_EQ(Read(kHeader + Lines(1024, [](int) { return "1"; }) +
                     Lines(1024, [](int) { return "2"; }) + Lines(1024, [](int) { return "3"; }),
                 &curves),
            NxErrSuccess);
  EXPECT_EQ(curves.first[1023], 1u);
  EXPECT_EQ(curves.second[1023], 3u);
  EXPECT_EQ(curves.third[1023], 2u);
  const CardLut card = BuildCardLut(curves);
  EXPECT_EQ(card[0], (1u << 16 | 1u) << 6);
  EXPECT_EQ(card[512], (3u << 16 | 3u) << 6);
  EXPECT_EQ(card[1024], (2u << 16 | 2u) << 6);
}

TEST(Lut, HeaderIsOneOfTheFirstHundredLines) {
  const std::string data = Lines(3072, [](int) { return "9"; });
  const auto filler = [](int i) { return "comment " + std::to_string(i); };
  LutCurves curves;
  EXPECT_EQ(Read(Lines(99, filler) + kHeader + data, &curves), NxErrSuccess);
  EXPECT_EQ(curves.second[0], 9u);

  curves.SetIdentity();
  EXPECT_EQ(Read(Lines(100, filler) + kHeader + data, &curves), NxErrFailure);
  EXPECT_EQ(Read(data, &curves), NxErrFailure);
  EXPECT_EQ(Read("LUT: 3 512\n" + data, &curves), NxErrFailure);
  EXPECT_EQ(Read("", &curves), NxErrFailure);
  EXPECT_EQ(ReadLutFile(test::FreshFolder("lut") + "/missing.lut", &curves), NxErrFailure);
  EXPECT_EQ(ReadLutFile(test::FreshFolder("lut"), &curves), NxErrFailure);  // a folder
  EXPECT_EQ(curves.first[5], 5u);                                           // untouched
}

TEST(Lut, HeaderMaySitInALongerLine) {
  LutCurves curves;
  EXPECT_EQ(Read("x LUT: 3 1024 y\n1\n", &curves), NxErrSuccess);
  EXPECT_EQ(curves.first[0], 1u);
}

TEST(Lut, LineAboveTheBufferCountsAsSeveral) {
  LutCurves curves;
  // 4095 characters, then the header text begins the second piece of the same line.
  EXPECT_EQ(Read(std::string(4095, 'x') + kHeader + "4\n", &curves), NxErrSuccess);
  EXPECT_EQ(curves.first[0], 4u);
  // Cut in two the text is not found.
  curves.SetIdentity();
  EXPECT_EQ(Read(std::string(4090, 'x') + kHeader + "4\n", &curves), NxErrFailure);
  // In the data each piece is an entry.
  ASSERT_EQ(Read(kHeader + std::string(4095, '7') + "8\n9\n", &curves), NxErrSuccess);
  EXPECT_EQ(curves.first[0], 0x7FFFFFFFu);
  EXPECT_EQ(curves.first[1], 8u);
  EXPECT_EQ(curves.first[2], 9u);
}

TEST(Lut, LinesAreReadAsDecimals) {
  const struct {
    const char* line;
    uint32_t entry;
  } kRows[] = {
      {"abc", 0},
      {"12x", 12},
      {" -3", 0xFFFFFFFDu},
      {"", 0},
      {"+5", 5},
      {"007", 7},
      {"0x10", 0},
      {"99999999999999999999", 0x7FFFFFFFu},
      {"-99999999999999999999", 0x80000000u},
      {"4000000000", 0x7FFFFFFFu},
      {"512\r", 512},
  };
  std::string text = kHeader;
  for (const auto& row : kRows) text += std::string(row.line) + "\n";
  LutCurves curves;
  ASSERT_EQ(Read(text, &curves), NxErrSuccess);
  size_t i = 0;
  for (const auto& row : kRows) EXPECT_EQ(curves.first[i++], row.entry) << row.line;
}

TEST(Lut, NegativeEntryIsCutToSixteenBits) {
  LutCurves curves;
  curves.first[0] = 0;
  curves.first[1] = 0xFFFFFFFD;
  EXPECT_EQ(BuildCardLut(curves)[0], 0xFFFD0000u << 6);
  curves.first[0] = 0xFFFFFFFD;
  curves.first[1] = 0;
  EXPECT_EQ(BuildCardLut(curves)[0], 0xFFFDu << 6);
}

TEST(Lut, ShortFileLeavesTheRestOfTheCurves) {
  LutCurves curves;
  ASSERT_EQ(Read(kHeader + Lines(1000, [](int) { return "5"; }), &curves), NxErrSuccess);
  EXPECT_EQ(curves.first[0], 5u);
  EXPECT_EQ(curves.first[999], 5u);
  EXPECT_EQ(curves.first[1000], 1000u);
  EXPECT_EQ(curves.second, LutCurves().second);
  EXPECT_EQ(curves.third, LutCurves().third);
}

TEST(Lut, ValueAboveTheRangeIsPackedAsItIs) {
  LutCurves curves;
  curves.first[0] = 1025;
  curves.first[1] = 65535;
  EXPECT_EQ(BuildCardLut(curves)[0], 0xFFC10040u);
}

TEST(Lut, LinesBehindTheDataAreIgnored) {
  LutCurves curves;
  const std::string data = Lines(3072, [](int i) { return std::to_string(i % 1024); });
  ASSERT_EQ(Read(kHeader + data + "77\n88\n", &curves), NxErrSuccess);
  EXPECT_EQ(Crc(BuildCardLut(curves)), 0x84fce2e8u);
}

TEST(Lut, PathInSixteenBits) {
  const std::string folder = test::FreshFolder("lut");
  std::ofstream(folder + "/K\xC3\xB6ln.lut") << kHeader << "3\n";
  std::u16string path(folder.begin(), folder.end());
  LutCurves curves;
  EXPECT_EQ(ReadLutFile(path + u"/K\u00F6ln.lut", &curves), NxErrSuccess);
  EXPECT_EQ(curves.first[0], 3u);
  EXPECT_EQ(ReadLutFile(path + u"/\xD800.lut", &curves), NxErrFailure);
}

TEST(Lut, RecordPointsAtTheCurves) {
  const LutCurves curves;
  const NxRGBLUT record = curves.Record();
  EXPECT_EQ(record.first, curves.first.data());
  EXPECT_EQ(record.second, curves.second.data());
  EXPECT_EQ(record.third, curves.third.data());
  EXPECT_EQ(record.reserved, 0u);
  EXPECT_EQ(record.entries, 1024u);
}

}  // namespace
}  // namespace morvane
