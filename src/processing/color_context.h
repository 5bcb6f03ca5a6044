#pragma once

#include <cstddef>
#include <cstdint>

#include "base/fourcc.h"
#include "base/nx_err.h"

namespace morvane {

// The matrices that SetColorMatrix knows, with the roundings of this program.
enum ColorMatrix : int32_t {
  ColorMatrix601Full = 0,
  ColorMatrix601Video = 1,
  ColorMatrix709Full = 2,
  ColorMatrix709Video = 3,
  ColorMatrix709FullSecond = 4,   // differs from 2 by design
  ColorMatrix709VideoSecond = 5,  // differs from 3 by design
  ColorMatrixCustom = 6,          // the coefficients in the context stay as they are
};

// The coefficients of one conversion between YUV and RGB, in the scale of the source format.
// It travels by value in requests, so its bytes are fixed.
//   R = (Cr - cOffR) * crToR + (Y - yOffR) * yGainR
//   B = (Cb - cOffB) * cbToB + (Y - yOffB) * yGainB
//   G = (Cr - cOffG1) * crToG + (Y - yOffG) * yGainG + (Cb - cOffG2) * cbToG
//   Y  = R * yR + G * yG + B * yB + yOff
//   Cb = B * cbB - (R * cbR + G * cbG) + cbOff
//   Cr = R * crR - G * crG - B * crB + crOff
#pragma pack(push, 1)
struct NxColorContext {
  int32_t matrix = 0;      // ColorMatrix
  uint8_t unused[4] = {};  // kept as they are
  uint8_t fullWhite = 0;   // nonzero lifts the upper clips of RGB to YUV to full range
  uint8_t fullBlack = 0;   // nonzero lifts the lower clips of RGB to YUV to 0
  double yGainR = 0, yOffR = 0, crToR = 0, cOffR = 0;
  double yGainB = 0, yOffB = 0, cbToB = 0, cOffB = 0;
  double yGainG = 0, yOffG = 0, crToG = 0, cOffG1 = 0, cbToG = 0, cOffG2 = 0;
  double yR = 0, yG = 0, yB = 0, yOff = 0;
  double cbR = 0, cbG = 0, cbB = 0, cbOff = 0;
  double crR = 0, crG = 0, crB = 0, crOff = 0;
};
#pragma pack(pop)
static_assert(sizeof(NxColorContext) == 218);
static_assert(offsetof(NxColorContext, fullWhite) == 8);
static_assert(offsetof(NxColorContext, yGainR) == 10);
static_assert(offsetof(NxColorContext, yR) == 122);
static_assert(offsetof(NxColorContext, crOff) == 210);

// Fills all coefficients of `context` for `matrix` and sets its `matrix`; luma and chroma offsets
// follow the scale of `fourcc` (16/128 for 8 bits, 64/512 for 10, 2048/16384 for a range of 32768,
// 4096/32768 for 65535 and floats). `fullWhite` and `fullBlack` stay.
// Returns: 0; for a matrix outside 0..5 the context is unchanged and the result is 0 for
// ColorMatrixCustom and 1 for all others.
NxErr SetColorMatrix(int32_t matrix, FourCCCode fourcc, NxColorContext* context);

}  // namespace morvane
