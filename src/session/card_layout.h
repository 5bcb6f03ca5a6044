#pragma once

#include <cstdint>

#include "base/fourcc.h"

namespace morvane {

// The card's layout for pixels of format `fourcc`. `is1080At25` tells which of its two the
// compressed HD format means. Returns: false, `format` untouched, for pixels that no card takes.
[[nodiscard]] bool CardLayoutOf(FourCCCode fourcc, bool is1080At25, uint32_t* format);

// Fills `bytes` with black as a card frame of this layout has it: whole groups of pixels.
void FillCardBlack(uint32_t frameBufferFormat, uint8_t* pixels, uint32_t bytes);

}  // namespace morvane
