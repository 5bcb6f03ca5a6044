#include "capture/audio_extract.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "base/byte_order.h"

namespace morvane {
namespace {

constexpr size_t kCardSampleBytes = 4;

void Store24(uint8_t* to, uint32_t sample, bool bigEndian) {
  const auto top = static_cast<uint8_t>(sample >> 24);
  const auto middle = static_cast<uint8_t>(sample >> 16);
  const auto low = static_cast<uint8_t>(sample >> 8);
  to[0] = bigEndian ? top : low;
  to[1] = middle;
  to[2] = bigEndian ? low : top;
}

uint32_t AsFloatBits(uint32_t sample) {
  // The product in single precision is exact: a power of two, far from the subnormals.
  const auto value = static_cast<float>(static_cast<int32_t>(sample));
  return std::bit_cast<uint32_t>(value * 0x1p-31F);
}

void StoreSample(uint8_t* to, uint32_t sample, const AudioTrackFormat& format, int sampleBytes) {
  if (format.floatingPoint) sample = AsFloatBits(sample);
  if (sampleBytes == 4) {
    format.bigEndian ? StoreBe32(to, sample) : StoreLe32(to, sample);
  } else if (sampleBytes == 3) {
    Store24(to, sample, format.bigEndian);
  } else {
    const auto top = static_cast<uint16_t>(sample >> 16);
    format.bigEndian ? StoreBe16(to, top) : StoreLe16(to, top);
  }
}

}  // namespace

int AudioSampleBytes(const AudioTrackFormat& format) {
  if (format.floatingPoint || format.bitsPerSample == 32) return 4;
  return format.bitsPerSample == 24 ? 3 : 2;
}

size_t ExtractAudioTrack(std::span<const uint8_t> card, uint32_t channelPhase, int track,
                         const AudioTrackFormat& format, std::span<uint8_t> out) {
  if (format.cardChannels <= 0 || format.channelsPerTrack <= 0 || track < 0) return 0;
  const auto channels = static_cast<size_t>(format.channelsPerTrack);
  const auto stride = static_cast<size_t>(format.cardChannels);
  const size_t start = static_cast<size_t>(track) * channels + channelPhase;
  const size_t samples = card.size() / kCardSampleBytes;
  if (start + channels > samples) return 0;
  // A track beyond the card's channels has nothing to take.
  if (static_cast<size_t>(track + 1) * channels > stride) return 0;

  const int sampleBytes = AudioSampleBytes(format);
  const size_t frameBytes = channels * static_cast<size_t>(sampleBytes);
  const size_t frames =
      std::min((samples - start - channels) / stride + 1, out.size() / frameBytes);
  uint8_t* to = out.data();
  for (size_t frame = 0; frame < frames; ++frame) {
    const uint8_t* from = card.data() + (start + frame * stride) * kCardSampleBytes;
    for (size_t channel = 0; channel < channels; ++channel) {
      StoreSample(to, LoadLe32(from + channel * kCardSampleBytes), format, sampleBytes);
      to += sampleBytes;
    }
  }
  return frames * frameBytes;
}

}  // namespace morvane
