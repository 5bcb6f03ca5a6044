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
// and what that leaves to its callers: pictures of equal size in one format or inside the 8-bit
// 4:2:2 group are copied line by line (byte pairs turned where the orders differ). Other sizes are
// scaled within their aspect, with black around. The matrix of `color` may be kMatrixByWidth.
// Requires: both places hold their lines (CheckPlace).
// Returns: 0, or the conversion's code, or 10003.
NxErr CopyPicture(const PicturePlace& from, const PicturePlace& to, bool flip,
                  const NxColorContext& color);

// Makes 10-bit 4:2:2 of 8-bit, every component four times as large: a way up, and one to other
// sizes, that the conversion does not have. Both pictures have the same size.
void DeepenPicture(const PicturePlace& from, const PicturePlace& to);

// Fills a picture with black. Returns: 0, the conversion's code, or 10003.
NxErr BlackenPicture(const PicturePlace& place, const NxColorContext& color);

// True if `place` is a picture of a known format whose lines fit into `pitch` and which fits into
// `bytes`.
[[nodiscard]] bool CheckPlace(const PicturePlace& place, int64_t bytes);

// Bytes that one line of `width` pixels fills, in whole groups (pairs of 4:2:2, sixes of 10-bit
// 4:2:2). 0 for an unknown format.
[[nodiscard]] int64_t LineBytes(FourCCCode fourcc, int64_t width);

}  // namespace morvane
