#include "playback/slot_ring.h"

#include <gtest/gtest.h>

namespace morvane {
namespace {

constexpr size_t kBytes = 65536;

TEST(SlotRing, HoldsSixteenSlotsAndABlackFrame) {
  SlotRing ring;
  ASSERT_EQ(16, ring.Allocate(kBytes));
  EXPECT_EQ(16, ring.SlotCount());
  ASSERT_NE(nullptr, ring.BlackFrame().Data());
  EXPECT_EQ(kBytes, ring.BlackFrame().Bytes());
  EXPECT_EQ(0, ring.BlackFrame().Data()[kBytes - 1]);
  EXPECT_EQ(kBytes, ring.ReadSlot().capacity);
  EXPECT_EQ(0U, reinterpret_cast<uintptr_t>(ring.ReadSlot().buffer) % 65536);
  ring.Free();
  EXPECT_EQ(0, ring.SlotCount());
  EXPECT_EQ(nullptr, ring.BlackFrame().Data());
}

TEST(SlotRing, FewerThanSixSlotsAreNone) {
  SlotRing ring;
  NxSetPageLimit(6 * kBytes);  // the black frame and five
  EXPECT_EQ(0, ring.Allocate(kBytes));
  EXPECT_EQ(nullptr, ring.BlackFrame().Data());
  NxSetPageLimit(7 * kBytes);
  EXPECT_EQ(6, ring.Allocate(kBytes));
  NxSetPageLimit(SIZE_MAX);
}

TEST(SlotRing, IsFullWhenItsSlotsAreTaken) {
  SlotRing ring;
  ASSERT_EQ(16, ring.Allocate(kBytes));
  for (int frame = 0; frame < 16; ++frame) {
    EXPECT_FALSE(ring.IsFull(true)) << frame;
    ring.ReadSlot().frameNumber = frame;
    ring.Put();
  }
  EXPECT_TRUE(ring.IsFull(true));
  EXPECT_TRUE(ring.IsFull(false));
  EXPECT_EQ(0, ring.TransferSlot().frameNumber);
  ring.Pass();
  EXPECT_EQ(1, ring.TransferSlot().frameNumber);
  EXPECT_FALSE(ring.IsFull(false));
  EXPECT_TRUE(ring.IsFull(true));  // the preview still looks at it
  ring.Leave();
  EXPECT_EQ(1, ring.PreviewSlot().frameNumber);
  EXPECT_FALSE(ring.IsFull(true));
  EXPECT_EQ(0, ring.ReadSlot().frameNumber);  // the first slot again
}

TEST(SlotRing, RewindForgetsFramesAndKeepsMemory) {
  SlotRing ring;
  ASSERT_EQ(16, ring.Allocate(kBytes));
  ring.Put();
  ring.Pass();
  ring.SetProcessed(1);
  ring.Leave();
  ring.Rewind();
  EXPECT_EQ(0, ring.FramesRead() + ring.Transferred() + ring.Processed() + ring.Previewed());
  EXPECT_EQ(16, ring.SlotCount());
}

}  // namespace
}  // namespace morvane
