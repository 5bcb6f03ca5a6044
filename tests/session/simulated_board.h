#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "base/clock.h"
#include "device/board_scan.h"
#include "device/boards.h"
#include "session/audio_output.h"
#include "session/card2.h"
#include "simulator/simulated_machine.h"

namespace morvane::test {

inline constexpr int64_t kMs = 1000000;

inline MachineDescription OneCard(uint32_t identity, uint32_t inputFormat = 2) {
  MachineDescription machine;
  CardDescription card;
  card.identity = identity;
  card.referenceFormat = inputFormat;
  InputDescription input;
  input.connector = "input1";
  input.source = inputFormat != 0 ? SignalSource::kBars : SignalSource::kNone;
  input.videoFormat = inputFormat;
  card.inputs.push_back(input);
  machine.cards.push_back(card);
  return machine;
}

// One simulated board whose time only the test moves.
class SimulatedBoard {
 public:
  explicit SimulatedBoard(uint32_t identity, uint32_t inputFormat = 2)
      : machine_(OneCard(identity, inputFormat)) {
    machine_.Install();
    const std::vector<RQD5BoardInfo> boards = RQD5BoardScan(0xFF);
    opened = boards.size() == 1 && session.OpenSession(0, boards[0], kSessionCaptureAndPlay) &&
             audio.Open(0, false, boards[0].boardType, nullptr);
  }
  bool Choose(SessionFamily family, const std::string& text) {
    uint32_t index = 0;
    return session.FindItem(family, text, &index) && session.SetItem(family, index);
  }

 private:
  SimulatedMachine machine_;

 public:
  CRQD5Card2 session;
  CRQD5AudioOutput audio;
  bool opened = false;
};

// What goes out on channel `c` at sample `s`: every sample of every channel is another one.
inline int32_t Ramp(uint64_t s, uint32_t c) {
  return static_cast<int32_t>((s * 16 + c) << 8);
}

struct SoundCase {
  const char* name;
  uint32_t identity;
  uint32_t ask;
  uint32_t channels;
  float rate;
};

class Sound : public testing::TestWithParam<SoundCase> {
 protected:
  void Open() {
    board_ = std::make_unique<SimulatedBoard>(GetParam().identity);
    ASSERT_TRUE(board_->opened);
    AudioSettingsBlock settings;
    CRQD5AudioOutput::GetDefaultFormat(&settings);
    settings.rate = GetParam().rate;
    ASSERT_TRUE(board_->audio.SetFormat(settings));
    ASSERT_TRUE(board_->audio.Start(GetParam().ask));
    ASSERT_EQ(board_->audio.GetAudioChannels(RQD5Channel1), GetParam().channels);
  }
  // Writes frames until the ring is full.
  void Fill() {
    const uint32_t channels = GetParam().channels;
    for (;;) {
      const uint32_t samples = board_->audio.GetFrameSamples(frame_, 30000, 1001);
      buffer_.resize(size_t{samples} * channels);
      if (!board_->audio.CanWrite(samples * channels * 4)) return;
      for (uint32_t s = 0; s < samples; ++s) {
        for (uint32_t c = 0; c < channels; ++c) {
          buffer_[size_t{s} * channels + c] = Ramp(written_ + s, c);
        }
      }
      ASSERT_TRUE(board_->audio.Write(buffer_.data(), samples * channels * 4));
      written_ += samples;
      ++frame_;
    }
  }
  // Holds the part of the ring that plays from sample `from` on against the ramp.
  void ExpectRamp(uint64_t from, uint32_t samples) {
    const uint32_t channels = GetParam().channels;
    const uint32_t ring = board_->audio.GetRingSize();
    const uint32_t frameBytes = channels * 4;
    for (uint32_t done = 0; done < samples;) {
      const auto at = static_cast<uint32_t>((from + done) * frameBytes % ring);
      const uint32_t part = std::min(samples - done, (ring - at) / frameBytes);
      buffer_.resize(size_t{part} * channels);
      const uint32_t last = board_->audio.FrameSlots() - 1;
      ASSERT_TRUE(board_->audio.DmaReadWithOffset(kDmaEngineAudio, last, buffer_.data(), at,
                                                  part * frameBytes, true));
      for (uint32_t i = 0; i < part; ++i) {
        for (uint32_t c = 0; c < channels; ++c) {
          const int32_t wanted = Ramp(from + done + i, c);
          if (buffer_[size_t{i} * channels + c] == wanted) continue;
          FAIL() << "sample " << from + done + i << " channel " << c << ": wanted " << wanted
                 << ", got " << buffer_[size_t{i} * channels + c];
        }
      }
      done += part;
    }
  }

  // Plays `seconds`, looking at every sample just before it goes out.
  void PlayAndHold(uint32_t seconds) {
    Open();
    Fill();
    ASSERT_TRUE(board_->audio.Play(kAudioRunNow));
    const auto perStep = static_cast<uint32_t>(GetParam().rate) / 200;
    uint64_t played = 0;
    for (uint32_t step = 0; step < seconds * 200; ++step) {
      ASSERT_EQ(board_->audio.GetSamplesPlayed(), played);
      ASSERT_GE(written_, played + perStep);
      ASSERT_NO_FATAL_FAILURE(ExpectRamp(played, perStep));
      clock_.Advance(5 * kMs);
      played += perStep;
      ASSERT_NO_FATAL_FAILURE(Fill());
    }
    const auto rate = static_cast<uint32_t>(GetParam().rate);
    const uint32_t frames = board_->audio.GetFramesPlayed(30000, 1001);
    EXPECT_LE(AudioSamplesUpTo(frames, rate, 30000, 1001), played);
    EXPECT_GT(AudioSamplesUpTo(frames + 1, rate, 30000, 1001), played);
    EXPECT_TRUE(board_->audio.Stop());
  }

  ManualClock clock_;
  std::unique_ptr<SimulatedBoard> board_;
  std::vector<int32_t> buffer_;
  uint32_t frame_ = 0;
  uint64_t written_ = 0;
};

inline const SoundCase kSoundCases[] = {{"LarchSix", BoardLarch, 6, 6, 48000},
                                        {"LarchEight", BoardLarch, 8, 8, 48000},
                                        {"ElmSixAt96", BoardElm, 6, 6, 96000},
                                        {"ElmSixteen", BoardElm, 8, 16, 48000},
                                        {"ElmSixteenAt96", BoardElm, 16, 16, 96000}};

}  // namespace morvane::test
