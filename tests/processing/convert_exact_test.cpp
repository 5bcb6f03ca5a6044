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
    for (const FourCCCode to : {FourCC("10rb"), FourCC("11rQ"), FourCC("10RG"), FourCC("10RS")}) {
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
                                FourCC("11rQ"), FourCC("10RG"), FourCC("10RS")}) {
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
