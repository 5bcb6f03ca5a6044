#include "capture/audio_extract.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "base/byte_order.h"

namespace morvane {
namespace {

// `frames` frames of `channels` samples; a sample says which frame and channel it is.
std::vector<uint8_t> CardSamples(int channels, int frames, int phase = 0, int cutSamples = 0) {
  std::vector<uint8_t> bytes(static_cast<size_t>(phase + channels * frames - cutSamples) * 4);
  for (size_t i = 0; i < bytes.size() / 4; ++i) {
    const int at = static_cast<int>(i) - phase;
    const uint32_t sample = at < 0 ? 0xEEEEEEEE
                                   : 0x80000000U | static_cast<uint32_t>(at / channels) << 16 |
                                         static_cast<uint32_t>(at % channels) << 8 | 0x5A;
    StoreLe32(bytes.data() + 4 * i, sample);
  }
  return bytes;
}

uint32_t Sample(int frame, int channel) {
  return 0x80000000U | static_cast<uint32_t>(frame) << 16 | static_cast<uint32_t>(channel) << 8 |
         0x5A;
}

TEST(AudioExtract, ThirtyTwoBitsAreUnchanged) {
  const std::vector<uint8_t> card = CardSamples(8, 3);
  std::vector<uint8_t> out(64, 0xCC);
  const AudioTrackFormat format = {.cardChannels = 8, .channelsPerTrack = 1, .bitsPerSample = 32};
  ASSERT_EQ(12U, ExtractAudioTrack(card, 0, 5, format, out));
  for (int frame = 0; frame < 3; ++frame) EXPECT_EQ(Sample(frame, 5), LoadLe32(&out[4 * frame]));
  EXPECT_EQ(0xCC, out[12]);
}

TEST(AudioExtract, TwentyFourBitsAreTheTopThreeBytes) {
  const std::vector<uint8_t> card = CardSamples(8, 2);
  std::vector<uint8_t> out(64, 0xCC);
  AudioTrackFormat format = {.cardChannels = 8, .channelsPerTrack = 1, .bitsPerSample = 24};
  ASSERT_EQ(6U, ExtractAudioTrack(card, 0, 7, format, out));
  EXPECT_EQ((std::vector<uint8_t>{0x07, 0x00, 0x80, 0x07, 0x01, 0x80, 0xCC}),
            std::vector<uint8_t>(out.begin(), out.begin() + 7));
  format.bigEndian = true;
  ASSERT_EQ(6U, ExtractAudioTrack(card, 0, 7, format, out));
  EXPECT_EQ((std::vector<uint8_t>{0x80, 0x00, 0x07, 0x80, 0x01, 0x07, 0xCC}),
            std::vector<uint8_t>(out.begin(), out.begin() + 7));
}

TEST(AudioExtract, AnythingElseIsTheTopTwoBytes) {
  const std::vector<uint8_t> card = CardSamples(6, 4);
  std::vector<uint8_t> out(64, 0xCC);
  AudioTrackFormat format = {.cardChannels = 6, .channelsPerTrack = 1, .bitsPerSample = 16};
  ASSERT_EQ(8U, ExtractAudioTrack(card, 0, 2, format, out));
  for (int frame = 0; frame < 4; ++frame) EXPECT_EQ(0x8000 | frame, LoadLe16(&out[2 * frame]));
  format.bigEndian = true;
  ASSERT_EQ(8U, ExtractAudioTrack(card, 0, 2, format, out));
  for (int frame = 0; frame < 4; ++frame) EXPECT_EQ(0x8000 | frame, LoadBe16(&out[2 * frame]));
}

TEST(AudioExtract, FloatIsTheSampleOverTwoToTheThirtyFirst) {
  std::vector<uint8_t> card(8 * 4 * 4, 0);
  const int32_t samples[] = {INT32_MIN, 0, 0x40000000, -0x20000000};
  for (int frame = 0; frame < 4; ++frame) {
    StoreLe32(&card[static_cast<size_t>(frame * 8 + 1) * 4], static_cast<uint32_t>(samples[frame]));
  }
  std::vector<uint8_t> out(16);
  AudioTrackFormat format = {
      .cardChannels = 8, .channelsPerTrack = 1, .bitsPerSample = 32, .floatingPoint = true};
  ASSERT_EQ(16U, ExtractAudioTrack(card, 0, 1, format, out));
  EXPECT_EQ(-1.0F, LoadLeFloat(&out[0]));
  EXPECT_EQ(0.0F, LoadLeFloat(&out[4]));
  EXPECT_EQ(0.5F, LoadLeFloat(&out[8]));
  EXPECT_EQ(-0.25F, LoadLeFloat(&out[12]));
  format.bigEndian = true;
  ASSERT_EQ(16U, ExtractAudioTrack(card, 0, 1, format, out));
  EXPECT_EQ(0.5F, LoadBeFloat(&out[8]));
}

TEST(AudioExtract, StereoTracksTakePairsOfAdjacentChannels) {
  const std::vector<uint8_t> card = CardSamples(16, 2);
  std::vector<uint8_t> out(64, 0xCC);
  const AudioTrackFormat format = {.cardChannels = 16, .channelsPerTrack = 2, .bitsPerSample = 32};
  ASSERT_EQ(16U, ExtractAudioTrack(card, 0, 7, format, out));
  EXPECT_EQ(Sample(0, 14), LoadLe32(&out[0]));
  EXPECT_EQ(Sample(0, 15), LoadLe32(&out[4]));
  EXPECT_EQ(Sample(1, 14), LoadLe32(&out[8]));
  EXPECT_EQ(Sample(1, 15), LoadLe32(&out[12]));
}

TEST(AudioExtract, ThePhaseShiftsTheFirstFrame) {
  const std::vector<uint8_t> card = CardSamples(8, 2, 3);
  std::vector<uint8_t> out(64, 0xCC);
  const AudioTrackFormat format = {.cardChannels = 8, .channelsPerTrack = 1, .bitsPerSample = 32};
  ASSERT_EQ(8U, ExtractAudioTrack(card, 3, 0, format, out));
  EXPECT_EQ(Sample(0, 0), LoadLe32(&out[0]));
  EXPECT_EQ(Sample(1, 0), LoadLe32(&out[4]));
}

TEST(AudioExtract, ACutFrameCountsOnlyIfItHoldsTheTracksChannels) {
  const std::vector<uint8_t> card = CardSamples(8, 2, 0, 4);  // frame 1 has channels 0 to 3 only
  std::vector<uint8_t> out(64, 0xCC);
  AudioTrackFormat format = {.cardChannels = 8, .channelsPerTrack = 1, .bitsPerSample = 16};
  EXPECT_EQ(4U, ExtractAudioTrack(card, 0, 3, format, out));
  EXPECT_EQ(2U, ExtractAudioTrack(card, 0, 4, format, out));
  format.channelsPerTrack = 2;
  EXPECT_EQ(8U, ExtractAudioTrack(card, 0, 1, format, out));
  EXPECT_EQ(4U, ExtractAudioTrack(card, 0, 2, format, out));
}

TEST(AudioExtract, NothingComesFromATrackOrBufferThatIsNotThere) {
  const std::vector<uint8_t> card = CardSamples(8, 2);
  std::vector<uint8_t> out(64);
  const AudioTrackFormat format = {.cardChannels = 8, .channelsPerTrack = 2, .bitsPerSample = 16};
  EXPECT_EQ(0U, ExtractAudioTrack(card, 0, 4, format, out));
  EXPECT_EQ(0U, ExtractAudioTrack(card, 0, -1, format, out));
  EXPECT_EQ(0U, ExtractAudioTrack({}, 0, 0, format, out));
  EXPECT_EQ(0U, ExtractAudioTrack(card, 1000, 0, format, out));
}

TEST(AudioExtract, NeverWritesBehindTheBuffer) {
  const std::vector<uint8_t> card = CardSamples(8, 100);
  std::vector<uint8_t> out(12, 0xCC);
  const AudioTrackFormat format = {.cardChannels = 8, .channelsPerTrack = 1, .bitsPerSample = 24};
  EXPECT_EQ(9U, ExtractAudioTrack(card, 0, 0, format, {out.data(), 11}));
  EXPECT_EQ(0xCC, out[9]);
  EXPECT_EQ(0xCC, out[11]);
}

}  // namespace
}  // namespace morvane
