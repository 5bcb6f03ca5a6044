#include "capture/frame_ring.h"

#include <cstring>

namespace morvane {
namespace {

constexpr size_t kSectorBytes = 512;

}  // namespace

int FrameRing::Allocate(size_t headerBytes, size_t pictureBytes) {
  Free();
  if (!track_.Allocate(kCaptureAudioBytes)) return 0;
  const size_t used = headerBytes + pictureBytes;
  const size_t block = (used + kSectorBytes - 1) / kSectorBytes * kSectorBytes + kSectorBytes;
  pictureOffset_ = headerBytes;
  while (slotCount_ < kCaptureSlots) {
    const int slot = slotCount_;
    if (!pictureMemory_[slot].Allocate(block)) break;
    if (!soundMemory_[slot].Allocate(kCaptureAudioBytes)) {
      pictureMemory_[slot].Free();
      break;
    }
    pictures_[slot].bytes = static_cast<uint32_t>(pictureBytes);
    pictures_[slot].data = pictureMemory_[slot].Data();
    sounds_[slot].capacity = kCaptureAudioBytes;
    sounds_[slot].data = soundMemory_[slot].Data();
    ++slotCount_;
  }
  Rewind();
  if (slotCount_ == 0) Free();
  return slotCount_;
}

void FrameRing::Free() {
  for (int slot = 0; slot < kCaptureSlots; ++slot) {
    pictureMemory_[slot].Free();
    soundMemory_[slot].Free();
    pictures_[slot].bytes = 0;
    pictures_[slot].data = nullptr;
    sounds_[slot].data = nullptr;
  }
  track_.Free();
  slotCount_ = 0;
}

void FrameRing::Rewind() {
  for (int slot = 0; slot < kCaptureSlots; ++slot) {
    pictures_[slot].bottomUp.Set(0);
    pictures_[slot].timecodeValid = 0;
    pictures_[slot].writeFrame = 1;
    std::memcpy(pictures_[slot].timecode, "00:00:00:00", sizeof pictures_[slot].timecode);
    sounds_[slot].bytes = 0;
    sounds_[slot].channelPhase = 0;
  }
  writeIndex_.Set(0);
  writeSlot_.Set(0);
  readIndex_.Set(0);
  readSlot_.Set(0);
  mark_.Set(0);
}

void FrameRing::Put() {
  const int next = writeSlot_.Get() + 1;
  writeSlot_.Set(next >= slotCount_ ? 0 : next);
  writeIndex_.Set(writeIndex_.Get() + 1);
}

void FrameRing::Take() {
  const int next = readSlot_.Get() + 1;
  readSlot_.Set(next >= slotCount_ ? 0 : next);
  readIndex_.Set(readIndex_.Get() + 1);
}

}  // namespace morvane
