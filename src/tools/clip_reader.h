#pragma once

#include <cstddef>
#include <cstdint>

#include "base/fourcc.h"
#include "base/nx_err.h"
#include "base/page_memory.h"
#include "tools/clip_door.h"

namespace morvane::tools {

// The matrix of a clip's colours when none was told: 1 for widths below 800, else 3.
[[nodiscard]] int32_t MatrixOfClip(int32_t width);

// Reads the frames of an open clip one after the other, top row first, in lines of the format's own
// pitch without a gap. The clip outlives the reader.
class ClipReader {
 public:
  ClipReader(OpenClip& clip, FourCCCode format);
  ClipReader(OpenClip& clip, FourCCCode format, int32_t matrix);

  // Returns: 0, or what the class or the conversion says; 10003 out of memory.
  [[nodiscard]] NxErr Read(int32_t frame);
  // The picture of the last successful Read.
  [[nodiscard]] const uint8_t* Pixels() const { return pixels_; }
  [[nodiscard]] size_t Bytes() const { return bytes_; }
  [[nodiscard]] int32_t Pitch() const { return pitch_; }

 private:
  OpenClip& clip_;
  FourCCCode format_;
  int32_t matrix_;
  int32_t pitch_;
  size_t bytes_;
  PageBuffer buffer_;
  const uint8_t* pixels_ = nullptr;
};

}  // namespace morvane::tools
