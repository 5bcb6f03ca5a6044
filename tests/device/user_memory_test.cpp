#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "device/driver_port.h"

namespace morvane {
namespace {

uint32_t LowHalf(const void* address) {
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(address) & 0xFFFF);
}

TEST(UserMemory, ATokenKeepsTheLowHalfOfTheAddress) {
  UserMemory memory;
  uint8_t buffer[64];
  for (uint8_t* p = buffer; p < buffer + 16; ++p) {
    const uint32_t token = memory.Pin(p, 8);
    EXPECT_NE(token, 0u);
    EXPECT_EQ(token & 0xFFFF, LowHalf(p));
    EXPECT_EQ(memory.Find(token, 8), p);
    memory.Unpin(token);
  }
}

TEST(UserMemory, NullHasTokenZeroAndZeroFindsNothing) {
  UserMemory memory;
  EXPECT_EQ(memory.Pin(nullptr, 100), 0u);
  EXPECT_EQ(memory.Find(0, 0), nullptr);
  memory.Unpin(0);
}

TEST(UserMemory, FindRefusesMoreThanWasPinned) {
  UserMemory memory;
  uint8_t buffer[64];
  const uint32_t token = memory.Pin(buffer, 64);
  EXPECT_EQ(memory.Find(token, 64), buffer);
  EXPECT_EQ(memory.Find(token, 65), nullptr);
  EXPECT_EQ(memory.Find(token ^ 1, 1), nullptr);
  EXPECT_EQ(memory.Find(token + 0x10000, 1), nullptr);
}

TEST(UserMemory, TheSameBufferMayBePinnedTwice) {
  UserMemory memory;
  uint8_t buffer[64];
  const uint32_t first = memory.Pin(buffer, 64), second = memory.Pin(buffer, 16);
  EXPECT_NE(first, second);
  memory.Unpin(first);
  EXPECT_EQ(memory.Find(first, 1), nullptr);
  EXPECT_EQ(memory.Find(second, 16), buffer);
}

TEST(UserMemory, AStaleTokenIsRefusedForLong) {
  UserMemory memory;
  uint8_t buffer[64];
  const uint32_t stale = memory.Pin(buffer, 64);
  memory.Unpin(stale);
  for (int i = 0; i < 1000; ++i) {
    const uint32_t token = memory.Pin(buffer, 64);
    EXPECT_NE(token, stale);
    EXPECT_EQ(memory.Find(stale, 1), nullptr);
    memory.Unpin(token);
  }
}

TEST(UserMemory, RunningOutOfSlotsGivesZeroAndRecovers) {
  UserMemory memory;
  uint8_t buffer[64];
  std::vector<uint32_t> tokens;
  for (uint32_t token = memory.Pin(buffer, 1); token != 0; token = memory.Pin(buffer, 1)) {
    tokens.push_back(token);
  }
  EXPECT_EQ(std::set<uint32_t>(tokens.begin(), tokens.end()).size(), 0xFFFFu);
  memory.Unpin(tokens[17]);
  EXPECT_NE(memory.Pin(buffer, 1), 0u);
}

}  // namespace
}  // namespace morvane
