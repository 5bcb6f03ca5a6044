#include <algorithm>
#include <cmath>

#include "device/boards.h"
#include "device/formats.h"
#include "playback/engine_choice.h"
#include "playback/playback_job.h"
#include "session/audio_output.h"
#include "session/card2.h"

// PlaybackEngine::Play(): bounds, ring, card and threads, each undone again when a later one fails.
namespace morvane {
namespace {

constexpr int32_t kPlainPlay = 0;
constexpr uint32_t kLeastFrameCount = 6;  // slots without which a card cannot circulate
constexpr uint32_t kLastSlotBack = 4;     // behind the ring: the overlay's slot, then the sound's
// On this board fewer frames may wait than its ring has slots.
constexpr uint32_t kBoardWithFixedLevel = BoardMaple;
constexpr int32_t kFixedLevel = 9;
// On this board the ring is freed by the transfer, unless the desktop shows the play.
constexpr uint32_t kBoardPacedByTransfer = BoardOak;

constexpr int32_t kNormalPriority = 1;
constexpr int32_t kMoverPriority = 2;
constexpr uint64_t kFirstProcessor = 1;

uint64_t LastProcessor(uint32_t processors) {
  return uint64_t{1} << ((processors - 1) & 63);
}

uint64_t PreviewProcessor(uint32_t processors) {
  if (processors <= 1) return 1;
  if (processors == 2) return 2;
  return uint64_t{1} << ((processors - 2) & 63);
}

}  // namespace

NxErr PlaybackEngine::Play(double speed, PictureSink* sink, int32_t mode) {
  if (!opened_ || !active_) return NxErrSuccess;
  // Print to tape stands here when playback drives a tape machine.
  if (mode != kPlainPlay || !std::isfinite(speed) || speed == 0) return NxErrFailure;
  if (IsPlaying()) (void)Stop(true);
  if (plan_.Length() <= 0 || (!hasVideo_ && !hasAudio_)) return NxErrSuccess;
  Disarm();
  if (NxWait(lock_, 0) != NxErrSuccess) return NxErrSuccess;
  const NxErr result = Launch(speed, sink);
  NxReleaseSemaphore(lock_);
  if (result == NxErrSuccess) {
    launched_.Set(1);
  } else {
    still_ = false;
    Arm();
  }
  return result;
}

NxErr PlaybackEngine::Launch(double speed, PictureSink* sink) {
  job_->reader.CloseLeftover();
  job_->mover.CloseLeftover();
  job_->player.CloseLeftover();
  job_->viewer.CloseLeftover();
  launched_.Set(0);
  speed_.Set(speed);
  job_->Rewind();
  FillJob(speed, sink);
  FillCardPart();
  playing_.Set(1);
  NxErr result = NxErrSuccess;
  if (hasVideo_) {
    const size_t frameBytes = size_t{job_->frameWidth} * job_->frameHeight * 4;
    const auto clipBytes = static_cast<size_t>(std::max<int32_t>(clipInfo_.frameBytes, 0));
    if (job_->ring.Allocate(std::max(frameBytes, clipBytes) + kSlotSlack) == 0) {
      result = NxErrAllocateFifo;
    } else if (!InitCirculation()) {
      result = NxErrInitAutoCirculate;
    }
  } else {
    RestoreIdle();
  }
  if (result == NxErrSuccess && !StartThreads()) result = NxErrFailure;
  if (result != NxErrSuccess) EndPlay(false);
  return result;
}

void PlaybackEngine::FillJob(double speed, PictureSink* sink) {
  PlaybackJob& job = *job_;
  job.session = session_;
  job.audioOutput = audio_;
  job.clip = clip_;
  job.bars = bars_;
  job.sink = sink;
  job.speed = speed;
  job.bounds = ChooseBounds(settings_.rangeType == static_cast<uint32_t>(PlayRange::Marks),
                            inPoint_, outPoint_, plan_.Length(), position_, speed);
  job.timeline = plan_;
  job.hasVideo = hasVideo_;
  job.hasAudio = hasAudio_;
  job.read = read_;
  job.enforceAlignment = settings_.enforceAlignment != 0;
  position_ = job.bounds.first;
  job.currentFrame.Set(position_);
  job.audioFrame.Set(position_);
  session_->GetRate(&job.rateScale, &job.rateDuration);
  job.sound = sound_;
  SoundPlan& sound = job.soundPlan;
  sound.timeline = plan_;
  sound.cardTracks = audioTrackCount_;
  sound.sampleRate = static_cast<double>(audio_->GetSampleRate());
  sound.rateScale = job.rateScale;
  sound.rateDuration = job.rateDuration;
  sound.toneLevel = settings_.toneLevel;
  sound.variSpeed = settings_.audioVariSpeed != 0;
  for (int32_t i = 0; i < kPlaybackTracks; ++i) sound.enabled[i] = settings_.trackEnable[i] != 0;
  job.audioLatencyFrames = session_->GetAudioLatency(SessionDirection::Out);
  job.displayToDesktop.Set(settings_.displayToDesktop);
  job.displaySpeed.Set(settings_.displaySpeed);
  PreviewPlan& preview = job.preview;
  const bool ownRaster = read_.fourcc == FourCC("dvhd");
  uint32_t width = 0;
  uint32_t height = 0;
  session_->GetRaster(&width, &height);
  preview.width = ownRaster ? read_.width : static_cast<int32_t>(width);
  preview.height = ownRaster ? read_.height : static_cast<int32_t>(height);
  preview.fields = {settings_.frameFlagA,  settings_.frameFlagB, settings_.frameValueA,
                    settings_.frameValueB, settings_.frameFlagC, settings_.frameValueC,
                    settings_.frameValueD};
  preview.view = view_;
  session_->GetPixelAspect(&preview.aspectX, &preview.aspectY);
  preview.tables8 = tables8_;
  preview.tables10 = tables10_;
}

void PlaybackEngine::FillCardPart() {
  PlaybackJob& job = *job_;
  job.channelSpec = session_->GetSessionChannel();
  session_->GetFrameRaster(&job.frameWidth, &job.frameHeight);
  job.cadence = session_->GetCadence();
  job.carriesTimecode = session_->CarriesTimecode();
  session_->GetCardRate(&job.timecodeScale, &job.timecodeDuration);
  job.dropFrame = settings_.timeBaseDisplay == static_cast<uint32_t>(TimeBaseDisplay::DropFrame);
  job.extendedRoute = session_->NeedsExtendedTransfer();
  job.pacedByPreview = session_->BoardID() != kBoardPacedByTransfer || job.PreviewsPlay();
  job.padBytes = session_->GetPadBytes(job.read.cardLayout);
  job.extraBytes = session_->GetExtraBytes(job.read.cardLayout);
  job.transfer = {};
  job.transfer.channelSpec = job.channelSpec;
  job.transfer.frameBufferFormat = job.read.cardLayout;
  job.transfer.flip = job.read.orientation == 0 ? 1 : 0;
  job.transfer.frameRequest = -1;
  job.transfer.constant72 = 0;
  job.transfer.constant76 = 6;
  job.transfer.constant80 = 1;
  job.transfer.constant84 = 1;
}

bool PlaybackEngine::InitCirculation() {
  PlaybackJob& job = *job_;
  // A ring that a crash left running would refuse to be initialised.
  RQD5AutoCirculateStatus status = {};
  const bool known = session_->GetAutoCirculate(job.channelSpec, &status);
  if (!known || status.state != ACStateIdle) (void)session_->StopAutoCirculate(job.channelSpec);
  // What the card refuses here shows when AutoCirculate is initialised.
  (void)session_->SetLiveInput(false);
  (void)session_->SetChannelFormat(job.read.cardLayout);
  // Another session's channel may leave the card fewer slots than this format does.
  if (!session_->RefreshMemoryFigures() || session_->FrameSlots() < kLeastFrameCount) return false;
  const auto last = static_cast<int32_t>(session_->FrameSlots() - kLastSlotBack);
  job.levelLimit = session_->BoardID() == kBoardWithFixedLevel ? kFixedLevel : last;
  const bool flags[8] = {job.carriesTimecode, true, true};
  return session_->InitAutoCirculate(job.channelSpec, 0, last, flags, false);
}

bool PlaybackEngine::StartThreads() {
  PlaybackJob& job = *job_;
  if (hasAudio_) {
    job.audioStarted.Set(1);
    if (!job.player.Start(PlaybackAudioRoutine, &job, kNormalPriority, kFirstProcessor)) {
      return false;
    }
  }
  if (!hasVideo_) return true;
  return job.reader.Start(PlaybackReaderRoutine, &job, kMoverPriority,
                          LastProcessor(processorCount_)) &&
         job.mover.Start(PlaybackTransferRoutine, &job, kMoverPriority, kFirstProcessor) &&
         job.viewer.Start(PlaybackPreviewRoutine, &job, kNormalPriority,
                          PreviewProcessor(processorCount_));
}

}  // namespace morvane
