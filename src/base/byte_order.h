#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

// Explicit byte order for every word whose bytes reach a file, the driver or the network.
// Buffers may have any alignment.
namespace morvane {

static_assert(std::endian::native == std::endian::little,
              "the native stores below assume a little-endian processor");

[[nodiscard]] inline uint16_t LoadLe16(const void* p) {
  uint16_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
[[nodiscard]] inline uint32_t LoadLe32(const void* p) {
  uint32_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
[[nodiscard]] inline uint64_t LoadLe64(const void* p) {
  uint64_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
[[nodiscard]] inline uint16_t LoadBe16(const void* p) {
  return __builtin_bswap16(LoadLe16(p));
}
[[nodiscard]] inline uint32_t LoadBe32(const void* p) {
  return __builtin_bswap32(LoadLe32(p));
}
[[nodiscard]] inline uint64_t LoadBe64(const void* p) {
  return __builtin_bswap64(LoadLe64(p));
}
inline void StoreLe16(void* p, uint16_t v) {
  std::memcpy(p, &v, sizeof v);
}
inline void StoreLe32(void* p, uint32_t v) {
  std::memcpy(p, &v, sizeof v);
}
inline void StoreLe64(void* p, uint64_t v) {
  std::memcpy(p, &v, sizeof v);
}
inline void StoreBe16(void* p, uint16_t v) {
  StoreLe16(p, __builtin_bswap16(v));
}
inline void StoreBe32(void* p, uint32_t v) {
  StoreLe32(p, __builtin_bswap32(v));
}
inline void StoreBe64(void* p, uint64_t v) {
  StoreLe64(p, __builtin_bswap64(v));
}
[[nodiscard]] inline float LoadLeFloat(const void* p) {
  return std::bit_cast<float>(LoadLe32(p));
}
[[nodiscard]] inline float LoadBeFloat(const void* p) {
  return std::bit_cast<float>(LoadBe32(p));
}
inline void StoreLeFloat(void* p, float v) {
  StoreLe32(p, std::bit_cast<uint32_t>(v));
}
inline void StoreBeFloat(void* p, float v) {
  StoreBe32(p, std::bit_cast<uint32_t>(v));
}

}  // namespace morvane
