#include "device/pattern_lines.h"

#include <cmath>
#include <numbers>

#include "base/byte_order.h"

namespace morvane {
namespace {

constexpr double kBlack = 64, kWhite = 940, kNoColour = 512;
constexpr double kSwing = 438 * 0.65;        // of luma in bursts and sweeps
constexpr double kChromaSwing = 448 * 0.65;  // of chroma
constexpr double kMiddle = 502;
// Highest frequency of bursts and sweeps: the narrowest raster has 640 pixels and must hold it.
constexpr double kHighestCycles = 300;

uint16_t Sample(double value) {
  return static_cast<uint16_t>(value + 0.5);
}

// A line under construction, black.
class Line {
 public:
  Line() : samples_(kStoredLinePixels * 2) {
    Fill(0, kStoredLinePixels, kBlack, kNoColour, kNoColour);
  }

  void Luma(int32_t x, double value) { samples_[static_cast<size_t>(x) * 2 + 1] = Sample(value); }
  // Of the pair that begins at the even pixel `x`.
  void Chroma(int32_t x, double cb, double cr) {
    samples_[static_cast<size_t>(x) * 2] = Sample(cb);
    samples_[static_cast<size_t>(x) * 2 + 2] = Sample(cr);
  }
  void Fill(int32_t first, int32_t end, double y, double cb, double cr) {
    for (int32_t x = first; x < end; ++x) Luma(x, y);
    for (int32_t x = first; x < end; x += 2) Chroma(x, cb, cr);
  }
  [[nodiscard]] StoredLine Pack() const {
    StoredLine packed{};
    for (size_t i = 0; i < samples_.size(); i += 3) {
      StoreLe32(packed.data() + i / 3 * 4, uint32_t{samples_[i]} | uint32_t{samples_[i + 1]} << 10 |
                                               uint32_t{samples_[i + 2]} << 20);
    }
    return packed;
  }

 private:
  PatternSamples samples_;
};

Line Bars(double level, bool sd) {
  const double kr = sd ? 0.299 : 0.2126, kb = sd ? 0.114 : 0.0722;
  constexpr int32_t kBars = 8, kBarPixels = kStoredLinePixels / kBars;
  Line line;
  for (int32_t bar = 0; bar < kBars; ++bar) {
    // White, yellow, cyan, green, magenta, red, blue, black: blue changes with every bar, red with
    // every second, green in the middle.
    const double b = bar % 2 == 0 ? level : 0;
    const double r = bar / 2 % 2 == 0 ? level : 0;
    const double g = bar < 4 ? level : 0;
    const double y = kr * r + (1 - kr - kb) * g + kb * b;
    line.Fill(bar * kBarPixels, (bar + 1) * kBarPixels, kBlack + 876 * y,
              kNoColour + 448 * (b - y) / (1 - kb), kNoColour + 448 * (r - y) / (1 - kr));
  }
  return line;
}

Line Flat(double y, double c) {
  Line line;
  line.Fill(0, kStoredLinePixels, y, c, c);
  return line;
}

Line Ramp() {
  Line line;
  for (int32_t x = 0; x < kStoredLinePixels; ++x) {
    line.Luma(x, kBlack + (kWhite - kBlack) * x / (kStoredLinePixels - 1));
  }
  return line;
}

Line Multiburst() {
  constexpr int32_t kFlagPixels = 120, kFirst = 240, kBurstPixels = 280;
  constexpr double kBursts[] = {30, 60, 120, 180, 240, kHighestCycles};
  Line line = Flat(kMiddle, kNoColour);
  line.Fill(0, kFlagPixels, kWhite, kNoColour, kNoColour);
  line.Fill(kFlagPixels, kFirst, kBlack, kNoColour, kNoColour);
  int32_t first = kFirst;
  for (const double cycles : kBursts) {
    // Each burst holds whole cycles and a grey gap behind them.
    const double period = kStoredLinePixels / cycles;
    const int32_t pixels = static_cast<int32_t>(std::floor((kBurstPixels - 16) / period) * period);
    for (int32_t x = 0; x < pixels; ++x) {
      line.Luma(first + x, kMiddle + kSwing * std::sin(2 * std::numbers::pi * x / period));
    }
    first += kBurstPixels;
  }
  return line;
}

// Phase of a sweep whose frequency grows evenly from 0 to `cycles` a line.
double SweepPhase(double x, double cycles) {
  return std::numbers::pi * cycles * x * x / (double{kStoredLinePixels} * kStoredLinePixels);
}

Line Markers() {
  constexpr int32_t kTickPixels = 8, kStep = kStoredLinePixels * 50 / 300;
  Line line = Flat(kMiddle, kNoColour);
  for (int32_t x = 0; x <= kStoredLinePixels; x += kStep) {
    const int32_t first =
        std::min(std::max(x - kTickPixels / 2, 0), kStoredLinePixels - kTickPixels);
    line.Fill(first, first + kTickPixels, kWhite, kNoColour, kNoColour);
  }
  return line;
}

Line LumaSweep() {
  Line line;
  for (int32_t x = 0; x < kStoredLinePixels; ++x) {
    line.Luma(x, kMiddle + kSwing * std::sin(SweepPhase(x, kHighestCycles)));
  }
  return line;
}

Line ChromaSweep() {
  // Chroma has half the samples, so it ends at half the frequency.
  Line line = Flat(kMiddle, kNoColour);
  for (int32_t x = 0; x < kStoredLinePixels; x += 2) {
    const double swing = kChromaSwing * std::sin(SweepPhase(x, kHighestCycles / 2));
    line.Chroma(x, kNoColour + swing, kNoColour - swing);
  }
  return line;
}

Line MakeLine(PatternLine line, bool sd) {
  switch (line) {
    case PatternLine::Bars100:
      return Bars(1.0, sd);
    case PatternLine::Bars75:
      return Bars(0.75, sd);
    case PatternLine::Ramp:
      return Ramp();
    case PatternLine::Multiburst:
      return Multiburst();
    case PatternLine::Markers:
      return Markers();
    case PatternLine::LumaSweep:
      return LumaSweep();
    case PatternLine::ChromaSweep:
      return ChromaSweep();
    case PatternLine::CheckChroma:
      return Flat(0x180, 0x300);
    case PatternLine::CheckLuma:
      return Flat(0x300, 0x180);
    case PatternLine::Grey:
    case PatternLine::Count:
      break;
  }
  return Flat(kMiddle, kNoColour);
}

constexpr size_t kLines = static_cast<size_t>(PatternLine::Count);
using StoredLines = std::array<std::array<StoredLine, kLines>, 2>;

// clang-format off
constexpr PatternSegment kBars100[]    = { { 0, 1079, PatternLine::Bars100 } };
constexpr PatternSegment kBars75[]     = { { 0, 1079, PatternLine::Bars75 } };
constexpr PatternSegment kRamp[]       = { { 0, 1079, PatternLine::Ramp } };
constexpr PatternSegment kMultiburst[] = { { 0, 1079, PatternLine::Multiburst } };
constexpr PatternSegment kLinesweep[]  = { {   0,  181, PatternLine::Markers },
                                           { 182,  901, PatternLine::LumaSweep },
                                           { 902, 1079, PatternLine::ChromaSweep } };
constexpr PatternSegment kCheckField[] = { { 0, 0, PatternLine::CheckChroma },
                                           { 1, 1, PatternLine::CheckLuma } };
constexpr PatternSegment kFlatField[]  = { { 0, 1079, PatternLine::Grey } };
constexpr PatternSegment kMulti[]      = { {   0,  215, PatternLine::Bars75 },
                                           { 216,  431, PatternLine::Ramp },
                                           { 432,  647, PatternLine::Multiburst },
                                           { 648,  863, PatternLine::LumaSweep },
                                           { 864, 1079, PatternLine::ChromaSweep } };

struct PatternRow {
  const char* name;
  std::span<const PatternSegment> segments;  // empty: computed
};
constexpr PatternRow kPatterns[] = {
  { "100% ColorBars",  kBars100 },
  { "75% ColorBars",   kBars75 },
  { "Ramp",            kRamp },
  { "Multiburst",      kMultiburst },
  { "Linesweep",       kLinesweep },
  { "Check Field",     kCheckField },
  { "Flat Field",      kFlatField },
  { "Multi Pattern",   kMulti },
  { "Black",           {} },
  { "Border",          {} },
  { "Slant Ramp",      {} },
  { "Vertical Sweep",  {} },
  { "Zone Plate",      {} },
};
// clang-format on
static_assert(std::size(kPatterns) == kTestPatterns);

}  // namespace

const StoredLine& GetStoredLine(PatternLine line, bool sd) {
  static const StoredLines kStored = [] {
    StoredLines lines;
    for (size_t i = 0; i < kLines; ++i) {
      for (size_t set = 0; set < 2; ++set) {
        lines[set][i] = MakeLine(static_cast<PatternLine>(i), set == 1).Pack();
      }
    }
    return lines;
  }();
  return kStored[sd ? 1 : 0][static_cast<size_t>(line) % kLines];
}

PatternSamples UnpackStoredLine(const StoredLine& line) {
  PatternSamples samples(kStoredLinePixels * 2);
  for (size_t i = 0; i < samples.size(); i += 3) {
    const uint32_t word = LoadLe32(line.data() + i / 3 * 4);
    samples[i] = word & 0x3FF;
    samples[i + 1] = word >> 10 & 0x3FF;
    samples[i + 2] = word >> 20 & 0x3FF;
  }
  return samples;
}

std::span<const PatternSegment> PatternSegments(uint32_t number) {
  if (number >= kTablePatterns) return {};
  return kPatterns[number].segments;
}

const char* TestPatternName(uint32_t number) {
  return number < kTestPatterns ? kPatterns[number].name : "";
}

}  // namespace morvane
