#include "base/file_io.h"
#include "media/data_vyr.h"
#include "media/media_seq.h"
#include "media/seq_names.h"

namespace morvane {
namespace {

void FillHead(const std::string& firstPath, const NxMediaInfoHead& info, int32_t timeScale,
              int32_t timeRate, NxVyrHead* head) {
  (void)PutText(CleanText(FileOfPath(firstPath)), head->clipName, kVyrClipNameChars);
  head->parNum = info.parNum;
  head->parDen = info.parDen;
  head->timeScale = timeScale;
  head->timeRate = timeRate;
  head->fieldType = info.fieldType;
}

// Writes a new sidecar. Returns: false if none was made, as when there is one.
bool MakeSidecar(const std::string& path, const NxMediaMetadata& metadata, NxDataVYR* sidecar) {
  if (sidecar->OpenWrite(path, FolderOfPath(path), &metadata, kCreateNew,
                         kAccessRead | kAccessWrite, false) != NxErrSuccess) {
    return false;
  }
  (void)sidecar->Close();
  return sidecar->Written();
}

bool RemoveFile(const std::string& path) {
  return FileRemove(path) == 0;
}

}  // namespace

NxErr NxMediaSeq::Close() {
  if (!IsOpen()) return NxErrFailure;
  NxErr result = NxErrSuccess;
  if (isOpenWrite_ && hasImage_) {
    if (framesWritten_ > 0) {
      for (NxFileHandle& file : ring_) CloseSlot(&file);
      WriteSidecar();
      result = SyncWritten();
      if (slotFailed_) result = NxErrFailure;
      frameCountKept_ = framesWritten_;
    } else if (firstMade_) {
      // The empty file of a clip without frames would be in the way of the next one.
      (void)imageFile_.Close();
      (void)FileRemove(firstPath_);
      firstMade_ = false;
    }
  }
  if (hasAudio_ && audio_->Close() != NxErrSuccess) result = NxErrFailure;
  CloseFiles();
  framesWritten_ = frameCountRead_ = 0;
  isOpenRead_ = isOpenWrite_ = hasImage_ = hasAudio_ = false;
  readInfo_.reset();
  writeInfo_.reset();
  return result;
}

// Deliberate: beside the first frame under its number, while a reader looks under number 1.
void NxMediaSeq::WriteSidecar() {
  NxDataVYR sidecar;
  FillHead(firstPath_, *writeInfo_, writeInfo_->timeScale, writeInfo_->timeRate, &sidecar.head);
  sidecarMade_ = MakeSidecar(SidecarOfFrame(firstPath_), writeInfo_->metadata, &sidecar);
}

// Brings the frames and their names to the disk, all at once: a long clip would wait for each of
// its files. Returns: -2 if one of them may be lost.
NxErr NxMediaSeq::SyncWritten() {
  NxErr result = NxErrSuccess;
  const auto sync = [&result](NxFileHandle* file, const std::string& path) {
    if (!file->IsOpen()) (void)file->OpenA(path.c_str(), kOpenExisting, kAccessRead);
    if (file->SyncFileSystem() != NxErrSuccess) result = NxErrFailure;
    (void)file->Close();
  };
  sync(&imageFile_, firstPath_);
  // Frames with names of their own may lie on another disk.
  std::string folder = FolderOfPath(firstPath_);
  for (const std::string& name : namesMade_) {
    if (FolderOfPath(name) == folder) continue;
    folder = FolderOfPath(name);
    NxFileHandle other;
    sync(&other, name);
  }
  // Tells, too, that the folder is gone.
  if (FolderSync(FolderOfPath(firstPath_)) != 0) result = NxErrFailure;
  return result;
}

NxErr NxMediaSeq::SetMetadata(const NxMediaMetadata* metadata) {
  if (!IsOpen() || metadata == nullptr) return NxErrFailure;
  if (isOpenWrite_) {
    const NxErr result = MergeMetadata(*metadata, &writeInfo_->metadata);
    if (result == NxErrSuccess && hasAudio_) (void)audio_->SetMetadata(metadata);
    return result;
  }
  const auto old = std::make_unique<NxMediaMetadata>(readInfo_->metadata);
  if (MergeMetadata(*metadata, &readInfo_->metadata) != NxErrSuccess) return NxErrFailure;
  const NxErr result = RewriteSidecar(*metadata);
  if (result != NxErrSuccess) {
    readInfo_->metadata = *old;
    return NxErrFailure;
  }
  if (hasAudio_) (void)audio_->SetMetadata(metadata);
  return NxErrSuccess;
}

// Updates the sidecar beside the frame that was opened, or makes one.
NxErr NxMediaSeq::RewriteSidecar(const NxMediaMetadata& metadata) {
  const std::string path = SidecarOfFrame(firstPath_);
  const auto clipName = std::make_unique<char16_t[]>(kVyrClipNameChars);
  NxDataVYR sidecar;
  if (sidecar.OpenRead(path, clipName.get(), nullptr, kOpenExisting, kAccessRead, false) ==
      NxErrSuccess) {
    const NxErr result = sidecar.SetMetadata(&metadata);
    (void)sidecar.Close();
    return result;
  }
  FillHead(firstPath_, *readInfo_, readInfo_->timeScale, readInfo_->timeRate, &sidecar.head);
  return MakeSidecar(path, readInfo_->metadata, &sidecar) ? NxErrSuccess : NxErrFailure;
}

NxErr NxMediaSeq::DeleteFile() {
  if (IsOpen()) return NxErrFailure;
  NxErr result = NxErrSuccess;
  const bool isOurs = !isWriter_ || firstMade_;
  if (!firstPath_.empty() && isOurs && !RemoveFile(firstPath_)) result = NxErrFailure;
  // A sidecar that was there before this clip was written is not this clip's.
  if (!firstPath_.empty() && (!isWriter_ || sidecarMade_)) {
    (void)RemoveFile(SidecarOfFrame(firstPath_));
  }
  firstPath_.clear();
  DeleteAudio();
  return result;
}

NxErr NxMediaSeq::DeleteAllFiles() {
  if (IsOpen()) return NxErrFailure;
  if (firstNumber_ == -1) return NxMediaSeq::DeleteFile();
  NxErr result = NxErrSuccess;
  for (const std::string& path : FilesToDelete()) {
    if (!RemoveFile(path)) result = NxErrFailure;
    if (!isWriter_) (void)RemoveFile(SidecarOfFrame(path));
  }
  if (sidecarMade_) (void)RemoveFile(SidecarOfFrame(firstPath_));
  firstPath_.clear();
  DeleteAudio();
  return result;
}

// What a written clip has made, or the run of frames that an opened one has.
std::vector<std::string> NxMediaSeq::FilesToDelete() const {
  std::vector<std::string> paths;
  if (firstPath_.empty()) return paths;
  if (!isWriter_) {
    for (int32_t i = 0; i < frameCountKept_; ++i) paths.push_back(NameOfNumber(firstNumber_ + i));
    return paths;
  }
  if (firstMade_) paths.push_back(firstPath_);
  for (const int64_t number : numbersMade_) paths.push_back(NameOfNumber(number));
  paths.insert(paths.end(), namesMade_.begin(), namesMade_.end());
  return paths;
}

void NxMediaSeq::DeleteAudio() {
  if (audio_ == nullptr) return;
  (void)audio_->Close();
  (void)audio_->DeleteAllFiles();
  audio_.reset();
}

}  // namespace morvane
