#include "playback/slot_ring.h"

namespace morvane {

int SlotRing::Allocate(size_t slotBytes) {
  Free();
  Rewind();
  // First, or a ring that takes what memory there is would leave none for it.
  if (!black_.Allocate(slotBytes)) return 0;
  while (slotCount_ < kPlaybackSlots && memory_[slotCount_].Allocate(slotBytes)) {
    PlaybackSlot& slot = slots_[slotCount_];
    slot = {};
    slot.buffer = memory_[slotCount_].Data();
    slot.capacity = slotBytes;
    ++slotCount_;
  }
  if (slotCount_ < kLeastPlaybackSlots) Free();
  return slotCount_;
}

void SlotRing::Free() {
  for (int i = 0; i < kPlaybackSlots; ++i) {
    memory_[i].Free();
    slots_[i] = {};
  }
  black_.Free();
  slotCount_ = 0;
}

void SlotRing::Rewind() {
  read_.Set(0);
  transferred_.Set(0);
  processed_.Set(0);
  previewed_.Set(0);
}

}  // namespace morvane
