#pragma once

#include <cstdint>
#include <memory>

#include "base/nx_err.h"

namespace morvane {

// One entry of a fixed-point table: what a component adds to B, G, R in whole steps of 8 bits.
struct FixedColorEntry {
  int16_t b = 0, g = 0, r = 0, a = 0;
};
static_assert(sizeof(FixedColorEntry) == 8);

// The contributions of one colour matrix, component by component. The program makes eight at its
// start (matrices 0 to 3 with 8 bits, then with 10) and lends them to previews.
// Owns: its tables.
struct NxColorTables {
  int32_t matrix = 0;  // ColorMatrix 0..5, set before building
  int32_t bits = 0;    // component depth that the tables were built for; 0 while empty
  int32_t entries = 0;

  // YUV to RGB: value * factor - offset * factor.
  std::unique_ptr<double[]> yToR, crToR, yToB, cbToB, yToG, crToG, cbToG;
  // RGB to YUV: value * factor. Cb = B - (R + G), Cr = R - G - B; offsets are not in the tables.
  std::unique_ptr<double[]> rToY, gToY, bToY, rToCb, gToCb, bToCb, rToCr, gToCr, bToCr;
  // 8 bits only, 256 entries: the same in whole numbers, factors as round(factor * 1024).
  std::unique_ptr<FixedColorEntry[]> lumaFixed, cbFixed, crFixed;
};

// Fills `tables` for its `matrix`. `bits`: 8 (256 entries), 10 (1024), 15 and 16 (65536), 31 and
// 32 (16384, entry i standing for 2 * i of the range 32768 and 4 * i of the range 65536).
// `kind` 1: YUV to RGB, 2: RGB to YUV, 3: both. Tables of an earlier call are freed first.
// Returns: 0; -2 for other bits or kinds, a matrix outside 0..5, or out of memory, and then all
// tables are freed.
NxErr BuildConversionTables(int32_t bits, NxColorTables* tables, int32_t kind);

}  // namespace morvane
