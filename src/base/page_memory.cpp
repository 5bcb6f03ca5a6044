#include "base/page_memory.h"

#include <sys/mman.h>

#include <cerrno>
#include <mutex>
#include <unordered_map>

namespace morvane {
namespace {

struct Allocations {
  std::mutex mutex;
  std::unordered_map<void*, size_t> bytes;  // what was asked for, by address
  size_t total = 0;
  size_t limit = SIZE_MAX;
};

Allocations& TheAllocations() {
  static auto* allocations = new Allocations;  // never freed: static buffers may outlive it
  return *allocations;
}

size_t RoundedUp(size_t bytes) {
  return (bytes + kPageMemoryAlignment - 1) / kPageMemoryAlignment * kPageMemoryAlignment;
}

// Backs the range with memory now, so that a capture never waits for it, nor fails for want of it.
bool Populate(void* memory, size_t bytes) {
#ifdef MADV_POPULATE_WRITE
  if (madvise(memory, bytes, MADV_POPULATE_WRITE) == 0) return true;
  if (errno != EINVAL) return false;
#endif
  // A kernel that does not know the call.
  constexpr size_t kSmallestPage = 4096;
  auto* byte = static_cast<volatile uint8_t*>(memory);
  for (size_t i = 0; i < bytes; i += kSmallestPage) byte[i] = 0;
  return true;
}

// Returns: `bytes` (a multiple of the alignment) of aligned populated memory, or null.
void* MapAligned(size_t bytes) {
  const size_t mapped = bytes + kPageMemoryAlignment;
  void* base = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (base == MAP_FAILED) return nullptr;
  auto* start = static_cast<uint8_t*>(base);
  const size_t misfit = reinterpret_cast<uintptr_t>(start) % kPageMemoryAlignment;
  const size_t head = misfit == 0 ? 0 : kPageMemoryAlignment - misfit;
  if (head > 0) munmap(start, head);
  uint8_t* memory = start + head;
  munmap(memory + bytes, mapped - head - bytes);
  if (Populate(memory, bytes)) return memory;
  munmap(memory, bytes);
  return nullptr;
}

}  // namespace

void* NxAllocatePages(size_t bytes) {
  if (bytes == 0 || bytes > SIZE_MAX / 2) return nullptr;
  Allocations& all = TheAllocations();
  {
    std::lock_guard lock(all.mutex);
    if (all.total > all.limit || bytes > all.limit - all.total) return nullptr;
    all.total += bytes;
  }
  void* memory = MapAligned(RoundedUp(bytes));
  std::lock_guard lock(all.mutex);
  if (memory == nullptr) {
    all.total -= bytes;
  } else {
    all.bytes.emplace(memory, bytes);
  }
  return memory;
}

void NxFreePages(void* memory) {
  if (memory == nullptr) return;
  Allocations& all = TheAllocations();
  size_t bytes = 0;
  {
    std::lock_guard lock(all.mutex);
    const auto entry = all.bytes.find(memory);
    if (entry == all.bytes.end()) return;
    bytes = entry->second;
    all.total -= bytes;
    all.bytes.erase(entry);
  }
  munmap(memory, RoundedUp(bytes));
}

void NxSetPageLimit(size_t bytes) {
  Allocations& all = TheAllocations();
  std::lock_guard lock(all.mutex);
  all.limit = bytes;
}

}  // namespace morvane
