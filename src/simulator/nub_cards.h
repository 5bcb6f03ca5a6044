#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "device/driver_port.h"
#include "device/test_pattern.h"

namespace morvane {

class SimulatedDriver;

// This machine's cards as the nub server lends them: opens a card for a client, gives out handles,
// and keeps the two interrupts of each control port subscribed, so that a byte that arrives between
// a client's write and its wait is not missed.
// Owns: a card object for each control port, from construction to destruction.
// Threads: one.
class NubCards {
 public:
  // Requires: `driver` is the installed driver port, and outlives this.
  explicit NubCards(SimulatedDriver* driver);
  ~NubCards();
  NubCards(const NubCards&) = delete;
  NubCards& operator=(const NubCards&) = delete;

  // An open card object of its own for each caller: what the driver keeps by opener (such as the
  // samples of the line counter) is kept by client. Returns: null when there is no such board.
  [[nodiscard]] std::unique_ptr<CRQD5TestPattern> Open(uint32_t boardType, uint32_t boardNumber);
  // 1, 2, 3 ...; never 0 or the invalid one. None comes twice in 2^32 - 2 opens.
  [[nodiscard]] uint32_t NextHandle();
  // The event of interrupt 14 or 15 of a board, which all clients share. Returns: 0 without one.
  [[nodiscard]] DriverEvent ControlPortEvent(const CRQD5TestPattern& card,
                                             uint32_t interruptType) const;

  [[nodiscard]] SimulatedDriver& Driver() { return *driver_; }
  [[nodiscard]] size_t BoardCount() const { return boards_.size(); }

 private:
  struct Board {
    std::unique_ptr<CRQD5TestPattern> card;
    DriverEvent transmitted = 0;
    DriverEvent received = 0;
  };

  SimulatedDriver* const driver_;
  std::vector<Board> boards_;
  uint32_t nextHandle_ = 1;
};

}  // namespace morvane
