#include <algorithm>
#include <iterator>

#include "base/clock.h"
#include "base/file_io.h"
#include "base/paths.h"
#include "media/media_timecode.h"
#include "media/media_wav.h"

namespace morvane {
namespace {

constexpr int64_t kFlushEveryNs = 1'000'000'000;

std::string TrackPath(const std::string& folder, const std::string& name, int32_t number) {
  const std::string suffix = number > 1 ? "_A" + std::to_string(number) : std::string();
  return JoinPath(folder, name + suffix + ".wav");
}

bool FileIsThere(const std::string& path) {
  File file;
  return file.Open(path, FileMode::kRead) == 0;
}

// Completes `audio` from the row that it names. Returns: 0, or 100001 if there is none.
NxErr AdoptAudioRow(NxMediaAudioInfo* audio) {
  for (int i = 0; i < kAudioFormatCount; ++i) {
    NxMediaAudioInfo row = AudioFormatRow(i);
    if (row.fourcc != audio->fourcc || row.bitsPerSample != audio->bitsPerSample ||
        row.channelsPerFile != audio->channelsPerFile || row.sampleRate != audio->sampleRate ||
        row.bigEndian != audio->bigEndian) {
      continue;
    }
    row.fileCount = std::clamp<int32_t>(audio->fileCount, 1, kMaxAudioFiles);
    *audio = row;
    return NxErrSuccess;
  }
  return NxErrAudioDataNotSupported;
}

// Clears what describes a picture; the streams and the field that says so stay.
void ClearPicture(NxMediaInfoHead* head) {
  const uint32_t streams = head->streams;
  *head = {};
  head->streams = streams;
}

}  // namespace

NxErr NxMediaWAV::CreateWrite(NxText name, NxText, NxText, NxText audioFolder,
                              NxMediaCreateInfo* info, uint32_t createMode, uint32_t, bool wide) {
  if (IsOpen()) return NxErrHandleAlreadyOpen;
  if (info == nullptr) return NxErrInvalidParameter;
  Reset();
  if ((createMode & (kCreateOrTruncate | kCreateNew)) == 0) return NxErrSuccess;
  auto record = std::make_unique<NxMediaCreateInfo>(*info);
  if (record->streams == NxStreamsAudio) ClearPicture(record.get());
  NxErr result = NxErrSuccess;
  if (record->streams == NxStreamsPicture) {
    record->audio = {};
  } else {
    std::string clip;
    result = AdoptAudioRow(&record->audio);
    if (result != NxErrSuccess) return result;
    if (!name.ToUtf8(wide, &clip) || !audioFolder.ToUtf8(wide, &folder_) || clip.empty() ||
        clip.find(kPathSeparator) != std::string::npos) {
      return NxErrCreateAudioFile;
    }
    writeInfo_ = std::move(record);
    result = CreateTracks(folder_, clip, createMode);
    if (result != NxErrSuccess) {
      DiscardTracks();
      Reset();
      return result;
    }
    record = std::move(writeInfo_);
    hasAudio_ = true;
  }
  writeInfo_ = std::move(record);
  isOpenWrite_ = true;
  flushedNs_ = NxClockNowNs();
  *info = *writeInfo_;
  return NxErrSuccess;
}

NxErr NxMediaWAV::CreateTracks(const std::string& folder, const std::string& name,
                               uint32_t createMode) {
  const NxMediaAudioInfo audio = writeInfo_->audio;
  WaveFormat format;
  format.fourcc = audio.fourcc;
  format.channels = audio.channelsPerFile;
  format.sampleRate = static_cast<int32_t>(audio.sampleRate);
  format.bits = audio.bitsPerSample;
  for (int32_t i = 0; i < audio.fileCount && (createMode & kCreateNew) != 0; ++i) {
    if (FileIsThere(TrackPath(folder, name, i + 1))) return NxErrCreateAudioFile;
  }
  for (int32_t i = 0; i < audio.fileCount; ++i) {
    const std::string path = TrackPath(folder, name, i + 1);
    if (tracks_[i].file.Create(path, createMode, format) != NxErrSuccess) {
      return NxErrCreateAudioFile;
    }
    tracks_[i].path = path;
  }
  return NxErrSuccess;
}

// Undoes CreateTracks: only files that this object made.
void NxMediaWAV::DiscardTracks() {
  for (Track& track : tracks_) {
    if (track.path.empty()) continue;
    (void)track.file.Close();
    (void)FileRemove(track.path);
  }
}

NxErr NxMediaWAV::WriteAudio(NxAudioWriteRequest* request) {
  if (!isOpenWrite_ || !hasAudio_ || request == nullptr) return NxErrInvalidParameter;
  if ((request->timeCode.flags & kTimeCodePresent) != 0 && !anyWritten_) {
    PutTimecode(request->timeCode, &writeInfo_->metadata);
  }
  if (request->file < 0 || request->file >= kMaxAudioFiles) return NxErrInvalidParameter;
  Track& track = tracks_[request->file];
  if (!track.file.IsOpen() || request->buffer == nullptr || request->bytes < 1) {
    return NxErrFailure;
  }
  const NxErr result = track.file.Append(request->buffer, static_cast<uint64_t>(request->bytes));
  if (result != NxErrSuccess) return NxErrFailure;
  anyWritten_ = true;
  // Deliberate: counts writes, not samples.
  ++track.samples;
  const int64_t now = NxClockNowNs();
  if (now - flushedNs_ < kFlushEveryNs) return NxErrSuccess;
  flushedNs_ = now;
  return FlushTracks();
}

NxErr NxMediaWAV::FlushTracks() {
  NxErr result = NxErrSuccess;
  for (Track& track : tracks_) {
    if (track.file.IsOpen() && track.file.Flush() != NxErrSuccess) result = NxErrFailure;
  }
  return result;
}

NxErr NxMediaWAV::CloseWriting() {
  NxErr result = NxErrSuccess;
  for (Track& track : tracks_) {
    // Closed for a while: what ends the file still has to be written.
    if (!track.path.empty() && !track.file.IsOpen() && track.file.Reopen() != NxErrSuccess) {
      result = NxErrFailure;
    }
  }
  if (FlushTracks() != NxErrSuccess) result = NxErrFailure;
  const NxMediaMetadata metadata = writeInfo_->metadata;
  for (Track& track : tracks_) {
    if (!track.file.IsOpen()) continue;
    if (metadata.presentFlags != 0 &&
        track.file.WriteTail(&metadata, sizeof metadata) != NxErrSuccess) {
      result = NxErrFailure;
    }
    if (track.file.Sync() != NxErrSuccess) result = NxErrFailure;
    if (track.file.Close() != NxErrSuccess) result = NxErrFailure;
  }
  if (hasAudio_ && FolderSync(folder_) != 0) result = NxErrFailure;
  return result;
}

}  // namespace morvane
