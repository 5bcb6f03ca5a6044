// The tape machine on a card: its picture on the input, its recordings of the output, and how it
// goes on between one process and the next.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "base/byte_order.h"
#include "media/codec/md5.h"
#include "simulator/deck_client.h"
#include "simulator/input_source.h"
#include "simulator/tape_folder.h"
#include "support/test_environment.h"

namespace morvane {
namespace {

using test::DeckClient;
using test::FrameStepper;
using test::PortClient;

constexpr uint32_t k625 = 33;
constexpr uint32_t kOut = 1;
constexpr uint32_t kIn = 1 | kACInput;
constexpr uint32_t kPictureBytes = 720 * 576 * 2;
constexpr uint32_t kSamples = 1920;
constexpr int64_t kPictureNs = 40000000;
constexpr int64_t kFirst = (59 * 60 + 50) * 25;

// A picture that nobody takes for another.
std::vector<uint8_t> Picture(uint32_t number) {
  std::vector<uint8_t> bytes(kPictureBytes);
  for (size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<uint8_t>(16 + (i * 13 + i / 1440 * 7 + number * 31) % 200);
  }
  return bytes;
}

std::string SumOf(const PictureRef& picture) {
  if (picture == nullptr) return "none";
  const FrameLayout layout = PlainLayout(FourCC("v219"), 720, 576);
  std::vector<uint8_t> pixels(layout.Bytes());
  picture->Store(layout, pixels.data());
  return Md5Of(pixels.data(), pixels.size());
}

std::string SumOfBytes(const std::vector<uint8_t>& uyvy) {
  return SumOf(std::make_shared<PlainPicture>(FourCC("2vuy"), 720, 576,
                                              std::make_shared<const std::vector<uint8_t>>(uyvy)));
}

// All that is on one picture's place of a tape.
struct Place {
  std::string picture;
  std::vector<int32_t> sound;  // 16 channels
  int64_t count = 0;

  [[nodiscard]] std::vector<int32_t> Channel(uint32_t channel) const {
    std::vector<int32_t> one;
    for (size_t at = channel - 1; at < sound.size(); at += kTapeChannels) one.push_back(sound[at]);
    return one;
  }
};

std::vector<Place> ReadTape(const std::string& path, int64_t from, int64_t to) {
  std::string error;
  const auto tape = TapeFolder::Open(path, false, &error);
  EXPECT_NE(tape, nullptr) << error;
  std::vector<Place> places;
  for (int64_t p = from; tape != nullptr && p < to; ++p) {
    Place place;
    place.picture = SumOf(tape->Picture(p, &error));
    EXPECT_TRUE(tape->Sound(p, &place.sound, &error)) << error;
    place.count = tape->CountAt(p);
    places.push_back(std::move(place));
  }
  return places;
}

class TapeCardTest : public ::testing::Test {
 protected:
  void SetUp() override {
    machine_ = test::ElmWithBars(k625);
    machine_.cards[0].deck.videoFormat = k625;
    machine_.cards[0].deck.seconds = 60;
    machine_.cards[0].inputs[0].source = SignalSource::kTape;
    tape_ = machine_.cards[0].deck.tape;
    Build();
  }
  void TearDown() override { TakeDown(); }

  void Build() {
    driver_ = std::make_unique<SimulatedDriver>(machine_);
    client_ = std::make_unique<DeckClient>(driver_.get(), &clock_);
    PortClient& card = client_->Card();
    card.SetFormat(k625);
    card.SetFrameBufferFormat(1, FrameBuffer8BitUyvy);
    card.Write(1, 0x8000, 0xC000, 0);               // input 1
    card.Write(24, 1u << 16 | 1u << 9 | 1u << 12);  // eight channels, muted, set up
    startNs_ = NxClockNowNs();
  }
  void TakeDown() {
    client_.reset();
    driver_.reset();
  }

  // Goes to 1 ms behind the next boundary but `more`.
  void Boundary(int64_t more = 0) {
    const int64_t next = (NxClockNowNs() - startNs_) / kPictureNs + 1 + more;
    clock_.Advance(startNs_ + next * kPictureNs + 1000000 - NxClockNowNs());
    (void)client_->Card().Get(72);
  }
  // Steps from boundary to boundary until the tape reads `text`.
  void WaitFor(const std::string& text) {
    for (int i = 0; i < 1000 && client_->Timecode() != text; ++i) Boundary();
    ASSERT_EQ(client_->Timecode(), text);
  }
  void Cue(const std::string& bytes) {
    (void)client_->Send("24 31 " + bytes);
    for (int i = 0; i < 100 && client_->Status() != "00 00 01 00 00 00 00 00 00 00"; ++i) {
      Boundary();
    }
  }
  // Frames 0 and up wait in the output ring, with sound of sample k being (k + 1) << 12 on channel
  // 1 and its complement on the seven others.
  void FillOutput(uint32_t frames) {
    PortClient& card = client_->Card();
    std::vector<uint8_t> sound(kSamples * 8 * 4 * frames);
    for (size_t k = 0; k < sound.size() / 32; ++k) {
      for (size_t c = 0; c < 8; ++c) {
        const auto value = static_cast<uint32_t>((k + 1) << 12);
        StoreLe32(sound.data() + 32 * k + 4 * c, c == 0 ? value : ~value);
      }
    }
    ASSERT_LE(sound.size(), 0xFF000u);
    ASSERT_TRUE(card.Dma(7, false, 31, sound.data(), static_cast<uint32_t>(sound.size())));
    card.Write(10003, 3);
    card.Write(24, 0, 1u << 9, 9);
    ASSERT_TRUE(card.Init(kOut, 0, 28));
    for (uint32_t i = 0; i < frames; ++i) {
      PortClient::Frame frame;
      frame.video = Picture(i);
      ASSERT_TRUE(card.Transfer(&frame));
    }
  }
  // One edit of the tape with a second of preroll; the output's frame 0 is on the in point.
  void Edit(const std::string& in, const std::string& out, const std::string& word,
            const std::string& before) {
    client_->Ask("40 41");
    client_->Ask("44 31 00 01 00 00");
    client_->Ask("44 14 " + in);
    if (!out.empty()) client_->Ask("44 15 " + out);
    EXPECT_EQ(client_->Ask(word), "10 01 11");
    EXPECT_EQ(client_->Ask("20 42"), "10 01 11");
    WaitFor(before);
    ASSERT_TRUE(client_->Card().Control(ACStart, kOut));
    for (int i = 0; i < 12; ++i) Boundary();
    (void)client_->Card().Control(ACAbort, kOut);
  }

  ManualClock clock_;
  MachineDescription machine_;
  std::string tape_;
  std::unique_ptr<SimulatedDriver> driver_;
  std::unique_ptr<DeckClient> client_;
  int64_t startNs_ = 0;
};

// ---- the input ----

TEST_F(TapeCardTest, APlayingTapeIsCapturedFrameByFrame) {
  Cue("00 00 00 01");  // 01:00:00:00 is picture 250
  client_->Ask("20 01");
  PortClient& card = client_->Card();
  EXPECT_EQ(card.Get(22) & 0xFF, 0x25u);  // 25 a second, 625 lines
  ASSERT_TRUE(card.Init(kIn, 0, 30));
  ASSERT_TRUE(card.Control(ACStart, kIn));
  int64_t before = -1;
  int64_t sample = -1;
  for (int i = 0; i < 40; ++i) {
    Boundary();
    PortClient::Frame frame;
    frame.channelSpec = kIn;
    frame.video.resize(kPictureBytes);
    frame.audio.resize(kSamples * 8 * 4 + 1024);
    ASSERT_TRUE(card.Transfer(&frame));
    if (frame.status.transferFrame < 0) continue;
    const int64_t number = ReadBarsFrameNumber(FourCC("2vuy"), frame.video.data(), 720);
    const RQD5Rp188& rp188 = frame.status.stamp.rp188;
    TimecodeFields fields;
    ASSERT_TRUE(UnpackRp188({rp188.flags, rp188.low, rp188.high}, &fields));
    EXPECT_EQ(TapeCount(TapeRate::Of(k625, false), fields), kFirst + number);
    if (before >= 0) {
      EXPECT_TRUE(number == before || number == before + 1) << before << " " << number;
    }
    const bool moves = number > 250;
    EXPECT_EQ(frame.status.audioBytes, kSamples * 8 * 4);
    const auto first = static_cast<int32_t>(LoadLe32(frame.audio.data() + 4));
    if (moves) {
      EXPECT_EQ(first >> 8, number * kSamples);  // channel 2 counts samples
      if (sample >= 0) {
        EXPECT_EQ(first >> 8, sample);
      }
      sample = (number + 1) * kSamples;
    }
    before = number;
  }
  EXPECT_GT(before, 270);
}

TEST_F(TapeCardTest, CueStepAndShuttleShowTheirFrame) {
  PortClient& card = client_->Card();
  card.Write(1, 1, 1, 0);  // an input that does not circulate shows what it sees
  card.Write(3, 5);
  std::vector<uint8_t> line(kPictureBytes);
  const auto shown = [&] {
    EXPECT_TRUE(card.Dma(1, true, 5, line.data(), kPictureBytes));
    return static_cast<int64_t>(ReadBarsFrameNumber(FourCC("2vuy"), line.data(), 720));
  };
  EXPECT_EQ(shown(), 0);
  Cue("07 03 00 01");
  EXPECT_EQ(shown(), 250 + 82);
  Cue("08 03 00 01");  // a step is a cue to the next
  EXPECT_EQ(shown(), 250 + 83);
  client_->Ask("21 13 40");
  Boundary(9);
  const std::string text = client_->Timecode();
  const int64_t count = TapeCountOfText(TapeRate::Of(k625, false), text);
  EXPECT_GT(count, kFirst + 333);
  EXPECT_EQ(shown(), count - kFirst);
}

TEST_F(TapeCardTest, WithoutATapeTheSignalIsBlackAndHasNoTimecode) {
  DeckFaultDescription faults;
  faults.tapeOut = true;
  driver_->SetDeckFaults(0, faults);
  PortClient& card = client_->Card();
  ASSERT_TRUE(card.Init(kIn, 0, 30));
  ASSERT_TRUE(card.Control(ACStart, kIn));
  Boundary(2);
  PortClient::Frame frame;
  frame.channelSpec = kIn;
  frame.video.resize(kPictureBytes);
  ASSERT_TRUE(card.Transfer(&frame));
  EXPECT_EQ(frame.video[1], 16);
  EXPECT_EQ(frame.video[kPictureBytes / 2 + 1], 16);
  EXPECT_EQ(frame.status.stamp.rp188.flags, 0u);
}

// ---- recording ----

TEST_F(TapeCardTest, AnInsertEditLandsOnItsFramesAndLeavesAllOthers) {
  Cue("00 59 59 00");  // the tape is made now
  const std::vector<Place> before = ReadTape(tape_, 240, 320);
  FillOutput(8);
  // Picture and sound 1, from 01:00:00:10 to 01:00:00:15: pictures 260 to 264.
  Edit("10 00 00 01", "15 00 00 01", "41 30 51 00", "01:00:00:09");
  EXPECT_EQ(client_->Timecode(), "01:00:00:15");
  EXPECT_EQ(client_->Status().substr(0, 5), "00 20");  // it stopped there
  TakeDown();
  const std::vector<Place> after = ReadTape(tape_, 240, 320);
  for (int64_t p = 240; p < 320; ++p) {
    const Place& was = before[p - 240];
    const Place& is = after[p - 240];
    EXPECT_EQ(is.count, was.count) << p;
    const bool inside = p >= 260 && p < 265;
    const auto frame = static_cast<uint32_t>(p - 260);
    EXPECT_EQ(is.picture, inside ? SumOfBytes(Picture(frame)) : was.picture) << p;
    for (uint32_t channel = inside ? 2 : 1; channel <= kTapeChannels; ++channel) {
      EXPECT_EQ(is.Channel(channel), was.Channel(channel)) << p << " channel " << channel;
    }
    if (!inside) continue;
    const std::vector<int32_t> sound = is.Channel(1);
    ASSERT_EQ(sound.size(), kSamples);
    for (size_t k = 0; k < sound.size(); ++k) {
      ASSERT_EQ(static_cast<uint32_t>(sound[k]),
                static_cast<uint32_t>((frame * kSamples + k + 1) << 12))
          << p << " sample " << k;
    }
  }
}

TEST_F(TapeCardTest, OneSoundChannelAlone) {
  Cue("00 59 59 00");
  const std::vector<Place> before = ReadTape(tape_, 258, 268);
  FillOutput(8);
  // Mask bit 3 is sound 3: bit 2 of the second byte, in the longer form.
  Edit("10 00 00 01", "14 00 00 01", "42 30 40 04", "01:00:00:09");
  TakeDown();
  const std::vector<Place> after = ReadTape(tape_, 258, 268);
  for (size_t i = 0; i < after.size(); ++i) {
    const bool inside = i >= 2 && i < 6;
    EXPECT_EQ(after[i].picture, before[i].picture);
    EXPECT_EQ(after[i].count, before[i].count);
    for (uint32_t channel = 1; channel <= kTapeChannels; ++channel) {
      EXPECT_EQ(after[i].Channel(channel) != before[i].Channel(channel), inside && channel == 3)
          << i << " channel " << channel;
    }
  }
}

TEST_F(TapeCardTest, AnAssembleRecordsAllAndGoesOnUntilItIsStopped) {
  Cue("00 59 59 00");
  const std::vector<Place> before = ReadTape(tape_, 255, 275);
  FillOutput(8);
  Edit("10 00 00 01", "", "41 30 20", "01:00:00:09");
  EXPECT_EQ(client_->Status().substr(0, 5), "00 03");
  client_->Ask("20 00");
  EXPECT_EQ(client_->Status().substr(0, 5), "00 20");
  const std::string end = client_->Timecode();
  TakeDown();
  const std::vector<Place> after = ReadTape(tape_, 255, 275);
  const int64_t stopped = TapeCountOfText(TapeRate::Of(k625, false), end) - kFirst;
  EXPECT_GE(stopped, 268);
  for (int64_t p = 255; p < 275; ++p) {
    const Place& is = after[p - 255];
    EXPECT_EQ(is.count, kFirst + p) << p;  // the numbers go on
    if (p < 260 || p >= stopped) {         // the picture that was cut off is not recorded
      EXPECT_EQ(is.picture, before[p - 255].picture) << p;
    } else {
      // Behind the last frame the output keeps showing it.
      const auto frame = static_cast<uint32_t>(std::min<int64_t>(p - 260, 7));
      EXPECT_EQ(is.picture, SumOfBytes(Picture(frame))) << p;
      EXPECT_NE(is.Channel(9), before[p - 255].Channel(9)) << p;
    }
  }
}

// What passes while the pictures of `ns` are recorded is passed too, before the command counts.
TEST_F(TapeCardTest, ACommandAfterALongRecordingIsHeard) {
  Cue("00 59 59 00");
  EXPECT_EQ(client_->Ask("20 02"), "10 01 11");
  Boundary(20);
  EXPECT_EQ(client_->Status().substr(0, 5), "00 03");
  clock_.Advance(3000000000);
  clock_.AdvanceWithLooks(400000000, 1);  // 75 pictures have cost ten of them
  EXPECT_EQ(client_->Ask("20 00"), "10 01 11");
  EXPECT_EQ(client_->Status().substr(0, 5), "00 20");
  const int64_t stopped = TapeCountOfText(TapeRate::Of(k625, false), client_->Timecode()) - kFirst;
  EXPECT_GE(stopped, 225 + 5 + 75 + 10);
  TakeDown();
  const std::vector<Place> after = ReadTape(tape_, 225, stopped);
  for (const Place& place : after) EXPECT_EQ(place.picture, after[0].picture);
}

TEST_F(TapeCardTest, ARecordingThatCostsMoreTimeThanItLastsIsGivenUp) {
  Cue("00 59 59 00");
  EXPECT_EQ(client_->Ask("20 02"), "10 01 11");
  Boundary(20);
  clock_.AdvanceWithLooks(1200000000, 1000);
  ::testing::internal::CaptureStderr();
  client_->Write({0x20});
  clock_.AdvanceWithLooks(0, 0);
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("is written too slowly"),
            std::string::npos);
  clock_.Advance(20000000);
  EXPECT_EQ(client_->Status().substr(0, 5), "00 01");  // it plays on
  EXPECT_EQ(client_->Ask("20 00"), "10 01 11");
}

TEST_F(TapeCardTest, APreviewRecordsNothing) {
  Cue("00 59 59 00");
  const std::vector<Place> before = ReadTape(tape_, 250, 275);
  FillOutput(8);
  client_->Ask("44 31 00 01 00 00");
  client_->Ask("44 14 10 00 00 01");
  client_->Ask("44 15 15 00 00 01");
  client_->Ask("41 30 51 00");
  client_->Ask("20 40");
  WaitFor("01:00:00:09");
  ASSERT_TRUE(client_->Card().Control(ACStart, kOut));
  Boundary(8);
  TakeDown();
  const std::vector<Place> after = ReadTape(tape_, 250, 275);
  for (size_t i = 0; i < before.size(); ++i) {
    EXPECT_EQ(after[i].picture, before[i].picture);
    EXPECT_EQ(after[i].sound, before[i].sound);
  }
}

TEST_F(TapeCardTest, ABlackenedTapeCarriesThePresetNumbers) {
  Cue("10 00 00 01");
  client_->Ask("44 04 00 00 00 10");  // 10:00:00:00
  EXPECT_EQ(client_->Ask("20 02"), "10 01 11");
  EXPECT_EQ(client_->Status().substr(0, 5), "00 03");
  for (int i = 0; i < 15 + 6; ++i) Boundary();
  client_->Ask("20 00");
  // The tape has the new numbers where it was recorded, and the old ones around.
  TakeDown();
  const std::vector<Place> after = ReadTape(tape_, 258, 268);
  EXPECT_EQ(after[0].count, kFirst + 258);
  EXPECT_EQ(after[1].count, kFirst + 259);
  for (int64_t i = 0; i < 5; ++i) {
    EXPECT_EQ(after[i + 2].count, 36000 * 25 + i);
    EXPECT_EQ(after[i + 2].Channel(1), std::vector<int32_t>(kSamples, 0));
  }
  EXPECT_EQ(after[9].count, kFirst + 267);
  Build();
  Cue("03 00 00 10");
  EXPECT_EQ(client_->Timecode(), "10:00:00:03");
}

TEST_F(TapeCardTest, EditOnAndOffRecordWhileTheTapePlays) {
  Cue("00 00 00 01");
  const std::vector<Place> before = ReadTape(tape_, 250, 280);
  client_->Ask("41 30 50 00");
  EXPECT_EQ(client_->Ask("20 65"), "11 12 01 24");  // it stands
  client_->Ask("20 01");
  WaitFor("01:00:00:03");
  EXPECT_EQ(client_->Ask("20 65"), "10 01 11");
  for (int i = 0; i < 4; ++i) Boundary();
  EXPECT_EQ(client_->Ask("20 64"), "10 01 11");
  EXPECT_EQ(client_->Status().substr(0, 5), "00 01");  // plays on
  TakeDown();
  const std::vector<Place> after = ReadTape(tape_, 250, 280);
  for (int64_t i = 0; i < 30; ++i) {
    // On from the boundary behind the command; the picture in which it went off is not whole.
    EXPECT_EQ(after[i].picture != before[i].picture, i >= 4 && i < 7) << i;
    EXPECT_EQ(after[i].sound, before[i].sound) << i;
  }
}

TEST_F(TapeCardTest, AProtectedTapeStaysAsItIs) {
  DeckFaultDescription faults;
  Cue("00 59 59 00");
  const std::vector<Place> before = ReadTape(tape_, 250, 290);
  EXPECT_EQ(client_->Ask("20 02"), "10 01 11");
  faults.recordInhibit = true;
  driver_->SetDeckFaults(0, faults);  // before the capstan has locked
  for (int i = 0; i < 30; ++i) Boundary();
  TakeDown();
  const std::vector<Place> after = ReadTape(tape_, 250, 290);
  for (size_t i = 0; i < before.size(); ++i) EXPECT_EQ(after[i].picture, before[i].picture) << i;
}

TEST_F(TapeCardTest, AnEditOfATapeThatIsProtectedMeanwhileRecordsNothing) {
  DeckFaultDescription faults;
  Cue("00 59 59 00");
  const std::vector<Place> before = ReadTape(tape_, 250, 270);
  client_->Ask("44 31 00 01 00 00");
  client_->Ask("44 14 10 00 00 01");
  client_->Ask("44 15 15 00 00 01");
  client_->Ask("41 30 51 00");
  EXPECT_EQ(client_->Ask("20 42"), "10 01 11");
  faults.recordInhibit = true;
  driver_->SetDeckFaults(0, faults);  // on its way to the preroll
  WaitFor("01:00:00:12");
  Boundary(8);
  TakeDown();
  const std::vector<Place> after = ReadTape(tape_, 250, 270);
  for (size_t i = 0; i < before.size(); ++i) {
    EXPECT_EQ(after[i].picture, before[i].picture) << i;
    EXPECT_EQ(after[i].sound, before[i].sound) << i;
  }
}

// ---- one process after another ----

TEST_F(TapeCardTest, ADeckThatPlayedHasPlayedOn) {
  Cue("00 00 00 01");
  client_->Ask("20 01");
  WaitFor("01:00:00:10");
  TakeDown();
  clock_.Advance(10 * 1000000000LL);
  Build();
  const int64_t count = TapeCountOfText(TapeRate::Of(k625, false), client_->Timecode());
  EXPECT_NEAR(static_cast<double>(count - kFirst - 250), 10 + 250, 3);
  EXPECT_EQ(client_->Status(), "00 01 80 00 00 00 00 00 00 00");
}

// Each look is a process of its own, most of them shorter than a picture.
TEST_F(TapeCardTest, ADeckThatIsLookedAtAgainAndAgainKeepsItsPace) {
  for (const int64_t pauseNs : {1000000, 33000000}) {
    Cue("00 00 00 01");
    client_->Ask("20 01");
    WaitFor("01:00:00:01");
    const int64_t fromNs = NxClockNowNs();
    for (int i = 0; i < 60; ++i) {
      TakeDown();
      clock_.Advance(pauseNs);
      Build();
      (void)client_->Timecode();
    }
    const int64_t count = TapeCountOfText(TapeRate::Of(k625, false), client_->Timecode());
    const auto pictures = static_cast<double>((NxClockNowNs() - fromNs) / kPictureNs);
    EXPECT_GT(pictures, 10);
    EXPECT_NEAR(static_cast<double>(count - kFirst - 251), pictures, 2) << pauseNs;
  }
}

TEST_F(TapeCardTest, ADeckBesideACardOfAnotherRateGoesOnOnceAlone) {
  Cue("00 00 00 01");
  client_->Ask("20 01");
  WaitFor("01:00:00:10");
  TakeDown();
  driver_ = std::make_unique<SimulatedDriver>(machine_);
  client_ = std::make_unique<DeckClient>(driver_.get(), &clock_);
  client_->Card().SetFormat(2);       // not the 25 pictures of the tape
  clock_.Advance(10 * 1000000000LL);  // before anybody looks at the deck
  const int64_t count = TapeCountOfText(TapeRate::Of(k625, false), client_->Timecode());
  EXPECT_NEAR(static_cast<double>(count - kFirst - 250), 10 + 250, 3);
}

TEST_F(TapeCardTest, ADeckThatWoundHasArrived) {
  (void)client_->Send("24 31 00 20 00 01");
  TakeDown();
  clock_.Advance(2 * 1000000000LL);
  Build();
  EXPECT_EQ(client_->Timecode(), "01:00:20:00");
  EXPECT_EQ(client_->Status(), "00 00 01 00 00 00 00 00 00 00");
  TakeDown();
  clock_.Advance(1000 * 1000000000LL);
  Build();
  EXPECT_EQ(client_->Timecode(), "01:00:20:00");
  client_->Ask("20 01");
  TakeDown();
  clock_.Advance(1000 * 1000000000LL);
  Build();
  EXPECT_EQ(client_->Timecode(), "01:00:49:24");  // the end of this minute of tape
  EXPECT_EQ(client_->Status(), "00 20 00 00 00 00 00 00 00 00");
}

TEST_F(TapeCardTest, ARecordingEndsWithItsProcess) {
  Cue("00 00 00 01");
  client_->Ask("20 02");
  for (int i = 0; i < 25; ++i) Boundary();
  TakeDown();
  clock_.Advance(5 * 1000000000LL);
  Build();
  EXPECT_EQ(client_->Status(), "00 20 00 00 00 00 00 00 00 00");
  EXPECT_EQ(client_->Timecode(), "01:00:00:10");
}

TEST_F(TapeCardTest, ATapeInAnotherMachineLeavesThisOneOffLine) {
  EXPECT_EQ(client_->Ask("20 00"), "10 01 11");
  MachineDescription other = test::ElmWithBars(k625);
  other.cards[0].deck = machine_.cards[0].deck;
  SimulatedDriver driver(other);
  DeckClient second(&driver, &clock_);
  EXPECT_EQ(second.Ask("61 20 0A"), "");
  TakeDown();
  EXPECT_EQ(second.Ask("20 00"), "10 01 11");  // it is free now
}

TEST_F(TapeCardTest, TheTapeIsMadeWhenTheMachineIsFirstUsed) {
  EXPECT_FALSE(std::filesystem::exists(tape_));
  (void)client_->Card().Get(72);
  EXPECT_FALSE(std::filesystem::exists(tape_));
  EXPECT_EQ(client_->Timecode(), "00:59:50:00");
  EXPECT_TRUE(std::filesystem::exists(tape_ + "/tape.db"));
}

}  // namespace
}  // namespace morvane
