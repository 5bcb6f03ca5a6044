#include <algorithm>
#include <cstring>

#include "capture/capture_job.h"
#include "capture/drop_blame.h"
#include "processing/timecode.h"
#include "session/card2.h"

// The input thread: polls the card's ring, fetches each frame and its sound into the next slot and
// stamps the timecode. Alone in talking to AutoCirculate between start and stop.
namespace morvane {
namespace {

constexpr uint32_t kPollMs = 1;
constexpr uint32_t kLevelToFetch = 2;  // frames waiting in the card before one is fetched
constexpr int32_t kNextAvailable = -1;

class InputRun {
 public:
  explicit InputRun(CaptureJob& job) : job_(job), transfer_(job.transfer), blame_(job.cardSlots) {}

  void Run() {
    do {
      if (!Fetch()) NxSleep(kPollMs);
    } while (!job_.input.StopRequested() && !job_.IsFinished());
    // A job that was told to stop may have been standing before a full ring: what the card dropped
    // meanwhile belongs to it.
    RQD5AutoCirculateStatus status = {};
    if (!job_.IsFinished() && job_.session->GetAutoCirculate(job_.channelSpec, &status)) {
      NoteDrops(status);
    }
  }

 private:
  // One round. Returns: false when there was nothing to fetch, or no room for it.
  bool Fetch() {
    if (job_.capturing.Get() == 0) return false;
    if (job_.ring.IsFull()) {
      blame_.NoteFullRing(job_.ring.WriteIndex() - job_.ring.ReadIndex(), job_.ring.SlotCount());
      return false;
    }
    if (!IsFrameWaiting()) return false;
    const int slot = job_.ring.WriteSlot();
    FrameSlot& picture = job_.ring.Picture(slot);
    AudioSlot& sound = job_.ring.Sound(slot);
    FillTransfer(&picture, sound);
    RQD5AutoCirculateTransferStatus status = {};
    if (!job_.session->TransferAutoCirculate(&transfer_, &status)) return false;
    if (status.transferFrame == -1) return false;
    if (job_.audioOn) {
      sound.bytes = std::min(status.audioBytes, sound.capacity);
      sound.channelPhase = status.audioStartChannel;
    }
    // Pulldown stands here: a cadence input decides which of its frames are written. Without it
    // each one is, and the write index goes up by one.
    picture.writeFrame = 1;
    StampTimecode(status.stamp, &picture);
    job_.ring.Put();
    return true;
  }

  bool IsFrameWaiting() {
    RQD5AutoCirculateStatus status = {};
    if (!job_.session->GetAutoCirculate(job_.channelSpec, &status)) return false;
    NoteDrops(status);
    return status.state == ACStateRunning && status.bufferLevel >= kLevelToFetch;
  }

  void FillTransfer(FrameSlot* picture, const AudioSlot& sound) {
    transfer_.videoBuffer = picture->data + job_.ring.PictureOffset();
    transfer_.videoSize = picture->bytes;
    picture->bottomUp.Set(1);
    transfer_.audioBuffer = job_.audioOn ? sound.data : nullptr;
    transfer_.audioSize = job_.audioOn ? sound.capacity : 0;
    transfer_.frameRequest = kNextAvailable;
  }

  void StampTimecode(const RQD5FrameStamp& stamp, FrameSlot* picture) {
    picture->timecodeValid = 0;
    if (job_.timecode == CaptureTimecode::None) {
      std::memcpy(picture->timecode, "00:00:00:00", sizeof picture->timecode);
      picture->timecodeValid = 1;
      return;
    }
    // The timecode of a tape machine stands here: nothing is valid until its status thread knows
    // the start, then each frame counts on from there.
    const Rp188Timecode words = {stamp.rp188.flags, stamp.rp188.low, stamp.rp188.high};
    char text[kTimecodeTextBytes] = {};
    if (!UnpackRp188(words, text)) return;
    std::memcpy(picture->timecode, text, sizeof picture->timecode - 1);
    picture->timecode[sizeof picture->timecode - 1] = '\0';
    picture->timecodeValid = 1;
    if (!timecodeSeen_) job_.dropFrame.Set((words.low & kRp188DropFrame) != 0 ? 1 : 0);
    timecodeSeen_ = true;
  }

  void NoteDrops(const RQD5AutoCirculateStatus& status) {
    const auto level = static_cast<int32_t>(status.bufferLevel);
    const uint32_t more = status.framesDropped - job_.framesDropped.Get();
    if (more != 0) {
      SharedWord<uint32_t>& count = CountOf(blame_.Judge(level));
      count.Set(count.Get() + more);
      job_.framesDropped.Set(status.framesDropped);
    }
    blame_.NoteLevel(level);
  }

  SharedWord<uint32_t>& CountOf(DropCause cause) {
    if (cause == DropCause::Card) return job_.droppedByCard;
    return cause == DropCause::Disk ? job_.droppedByDisk : job_.droppedByProcessor;
  }

  CaptureJob& job_;
  RQD5AutoCirculateTransfer transfer_;
  DropBlame blame_;
  bool timecodeSeen_ = false;
};

}  // namespace

void CaptureInputRoutine(void* context) {
  InputRun(*static_cast<CaptureJob*>(context)).Run();
}

}  // namespace morvane
