#pragma once

#include <cstddef>
#include <cstdint>

#include "base/fourcc.h"
#include "base/page_memory.h"
#include "base/shared_word.h"

namespace morvane {

inline constexpr int kPlaybackSlots = 16;
inline constexpr int kLeastPlaybackSlots = 6;
// Behind the largest picture, so that a reader may align it inside the buffer.
inline constexpr size_t kSlotSlack = 0x10020;

// One frame on its way to the card.
struct PlaybackSlot {
  uint8_t* buffer = nullptr;
  size_t capacity = 0;   // bytes allocated
  uint32_t offset = 0;   // where the picture begins inside the buffer
  uint32_t size = 0;     // bytes to transfer
  bool isBlack = false;  // the common black frame goes out instead of the buffer
  bool isBars = false;   // the common bars frame
  FourCCCode fourcc = 0;
  bool topDown = true;  // false: the card turns the rows over
  int32_t width = 0;
  int32_t height = 0;
  int32_t rowBytes = 0;
  int32_t frameNumber = 0;  // on the timeline
};

// Ring of frames from the reader through the transfer thread to the preview.
// Threads: Put() on the reader thread, Pass() and SetProcessed() on the transfer thread, Leave() on
// the preview thread; counts from anywhere, they may lag. The rest on the main thread with no play.
// Owns: the memory of the slots and of the black frame.
//
// Invariants:
//  1. each count has one writer.
//  2. a slot's fields are complete before FramesRead() passes it, and stay until the counts that
//     the reader is paced by have passed it.
//  3. previewed <= transferred <= read <= previewed + slot count.
class SlotRing {
 public:
  // Takes up to 16 slots and the black frame, `slotBytes` each, zero filled.
  // Returns: slots obtained; 0, with nothing held, when they are fewer than 6 or there is no black
  // frame.
  int Allocate(size_t slotBytes);
  void Free();
  void Rewind();  // forgets all frames; the memory stays

  [[nodiscard]] int SlotCount() const { return slotCount_; }
  [[nodiscard]] const PageBuffer& BlackFrame() const { return black_; }

  [[nodiscard]] PlaybackSlot& ReadSlot() { return slots_[Slot(FramesRead())]; }
  [[nodiscard]] const PlaybackSlot& TransferSlot() const { return slots_[Slot(Transferred())]; }
  [[nodiscard]] const PlaybackSlot& PreviewSlot() const { return slots_[Slot(Previewed())]; }

  [[nodiscard]] int32_t FramesRead() const { return read_.Get(); }
  [[nodiscard]] int32_t Transferred() const { return transferred_.Get(); }
  // Frames of the clip's rate that the card has shown.
  [[nodiscard]] int32_t Processed() const { return processed_.Get(); }
  [[nodiscard]] int32_t Previewed() const { return previewed_.Get(); }

  // True when the reader must wait.
  [[nodiscard]] bool IsFull(bool pacedByPreview) const {
    return FramesRead() > (pacedByPreview ? Previewed() : Transferred()) - 1 + slotCount_;
  }

  void Put() { read_.Set(FramesRead() + 1); }
  void Pass() { transferred_.Set(Transferred() + 1); }
  void SetProcessed(int32_t frames) { processed_.Set(frames); }
  void Leave() { previewed_.Set(Previewed() + 1); }

 private:
  [[nodiscard]] int Slot(int32_t count) const { return count % slotCount_; }

  PlaybackSlot slots_[kPlaybackSlots];
  PageBuffer memory_[kPlaybackSlots];
  PageBuffer black_;
  int slotCount_ = 0;
  SharedWord<int32_t> read_;         // reader
  SharedWord<int32_t> transferred_;  // transfer thread, as the next
  SharedWord<int32_t> processed_;
  SharedWord<int32_t> previewed_;  // preview thread
};

}  // namespace morvane
