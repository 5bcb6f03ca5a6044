#include <gtest/gtest.h>

#include <vector>

#include "guarded_buffer.h"
#include "processing/convert.h"

namespace morvane {
namespace {

using test::GuardedBuffer;

// Lines whose bytes tell line and column.
void Number(const GuardedBuffer& image, int32_t lines, int32_t pitch) {
  for (int32_t y = 0; y < lines; ++y) {
    for (int32_t x = 0; x < pitch; ++x) {
      image.Data()[y * pitch + x] = static_cast<uint8_t>(17 * y + x);
    }
  }
}

void ExpectLines(const GuardedBuffer& image, const std::vector<int32_t>& wanted, int32_t pitch) {
  for (size_t y = 0; y < wanted.size(); ++y) {
    for (int32_t x = 0; x < pitch; ++x) {
      ASSERT_EQ(image.Data()[static_cast<int32_t>(y) * pitch + x],
                static_cast<uint8_t>(17 * wanted[y] + x))
          << "line " << y << " byte " << x;
    }
  }
  EXPECT_TRUE(image.SlackUntouched());
}

TEST(FlipLines, ReversesRowsOfEvenAndOddCounts) {
  for (const int32_t pitch : {1, 3, 64, 5000}) {
    for (int32_t lines = 0; lines <= 5; ++lines) {
      for (const auto edge : {GuardedBuffer::Edge::kBegin, GuardedBuffer::Edge::kEnd}) {
        const GuardedBuffer image(static_cast<size_t>(lines) * static_cast<size_t>(pitch), edge);
        Number(image, lines, pitch);
        EXPECT_EQ(FlipLines(image.Data(), 0, lines, pitch), 0);
        std::vector<int32_t> wanted;
        for (int32_t y = lines - 1; y >= 0; --y) wanted.push_back(y);
        ExpectLines(image, wanted, pitch);
      }
    }
  }
}

TEST(FlipLines, TwiceIsTheImage) {
  const GuardedBuffer image(7 * 33);
  Number(image, 7, 33);
  EXPECT_EQ(FlipLines(image.Data(), 0, 7, 33), 0);
  EXPECT_EQ(FlipLines(image.Data(), 0, 7, 33), 0);
  ExpectLines(image, {0, 1, 2, 3, 4, 5, 6}, 33);
}

TEST(ShiftLines, DownGivesEachLineTheOneAbove) {
  for (const auto edge : {GuardedBuffer::Edge::kBegin, GuardedBuffer::Edge::kEnd}) {
    const GuardedBuffer image(4 * 10, edge);
    Number(image, 4, 10);
    ShiftLines(image.Data(), 0, 4, 0, 10, true);
    ExpectLines(image, {0, 0, 1, 2}, 10);
  }
}

TEST(ShiftLines, UpGivesEachLineTheOneBelow) {
  for (const auto edge : {GuardedBuffer::Edge::kBegin, GuardedBuffer::Edge::kEnd}) {
    const GuardedBuffer image(4 * 10, edge);
    Number(image, 4, 10);
    ShiftLines(image.Data(), 0, 4, 0, 10, false);
    ExpectLines(image, {1, 2, 3, 3}, 10);
  }
}

TEST(ShiftLines, NoneOrOneLineStays) {
  const GuardedBuffer image(10);
  Number(image, 1, 10);
  for (const bool down : {false, true}) {
    ShiftLines(image.Data(), 0, 1, 0, 10, down);
    ShiftLines(image.Data(), 0, 0, 0, 10, down);
    ShiftLines(image.Data(), 0, -3, 0, 10, down);
    ExpectLines(image, {0}, 10);
  }
}

}  // namespace
}  // namespace morvane
