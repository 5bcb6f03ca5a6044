#include <algorithm>
#include <cstring>
#include <string>

#include "base/fourcc.h"
#include "capture/capture_preparation.h"
#include "media/media_file_base.h"
#include "session/card_layout.h"

// What a capture is to be, before anything is made: formats, style, length, and the descriptions
// that the file is created with.
namespace morvane {
namespace {

constexpr FourCCCode kDvcProHd = FourCC("dvhd");
constexpr FourCCCode kSilentPicture = FourCC("2Vuy");

// The compressed HD format stores a narrower raster, stretched when it is shown.
void DescribeDvcProHd(uint32_t height, uint32_t rateScale, NxMediaCreateInfo* info) {
  const bool narrow = height == 720;
  const bool at25 = height == 1080 && (rateScale == 25000 || rateScale == 50000);
  info->width = narrow ? 960 : at25 ? 1440 : 1280;
  info->parNum = narrow || at25 ? 4 : 3;
  info->parDen = narrow || at25 ? 3 : 2;
  info->linePitch = info->width * 2;
}

}  // namespace

NxErr CapturePreparation::PlanVideo() {
  const int32_t subtype = ChoicesOf(settings_).videoSubtype;
  if (subtype < 0 || subtype >= job_.file->GetNumImageWriteFormats()) return NxErrFailure;
  if (job_.file->GetImageWriteFormatDescription(subtype, &picture_) != NxErrSuccess) {
    return NxErrFailure;
  }
  const bool is1080At25 = height_ == 1080 && rateScale_ == 25000;
  uint32_t layout = 0;
  if (!CardLayoutOf(picture_.fourcc, is1080At25, &layout)) return NxErrColorspaceNotSupported;
  cardFormat_ = static_cast<RQD5FrameBufferFormat>(layout);
  if (!session_.CanUseFrameBufferFormat(cardFormat_)) return NxErrColorspaceNotSupported;
  job_.padBytes = session_.GetPadBytes(cardFormat_);
  return NxErrSuccess;
}

NxErr CapturePreparation::PlanSound() {
  const int32_t row = engine_.AudioRow(ChoicesOf(settings_).audioSubtype);
  if (row < 0 || job_.file->GetAudioWriteFormatDescription(row, &sound_) != NxErrSuccess) {
    return NxErrFailure;
  }
  return NxErrSuccess;
}

NxErr CapturePreparation::PlanStyle() {
  std::string style;
  if (engine_.GetStyleText(ChoicesOf(settings_).style, &style) != NxErrSuccess) {
    return NxErrFailure;
  }
  if (style == "Video Only") {
    kind_ = 1;
  } else if (style == "Audio Only") {
    kind_ = 2;
  } else if (style == "Video - Audio") {
    kind_ = 4;
  } else if (style == "Video + Audio") {
    kind_ = 8;
  } else {
    return NxErrFailure;
  }
  job_.videoOn = kind_ != 2;
  job_.audioOn = kind_ != 1;
  job_.frameLatency =
      job_.videoOn ? static_cast<int32_t>(session_.GetFrameLatency(SessionDirection::In)) : 0;
  if (!job_.videoOn) {
    // The card still runs, and somebody may watch what is heard.
    cardFormat_ = FrameBuffer8BitUyvy;
    job_.padBytes = session_.GetPadBytes(cardFormat_);
  }
  return NxErrSuccess;
}

NxErr CapturePreparation::PlanLength() {
  switch (static_cast<CaptureMode>(settings_.captureMode)) {
    case CaptureMode::Duration:
      job_.framesToDo = std::max(1, static_cast<int32_t>(settings_.durationFrames));
      return NxErrSuccess;
    case CaptureMode::InOut:
      // Capture from tape stands here: it reads the machine's status, works out start and cue, and
      // sends the tape there. Without a machine there is none that is ready.
      return NxErrVtrNotReady;
    case CaptureMode::Now:
      break;
  }
  job_.framesToDo = -1;
  return NxErrSuccess;
}

void CapturePreparation::DescribePicture() {
  info_.streams = kind_;
  info_.fourcc = job_.videoOn ? picture_.fourcc : kSilentPicture;
  info_.orientation = job_.videoOn ? picture_.orientation : kOrientationTopDown;
  const uint32_t fieldOrder = session_.GetFieldOrder();
  info_.fieldType = fieldOrder <= 2 ? static_cast<int32_t>(fieldOrder) : 0;
  info_.width = static_cast<int32_t>(width_);
  info_.height = static_cast<int32_t>(height_);
  int32_t aspectX = 1;
  int32_t aspectY = 1;
  session_.GetPixelAspect(&aspectX, &aspectY);
  info_.parNum = aspectX;
  info_.parDen = aspectY;
  info_.unused[0] = -1;
  info_.unused[1] = -1;
  std::memcpy(info_.name, picture_.name, sizeof info_.name);
  info_.wideName = picture_.wideName;
  info_.bitDepth = static_cast<int32_t>(picture_.bitDepth);
  if (!job_.videoOn) {
    info_.linePitch = info_.width * 2;
    info_.imageBytes = info_.linePitch * info_.height;
  } else if (picture_.fourcc == kDvcProHd) {
    DescribeDvcProHd(height_, rateScale_, &info_);
  }
}

void CapturePreparation::DescribeSound() {
  info_.audio = sound_;
  const int32_t tracks = std::clamp(ChoicesOf(settings_).audioTracks + 1, 1, kMaxAudioFiles);
  info_.audio.fileCount = tracks;
  if (!job_.audioOn) {
    info_.audio.bytesPerFrame = 4;
  } else {
    info_.audio.bytesPerFrame = sound_.bitsPerSample * sound_.channelsPerFile / 8;
  }
  info_.timeScale = static_cast<int32_t>(rateScale_);
  info_.timeRate = static_cast<int32_t>(rateDuration_);
}

void CapturePreparation::DescribeClip() {
  const std::string reel = settings_.reelName.Get();
  NxMediaMetadata& metadata = info_.metadata;
  metadata.presentFlags = kMetaReelName;
  reel.copy(metadata.reelName, sizeof metadata.reelName - 1);
  metadata.valid = 1;
  metadata.size = sizeof(NxMediaMetadata);
  metadata.magic = kMetadataMagic;
}

NxTimeCodeRecord CapturePreparation::Stamp() const {
  NxTimeCodeRecord stamp = {};
  stamp.timeCodeType = rateScale_ == 24000 ? 0 : rateScale_ == 25000 || rateScale_ == 50000 ? 1 : 2;
  stamp.tcScale = static_cast<int32_t>(rateScale_);
  stamp.tcRate = static_cast<int32_t>(rateDuration_);
  return stamp;
}

}  // namespace morvane
