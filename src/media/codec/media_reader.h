#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "base/fourcc.h"

namespace morvane {

enum class MediaScan { kUnknown, kProgressive, kTopFieldFirst, kBottomFieldFirst };

// What a media file holds, as far as a 4:2:2 signal can be made of it.
struct MediaInfo {
  bool hasPicture = false;
  uint32_t width = 0;
  uint32_t height = 0;
  int64_t rateScale = 0;  // frames per second are rateScale / rateDuration
  int64_t rateDuration = 1;
  MediaScan scan = MediaScan::kUnknown;
  // Of the bytes that NextPicture gives: "2vuy" for 8-bit 4:2:2 sources, else "v219". Both are
  // exact when `exact` is set, else the picture went through a resampling of its chroma or range.
  FourCCCode pictureFormat = 0;
  bool exact = false;
  size_t pictureBytes = 0;
  int64_t frameCount = 0;      // as the file says; 0 is unknown
  uint32_t soundChannels = 0;  // of all sound tracks together, at most 16; 0 is no sound
};

enum class MediaRead { kDone, kEnd, kFailed };

// Any media file, read from front to back: pictures as "2vuy" (rows of width x 2 bytes) or "v219"
// (rows of 128 bytes per group of 48 pixels), sound as interleaved 32-bit samples. Picture and
// sound are read independently of each other; sample 0 is the first sample of the first picture.
// Threads: one at a time.
class MediaReader {
 public:
  ~MediaReader();
  MediaReader(const MediaReader&) = delete;
  MediaReader& operator=(const MediaReader&) = delete;

  // Opens `path`; sound is brought to `soundRate`.
  // Returns: null with a sentence in `error` ("... is no media file, or cut short").
  [[nodiscard]] static std::unique_ptr<MediaReader> Open(const std::string& path,
                                                         uint32_t soundRate, std::string* error);
  // Opens `path`, decodes its first picture and looks whether the file holds all that its index or
  // duration promises.
  // Returns: false with a sentence in `error`.
  [[nodiscard]] static bool CheckWhole(const std::string& path, std::string* error);

  [[nodiscard]] const MediaInfo& Info() const;

  // The next picture into `out` of Info().pictureBytes.
  // Returns: kEnd behind the last one; kFailed with a sentence in `error`.
  [[nodiscard]] MediaRead NextPicture(uint8_t* out, std::string* error);
  // The next `frames` sample frames of Info().soundChannels samples each.
  // Returns: sample frames obtained; fewer only at the end, the rest of `out` is then zero.
  [[nodiscard]] int64_t NextSound(int32_t* out, int64_t frames);
  // Both sides start over. Returns: false with a sentence in `error` when the file is gone.
  [[nodiscard]] bool Rewind(std::string* error);

 private:
  struct Impl;
  explicit MediaReader(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace morvane
