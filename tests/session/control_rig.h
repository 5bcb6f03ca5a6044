#pragma once

#include <gtest/gtest.h>

#include <string>

#include "session/control.h"
#include "session/scripted_deck.h"

namespace morvane::test {

// A control that is open on the port of a scripted deck.
class ControlTest : public testing::Test {
 protected:
  ControlTest() {
    deck.answer = steady;
    EXPECT_TRUE(control.Open(0, false, BOARDTYPE_OEM2K, nullptr));
  }

  void Answer(const SteadyDeck& answers) {
    steady = answers;
    deck.answer = steady;
  }
  std::string StatusText() {
    std::string text = "unset";
    (void)control.GetStatusText(&text);
    return text;
  }
  std::string Timecode() {
    std::string text = "unset";
    (void)control.GetTimecode(&text);
    return text;
  }
  // Milliseconds that `work` takes.
  template <typename Work>
  double Milliseconds(Work&& work) {
    const int64_t before = NxClockNowNs();
    work();
    return static_cast<double>(NxClockNowNs() - before) / 1e6;
  }

  SteadyDeck steady;
  ScriptedDeck deck;
  CRQD5Control control;
};

}  // namespace morvane::test
