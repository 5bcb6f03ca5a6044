#pragma once

#include <cstddef>
#include <cstdint>

// Big buffers from the system's page allocator: 64 KiB aligned, populated, zero filled.
namespace morvane {

inline constexpr size_t kPageMemoryAlignment = 65536;

// Returns: `bytes` of zeroed memory, or null when out of memory or above the test limit.
[[nodiscard]] void* NxAllocatePages(size_t bytes);
void NxFreePages(void* memory);  // null is allowed
// Total bytes that NxAllocatePages may hand out at one time; SIZE_MAX (the start value) is no
// limit.
void NxSetPageLimit(size_t bytes);

// Owns one allocation.
class PageBuffer {
 public:
  PageBuffer() = default;
  PageBuffer(PageBuffer&& other) noexcept : data_(other.data_), bytes_(other.bytes_) {
    other.data_ = nullptr;
    other.bytes_ = 0;
  }
  PageBuffer& operator=(PageBuffer&& other) noexcept {
    if (this != &other) {
      Free();
      data_ = other.data_;
      bytes_ = other.bytes_;
      other.data_ = nullptr;
      other.bytes_ = 0;
    }
    return *this;
  }
  ~PageBuffer() { Free(); }

  // Frees what is held, then takes `bytes`. Returns: false with nothing held when out of memory.
  [[nodiscard]] bool Allocate(size_t bytes) {
    Free();
    data_ = static_cast<uint8_t*>(NxAllocatePages(bytes));
    bytes_ = data_ != nullptr ? bytes : 0;
    return data_ != nullptr;
  }
  void Free() {
    NxFreePages(data_);
    data_ = nullptr;
    bytes_ = 0;
  }
  [[nodiscard]] uint8_t* Data() const { return data_; }
  [[nodiscard]] size_t Bytes() const { return bytes_; }

 private:
  uint8_t* data_ = nullptr;
  size_t bytes_ = 0;
};

}  // namespace morvane
