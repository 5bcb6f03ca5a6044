#pragma once

#include <cstdint>
#include <deque>
#include <limits>

namespace morvane {

inline constexpr int64_t kSerialByteNs = 286458;  // 11 bits at 38400 baud

// What is plugged into a card's serial port. Times are the card's, and never fall.
// Threads: the card's lock.
class SerialDevice {
 public:
  virtual ~SerialDevice() = default;
  // A byte that the card sent has wholly arrived at `atNs`.
  virtual void Receive(uint8_t byte, int64_t atNs) = 0;
  // When the device next does something by itself; INT64_MAX: never.
  [[nodiscard]] virtual int64_t NextEventNs() const = 0;
  // Does what is due at NextEventNs(). Returns: true with the byte that has wholly arrived at the
  // card now; false when it was something else.
  [[nodiscard]] virtual bool Event(uint8_t* byte) = 0;
  // The card begins to speak: what was still to be sent is not sent any more.
  virtual void Interrupted() = 0;
};

// The RS-422 port of a card: a transmit FIFO that empties at line speed, and a receive FIFO.
// Threads: the card's lock.
class CardUart {
 public:
  // Keeps `device` (null: nothing is connected, and no reply ever comes).
  void Connect(SerialDevice* device) { device_ = device; }

  void WriteControl(uint32_t value);
  [[nodiscard]] uint32_t Status() const;
  // A byte more than the FIFO holds is lost. What was received and not read is dropped.
  void Transmit(uint8_t byte, int64_t nowNs);
  [[nodiscard]] uint8_t Receive();  // 0 when nothing is there

  struct Events {
    bool transmitEmpty = false;  // the transmit FIFO has emptied
    int64_t received = 0;        // bytes that have arrived
  };
  // Lets the line go on to `nowNs`. Returns: what has happened since the last call.
  [[nodiscard]] Events AdvanceTo(int64_t nowNs);
  // Card time at which the transmit FIFO empties; INT64_MAX when it is empty.
  [[nodiscard]] int64_t TransmitEmptyNs() const;
  // Card time at which AdvanceTo() next has something to do; INT64_MAX: nothing.
  [[nodiscard]] int64_t NextEventNs() const;

 private:
  struct Sent {
    int64_t arrivesNs;
    uint8_t byte;
  };

  SerialDevice* device_ = nullptr;
  uint32_t control_ = 0;
  std::deque<Sent> sending_;
  std::deque<uint8_t> received_;
};

}  // namespace morvane
