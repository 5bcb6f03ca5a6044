#pragma once

#include <cstdint>
#include <span>

#include "device/driver_records.h"

namespace morvane {

inline constexpr size_t kFlashHeaderBytes = 256;  // what is read from the card

// Reads the bitstream header at the start of a card's flash: design name, part name, date, time
// and byte count, then the sync word (44 bytes further on when the part name begins with 5 or 6).
// Deliberate: of the 13 leading bytes only the first is tested, and must be 0.
// Returns: false for anything out of place or past the end, and then `info` is as it was. Else the
// five fields are set and all other named fields are as of flash (size 1024, the rest 0).
[[nodiscard]] bool ParseFlashHeader(std::span<const uint8_t> bytes, RQD5BitFileInfo* info);

}  // namespace morvane
