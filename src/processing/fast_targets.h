#pragma once

// Processors below SSE4 are too old to be worth a copy of the vector routines; they run the plain
// code. To be included before Highway.
#define HWY_DISABLED_TARGETS HWY_SSSE3

// True while the fallback is compiled that has no real vectors; the plain code is faster.
#define MORVANE_NO_VECTORS (HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128)
