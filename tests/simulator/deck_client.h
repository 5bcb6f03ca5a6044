#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/clock.h"
#include "simulator/port_client.h"
#include "simulator/simulated_driver.h"
#include "simulator/tape_track.h"

namespace morvane::test {

using Bytes = std::vector<uint8_t>;

// "20 01" and the like.
[[nodiscard]] Bytes BytesOf(const std::string& hex);
[[nodiscard]] std::string HexOf(const Bytes& bytes);

// A controller on a card's serial port that knows registers and interrupts alone. It steps the
// manual clock itself.
class DeckClient {
 public:
  DeckClient(SimulatedDriver* driver, ManualClock* clock);
  ~DeckClient();
  DeckClient(const DeckClient&) = delete;
  DeckClient& operator=(const DeckClient&) = delete;

  [[nodiscard]] PortClient& Card() { return card_; }
  // Puts bytes into the transmit FIFO, with nothing added.
  void Write(const Bytes& bytes);
  // What has arrived and was not read yet.
  [[nodiscard]] Bytes Read();
  // One command with its sum; waits as a controller does: 15 ms for the last byte to leave, then
  // 5 ms for each byte that comes. Returns: the reply.
  Bytes Send(const std::string& hex);
  // The same as text.
  std::string Ask(const std::string& hex) { return HexOf(Send(hex)); }
  // Lets the time of so many pictures of 30000/1001 pass.
  void Pass(int pictures);
  void PassNs(int64_t ns) { clock_->Advance(ns); }
  // Goes to 5 ms behind boundary `picture` of 30000/1001, counted from when the client was made;
  // just behind it a question is heard.
  void PassTo(int64_t picture);
  // The boundary of 30000/1001 that has passed last.
  [[nodiscard]] int64_t Boundary() const;
  // The tape's timecode by the question of that name, "HH:MM:SS:FF"; "" without an answer.
  std::string Timecode();
  // The ten status bytes; "" without an answer.
  std::string Status();

 private:
  [[nodiscard]] bool WaitFor(DriverEvent event, int64_t ns);

  SimulatedDriver* driver_;
  ManualClock* clock_;
  int64_t startNs_;
  PortClient card_;
  DriverEvent sent_;
  DriverEvent received_;
};

}  // namespace morvane::test
