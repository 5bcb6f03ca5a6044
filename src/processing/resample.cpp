#include "processing/resample.h"

#include <algorithm>

namespace morvane {
namespace {

constexpr int32_t kLargestWidth = 32767;

constexpr std::array<std::array<int32_t, 4>, kResamplePhases> MakeWeights() {
  std::array<std::array<int32_t, 4>, kResamplePhases> rows{};
  for (int32_t p = 0; p < kResamplePhases; ++p) {
    // The spline's polynomials at t = p/32, times 65536, without a remainder.
    rows[static_cast<size_t>(p)] = {
        -1024 * p + 64 * p * p - p * p * p, 65536 - 160 * p * p + 3 * p * p * p,
        1024 * p + 128 * p * p - 3 * p * p * p, -32 * p * p + p * p * p};
  }
  return rows;
}

constexpr auto kWeights = MakeWeights();

}  // namespace

std::array<int32_t, 4> CatmullRomWeights(int phase) {
  return kWeights[static_cast<size_t>(phase) % kResamplePhases];
}

LineResampler::LineResampler(int32_t sourceWidth, int32_t width) {
  if (sourceWidth < 1 || width < 1 || sourceWidth > kLargestWidth || width > kLargestWidth) return;
  sourceWidth_ = sourceWidth;
  width_ = width;
  taps_.resize(static_cast<size_t>(width));
  const int64_t step = (int64_t{sourceWidth} << 16) / width;
  int64_t position = 0;
  for (Tap& tap : taps_) {
    tap.index = static_cast<int32_t>(position >> 16);
    tap.phase = static_cast<int32_t>(position >> 11 & (kResamplePhases - 1));
    position += step;
  }
}

template <typename Sample>
void LineResampler::AnyRow(const Sample* source, ptrdiff_t sourceStep, Sample* destination,
                           ptrdiff_t step, int32_t low, int32_t high) const {
  const int32_t last = sourceWidth_ - 1;
  for (const Tap& tap : taps_) {
    const auto& weights = kWeights[static_cast<size_t>(tap.phase)];
    int64_t sum = 0x8000;
    for (int32_t i = 0; i < 4; ++i) {
      const int32_t index = std::clamp(tap.index + i - 1, 0, last);
      sum += int64_t{weights[static_cast<size_t>(i)]} * source[index * sourceStep];
    }
    *destination = static_cast<Sample>(std::clamp<int64_t>(sum >> 16, low, high));
    destination += step;
  }
}

void LineResampler::Row(const uint16_t* source, ptrdiff_t sourceStep, uint16_t* destination,
                        ptrdiff_t step, int32_t low, int32_t high) const {
  AnyRow(source, sourceStep, destination, step, low, high);
}

void LineResampler::Row(const uint8_t* source, ptrdiff_t sourceStep, uint8_t* destination,
                        ptrdiff_t step, int32_t low, int32_t high) const {
  AnyRow(source, sourceStep, destination, step, low, high);
}

bool Resample422(uint8_t* destination, int32_t width, int32_t rowBytes, const uint8_t* source,
                 int32_t sourceWidth, int32_t sourceRowBytes, int32_t height) {
  const auto refused = [](int32_t pixels, int32_t bytes) {
    return pixels < 2 || pixels > kLargestWidth || pixels % 2 != 0 || bytes / 2 < pixels;
  };
  if (refused(width, rowBytes) || refused(sourceWidth, sourceRowBytes)) return false;
  const LineResampler luma(sourceWidth, width);
  const LineResampler chroma(sourceWidth / 2, width / 2);
  for (int32_t y = 0; y < height; ++y) {
    luma.Row(source + 1, 2, destination + 1, 2, 1, 254);
    chroma.Row(source, 4, destination, 4, 1, 254);
    chroma.Row(source + 2, 4, destination + 2, 4, 1, 254);
    source += sourceRowBytes;
    destination += rowBytes;
  }
  return true;
}

}  // namespace morvane
