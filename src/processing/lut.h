#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "base/nx_err.h"
#include "processing/records.h"

// LUT files: three curves of 1024 entries as text, and the two forms that use them, the preview's
// NxRGBLUT and the card's colour correction table.
namespace morvane {

// The three curves. A new one is the identity: entry i is i.
struct LutCurves {
  LutCurves();
  void SetIdentity();
  // The record for the preview; it points at these arrays and is valid as long as they are.
  [[nodiscard]] NxRGBLUT Record() const;

  std::array<uint32_t, kLutEntries> first;
  std::array<uint32_t, kLutEntries> second;
  std::array<uint32_t, kLutEntries> third;
};

// Reads a LUT file. Up to 100 lines may hold anything; the one with "LUT: 3 1024" in it ends them.
// Then come 1024 lines each for the first, the third and the second curve, one decimal number a
// line; a line without a number counts as 0, no range is checked. A line above 4095 characters
// counts as several.
// Returns: 0; -2 when the file cannot be opened, the path cannot be written in 8 bits, or the
// header is missing, and `curves` is as it was. A file that ends early leaves the rest of the
// curves.
[[nodiscard]] NxErr ReadLutFile(const std::string& path, LutCurves* curves);
[[nodiscard]] NxErr ReadLutFile(const std::u16string& path, LutCurves* curves);

// What the card's colour correction table takes: three blocks of 512 words, 6144 bytes. Word i of a
// block is (entry[2i+1] << 16 | entry[2i]) << 6 with entries cut to 16 bits, so a 10-bit value lies
// in bits 6-15 and 22-31.
using CardLut = std::array<uint32_t, 3 * kLutEntries / 2>;

// Packs the curves in the order first, second, third. Any null gives the identity in all three.
// Deliberate: values above 1023 are packed as they are; even entries leak into their neighbour.
[[nodiscard]] CardLut BuildCardLut(const uint32_t* first, const uint32_t* second,
                                   const uint32_t* third);
[[nodiscard]] CardLut BuildCardLut(const LutCurves& curves);

}  // namespace morvane
