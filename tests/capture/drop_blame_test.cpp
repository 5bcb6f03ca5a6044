#include "capture/drop_blame.h"

#include <gtest/gtest.h>

namespace morvane {
namespace {

constexpr int32_t kCardSlots = 30;
constexpr int32_t kRing = 32;

TEST(DropBlame, ADropWithRoomInTheCardIsTheCards) {
  DropBlame blame(kCardSlots);
  for (const int32_t level : {0, 2, 15, 26}) EXPECT_EQ(DropCause::Card, blame.Judge(level));
}

TEST(DropBlame, AFullCardAndARingWithRoomIsTheProcessors) {
  DropBlame blame(kCardSlots);
  for (const int32_t level : {27, 29, 30}) EXPECT_EQ(DropCause::Processor, blame.Judge(level));
}

TEST(DropBlame, AFullCardBehindAFullRingIsTheDisksWhenTheWriterIsBehind) {
  DropBlame blame(kCardSlots);
  blame.NoteFullRing(30, kRing);
  EXPECT_EQ(DropCause::Disk, blame.Judge(30));
}

TEST(DropBlame, AFullRingOfFinishedFramesIsTheProcessors) {
  DropBlame blame(kCardSlots);
  blame.NoteFullRing(0, kRing);
  EXPECT_EQ(DropCause::Processor, blame.Judge(30));
  blame.NoteFullRing(16, kRing);
  EXPECT_EQ(DropCause::Processor, blame.Judge(30));
}

TEST(DropBlame, TheDiskIsBlamedUntilTheCardHasBeenEmptied) {
  DropBlame blame(kCardSlots);
  blame.NoteFullRing(30, kRing);
  blame.NoteLevel(30);
  blame.NoteLevel(3);
  EXPECT_EQ(DropCause::Disk, blame.Judge(30)) << "still catching up";
  blame.NoteLevel(2);
  EXPECT_EQ(DropCause::Processor, blame.Judge(30));
}

}  // namespace
}  // namespace morvane
