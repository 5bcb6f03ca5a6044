#include <gtest/gtest.h>

#include <cstring>

#include "simulator/port_client.h"
#include "simulator/simulated_driver.h"
#include "simulator/test_movie.h"
#include "support/test_environment.h"

namespace morvane {
namespace {

using test::FrameStepper;
using test::PortClient;

constexpr uint32_t kIn = 1 | kACInput;

MachineDescription ElmWithClip(const std::string& clip) {
  MachineDescription machine;
  std::string error;
  const std::string text =
      "[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"clip\"\nclip = \"" + clip + "\"\n";
  EXPECT_TRUE(ParseMachineDescription(text, "test.toml", "/", &machine, &error)) << error;
  return machine;
}

struct Captured {
  std::vector<std::vector<uint8_t>> pictures;
  std::vector<int32_t> sound;  // eight channels
  std::vector<RQD5Rp188> timecode;
};

// Captures `frames` frames of 8-bit 4:2:2 as fast as the card's time can be stepped.
Captured Capture(const MachineDescription& machine, uint32_t format, int frames,
                 uint32_t frameBytes, int idleBefore = 7) {
  Captured captured;
  ManualClock clock;
  SimulatedDriver driver(machine);
  PortClient card(&driver, BOARDTYPE_OEM2K);
  card.SetFormat(format);
  card.SetFrameBufferFormat(1, FrameBuffer8BitUyvy);
  card.Write(24, 1, 0x10000, 16);
  uint32_t scale = 0;
  uint32_t duration = 0;
  EXPECT_TRUE(FrameRatePair(FindVideoFormat(format)->rate, &scale, &duration));
  FrameStepper step(&clock, scale, duration);
  step.Step(idleBefore);
  EXPECT_TRUE(card.Init(kIn, 0, 30));
  step.Step(2);
  EXPECT_TRUE(card.Control(ACStart, kIn));
  step.Step();
  for (int i = 0; i < frames; ++i) {
    step.Step();
    PortClient::Frame frame;
    frame.channelSpec = kIn;
    frame.video.resize(frameBytes);
    frame.audio.resize(1 << 20);
    EXPECT_TRUE(card.Transfer(&frame));
    EXPECT_GE(frame.status.transferFrame, 0);
    EXPECT_EQ(frame.status.framesDropped, 0u);
    captured.pictures.push_back(frame.video);
    const size_t samples = frame.status.audioBytes / 4;
    captured.sound.resize(captured.sound.size() + samples);
    std::memcpy(captured.sound.data() + captured.sound.size() - samples, frame.audio.data(),
                samples * 4);
    captured.timecode.push_back(frame.status.stamp.rp188);
  }
  return captured;
}

struct Case {
  test::MovieRow movie;
  uint32_t format;  // that the movie chooses
};

TEST(ClipInput, EightBitPicturesComeThroughBitForBitFromTheirFirstFrameOn) {
  const Case cases[] = {
      {{720, 576, "25", 12, "uyvy"}, 37},         {{720, 486, "30000/1001", 12, "uyvy"}, 36},
      {{1280, 720, "50", 10, "uyvy"}, 17},        {{1920, 1080, "25", 6, "uyvy"}, 10},
      {{1920, 1080, "30000/1001", 6, "uyvy"}, 8},
  };
  for (const Case& entry : cases) {
    SCOPED_TRACE(entry.format);
    const std::string folder = test::FreshFolder("clip");
    const std::string movie = test::MakeMovie(folder, "a.mov", entry.movie);
    ASSERT_FALSE(movie.empty());
    const MachineDescription machine = ElmWithClip(movie);
    ASSERT_EQ(machine.cards[0].inputs[0].videoFormat, entry.format);
    const uint32_t bytes = entry.movie.width * entry.movie.height * 2;
    const std::vector<uint8_t> wanted = test::DecodePictures(movie, "uyvy422");
    ASSERT_EQ(wanted.size(), static_cast<size_t>(bytes) * entry.movie.frames);
    const Captured captured = Capture(machine, entry.format, entry.movie.frames, bytes);
    for (int i = 0; i < entry.movie.frames; ++i) {
      EXPECT_EQ(std::memcmp(captured.pictures[i].data(),
                            wanted.data() + static_cast<size_t>(i) * bytes, bytes),
                0)
          << "frame " << i;
    }
  }
}

TEST(ClipInput, TenBitPicturesGiveTheirTopEightBits) {
  const std::string folder = test::FreshFolder("clip");
  const std::string movie = test::MakeMovie(folder, "a.mov", {1280, 720, "50", 4, "v210"});
  ASSERT_FALSE(movie.empty());
  const std::vector<uint8_t> planar = test::DecodePictures(movie, "yuv422p10le");
  const size_t pixels = 1280 * 720;
  ASSERT_EQ(planar.size(), pixels * 4 * 4);
  const Captured captured = Capture(ElmWithClip(movie), 17, 4, 1280 * 720 * 2);
  for (size_t i = 0; i < 4; ++i) {
    const uint8_t* frame = planar.data() + i * pixels * 4;
    const auto sample = [&](size_t at) {
      return static_cast<uint8_t>((frame[2 * at] | frame[2 * at + 1] << 8) >> 2);
    };
    for (size_t p = 0; p < pixels / 2; ++p) {
      const uint8_t* got = captured.pictures[i].data() + 4 * p;
      ASSERT_EQ(got[0], sample(pixels + p)) << "Cb of pair " << p << " in frame " << i;
      ASSERT_EQ(got[1], sample(2 * p)) << "Y of pair " << p << " in frame " << i;
      ASSERT_EQ(got[2], sample(pixels + pixels / 2 + p)) << "Cr of pair " << p;
      ASSERT_EQ(got[3], sample(2 * p + 1)) << "Y of pair " << p;
    }
  }
}

TEST(ClipInput, SoundBeginsOnTheSampleOfTheFirstPictureAndGoesOnWithoutAGap) {
  const std::string folder = test::FreshFolder("clip");
  const std::string movie = test::MakeMovie(folder, "a.mov", {720, 486, "30000/1001", 20, "uyvy"});
  ASSERT_FALSE(movie.empty());
  const Captured captured = Capture(ElmWithClip(movie), 36, 20, 720 * 486 * 2);
  const std::vector<int32_t> wanted = test::DecodeSound(movie);
  ASSERT_EQ(captured.sound.size() / 8, 32032u);
  ASSERT_GE(wanted.size() / 2, 32031u);
  for (size_t i = 0; i < std::min<size_t>(wanted.size() / 2, 32032); ++i) {
    ASSERT_EQ(captured.sound[8 * i], wanted[2 * i]) << "sample " << i;
    ASSERT_EQ(captured.sound[8 * i + 1], wanted[2 * i + 1]) << "sample " << i;
    ASSERT_EQ(captured.sound[8 * i + 2], 0);
  }
}

TEST(ClipInput, AClipShorterThanTheCaptureStartsOverWithPictureAndSound) {
  const std::string folder = test::FreshFolder("clip");
  const std::string movie = test::MakeMovie(folder, "a.mov", {720, 576, "25", 5, "uyvy"});
  ASSERT_FALSE(movie.empty());
  const Captured captured = Capture(ElmWithClip(movie), 37, 12, 720 * 576 * 2);
  const std::vector<int32_t> sound = test::DecodeSound(movie);
  for (size_t i = 5; i < 12; ++i) EXPECT_EQ(captured.pictures[i], captured.pictures[i - 5]) << i;
  EXPECT_NE(captured.pictures[4], captured.pictures[5]);
  for (size_t i = 0; i < 5 * 1920; ++i) {
    ASSERT_EQ(captured.sound[8 * (i + 5 * 1920)], captured.sound[8 * i]) << "sample " << i;
  }
  // The numbers go on.
  EXPECT_EQ(captured.timecode[0].low, 0u);
  EXPECT_EQ(captured.timecode[11].low, 0x101u);
}

TEST(ClipInput, EachCaptureBeginsWithTheFirstFrame) {
  const std::string folder = test::FreshFolder("clip");
  const std::string movie = test::MakeMovie(folder, "a.mov", {720, 576, "25", 9, "uyvy"});
  ASSERT_FALSE(movie.empty());
  const std::vector<uint8_t> wanted = test::DecodePictures(movie, "uyvy422");
  const uint32_t bytes = 720 * 576 * 2;
  ManualClock clock;
  FrameStepper step(&clock, 25000, 1000);
  SimulatedDriver driver(ElmWithClip(movie));
  PortClient card(&driver, BOARDTYPE_OEM2K);
  card.SetFormat(37);
  card.SetFrameBufferFormat(1, FrameBuffer8BitUyvy);
  for (int run = 0; run < 3; ++run) {
    ASSERT_TRUE(card.Init(kIn, 0, 30));
    ASSERT_TRUE(card.Control(ACStart, kIn));
    step.Step(3 + run);
    PortClient::Frame frame;
    frame.channelSpec = kIn;
    frame.video.resize(bytes);
    ASSERT_TRUE(card.Transfer(&frame));
    EXPECT_EQ(std::memcmp(frame.video.data(), wanted.data(), bytes), 0) << "run " << run;
    ASSERT_TRUE(card.Control(ACAbort, kIn));
  }
}

TEST(ClipInput, AnInputThatNobodyCapturesIsSeenInItsInputFrame) {
  const std::string folder = test::FreshFolder("clip");
  const std::string movie = test::MakeMovie(folder, "a.mov", {720, 576, "25", 40, "uyvy"});
  ASSERT_FALSE(movie.empty());
  const std::vector<uint8_t> wanted = test::DecodePictures(movie, "uyvy422");
  const uint32_t bytes = 720 * 576 * 2;
  ManualClock clock;
  FrameStepper step(&clock, 25000, 1000);
  SimulatedDriver driver(ElmWithClip(movie));
  PortClient card(&driver, BOARDTYPE_OEM2K);
  card.SetFormat(37);
  card.SetFrameBufferFormat(1, FrameBuffer8BitUyvy);
  std::vector<uint8_t> seen(bytes);
  const auto look = [&] {
    EXPECT_TRUE(card.Dma(1, true, 3, seen.data(), bytes));
    for (int i = 0; i < 40; ++i) {
      if (std::memcmp(seen.data(), wanted.data() + static_cast<size_t>(i) * bytes, bytes) == 0) {
        return i;
      }
    }
    return -1;
  };
  card.Write(3, 3);
  EXPECT_EQ(look(), -1);   // the channel is an output yet
  card.Write(1, 1, 1, 0);  // input from here on
  EXPECT_EQ(look(), 0);
  step.Step(2);
  EXPECT_EQ(look(), 2);
  EXPECT_EQ(look(), 2);
  step.Step(500);  // nobody looked for a while: the clip goes on where it was
  EXPECT_EQ(look(), 3);
  ASSERT_TRUE(card.Init(kIn, 0, 30));
  ASSERT_TRUE(card.Control(ACStart, kIn));
  step.Step(2);
  PortClient::Frame frame;
  frame.channelSpec = kIn;
  frame.video.resize(bytes);
  ASSERT_TRUE(card.Transfer(&frame));
  EXPECT_EQ(std::memcmp(frame.video.data(), wanted.data(), bytes), 0);
}

TEST(ClipInput, AMovieOfAnotherCodecIsBroughtToTheSignal) {
  const std::string folder = test::FreshFolder("clip");
  const std::string movie = test::MakeMovie(folder, "a.avi", {720, 576, "25", 4, "huffyuv"});
  ASSERT_FALSE(movie.empty());
  const std::vector<uint8_t> wanted = test::DecodePictures(movie, "uyvy422");
  const uint32_t bytes = 720 * 576 * 2;
  const Captured captured = Capture(ElmWithClip(movie), 33, 4, bytes);
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(std::memcmp(captured.pictures[i].data(), wanted.data() + i * bytes, bytes), 0);
  }
}

TEST(ClipInput, FramesOutOfTurnAreNeverShownTwice) {
  // A caller that takes nothing for a while finds the frames that came after, not the old ones.
  const std::string folder = test::FreshFolder("clip");
  const std::string movie = test::MakeMovie(folder, "a.mov", {720, 576, "25", 60, "uyvy"});
  ASSERT_FALSE(movie.empty());
  const std::vector<uint8_t> wanted = test::DecodePictures(movie, "uyvy422");
  const uint32_t bytes = 720 * 576 * 2;
  ManualClock clock;
  FrameStepper step(&clock, 25000, 1000);
  SimulatedDriver driver(ElmWithClip(movie));
  PortClient card(&driver, BOARDTYPE_OEM2K);
  card.SetFormat(37);
  card.SetFrameBufferFormat(1, FrameBuffer8BitUyvy);
  ASSERT_TRUE(card.Init(kIn, 0, 9));
  ASSERT_TRUE(card.Control(ACStart, kIn));
  step.Step(1 + 30);  // nine wait, the others are dropped
  EXPECT_EQ(card.Status(kIn).framesDropped, 21u);
  const auto take = [&] {
    PortClient::Frame frame;
    frame.channelSpec = kIn;
    frame.video.resize(bytes);
    EXPECT_TRUE(card.Transfer(&frame));
    return frame.video;
  };
  for (size_t i = 0; i < 9; ++i) {
    EXPECT_EQ(std::memcmp(take().data(), wanted.data() + i * bytes, bytes), 0) << i;
  }
  step.Step(2);
  EXPECT_EQ(std::memcmp(take().data(), wanted.data() + 30u * bytes, bytes), 0);
  EXPECT_EQ(std::memcmp(take().data(), wanted.data() + 31u * bytes, bytes), 0);
}

}  // namespace
}  // namespace morvane
