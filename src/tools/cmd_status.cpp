#include <cstdio>
#include <memory>

#include "device/formats.h"
#include "session/card2.h"
#include "tools/card_door.h"
#include "tools/command.h"
#include "tools/deck_door.h"
#include "tools/remote_card.h"

namespace morvane::tools {
namespace {

// A video format of the card: number and text, both null where there is no signal.
Json FormatDocument(uint32_t format) {
  if (format == 0) return Json{{"format", nullptr}, {"text", nullptr}};
  return Json{{"format", format}, {"text", VideoFormatText(format)}};
}

std::string FormatLine(const Json& document) {
  return document["text"].is_null() ? "none" : document["text"].get<std::string>();
}

// What a deck tells, behind a port that is there.
Json DeckDocument(CRQD5Control& control) {
  const DeckReport report = AskDeck(&control);
  return {{"present", true}, {"status", report.status}, {"timecode", report.timecode}};
}

Json NoDeckDocument(bool port) {
  return {{"present", port}, {"status", nullptr}, {"timecode", nullptr}};
}

Json DeckDocument(const RQD5BoardInfo& board) {
  CRQD5Control control;
  if (!board.hasUart || !OpenDeck(board, &control)) return NoDeckDocument(board.hasUart);
  return DeckDocument(control);
}

std::string DeckLine(const Json& deck) {
  if (!deck["present"].get<bool>()) return "no port";
  if (deck["status"].is_null()) return "port present";
  const Json& time = deck["timecode"];
  return (time.is_null() ? "" : time.get<std::string>() + "  ") + deck["status"].get<std::string>();
}

Json StatusDocument(CRQD5Card2& session, const Json& deck) {
  const uint32_t input = session.DetectSelectedInput();
  RQD5VideoFormat output = {};
  if (!session.GetCardFormat(&output)) output = {};
  Json inputDocument = FormatDocument(input);
  inputDocument["valid"] = input != 0;
  Json document{{"input", inputDocument},
                {"reference", FormatDocument(session.DetectReference())},
                {"output", FormatDocument(output)},
                {"vtr", deck},
                {"lastError", nullptr}};
  if (!session.GetLastError().empty()) document["lastError"] = session.GetLastError();
  return document;
}

// A card of another machine has no session here: what its registers tell, of its first input.
Json StatusDocument(CRQD5Control& card) {
  const uint32_t input = card.DetectInput(1);
  const uint32_t reference = card.DetectReference();
  RQD5VideoFormat output = {};
  if (!card.GetVideoFormat(&output)) output = {};
  Json inputDocument = FormatDocument(input);
  inputDocument["valid"] = input != 0;
  const bool port = DescribeBoard(card.BoardID()).hasUart;
  if (port) CountTapeAs(input != 0 ? input : reference, &card);
  return {{"input", inputDocument},
          {"reference", FormatDocument(reference)},
          {"output", FormatDocument(output)},
          {"vtr", port ? DeckDocument(card) : NoDeckDocument(false)},
          {"lastError", nullptr}};
}

void PrintStatus(const CommandContext& context, const Json& document) {
  if (context.json) {
    PrintJson(document);
    return;
  }
  std::printf("input      %s\n", FormatLine(document["input"]).c_str());
  std::printf("reference  %s\n", FormatLine(document["reference"]).c_str());
  std::printf("output     %s\n", FormatLine(document["output"]).c_str());
  std::printf("deck       %s\n", DeckLine(document["vtr"]).c_str());
  const Json& error = document["lastError"];
  std::printf("last error %s\n", error.is_null() ? "none" : error.get<std::string>().c_str());
}

int RunStatusThere(CommandContext& context, const RemoteChoice& choice) {
  CRQD5Control card;
  if (!OpenRemoteCard(context, choice, &card)) return kExitFailed;
  Json document;
  bool answers = false;
  {
    const DiagnosticOutput refusals;
    document = StatusDocument(card);
    // The connection may have broken meanwhile; then nothing of it is true.
    uint32_t identity = 0;
    answers = card.ReadField(RegisterField::BoardIdentity, &identity);
  }
  if (!answers) return Fail(context, NxErrFailure, choice.host + " does not answer any more.");
  PrintStatus(context, document);
  return kExitDone;
}

int RunStatus(CommandContext& context, int boardIndex) {
  int exitCode = kExitDone;
  const auto door = CardDoor::Open(context, &exitCode);
  if (door == nullptr) return exitCode;
  const RQD5BoardInfo* board = door->Find(context, boardIndex);
  if (board == nullptr) return kExitFailed;
  CRQD5Card2 session;
  if (!session.OpenSession(board->boardIndex, *board, kSessionCaptureAndPlay)) {
    return Fail(context, NxErrFailure,
                "Board " + std::to_string(boardIndex) + ": " + session.GetLastError() + ".");
  }
  const Json document = StatusDocument(session, DeckDocument(*board));
  session.Close();
  PrintStatus(context, document);
  return kExitDone;
}

}  // namespace

void AddStatusCommand(CLI::App& app, CommandContext& context) {
  struct StatusOptions {
    int board = 0;
    RemoteChoice remote;
  };
  auto options = std::make_shared<StatusOptions>();
  CLI::App* command =
      app.add_subcommand("status", "Tells what a board sees on its inputs and shows on its output");
  CLI::Option* board =
      command->add_option("--board", options->board, "Index of the board in the scan")
          ->check(CLI::NonNegativeNumber);
  AddRemoteOptions(command, board, &options->remote);
  command->callback([&context, options] {
    context.run = [options](CommandContext& run) {
      return options->remote.IsChosen() ? RunStatusThere(run, options->remote)
                                        : RunStatus(run, options->board);
    };
  });
}

}  // namespace morvane::tools
