#include <algorithm>
#include <filesystem>
#include <string>

#include "base/paths.h"
#include "capture/capture_preparation.h"
#include "device/boards.h"
#include "media/media_file_base.h"

// CaptureEngine::Prepare(): checks, then card, folder, files, ring and AutoCirculate, each undone
// again when a later one fails.
namespace morvane {
namespace {

constexpr uint32_t kInputIsOther = 1;     // of CRQD5Card2::CheckInput()
constexpr uint32_t kLeastFrameCount = 6;  // slots without which a card cannot circulate
constexpr uint32_t kChannelModeInput = 1;
constexpr char kDigits[] = "0123456789";

// Makes the default video folder when it is first written to; no other folder is made unasked.
void EnsureDefaultFolder(const std::string& folder) {
  if (folder != DefaultVideoFolder()) return;
  std::error_code ignored;
  std::filesystem::create_directories(folder, ignored);
}

}  // namespace

NxErr CaptureEngine::Prepare() {
  if (!opened_ || !active_) return NxErrFailure;
  Stop();
  const uint32_t input = session_->CheckInput();
  if (input == kInputIsOther) return NxErrVideoInputMismatch;
  if (input != 0) return NxErrNoVideoInput;
  if (file_ == nullptr) MakeFile();
  if (file_ == nullptr) return NxErrFailure;
  // Only the flag falls here: the card's routing stays until its channel is set for the job.
  if (liveInput_ && NxWait(lock_, 0) == NxErrSuccess) {
    liveInput_ = false;
    NxReleaseSemaphore(lock_);
  }
  if (NxWait(lock_, 0) != NxErrSuccess) return NxErrFailure;
  const NxErr result = CapturePreparation(*this).Run();
  if (result == NxErrSuccess) queued_.Set(1);
  NxReleaseSemaphore(lock_);
  if (result != NxErrSuccess) LiveInputOn();
  return result;
}

CapturePreparation::CapturePreparation(CaptureEngine& engine)
    : engine_(engine), session_(*engine.session_), settings_(engine.settings_), job_(*engine.job_) {
  job_.Rewind();
  job_.session = engine.session_;
  job_.file = engine.file_;
}

NxErr CapturePreparation::Run() {
  session_.GetRate(&rateScale_, &rateDuration_);
  session_.GetRaster(&width_, &height_);
  cardChannels_ = session_.GetAudioChannels(session_.GetSessionChannel());
  NxErr result = PlanVideo();
  if (result == NxErrSuccess) result = PlanSound();
  if (result == NxErrSuccess) result = PlanStyle();
  if (result != NxErrSuccess) return result;
  SetCard();
  result = PlanLength();
  if (result != NxErrSuccess) return result;
  DescribePicture();
  DescribeSound();
  DescribeClip();
  result = ReadNames();
  if (result == NxErrSuccess) result = MakeFolder();
  if (result != NxErrSuccess) return result;
  result = CreateFiles();
  if (result == NxErrSuccess) {
    FillJob();
    result = AllocateRing();
  }
  if (result == NxErrSuccess) result = InitCirculation();
  if (result != NxErrSuccess) {
    job_.ring.Free();
    engine_.DiscardFiles();
    return result;
  }
  KeepFacts();
  return NxErrSuccess;
}

// What the card refuses here shows when AutoCirculate is initialised.
void CapturePreparation::SetCard() {
  const uint32_t channel = session_.GetSessionChannel();
  // A ring that a crash left running would refuse to be initialised.
  (void)session_.StopAutoCirculate(channel | kACInput);
  (void)session_.SetChannelFormat(cardFormat_);
  (void)session_.SetChannelMode(channel, kChannelModeInput);
  (void)session_.ApplyAudioInput();
}

NxErr CapturePreparation::ReadNames() {
  if (!Utf16ToUtf8(settings_.clipName.Get(), &clipName_) ||
      !Utf16ToUtf8(settings_.videoDirectory.Get(), &videoFolder_) ||
      !Utf16ToUtf8(settings_.audioDirectory.Get(), &audioFolder_) ||
      !Utf16ToUtf8(settings_.sequenceOffset.Get(), &startNumber_)) {
    return NxErrCreateVideoFile;
  }
  // A number that came out of a damaged store must not become part of a path.
  if (startNumber_.empty() || startNumber_.find_first_not_of(kDigits) != std::string::npos) {
    startNumber_ = "000000";
  }
  return NxErrSuccess;
}

NxErr CapturePreparation::MakeFolder() {
  engine_.madeFolder_.clear();
  EnsureDefaultFolder(videoFolder_);
  EnsureDefaultFolder(audioFolder_);
  const bool isSequence = FileTypeOf(settings_) >= NxFileTypeDPX;
  if (settings_.folderPerSequence == 0 || !isSequence || !job_.videoOn) return NxErrSuccess;
  // A name is one folder, never a path.
  if (clipName_.empty() || clipName_.find(kPathSeparator) != std::string::npos) {
    return NxErrCreateFolder;
  }
  videoFolder_ = JoinPath(videoFolder_, clipName_);
  if (NxCreateFolder(videoFolder_.c_str()) != NxErrSuccess) return NxErrCreateFolder;
  engine_.madeFolder_ = videoFolder_;
  return NxErrSuccess;
}

NxErr CapturePreparation::CreateFiles() {
  return job_.file->CreateWrite(clipName_, startNumber_, videoFolder_, audioFolder_, &info_,
                                kCreateNew, kAccessUnbuffered | kAccessWrite | kAccessShareRead,
                                false);
}

void CapturePreparation::FillJob() {
  job_.timecode =
      session_.GetTimecodeInputKind() == 1 ? CaptureTimecode::Embedded : CaptureTimecode::None;
  job_.abortOnDrop = settings_.abortOnDrop != 0;
  job_.queuedWrites = settings_.queuedWrites != 0;
  job_.queuedWriteDepth = settings_.queuedWriteDepth;
  job_.stamp = Stamp();
  job_.reverseRows = job_.videoOn && picture_.orientation != kOrientationTopDown;
  const FourCCCode fourcc = picture_.fourcc;
  job_.lowerByOneLine =
      width_ == 720 && height_ == 576 && (fourcc == FourCC("dv26") || fourcc == FourCC("dv51"));
  job_.track.cardChannels = static_cast<int>(cardChannels_ != 0 ? cardChannels_ : 6);
  job_.track.channelsPerTrack = sound_.channelsPerFile;
  job_.track.bitsPerSample = sound_.bitsPerSample;
  job_.track.floatingPoint = sound_.fourcc == FourCC("32af");
  job_.track.bigEndian = sound_.bigEndian != 0;
  job_.tracks = job_.audioOn ? static_cast<int32_t>(info_.audio.fileCount) : 0;
  FillImageRequest();
}

void CapturePreparation::FillImageRequest() {
  job_.image = {};
  job_.image.fourcc = info_.fourcc;
  job_.image.width = info_.width;
  job_.image.height = info_.height;
  job_.image.pitch = info_.linePitch;
  job_.image.frameBytes = info_.frameBytes;
  job_.image.orientation = static_cast<int32_t>(info_.orientation);
}

NxErr CapturePreparation::AllocateRing() {
  // The card transfers its whole raster, which may be taller than the picture.
  const size_t pictureBytes = job_.videoOn
                                  ? static_cast<size_t>(info_.imageBytes)
                                  : static_cast<size_t>(width_) * 2 * static_cast<size_t>(height_);
  const size_t frameBytes = pictureBytes + session_.GetExtraBytes(cardFormat_);
  const size_t headerBytes = job_.videoOn ? static_cast<size_t>(info_.imageOffset) : 0;
  return job_.ring.Allocate(headerBytes, frameBytes) > 0 ? NxErrSuccess : NxErrAllocateFifo;
}

NxErr CapturePreparation::InitCirculation() {
  // Another session's channel may leave the card fewer slots than this format does.
  if (!session_.RefreshMemoryFigures()) return NxErrInitAutoCirculate;
  const uint32_t frames = session_.FrameSlots();
  if (frames < kLeastFrameCount) return NxErrInitAutoCirculate;
  const uint32_t channel = session_.GetSessionChannel();
  job_.channelSpec = channel | kACInput;
  job_.transfer = {};
  job_.transfer.channelSpec = job_.channelSpec;
  job_.transfer.frameBufferFormat = cardFormat_;
  const auto last = static_cast<int32_t>(frames - 2);
  job_.cardSlots = last;  // of the last + 1 slots one is being filled
  const bool withTimecode[8] = {true};
  return session_.InitAutoCirculate(job_.channelSpec, 0, last, withTimecode, job_.audioOn)
             ? NxErrSuccess
             : NxErrInitAutoCirculate;
}

// What a tool tells of the job.
void CapturePreparation::KeepFacts() {
  char name[kNxFileNameChars] = {};
  engine_.clipPath_.clear();
  engine_.audioPaths_.clear();
  if (job_.videoOn && job_.file->GetImageFileName(name) == NxErrSuccess) engine_.clipPath_ = name;
  for (int32_t track = 0; track < job_.tracks; ++track) {
    if (job_.file->GetAudioFileName(track, name) == NxErrSuccess) {
      engine_.audioPaths_.emplace_back(name);
    }
  }
  const double rate = static_cast<double>(rateScale_) / std::max(1U, rateDuration_);
  engine_.pictureBytesPerSecond_ =
      job_.videoOn ? static_cast<uint64_t>(info_.frameBytes * rate) : 0;
  engine_.soundBytesPerSecond_ = static_cast<uint64_t>(
      job_.tracks * static_cast<double>(sound_.sampleRate) * info_.audio.bytesPerFrame);
}

}  // namespace morvane
