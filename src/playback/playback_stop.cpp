#include <mutex>
#include <utility>
#include <vector>

#include "playback/engine_choice.h"
#include "playback/playback_job.h"
#include "session/audio_output.h"
#include "session/card2.h"

// The end of a play.
namespace morvane {
namespace {

// Keeps for ever what a thread that had to be abandoned may still touch.
void KeepForEver(std::shared_ptr<PlaybackJob> job) {
  static std::mutex mutex;
  static auto* kept = new std::vector<std::shared_ptr<PlaybackJob>>;
  const std::lock_guard<std::mutex> guard(mutex);
  kept->push_back(std::move(job));
}

void CopyWords(const PlaybackJob& from, PlaybackJob* to) {
  to->hasVideo = from.hasVideo;
  to->hasAudio = from.hasAudio;
  to->currentFrame.Set(from.currentFrame.Get());
  to->audioFrame.Set(from.audioFrame.Get());
  to->framesPlayed.Set(from.framesPlayed.Get());
  to->audioFramesPlayed.Set(from.audioFramesPlayed.Get());
  to->framesLost.Set(from.framesLost.Get());
  to->droppedFrames.Set(from.droppedFrames.Get());
  to->droppedByDisk.Set(from.droppedByDisk.Get());
  to->droppedByCard.Set(from.droppedByCard.Get());
  to->droppedByProcessor.Set(from.droppedByProcessor.Get());
  to->startRefused.Set(from.startRefused.Get());
}

}  // namespace

NxErr PlaybackEngine::Stop(bool still) {
  if (!opened_) return NxErrFailure;
  still_ = still;
  if (!IsPlaying()) {
    if (!still) RestoreIdle();
    return NxErrFailure;
  }
  // A tape machine that was rolled for the play is stopped here.
  (void)GetPlayingFrame();
  EndPlay(still);
  Arm();
  return NxErrSuccess;
}

void PlaybackEngine::EndPlay(bool still) {
  StopThreads();
  ReleaseJob();
  if (!still) RestoreIdle();
  speed_.Set(0);
  playing_.Set(0);
  launched_.Set(0);
}

// The preview first, since it looks at slots; the reader last of those that use the ring.
void PlaybackEngine::StopThreads() {
  PlaybackJob& job = *job_;
  bool ended = job.viewer.Stop();
  ended &= job.mover.Stop();
  if (job.hasVideo) (void)session_->StopAutoCirculate(job.channelSpec);
  ended &= job.reader.Stop();
  ended &= job.player.Stop();
  job.circulating.Set(0);
  anyThreadLost_ = !ended;
}

// Frees the ring. When a thread did not end it may still be inside the ring, a file or the driver,
// so all of them stay as they are, and the engine goes on without clip and sound.
void PlaybackEngine::ReleaseJob() {
  if (!anyThreadLost_) {
    job_->ring.Free();
    job_->sink = nullptr;
    job_->clip.reset();
    job_->sound = {};
    job_->bars.reset();
    return;
  }
  auto fresh = std::make_shared<PlaybackJob>();
  CopyWords(*job_, fresh.get());
  KeepForEver(std::exchange(job_, std::move(fresh)));
  anyThreadLost_ = false;
  clip_.reset();
  clipInfo_ = {};
  sound_ = {};
  // The session and the audio output are shared with the thread that is lost; they go on working.
  PlanFrames();
}

}  // namespace morvane
