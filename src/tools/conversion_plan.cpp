// Settles what a conversion makes: from the clip, the command line and what the new type offers.
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <memory>

#include "media/data_vyr.h"
#include "media/file_handle.h"
#include "media/media_timecode.h"
#include "media/media_wav.h"
#include "media/media_yuv.h"
#include "media/seq_names.h"
#include "media/still_header.h"
#include "processing/pixel_format.h"
#include "tools/conversion.h"

namespace morvane::tools {
namespace {

// The source's own format where the type has it; else one that loses no depth, stays in RGB or YUV,
// and has alpha where the source has it, as far as there is one.
FourCCCode NearestFormat(NxMediaFileBase& writer, FourCCCode wanted) {
  const PixelFormat* source = FindPixelFormat(wanted);
  FourCCCode best = 0;
  int32_t bestRank = -1;
  for (int32_t i = 0; i < writer.GetNumImageWriteFormats(); ++i) {
    NxImageWriteFormatDescription row = {};
    if (writer.GetImageWriteFormatDescription(i, &row) != NxErrSuccess) continue;
    const PixelFormat* format = FindPixelFormat(row.fourcc);
    if (format == nullptr || format->layout == PixelLayout::kNone) continue;
    int32_t rank = std::min(format->bitDepth, source->bitDepth) * 16;
    if (IsYuv(row.fourcc) == IsYuv(wanted)) rank += 8;
    if (format->bitDepth <= source->bitDepth) rank += 4;
    // The values are copied as they are, so nothing becomes logarithmic by its label alone.
    if (row.fourcc != FourCC("10rb") && row.fourcc != FourCC("10rl")) rank += 2;
    if (format->hasAlpha == source->hasAlpha) rank += 1;
    if (row.fourcc == wanted) rank = INT32_MAX;
    if (rank <= bestRank) continue;
    best = row.fourcc;
    bestRank = rank;
  }
  return best;
}

// Places that the frame at `path` is behind number 1; 0 for a name without a number.
int32_t FramesBehindNumberOne(const std::string& path) {
  const size_t end = path.size() - std::min(path.size(), kFrameSuffixChars);
  size_t begin = end;
  while (begin > 0 && end - begin < 9 && path[begin - 1] >= '0' && path[begin - 1] <= '9') --begin;
  int32_t number = 0;
  (void)std::from_chars(path.data() + begin, path.data() + end, number);
  return std::max(0, number - 1);
}

// The pair as all tables of rates have it: 25/1 becomes 25000/1000. One without such a form stays.
RateChoice StoredRate(int32_t scale, int32_t rate) {
  NormalizeVyrRate(&scale, &rate);
  return {scale, rate};
}

// Adds what the sidecar says to what the frames say. A frame's header has no place for more of the
// timecode than its word, so all around the word comes from the sidecar.
void AddSidecar(NxMediaMetadata found, int32_t framesBehind, NxMediaMetadata* metadata) {
  if ((found.presentFlags & kMetaTimeCode) != 0) {
    NxTimeCodeRecord record = {};
    const RateChoice rate = StoredRate(found.tcScale, found.tcRate);
    found.tcScale = rate.scale;
    found.tcRate = rate.rate;
    if ((metadata->presentFlags & kMetaTimeCode) != 0) {
      found.timeCode = metadata->timeCode;
      if (found.tcScale <= 0 || found.tcRate <= 0) {
        found.tcScale = metadata->tcScale;
        found.tcRate = metadata->tcRate;
      }
    } else if (framesBehind > 0 && TimecodeOfFrame(found, framesBehind, &record) == NxErrSuccess) {
      found.timeCode = record.timeCode;
    }
  }
  found.presentFlags &= ~(metadata->presentFlags & ~kMetaTimeCode);
  (void)MergeMetadata(found, metadata);
}

uint32_t TimecodeTypeOf(const RateChoice& rate, uint32_t before) {
  switch (rate.scale) {
    case 24000:
      return 0;
    case 25000:
    case 50000:
      return 1;
    case 30000:
    case 60000:
      return 2;
    default:
      return before;
  }
}

void PutRate(const RateChoice& rate, NxMediaMetadata* metadata) {
  if (rate.scale <= 0) return;
  metadata->tcScale = rate.scale;
  metadata->tcRate = rate.rate;
  metadata->timeCodeType = TimecodeTypeOf(rate, metadata->timeCodeType);
}

}  // namespace

bool Conversion::Prepare() {
  if (!OpenSource() || !ChooseRange()) return false;
  ChooseRate();
  if (!ChooseFormat() || !ChooseSound()) return false;
  DescribeClip();
  return CheckSize();
}

bool Conversion::OpenSource() {
  const NxErr opened = OpenClipWithSound(options_.source, options_.audioDir, &source_);
  if (opened != NxErrSuccess) return Refuse(opened, OpenClipWords(options_.source, opened));
  if (source_.info.width > 0 && PixelPitch(source_.info.fourcc, source_.info.width) > 0) {
    ReadSidecar();
    WarnOfSound();
    return true;
  }
  return Refuse(NxErrVideoFormatNotSupported, options_.source + " holds no picture.");
}

void Conversion::WarnOfSound() const {
  if (options_.audio == "none") return;
  const std::string left = SoundLeftBehind(options_.source, options_.audioDir, source_);
  if (left.empty()) return;
  std::fprintf(stderr,
               "%s is there, but no sound that can be taken along: 48 or 96 kHz in 16, 24, 32 bits "
               "or 32-bit float, all tracks alike; it is left out.\n",
               left.c_str());
}

// Takes from the clip's sidecar what its class leaves there: the metadata that the frames do not
// have; rate, aspect and field order of a sequence that does not begin with number 1.
void Conversion::ReadSidecar() {
  NxMediaFileInfo& info = source_.info;
  for (const std::string& path :
       {SidecarToFind(options_.source), SidecarOfFrame(options_.source)}) {
    const auto clipName = std::make_unique<char16_t[]>(kVyrClipNameChars);
    const auto head = std::make_unique<NxVyrHead>();
    const auto found = std::make_unique<NxMediaMetadata>();
    NxDataVYR sidecar;
    if (path == options_.source ||
        sidecar.OpenRead(path, clipName.get(), head.get(), kOpenExisting,
                         kAccessRead | kAccessShareRead, false) != NxErrSuccess) {
      continue;
    }
    if (sidecar.GetMetadata(found.get()) == NxErrSuccess) {
      const bool ofNumberOne = path == SidecarToFind(options_.source);
      AddSidecar(*found, ofNumberOne ? FramesBehindNumberOne(options_.source) : 0, &info.metadata);
    }
    (void)sidecar.Close();
    if (info.parNum == -1 && info.parDen == -1) {
      info.parNum = head->parNum;
      info.parDen = head->parDen;
    }
    if (info.fieldType == -1) info.fieldType = head->fieldType;
    if (info.timeScale <= 0 || info.timeRate <= 0) {
      info.timeScale = head->timeScale;
      info.timeRate = head->timeRate;
    }
    return;
  }
}

bool Conversion::ChooseRange() {
  last_ = source_.info.frameCount - 1;
  if (options_.range.empty()) return true;
  (void)ParseRange(options_.range, &first_, &last_);  // the command line was checked
  if (last_ < source_.info.frameCount) return true;
  return Refuse(NxErrInvalidParameter, "--range " + options_.range + ": the clip has frames 0 to " +
                                           std::to_string(source_.info.frameCount - 1) + ".");
}

// The rate that was told, else the clip's, else that of the frame header's timecode.
void Conversion::ChooseRate() {
  const NxMediaFileInfo& info = source_.info;
  const NxMediaMetadata& metadata = info.metadata;
  if (info.timeScale > 0 && info.timeRate > 0) {
    sourceRate_ = StoredRate(info.timeScale, info.timeRate);
  } else if ((metadata.presentFlags & kMetaTimeCode) != 0 && metadata.tcScale > 0 &&
             metadata.tcRate > 0) {
    sourceRate_ = {metadata.tcScale, metadata.tcRate};
  }
  const RateChoice told = StoredRate(options_.rate.scale, options_.rate.rate);
  rate_ = told.scale > 0 ? told : sourceRate_;
  if (sourceRate_.scale == 0) sourceRate_ = rate_;
}

bool Conversion::ChooseFormat() {
  type_ = options_.type.empty() ? MediaTypeOfPath(options_.source, false)
                                : ClipTypeFromName(options_.type);
  writer_.reset(CreateMediaFile(type_));
  if (writer_ == nullptr) return Refuse(NxErrOutOfMemory, "The new clip cannot be made.");
  const NxMediaFileInfo& from = source_.info;
  const FourCCCode format =
      options_.format != 0 ? options_.format : NearestFormat(*writer_, from.fourcc);
  // A copy in the same format keeps the order of its lines; all else has the top line first, which
  // every other program reads right.
  const bool same = format == from.fourcc && type_ == MediaTypeOfPath(options_.source, false);
  const int32_t index =
      FindImageFormat(type_, format, same ? uint32_t{from.orientation} : kOrientationTopDown);
  NxImageWriteFormatDescription row = {};
  if (index < 0 || writer_->GetImageWriteFormatDescription(index, &row) != NxErrSuccess) {
    return Refuse(NxErrVideoFormatNotSupported, "--format \"" + FourCCText(options_.format) +
                                                    "\" is not offered for this type; there are " +
                                                    ImageFormatList(type_) + ".");
  }
  info_.fourcc = row.fourcc;
  info_.orientation = row.orientation;
  info_.bitDepth = static_cast<int32_t>(row.bitDepth);
  std::memcpy(info_.name, row.name, sizeof info_.name);
  info_.wideName = row.wideName;
  return true;
}

bool Conversion::CheckSoundRate() {
  if (rate_.scale == 0) {
    return Refuse(NxErrFailure,
                  options_.source + " has sound, but no frame rate; tell it with --rate.", true);
  }
  if (options_.rate.scale > 0 && !HasAudioCadence(rate_.scale, rate_.rate)) {
    return Refuse(NxErrFailure,
                  "--rate " + options_.rate.Text() +
                      " has no place for sound; there are 15000, 24000, 30000 and 60000 "
                      "with 1000 or 1001, 25000 and 50000 with 1000. Else choose --audio none.",
                  true);
  }
  if (!options_.range.empty() && !HasAudioCadence(sourceRate_.scale, sourceRate_.rate)) {
    return Refuse(NxErrAudioDataNotSupported,
                  options_.source + " has " + sourceRate_.Text() +
                      " frames a second, at which the sound of a range cannot be found; copy the "
                      "whole clip, or choose --audio none.");
  }
  return true;
}

bool Conversion::ChooseSound() {
  const NxMediaAudioInfo& audio = source_.info.audio;
  AudioChoice choice;
  if (!options_.audio.empty()) (void)ParseAudioChoice(options_.audio, &choice);
  info_.streams = NxStreamsPicture;
  if (audio.fileCount <= 0 || choice.none) return true;
  if (!CheckSoundRate()) return false;
  info_.audio.fourcc = options_.audio.empty() ? FourCCCode{audio.fourcc} : choice.fourcc;
  info_.audio.channelsPerFile =
      options_.audio.empty() ? int32_t{audio.channelsPerFile} : choice.channelsPerFile;
  const std::string words = SoundCopy::Plan(source_.info, *writer_, &info_.audio);
  if (!words.empty()) return Refuse(NxErrAudioDataNotSupported, words);
  info_.streams = NxStreamsBoth;
  withSound_ = true;
  return true;
}

void Conversion::DescribeClip() {
  const NxMediaFileInfo& from = source_.info;
  const bool resized = options_.size.width > 0;
  info_.width = resized ? options_.size.width : int32_t{from.width};
  info_.height = resized ? options_.size.height : int32_t{from.height};
  info_.fieldType = from.fieldType;
  info_.parNum = from.parNum;
  info_.parDen = from.parDen;
  info_.timeScale = rate_.scale > 0 ? rate_.scale : -1;
  info_.timeRate = rate_.scale > 0 ? rate_.rate : -1;
  NxMediaMetadata& metadata = info_.metadata;
  metadata = from.metadata;
  DescribeTimecode(&metadata);
  if (!options_.reel.empty()) {
    std::memset(metadata.reelName, 0, sizeof metadata.reelName);
    PutText(options_.reel, metadata.reelName, sizeof metadata.reelName);
    metadata.presentFlags |= kMetaReelName;
  }
  if (metadata.presentFlags != 0) CompleteMetadata(&metadata);
}

// A clip that could not be opened again is refused; raw frames may be meant for another program.
bool Conversion::CheckSize() {
  const std::string size = std::to_string(info_.width) + "x" + std::to_string(info_.height);
  if (info_.width > kLargestSide || info_.height > kLargestSide) {
    return Refuse(
        NxErrVideoFormatNotSupported,
        "--size " + size + ": no clip has a side above " + std::to_string(kLargestSide) + ".",
        true);
  }
  if (type_ == NxFileTypeYUV && !NxMediaYUV::IsRaster(info_.width, info_.height)) {
    std::fprintf(stderr,
                 "%s is no raster of raw frames, whose length alone tells their size: this program "
                 "does not open the new clip again as it is.\n",
                 size.c_str());
  }
  return true;
}

// Takes the timecode of the first frame that is copied, and the rate at which the new one counts.
void Conversion::DescribeTimecode(NxMediaMetadata* metadata) {
  ownTimecode_ = dynamic_cast<NxMediaDPX*>(source_.file.get());
  // The only rate that is known counts from the source's first frame on.
  const bool unknown = metadata->tcScale <= 0 || metadata->tcRate <= 0;
  if (unknown) PutRate(rate_, metadata);
  NxTimeCodeRecord record = {};
  if (TimecodeOfFrame(*metadata, first_, &record) == NxErrSuccess) {
    bool known = first_ == 0 || HasTimecodeRate(*metadata);
    if (first_ > 0) metadata->timeCode = record.timeCode;
    record.timeCode = metadata->timeCode;
    record.userBits = metadata->userBits;
    if (TakeOwnTimecode(first_, &record)) {
      known = true;
      metadata->timeCode = record.timeCode;
      metadata->userBits = record.userBits;
    }
    if (!known) metadata->presentFlags &= ~kMetaTimeCode;
  }
  // Another one that is told counts from the first frame of the copy on.
  recounts_ = HasTimecodeRate(*metadata) && options_.rate.scale > 0 &&
              (metadata->tcScale != rate_.scale || metadata->tcRate != rate_.rate);
  if (options_.rate.scale > 0) PutRate(rate_, metadata);
}

}  // namespace morvane::tools
