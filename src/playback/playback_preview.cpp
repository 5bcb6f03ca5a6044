#include "device/formats.h"
#include "playback/playback_job.h"
#include "processing/picture_sink.h"

// The preview thread: follows what has gone out, shows it in the sink if there is one, and moves
// the mark that frees the ring's slots.
namespace morvane {
namespace {

constexpr uint32_t kIdleMs = 2;
constexpr uint32_t kDisplayHalf = 1;
constexpr uint32_t kDisplayQuarter = 2;

class PreviewRun {
 public:
  explicit PreviewRun(PlaybackJob& job) : job_(job), ring_(job.ring) {}

  void Run() {
    const bool shows =
        job_.sink != nullptr && job_.sink->Begin(job_.preview.width, job_.preview.height);
    while (!job_.viewer.StopRequested() && job_.startRefused.Get() == 0 && !job_.HasReachedEnd()) {
      if (!HasTurn()) {
        NxSleep(kIdleMs);
        continue;
      }
      if (shows && IsDue()) Draw(ring_.PreviewSlot());
      ring_.Leave();
    }
    // A viewer that was abandoned inside Show() must not touch the sink again: its owner may have
    // taken it down.
    NxLeaveIfAbandoned();
    if (shows) job_.sink->End();
  }

 private:
  // The next slot has been on the output.
  [[nodiscard]] bool HasTurn() const {
    const int32_t previewed = ring_.Previewed();
    if (job_.circulating.Get() == 0 || previewed >= ring_.Processed() ||
        previewed >= ring_.Transferred()) {
      return false;
    }
    const int32_t frame = ring_.PreviewSlot().frameNumber;
    const int32_t current = job_.currentFrame.Get();
    return job_.speed > 0 ? frame <= current : frame >= current;
  }

  [[nodiscard]] bool IsDue() const {
    switch (job_.displaySpeed.Get()) {
      case kDisplayHalf:
        return ring_.Previewed() % 2 == 0;
      case kDisplayQuarter:
        return ring_.Previewed() % 4 == 0;
      default:
        return true;
    }
  }

  // Pictures that all slots share are drawn once in a row; so is one black picture when the
  // preview is off.
  void Draw(const PlaybackSlot& slot) {
    const bool on = job_.PreviewsPlay();
    if (slot.isBlack || !on) {
      if (!blackShown_) Show(slot, ring_.BlackFrame().Data(), true);
      blackShown_ = true;
      return;
    }
    if (slot.isBars && job_.bars != nullptr) {
      if (!barsShown_) Show(slot, job_.bars->Data(), true);
      barsShown_ = true;
      return;
    }
    Show(slot, slot.buffer + slot.offset + job_.padBytes, false);
    blackShown_ = false;
    barsShown_ = false;
  }

  void Show(const PlaybackSlot& slot, const uint8_t* picture, bool shared) {
    PreviewSource frame;
    static_cast<PreviewView&>(frame) = job_.preview.view;
    frame.aspectX = job_.preview.aspectX;
    frame.aspectY = job_.preview.aspectY;
    frame.picture = picture;
    frame.width = shared ? static_cast<int32_t>(job_.frameWidth) : slot.width;
    frame.height = shared ? static_cast<int32_t>(job_.frameHeight) : slot.height;
    frame.rowBytes = shared ? frame.width * 4 : slot.rowBytes;
    frame.fourcc = shared ? FourCC("bgrA") : slot.fourcc;
    frame.bottomUp = !shared && !slot.topDown;
    frame.fields = job_.preview.fields;
    frame.tables8 = job_.preview.tables8;
    frame.tables10 = job_.preview.tables10;
    job_.sink->Show(MakeJobFrame(frame));
    NxLeaveIfAbandoned();
  }

  PlaybackJob& job_;
  SlotRing& ring_;
  bool blackShown_ = false;
  bool barsShown_ = false;
};

}  // namespace

void PlaybackPreviewRoutine(void* context) {
  PreviewRun(*static_cast<PlaybackJob*>(context)).Run();
}

}  // namespace morvane
