// The session and the audio output on the simulated card.
#include <gtest/gtest.h>

#include "session/catalogue_table.h"
#include "session/simulated_board.h"

namespace morvane {
namespace {

using test::kMs;
using test::kSoundCases;
using test::OneCard;
using test::SimulatedBoard;
using test::Sound;

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

// A picture of one luma.
std::vector<uint8_t> FlatRgb48(size_t pixels, uint8_t high) {
  std::vector<uint8_t> bytes(pixels * 6);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = i % 2 == 1 ? high : 0;
  return bytes;
}

SessionPicture PictureOf(const std::vector<uint8_t>& bytes, uint32_t format) {
  SessionPicture picture;
  picture.data = bytes.data();
  picture.bytes = static_cast<uint32_t>(bytes.size());
  picture.frameBufferFormat = format;
  return picture;
}

// 48-bit pixels leave half the slots; stills of both kinds in turn lie where the card shows them.
TEST(SessionOnCard, AStillLiesWhereItsFormatPutsTheFrame) {
  ManualClock clock;
  SimulatedBoard board(BoardElm);
  ASSERT_TRUE(board.opened);
  ASSERT_TRUE(board.Choose(SessionFamily::VideoFormat, "1920x1080 @ 29.97i"));
  const std::vector<uint8_t> deep = FlatRgb48(1920 * 1080, 0x80);
  std::vector<uint8_t> plain(1920 * 1080 * 2);
  for (size_t i = 0; i < plain.size(); ++i) plain[i] = static_cast<uint8_t>(i * 7 % 251);
  for (int i = 0; i < 4; ++i) {
    const bool isDeep = i % 2 == 0;
    const std::vector<uint8_t>& bytes = isDeep ? deep : plain;
    const uint32_t format = isDeep ? FrameBuffer48BitRgb : FrameBuffer8BitUyvy;
    ASSERT_TRUE(board.session.ShowStill(PictureOf(bytes, format))) << board.session.GetLastError();
    uint32_t shown = 0;
    ASSERT_TRUE(board.session.GetOutputFrame(RQD5Channel1, &shown));
    std::vector<uint8_t> back(bytes.size());
    ASSERT_TRUE(board.session.DmaReadFrame(shown, back.data(), static_cast<uint32_t>(back.size())));
    EXPECT_TRUE(back == bytes) << "still " << i;
  }
}

TEST(SessionOnCard, TheOverlayLiesInASlotThatTheCardHas) {
  ManualClock clock;
  SimulatedBoard board(BoardElm);
  ASSERT_TRUE(board.opened);
  ASSERT_TRUE(board.Choose(SessionFamily::VideoFormat, "1920x1080 @ 29.97i"));
  std::vector<uint8_t> overlay(1920 * 1080 * 4);
  for (size_t i = 0; i < overlay.size(); ++i) overlay[i] = static_cast<uint8_t>(i * 11 % 253);
  struct Case {
    uint32_t first, second;  // formats of the channels before
    uint32_t slot;
  };
  for (const Case& wanted : {Case{16, 1, 14}, Case{1, 16, 30}, Case{1, 1, 30}}) {
    ASSERT_TRUE(board.session.SetFrameBufferFormat(RQD5Channel1, wanted.first));
    ASSERT_TRUE(board.session.SetFrameBufferFormat(RQD5Channel2, wanted.second));
    ASSERT_TRUE(board.session.SetMixer(PictureOf(overlay, FrameBuffer8BitArgb), 1, true));
    uint32_t shown = 0;
    ASSERT_TRUE(board.session.GetOutputFrame(RQD5Channel2, &shown));
    EXPECT_EQ(shown, wanted.slot);
    std::vector<uint8_t> back(overlay.size());
    ASSERT_TRUE(board.session.DmaReadFrame(shown, back.data(), static_cast<uint32_t>(back.size())));
    EXPECT_TRUE(back == overlay) << wanted.first << ' ' << wanted.second;
    std::fill(overlay.begin(), overlay.end(), static_cast<uint8_t>(overlay[0] + 1));
  }
}

TEST(SessionOnCard, OneStreamHasAllSlotsAgainAfterTwo) {
  ManualClock clock;
  SimulatedBoard board(BoardElm);
  ASSERT_TRUE(board.opened);
  const bool flags[8] = {};
  ASSERT_TRUE(board.Choose(SessionFamily::VideoFormat, "1920x1080 @ 60.00p"));
  ASSERT_TRUE(board.session.SetChannelFormat(FrameBuffer48BitRgb));
  EXPECT_FALSE(board.session.InitAutoCirculate(RQD5Channel1, 0, 28, flags, false));
  ASSERT_TRUE(board.Choose(SessionFamily::VideoFormat, "1920x1080 @ 29.97i"));
  ASSERT_TRUE(board.session.SetChannelFormat(FrameBuffer8BitUyvy));
  EXPECT_TRUE(board.session.InitAutoCirculate(RQD5Channel1, 0, 28, flags, false));
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

// --- Sound ---------------------------------------------------------------------------------------

TEST_P(Sound, LeavesTheRingSampleForSample) {
  PlayAndHold(10);
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

INSTANTIATE_TEST_SUITE_P(Boards, Sound, testing::ValuesIn(kSoundCases),
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
