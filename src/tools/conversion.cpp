#include "tools/conversion.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <thread>

#include "media/media_timecode.h"
#include "processing/pixel_format.h"
#include "tools/stop_signal.h"

namespace morvane::tools {

bool Conversion::Create() {
  namespace fs = std::filesystem;
  const fs::path path(options_.destination);
  const std::string folder = path.has_parent_path() ? path.parent_path().string() : ".";
  const std::string name = path.filename().string();
  std::error_code error;
  if (!fs::is_directory(folder, error)) {
    return Refuse(NxErrCreateFolder, folder + " is no folder; make it first.");
  }
  const NxErr result = writer_->CreateWrite(
      name, options_.startNumber.empty() ? NxText(nullptr) : NxText(options_.startNumber), folder,
      folder, &info_, kCreateNew, kAccessUnbuffered | kAccessWrite | kAccessShareRead, false);
  if (result == NxErrSuccess) return true;
  char text[kNxErrTextBytes] = {};
  NxErrText(result, text);
  return Refuse(result, std::string(text) + " " + options_.destination +
                            " cannot be made; nothing is ever overwritten, so choose a name that "
                            "is not taken in a folder that can be written.");
}

bool Conversion::Run() {
  const auto start = Clock::now();
  FeedPlan plan;
  plan.path = options_.source;
  plan.first = first_;
  plan.last = last_;
  plan.format = info_.fourcc;
  plan.matrix = options_.matrix >= 0 ? options_.matrix : MatrixOfClip(source_.info.width);
  plan.width = info_.width;
  plan.height = info_.height;
  plan.stretch = options_.stretch;
  int32_t threads = options_.threads;
  if (threads == 0) threads = static_cast<int32_t>(std::thread::hardware_concurrency());
  FrameFeed feed;
  const NxErr opened = feed.Start(plan, std::clamp(threads, 1, 64));
  if (opened != NxErrSuccess) return Refuse(opened, OpenClipWords(options_.source, opened));
  if (!Create()) return false;
  std::unique_ptr<SoundCopy> sound;
  if (withSound_) {
    sound = std::make_unique<SoundCopy>(source_, *writer_, info_.audio, first_, sourceRate_.scale,
                                        sourceRate_.rate);
  }
  if (!CopyFrames(feed, sound.get())) {
    Abandon();
    return false;
  }
  char name[kNxFileNameChars] = {};
  if (writer_->GetImageFileName(name) == NxErrSuccess) clip_ = name;
  WarnOfSidecar(clip_);
  for (int32_t i = 0; withSound_ && i < info_.audio.fileCount; ++i) {
    if (writer_->GetAudioFileName(i, name) == NxErrSuccess) soundFiles_.emplace_back(name);
  }
  if (writer_->Close() != NxErrSuccess) {
    return Refuse(NxErrFailure, options_.destination + " could not be completed on the disk.");
  }
  seconds_ = std::chrono::duration<double>(Clock::now() - start).count();
  return true;
}

// Copies picture and sound frame by frame; a stop leaves a shorter clip that is whole.
bool Conversion::CopyFrames(FrameFeed& feed, SoundCopy* sound) {
  const auto start = Clock::now();
  const int32_t count = last_ - first_ + 1;
  for (int32_t i = 0; i < count && !StopAsked(); ++i) {
    const uint8_t* pixels = nullptr;
    const NxErr read = feed.Next(&pixels);
    if (read != NxErrSuccess) {
      return Refuse(read, "Frame " + std::to_string(first_ + i) + " of " + options_.source +
                              " cannot be read as \"" + FourCCText(info_.fourcc) + "\".");
    }
    if (!WriteFrame(i, pixels)) return false;
    ++frames_;
    const NxErr copied =
        sound == nullptr ? NxErrSuccess : sound->CopyUntil(sound->SamplesBefore(frames_));
    if (copied != NxErrSuccess) {
      return Refuse(copied, "The sound at frame " + std::to_string(first_ + i) + " of " +
                                options_.source + " cannot be copied.");
    }
    Draw(start);
  }
  EndProgress();
  // What sounds on behind the last picture goes along with a whole clip.
  if (sound == nullptr || !options_.range.empty() || frames_ < count) return true;
  const NxErr copied = sound->CopyUntil(sound->Length());
  if (copied == NxErrSuccess) return true;
  return Refuse(copied, "The end of the sound of " + options_.source + " cannot be copied.");
}

bool Conversion::WriteFrame(int32_t index, const uint8_t* pixels) {
  NxImageWriteRequest request;
  request.fourcc = info_.fourcc;
  request.width = info_.width;
  request.height = info_.height;
  request.pitch = PixelPitch(info_.fourcc, info_.width);
  request.orientation = kOrientationTopDown;
  request.frame = index;
  request.imageBuffer = const_cast<uint8_t*>(pixels);  // only read: it is copied into the frame
  request.timeCode = TimecodeOf(index);
  const NxErr result = writer_->WriteImage(&request);
  if (result == NxErrSuccess) return true;
  return Refuse(result, "Frame " + std::to_string(index) + " of " + options_.destination +
                            " cannot be written: the disk is full, or a file of that name is there "
                            "already. What this run had made was removed again.");
}

// Puts the timecode that a frame of the source itself carries in the place of the counted one.
// Zeros are how a frame without timecode is written. They are believed where the count cannot tell:
// it ends with the day, in its last hour.
bool Conversion::TakeOwnTimecode(int32_t frame, NxTimeCodeRecord* record) const {
  constexpr uint32_t kLastHour = 0x23;
  NxTimeCodeRecord own = *record;
  if (ownTimecode_ == nullptr || ownTimecode_->ReadOwnTimecode(frame, &own) != NxErrSuccess ||
      (own.timeCode == 0 && own.userBits == 0 && (record->timeCode & 0xFF) != kLastHour)) {
    return false;
  }
  *record = own;
  return true;
}

// The frame's own timecode where the source has one, else what the rate counts from the first
// frame's on. At a rate that is not known nothing is counted.
NxTimeCodeRecord Conversion::TimecodeOf(int32_t index) const {
  NxTimeCodeRecord record = {};
  if (TimecodeOfFrame(info_.metadata, index, &record) != NxErrSuccess) return record;
  if (index == 0) record.timeCode = info_.metadata.timeCode;
  record.userBits = info_.metadata.userBits;
  const uint32_t counted = record.timeCode;
  const bool isOwn = TakeOwnTimecode(first_ + index, &record);
  if (recounts_) record.timeCode = counted;
  return isOwn || index == 0 || HasTimecodeRate(info_.metadata) ? record : NxTimeCodeRecord{};
}

// A clip that stopped in the middle is no copy: what was made goes, and nothing else.
void Conversion::Abandon() {
  (void)writer_->Close();
  (void)writer_->DeleteAllFiles();
}

void Conversion::Draw(Clock::time_point start) const {
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  char line[96];
  std::snprintf(line, sizeof line, "frame %d of %d  %.1f frames a second", frames_,
                last_ - first_ + 1, seconds > 0 ? frames_ / seconds : 0.0);
  DrawProgress(line);
}

Json Conversion::Document() const {
  return Json{
      {"frames", frames_}, {"audioFiles", soundFiles_}, {"clip", clip_}, {"seconds", seconds_}};
}

}  // namespace morvane::tools
