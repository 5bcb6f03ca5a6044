#include <cstring>
#include <memory>
#include <new>

#include "processing/convert.h"

namespace morvane {

NxErr FlipLines(uint8_t* base, int32_t /*unused*/, int32_t lines, int32_t pitch) {
  if (lines < 2 || pitch < 1) return NxErrSuccess;
  const size_t bytes = static_cast<size_t>(pitch);
  const std::unique_ptr<uint8_t[]> held(new (std::nothrow) uint8_t[bytes]);
  if (held == nullptr) return NxErrFailure;
  uint8_t* upper = base;
  uint8_t* lower = base + static_cast<ptrdiff_t>(lines - 1) * pitch;
  for (; upper < lower; upper += pitch, lower -= pitch) {
    std::memcpy(held.get(), upper, bytes);
    std::memcpy(upper, lower, bytes);
    std::memcpy(lower, held.get(), bytes);
  }
  return NxErrSuccess;
}

void ShiftLines(uint8_t* base, int32_t /*unused*/, int32_t lines, int32_t /*unused2*/,
                int32_t pitch, bool down) {
  if (lines < 2 || pitch < 1) return;
  const size_t moved = static_cast<size_t>(lines - 1) * static_cast<size_t>(pitch);
  if (down) {
    std::memmove(base + pitch, base, moved);
  } else {
    std::memmove(base, base + pitch, moved);
  }
}

}  // namespace morvane
