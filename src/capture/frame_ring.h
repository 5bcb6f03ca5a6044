#pragma once

#include <cstddef>
#include <cstdint>

#include "base/page_memory.h"
#include "base/shared_word.h"

namespace morvane {

inline constexpr int kCaptureSlots = 32;
inline constexpr uint32_t kCaptureAudioBytes = 1048576;

// One frame of pictures. Filled by the input thread, turned over and written by the writer thread,
// looked at by the preview.
struct FrameSlot {
  uint32_t bytes = 0;       // of the picture, without the room before and behind it
  uint8_t* data = nullptr;  // the block; the picture begins FrameRing::PictureOffset() behind it
  SharedWord<uint32_t> bottomUp;  // 1: rows as the card gave them; 0: the writer has turned them
  uint8_t timecodeValid = 0;
  uint8_t writeFrame = 1;  // 0: a frame of a pulldown cadence that is thrown away
  char timecode[12] = "00:00:00:00";
};

// The same frame's sound: interleaved 32-bit samples of the card's channels.
struct AudioSlot {
  uint32_t bytes = 0;
  uint32_t capacity = kCaptureAudioBytes;
  uint32_t channelPhase = 0;  // samples before the first whole frame
  uint8_t* data = nullptr;
};

// Ring of capture frames between the input thread and the writer thread.
// Threads: Put() on the input thread, Take() on the writer thread, SetMark() on the preview's;
// counts from anywhere, they may lag. Allocate() and Free() on the main thread with no job running.
// Owns: the memory of the slots.
//
// Invariants:
//  1. writeIndex, readIndex and mark have one writer each.
//  2. A slot's fields are complete before writeIndex passes it.
//  3. mark <= readIndex <= writeIndex <= mark + slotCount - 2.
class FrameRing {
 public:
  // Takes up to 32 slots, each a block of header room + picture + pad to whole sectors + one sector
  // more, and 1 MiB of sound; and 1 MiB for the track that is being written.
  // Returns: slots obtained; fewer is legal, 0 means out of memory and nothing is held.
  int Allocate(size_t headerBytes, size_t pictureBytes);
  void Free();
  // Forgets all frames; the memory stays.
  void Rewind();

  [[nodiscard]] int SlotCount() const { return slotCount_; }
  [[nodiscard]] size_t PictureOffset() const { return pictureOffset_; }
  [[nodiscard]] uint8_t* TrackBuffer() const { return track_.Data(); }

  [[nodiscard]] FrameSlot& Picture(int slot) { return pictures_[slot]; }
  [[nodiscard]] AudioSlot& Sound(int slot) { return sounds_[slot]; }

  // Frames put in and frames finished with, of this job.
  [[nodiscard]] int32_t WriteIndex() const { return writeIndex_.Get(); }
  [[nodiscard]] int32_t ReadIndex() const { return readIndex_.Get(); }
  // What the preview has seen of the read index: the only measure of free room.
  [[nodiscard]] int32_t Mark() const { return mark_.Get(); }
  [[nodiscard]] int WriteSlot() const { return writeSlot_.Get(); }
  [[nodiscard]] int ReadSlot() const { return readSlot_.Get(); }

  // True when the input thread must wait. With a mark that stands still slotCount - 2 frames get
  // in: two slots before the mark stay whole for whoever still looks at them.
  [[nodiscard]] bool IsFull() const { return WriteIndex() > Mark() + SlotCount() - 3; }

  void Put();   // the write slot is complete
  void Take();  // the read slot is finished with
  void SetMark(int32_t readIndex) { mark_.Set(readIndex); }

 private:
  FrameSlot pictures_[kCaptureSlots];
  AudioSlot sounds_[kCaptureSlots];
  PageBuffer pictureMemory_[kCaptureSlots];
  PageBuffer soundMemory_[kCaptureSlots];
  PageBuffer track_;
  int slotCount_ = 0;
  size_t pictureOffset_ = 0;
  // Input thread writes.
  SharedWord<int32_t> writeIndex_;
  SharedWord<int32_t> writeSlot_;
  // Writer thread writes.
  SharedWord<int32_t> readIndex_;
  SharedWord<int32_t> readSlot_;
  // The preview writes.
  SharedWord<int32_t> mark_;
};

}  // namespace morvane
