#pragma once

#include <cstddef>
#include <cstdint>

namespace morvane {

// Frame memory of a card: address space that costs nothing until it is touched, zero at first.
// Threads: the object is constant; who may touch which bytes is the card's business.
class CardMemory {
 public:
  explicit CardMemory(size_t bytes);
  ~CardMemory();
  CardMemory(const CardMemory&) = delete;
  CardMemory& operator=(const CardMemory&) = delete;

  [[nodiscard]] uint8_t* Data() const { return data_; }
  [[nodiscard]] size_t Bytes() const { return bytes_; }  // 0 when there is none

 private:
  uint8_t* data_ = nullptr;
  size_t bytes_ = 0;
};

}  // namespace morvane
