#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "capture/capture_job.h"
#include "media/media_file_base.h"
#include "processing/convert.h"
#include "processing/timecode.h"

// The writer thread: takes slots in order, turns rows over where the file wants it, and hands
// picture and sound to the file object.
namespace morvane {
namespace {

constexpr uint32_t kPollMs = 1;
constexpr uint32_t kDrainPauseMs = 10;
constexpr int kDrainRounds = 300;
constexpr int32_t kMaximumLatency = 2;

class WriterRun {
 public:
  explicit WriterRun(CaptureJob& job) : job_(job), image_(job.image) {
    line_.resize(static_cast<size_t>(image_.pitch));
  }

  void Run() {
    do {
      Round();
    } while (!job_.writer.StopRequested() && !job_.IsFinished());
    Drain();
  }

 private:
  void Round() {
    const int32_t read = job_.ring.ReadIndex();
    const bool ready =
        read < job_.ring.WriteIndex() && !handled_ &&
        (!job_.queuedWrites || job_.queuedCount.Get() <= job_.queuedWriteDepth + read);
    if (ready) {
      HandleSlot();
      return;
    }
    if (job_.queuedWrites && handled_) Advance();
    NxSleep(kPollMs);
  }

  // After the end, what is in the ring still goes to disk. A job with a length has what it wanted,
  // and one that a dropped frame ended is broken already.
  void Drain() {
    for (int round = 0; round < kDrainRounds; ++round) {
      if (job_.IsAborted() || job_.framesToDo > 0) return;
      if (job_.ring.ReadIndex() == job_.ring.WriteIndex()) return;
      if (!handled_) {
        HandleSlot();
      } else {
        Advance();
      }
      NxSleep(kDrainPauseMs);
    }
  }

  void HandleSlot() {
    const int slot = job_.ring.ReadSlot();
    FrameSlot& picture = job_.ring.Picture(slot);
    handled_ = true;
    if (Begins(picture)) {
      bool failed = false;
      if (job_.videoOn && picture.writeFrame == 1) {
        failed = !WritePicture(&picture);
      } else {
        ++unwritten_;
      }
      if (job_.audioOn && !WriteSound(picture, job_.ring.Sound(slot))) failed = true;
      if (failed) job_.writesFailed.Set(job_.writesFailed.Get() + 1);
      if (held_ >= job_.frameLatency) job_.framesDone.Set(job_.framesDone.Get() + 1);
    } else {
      ++unwritten_;
      NxSleep(kPollMs);
    }
    Advance();
  }

  // The job begins with the first slot that has timecode.
  bool Begins(const FrameSlot& picture) {
    if (job_.begun.Get() != 0) return true;
    if (picture.timecodeValid == 0) return false;
    std::memcpy(job_.firstTimecode, picture.timecode, sizeof job_.firstTimecode);
    job_.begun.Set(1);
    return true;
  }

  // Gives the slot back, in queued mode once the file has it on disk.
  void Advance() {
    const int32_t frame = job_.ring.ReadIndex() - unwritten_;
    const bool landed = job_.file->CheckFrameWritten(frame) == NxErrSuccess;
    if (!landed && job_.queuedWrites) return;
    job_.ring.Take();
    handled_ = false;
  }

  NxTimeCodeRecord StampOf(const FrameSlot& picture) const {
    NxTimeCodeRecord stamp = job_.stamp;
    stamp.dropFrame = job_.dropFrame.Get();
    if (picture.timecodeValid == 0) return stamp;
    uint32_t word = 0;
    TimecodeTextToBcd(reinterpret_cast<const uint8_t*>(picture.timecode), &word, stamp.tcScale,
                      stamp.tcRate, stamp.dropFrame, 0);
    stamp.timeCode = word;
    stamp.flags = kTimeCodePresent;
    return stamp;
  }

  // Returns: false when the file refused the frame. A frame that only fills the delay line is fine.
  bool WritePicture(FrameSlot* picture) {
    uint8_t* pixels = picture->data + job_.ring.PictureOffset() + job_.padBytes;
    // Only the picture's own lines are turned, so that it stays where the card put it.
    if (job_.reverseRows) {
      ReverseRows(pixels);
      picture->bottomUp.Set(0);
    }
    // Line 0 stays, so that it stands twice.
    if (job_.lowerByOneLine) ShiftLines(pixels, 0, image_.height, 0, image_.pitch, true);
    image_.headerBuffer = picture->data + job_.padBytes;
    image_.dataOffset = static_cast<uint32_t>(job_.ring.PictureOffset());
    image_.imageBuffer = pixels;
    if (!Delay(StampOf(*picture))) return true;
    errno = 0;
    const NxErr result = job_.file->WriteImage(&image_);
    if (result != NxErrSuccess) {
      NoteError();
      ++unwritten_;
      return false;
    }
    if (job_.queuedWrites) job_.queuedCount.Set(job_.queuedCount.Get() + 1);
    return true;
  }

  // The card's conversion path delays pictures against their timecode: each one is written with the
  // timecode of `frameLatency` frames ago. Returns: false while the delay line only fills.
  bool Delay(const NxTimeCodeRecord& stamp) {
    image_.timeCode = stamp;
    if (job_.frameLatency == 0) return true;
    if (held_ < job_.frameLatency) {
      delayed_[held_++] = stamp;
      ++unwritten_;
      return false;
    }
    image_.timeCode = delayed_[oldest_];
    delayed_[oldest_] = stamp;
    oldest_ = (oldest_ + 1) % job_.frameLatency;
    return true;
  }

  void ReverseRows(uint8_t* pixels) {
    const size_t pitch = line_.size();
    for (int32_t top = 0, bottom = image_.height - 1; top < bottom; ++top, --bottom) {
      uint8_t* upper = pixels + static_cast<size_t>(top) * pitch;
      uint8_t* lower = pixels + static_cast<size_t>(bottom) * pitch;
      std::memcpy(line_.data(), upper, pitch);
      std::memcpy(upper, lower, pitch);
      std::memcpy(lower, line_.data(), pitch);
    }
  }

  bool WriteSound(const FrameSlot& picture, const AudioSlot& sound) {
    NxAudioWriteRequest request;
    request.timeCode = StampOf(picture);
    bool whole = true;
    for (int32_t track = 0; track < job_.tracks; ++track) {
      const size_t bytes =
          ExtractAudioTrack({sound.data, sound.bytes}, sound.channelPhase, track, job_.track,
                            {job_.ring.TrackBuffer(), kCaptureAudioBytes});
      if (bytes == 0) continue;
      request.file = track;
      request.buffer = job_.ring.TrackBuffer();
      request.bytes = static_cast<int32_t>(bytes);
      errno = 0;
      if (job_.file->WriteAudio(&request) == NxErrSuccess) continue;
      NoteError();
      whole = false;
    }
    return whole;
  }

  void NoteError() {
    if (job_.firstError.Get() == 0) job_.firstError.Set(errno != 0 ? errno : EIO);
  }

  CaptureJob& job_;
  NxImageWriteRequest image_;
  std::vector<uint8_t> line_;  // one line of the picture
  NxTimeCodeRecord delayed_[kMaximumLatency] = {};
  int32_t held_ = 0;       // records in the delay line
  int32_t oldest_ = 0;     // of them, once it is full
  int32_t unwritten_ = 0;  // slots whose picture is not in the file
  bool handled_ = false;   // the read slot has been written and waits to be given back
};

}  // namespace

void CaptureWriterRoutine(void* context) {
  WriterRun(*static_cast<CaptureJob*>(context)).Run();
}

}  // namespace morvane
