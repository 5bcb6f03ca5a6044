#pragma once

#include <cstdint>

namespace morvane {

enum class DropCause { Disk, Card, Processor };

// Tells where a frame was lost, from what the input thread sees: whether the ring had room, and how
// many frames were waiting in the card. Nothing else is known on this side of the driver.
// Threads: the input thread only.
class DropBlame {
 public:
  // `cardSlots`: frames that can wait in the card before it drops one.
  explicit DropBlame(int32_t cardSlots) : cardSlots_(cardSlots) {}

  // The ring is full; `unwritten` of its `slots` wait for the writer. The others are finished and
  // wait for the preview, which is the program's own lateness and not the disk's.
  void NoteFullRing(int32_t unwritten, int32_t slots) {
    filledBy_ = unwritten > slots / 2 ? DropCause::Disk : DropCause::Processor;
  }

  // The card has dropped frames, and `level` are waiting in it now. With room in its memory it
  // lost them itself; a full memory is the fault of who kept the frames from being fetched.
  [[nodiscard]] DropCause Judge(int32_t level) const {
    return level + kFetchedSince < cardSlots_ ? DropCause::Card : filledBy_;
  }

  // `level` frames are waiting, and no drop is left to judge. Once the card has been emptied, what
  // filled it is over.
  void NoteLevel(int32_t level) {
    if (level <= kEmptied) filledBy_ = DropCause::Processor;
  }

 private:
  static constexpr int32_t kFetchedSince = 3;  // between a drop and the poll that sees it, at most
  static constexpr int32_t kEmptied = 2;

  int32_t cardSlots_;
  DropCause filledBy_ = DropCause::Processor;
};

}  // namespace morvane
