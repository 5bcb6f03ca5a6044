#include <algorithm>
#include <cstdlib>

#include "base/paths.h"
#include "media/media_seq.h"

namespace morvane {
namespace {

constexpr int64_t kLastStartNumber = 990000;
constexpr int64_t kHighStartNumber = 900000;

bool IsFileNamePart(const std::string& text) {
  return text.find(kPathSeparator) == std::string::npos;
}

}  // namespace

NxErr NxMediaSeq::CreateWrite(NxText name, NxText startNumberText, NxText folder,
                              NxText audioFolder, NxMediaCreateInfo* info, uint32_t createMode,
                              uint32_t accessFlags, bool wide) {
  if (IsOpen()) return NxErrHandleAlreadyOpen;
  if (info == nullptr) return NxErrInvalidParameter;
  Reset();
  if ((createMode & (kCreateOrTruncate | kCreateNew)) == 0) return NxErrSuccess;
  isWriter_ = true;
  createMode_ = createMode;
  accessFlags_ = accessFlags;
  overlapped_ = (accessFlags & kAccessOverlapped) != 0;
  writeInfo_ = std::make_unique<NxMediaCreateInfo>(*info);
  NxErr result = NxErrSuccess;
  if (writeInfo_->streams != NxStreamsAudio) {
    result = PlanPicture();
    if (result == NxErrSuccess) result = CreateFirst(name, startNumberText, folder, wide);
  }
  if (result == NxErrSuccess && writeInfo_->streams != NxStreamsPicture) {
    result = CreateAudio(name, audioFolder.IsNull() ? folder : audioFolder, wide);
  }
  if (result != NxErrSuccess) {
    (void)imageFile_.Close();
    if (firstMade_) (void)FileRemove(firstPath_);
    Reset();
    return result;
  }
  isOpenWrite_ = true;
  *info = *writeInfo_;
  return NxErrSuccess;
}

// Lets the format class lay out its frames.
NxErr NxMediaSeq::PlanPicture() {
  NxMediaCreateInfo* info = writeInfo_.get();
  if (info->width < 1 || info->height < 1) return NxErrVideoFormatNotSupported;
  info->unused[0] = info->unused[1] = -1;
  info->frameBytes = 0;
  const NxErr result = PlanWrite(info);
  if (result != NxErrSuccess || info->frameBytes != 0) return result;
  const int64_t bytes = int64_t{info->imageBytes} + info->imageOffset + kSectorBytes - 1;
  int32_t padded = 0;
  if (!SizeProduct(bytes / kSectorBytes, kSectorBytes, &padded)) {
    return NxErrVideoFormatNotSupported;
  }
  info->frameBytes = padded;
  return NxErrSuccess;
}

// Names the clip and makes its first file.
NxErr NxMediaSeq::CreateFirst(NxText name, NxText startNumberText, NxText folder, bool wide) {
  std::string clip;
  std::string number = "000000";
  std::string place;
  if (!name.ToUtf8(wide, &clip) || !folder.ToUtf8(wide, &place) || clip.empty() ||
      (!startNumberText.IsNull() && !startNumberText.ToUtf8(wide, &number)) ||
      !IsFileNamePart(clip) || !IsFileNamePart(number)) {
    return NxErrCreateVideoFile;
  }
  startNumber_ = std::clamp<int64_t>(std::strtoll(number.c_str(), nullptr, 10), 0, INT32_MAX);
  // Deliberate: the first file keeps the number that was asked for, the others go on from here.
  if (startNumber_ > kLastStartNumber) startNumber_ = kHighStartNumber;
  firstNumber_ = 0;
  firstPath_ = JoinPath(place, clip + "_" + number + "." + ImageExtension());
  if (imageFile_.OpenA(firstPath_.c_str(), createMode_, accessFlags_) != NxErrSuccess) {
    return NxErrCreateVideoFile;
  }
  firstMade_ = true;
  hasImage_ = true;
  return NxErrSuccess;
}

NxErr NxMediaSeq::CreateAudio(NxText name, NxText audioFolder, bool wide) {
  const auto info = std::make_unique<NxMediaCreateInfo>(*writeInfo_);
  info->streams = NxStreamsAudio;
  audio_ = std::make_unique<NxMediaWAV>();
  const NxErr result = audio_->CreateWrite(name, nullptr, nullptr, audioFolder, info.get(),
                                           createMode_, accessFlags_, wide);
  if (result != NxErrSuccess) return result;
  writeInfo_->audio = info->audio;
  hasAudio_ = true;
  return NxErrSuccess;
}

}  // namespace morvane
