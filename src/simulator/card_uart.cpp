#include "simulator/card_uart.h"

#include <algorithm>

namespace morvane {
namespace {

constexpr size_t kFifoBytes = 32;
constexpr uint32_t kStoredBits = 0xC9;  // 0, 3, 6 and 7
constexpr uint32_t kPresent = 1u << 8;
constexpr uint32_t kReceiveNotEmpty = 1u << 4;
constexpr int64_t kNever = std::numeric_limits<int64_t>::max();

}  // namespace

void CardUart::WriteControl(uint32_t value) {
  control_ = value & kStoredBits;
}

uint32_t CardUart::Status() const {
  return control_ | kPresent | (received_.empty() ? 0 : kReceiveNotEmpty);
}

void CardUart::Transmit(uint8_t byte, int64_t nowNs) {
  received_.clear();
  if (device_ != nullptr) device_->Interrupted();
  if (sending_.size() >= kFifoBytes) return;
  const int64_t from = sending_.empty() ? nowNs : std::max(sending_.back().arrivesNs, nowNs);
  sending_.push_back({from + kSerialByteNs, byte});
}

uint8_t CardUart::Receive() {
  if (received_.empty()) return 0;
  const uint8_t byte = received_.front();
  received_.pop_front();
  return byte;
}

CardUart::Events CardUart::AdvanceTo(int64_t nowNs) {
  Events events;
  for (;;) {
    const int64_t arrives = sending_.empty() ? kNever : sending_.front().arrivesNs;
    const int64_t device = device_ == nullptr ? kNever : device_->NextEventNs();
    if (std::min(arrives, device) > nowNs) return events;
    if (arrives <= device) {
      const Sent sent = sending_.front();
      sending_.pop_front();
      if (sending_.empty()) events.transmitEmpty = true;
      if (device_ != nullptr) device_->Receive(sent.byte, sent.arrivesNs);
      continue;
    }
    uint8_t byte = 0;
    if (!device_->Event(&byte)) continue;
    ++events.received;
    if (received_.size() < kFifoBytes) received_.push_back(byte);
  }
}

int64_t CardUart::TransmitEmptyNs() const {
  return sending_.empty() ? kNever : sending_.back().arrivesNs;
}

int64_t CardUart::NextEventNs() const {
  const int64_t arrives = sending_.empty() ? kNever : sending_.front().arrivesNs;
  return device_ == nullptr ? arrives : std::min(arrives, device_->NextEventNs());
}

}  // namespace morvane
