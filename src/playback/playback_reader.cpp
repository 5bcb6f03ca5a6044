#include <cstring>
#include <vector>

#include "device/formats.h"
#include "media/media_file_base.h"
#include "playback/playback_job.h"
#include "processing/convert.h"
#include "processing/pixel_format.h"
#include "session/card2.h"
#include "session/card_layout.h"

// The reader thread: fills the ring's slots with the frames of the timeline, ahead of the card.
namespace morvane {
namespace {

constexpr uint32_t kFullMs = 1;
constexpr size_t kDmaAlignment = 8;
const FourCCCode kBgra = FourCC("bgrA");

class ReaderRun {
 public:
  explicit ReaderRun(PlaybackJob& job) : job_(job), pace_(job.speed) {}

  void Run() {
    frame_ = job_.bounds.first;
    while (!job_.reader.StopRequested() && job_.startRefused.Get() == 0 && !ended_) {
      if (job_.ring.IsFull(job_.pacedByPreview)) {
        NxSleep(kFullMs);
        continue;
      }
      FillSlot(&job_.ring.ReadSlot());
      Advance();
      job_.ring.Put();
    }
  }

 private:
  void FillSlot(PlaybackSlot* slot) {
    slot->frameNumber = frame_;
    const int32_t clipFrame = job_.timeline.ClipFrame(frame_);
    const FrameClass kind = job_.timeline.Classify(frame_);
    const bool inClip = clipFrame >= 0 && clipFrame < job_.timeline.video;
    if (kind != FrameClass::Clip || !inClip) {
      MakeSynthetic(kind == FrameClass::Bars && job_.bars != nullptr, slot);
    } else if (!ReadClip(clipFrame, slot)) {
      job_.framesLost.Set(job_.framesLost.Get() + 1);
      MakeSynthetic(false, slot);
    }
  }

  // A frame that all slots of its kind share: black, or bars.
  void MakeSynthetic(bool bars, PlaybackSlot* slot) {
    slot->isBlack = !bars;
    slot->isBars = bars;
    slot->fourcc = kBgra;
    slot->width = static_cast<int32_t>(job_.frameWidth);
    slot->height = static_cast<int32_t>(job_.frameHeight);
    slot->rowBytes = slot->width * 4;
    slot->size = job_.frameWidth * job_.frameHeight * 4;
    slot->offset = 0;
    // Deliberate: turned over where the card can do it. Neither picture looks any different.
    slot->topDown = job_.read.orientation == 0 && !job_.session->CanFlip(FrameBuffer8BitArgb);
  }

  // Returns: false when the file does not give the frame.
  bool ReadClip(int32_t clipFrame, PlaybackSlot* slot) {
    if (job_.clip == nullptr) return false;
    NxImageReadRequest request;
    request.fourcc = job_.read.fourcc;
    request.width = job_.read.width;
    request.height = job_.read.height;
    request.pitch = job_.read.rowBytes;
    request.orientation = job_.read.orientation;
    request.color.matrix = job_.read.colorMatrix;
    request.frame = clipFrame;
    request.external = job_.enforceAlignment ? 1 : 0;
    request.buffer = slot->buffer + job_.padBytes;
    request.bufferBytes = static_cast<int32_t>(slot->capacity - job_.padBytes);
    if (job_.clip->ReadImage(&request) != NxErrSuccess) return false;
    const size_t bytes = static_cast<size_t>(request.pitch) * static_cast<size_t>(request.height);
    if (job_.padBytes + request.dataOffset + bytes + job_.extraBytes > slot->capacity) return false;
    slot->offset = request.dataOffset;
    Align(bytes, slot);
    uint8_t* picture = slot->buffer + slot->offset + job_.padBytes;
    if (IsBlank(picture, bytes)) return false;
    RaiseOneLine(request, picture);
    BlackenPad(bytes, slot);
    slot->topDown = request.orientation != 0 || TurnOver(request, picture);
    slot->isBlack = false;
    slot->isBars = false;
    slot->fourcc = job_.read.fourcc;
    slot->size = static_cast<uint32_t>(bytes) + job_.extraBytes;
    slot->width = request.width;
    slot->height = request.height;
    slot->rowBytes = request.pitch;
    return true;
  }

  // A frame that does not belong to its clip reads as zeros, which is a strong green in 4:2:2.
  [[nodiscard]] bool IsBlank(const uint8_t* picture, size_t bytes) const {
    return IsYuv(job_.read.fourcc) && bytes > 0 && picture[0] == 0 &&
           std::memcmp(picture, picture + 1, bytes - 1) == 0;
  }

  // The card's DMA wants a multiple of 8 bytes.
  void Align(size_t bytes, PlaybackSlot* slot) {
    if (slot->offset % kDmaAlignment == 0) return;
    uint8_t* picture = slot->buffer + job_.padBytes;
    std::memmove(picture, picture + slot->offset, bytes);
    slot->offset = 0;
  }

  // The first line of a DV frame at 576 lines lies one lower than the card's.
  void RaiseOneLine(const NxImageReadRequest& request, uint8_t* picture) const {
    const bool dv = request.fourcc == FourCC("dv26") || request.fourcc == FourCC("dv51");
    if (!dv || request.width != 720 || request.height != 576) return;
    ShiftLines(picture, 0, request.height, 0, request.pitch, false);
  }

  // The card's lines above and below the picture.
  void BlackenPad(size_t pictureBytes, PlaybackSlot* slot) const {
    if (job_.extraBytes == 0) return;
    uint8_t* frame = slot->buffer + slot->offset;
    FillCardBlack(job_.read.cardLayout, frame, job_.padBytes);
    FillCardBlack(job_.read.cardLayout, frame + job_.padBytes + pictureBytes,
                  job_.extraBytes - job_.padBytes);
  }

  // Turns the rows of a picture over that the card cannot turn over itself.
  // Returns: false when the card is to do it.
  bool TurnOver(const NxImageReadRequest& request, uint8_t* picture) {
    if (job_.session->CanFlip(job_.read.cardLayout)) return false;
    const auto line = static_cast<size_t>(request.pitch);
    row_.resize(line);
    for (int32_t top = 0, low = request.height - 1; top < low; ++top, --low) {
      uint8_t* upper = picture + static_cast<size_t>(top) * line;
      uint8_t* lower = picture + static_cast<size_t>(low) * line;
      std::memcpy(row_.data(), upper, line);
      std::memcpy(upper, lower, line);
      std::memcpy(lower, row_.data(), line);
    }
    return true;
  }

  void Advance() {
    const int32_t read = frame_;
    frame_ = pace_.Next(frame_);
    if (!pace_.IsPast(frame_, job_.bounds)) return;
    // At more than one frame a pass the last frame of the range is played all the same, once.
    const int32_t bound = pace_.Bound(job_.bounds);
    if (pace_.IsFast() && !clamped_ && read != bound) {
      frame_ = bound;
      clamped_ = true;
    } else {
      ended_ = true;
    }
  }

  PlaybackJob& job_;
  PlayPace pace_;
  int32_t frame_ = 0;
  bool clamped_ = false;
  bool ended_ = false;
  std::vector<uint8_t> row_;
};

}  // namespace

void PlaybackReaderRoutine(void* context) {
  ReaderRun(*static_cast<PlaybackJob*>(context)).Run();
}

}  // namespace morvane
