#include "processing/color_context.h"

namespace morvane {
namespace {

// The coefficients of one matrix; cbB is crR as well.
struct MatrixRow {
  int32_t matrix;
  double yR, yG, yB;
  double cbR, cbG, cbB;
  double crG, crB;
  double yGain;
  double crToR, cbToB;
  double crToG, cbToG;
  bool lumaOffset;
};

// The roundings are the program's own, and rows 4 and 5 differ from 2 and 3 by design.
// clang-format off
constexpr MatrixRow kMatrices[] = {
  { 0, 0.29901, 0.58698, 0.11401,          0.17261, 0.33881, 0.51141,          0.42822, 0.08319,
       1.0,        1.37073, 1.73242,       -0.69824, -0.33655,       false },
  { 1, 0.2567882, 0.5041294, 0.0979059,    0.1482235, 0.2909922, 0.4392157,    0.3677882, 0.0714275,
       1.16438355, 1.59602715, 2.01723105, -0.81296805, -0.3911598,  true },
  { 2, 0.21252, 0.71539, 0.07208,          0.11713, 0.39429, 0.51141,          0.4646, 0.04681,
       1.0,        1.53979, 1.81439,       -0.45746, -0.1828,        false },
  { 3, 0.18258431, 0.61423137, 0.06200784, 0.10064314, 0.33857255, 0.43921569, 0.39894118, 0.04027451,
       1.16438355, 1.7927418, 2.11240215,  -0.5329092, -0.21324885,  true },
  { 4, 0.21259, 0.71521, 0.0722,           0.11719, 0.39423, 0.51141,          0.46454, 0.04688,
       1.0,        1.53967, 1.81421,       -0.45764, -0.18311,       false },
  { 5, 0.18256, 0.61426, 0.06201,          0.10065, 0.33856, 0.43921,          0.39893, 0.04028,
       1.16437,    1.79285, 2.11243,       -0.53284, -0.21326,       true },
};
// clang-format on
static_assert(sizeof kMatrices / sizeof kMatrices[0] == 6);

// Deliberate: the red row of the first matrix has a luma offset of its own.
constexpr double k601FullRedOffset = 0.00006;

struct OffsetRow {
  FourCCCode code;
  double chroma;
  double luma;
};

// Every format that is not here has the offsets of 8 bits, 128 and 16; so, deliberately, has
// "10RA" in spite of its 10 bits.
// clang-format off
constexpr OffsetRow kOffsets[] = {
  { FourCC("v219"), 512, 64 },     { FourCC("V219"), 512, 64 },     { FourCC("10RG"), 512, 64 },
  { FourCC("11rQ"), 512, 64 },     { FourCC("10RS"), 512, 64 },     { FourCC("10rb"), 512, 64 },
  { FourCC("11rb"), 512, 64 },     { FourCC("10yb"), 512, 64 },     { FourCC("10rl"), 512, 64 },
  { FourCC("11rl"), 512, 64 },     { FourCC("aphq"), 512, 64 },     { FourCC("apnq"), 512, 64 },
  { FourCC("RgBA"), 16384, 2048 }, { FourCC(" RgB"), 16384, 2048 }, { FourCC("ARgB"), 16384, 2048 },
  { FourCC("BRgB"), 16384, 2048 },
  { FourCC("RGB "), 32768, 4096 }, { FourCC("BGR "), 32768, 4096 }, { FourCC("RGb "), 32768, 4096 },
  { FourCC("BGr "), 32768, 4096 }, { FourCC("RGBA"), 32768, 4096 }, { FourCC("BGRA"), 32768, 4096 },
  { FourCC("RGbA"), 32768, 4096 }, { FourCC("BGrA"), 32768, 4096 }, { FourCC("ARGB"), 32768, 4096 },
  { FourCC("RgBF"), 32768, 4096 }, { FourCC(" RgF"), 32768, 4096 }, { FourCC("ARgF"), 32768, 4096 },
  { FourCC("BGrF"), 32768, 4096 },
};
// clang-format on
static_assert(sizeof kOffsets / sizeof kOffsets[0] == 29);

OffsetRow OffsetsOf(FourCCCode fourcc) {
  for (const OffsetRow& row : kOffsets) {
    if (row.code == fourcc) return row;
  }
  return {fourcc, 128, 16};
}

}  // namespace

NxErr SetColorMatrix(int32_t matrix, FourCCCode fourcc, NxColorContext* context) {
  if (matrix == ColorMatrixCustom) return NxErrSuccess;
  if (matrix < 0 || matrix > ColorMatrix709VideoSecond) return NxErrInvalidParameter;
  const MatrixRow& row = kMatrices[matrix];
  const OffsetRow offsets = OffsetsOf(fourcc);
  const double luma = row.lumaOffset ? offsets.luma : 0.0;
  NxColorContext& c = *context;
  c.matrix = matrix;
  c.yGainR = c.yGainB = c.yGainG = row.yGain;
  c.yOffR = matrix == ColorMatrix601Full ? k601FullRedOffset : luma;
  c.yOffB = c.yOffG = c.yOff = luma;
  c.cOffR = c.cOffB = c.cOffG1 = c.cOffG2 = c.cbOff = c.crOff = offsets.chroma;
  c.crToR = row.crToR;
  c.cbToB = row.cbToB;
  c.crToG = row.crToG;
  c.cbToG = row.cbToG;
  c.yR = row.yR;
  c.yG = row.yG;
  c.yB = row.yB;
  c.cbR = row.cbR;
  c.cbG = row.cbG;
  c.cbB = row.cbB;
  c.crR = row.cbB;
  c.crG = row.crG;
  c.crB = row.crB;
  return NxErrSuccess;
}

}  // namespace morvane
