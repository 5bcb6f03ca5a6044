#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

// Packets of the nub protocol made by hand, so that the tests do not believe the code that they
// test: names are typed at each use.
namespace morvane::test {

using Bytes = std::vector<uint8_t>;

inline constexpr char kOpenName[] = "I didn't expect a kind of Spanish Inquisition.";
inline constexpr char kOpenReplyName[] = "NOBODY expects the Spanish Inquisition!";

inline void AppendWord(uint32_t word, Bytes* bytes) {
  for (const int shift : {24, 16, 8, 0}) bytes->push_back(static_cast<uint8_t>(word >> shift));
}

inline Bytes Words(std::initializer_list<uint32_t> words) {
  Bytes bytes;
  for (const uint32_t word : words) AppendWord(word, &bytes);
  return bytes;
}

inline Bytes Packet(uint32_t version, uint32_t type, const std::string& name,
                    const Bytes& payload) {
  Bytes packet = Words({version, type, static_cast<uint32_t>(name.size() + 1 + payload.size())});
  packet.resize(64, 0);
  packet.insert(packet.end(), name.begin(), name.end());
  packet.push_back(0);
  packet.insert(packet.end(), payload.begin(), payload.end());
  return packet;
}

inline uint32_t WordAt(const Bytes& bytes, size_t offset) {
  uint32_t word = 0;
  for (size_t i = 0; i < 4; ++i) word = word << 8 | bytes.at(offset + i);
  return word;
}

inline Bytes Padded(Bytes bytes, size_t size) {
  bytes.resize(size, 0);
  return bytes;
}

// Header, name and payload of a packet taken apart.
struct Parsed {
  uint32_t version = 0;
  uint32_t type = 0;
  uint32_t dataLength = 0;
  std::string name;
  Bytes payload;
};
inline Parsed Parse(const Bytes& packet) {
  Parsed parsed{WordAt(packet, 0), WordAt(packet, 4), WordAt(packet, 8), {}, {}};
  size_t at = 64;
  while (packet.at(at) != 0) parsed.name += static_cast<char>(packet[at++]);
  parsed.payload.assign(packet.begin() + static_cast<std::ptrdiff_t>(at) + 1, packet.end());
  return parsed;
}

}  // namespace morvane::test
