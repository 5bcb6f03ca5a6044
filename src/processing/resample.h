#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

// Horizontal resampling by a four-tap Catmull-Rom spline with 32 phases: what turns a full raster
// into the narrower ones of DV100 (1920 to 1440 or 1280, 1280 to 960) and back.
namespace morvane {

inline constexpr int kResamplePhases = 32;

// The weights of the samples at -1, 0, +1 and +2 for a position `phase`/32 (0..31) behind sample 0,
// in 16.16 fixed point. Exact whole numbers; they add up to 65536.
[[nodiscard]] std::array<int32_t, 4> CatmullRomWeights(int phase);

// Resamples rows of one width into rows of another; the taps are worked out once.
// Output sample i lies at i * ((sourceWidth << 16) / width), of which bits 11-15 are the phase. Row
// ends are extended by repeating the end sample. Sums are rounded and clamped.
// Threads: any, once built.
class LineResampler {
 public:
  // Widths in samples, 1..32767. Other widths make a resampler that writes nothing.
  LineResampler(int32_t sourceWidth, int32_t width);

  [[nodiscard]] int32_t SourceWidth() const { return sourceWidth_; }
  [[nodiscard]] int32_t Width() const { return width_; }

  // Resamples the samples source[0], source[sourceStep], ... into destination[0],
  // destination[step], ... and clamps to low..high. Source and destination must not overlap.
  void Row(const uint16_t* source, ptrdiff_t sourceStep, uint16_t* destination, ptrdiff_t step,
           int32_t low, int32_t high) const;
  void Row(const uint8_t* source, ptrdiff_t sourceStep, uint8_t* destination, ptrdiff_t step,
           int32_t low, int32_t high) const;

 private:
  struct Tap {
    int32_t index;  // of sample 0
    int32_t phase;
  };
  template <typename Sample>
  void AnyRow(const Sample* source, ptrdiff_t sourceStep, Sample* destination, ptrdiff_t step,
              int32_t low, int32_t high) const;

  int32_t sourceWidth_ = 0;
  int32_t width_ = 0;
  std::vector<Tap> taps_;
};

// Resamples an image of 8-bit 4:2:2 in the order Cb Y0 Cr Y1, luma and each chroma row on its own,
// held to 1..254. Pitches in bytes. Widths are even.
// Returns: false, and the destination as it was, for an odd width, a width below 2 or above 32766,
// or a row of fewer than 2 * width bytes.
[[nodiscard]] bool Resample422(uint8_t* destination, int32_t width, int32_t rowBytes,
                               const uint8_t* source, int32_t sourceWidth, int32_t sourceRowBytes,
                               int32_t height);

}  // namespace morvane
