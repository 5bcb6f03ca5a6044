#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace morvane {

struct MediaWriteFormat {
  uint32_t width = 0;
  uint32_t height = 0;
  int64_t rateScale = 0;  // frames per second are rateScale / rateDuration
  int64_t rateDuration = 1;
  bool interlaced = false;  // top field first, or with `bottomFirst` the other
  bool bottomFirst = false;
  uint32_t soundChannels = 0;  // 0 is no sound
  uint32_t soundRate = 48000;
};

// A lossless Matroska file: 10-bit 4:2:2 FFVHUFF pictures and 32-bit PCM sound.
// Threads: one at a time.
class MediaWriter {
 public:
  ~MediaWriter();  // closes
  MediaWriter(const MediaWriter&) = delete;
  MediaWriter& operator=(const MediaWriter&) = delete;

  // Creates `path`, which must not exist. Returns: null with a sentence in `error`.
  [[nodiscard]] static std::unique_ptr<MediaWriter> Create(const std::string& path,
                                                           const MediaWriteFormat& format,
                                                           std::string* error);
  // One "v219" picture, rows of 128 bytes per group of 48 pixels.
  [[nodiscard]] bool WritePicture(const uint8_t* v219, std::string* error);
  // `frames` interleaved sample frames.
  [[nodiscard]] bool WriteSound(const int32_t* samples, int64_t frames, std::string* error);
  // Completes the file. Further writes fail. Returns: false when the file is not whole.
  [[nodiscard]] bool Close(std::string* error);

 private:
  struct Impl;
  explicit MediaWriter(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace morvane
