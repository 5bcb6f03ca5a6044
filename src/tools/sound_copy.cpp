#include "tools/sound_copy.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/byte_order.h"
#include "media/media_wav.h"

namespace morvane::tools {
namespace {

constexpr uint64_t kSamplesAtOnce = 48000;
constexpr double kFullScale = 2147483648.0;

int32_t BytesOf(FourCCCode format) {
  if (format == FourCC("16au")) return 2;
  return format == FourCC("24au") ? 3 : 4;
}

}  // namespace

double LoadSample(FourCCCode format, const uint8_t* from) {
  if (format == FourCC("32af")) {
    const uint32_t bits = LoadLe32(from);
    float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }
  // Into the top bits of a word, so that all depths have the same full scale.
  uint32_t word = 0;
  const int32_t bytes = BytesOf(format);
  for (int32_t i = 0; i < bytes; ++i) word |= uint32_t{from[i]} << (8 * (4 - bytes + i));
  return static_cast<int32_t>(word) / kFullScale;
}

void StoreSample(FourCCCode format, double value, uint8_t* to) {
  if (format == FourCC("32af")) {
    const auto narrow = static_cast<float>(value);
    uint32_t bits = 0;
    std::memcpy(&bits, &narrow, sizeof bits);
    StoreLe32(to, bits);
    return;
  }
  const int32_t bytes = BytesOf(format);
  const double scale = std::ldexp(1.0, 8 * bytes - 1);
  const double scaled = std::isnan(value) ? 0.0 : std::round(value * scale);
  const auto sample = static_cast<int64_t>(std::clamp(scaled, -scale, scale - 1));
  for (int32_t i = 0; i < bytes; ++i) to[i] = static_cast<uint8_t>(sample >> (8 * i));
}

std::string SoundCopy::Plan(const NxMediaFileInfo& from, NxMediaFileBase& writer,
                            NxMediaAudioInfo* to) {
  const int32_t channels = from.audio.fileCount * from.audio.channelsPerFile;
  const int32_t files = (channels + to->channelsPerFile - 1) / to->channelsPerFile;
  for (int32_t i = 0; i < writer.GetNumAudioWriteFormats(); ++i) {
    NxAudioWriteFormatDescription row = {};
    if (writer.GetAudioWriteFormatDescription(i, &row) != NxErrSuccess) continue;
    if (row.fourcc != to->fourcc || row.channelsPerFile != to->channelsPerFile ||
        row.sampleRate != from.audio.sampleRate) {
      continue;
    }
    const int32_t most = std::min(kMaxAudioFiles, writer.GetMaxAudioFiles(i));
    if (files > most) {
      return std::to_string(channels) + " channels do not fit into " + std::to_string(most) +
             " sound files; choose stereo files with --audio, or --audio none.";
    }
    *to = row;
    to->fileCount = files;
    return {};
  }
  return "The sound cannot be written as \"" + FourCCText(to->fourcc) + "\" with " +
         std::to_string(static_cast<int32_t>(from.audio.sampleRate)) +
         " samples a second in this type; choose another --audio, or none.";
}

SoundCopy::SoundCopy(OpenClip& from, NxMediaFileBase& writer, const NxMediaAudioInfo& to,
                     int32_t first, int32_t scale, int32_t rate)
    : from_(from),
      writer_(writer),
      to_(to),
      first_(first),
      scale_(scale),
      rate_(rate),
      start_(AudioSamplesBefore(first, scale, rate, from.info.audio.sampleRate)),
      files_(static_cast<size_t>(from.info.audio.fileCount)) {}

uint64_t SoundCopy::SamplesBefore(int32_t frame) const {
  return AudioSamplesBefore(int64_t{first_} + frame, scale_, rate_, from_.info.audio.sampleRate) -
         start_;
}

uint64_t SoundCopy::LengthOf(int32_t file) const {
  const uint64_t samples = from_.info.samplesPerFile[file];
  return samples > start_ ? samples - start_ : 0;
}

uint64_t SoundCopy::Length() const {
  uint64_t longest = 0;
  for (int32_t i = 0; i < from_.info.audio.fileCount; ++i) {
    longest = std::max(longest, LengthOf(i));
  }
  return longest;
}

NxErr SoundCopy::CopyUntil(uint64_t samples) {
  const uint64_t end = std::min(samples, Length());
  while (done_ < end) {
    const uint64_t now = std::min(kSamplesAtOnce, end - done_);
    NxErr result = ReadFiles(now);
    if (result == NxErrSuccess) result = WriteFiles(now);
    if (result != NxErrSuccess) return result;
    done_ += now;
  }
  return NxErrSuccess;
}

// Reads the next samples of each file; those behind its end are silent.
NxErr SoundCopy::ReadFiles(uint64_t samples) {
  for (int32_t i = 0; i < from_.info.audio.fileCount; ++i) {
    std::vector<uint8_t>& file = files_[static_cast<size_t>(i)];
    file.assign(samples * static_cast<uint64_t>(from_.info.audio.bytesPerFrame), 0);
    if (done_ >= LengthOf(i)) continue;
    NxAudioReadRequest request;
    request.file = i;
    request.timeScale = scale_;
    request.timeRate = rate_;
    request.frame = done_ == 0 ? first_ : -1;
    request.buffer = file.data();
    request.bytes = static_cast<int32_t>(file.size());
    const NxErr result = from_.file->ReadAudio(&request);
    if (result != NxErrSuccess) return result;
  }
  return NxErrSuccess;
}

NxErr SoundCopy::WriteFiles(uint64_t samples) {
  const NxMediaAudioInfo& from = from_.info.audio;
  const FourCCCode fromFormat = from.fourcc;
  const FourCCCode toFormat = to_.fourcc;
  const auto fromBytes = static_cast<size_t>(BytesOf(fromFormat));
  const auto toBytes = static_cast<size_t>(BytesOf(toFormat));
  const auto step = static_cast<size_t>(from.bytesPerFrame);
  const auto toStep = toBytes * static_cast<size_t>(to_.channelsPerFile);
  for (int32_t file = 0; file < to_.fileCount; ++file) {
    uint64_t length = 0;  // of the longest source that goes into this file
    out_.assign(samples * toStep, 0);
    for (int32_t i = 0; i < to_.channelsPerFile; ++i) {
      const int32_t channel = file * to_.channelsPerFile + i;
      const int32_t source = channel / from.channelsPerFile;
      if (source >= from.fileCount) break;
      length = std::max(length, LengthOf(source));
      const uint8_t* in = files_[static_cast<size_t>(source)].data() +
                          static_cast<size_t>(channel % from.channelsPerFile) * fromBytes;
      uint8_t* out = out_.data() + static_cast<size_t>(i) * toBytes;
      for (uint64_t n = 0; n < samples; ++n) {
        if (fromFormat == toFormat) {
          std::memcpy(out + n * toStep, in + n * step, toBytes);
        } else {
          StoreSample(toFormat, LoadSample(fromFormat, in + n * step), out + n * toStep);
        }
      }
    }
    if (length <= done_) continue;
    NxAudioWriteRequest request;
    request.file = file;
    request.buffer = out_.data();
    request.bytes = static_cast<int32_t>(std::min(samples, length - done_) * toStep);
    const NxErr result = writer_.WriteAudio(&request);
    if (result != NxErrSuccess) return result;
  }
  return NxErrSuccess;
}

}  // namespace morvane::tools
