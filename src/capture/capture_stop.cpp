#include <cerrno>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <utility>
#include <vector>

#include "base/file_io.h"
#include "capture/capture_engine.h"
#include "capture/capture_job.h"
#include "media/media_file_base.h"
#include "session/card2.h"

// Start and stop of a job.
namespace morvane {
namespace {

constexpr int32_t kMoverPriority = 2;
constexpr uint64_t kFirstProcessor = 1;
constexpr uint32_t kDrainPollMs = 5;
constexpr int kDrainPolls = 1011;  // without a frame reaching the disk: the bound of every stop

uint64_t LastProcessor() {
  return uint64_t{1} << ((NxProcessorCount() - 1) & 63);
}

// Keeps for ever what a thread that had to be abandoned may still touch.
void KeepForEver(std::shared_ptr<CaptureJob> job) {
  static std::mutex mutex;
  static auto* kept = new std::vector<std::shared_ptr<CaptureJob>>;
  const std::lock_guard<std::mutex> guard(mutex);
  kept->push_back(std::move(job));
}

void CopyCounts(const CaptureJob& from, CaptureJob* to) {
  to->abortOnDrop = from.abortOnDrop;
  to->framesDone.Set(from.framesDone.Get());
  to->framesDropped.Set(from.framesDropped.Get());
  to->droppedByDisk.Set(from.droppedByDisk.Get());
  to->droppedByCard.Set(from.droppedByCard.Get());
  to->droppedByProcessor.Set(from.droppedByProcessor.Get());
  to->writesFailed.Set(from.writesFailed.Get());
  to->firstError.Set(from.firstError.Get());
  std::memcpy(to->firstTimecode, from.firstTimecode, sizeof to->firstTimecode);
  to->begun.Set(from.begun.Get());
}

}  // namespace

NxErr CaptureEngine::Start() {
  if (!IsQueued()) return NxErrFailure;
  job_->input.CloseLeftover();
  job_->writer.CloseLeftover();
  job_->Rewind();
  closeError_ = 0;
  writerGone_ = false;
  capturing_.Set(0);
  if (!job_->writer.Start(CaptureWriterRoutine, job_.get(), kMoverPriority, LastProcessor())) {
    UndoJob();
    return NxErrStartAutoCirculate;
  }
  if (!job_->input.Start(CaptureInputRoutine, job_.get(), kMoverPriority, kFirstProcessor)) {
    StopWriter();
    UndoJob();
    return NxErrStartAutoCirculate;
  }
  if (!session_->StartAutoCirculate(job_->channelSpec)) {
    StopInput();
    (void)session_->StopAutoCirculate(job_->channelSpec);
    StopWriter();
    UndoJob();
    return NxErrStartAutoCirculate;
  }
  queued_.Set(0);
  capturing_.Set(1);
  job_->capturing.Set(1);
  return NxErrSuccess;
}

void CaptureEngine::Stop() {
  if (!IsQueued() && !IsCapturing()) return;
  const bool ran = IsCapturing();
  StopInput();
  (void)session_->StopAutoCirculate(job_->channelSpec);
  StopWriter();
  // A tape machine that was rolled for the job is stopped here.
  if (!writerLost_) CloseClip();
  ReleaseJob();
  madeFolder_.clear();
  if (ran) settings_.clipName.Set(NextClipName(settings_.clipName.Get()));
  queued_.Set(0);
  capturing_.Set(0);
  LiveInputOn();
}

// Before the start, and after a failed one: nothing of the job remains.
void CaptureEngine::UndoJob() {
  if (!writerLost_) DiscardFiles();
  ReleaseJob();
  queued_.Set(0);
  capturing_.Set(0);
  LiveInputOn();
}

void CaptureEngine::StopInput() {
  if (!job_->input.Stop(false)) inputLost_ = true;
}

// The writer empties the ring. As long as frames reach the disk it is waited for, however slow the
// disk is: the bound counts from the last one.
void CaptureEngine::StopWriter() {
  job_->writer.RequestStop();
  int32_t seen = job_->ring.ReadIndex();
  for (int poll = 0; poll < kDrainPolls && job_->writer.Running(); ++poll) {
    NxSleep(kDrainPollMs);
    const int32_t now = job_->ring.ReadIndex();
    if (now != seen) poll = 0;
    seen = now;
  }
  if (!job_->writer.Stop()) writerLost_ = writerGone_ = true;
}

void CaptureEngine::CloseClip() {
  if (file_ == nullptr) return;
  bool empty = true;
  if (job_->videoOn) {
    empty = file_->GetFrameCount() == 0;
  } else {
    const int32_t files = file_->GetMaxAudioFiles(AudioRow(ChoicesOf(settings_).audioSubtype));
    for (int32_t track = 0; track < files; ++track) {
      if (file_->GetAudioSampleCount(track) > 0) empty = false;
    }
  }
  if (empty) {
    DiscardFiles();
    return;
  }
  errno = 0;
  if (file_->Close() != NxErrSuccess) closeError_ = errno != 0 ? errno : EIO;
  // The file object sees to its own folder; the name of that folder lies in the one above.
  if (!madeFolder_.empty()) {
    const int error = FolderSync(std::filesystem::path(madeFolder_).parent_path().string());
    if (error != 0 && closeError_ == 0) closeError_ = error;
  }
}

void CaptureEngine::DiscardFiles() {
  if (file_ != nullptr) {
    (void)file_->Close();
    (void)file_->DeleteFile();
  }
  if (!madeFolder_.empty()) (void)NxRemoveFolder(madeFolder_.c_str());
  madeFolder_.clear();
  clipPath_.clear();
  audioPaths_.clear();
}

// Frees the ring. When a thread did not end it may still be inside the ring, the file or the
// driver, so all of them stay as they are; what has reached the disk remains there. The engine goes
// on with new ones.
void CaptureEngine::ReleaseJob() {
  if (!inputLost_ && !writerLost_) {
    job_->ring.Free();
    return;
  }
  auto fresh = std::make_shared<CaptureJob>();
  CopyCounts(*job_, fresh.get());
  KeepForEver(std::exchange(job_, std::move(fresh)));
  if (writerLost_) MakeFile();
  inputLost_ = false;
  writerLost_ = false;
}

}  // namespace morvane
