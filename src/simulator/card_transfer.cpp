#include <algorithm>
#include <cstring>

#include "base/clock.h"
#include "media/codec/md5.h"
#include "simulator/simulated_card.h"

// What moves pixels and samples: transfers of AutoCirculate, and DMA. The bytes themselves move
// outside the lock, in a slot that meanwhile belongs to the transfer.
namespace morvane {
namespace {

constexpr uint32_t kControlRegisters[] = {1, 5, 257, 260};
constexpr uint32_t kInputFrameRegisters[] = {3, 7, 258, 261};

bool TakesTransfers(uint32_t state) {
  return state == ACStateInitialised || state == ACStateStarting || state == ACStateRunning;
}

}  // namespace

bool SimulatedCard::Transfer(const TransferRequest& request,
                             RQD5AutoCirculateTransferStatus* status) {
  std::unique_lock<std::mutex> lock(group_->mutex);
  Advance();
  AutoCirculateRing* ring = FindRing(request.record.channelSpec);
  if (ring == nullptr || !TakesTransfers(ring->state)) return false;
  const TransferRecord& record = request.record;
  const size_t stride = Stride();
  if (record.videoOffset > stride || record.videoSize > stride - record.videoOffset) return false;
  return ring->input ? TransferIn(&lock, ring, request, status)
                     : TransferOut(&lock, ring, request, status);
}

void SimulatedCard::Stall(int64_t transfer) const {
  for (const FaultDescription::Stall& stall : description_.faults.stallTransfer) {
    if (stall.frame != transfer) continue;
    const double ns = static_cast<double>(stall.milliseconds) * 1e6 / clock_->Rate();
    NxClockSleepUntilNs(NxClockNowNs() + static_cast<int64_t>(ns));
  }
}

bool SimulatedCard::TransferOut(std::unique_lock<std::mutex>* lock, AutoCirculateRing* ring,
                                const TransferRequest& request,
                                RQD5AutoCirculateTransferStatus* status) {
  const TransferRecord& record = request.record;
  const uint32_t number = ring->next;
  if (!ring->IsFree(number)) {
    FillTransferStatus(ring, -1, status);
    return true;
  }
  // Larger slots since the ring began leave fewer of them.
  if (number >= FrameCountNow()) return false;
  const uint64_t generation = ring->generation;
  const int64_t transfer = ring->transfers++;
  ring->next = ring->After(number);
  RingSlot& slot = ring->Slot(number);
  slot.state = RingSlot::State::kFilling;
  const FrameLayout layout = LayoutOf(record.frameBufferFormat);
  Output* output = FindOutput(ChannelIndex(ring->Channel()) + 1);
  const bool wantsHash = output->log != nullptr;
  const bool onTape = deck_ && output->number == 1 && deck_->RecordsOrWill();
  const bool wantsPicture = output->recorder != nullptr || !output->loops.empty() || onTape;
  OutputRecorder* recorder = output->recorder.get();
  uint8_t* const memory = memory_.Data() + number * Stride() + record.videoOffset;
  lock->unlock();

  Stall(transfer);
  if (request.video != nullptr) std::memcpy(memory, request.video, record.videoSize);
  std::string md5;
  if (wantsHash) md5 = Md5Of(memory, request.video != nullptr ? record.videoSize : 0);
  PictureRef picture;
  if (wantsPicture) {
    picture = PictureOfFrame(layout, memory, record.videoSize, record.flip != 0);
    if (recorder != nullptr) recorder->WaitForRoom();
    if (onTape) deck_->WaitForRoom();
  }

  lock->lock();
  Output& shown = *FindOutput(ChannelIndex(ring->Channel()) + 1);
  const bool held = shown.heldKey.frame == number;
  if (request.video != nullptr) MemoryWritten(memory, record.videoSize);
  if (held) shown.heldKey = {number, layout, record.flip != 0};  // as it was sent, like the last
  Advance();
  if (ring->generation != generation) {  // stopped meanwhile: the frame is never shown
    FillTransferStatus(ring, -1, status);
    return true;
  }
  slot.state = RingSlot::State::kWaiting;
  slot.layout = layout;
  slot.flip = record.flip;
  slot.pictureBytes = record.videoSize;
  slot.md5 = std::move(md5);
  slot.picture = std::move(picture);
  slot.routing = request.routing != nullptr ? *request.routing : RQD5RoutingTable{};
  slot.stamp = {};
  slot.stamp.channelSpec = ring->channelSpec;
  slot.stamp.frameNumber = number;
  slot.stamp.userData = record.userData;
  slot.stamp.rp188 = record.rp188;
  ring->waiting.push_back(number);
  FillTransferStatus(ring, static_cast<int32_t>(number), status);
  return true;
}

bool SimulatedCard::TransferIn(std::unique_lock<std::mutex>* lock, AutoCirculateRing* ring,
                               const TransferRequest& request,
                               RQD5AutoCirculateTransferStatus* status) {
  const TransferRecord& record = request.record;
  if (ring->waiting.empty()) {
    FillTransferStatus(ring, -1, status);
    return true;
  }
  const uint64_t generation = ring->generation;
  const int64_t transfer = ring->transfers++;
  const uint32_t number = ring->waiting.front();
  ring->waiting.pop_front();
  ring->Slot(number).state = RingSlot::State::kReading;
  const CapturedFrame captured = ring->Slot(number).captured;
  const FrameLayout layout = ring->Slot(number).layout;
  const uint32_t channels = AudioChannels(ring->Channel());
  uint32_t audioBytes = ring->Slot(number).stamp.audioBytes;
  // A frame that its slot cannot hold, and a slot that the present format has no more, are made
  // beside the memory: the caller gets the picture, and no other slot is touched.
  const size_t stride = Stride();
  const bool fits = number < FrameCountNow() && layout.Bytes() <= stride;
  std::vector<uint8_t> beside(fits ? 0 : std::max(layout.Bytes(), stride));
  uint8_t* const memory = fits ? memory_.Data() + number * stride : beside.data();
  lock->unlock();

  Stall(transfer);
  const PictureRef picture = captured.frame ? captured.frame->Picture() : nullptr;
  auto* video = static_cast<uint8_t*>(request.video);
  bool written = false;  // frame memory
  if (video != nullptr && record.videoSize > 0) {
    // Straight into the caller's buffer where it takes the whole frame; what lies behind the
    // frame in the slot comes along.
    const size_t bytes = layout.Bytes();
    const bool whole = record.videoOffset == 0 && record.videoSize >= bytes;
    uint8_t* const target = whole ? video : memory;
    written = !whole && fits;
    if (picture) {
      picture->Store(layout, target);
    } else {
      StoreBlack(layout, target);
    }
    if (whole) {
      std::memcpy(video + bytes, memory + bytes, record.videoSize - bytes);
    } else {
      std::memcpy(video, memory + record.videoOffset, record.videoSize);
    }
  }
  if (request.audio != nullptr && audioBytes > 0 && captured.frame) {
    std::vector<int32_t> samples(audioBytes / 4);
    captured.frame->Sound(captured.soundPosition, captured.soundFrames, channels, samples.data());
    audioBytes = std::min(audioBytes, record.audioSize);
    std::memcpy(request.audio, samples.data(), audioBytes);
  } else {
    audioBytes = 0;
  }

  lock->lock();
  if (written) MemoryWritten(memory, layout.Bytes());
  Advance();
  if (ring->generation != generation) {
    FillTransferStatus(ring, -1, status);
    return true;
  }
  RingSlot& slot = ring->Slot(number);
  slot.state = RingSlot::State::kFree;
  slot.captured = {};
  slot.stamp.audioBytes = audioBytes;
  slot.stamp.userData = record.userData;
  FillTransferStatus(ring, static_cast<int32_t>(number), status);
  return true;
}

bool SimulatedCard::Dma(const DmaTransfer& transfer) {
  // Engine 0 locks and unlocks the caller's pages, which the port's table does.
  if (transfer.engine == kDmaEngineLock) return true;
  std::unique_lock<std::mutex> lock(group_->mutex);
  Advance();
  const uint32_t count = FrameCountNow();
  const bool audio = transfer.engine == kDmaEngineAudio && count > 0 && transfer.frame == count - 1;
  uint8_t* base = nullptr;
  if (audio) {
    const uint32_t ring = AudioRingBytes();
    if (transfer.offset > ring || transfer.bytes > ring - transfer.offset) return false;
    if (!transfer.read) DrainSound(nowNs_);
    base = audioRing_.data() + transfer.offset;
  } else {
    const size_t stride = Stride();
    const size_t at = static_cast<size_t>(transfer.frame) * stride + transfer.offset;
    if (stride == 0 || transfer.frame >= count || at > memory_.Bytes() ||
        transfer.bytes > memory_.Bytes() - at) {
      return false;
    }
    base = memory_.Data() + at;
    if (transfer.read && transfer.bytes > 0) (void)IdleInputInto(transfer.frame);
  }
  if (transfer.bytes == 0) return true;
  if (transfer.buffer == nullptr) return false;
  if (!audio) lock.unlock();  // sound is short and read by the boundaries; pictures are long
  if (transfer.read) {
    std::memcpy(transfer.buffer, base, transfer.bytes);
    return true;
  }
  std::memcpy(base, transfer.buffer, transfer.bytes);
  if (!audio) {
    lock.lock();
    MemoryWritten(base, transfer.bytes);
  }
  return true;
}

// A channel that is set to input and does not circulate writes what it sees into the frame of its
// input frame register, again and again; here, when somebody looks.
bool SimulatedCard::IdleInputInto(uint32_t frame) {
  static constexpr uint32_t kChannels[] = {RQD5Channel1, RQD5Channel2, RQD5Channel9, RQD5Channel10};
  for (const uint32_t channel : kChannels) {
    const uint32_t index = ChannelIndex(channel);
    if ((registers_[kControlRegisters[index]] & 1) == 0) continue;
    if (registers_[kInputFrameRegisters[index]] != frame) continue;
    const AutoCirculateRing* ring = FindRing(channel | kACInput);
    if (ring != nullptr && ring->state != ACStateIdle) continue;
    InputConnector* connector = ConnectorOfChannel(channel);
    if (connector == nullptr || !InputPresent(connector)) continue;
    const FrameLayout layout = LayoutOf(ChannelFormat(channel));
    const size_t stride = Stride();
    if (layout.Bytes() == 0 || layout.Bytes() > stride) continue;
    PictureRef picture;
    if (connector->IsLoop()) {
      const Cable& cable = cables_.at(connector);
      picture = cable.from->OutputNow(cable.output).picture;
    } else if (connector->IsTape()) {
      const TapeMachine::Signal signal =
          deck_ ? deck_->Output(AudioRate(channel), nowNs_) : TapeMachine::Signal();
      picture = signal.frame ? signal.frame->Picture() : nullptr;
    } else {
      const bool captured = std::any_of(rings_.begin(), rings_.end(), [&](const auto& entry) {
        return entry.second.input && entry.second.state != ACStateIdle &&
               ConnectorOfChannel(entry.second.Channel()) == connector;
      });
      const SignalFrameRef now = captured ? connector->Frame(connector->FrameNumber(boundary_))
                                          : connector->IdleFrame(boundary_, AudioRate(channel));
      picture = now ? now->Picture() : nullptr;
    }
    uint8_t* const target = memory_.Data() + frame * stride;
    if (picture) {
      picture->Store(layout, target);
    } else {
      StoreBlack(layout, target);
    }
    MemoryWritten(target, layout.Bytes());
    return true;
  }
  return false;
}

}  // namespace morvane
