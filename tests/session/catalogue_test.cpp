#include "session/catalogue_table.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "device/boards.h"
#include "session/card2.h"

namespace morvane {
namespace {

CatalogueContext OfBoard(uint32_t identity, uint32_t mode = kSessionCaptureAndPlay) {
  CatalogueContext context;
  context.identity = identity;
  context.mode = mode;
  context.hasKeyer = BoardHasKeyer(identity);
  return context;
}

std::vector<std::string> Texts(SessionFamily family, const CatalogueContext& context) {
  std::vector<std::string> texts;
  const uint64_t list = CatalogueMask(family, context);
  for (uint32_t i = 0, id = 0; ListItemId(list, i, &id); ++i) {
    texts.push_back(FamilyOf(family).texts[id]);
  }
  return texts;
}

struct FormatCount {
  uint32_t identity;
  uint32_t both;
  uint32_t playOnly;
};
// clang-format off
constexpr FormatCount kCounts[] = {
  { BoardAspen, 1, 1 },     { BoardBasil, 6, 3 },    { BoardCassia, 25, 25 },
  { BoardCassia2, 25, 25 }, { BoardDamson, 6, 3 },   { BoardEbony, 25, 25 },
  { BoardEbony2, 25, 25 },  { BoardFennel, 6, 3 },   { BoardGorse, 6, 3 },
  { BoardHeath, 25, 25 },   { BoardHeath2, 25, 25 }, { BoardIris, 27, 20 },
  { BoardJasmine, 6, 3 },   { BoardKale, 25, 25 },   { BoardLaurel, 27, 20 },
  { BoardKale2, 25, 25 },   { BoardAlder, 1, 1 },    { BoardBirch, 1, 1 },
  { BoardBirch2, 1, 1 },    { BoardCedar, 6, 3 },    { BoardDogwood, 31, 28 },
  { BoardElm, 33, 20 },     { BoardFir, 1, 1 },      { BoardGinkgo, 1, 1 },
  { BoardHazel, 1, 1 },     { BoardHazel2, 1, 1 },   { BoardIlex, 1, 1 },
  { BoardDexel, 1, 1 },     { BoardKapok, 1, 1 },    { BoardLarch, 31, 28 },
  { BoardMaple, 27, 27 },   { BoardNutmeg, 1, 1 },   { BoardOak, 33, 20 },
  { BoardPoplar, 1, 1 },    { BoardQuince, 1, 1 },   { BoardRowan, 1, 1 },
  { BoardSpruce, 31, 28 },  { BoardFennick, 1, 1 },  { BoardWayxt, 33, 20 },
};
// clang-format on

TEST(Catalogue, CountsVideoFormatsOfAllBoards) {
  EXPECT_EQ(std::size(kCounts), 39u);
  for (const FormatCount& row : kCounts) {
    SCOPED_TRACE(BoardName(row.identity));
    EXPECT_EQ(ListCount(CatalogueMask(SessionFamily::VideoFormat, OfBoard(row.identity))),
              row.both);
    EXPECT_EQ(ListCount(CatalogueMask(SessionFamily::VideoFormat,
                                      OfBoard(row.identity, kSessionPlayOnly))),
              row.playOnly);
  }
}

TEST(Catalogue, ElmListsItsFormatsInOrder) {
  const auto texts = Texts(SessionFamily::VideoFormat, OfBoard(BoardElm));
  ASSERT_EQ(texts.size(), 33u);
  EXPECT_EQ(texts[0], "1920x1080 @ 29.97i");
  EXPECT_EQ(texts[24], "1280x720 @ 23.976p");
  EXPECT_EQ(texts[26], "720x480 @ 29.97i");
  EXPECT_EQ(texts[32], "2048x1556 @ 14.98sF");
}

TEST(Catalogue, MapleHasTwoStandardDefinitionFormats) {
  const auto texts = Texts(SessionFamily::VideoFormat, OfBoard(BoardMaple));
  ASSERT_EQ(texts.size(), 27u);
  EXPECT_EQ(texts[25], "720x486 @ 29.97i");
  EXPECT_EQ(texts[26], "720x576 @ 25.00i");
}

TEST(Catalogue, NamesFormatNumbers) {
  EXPECT_STREQ(VideoFormatItemText(2), "1920x1080 @ 29.97i");
  EXPECT_STREQ(VideoFormatItemText(64), "2048x1556 @ 14.98sF");
  EXPECT_STREQ(VideoFormatItemText(31), "Unknown Video Format");
  EXPECT_STREQ(VideoFormatItemText(22), "Unknown Video Format");
}

TEST(Catalogue, DualFormatsLeaveCadenceItemsOut) {
  EXPECT_TRUE(IsDualFormat(4, 60000));
  EXPECT_FALSE(IsDualFormat(4, 30000));
  EXPECT_TRUE(IsDualFormat(17, 50000));
  EXPECT_TRUE(IsDualFormat(2, 60000));
  EXPECT_FALSE(IsDualFormat(6, 48000));
  EXPECT_TRUE(IsDualFormat(32, 60000));
  EXPECT_FALSE(IsDualFormat(20, 60000));
}

TEST(Catalogue, EveryDefaultIsInItsList) {
  for (const BoardRow& board : BoardRows()) {
    for (const VideoFormatItem& item : VideoFormatItems()) {
      CatalogueContext context = OfBoard(board.identity);
      context.videoFormat = item.videoFormat;
      context.fieldScale = item.scale;
      for (uint32_t f = 0; f < kSessionFamilies; ++f) {
        const auto family = static_cast<SessionFamily>(f);
        const uint64_t list = CatalogueMask(family, context);
        uint32_t id = 99;
        if (CatalogueDefault(family, context, &id)) {
          EXPECT_NE(list >> id & 1, 0u) << board.name << FamilyOf(family).name;
        }
        ASSERT_TRUE(list >> FamilyOf(family).texts.size() == 0)
            << board.name << FamilyOf(family).name;
      }
    }
  }
}

TEST(Catalogue, ListPositionsAndIdsAreInverse) {
  const uint64_t list = 0x8000'0000'0000'0125;
  const uint32_t ids[] = {0, 2, 5, 8, 63};
  EXPECT_EQ(ListCount(list), 5u);
  for (uint32_t i = 0; i < 5; ++i) {
    uint32_t id = 0, index = 0;
    ASSERT_TRUE(ListItemId(list, i, &id));
    EXPECT_EQ(id, ids[i]);
    ASSERT_TRUE(ListIndexOf(list, id, &index));
    EXPECT_EQ(index, i);
  }
  uint32_t out = 7;
  EXPECT_FALSE(ListItemId(list, 5, &out));
  EXPECT_FALSE(ListIndexOf(list, 1, &out));
  EXPECT_FALSE(ListIndexOf(list, 64, &out));
  EXPECT_EQ(out, 7u);
}

TEST(Catalogue, TwelveBoardsHaveAudioLevels) {
  uint32_t boards = 0;
  for (const BoardRow& board : BoardRows()) boards += BoardHasAudioLevels(board.identity);
  EXPECT_EQ(boards, 12u);
  EXPECT_TRUE(BoardHasAudioLevels(BoardElm));
  EXPECT_FALSE(BoardHasAudioLevels(BoardEbony));
}

}  // namespace
}  // namespace morvane
