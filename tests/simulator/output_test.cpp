#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "base/byte_order.h"
#include "media/codec/md5.h"
#include "simulator/input_source.h"
#include "simulator/port_client.h"
#include "simulator/simulated_driver.h"
#include "simulator/test_movie.h"
#include "support/test_environment.h"

namespace morvane {
namespace {

using test::FrameStepper;
using test::PortClient;

constexpr uint32_t kOut = 1;
constexpr uint32_t kIn2 = 2 | kACInput;
constexpr uint32_t kUyvy625 = 720 * 576 * 2;

std::vector<std::vector<std::string>> ReadCsv(const std::string& path) {
  std::vector<std::vector<std::string>> rows;
  std::ifstream file(path);
  std::string line;
  while (std::getline(file, line)) {
    std::vector<std::string> cells(1);
    for (const char c : line) {
      if (c == ',') {
        cells.emplace_back();
      } else {
        cells.back() += c;
      }
    }
    rows.push_back(cells);
  }
  return rows;
}

// A picture that nobody takes for another.
std::vector<uint8_t> Picture(uint32_t number) {
  std::vector<uint8_t> bytes(kUyvy625);
  for (size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<uint8_t>(16 + (i * 13 + i / 1440 * 7 + number * 31) % 200);
  }
  return bytes;
}

class OutputTest : public ::testing::Test {
 protected:
  void Build(const MachineDescription& machine) {
    card_.reset();
    driver_ = std::make_unique<SimulatedDriver>(machine);
    card_ = std::make_unique<PortClient>(driver_.get(), BOARDTYPE_OEM2K);
    card_->SetFormat(33);
    card_->SetFrameBufferFormat(1, FrameBuffer8BitUyvy);
    card_->SetFrameBufferFormat(2, FrameBuffer8BitUyvy);
    card_->Write(24, 1u << 16 | 1u << 9 | 1u << 12);  // eight channels, muted, set up
  }
  void TearDown() override { card_.reset(); }

  bool Send(uint32_t number, uint32_t flip = 0) {
    PortClient::Frame frame;
    frame.video = Picture(number);
    frame.user = 1000 + number;
    frame.flip = flip;
    const Rp188Timecode timecode = SourceTimecode("10:20:30:00", 25000, 1000).At(number);
    frame.rp188 = {timecode.flags, timecode.low, timecode.high};
    return card_->Transfer(&frame) && frame.status.transferFrame >= 0;
  }

  MachineDescription Machine() const {
    MachineDescription machine = test::ElmWithBars(33);
    machine.cards[0].outputs.push_back({1, folder_ + "/out.csv", ""});
    return machine;
  }

  const std::string folder_ = test::FreshFolder("output");
  ManualClock clock_;
  FrameStepper step_{&clock_, 25000, 1000};
  std::unique_ptr<SimulatedDriver> driver_;
  std::unique_ptr<PortClient> card_;
};

TEST_F(OutputTest, TheLogTellsWhatWentOnAirBoundaryByBoundary) {
  Build(Machine());
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  step_.Step();  // idle
  ASSERT_TRUE(Send(0));
  ASSERT_TRUE(Send(1, 1));
  card_->Write(10003, 3);
  card_->Write(24, 0, 1u << 9, 9);
  step_.Step(3);  // two frames and a repeat
  (void)card_->Status(kOut);
  const auto rows = ReadCsv(folder_ + "/out.csv");
  ASSERT_EQ(rows.size(), 5u);
  EXPECT_EQ(rows[0], (std::vector<std::string>{"boundary", "seconds", "channel", "kind", "slot",
                                               "md5", "width", "height", "pitch", "fourcc", "flip",
                                               "rp188", "user", "audio"}));
  EXPECT_EQ(rows[1], (std::vector<std::string>{"1", "0.040000", "1", "idle", "", "", "", "", "", "",
                                               "", "", "", ""}));
  EXPECT_EQ(rows[2], (std::vector<std::string>{"2", "0.080000", "1", "frame", "0",
                                               Md5Of(Picture(0).data(), kUyvy625), "720", "576",
                                               "1440", "2vuy", "0", "10:20:30:00", "1000", "0"}));
  EXPECT_EQ(rows[3], (std::vector<std::string>{
                         "3", "0.120000", "1", "frame", "1", Md5Of(Picture(1).data(), kUyvy625),
                         "720", "576", "1440", "2vuy", "1", "10:20:30:01", "1001", "1920"}));
  EXPECT_EQ(rows[4][3], "repeat");
  EXPECT_EQ(rows[4][5], rows[3][5]);
  EXPECT_EQ(rows[4][13], "3840");
}

TEST_F(OutputTest, ALogOfAnEarlierRunIsReplacedWhenTheNextRunBegins) {
  for (int run = 0; run < 2; ++run) {
    Build(Machine());
    // Before the run begins the old log is still there.
    EXPECT_EQ(ReadCsv(folder_ + "/out.csv").size(), run == 0 ? 0u : 4u);
    ASSERT_TRUE(card_->Init(kOut, 0, 28));
    ASSERT_TRUE(Send(0));
    ASSERT_TRUE(card_->Control(ACStart, kOut));
    FrameStepper step(&clock_, 25000, 1000);
    step.Step(3 - run);
    (void)card_->Status(kOut);
  }
  EXPECT_EQ(ReadCsv(folder_ + "/out.csv").size(), 3u);
}

TEST_F(OutputTest, NothingIsLoggedWhileNothingCirculates) {
  Build(Machine());
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  step_.Step(5);
  (void)card_->Status(kOut);
  EXPECT_FALSE(std::filesystem::exists(folder_ + "/out.csv"));
}

TEST_F(OutputTest, ARecordingHoldsWhatLeftTheConnector) {
  MachineDescription machine = Machine();
  machine.cards[0].outputs[0].record = folder_ + "/out.mkv";
  Build(machine);
  // Sound: a ramp in the ring, to leave with the first frame.
  std::vector<uint8_t> sound(1920 * 8 * 32);
  for (size_t i = 0; i < sound.size(); i += 4) {
    StoreLe32(sound.data() + i, static_cast<uint32_t>(i * 977));
  }
  ASSERT_TRUE(card_->Dma(7, false, 31, sound.data(), static_cast<uint32_t>(sound.size())));
  card_->Write(10003, 3);
  card_->Write(24, 0, 1u << 9, 9);
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  for (uint32_t i = 0; i < 4; ++i) ASSERT_TRUE(Send(i));
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  step_.Step(6);  // four frames, two repeats of the last
  (void)card_->Status(kOut);
  ASSERT_TRUE(card_->Control(ACStop, kOut));
  step_.Step(2);
  (void)card_->Status(kOut);
  card_.reset();
  driver_.reset();  // completes the file

  const std::vector<uint8_t> pictures = test::DecodePictures(folder_ + "/out.mkv", "uyvy422");
  ASSERT_EQ(pictures.size(), 6u * kUyvy625);
  for (uint32_t i = 0; i < 6; ++i) {
    const std::vector<uint8_t> wanted = Picture(std::min(i, 3u));
    EXPECT_EQ(std::memcmp(pictures.data() + i * kUyvy625, wanted.data(), kUyvy625), 0)
        << "frame " << i;
  }
  const std::vector<int32_t> heard = test::DecodeSound(folder_ + "/out.mkv");
  ASSERT_EQ(heard.size(), 5u * 1920 * 8);
  for (size_t i = 0; i < heard.size(); ++i) {
    ASSERT_EQ(static_cast<uint32_t>(heard[i]), LoadLe32(sound.data() + i * 4)) << i;
  }
}

TEST_F(OutputTest, ARecordingThatExistsIsKept) {
  std::ofstream(folder_ + "/out.mkv") << "my film";
  MachineDescription machine = Machine();
  machine.cards[0].outputs[0].record = folder_ + "/out.mkv";
  Build(machine);
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  ASSERT_TRUE(Send(0));
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  step_.Step(2);
  (void)card_->Status(kOut);
  card_.reset();
  driver_.reset();
  EXPECT_EQ(test::FileBytes(folder_ + "/out.mkv").size(), 7u);
  EXPECT_EQ(test::DecodePictures(folder_ + "/out-2.mkv", "uyvy422").size(), 2u * kUyvy625);
}

TEST_F(OutputTest, AFlippedFrameLeavesUpright) {
  MachineDescription machine = Machine();
  machine.cards[0].outputs[0].record = folder_ + "/out.mkv";
  Build(machine);
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  ASSERT_TRUE(Send(3, 1));
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  step_.Step();
  (void)card_->Status(kOut);
  card_.reset();
  driver_.reset();
  const std::vector<uint8_t> pictures = test::DecodePictures(folder_ + "/out.mkv", "uyvy422");
  const std::vector<uint8_t> wanted = Picture(3);
  ASSERT_EQ(pictures.size(), kUyvy625);
  for (size_t y = 0; y < 576; ++y) {
    ASSERT_EQ(std::memcmp(pictures.data() + y * 1440, wanted.data() + (575 - y) * 1440, 1440), 0);
  }
}

TEST_F(OutputTest, ACableBringsTheOutputsFrameOfTheSameBoundaryWithItsTimecode) {
  MachineDescription machine = Machine();
  InputDescription cable;
  cable.connector = "input2";
  cable.source = SignalSource::kLoop;
  cable.loopCard = 0;
  cable.loopOutput = 1;
  machine.cards[0].inputs.push_back(cable);
  Build(machine);
  EXPECT_EQ(card_->Get(22, 0xFF00) >> 8, 0x25u);  // 625 at 25
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  ASSERT_TRUE(card_->Init(kIn2, 0, 30));
  for (uint32_t i = 0; i < 8; ++i) ASSERT_TRUE(Send(i));
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  ASSERT_TRUE(card_->Control(ACStart, kIn2));
  step_.Step(9);
  for (uint32_t i = 0; i < 8; ++i) {
    PortClient::Frame frame;
    frame.channelSpec = kIn2;
    frame.video.resize(kUyvy625);
    ASSERT_TRUE(card_->Transfer(&frame));
    ASSERT_GE(frame.status.transferFrame, 0);
    EXPECT_EQ(frame.video, Picture(i)) << "frame " << i;
    EXPECT_EQ(frame.status.stamp.rp188.low & 0xF, i);
    EXPECT_EQ(frame.status.stamp.rp188.flags, 0x10000u);
  }
}

TEST_F(OutputTest, ACableBringsTheSoundOfTheOutput) {
  MachineDescription machine = Machine();
  InputDescription cable;
  cable.connector = "input2";
  cable.source = SignalSource::kLoop;
  cable.loopOutput = 1;
  machine.cards[0].inputs.push_back(cable);
  Build(machine);
  std::vector<uint8_t> sound(1920 * 8 * 32);
  for (size_t i = 0; i < sound.size(); i += 4) {
    StoreLe32(sound.data() + i, static_cast<uint32_t>(i * 977));
  }
  ASSERT_TRUE(card_->Dma(7, false, 31, sound.data(), static_cast<uint32_t>(sound.size())));
  card_->Write(10003, 3);
  card_->Write(24, 0, 1u << 9, 9);
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  ASSERT_TRUE(card_->Init(kIn2, 0, 30));
  ASSERT_TRUE(Send(0));
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  ASSERT_TRUE(card_->Control(ACStart, kIn2));
  step_.Step(4);
  size_t at = 0;
  for (int i = 0; i < 3; ++i) {
    PortClient::Frame frame;
    frame.channelSpec = kIn2;
    frame.video.resize(kUyvy625);
    frame.audio.resize(1 << 20);
    ASSERT_TRUE(card_->Transfer(&frame));
    ASSERT_EQ(frame.status.audioBytes, 1920u * 32);
    ASSERT_EQ(std::memcmp(frame.audio.data(), sound.data() + at, frame.status.audioBytes), 0)
        << "frame " << i;
    at += frame.status.audioBytes;
  }
}

TEST_F(OutputTest, ACableBetweenTwoCardsAndBackCarriesBothWays) {
  MachineDescription machine = Machine();
  machine.cards.push_back(machine.cards[0]);
  machine.cards[1].outputs.clear();
  for (uint32_t i = 0; i < 2; ++i) {
    machine.cards[i].inputs[0].source = SignalSource::kLoop;
    machine.cards[i].inputs[0].loopCard = 1 - i;
    machine.cards[i].inputs[0].loopOutput = 2;
  }
  Build(machine);
  PortClient other(driver_.get(), BOARDTYPE_OEM2K, 1);
  ASSERT_TRUE(other.IsOpen());
  other.SetFormat(33);
  other.SetFrameBufferFormat(1, FrameBuffer8BitUyvy);
  other.SetFrameBufferFormat(2, FrameBuffer8BitUyvy);
  PortClient* cards[] = {card_.get(), &other};
  for (PortClient* card : cards) {
    ASSERT_TRUE(card->Init(2, 0, 28));
    ASSERT_TRUE(card->Init(1 | kACInput, 0, 30));
  }
  for (uint32_t i = 0; i < 5; ++i) {
    for (uint32_t c = 0; c < 2; ++c) {
      PortClient::Frame frame;
      frame.channelSpec = 2;
      frame.video = Picture(10 * c + i);
      ASSERT_TRUE(cards[c]->Transfer(&frame));
    }
  }
  for (PortClient* card : cards) {
    ASSERT_TRUE(card->Control(ACStart, 2));
    ASSERT_TRUE(card->Control(ACStart, 1 | kACInput));
  }
  step_.Step(7);
  for (uint32_t i = 0; i < 5; ++i) {
    for (uint32_t c = 0; c < 2; ++c) {
      PortClient::Frame frame;
      frame.channelSpec = 1 | kACInput;
      frame.video.resize(kUyvy625);
      ASSERT_TRUE(cards[c]->Transfer(&frame));
      EXPECT_EQ(frame.video, Picture(10 * (1 - c) + i)) << "card " << c << " frame " << i;
    }
  }
}

TEST_F(OutputTest, AnIdleOutputSendsTheFrameOfItsRegister) {
  MachineDescription machine = Machine();
  InputDescription cable;
  cable.connector = "input2";
  cable.source = SignalSource::kLoop;
  cable.loopOutput = 1;
  machine.cards[0].inputs.push_back(cable);
  Build(machine);
  std::vector<uint8_t> still = Picture(77);
  ASSERT_TRUE(card_->Dma(1, false, 4, still.data(), kUyvy625));
  card_->Write(2, 4);
  ASSERT_TRUE(card_->Init(kIn2, 0, 3));
  ASSERT_TRUE(card_->Control(ACStart, kIn2));
  step_.Step(2);
  PortClient::Frame frame;
  frame.channelSpec = kIn2;
  frame.video.resize(kUyvy625);
  ASSERT_TRUE(card_->Transfer(&frame));
  EXPECT_EQ(frame.video, still);
}

// What a cable from output 1 brings, looked at through channel 2.
class StillTest : public OutputTest {
 protected:
  void BuildWithCable(MachineDescription machine) {
    InputDescription cable;
    cable.connector = "input2";
    cable.source = SignalSource::kLoop;
    cable.loopOutput = 1;
    machine.cards[0].inputs.push_back(cable);
    Build(machine);
    card_->Write(5, 1, 1);  // an input
    card_->Write(7, kLookFrame);
  }
  std::vector<uint8_t> Look() {
    std::vector<uint8_t> seen(kUyvy625);
    EXPECT_TRUE(card_->Dma(1, true, kLookFrame, seen.data(), kUyvy625));
    return seen;
  }
  // The last whole frame of two more, by a capture: it writes nothing to the card's memory.
  void BeginWatch() {
    ASSERT_TRUE(card_->Init(kIn2, 24, 28));
    ASSERT_TRUE(card_->Control(ACStart, kIn2));
    step_.Step();
  }
  std::vector<uint8_t> Watch() {
    step_.Step(2);
    PortClient::Frame frame;
    frame.channelSpec = kIn2;
    frame.video.resize(kUyvy625);
    for (uint32_t waiting = card_->Status(kIn2).bufferLevel; waiting > 0; --waiting) {
      EXPECT_TRUE(card_->Transfer(&frame));
      EXPECT_GE(frame.status.transferFrame, 0);
    }
    return frame.video;
  }
  // Picture `number` with its rows in the other order.
  static std::vector<uint8_t> Turned(uint32_t number) {
    const std::vector<uint8_t> rows = Picture(number);
    std::vector<uint8_t> turned(kUyvy625);
    for (size_t y = 0; y < 576; ++y) {
      std::copy_n(rows.begin() + static_cast<ptrdiff_t>((575 - y) * 1440), 1440,
                  turned.begin() + static_cast<ptrdiff_t>(y * 1440));
    }
    return turned;
  }
  // Leaves picture `number`, sent bottom row first, on output 1 in frame 0.
  void LeaveBottomUpStill(uint32_t number) {
    ASSERT_TRUE(card_->Init(kOut, 0, 28));
    ASSERT_TRUE(Send(number, 1));
    ASSERT_TRUE(card_->Control(ACStart, kOut));
    step_.Step();
    ASSERT_EQ(card_->Status(kOut).state, uint32_t{ACStateRunning});
    EXPECT_TRUE(Look() == Turned(number));
    ASSERT_TRUE(card_->Control(ACStop, kOut));
    EXPECT_TRUE(Look() == Turned(number)) << "stopping";
    step_.Step();
    ASSERT_EQ(card_->Status(kOut).state, uint32_t{ACStateIdle});
    ASSERT_TRUE(Look() == Turned(number)) << "idle";
  }

  static constexpr uint32_t kLookFrame = 20;
  static constexpr uint32_t kBottomUp = 0x1000;
};

TEST_F(StillTest, TheLastFrameOfABottomUpRunStaysUpright) {
  BuildWithCable(Machine());
  ASSERT_NO_FATAL_FAILURE(LeaveBottomUpStill(3));
  // Neither other frames of memory nor the next run's beginning change it.
  std::vector<uint8_t> other = Picture(5);
  ASSERT_TRUE(card_->Dma(1, false, 1, other.data(), kUyvy625));
  card_->SetFrameBufferFormat(1, FrameBuffer8BitUyvy);
  card_->SetFormat(33);
  EXPECT_TRUE(Look() == Turned(3));
  ASSERT_TRUE(card_->Control(ACAbort, kOut));
  EXPECT_TRUE(Look() == Turned(3));
}

TEST_F(StillTest, AnAbortedBottomUpRunStaysUpright) {
  BuildWithCable(Machine());
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  ASSERT_TRUE(Send(4, 1));
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  step_.Step();
  ASSERT_TRUE(card_->Control(ACAbort, kOut));
  EXPECT_TRUE(Look() == Turned(4));
}

TEST_F(StillTest, TheRegistersDecideOnceTheFrameIsSetAnew) {
  for (const bool orientation : {false, true}) {
    BuildWithCable(Machine());
    FrameStepper step(&clock_, 25000, 1000);
    step_ = step;
    ASSERT_NO_FATAL_FAILURE(LeaveBottomUpStill(3));
    if (orientation) {
      card_->Write(1, 0, kBottomUp);
    } else {
      card_->Write(2, 0);
    }
    EXPECT_TRUE(Look() == Picture(3)) << orientation;
  }
}

TEST_F(StillTest, TheRegistersDecideOnceTheFrameIsWrittenAnew) {
  BuildWithCable(Machine());
  ASSERT_NO_FATAL_FAILURE(LeaveBottomUpStill(3));
  std::vector<uint8_t> fresh = Picture(6);
  ASSERT_TRUE(card_->Dma(1, false, 0, fresh.data(), kUyvy625));
  EXPECT_TRUE(Look() == fresh);
}

TEST_F(StillTest, AFrameThatTheNextRunSendsOverTheStillLiesAsItWasSent) {
  BuildWithCable(Machine());
  ASSERT_NO_FATAL_FAILURE(LeaveBottomUpStill(3));
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  ASSERT_TRUE(Send(7, 1));
  EXPECT_TRUE(Look() == Turned(7));
}

TEST_F(StillTest, AnotherOrientationOfTheSameFrameIsSeen) {
  BuildWithCable(Machine());
  std::vector<uint8_t> still = Picture(8);
  ASSERT_TRUE(card_->Dma(1, false, 4, still.data(), kUyvy625));
  card_->Write(2, 4);
  ASSERT_NO_FATAL_FAILURE(BeginWatch());
  EXPECT_TRUE(Watch() == Picture(8));
  card_->Write(1, kBottomUp, kBottomUp);
  EXPECT_TRUE(Watch() == Turned(8));
  card_->Write(1, 0, kBottomUp);
  EXPECT_TRUE(Watch() == Picture(8));
}

// The look falls between the transfer's beginning and the moment in which its bytes move.
TEST_F(StillTest, AFrameThatWasLookedAtWhileItCameIsLookedAtAgain) {
  constexpr uint32_t kStalled = 12;  // more transfers than the capture makes here
  MachineDescription machine = Machine();
  machine.cards[0].faults.stallTransfer = {{kStalled, 200}};
  BuildWithCable(machine);
  std::vector<uint8_t> old = Picture(1);
  ASSERT_TRUE(card_->Dma(1, false, kStalled, old.data(), kUyvy625));
  card_->Write(2, kStalled);
  ASSERT_TRUE(card_->Init(kOut, 0, 20));
  for (uint32_t i = 0; i < kStalled; ++i) ASSERT_TRUE(Send(50 + i));
  ASSERT_NO_FATAL_FAILURE(BeginWatch());
  std::thread sender([this] { EXPECT_TRUE(Send(2)); });
  clock_.WaitForSleepers(1);
  EXPECT_TRUE(Watch() == old);
  clock_.Advance(200'000'000);
  sender.join();
  (void)Watch();  // what was captured meanwhile
  EXPECT_TRUE(Watch() == Picture(2));
}

TEST_F(StillTest, WhatIsDrawnThroughTheMappedWindowIsSeen) {
  BuildWithCable(Machine());
  std::vector<uint8_t> old = Picture(1);
  ASSERT_TRUE(card_->Dma(1, false, 0, old.data(), kUyvy625));
  MapRecord frames = {};
  frames.header = card_->Header(PropertyMap, kPropertyGet);
  ASSERT_TRUE(card_->Request(&frames, sizeof frames));
  void* window = driver_->MappedMemory(card_->Handle(), frames.base, kUyvy625);
  ASSERT_NE(window, nullptr);
  ASSERT_NO_FATAL_FAILURE(BeginWatch());
  EXPECT_TRUE(Watch() == old);
  for (const uint32_t number : {2u, 3u}) {
    const std::vector<uint8_t> fresh = Picture(number);
    std::memcpy(window, fresh.data(), kUyvy625);
    EXPECT_TRUE(Watch() == fresh);
  }
}

// ---- faults ----

TEST_F(OutputTest, ADroppedOutputFrameIsARepeatAndCounted) {
  MachineDescription machine = Machine();
  machine.cards[0].faults.dropAt = {2};
  Build(machine);
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  for (uint32_t i = 0; i < 6; ++i) ASSERT_TRUE(Send(i));
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  step_.Step(5);
  EXPECT_EQ(card_->Status(kOut).framesDropped, 1u);
  const auto rows = ReadCsv(folder_ + "/out.csv");
  ASSERT_EQ(rows.size(), 6u);
  const std::string users[] = {"1000", "1001", "1001", "1002", "1003"};
  for (size_t i = 0; i < 5; ++i) EXPECT_EQ(rows[i + 1][12], users[i]);
  EXPECT_EQ(rows[3][3], "repeat");
}

TEST_F(OutputTest, ADroppedInputFrameIsMissingAndCounted) {
  MachineDescription machine = Machine();
  machine.cards[0].faults.dropAt = {1, 3};
  Build(machine);
  ASSERT_TRUE(card_->Init(1 | kACInput, 0, 30));
  ASSERT_TRUE(card_->Control(ACStart, 1 | kACInput));
  step_.Step(6);
  EXPECT_EQ(card_->Status(1 | kACInput).framesDropped, 2u);
  EXPECT_EQ(card_->Status(1 | kACInput).bufferLevel, 3u);
  std::vector<uint32_t> numbers;
  for (int i = 0; i < 3; ++i) {
    PortClient::Frame frame;
    frame.channelSpec = 1 | kACInput;
    frame.video.resize(kUyvy625);
    ASSERT_TRUE(card_->Transfer(&frame));
    numbers.push_back(ReadBarsFrameNumber(FourCC("2vuy"), frame.video.data(), 720));
  }
  EXPECT_EQ(numbers[1], numbers[0] + 2);
  EXPECT_EQ(numbers[2], numbers[0] + 4);
}

TEST_F(OutputTest, ALostInputComesBackAndNothingOfTheGapCounts) {
  MachineDescription machine = Machine();
  machine.cards[0].faults.loseInputAt = 2;
  machine.cards[0].faults.returnInputAt = 5;
  Build(machine);
  EXPECT_NE(card_->Get(22), 0u);
  ASSERT_TRUE(card_->Init(1 | kACInput, 0, 30));
  ASSERT_TRUE(card_->Control(ACStart, 1 | kACInput));
  step_.Step(4);
  EXPECT_EQ(card_->Status(1 | kACInput).bufferLevel, 2u);
  EXPECT_EQ(card_->Get(22), 0u);
  step_.Step(4);
  EXPECT_EQ(card_->Status(1 | kACInput).bufferLevel, 4u);
  EXPECT_EQ(card_->Status(1 | kACInput).framesDropped, 0u);
  EXPECT_NE(card_->Get(22), 0u);
}

TEST_F(OutputTest, RefusedCommandsFail) {
  MachineDescription machine = Machine();
  machine.cards[0].faults.refuseStart = true;
  Build(machine);
  EXPECT_TRUE(card_->Init(kOut, 0, 28));
  EXPECT_FALSE(card_->Control(ACStart, kOut));
  machine.cards[0].faults.refuseInit = true;
  Build(machine);
  EXPECT_FALSE(card_->Init(kOut, 0, 28));
}

TEST_F(OutputTest, AStalledTransferTakesItsTimeWhileFramesGoOn) {
  MachineDescription machine = Machine();
  machine.cards[0].faults.stallTransfer = {{1, 200}};
  Build(machine);
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  ASSERT_TRUE(Send(0));
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  step_.Step();
  std::thread sender([this] { EXPECT_TRUE(Send(1)); });
  clock_.WaitForSleepers(1);
  step_.Step(4);
  EXPECT_EQ(card_->Status(kOut).framesDropped, 4u);
  EXPECT_EQ(card_->Status(kOut).bufferLevel, 0u);
  step_.Step();  // 200 ms are over
  sender.join();
  EXPECT_EQ(card_->Status(kOut).bufferLevel, 1u);
}

}  // namespace
}  // namespace morvane
