#pragma once

#include <cstdint>
#include <string>

namespace morvane {

// A pixel or audio format as a 32-bit code whose text reads forward in memory: FourCC("2vuy").
using FourCCCode = uint32_t;

[[nodiscard]] constexpr FourCCCode FourCC(const char (&text)[5]) {
  return static_cast<uint32_t>(static_cast<uint8_t>(text[0])) |
         static_cast<uint32_t>(static_cast<uint8_t>(text[1])) << 8 |
         static_cast<uint32_t>(static_cast<uint8_t>(text[2])) << 16 |
         static_cast<uint32_t>(static_cast<uint8_t>(text[3])) << 24;
}

// The four characters of `code`, blanks kept.
[[nodiscard]] inline std::string FourCCText(FourCCCode code) {
  std::string text(4, ' ');
  for (int i = 0; i < 4; ++i) text[static_cast<size_t>(i)] = static_cast<char>(code >> (8 * i));
  return text;
}

}  // namespace morvane
