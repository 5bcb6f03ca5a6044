#pragma once

#include <cstdint>
#include <string>

#include "media/codec/media_reader.h"

namespace morvane {

// The row of the format table on which a movie of this raster, rate and scan travels. A movie that
// does not tell its scan counts as interlaced where the table has such a row.
// Returns: 0 when none fits.
[[nodiscard]] uint32_t FormatOfMovie(const MediaInfo& movie);

// Looks whether the movie can travel on `videoFormat`: same raster, same rate; a progressive movie
// may travel on an interlaced format, not the other way round.
// Returns: false with half a sentence in `error` ("is 1280 x 720, not 1920 x 1080").
[[nodiscard]] bool MovieFits(const MediaInfo& movie, uint32_t videoFormat, std::string* error);

// "1920x1080 at 30000/1001, interlaced", for messages.
[[nodiscard]] std::string MovieText(const MediaInfo& movie);

}  // namespace morvane
