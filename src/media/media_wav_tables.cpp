// What a WAV clip can hold, and how many samples each picture frame covers.
#include <algorithm>
#include <iterator>

#include "media/media_wav.h"

namespace morvane {
namespace {

struct AudioRow {
  FourCCCode fourcc;
  const char* name;
  int32_t channels;
  int32_t sampleRate;
  int32_t bits;
};

// clang-format off
constexpr AudioRow kAudioRows[] = {
  { FourCC("16au"), "48kHz 16-bit PCM Mono",     1, 48000, 16 },
  { FourCC("24au"), "48kHz 24-bit PCM Mono",     1, 48000, 24 },
  { FourCC("32au"), "48kHz 32-bit PCM Mono",     1, 48000, 32 },
  { FourCC("32af"), "48kHz 32-bit Float Mono",   1, 48000, 32 },
  { FourCC("16au"), "48kHz 16-bit PCM Stereo",   2, 48000, 16 },
  { FourCC("24au"), "48kHz 24-bit PCM Stereo",   2, 48000, 24 },
  { FourCC("32au"), "48kHz 32-bit PCM Stereo",   2, 48000, 32 },
  { FourCC("32af"), "48kHz 32-bit Float Stereo", 2, 48000, 32 },
  { FourCC("16au"), "96kHz 16-bit PCM Mono",     1, 96000, 16 },
  { FourCC("24au"), "96kHz 24-bit PCM Mono",     1, 96000, 24 },
  { FourCC("32au"), "96kHz 32-bit PCM Mono",     1, 96000, 32 },
  { FourCC("32af"), "96kHz 32-bit Float Mono",   1, 96000, 32 },
  { FourCC("16au"), "96kHz 16-bit PCM Stereo",   2, 96000, 16 },
  { FourCC("24au"), "96kHz 24-bit PCM Stereo",   2, 96000, 24 },
  { FourCC("32au"), "96kHz 32-bit PCM Stereo",   2, 96000, 32 },
  { FourCC("32af"), "96kHz 32-bit Float Stereo", 2, 96000, 32 },
};

// A cycle of five frames: samples before frames 1 to 4 of it, and of the whole. Exact rates have
// equal steps.
struct CadenceRow {
  int32_t timeScale;
  int32_t timeRate;
  int32_t at48[5];
  int32_t at96[5];
};
constexpr CadenceRow kCadences[] = {
  { 15000, 1000, { 3200, 6400, 9600, 12800, 16000 }, { 6400, 12800, 19200, 25600, 32000 } },
  { 24000, 1001, { 2002, 4004, 6006,  8008, 10010 }, { 4004,  8008, 12012, 16016, 20020 } },
  { 24000, 1000, { 2000, 4000, 6000,  8000, 10000 }, { 4000,  8000, 12000, 16000, 20000 } },
  { 25000, 1000, { 1920, 3840, 5760,  7680,  9600 }, { 3840,  7680, 11520, 15360, 19200 } },
  { 30000, 1000, { 1600, 3200, 4800,  6400,  8000 }, { 3200,  6400,  9600, 12800, 16000 } },
  { 50000, 1000, {  960, 1920, 2880,  3840,  4800 }, { 1920,  3840,  5760,  7680,  9600 } },
  { 60000, 1000, {  800, 1600, 2400,  3200,  4000 }, { 1600,  3200,  4800,  6400,  8000 } },
  // Deliberate: the offsets at 96 kHz are not twice those at 48.
  { 15000, 1001, { 3204, 6407, 9610, 12813, 16016 }, { 6408, 12815, 19222, 25629, 32032 } },
  { 30000, 1001, { 1602, 3203, 4805,  6406,  8008 }, { 3204,  6407,  9610, 12813, 16016 } },
  // Last: every other rate counts as this one.
  { 60000, 1001, {  800, 1601, 2402,  3203,  4004 }, { 1602,  3203,  4805,  6406,  8008 } },
};
// clang-format on
static_assert(std::size(kAudioRows) == kAudioFormatCount);
static_assert(std::size(kCadences) == 10);

const int32_t* CadenceOf(int32_t timeScale, int32_t timeRate, double sampleRate) {
  const CadenceRow* found = std::end(kCadences) - 1;
  for (const CadenceRow& row : kCadences) {
    if (row.timeScale == timeScale && row.timeRate == timeRate) found = &row;
  }
  return sampleRate == 96000.0 ? found->at96 : found->at48;
}

}  // namespace

NxMediaAudioInfo AudioFormatRow(int index) {
  const AudioRow& row = kAudioRows[index];
  NxMediaAudioInfo info = {};
  info.fourcc = row.fourcc;
  PutText(row.name, info.name, sizeof info.name);
  info.wideName.Set(row.name);
  info.channelsPerFile = row.channels;
  info.sampleRate = static_cast<float>(row.sampleRate);
  info.bitsPerSample = row.bits;
  info.bytesPerFrame = row.bits * row.channels / 8;
  return info;
}

uint64_t AudioSamplesBefore(int64_t frame, int32_t timeScale, int32_t timeRate, double sampleRate) {
  if (frame <= 0) return 0;
  const int32_t* cadence = CadenceOf(timeScale, timeRate, sampleRate);
  const auto cycles = static_cast<uint64_t>(frame / 5);
  const auto rest = static_cast<int>(frame % 5);
  return cycles * static_cast<uint64_t>(cadence[4]) +
         (rest > 0 ? static_cast<uint64_t>(cadence[rest - 1]) : 0);
}

bool HasAudioCadence(int32_t timeScale, int32_t timeRate) {
  return std::any_of(std::begin(kCadences), std::end(kCadences), [&](const CadenceRow& row) {
    return row.timeScale == timeScale && row.timeRate == timeRate;
  });
}

int32_t AudioFramesIn(uint64_t samples, int32_t timeScale, int32_t timeRate, double sampleRate) {
  const int32_t* cadence = CadenceOf(timeScale, timeRate, sampleRate);
  const auto cycle = static_cast<uint64_t>(cadence[4]);
  uint64_t frames = samples / cycle * 5;
  const uint64_t rest = samples % cycle;
  for (int i = 0; i < 4 && static_cast<uint64_t>(cadence[i]) <= rest; ++i) ++frames;
  return frames > INT32_MAX ? INT32_MAX : static_cast<int32_t>(frames);
}

}  // namespace morvane
