#include <algorithm>

#include "simulator/simulated_card.h"

// The commands of AutoCirculate and the records that they fill.
namespace morvane {
namespace {

constexpr uint32_t kControlRegisters[] = {1, 5, 257, 260};

uint64_t Ticks(int64_t ns) {
  return static_cast<uint64_t>(ns / 100);
}

bool Contains(const std::vector<int64_t>& list, int64_t value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

}  // namespace

bool SimulatedCard::ValidChannel(uint32_t channelSpec) const {
  switch (channelSpec & ~kACInput) {
    case RQD5Channel1:
    case RQD5Channel2:
      return true;
    case RQD5Channel9:
    case RQD5Channel10:
      return board_->videoOut > 2;
    default:
      return false;
  }
}

AutoCirculateRing* SimulatedCard::FindRing(uint32_t channelSpec) {
  const auto found = rings_.find(channelSpec);
  return found == rings_.end() ? nullptr : &found->second;
}

bool SimulatedCard::Init(const InitRequest& request) {
  const std::lock_guard<std::mutex> lock(group_->mutex);
  Advance();
  if (!ValidChannel(request.channelSpec) || description_.faults.refuseInit) return false;
  if (request.first < 0 || request.last < request.first ||
      static_cast<uint32_t>(request.last) >= FrameCountNow()) {
    return false;
  }
  // One channel goes one way at a time.
  const AutoCirculateRing* other = FindRing(request.channelSpec ^ kACInput);
  if (other != nullptr && other->Moves()) return false;
  AutoCirculateRing& ring = rings_[request.channelSpec];
  if (ring.Moves()) return false;
  const uint64_t generation = ring.generation + 1;
  ring = {};
  ring.generation = generation;
  ring.channelSpec = request.channelSpec;
  ring.input = (request.channelSpec & kACInput) != 0;
  ring.state = ACStateInitialised;
  ring.first = static_cast<uint32_t>(request.first);
  ring.last = static_cast<uint32_t>(request.last);
  ring.next = ring.first;
  ring.audio = request.audio;
  std::copy_n(request.options, 3, ring.options);
  uint32_t& control = registers_[kControlRegisters[ChannelIndex(ring.Channel())]];
  control = (control & ~1u) | (ring.input ? 1u : 0u);
  if (ring.input) {
    InputConnector* connector = ConnectorOfChannel(ring.Channel());
    const bool shared = std::any_of(rings_.begin(), rings_.end(), [&](const auto& entry) {
      return entry.second.input && entry.second.Moves() &&
             ConnectorOfChannel(entry.second.Channel()) == connector;
    });
    if (connector != nullptr && !shared) connector->Cue(AudioRate(ring.Channel()));
  }
  return true;
}

bool SimulatedCard::Start(uint32_t channelSpec) {
  const std::lock_guard<std::mutex> lock(group_->mutex);
  Advance();
  AutoCirculateRing* ring = FindRing(channelSpec);
  if (ring == nullptr || ring->state != ACStateInitialised) return false;
  if (description_.faults.refuseStart) return false;
  ring->state = ACStateStarting;
  return true;
}

bool SimulatedCard::Stop(uint32_t channelSpec) {
  const std::lock_guard<std::mutex> lock(group_->mutex);
  Advance();
  if (!ValidChannel(channelSpec)) return false;
  AutoCirculateRing* ring = FindRing(channelSpec);
  if (ring != nullptr && ring->state != ACStateIdle) ring->state = ACStateStopping;
  return true;
}

bool SimulatedCard::Abort(uint32_t channelSpec) {
  const std::lock_guard<std::mutex> lock(group_->mutex);
  Advance();
  if (!ValidChannel(channelSpec)) return false;
  AutoCirculateRing* ring = FindRing(channelSpec);
  if (ring != nullptr) ToIdle(ring);
  return true;
}

// The active frame stays on the output as a still picture, and the counts stay to be read.
void SimulatedCard::ToIdle(AutoCirculateRing* ring) {
  HoldStill(ring);
  ring->state = ACStateIdle;
  ++ring->generation;
  ring->waiting.clear();
  ring->incoming = {};
  if (ring->input) {
    ring->slots.clear();
    return;
  }
  for (auto& [number, slot] : ring->slots) {
    if (number != ring->active) slot.state = RingSlot::State::kFree;
  }
  Output* output = FindOutput(ChannelIndex(ring->Channel()) + 1);
  output->recording = false;
  output->sound.clear();
}

bool SimulatedCard::RunFaultDrops(const AutoCirculateRing& ring) const {
  return Contains(description_.faults.dropAt, ring.runFrame);
}

void SimulatedCard::FillStamp(const AutoCirculateRing& ring, RQD5FrameStamp* stamp) {
  stamp->channelSpec = ring.channelSpec;
  stamp->boundaryTime = Ticks(nowNs_);
  stamp->frameNumber = ring.active;
  stamp->framesProcessed = ring.processed;
  stamp->audioClock = AudioClock(nowNs_);
}

// What a stamp tells of the moment in which it is handed out.
void SimulatedCard::FillMoment(const AutoCirculateRing& ring, RQD5FrameStamp* stamp) const {
  stamp->line = OutputLine();
  stamp->now = Ticks(nowNs_);
  stamp->framesDropped = ring.dropped;
  stamp->bufferLevel = static_cast<uint32_t>(ring.waiting.size());
}

bool SimulatedCard::Status(uint32_t channelSpec, RQD5AutoCirculateStatus* status) {
  const std::lock_guard<std::mutex> lock(group_->mutex);
  Advance();
  if (!ValidChannel(channelSpec)) return false;
  *status = {};
  status->channelSpec = channelSpec;
  status->activeFrame = kACNoFrame;
  const AutoCirculateRing* ring = FindRing(channelSpec);
  if (ring == nullptr) return true;
  status->state = ring->state;
  status->startFrame = ring->first;
  status->endFrame = ring->last;
  status->activeFrame = ring->active;
  status->startTime = Ticks(ring->startNs);
  status->boundaryTime = Ticks(ring->boundaryNs);
  status->audioClockStart = AudioClock(ring->startNs);
  status->audioClockNow = AudioClock(nowNs_);
  status->framesProcessed = ring->processed;
  status->framesDropped = ring->dropped;
  status->bufferLevel = static_cast<uint32_t>(ring->waiting.size());
  status->withAudio = ring->audio ? 1 : 0;
  status->option0 = ring->options[0] ? 1 : 0;
  status->option1 = ring->options[1] ? 1 : 0;
  status->option2 = ring->options[2] ? 1 : 0;
  status->timecodePresent = ring->timecodePresent ? 1 : 0;
  return true;
}

bool SimulatedCard::Stamp(uint32_t channelSpec, uint32_t frame, RQD5FrameStamp* stamp) {
  const std::lock_guard<std::mutex> lock(group_->mutex);
  Advance();
  AutoCirculateRing* ring = FindRing(channelSpec);
  if (ring == nullptr || frame < ring->first || frame > ring->last) return false;
  *stamp = ring->Slot(frame).stamp;
  stamp->channelSpec = channelSpec;
  stamp->frameNumber = frame;
  FillMoment(*ring, stamp);
  return true;
}

void SimulatedCard::FillTransferStatus(AutoCirculateRing* ring, int32_t frame,
                                       RQD5AutoCirculateTransferStatus* status) {
  *status = {};
  status->channelSpec = ring->channelSpec;
  status->state = ring->state;
  status->transferFrame = frame;
  status->bufferLevel = static_cast<uint32_t>(ring->waiting.size());
  status->framesProcessed = ring->processed;
  status->framesDropped = ring->dropped;
  if (frame < 0) return;
  status->stamp = ring->Slot(static_cast<uint32_t>(frame)).stamp;
  FillMoment(*ring, &status->stamp);
  status->audioBytes = status->stamp.audioBytes;
  status->audioStartChannel = status->stamp.audioStartChannel;
}

}  // namespace morvane
