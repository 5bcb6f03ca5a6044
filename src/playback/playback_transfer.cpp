#include <deque>
#include <vector>

#include "base/page_memory.h"
#include "device/formats.h"
#include "session/card_layout.h"
#include "playback/playback_job.h"
#include "processing/software_convert.h"
#include "processing/timecode.h"
#include "session/card2.h"

// The transfer thread: hands the ring's frames to the card and follows what is on the output. Alone
// in talking to AutoCirculate between initialisation and stop.
namespace morvane {
namespace {

constexpr uint32_t kIdleMs = 1;
constexpr int32_t kFramesBeforeStart = 5;
constexpr int32_t kNextAvailable = -1;
constexpr uint32_t kPulldown = 1;  // cadences
constexpr uint32_t kEachTwice = 2;

class TransferRun {
 public:
  explicit TransferRun(PlaybackJob& job)
      : job_(job), ring_(job.ring), transfer_(job.transfer), counter_(job.bounds.first) {}

  void Run() {
    bool finished = false;
    while (!job_.mover.StopRequested() && !finished) {
      RQD5AutoCirculateStatus status = {};
      const bool known = job_.session->GetAutoCirculate(job_.channelSpec, &status);
      if (known) NoteStatus(status);
      if (!StartWhenReady(status)) return;
      if (!known || !SendOne(status)) NxSleep(kIdleMs);
      finished = job_.HasReachedEnd();
    }
  }

 private:
  void NoteStatus(const RQD5AutoCirculateStatus& status) {
    // Frames missed after the last one was read are not missed by anybody.
    if (status.framesDropped != job_.droppedFrames.Get() && job_.reader.Running()) {
      Blame(status);
      job_.droppedFrames.Set(status.framesDropped);
    }
    if (status.activeFrame == kACNoFrame || job_.circulating.Get() == 0) return;
    if (status.activeFrame == lastStamped_) return;
    RQD5FrameStamp stamp = {};
    if (!job_.session->GetFrameStamp(job_.channelSpec, status.activeFrame, &stamp)) return;
    if (stamp.framesProcessed == 0) return;
    lastStamped_ = status.activeFrame;
    CountPlayed(stamp.framesProcessed);
    ring_.SetProcessed(ClipFramesOf(stamp.framesProcessed));
    job_.currentFrame.Set(static_cast<int32_t>(stamp.userData));
    job_.stamped.Set(1);
  }

  // Says what the boundaries that have passed without a new frame waited for. One frame may have
  // been sent since the last of them.
  void Blame(const RQD5AutoCirculateStatus& status) {
    SharedWord<uint32_t>& cause = status.bufferLevel > 1 ? job_.droppedByCard
                                  : ring_.Transferred() >= ring_.FramesRead()
                                      ? job_.droppedByDisk
                                      : job_.droppedByProcessor;
    cause.Set(cause.Get() + status.framesDropped - job_.droppedFrames.Get());
  }

  // Frames of the clip that `cardFrames` of the output show.
  [[nodiscard]] int32_t ClipFramesOf(uint32_t cardFrames) const {
    const auto n = static_cast<int32_t>(cardFrames);
    if (job_.cadence == kPulldown) return n / 5 * 2 + (n % 5 >= 2 ? 1 : 0);
    return job_.cadence == kEachTwice ? n / 2 : n;
  }

  // Distinct frames among those that were sent and have become active.
  void CountPlayed(uint32_t processed) {
    while (counted_ < processed && !sent_.empty()) {
      if (counted_ == 0 || sent_.front() != lastPlayed_) {
        job_.framesPlayed.Set(job_.framesPlayed.Get() + 1);
      }
      lastPlayed_ = sent_.front();
      sent_.pop_front();
      ++counted_;
    }
  }

  // Returns: false when the card refuses to circulate; everybody leaves then.
  bool StartWhenReady(const RQD5AutoCirculateStatus& status) {
    if (job_.circulating.Get() != 0 || !job_.SoundIsReady()) return true;
    const bool readerEnded = !job_.reader.Running();
    const int32_t read = ring_.FramesRead();
    const bool cardIsFull = static_cast<int32_t>(status.bufferLevel) >= job_.levelLimit;
    const bool allSent = ring_.Transferred() >= read || cardIsFull;
    if (!allSent || (read < kFramesBeforeStart && !readerEnded)) return true;
    // A print to tape starts here when the tape machine is at its point.
    if (!job_.session->StartAutoCirculate(job_.channelSpec)) {
      job_.startRefused.Set(1);
      return false;
    }
    job_.circulating.Set(1);
    return true;
  }

  // Returns: false when there was nothing to send, or no room for it.
  bool SendOne(const RQD5AutoCirculateStatus& status) {
    if (ring_.Transferred() >= ring_.FramesRead()) return false;
    if (static_cast<int32_t>(status.bufferLevel) >= job_.levelLimit) return false;
    const PlaybackSlot& slot = ring_.TransferSlot();
    PointAt(slot);
    transfer_.audioBuffer = nullptr;
    transfer_.audioSize = 0;
    transfer_.frameRequest = kNextAvailable;
    transfer_.userData = static_cast<uint32_t>(slot.frameNumber);
    StampTimecode();
    RQD5AutoCirculateTransferStatus result = {};
    if (!Transfer(&result) || result.transferFrame == -1) return false;
    ++counter_;
    sent_.push_back(slot.frameNumber);
    if (MovesOn()) ring_.Pass();
    return true;
  }

  void PointAt(const PlaybackSlot& slot) {
    uint8_t* const bars = job_.bars != nullptr ? job_.bars->Data() : nullptr;
    uint8_t* const shared = slot.isBars && bars != nullptr ? bars : ring_.BlackFrame().Data();
    const bool synthetic = slot.isBlack || slot.isBars;
    transfer_.videoBuffer = synthetic ? shared : slot.buffer + slot.offset;
    transfer_.videoSize = slot.size;
    transfer_.flip = slot.topDown ? 0 : 1;
    uint32_t layout = 0;
    const bool is1080At25 = slot.height == 1080 && job_.rateScale == 25000;
    if (!CardLayoutOf(slot.fourcc, is1080At25, &layout)) {
      transfer_.videoBuffer = ring_.BlackFrame().Data();
      layout = FrameBuffer8BitArgb;
    }
    transfer_.frameBufferFormat = layout;
    if (job_.read.softConvert && layout == FrameBuffer8BitArgb) ConvertTo422(slot);
  }

  // For a board whose memory takes no RGB. Short of memory the frame goes as it stands.
  void ConvertTo422(const PlaybackSlot& slot) {
    const int32_t rowBytes = slot.width * 2;
    const size_t bytes = static_cast<size_t>(rowBytes) * static_cast<size_t>(slot.height);
    if (converted_.Bytes() < bytes && !converted_.Allocate(bytes)) return;
    const auto* source = static_cast<const uint8_t*>(transfer_.videoBuffer);
    if (!ConvertBgraTo422(converted_.Data(), rowBytes, source, slot.rowBytes, slot.width,
                          slot.height)) {
      return;
    }
    transfer_.videoBuffer = converted_.Data();
    transfer_.videoSize = static_cast<uint32_t>(bytes);
    transfer_.frameBufferFormat = FrameBuffer8BitYuy2;
  }

  void StampTimecode() {
    transfer_.rp188 = {};
    if (!job_.carriesTimecode) return;
    char text[kTimecodeTextBytes] = {};
    if (FrameToTimecodeText(counter_, static_cast<int32_t>(job_.timecodeScale),
                            static_cast<int32_t>(job_.timecodeDuration), job_.dropFrame ? 1 : 0,
                            text) != 0) {
      return;
    }
    const Rp188Timecode words = PackRp188(text, FieldId());
    transfer_.rp188 = {words.flags, words.low, words.high};
  }

  [[nodiscard]] int FieldId() const {
    if (job_.cadence == 0) return 0;
    if (job_.cadence == kEachTwice) return 1;
    if (job_.cadence != kPulldown) return 3;
    const int32_t place = counter_ % 10;
    return place < 4 ? 1 : place < 8 ? 2 : 0;
  }

  bool Transfer(RQD5AutoCirculateTransferStatus* result) {
    if (!job_.extendedRoute) return job_.session->TransferAutoCirculate(&transfer_, result);
    RQD5RoutingTable route = {};
    (void)job_.session->FillRoute(&route);
    return job_.session->TransferAutoCirculateExtended(&transfer_, result, &route);
  }

  // Whether the slot is done with: a cadence sends frames more than once, 2, 3, 2, 3 times or twice
  // each.
  bool MovesOn() {
    if (job_.cadence == kPulldown) {
      const bool moves = phase_ == 1 || phase_ == 4;
      phase_ = (phase_ + 1) % 5;
      return moves;
    }
    if (job_.cadence == kEachTwice) {
      phase_ = 1 - phase_;
      return phase_ == 0;
    }
    return true;
  }

  PlaybackJob& job_;
  SlotRing& ring_;
  RQD5AutoCirculateTransfer transfer_;
  int32_t counter_;  // card frames, for the timecode
  int phase_ = 0;    // of the cadence
  uint32_t lastStamped_ = kACNoFrame;
  std::deque<int32_t> sent_;  // timeline frames on the card, oldest first
  uint32_t counted_ = 0;      // of the frames sent, those that have become active
  int32_t lastPlayed_ = 0;
  PageBuffer converted_;
};

}  // namespace

void PlaybackTransferRoutine(void* context) {
  TransferRun(*static_cast<PlaybackJob*>(context)).Run();
}

}  // namespace morvane
