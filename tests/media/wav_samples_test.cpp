#include <gtest/gtest.h>

#include "media/media_wav.h"

namespace morvane::test {
namespace {

TEST(WavSamples, BeforeEachFrameAsTheTableSays) {
  const int ntsc[] = {0, 1602, 3203, 4805, 6406, 8008, 9610, 11211, 12813, 14414, 16016};
  for (int f = 0; f <= 10; ++f) {
    EXPECT_EQ(AudioSamplesBefore(f, 30000, 1001, 48000), static_cast<uint64_t>(ntsc[f])) << f;
  }
  EXPECT_EQ(AudioSamplesBefore(1800, 30000, 1001, 48000), 2882880u);
  const int fast[] = {0, 800, 1601, 2402, 3203, 4004};
  const int half96[] = {0, 6408, 12815, 19222, 25629, 32032};
  const int half48[] = {0, 3204, 6407, 9610, 12813, 16016};
  const int ntsc96[] = {0, 3204, 6407, 9610, 12813, 16016};
  const int fast96[] = {0, 1602, 3203, 4805, 6406, 8008};
  for (int f = 0; f <= 5; ++f) {
    EXPECT_EQ(AudioSamplesBefore(f, 60000, 1001, 48000), static_cast<uint64_t>(fast[f]));
    EXPECT_EQ(AudioSamplesBefore(f, 60000, 1001, 96000), static_cast<uint64_t>(fast96[f]));
    EXPECT_EQ(AudioSamplesBefore(f, 15000, 1001, 48000), static_cast<uint64_t>(half48[f]));
    EXPECT_EQ(AudioSamplesBefore(f, 15000, 1001, 96000), static_cast<uint64_t>(half96[f]));
    EXPECT_EQ(AudioSamplesBefore(f, 30000, 1001, 96000), static_cast<uint64_t>(ntsc96[f]));
  }
  EXPECT_EQ(AudioSamplesBefore(1, 48000, 1000, 48000), 800u) << "a rate without a row";
  EXPECT_EQ(AudioSamplesBefore(-5, 25000, 1000, 48000), 0u);
}

TEST(WavSamples, ExactRatesAreMultiples) {
  const struct {
    int32_t scale, rate;
    uint64_t samples;
  } rows[] = {{15000, 1000, 3200}, {24000, 1001, 2002}, {24000, 1000, 2000}, {25000, 1000, 1920},
              {30000, 1000, 1600}, {50000, 1000, 960},  {60000, 1000, 800}};
  for (const auto& row : rows) {
    for (int64_t f : {0, 1, 2, 3, 4, 5, 6, 999, 123456789}) {
      const auto frames = static_cast<uint64_t>(f);
      EXPECT_EQ(AudioSamplesBefore(f, row.scale, row.rate, 48000), frames * row.samples);
      EXPECT_EQ(AudioSamplesBefore(f, row.scale, row.rate, 96000), frames * row.samples * 2);
    }
  }
}

TEST(WavSamples, FramesAreTheInverse) {
  EXPECT_EQ(AudioFramesIn(1601, 30000, 1001, 48000), 0);
  EXPECT_EQ(AudioFramesIn(1602, 30000, 1001, 48000), 1);
  EXPECT_EQ(AudioFramesIn(3202, 30000, 1001, 48000), 1);
  EXPECT_EQ(AudioFramesIn(3203, 30000, 1001, 48000), 2);
  const int32_t rates[][2] = {{15000, 1000}, {15000, 1001}, {24000, 1001}, {24000, 1000},
                              {25000, 1000}, {30000, 1001}, {30000, 1000}, {50000, 1000},
                              {60000, 1001}, {60000, 1000}};
  for (const auto& rate : rates) {
    for (const double sampleRate : {48000.0, 96000.0}) {
      for (int32_t f = 0; f < 2000; ++f) {
        const uint64_t samples = AudioSamplesBefore(f, rate[0], rate[1], sampleRate);
        ASSERT_EQ(AudioFramesIn(samples, rate[0], rate[1], sampleRate), f) << rate[0];
        if (f > 0) {
          ASSERT_EQ(AudioFramesIn(samples - 1, rate[0], rate[1], sampleRate), f - 1);
        }
      }
    }
  }
  EXPECT_EQ(AudioFramesIn(UINT64_MAX, 60000, 1000, 48000), INT32_MAX);
}

}  // namespace
}  // namespace morvane::test
