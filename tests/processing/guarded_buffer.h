#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace morvane::test {

// Memory that ends (or begins) exactly at a page that may not be touched. A read or write outside
// ends the test program.
class GuardedBuffer {
 public:
  enum class Edge { kEnd, kBegin };

  explicit GuardedBuffer(size_t bytes, Edge edge = Edge::kEnd) : bytes_(bytes) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t inner = (bytes + page - 1) / page * page;
    mapped_ = inner + 2 * page;
    base_ = static_cast<uint8_t*>(
        mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (base_ == MAP_FAILED) std::abort();
    if (inner > 0 && mprotect(base_ + page, inner, PROT_READ | PROT_WRITE) != 0) std::abort();
    data_ = edge == Edge::kEnd ? base_ + page + inner - bytes : base_ + page;
    if (inner > 0) std::memset(base_ + page, kFiller, inner);
    inner_ = base_ + page;
    innerBytes_ = inner;
  }
  ~GuardedBuffer() { munmap(base_, mapped_); }
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;

  void Refill() const {
    if (innerBytes_ > 0) std::memset(inner_, kFiller, innerBytes_);
  }
  [[nodiscard]] uint8_t* Data() const { return data_; }
  [[nodiscard]] size_t Bytes() const { return bytes_; }
  // True while the part of the pages that is not ours still holds the filler.
  [[nodiscard]] bool SlackUntouched() const {
    for (const uint8_t* p = inner_; p < inner_ + innerBytes_; ++p) {
      if (p == data_) p += bytes_;
      if (p == inner_ + innerBytes_) break;
      if (*p != kFiller) return false;
    }
    return true;
  }

  static constexpr uint8_t kFiller = 0xC7;

 private:
  size_t bytes_;
  size_t mapped_ = 0;
  uint8_t* base_ = nullptr;
  uint8_t* data_ = nullptr;
  uint8_t* inner_ = nullptr;
  size_t innerBytes_ = 0;
};

}  // namespace morvane::test
