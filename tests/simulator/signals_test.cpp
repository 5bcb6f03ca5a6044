#include <gtest/gtest.h>

#include <cstring>

#include "base/byte_order.h"
#include "processing/convert.h"
#include "simulator/frame_timing.h"
#include "simulator/input_source.h"
#include "simulator/port_client.h"
#include "simulator/signal_picture.h"
#include "simulator/simulated_driver.h"

namespace morvane {
namespace {

using test::FrameStepper;
using test::PortClient;

// ---- time ----

TEST(FrameTiming, BoundariesLieOnTheFirstNanosecondAtOrAfterTheExactTime) {
  const FrameTiming timing{1000, 30000, 1001};
  EXPECT_EQ(timing.BoundaryNs(0), 1000);
  EXPECT_EQ(timing.BoundaryNs(1), 1000 + 33366667);  // 33366666.67
  EXPECT_EQ(timing.BoundaryNs(30), 1000 + 1001000000);
  // A year on, not a nanosecond is lost: 30000 frames are 1001 s.
  EXPECT_EQ(timing.BoundaryNs(30000LL * 31504), 1000 + 1001LL * 31504 * 1000000000);
}

TEST(FrameTiming, ABoundaryHasPassedFromItsOwnNanosecondOn) {
  for (const FrameTiming& timing :
       {FrameTiming{5, 30000, 1001}, FrameTiming{5, 60000, 1001}, FrameTiming{5, 24000, 1001},
        FrameTiming{5, 25000, 1000}, FrameTiming{5, 15000, 1001}}) {
    for (const int64_t k : {1LL, 2LL, 3LL, 1000LL, 123456789LL}) {
      EXPECT_EQ(timing.IndexAt(timing.BoundaryNs(k)), k);
      EXPECT_EQ(timing.IndexAt(timing.BoundaryNs(k) - 1), k - 1);
    }
  }
  EXPECT_EQ(FrameTiming{}.IndexAt(1LL << 60), 0);
}

TEST(FrameTiming, SamplesOfFramesAddUp) {
  const int wanted[] = {1602, 1601, 1602, 1601, 1602};
  for (int64_t n = 0; n < 50; ++n) {
    EXPECT_EQ(SamplesBefore(n + 1, 48000, 30000, 1001) - SamplesBefore(n, 48000, 30000, 1001),
              wanted[n % 5]);
  }
  EXPECT_EQ(SamplesBefore(150, 48000, 30000, 1001), 240240);
  EXPECT_EQ(SamplesBefore(5, 48000, 60000, 1001), 4004);
  EXPECT_EQ(SamplesBefore(1, 96000, 25000, 1000), 3840);
}

// ---- timecode ----

std::string TextAt(const SourceTimecode& timecode, int64_t frame) {
  char text[kTimecodeTextBytes] = {};
  return UnpackRp188(timecode.At(frame), text) ? text : "none";
}

TEST(SourceTimecode, CountsFromItsFirstFrame) {
  const SourceTimecode plain("01:00:00:00", 25000, 1000);
  EXPECT_EQ(TextAt(plain, 0), "01:00:00:00");
  EXPECT_EQ(TextAt(plain, 26), "01:00:01:01");
  const SourceTimecode drop("00;59;59;28", 30000, 1001);
  EXPECT_EQ(TextAt(drop, 1), "00;59;59;29");
  EXPECT_EQ(TextAt(drop, 2), "01;00;00;00");  // a tenth minute drops nothing
  EXPECT_EQ(TextAt(SourceTimecode("00;00;59;29", 30000, 1001), 1), "00;01;00;02");
  EXPECT_EQ(TextAt(SourceTimecode("23:59:59:24", 25000, 1000), 1), "00:00:00:00");
  EXPECT_EQ(TextAt(SourceTimecode("10:00:00:00", 24000, 1001), 24), "10:00:01:00");
}

TEST(SourceTimecode, PairsOfFramesShareANumberAtTheHighRates) {
  const SourceTimecode timecode("01:00:00:00", 60000, 1001);
  EXPECT_EQ(TextAt(timecode, 0), "01:00:00:00");
  EXPECT_EQ(TextAt(timecode, 1), "01:00:00:00");
  EXPECT_EQ(TextAt(timecode, 2), "01:00:00:01");
  EXPECT_EQ(TextAt(timecode, 3), "01:00:00:01");
  EXPECT_EQ(TextAt(SourceTimecode("01:00:00:00", 50000, 1000), 51), "01:00:01:00");
}

TEST(SourceTimecode, NoneIsNone) {
  EXPECT_FALSE(SourceTimecode("", 25000, 1000).Present());
  EXPECT_EQ(SourceTimecode("", 25000, 1000).At(5).flags, 0u);
}

// ---- pictures ----

SignalFormat Raster(uint32_t width, uint32_t height) {
  SignalFormat format;
  format.width = width;
  format.height = height;
  format.scale = 25000;
  format.duration = 1000;
  return format;
}

struct Sample {
  uint32_t y;
  uint32_t cb;
  uint32_t cr;
};

Sample At(const std::vector<uint8_t>& pixels, FourCCCode fourcc, uint32_t pitch, uint32_t x,
          uint32_t y) {
  uint32_t y0 = 0;
  uint32_t y1 = 0;
  Sample sample{};
  const uint8_t* line = pixels.data() + static_cast<size_t>(y) * pitch;
  const uint32_t pair = x / 2;
  UnpackYuvPair(fourcc, fourcc == FourCC("v219") ? line : line + 4 * pair, &y0, &sample.cb,
                &sample.cr, &y1, static_cast<int32_t>(pair));
  sample.y = x % 2 == 0 ? y0 : y1;
  return sample;
}

TEST(Bars, HaveTheLevelsOfTheirStandard) {
  struct Bar {
    uint32_t x;
    uint32_t y;
    uint32_t cb;
    uint32_t cr;
  };
  // 75 % bars in 10 bit: white, yellow, cyan, green, magenta, red, blue, black.
  const Bar hd[] = {{100, 721, 512, 512},  {350, 674, 176, 543},  {600, 581, 589, 176},
                    {850, 534, 253, 207},  {1100, 251, 771, 817}, {1300, 204, 435, 848},
                    {1550, 111, 848, 481}, {1800, 64, 512, 512}};
  const Bar sd[] = {{40, 721, 512, 512},  {130, 646, 176, 567}, {220, 525, 625, 176},
                    {310, 450, 289, 231}, {400, 335, 735, 793}, {490, 260, 399, 848},
                    {580, 139, 848, 457}, {670, 64, 512, 512}};
  for (const bool isHd : {true, false}) {
    const SignalFormat format = isHd ? Raster(1920, 1080) : Raster(720, 576);
    const auto source = MakeBarsSource(format, SoundSource::kTone);
    const FrameLayout layout = PlainLayout(FourCC("v219"), format.width, format.height);
    std::vector<uint8_t> pixels(layout.Bytes());
    source->Frame(0)->Picture()->Store(layout, pixels.data());
    for (size_t i = 0; i < 8; ++i) {
      const Bar& bar = isHd ? hd[i] : sd[i];
      for (const uint32_t y : {16u, 300u, format.height - 1}) {
        const Sample got = At(pixels, FourCC("v219"), layout.pitch, bar.x, y);
        EXPECT_NEAR(got.y, bar.y, 1) << bar.x;
        EXPECT_NEAR(got.cb, bar.cb, 1) << bar.x;
        EXPECT_NEAR(got.cr, bar.cr, 1) << bar.x;
      }
    }
  }
}

TEST(Bars, TheNumberStandsInTheTopSixteenLinesOfEveryRaster) {
  const uint32_t rasters[][2] = {{1920, 1080}, {1280, 720}, {720, 486}, {720, 576}, {2048, 1556}};
  for (const auto& raster : rasters) {
    SCOPED_TRACE(raster[0]);
    const auto source = MakeBarsSource(Raster(raster[0], raster[1]), SoundSource::kTone);
    for (const FourCCCode fourcc : {FourCC("v219"), FourCC("2vuy")}) {
      const FrameLayout layout = PlainLayout(fourcc, raster[0], raster[1]);
      std::vector<uint8_t> pixels(layout.Bytes());
      for (const int64_t number : {0LL, 1LL, 0x12345678LL, 0xFFFFFFFFLL}) {
        source->Frame(number)->Picture()->Store(layout, pixels.data());
        for (const uint32_t y : {0u, 15u}) {
          EXPECT_EQ(ReadBarsFrameNumber(fourcc, pixels.data() + y * layout.pitch, raster[0]),
                    static_cast<uint32_t>(number));
        }
        const Sample below = At(pixels, fourcc, layout.pitch, 2, 16);
        EXPECT_NEAR(below.y, fourcc == FourCC("v219") ? 721 : 180, 1);
      }
    }
  }
}

// Every layout that the card makes can be sent back and gives the picture again, as far as its
// depth reaches.
TEST(SignalPicture, FrameBuffersOfEveryFormatComeBack) {
  const uint32_t width = 720;
  const uint32_t height = 32;
  const FrameLayout ten = PlainLayout(FourCC("v219"), width, height);
  const auto source = MakeBarsSource(Raster(width, height), SoundSource::kTone);
  const PictureRef picture = source->Frame(0x0F0F3355)->Picture();
  std::vector<uint8_t> wanted(ten.Bytes());
  picture->Store(ten, wanted.data());
  for (const uint32_t format : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 12u, 13u, 15u, 16u, 22u}) {
    SCOPED_TRACE(format);
    const RQD5FormatDescriptor descriptor =
        GetFormatDescriptor(Standard625, format, false, false, false);
    FrameLayout layout;
    layout.frameBufferFormat = format;
    layout.fourcc = FrameBufferFourCC(format);
    layout.width = width;
    layout.height = height;
    layout.pitch = descriptor.linePitch * 4;
    layout.matrix = 1;
    ASSERT_NE(layout.fourcc, 0u);
    std::vector<uint8_t> frame(layout.Bytes() + 64, 0xA5);
    picture->Store(layout, frame.data());
    for (size_t i = layout.Bytes(); i < frame.size(); ++i) ASSERT_EQ(frame[i], 0xA5) << i;
    const PictureRef back = PictureOfFrame(layout, frame.data(), layout.Bytes(), false);
    std::vector<uint8_t> got(ten.Bytes());
    back->Store(ten, got.data());
    EXPECT_EQ(ReadBarsFrameNumber(FourCC("v219"), got.data(), width), 0x0F0F3355u);
    const bool exact = format == 0 || format == 8;
    for (uint32_t x = 40; x < width; x += 90) {  // the middle of each bar
      const Sample a = At(wanted, FourCC("v219"), ten.pitch, x, 20);
      const Sample b = At(got, FourCC("v219"), ten.pitch, x, 20);
      EXPECT_NEAR(b.y, a.y, exact ? 0 : 6) << x;
      EXPECT_NEAR(b.cb, a.cb, exact ? 0 : 6) << x;
      EXPECT_NEAR(b.cr, a.cr, exact ? 0 : 6) << x;
    }
  }
}

TEST(SignalPicture, EightBitsShiftUpAndDownWithoutLoss) {
  for (const uint32_t width : {720u, 1280u, 1920u, 2048u}) {
    SCOPED_TRACE(width);
    const FrameLayout eight = PlainLayout(FourCC("2vuy"), width, 3);
    const FrameLayout ten = PlainLayout(FourCC("v219"), width, 3);
    auto pixels = std::make_shared<std::vector<uint8_t>>(eight.Bytes());
    uint32_t seed = width;
    for (uint8_t& byte : *pixels) {
      byte = static_cast<uint8_t>((seed = seed * 1664525 + 1013904223) >> 24);
    }
    const PlainPicture picture(FourCC("2vuy"), width, 3, pixels);
    std::vector<uint8_t> wide(ten.Bytes());
    picture.Store(ten, wide.data());
    const uint32_t first = LoadLe32(wide.data());
    EXPECT_EQ(first & 0x3FF, (*pixels)[0] * 4u);
    EXPECT_EQ(first >> 10 & 0x3FF, (*pixels)[1] * 4u);
    const PlainPicture back(FourCC("v219"), width, 3,
                            std::make_shared<const std::vector<uint8_t>>(wide));
    std::vector<uint8_t> narrow(eight.Bytes());
    back.Store(eight, narrow.data());
    EXPECT_EQ(narrow, *pixels);
  }
}

TEST(SignalPicture, APictureOfAnotherRasterLiesAtTheTopLeftOnBlack) {
  auto pixels = std::make_shared<std::vector<uint8_t>>(16 * 2 * 4, uint8_t{0x77});
  const PlainPicture picture(FourCC("2vuy"), 16, 4, pixels);
  FrameLayout layout = PlainLayout(FourCC("2vuy"), 32, 8);
  layout.firstActiveLine = 2;
  std::vector<uint8_t> out(layout.Bytes());
  picture.Store(layout, out.data());
  EXPECT_EQ(out[0], 0x80);
  EXPECT_EQ(out[1], 0x10);
  EXPECT_EQ(out[2 * 64], 0x77);
  EXPECT_EQ(out[2 * 64 + 31], 0x77);
  EXPECT_EQ(out[2 * 64 + 32], 0x80);
  EXPECT_EQ(out[5 * 64], 0x77);
  EXPECT_EQ(out[6 * 64], 0x80);
}

TEST(Tone, IsAKilohertzAndARamp) {
  std::vector<int32_t> samples(48 * 3 * 3);
  MakeTone(0, 48 * 3, 3, 48000, samples.data());
  EXPECT_EQ(samples[0], 0);
  EXPECT_NEAR(samples[12 * 3], 214748365, 2);  // a quarter of the period, -20 dBFS
  EXPECT_NEAR(samples[36 * 3], -214748365, 2);
  EXPECT_EQ(samples[48 * 3], 0);
  for (int i = 0; i < 144; ++i) {
    EXPECT_EQ(samples[i * 3 + 1], i * 256);
    EXPECT_EQ(samples[i * 3 + 2], i * 256);
  }
}

// ---- every board ----

TEST(EveryBoard, CapturesAndPlaysWhereItHasMemory) {
  ManualClock clock;
  for (const BoardRow& board : BoardRows()) {
    SCOPED_TRACE(board.name);
    MachineDescription machine;
    machine.cards.resize(1);
    machine.cards[0].identity = board.identity;
    if (board.videoIn > 0) {
      InputDescription input;
      input.connector = "input1";
      input.source = SignalSource::kBars;
      input.videoFormat = 33;
      machine.cards[0].inputs.push_back(input);
    }
    SimulatedDriver driver(machine);
    if (PropertySetOfBoardType(board.boardType) == nullptr) continue;  // reached from outside
    PortClient card(&driver, board.boardType);
    ASSERT_TRUE(card.IsOpen());
    card.SetFormat(33);
    card.SetFrameBufferFormat(1, FrameBuffer8BitUyvy);
    FrameStepper step(&clock, 25000, 1000);
    if (board.identity == BoardCedar || board.identity == BoardDogwood ||
        board.identity == BoardSpruce || board.analogIn == 0) {
      // Listens to input 1 as it is.
    } else {
      card.Write(1, 1, 0x8000, 15);
    }
    const auto frames = static_cast<int32_t>(FrameCount(board.identity, Geometry720x576, 1));
    if (frames < 6) {
      EXPECT_FALSE(card.Init(1, 0, 4));
      continue;
    }
    if (board.videoIn > 0) {
      ASSERT_TRUE(card.Init(1 | kACInput, 0, frames - 2));
      ASSERT_TRUE(card.Control(ACStart, 1 | kACInput));
      step.Step(3);
      PortClient::Frame frame;
      frame.channelSpec = 1 | kACInput;
      frame.video.resize(720 * 576 * 2);
      ASSERT_TRUE(card.Transfer(&frame));
      ASSERT_EQ(frame.status.transferFrame, 0);
      EXPECT_LT(ReadBarsFrameNumber(FourCC("2vuy"), frame.video.data(), 720), 10u);
      ASSERT_TRUE(card.Control(ACAbort, 1 | kACInput));
    }
    ASSERT_TRUE(card.Init(1, 0, frames - 4));
    PortClient::Frame out;
    out.video.assign(720 * 576 * 2, 0x42);
    ASSERT_TRUE(card.Transfer(&out));
    ASSERT_TRUE(card.Control(ACStart, 1));
    step.Step();
    EXPECT_EQ(card.Status(1).activeFrame, 0u);
    std::vector<uint8_t> memory(64);
    ASSERT_TRUE(card.Dma(1, true, 0, memory.data(), 64));
    EXPECT_EQ(memory, std::vector<uint8_t>(64, 0x42));
  }
}

}  // namespace
}  // namespace morvane
