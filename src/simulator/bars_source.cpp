#include <algorithm>
#include <cmath>
#include <cstring>
#include <mutex>

#include "base/byte_order.h"
#include "processing/convert.h"
#include "simulator/input_source.h"

namespace morvane {
namespace {

constexpr FourCCCode kV219 = FourCC("v219");
constexpr uint32_t kNumberLines = 16;  // lines that carry the frame number
constexpr uint32_t kNumberBits = 32;
constexpr uint32_t kBlackLuma = 64;
constexpr uint32_t kWhiteLuma = 940;
constexpr uint32_t kNoChroma = 512;

struct Colour {
  uint32_t y;
  uint32_t cb;
  uint32_t cr;
};

// 75 % of a primary mix in 10-bit video levels; `sd` takes the weights of 525 and 625 lines.
Colour BarColour(bool red, bool green, bool blue, bool sd) {
  const double kr = sd ? 0.299 : 0.2126;
  const double kb = sd ? 0.114 : 0.0722;
  const double r = red ? 0.75 : 0.0;
  const double g = green ? 0.75 : 0.0;
  const double b = blue ? 0.75 : 0.0;
  const double y = kr * r + (1.0 - kr - kb) * g + kb * b;
  return {static_cast<uint32_t>(std::lround(64.0 + 876.0 * y)),
          static_cast<uint32_t>(std::lround(512.0 + 448.0 * (b - y) / (1.0 - kb))),
          static_cast<uint32_t>(std::lround(512.0 + 448.0 * (r - y) / (1.0 - kr)))};
}

uint32_t CellWidth(uint32_t width) {
  return width / kNumberBits & ~1u;
}

}  // namespace

// The bars of one raster. The part of a picture that never changes is made once for each layout.
class BarsSignal {
 public:
  explicit BarsSignal(const SignalFormat& format) : format_(format) {
    layout_ = PlainLayout(kV219, format.width, format.height);
    std::vector<uint8_t> pixels(layout_.Bytes());
    // White, yellow, cyan, green, magenta, red, blue, black.
    const bool sd = format.width < 800;
    for (uint32_t p = 0; p < format.width / 2; ++p) {
      const uint32_t bar = std::min(2 * p * 8 / format.width, 7u);
      const Colour c = BarColour((bar & 2) == 0, (bar & 4) == 0, (bar & 1) == 0, sd);
      PackYuvPair(kV219, pixels.data(), c.y, c.cb, c.cr, c.y, static_cast<int32_t>(p));
    }
    for (uint32_t y = 1; y < format.height; ++y) {
      std::memcpy(pixels.data() + static_cast<size_t>(y) * layout_.pitch, pixels.data(),
                  layout_.pitch);
    }
    base_ = std::make_shared<PlainPicture>(
        kV219, format.width, format.height,
        std::make_shared<const std::vector<uint8_t>>(std::move(pixels)));
  }

  const SignalFormat& Format() const { return format_; }

  void Store(uint32_t number, const FrameLayout& layout, uint8_t* out) {
    const std::shared_ptr<const std::vector<uint8_t>> base = BaseIn(layout);
    if (base->empty()) return;  // a layout without a row has no bytes
    std::memcpy(out, base->data(), base->size());
    if (layout.fourcc == 0) return;
    const uint32_t lines = std::min(kNumberLines, format_.height);
    FrameLayout strip = PlainLayout(kV219, format_.width, lines);
    std::vector<uint8_t> pixels(strip.Bytes());
    DrawNumber(number, pixels.data());
    for (uint32_t y = 1; y < lines; ++y) {
      std::memcpy(pixels.data() + static_cast<size_t>(y) * strip.pitch, pixels.data(), strip.pitch);
    }
    FrameLayout target = layout;
    target.firstActiveLine = 0;
    if (layout.height < format_.height) {  // a reduced raster picks its lines
      target.height = lines * layout.height / format_.height;
    } else {
      target.height = lines;
    }
    ConvertLines(strip, pixels.data(), lines, target,
                 out + static_cast<size_t>(layout.firstActiveLine) * layout.pitch);
  }

 private:
  std::shared_ptr<const std::vector<uint8_t>> BaseIn(const FrameLayout& layout) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!cached_ || cachedLayout_ != layout) {
      auto pixels = std::make_shared<std::vector<uint8_t>>(layout.Bytes());
      base_->Store(layout, pixels->data());
      cached_ = std::move(pixels);
      cachedLayout_ = layout;
    }
    return cached_;
  }

  void DrawNumber(uint32_t number, uint8_t* line) const {
    const uint32_t cellPairs = CellWidth(format_.width) / 2;
    for (uint32_t p = 0; p < format_.width / 2; ++p) {
      const uint32_t bit = cellPairs == 0 ? kNumberBits : p / cellPairs;
      const bool white = bit < kNumberBits && (number >> (31 - bit) & 1) != 0;
      const uint32_t y = white ? kWhiteLuma : kBlackLuma;
      PackYuvPair(kV219, line, y, kNoChroma, kNoChroma, y, static_cast<int32_t>(p));
    }
  }

  const SignalFormat format_;
  FrameLayout layout_;
  PictureRef base_;
  std::mutex mutex_;
  std::shared_ptr<const std::vector<uint8_t>> cached_;
  FrameLayout cachedLayout_;
};

namespace {

class BarsPicture : public SignalPicture {
 public:
  BarsPicture(std::shared_ptr<BarsSignal> signal, uint32_t number)
      : signal_(std::move(signal)), number_(number) {}
  uint32_t Width() const override { return signal_->Format().width; }
  uint32_t Height() const override { return signal_->Format().height; }
  void Store(const FrameLayout& layout, uint8_t* out) const override {
    signal_->Store(number_, layout, out);
  }

 private:
  std::shared_ptr<BarsSignal> signal_;
  uint32_t number_;
};

class BarsFrame : public SignalFrame {
 public:
  BarsFrame(std::shared_ptr<BarsSignal> signal, int64_t number, SoundSource sound, uint32_t rate)
      : signal_(std::move(signal)), number_(number), sound_(sound), sampleRate_(rate) {}
  PictureRef Picture() override {
    return std::make_shared<BarsPicture>(signal_, static_cast<uint32_t>(number_));
  }
  void Sound(int64_t position, int64_t count, uint32_t channels, int32_t* out) override {
    if (sound_ == SoundSource::kSilence) {
      std::fill_n(out, count * channels, 0);
    } else {
      MakeTone(position, count, channels, sampleRate_, out);
    }
  }

 private:
  std::shared_ptr<BarsSignal> signal_;
  int64_t number_;
  SoundSource sound_;
  uint32_t sampleRate_;
};

class BarsSource : public InputSource {
 public:
  BarsSource(const SignalFormat& format, SoundSource sound)
      : signal_(std::make_shared<BarsSignal>(format)), sound_(sound) {}
  SignalFrameRef Frame(int64_t n) override {
    return std::make_shared<BarsFrame>(signal_, n, sound_, sampleRate_);
  }
  void Restart(uint32_t sampleRate) override { sampleRate_ = sampleRate; }
  bool HasSound() const override { return sound_ != SoundSource::kSilence; }

 private:
  std::shared_ptr<BarsSignal> signal_;
  SoundSource sound_;
  uint32_t sampleRate_ = 48000;
};

}  // namespace

std::unique_ptr<InputSource> MakeBarsSource(const SignalFormat& format, SoundSource sound) {
  return std::make_unique<BarsSource>(format, sound);
}

void MakeTone(int64_t position, int64_t count, uint32_t channels, uint32_t sampleRate,
              int32_t* out) {
  constexpr double kPi = 3.14159265358979323846;
  const int64_t period = sampleRate / 1000;
  for (int64_t i = 0; i < count; ++i) {
    const int64_t at = position + i;
    for (uint32_t c = 1; c < channels; ++c) {
      out[i * channels + c] = static_cast<int32_t>(static_cast<uint32_t>(at) << 8);
    }
    if (channels == 0) continue;
    const double phase = 2.0 * kPi * static_cast<double>(at % period) / static_cast<double>(period);
    out[i * channels] = static_cast<int32_t>(std::lround(std::sin(phase) * 0.1 * 2147483647.0));
  }
}

uint32_t ReadBarsFrameNumber(FourCCCode fourcc, const uint8_t* line, uint32_t width) {
  const uint32_t cell = CellWidth(width);
  const bool ten = fourcc == kV219;
  uint32_t number = 0;
  for (uint32_t bit = 0; bit < kNumberBits; ++bit) {
    const uint32_t pair = (bit * cell + cell / 2) / 2;
    uint32_t y0 = 0;
    uint32_t cb = 0;
    uint32_t cr = 0;
    uint32_t y1 = 0;
    UnpackYuvPair(fourcc, ten ? line : line + 4 * static_cast<size_t>(pair), &y0, &cb, &cr, &y1,
                  static_cast<int32_t>(pair));
    number = number << 1 | (y0 > (ten ? 512u : 128u) ? 1u : 0u);
  }
  return number;
}

}  // namespace morvane
