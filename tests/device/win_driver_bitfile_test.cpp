#include <gtest/gtest.h>

#include <set>

#include "base/page_memory.h"
#include "device/driver_door.h"
#include "device/flash_image.h"

namespace morvane {
namespace {

using test::DriverDoor;
using test::Texts;

// ---- bitfiles ----

TEST_F(DriverDoor, BitfileInformationRecord) {
  OpenBoard(BoardElm);
  RQD5BitFileInfo info{};
  info.projectNumber = 0x01020304;
  ASSERT_TRUE(door_.DriverGetBitFileInformation(&info, 0));
  EXPECT_EQ(Last().in.size(), 1048u);
  EXPECT_EQ(Last().Number(), 17u);
  EXPECT_EQ(Last().Flags(), 1u);
  EXPECT_EQ(Last().Word(24 + 84), 0x01020304u);
  EXPECT_EQ(info.recordSize, 1024u);
  port_.refusedProperties = {PropertyBitFile};
  EXPECT_FALSE(door_.DriverGetBitFileInformation(&info, 0));
  EXPECT_EQ(messages_.texts, Texts{"DriverGetBitFileInformation failed"});
}

TEST_F(DriverDoor, BitfileInformationFromFlash) {
  OpenBoard(BoardLarch);
  port_.flash = test::FlashImage("5vlx50tff1136", true);
  RQD5BitFileInfo info;
  std::memset(&info, 0xA5, sizeof info);
  ASSERT_TRUE(door_.DriverGetBitFileInformation(&info, 0));
  EXPECT_EQ(info.byteCount, 0x123456u);
  EXPECT_STREQ(info.designName, "larch01");
  EXPECT_EQ(info.recordSize, 1024u);
  EXPECT_EQ(info.checksum | info.recordVersion | info.kind | info.projectNumber, 0u);
  EXPECT_EQ(port_.Count(PropertyBitFile), 0u);
  ASSERT_EQ(port_.WritesTo(59).size(), 64u);
  EXPECT_EQ(port_.WritesTo(59).back().Value(), 252u);
  for (const auto& call : port_.WritesTo(58)) EXPECT_EQ(call.Value(), 11u);
}

TEST_F(DriverDoor, ADeadFlashEndsTheReadAndLeavesTheRecord) {
  OpenBoard(BoardLarch);
  port_.flash = test::FlashImage("5vlx50tff1136", true);
  port_.refusedRegisters = {61};
  RQD5BitFileInfo info{};
  info.byteCount = 7;
  EXPECT_FALSE(door_.DriverGetBitFileInformation(&info, 0));
  EXPECT_EQ(info.byteCount, 7u);
  port_.refusedRegisters = {58};
  EXPECT_FALSE(door_.DriverGetBitFileInformation(&info, 0));
  // The command is taken, but what became of it cannot be read.
  port_.refusedRegisters.clear();
  port_.refusedReads = {58};
  port_.calls.clear();
  EXPECT_FALSE(door_.DriverGetBitFileInformation(&info, 0));
  EXPECT_EQ(port_.ReadsOf(58), 1u);
  EXPECT_EQ(info.byteCount, 7u);
}

TEST_F(DriverDoor, AFlashThatStaysBusyIsGivenUpAfterAThousandReads) {
  OpenBoard(BoardLarch);
  port_.flash = test::FlashImage("5vlx50tff1136", true);
  port_.flashStuck = true;
  RQD5BitFileInfo info, before;
  std::memset(&info, 0xA5, sizeof info);
  before = info;
  EXPECT_FALSE(door_.DriverGetBitFileInformation(&info, 0));
  EXPECT_EQ(port_.ReadsOf(58), 1000u);
  EXPECT_EQ(std::memcmp(&info, &before, sizeof info), 0);
}

TEST_F(DriverDoor, SwitchToBitfileZeroTouchesNothing) {
  OpenBoard(BoardElm);
  EXPECT_TRUE(door_.SwitchBitfile(BoardElm, 0));
  EXPECT_TRUE(port_.calls.empty());
}

TEST_F(DriverDoor, SwitchBitfileSavesDisablesDownloadsAndRestores) {
  OpenBoard(BoardElm);
  for (uint32_t number = 0; number < 237; ++number) {
    if (number != 50) port_.registers[number] = 0x1000 + number;
  }
  ASSERT_TRUE(door_.SwitchBitfile(0x10196500, 9));
  ASSERT_EQ(port_.calls.size(), 237u + 26u + 1u + 166u);
  for (uint32_t i = 0; i < 237; ++i) {
    EXPECT_TRUE(port_.calls[i].IsRead());
    EXPECT_EQ(port_.calls[i].Register(), i);
  }
  for (uint32_t type = 0; type < 26; ++type) {
    const auto& call = port_.calls[237 + type];
    EXPECT_EQ(call.Number(), uint32_t{PropertyInterrupt});
    EXPECT_EQ(call.Flags(), 2u);
    EXPECT_EQ(call.Word(28), type);
  }
  EXPECT_EQ(port_.calls[263].Register(), 10050u);
  EXPECT_EQ(port_.calls[263].Value(), 9u);
  std::set<uint32_t> written;
  for (size_t i = 264; i < port_.calls.size(); ++i) {
    const auto& call = port_.calls[i];
    ASSERT_TRUE(call.IsWrite());
    written.insert(call.Register());
    if (call.Register() != 50 && call.Register() != 18) {  // these two have values of their own
      EXPECT_EQ(call.Value(), 0x1000 + call.Register());
    }
  }
  EXPECT_EQ(written.size(), 166u);
  for (uint32_t number = 0; number < 237; ++number) {
    const bool kept = number == 17 || number == 48 || (number >= 51 && number <= 63) ||
                      (number >= 70 && number <= 125);
    EXPECT_EQ(written.count(number), kept ? 0u : 1u) << number;
  }
}

TEST_F(DriverDoor, TheDownloadDecidesTheResultOfASwitch) {
  OpenBoard(BoardElm);
  port_.refusedRegisters = {10050};
  EXPECT_FALSE(door_.SwitchBitfile(BoardElm, 9));
  EXPECT_EQ(port_.WritesTo(0).size(), 1u);
  port_.refusedRegisters = {3};
  EXPECT_TRUE(door_.SwitchBitfile(BoardElm, 9));
}

TEST_F(DriverDoor, ASwitchWithoutMemorySaysSoAndTouchesNothing) {
  OpenBoard(BoardElm);
  NxSetPageLimit(1024);
  const bool switched = door_.SwitchBitfile(BoardElm, 9);
  NxSetPageLimit(SIZE_MAX);
  EXPECT_FALSE(switched);
  EXPECT_TRUE(port_.calls.empty());
  EXPECT_EQ(messages_.texts,
            Texts{"CRQD5WinDriverInterface::SwitchBitfile() failed to download new bitfile: out "
                  "of memory."});
}

}  // namespace
}  // namespace morvane
