#pragma once

#include <cstddef>
#include <cstdint>

#include "media/media_records.h"

// The header of a DPX frame (SMPTE 268M, version 1.0): generic, industry and no user section.
namespace morvane {

inline constexpr size_t kDpxHeaderBytes = 2048;

// True for the formats whose files are big-endian.
[[nodiscard]] bool DpxIsBigEndian(FourCCCode fourcc);

// Makes the header of a clip's frames. `info` is laid out (sizes, offset, fourcc, orientation);
// the timecode words are undefined until PutDpxTimecode.
// Gives: kDpxHeaderBytes at `header`.
void MakeDpxHeader(const NxMediaCreateInfo& info, uint8_t* header);
// Stores the timecode and user bits of a frame, zeros if it has none.
void PutDpxTimecode(const NxTimeCodeRecord& timeCode, bool isBig, uint8_t* header);

// Reads the same back from a header of the clip `info`; user bits that are undefined stay as in
// `timeCode`.
// Returns: false, and `timeCode` as it was, for a header without timecode.
[[nodiscard]] bool LoadDpxTimecode(const uint8_t* header, const NxMediaFileInfo& info, bool isBig,
                                   NxTimeCodeRecord* timeCode);

// Reads a header into `info`: the picture's place and format, and a timecode if there is one.
// `header` holds kDpxHeaderBytes; what the file lacks is 0xFF. `isBig` tells the byte order found.
// Returns: 0, or 100000 for a file that is no DPX or none of the kinds that are read.
NxErr ParseDpxHeader(const uint8_t* header, NxMediaFileInfo* info, bool* isBig);

}  // namespace morvane
