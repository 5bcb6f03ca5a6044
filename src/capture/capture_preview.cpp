#include "base/fourcc.h"
#include "capture/capture_engine.h"
#include "capture/capture_job.h"
#include "processing/picture_sink.h"
#include "processing/preview_frame.h"
#include "processing/records.h"
#include "session/card2.h"

// The preview: a round during a job, and the live input without one.
namespace morvane {
namespace {

constexpr int32_t kWhileIdle = 1;  // of display to desktop
constexpr int32_t kWhileCapture = 2;
constexpr int32_t kAlways = 3;

bool ShowsJobs(int32_t displayToDesktop) {
  return displayToDesktop == kWhileCapture || displayToDesktop == kAlways;
}

bool ShowsIdle(int32_t displayToDesktop) {
  return displayToDesktop == kWhileIdle || displayToDesktop == kAlways;
}

}  // namespace

// What is the same for all pictures: where they are shown, and the shape of their pixels.
PreviewSource CaptureEngine::Source() const {
  PreviewSource source;
  static_cast<PreviewView&>(source) = view_;
  session_->GetPixelAspect(&source.aspectX, &source.aspectY);
  return source;
}

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
    PreviewSource frame = Source();
    frame.picture = slot.data + ring.PictureOffset() + job_->padBytes;
    frame.width = job_->image.width;
    frame.height = job_->image.height;
    frame.rowBytes = job_->image.pitch;
    frame.fourcc = job_->image.fourcc;
    frame.bottomUp = slot.bottomUp.Get() != 0;
    frame.fields.flagA = 1;
    frame.tables8 = tables8_;
    frame.tables10 = tables10_;
    sink->Show(MakeJobFrame(frame));
  }
  ring.SetMark(read);
  return shows;
}

CaptureEngine::LivePicture CaptureEngine::ShowLiveInput(PictureSink* sink, void* buffer,
                                                        size_t bytes) {
  if (!active_ || !liveInput_ || IsQueued() || IsCapturing() ||
      !ShowsIdle(settings_.displayToDesktop)) {
    return LivePicture::NotWanted;
  }
  if (session_->DetectSelectedInput() == 0) return LivePicture::NoSignal;
  if (!session_->ReadInputFrame(buffer, bytes)) return LivePicture::NoSignal;
  uint32_t width = 0;
  uint32_t height = 0;
  session_->GetFrameRaster(&width, &height);
  PreviewSource source = Source();
  source.picture = static_cast<const uint8_t*>(buffer);
  source.width = static_cast<int32_t>(width);
  source.height = static_cast<int32_t>(height);
  source.rowBytes = source.width * 4;
  source.fourcc = FourCC("bgrA");
  sink->Show(MakeIdleFrame(source));
  return LivePicture::Shown;
}

void CaptureEngine::GetPreviewSize(int32_t* width, int32_t* height) const {
  uint32_t pixels = 0;
  uint32_t lines = 0;
  session_->GetRaster(&pixels, &lines);
  *width = static_cast<int32_t>(pixels);
  *height = static_cast<int32_t>(lines);
}

}  // namespace morvane
