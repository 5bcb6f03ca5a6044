#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "simulator/signal_picture.h"

namespace morvane {

enum class TapeRead {
  kDone,
  kGone,    // there is no such file
  kFailed,  // it is there, or may be, and cannot be read
};

// The pictures and sounds of a tape folder: a file each, named by the MD5 of what is in it. A file
// appears under its name when it is whole and never changes, so that equal contents share one, and
// readers need no lock.
// Threads: Put and Remove one at a time; Get from any.
class TapeStore {
 public:
  // Pictures have this raster; a sound holds 16 channels interleaved.
  TapeStore(const std::string& folder, uint32_t width, uint32_t height);

  // Keeps a picture of "v219" rows; 8 bit are enough where the lower two are zero. `sum` is over
  // the "v219" bytes. Returns: false with a sentence in `error`.
  [[nodiscard]] bool PutPicture(const std::vector<uint8_t>& v219, std::string* sum,
                                std::string* error);
  [[nodiscard]] bool PutSound(const std::vector<int32_t>& samples, std::string* sum,
                              std::string* error);
  // Returns: null with a sentence in `error` when it is missing or damaged.
  [[nodiscard]] PictureRef GetPicture(const std::string& sum, std::string* error) const;
  // Requires: `samples` has the size that the sound has, or it fails.
  [[nodiscard]] TapeRead GetSound(const std::string& sum, std::vector<int32_t>* samples,
                                  std::string* error) const;
  void RemovePicture(const std::string& sum) const;
  void RemoveSound(const std::string& sum) const;
  // Removes what a run that was killed has left behind: this store's files but the sums of `used`.
  // Files that somebody else has put there stay.
  void Sweep(const std::set<std::string>& used) const;

 private:
  [[nodiscard]] std::string PathOf(const char* kind, const std::string& sum) const;
  [[nodiscard]] static bool Put(const std::string& path, const std::vector<uint8_t>& bytes,
                                std::string* error);

  std::string folder_;
  uint32_t width_;
  uint32_t height_;
};

}  // namespace morvane
