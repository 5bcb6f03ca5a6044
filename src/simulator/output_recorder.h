#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/codec/media_writer.h"
#include "simulator/signal_picture.h"

namespace morvane {

// Writes what left an output to a lossless file, on a thread of its own that starts with the first
// picture. A file that exists is never touched: "out.mkv" becomes "out-2.mkv" and so on, also when
// the format changes while it runs.
// Threads: Push...() one at a time (the card's lock); WaitForRoom() from any thread, without it.
class OutputRecorder {
 public:
  explicit OutputRecorder(const std::string& path);
  ~OutputRecorder();  // writes what is waiting and completes the file
  OutputRecorder(const OutputRecorder&) = delete;
  OutputRecorder& operator=(const OutputRecorder&) = delete;

  // Raster fields of `format` count for pictures, sound fields for sound.
  void PushPicture(const MediaWriteFormat& format, PictureRef picture);
  void PushSound(std::vector<int32_t> samples, int64_t frames);
  // Returns when fewer pictures wait than the recorder may hold.
  void WaitForRoom();

  // The first free name for `path`.
  [[nodiscard]] static std::string FreeName(const std::string& path);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace morvane
