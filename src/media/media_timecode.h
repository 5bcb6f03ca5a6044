#pragma once

#include <cstdint>

#include "media/media_records.h"

namespace morvane {

// Timecode of a clip's frame: the start word of `metadata` moved on by `frame`.
// Returns: 0 (with word 0 where the rate is none of the timecode's); -2 with a zeroed record if
// there is no timecode or `frame` is negative.
NxErr TimecodeOfFrame(const NxMediaMetadata& metadata, int32_t frame, NxTimeCodeRecord* record);

// True if the rate of `metadata` is one that timecode counts at.
[[nodiscard]] bool HasTimecodeRate(const NxMediaMetadata& metadata);

// Copies the timecode section of `timeCode` into `metadata` and sets its bit.
void PutTimecode(const NxTimeCodeRecord& timeCode, NxMediaMetadata* metadata);

}  // namespace morvane
