#pragma once

#include <cstdint>
#include <string>

#include "device/boards.h"
#include "device/card.h"
#include "tools/command.h"

namespace morvane::tools {

// Which card of another machine a command is for.
struct RemoteChoice {
  std::string host;  // empty: a card of this machine
  uint32_t boardType = BOARDTYPE_OEM2K;
  uint16_t number = 0;

  [[nodiscard]] bool IsChosen() const { return !host.empty(); }
};

// Adds --host, --board-type and --number, and keeps --host away from `board`, the option that
// chooses a card of this machine.
void AddRemoteOptions(CLI::App* command, CLI::Option* board, RemoteChoice* choice);

// Opens the card. Returns: false after the diagnostic was printed.
[[nodiscard]] bool OpenRemoteCard(const CommandContext& context, const RemoteChoice& choice,
                                  CRQD5Card* card);

// While one lives, standard output goes to standard error: the road to another machine says there
// what it was refused, and a document on standard output has to stay one.
// Threads: main thread.
class DiagnosticOutput {
 public:
  DiagnosticOutput();
  ~DiagnosticOutput();
  DiagnosticOutput(const DiagnosticOutput&) = delete;
  DiagnosticOutput& operator=(const DiagnosticOutput&) = delete;

 private:
  int output_ = -1;
};

}  // namespace morvane::tools
