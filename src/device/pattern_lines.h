#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "device/pattern_convert.h"

// The stored lines of the test patterns and the patterns that are built from them.
// Threads: any; the lines are generated at the first use.
namespace morvane {

inline constexpr int32_t kStoredLinePixels = 1920;
inline constexpr size_t kStoredLineBytes = 12416;
inline constexpr int32_t kPatternLines = 1080;  // the picture on which segments are counted

// Packed 10-bit samples, three a little-endian word, 5120 bytes used and the rest zero.
using StoredLine = std::array<uint8_t, kStoredLineBytes>;

enum class PatternLine : uint32_t {
  Bars100,
  Bars75,
  Ramp,        // black to white
  Multiburst,  // white, black, and six bursts of 30, 60, 120, 180, 240, 300 cycles a line
  Markers,     // one tick at each 50 cycles of the sweeps
  LumaSweep,   // 0 to 300 cycles a line at the right end
  ChromaSweep,
  CheckChroma,  // chroma 0x300 with luma 0x180
  CheckLuma,    // the two values exchanged
  Grey,         // half way from black to white
  Count,
};

// The stored line; those with colour bars have the 601 values for `sd`, else the 709 ones.
[[nodiscard]] const StoredLine& GetStoredLine(PatternLine line, bool sd);

// The 3840 samples of a stored line.
[[nodiscard]] PatternSamples UnpackStoredLine(const StoredLine& line);

struct PatternSegment {
  int32_t firstLine;  // of kPatternLines
  int32_t lastLine;
  PatternLine line;
};

// The segments of patterns 0 to 7; empty for any other number.
// Those of the check field (5) repeat down the picture, line by line.
[[nodiscard]] std::span<const PatternSegment> PatternSegments(uint32_t number);

inline constexpr uint32_t kTestPatterns = 13;
inline constexpr uint32_t kTablePatterns = 8;  // 0 to 7 are drawn from segments
enum TestPattern : uint32_t {
  TestPatternCheckField = 5,
  TestPatternBlack = 8,
  TestPatternBorder = 9,
  TestPatternSlantRamp = 10,
  TestPatternVerticalSweep = 11,
  TestPatternZonePlate = 12,
};

// Returns: the name, empty past the last.
[[nodiscard]] const char* TestPatternName(uint32_t number);

}  // namespace morvane
