#pragma once

#include <string>

#include "media/codec/ffmpeg_handles.h"
#include "media/codec/media_reader.h"

// Private to this folder.
namespace morvane::codec {

// The picture track of one open of a file. Threads: one at a time.
class PictureDecoder {
 public:
  // Looks for the best picture track of `path` and fills the picture fields of `info`.
  // Returns: false with a sentence in `error`; a file without pictures is no failure.
  [[nodiscard]] bool Open(const std::string& path, MediaInfo* info, std::string* error);
  [[nodiscard]] MediaRead Next(uint8_t* out, std::string* error);
  // Seconds of the first picture in the file's own time.
  [[nodiscard]] double StartSeconds() const { return startSeconds_; }

 private:
  enum class Way { kRawBytes, kDecode };

  [[nodiscard]] MediaRead NextPacket(AVPacket* packet, std::string* error);
  [[nodiscard]] MediaRead NextFrame(std::string* error);
  [[nodiscard]] bool Deliver(uint8_t* out, std::string* error);
  [[nodiscard]] bool Resample(const AVFrame& from, AVFrame* to, std::string* error);

  std::string path_;
  MediaInfo info_;
  Way way_ = Way::kDecode;
  int stream_ = -1;
  double startSeconds_ = 0;
  bool draining_ = false;
  InputHandle input_;
  CodecHandle codec_;
  PacketHandle packet_;
  FrameHandle frame_;
  FrameHandle planar_;
  SwsHandle sws_;
};

// Planar 4:2:2 to the interleaved forms, exactly. Widths are even.
void PackUyvy(const AVFrame& planar, uint32_t width, uint32_t height, uint8_t* out);
void PackV219(const AVFrame& planar, uint32_t width, uint32_t height, uint8_t* out);
// The way back, into planes of 16-bit words.
void UnpackV219(const uint8_t* in, uint32_t width, uint32_t height, AVFrame* planar);

[[nodiscard]] inline size_t V219RowBytes(uint32_t width) {
  return static_cast<size_t>((width + 47) / 48) * 128;
}

}  // namespace morvane::codec
