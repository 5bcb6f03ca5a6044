#include <cerrno>

#include "base/file_io.h"
#include "media/data_vyr.h"
#include "media/media_seq.h"
#include "media/seq_names.h"

namespace morvane {
namespace {

constexpr uint32_t kOptionSingleFile = 0x01;

void MarkUnknown(NxMediaFileInfo* info) {
  info->fieldType = info->parNum = info->parDen = -1;
  info->unused[0] = info->unused[1] = -1;
  info->timeScale = info->timeRate = -1;
}

}  // namespace

NxErr NxMediaSeq::OpenRead(NxText path, bool wantAudio, NxText audioFolder, NxMediaFileInfo* info,
                           uint32_t createMode, uint32_t accessFlags, uint32_t options, bool wide) {
  if (IsOpen()) return NxErrHandleAlreadyOpen;
  if (info == nullptr) return NxErrInvalidParameter;
  Reset();
  const bool single = (options & kOptionSingleFile) != 0;
  std::string folder;
  const bool lookForAudio = wantAudio && !single && audioFolder.ToUtf8(wide, &folder);
  if ((createMode & kOpenExisting) == 0 || !path.ToUtf8(wide, &firstPath_)) {
    Reset();
    *info = {};
    return NxErrOpenVideoFile;
  }
  createMode_ = createMode;
  accessFlags_ = accessFlags;
  overlapped_ = (accessFlags & kAccessOverlapped) != 0;
  readInfo_ = std::make_unique<NxMediaFileInfo>();
  NxErr result = OpenFirst();
  if (result == NxErrSuccess) result = ApplySidecar();
  if (result == NxErrSuccess) result = CountFrames(single);
  if (result != NxErrSuccess) {
    Reset();
    *info = {};
    return result;
  }
  hasImage_ = true;
  readInfo_->streams = NxStreamsPicture;
  if (lookForAudio) OpenAudio(folder, options);
  isOpenRead_ = true;
  *info = *readInfo_;
  return NxErrSuccess;
}

// Opens the first frame and takes the clip's picture from its header.
NxErr NxMediaSeq::OpenFirst() {
  if (imageFile_.OpenA(firstPath_.c_str(), createMode_, accessFlags_) != NxErrSuccess) {
    return NxErrOpenVideoFile;
  }
  NxMediaFileInfo* info = readInfo_.get();
  MarkUnknown(info);
  FrameSource source(&imageFile_);
  const NxErr result = ParseFrame(&source, true, info);
  if (result != NxErrSuccess) return result;
  if (info->width < 1 || info->height < 1 || info->imageOffset < 0 || info->imageBytes < 1 ||
      static_cast<uint64_t>(info->imageOffset) >= source.Bytes()) {
    return NxErrVideoFormatNotSupported;
  }
  if (info->frameBytes == 0) {
    const int64_t bytes = int64_t{info->imageBytes} + info->imageOffset + kSectorBytes - 1;
    int32_t sectors = 0;
    int32_t padded = 0;
    if (!SizeProduct(bytes / kSectorBytes, 1, &sectors) ||
        !SizeProduct(sectors, kSectorBytes, &padded)) {
      return NxErrVideoFormatNotSupported;
    }
    info->frameBytes = padded;
  }
  return NxErrSuccess;
}

// Rate, field order and aspect come from the sidecar, if there is one; one that cannot be read is
// an error of the clip.
NxErr NxMediaSeq::ApplySidecar() {
  const std::string path = SidecarToFind(firstPath_);
  if (path == firstPath_) return NxErrSuccess;
  const int error = File().Open(path, FileMode::kRead);
  if (error == ENOENT || error == ENOTDIR) return NxErrSuccess;
  if (error != 0) return NxErrOpenVideoFile;
  const auto clipName = std::make_unique<char16_t[]>(kVyrClipNameChars);
  const auto head = std::make_unique<NxVyrHead>();
  NxDataVYR sidecar;
  const NxErr result = sidecar.OpenRead(path, clipName.get(), head.get(), kOpenExisting,
                                        kAccessRead | kAccessShareRead, false);
  if (result != NxErrSuccess) return result;
  (void)sidecar.Close();
  readInfo_->timeScale = head->timeScale;
  readInfo_->timeRate = head->timeRate;
  readInfo_->fieldType = head->fieldType;
  const bool aspectKnown = head->parNum != -1 && head->parDen != -1;
  readInfo_->parNum = aspectKnown ? head->parNum : -1;
  readInfo_->parDen = aspectKnown ? head->parDen : -1;
  return NxErrSuccess;
}

// Looks for sound beside the frames, then in `audioFolder`. A clip without any is no error.
void NxMediaSeq::OpenAudio(const std::string& audioFolder, uint32_t options) {
  const std::string name = AudioBaseName();
  auto audio = std::make_unique<NxMediaWAV>();
  auto found = std::make_unique<NxMediaFileInfo>();
  for (const std::string& folder : {FolderOfPath(firstPath_), audioFolder}) {
    if (audio->OpenRead(name, true, folder, found.get(), kOpenExisting, accessFlags_, options,
                        false) != NxErrSuccess) {
      continue;
    }
    readInfo_->audio = found->audio;
    for (int i = 0; i < kMaxAudioFiles; ++i) {
      readInfo_->samplesPerFile[i] = found->samplesPerFile[i];
    }
    readInfo_->streams = NxStreamsPictureAndSidecarAudio;
    audio_ = std::move(audio);
    hasAudio_ = true;
    return;
  }
}

NxErr NxMediaSeq::ReduceToStill() {
  if (!isOpenRead_) return NxErrInvalidParameter;
  if (hasAudio_ && hasImage_) {
    (void)audio_->Close();
    audio_.reset();
    hasAudio_ = false;
    readInfo_->audio = {};
    for (int i = 0; i < kMaxAudioFiles; ++i) readInfo_->samplesPerFile[i] = 0;
    readInfo_->streams = NxStreamsPicture;
  }
  if (hasImage_) readInfo_->frameCount = frameCountRead_ = frameCountKept_ = 1;
  return NxErrSuccess;
}

NxErr NxMediaSeq::SetFilesOpen(bool open) {
  if (!IsOpen()) return NxErrFailure;
  NxErr result = NxErrSuccess;
  if (hasImage_ && !open) {
    (void)imageFile_.Close();
    for (NxFileHandle& file : ring_) CloseSlot(&file);
  }
  // An existing file in either session: what is being written must not be made anew.
  if (hasImage_ && open && !imageFile_.IsOpen() && (isOpenRead_ || firstMade_) &&
      imageFile_.OpenA(firstPath_.c_str(), kOpenExisting, accessFlags_) != NxErrSuccess) {
    result = NxErrFailure;
  }
  if (hasAudio_ && audio_->SetFilesOpen(open) != NxErrSuccess) result = NxErrFailure;
  return result;
}

}  // namespace morvane
