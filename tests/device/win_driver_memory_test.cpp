#include <gtest/gtest.h>

#include "base/clock.h"
#include "device/driver_door.h"
#include "support/clock_pump.h"

namespace morvane {
namespace {

using test::DriverDoor;
using test::FakeDriverPort;
using test::Texts;
using test::Words;

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

TEST_F(DriverDoor, ARefusedLeavingClosesItsEventAndIsFalse) {
  OpenBoard(BoardElm);
  DriverEvent event = 0;
  ASSERT_TRUE(door_.ConfigureSubscription(true, 14, &event));
  ASSERT_EQ(port_.openEvents, 1u);
  port_.refusedProperties = {PropertySubscription, PropertySubscriptionOld};
  EXPECT_FALSE(door_.ConfigureSubscription(false, 14, &event));
  EXPECT_EQ(event, 0u);
  EXPECT_EQ(port_.openEvents, 0u);
  EXPECT_EQ(messages_.texts, Texts{"ConfigureSubscription failed"});
}

TEST_F(DriverDoor, TypesWithoutASubscriptionAreRefusedWithWords) {
  OpenBoard(BoardElm);
  const Words none = {1, 12, 13, 16, 17, 18, 19, 20, 21, 22, 23};
  for (const uint32_t type : none) {
    DriverEvent event = 9;
    EXPECT_FALSE(door_.ConfigureSubscription(true, type, &event)) << type;
    EXPECT_EQ(event, 0u) << type;
  }
  EXPECT_EQ(messages_.texts, Texts(none.size(), "ConfigureSubscription failed"));
  EXPECT_EQ(port_.openEvents, 0u);
  EXPECT_TRUE(port_.calls.empty());
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
  ManualClock clock;
  const test::ClockPump pump(&clock, 1);
  OpenBoard(BoardElm);
  const int64_t start = NxClockNowNs();
  EXPECT_FALSE(door_.WaitForInterrupt(0, 42));
  EXPECT_EQ(NxClockNowNs() - start, 42'000'000);
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

}  // namespace
}  // namespace morvane
