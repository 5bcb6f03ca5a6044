#include "device/win_driver_interface.h"

#include <gtest/gtest.h>

#include "device/driver_door.h"

namespace morvane {
namespace {

using test::DriverDoor;
using test::HexOf;
using test::Texts;
using test::Words;

constexpr char kOem2KHex[] = "6916FA2BF717F94C8E05500B8CB81497";

// ---- open and close ----

TEST_F(DriverDoor, RefusedTypesSayWhichAndOthersAreSilent) {
  EXPECT_FALSE(door_.Open(0, true, BOARDTYPE_QUIPZ, nullptr));
  EXPECT_FALSE(door_.Open(0, true, BOARDTYPE_SORN2, nullptr));
  EXPECT_FALSE(door_.Open(0, true, BOARDTYPE_SORNX, nullptr));
  const Texts wanted = {"Tried to call open with BOARDTYPE_QUIPZ",
                        "Tried to call open with BOARDTYPE_SORN2",
                        "Tried to call open with BOARDTYPE_SORNX"};
  EXPECT_EQ(messages_.texts, wanted);
  EXPECT_EQ(messages_.captions[0], "CRQD5WinDriverInterface");
  for (const uint32_t type : {3u, 5u, 64u, 128u, 256u}) {
    EXPECT_FALSE(door_.Open(0, true, type, nullptr)) << type;
  }
  EXPECT_EQ(messages_.texts.size(), 3u);
}

TEST_F(DriverDoor, RefusalsAreSilentWithoutDisplayError) {
  EXPECT_FALSE(door_.Open(0, false, BOARDTYPE_QUIPZ, nullptr));
  EXPECT_TRUE(messages_.texts.empty());
}

TEST_F(DriverDoor, TypeZeroIsTypeFour) {
  OpenBoard(BoardIris);
  CRQD5WinDriverInterface other;
  ASSERT_TRUE(other.Open(0, false, 0, nullptr));
  EXPECT_EQ(other.BoardType(), 4u);
}

TEST_F(DriverDoor, OpeningTheSameNumberAgainKeepsTheOldType) {
  OpenBoard(BoardElm);
  EXPECT_TRUE(door_.Open(0, true, BOARDTYPE_SDCARD, nullptr));
  EXPECT_EQ(door_.BoardType(), 8u);
  EXPECT_TRUE(port_.calls.empty());
}

TEST_F(DriverDoor, OpeningAnotherNumberClosesFirst) {
  OpenBoard(BoardElm);
  port_.AddBoard(8, BoardLarch);
  ASSERT_TRUE(door_.Open(1, true, 8, nullptr));
  EXPECT_EQ(port_.closes, 1u);
  EXPECT_EQ(door_.BoardID(), BoardLarch);
  EXPECT_EQ(door_.BoardNumber(), 1u);
}

TEST_F(DriverDoor, AnEmptyHostNameIsALocalOpen) {
  port_.AddBoard(8, BoardElm);
  EXPECT_TRUE(door_.Open(0, true, 8, ""));
  EXPECT_FALSE(door_.IsRemote());
  EXPECT_EQ(port_.opens, 1u);
}

TEST_F(DriverDoor, AnUnreachableHostSaysSoAndStillOpens) {
  const std::string unknown(64, 'h');  // a label too long for any name server to be asked
  EXPECT_TRUE(door_.Open(0, true, 8, unknown.c_str()));
  EXPECT_EQ(messages_.texts, Texts{"Failed to open board on remote host."});
  EXPECT_TRUE(door_.IsOpen());
  EXPECT_EQ(door_.RemoteHandle(), -1);
  EXPECT_EQ(door_.BoardID(), 0u);
  uint32_t value = 0x1234;
  EXPECT_FALSE(door_.ReadRegister(50, &value));
  EXPECT_EQ(value, 0x1234u);
  EXPECT_EQ(messages_.texts.back(), "ReadRegister failed");
  EXPECT_FALSE(door_.MapRegisters());
  uint8_t buffer[16];
  EXPECT_FALSE(door_.DmaTransfer(1, true, 0, buffer, 0, 16, true));
  EXPECT_TRUE(door_.Close());
  EXPECT_FALSE(door_.IsOpen());
}

TEST_F(DriverDoor, OpenFailsPastTheLastBoardAndWithoutADriver) {
  OpenBoard(BoardElm);
  port_.AddBoard(8, BoardLarch);
  CRQD5WinDriverInterface other;
  EXPECT_FALSE(other.Open(2, true, 8, nullptr));
  EXPECT_FALSE(other.IsOpen());
  InstallDriverPort(nullptr);
  EXPECT_FALSE(other.Open(0, true, 8, nullptr));
}

TEST_F(DriverDoor, ExclusiveOpenIsRefusedWhileAnotherIsOpen) {
  OpenBoard(BoardElm);
  CRQD5WinDriverInterface other;
  EXPECT_TRUE(other.SetSharedAccess(false));
  EXPECT_FALSE(other.Open(0, true, 8, nullptr));
  EXPECT_TRUE(door_.Close());
  EXPECT_TRUE(other.Open(0, true, 8, nullptr));
  EXPECT_FALSE(door_.Open(0, true, 8, nullptr));
}

TEST_F(DriverDoor, OpenTakesIdentityAndMemoryFigures) {
  port_.AddBoard(8, BoardElm);
  port_.registers[0] = 10 << 3;
  port_.registers[1] = 0x02 | 0x40;  // format 17
  ASSERT_TRUE(door_.Open(0, true, 8, nullptr));
  EXPECT_EQ(door_.BoardID(), BoardElm);
  EXPECT_EQ(door_.FrameMemoryBytes(), 32u << 20);
  EXPECT_EQ(door_.FrameSlotBytes(), 16u << 20);
  EXPECT_EQ(door_.FrameSlots(), 16u);
}

TEST_F(DriverDoor, TheSlotOfAChassisIsTheLastWordPlusTen) {
  port_.AddBoard(8, BoardElm, "Magma 3");
  ASSERT_TRUE(door_.Open(0, true, 8, nullptr));
  EXPECT_EQ(door_.PciSlot(), 13u);
}

TEST_F(DriverDoor, ElsewhereTheSlotIsTheSystemsNumber) {
  OpenBoard(BoardElm);
  EXPECT_EQ(door_.PciSlot(), 7u);
}

TEST_F(DriverDoor, TypeFourAsksTheParentForTheChassis) {
  port_.AddBoard(4, BoardIris, "Magma 9");
  port_.devices[0].device.parentLocation = "Magma bus 0x2";
  ASSERT_TRUE(door_.Open(0, true, 4, nullptr));
  EXPECT_EQ(door_.PciSlot(), 12u);
}

TEST_F(DriverDoor, TypeFourOutsideAChassisHasNoSlot) {
  port_.AddBoard(4, BoardIris);  // the system's own number is 7
  ASSERT_TRUE(door_.Open(0, true, 4, nullptr));
  EXPECT_EQ(door_.PciSlot(), 0u);
}

TEST_F(DriverDoor, AChassisThatTellsNoNumberIsItsBase) {
  port_.AddBoard(8, BoardElm, "Magma");
  ASSERT_TRUE(door_.Open(0, true, 8, nullptr));
  EXPECT_EQ(door_.PciSlot(), 10u);
}

TEST_F(DriverDoor, CloseLeavesTheSubscriptionsInItsOrder) {
  OpenBoard(BoardElm);
  port_.registers[10002] = 0x2401;
  for (uint32_t type = 0; type < 26; ++type) door_.ConfigureSubscription(true, type, nullptr);
  EXPECT_EQ(port_.openEvents, 15u);
  port_.calls.clear();
  EXPECT_TRUE(door_.Close());
  Words left;
  for (const auto& call : port_.calls) {
    if (call.Number() == PropertySubscription) {
      EXPECT_EQ(call.Flags(), 2u);
      left.push_back(call.Word(32));
    }
  }
  EXPECT_EQ(left, (Words{0, 2, 3, 24, 25, 11, 4, 5, 6, 14, 15, 7, 8, 9, 10}));
  EXPECT_EQ(port_.openEvents, 0u);
}

TEST_F(DriverDoor, CloseUnmapsAndUnlocks) {
  OpenBoard(BoardElm);
  uint8_t buffer[4096];
  ASSERT_TRUE(door_.MapFrameBuffers());
  ASSERT_TRUE(door_.MapRegisters());
  ASSERT_TRUE(door_.DmaLock(buffer, sizeof buffer));
  port_.calls.clear();
  EXPECT_TRUE(door_.Close());
  ASSERT_EQ(port_.calls.size(), 3u);
  EXPECT_EQ(port_.calls[0].Number(), uint32_t{PropertyMap});
  EXPECT_EQ(port_.calls[1].Number(), uint32_t{PropertyDma});
  EXPECT_EQ(port_.calls[2].Number(), uint32_t{PropertyMap});
  EXPECT_EQ(port_.closes, 1u);
  EXPECT_TRUE(door_.Close());
  EXPECT_EQ(port_.closes, 1u);
}

TEST_F(DriverDoor, AnObjectGivesItsDeviceBackWhenItGoes) {
  port_.AddBoard(8, BoardElm);
  {
    CRQD5WinDriverInterface other;
    ASSERT_TRUE(other.Open(0, true, 8, nullptr));
  }
  EXPECT_EQ(port_.closes, 1u);
}

// ---- registers ----

TEST_F(DriverDoor, WriteRegisterRecord) {
  OpenBoard(BoardElm);
  ASSERT_TRUE(door_.WriteRegister(5, 3, 0x1E, 1));
  EXPECT_EQ(HexOf(Last().in), std::string(kOem2KHex) +
                                  "0000000002000000050000000300000"
                                  "01E00000001000000");
}

TEST_F(DriverDoor, PropertySetsStandMixedEndian) {
  OpenBoard(BoardIris);
  uint32_t value = 0;
  ASSERT_TRUE(door_.ReadRegister(3, &value));
  EXPECT_EQ(HexOf(Last().in).substr(0, 32), "563F9684FC671C468040CC891B87195B");
  port_.AddBoard(2, BoardBasil);
  CRQD5WinDriverInterface other;
  ASSERT_TRUE(other.Open(0, true, 2, nullptr));
  EXPECT_EQ(HexOf(Last().in).substr(0, 32), "41A680325951434FB55DE05ABB47C350");
}

TEST_F(DriverDoor, ReadRegisterRecord) {
  OpenBoard(BoardElm);
  port_.registers[5] = 0xFFFFFFE7;
  uint32_t value = 0;
  ASSERT_TRUE(door_.ReadRegister(5, &value, 0x1E, 1));
  EXPECT_EQ(value, 3u);
  EXPECT_EQ(Last().in.size(), 40u);
  EXPECT_EQ(Last().Number(), 0u);
  EXPECT_EQ(Last().Flags(), 1u);
  EXPECT_EQ(LastWords(), (Words{5, 0, 0x1E, 1}));
}

TEST_F(DriverDoor, MaskAndShiftDefaultToTheWholeRegister) {
  OpenBoard(BoardElm);
  ASSERT_TRUE(door_.WriteRegister(100, 0xDEADBEEF));
  EXPECT_EQ(LastWords(), (Words{100, 0xDEADBEEF, 0xFFFFFFFF, 0}));
}

TEST_F(DriverDoor, AFailedReadSpeaksAndAFailedWriteIsSilent) {
  OpenBoard(BoardElm);
  uint32_t value = 77;
  EXPECT_FALSE(door_.WriteRegister(5000, 1));
  EXPECT_TRUE(messages_.texts.empty());
  EXPECT_FALSE(door_.ReadRegister(5000, &value));
  EXPECT_EQ(value, 77u);
  EXPECT_EQ(messages_.texts, Texts{"ReadRegister failed"});
}

TEST_F(DriverDoor, MultipleReadStopsAtTheFirstFailure) {
  OpenBoard(BoardElm);
  uint32_t failed = 4711;
  EXPECT_TRUE(door_.ReadRegisterMulti(0, &failed, nullptr));
  EXPECT_EQ(failed, 4711u);
  port_.registers[0] = 9;
  RQD5RegisterEntry entries[] = {
      {50, 1, 0xFFFFFFFF, 0}, {5000, 2, 0xFFFFFFFF, 0}, {0, 3, 0xFFFFFFFF, 0}};
  EXPECT_FALSE(door_.ReadRegisterMulti(3, &failed, entries));
  EXPECT_EQ(failed, 5000u);
  EXPECT_EQ(entries[0].value, uint32_t{BoardElm});
  EXPECT_EQ(entries[1].value, 2u);
  EXPECT_EQ(entries[2].value, 3u);
}

TEST_F(DriverDoor, NotifyWritesZeroToTheNotificationRegister) {
  OpenBoard(BoardElm);
  EXPECT_TRUE(door_.NotifyDriverRegisters());
  EXPECT_EQ(LastWords(), (Words{10053, 0, 0xFFFFFFFF, 0}));
}

TEST_F(DriverDoor, DriverVersionIsRegister10002) {
  OpenBoard(BoardElm);
  port_.registers[10002] = 0x2401;
  uint32_t version = 0;
  EXPECT_TRUE(door_.GetDriverVersion(&version));
  EXPECT_EQ(version, 0x2401u);
}

TEST_F(DriverDoor, SmallOperations) {
  EXPECT_FALSE(door_.ReservedFeatureQuery());
  EXPECT_TRUE(door_.SetSharedAccess(true));
  EXPECT_EQ(door_.SleepMs(0), 0u);
  EXPECT_EQ(door_.SleepMs(3), 3u);
  EXPECT_EQ(door_.GetNubProtocolVersion(), 0u);
  RQD5BuildInfo build;
  EXPECT_FALSE(door_.DriverGetBuildInformation(&build));
  EXPECT_FALSE(door_.NubDownloadTestPattern(1, 0, 0, false, 0));
  EXPECT_FALSE(door_.CloseRemote());
}
// ---- messages ----

TEST_F(DriverDoor, MessagesFollowDisplayError) {
  EXPECT_FALSE(door_.DisplayRqd5Error("quiet"));
  OpenBoard(BoardElm, true);
  EXPECT_TRUE(door_.DisplayRqd5Error("loud"));
  EXPECT_EQ(messages_.texts, Texts{"loud"});
  EXPECT_EQ(messages_.captions, Texts{"CRQD5WinDriverInterface"});
}

}  // namespace
}  // namespace morvane
