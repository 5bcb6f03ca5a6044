#include "processing/color_context.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "processing/conversion_tables.h"

namespace morvane {
namespace {

NxColorContext Set(int32_t matrix, FourCCCode fourcc) {
  NxColorContext context;
  EXPECT_EQ(SetColorMatrix(matrix, fourcc, &context), 0);
  return context;
}

TEST(ColorContext, Is218PackedBytes) {
  EXPECT_EQ(sizeof(NxColorContext), 218u);
}

TEST(ColorContext, HoldsTheWrittenConstants) {
  struct Row {
    int32_t matrix;
    double yR, yG, yB, cbR, cbG, cbB, crG, crB, yGain, crToR, cbToB, crToG, cbToG;
  };
  // clang-format off
  const Row rows[] = {
    {0, 0.29901, 0.58698, 0.11401, 0.17261, 0.33881, 0.51141, 0.42822, 0.08319,
     1.0, 1.37073, 1.73242, -0.69824, -0.33655},
    {1, 0.2567882, 0.5041294, 0.0979059, 0.1482235, 0.2909922, 0.4392157, 0.3677882, 0.0714275,
     1.16438355, 1.59602715, 2.01723105, -0.81296805, -0.3911598},
    {2, 0.21252, 0.71539, 0.07208, 0.11713, 0.39429, 0.51141, 0.4646, 0.04681,
     1.0, 1.53979, 1.81439, -0.45746, -0.1828},
    {3, 0.18258431, 0.61423137, 0.06200784, 0.10064314, 0.33857255, 0.43921569, 0.39894118, 0.04027451,
     1.16438355, 1.7927418, 2.11240215, -0.5329092, -0.21324885},
    {4, 0.21259, 0.71521, 0.0722, 0.11719, 0.39423, 0.51141, 0.46454, 0.04688,
     1.0, 1.53967, 1.81421, -0.45764, -0.18311},
    {5, 0.18256, 0.61426, 0.06201, 0.10065, 0.33856, 0.43921, 0.39893, 0.04028,
     1.16437, 1.79285, 2.11243, -0.53284, -0.21326},
  };
  // clang-format on
  for (const Row& r : rows) {
    SCOPED_TRACE(r.matrix);
    const NxColorContext c = Set(r.matrix, FourCC("bgrA"));
    const double got[] = {c.yR,  c.yG,     c.yB,     c.cbR,    c.cbG,   c.cbB,   c.crR,   c.crG,
                          c.crB, c.yGainR, c.yGainG, c.yGainB, c.crToR, c.cbToB, c.crToG, c.cbToG};
    const double wanted[] = {r.yR,  r.yG,    r.yB,    r.cbR,   r.cbG,   r.cbB,   r.cbB,   r.crG,
                             r.crB, r.yGain, r.yGain, r.yGain, r.crToR, r.cbToB, r.crToG, r.cbToG};
    EXPECT_EQ(std::memcmp(got, wanted, sizeof got), 0);
    EXPECT_EQ(static_cast<int32_t>(c.matrix), r.matrix);
  }
}

TEST(ColorContext, OffsetsFollowTheFormat) {
  struct Row {
    const char* codes;  // four characters each
    double chroma, luma;
  };
  const Row rows[] = {
      {"v219V21910RG11rQ10RS10rb11rb10yb10rl11rlaphqapnq", 512, 64},
      {"RgBA RgBARgBBRgB", 16384, 2048},
      {"RGB BGR RGb BGr RGBABGRARGbABGrAARGBRgBF RgFARgFBGrF", 32768, 4096},
      {"2vuybgrArgbayuy210RA????", 128, 16},
  };
  for (const Row& row : rows) {
    for (const char* p = row.codes; *p != 0; p += 4) {
      const char text[5] = {p[0], p[1], p[2], p[3], 0};
      SCOPED_TRACE(text);
      const NxColorContext video = Set(1, FourCC(text));
      for (const double luma : {+video.yOffR, +video.yOffG, +video.yOffB, +video.yOff}) {
        EXPECT_EQ(luma, row.luma);
      }
      for (const double chroma :
           {+video.cOffR, +video.cOffB, +video.cOffG1, +video.cOffG2, +video.cbOff, +video.crOff}) {
        EXPECT_EQ(chroma, row.chroma);
      }
      const NxColorContext full = Set(2, FourCC(text));
      EXPECT_EQ(+full.yOffR, 0.0);
      EXPECT_EQ(+full.yOff, 0.0);
      EXPECT_EQ(+full.cOffG2, row.chroma);
    }
  }
}

TEST(ColorContext, OnlyTheFirstMatrixHasARedOffsetOfItsOwn) {
  for (int32_t matrix = 0; matrix < 6; ++matrix) {
    const NxColorContext c = Set(matrix, FourCC("2vuy"));
    EXPECT_EQ(+c.yOffR, matrix == 0 ? 0.00006 : matrix % 2 == 1 ? 16.0 : 0.0);
    EXPECT_EQ(+c.yOffB, matrix % 2 == 1 ? 16.0 : 0.0);
  }
}

TEST(ColorContext, MatrixOutOfRangeLeavesTheContext) {
  NxColorContext context = Set(3, FourCC("2vuy"));
  context.fullWhite = 1;
  context.unused[2] = 77;
  const NxColorContext before = context;
  EXPECT_EQ(SetColorMatrix(6, FourCC("v219"), &context), 0);
  EXPECT_EQ(std::memcmp(&context, &before, sizeof before), 0);
  for (const int32_t matrix : {7, -1, 100, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(SetColorMatrix(matrix, FourCC("v219"), &context), 1);
    EXPECT_EQ(std::memcmp(&context, &before, sizeof before), 0);
  }
  EXPECT_EQ(SetColorMatrix(1, FourCC("v219"), &context), 0);
  EXPECT_EQ(context.fullWhite, 1);
  EXPECT_EQ(context.unused[2], 77);
}

TEST(ConversionTables, EntriesFollowTheBits) {
  const int32_t rows[][2] = {{8, 256},    {10, 1024},  {15, 65536},
                             {16, 65536}, {31, 16384}, {32, 16384}};
  for (const auto& row : rows) {
    NxColorTables tables;
    tables.matrix = 3;
    ASSERT_EQ(BuildConversionTables(row[0], &tables, 3), 0) << row[0];
    EXPECT_EQ(tables.bits, row[0]);
    EXPECT_EQ(tables.entries, row[1]);
    EXPECT_EQ(tables.lumaFixed != nullptr, row[0] == 8);
    EXPECT_NE(tables.cbToG, nullptr);
    EXPECT_NE(tables.bToCr, nullptr);
  }
}

TEST(ConversionTables, RefusalFreesEverything) {
  NxColorTables tables;
  tables.matrix = 2;
  for (const int32_t bits : {0, 7, 9, 12, 24, -8}) {
    ASSERT_EQ(BuildConversionTables(8, &tables, 3), 0);
    EXPECT_EQ(BuildConversionTables(bits, &tables, 3), -2);
    EXPECT_EQ(tables.yToR, nullptr);
    EXPECT_EQ(tables.crFixed, nullptr);
    EXPECT_EQ(tables.entries, 0);
    EXPECT_EQ(tables.matrix, 2);
  }
  EXPECT_EQ(BuildConversionTables(8, &tables, 0), -2);
  EXPECT_EQ(BuildConversionTables(8, &tables, 4), -2);
  tables.matrix = 6;
  EXPECT_EQ(BuildConversionTables(8, &tables, 1), -2);
}

TEST(ConversionTables, KindsChooseTheDirection) {
  NxColorTables tables;
  ASSERT_EQ(BuildConversionTables(10, &tables, 1), 0);
  EXPECT_NE(tables.yToR, nullptr);
  EXPECT_EQ(tables.rToY, nullptr);
  EXPECT_EQ(tables.lumaFixed, nullptr);
  ASSERT_EQ(BuildConversionTables(8, &tables, 2), 0);
  EXPECT_EQ(tables.yToR, nullptr);
  EXPECT_NE(tables.rToY, nullptr);
  EXPECT_EQ(tables.lumaFixed, nullptr);
}

TEST(ConversionTables, SumsOfContributionsAreTheMatrix) {
  NxColorTables t;
  t.matrix = 1;
  ASSERT_EQ(BuildConversionTables(8, &t, 3), 0);
  const size_t y = 0x51, cb = 0x5A, cr = 0xF0;
  EXPECT_NEAR(t.yToR[y] + t.crToR[cr], (240 - 128) * 1.59602715 + (81 - 16) * 1.16438355, 1e-9);
  EXPECT_NEAR(t.yToB[y] + t.cbToB[cb], (90 - 128) * 2.01723105 + (81 - 16) * 1.16438355, 1e-9);
  EXPECT_NEAR(t.yToG[y] + t.crToG[cr] + t.cbToG[cb],
              (240 - 128) * -0.81296805 + (81 - 16) * 1.16438355 + (90 - 128) * -0.3911598, 1e-9);
  EXPECT_NEAR(t.rToY[200] + t.gToY[100] + t.bToY[50],
              200 * 0.2567882 + 100 * 0.5041294 + 50 * 0.0979059, 1e-9);
  EXPECT_NEAR(t.bToCb[200] - (t.rToCb[10] + t.gToCb[20]),
              200 * 0.4392157 - (10 * 0.1482235 + 20 * 0.2909922), 1e-9);
}

TEST(ConversionTables, FixedStepsAre1024ths) {
  NxColorTables t;
  ASSERT_EQ(BuildConversionTables(8, &t, 1), 0);
  EXPECT_EQ(t.crFixed[255].r, 127 * 1404 / 1024);
  EXPECT_EQ(t.crFixed[255].g, -127 * 715 / 1024);
  EXPECT_EQ(t.cbFixed[255].g, -127 * 345 / 1024);
  EXPECT_EQ(t.cbFixed[255].b, 127 * 1774 / 1024);
  EXPECT_EQ(t.cbFixed[0].b, -128 * 1774 / 1024);
  EXPECT_EQ(t.cbFixed[0].r, 0);
  EXPECT_EQ(t.crFixed[0].b, 0);
  EXPECT_EQ(t.lumaFixed[200].b, 200);
  EXPECT_EQ(t.lumaFixed[200].a, 0);
}

}  // namespace
}  // namespace morvane
