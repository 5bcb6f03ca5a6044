#pragma once

#include <gtest/gtest.h>

#include <string>

#include "session/control.h"
#include "session/simulated_board.h"
#include "session/stepping_port.h"
#include "support/test_environment.h"

namespace morvane::test {

// An "Elm" with a tape machine on its serial port, and a new tape in it.
inline MachineDescription ElmWithDeck(uint32_t videoFormat = 2) {
  MachineDescription machine = OneCard(BoardElm, videoFormat);
  machine.cards[0].rs422 = true;
  machine.cards[0].deck.tape = FreshFolder("deck") + "/tape";
  return machine;
}

// A control on the port of that machine; time goes on in its waits alone, and by Pass().
class TapeRig {
 public:
  explicit TapeRig(const MachineDescription& machine = ElmWithDeck())
      : driver_(machine), port_(&driver_, &clock_) {
    opened = control.Open(0, false, BOARDTYPE_OEM2K, nullptr);
  }

  void Pass(int64_t milliseconds) {
    for (; milliseconds > 0; milliseconds -= 10) {
      clock_.Advance(10'000'000);
      uint32_t line = 0;
      (void)control.ReadRegister(18, &line);  // cards go on when they are asked
    }
  }
  [[nodiscard]] DriverPort* Port() { return &port_; }
  void SetFaults(const DeckFaultDescription& faults) { driver_.SetDeckFaults(0, faults); }
  std::string Timecode() {
    std::string text;
    (void)control.GetTimecode(&text);
    return text;
  }
  std::string Status() {
    std::string text;
    (void)control.GetStatusText(&text);
    return text;
  }
  // Asks for the status until it is `text`, as a user waits. Returns: false after `seconds`.
  bool Await(const std::string& text, int seconds = 60) {
    const int64_t end = NxClockNowNs() + seconds * int64_t{1'000'000'000};
    while (NxClockNowNs() < end) {
      if (Status() == text) return true;
      Pass(30);
    }
    return false;
  }

 private:
  ManualClock clock_;
  SimulatedDriver driver_;
  SteppingPort port_;

 public:
  CRQD5Control control;
  bool opened = false;
};

}  // namespace morvane::test
