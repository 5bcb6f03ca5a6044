#pragma once

#include <cstdint>
#include <vector>

// How a line of 10-bit 4:2:2 samples becomes a line of frame memory, for the test patterns.
// Samples lie in the order Cb, Y, Cr, Y, one a 16-bit word with 10 significant bits, two a pixel.
// Threads: any.
namespace morvane {

inline constexpr uint16_t kPatternBlackLuma = 0x40;
inline constexpr uint16_t kPatternNoChroma = 0x200;

using PatternSamples = std::vector<uint16_t>;

// Coefficients of one conversion to RGB, all 16.16. G is taken from the raw chroma, so it has a
// constant of its own.
struct PatternRgbMatrix {
  int32_t yGain;
  int32_t crToR;
  int32_t cbToB;
  int32_t cbToG;
  int32_t crToG;
  int32_t gConstant;
  int32_t offset;  // added behind the rounding
  int32_t max;     // 255 or 1023
};

// `tenBit`: components 0..1023, else 0..255. `smpteRange`: black and white where video has them,
// else full range. `sd`: coefficients of 525 and 625 lines.
[[nodiscard]] const PatternRgbMatrix& GetPatternRgbMatrix(bool tenBit, bool smpteRange, bool sd);

struct PatternRgb {
  int32_t b = 0;
  int32_t g = 0;
  int32_t r = 0;

  friend bool operator==(const PatternRgb&, const PatternRgb&) = default;
};

// Converts one pixel. Sums are rounded away from zero at one half and clamped.
[[nodiscard]] PatternRgb PatternToRgb(const PatternRgbMatrix& matrix, int32_t y, int32_t cb,
                                      int32_t cr);

// Resamples a line to `pixels` pixels, luma and both chroma rows by themselves; held to 4..0x3FB.
// Both widths are even and at least 2. The same width gives a copy.
[[nodiscard]] PatternSamples ResamplePattern(const PatternSamples& samples, int32_t pixels);

// True if the format has a drawing: 0 to 16 and 20.
[[nodiscard]] bool PatternFormatHasDrawing(uint32_t frameBufferFormat);
// True if the format keeps RGB: there black is all zero.
[[nodiscard]] bool PatternFormatIsRgb(uint32_t frameBufferFormat);
// Bytes that a line of `pixels` takes in a format, 0 without a drawing.
[[nodiscard]] uint32_t PatternLineBytes(uint32_t frameBufferFormat, uint32_t pixels);

// Writes one line of samples to `line` (PatternLineBytes of its pixels, exactly). RGB is full range
// and opaque. Any alignment.
// Returns: false, and nothing written, for a format without a drawing.
bool PackPatternLine(uint32_t frameBufferFormat, const PatternSamples& samples, bool sd,
                     uint8_t* line);

}  // namespace morvane
