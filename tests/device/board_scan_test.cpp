#include "device/board_scan.h"

#include <gtest/gtest.h>

#include "device/boards.h"
#include "device/fake_driver_port.h"

namespace morvane {
namespace {

using test::FakeDriverPort;
using Numbers = std::vector<uint32_t>;

TEST(BoardScan, ListsEveryLocalBoardInOrder) {
  FakeDriverPort port;
  port.AddBoard(8, BoardElm);
  port.AddBoard(8, BoardLarch);
  const auto boards = RQD5BoardScan(0xFF);
  ASSERT_EQ(boards.size(), 2u);
  EXPECT_EQ(boards[0].displayName, "Elm  - 0");
  EXPECT_EQ(boards[1].displayName, "Larch  - 1");
  for (uint32_t i = 0; i < 2; ++i) {
    EXPECT_EQ(boards[i].boardIndex, i);
    EXPECT_EQ(boards[i].boardNumber, i);
    EXPECT_EQ(boards[i].boardType, 8u);
  }
  EXPECT_EQ(boards[1].boardID, uint32_t{BoardLarch});
  EXPECT_EQ(port.opens, port.closes);
}

TEST(BoardScan, NumbersCountPerTypeAndIndexesOverall) {
  FakeDriverPort port;
  port.AddBoard(8, BoardElm);
  port.AddBoard(2, BoardBasil);
  port.AddBoard(4, BoardIris);
  port.AddBoard(4, BoardHeath);
  const auto boards = RQD5BoardScan(0xFF);
  ASSERT_EQ(boards.size(), 4u);
  const char* names[] = {"Basil  - 0", "Iris  - 0", "Heath  - 1", "Elm  - 0"};
  for (uint32_t i = 0; i < 4; ++i) {
    EXPECT_EQ(boards[i].displayName, names[i]);
    EXPECT_EQ(boards[i].boardIndex, i);
  }
}

TEST(BoardScan, OnlyWantedTypesAreOpened) {
  FakeDriverPort port;
  port.AddBoard(8, BoardElm);
  EXPECT_TRUE(RQD5BoardScan(4).empty());
  EXPECT_TRUE(RQD5BoardScan(0x31).empty());
  EXPECT_TRUE(RQD5BoardScan(0xC0).empty());
  EXPECT_EQ(RQD5BoardScan(8).size(), 1u);
}

TEST(BoardScan, WithoutADriverTheListIsEmpty) {
  InstallDriverPort(nullptr);
  EXPECT_TRUE(RQD5BoardScan(0xFF).empty());
}

TEST(BoardScan, ARescanSeesTheMachineAsItIsNow) {
  {
    FakeDriverPort port;
    port.AddBoard(8, BoardElm);
    EXPECT_EQ(RQD5BoardScan(0xFF).size(), 1u);
  }
  FakeDriverPort other;
  other.AddBoard(8, BoardOak);
  other.AddBoard(8, BoardWayxt);
  const auto boards = RQD5BoardScan(0xFF);
  ASSERT_EQ(boards.size(), 2u);
  EXPECT_EQ(boards[1].displayName, "Wayxt  - 1");
}

TEST(BoardDescription, AudioFollowsTheCapabilities) {
  const RQD5BoardInfo elm = DescribeBoard(BoardElm);
  EXPECT_EQ(elm.sampleRates, (Numbers{48000, 96000}));
  EXPECT_EQ(elm.sampleSizes, Numbers{32});
  EXPECT_EQ(elm.channelCounts, Numbers{8});
  EXPECT_EQ(elm.audioSystems, 1u);
  EXPECT_EQ(elm.audioSources, (std::vector<FourCCCode>{FourCC("isdi"), FourCC("out ")}));
  const RQD5BoardInfo cedar = DescribeBoard(BoardCedar);
  EXPECT_EQ(cedar.channelCounts, (Numbers{2, 6, 8}));
  EXPECT_EQ(cedar.sampleRates, Numbers{48000});
  EXPECT_EQ(cedar.audioSources,
            (std::vector<FourCCCode>{FourCC("isdi"), FourCC("ialg"), FourCC("out ")}));
  const RQD5BoardInfo kale = DescribeBoard(BoardKale);
  EXPECT_TRUE(kale.sampleRates.empty());
  EXPECT_TRUE(kale.channelCounts.empty());
}

TEST(BoardDescription, ConnectorsComeFromTheTable) {
  const RQD5BoardInfo ilex = DescribeBoard(BoardIlex);
  EXPECT_EQ(ilex.videoInputs, 2u);
  EXPECT_EQ(ilex.videoOutputs, 2u);
  EXPECT_EQ(ilex.analogOutputs, 1u);
  EXPECT_EQ(ilex.analogInputs, 1u);
  EXPECT_EQ(ilex.hdmiOutputs, 1u);
  EXPECT_EQ(ilex.hdmiInputs, 1u);
  EXPECT_EQ(ilex.converters, 1u);
  EXPECT_FALSE(ilex.hasKeyer);
  EXPECT_TRUE(ilex.hasUart);
  EXPECT_TRUE(DescribeBoard(BoardElm).hasKeyer);
  EXPECT_FALSE(DescribeBoard(BoardHazel2).hasUart);
  EXPECT_EQ(DescribeBoard(0x12345678).videoInputs, 0u);
}

}  // namespace
}  // namespace morvane
