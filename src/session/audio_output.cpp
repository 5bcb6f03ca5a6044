#include "session/audio_output.h"

#include <cstring>

#include "device/boards.h"
#include "session/catalogue_table.h"

namespace morvane {
namespace {

struct RateItem {
  const char* text;
  float rate;
};
constexpr RateItem kRates[] = {{"48kHz", 48000.0f}, {"96kHz", 96000.0f}};

struct LevelItem {
  const char* text;
  uint32_t value;
};
constexpr LevelItem kLevels[] = {{"Gain @ 6 dB", 0}, {"Gain @ 0 dB", 1}};

void StoreText(char (&field)[32], const std::string& text) {
  std::memset(field, 0, sizeof field);
  std::memcpy(field, text.data(), text.size() < sizeof field ? text.size() : sizeof field - 1);
}

}  // namespace

uint64_t AudioSamplesUpTo(uint64_t frames, uint32_t sampleRate, uint32_t scale, uint32_t duration) {
  if (scale == 0) return 0;
  return (2 * frames * sampleRate * duration + scale) / (2 * uint64_t{scale});
}

uint32_t AudioSamplesOfFrame(uint64_t frame, uint32_t sampleRate, uint32_t scale,
                             uint32_t duration) {
  return static_cast<uint32_t>(AudioSamplesUpTo(frame + 1, sampleRate, scale, duration) -
                               AudioSamplesUpTo(frame, sampleRate, scale, duration));
}

CRQD5AudioOutput::CRQD5AudioOutput() = default;
CRQD5AudioOutput::~CRQD5AudioOutput() = default;

bool CRQD5AudioOutput::RequireOpen() {
  if (IsOpen()) return true;
  lastError_ = "Board Not Opened";
  return false;
}

void CRQD5AudioOutput::GetDefaultFormat(AudioSettingsBlock* settings) {
  std::memset(settings, 0, sizeof *settings);
  StoreText(settings->name, kRates[0].text);
  settings->rate = kRates[0].rate;
  StoreText(settings->levelText, kLevels[0].text);
}

void CRQD5AudioOutput::GetFormat(AudioSettingsBlock* settings) const {
  std::memset(settings, 0, sizeof *settings);
  StoreText(settings->name, sampleRateText_);
  settings->rate = sampleRate_;
  settings->index = sampleRateIndex_;
  StoreText(settings->levelText, levelText_);
  settings->levelIndex = levelIndex_;
}

bool CRQD5AudioOutput::SetFormat(const AudioSettingsBlock& settings) {
  if (!RequireOpen()) return false;
  const uint32_t rates = GetNumSampleRates();
  for (uint32_t i = 0; i < rates; ++i) {
    if (settings.rate != kRates[i].rate) continue;
    sampleRateText_ = kRates[i].text;
    sampleRate_ = kRates[i].rate;
    sampleRateIndex_ = i;
    if (settings.levelIndex < GetNumLevels()) {
      levelIndex_ = settings.levelIndex;
      levelText_ = kLevels[levelIndex_].text;
    }
    return true;
  }
  return false;
}

uint32_t CRQD5AudioOutput::GetNumSampleRates() {
  if (!RequireOpen()) return 0;
  return BoardID() == BoardElm ? 2 : 1;
}

bool CRQD5AudioOutput::GetSampleRateDesc(uint32_t index, std::string* text, float* rate) {
  if (index >= GetNumSampleRates()) return false;
  *text = kRates[index].text;
  *rate = kRates[index].rate;
  return true;
}

uint32_t CRQD5AudioOutput::GetNumLevels() {
  if (!RequireOpen()) return 0;
  return BoardHasAudioLevels(BoardID()) ? 2 : 0;
}

bool CRQD5AudioOutput::GetLevelDesc(uint32_t index, std::string* text, uint32_t* value) {
  if (index >= GetNumLevels()) {
    *text = "None";
    return false;
  }
  *text = kLevels[index].text;
  *value = kLevels[index].value;
  return true;
}

bool CRQD5AudioOutput::SetLevel(uint32_t index) {
  if (index >= GetNumLevels()) return false;
  if (!WriteField(RegisterField::AudioBufferSize, kLevels[index].value, 0)) return false;
  levelIndex_ = index;
  levelText_ = kLevels[index].text;
  return true;
}

// Deliberate: mutes and nothing more; the output keeps its reset bit.
bool CRQD5AudioOutput::Reset() {
  if (!RequireOpen()) return false;
  const bool muted = WriteField(RegisterField::AudioMute, 1);
  writeOffset_ = 0;
  wrapCount_ = 0;
  ringPosition_ = 0;
  full_ = false;
  lastPosition_ = 0;
  playedPasses_ = 0;
  return muted;
}

bool CRQD5AudioOutput::Start(uint32_t channels) {
  if (!RequireOpen()) return false;
  if (running_) return true;
  const bool elm = BoardID() == BoardElm;
  RefreshMemoryFigures();
  bool good = Reset();
  // Deliberate: 96 kHz is told by the loop-back flag, not by the rate flag.
  good &= WriteField(RegisterField::AudioLoopBack, elm && sampleRateIndex_ == 1 ? 1 : 0, 0);
  good &= WriteField(RegisterField::AudioReset, 1);
  good &= WriteField(RegisterField::AudioBigBuffer, elm ? 1 : 0, 0);
  ringSize_ = elm ? kAudioBigRingBytes : kAudioRingBytes;
  uint32_t count = 6;
  if (channels != 6 && elm) {
    count = 16;
  } else if (channels != 6 && BoardHasEightChannelAudio(BoardID())) {
    count = 8;
  }
  good &= SetAudioChannels(count, RQD5Channel1);
  channels_ = count;
  good &= WriteField(RegisterField::AudioBufferSize, kLevels[levelIndex_].value, 0);
  running_ = good;
  return good;
}

bool CRQD5AudioOutput::Stop() {
  if (!RequireOpen()) return false;
  if (!running_) return true;
  bool good = true;
  if (BoardID() == BoardElm) good &= WriteField(RegisterField::AudioBigBuffer, 0, 0);
  good &= WriteField(RegisterField::AudioReset, 0);
  running_ = false;
  return good;
}

bool CRQD5AudioOutput::Play(uint32_t mode) {
  if (!RequireOpen()) return false;
  lastPosition_ = 0;
  playedPasses_ = 0;
  return WriteField(RegisterField::AudioResetTrigger, mode);
}

// Whether `bytes` fit between the write offset and the play position, and how they are split at
// the ring's end. Equal positions are an empty ring, unless the last write filled it up to the play
// position, which has not moved since: then there is no room at all.
bool CRQD5AudioOutput::Room(uint32_t bytes, Parts* parts) {
  if (!ReadField(RegisterField::AudioPosition, &parts->position)) return false;
  const uint32_t position = parts->position;
  if (position != writeOffset_) full_ = false;
  if (full_) return false;
  const uint64_t end = uint64_t{writeOffset_} + bytes;
  if (end < ringSize_) {
    parts->first = bytes;
    parts->second = 0;
    return position <= writeOffset_ || position >= end;
  }
  // Deliberate: a write that ends exactly at the ring's end goes here, with a second part of 0, and
  // the write offset then stands at the ring's size.
  parts->first = ringSize_ - writeOffset_;
  parts->second = static_cast<uint32_t>(end - ringSize_);
  uint32_t muted = 1;
  if (!ReadField(RegisterField::AudioMute, &muted) || muted != 0) return false;
  return position <= writeOffset_ && position >= end - ringSize_;
}

bool CRQD5AudioOutput::CanWrite(uint32_t bytes) {
  Parts parts;
  return RequireOpen() && Room(bytes, &parts);
}

bool CRQD5AudioOutput::WritePart(const void* samples, uint32_t offset, uint32_t bytes) {
  if (bytes == 0) return true;
  return DmaWriteWithOffset(kDmaEngineAudio, FrameSlots() - 1, samples, offset, bytes, true);
}

bool CRQD5AudioOutput::Write(const void* samples, uint32_t bytes) {
  Parts parts;
  if (!RequireOpen() || !Room(bytes, &parts)) return false;
  if (!WritePart(samples, writeOffset_, parts.first)) return false;
  writeOffset_ += parts.first;
  if (parts.second != 0) {
    const auto* rest = static_cast<const uint8_t*>(samples) + parts.first;
    if (!WritePart(rest, 0, parts.second)) return false;
    writeOffset_ = parts.second;
  }
  full_ = bytes != 0 && writeOffset_ == parts.position;
  ringPosition_ += bytes;
  if (ringPosition_ >= ringSize_) {
    ++wrapCount_;
    ringPosition_ -= ringSize_;
  }
  return true;
}

uint64_t CRQD5AudioOutput::GetSamplesPlayed() {
  if (!RequireOpen()) return 0;
  uint32_t position = lastPosition_;
  uint32_t muted = 0;
  ReadField(RegisterField::AudioPosition, &position);
  if (position < lastPosition_) {
    // Round the ring, or silenced: a muted ring reads 0 and has not gone on.
    if (ReadField(RegisterField::AudioMute, &muted) && muted != 0) {
      position = lastPosition_;
    } else {
      ++playedPasses_;
    }
  }
  lastPosition_ = position;
  return (uint64_t{playedPasses_} * ringSize_ + position) / (uint64_t{channels_} * 4);
}

uint32_t CRQD5AudioOutput::GetFrameSamples(uint32_t frame, uint32_t scale,
                                           uint32_t duration) const {
  return AudioSamplesOfFrame(frame, static_cast<uint32_t>(sampleRate_), scale, duration);
}

uint32_t CRQD5AudioOutput::GetFramesPlayed(uint32_t scale, uint32_t duration) {
  const uint64_t samples = GetSamplesPlayed();
  const auto rate = static_cast<uint32_t>(sampleRate_);
  if (duration == 0) return 0;
  uint64_t frames = samples * scale / (uint64_t{rate} * duration);
  while (AudioSamplesUpTo(frames + 1, rate, scale, duration) <= samples) ++frames;
  while (frames > 0 && AudioSamplesUpTo(frames, rate, scale, duration) > samples) --frames;
  return static_cast<uint32_t>(frames);
}

}  // namespace morvane
