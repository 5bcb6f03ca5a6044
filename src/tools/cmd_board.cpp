#include <cstdio>
#include <memory>

#include "device/boards.h"
#include "session/card2.h"
#include "session/catalogue_table.h"
#include "tools/card_door.h"
#include "tools/command.h"

namespace morvane::tools {
namespace {

struct Capability {
  const char* name;
  bool (*holds)(uint32_t identity);
};
constexpr Capability kCapabilities[] = {
    {"quadGeometry", BoardHasQuadGeometry},
    {"input3G", BoardHas3GInput},
    {"timingNormalSense", BoardTimingNormalSense},
    {"switchableSlotSize", BoardSwitchableSlotSize},
    {"audio", BoardHasAudio},
    {"analogAudioIn", BoardHasAnalogAudioIn},
    {"audio96k", BoardHasAudio96k},
    {"twoChannelAudio", BoardHasTwoChannelAudio},
    {"sixChannelAudio", BoardHasSixChannelAudio},
    {"eightChannelAudio", BoardHasEightChannelAudio},
    {"settleWait", BoardHasSettleWait},
    {"bitfileInFlash", BoardBitfileInFlash},
    {"uart", BoardHasUart},
    {"keyer", BoardHasKeyer},
};

// The item's text, null where the family has none.
Json ItemText(CRQD5Card2& session, SessionFamily family, uint32_t index) {
  std::string text;
  if (!session.GetItemDesc(family, index, &text)) return nullptr;
  return text;
}

Json FamilyDocument(CRQD5Card2& session, SessionFamily family) {
  Json document{{"current", nullptr}, {"default", nullptr}, {"items", Json::array()}};
  uint32_t index = 0;
  std::string text;
  if (session.GetItem(family, &index)) document["current"] = ItemText(session, family, index);
  if (session.GetDefaultItem(family, &index, &text)) document["default"] = text;
  for (uint32_t i = 0; i < session.GetNumItems(family); ++i) {
    document["items"].push_back(ItemText(session, family, i));
  }
  return document;
}

Json BoardDocument(CRQD5Card2& session, const RQD5BoardInfo& board) {
  Json families = Json::object();
  for (uint32_t f = 0; f < kSessionFamilies; ++f) {
    const auto family = static_cast<SessionFamily>(f);
    families[FamilyOf(family).name] = FamilyDocument(session, family);
  }
  Json capabilities = Json::object();
  for (const Capability& capability : kCapabilities) {
    capabilities[capability.name] = capability.holds(board.boardID);
  }
  return Json{{"index", board.boardIndex},
              {"name", BoardName(board.boardID)},
              {"identity", HexWord(board.boardID)},
              {"families", families},
              {"capabilities", capabilities}};
}

void PrintFamilies(const Json& families) {
  for (const auto& [name, family] : families.items()) {
    std::printf("%s\n", name.c_str());
    for (const Json& item : family["items"]) {
      const bool current = item == family["current"];
      std::printf("  %c %s\n", current ? '*' : ' ', item.get<std::string>().c_str());
    }
  }
}

int RunBoard(CommandContext& context, int boardIndex) {
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
  const Json document = BoardDocument(session, *board);
  session.Close();
  if (context.json) {
    PrintJson(document);
    return kExitDone;
  }
  std::printf("%s %s\n", board->displayName.c_str(), HexWord(board->boardID).c_str());
  PrintFamilies(document["families"]);
  std::printf("Capabilities\n");
  for (const auto& [name, holds] : document["capabilities"].items()) {
    if (holds.get<bool>()) std::printf("    %s\n", name.c_str());
  }
  return kExitDone;
}

}  // namespace

void AddBoardCommand(CLI::App& app, CommandContext& context) {
  auto board = std::make_shared<int>(0);
  CLI::App* command =
      app.add_subcommand("board", "Tells what a board offers: the items of each choice");
  command->add_option("N", *board, "Index of the board in the scan")
      ->required()
      ->check(CLI::NonNegativeNumber);
  command->callback([&context, board] {
    context.run = [board](CommandContext& run) { return RunBoard(run, *board); };
  });
}

}  // namespace morvane::tools
