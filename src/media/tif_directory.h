#pragma once

#include <cstdint>

#include "media/frame_source.h"
#include "media/media_records.h"

// The header and directory of TIFF frames, without a library.
namespace morvane {

inline constexpr size_t kTifHeaderBytes = 512;

// Makes header and directory of a clip's frames: one strip behind kTifHeaderBytes. `info` is laid
// out, its fourcc one of those that are written.
void MakeTifHeader(const NxMediaCreateInfo& info, uint8_t* header);

// Looks for a picture that can be read as it lies in the file: uncompressed RGB with or without
// alpha, 8 or 16 bits in all samples, one strip that the file holds whole, no side above the limit.
// Returns: true with the place, size, format and line order of the picture in `info`; false for
// anything else, be it another kind of TIFF or no TIFF at all.
[[nodiscard]] bool ParseTifDirectory(FrameSource* source, NxMediaFileInfo* info);

}  // namespace morvane
