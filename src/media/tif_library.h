#pragma once

#include <cstdint>

#include "media/frame_source.h"

// TIFF frames that cannot be read as they lie, through libtiff. The library says nothing of its own
// and no handler of it is touched, so that the process's others are not concerned.
namespace morvane {

// Returns: true with the size of the first picture in the file; false for no TIFF and for a picture
// that cannot become 8-bit RGBA (floating point, more than 16 bits, odd ones such as 10 or 12).
[[nodiscard]] bool TifLibrarySize(FrameSource* source, int64_t* width, int64_t* height);
// Decodes the first picture, top line first, as 8-bit R, G, B, A in `pixels` of `bytes`, which are
// aligned to 4. What cannot be decoded is left as it is.
// Returns: false if it has another size or is no TIFF any more.
[[nodiscard]] bool TifLibraryRead(FrameSource* source, int32_t width, int32_t height,
                                  uint8_t* pixels, int64_t bytes);

}  // namespace morvane
