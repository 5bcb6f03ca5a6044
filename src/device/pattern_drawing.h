#pragma once

#include <cstdint>
#include <span>

#include "device/formats.h"
#include "device/pattern_lines.h"

namespace morvane {

// The frame that a test pattern is drawn for.
struct PatternRaster {
  uint32_t standard = Standard1080;
  uint32_t frameBufferFormat = FrameBuffer8BitUyvy;
  bool vanc = false;        // ancillary lines stand above the picture; they are drawn black
  bool tallVanc = false;    // 525 and 625 only
  bool wide2K = false;      // geometry 10: 2048 pixels a line
  uint32_t signalMask = 7;  // bit 0 Y, 1 Cb, 2 Cr; a component without its bit is drawn black
};

// Shape of the frame; all zero when the combination does not exist.
[[nodiscard]] RQD5FormatDescriptor PatternDescriptor(const PatternRaster& raster);

// What stands in the way of drawing pattern `number` (0 to 12): the words for the user, or null.
[[nodiscard]] const char* PatternRefusal(uint32_t number, const PatternRaster& raster);

// Draws pattern `number` from the first line of `frame` on, every byte of the descriptor's lines.
// `frame` may be card memory: it is written in rising order and never read.
// Returns: null; else the words of PatternRefusal (or that `frame` is too small), nothing written.
// A number above 12 draws nothing and is null.
// Threads: any.
[[nodiscard]] const char* DrawTestPattern(uint32_t number, const PatternRaster& raster,
                                          std::span<uint8_t> frame);

}  // namespace morvane
