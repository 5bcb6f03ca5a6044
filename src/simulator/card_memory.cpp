#include "simulator/card_memory.h"

#include <sys/mman.h>

namespace morvane {

CardMemory::CardMemory(size_t bytes) {
  if (bytes == 0) return;
  void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) return;
  data_ = static_cast<uint8_t*>(memory);
  bytes_ = bytes;
}

CardMemory::~CardMemory() {
  if (data_ != nullptr) munmap(data_, bytes_);
}

}  // namespace morvane
