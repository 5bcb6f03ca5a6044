#pragma once

// Processors below SSE4 are too old to be worth a copy of the vector routines; they run the plain
// code. To be included before Highway.
#define HWY_DISABLED_TARGETS HWY_SSSE3
