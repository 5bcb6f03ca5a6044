#include "processing/resample.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <vector>

#include "guarded_buffer.h"

namespace morvane {
namespace {

using test::GuardedBuffer;
using Weights = std::array<int32_t, 4>;

TEST(Resample, SplineWeights) {
  EXPECT_EQ(CatmullRomWeights(0), (Weights{0, 65536, 0, 0}));
  EXPECT_EQ(CatmullRomWeights(1), (Weights{-961, 65379, 1149, -31}));
  EXPECT_EQ(CatmullRomWeights(8), (Weights{-4608, 56832, 14848, -1536}));
  EXPECT_EQ(CatmullRomWeights(16), (Weights{-4096, 36864, 36864, -4096}));
  for (int phase = 0; phase < kResamplePhases; ++phase) {
    const Weights w = CatmullRomWeights(phase);
    EXPECT_EQ(w[0] + w[1] + w[2] + w[3], 65536) << phase;
    const Weights m = CatmullRomWeights((kResamplePhases - phase) % kResamplePhases);
    if (phase != 0) {
      EXPECT_EQ(w, (Weights{m[3], m[2], m[1], m[0]})) << phase;
    }
  }
}

TEST(Resample, SameWidthIsACopy) {
  const LineResampler same(9, 9);
  const std::vector<uint16_t> source = {64, 940, 4, 1019, 500, 77, 78, 900, 64};
  std::vector<uint16_t> out(9);
  same.Row(source.data(), 1, out.data(), 1, 4, 0x3FB);
  EXPECT_EQ(out, source);
}

TEST(Resample, FlatRowStaysFlatAtEveryRatio) {
  for (const auto& [from, to] : {std::pair{1920, 1440},
                                 {1920, 1280},
                                 {1280, 960},
                                 {1440, 1920},
                                 {960, 1280},
                                 {1, 7},
                                 {7, 1},
                                 {2, 3}}) {
    const LineResampler resampler(from, to);
    const std::vector<uint16_t> source(static_cast<size_t>(from), 613);
    std::vector<uint16_t> out(static_cast<size_t>(to));
    resampler.Row(source.data(), 1, out.data(), 1, 4, 0x3FB);
    EXPECT_EQ(out, std::vector<uint16_t>(static_cast<size_t>(to), 613)) << from << " to " << to;
  }
}

TEST(Resample, WorkedOutByHand) {
  // 8 to 4 takes every second sample; 4 to 8 puts a half phase between two samples.
  const std::vector<uint16_t> eight = {100, 200, 300, 400, 500, 600, 700, 800};
  std::vector<uint16_t> out(4);
  LineResampler(8, 4).Row(eight.data(), 1, out.data(), 1, 4, 0x3FB);
  EXPECT_EQ(out, (std::vector<uint16_t>{100, 300, 500, 700}));

  const std::vector<uint16_t> four = {100, 300, 200, 900};
  out.assign(8, 0);
  LineResampler(4, 8).Row(four.data(), 1, out.data(), 1, 4, 0x3FB);
  // Half phases: (-a + 9b + 9c - d) / 16 with the end sample repeated.
  EXPECT_EQ(out, (std::vector<uint16_t>{100, 206, 300, 219, 200, 544, 900, 944}));
}

TEST(Resample, OvershootIsClamped) {
  const std::vector<uint16_t> edge = {4, 4, 1019, 1019};
  std::vector<uint16_t> out(8);
  LineResampler(4, 8).Row(edge.data(), 1, out.data(), 1, 4, 0x3FB);
  for (const uint16_t value : out) {
    EXPECT_GE(value, 4);
    EXPECT_LE(value, 0x3FB);
  }
  EXPECT_EQ(out[1], 4);      // undershoot before the edge
  EXPECT_EQ(out[5], 0x3FB);  // overshoot behind it
}

TEST(Resample, ImpossibleWidthsWriteNothing) {
  for (const auto& [from, to] : {std::pair{0, 4}, {4, 0}, {-1, 4}, {4, -1}, {32768, 4}}) {
    const LineResampler resampler(from, to);
    EXPECT_EQ(resampler.Width(), 0);
    uint16_t source[4] = {1, 2, 3, 4};
    uint16_t out[4] = {9, 9, 9, 9};
    resampler.Row(source, 1, out, 1, 0, 1023);
    EXPECT_EQ(out[0], 9);
  }
}

TEST(Resample, ImageRowsKeepToTheirWidth) {
  constexpr int kRowBytes = 6 * 2 + 5;
  std::vector<uint8_t> source(8 * 2 * 2);
  for (size_t i = 0; i < source.size(); i += 4) {
    source[i] = 90;
    source[i + 1] = source[i + 3] = 200;
    source[i + 2] = 240;
  }
  std::vector<uint8_t> out(kRowBytes * 2, 0xEE);
  ASSERT_TRUE(Resample422(out.data(), 6, kRowBytes, source.data(), 8, 16, 2));
  for (int y = 0; y < 2; ++y) {
    for (int x = 0; x < kRowBytes; ++x) {
      const uint8_t want = x >= 12 ? 0xEE : x % 2 ? 200 : x % 4 ? 240 : 90;
      EXPECT_EQ(out[static_cast<size_t>(y * kRowBytes + x)], want) << x << "," << y;
    }
  }
}

TEST(Resample, ImagesThatEndAtAPageStayInside) {
  const int32_t widths[][2] = {{1920, 1440}, {1440, 1920}, {1280, 960}, {2, 6}, {6, 2}, {2, 2}};
  for (const auto& [from, to] : widths) {
    for (const auto edge : {GuardedBuffer::Edge::kEnd, GuardedBuffer::Edge::kBegin}) {
      // The last line has no padding.
      const int32_t padding = 3, rows = 3;
      const GuardedBuffer source(static_cast<size_t>(rows * (from * 2 + padding) - padding), edge);
      const GuardedBuffer out(static_cast<size_t>(rows * (to * 2 + padding) - padding), edge);
      std::memset(source.Data(), 90, source.Bytes());
      ASSERT_TRUE(Resample422(out.Data(), to, to * 2 + padding, source.Data(), from,
                              from * 2 + padding, rows));
      EXPECT_TRUE(out.SlackUntouched()) << from << " to " << to;
      for (size_t i = 0; i < out.Bytes(); ++i) {
        const bool picture =
            i % static_cast<size_t>(to * 2 + padding) < static_cast<size_t>(to * 2);
        ASSERT_EQ(out.Data()[i], picture ? 90 : GuardedBuffer::kFiller) << i;
      }
    }
  }
}

TEST(Resample, RefusedImagesAreLeftAlone) {
  std::vector<uint8_t> source(64, 1), out(64, 0xEE);
  const std::vector<uint8_t> before = out;
  EXPECT_FALSE(Resample422(out.data(), 5, 16, source.data(), 8, 16, 2));
  EXPECT_FALSE(Resample422(out.data(), 6, 11, source.data(), 8, 16, 2));
  EXPECT_FALSE(Resample422(out.data(), 6, 12, source.data(), 8, 15, 2));
  EXPECT_FALSE(Resample422(out.data(), 0, 12, source.data(), 8, 16, 2));
  EXPECT_TRUE(Resample422(out.data(), 6, 12, source.data(), 8, 16, 0));
  EXPECT_EQ(out, before);
}

}  // namespace
}  // namespace morvane
