#include "device/win_driver_interface.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/clock.h"
#include "device/boards.h"
#include "device/fake_driver_port.h"
#include "device/flash_image.h"

namespace morvane {
namespace {

using test::FakeDriverPort;
using test::MessageRecorder;
using Texts = std::vector<std::string>;

std::string HexOf(const std::vector<uint8_t>& bytes) {
  static const char digits[] = "0123456789ABCDEF";
  std::string text;
  for (const uint8_t byte : bytes) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

constexpr char kOem2KHex[] = "6916FA2BF717F94C8E05500B8CB81497";

class DriverDoor : public ::testing::Test {
 protected:
  void OpenBoard(uint32_t identity = BoardElm, bool displayError = true) {
    const uint32_t type = FindBoard(identity)->boardType;
    port_.AddBoard(type, identity);
    ASSERT_TRUE(door_.Open(0, displayError, type, nullptr));
    port_.calls.clear();
  }
  [[nodiscard]] const FakeDriverPort::Call& Last() const { return port_.calls.back(); }
  [[nodiscard]] std::vector<uint32_t> LastWords() const {
    std::vector<uint32_t> words;
    for (size_t offset = 24; offset + 4 <= Last().in.size(); offset += 4) {
      words.push_back(Last().Word(offset));
    }
    return words;
  }

  FakeDriverPort port_;
  MessageRecorder messages_;
  CRQD5WinDriverInterface door_;
};

using Words = std::vector<uint32_t>;

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
  EXPECT_TRUE(door_.Open(0, true, 8, "host.invalid"));
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
  uint8_t build[16];
  EXPECT_FALSE(door_.DriverGetBuildInformation(build, sizeof build));
  EXPECT_FALSE(door_.NubDownloadTestPattern(1, 0, 0, false, 0));
  EXPECT_FALSE(door_.CloseRemote());
}

// ---- DMA ----

TEST_F(DriverDoor, DmaRecord) {
  OpenBoard(BoardElm);
  std::vector<uint8_t> buffer(4096);
  ASSERT_TRUE(door_.DmaTransfer(1, true, 2, buffer.data(), 512, 4096, true));
  EXPECT_EQ(Last().in.size(), 64u);
  EXPECT_EQ(Last().Number(), 5u);
  EXPECT_EQ(Last().Flags(), 1u);
  const Words words = LastWords();
  EXPECT_EQ(words[0], 1u);
  EXPECT_EQ(words[1] & 0xFFFF, reinterpret_cast<uintptr_t>(buffer.data()) & 0xFFFF);
  EXPECT_EQ(words[2], 2u);
  EXPECT_EQ(words[3], 4096u);
  EXPECT_EQ(words[4], 512u);
  for (size_t i = 44; i < 64; ++i) EXPECT_EQ(Last().in[i], i == 56 ? 1 : 0) << i;
  // The pin ends with the request.
  EXPECT_EQ(port_.Memory().Find(words[1], 1), nullptr);
  ASSERT_TRUE(door_.DmaTransfer(1, false, 2, buffer.data(), 0, 4096, false));
  EXPECT_EQ(Last().Flags(), 2u);
  EXPECT_EQ(Last().in[56], 0);
}

TEST_F(DriverDoor, DmaFailureSpeaks) {
  OpenBoard(BoardElm);
  port_.refusedProperties = {PropertyDma};
  uint8_t buffer[16];
  EXPECT_FALSE(door_.DmaTransfer(1, true, 0, buffer, 0, 16, true));
  EXPECT_FALSE(door_.DmaLock(buffer, 16));
  EXPECT_EQ(messages_.texts, (Texts{"DmaTransfer failed", "DmaTransfer failed"}));
}

TEST_F(DriverDoor, LockAndUnlockGoThroughEngineZero) {
  OpenBoard(BoardElm);
  std::vector<uint8_t> a(4096), b(8192);
  ASSERT_TRUE(door_.DmaLock(a.data(), 4096));
  const uint32_t tokenA = Last().Word(28);
  EXPECT_EQ(Last().Flags(), 1u);
  EXPECT_EQ(Last().Word(24), 0u);
  EXPECT_EQ(Last().Word(36), 4096u);
  EXPECT_NE(port_.Memory().Find(tokenA, 4096), nullptr);
  ASSERT_TRUE(door_.DmaLock(b.data(), 8192));
  port_.calls.clear();
  ASSERT_TRUE(door_.DmaUnlock(b.data()));
  ASSERT_TRUE(door_.DmaUnlockAll());
  ASSERT_EQ(port_.calls.size(), 2u);
  EXPECT_EQ(Last().Flags(), 2u);
  EXPECT_EQ(Last().Word(24), 0u);
  EXPECT_EQ(Last().Word(28), tokenA);
  EXPECT_EQ(Last().Word(36), 0u);
  EXPECT_EQ(Last().in[56], 1);
  EXPECT_EQ(port_.Memory().Find(tokenA, 1), nullptr);
  port_.calls.clear();
  EXPECT_TRUE(door_.DmaUnlockAll());
  EXPECT_TRUE(port_.calls.empty());
}

TEST_F(DriverDoor, AFailedUnlockKeepsTheRecord) {
  OpenBoard(BoardElm);
  uint8_t buffer[16];
  ASSERT_TRUE(door_.DmaLock(buffer, 16));
  port_.refusedProperties = {PropertyDma};
  EXPECT_FALSE(door_.DmaUnlock(buffer));
  port_.refusedProperties.clear();
  port_.calls.clear();
  EXPECT_TRUE(door_.DmaUnlockAll());
  EXPECT_EQ(port_.calls.size(), 1u);
}

// ---- interrupts ----

TEST_F(DriverDoor, ConfigureInterruptRecord) {
  OpenBoard(BoardElm);
  ASSERT_TRUE(door_.ConfigureInterrupt(true, 15));
  EXPECT_EQ(Last().in.size(), 32u);
  EXPECT_EQ(Last().Number(), 3u);
  EXPECT_EQ(Last().Flags(), 1u);
  EXPECT_EQ(LastWords(), (Words{0, 15}));
  ASSERT_TRUE(door_.ConfigureInterrupt(false, 15));
  EXPECT_EQ(Last().Flags(), 2u);
  port_.refusedProperties = {PropertyInterrupt};
  EXPECT_FALSE(door_.ConfigureInterrupt(true, 0));
  EXPECT_EQ(messages_.texts, Texts{"ConfigureInterrupt failed"});
}

TEST_F(DriverDoor, SubscriptionRecordOfBothForms) {
  for (const bool isNew : {true, false}) {
    port_.devices.clear();
    port_.registers[10002] = isNew ? 0x2401 : 0x0401;
    door_.Close();
    OpenBoard(BoardElm);
    DriverEvent event = 0;
    ASSERT_TRUE(door_.ConfigureSubscription(true, 14, &event));
    EXPECT_NE(event, 0u);
    EXPECT_EQ(Last().in.size(), 40u);
    EXPECT_EQ(Last().Number(), isNew ? 11u : 4u);
    EXPECT_EQ(Last().Flags(), 1u);
    EXPECT_EQ(LastWords(), (Words{0, 0, 14, event}));
    ASSERT_TRUE(door_.ConfigureSubscription(false, 14, &event));
    EXPECT_EQ(event, 0u);
    EXPECT_EQ(Last().Number(), isNew ? 11u : 4u);
    EXPECT_EQ(Last().Flags(), 2u);
  }
}

TEST_F(DriverDoor, SubscribingTwiceAsksOnceAndLeavingNothingAsksNothing) {
  OpenBoard(BoardElm);
  EXPECT_TRUE(door_.ConfigureSubscription(false, 15, nullptr));
  EXPECT_EQ(port_.Count(PropertySubscriptionOld) + port_.Count(PropertySubscription), 0u);
  DriverEvent first = 0, second = 0;
  EXPECT_TRUE(door_.ConfigureSubscription(true, 15, &first));
  EXPECT_TRUE(door_.ConfigureSubscription(true, 15, &second));
  EXPECT_EQ(first, second);
  EXPECT_EQ(port_.Count(PropertySubscriptionOld) + port_.Count(PropertySubscription), 1u);
}

TEST_F(DriverDoor, AFailedSubscriptionLeavesNoEvent) {
  OpenBoard(BoardElm);
  port_.refusedProperties = {PropertySubscription, PropertySubscriptionOld};
  DriverEvent event = 9;
  EXPECT_FALSE(door_.ConfigureSubscription(true, 14, &event));
  EXPECT_EQ(event, 0u);
  EXPECT_EQ(port_.openEvents, 0u);
  EXPECT_EQ(messages_.texts, Texts{"ConfigureSubscription failed"});
  const int64_t start = NxClockNowNs();
  EXPECT_FALSE(door_.WaitForInterrupt(14, 5));
  EXPECT_GE(NxClockNowNs() - start, 5'000'000);
}

TEST_F(DriverDoor, InterruptCountIsASubscriptionRecordWithCodeTwelve) {
  OpenBoard(BoardElm);
  port_.registers[10002] = 0x2401;
  uint32_t count = 0;
  ASSERT_TRUE(door_.GetInterruptCount(3, &count));
  EXPECT_EQ(count, 77u);
  EXPECT_EQ(Last().Number(), 11u);
  EXPECT_EQ(Last().Flags(), 1u);
  EXPECT_EQ(LastWords(), (Words{0, 12, 3, 0}));
  port_.refusedProperties = {PropertySubscription};
  count = 5;
  EXPECT_FALSE(door_.GetInterruptCount(3, &count));
  EXPECT_EQ(count, 5u);
  EXPECT_EQ(messages_.texts, Texts{"getInterruptCount() failed"});
}

TEST_F(DriverDoor, AnUnsubscribedWaitIsASleepAndFalse) {
  OpenBoard(BoardElm);
  const int64_t start = NxClockNowNs();
  EXPECT_FALSE(door_.WaitForInterrupt(0, 42));
  const int64_t taken = NxClockNowNs() - start;
  EXPECT_GE(taken, 42'000'000);
  EXPECT_LT(taken, 500'000'000);
  EXPECT_FALSE(door_.WaitForInterrupt(99, 1));
}

TEST_F(DriverDoor, EightTypesCountTheirWaits) {
  OpenBoard(BoardElm);
  const Words counting = {0, 2, 3, 4, 5, 6, 24, 25};
  for (const uint32_t type : {0u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 10u, 11u, 14u, 15u, 24u, 25u}) {
    ASSERT_TRUE(door_.ConfigureSubscription(true, type, nullptr));
    port_.waitAnswer = true;
    EXPECT_TRUE(door_.WaitForInterrupt(type, 1));
    EXPECT_TRUE(door_.WaitForInterrupt(type, 1));
    port_.waitAnswer = false;
    EXPECT_FALSE(door_.WaitForInterrupt(type, 1));
    const bool counts = std::count(counting.begin(), counting.end(), type) != 0;
    EXPECT_EQ(door_.WaitCount(type), counts ? 2u : 0u) << type;
  }
}

// ---- windows ----

TEST_F(DriverDoor, MapRecordsDifferInKind) {
  OpenBoard(BoardElm);
  ASSERT_TRUE(door_.MapRegisters());
  EXPECT_EQ(Last().in.size(), 40u);
  EXPECT_EQ(Last().Number(), 2u);
  EXPECT_EQ(Last().Flags(), 1u);
  EXPECT_EQ(LastWords(), (Words{0, 0, 1, 0}));
  const uint32_t base = door_.RegisterBase();
  EXPECT_TRUE(door_.MapRegisters());
  EXPECT_EQ(door_.RegisterBase(), base);
  EXPECT_EQ(door_.RegisterWindowBytes(), 16384u);
  EXPECT_NE(door_.MappedMemory(base, 16384), nullptr);
  ASSERT_TRUE(door_.UnmapRegisters());
  EXPECT_EQ(Last().Flags(), 2u);
  EXPECT_EQ(LastWords(), (Words{base, 0, 1, 0}));

  ASSERT_TRUE(door_.MapFlash());
  EXPECT_EQ(LastWords(), (Words{0, 0, 2, 0}));
  const uint32_t flash = door_.FlashBase();
  EXPECT_EQ(flash, FakeDriverPort::kFlashBase);
  ASSERT_TRUE(door_.UnmapFlash());
  EXPECT_EQ(LastWords(), (Words{flash, 0, 2, 0}));
  EXPECT_EQ(door_.FlashBase(), 0u);
}

TEST_F(DriverDoor, FrameWindowsOfOneAndTwoBases) {
  const struct {
    uint32_t identity, distance;
  } kWanted[] = {{BoardFennel, 8u << 20}, {BoardLaurel, 32u << 20}, {BoardKale2, 32u << 20},
                 {BoardElm, 0},           {BoardCassia, 0},         {BoardAspen, 0}};
  for (const auto& wanted : kWanted) {
    port_.devices.clear();
    door_.Close();
    OpenBoard(wanted.identity);
    ASSERT_TRUE(door_.MapFrameBuffers());
    EXPECT_EQ(port_.calls[0].Word(32), 0u);
    EXPECT_EQ(door_.FrameBaseAddress(), FakeDriverPort::kFrameBase);
    EXPECT_EQ(door_.Channel1FrameBase(), FakeDriverPort::kFrameBase);
    EXPECT_EQ(door_.Channel2FrameBase() - door_.FrameBaseAddress(), wanted.distance);
    ASSERT_TRUE(door_.UnmapFrameBuffers());
    EXPECT_EQ(LastWords(), (Words{FakeDriverPort::kFrameBase, 0, 0, 0}));
    EXPECT_EQ(door_.FrameBaseAddress() | door_.Channel1FrameBase() | door_.Channel2FrameBase(), 0u);
  }
}

TEST_F(DriverDoor, MapFailuresSpeakForFramesOnly) {
  OpenBoard(BoardElm);
  port_.refusedProperties = {PropertyMap};
  EXPECT_FALSE(door_.MapFrameBuffers());
  EXPECT_FALSE(door_.MapRegisters());
  EXPECT_FALSE(door_.MapFlash());
  EXPECT_EQ(messages_.texts, Texts{"MapFrameBuffers failed"});
  port_.refusedProperties.clear();
  ASSERT_TRUE(door_.MapFrameBuffers());
  port_.refusedProperties = {PropertyMap};
  EXPECT_FALSE(door_.UnmapFrameBuffers());
  EXPECT_EQ(messages_.texts.back(), "UnmapFrameBuffers failed");
}

TEST_F(DriverDoor, RegisterAddressMapsFirstAndEndsWithTheWindow) {
  OpenBoard(BoardElm);
  uint32_t address = 0;
  EXPECT_FALSE(door_.GetRegisterAddress(4096, &address));
  EXPECT_EQ(address, 0u);
  ASSERT_TRUE(door_.GetRegisterAddress(4095, &address));
  EXPECT_EQ(address, door_.RegisterBase() + 16380);
  EXPECT_FALSE(door_.GetRegisterAddress(0x40000000, &address));
  EXPECT_EQ(port_.Count(PropertyMap), 1u);
}

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
