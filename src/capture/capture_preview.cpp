#include "base/fourcc.h"
#include "capture/capture_engine.h"
#include "capture/capture_job.h"
#include "processing/picture_sink.h"
#include "processing/records.h"
#include "session/card2.h"

// The preview's round during a job.
namespace morvane {
namespace {

constexpr int32_t kWhileCapture = 2;  // of display to desktop
constexpr int32_t kAlways = 3;
constexpr int32_t kJobFrameMode = 4;

bool ShowsJobs(int32_t displayToDesktop) {
  return displayToDesktop == kWhileCapture || displayToDesktop == kAlways;
}

}  // namespace

bool CaptureEngine::PreviewRound(PictureSink* sink) {
  if (!IsCapturing()) return false;
  FrameRing& ring = job_->ring;
  const int32_t read = ring.ReadIndex();
  const int32_t mark = ring.Mark();
  if (mark >= read) return false;
  // The slot before the one that is read is safe as long as the mark has not passed it.
  const bool shows = sink != nullptr && job_->videoOn && ShowsJobs(settings_.displayToDesktop) &&
                     read - mark <= ring.SlotCount() / 2;
  if (shows) {
    const FrameSlot& slot = ring.Picture((read - 1) % ring.SlotCount());
    NXVideoFrame frame;
    frame.picture = slot.data + ring.PictureOffset() + job_->padBytes;
    frame.width = job_->image.width;
    frame.height = job_->image.height;
    frame.rowBytes = job_->image.pitch;
    frame.fourcc = job_->image.fourcc;
    frame.bottomUp = static_cast<int32_t>(slot.bottomUp.Get());
    frame.originX = originX_;
    frame.originY = originY_;
    frame.zoomX = zoomX_ / 100.0F;
    frame.zoomY = zoomY_ / 100.0F;
    frame.modeA = kJobFrameMode;
    frame.modeB = kJobFrameMode;
    frame.fields.flagA = 1;
    const bool tenBit = frame.fourcc == FourCC("v219") || frame.fourcc == FourCC("V219");
    frame.colorTable = tenBit ? tables10_ : tables8_;
    sink->Show(frame);
  }
  ring.SetMark(read);
  return shows;
}

void CaptureEngine::GetPreviewSize(int32_t* width, int32_t* height) const {
  uint32_t pixels = 0;
  uint32_t lines = 0;
  session_->GetRaster(&pixels, &lines);
  *width = static_cast<int32_t>(pixels);
  *height = static_cast<int32_t>(lines);
}

}  // namespace morvane
