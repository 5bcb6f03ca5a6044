// Any bytes as the beginning of a card's flash.
#include "device/flash_header.h"

#include <cstdlib>
#include <cstring>

using namespace morvane;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  RQD5BitFileInfo info;
  std::memset(&info, 0xA5, sizeof info);
  const RQD5BitFileInfo before = info;
  if (ParseFlashHeader({data, size}, &info)) {
    if (info.recordSize != sizeof info || info.kind != 0 || info.checksum != 0) std::abort();
  } else if (std::memcmp(&info, &before, sizeof info) != 0) {
    std::abort();
  }
  return 0;
}
