// The session and the audio output on the simulated card.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "base/byte_order.h"
#include "base/clock.h"
#include "device/board_scan.h"
#include "device/boards.h"
#include "session/audio_output.h"
#include "session/card2.h"
#include "session/catalogue_table.h"
#include "simulator/simulated_machine.h"

namespace morvane {
namespace {

constexpr int64_t kMs = 1000000;

MachineDescription OneCard(uint32_t identity, uint32_t inputFormat = 2) {
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

class EveryFormat : public testing::TestWithParam<uint32_t> {};

TEST_P(EveryFormat, IsSetAndItsInputRecognised) {
  ManualClock clock;
  for (const VideoFormatItem& item : VideoFormatItems()) {
    SimulatedBoard board(GetParam(), item.videoFormat);
    ASSERT_TRUE(board.opened);
    uint32_t index = 0;
    if (!board.session.FindItem(SessionFamily::VideoFormat, item.text, &index)) continue;
    SCOPED_TRACE(item.text);
    ASSERT_TRUE(board.session.SetVideoFormat(index, true)) << board.session.GetLastError();
    RQD5VideoFormat format = 0;
    EXPECT_TRUE(board.session.CRQD5Card::GetVideoFormat(&format));
    EXPECT_EQ(format, item.videoFormat);
    EXPECT_EQ(board.session.CheckInput(), 0u);
    EXPECT_TRUE(board.session.CanUseFrameBufferFormat(FrameBuffer8BitUyvy));
    EXPECT_TRUE(board.session.CanUseFrameBufferFormat(FrameBuffer10BitYCbCr));
    EXPECT_TRUE(board.session.CanUseFrameBufferFormat(FrameBuffer8BitArgb));
  }
}
INSTANTIATE_TEST_SUITE_P(Boards, EveryFormat, testing::Values(BoardElm, BoardLarch, BoardDogwood),
                         [](const auto& param) {
                           const std::string name = BoardName(param.param);
                           return name.substr(0, name.size() - 1);
                         });

TEST(SessionOnCard, TellsNoInputFromAnotherFormat) {
  ManualClock clock;
  {
    SimulatedBoard board(BoardElm, 0);
    ASSERT_TRUE(board.opened);
    ASSERT_TRUE(board.session.SetVideoFormat(0, true));
    EXPECT_EQ(board.session.CheckInput(), 2u);
  }
  SimulatedBoard board(BoardElm, 33);
  ASSERT_TRUE(board.session.SetVideoFormat(0, true));
  EXPECT_EQ(board.session.CheckInput(), 1u);
}

TEST(SessionOnCard, FailedLinkKeepsTheOldItem) {
  ManualClock clock;
  MachineDescription description = OneCard(BoardElm);
  description.cards[0].faults.refuseRegister = {0};
  SimulatedMachine machine(description);
  machine.Install();
  const std::vector<RQD5BoardInfo> boards = RQD5BoardScan(0xFF);
  ASSERT_EQ(boards.size(), 1u);
  CRQD5Card2 session;
  ASSERT_TRUE(session.OpenSession(0, boards[0], kSessionCaptureAndPlay));
  uint32_t index = 0;
  ASSERT_TRUE(session.FindItem(SessionFamily::SDIOutput, "Dual Link SDI - Primary", &index));
  EXPECT_FALSE(session.SetSDIOutput(index));
  EXPECT_EQ(session.GetLastError(), "Failed to Turn DualLink On");
  EXPECT_TRUE(session.GetSDIOutput(&index));
  EXPECT_EQ(index, 0u);
}

TEST(SessionOnCard, ReadsWhatTheLiveInputShows) {
  ManualClock clock;
  SimulatedBoard board(BoardElm, 33);
  ASSERT_TRUE(board.opened);
  ASSERT_TRUE(board.Choose(SessionFamily::VideoFormat, "720x576 @ 25.00i"));
  ASSERT_TRUE(board.session.SetChannelFormat(FrameBuffer8BitUyvy));
  ASSERT_TRUE(board.session.SetLiveInput(true));
  clock.Advance(120 * kMs);
  std::vector<uint8_t> bgra(720 * 576 * 4);
  ASSERT_TRUE(board.session.ReadInputFrame(bgra.data(), bgra.size()));
  const uint8_t* yellow = &bgra[(300 * 720 + 135) * 4];  // the second of eight bars, 75 %
  EXPECT_NEAR(yellow[0], 0, 3);
  EXPECT_NEAR(yellow[1], 191, 3);
  EXPECT_NEAR(yellow[2], 191, 3);
  const uint8_t* blue = &bgra[(300 * 720 + 585) * 4];  // the seventh
  EXPECT_NEAR(blue[0], 191, 3);
  EXPECT_NEAR(blue[1], 0, 3);
  EXPECT_NEAR(blue[2], 0, 3);
}

TEST(SessionOnCard, AppliesItsConfiguration) {
  ManualClock clock;
  SimulatedBoard board(BoardLarch);
  ASSERT_TRUE(board.opened);
  auto block = std::make_unique<SessionConfigurationBlock>();
  ASSERT_TRUE(board.Choose(SessionFamily::VideoFormat, "1280x720 @ 50.00p"));
  ASSERT_TRUE(board.session.GetConfiguration(block.get()));
  ASSERT_TRUE(board.Choose(SessionFamily::VideoFormat, "720x486 @ 29.97i"));
  ASSERT_TRUE(board.session.SetConfiguration(*block)) << board.session.GetLastError();
  RQD5VideoFormat format = 0;
  EXPECT_TRUE(board.session.CRQD5Card::GetVideoFormat(&format));
  EXPECT_EQ(format, 17u);
}

// --- Sound
// ----------------------------------------------------------------------------------------

// What goes out on channel `c` at sample `s`: every sample of every channel is another one.
int32_t Ramp(uint64_t s, uint32_t c) {
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
      for (uint32_t i = 0; i < part * channels; ++i) {
        ASSERT_EQ(buffer_[i], Ramp(from + done + i / channels, i % channels))
            << "sample " << from + done + i / channels << " channel " << i % channels;
      }
      done += part;
    }
  }

  ManualClock clock_;
  std::unique_ptr<SimulatedBoard> board_;
  std::vector<int32_t> buffer_;
  uint32_t frame_ = 0;
  uint64_t written_ = 0;
};

TEST_P(Sound, LeavesTheRingSampleForSample) {
  Open();
  Fill();
  ASSERT_TRUE(board_->audio.Play(kAudioRunNow));
  const auto perStep = static_cast<uint32_t>(GetParam().rate) / 200;
  uint64_t played = 0;
  for (int step = 0; step < 2000; ++step) {  // ten seconds
    ASSERT_EQ(board_->audio.GetSamplesPlayed(), played);
    ASSERT_GE(written_, played + perStep);
    ExpectRamp(played, perStep);
    clock_.Advance(5 * kMs);
    played += perStep;
    Fill();
  }
  const auto rate = static_cast<uint32_t>(GetParam().rate);
  EXPECT_LE(AudioSamplesUpTo(board_->audio.GetFramesPlayed(30000, 1001), rate, 30000, 1001),
            played);
  EXPECT_TRUE(board_->audio.Stop());
}

TEST_P(Sound, CountsAnHourWithoutASlip) {
  Open();
  ASSERT_TRUE(board_->audio.Play(kAudioRunNow));
  const auto perStep = static_cast<uint64_t>(GetParam().rate) / 10;
  for (uint64_t step = 1; step <= 36000; ++step) {
    clock_.Advance(100 * kMs);
    ASSERT_EQ(board_->audio.GetSamplesPlayed(), step * perStep);
  }
  EXPECT_EQ(board_->audio.GetFramesPlayed(30000, 1001), 107892u);
}

INSTANTIATE_TEST_SUITE_P(Boards, Sound,
                         testing::Values(SoundCase{"LarchSix", BoardLarch, 6, 6, 48000},
                                         SoundCase{"LarchEight", BoardLarch, 8, 8, 48000},
                                         SoundCase{"ElmSixAt96", BoardElm, 6, 6, 96000},
                                         SoundCase{"ElmSixteen", BoardElm, 8, 16, 48000},
                                         SoundCase{"ElmSixteenAt96", BoardElm, 16, 16, 96000}),
                         [](const auto& param) { return param.param.name; });

TEST(SoundOnCard, TheFullRingOpensAfterItsFirstMilliseconds) {
  ManualClock clock;
  SimulatedBoard board(BoardLarch);
  ASSERT_TRUE(board.audio.Start(8));
  std::vector<uint8_t> samples(51264);
  uint32_t frames = 0;
  while (board.audio.CanWrite(board.audio.GetFrameSamples(frames, 30000, 1001) * 32)) {
    ASSERT_TRUE(
        board.audio.Write(samples.data(), board.audio.GetFrameSamples(frames, 30000, 1001) * 32));
    ++frames;
  }
  EXPECT_EQ(frames, 20u);
  ASSERT_TRUE(board.audio.Play(kAudioRunNow));
  clock.Advance(20 * kMs);  // 960 samples
  EXPECT_FALSE(board.audio.CanWrite(51264));
  clock.Advance(720000);  // 994 samples, position 31808
  EXPECT_TRUE(board.audio.CanWrite(51264));
}

TEST(SoundOnCard, ArmedRingStartsWithTheFirstFrame) {
  ManualClock clock;
  SimulatedBoard board(BoardElm);
  ASSERT_TRUE(board.Choose(SessionFamily::VideoFormat, "720x576 @ 25.00i"));
  ASSERT_TRUE(board.session.SetChannelFormat(FrameBuffer8BitUyvy));
  ASSERT_TRUE(board.audio.Start(16));
  std::vector<uint8_t> sound(200000);
  ASSERT_TRUE(board.audio.Write(sound.data(), static_cast<uint32_t>(sound.size())));
  const bool flags[8] = {};
  ASSERT_TRUE(board.session.InitAutoCirculate(RQD5Channel1, 0, 28, flags, false));
  std::vector<uint8_t> picture(720 * 576 * 2);
  for (int i = 0; i < 5; ++i) {
    RQD5AutoCirculateTransfer transfer;
    transfer.channelSpec = RQD5Channel1;
    transfer.videoBuffer = picture.data();
    transfer.videoSize = static_cast<uint32_t>(picture.size());
    transfer.frameBufferFormat = FrameBuffer8BitUyvy;
    transfer.frameRequest = -1;
    RQD5AutoCirculateTransferStatus status = {};
    ASSERT_TRUE(board.session.TransferAutoCirculate(&transfer, &status));
    ASSERT_NE(status.transferFrame, -1);
  }
  ASSERT_TRUE(board.audio.Play(kAudioRunWithVideo));
  clock.Advance(500 * kMs);
  EXPECT_EQ(board.audio.GetSamplesPlayed(), 0u);
  ASSERT_TRUE(board.session.StartAutoCirculate(RQD5Channel1));
  RQD5AutoCirculateStatus status = {};
  int steps = 0;
  while (status.state != ACStateRunning && steps < 100) {
    ASSERT_EQ(board.audio.GetSamplesPlayed(), 0u);
    clock.Advance(1 * kMs);
    ++steps;
    ASSERT_TRUE(board.session.GetAutoCirculate(RQD5Channel1, &status));
  }
  ASSERT_EQ(status.state, uint32_t{ACStateRunning});
  EXPECT_EQ(status.activeFrame, 0u);
  // At most one step of 48 samples after the boundary, and from there at the sample rate.
  const uint64_t atStart = board.audio.GetSamplesPlayed();
  EXPECT_LE(atStart, 48u);
  clock.Advance(500 * kMs);
  board.audio.GetSamplesPlayed();
  clock.Advance(500 * kMs);
  EXPECT_NEAR(static_cast<double>(board.audio.GetSamplesPlayed() - atStart), 48000.0, 1.0);
}

}  // namespace
}  // namespace morvane
