#include "media/media_wav.h"

#include <algorithm>
#include <cstring>

#include "media/media_timecode.h"

namespace morvane {

NxMediaWAV::NxMediaWAV() = default;

NxMediaWAV::~NxMediaWAV() {
  if (IsOpen()) (void)NxMediaWAV::Close();
}

void NxMediaWAV::Reset() {
  readInfo_.reset();
  writeInfo_.reset();
  isOpenRead_ = isOpenWrite_ = hasAudio_ = anyWritten_ = false;
  flushedNs_ = 0;
  folder_.clear();
  for (Track& track : tracks_) track = Track();
}

const NxMediaAudioInfo* NxMediaWAV::Audio() const {
  if (!hasAudio_) return nullptr;
  return isOpenWrite_ ? &writeInfo_->audio : &readInfo_->audio;
}

NxErr NxMediaWAV::ReadImage(NxImageReadRequest*) {
  return NxErrUnsupportedRequest;
}

NxErr NxMediaWAV::WriteImage(NxImageWriteRequest*) {
  return NxErrUnsupportedRequest;
}

NxErr NxMediaWAV::ReadTimecode(int32_t frame, NxTimeCodeRecord* record) {
  if (record == nullptr) return NxErrFailure;
  *record = {};
  return isOpenRead_ ? TimecodeOfFrame(readInfo_->metadata, frame, record) : NxErrFailure;
}

NxErr NxMediaWAV::GetMetadata(NxMediaMetadata* metadata) {
  if (metadata == nullptr) return NxErrInvalidParameter;
  if (isOpenRead_) {
    *metadata = readInfo_->metadata;
  } else if (isOpenWrite_) {
    *metadata = writeInfo_->metadata;
  } else {
    *metadata = {};
    return NxErrInvalidParameter;
  }
  return NxErrSuccess;
}

NxErr NxMediaWAV::SetMetadata(const NxMediaMetadata* metadata) {
  if (metadata == nullptr || !IsOpen()) return NxErrFailure;
  return MergeMetadata(*metadata, isOpenWrite_ ? &writeInfo_->metadata : &readInfo_->metadata);
}

NxErr NxMediaWAV::GetReadInfo(NxMediaFileInfo* info) {
  if (info == nullptr) return NxErrInvalidParameter;
  *info = {};
  if (!isOpenRead_) return NxErrInvalidParameter;
  *info = *readInfo_;
  return NxErrSuccess;
}

NxErr NxMediaWAV::GetWriteInfo(NxMediaCreateInfo* info) {
  if (info == nullptr) return NxErrInvalidParameter;
  *info = {};
  if (!isOpenWrite_) return NxErrInvalidParameter;
  *info = *writeInfo_;
  return NxErrSuccess;
}

NxErr NxMediaWAV::GetChannelName(int32_t file, int32_t channel, char* name) {
  const NxMediaAudioInfo* audio = Audio();
  const char* text = nullptr;
  if (audio != nullptr && file >= 0 && file < audio->fileCount) {
    if (audio->channelsPerFile == 1 && channel == 0) text = "Mono";
    if (audio->channelsPerFile == 2 && channel == 0) text = "Stereo (Left)";
    if (audio->channelsPerFile == 2 && channel == 1) text = "Stereo (Right)";
  }
  PutText(text != nullptr ? text : "Unknown", name, kFormatNameChars);
  return text != nullptr ? NxErrSuccess : NxErrInvalidParameter;
}

NxErr NxMediaWAV::GetChannelNameW(int32_t file, int32_t channel, char16_t* name) {
  char narrow[kFormatNameChars];
  const NxErr result = NxMediaWAV::GetChannelName(file, channel, narrow);
  (void)PutText(narrow, name, kFormatNameChars);
  return result;
}

int32_t NxMediaWAV::GetFrameCount() const {
  return 0;
}

uint64_t NxMediaWAV::GetAudioSampleCount(int32_t file) const {
  if (Audio() == nullptr || file < 0 || file >= kMaxAudioFiles) return 0;
  return tracks_[file].samples;
}

int32_t NxMediaWAV::GetAudioFrameCount(int32_t file, int32_t timeScale, int32_t timeRate) const {
  const NxMediaAudioInfo* audio = Audio();
  if (audio == nullptr || file < 0 || file >= kMaxAudioFiles) return 0;
  return AudioFramesIn(tracks_[file].samples, timeScale, timeRate,
                       static_cast<double>(audio->sampleRate));
}

NxErr NxMediaWAV::GetImageFileName(char* name) const {
  PutFileName("", name);
  return NxErrUnsupportedRequest;
}

NxErr NxMediaWAV::GetImageFileNameW(char16_t* name) const {
  PutFileName("", name);
  return NxErrUnsupportedRequest;
}

NxErr NxMediaWAV::GetAudioFileName(int32_t file, char* name) const {
  const bool known = file >= 0 && file < kMaxAudioFiles;
  PutFileName(known ? tracks_[file].path : std::string(), name);
  return known ? NxErrSuccess : NxErrInvalidParameter;
}

NxErr NxMediaWAV::GetAudioFileNameW(int32_t file, char16_t* name) const {
  const bool known = file >= 0 && file < kMaxAudioFiles;
  PutFileName(known ? tracks_[file].path : std::string(), name);
  return known ? NxErrSuccess : NxErrInvalidParameter;
}

NxFileHandle* NxMediaWAV::GetAudioFileHandle(int32_t file) {
  return file >= 0 && file < kMaxAudioFiles ? tracks_[file].file.Handle() : nullptr;
}

NxErr NxMediaWAV::SetFilesOpen(bool open) {
  if (!IsOpen()) return NxErrFailure;
  NxErr result = NxErrSuccess;
  for (Track& track : tracks_) {
    if (track.path.empty() || track.file.IsOpen() == open) continue;
    if (open) {
      // Whatever the last frame was, the next read finds its place anew.
      if (isOpenRead_) track.lastFrame = kNoFrame;
      if (track.file.Reopen() != NxErrSuccess) result = NxErrFailure;
    } else {
      if (isOpenWrite_ && track.file.Flush() != NxErrSuccess) result = NxErrFailure;
      if (track.file.Close() != NxErrSuccess) result = NxErrFailure;
    }
  }
  return result;
}

NxErr NxMediaWAV::Close() {
  if (!IsOpen()) return NxErrFailure;
  NxErr result = NxErrSuccess;
  if (isOpenWrite_) {
    result = CloseWriting();
  } else {
    for (Track& track : tracks_) {
      if (track.file.IsOpen()) (void)track.file.Close();
      track.samples = 0;
      track.lastFrame = kNoFrame;
    }
  }
  isOpenRead_ = isOpenWrite_ = hasAudio_ = false;
  readInfo_.reset();
  writeInfo_.reset();
  return result;
}

NxErr NxMediaWAV::DeleteFile() {
  if (IsOpen()) return NxErrFailure;
  NxErr result = NxErrSuccess;
  for (Track& track : tracks_) {
    if (track.path.empty()) continue;
    if (FileRemove(track.path) != 0) result = NxErrFailure;
    track = Track();
  }
  return result;
}

NxErr NxMediaWAV::DeleteAllFiles() {
  return NxMediaWAV::DeleteFile();
}

NxErr NxMediaWAV::GetClipStyles(uint8_t styles[4]) const {
  constexpr uint8_t kStyles[4] = {0, 1, 0, 0};
  std::copy_n(kStyles, 4, styles);
  return NxErrSuccess;
}

int32_t NxMediaWAV::GetNumImageWriteFormats() const {
  return NxErrUnsupportedRequest;
}

NxErr NxMediaWAV::GetImageWriteFormatDescription(int32_t,
                                                 NxImageWriteFormatDescription* format) const {
  if (format != nullptr) *format = {};
  return NxErrUnsupportedRequest;
}

int32_t NxMediaWAV::GetNumAudioWriteFormats() const {
  return kAudioFormatCount;
}

NxErr NxMediaWAV::GetAudioWriteFormatDescription(int32_t index,
                                                 NxAudioWriteFormatDescription* format) const {
  if (format == nullptr || index < 0 || index >= kAudioFormatCount) return NxErrInvalidParameter;
  *format = AudioFormatRow(index);
  return NxErrSuccess;
}

int32_t NxMediaWAV::GetMaxAudioFiles(int32_t index) const {
  return index >= 0 && index < kAudioFormatCount ? kMaxAudioFiles : 0;
}

int32_t NxMediaWAV::GetAudioFormatChannels(int32_t index) const {
  return index >= 0 && index < kAudioFormatCount ? AudioFormatRow(index).channelsPerFile : 1;
}

NxErr NxMediaWAV::GetMetadataCaps(uint8_t caps[kMetadataCapsBytes]) const {
  std::fill_n(caps, kMetadataCapsBytes, uint8_t{0});
  return NxErrSuccess;
}

NxErr NxMediaWAV::GetMediaImageExtensionW(char16_t* text) const {
  (void)PutText("wav", text, kFormatNameChars);
  return NxErrUnsupportedRequest;
}

NxErr NxMediaWAV::GetMediaImageExtension(char* text) const {
  PutText("wav", text, kFormatNameChars);
  return NxErrUnsupportedRequest;
}

NxErr NxMediaWAV::GetMediaAudioExtensionW(char16_t* text) const {
  (void)PutText("wav", text, kFormatNameChars);
  return NxErrSuccess;
}

NxErr NxMediaWAV::GetMediaAudioExtension(char* text) const {
  PutText("wav", text, kFormatNameChars);
  return NxErrSuccess;
}

NxErr NxMediaWAV::GetMediaNameW(char16_t* text) const {
  (void)PutText("WAV Audio File", text, kFormatNameChars);
  return NxErrSuccess;
}

NxErr NxMediaWAV::GetMediaName(char* text) const {
  PutText("WAV Audio File", text, kFormatNameChars);
  return NxErrSuccess;
}

}  // namespace morvane
