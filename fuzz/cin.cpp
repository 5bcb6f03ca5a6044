#include "still_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return morvane::fuzz::ReadAsStill(data, size, "cin");
}
