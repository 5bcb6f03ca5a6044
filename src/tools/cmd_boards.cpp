#include <cstdio>

#include "device/board_scan.h"
#include "device/boards.h"
#include "tools/card_door.h"
#include "tools/command.h"

namespace morvane::tools {
namespace {

Json BoardDocument(const RQD5BoardInfo& board) {
  return Json{{"index", board.boardIndex},
              {"name", BoardName(board.boardID)},
              {"display", board.displayName},
              {"identity", HexWord(board.boardID)},
              {"type", board.boardType},
              {"number", board.boardNumber},
              {"videoInputs", board.videoInputs},
              {"videoOutputs", board.videoOutputs},
              {"analogOutputs", board.analogOutputs},
              {"analogInputs", board.analogInputs},
              {"hdmiOutputs", board.hdmiOutputs},
              {"hdmiInputs", board.hdmiInputs},
              {"audioSystems", board.audioSystems}};
}

void PrintBoard(const RQD5BoardInfo& board) {
  std::printf(
      "%u  %s  %s  type %u number %u; video in %u, out %u; analog in %u, out %u; "
      "HDMI in %u, out %u; audio systems %u\n",
      board.boardIndex, std::string(board.displayName).c_str(), HexWord(board.boardID).c_str(),
      board.boardType, board.boardNumber, board.videoInputs, board.videoOutputs, board.analogInputs,
      board.analogOutputs, board.hdmiInputs, board.hdmiOutputs, board.audioSystems);
}

int RunBoards(CommandContext& context) {
  int exitCode = kExitDone;
  const auto door = CardDoor::Open(context, &exitCode);
  if (door == nullptr) return exitCode;
  if (context.json) {
    Json document = Json::array();
    for (const RQD5BoardInfo& board : door->Boards()) document.push_back(BoardDocument(board));
    PrintJson(document);
    return kExitDone;
  }
  for (const RQD5BoardInfo& board : door->Boards()) PrintBoard(board);
  if (door->Boards().empty()) {  // the scan itself has worked
    char text[kNxErrTextBytes] = {};
    NxErrText(NxErrNoBoards, text);
    std::printf("%s\n", text);
  }
  return kExitDone;
}

}  // namespace

void AddBoardsCommand(CLI::App& app, CommandContext& context) {
  CLI::App* command = app.add_subcommand("boards", "Lists the boards of this machine");
  command->callback([&context] { context.run = RunBoards; });
}

}  // namespace morvane::tools
