#include "processing/software_convert.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <array>
#include <random>
#include <vector>

#include "guarded_buffer.h"

namespace morvane {
namespace {

using test::GuardedBuffer;
using Pixel = std::array<uint8_t, 4>;

constexpr Pixel kRed = {0, 0, 255, 255};  // B, G, R, A
constexpr Pixel kWhite = {255, 255, 255, 255};
constexpr Pixel kBlack = {0, 0, 0, 255};

std::vector<uint8_t> Filled(int width, int height, Pixel pixel) {
  std::vector<uint8_t> image;
  image.reserve(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
  for (int i = 0; i < width * height; ++i) image.insert(image.end(), pixel.begin(), pixel.end());
  return image;
}

uint32_t Crc(const std::array<uint8_t, 256>& table) {
  return static_cast<uint32_t>(crc32(0, table.data(), static_cast<uInt>(table.size())));
}

TEST(SoftwareConvert, FullRangeTable) {
  const auto& table = GetRangeTables().toFullRange;
  for (size_t i = 0; i <= 14; ++i) EXPECT_EQ(table[i], 0) << i;
  EXPECT_EQ(table[15], 1);
  EXPECT_EQ(table[16], 2);
  EXPECT_EQ(table[128], 133);
  EXPECT_EQ(table[232], 254);
  for (size_t i = 233; i <= 255; ++i) EXPECT_EQ(table[i], 255) << i;
  EXPECT_EQ(Crc(table), 0x4dd4de5du);
}

TEST(SoftwareConvert, VideoRangeTable) {
  const auto& table = GetRangeTables().toVideoRange;
  EXPECT_EQ(table[0], 16);
  EXPECT_EQ(table[1], 16);
  EXPECT_EQ(table[2], 17);
  EXPECT_EQ(table[128], 125);
  EXPECT_EQ(table[254], 234);
  EXPECT_EQ(table[255], 235);
  EXPECT_EQ(Crc(table), 0x99cdeae1u);
}

TEST(SoftwareConvert, FlatPicturesAtBothSizes) {
  const struct {
    Pixel pixel;
    int width, height;
    Pixel pair;  // Y0 Cb Y1 Cr
  } kRows[] = {
      {kWhite, 720, 576, {0xEB, 0x80, 0xEB, 0x80}}, {kWhite, 1280, 720, {0xEB, 0x80, 0xEB, 0x80}},
      {kRed, 720, 576, {0x51, 0x5A, 0x51, 0xF0}},   {kRed, 1280, 720, {0x3F, 0x66, 0x3F, 0xF0}},
      {kBlack, 720, 576, {0x10, 0x80, 0x10, 0x80}}, {kBlack, 1280, 720, {0x10, 0x80, 0x10, 0x80}},
  };
  for (const auto& row : kRows) {
    const auto source = Filled(row.width, row.height, row.pixel);
    std::vector<uint8_t> out(static_cast<size_t>(row.width * row.height) * 2, 0xEE);
    ASSERT_TRUE(ConvertBgraTo422(out.data(), row.width * 2, source.data(), row.width * 4, row.width,
                                 row.height));
    for (size_t i = 0; i < out.size(); ++i) {
      ASSERT_EQ(out[i], row.pair[i % 4])
          << "byte " << i << " of " << row.width << "x" << row.height;
    }
  }
}

TEST(SoftwareConvert, SplitLiesBehindLine576) {
  for (const int height : {576, 577, 720}) {
    const auto source = Filled(2, height, kRed);
    std::vector<uint8_t> out(static_cast<size_t>(height) * 4);
    ASSERT_TRUE(ConvertBgraTo422(out.data(), 4, source.data(), 8, 2, height));
    const Pixel want =
        height <= 576 ? Pixel{0x51, 0x5A, 0x51, 0xF0} : Pixel{0x3F, 0x66, 0x3F, 0xF0};
    EXPECT_EQ((Pixel{out[0], out[1], out[2], out[3]}), want) << height;
    const uint8_t* last = out.data() + out.size() - 4;
    EXPECT_EQ((Pixel{last[0], last[1], last[2], last[3]}), want) << height;
  }
}

TEST(SoftwareConvert, ShortRowsLeaveTheDestinationUntouched) {
  for (const int height : {4, 720}) {
    const auto source = Filled(6, height, kRed);
    std::vector<uint8_t> out(static_cast<size_t>(6 * height) * 2, 0xEE);
    const auto before = out;
    EXPECT_FALSE(ConvertBgraTo422(out.data(), 2 * 6 - 1, source.data(), 4 * 6, 6, height));
    EXPECT_FALSE(ConvertBgraTo422(out.data(), 2 * 6, source.data(), 4 * 6 - 1, 6, height));
    EXPECT_FALSE(ConvertBgraTo422(out.data(), -12, source.data(), 4 * 6, 6, height));
    EXPECT_FALSE(ConvertBgraTo422(out.data(), 2 * 6, source.data(), 4 * 6, -6, height));
    EXPECT_EQ(out, before);
  }
}

TEST(SoftwareConvert, NoRowsIsNoWork) {
  uint8_t out[4] = {1, 2, 3, 4};
  const uint8_t source[8] = {};
  EXPECT_TRUE(ConvertBgraTo422(out, 4, source, 8, 2, 0));
  EXPECT_EQ(out[0], 1);
}

TEST(SoftwareConvert, OddWidthLeavesTheLastPixelAndThePaddingAlone) {
  for (const int height : {3, 601}) {
    std::vector<uint8_t> source(static_cast<size_t>(height) * 24);
    const auto row = Filled(6, height, kRed);
    source = row;  // pitch 24 for 5 pixels
    std::vector<uint8_t> out(static_cast<size_t>(height) * 13, 0xEE);
    ASSERT_TRUE(ConvertBgraTo422(out.data(), 13, source.data(), 24, 5, height));
    const Pixel want =
        height <= 576 ? Pixel{0x51, 0x5A, 0x51, 0xF0} : Pixel{0x3F, 0x66, 0x3F, 0xF0};
    for (size_t y = 0; y < static_cast<size_t>(height); ++y) {
      for (size_t x = 0; x < 13; ++x) {
        ASSERT_EQ(out[y * 13 + x], x < 8 ? want[x % 4] : 0xEE) << x << "," << y;
      }
    }
  }
}

TEST(SoftwareConvert, ImagesThatEndAtAPageStayInside) {
  for (const int width : {1, 2, 5, 66, 720}) {
    for (const int height : {1, 7, 576, 577, 593}) {
      for (const auto edge : {GuardedBuffer::Edge::kEnd, GuardedBuffer::Edge::kBegin}) {
        const GuardedBuffer source(static_cast<size_t>(width * height) * 4, edge);
        const GuardedBuffer out(static_cast<size_t>(width * height) * 2, edge);
        ASSERT_TRUE(
            ConvertBgraTo422(out.Data(), width * 2, source.Data(), width * 4, width, height));
        EXPECT_TRUE(out.SlackUntouched()) << width << "x" << height;
        const GuardedBuffer words(static_cast<size_t>(width * height) * 2, edge);
        ApplyRangeRows(SwapWordsRow, words.Data(), -width * 2, out.Data(), width * 2, width,
                       height);
        EXPECT_TRUE(words.SlackUntouched()) << width << "x" << height;
      }
    }
  }
}

TEST(SoftwareConvert, NegativeStepEqualsAFlippedCopy) {
  constexpr int kWidth = 3, kHeight = 5, kStep = kWidth * 4;
  std::mt19937 random(11);
  std::vector<uint8_t> source(kStep * kHeight), plain(source.size()), flipped(source.size());
  for (auto& byte : source) byte = static_cast<uint8_t>(random());
  ApplyRangeRows(VideoRangeBgraRow, plain.data(), kStep, source.data(), kStep, kWidth, kHeight);
  for (const auto& [to, from] : {std::pair{-kStep, kStep}, {kStep, -kStep}}) {
    ApplyRangeRows(VideoRangeBgraRow, flipped.data(), to, source.data(), from, kWidth, kHeight);
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kStep; ++x) {
        ASSERT_EQ(flipped[static_cast<size_t>(y * kStep + x)],
                  plain[static_cast<size_t>((kHeight - 1 - y) * kStep + x)])
            << x << "," << y;
      }
    }
  }
  ApplyRangeRows(VideoRangeBgraRow, flipped.data(), -kStep, source.data(), -kStep, kWidth, kHeight);
  EXPECT_EQ(flipped, plain);
}

TEST(SoftwareConvert, RowRoutines) {
  const uint8_t source[8] = {0, 128, 255, 77, 16, 235, 1, 3};
  uint8_t out[9] = {};
  out[8] = 0xEE;
  VideoRangeBgraRow(out, source, 2);
  EXPECT_EQ(std::vector<int>(out, out + 9),
            (std::vector<int>{16, 125, 235, 77, 29, 217, 16, 3, 0xEE}));
  FullRangeBgraRow(out, source, 2);
  EXPECT_EQ(std::vector<int>(out, out + 9),
            (std::vector<int>{0, 133, 255, 77, 2, 255, 0, 3, 0xEE}));
  SwapWordsRow(out, source, 4);
  EXPECT_EQ(std::vector<int>(out, out + 9),
            (std::vector<int>{128, 0, 77, 255, 235, 16, 3, 1, 0xEE}));
  CopyBgraRow(out, source, 1);
  EXPECT_EQ(std::vector<int>(out, out + 9),
            (std::vector<int>{0, 128, 255, 77, 235, 16, 3, 1, 0xEE}));
  SwapWordsRow(out, out, 4);  // in place
  EXPECT_EQ(std::vector<int>(out, out + 9),
            (std::vector<int>{128, 0, 77, 255, 16, 235, 1, 3, 0xEE}));
}

}  // namespace
}  // namespace morvane
