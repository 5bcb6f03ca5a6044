#include <cstdio>
#include <memory>

#include "device/formats.h"
#include "session/card2.h"
#include "tools/card_door.h"
#include "tools/command.h"

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

Json StatusDocument(CRQD5Card2& session) {
  const uint32_t input = session.DetectSelectedInput();
  RQD5VideoFormat output = {};
  if (!session.GetCardFormat(&output)) output = {};
  Json inputDocument = FormatDocument(input);
  inputDocument["valid"] = input != 0;
  // Nothing drives the deck yet, so what it does has no source.
  Json document{
      {"input", inputDocument},
      {"reference", FormatDocument(session.DetectReference())},
      {"output", FormatDocument(output)},
      {"vtr", {{"present", session.HasUart()}, {"status", nullptr}, {"timecode", nullptr}}},
      {"lastError", nullptr}};
  if (!session.GetLastError().empty()) document["lastError"] = session.GetLastError();
  return document;
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
  const Json document = StatusDocument(session);
  session.Close();
  if (context.json) {
    PrintJson(document);
    return kExitDone;
  }
  std::printf("input      %s\n", FormatLine(document["input"]).c_str());
  std::printf("reference  %s\n", FormatLine(document["reference"]).c_str());
  std::printf("output     %s\n", FormatLine(document["output"]).c_str());
  std::printf("deck port  %s\n", document["vtr"]["present"].get<bool>() ? "present" : "none");
  return kExitDone;
}

}  // namespace

void AddStatusCommand(CLI::App& app, CommandContext& context) {
  auto board = std::make_shared<int>(0);
  CLI::App* command =
      app.add_subcommand("status", "Tells what a board sees on its inputs and shows on its output");
  command->add_option("--board", *board, "Index of the board in the scan")
      ->check(CLI::NonNegativeNumber);
  command->callback([&context, board] {
    context.run = [board](CommandContext& run) { return RunStatus(run, *board); };
  });
}

}  // namespace morvane::tools
