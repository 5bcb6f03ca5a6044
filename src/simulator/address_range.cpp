#include "simulator/address_range.h"

#include <arpa/inet.h>

#include <algorithm>

namespace morvane {
namespace {

constexpr uint32_t kAddressBits = 32;

// Returns: 33 for what is no number from 0 to 32.
uint32_t ParsePrefix(const std::string& text) {
  const bool digits =
      !text.empty() && text.size() <= 2 &&
      std::all_of(text.begin(), text.end(), [](char c) { return '0' <= c && c <= '9'; });
  return digits ? static_cast<uint32_t>(std::stoul(text)) : kAddressBits + 1;
}

}  // namespace

std::optional<uint32_t> ParseAddress(const std::string& text) {
  in_addr address = {};
  // A NUL inside would hide what follows it.
  if (text.size() > INET_ADDRSTRLEN || text.find('\0') != std::string::npos) return std::nullopt;
  if (inet_pton(AF_INET, text.c_str(), &address) != 1) return std::nullopt;
  return ntohl(address.s_addr);
}

std::string AddressText(uint32_t address) {
  std::string text = std::to_string(address >> 24);
  for (const uint32_t shift : {16, 8, 0}) text += "." + std::to_string(address >> shift & 0xFF);
  return text;
}

std::optional<AddressRange> AddressRange::Parse(const std::string& text) {
  const size_t slash = text.find('/');
  const uint32_t prefix =
      slash == std::string::npos ? kAddressBits : ParsePrefix(text.substr(slash + 1));
  const auto address = ParseAddress(text.substr(0, slash));
  if (!address || prefix > kAddressBits) return std::nullopt;
  const uint32_t mask = prefix == 0 ? 0 : ~uint32_t{0} << (kAddressBits - prefix);
  return AddressRange{*address & mask, mask};
}

bool IsAllowed(const std::vector<AddressRange>& ranges, uint32_t address) {
  return ranges.empty() ||
         std::any_of(ranges.begin(), ranges.end(),
                     [address](const AddressRange& range) { return range.Contains(address); });
}

}  // namespace morvane
