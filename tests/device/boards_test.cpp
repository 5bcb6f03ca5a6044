#include "device/boards.h"

#include <gtest/gtest.h>

#include <functional>
#include <iomanip>
#include <map>
#include <sstream>
#include <string>

#include "device/golden_lines.h"

namespace morvane {
namespace {

std::string Hex(uint32_t value) {
  std::ostringstream text;
  text << "0x" << std::uppercase << std::hex << std::setw(8) << std::setfill('0') << value;
  return text.str();
}

constexpr uint32_t kMiB = 1 << 20;

TEST(Boards, RowsEqualTheWrittenTable) {
  const auto golden = test::GoldenLines("boards.txt");
  ASSERT_EQ(golden.size(), 39u);
  ASSERT_EQ(BoardRows().size(), golden.size());
  for (size_t i = 0; i < golden.size(); ++i) {
    const BoardRow& row = BoardRows()[i];
    const uint32_t id = row.identity;
    std::ostringstream text;
    text << '"' << BoardName(id) << "\" " << Hex(id) << ' ' << FrameMemorySize(id) / kMiB << ' '
         << FrameSlotSize(id) / kMiB << ' ' << FrameTotal(id) << ' ' << RegisterCount(id) << ' '
         << row.videoIn << ' ' << row.videoOut << ' ' << row.analogOut << ' ' << row.analogIn << ' '
         << row.hdmiOut << ' ' << row.hdmiIn;
    EXPECT_EQ(text.str(), golden[i]);
  }
}

TEST(Boards, EverySetEqualsTheWrittenLists) {
  const auto type = [](uint32_t wanted) {
    return [wanted](uint32_t id) { return FindBoard(id)->boardType == wanted; };
  };
  const auto layout = [](SlotLayout wanted) {
    return [wanted](uint32_t id) { return FindBoard(id)->layout == wanted; };
  };
  const auto systems = [](uint32_t wanted) {
    return [wanted](uint32_t id) { return AudioSystemCount(id) == wanted; };
  };
  const std::map<std::string, std::function<bool(uint32_t)>> sets = {
      {"BoardHasQuadGeometry", BoardHasQuadGeometry},
      {"BoardHas3GInput", BoardHas3GInput},
      {"BoardTimingNormalSense", BoardTimingNormalSense},
      {"BoardSwitchableSlotSize", BoardSwitchableSlotSize},
      {"BoardHasAudio", BoardHasAudio},
      {"BoardHasAnalogAudioIn", BoardHasAnalogAudioIn},
      {"BoardHasAudio96k", BoardHasAudio96k},
      {"BoardHasTwoChannelAudio", BoardHasTwoChannelAudio},
      {"BoardHasSixChannelAudio", BoardHasSixChannelAudio},
      {"BoardHasEightChannelAudio", BoardHasEightChannelAudio},
      {"BoardHasSettleWait", BoardHasSettleWait},
      {"BoardBitfileInFlash", BoardBitfileInFlash},
      {"Type2", type(2)},
      {"Type4", type(4)},
      {"Type8", type(8)},
      {"Type64", type(64)},
      {"Type128", type(128)},
      {"OneConverter", [](uint32_t id) { return FindBoard(id)->converters == 1; }},
      {"Uart", BoardHasUart},
      {"Keyer", BoardHasKeyer},
      {"TwoAudioSystems", systems(2)},
      {"FourAudioSystems", systems(4)},
      {"AudioBuffer65536", [](uint32_t id) { return AudioBufferSize(id) == 65536; }},
      {"FourChannelLayout", layout(SlotLayout::FourChannel)},
      {"DoubledLayout", layout(SlotLayout::Doubled)},
      {"OlderLayout", layout(SlotLayout::Older)},
  };
  const auto golden = test::GoldenLines("board_sets.txt");
  EXPECT_EQ(golden.size(), sets.size());
  for (const std::string& line : golden) {
    const std::string name = line.substr(0, line.find(' '));
    ASSERT_EQ(sets.count(name), 1u) << name;
    std::string text = name;
    for (const BoardRow& row : BoardRows()) {
      if (sets.at(name)(row.identity)) text += ' ' + Hex(row.identity);
    }
    EXPECT_EQ(text, line);
  }
}

TEST(Boards, SetSizesAreAsCountedByHand) {
  const auto count = [](bool (*set)(uint32_t)) {
    size_t members = 0;
    for (const BoardRow& row : BoardRows()) members += set(row.identity) ? 1 : 0;
    return members;
  };
  EXPECT_EQ(count(BoardHas3GInput), 6u);
  EXPECT_EQ(count(BoardTimingNormalSense), 15u);
  EXPECT_EQ(count(BoardSwitchableSlotSize), 15u);
  EXPECT_EQ(count(BoardHasAudio), 35u);
  EXPECT_EQ(count(BoardHasAnalogAudioIn), 11u);
  EXPECT_EQ(count(BoardHasAudio96k), 10u);
  EXPECT_EQ(count(BoardHasTwoChannelAudio), 2u);
  EXPECT_EQ(count(BoardHasSixChannelAudio), 24u);
  EXPECT_EQ(count(BoardHasEightChannelAudio), 18u);
  EXPECT_EQ(count(BoardHasSettleWait), 3u);
  EXPECT_EQ(count(BoardBitfileInFlash), 9u);
  EXPECT_EQ(count(BoardHasQuadGeometry), 1u);
}

TEST(Boards, FourBoardsHaveNoAudio) {
  for (const BoardRow& row : BoardRows()) {
    const bool silent = row.identity == BoardFennel || row.identity == BoardJasmine ||
                        row.identity == BoardKale || row.identity == BoardKale2;
    EXPECT_EQ(BoardHasAudio(row.identity), !silent) << row.name;
  }
}

TEST(Boards, NamesOfNoBoardUnknownBoardAndTheTwoFirs) {
  EXPECT_STREQ(BoardName(0xFFFFFFFF), "BOARD NOT FOUND ");
  EXPECT_STREQ(BoardName(0x12345678), "");
  EXPECT_STREQ(BoardName(0x10203000), BoardName(0x10212300));
  EXPECT_STREQ(BoardName(0), "Aspen ");
}

TEST(Boards, IdentityZeroIsABoardInEveryTable) {
  ASSERT_NE(FindBoard(0), nullptr);
  EXPECT_EQ(FrameMemorySize(0), 32 * kMiB);
  EXPECT_EQ(FrameSlotSize(0), 8 * kMiB);
  EXPECT_EQ(FrameTotal(0), 8u);
  EXPECT_EQ(RegisterCount(0), 63u);
  EXPECT_EQ(AudioSystemCount(0), 1u);
  EXPECT_TRUE(BoardHasAudio(0));
  EXPECT_TRUE(BoardHasSixChannelAudio(0));
  EXPECT_FALSE(BoardHasEightChannelAudio(0));
}

TEST(Boards, AnUnknownIdentityHasNothing) {
  EXPECT_EQ(FindBoard(0x12345678), nullptr);
  EXPECT_EQ(FrameMemorySize(0x12345678), 0u);
  EXPECT_EQ(FrameBufferSize(0x12345678, 0, 0), 0u);
  EXPECT_EQ(FrameCount(0x12345678, 0, 0), 0u);
  EXPECT_EQ(RegisterCount(0x12345678), 0u);
  EXPECT_FALSE(BoardHasAudio(0x12345678));
}

TEST(Boards, ThreeBoardsStandForOthersInTheSession) {
  EXPECT_EQ(SessionIdentity(BoardOak), BoardElm);
  EXPECT_EQ(SessionIdentity(BoardWayxt), BoardElm);
  EXPECT_EQ(SessionIdentity(BoardSpruce), BoardDogwood);
  for (const BoardRow& row : BoardRows()) {
    if (row.identity == BoardOak || row.identity == BoardWayxt || row.identity == BoardSpruce) {
      continue;
    }
    EXPECT_EQ(SessionIdentity(row.identity), row.identity);
  }
}

TEST(Boards, SomeFiguresByHand) {
  EXPECT_EQ(AudioSystemCount(BoardNutmeg), 2u);
  EXPECT_EQ(AudioSystemCount(BoardOak), 2u);
  EXPECT_EQ(AudioSystemCount(BoardQuince), 4u);
  EXPECT_EQ(AudioSystemCount(BoardElm), 1u);
  EXPECT_EQ(RegisterCount(BoardIlex), 2624u);
  EXPECT_EQ(FrameTotal(BoardRowan), 99u);
}

// ---- slots ----

TEST(FrameSlots, SizeFollowsLayoutGeometryAndFormat) {
  const struct {
    uint32_t identity, geometry, format, mebibytes;
  } kWanted[] = {
      {BoardElm, 0, 2, 8},       {BoardElm, 10, 2, 16},     {BoardElm, 0, 16, 8},
      {BoardElm, 8, 22, 16},     {BoardQuince, 16, 1, 32},  {BoardQuince, 17, 2, 64},
      {BoardQuince, 17, 22, 32}, {BoardQuince, 16, 22, 64}, {BoardQuince, 0, 21, 16},
      {BoardQuince, 0, 4, 8},    {BoardQuince, 11, 0, 16},  {BoardQuince, 13, 22, 32},
      {BoardQuince, 1, 22, 8},   {BoardDogwood, 10, 0, 16}, {BoardDogwood, 8, 0, 8},
      {BoardCedar, 10, 0, 2},    {BoardIlex, 12, 0, 2},
  };
  for (const auto& wanted : kWanted) {
    EXPECT_EQ(FrameBufferSize(wanted.identity, wanted.geometry, wanted.format),
              wanted.mebibytes * kMiB)
        << BoardName(wanted.identity) << wanted.geometry << ' ' << wanted.format;
  }
}

TEST(FrameSlots, FourChannelQuadFormats) {
  for (uint32_t format = 0; format < 24; ++format) {
    const bool deep = format == 16 || format == 21 || format == 22;
    EXPECT_EQ(FrameBufferSize(BoardOak, 16, format), (deep ? 64u : 32u) * kMiB) << format;
    const bool listed = format == 2 || format == 3 || format == 4 || format == 6 || format == 7 ||
                        format == 15 || format == 16 || format == 21;
    EXPECT_EQ(FrameBufferSize(BoardOak, 17, format), (listed ? 64u : 32u) * kMiB) << format;
  }
}

TEST(FrameSlots, CountIsTheTotalDividedByTheSameDoubling) {
  EXPECT_EQ(FrameCount(BoardElm, 0, 0), 32u);
  EXPECT_EQ(FrameCount(BoardElm, 10, 0), 16u);
  EXPECT_EQ(FrameCount(BoardElm, 0, 16), 16u);
  EXPECT_EQ(FrameCount(BoardElm, 0, 22), 8u);
  EXPECT_EQ(FrameCount(BoardElm, 11, 16), 8u);
  EXPECT_EQ(FrameCount(BoardElm, 12, 22), 4u);
  EXPECT_EQ(FrameCount(BoardQuince, 17, 2), 8u);
  EXPECT_EQ(FrameCount(BoardQuince, 0, 16), 32u);
  EXPECT_EQ(FrameCount(BoardDogwood, 10, 0), 8u);
  EXPECT_EQ(FrameCount(BoardDogwood, 8, 22), 16u);
  EXPECT_EQ(FrameCount(BoardCedar, 10, 22), 32u);
  for (const BoardRow& row : BoardRows()) {
    EXPECT_EQ(FrameCount(row.identity, 0, 0), row.frames) << row.name;
  }
}

}  // namespace
}  // namespace morvane
