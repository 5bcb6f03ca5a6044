#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace morvane {

// IPv4 addresses that share their first bits, as "192.168.7.0/24" or, for one alone, "192.168.7.3".
struct AddressRange {
  uint32_t address = 0;  // host order; bits behind the prefix are 0
  uint32_t mask = 0;

  // Returns: nothing for a text that is neither. Bits behind the prefix may be anything.
  [[nodiscard]] static std::optional<AddressRange> Parse(const std::string& text);
  [[nodiscard]] bool Contains(uint32_t other) const { return (other & mask) == address; }
};

// Whether one of `ranges` has `address`. Without ranges every address is allowed.
[[nodiscard]] bool IsAllowed(const std::vector<AddressRange>& ranges, uint32_t address);
// The number of a dotted address, in host order. Returns: nothing for any other text.
[[nodiscard]] std::optional<uint32_t> ParseAddress(const std::string& text);
[[nodiscard]] std::string AddressText(uint32_t address);

}  // namespace morvane
