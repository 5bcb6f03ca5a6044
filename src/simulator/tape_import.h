#pragma once

#include <functional>
#include <string>

#include "simulator/tape_index.h"

namespace morvane {

// Makes the tape `path` of a movie: its pictures and sound, with numbers that count on from
// `facts.first`; the tape is as long as the movie. `facts.pictures` does not count.
// `progress` (may be null) is called for each picture with its number; it returns false to give up.
// Returns: false with a sentence in `error` (empty when given up); nothing is left behind.
[[nodiscard]] bool CreateTapeOfMovie(const std::string& path, const TapeFacts& facts,
                                     const std::string& movie,
                                     const std::function<bool(int64_t)>& progress,
                                     std::string* error);

}  // namespace morvane
