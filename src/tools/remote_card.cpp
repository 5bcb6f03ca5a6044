#include "tools/remote_card.h"

#include <unistd.h>

#include <cstdio>
#include <iostream>

namespace morvane::tools {

void AddRemoteOptions(CLI::App* command, CLI::Option* board, RemoteChoice* choice) {
  CLI::Option* host =
      command->add_option("--host", choice->host, "A card of this machine instead, by morvane-nub")
          ->type_name("NAME")
          ->excludes(board)
          ->check([](const std::string& name) { return name.empty() ? "a name is wanted" : ""; });
  command->add_option("--board-type", choice->boardType, "Type of that card, as boards tells it")
      ->type_name("T")
      ->capture_default_str()
      ->check(CLI::Range(0, 0xFFFF))
      ->needs(host);
  command->add_option("--number", choice->number, "Number of that card among those of its type")
      ->type_name("N")
      ->capture_default_str()
      ->needs(host);
}

bool OpenRemoteCard(const CommandContext& context, const RemoteChoice& choice, CRQD5Card* card) {
  // An open of a host that nobody answers is no failure; the card is then not remote.
  bool open = false;
  {
    const DiagnosticOutput refusals;
    open = card->Open(choice.number, false, choice.boardType, choice.host.c_str());
  }
  if (open && card->IsRemote()) return true;
  Fail(context, NxErrFailure,
       choice.host + " cannot be reached, or lends no board " + std::to_string(choice.number) +
           " of type " + std::to_string(choice.boardType) +
           "; see whether morvane-nub runs there.");
  return false;
}

DiagnosticOutput::DiagnosticOutput() {
  std::cout.flush();
  std::fflush(stdout);
  output_ = dup(STDOUT_FILENO);
  if (output_ >= 0) dup2(STDERR_FILENO, STDOUT_FILENO);
}

DiagnosticOutput::~DiagnosticOutput() {
  std::cout.flush();
  std::fflush(stdout);
  if (output_ < 0) return;
  dup2(output_, STDOUT_FILENO);
  close(output_);
}

}  // namespace morvane::tools
