#include "media/media_seq.h"

#include <algorithm>
#include <iterator>

#include "media/media_timecode.h"

namespace morvane {

NxErr DescribeImageFormat(std::span<const SeqWriteFormat> rows, int32_t index,
                          NxImageWriteFormatDescription* format) {
  if (format == nullptr || index < 0 || static_cast<size_t>(index) >= rows.size()) {
    return NxErrInvalidParameter;
  }
  constexpr uint8_t kFlags[6] = {0, 1, 0, 1, 0, 0};
  const SeqWriteFormat& row = rows[static_cast<size_t>(index)];
  *format = {};
  format->fourcc = row.fourcc;
  PutText(row.name, format->name, std::size(format->name));
  format->wideName.Set(row.name);
  format->orientation = row.orientation;
  format->bitDepth = row.bitDepth;
  std::copy_n(kFlags, 6, format->flags);
  return NxErrSuccess;
}

NxMediaSeq::~NxMediaSeq() {
  if (IsOpen()) (void)NxMediaSeq::Close();
}

void NxMediaSeq::PutName(NxMediaInfoHead* head, const char* name) {
  PutText(name, head->name, std::size(head->name));
  head->wideName.Set(name);
}

bool NxMediaSeq::SizeProduct(int64_t a, int64_t b, int32_t* product) {
  int64_t result = 0;
  if (__builtin_mul_overflow(a, b, &result) || result < 0 || result > INT32_MAX) return false;
  *product = static_cast<int32_t>(result);
  return true;
}

FourCCCode NxMediaSeq::StoredFourcc(FourCCCode fourcc, uint32_t) const {
  return fourcc;
}

bool NxMediaSeq::SameFrame(const NxMediaFileInfo& first, const NxMediaFileInfo& now) const {
  return first.fourcc == now.fourcc && first.width == now.width && first.height == now.height &&
         first.linePitch == now.linePitch && first.orientation == now.orientation &&
         first.imageOffset == now.imageOffset;
}

NxErr NxMediaSeq::ReadUnpacked(FrameSource*, const NxMediaFileInfo&, uint8_t*) {
  return NxErrFailure;
}

void NxMediaSeq::CloseFiles() {
  (void)imageFile_.Close();
  for (NxFileHandle& file : ring_) (void)file.Close();
  ringIndex_ = 0;
  scratch_.Free();
}

void NxMediaSeq::Reset() {
  CloseFiles();
  if (audio_ != nullptr) (void)audio_->Close();
  audio_.reset();
  readInfo_.reset();
  writeInfo_.reset();
  firstPath_.clear();
  isOpenRead_ = isOpenWrite_ = hasImage_ = hasAudio_ = overlapped_ = false;
  firstNumber_ = -1;
  startNumber_ = 0;
  digitCount_ = framesWritten_ = frameCountRead_ = frameCountKept_ = 0;
  isWriter_ = firstMade_ = sidecarMade_ = slotFailed_ = false;
  numbersMade_.clear();
  namesMade_.clear();
}

NxErr NxMediaSeq::ReadAudio(NxAudioReadRequest* request) {
  if (!isOpenRead_ || !hasAudio_ || request == nullptr) return NxErrInvalidParameter;
  return audio_->ReadAudio(request);
}

NxErr NxMediaSeq::WriteAudio(NxAudioWriteRequest* request) {
  if (!isOpenWrite_ || !hasAudio_) return NxErrInvalidParameter;
  return audio_->WriteAudio(request);
}

NxErr NxMediaSeq::ReadTimecode(int32_t frame, NxTimeCodeRecord* record) {
  if (record == nullptr) return NxErrFailure;
  *record = {};
  return isOpenRead_ ? TimecodeOfFrame(readInfo_->metadata, frame, record) : NxErrFailure;
}

NxErr NxMediaSeq::GetMetadata(NxMediaMetadata* metadata) {
  if (metadata == nullptr) return NxErrInvalidParameter;
  if (isOpenRead_) {
    *metadata = readInfo_->metadata;
    return NxErrSuccess;
  }
  if (isOpenWrite_) {
    *metadata = writeInfo_->metadata;
    return NxErrSuccess;
  }
  *metadata = {};
  return audio_ != nullptr ? audio_->GetMetadata(metadata) : NxErrInvalidParameter;
}

NxErr NxMediaSeq::GetReadInfo(NxMediaFileInfo* info) {
  if (info == nullptr) return NxErrInvalidParameter;
  *info = {};
  if (!isOpenRead_) return NxErrInvalidParameter;
  *info = *readInfo_;
  return NxErrSuccess;
}

NxErr NxMediaSeq::GetWriteInfo(NxMediaCreateInfo* info) {
  if (info == nullptr) return NxErrInvalidParameter;
  *info = {};
  if (!isOpenWrite_) return NxErrInvalidParameter;
  *info = *writeInfo_;
  return NxErrSuccess;
}

NxErr NxMediaSeq::GetChannelNameW(int32_t file, int32_t channel, char16_t* name) {
  if (audio_ != nullptr) return audio_->GetChannelNameW(file, channel, name);
  (void)PutText("Unknown", name, kFormatNameChars);
  return NxErrInvalidParameter;
}

NxErr NxMediaSeq::GetChannelName(int32_t file, int32_t channel, char* name) {
  if (audio_ != nullptr) return audio_->GetChannelName(file, channel, name);
  PutText("Unknown", name, kFormatNameChars);
  return NxErrInvalidParameter;
}

int32_t NxMediaSeq::GetFrameCount() const {
  return isOpenWrite_ ? framesWritten_ : frameCountRead_;
}

uint64_t NxMediaSeq::GetAudioSampleCount(int32_t file) const {
  return audio_ != nullptr ? audio_->GetAudioSampleCount(file) : 0;
}

NxErr NxMediaSeq::GetImageFileName(char* name) const {
  PutFileName(firstPath_, name);
  return NxErrSuccess;
}

NxErr NxMediaSeq::GetImageFileNameW(char16_t* name) const {
  PutFileName(firstPath_, name);
  return NxErrSuccess;
}

NxFileHandle* NxMediaSeq::GetImageFileHandle() {
  return &imageFile_;
}

NxErr NxMediaSeq::GetAudioFileName(int32_t file, char* name) const {
  if (audio_ != nullptr) return audio_->GetAudioFileName(file, name);
  PutFileName("", name);
  return NxErrSuccess;
}

NxErr NxMediaSeq::GetAudioFileNameW(int32_t file, char16_t* name) const {
  if (audio_ != nullptr) return audio_->GetAudioFileNameW(file, name);
  PutFileName("", name);
  return NxErrSuccess;
}

NxFileHandle* NxMediaSeq::GetAudioFileHandle(int32_t file) {
  return audio_ != nullptr ? audio_->GetAudioFileHandle(file) : nullptr;
}

int32_t NxMediaSeq::GetAudioFrameCount(int32_t file, int32_t timeScale, int32_t timeRate) const {
  return audio_ != nullptr ? audio_->GetAudioFrameCount(file, timeScale, timeRate) : 0;
}

NxErr NxMediaSeq::GetClipStyles(uint8_t styles[4]) const {
  constexpr uint8_t kStyles[4] = {1, 1, 1, 0};
  std::copy_n(kStyles, 4, styles);
  return NxErrSuccess;
}

int32_t NxMediaSeq::GetNumAudioWriteFormats() const {
  return NxMediaWAV().GetNumAudioWriteFormats();
}

NxErr NxMediaSeq::GetAudioWriteFormatDescription(int32_t index,
                                                 NxAudioWriteFormatDescription* format) const {
  return NxMediaWAV().GetAudioWriteFormatDescription(index, format);
}

int32_t NxMediaSeq::GetMaxAudioFiles(int32_t index) const {
  return NxMediaWAV().GetMaxAudioFiles(index);
}

int32_t NxMediaSeq::GetAudioFormatChannels(int32_t index) const {
  return NxMediaWAV().GetAudioFormatChannels(index);
}

NxErr NxMediaSeq::GetMediaAudioExtensionW(char16_t* text) const {
  (void)PutText("wav", text, kFormatNameChars);
  return NxErrSuccess;
}

NxErr NxMediaSeq::GetMediaAudioExtension(char* text) const {
  PutText("wav", text, kFormatNameChars);
  return NxErrSuccess;
}

NxErr NxMediaSeq::GetMediaImageExtensionW(char16_t* text) const {
  (void)PutText(ImageExtension(), text, kFormatNameChars);
  return NxErrSuccess;
}

NxErr NxMediaSeq::GetMediaImageExtension(char* text) const {
  PutText(ImageExtension(), text, kFormatNameChars);
  return NxErrSuccess;
}

}  // namespace morvane
