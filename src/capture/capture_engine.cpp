#include "capture/capture_engine.h"

#include "base/file_io.h"
#include "capture/capture_job.h"
#include "device/board_scan.h"
#include "media/media_factory.h"
#include "media/media_file_base.h"
#include "processing/timecode.h"
#include "session/card2.h"

// Life of an engine, and what it tells of a job.
namespace morvane {
namespace {}  // namespace

CaptureEngine::CaptureEngine()
    : session_(std::make_shared<CRQD5Card2>()), job_(std::make_shared<CaptureJob>()) {
  RestoreCaptureDefaults({}, {}, &settings_);
}

CaptureEngine::~CaptureEngine() {
  (void)Close();
}

NxErr CaptureEngine::Open(const RQD5BoardInfo& board, CaptureStore store) {
  (void)Close();
  if (!session_->OpenSession(board.boardIndex, board, kSessionCaptureAndPlay)) {
    return NxErrFailure;
  }
  store_ = store;
  SessionIdentityBlock identity = {};
  SessionConfigurationBlock configuration = {};
  (void)session_->GetIdentityBlock(&identity);
  (void)session_->GetDefaultConfiguration(&configuration);
  CaptureSettings defaults;
  RestoreCaptureDefaults(identity, configuration, &defaults);
  settings_ = defaults;
  lock_ = NxCreateSemaphore(1, 1, nullptr);
  if (lock_ == nullptr) {
    session_->Close();
    return NxErrFailure;
  }
  std::string boardName;
  if (store_ == CaptureStore::Keep && session_->GetBoardSuffix(&boardName)) {
    (void)LoadCaptureSettings(boardName, defaults, &settings_);
    settings_.identity = identity;  // the stored copy is never used
  }
  // The stored session configuration reaches the card at activation, not here: an engine is open
  // before its board is held.
  opened_ = true;
  MakeFile();
  // The control of a tape machine is opened here, when capture drives one.
  view_ = {};
  ApplyDisplaySize(static_cast<uint32_t>(settings_.displaySize), &view_);
  return NxErrSuccess;
}

NxErr CaptureEngine::Close() {
  if (!opened_) return NxErrFailure;
  (void)Deactivate();
  file_.reset();
  job_->file.reset();
  job_->session.reset();
  session_->Close();
  NxCloseHandle(lock_);
  lock_ = nullptr;
  opened_ = false;
  return NxErrSuccess;
}

void CaptureEngine::MakeFile() {
  file_.reset();
  NxMediaFileBase* file = CreateMediaFile(static_cast<NxFileType>(FileTypeOf(settings_)));
  if (file != nullptr) file_ = std::shared_ptr<NxMediaFileBase>(file, ReleaseMediaFile);
}

bool CaptureEngine::HasEnded() const {
  return IsCapturing() && !job_->input.Running() && !job_->writer.Running();
}

int32_t CaptureEngine::FramesCaptured() const {
  return job_->framesDone.Get();
}

uint32_t CaptureEngine::FramesDropped() const {
  return job_->framesDropped.Get();
}

std::string CaptureEngine::CountText(int32_t count) const {
  uint32_t scale = 0;
  uint32_t duration = 0;
  session_->GetRate(&scale, &duration);
  char text[kTimecodeTextBytes] = {};
  if (FrameToTimecodeText(count, static_cast<int32_t>(scale), static_cast<int32_t>(duration), 0,
                          text) != 0) {
    return "00:00:00:00  ( 0 )";
  }
  return std::string(text) + "  ( " + std::to_string(count) + " )";
}

std::string CaptureEngine::FramesCapturedText() const {
  return CountText(FramesCaptured());
}

std::string CaptureEngine::FramesDroppedText() const {
  return CountText(static_cast<int32_t>(FramesDropped()));
}

std::string CaptureEngine::StatusText() {
  if (!active_) return "Offline";
  if (IsQueued()) return "Capture Queued";
  if (IsCapturing()) return "Capturing...";  // seeking the in point stands before it
  uint32_t detected = 0;
  std::string text;
  if (session_->GetInputStatus(&detected) && detected == 0 &&
      session_->GetInputStatusDesc(detected, &text)) {
    return text;
  }
  return "Idle";
}

bool CaptureEngine::WasAborted() const {
  return job_->IsAborted();
}

bool CaptureEngine::AwaitsTimecode() const {
  return IsCapturing() && job_->begun.Get() == 0 && job_->ring.WriteIndex() > 0;
}

CaptureDrops CaptureEngine::Drops() const {
  return {job_->droppedByDisk.Get(), job_->droppedByCard.Get(), job_->droppedByProcessor.Get()};
}

int32_t CaptureEngine::WritesFailed() const {
  return job_->writesFailed.Get();
}

std::string CaptureEngine::FirstWriteError() const {
  const int32_t error = job_->firstError.Get();
  return error == 0 ? std::string() : FileErrorText(error);
}

std::string CaptureEngine::CloseError() const {
  return closeError_ == 0 ? std::string() : FileErrorText(closeError_);
}

std::string CaptureEngine::FirstTimecode() const {
  return job_->begun.Get() != 0 ? std::string(job_->firstTimecode) : std::string();
}

}  // namespace morvane
