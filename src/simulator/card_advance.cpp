#include <algorithm>
#include <limits>

#include "simulator/simulated_card.h"

// Time: what happens at frame boundaries.
namespace morvane {
namespace {

constexpr uint32_t kOutputFrameRegisters[] = {2, 6, 289, 290};
constexpr int64_t kNever = std::numeric_limits<int64_t>::max();
constexpr uint32_t kLoopChannels = 16;
// Time that may have passed while a card was brought up to date: a pause that nobody on the serial
// line takes for silence.
constexpr int64_t kCaughtUpNs = 1000000;
constexpr int kMostRounds = 16;
// A card that is still so late after them never gets up to date while it records on tape.
constexpr int64_t kMuchTooLateNs = 1000000000;

// The sound and picture that a cable brought.
class CableFrame : public SignalFrame {
 public:
  CableFrame(PictureRef picture, std::vector<int32_t> sound)
      : picture_(std::move(picture)), sound_(std::move(sound)) {}
  PictureRef Picture() override { return picture_; }
  void Sound(int64_t, int64_t count, uint32_t channels, int32_t* out) override {
    for (int64_t i = 0; i < count; ++i) {
      for (uint32_t c = 0; c < channels; ++c) {
        const size_t at = static_cast<size_t>(i) * kLoopChannels + c;
        out[i * channels + c] = c < kLoopChannels && at < sound_.size() ? sound_[at] : 0;
      }
    }
  }
  void SetSound(std::vector<int32_t> sound) { sound_ = std::move(sound); }

 private:
  PictureRef picture_;
  std::vector<int32_t> sound_;
};

RQD5Rp188 StampOf(const Rp188Timecode& timecode) {
  return {timecode.flags, timecode.low, timecode.high};
}

}  // namespace

void CardGroup::AdvanceTo(int64_t nowNs) {
  for (;;) {
    int64_t at = kNever;
    for (const SimulatedCard* card : cards) {
      if (card->Moves()) at = std::min(at, card->nextBoundaryNs_);
    }
    int64_t deck = kNever;
    for (const SimulatedCard* card : cards) deck = std::min(deck, card->NextDeckNs());
    if (std::min(at, deck) > nowNs) break;
    if (deck < at) {
      for (SimulatedCard* card : cards) card->SkipTo(deck);
      continue;
    }
    for (SimulatedCard* card : cards) {
      if (card->nextBoundaryNs_ < at) card->SkipTo(at - 1);
    }
    std::vector<SimulatedCard*> due;
    for (SimulatedCard* card : cards) {
      if (card->nextBoundaryNs_ == at) due.push_back(card);
    }
    for (SimulatedCard* card : due) card->PassOutputs(at);
    for (SimulatedCard* card : due) card->PassInputs(at);
  }
  for (SimulatedCard* card : cards) card->SkipTo(nowNs);
}

void SimulatedCard::Advance() {
  int64_t nowNs = std::max(clock_->NowNs(), nowNs_);
  int64_t lateNs = 0;
  // To pass what was missed takes time too, most of all while a tape machine records; what goes by
  // meanwhile is passed as well, so that a request is executed when it comes.
  for (int round = 0; round < kMostRounds; ++round) {
    group_->AdvanceTo(nowNs);
    lateNs = clock_->NowNs() - nowNs;
    if (lateNs < kCaughtUpNs) return;
    nowNs += lateNs;
  }
  if (lateNs < kMuchTooLateNs) return;
  // Written more slowly than the tape runs, a recording would hold up the card's time for ever.
  for (SimulatedCard* card : group_->cards) {
    if (card->deck_) card->deck_->GiveUpRecording();
  }
  group_->AdvanceTo(nowNs);
}

int64_t SimulatedCard::AdvanceForWait(uint32_t type, int64_t latestNs) {
  const std::lock_guard<std::mutex> lock(group_->mutex);
  const int64_t now = clock_->NowNs();
  // A thread that woke late looks at the card as it was at its deadline.
  const int64_t late = now - nowNs_;
  if (late > 0 && clock_->ProcessNs(now) > latestNs && clock_->ProcessNs(nowNs_) < latestNs) {
    int64_t low = nowNs_;
    int64_t high = now;
    while (high - low > 1) {
      const int64_t middle = low + (high - low) / 2;
      (clock_->ProcessNs(middle) <= latestNs ? low : high) = middle;
    }
    group_->AdvanceTo(low);
  } else {
    group_->AdvanceTo(std::max(now, nowNs_));
  }
  int64_t due = kNever;
  if (type == InterruptOutput || type == InterruptInput1 || type == InterruptInput2) {
    due = nextBoundaryNs_;
  } else if (type == InterruptUartTransmit) {
    due = uart_.TransmitEmptyNs();
  } else if (type == InterruptUartReceive) {
    due = uart_.NextEventNs();
  }
  return due == kNever ? kNever : clock_->ProcessNs(due);
}

bool SimulatedCard::Moves() const {
  return std::any_of(rings_.begin(), rings_.end(),
                     [](const auto& entry) { return entry.second.Moves(); });
}

void SimulatedCard::UpdateNextBoundary() {
  nextBoundaryNs_ = timing_.Runs() ? timing_.BoundaryNs(boundary_ + 1) : kNever;
}

// Time goes on while no ring moves: boundaries are only counted.
void SimulatedCard::SkipTo(int64_t nowNs) {
  nowNs_ = std::max(nowNs_, nowNs);
  if (nextBoundaryNs_ <= nowNs_) {
    const int64_t passed = timing_.IndexAt(nowNs_) - boundary_;
    boundary_ += passed;
    UpdateNextBoundary();
    Raise(InterruptOutput, passed);
    if (InputPresent(FindConnector("input1"))) Raise(InterruptInput1, passed);
    if (InputPresent(FindConnector("input2"))) Raise(InterruptInput2, passed);
  }
  AdvanceLine();
  AdvanceDeck();
}

void SimulatedCard::PassOutputs(int64_t atNs) {
  nowNs_ = atNs;
  AdvanceLine();
  ++boundary_;
  UpdateNextBoundary();
  DrainSound(atNs);
  for (auto& [channel, ring] : rings_) {
    if (!ring.input) StepOutput(&ring);
  }
  AdvanceDeck();
  Raise(InterruptOutput, 1);
}

void SimulatedCard::PassInputs(int64_t) {
  for (auto& [channel, ring] : rings_) {
    if (ring.input) StepInput(&ring);
  }
  if (InputPresent(FindConnector("input1"))) Raise(InterruptInput1, 1);
  if (InputPresent(FindConnector("input2"))) Raise(InterruptInput2, 1);
}

// ---- outputs ----

void SimulatedCard::StepOutput(AutoCirculateRing* ring) {
  switch (ring->state) {
    case ACStateStarting:
      ring->state = ACStateRunning;
      ring->startNs = nowNs_;
      ring->runFrame = 0;
      Show(ring);
      break;
    case ACStateRunning:
      ++ring->runFrame;
      Show(ring);
      break;
    case ACStateStopping:
      ToIdle(ring);
      break;
    default:
      break;
  }
}

void SimulatedCard::Show(AutoCirculateRing* ring) {
  ring->boundaryNs = nowNs_;
  const bool shown = ring->active != kACNoFrame;
  const bool fresh = !ring->waiting.empty() && !RunFaultDrops(*ring);
  if (fresh) {
    if (shown) {
      RingSlot& last = ring->Slot(ring->active);
      last.state = RingSlot::State::kFree;
      last.stamp.audioOutStop = AudioPosition();
    }
    ring->active = ring->waiting.front();
    ring->waiting.pop_front();
    ++ring->processed;
    registers_[kOutputFrameRegisters[ChannelIndex(ring->Channel())]] = ring->active;
    RingSlot& slot = ring->Slot(ring->active);
    slot.state = RingSlot::State::kActive;
    ring->timecodePresent = (slot.stamp.rp188.flags & kRp188Valid) != 0;
    if (!shown) FirstFrameShown();
    FillStamp(*ring, &slot.stamp);
    slot.stamp.audioOutStart = AudioPosition();
    for (uint32_t i = 0; i < std::min(slot.routing.count, kRoutingTableLimit); ++i) {
      const RQD5RoutingEntry& entry = slot.routing.entries[i];
      if (entry.registerNumber >= 4096 && entry.registerNumber < 10000) continue;
      const uint32_t before = Raw(entry.registerNumber);
      const uint32_t shifted = entry.shift < 32 ? entry.value << entry.shift : 0;
      if (Store(entry.registerNumber, (before & ~entry.mask) | (shifted & entry.mask))) {
        Written(entry.registerNumber, before, entry.mask);
      }
    }
  } else if (shown) {
    ++ring->dropped;
  }
  LogBoundary(ring, fresh);
  Record(ring);
}

void SimulatedCard::LogBoundary(AutoCirculateRing* ring, bool fresh) {
  Output* output = FindOutput(ChannelIndex(ring->Channel()) + 1);
  if (!output->log) return;
  OutputLog::Line line;
  line.boundary = boundary_;
  line.seconds = static_cast<double>(nowNs_) * 1e-9;
  line.channel = ring->Channel();
  line.audioSample = audioRuns_ ? AudioSamples(nowNs_) : -1;
  if (ring->active != kACNoFrame) {
    const RingSlot& slot = ring->Slot(ring->active);
    line.kind = fresh ? OutputLog::Line::kFrame : OutputLog::Line::kRepeat;
    line.slot = ring->active;
    line.md5 = slot.md5;
    line.width = slot.layout.width;
    line.height = slot.layout.height;
    line.pitch = slot.layout.pitch;
    line.fourcc = slot.layout.fourcc != 0 ? FourCCText(slot.layout.fourcc) : "";
    line.flip = slot.flip;
    char text[kTimecodeTextBytes] = {};
    const RQD5Rp188& words = slot.stamp.rp188;
    if (UnpackRp188(Rp188Timecode{words.flags, words.low, words.high}, text)) line.rp188 = text;
    line.user = slot.stamp.userData;
  }
  output->log->Write(line);
}

void SimulatedCard::Record(AutoCirculateRing* ring) {
  Output* output = FindOutput(ChannelIndex(ring->Channel()) + 1);
  if (!output->recorder || ring->active == kACNoFrame) return;
  const uint32_t channels = AudioChannels(RQD5Channel1);
  if (output->recording) {
    // The sound of the frame time that has just ended; silence while the ring stands.
    const int64_t r = ring->runFrame;
    const uint32_t rate = AudioRate(RQD5Channel1);
    const int64_t usual = SamplesBefore(r, rate, timing_.scale, timing_.duration) -
                          SamplesBefore(r - 1, rate, timing_.scale, timing_.duration);
    if (output->sound.empty()) output->sound.resize(static_cast<size_t>(usual) * channels);
    const auto frames = static_cast<int64_t>(output->sound.size() / channels);
    output->recorder->PushSound(std::move(output->sound), frames);
    output->sound.clear();
  }
  const RingSlot& slot = ring->Slot(ring->active);
  if (!slot.picture) return;
  MediaWriteFormat format;
  format.width = slot.picture->Width();
  format.height = slot.picture->Height();
  format.rateScale = timing_.scale;
  format.rateDuration = timing_.duration;
  const VideoFormatRow* row = FindVideoFormat(PresentVideoFormat());
  format.interlaced = row != nullptr && row->picture == 0 && row->value != 0;
  format.bottomFirst = Standard() == Standard525;
  format.soundChannels = channels;
  format.soundRate = AudioRate(RQD5Channel1);
  output->recorder->PushPicture(format, slot.picture);
  output->recording = true;
}

// ---- inputs ----

void SimulatedCard::StepInput(AutoCirculateRing* ring) {
  switch (ring->state) {
    case ACStateStarting: {
      ring->state = ACStateRunning;
      ring->startNs = nowNs_;
      ring->runFrame = 0;
      ring->active = ring->first;
      ring->Slot(ring->active).state = RingSlot::State::kFilling;
      InputConnector* connector = ConnectorOfChannel(ring->Channel());
      if (connector != nullptr) {
        connector->Roll(boundary_);
        const int64_t number = connector->FrameNumber(boundary_);
        ring->soundBase =
            SamplesBefore(number, AudioRate(ring->Channel()), timing_.scale, timing_.duration);
        connector->loopSound.clear();
      }
      BeginInput(ring);
      break;
    }
    case ACStateRunning:
      TakeIn(ring);
      ++ring->runFrame;
      BeginInput(ring);
      break;
    case ACStateStopping:
      ToIdle(ring);
      break;
    default:
      break;
  }
  ring->boundaryNs = nowNs_;
}

// The frame that came in since the last boundary is whole.
void SimulatedCard::TakeIn(AutoCirculateRing* ring) {
  if (!ring->incoming.signal) return;
  const uint32_t next = ring->After(ring->active);
  if (RunFaultDrops(*ring) || !ring->IsFree(next)) {
    ++ring->dropped;
    return;
  }
  ++ring->processed;
  RingSlot& slot = ring->Slot(ring->active);
  slot.state = RingSlot::State::kWaiting;
  slot.layout = LayoutOf(ChannelFormat(ring->Channel()));
  slot.captured = std::move(ring->incoming);
  ring->incoming = {};
  InputConnector* connector = ConnectorOfChannel(ring->Channel());
  auto* cable = dynamic_cast<CableFrame*>(slot.captured.frame.get());
  if (cable != nullptr && connector != nullptr) {
    const auto wanted = static_cast<size_t>(slot.captured.soundFrames) * kLoopChannels;
    std::vector<int32_t>& sound = connector->loopSound;
    const auto taken = static_cast<ptrdiff_t>(std::min(wanted, sound.size()));
    cable->SetSound({sound.begin(), sound.begin() + taken});
    sound.erase(sound.begin(), sound.begin() + taken);
  }
  ring->waiting.push_back(ring->active);
  slot.stamp = {};
  FillStamp(*ring, &slot.stamp);
  slot.stamp.boundaryTime = static_cast<uint64_t>(slot.captured.boundaryNs / 100);
  slot.stamp.audioClock = AudioClock(slot.captured.boundaryNs);
  slot.stamp.frameNumber = ring->active;
  const uint32_t channels = AudioChannels(ring->Channel());
  if (ring->audio) {
    slot.stamp.audioBytes = static_cast<uint32_t>(slot.captured.soundFrames) * channels * 4;
    const uint32_t bytes = AudioRingBytes();
    const auto start = static_cast<uint64_t>(slot.captured.soundPosition) * channels * 4;
    slot.stamp.audioInStart = static_cast<uint32_t>(start % bytes);
    slot.stamp.audioInStop = static_cast<uint32_t>((start + slot.stamp.audioBytes) % bytes);
  }
  if (ring->options[0]) {
    slot.stamp.rp188 = StampOf(slot.captured.timecode);
    if (description_.identity == BoardLarch) slot.stamp.externalLtc = slot.stamp.rp188;
  }
  ring->timecodePresent = (slot.captured.timecode.flags & kRp188Valid) != 0;
  ring->active = next;
  ring->Slot(next).state = RingSlot::State::kFilling;
}

// The frame that the signal begins now goes into the active slot.
void SimulatedCard::BeginInput(AutoCirculateRing* ring) {
  ring->incoming = {};
  InputConnector* connector = ConnectorOfChannel(ring->Channel());
  if (connector == nullptr || ConnectorFormat(connector) == 0 || InputLost(*ring)) return;
  CapturedFrame& frame = ring->incoming;
  frame.signal = true;
  frame.boundaryNs = nowNs_;
  const uint32_t rate = AudioRate(ring->Channel());
  const auto before = [&](int64_t n) {
    return SamplesBefore(n, rate, timing_.scale, timing_.duration);
  };
  frame.soundFrames = before(ring->runFrame + 1) - before(ring->runFrame);
  frame.soundPosition = ring->soundBase + before(ring->runFrame);
  if (connector->IsLoop()) {
    const Cable& cable = cables_.at(connector);
    const LoopedFrame looped = cable.from->OutputNow(cable.output);
    frame.frame = std::make_shared<CableFrame>(looped.picture, std::vector<int32_t>());
    frame.timecode = looped.timecode;
    return;
  }
  if (connector->IsTape()) {
    if (!deck_) return;
    TapeMachine::Signal signal = deck_->Output(rate, nowNs_);
    frame.frame = std::move(signal.frame);
    frame.timecode = signal.timecode;
    if (signal.soundFrames > 0) {  // cut by the tape's own pictures
      frame.soundPosition = signal.soundPosition;
      frame.soundFrames = signal.soundFrames;
    }
    return;
  }
  const int64_t number = connector->FrameNumber(boundary_);
  if (connector->StartsWithCapture()) {  // its sound is cut by its own frames
    frame.soundPosition = before(number);
    frame.soundFrames = before(number + 1) - before(number);
  }
  frame.frame = connector->Frame(number);
  frame.timecode = connector->Timecode(number);
}

}  // namespace morvane
