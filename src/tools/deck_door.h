#pragma once

#include <cstdint>

#include "device/board_scan.h"
#include "session/control.h"
#include "tools/command.h"

namespace morvane::tools {

// A board's tape machine, opened for one command. How its tape counts is taken from what is on the
// board's input, then from its reference; whether in drop frame, from what the machine says.
// Returns: false when the board cannot be opened.
[[nodiscard]] bool OpenDeck(const RQD5BoardInfo& board, CRQD5Control* control);

// The same for a control that is open: counts its tape as pictures of `format`, 0 for unknown.
void CountTapeAs(uint32_t format, CRQD5Control* control);

// What a machine tells of itself in one round. Null where it does not answer.
struct DeckReport {
  bool answers = false;
  std::string status;  // "Offline" when it does not answer
  Json timecode;
  double speed = 0;  // plays
};
[[nodiscard]] DeckReport AskDeck(CRQD5Control* control);

}  // namespace morvane::tools
