#include "playback/audio_fill.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

#include "base/byte_order.h"

namespace morvane {
namespace {

constexpr double kFullScale = 2147483648.0;
constexpr double kToneHertz = 1000.0;

// Truncated, with what lies beyond 32 bits held at their ends.
int32_t Truncated(double value) {
  if (value >= kFullScale - 1) return INT32_MAX;
  if (value <= -kFullScale) return INT32_MIN;
  return std::isnan(value) ? 0 : static_cast<int32_t>(value);
}

uint32_t Load24(const uint8_t* raw, bool bigEndian) {
  const uint32_t first = raw[0];
  const uint32_t last = raw[2];
  return bigEndian ? first << 16 | uint32_t{raw[1]} << 8 | last
                   : last << 16 | uint32_t{raw[1]} << 8 | first;
}

}  // namespace

int32_t SampleFrom(const uint8_t* raw, int32_t bits, bool floatingPoint, bool bigEndian) {
  switch (bits) {
    case 16:
      return static_cast<int32_t>(uint32_t{bigEndian ? LoadBe16(raw) : LoadLe16(raw)} << 16);
    case 24:
      return static_cast<int32_t>(Load24(raw, bigEndian) << 8);
    case 32: {
      const uint32_t word = bigEndian ? LoadBe32(raw) : LoadLe32(raw);
      if (!floatingPoint) return static_cast<int32_t>(word);
      return Truncated(static_cast<double>(std::bit_cast<float>(word)) * kFullScale);
    }
    default:
      return 0;
  }
}

SoundFiller::SoundFiller(const SoundPlan& plan, const PlaybackSound& sound)
    : plan_(plan), sound_(sound) {}

const std::vector<int32_t>& SoundFiller::Silence(uint32_t samples) {
  samples_.assign(size_t{samples} * static_cast<size_t>(plan_.cardTracks), 0);
  return samples_;
}

const std::vector<int32_t>& SoundFiller::Fill(int32_t frame, uint32_t samples, double speed,
                                              bool scrub) {
  Silence(samples);
  const bool wanted = scrub || speed == 1.0 || plan_.variSpeed;
  if (!wanted) return samples_;
  switch (plan_.timeline.Classify(frame)) {
    case FrameClass::Bars:
      FillTone(samples);
      break;
    case FrameClass::Clip:
      FillClip(plan_.timeline.ClipFrame(frame), samples, speed < 0);
      break;
    case FrameClass::Leader:
    case FrameClass::Trailer:
      break;
  }
  return samples_;
}

// All tracks carry the same tone.
void SoundFiller::FillTone(uint32_t samples) {
  const double period = plan_.sampleRate / kToneHertz;
  const double level = plan_.toneLevel / 100.0;
  auto out = samples_.begin();
  for (uint32_t i = 0; i < samples; ++i) {
    const double turn = 2 * std::numbers::pi * tonePhase_ / period;
    const int32_t sample = Truncated(std::sin(turn) * level * kFullScale + 0.5);
    out = std::fill_n(out, plan_.cardTracks, sample);
    tonePhase_ += 1;
    if (tonePhase_ >= period) tonePhase_ -= period;
  }
}

bool SoundFiller::IsAudible(int32_t track, int32_t clipFrame) const {
  const AudioTrackSource& source = sound_.tracks[track];
  if (source.media == nullptr || !plan_.enabled[track]) return false;
  const int32_t frame = clipFrame + source.slip;
  if (frame < 0 || frame >= source.length) return false;
  return source.sampleRate == plan_.sampleRate;
}

// Tracks that come from one file are read once and spread together.
void SoundFiller::FillClip(int32_t clipFrame, uint32_t samples, bool backwards) {
  const int32_t tracks = std::min<int32_t>(plan_.cardTracks, kPlaybackTracks);
  bool done[kPlaybackTracks] = {};
  for (int32_t first = 0; first < tracks; ++first) {
    if (done[first] || !IsAudible(first, clipFrame)) continue;
    const AudioTrackSource& source = sound_.tracks[first];
    const bool read = ReadFile(source, clipFrame, samples);
    for (int32_t track = first; track < tracks; ++track) {
      const AudioTrackSource& other = sound_.tracks[track];
      const bool same = other.media == source.media && other.file == source.file &&
                        other.slip == source.slip && IsAudible(track, clipFrame);
      if (!same) continue;
      done[track] = true;
      if (read) Spread(other, track, samples, backwards);
    }
  }
}

bool SoundFiller::ReadFile(const AudioTrackSource& source, int32_t clipFrame, uint32_t samples) {
  const size_t frameBytes = static_cast<size_t>(source.channels) * (source.bitsPerSample / 8);
  raw_.assign(samples * frameBytes, 0);
  NxAudioReadRequest request;
  request.file = source.file;
  request.timeScale = static_cast<int32_t>(plan_.rateScale);
  request.timeRate = static_cast<int32_t>(plan_.rateDuration);
  request.frame = clipFrame + source.slip;
  request.buffer = raw_.data();
  request.bytes = static_cast<int32_t>(raw_.size());
  return request.bytes > 0 && source.media->ReadAudio(&request) == NxErrSuccess;
}

void SoundFiller::Spread(const AudioTrackSource& source, int32_t track, uint32_t samples,
                         bool backwards) {
  const size_t sampleBytes = static_cast<size_t>(source.bitsPerSample) / 8;
  const size_t step = sampleBytes * static_cast<size_t>(source.channels);
  const uint8_t* raw = raw_.data() + sampleBytes * static_cast<size_t>(source.channel);
  for (uint32_t i = 0; i < samples; ++i) {
    const size_t at = backwards ? samples - 1 - i : i;
    samples_[size_t{i} * static_cast<size_t>(plan_.cardTracks) + static_cast<size_t>(track)] =
        SampleFrom(raw + at * step, source.bitsPerSample, source.floatingPoint, source.bigEndian);
  }
}

}  // namespace morvane
