#include "device/pattern_drawing.h"

#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

namespace morvane {
namespace {

constexpr char kNoFormat[] = "Unsupported framebuffer standard requested.";
constexpr char kNoBorderFormat[] =
    "DownloadBorderTestPattern(): Unsupported framebuffer standard requested.";
constexpr char kReducedInSd[] =
    "DVCPro, HDV, and QRez framebuffer formats not supported in 525 and 625.";
constexpr char kNoCombination[] = "Unsupported video standard/framebuffer format.";
constexpr char kSmallBuffer[] = "The buffer is too small for a frame of this format.";

constexpr uint16_t kWhiteLuma = 940;

bool IsSd(uint32_t standard) {
  return standard == Standard525 || standard == Standard625;
}

bool IsReduced(uint32_t format) {
  return format == FrameBuffer8BitDvcPro || format == FrameBuffer8BitQRez ||
         format == FrameBuffer8BitHdv;
}

// Formats that have a drawing with 2048 pixels a line.
bool HasWideDrawing(uint32_t format) {
  return PatternFormatHasDrawing(format) && !IsReduced(format) &&
         format != FrameBuffer10BitYCbCrDpx && format != FrameBuffer10BitYCbCrA &&
         format != FrameBuffer48BitRgb;
}

// Writes a frame line by line, from the top down.
class FrameWriter {
 public:
  FrameWriter(const PatternRaster& raster, const RQD5FormatDescriptor& shape,
              std::span<uint8_t> frame)
      : raster_(raster),
        sd_(IsSd(raster.standard)),
        pixels_(shape.numPixels),
        frame_(frame.data()),
        line_(size_t{shape.linePitch} * 4) {}

  [[nodiscard]] uint32_t Pixels() const { return pixels_; }
  // A line of the raster's width, black.
  [[nodiscard]] PatternSamples BlackSamples() const {
    PatternSamples samples(size_t{pixels_} * 2, kPatternNoChroma);
    for (size_t i = 1; i < samples.size(); i += 2) samples[i] = kPatternBlackLuma;
    return samples;
  }
  // Makes `samples` the line that Write() writes.
  void Set(PatternSamples samples) {
    Mask(samples);
    PackPatternLine(raster_.frameBufferFormat, samples, sd_, line_.data());
  }
  void SetBlack() {
    if (PatternFormatIsRgb(raster_.frameBufferFormat)) {
      std::memset(line_.data(), 0, line_.size());
    } else {
      Set(BlackSamples());
    }
  }
  void Write(uint32_t lines = 1) {
    for (uint32_t i = 0; i < lines; ++i) {
      std::memcpy(frame_, line_.data(), line_.size());
      frame_ += line_.size();
    }
  }

 private:
  void Mask(PatternSamples& samples) const {
    if ((raster_.signalMask & 7) == 7) return;
    const bool y = raster_.signalMask & 1, cb = raster_.signalMask & 2, cr = raster_.signalMask & 4;
    for (size_t i = 0; i + 3 < samples.size(); i += 4) {
      if (!cb) samples[i] = kPatternNoChroma;
      if (!y) samples[i + 1] = samples[i + 3] = kPatternBlackLuma;
      if (!cr) samples[i + 2] = kPatternNoChroma;
    }
  }

  const PatternRaster raster_;
  const bool sd_;
  const uint32_t pixels_;
  uint8_t* frame_;
  std::vector<uint8_t> line_;  // behind the pixels it stays zero
};

void DrawTable(uint32_t number, const PatternRaster& raster, uint32_t lines, FrameWriter* out) {
  const auto samples = [&](const PatternSegment& segment) {
    return ResamplePattern(UnpackStoredLine(GetStoredLine(segment.line, IsSd(raster.standard))),
                           static_cast<int32_t>(out->Pixels()));
  };
  const auto segments = PatternSegments(number);
  if (number == TestPatternCheckField) {
    const PatternSamples both[] = {samples(segments[0]), samples(segments[1])};
    for (uint32_t y = 0; y < lines; ++y) {
      out->Set(both[y % 2]);
      out->Write();
    }
    return;
  }
  uint32_t y = 0;
  for (const PatternSegment& segment : segments) {
    // Up to the place where the next segment begins, so that a taller raster has no gap.
    const uint32_t end = static_cast<uint32_t>(segment.lastLine + 1) * lines / kPatternLines;
    out->Set(samples(segment));
    out->Write(end - y);
    y = end;
  }
}

void DrawBorder(uint32_t lines, FrameWriter* out) {
  PatternSamples edge = out->BlackSamples();
  PatternSamples sides = edge;
  for (size_t i = 1; i < edge.size(); i += 2) edge[i] = kWhiteLuma;
  sides[1] = sides[sides.size() - 1] = kWhiteLuma;
  out->Set(edge);
  out->Write();
  out->Set(sides);
  out->Write(lines - 2);
  out->Set(edge);
  out->Write();
}

// A ramp from black to white that moves by one pixel each line and starts again behind white.
void DrawSlantRamp(uint32_t lines, FrameWriter* out) {
  const uint32_t pixels = out->Pixels();
  PatternSamples samples = out->BlackSamples();
  for (uint32_t y = 0; y < lines; ++y) {
    for (uint32_t x = 0; x < pixels; ++x) {
      samples[x * 2 + 1] =
          static_cast<uint16_t>(kPatternBlackLuma + (x + y) % pixels * 876 / (pixels - 1));
    }
    out->Set(samples);
    out->Write();
  }
}

uint16_t SweepLuma(double phase) {
  return static_cast<uint16_t>(std::sin(phase) * 438 * 0.65 + 502 + 0.5) & 0x3FF;
}

uint16_t SweepChroma(double phase) {
  return static_cast<uint16_t>(std::sin(phase) * 448 * 0.65 + 512) & 0x3FF;
}

// Frequency grows down the picture from 0 to a quarter cycle a line.
void DrawVerticalSweep(uint32_t lines, FrameWriter* out) {
  PatternSamples samples(size_t{out->Pixels()} * 2);
  for (uint32_t y = 0; y < lines; ++y) {
    const double phase = std::numbers::pi * (0.25 * y * y / lines - 0.5);
    for (size_t i = 0; i < samples.size(); i += 2) {
      samples[i] = SweepChroma(phase);
      samples[i + 1] = SweepLuma(phase);
    }
    out->Set(samples);
    out->Write();
  }
}

// Circles whose frequency grows from 0 in the middle to a fifth of a cycle a pixel at the sides.
void DrawZonePlate(uint32_t lines, FrameWriter* out) {
  const uint32_t pixels = out->Pixels();
  const double scale = std::numbers::pi * 0.2 / (pixels / 2.0);
  PatternSamples samples(size_t{pixels} * 2);
  for (uint32_t y = 0; y < lines; ++y) {
    const double dy = y - lines / 2.0;
    for (uint32_t x = 0; x < pixels; ++x) {
      const double dx = x - pixels / 2.0;
      const double phase = scale * (dx * dx + dy * dy);
      samples[x * 2 + 1] = SweepLuma(phase);
      // Cb and Cr sit at the even pixel of their pair.
      if (x % 2 == 0) samples[x * 2] = samples[x * 2 + 2] = SweepChroma(phase);
    }
    out->Set(samples);
    out->Write();
  }
}

}  // namespace

RQD5FormatDescriptor PatternDescriptor(const PatternRaster& raster) {
  return GetFormatDescriptor(raster.standard, raster.frameBufferFormat, raster.vanc, raster.wide2K,
                             raster.tallVanc);
}

const char* PatternRefusal(uint32_t number, const PatternRaster& raster) {
  const uint32_t format = raster.frameBufferFormat;
  const bool drawn = raster.wide2K ? HasWideDrawing(format) : PatternFormatHasDrawing(format);
  if (!drawn) return number == TestPatternBorder ? kNoBorderFormat : kNoFormat;
  if (IsReduced(format) && IsSd(raster.standard)) return kReducedInSd;
  const RQD5FormatDescriptor shape = PatternDescriptor(raster);
  if (shape.FrameBytes() == 0) return kNoCombination;
  return nullptr;
}

const char* DrawTestPattern(uint32_t number, const PatternRaster& raster,
                            std::span<uint8_t> frame) {
  if (number >= kTestPatterns) return nullptr;
  if (const char* refusal = PatternRefusal(number, raster)) return refusal;
  const RQD5FormatDescriptor shape = PatternDescriptor(raster);
  if (frame.size() < shape.FrameBytes()) return kSmallBuffer;

  FrameWriter out(raster, shape, frame);
  out.SetBlack();
  out.Write(shape.firstActiveLine);
  const uint32_t lines = shape.numLines - shape.firstActiveLine;
  switch (number) {
    case TestPatternBlack:
      out.Write(lines);
      break;
    case TestPatternBorder:
      DrawBorder(lines, &out);
      break;
    case TestPatternSlantRamp:
      DrawSlantRamp(lines, &out);
      break;
    case TestPatternVerticalSweep:
      DrawVerticalSweep(lines, &out);
      break;
    case TestPatternZonePlate:
      DrawZonePlate(lines, &out);
      break;
    default:
      DrawTable(number, raster, lines, &out);
      break;
  }
  return nullptr;
}

}  // namespace morvane
