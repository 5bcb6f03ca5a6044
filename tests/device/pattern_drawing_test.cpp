#include "device/pattern_drawing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <vector>

#include "base/byte_order.h"

namespace morvane {
namespace {

using Frame = std::vector<uint8_t>;

Frame Draw(uint32_t number, const PatternRaster& raster) {
  Frame frame(PatternDescriptor(raster).FrameBytes(), 0xEE);
  const char* refusal = DrawTestPattern(number, raster, frame);
  EXPECT_EQ(refusal, nullptr) << refusal;
  return frame;
}

PatternRaster Raster(uint32_t format, uint32_t standard = Standard1080) {
  PatternRaster raster;
  raster.frameBufferFormat = format;
  raster.standard = standard;
  return raster;
}

PatternRgb Rgb(bool tenBit, bool smpte, bool sd, int y, int cb, int cr) {
  return PatternToRgb(GetPatternRgbMatrix(tenBit, smpte, sd), y, cb, cr);
}

constexpr PatternRgb All(int value) {
  return {value, value, value};
}

TEST(PatternNames, Thirteen) {
  const char* const kNames[] = {"100% ColorBars", "75% ColorBars", "Ramp",       "Multiburst",
                                "Linesweep",      "Check Field",   "Flat Field", "Multi Pattern",
                                "Black",          "Border",        "Slant Ramp", "Vertical Sweep",
                                "Zone Plate"};
  ASSERT_EQ(std::size(kNames), kTestPatterns);
  for (uint32_t i = 0; i < kTestPatterns; ++i) EXPECT_STREQ(TestPatternName(i), kNames[i]);
  EXPECT_STREQ(TestPatternName(13), "");
}

TEST(PatternLines, SegmentsCoverThePicture) {
  for (const uint32_t number : {0u, 1u, 2u, 3u, 4u, 6u, 7u}) {
    int32_t next = 0;
    for (const PatternSegment& segment : PatternSegments(number)) {
      EXPECT_EQ(segment.firstLine, next) << number;
      next = segment.lastLine + 1;
    }
    EXPECT_EQ(next, 1080) << number;
  }
  EXPECT_EQ(PatternSegments(4)[0].lastLine, 181);
  EXPECT_EQ(PatternSegments(4)[1].lastLine, 901);
  EXPECT_EQ(PatternSegments(7)[0].lastLine, 215);
  EXPECT_EQ(PatternSegments(7)[1].lastLine, 431);
  EXPECT_EQ(PatternSegments(5)[0].lastLine, 0);
  EXPECT_EQ(PatternSegments(5)[1].firstLine, 1);
  EXPECT_TRUE(PatternSegments(8).empty());
  EXPECT_TRUE(PatternSegments(13).empty());
}

TEST(PatternLines, StoredLinesKeepToTheLegalRange) {
  for (uint32_t i = 0; i < static_cast<uint32_t>(PatternLine::Count); ++i) {
    for (const bool sd : {false, true}) {
      const StoredLine& line = GetStoredLine(static_cast<PatternLine>(i), sd);
      EXPECT_TRUE(std::all_of(line.begin() + 5120, line.end(), [](uint8_t b) { return b == 0; }));
      const PatternSamples samples = UnpackStoredLine(line);
      ASSERT_EQ(samples.size(), 3840u);
      for (size_t x = 0; x < samples.size(); ++x) {
        const int top = x % 2 ? 940 : 960;
        ASSERT_TRUE(samples[x] >= 64 && samples[x] <= top) << i << ": sample " << x;
      }
    }
  }
}

TEST(PatternRgbConversion, White) {
  EXPECT_EQ(Rgb(true, false, false, 940, 512, 512), All(1022));
  EXPECT_EQ(Rgb(true, false, true, 940, 512, 512), All(1020));
  EXPECT_EQ(Rgb(false, false, false, 940, 512, 512), All(255));
  EXPECT_EQ(Rgb(false, false, true, 940, 512, 512), All(255));
  EXPECT_EQ(Rgb(false, true, false, 940, 512, 512), All(235));
  EXPECT_EQ(Rgb(false, true, true, 940, 512, 512), All(234));
  EXPECT_EQ(Rgb(true, true, false, 940, 512, 512), All(940));
  EXPECT_EQ(Rgb(true, true, true, 940, 512, 512), All(937));
}

TEST(PatternRgbConversion, Black) {
  for (const bool sd : {false, true}) {
    EXPECT_EQ(Rgb(false, false, sd, 64, 512, 512), All(0));
    EXPECT_EQ(Rgb(true, false, sd, 64, 512, 512), All(0));
    EXPECT_EQ(Rgb(false, true, sd, 64, 512, 512), All(16));
    EXPECT_EQ(Rgb(true, true, sd, 64, 512, 512), All(64));
  }
}

TEST(PatternRgbConversion, SaturatedColour) {
  EXPECT_EQ(Rgb(false, false, false, 205, 462, 848), (PatternRgb{14, 0, 198}));
  EXPECT_EQ(Rgb(false, false, true, 205, 462, 848), (PatternRgb{16, 0, 175}));
  EXPECT_EQ(Rgb(true, false, false, 205, 462, 848), (PatternRgb{56, 0, 794}));
}

TEST(PatternRgbConversion, EveryCoefficient) {
  // Typed from the written table: Y, Cr to R, Cb to B, G from Cb, G from Cr, constant, after.
  const struct {
    bool tenBit, smpte, sd;
    int32_t words[7];
  } kRows[] = {
      {false, false, true, {0x4A86, 0x6626, 0x811B, -0x1913, -0x3408, 0x9A3600, 0}},
      {false, false, false, {0x4AB3, 0x77DC, 0x8AA1, -0xE01, -0x230C, 0x621A00, 0}},
      {true, false, true, {0x12A15, 0x19895, 0x20469, -0x644A, -0xD01F, 0x268D200, 0}},
      {true, false, false, {0x12ACF, 0x1DF71, 0x22A86, -0x3806, -0x8C32, 0x1887000, 0}},
      {false, true, true, {0x3FD1, 0x5778, 0x6E8E, -0x1579, -0x2C8E, 0x840E00, 0x10}},
      {false, true, false, {0x3FF7, 0x66A3, 0x76B5, -0xBFE, -0x1E03, 0x540200, 0x10}},
      {true, true, true, {0xFF40, 0x15DDF, 0x1BA34, -0x55E1, -0xB237, 0x2103000, 0x40}},
      {true, true, false, {0xFFDF, 0x19A8C, 0x1DAD7, -0x2FF9, -0x780D, 0x1500C00, 0x40}},
  };
  for (const auto& row : kRows) {
    const PatternRgbMatrix& m = GetPatternRgbMatrix(row.tenBit, row.smpte, row.sd);
    const int32_t words[] = {m.yGain, m.crToR, m.cbToB, m.cbToG, m.crToG, m.gConstant, m.offset};
    EXPECT_TRUE(std::equal(std::begin(words), std::end(words), row.words))
        << row.tenBit << row.smpte << row.sd;
    EXPECT_EQ(m.max, row.tenBit ? 1023 : 255);
  }
}

TEST(PatternRgbConversion, SecondPixelTakesTheMeanChromaAndTheLastItsOwn) {
  // Two pairs, chroma 512 and then 601 beside it: the mean of Cb is 556 (truncated).
  const PatternSamples samples = {512, 400, 512, 400, 601, 400, 512, 400};
  std::array<uint8_t, 16> line;
  ASSERT_TRUE(PackPatternLine(FrameBuffer8BitArgb, samples, false, line.data()));
  const int32_t blue[] = {
      Rgb(false, false, false, 400, 512, 512).b, Rgb(false, false, false, 400, 556, 512).b,
      Rgb(false, false, false, 400, 601, 512).b, Rgb(false, false, false, 400, 601, 512).b};
  for (size_t x = 0; x < 4; ++x) EXPECT_EQ(line[x * 4], blue[x]) << x;
  EXPECT_LT(blue[0], blue[1]);
  EXPECT_LT(blue[1], blue[2]);
}

TEST(PatternPacking, EachFormatByHand) {
  // Two pixels of one saturated colour, then what each format makes of it.
  const PatternSamples samples = {462, 205, 848, 205};
  const PatternRgb hd8 = {14, 0, 198};
  const PatternRgb hd10 = {56, 0, 794};
  const auto packed = [&](uint32_t format) {
    std::vector<uint8_t> line(PatternLineBytes(format, 2));
    EXPECT_TRUE(PackPatternLine(format, samples, false, line.data()));
    return line;
  };
  const auto word = [&](uint32_t format) { return LoadLe32(packed(format).data()); };
  const auto bytes = [](const std::vector<uint8_t>& line, size_t count) {
    return std::vector<int>(line.begin(), line.begin() + static_cast<ptrdiff_t>(count));
  };
  EXPECT_EQ(word(FrameBuffer10BitYCbCr), 462u | 205u << 10 | 848u << 20);
  EXPECT_EQ(LoadLe32(packed(FrameBuffer10BitYCbCr).data() + 4), 205u);
  EXPECT_EQ(bytes(packed(1), 4), (std::vector<int>{115, 51, 212, 51}));
  EXPECT_EQ(bytes(packed(9), 4), (std::vector<int>{115, 51, 212, 51}));
  EXPECT_EQ(bytes(packed(11), 4), (std::vector<int>{115, 51, 212, 51}));
  EXPECT_EQ(bytes(packed(5), 4), (std::vector<int>{51, 115, 51, 212}));
  EXPECT_EQ(bytes(packed(10), 4), (std::vector<int>{51, 115, 51, 212}));
  EXPECT_EQ(bytes(packed(2), 4), (std::vector<int>{hd8.b, hd8.g, hd8.r, 255}));
  EXPECT_EQ(bytes(packed(3), 4), (std::vector<int>{hd8.r, hd8.g, hd8.b, 255}));
  EXPECT_EQ(bytes(packed(6), 4), (std::vector<int>{hd8.r, hd8.g, hd8.b, 255}));
  EXPECT_EQ(bytes(packed(12), 3), (std::vector<int>{hd8.r, hd8.g, hd8.b}));
  EXPECT_EQ(bytes(packed(13), 3), (std::vector<int>{hd8.b, hd8.g, hd8.r}));
  EXPECT_EQ(word(4), 794u | 0u << 10 | 56u << 20);
  EXPECT_EQ(LoadBe32(packed(7).data()), 794u << 22 | 0u << 12 | 56u << 2);
  EXPECT_EQ(word(15), 794u << 22 | 0u << 12 | 56u << 2);
  EXPECT_EQ(LoadBe32(packed(8).data()), (462u | 205u << 10 | 848u << 20) << 2);
  EXPECT_EQ(word(14), 0x3AC00000u | 462u << 10 | 205u);
  EXPECT_EQ(LoadLe32(packed(14).data() + 4), 0x3AC00000u | 848u << 10 | 205u);
  EXPECT_EQ(LoadLe16(packed(16).data()), 794 << 6);
  EXPECT_EQ(LoadLe16(packed(16).data() + 2), 0);
  EXPECT_EQ(LoadLe16(packed(16).data() + 4), 56 << 6);
  EXPECT_EQ(bytes(packed(20), 4),
            (std::vector<int>{56 >> 2, 0, 794 >> 2, (56 & 3) | 0 << 2 | (794 & 3) << 4}));
  EXPECT_EQ(hd10.r, 794);
}

TEST(PatternPacking, FormatsWithoutADrawing) {
  const std::set<uint32_t> kNone = {17, 18, 19, 21, 22, 23, 24, 99};
  for (uint32_t format = 0; format < 100; ++format) {
    if (format > 24 && format < 99) continue;
    EXPECT_EQ(PatternFormatHasDrawing(format), !kNone.contains(format)) << format;
  }
  uint8_t line[16] = {7};
  EXPECT_FALSE(PackPatternLine(17, {512, 64, 512, 64}, false, line));
  EXPECT_EQ(line[0], 7);
  EXPECT_EQ(PatternLineBytes(17, 2), 0u);
}

TEST(PatternPacking, YuyvIsUyvyWithSwappedBytes) {
  const Frame uyvy = Draw(0, Raster(1)), yuyv = Draw(0, Raster(5));
  ASSERT_EQ(uyvy.size(), yuyv.size());
  for (size_t i = 0; i < uyvy.size(); i += 2) {
    ASSERT_EQ(uyvy[i], yuyv[i + 1]) << i;
    ASSERT_EQ(uyvy[i + 1], yuyv[i]) << i;
  }
}

TEST(PatternPacking, DpxWordIsTheShiftedWordReversed) {
  const Frame words = Draw(3, Raster(0)), dpx = Draw(3, Raster(8));
  ASSERT_EQ(words.size(), dpx.size());
  for (size_t i = 0; i < words.size(); i += 4) {
    ASSERT_EQ(LoadBe32(dpx.data() + i), LoadLe32(words.data() + i) << 2) << i;
  }
}

TEST(PatternDrawing, BlackInEachKind) {
  const Frame uyvy = Draw(TestPatternBlack, Raster(1));
  ASSERT_EQ(uyvy.size(), 4147200u);
  for (size_t i = 0; i < uyvy.size(); ++i) ASSERT_EQ(uyvy[i], i % 2 ? 0x10 : 0x80) << i;
  for (const uint32_t format : {2u, 3u, 4u, 6u, 7u, 12u, 13u, 15u, 16u, 20u}) {
    const Frame rgb = Draw(TestPatternBlack, Raster(format));
    EXPECT_TRUE(std::all_of(rgb.begin(), rgb.end(), [](uint8_t b) { return b == 0; })) << format;
  }
  EXPECT_EQ(LoadLe32(Draw(TestPatternBlack, Raster(0)).data()), 0x20010200u);
}

TEST(PatternDrawing, VerticalSweepReachesItsExtremes) {
  const Frame frame = Draw(TestPatternVerticalSweep, Raster(0));
  const size_t pitch = 5120;
  EXPECT_EQ(LoadLe32(frame.data()) >> 10 & 0x3FF, 217u);
  uint32_t highest = 0, lowest = 1023;
  for (size_t y = 0; y < 1080; ++y) {
    const uint32_t luma = LoadLe32(frame.data() + y * pitch) >> 10 & 0x3FF;
    highest = std::max(highest, luma);
    lowest = std::min(lowest, luma);
  }
  EXPECT_EQ(highest, 787u);
  EXPECT_EQ(lowest, 217u);
}

TEST(PatternDrawing, SlantRampRisesAlongTheLineAndMovesByAPixelALine) {
  const Frame frame = Draw(TestPatternSlantRamp, Raster(0));
  constexpr uint32_t kPixels = 1920;
  const auto sample = [&](uint32_t y, uint32_t index) {
    return LoadLe32(frame.data() + size_t{y} * 5120 + index / 3 * 4) >> index % 3 * 10 & 0x3FF;
  };
  for (const uint32_t y : {0u, 1u, 1079u}) {
    for (uint32_t x = 0; x < kPixels; ++x) {
      ASSERT_EQ(sample(y, 2 * x), 512u) << x << ", " << y;
      ASSERT_EQ(sample(y, 2 * x + 1), 64 + (x + y) % kPixels * 876 / (kPixels - 1))
          << x << ", " << y;
    }
  }
  EXPECT_EQ(sample(0, 1), 64u);
  EXPECT_EQ(sample(0, 3839), 940u);
  EXPECT_EQ(sample(1079, 2 * 840 + 1), 940u);
  EXPECT_EQ(sample(1079, 2 * 841 + 1), 64u);
}

// Colour of pixel (x, y) of a frame in format 2.
std::array<int, 3> At(const Frame& frame, const PatternRaster& raster, uint32_t x, uint32_t y) {
  const uint8_t* p =
      frame.data() + size_t{y} * PatternDescriptor(raster).linePitch * 4 + size_t{x} * 4;
  return {p[2], p[1], p[0]};
}

TEST(PatternDrawing, BarsHaveTheirColoursInEveryStandard) {
  const int kOn[8][3] = {{1, 1, 1}, {1, 1, 0}, {0, 1, 1}, {0, 1, 0},
                         {1, 0, 1}, {1, 0, 0}, {0, 0, 1}, {0, 0, 0}};
  for (const uint32_t number : {0u, 1u}) {
    const int level = number == 0 ? 255 : 191;
    for (const uint32_t standard : {0u, 1u, 2u, 3u, 4u, 5u}) {
      // The bars are those of 709; the high-definition RGB coefficients are a little steeper.
      const double tolerance = standard == Standard525 || standard == Standard625 ? 2 : 8;
      const PatternRaster raster = Raster(FrameBuffer8BitArgb, standard);
      const RQD5FormatDescriptor shape = PatternDescriptor(raster);
      const Frame frame = Draw(number, raster);
      for (uint32_t bar = 0; bar < 8; ++bar) {
        for (const uint32_t y : {0u, shape.numLines / 2, shape.numLines - 1}) {
          const auto rgb = At(frame, raster, (bar * 2 + 1) * shape.numPixels / 16, y);
          for (size_t c = 0; c < 3; ++c) {
            EXPECT_NEAR(rgb[c], kOn[bar][c] * level, tolerance)
                << "pattern " << number << " standard " << standard << " bar " << bar << " line "
                << y << " component " << c;
          }
        }
      }
    }
  }
}

TEST(PatternDrawing, BarsAreTheSignalOfTheirStandard) {
  // Y, Cb, Cr of 75 % bars in 10 bits, worked out from the luma weights of 709 and 601.
  const int kHd[8][3] = {{721, 512, 512}, {674, 176, 543}, {581, 589, 176}, {534, 253, 207},
                         {251, 771, 817}, {204, 435, 848}, {111, 848, 481}, {64, 512, 512}};
  const int kSd[8][3] = {{721, 512, 512}, {646, 176, 567}, {525, 625, 176}, {450, 289, 231},
                         {335, 735, 793}, {260, 399, 848}, {139, 848, 457}, {64, 512, 512}};
  for (const bool sd : {false, true}) {
    const PatternSamples samples = UnpackStoredLine(GetStoredLine(PatternLine::Bars75, sd));
    for (size_t bar = 0; bar < 8; ++bar) {
      const auto& want = sd ? kSd[bar] : kHd[bar];
      const size_t at = (bar * 240 + 120) * 2;
      EXPECT_EQ(samples[at], want[1]) << sd << " bar " << bar;
      EXPECT_EQ(samples[at + 1], want[0]) << sd << " bar " << bar;
      EXPECT_EQ(samples[at + 2], want[2]) << sd << " bar " << bar;
    }
  }
}

TEST(PatternDrawing, BorderIsOneSampleWide) {
  for (const uint32_t standard : {0u, 1u, 2u, 3u, 5u}) {
    const PatternRaster raster = Raster(FrameBuffer8BitArgb, standard);
    const RQD5FormatDescriptor shape = PatternDescriptor(raster);
    const Frame frame = Draw(TestPatternBorder, raster);
    const uint32_t right = shape.numPixels - 1, bottom = shape.numLines - 1;
    for (uint32_t y = 0; y <= bottom; ++y) {
      for (uint32_t x = 0; x <= right; ++x) {
        const bool edge = x == 0 || y == 0 || x == right || y == bottom;
        ASSERT_EQ(At(frame, raster, x, y)[1], edge ? 255 : 0) << x << "," << y;
      }
    }
  }
}

TEST(PatternDrawing, CheckFieldAlternatesInEveryRaster) {
  for (const uint32_t standard : {0u, 1u, 2u, 3u, 5u}) {
    const PatternRaster raster = Raster(FrameBuffer8BitUyvy, standard);
    const RQD5FormatDescriptor shape = PatternDescriptor(raster);
    const Frame frame = Draw(TestPatternCheckField, raster);
    const size_t pitch = size_t{shape.linePitch} * 4;
    for (uint32_t y = 0; y < shape.numLines; ++y) {
      const int chroma = y % 2 ? 0x180 >> 2 : 0x300 >> 2, luma = y % 2 ? 0x300 >> 2 : 0x180 >> 2;
      for (size_t x = 0; x < pitch; ++x) {
        ASSERT_EQ(frame[y * pitch + x], x % 2 ? luma : chroma) << x << "," << y;
      }
    }
  }
}

TEST(PatternDrawing, EverythingThatHasAShapeIsDrawnAndNothingBeside) {
  constexpr size_t kGuard = 64;
  int drawn = 0;
  for (uint32_t standard = 0; standard <= 6; ++standard) {
    for (uint32_t format = 0; format <= 24; ++format) {
      for (const bool wide : {false, true}) {
        PatternRaster raster = Raster(format, standard);
        raster.wide2K = wide;
        // The cheap patterns everywhere; the computed ones at 525, ramp and sweep at 720 too.
        for (const uint32_t number : {0u, 5u, 8u, 9u, 10u, 11u, 12u}) {
          const bool small = standard == Standard525 || (number < 12 && standard == Standard720);
          if (number >= 10 && !small) continue;
          const uint32_t bytes = PatternDescriptor(raster).FrameBytes();
          Frame frame(bytes + 2 * kGuard, 0xEE);
          const char* refusal = PatternRefusal(number, raster);
          EXPECT_EQ(DrawTestPattern(number, raster, std::span(frame).subspan(kGuard, bytes)),
                    refusal);
          if (refusal != nullptr) {
            EXPECT_EQ(static_cast<size_t>(std::count(frame.begin(), frame.end(), 0xEE)),
                      frame.size());
            continue;
          }
          ++drawn;
          EXPECT_TRUE(std::all_of(frame.begin(), frame.begin() + kGuard,
                                  [](uint8_t b) { return b == 0xEE; }));
          EXPECT_TRUE(
              std::all_of(frame.end() - kGuard, frame.end(), [](uint8_t b) { return b == 0xEE; }));
          // No line is left as it was: none of the lines is all 0xEE.
          EXPECT_NE(frame[kGuard], 0xEE);
          EXPECT_NE(frame[kGuard + bytes - PatternDescriptor(raster).linePitch * 4], 0xEE);
        }
      }
    }
  }
  EXPECT_GT(drawn, 300);
}

TEST(PatternDrawing, PitchBehindThePixelsIsZero) {
  const PatternRaster raster = Raster(FrameBuffer10BitYCbCr, Standard720);
  const Frame frame = Draw(0, raster);
  const size_t pitch = 864 * 4, used = PatternLineBytes(0, 1280);
  ASSERT_EQ(used, 854u * 4);
  for (size_t y = 0; y < 720; ++y) {
    for (size_t x = used; x < pitch; ++x) ASSERT_EQ(frame[y * pitch + x], 0) << x << "," << y;
  }
}

// ---- bands, and single samples ----

// Where the bands of a pattern begin, in lines of the frame, and what stands in them.
struct BandCase {
  uint32_t number;
  uint32_t standard;
  bool vanc;
  std::vector<uint32_t> edges;  // the first line of each, and the line behind the last
};

// clang-format off
const BandCase kBands[] = {
  // five bands of a fifth of the picture
  { 7, Standard525,  false, {  0,  97, 194, 291, 388,  486 } },
  { 7, Standard625,  false, {  0, 115, 230, 345, 460,  576 } },
  { 7, Standard720,  false, {  0, 144, 288, 432, 576,  720 } },
  { 7, Standard1080, false, {  0, 216, 432, 648, 864, 1080 } },
  { 7, Standard1080, true,  { 32, 248, 464, 680, 896, 1112 } },
  // 182, 720 and 178 of 1080 lines
  { 4, Standard525,  false, {  0,  81, 405,  486 } },
  { 4, Standard625,  false, {  0,  97, 481,  576 } },
  { 4, Standard720,  false, {  0, 121, 601,  720 } },
  { 4, Standard1080, true,  { 32, 214, 934, 1112 } },
  { 2, Standard525,  false, {  0,  486 } },
  { 2, Standard720,  false, {  0,  720 } },
  { 2, Standard1080, true,  { 32, 1112 } },
};
// clang-format on

std::vector<PatternLine> LinesOfBands(uint32_t number) {
  switch (number) {
    case 2:
      return {PatternLine::Ramp};
    case 4:
      return {PatternLine::Markers, PatternLine::LumaSweep, PatternLine::ChromaSweep};
    default:
      return {PatternLine::Bars75, PatternLine::Ramp, PatternLine::Multiburst,
              PatternLine::LumaSweep, PatternLine::ChromaSweep};
  }
}

TEST(PatternDrawing, BandsHoldTheirStoredLineFromTheFirstLineToTheLast) {
  for (const BandCase& row : kBands) {
    SCOPED_TRACE("pattern " + std::to_string(row.number) + " standard " +
                 std::to_string(row.standard) + " to line " + std::to_string(row.edges.back()));
    PatternRaster raster = Raster(FrameBuffer8BitUyvy, row.standard);
    raster.vanc = row.vanc;
    const RQD5FormatDescriptor shape = PatternDescriptor(raster);
    ASSERT_EQ(shape.numLines, row.edges.back());
    const Frame frame = Draw(row.number, raster);
    const size_t pitch = size_t{shape.linePitch} * 4;
    const std::vector<PatternLine> lines = LinesOfBands(row.number);
    ASSERT_EQ(lines.size() + 1, row.edges.size());
    const bool sd = row.standard == Standard525 || row.standard == Standard625;
    for (size_t band = 0; band < lines.size(); ++band) {
      PatternSamples samples = UnpackStoredLine(GetStoredLine(lines[band], sd));
      if (shape.numPixels != 1920) {
        samples = ResamplePattern(samples, static_cast<int32_t>(shape.numPixels));
      }
      for (const uint32_t y : {row.edges[band], row.edges[band + 1] - 1}) {
        for (size_t i = 0; i < samples.size(); ++i) {
          ASSERT_EQ(frame[y * pitch + i], samples[i] >> 2)
              << "band " << band << " line " << y << " sample " << i;
        }
      }
    }
  }
}

// Sample `index` of line `y` of a frame in format 0: Cb, Y, Cr, Y from the left.
uint32_t TenBits(const Frame& frame, const PatternRaster& raster, uint32_t y, uint32_t index) {
  const size_t pitch = size_t{PatternDescriptor(raster).linePitch} * 4;
  return LoadLe32(frame.data() + y * pitch + index / 3 * 4) >> index % 3 * 10 & 0x3FF;
}

struct SampleCase {
  uint32_t x, y;
  uint32_t luma;
  uint32_t chroma;  // Cb and Cr of the pair, at an even x; 0: not looked at
};

void ExpectSamples(uint32_t number, uint32_t standard, const std::vector<SampleCase>& cases) {
  const PatternRaster raster = Raster(FrameBuffer10BitYCbCr, standard);
  const Frame frame = Draw(number, raster);
  for (const SampleCase& row : cases) {
    EXPECT_EQ(TenBits(frame, raster, row.y, row.x * 2 + 1), row.luma) << row.x << "," << row.y;
    if (row.chroma == 0) continue;
    EXPECT_EQ(TenBits(frame, raster, row.y, row.x * 2), row.chroma) << row.x << "," << row.y;
    EXPECT_EQ(TenBits(frame, raster, row.y, row.x * 2 + 2), row.chroma) << row.x << "," << row.y;
  }
}

// 64 to 940 in 1919 steps of 876 / 1919.
TEST(PatternDrawing, RampBySamples) {
  ExpectSamples(2, Standard1080,
                {{0, 0, 64, 512},
                 {480, 500, 283, 512},
                 {960, 500, 502, 512},
                 {1440, 1079, 721, 512},
                 {1917, 1079, 939, 0},
                 {1918, 1079, 940, 512},
                 {1919, 1079, 940, 0}});
}

TEST(PatternDrawing, FlatFieldIsHalfWayFromBlackToWhite) {
  for (const uint32_t standard : {Standard1080, Standard720, Standard525, Standard625}) {
    const PatternRaster raster = Raster(FrameBuffer8BitArgb, standard);
    const RQD5FormatDescriptor shape = PatternDescriptor(raster);
    const uint32_t right = shape.numPixels - 1, bottom = shape.numLines - 1;
    ExpectSamples(6, standard,
                  {{0, 0, 502, 512}, {right, bottom, 502, 0}, {right / 2 & ~1u, 99, 502, 512}});
    const Frame frame = Draw(6, raster);
    for (const uint32_t x : {0u, right / 2, right}) {
      for (const uint32_t y : {0u, bottom}) {
        EXPECT_EQ(At(frame, raster, x, y), (std::array<int, 3>{128, 128, 128})) << x << "," << y;
      }
    }
  }
}

// The phase is pi for each 4800 of dx * dx + dy * dy round (960, 540): a quarter cycle, the highest
// value 502 + 285, at 2400; the lowest, 502 - 285, at 7200.
TEST(PatternDrawing, ZonePlateBySamples) {
  ExpectSamples(TestPatternZonePlate, Standard1080,
                {{960, 540, 502, 512},  // the middle
                 {961, 540, 502, 0},
                 {1009, 540, 787, 0},  // 49 beside it
                 {911, 540, 787, 0},
                 {960, 589, 787, 803},  // and above and below
                 {960, 491, 787, 803},
                 {1008, 550, 787, 803},
                 {1020, 600, 217, 220},  // 60 and 60
                 {900, 480, 217, 220},
                 {0, 540, 502, 0},    // 192 half cycles
                 {0, 0, 703, 717}});  // 252 and three quarters
}

// Here it is pi for each 1800 round (360, 243).
TEST(PatternDrawing, ZonePlateOfAnotherRasterBySamples) {
  ExpectSamples(TestPatternZonePlate, Standard525,
                {{360, 243, 502, 512},
                 {390, 243, 787, 803},
                 {330, 243, 787, 803},
                 {360, 273, 787, 803},
                 {412, 243, 217, 220}});
}

TEST(PatternDrawing, AncillaryLinesAreBlack) {
  PatternRaster raster = Raster(FrameBuffer8BitUyvy);
  raster.vanc = true;
  const RQD5FormatDescriptor shape = PatternDescriptor(raster);
  ASSERT_EQ(shape.firstActiveLine, 32u);
  const Frame frame = Draw(0, raster);
  const size_t pitch = size_t{shape.linePitch} * 4;
  for (size_t i = 0; i < 32 * pitch; ++i) ASSERT_EQ(frame[i], i % 2 ? 0x10 : 0x80);
  EXPECT_EQ(frame[32 * pitch + 1], 235);
  EXPECT_EQ(frame[(shape.numLines - 1) * pitch + 1], 235);
}

TEST(PatternDrawing, SignalMaskBlackensComponents) {
  for (uint32_t mask = 0; mask < 8; ++mask) {
    PatternRaster raster = Raster(FrameBuffer8BitUyvy);
    const Frame whole = Draw(0, raster);
    raster.signalMask = mask;
    const Frame frame = Draw(0, raster);
    for (size_t i = 0; i < 1920 * 2; ++i) {
      const uint32_t bit = i % 2 ? 1 : i % 4 == 0 ? 2 : 4;
      const int black = i % 2 ? 0x10 : 0x80;
      ASSERT_EQ(frame[i], mask & bit ? whole[i] : black) << "mask " << mask << " byte " << i;
    }
  }
}

TEST(PatternDrawing, WordsForWhatCannotBeDrawn) {
  constexpr char kFormat[] = "Unsupported framebuffer standard requested.";
  constexpr char kReduced[] =
      "DVCPro, HDV, and QRez framebuffer formats not supported in 525 and 625.";
  constexpr char kCombination[] = "Unsupported video standard/framebuffer format.";
  for (const uint32_t format : {17u, 18u, 19u, 21u, 22u, 23u, 24u}) {
    EXPECT_STREQ(PatternRefusal(0, Raster(format)), kFormat) << format;
    EXPECT_STREQ(PatternRefusal(9, Raster(format)),
                 "DownloadBorderTestPattern(): Unsupported framebuffer standard requested.");
  }
  for (const uint32_t format : {9u, 10u, 11u}) {
    EXPECT_STREQ(PatternRefusal(0, Raster(format, Standard525)), kReduced);
    EXPECT_STREQ(PatternRefusal(0, Raster(format, Standard625)), kReduced);
    EXPECT_STREQ(PatternRefusal(0, Raster(format, Standard2K)), kCombination);
    EXPECT_EQ(PatternRefusal(0, Raster(format, Standard720)), nullptr);
  }
  EXPECT_STREQ(PatternRefusal(0, Raster(1, StandardUnknown)), kCombination);
  for (uint32_t format = 0; format <= 24; ++format) {
    PatternRaster raster = Raster(format);
    raster.wide2K = true;
    const std::set<uint32_t> kDrawn = {0, 1, 2, 3, 4, 5, 6, 7, 12, 13, 15, 20};
    if (kDrawn.contains(format)) {
      EXPECT_EQ(PatternRefusal(0, raster), nullptr) << format;
    } else {
      EXPECT_STREQ(PatternRefusal(0, raster), kFormat) << format;
    }
  }
}

TEST(PatternDrawing, LinesOf2048PixelsHaveThePitchOfTheirFormat) {
  const struct {
    uint32_t format, pitchWords;
  } kRows[] = {{0, 1376}, {1, 1024}, {5, 1024},  {2, 2048},  {3, 2048},  {4, 2048},
               {6, 2048}, {7, 2048}, {15, 2048}, {20, 2048}, {12, 1536}, {13, 1536}};
  for (const auto& row : kRows) {
    PatternRaster raster = Raster(row.format);
    raster.wide2K = true;
    const RQD5FormatDescriptor shape = PatternDescriptor(raster);
    EXPECT_EQ(shape.numPixels, 2048u) << row.format;
    EXPECT_EQ(shape.linePitch, row.pitchWords) << row.format;
    EXPECT_EQ(shape.numLines, 1080u) << row.format;
  }
}

// What a line of the reduced formats holds: fewer pixels, and half the lines in format 10.
TEST(PatternDrawing, ReducedFormatsHoldTheResampledLine) {
  const PatternSamples stored = UnpackStoredLine(GetStoredLine(PatternLine::Multiburst, false));
  for (const uint32_t standard : {uint32_t{Standard1080}, uint32_t{Standard720}}) {
    for (const uint32_t format : {9u, 10u, 11u}) {
      const PatternRaster raster = Raster(format, standard);
      const RQD5FormatDescriptor shape = PatternDescriptor(raster);
      const RQD5FormatDescriptor whole = PatternDescriptor(Raster(1, standard));
      EXPECT_LT(shape.numPixels, whole.numPixels) << format;
      EXPECT_EQ(shape.numLines, format == 10 ? whole.numLines / 2 : whole.numLines) << format;
      const PatternSamples samples = ResamplePattern(stored, static_cast<int32_t>(shape.numPixels));
      const Frame frame = Draw(3, raster);
      const size_t pitch = size_t{shape.linePitch} * 4;
      for (const size_t y : {size_t{0}, size_t{shape.numLines} - 1}) {
        for (size_t i = 0; i < samples.size(); ++i) {
          const size_t at = format == 10 ? i ^ 1 : i;
          ASSERT_EQ(frame[y * pitch + at], samples[i] >> 2) << format << " sample " << i;
        }
      }
    }
  }
}

TEST(PatternDrawing, SmallBufferIsRefusedAndUnknownNumberDoesNothing) {
  const PatternRaster raster = Raster(FrameBuffer8BitUyvy, Standard525);
  Frame frame(PatternDescriptor(raster).FrameBytes() - 1, 0xEE);
  EXPECT_NE(DrawTestPattern(0, raster, frame), nullptr);
  EXPECT_EQ(DrawTestPattern(13, raster, frame), nullptr);
  EXPECT_EQ(static_cast<size_t>(std::count(frame.begin(), frame.end(), 0xEE)), frame.size());
}

}  // namespace
}  // namespace morvane
