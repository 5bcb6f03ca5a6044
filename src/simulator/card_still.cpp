#include <algorithm>

#include "simulator/simulated_card.h"

// The picture on an output, and what of it stays when nothing circulates.
namespace morvane {
namespace {

constexpr uint32_t kChannels[] = {RQD5Channel1, RQD5Channel2, RQD5Channel9, RQD5Channel10};
constexpr uint32_t kOutputFrameRegisters[] = {2, 6, 289, 290};
constexpr uint32_t kControlRegisters[] = {1, 5, 257, 260};
constexpr uint32_t kBottomUp = 0x1000;            // of a control register
constexpr uint32_t kFormatBits = 0x5E;            // of a control register
constexpr uint32_t kGeometryAndStandard = 0x3F8;  // of register 0
constexpr uint32_t kQuadRegister = 267;

}  // namespace

LoopedFrame SimulatedCard::OutputNow(uint32_t number) {
  if (number < 1 || number > 4) return {};
  const uint32_t channel = kChannels[number - 1];
  const auto found = rings_.find(channel);
  if (found != rings_.end() && found->second.active != kACNoFrame &&
      (found->second.state == ACStateRunning || found->second.state == ACStateStopping)) {
    RingSlot& slot = found->second.Slot(found->second.active);
    if (!slot.picture && Stride() > 0) {  // transferred before anybody wanted it
      const size_t stride = Stride();
      const size_t at = found->second.active * stride;
      if (at + stride <= memory_.Bytes()) {
        slot.picture = PictureOfFrame(slot.layout, memory_.Data() + at,
                                      std::min<size_t>(slot.pictureBytes, stride), slot.flip != 0);
      }
    }
    const RQD5Rp188& words = slot.stamp.rp188;
    return {slot.picture, {words.flags, words.low, words.high}};
  }
  // Idle: what lies in the frame that the output shows.
  Output* output = FindOutput(number);
  const StillKey key = StillNow(*output);
  const size_t stride = Stride();
  const size_t bytes = key.layout.Bytes();
  if (bytes == 0 || stride == 0 || key.frame >= FrameCountNow()) return {};
  if (!output->still || output->stillKey != key || output->stillGeneration != memoryGeneration_ ||
      framesMapped_) {
    output->still = PictureOfFrame(key.layout, memory_.Data() + key.frame * stride,
                                   std::min(bytes, stride), key.flip);
    output->stillKey = key;
    output->stillGeneration = memoryGeneration_;
  }
  return {output->still, {}};
}

// The frame that a run left lies as it was sent; every other one as the registers say.
SimulatedCard::StillKey SimulatedCard::StillNow(const Output& output) const {
  const uint32_t index = output.number - 1;
  StillKey key;
  key.frame = registers_[kOutputFrameRegisters[index]];
  if (output.heldKey.frame == key.frame) return output.heldKey;
  key.layout = LayoutOf(ChannelFormat(kChannels[index]));
  key.flip = (registers_[kControlRegisters[index]] & kBottomUp) != 0;
  return key;
}

// Before the ring's slots are forgotten.
void SimulatedCard::HoldStill(AutoCirculateRing* ring) {
  const bool shows = ring->state == ACStateRunning || ring->state == ACStateStopping;
  if (ring->input || !shows || ring->active == kACNoFrame) return;
  const RingSlot& slot = ring->Slot(ring->active);
  FindOutput(ChannelIndex(ring->Channel()) + 1)->heldKey = {ring->active, slot.layout,
                                                            slot.flip != 0};
}

// Once the frame of an output or its orientation is written, and once its layout becomes another,
// the registers say how it lies. (The same layout again is what a new run begins with.)
void SimulatedCard::FrameSetAnew(uint32_t number, uint32_t before, uint32_t mask) {
  const uint32_t changed = Raw(number) ^ before;
  for (Output& output : outputs_) {
    if (output.heldKey.frame == kACNoFrame) continue;
    const uint32_t index = output.number - 1;
    bool anew = number == kOutputFrameRegisters[index];
    if (number == kControlRegisters[index]) {
      anew = (mask & kBottomUp) != 0 || (changed & kFormatBits) != 0;
    }
    if (number == 0) anew = (changed & kGeometryAndStandard) != 0;
    if (number == kQuadRegister) anew = changed != 0;
    if (anew) output.heldKey = {};
  }
}

// Requires: the lock, and that the bytes lie there already: a picture that was made of the frame
// meanwhile is made again.
void SimulatedCard::MemoryWritten(const uint8_t* at, size_t bytes) {
  ++memoryGeneration_;
  const size_t stride = Stride();
  if (stride == 0 || bytes == 0) return;
  const size_t first = static_cast<size_t>(at - memory_.Data()) / stride;
  const size_t last = (static_cast<size_t>(at - memory_.Data()) + bytes - 1) / stride;
  for (Output& output : outputs_) {
    if (output.heldKey.frame >= first && output.heldKey.frame <= last) output.heldKey = {};
  }
}

}  // namespace morvane
