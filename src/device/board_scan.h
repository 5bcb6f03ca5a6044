#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/fourcc.h"

namespace morvane {

// One card of a scan.
struct RQD5BoardInfo {
  uint32_t boardType = 0;
  uint32_t boardID = 0;
  uint32_t boardNumber = 0;  // among the boards of its type
  std::string displayName;   // board name and number, at most 32 characters
  uint32_t boardIndex = 0;   // among all boards of the scan
  uint32_t videoInputs = 0;
  uint32_t videoOutputs = 0;
  uint32_t analogOutputs = 0;
  uint32_t analogInputs = 0;
  uint32_t hdmiOutputs = 0;
  uint32_t hdmiInputs = 0;
  uint32_t converters = 0;
  std::vector<uint32_t> sampleRates;     // Hz
  std::vector<uint32_t> sampleSizes;     // bits
  std::vector<FourCCCode> audioSources;  // "isdi", "ialg", "out "
  std::vector<uint32_t> channelCounts;
  uint32_t audioSystems = 0;
  bool hasKeyer = false;
  bool hasUart = false;
};

// Facts of a board as the scan fills them; type, number, name and index are left to the caller.
[[nodiscard]] RQD5BoardInfo DescribeBoard(uint32_t identity);

// Opens every local board of the types in `wantedTypes` (bits of RQD5BoardType) in turn, and closes
// it again. Types that cannot be opened here find nothing.
// Threads: the caller's; no board may be open exclusively elsewhere, or it is not seen.
[[nodiscard]] std::vector<RQD5BoardInfo> RQD5BoardScan(uint32_t wantedTypes);

}  // namespace morvane
