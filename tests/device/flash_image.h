#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace morvane::test {

inline constexpr uint8_t kSyncWord[] = {0xFF, 0xFF, 0xFF, 0xFF, 0xAA, 0x99, 0x55, 0x66};

// The first 256 bytes of a flash that holds a bitstream; `padded` puts the sync word 44 bytes
// behind the byte count.
inline std::vector<uint8_t> FlashImage(const std::string& part, bool padded,
                                       const std::string& design = "larch01") {
  std::vector<uint8_t> image = {0x00, 0x09, 0x0F, 0xF0, 0x0F, 0xF0, 0x0F,
                                0xF0, 0x0F, 0xF0, 0x00, 0x00, 0x01};
  const auto text = [&image](char letter, const std::string& value) {
    image.push_back(static_cast<uint8_t>(letter));
    image.push_back(static_cast<uint8_t>(value.size() >> 8));
    image.push_back(static_cast<uint8_t>(value.size()));
    image.insert(image.end(), value.begin(), value.end());
  };
  text('a', design);
  text('b', part);
  text('c', "2009/06/18");
  text('d', "14:25:07");
  for (const int byte : {int{'e'}, 0x00, 0x12, 0x34, 0x56})
    image.push_back(static_cast<uint8_t>(byte));
  if (padded) image.insert(image.end(), 44, 0x11);
  for (const uint8_t byte : kSyncWord) image.push_back(byte);
  image.resize(256, 0x22);
  return image;
}

inline size_t SyncOffset(const std::vector<uint8_t>& image) {
  return static_cast<size_t>(
      std::search(image.begin(), image.end(), std::begin(kSyncWord), std::end(kSyncWord)) -
      image.begin());
}

}  // namespace morvane::test
