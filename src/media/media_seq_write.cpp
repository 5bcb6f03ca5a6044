#include <cstring>

#include "base/file_io.h"
#include "media/media_seq.h"
#include "media/media_timecode.h"
#include "media/picture_copy.h"

namespace morvane {

NxErr NxMediaSeq::WriteImage(NxImageWriteRequest* request) {
  if (!isOpenWrite_ || !hasImage_ || request == nullptr || request->imageBuffer == nullptr) {
    return NxErrFailure;
  }
  const NxTimeCodeRecord& timeCode = request->timeCode;
  if (framesWritten_ == 0 && (timeCode.flags & kTimeCodePresent) != 0) {
    PutTimecode(timeCode, &writeInfo_->metadata);
  }
  std::string exactName;
  bool isExact = request->useExactName != 0;
  if (isExact && request->exactNameW != nullptr) {
    if (!NxText(request->exactNameW).ToUtf8(true, &exactName)) return NxErrFailure;
  } else if (isExact) {
    exactName = FieldText(request->exactName, kExactNameBytes);
    if (exactName.empty()) return NxErrFailure;
  }
  const uint8_t* header = FrameHeader(timeCode);
  const auto frameBytes = static_cast<size_t>(writeInfo_->frameBytes);
  uint8_t* frame = static_cast<uint8_t*>(request->headerBuffer);
  if (!MayGoDirectly(*request)) {
    frame = Scratch(request->scratch,
                    request->scratchBytes == writeInfo_->frameBytes ? request->scratchBytes : 0,
                    frameBytes);
    if (frame == nullptr) return NxErrOutOfMemory;
    const NxErr result = FillFrame(*request, frame);
    if (result != NxErrSuccess) return result;
  }
  const auto headerBytes = static_cast<size_t>(writeInfo_->imageOffset);
  if (header != nullptr) std::memcpy(frame, header, headerBytes);
  const size_t used = headerBytes + static_cast<size_t>(writeInfo_->imageBytes);
  std::memset(frame + used, 0, frameBytes - used);
  const std::string* exact = isExact ? &exactName : nullptr;
  const NxErr result =
      framesWritten_ == 0 ? WriteFirst(exact, frame) : WriteNext(exact, request->frame, frame);
  if (result == NxErrSuccess) ++framesWritten_;
  return result;
}

// True if the caller's memory is laid out as the frame's file, so that it needs no copy.
bool NxMediaSeq::MayGoDirectly(const NxImageWriteRequest& request) const {
  const NxMediaCreateInfo& info = *writeInfo_;
  return request.fourcc == info.fourcc && request.width == info.width &&
         request.height == info.height && request.pitch == info.linePitch &&
         request.dataOffset == static_cast<uint32_t>(info.imageOffset) &&
         request.frameBytes == info.frameBytes &&
         request.orientation == static_cast<int32_t>(info.orientation) &&
         request.headerBuffer != nullptr &&
         static_cast<uint8_t*>(request.headerBuffer) + info.imageOffset == request.imageBuffer;
}

// Memory for one frame: what the caller offers if it suffices, else the clip's own.
uint8_t* NxMediaSeq::Scratch(void* offered, int32_t offeredBytes, size_t bytes) {
  if (offered != nullptr && offeredBytes > 0 && static_cast<size_t>(offeredBytes) >= bytes) {
    return static_cast<uint8_t*>(offered);
  }
  if (scratch_.Bytes() < bytes && !scratch_.Allocate(bytes)) return nullptr;
  return scratch_.Data();
}

// Brings the caller's picture into `frame` as the file wants it.
NxErr NxMediaSeq::FillFrame(const NxImageWriteRequest& request, uint8_t* frame) {
  const NxMediaCreateInfo& info = *writeInfo_;
  std::memset(frame, 0, static_cast<size_t>(info.frameBytes));
  PicturePlace from;
  from.pixels = static_cast<uint8_t*>(request.imageBuffer);
  from.width = request.width;
  from.height = request.height;
  from.fourcc = request.fourcc;
  from.pitch = request.pitch;
  PicturePlace to;
  to.pixels = frame + info.imageOffset;
  to.width = info.width;
  to.height = info.height;
  to.fourcc = StoredFourcc(info.fourcc, request.flags);
  to.pitch = info.linePitch;
  if (!CheckPlace(from, INT64_MAX) || !CheckPlace(to, info.imageBytes)) {
    return NxErrUnsupportedRequest;
  }
  const bool flip = request.orientation != static_cast<int32_t>(info.orientation);
  const NxErr result = CopyPicture(from, to, flip, request.color);
  if (result == NxErrSuccess) FinishPixels(request.fourcc, to.pixels);
  return result;
}

// The first frame's file is open since the clip was made, unless an earlier try failed, or the
// frame brings a name of its own.
NxErr NxMediaSeq::WriteFirst(const std::string* exactName, const uint8_t* frame) {
  if (exactName != nullptr && *exactName != firstPath_) {
    (void)imageFile_.Close();
    if (firstMade_) (void)FileRemove(firstPath_);  // empty: nothing has been written yet
    firstMade_ = false;
    firstPath_ = *exactName;
  }
  if (!imageFile_.IsOpen()) {
    if (firstMade_ ||
        imageFile_.OpenA(firstPath_.c_str(), createMode_, accessFlags_) != NxErrSuccess) {
      return NxErrFailure;
    }
    firstMade_ = true;
  }
  const NxErr result = PutFrame(&imageFile_, firstPath_, frame);
  if (result != NxErrSuccess) firstMade_ = false;
  return result;
}

NxErr NxMediaSeq::WriteNext(const std::string* exactName, int32_t frame, const uint8_t* data) {
  const int64_t number = startNumber_ + (frame < 0 ? framesWritten_ : frame);
  const std::string path = exactName != nullptr ? *exactName : NameOfNumber(number);
  if (path.empty()) return NxErrFailure;
  NxFileHandle& file = ring_[ringIndex_];
  CloseSlot(&file);
  if (file.OpenA(path.c_str(), createMode_, accessFlags_) != NxErrSuccess) return NxErrFailure;
  const NxErr result = PutFrame(&file, path, data);
  if (result != NxErrSuccess) return result;
  // A file that cannot be closed may have lost what was written last.
  if (!overlapped_ && file.Close() != NxErrSuccess) {
    (void)FileRemove(path);
    return NxErrFailure;
  }
  ringIndex_ = (ringIndex_ + 1) % kFrameRingSlots;
  if (exactName != nullptr) {
    namesMade_.push_back(path);
  } else {
    numbersMade_.push_back(number);
  }
  return NxErrSuccess;
}

// Closes a slot whose frame has been counted long since: that it may have lost something shows in
// the result of Close.
void NxMediaSeq::CloseSlot(NxFileHandle* file) {
  if (file->IsOpen() && file->Close() != NxErrSuccess) slotFailed_ = true;
}

// Writes `frame` with one call. A file that does not hold all of it is removed, so that no half of
// a frame is ever taken for a whole one.
NxErr NxMediaSeq::PutFrame(NxFileHandle* handle, const std::string& path, const uint8_t* frame) {
  const auto frameBytes = static_cast<uint64_t>(writeInfo_->frameBytes);
  const uint64_t stored = StoredBytes(*writeInfo_);
  NxErr result = handle->WriteAt(0, frame, frameBytes);
  if (result == NxErrSuccess && stored != frameBytes) result = handle->Truncate(stored);
  if (result == NxErrSuccess) return result;
  (void)handle->Close();
  (void)FileRemove(path);
  return NxErrFailure;
}

}  // namespace morvane
