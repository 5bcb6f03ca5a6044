#include "session/audio_output.h"

#include <gtest/gtest.h>

#include <vector>

#include "device/boards.h"
#include "session/recording_port.h"

namespace morvane {
namespace {

using test::RecordingPort;
using Dma = RecordingPort::Dma;

constexpr uint32_t kMute = 0x200;

// An audio output on a board behind a recording port.
struct OpenedAudio {
  explicit OpenedAudio(uint32_t identity) : port(identity) {
    opened = audio.Open(0, false, FindBoard(identity)->boardType, nullptr);
    port.TakeWrites();
  }
  // As the driver does at a start: not muted, at `position`.
  void RunAt(uint32_t position) {
    port.registers[24] &= ~kMute;
    port.registers[26] = position;
  }
  // Writes frame after frame of 29.97 until refused. Returns: writes that passed.
  uint32_t Fill(uint32_t channels) {
    uint32_t frame = 0;
    while (frame < 1000) {
      const uint32_t bytes = audio.GetFrameSamples(frame, 30000, 1001) * channels * 4;
      if (!audio.CanWrite(bytes)) {
        EXPECT_FALSE(audio.Write(samples.data(), bytes));
        break;
      }
      EXPECT_TRUE(audio.Write(samples.data(), bytes));
      written += bytes;
      ++frame;
    }
    return frame;
  }

  RecordingPort port;
  CRQD5AudioOutput audio;
  bool opened = false;
  uint32_t written = 0;
  std::vector<uint8_t> samples = std::vector<uint8_t>(1 << 20);
};

TEST(AudioSamples, FollowTheCadence) {
  const uint32_t expected[] = {1602, 1601, 1602, 1601, 1602};
  for (uint32_t i = 0; i < 20; ++i) {
    EXPECT_EQ(AudioSamplesOfFrame(i, 48000, 30000, 1001), expected[i % 5]);
  }
  const uint32_t fast[] = {801, 801, 800, 801, 801};
  for (uint32_t i = 0; i < 20; ++i) {
    EXPECT_EQ(AudioSamplesOfFrame(i, 48000, 60000, 1001), fast[i % 5]);
  }
  EXPECT_EQ(AudioSamplesOfFrame(7, 48000, 25000, 1000), 1920u);
  EXPECT_EQ(AudioSamplesOfFrame(7, 96000, 24000, 1000), 4000u);
  EXPECT_EQ(AudioSamplesUpTo(150, 48000, 30000, 1001), 240240u);
}

TEST(AudioSamples, SumWithoutASlipOverADay) {
  // 2589410 frames of 29.97, a little more than 24 hours: each five take 8008 samples.
  EXPECT_EQ(AudioSamplesUpTo(2589410, 48000, 30000, 1001), 2589410ull / 5 * 8008);
}

TEST(AudioFormat, DefaultIs48kAndPlus6) {
  AudioSettingsBlock settings;
  CRQD5AudioOutput::GetDefaultFormat(&settings);
  EXPECT_STREQ(settings.name, "48kHz");
  EXPECT_EQ(float{settings.rate}, 48000.0f);
  EXPECT_EQ(uint32_t{settings.index}, 0u);
  EXPECT_STREQ(settings.levelText, "Gain @ 6 dB");
  EXPECT_EQ(uint32_t{settings.levelIndex}, 0u);
  EXPECT_EQ(uint32_t{settings.flags[0]}, 0u);
}

TEST(AudioFormat, OnlyElmTakes96k) {
  AudioSettingsBlock settings;
  CRQD5AudioOutput::GetDefaultFormat(&settings);
  settings.rate = 96000;
  OpenedAudio larch(BoardLarch);
  EXPECT_FALSE(larch.audio.SetFormat(settings));
  EXPECT_EQ(larch.audio.GetSampleRate(), 48000.0f);
  EXPECT_EQ(larch.audio.GetNumSampleRates(), 1u);
  settings.rate = 48000;
  EXPECT_TRUE(larch.audio.SetFormat(settings));
}

TEST(AudioFormat, NinetySixIsToldByTheLoopBackBit) {
  AudioSettingsBlock settings;
  CRQD5AudioOutput::GetDefaultFormat(&settings);
  settings.rate = 96000;
  OpenedAudio elm(BoardElm);
  ASSERT_TRUE(elm.audio.SetFormat(settings));
  EXPECT_EQ(elm.audio.GetNumSampleRates(), 2u);
  ASSERT_TRUE(elm.audio.Start(8));
  EXPECT_EQ(elm.port.Bits(24, 0x40000), 1u);
  EXPECT_EQ(elm.port.Bits(24, 0x8), 0u);
  AudioSettingsBlock read;
  elm.audio.GetFormat(&read);
  EXPECT_STREQ(read.name, "96kHz");
  EXPECT_EQ(uint32_t{read.index}, 1u);
  EXPECT_EQ(elm.audio.GetFrameSamples(0, 25000, 1000), 3840u);
}

TEST(AudioFormat, RateDescriptions) {
  OpenedAudio elm(BoardElm);
  std::string text;
  float rate = 0;
  EXPECT_TRUE(elm.audio.GetSampleRateDesc(1, &text, &rate));
  EXPECT_EQ(text, "96kHz");
  EXPECT_EQ(rate, 96000.0f);
  EXPECT_FALSE(elm.audio.GetSampleRateDesc(2, &text, &rate));
}

TEST(AudioLevel, TwelveBoardsHaveTwo) {
  uint32_t boards = 0;
  for (const BoardRow& row : BoardRows()) {
    if (PropertySetOfBoardType(row.boardType) == nullptr) {
      boards += BoardHasAnalogAudioIn(row.identity);  // cannot be opened here: Ginkgo
      continue;
    }
    OpenedAudio board(row.identity);
    ASSERT_TRUE(board.opened) << row.name;
    boards += board.audio.GetNumLevels() == 2;
  }
  EXPECT_EQ(boards, 12u);
}

TEST(AudioLevel, Plus6IsFirst) {
  OpenedAudio elm(BoardElm);
  std::string text;
  uint32_t value = 9;
  EXPECT_TRUE(elm.audio.GetLevelDesc(0, &text, &value));
  EXPECT_EQ(text, "Gain @ 6 dB");
  EXPECT_EQ(value, 0u);
  EXPECT_TRUE(elm.audio.GetLevelDesc(1, &text, &value));
  EXPECT_EQ(text, "Gain @ 0 dB");
  EXPECT_EQ(value, 1u);
  EXPECT_TRUE(elm.audio.SetLevel(1));
  EXPECT_EQ(elm.port.TakeWrites(), "24 60000000 1\n");
  EXPECT_FALSE(elm.audio.SetLevel(2));
}

TEST(AudioLevel, EbonyHasNone) {
  OpenedAudio ebony(BoardEbony);
  std::string text;
  uint32_t value = 9;
  EXPECT_EQ(ebony.audio.GetNumLevels(), 0u);
  EXPECT_FALSE(ebony.audio.GetLevelDesc(0, &text, &value));
  EXPECT_EQ(text, "None");
}

TEST(AudioStart, UnopenedSaysSo) {
  CRQD5AudioOutput audio;
  EXPECT_FALSE(audio.Start(8));
  EXPECT_EQ(audio.GetLastError(), "Board Not Opened");
  EXPECT_FALSE(audio.Stop());
  EXPECT_FALSE(audio.CanWrite(4));
}

TEST(AudioStart, SetsElmForSixteenChannels) {
  OpenedAudio elm(BoardElm);
  ASSERT_TRUE(elm.audio.Start(8));
  EXPECT_EQ(elm.port.registers[24] & 0x80141200, 0x80101200u);  // bits 9, 12, 20, 31, not 18
  EXPECT_EQ(elm.audio.GetAudioChannels(RQD5Channel1), 16u);
  EXPECT_EQ(elm.audio.GetRingSize(), 0x3FC000u);
}

TEST(AudioStart, SetsDogwoodForEight) {
  OpenedAudio dogwood(BoardDogwood);
  ASSERT_TRUE(dogwood.audio.Start(8));
  EXPECT_EQ(dogwood.port.registers[24] & 0x80151200, 0x00011200u);  // bits 9, 12, 16
  EXPECT_EQ(dogwood.audio.GetRingSize(), 0xFF000u);
}

TEST(AudioStart, SixIsAlwaysSix) {
  OpenedAudio elm(BoardElm);
  elm.port.registers[24] = 0x110000;
  ASSERT_TRUE(elm.audio.Start(6));
  EXPECT_EQ(elm.port.registers[24] & 0x110000, 0u);
  EXPECT_EQ(elm.audio.GetAudioChannels(RQD5Channel1), 6u);
}

TEST(AudioStart, TwiceSetsUpOnce) {
  OpenedAudio elm(BoardElm);
  ASSERT_TRUE(elm.audio.Start(8));
  EXPECT_EQ(elm.port.TakeWrites(),
            "24 200 1\n24 40000 0\n24 1000 1\n24 80000000 1\n24 100000 1\n24 60000000 0\n");
  ASSERT_TRUE(elm.audio.Start(6));
  EXPECT_EQ(elm.port.TakeWrites(), "");
}

TEST(AudioStop, ClearsResetAndTheBigBuffer) {
  OpenedAudio elm(BoardElm);
  EXPECT_TRUE(elm.audio.Stop());
  EXPECT_EQ(elm.port.TakeWrites(), "");
  ASSERT_TRUE(elm.audio.Start(8));
  ASSERT_TRUE(elm.audio.Stop());
  EXPECT_EQ(elm.port.Bits(24, 0x1000), 0u);
  EXPECT_EQ(elm.port.Bits(24, 0x80000000), 0u);
  EXPECT_FALSE(elm.audio.IsRunning());
}

TEST(AudioReset, MutesAndNothingElse) {
  OpenedAudio elm(BoardElm);
  ASSERT_TRUE(elm.audio.Start(8));
  ASSERT_TRUE(elm.audio.Write(elm.samples.data(), 4096));
  elm.port.TakeWrites();
  ASSERT_TRUE(elm.audio.Reset());
  EXPECT_EQ(elm.port.TakeWrites(), "24 200 1\n");
  EXPECT_EQ(elm.audio.GetWriteOffset(), 0u);
}

TEST(AudioPlay, WritesItsMode) {
  OpenedAudio elm(BoardElm);
  for (const uint32_t mode : {kAudioRunNow, kAudioStop, kAudioRunWithVideo}) {
    EXPECT_TRUE(elm.audio.Play(mode));
    EXPECT_EQ(elm.port.registers[10003], mode);
  }
}

TEST(AudioRing, MutedTakesTwentyFramesOfEightChannels) {
  OpenedAudio larch(BoardLarch);
  ASSERT_TRUE(larch.audio.Start(8));
  EXPECT_EQ(larch.Fill(8), 20u);
  EXPECT_EQ(larch.written, 1025024u);
}

TEST(AudioRing, MutedTakesFortyFramesOfElmsSixteen) {
  OpenedAudio elm(BoardElm);
  ASSERT_TRUE(elm.audio.Start(16));
  EXPECT_EQ(elm.Fill(16), 40u);
  EXPECT_EQ(elm.written, 4100096u);
}

TEST(AudioRing, MutedTakesTwentySevenFramesOfSix) {
  OpenedAudio larch(BoardLarch);
  ASSERT_TRUE(larch.audio.Start(6));
  EXPECT_EQ(larch.Fill(6), 27u);
}

TEST(AudioRing, WrappingWriteWaitsForThePlayPosition) {
  OpenedAudio larch(BoardLarch);
  ASSERT_TRUE(larch.audio.Start(8));
  ASSERT_EQ(larch.Fill(8), 20u);
  constexpr uint32_t kBytes = 51264;
  larch.RunAt(31776);
  EXPECT_FALSE(larch.audio.CanWrite(kBytes));
  EXPECT_FALSE(larch.audio.Write(larch.samples.data(), kBytes));
  larch.RunAt(31808);
  EXPECT_TRUE(larch.audio.CanWrite(kBytes));
  EXPECT_TRUE(larch.audio.Write(larch.samples.data(), kBytes));
  EXPECT_EQ(larch.audio.GetWriteOffset(), 31808u);
  EXPECT_EQ(larch.audio.GetWrapCount(), 1u);
  // The write offset has caught up with the play position, and nothing has played since.
  EXPECT_FALSE(larch.audio.CanWrite(kBytes));
  EXPECT_FALSE(larch.audio.Write(larch.samples.data(), 32));
  larch.RunAt(31840);
  EXPECT_FALSE(larch.audio.CanWrite(kBytes));
  larch.RunAt(31808 + kBytes);
  EXPECT_TRUE(larch.audio.CanWrite(kBytes));
}

TEST(AudioRing, EqualPositionsAreAnEmptyRingOtherwise) {
  OpenedAudio larch(BoardLarch);
  ASSERT_TRUE(larch.audio.Start(8));
  EXPECT_TRUE(larch.audio.CanWrite(51264));
  ASSERT_TRUE(larch.audio.Write(larch.samples.data(), 51264));
  larch.RunAt(51264);  // all of it has been played
  EXPECT_TRUE(larch.audio.CanWrite(51264));
}

TEST(AudioRing, WriteThatEndsAtTheRingsEndTakesTheWrapBranch) {
  OpenedAudio larch(BoardLarch);
  ASSERT_TRUE(larch.audio.Start(8));
  constexpr uint32_t kFirst = 0xFF000 - 51264;
  ASSERT_TRUE(larch.audio.Write(larch.samples.data(), kFirst));
  EXPECT_FALSE(larch.audio.CanWrite(51264));  // muted: a wrapping write is refused
  larch.RunAt(0);
  larch.port.transfers.clear();
  ASSERT_TRUE(larch.audio.Write(larch.samples.data(), 51264));
  EXPECT_EQ(larch.port.transfers, (std::vector<Dma>{{7, 31, kFirst, 51264, false}}));
  EXPECT_EQ(larch.audio.GetWriteOffset(), 1044480u);
  larch.port.transfers.clear();
  EXPECT_FALSE(larch.audio.CanWrite(51264));
  larch.RunAt(51264);
  ASSERT_TRUE(larch.audio.Write(larch.samples.data(), 51264));
  EXPECT_EQ(larch.port.transfers, (std::vector<Dma>{{7, 31, 0, 51264, false}}));
  EXPECT_EQ(larch.audio.GetWriteOffset(), 51264u);
}

TEST(AudioRing, SamplesLieInOrderAcrossTheWrap) {
  OpenedAudio larch(BoardLarch);
  ASSERT_TRUE(larch.audio.Start(8));
  constexpr uint32_t kBytes = 0x30000;
  for (size_t i = 0; i < kBytes; ++i) larch.samples[i] = static_cast<uint8_t>(i * 7 + i / 256);
  uint32_t offset = 0;
  for (; offset + kBytes < 0xFF000; offset += kBytes) {
    ASSERT_TRUE(larch.audio.Write(larch.samples.data(), kBytes));
  }
  larch.RunAt(offset);
  ASSERT_TRUE(larch.audio.Write(larch.samples.data(), kBytes));
  const uint32_t first = 0xFF000 - offset;
  for (uint32_t i = 0; i < kBytes; ++i) {
    const uint32_t at = i < first ? offset + i : i - first;
    ASSERT_EQ(larch.port.ring[at], larch.samples[i]) << i;
  }
}

TEST(AudioRing, RefusedTransferIsNoWrite) {
  OpenedAudio elm(BoardElm);
  ASSERT_TRUE(elm.audio.Start(8));
  elm.port.refuseDma = true;
  EXPECT_FALSE(elm.audio.Write(elm.samples.data(), 4096));
  EXPECT_EQ(elm.audio.GetWriteOffset(), 0u);
}

TEST(AudioRing, LiesInTheLastSlotOfThePresentGeometry) {
  OpenedAudio elm(BoardElm);
  ASSERT_TRUE(elm.audio.Start(8));
  ASSERT_TRUE(elm.audio.Write(elm.samples.data(), 512));
  ASSERT_TRUE(elm.audio.Write(elm.samples.data(), 1024));
  EXPECT_EQ(elm.port.transfers,
            (std::vector<Dma>{{7, 31, 0, 512, false}, {7, 31, 512, 1024, false}}));
  ASSERT_TRUE(elm.audio.Stop());
  CRQD5Card other;  // as a session beside it, which changes the geometry
  ASSERT_TRUE(other.Open(0, false, BOARDTYPE_OEM2K, nullptr));
  ASSERT_TRUE(other.SetVideoFormat(13));
  elm.port.transfers.clear();
  ASSERT_TRUE(elm.audio.Start(8));
  ASSERT_TRUE(elm.audio.Write(elm.samples.data(), 512));
  EXPECT_EQ(elm.port.transfers, (std::vector<Dma>{{7, 15, 0, 512, false}}));
}

TEST(AudioPosition, CountsFramesOverWholePassesOfTheRing) {
  OpenedAudio larch(BoardLarch);
  ASSERT_TRUE(larch.audio.Start(8));
  ASSERT_TRUE(larch.audio.Play(kAudioRunNow));
  EXPECT_EQ(larch.audio.GetFramesPlayed(30000, 1001), 0u);
  uint64_t samples = 0;
  // Over an hour of sound, looked at every quarter of a ring.
  while (samples < 48000ull * 3600) {
    samples += 8160;
    larch.RunAt(static_cast<uint32_t>(samples * 32 % 0xFF000));
    ASSERT_EQ(larch.audio.GetSamplesPlayed(), samples);
  }
  uint64_t frames = 0;
  while (AudioSamplesUpTo(frames + 1, 48000, 30000, 1001) <= samples) ++frames;
  EXPECT_EQ(larch.audio.GetFramesPlayed(30000, 1001), frames);
}

TEST(AudioPosition, AFrameCountsWhenItsLastSampleHasGone) {
  OpenedAudio larch(BoardLarch);
  ASSERT_TRUE(larch.audio.Start(8));
  larch.RunAt(1601 * 32);
  EXPECT_EQ(larch.audio.GetFramesPlayed(30000, 1001), 0u);
  larch.RunAt(1602 * 32);
  EXPECT_EQ(larch.audio.GetFramesPlayed(30000, 1001), 1u);
  larch.RunAt((1602 + 1600) * 32);
  EXPECT_EQ(larch.audio.GetFramesPlayed(30000, 1001), 1u);
  larch.RunAt((1602 + 1601) * 32);
  EXPECT_EQ(larch.audio.GetFramesPlayed(30000, 1001), 2u);
}

TEST(AudioPosition, ASilencedRingIsNoPass) {
  OpenedAudio larch(BoardLarch);
  ASSERT_TRUE(larch.audio.Start(8));
  larch.RunAt(320000);
  EXPECT_EQ(larch.audio.GetSamplesPlayed(), 10000u);
  larch.port.registers[24] |= kMute;
  larch.port.registers[26] = 0;
  EXPECT_EQ(larch.audio.GetSamplesPlayed(), 10000u);
  ASSERT_TRUE(larch.audio.Play(kAudioRunNow));
  EXPECT_EQ(larch.audio.GetSamplesPlayed(), 0u);
}

}  // namespace
}  // namespace morvane
