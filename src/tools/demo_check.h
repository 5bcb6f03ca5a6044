#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simulator/machine_description.h"

namespace morvane::tools {

// One line of an output log, as far as the comparison needs it.
struct LoggedFrame {
  std::string kind;  // "frame", "repeat", "idle"
  std::string md5;
  std::string fourcc;
  int64_t user = -1;  // timeline frame
  int64_t audio = -1;
};

// Reads an output log. Returns: false when the file cannot be read or is no log.
[[nodiscard]] bool ReadOutputLog(const std::string& path, std::vector<LoggedFrame>* frames);

// MD5 of `count` frames of what lies on the input, from source frame `first` on, as 8-bit 4:2:2
// ("2vuy"). They are made anew from the source, independent of the card.
[[nodiscard]] std::vector<std::string> HashInput(const InputDescription& input, int64_t first,
                                                 int64_t count);

// Number of frames that are not what they should be among what left the card, up to the first
// line of timeline frame `inputHashes.size() - 1`: a frame missing, twice, out of order, of another
// content, or not there in time.
[[nodiscard]] int64_t CountMismatches(const std::vector<LoggedFrame>& log,
                                      const std::vector<std::string>& inputHashes);

}  // namespace morvane::tools
