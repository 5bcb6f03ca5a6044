#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "media/media_seq.h"
#include "media/picture_copy.h"
#include "media/still_header.h"

namespace morvane {
namespace {

bool HasRectangle(const NxImageReadRequest& r) {
  return r.subRect == 1 && r.srcX != -1 && r.srcY != -1 && r.srcWidth != -1 && r.srcHeight != -1 &&
         r.dstX != -1 && r.dstY != -1 && r.dstWidth != -1 && r.dstHeight != -1;
}

bool IsSameFormat(const NxImageReadRequest& r, const NxMediaFileInfo& info) {
  return r.fourcc == info.fourcc && r.width == info.width && r.height == info.height &&
         r.pitch == info.linePitch && r.orientation == static_cast<int32_t>(info.orientation);
}

NxErr Blacken(NxImageReadRequest* request) {
  std::memset(request->buffer, 0, static_cast<size_t>(request->bufferBytes));
  request->dataOffset = 0;
  return NxErrSuccess;
}

}  // namespace

NxErr NxMediaSeq::ReadImage(NxImageReadRequest* request) {
  if (!isOpenRead_ || !hasImage_ || request == nullptr || request->buffer == nullptr ||
      request->bufferBytes < 0) {
    return NxErrFailure;
  }
  const bool rectangle = HasRectangle(*request) && IsSameFormat(*request, *readInfo_);
  if (!rectangle && request->bufferBytes < readInfo_->frameBytes) return NxErrBufferTooSmall;
  int32_t frame = request->frame;
  if (frame < 0 || frame >= frameCountRead_) frame = 0;
  NxFileHandle* handle = nullptr;
  NxErr result = OpenFrame(*request, frame, &handle);
  if (result != NxErrSuccess) return result;
  if (rectangle) {
    result = ReadRectangle(handle, request);
  } else if (IsSameFormat(*request, *readInfo_)) {
    result = ReadWhole(handle, request);
  } else {
    result = ReadConverted(handle, request);
  }
  LeaveFrame(handle);
  return result;
}

// Opens the file of `frame` in the next slot of the ring. A clip without a number has one file.
NxErr NxMediaSeq::OpenFrame(const NxImageReadRequest& request, int32_t frame,
                            NxFileHandle** handle) {
  // SetFilesOpen(false) closes the clip for reading, frames in other files too.
  if (!imageFile_.IsOpen()) return NxErrUndefinedHandle;
  std::string path;
  if (request.useExactName != 0) {
    const bool wide = request.exactNameW != nullptr;
    const NxText name = wide ? NxText(request.exactNameW) : NxText(request.exactName);
    if (!name.ToUtf8(wide, &path)) return NxErrFailure;
  } else if (firstNumber_ < 0) {
    *handle = &imageFile_;
    return NxErrSuccess;
  } else {
    path = NameOfNumber(firstNumber_ + frame);
  }
  NxFileHandle& file = ring_[ringIndex_];
  ringIndex_ = (ringIndex_ + 1) % kFrameRingSlots;
  (void)file.Close();
  *handle = &file;
  return file.OpenA(path.c_str(), createMode_, accessFlags_);
}

void NxMediaSeq::LeaveFrame(NxFileHandle* handle) {
  if (handle != &imageFile_ && !overlapped_) (void)handle->Close();
}

NxErr NxMediaSeq::ReadFrameHeader(int32_t frame, size_t bytes, uint8_t* header) {
  if (!isOpenRead_ || !hasImage_ || frame < 0 || frame >= frameCountRead_) return NxErrFailure;
  NxFileHandle* handle = nullptr;
  NxErr result = OpenFrame({}, frame, &handle);
  if (result != NxErrSuccess) return result;
  FrameSource source(handle);
  result = FrameIsGood(&source) ? ReadHeader(&source, 0, bytes, header) : NxErrFailure;
  LeaveFrame(handle);
  return result;
}

// True if the file behind `source` is a frame of this clip.
bool NxMediaSeq::FrameIsGood(FrameSource* source) {
  const auto now = std::make_unique<NxMediaFileInfo>();
  now->fieldType = now->parNum = now->parDen = -1;
  now->unused[0] = now->unused[1] = -1;
  now->timeScale = now->timeRate = -1;
  return ParseFrame(source, false, now.get()) == NxErrSuccess && SameFrame(*readInfo_, *now) &&
         static_cast<uint64_t>(now->imageOffset) < source->Bytes();
}

// Reads a whole frame to `frame` (frameBytes). A file that ends early leaves zeros. `good` tells
// whether it belongs to the clip.
NxErr NxMediaSeq::LoadFrame(NxFileHandle* handle, uint8_t* frame, bool* good) {
  const auto bytes = static_cast<uint64_t>(readInfo_->frameBytes);
  if (!PixelsAreStored()) {
    FrameSource source(handle);
    *good = FrameIsGood(&source);
    return *good ? ReadUnpacked(&source, *readInfo_, frame) : NxErrSuccess;
  }
  uint64_t done = 0;
  const NxErr result = handle->ReadAt(0, frame, bytes, &done);
  std::memset(frame + done, 0, bytes - done);
  if (result != NxErrSuccess) return result;
  FrameSource source(handle, frame, done);
  *good = FrameIsGood(&source);
  // A clip may mix stored frames with others.
  return *good && !PixelsAreStored() ? ReadUnpacked(&source, *readInfo_, frame) : NxErrSuccess;
}

NxErr NxMediaSeq::ReadWhole(NxFileHandle* handle, NxImageReadRequest* request) {
  const NxMediaFileInfo& info = *readInfo_;
  // With room to spare the pixels, not the header, go to the start of a sector.
  const bool shifts = request->external == 0 &&
                      int64_t{request->bufferBytes} >= int64_t{info.frameBytes} + kSectorBytes;
  const int32_t shift = shifts ? kSectorBytes - info.imageOffset % kSectorBytes : 0;
  bool good = false;
  const NxErr result = LoadFrame(handle, static_cast<uint8_t*>(request->buffer) + shift, &good);
  if (result != NxErrSuccess || !good) {
    (void)Blacken(request);
    return result;
  }
  request->dataOffset = static_cast<uint32_t>(info.imageOffset + shift);
  request->orientation = static_cast<int32_t>(info.orientation);
  return NxErrSuccess;
}

NxErr NxMediaSeq::ReadConverted(NxFileHandle* handle, NxImageReadRequest* request) {
  const NxMediaFileInfo& info = *readInfo_;
  PicturePlace to;
  to.pixels = static_cast<uint8_t*>(request->buffer);
  to.width = request->width;
  to.height = request->height;
  to.fourcc = request->fourcc;
  to.pitch = request->pitch;
  if (!CheckPlace(to, INT64_MAX)) return NxErrUnsupportedRequest;
  if (!CheckPlace(to, request->bufferBytes)) return NxErrBufferTooSmall;
  uint8_t* frame =
      Scratch(request->scratch, request->scratchBytes, static_cast<size_t>(info.frameBytes));
  if (frame == nullptr) return NxErrOutOfMemory;
  bool good = false;
  const NxErr result = LoadFrame(handle, frame, &good);
  if (result != NxErrSuccess || !good) {
    (void)Blacken(request);
    return result;
  }
  PicturePlace from;
  from.pixels = frame + info.imageOffset;
  from.width = info.width;
  from.height = info.height;
  from.fourcc = info.fourcc;
  from.pitch = info.linePitch;
  if (!CheckPlace(from, int64_t{info.frameBytes} - info.imageOffset)) return NxErrFailure;
  request->dataOffset = 0;
  const bool flip = request->orientation != static_cast<int32_t>(info.orientation);
  return CopyPicture(from, to, flip, request->color);
}

// Reads only the lines that the rectangle needs: in place when they are wanted whole, else through
// scratch memory.
NxErr NxMediaSeq::ReadRectangle(NxFileHandle* handle, NxImageReadRequest* request) {
  const NxMediaFileInfo& info = *readInfo_;
  const int64_t lines = std::abs(int64_t{request->srcHeight});
  const bool flip = (request->srcHeight < 0) != (request->dstHeight < 0);
  const int64_t x = request->srcX;
  const int64_t y = request->srcY;
  const int64_t width = request->srcWidth;
  if (x < 0 || y < 0 || width < 1 || lines < 1 || x + width > info.width ||
      y + lines > info.height || width != request->dstWidth ||
      lines != std::abs(int64_t{request->dstHeight})) {
    return NxErrInvalidParameter;
  }
  const int64_t pitch = width * BytesPerPixel();
  if (pitch * lines > request->bufferBytes) return NxErrBufferTooSmall;
  const int64_t start = info.linePitch * y + info.imageOffset;
  const int64_t rest = start % kSectorBytes;
  int64_t length = (info.linePitch * lines + kSectorBytes - 1) / kSectorBytes * kSectorBytes;
  if (rest != 0) length += 2 * kSectorBytes;
  const bool wholeLines = width == info.width && pitch == info.linePitch && !flip;

  auto* to = static_cast<uint8_t*>(request->buffer);
  const uint8_t* from = nullptr;
  FrameSource source(handle);
  if (!FrameIsGood(&source)) return Blacken(request);
  const bool inPlace = wholeLines && PixelsAreStored() && length <= request->bufferBytes;
  if (PixelsAreStored()) {
    uint8_t* lineBytes =
        inPlace ? to
                : Scratch(request->scratch, request->scratchBytes, static_cast<size_t>(length));
    if (lineBytes == nullptr) return NxErrOutOfMemory;
    uint64_t done = 0;
    const NxErr result = handle->ReadAt(static_cast<uint64_t>(start - rest), lineBytes,
                                        static_cast<uint64_t>(length), &done);
    std::memset(lineBytes + done, 0, static_cast<size_t>(length) - done);
    if (result != NxErrSuccess) return result;
    from = lineBytes + rest;
  } else {
    uint8_t* frame =
        Scratch(request->scratch, request->scratchBytes, static_cast<size_t>(info.frameBytes));
    if (frame == nullptr) return NxErrOutOfMemory;
    const NxErr result = ReadUnpacked(&source, info, frame);
    if (result != NxErrSuccess) return result;
    from = frame + start;
  }
  request->dataOffset = inPlace ? static_cast<uint32_t>(rest) : 0;
  request->pitch = static_cast<int32_t>(pitch);
  request->orientation = static_cast<int32_t>(info.orientation);
  for (int64_t line = 0; line < lines && !inPlace; ++line) {
    const int64_t row = flip ? lines - 1 - line : line;
    std::memcpy(to + line * pitch, from + row * info.linePitch + x * BytesPerPixel(),
                static_cast<size_t>(pitch));
  }
  return NxErrSuccess;
}

}  // namespace morvane
