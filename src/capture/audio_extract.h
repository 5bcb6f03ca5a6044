#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// One track of an audio file out of the card's interleaved samples. Pure functions, any thread.
namespace morvane {

// How the samples of one file look.
struct AudioTrackFormat {
  int cardChannels = 8;        // channels in a frame of the card's samples: 6, 8 or 16
  int channelsPerTrack = 1;    // adjacent channels that make a track: 1 or 2
  int bitsPerSample = 16;      // 32, 24, anything else reads as 16
  bool floatingPoint = false;  // 32-bit float, full scale 1.0
  bool bigEndian = false;
};

// Bytes of one sample in the file: 4, 3 or 2.
[[nodiscard]] int AudioSampleBytes(const AudioTrackFormat& format);

// Copies track `track` (channels track * channelsPerTrack and up) of `card` to `out`. `card` holds
// frames of cardChannels 32-bit little-endian samples; the first frame begins `channelPhase`
// samples into it. A cut frame at the end counts as long as it holds the track's channels.
// Returns: bytes put into `out`, which never exceed its size; whole frames only.
[[nodiscard]] size_t ExtractAudioTrack(std::span<const uint8_t> card, uint32_t channelPhase,
                                       int track, const AudioTrackFormat& format,
                                       std::span<uint8_t> out);

}  // namespace morvane
