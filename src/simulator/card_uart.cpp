#include "simulator/card_uart.h"

#include <algorithm>
#include <limits>

namespace morvane {
namespace {

constexpr int64_t kByteNs = 286458;  // 11 bits at 38400 baud
constexpr int64_t kFifoBytes = 32;
constexpr uint32_t kStoredBits = 0xC9;  // 0, 3, 6 and 7
constexpr uint32_t kPresent = 1u << 8;
constexpr uint32_t kReceiveNotEmpty = 1u << 4;

}  // namespace

void CardUart::WriteControl(uint32_t value) {
  control_ = value & kStoredBits;
}

uint32_t CardUart::Status() const {
  return control_ | kPresent | (received_.empty() ? 0 : kReceiveNotEmpty);
}

void CardUart::Transmit(uint8_t, int64_t nowNs) {
  const int64_t from = sending_ ? std::max(emptyNs_, nowNs) : nowNs;
  if (from - nowNs > (kFifoBytes - 1) * kByteNs) return;
  emptyNs_ = from + kByteNs;
  sending_ = true;
}

uint8_t CardUart::Receive() {
  if (received_.empty()) return 0;
  const uint8_t byte = received_.front();
  received_.pop_front();
  return byte;
}

bool CardUart::AdvanceTo(int64_t nowNs) {
  if (!sending_ || nowNs < emptyNs_) return false;
  sending_ = false;
  return true;
}

int64_t CardUart::TransmitEmptyNs() const {
  return sending_ ? emptyNs_ : std::numeric_limits<int64_t>::max();
}

}  // namespace morvane
