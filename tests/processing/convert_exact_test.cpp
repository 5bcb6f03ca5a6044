#include <gtest/gtest.h>

#include <limits>

#include "base/byte_order.h"
#include "exact_lines.h"

namespace morvane {
namespace {

using test::Bytes;
using test::LineUnderTest;

// ---- Rescaling: every value of every range into every other

// A line with all values of a 10-bit component, the three components apart from each other.
Bytes AllWords() {
  Bytes line(1024 * 4);
  for (uint32_t v = 0; v < 1024; ++v) {
    StoreLe32(&line[4 * v], v << 22 | (1023 - v) << 12 | (v * 7 % 1024) << 2);
  }
  return line;
}

TEST(ConvertExact, EveryTenBitValueIsRescaledExactly) {
  Bytes line = AllWords();
  for (const FourCCCode from : {FourCC("11rl"), FourCC("10RG"), FourCC("11rQ"), FourCC("10RS")}) {
    for (const FourCCCode to : {FourCC("10rb"), FourCC("11rQ"), FourCC("10RG"), FourCC("10RS"),
                                FourCC("rgba"), FourCC("bgrA"), FourCC("rgb "), FourCC("10RA")}) {
      if (from == to) continue;
      EXPECT_TRUE(LineUnderTest(from, to, 1024, 1).Check(line));
    }
  }
}

TEST(ConvertExact, EveryEightBitValueIsRescaledExactly) {
  Bytes line(256 * 4);
  for (uint32_t v = 0; v < 256; ++v)
    StoreLe32(&line[4 * v], v | (255 - v) << 8 | v << 16 | v << 24);
  for (const FourCCCode from : {FourCC("bgrA"), FourCC("argB"), FourCC("rgba")}) {
    for (const FourCCCode to : {FourCC("10rb"), FourCC("11rQ"), FourCC("10RG"), FourCC("10RS"),
                                FourCC("RGB "), FourCC("RGb "), FourCC("RGBA"), FourCC("ARGB")}) {
      EXPECT_TRUE(LineUnderTest(from, to, 256, 1).Check(line));
    }
  }
}

TEST(ConvertExact, EverySixteenBitValueIsRescaledExactly) {
  constexpr int32_t kValues = 65536;
  for (const PixelFormat& from : PixelFormats()) {
    if (from.pixelClass != PixelClass::kRgb16 || from.layout == PixelLayout::kNone) continue;
    const size_t components = static_cast<size_t>(from.bytesPerGroup / 2);
    Bytes line(static_cast<size_t>(kValues) * components * 2);
    for (size_t i = 0; i < line.size() / 2; ++i) {
      StoreLe16(&line[2 * i], static_cast<uint16_t>(i / components + i % components * 21845));
    }
    for (const FourCCCode to : {FourCC("bgrA"), FourCC("rgb "), FourCC("10rl"), FourCC("10rb"),
                                FourCC("11rQ"), FourCC("10RG"), FourCC("10RS"), FourCC("10RA")}) {
      EXPECT_TRUE(LineUnderTest(from.code, to, kValues, 1).Check(line));
    }
  }
}

TEST(ConvertExact, EveryTenBitYuvValueBecomesEightBits) {
  Bytes line(1024 * 16);  // groups of four words of three values
  for (uint32_t v = 0; v < 1024; ++v) {
    for (uint32_t w = 0; w < 4; ++w) {
      StoreLe32(&line[16 * v + 4 * w], v | (1023 - v) << 10 | ((v + 512 + w) % 1024) << 20);
    }
  }
  for (const FourCCCode to : {FourCC("2vuy"), FourCC("yuy2")}) {
    EXPECT_TRUE(LineUnderTest(FourCC("v219"), to, 1024 * 6, 1).Check(line));
  }
}

// ---- Which pairs have a vector routine at all

bool IsDrawn(const PixelFormat& f) {
  return f.layout != PixelLayout::kNone;
}

// What capture, playback and preview run.
bool IsRunByTheEngines(const PixelFormat& from, const PixelFormat& to) {
  const bool toBgra = to.code == FourCC("bgrA");
  const bool toYuv = to.pixelClass == PixelClass::kYuv8 || to.pixelClass == PixelClass::kYuv10;
  const bool toTen = to.pixelClass == PixelClass::kRgb10;
  switch (from.pixelClass) {
    case PixelClass::kYuv8:
      return toBgra || toTen;
    case PixelClass::kYuv10:
      return toBgra || toTen || to.pixelClass == PixelClass::kYuv8;
    case PixelClass::kRgb8:
      return toYuv || to.pixelClass == PixelClass::kRgb8;
    case PixelClass::kRgb10:
      return toYuv || toTen || toBgra;
    case PixelClass::kRgb16:
      return toYuv || toTen || toBgra;
    default:
      return false;
  }
}

TEST(ConvertExact, EveryPairOfTheEnginesHasAVectorRoutine) {
  constexpr int32_t kWidth = 390;
  int pairs = 0;
  for (const PixelFormat& from : PixelFormats()) {
    for (const PixelFormat& to : PixelFormats()) {
      if (!IsDrawn(from) || !IsDrawn(to) || !IsRunByTheEngines(from, to)) continue;
      if (from.code == to.code) continue;  // copied without vectors
      LineUnderTest lines(from.code, to.code, kWidth, pairs % 6);
      EXPECT_TRUE(lines.Check(test::RandomLine(from.code, kWidth, static_cast<uint64_t>(pairs))))
          << FourCCText(from.code) << " to " << FourCCText(to.code);
      ++pairs;
    }
  }
  EXPECT_GT(pairs, 400);
}

// ---- Coefficients of one's own

TEST(ConvertExact, CoefficientsThatAreTooLargeForFloatsAreTakenInDoubles) {
  constexpr int32_t kWidth = 960;
  for (const double size : {1.7, -3.3, 41.0, 1e-7}) {
    for (const FourCCCode from : {FourCC("2vuy"), FourCC("v219")}) {
      NxColorContext color = test::ColorOf(3, from);
      color.crToR = color.crToR * size;
      color.crToG = color.crToG * size;
      for (const FourCCCode to : {FourCC("bgrA"), FourCC("11rl"), FourCC("rgb ")}) {
        LineUnderTest lines(from, to, kWidth, color, true);
        for (uint64_t seed = 0; seed < 8; ++seed) {
          EXPECT_TRUE(lines.Check(test::RandomLine(from, kWidth, seed))) << size;
        }
      }
    }
    for (const FourCCCode from : {FourCC("bgrA"), FourCC("10rb"), FourCC("RGB ")}) {
      NxColorContext color = test::ColorOf(0, from);
      color.yG = color.yG * size * 2;
      color.cbB = color.cbB * size;
      for (const FourCCCode to : {FourCC("2vuy"), FourCC("v219")}) {
        LineUnderTest lines(from, to, kWidth, color, true);
        for (uint64_t seed = 0; seed < 8; ++seed) {
          EXPECT_TRUE(lines.Check(test::RandomLine(from, kWidth, seed))) << size;
        }
      }
    }
  }
}

// The largest results that are rounded in fixed point, on both sides of zero.
TEST(ConvertExact, CoefficientsAtTheBoundsOfTheQuickForm) {
  constexpr int32_t kWidth = 1920;
  for (const FourCCCode from : {FourCC("2vuy"), FourCC("yuy2"), FourCC("v219")}) {
    const double codes = from == FourCC("v219") ? 4.0 : 1.0;
    for (int signs = 0; signs < 16; ++signs) {
      const auto sign = [signs](int bit) { return (signs >> bit & 1) != 0 ? -1.0 : 1.0; };
      NxColorContext color = test::ColorOf(1, from);
      color.yGainR = color.yGainG = color.yGainB = 1.25;
      color.yOffG = color.yOffB = 32 * codes * sign(0);
      color.yOffR = signs % 3 == 0 ? color.yOffG : -color.yOffG;
      color.crToR = 2.25 * sign(1);
      color.cbToB = 2.25 * sign(2);
      color.crToG = sign(3);
      color.cbToG = sign(signs % 2);
      LineUnderTest lines(from, FourCC("bgrA"), kWidth, color, true);
      for (uint64_t seed = 0; seed < 16; ++seed) {
        EXPECT_TRUE(lines.Check(test::RandomLine(from, kWidth, seed))) << signs;
      }
    }
  }
}

TEST(ConvertExact, RowsToYuvAtTheBoundsOfTheQuickForm) {
  constexpr int32_t kWidth = 1920;
  struct Row {
    const char (&from)[5];
    double highest;  // that a pixel may hold, in the scale of 8 bits
    double codes;    // numbers of the source for one of 8 bits
  };
  const Row rows[] = {{"bgrA", 255, 1},
                      {"10rb", 1023 / 4.0, 4},
                      {"RGB ", 65535 / 256.0, 256},
                      {" RgB", 65535 / 128.0, 128}};
  for (const Row& row : rows) {
    for (int signs = 0; signs < 8; ++signs) {
      const auto sign = [signs](int bit) { return (signs >> bit & 1) != 0 ? -1.0 : 1.0; };
      const double size = 539 / row.highest;
      NxColorContext color = test::ColorOf(1, FourCC(row.from));
      color.yR = size * 0.41;
      color.yG = size * 0.33;
      color.yB = size * 0.26;
      color.yOff = 120 * row.codes;  // up to 659
      color.cbR = color.crG = size * 0.27 * sign(0);
      color.cbG = color.crB = size * 0.34 * sign(1);
      color.cbB = color.crR = size * 0.39 * sign(2);
      color.cbOff = color.crOff = 100 * row.codes;
      for (const FourCCCode to : {FourCC("2vuy"), FourCC("yuy2"), FourCC("v219")}) {
        LineUnderTest lines(FourCC(row.from), to, kWidth, color, true);
        for (uint64_t seed = 0; seed < 16; ++seed) {
          EXPECT_TRUE(lines.Check(test::RandomLine(FourCC(row.from), kWidth, seed))) << signs;
        }
      }
    }
  }
}

TEST(ConvertExact, RowsThatShareNothingAndNumbersThatAreNoneGoThroughThePlainCode) {
  const double odd[] = {std::numeric_limits<double>::quiet_NaN(),
                        std::numeric_limits<double>::infinity(), 1e300, 1e-300, 3.0};
  for (const double value : odd) {
    NxColorContext color = test::ColorOf(1, FourCC("2vuy"));
    color.yGainB = value;  // unlike the gain of the other rows
    LineUnderTest yuv(FourCC("2vuy"), FourCC("bgrA"), 96, color, false);
    EXPECT_TRUE(yuv.Check(test::RandomLine(FourCC("2vuy"), 96, 1)));
    if (value == 3.0) continue;
    color = test::ColorOf(1, FourCC("bgrA"));
    color.crG = value;
    LineUnderTest rgb(FourCC("bgrA"), FourCC("v219"), 96, color, false);
    EXPECT_TRUE(rgb.Check(test::RandomLine(FourCC("bgrA"), 96, 1)));
  }
}

// ---- Samples of what is tried in full by the slow tests

TEST(ConvertExact, SampledHalfStepChromaToBgra) {
  for (int32_t matrix = 0; matrix < 6; ++matrix) test::CheckHalfSteps(matrix, 211);
}
TEST(ConvertExact, SampledColoursToYuv) {
  test::CheckColours(97);
}
TEST(ConvertExact, SampledRandomLines) {
  test::CheckRandomLines(8);
}

}  // namespace
}  // namespace morvane
