#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

#include "base/byte_order.h"
#include "convert_helpers.h"

// Bytes that were worked out by hand, each through the plain code and through whatever ConvertImage
// picks by itself.
namespace morvane {
namespace {

using test::Bytes;
using test::Convert;
using test::ConvertHex;
using test::FromHex;
using test::LineOptions;
using test::ToHex;

const char kYuvLine[] = "5a51f05136912291";  // 4 pixels
const char kV210Line[] = "6919053c46593324860c0920ac030804";

class ConvertValues : public testing::TestWithParam<bool> {
 protected:
  static LineOptions Options() { return {false, false, GetParam()}; }
};
INSTANTIATE_TEST_SUITE_P(Paths, ConvertValues, testing::Bool(),
                         [](const auto& row) { return row.param ? "Plain" : "Picked"; });

TEST_P(ConvertValues, EightBitYuvToBgraThroughEachMatrix) {
  const char* wanted[] = {"0f10eb00005e5d0011ec100011ec1000", "0000fe00005a5a0001ff000001ff0000",
                          "0c25fd0000575f000bca00000bca0000", "0018ff0000535c0000d8000000d80000",
                          "0c25fd0000575f000bca00000bca0000", "0018ff0000535c0000d8000000d80000"};
  for (int32_t matrix = 0; matrix < 6; ++matrix) {
    EXPECT_EQ(ConvertHex("2vuy", kYuvLine, 4, "bgrA", matrix, Options()), wanted[matrix])
        << "matrix " << matrix;
  }
}

TEST_P(ConvertValues, EightBitYuvToTenBitWords) {
  EXPECT_EQ(ConvertHex("2vuy", kYuvLine, 4, "11rb", 1, Options()),
            "fe0000005a168000003ff010003ff010");
  EXPECT_EQ(ConvertHex("2vuy", kYuvLine, 4, "11rQ", 1, Options()),
            "e980000052d4b000003ac010003ac010");
  EXPECT_EQ(ConvertHex("2vuy", kYuvLine, 4, "10RG", 3, Options()),
            "ff8301007031050000800d0000800d00");
}

TEST_P(ConvertValues, TenBitYuvGroup) {
  EXPECT_EQ(ConvertHex("v219", kV210Line, 6, "2vuy", 3, Options()), "5a52f0523691229180eb8010");
  EXPECT_EQ(ConvertHex("v219", kV210Line, 6, "yuy2", 3, Options()), "525a52f091369122eb801080");
  EXPECT_EQ(ConvertHex("v219", kV210Line, 6, "bgrA", 3, Options()),
            "0019ff0000545c0000d8000047b74100ffffff0000000000");
}

TEST_P(ConvertValues, BgraToYuv) {
  const char colours[] = "0000ffff00ff00ffff0000ffffffffff";  // red, green, blue, white
  EXPECT_EQ(ConvertHex("bgrA", colours, 4, "2vuy", 1, Options()), "5151bd91a5295feb");
  EXPECT_EQ(ConvertHex("bgrA", colours, 4, "2vuy", 3, Options()), "573fbbada22061eb");
  EXPECT_EQ(ConvertHex("bgrA", colours, 4, "2vuy", 0, Options()), "494cc796ac1d5aeb");
  EXPECT_EQ(ConvertHex("bgrA", colours, 4, "2vuy", 0, {true, true, GetParam()}),
            "494cc796ac1d5aff");
  EXPECT_EQ(ConvertHex("bgrA", colours, 4, "v219", 3, Options()),
            "5de9a32eb32afa0786b10e0000000000");
  EXPECT_EQ(ConvertHex("bgrA", colours, 4, "yuy2", 1, Options()), "515191bd29a5eb5f");
}

TEST_P(ConvertValues, TenBitWordToEverything) {
  const char word[] = "fa1f400c";  // 1000, 500, 3
  EXPECT_EQ(ConvertHex("11rb", word, 1, "11rQ", 1, Options()), "e5dcb00c");
  EXPECT_EQ(ConvertHex("11rb", word, 1, "10RG", 1, Options()), "e8d33700");
  EXPECT_EQ(ConvertHex("11rb", word, 1, "bgrA", 1, Options()), "007dfaff");
  EXPECT_EQ(ConvertHex("11rb", word, 1, "rgba", 1, Options()), "f97d01ff");
  EXPECT_EQ(ConvertHex("11rb", word, 1, "RGB ", 1, Options()), "3efa1f7dc000");
  EXPECT_EQ(ConvertHex("11rb", word, 1, "10rl", 1, Options()), "0c401ffa");
  EXPECT_EQ(ConvertHex("11rb", word, 1, "10RA", 1, Options()), "fa1f400fff");
}

TEST_P(ConvertValues, SmpteWordPassesThroughTheOtherWordOnItsWayToBgra) {
  const char word[] = "ac030804";  // 940, 512, 64
  EXPECT_EQ(ConvertHex("10RS", word, 1, "bgrA", 1, Options()), "800cacff");
  EXPECT_EQ(ConvertHex("10RS", word, 1, "rgba", 1, Options()), "ff8b11ff");
}

TEST_P(ConvertValues, TenBitWhiteToYuv) {
  EXPECT_EQ(ConvertHex("10rb", "fffffffcfffffffc", 2, "2vuy", 3, Options()), "80eb80eb");
}

TEST_P(ConvertValues, AlphaOfBgraIsKeptOnlyWithoutAChangeOfFormat) {
  EXPECT_EQ(ConvertHex("bgrA", "0a141e28", 1, "bgrA", 1, Options()), "0a141e28");
  EXPECT_EQ(ConvertHex("rgba", "0a141e28", 1, "bgrA", 1, Options()), "1e140aff");
  EXPECT_EQ(ConvertHex("rgba", "0a141e28", 1, "rleq", 1, Options()), "1e140a28");
  EXPECT_EQ(ConvertHex("bgrA", "0a141e28", 1, "argB", 1, Options()), "281e140a");
  EXPECT_EQ(ConvertHex("rgb ", "0a141e", 1, "abgr", 1, Options()), "ff1e140a");
  EXPECT_EQ(ConvertHex("RGBA", "0080ff7f00000040", 1, "bgrA", 1, Options()), "007f8040");
}

TEST_P(ConvertValues, FloatsAreHeldToTheirRange) {
  Bytes src(16);
  StoreLeFloat(&src[0], 2.0f);
  StoreLeFloat(&src[4], -1.0f);
  StoreLeFloat(&src[8], std::numeric_limits<float>::quiet_NaN());
  StoreLeFloat(&src[12], 0.5f);
  EXPECT_EQ(ToHex(Convert("RgBF", src, 1, "RGBA", 1, Options()).bytes), "ffff000000000080");
  StoreLeFloat(&src[0], std::numeric_limits<float>::infinity());
  StoreLeFloat(&src[4], -std::numeric_limits<float>::infinity());
  StoreLeFloat(&src[8], 1.0f);
  EXPECT_EQ(ToHex(Convert("RgBF", src, 1, "RGBA", 1, Options()).bytes), "ffff0000ffff0080");
}

TEST_P(ConvertValues, FloatTargetsAre65535ths) {
  const Bytes out = Convert("RGB ", FromHex("ffff00800100"), 1, "ARgF", 1, Options()).bytes;
  EXPECT_EQ(LoadLeFloat(&out[0]), 1.0f);
  EXPECT_EQ(LoadLeFloat(&out[4]), 1.0f);
  EXPECT_EQ(LoadLeFloat(&out[8]), static_cast<float>(32768 / 65535.0));
  EXPECT_EQ(LoadLeFloat(&out[12]), static_cast<float>(1 / 65535.0));
}

TEST_P(ConvertValues, SmpteRangeScalesWhiteAndNeverRaisesBlack) {
  EXPECT_EQ(ConvertHex("11rb", "00000000", 1, "11rQ", 1, Options()), "00000000");
  EXPECT_EQ(ConvertHex("11rb", "fffffffc", 1, "11rQ", 1, Options()), "eb3aceb0");
}

// The first pair of a line: Y, Cb, Cr.
using Yuv = std::array<uint32_t, 3>;

Yuv FirstPair(const char (&from)[5], const std::string& pixel, const char (&to)[5], int32_t matrix,
              LineOptions options) {
  const Bytes line = FromHex(ConvertHex(from, pixel + pixel, 2, to, matrix, options));
  uint32_t y0 = 0, cb = 0, cr = 0, y1 = 0;
  EXPECT_EQ(UnpackYuvPair(FourCC(to), line.data(), &y0, &cb, &cr, &y1, 0), 0);
  EXPECT_EQ(y0, y1);
  return {y0, cb, cr};
}

TEST_P(ConvertValues, FullWhiteAndFullBlackLiftTheirClips) {
  const struct {
    const char* name;
    const char* bgra;
    Yuv eight, eightWhite, eightBlack, eightFull;
    Yuv ten, tenWhite, tenBlack, tenFull;
  } kRows[] = {
      {"black",
       "00000000",
       {16, 128, 128},
       {16, 128, 128},
       {0, 128, 128},
       {0, 128, 128},
       {64, 512, 512},
       {64, 512, 512},
       {0, 512, 512},
       {0, 512, 512}},
      {"red",
       "0000ff00",
       {76, 84, 240},
       {76, 84, 255},
       {76, 84, 240},
       {76, 84, 255},
       {305, 336, 960},
       {305, 336, 1023},
       {305, 336, 960},
       {305, 336, 1023}},
      {"cyan",
       "ffff0000",
       {179, 172, 16},
       {179, 172, 16},
       {179, 172, 0},
       {179, 172, 0},
       {715, 688, 64},
       {715, 688, 64},
       {715, 688, 0},
       {715, 688, 0}},
      {"white",
       "ffffff00",
       {235, 128, 128},
       {255, 128, 128},
       {235, 128, 128},
       {255, 128, 128},
       {940, 512, 512},
       {1020, 512, 512},
       {940, 512, 512},
       {1020, 512, 512}},
  };
  const auto pair = [](const char* bgra, const char(&to)[5], bool white, bool black) {
    return FirstPair("bgrA", bgra, to, 0, {white, black, GetParam()});
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(pair(row.bgra, "2vuy", false, false), row.eight);
    EXPECT_EQ(pair(row.bgra, "2vuy", true, false), row.eightWhite);
    EXPECT_EQ(pair(row.bgra, "2vuy", false, true), row.eightBlack);
    EXPECT_EQ(pair(row.bgra, "2vuy", true, true), row.eightFull);
    EXPECT_EQ(pair(row.bgra, "v219", false, false), row.ten);
    EXPECT_EQ(pair(row.bgra, "v219", true, false), row.tenWhite);
    EXPECT_EQ(pair(row.bgra, "v219", false, true), row.tenBlack);
    EXPECT_EQ(pair(row.bgra, "v219", true, true), row.tenFull);
  }
}

TEST_P(ConvertValues, DeepRgbIsScaledToItsTarget) {
  const struct {
    const char (&from)[5];
    const char* pixel;
    Yuv eight, ten;
  } kRows[] = {
      {" RgB", "008000800080", {235, 128, 128}, {940, 512, 512}},
      {" RgB", "004000400040", {126, 128, 128}, {504, 512, 512}},
      {" RgB", "008000000000", {63, 102, 240}, {251, 409, 960}},
      {"RGB ", "ffffffffffff", {235, 128, 128}, {940, 512, 512}},
      {" RgF", "0000803f0000803f0000803f", {235, 128, 128}, {940, 512, 512}},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.pixel);
    EXPECT_EQ(FirstPair(row.from, row.pixel, "2vuy", 3, Options()), row.eight);
    EXPECT_EQ(FirstPair(row.from, row.pixel, "v219", 3, Options()), row.ten);
  }
  EXPECT_EQ(FirstPair("10rb", "fffffffc", "v219", 3, Options())[0], 940u);
}

// Three pairs of 10-bit 4:2:2 with the same chroma.
std::string V210Line(const std::array<uint32_t, 6>& luma, uint32_t cb, uint32_t cr) {
  Bytes line(16);
  for (int32_t p = 0; p < 3; ++p) {
    const auto at = static_cast<size_t>(2 * p);
    EXPECT_EQ(PackYuvPair(FourCC("v219"), line.data(), luma[at], cb, cr, luma[at + 1], p), 0);
  }
  return ToHex(line);
}

TEST_P(ConvertValues, TenBitYuvIsClippedToItsTarget) {
  const std::string line = V210Line({1023, 1023, 1023, 1023, 1023, 1023}, 1023, 1023);
  EXPECT_EQ(ConvertHex("v219", line, 6, "2vuy", 3, Options()), "f0fff0fff0fff0fff0fff0ff");
}

TEST_P(ConvertValues, TenBitYuvToTenBitWords) {
  // Grey 0, 217, 510, 741, 1020, 1023 in R 31-22, G 21-12, B 11-2; then in R 9-0, G 19-10, B 29-20.
  const std::string grey = V210Line({64, 250, 502, 700, 940, 1023}, 512, 512);
  EXPECT_EQ(ConvertHex("v219", grey, 6, "11rb", 3, Options()),
            "00000000"
            "364d9364"
            "7f9fe7f8"
            "b96e5b94"
            "ff3fcff0"
            "fffffffc");
  EXPECT_EQ(ConvertHex("v219", grey, 6, "10RG", 3, Options()),
            "00000000"
            "d964930d"
            "fef9e71f"
            "e5965b2e"
            "fcf3cf3f"
            "ffffff3f");
  // Red: 1020, 0, 0.
  const std::string red = V210Line({250, 250, 250, 250, 250, 250}, 409, 960);
  EXPECT_EQ(ConvertHex("v219", red, 6, "11rb", 3, Options()),
            "ff000000ff000000ff000000ff000000ff000000ff000000");
  EXPECT_EQ(ConvertHex("v219", red, 6, "10RG", 3, Options()),
            "fc030000fc030000fc030000fc030000fc030000fc030000");
}

TEST(Convert, PairsWithoutAPathAreRefused) {
  struct Row {
    const char (&from)[5];
    const char (&to)[5];
    NxErr result;
  };
  const Row rows[] = {
      {"2vuy", "v219", NxErrUnsupportedRequest},    {"2vuy", "RGB ", NxErrUnsupportedRequest},
      {"2vuy", "RgBF", NxErrUnsupportedRequest},    {"v219", "RGBA", NxErrUnsupportedRequest},
      {"v219", " RgF", NxErrUnsupportedRequest},    {"v219", "V219", NxErrParameterNotSupported},
      {"v219", "v219", NxErrParameterNotSupported}, {"bgrA", "BGR ", NxErrParameterNotSupported},
      {"BGRA", "bgrA", NxErrParameterNotSupported}, {"BGRA", "BGRA", NxErrParameterNotSupported},
      {"BGRA", "2vuy", NxErrParameterNotSupported}, {"2vuy", "BGRA", NxErrUnsupportedRequest},
      {"bgrA", "10yb", NxErrUnsupportedRequest},    {"10yb", "bgrA", NxErrUnsupportedRequest},
      {"junk", "bgrA", NxErrUnsupportedRequest},    {"bgrA", "junk", NxErrUnsupportedRequest},
  };
  for (const Row& row : rows) {
    const Bytes src(64, 0x55);
    EXPECT_EQ(Convert(row.from, src, 4, row.to, 1).result, row.result) << row.from << row.to;
    Bytes dst(64, 0xC7);
    ConvertContext context;
    SetColorMatrix(1, FourCC(row.from), &context.color);
    EXPECT_EQ(ConvertLine(&context, src.data(), 4, FourCC(row.from), 64, dst.data(), 4,
                          FourCC(row.to), 64, false, nullptr),
              row.result);
    EXPECT_EQ(dst, Bytes(64, 0xC7));
  }
}

TEST(Convert, SameFamilyOfEightBitYuvLeavesTheTargetUntouched) {
  const Bytes src = FromHex(kYuvLine);
  Bytes dst(8, 0xC7);
  NxColorContext color;
  ConvertContext context;
  for (const FourCCCode to : {FourCC("2vuy"), FourCC("yuy2"), FourCC("dvhd")}) {
    EXPECT_EQ(ConvertImage(&context, src.data(), 4, 1, FourCC("2vuy"), 8, dst.data(), 4, 1, to, 8,
                           false, &color, false, nullptr),
              0);
    EXPECT_EQ(dst, Bytes(8, 0xC7));
  }
}

TEST(Convert, RoundTripsOfComponents) {
  const auto through = [](uint32_t v, uint32_t a, uint32_t b, uint32_t bMin) {
    uint32_t r = v, g = 0, bl = 0, al = 0;
    RescaleComponents(&r, &g, &bl, &al, a, 0, b, bMin);
    RescaleComponents(&r, &g, &bl, &al, b, bMin, a, 0);
    return r;
  };
  int lost = 0;
  for (uint32_t v = 0; v < 1024; ++v) {
    if (v < 256) {
      EXPECT_EQ(through(v, 255, 1023, 0), v);
      EXPECT_EQ(through(v, 255, 65535, 0), v);
    }
    EXPECT_EQ(through(v, 1023, 65535, 0), v);
    lost += through(v, 1023, 940, 64) != v ? 1 : 0;
  }
  EXPECT_EQ(lost, 83);
}

TEST(Convert, RescaleKeepsEqualPairsAndClipsAbove) {
  uint32_t r = 2000, g = 1, b = 2, a = 3;
  RescaleComponents(&r, &g, &b, &a, 1023, 0, 1023, 0);
  EXPECT_EQ(r, 2000u);  // no clip when both pairs agree
  RescaleComponents(&r, &g, &b, &a, 1023, 64, 1023, 0);
  EXPECT_EQ(r, 1023u);  // the minimum takes part in the equality test only
  EXPECT_EQ(g, 1u);
  r = 1023;
  g = 0;
  b = 512;
  a = 0xFFFFFFFF;
  RescaleComponents(&r, &g, &b, &a, 1023, 0, 940, 64);
  EXPECT_EQ(r, 940u);
  EXPECT_EQ(g, 0u);  // black is never raised to 64
  EXPECT_EQ(b, 470u);
  EXPECT_EQ(a, 940u);
}

TEST(Pack, PairsOfEveryYuvLayout) {
  Bytes line(32, 0);
  for (int32_t p = 0; p < 6; ++p) {
    const uint32_t base = static_cast<uint32_t>(100 * p + 50);
    ASSERT_EQ(PackYuvPair(FourCC("v219"), line.data(), base, base + 1, base + 2, base + 3, p), 0);
  }
  // Writing the first pair again leaves its neighbours alone.
  ASSERT_EQ(PackYuvPair(FourCC("v219"), line.data(), 1023, 1022, 1021, 1020, 1), 0);
  for (int32_t p = 0; p < 6; ++p) {
    uint32_t y0 = 0, cb = 0, cr = 0, y1 = 0;
    ASSERT_EQ(UnpackYuvPair(FourCC("apnq"), line.data(), &y0, &cb, &cr, &y1, p), 0);
    const uint32_t base = static_cast<uint32_t>(100 * p + 50);
    if (p == 1) {
      EXPECT_EQ(y0, 1023u);
      EXPECT_EQ(cb, 1022u);
      EXPECT_EQ(cr, 1021u);
      EXPECT_EQ(y1, 1020u);
    } else {
      EXPECT_EQ(y0, base);
      EXPECT_EQ(cb, base + 1);
      EXPECT_EQ(cr, base + 2);
      EXPECT_EQ(y1, base + 3);
    }
  }
  for (size_t i = 3; i < 32; i += 4) EXPECT_EQ(line[i] & 0xC0, 0);
  ASSERT_EQ(PackYuvPair(FourCC("mjai"), line.data(), 1, 2, 3, 4, 7), 0);
  EXPECT_EQ(ToHex({line.begin(), line.begin() + 4}), "01020403");
  ASSERT_EQ(PackYuvPair(FourCC("dv51"), line.data(), 1, 2, 3, 4, 7), 0);
  EXPECT_EQ(ToHex({line.begin(), line.begin() + 4}), "02010304");
  uint32_t v = 9;
  EXPECT_EQ(UnpackYuvPair(FourCC("bgrA"), line.data(), &v, &v, &v, &v, 0), 2);
  EXPECT_EQ(PackYuvPair(FourCC("junk"), line.data(), 0, 0, 0, 0, 0), 2);
  EXPECT_EQ(v, 9u);
}

TEST(Pack, EveryRgbLayoutRoundTrips) {
  int formats = 0;
  for (const PixelFormat& f : PixelFormats()) {
    SCOPED_TRACE(FourCCText(f.code));
    uint8_t pixel[16] = {};
    uint32_t r = 1, g = 1, b = 1, a = 1, max = 1, min = 1;
    if (!IsRgb(f.code) || f.layout == PixelLayout::kNone) {
      EXPECT_EQ(UnpackRgbPixel(f.code, pixel, &r, &g, &b, &a, &max, &min), 2);
      EXPECT_EQ(PackRgbPixel(f.code, pixel, 1, 1, 1, 1, 255, 0), 2);
      continue;
    }
    ++formats;
    ASSERT_EQ(PackRgbPixel(f.code, pixel, f.max, f.max / 3, 1, f.max / 5, f.max, f.min), 0);
    ASSERT_EQ(UnpackRgbPixel(f.code, pixel, &r, &g, &b, &a, &max, &min), 0);
    EXPECT_EQ(r, f.max);
    EXPECT_EQ(g, f.max / 3);
    EXPECT_EQ(b, 1u);
    EXPECT_EQ(a, f.hasAlpha ? f.max / 5 : f.max);
    EXPECT_EQ(max, f.max);
    EXPECT_EQ(min, f.min);
  }
  EXPECT_EQ(formats, 30);
}

}  // namespace
}  // namespace morvane
