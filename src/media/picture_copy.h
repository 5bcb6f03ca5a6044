#pragma once

#include <cstdint>

#include "base/fourcc.h"
#include "base/nx_err.h"
#include "processing/color_context.h"

namespace morvane {

// A picture in memory: `pitch` bytes from line to line.
struct PicturePlace {
  uint8_t* pixels = nullptr;
  int32_t width = 0;
  int32_t height = 0;
  FourCCCode fourcc = 0;
  int32_t pitch = 0;
};

// Brings a picture from one format, size and line order into another: the whole-image conversion,
// and what that leaves to its callers, pictures of equal size inside the 8-bit 4:2:2 group or of
// one and the same format, which are copied line by line (byte pairs turned where the orders
// differ). `color` may be null for matrix 1 below 800 pixels and 3 otherwise.
// Returns: 0, or the conversion's code.
NxErr CopyPicture(const PicturePlace& from, const PicturePlace& to, bool flip,
                  const NxColorContext* color);

// Bytes of one line of `width` pixels; 10-bit 4:2:2 lines are whole groups of 48 pixels. 0 for an
// unknown format.
[[nodiscard]] int64_t LineBytes(FourCCCode fourcc, int64_t width);

}  // namespace morvane
