#include "capture/frame_ring.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace morvane {
namespace {

constexpr size_t kPicture = 1000;
constexpr size_t kHeader = 2048;

class PageLimit {
 public:
  explicit PageLimit(size_t bytes) { NxSetPageLimit(bytes); }
  ~PageLimit() { NxSetPageLimit(SIZE_MAX); }
};

TEST(FrameRing, ASlotHasRoomForHeaderPictureAndASectorMore) {
  FrameRing ring;
  ASSERT_EQ(32, ring.Allocate(kHeader, kPicture));
  EXPECT_EQ(kHeader, ring.PictureOffset());
  for (int slot = 0; slot < 32; ++slot) {
    EXPECT_EQ(0U, reinterpret_cast<uintptr_t>(ring.Picture(slot).data) % kPageMemoryAlignment);
    EXPECT_EQ(kPicture, ring.Picture(slot).bytes);
    EXPECT_EQ(1048576U, ring.Sound(slot).capacity);
    // 2048 + 1000, up to 3072, and 512 more: all of it can be written.
    std::memset(ring.Picture(slot).data, slot, 3584);
    std::memset(ring.Sound(slot).data, slot, ring.Sound(slot).capacity);
  }
  std::memset(ring.TrackBuffer(), 1, 1048576);
}

TEST(FrameRing, TakesTheSlotsThatMemoryAllows) {
  // The track's buffer, two whole slots, and a picture without its sound.
  const PageLimit limit(3 * 1048576 + 3 * 65536);
  FrameRing ring;
  EXPECT_EQ(2, ring.Allocate(0, 60000));
  EXPECT_EQ(2, ring.SlotCount());
  EXPECT_NE(nullptr, ring.TrackBuffer());
}

TEST(FrameRing, HoldsNothingWithoutASingleSlot) {
  {
    const PageLimit limit(1048576 + 65536);
    FrameRing ring;
    EXPECT_EQ(0, ring.Allocate(0, 60000));
    EXPECT_EQ(nullptr, ring.TrackBuffer());
    // What was taken has been given back.
    PageBuffer all;
    EXPECT_TRUE(all.Allocate(1048576 + 65536));
  }
}

TEST(FrameRing, ThirtySlotsGetInWithAMarkThatStandsStill) {
  FrameRing ring;
  ASSERT_EQ(32, ring.Allocate(0, kPicture));
  int put = 0;
  while (!ring.IsFull()) {
    ring.Put();
    ++put;
  }
  EXPECT_EQ(30, put);
  // The writer alone frees nothing.
  for (int i = 0; i < 10; ++i) ring.Take();
  EXPECT_TRUE(ring.IsFull());
  ring.SetMark(ring.ReadIndex());
  EXPECT_FALSE(ring.IsFull());
  for (put = 0; !ring.IsFull(); ++put) ring.Put();
  EXPECT_EQ(10, put);
}

TEST(FrameRing, SlotsWrapAndIndexesDoNot) {
  const PageLimit limit(20 * 1048576);
  FrameRing ring;
  const int slots = ring.Allocate(0, kPicture);
  ASSERT_LT(slots, 32);
  ASSERT_GT(slots, 3);
  for (int frame = 0; frame < 100; ++frame) {
    EXPECT_EQ(frame % slots, ring.WriteSlot());
    EXPECT_EQ(frame % slots, ring.ReadSlot());
    EXPECT_EQ(frame, ring.WriteIndex());
    ring.Put();
    ring.Take();
    EXPECT_EQ(frame + 1, ring.ReadIndex());
  }
}

TEST(FrameRing, RewindForgetsFramesAndKeepsMemory) {
  FrameRing ring;
  ASSERT_EQ(32, ring.Allocate(0, kPicture));
  uint8_t* const first = ring.Picture(0).data;
  ring.Picture(0).timecodeValid = 1;
  ring.Picture(0).writeFrame = 0;
  std::memcpy(ring.Picture(0).timecode, "01:02:03:04", 12);
  ring.Put();
  ring.Take();
  ring.SetMark(1);
  ring.Rewind();
  EXPECT_EQ(first, ring.Picture(0).data);
  EXPECT_EQ(0, ring.WriteIndex());
  EXPECT_EQ(0, ring.ReadIndex());
  EXPECT_EQ(0, ring.Mark());
  EXPECT_EQ(0, ring.WriteSlot());
  EXPECT_EQ(0, ring.Picture(0).timecodeValid);
  EXPECT_EQ(1, ring.Picture(0).writeFrame);
  EXPECT_STREQ("00:00:00:00", ring.Picture(0).timecode);
}

}  // namespace
}  // namespace morvane
