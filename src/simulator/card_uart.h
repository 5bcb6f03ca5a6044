#pragma once

#include <cstdint>
#include <deque>

namespace morvane {

// The RS-422 port of a card: a transmit FIFO that empties at line speed, and a receive FIFO.
// Nothing is connected yet: no reply ever comes. Threads: the card's lock.
class CardUart {
 public:
  void WriteControl(uint32_t value);
  [[nodiscard]] uint32_t Status() const;
  void Transmit(uint8_t byte, int64_t nowNs);  // a byte more than the FIFO holds is lost
  [[nodiscard]] uint8_t Receive();             // 0 when nothing is there

  // Returns: true if the transmit FIFO has emptied since the last call.
  [[nodiscard]] bool AdvanceTo(int64_t nowNs);
  // Card time at which the transmit FIFO empties; INT64_MAX when it is empty.
  [[nodiscard]] int64_t TransmitEmptyNs() const;

 private:
  uint32_t control_ = 0;
  int64_t emptyNs_ = 0;
  bool sending_ = false;
  std::deque<uint8_t> received_;
};

}  // namespace morvane
