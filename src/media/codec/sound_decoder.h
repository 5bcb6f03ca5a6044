#pragma once

#include <string>
#include <vector>

#include "media/codec/ffmpeg_handles.h"

// Private to this folder.
namespace morvane::codec {

inline constexpr uint32_t kMaxSoundChannels = 16;

// All sound tracks of one open of a file, side by side. Threads: one at a time.
class SoundDecoder {
 public:
  // `startSeconds` is the time of the first picture: sound before it is left out, sound that
  // begins later is preceded by silence. A track without a decoder is left out.
  // Returns: false with a sentence in `error`; a file without sound is no failure.
  [[nodiscard]] bool Open(const std::string& path, uint32_t rate, double startSeconds,
                          std::string* error);
  [[nodiscard]] uint32_t Channels() const { return channels_; }
  [[nodiscard]] int64_t Next(int32_t* out, int64_t frames);

 private:
  struct Track {
    int stream = -1;
    uint32_t channels = 0;
    bool started = false;
    int64_t skip = 0;  // sample frames still to be left out
    CodecHandle codec;
    SwrHandle resampler;
    std::vector<int32_t> waiting;
    size_t taken = 0;  // samples at the front of `waiting` that are used up
    [[nodiscard]] int64_t Available() const {
      return static_cast<int64_t>((waiting.size() - taken) / channels);
    }
  };

  bool ReadOn();
  void Decode(Track* track, const AVPacket* packet);
  void Append(Track* track, const AVFrame* frame);

  uint32_t rate_ = 48000;
  uint32_t channels_ = 0;
  double startSeconds_ = 0;
  bool ended_ = false;
  InputHandle input_;
  PacketHandle packet_;
  FrameHandle frame_;
  std::vector<Track> tracks_;
};

}  // namespace morvane::codec
