// The door over simulated boards: what depends on the board or on the machine's description.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "device/board_scan.h"
#include "device/card.h"
#include "simulator/machine_description.h"
#include "simulator/simulated_driver.h"
#include "support/test_environment.h"

namespace morvane {
namespace {

class SimulatedDoor : public ::testing::Test {
 protected:
  void BuildBoards(const std::vector<uint32_t>& identities) {
    MachineDescription machine;
    for (const uint32_t identity : identities) {
      CardDescription card;
      card.identity = identity;
      machine.cards.push_back(card);
    }
    Build(machine);
  }
  void Build(const MachineDescription& machine) {
    card_.Close();
    driver_ = std::make_unique<SimulatedDriver>(machine);
    InstallDriverPort(driver_.get());
  }
  void TearDown() override {
    card_.Close();
    InstallDriverPort(nullptr);
  }

  std::unique_ptr<SimulatedDriver> driver_;
  CRQD5Card card_;
};

TEST_F(SimulatedDoor, ScanFindsTheBoardsOfTheMachine) {
  BuildBoards({BoardElm, BoardLarch});
  const auto boards = RQD5BoardScan(0xFF);
  ASSERT_EQ(boards.size(), 2u);
  EXPECT_EQ(boards[0].displayName, "Elm  - 0");
  EXPECT_EQ(boards[1].displayName, "Larch  - 1");
  EXPECT_EQ(boards[1].boardIndex, 1u);
  EXPECT_EQ(boards[1].boardType, 8u);
  EXPECT_TRUE(RQD5BoardScan(4).empty());
  BuildBoards({BoardIris});
  EXPECT_EQ(RQD5BoardScan(0xFF).size(), 1u);
}

TEST_F(SimulatedDoor, EveryLocalBoardOpensWithItsFigures) {
  for (const BoardRow& row : BoardRows()) {
    if (PropertySetOfBoardType(row.boardType) == nullptr) continue;
    BuildBoards({row.identity});
    ASSERT_TRUE(card_.Open(0, false, row.boardType, nullptr)) << row.name;
    EXPECT_EQ(card_.GetBoardName(), row.name);
    EXPECT_EQ(card_.BoardID(), row.identity);
    EXPECT_EQ(card_.FrameSlots(), row.frames);
    EXPECT_EQ(card_.FrameSlotBytes(), row.slotMiB << 20);
    EXPECT_EQ(card_.FrameMemoryBytes(), row.memoryMiB << 20);
  }
}

TEST_F(SimulatedDoor, FlashHeaderOfABoardThatKeepsItsBitfileThere) {
  BuildBoards({BoardLarch});
  ASSERT_TRUE(card_.Open(0, false, 8, nullptr));
  RQD5BitFileInfo info;
  std::memset(&info, 0xA5, sizeof info);
  ASSERT_TRUE(card_.DriverGetBitFileInformation(&info, 0));
  EXPECT_EQ(info.recordSize, 1024u);
  EXPECT_EQ(info.byteCount, 0x123456u);
  EXPECT_STREQ(info.date, "2009/06/18");
  EXPECT_STREQ(info.time, "14:25:07");
  EXPECT_STREQ(info.designName, "larch01");
  EXPECT_STREQ(info.partName, "5vlx50tff1136");
  EXPECT_EQ(info.checksum | info.recordVersion | info.kind | info.projectNumber, 0u);
}

TEST_F(SimulatedDoor, SubscriptionsInTheOldForm) {
  MachineDescription machine = BuiltInMachine();
  machine.cards[0].oldSubscriptions = true;
  Build(machine);
  ASSERT_TRUE(card_.Open(0, false, 8, nullptr));
  EXPECT_EQ(card_.FieldOr(RegisterField::DriverVersion, 0), 0x0401u);
  DriverEvent event = 0;
  EXPECT_TRUE(card_.ConfigureInterrupt(true, InterruptOutput));
  EXPECT_TRUE(card_.ConfigureSubscription(true, InterruptOutput, &event));
  EXPECT_NE(event, 0u);
  uint32_t count = 0;
  EXPECT_TRUE(card_.GetInterruptCount(InterruptOutput, &count));
  EXPECT_TRUE(card_.ConfigureSubscription(false, InterruptOutput, &event));
}

TEST_F(SimulatedDoor, SlotOfAnExpansionChassis) {
  MachineDescription machine = BuiltInMachine();
  Build(machine);
  ASSERT_TRUE(card_.Open(0, false, 8, nullptr));
  EXPECT_EQ(card_.PciSlot(), 1u);
  machine.cards[0].slot = "Magma 3";
  Build(machine);
  ASSERT_TRUE(card_.Open(0, false, 8, nullptr));
  EXPECT_EQ(card_.PciSlot(), 13u);
}

TEST_F(SimulatedDoor, SecondFrameWindowOfFennel) {
  BuildBoards({BoardFennel});
  ASSERT_TRUE(card_.Open(0, false, 2, nullptr));
  ASSERT_TRUE(card_.MapFrameBuffers());
  EXPECT_EQ(card_.Channel2FrameBase() - card_.FrameBaseAddress(), 8u << 20);
}

TEST_F(SimulatedDoor, LocksAreRequestsOfEngineZeroInTheTrace) {
  MachineDescription machine = BuiltInMachine();
  machine.trace = test::FreshFolder("trace") + "/trace.txt";
  Build(machine);
  ASSERT_TRUE(card_.Open(0, false, 8, nullptr));
  std::vector<uint8_t> buffer(4096);
  ASSERT_TRUE(card_.DmaLock(buffer.data(), 4096));
  ASSERT_TRUE(card_.DmaUnlockAll());
  EXPECT_TRUE(card_.SwitchBitfile(BoardElm, 0));
  card_.Close();
  std::ifstream file(machine.trace);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    if (line.find(" 5 64 ") != std::string::npos) lines.push_back(line);
  }
  ASSERT_EQ(lines.size(), 2u);
  // After the header: engine, token, frame, bytes.
  const auto word = [](const std::string& line, size_t offset) {
    return line.substr(std::string("get 5 64 ").size() + 2 * offset, 8);
  };
  EXPECT_EQ(lines[0].substr(0, 4), "get ");
  EXPECT_EQ(word(lines[0], 24), "00000000");
  EXPECT_EQ(word(lines[0], 36), "00100000");
  EXPECT_EQ(lines[1].substr(0, 4), "set ");
  EXPECT_EQ(word(lines[1], 24), "00000000");
  EXPECT_EQ(word(lines[1], 28), word(lines[0], 28));
  EXPECT_EQ(word(lines[1], 36), "00000000");
}

// A card without a rate has no boundary at which a ring could come to rest.
TEST_F(SimulatedDoor, StopEndsByAbortWhereNoBoundaryComes) {
  MachineDescription machine = BuiltInMachine();
  machine.trace = test::FreshFolder("trace") + "/trace.txt";
  Build(machine);
  ASSERT_TRUE(card_.Open(0, false, 8, nullptr));
  const bool flags[8] = {};
  ASSERT_TRUE(card_.InitAutoCirculate(1, 0, 28, flags, false));
  ASSERT_TRUE(card_.StartAutoCirculate(1));
  EXPECT_TRUE(card_.StopAutoCirculate(1));
  RQD5AutoCirculateStatus status = {};
  ASSERT_TRUE(card_.GetAutoCirculate(1, &status));
  EXPECT_EQ(status.state, uint32_t{ACStateIdle});
  card_.Close();
  std::ifstream file(machine.trace);
  std::string commands;  // the first byte behind the header of every control record
  for (std::string line; std::getline(file, line);) {
    if (line.rfind("set 6 56 ", 0) == 0) commands += line.substr(9 + 48, 2) + " ";
  }
  EXPECT_EQ(commands, "00 01 02 09 ");  // init, start, stop, abort
}

TEST_F(SimulatedDoor, TheQuadBitOfTheQuadBoard) {
  BuildBoards({BoardQuince});
  ASSERT_TRUE(card_.Open(0, false, 8, nullptr));
  ASSERT_TRUE(card_.SetVideoFormat(84));
  CRQD5Card other;
  ASSERT_TRUE(other.Open(0, false, 8, nullptr));
  EXPECT_EQ(other.FrameSlotBytes(), 32u << 20);
  uint32_t format = 0;
  EXPECT_TRUE(other.GetVideoFormat(&format));
  EXPECT_EQ(format, 84u);
}

}  // namespace
}  // namespace morvane
