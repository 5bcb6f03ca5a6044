// The lists of all boards under all of their formats, against the written ones.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "device/boards.h"
#include "session/card2.h"
#include "session/catalogue_table.h"
#include "support/test_environment.h"

namespace morvane {
namespace {

std::string JoinItems(SessionFamily family, const CatalogueContext& context) {
  std::string text;
  const uint64_t list = CatalogueMask(family, context);
  for (uint32_t i = 0, id = 0; ListItemId(list, i, &id); ++i) {
    if (i != 0) text += " | ";
    text += FamilyOf(family).texts[id];
  }
  return text;
}

// A family's line stands only where it differs from the format before.
void DumpBoard(const BoardRow& board, std::vector<std::string>* lines) {
  char head[64];
  snprintf(head, sizeof head, "board %08x %s", board.identity, board.name);
  lines->push_back(head);
  lines->back().pop_back();  // the name's blank
  CatalogueContext context;
  context.identity = board.identity;
  // As a session opens the board: Oak counts as Elm there.
  context.hasKeyer = BoardHasKeyer(board.identity) || board.identity == BoardOak;
  std::map<SessionFamily, std::string> last;
  const uint64_t formats = CatalogueMask(SessionFamily::VideoFormat, context);
  for (uint32_t i = 0, id = 0; ListItemId(formats, i, &id); ++i) {
    const VideoFormatItem& item = VideoFormatItems()[id];
    context.videoFormat = item.videoFormat;
    context.fieldScale = item.scan == ItemScan::Progressive ? item.scale : item.scale * 2;
    lines->push_back(std::string(" format ") + item.text);
    for (uint32_t f = 0; f < kSessionFamilies; ++f) {
      const auto family = static_cast<SessionFamily>(f);
      if (family == SessionFamily::VideoFormat) continue;
      const std::string items = JoinItems(family, context);
      const auto known = last.find(family);
      if (known != last.end() && known->second == items) continue;
      last[family] = items;
      lines->push_back(std::string("  ") + FamilyOf(family).name + ":" +
                       (items.empty() ? "" : " " + items));
    }
  }
}

TEST(Lists, OfAllBoardsInAllFormatsAreTheWrittenOnes) {
  std::vector<std::string> lines;
  for (const BoardRow& board : BoardRows()) DumpBoard(board, &lines);
  std::ifstream file(test::DataPath("golden/session/lists.txt"));
  ASSERT_TRUE(file.good());
  std::string wanted, where;
  size_t number = 0;
  while (std::getline(file, wanted)) {
    ASSERT_LT(number, lines.size()) << "missing: " << wanted;
    if (wanted.rfind("board", 0) == 0) where = wanted;
    if (wanted.rfind(" format", 0) == 0) where = where.substr(0, where.find(',')) + "," + wanted;
    ASSERT_EQ(lines[number], wanted) << "line " << number + 1 << ", " << where;
    ++number;
  }
  EXPECT_EQ(number, lines.size());
}

}  // namespace
}  // namespace morvane
