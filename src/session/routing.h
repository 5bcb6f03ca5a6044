#pragma once

#include <cstdint>

namespace morvane {

inline constexpr uint32_t kRoutingEntries = 15;  // room in a table; a full one is refused

// One crosspoint: a masked register write.
struct RQD5RoutingEntry {
  uint32_t registerNumber;
  uint32_t mask;
  uint32_t shift;
  uint32_t value;
};

// The signal path of the card as register writes. Also the extra block of an extended transfer,
// byte for byte: the driver writes it at the boundary that shows the frame.
struct RQD5RoutingTable {
  uint32_t count;
  RQD5RoutingEntry entries[kRoutingEntries];
};
using RQD5RouteBlock = RQD5RoutingTable;

static_assert(sizeof(RQD5RoutingEntry) == 16);
static_assert(sizeof(RQD5RouteBlock) == 244);

}  // namespace morvane
