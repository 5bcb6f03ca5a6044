#include <algorithm>
#include <cstring>

#include "base/paths.h"
#include "media/media_wav.h"

namespace morvane {
namespace {

// A clip name and the track at which it begins: "clip_A3" is track 3 of "clip".
struct TrackName {
  std::string clip;
  int32_t number = 1;
};

TrackName SplitTrackName(const std::string& name) {
  const size_t digits = name.find_last_not_of("0123456789") + 1;
  const size_t count = name.size() - digits;
  const bool marked = digits >= 2 && name.compare(digits - 2, 2, "_A") == 0;
  if (!marked || count == 0 || count > 9 || name[digits] == '0') return {name, 1};
  const int32_t number = std::stoi(name.substr(digits));
  // Track 1 has no number in its name, so "_A1" is a name like any other.
  return number > 1 ? TrackName{name.substr(0, digits - 2), number} : TrackName{name, 1};
}

NxMediaAudioInfo DescriptionOf(const WaveFormat& format) {
  NxMediaAudioInfo info = {};
  for (int i = 0; i < kAudioFormatCount; ++i) {
    const NxMediaAudioInfo row = AudioFormatRow(i);
    if (row.fourcc == format.fourcc && row.channelsPerFile == format.channels &&
        static_cast<int32_t>(row.sampleRate) == format.sampleRate) {
      info = row;
    }
  }
  return info;
}

}  // namespace

NxErr NxMediaWAV::OpenRead(NxText name, bool wantAudio, NxText folder, NxMediaFileInfo* info,
                           uint32_t createMode, uint32_t, uint32_t, bool wide) {
  if (IsOpen()) return NxErrHandleAlreadyOpen;
  if (info == nullptr) return NxErrInvalidParameter;
  Reset();
  std::string clip;
  if ((createMode & kOpenExisting) == 0 || !name.ToUtf8(wide, &clip) ||
      !folder.ToUtf8(wide, &folder_)) {
    return NxErrOpenAudioFile;
  }
  readInfo_ = std::make_unique<NxMediaFileInfo>();
  readInfo_->streams = NxStreamsAudio;
  readInfo_->timeScale = -1;
  readInfo_->timeRate = -1;
  const NxErr result = OpenTracks(folder_, clip, wantAudio ? kMaxAudioFiles : 1);
  if (result != NxErrSuccess) {
    Reset();
    return result;
  }
  ReadMetadataTail();
  isOpenRead_ = hasAudio_ = true;
  *info = *readInfo_;
  return NxErrSuccess;
}

NxErr NxMediaWAV::OpenTracks(const std::string& folder, const std::string& name, int32_t wanted) {
  const TrackName first = SplitTrackName(name);
  int32_t count = 0;
  for (; count < wanted; ++count) {
    Track& track = tracks_[count];
    const int32_t number = first.number + count;
    const std::string stem = number > 1 ? first.clip + "_A" + std::to_string(number) : first.clip;
    const NxErr result = OpenTrack(JoinPath(folder, stem), &track);
    if (result == NxErrSuccess && count == 0) {
      readInfo_->audio = DescriptionOf(track.file.Format());
    }
    if (result != NxErrSuccess || track.file.Format() != tracks_[0].file.Format()) {
      track = Track();
      if (count == 0) return result;
      break;
    }
    readInfo_->samplesPerFile[count] = track.samples;
  }
  readInfo_->audio.fileCount = count;
  return NxErrSuccess;
}

// Opens the file at `stem` with its extension in small letters, else in capitals.
NxErr NxMediaWAV::OpenTrack(const std::string& stem, Track* track) {
  NxErr result = NxErrOpenAudioFile;
  for (const char* extension : {".wav", ".WAV"}) {
    track->path = stem + extension;
    result = track->file.OpenRead(track->path);
    if (result != NxErrOpenAudioFile) break;
  }
  if (result != NxErrSuccess) return result;
  const auto bytesPerFrame = static_cast<uint64_t>(track->file.Format().BytesPerFrame());
  track->samples = track->file.DataBytes() / bytesPerFrame;
  return track->samples > 0 ? NxErrSuccess : NxErrOpenAudioFile;
}

void NxMediaWAV::ReadMetadataTail() {
  NxMediaMetadata tail;
  if (tracks_[0].file.ReadTail(&tail, sizeof tail) != NxErrSuccess) return;
  const bool ours = tail.valid == 1 && tail.size == sizeof tail && tail.magic == kMetadataMagic;
  const bool current = tail.extended.kind == 1 && tail.extended.bytes == sizeof tail.extended;
  if (ours && current) readInfo_->metadata = tail;
}

NxErr NxMediaWAV::ReadAudio(NxAudioReadRequest* request) {
  if (!isOpenRead_ || !hasAudio_) return NxErrSuccess;
  if (request == nullptr || request->file < 0 || request->file >= kMaxAudioFiles ||
      request->buffer == nullptr || request->bytes < 0) {
    return NxErrInvalidParameter;
  }
  Track& track = tracks_[request->file];
  auto* buffer = static_cast<uint8_t*>(request->buffer);
  const auto bytes = static_cast<uint64_t>(request->bytes);
  if (!track.file.IsOpen()) {
    if (request->frame >= 0) return NxErrInvalidParameter;
    std::memset(buffer, 0, bytes);
    return NxErrSuccess;
  }
  if (track.timeScale != request->timeScale || track.timeRate != request->timeRate) {
    track.timeScale = request->timeScale;
    track.timeRate = request->timeRate;
    track.lastFrame = kNoFrame;
  }
  const int32_t frame = request->frame;
  const bool goesOn = frame == -1 || (frame >= 0 && frame == track.lastFrame + 1);
  if (!goesOn && frame >= 0) {
    track.position = static_cast<uint64_t>(readInfo_->audio.bytesPerFrame) *
                     AudioSamplesBefore(frame, request->timeScale, request->timeRate,
                                        static_cast<double>(readInfo_->audio.sampleRate));
  }
  uint64_t done = 0;
  if (goesOn || frame >= 0) (void)track.file.ReadAt(track.position, buffer, bytes, &done);
  std::memset(buffer + done, 0, bytes - done);
  track.position += done;
  // After a read that was not of a frame, or failed, the next one finds its place anew.
  track.lastFrame = frame >= 0 && done > 0 ? frame : kNoFrame;
  return done > 0 ? NxErrSuccess : NxErrFailure;
}

}  // namespace morvane
