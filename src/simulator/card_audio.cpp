#include <algorithm>
#include <cstring>

#include "base/byte_order.h"
#include "simulator/simulated_card.h"

// The audio ring of the output: where it plays, and what it has played.
namespace morvane {
namespace {

constexpr uint32_t kControlRegisters[] = {24, 240, 278, 279};
constexpr uint32_t kMute = 1u << 9;
constexpr uint32_t kRun = 1u << 12;
constexpr uint32_t kEightChannels = 1u << 16;
constexpr uint32_t k96kHz = 1u << 18;
constexpr uint32_t kSixteenChannels = 1u << 20;
constexpr uint32_t kBigRing = 1u << 31;
constexpr uint32_t kRingBytes = 0xFF000;
constexpr uint32_t kBigRingBytes = 0x3FC000;
constexpr uint32_t kLoopChannels = 16;

}  // namespace

uint32_t SimulatedCard::AudioControl(uint32_t channel) const {
  const uint32_t system = std::min(ChannelIndex(channel), std::max(board_->audioSystems, 1u) - 1);
  return registers_[kControlRegisters[system]];
}

uint32_t SimulatedCard::AudioChannels(uint32_t channel) const {
  const uint32_t control = AudioControl(channel);
  if ((control & kSixteenChannels) != 0) return 16;
  return (control & kEightChannels) != 0 ? 8 : 6;
}

uint32_t SimulatedCard::AudioRate(uint32_t channel) const {
  const bool fast = BoardHasAudio96k(description_.identity);
  return fast && (AudioControl(channel) & k96kHz) != 0 ? 96000 : 48000;
}

uint32_t SimulatedCard::AudioRingBytes() const {
  return (registers_[24] & kBigRing) != 0 ? kBigRingBytes : kRingBytes;
}

void SimulatedCard::UpdateAudio(bool restart) {
  const bool allowed = (registers_[24] & (kMute | kRun)) == kRun;
  const bool mode = audioMode_ == 0 || (audioMode_ == 3 && audioArmFired_);
  const bool runs = allowed && mode;
  if (runs && (!audioRuns_ || restart)) {
    audioStartNs_ = nowNs_;
    audioDrained_ = 0;
  }
  audioRuns_ = runs;
}

int64_t SimulatedCard::AudioSamples(int64_t nowNs) const {
  return audioRuns_ ? SamplesIn(nowNs - audioStartNs_, AudioRate(RQD5Channel1)) : 0;
}

uint32_t SimulatedCard::AudioPosition() const {
  const uint64_t bytes =
      static_cast<uint64_t>(AudioSamples(nowNs_)) * AudioChannels(RQD5Channel1) * 4;
  return static_cast<uint32_t>(bytes % AudioRingBytes());
}

// The audio clock stands on whole samples.
uint64_t SimulatedCard::AudioClock(int64_t nowNs) const {
  const uint64_t rate = AudioRate(RQD5Channel1);
  const auto samples = static_cast<uint64_t>(SamplesIn(nowNs, static_cast<uint32_t>(rate)));
  return samples / rate * 10000000 + samples % rate * 10000000 / rate;
}

// The driver owns the mute bit here: it opens when the ring runs and closes when it stops.
void SimulatedCard::SetAudioMode(uint32_t mode) {
  audioMode_ = mode;
  if (mode == 0) registers_[24] &= ~kMute;
  if (mode == 2) registers_[24] |= kMute;
  if (mode == 3) audioArmFired_ = false;
  UpdateAudio(mode == 0);
}

void SimulatedCard::FirstFrameShown() {
  if (audioMode_ != 3 || audioArmFired_) return;
  audioArmFired_ = true;
  registers_[24] &= ~kMute;
  UpdateAudio(true);
}

bool SimulatedCard::SoundIsWanted() const {
  if (deck_ && deck_->RecordsOrWill()) return true;
  return std::any_of(outputs_.begin(), outputs_.end(), [](const Output& output) {
    return (output.recorder && output.recording) || !output.loops.empty();
  });
}

// Hands on what has been played up to `nowNs`, before the application may write over it.
void SimulatedCard::DrainSound(int64_t nowNs) {
  const int64_t played = AudioSamples(nowNs);
  const int64_t from = audioDrained_;
  audioDrained_ = std::max(from, played);
  if (played <= from || !SoundIsWanted()) return;
  const uint32_t channels = AudioChannels(RQD5Channel1);
  const uint32_t ring = AudioRingBytes();
  std::vector<int32_t> samples(static_cast<size_t>(played - from) * channels);
  for (size_t i = 0; i < samples.size(); ++i) {
    const uint64_t byte = (static_cast<uint64_t>(from) * channels + i) * 4 % ring;
    samples[i] = static_cast<int32_t>(LoadLe32(audioRing_.data() + byte));
  }
  if (deck_) deck_->PushSound(samples, channels, AudioRate(RQD5Channel1));
  for (Output& output : outputs_) {
    if (output.recorder && output.recording) {
      output.sound.insert(output.sound.end(), samples.begin(), samples.end());
    }
    for (InputConnector* loop : output.loops) {
      // A cable that nobody takes from holds no more than a second.
      std::vector<int32_t>& sound = loop->loopSound;
      if (sound.size() > static_cast<size_t>(48000) * kLoopChannels) sound.clear();
      for (size_t i = 0; i < samples.size(); i += channels) {
        const size_t at = sound.size();
        sound.resize(at + kLoopChannels);
        std::copy_n(samples.data() + i, std::min(channels, kLoopChannels), sound.data() + at);
      }
    }
  }
}

}  // namespace morvane
