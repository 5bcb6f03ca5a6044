#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <thread>

#include "media/data_vyr.h"
#include "media/file_handle.h"
#include "media/media_timecode.h"
#include "media/seq_names.h"
#include "processing/pixel_format.h"
#include "tools/choices.h"
#include "tools/clip_door.h"
#include "tools/command.h"
#include "tools/frame_feed.h"
#include "tools/sound_copy.h"
#include "tools/stop_signal.h"

namespace morvane::tools {
namespace {

using Clock = std::chrono::steady_clock;

struct ConvertOptions {
  std::string source;
  std::string destination;
  std::string audioDir;
  std::string type;
  FourCCCode format = 0;  // 0: not told
  std::string range;
  int32_t matrix = -1;  // -1: not told
  SizeChoice size;
  bool stretch = false;
  RateChoice rate;
  std::string audio;
  std::string startNumber;
  std::string reel;
  int32_t threads = 0;  // 0: not told
};

// A refusal: the code of the command's end, or exit code 2 for `usage`.
struct Refusal {
  NxErr code = NxErrFailure;
  std::string words;
  bool usage = false;
};

// One conversion, from the open source to the closed destination.
class Conversion {
 public:
  explicit Conversion(const ConvertOptions& options) : options_(options) {}

  [[nodiscard]] bool Prepare();
  [[nodiscard]] bool Run();
  [[nodiscard]] const Refusal& Why() const { return refusal_; }
  [[nodiscard]] Json Document() const;

 private:
  bool Refuse(NxErr code, const std::string& words, bool usage = false) {
    refusal_ = {code, words, usage};
    return false;
  }
  bool OpenSource();
  void ReadSidecar();
  bool ChooseRange();
  void ChooseRate();
  bool ChooseFormat();
  bool ChooseSound();
  void DescribeClip();
  bool Create();
  bool CopyFrames(FrameFeed& feed, SoundCopy* sound);
  bool WriteFrame(int32_t index, const uint8_t* pixels);
  [[nodiscard]] NxTimeCodeRecord TimecodeOf(int32_t index) const;
  void Abandon();
  void Draw(Clock::time_point start) const;

  const ConvertOptions& options_;
  Refusal refusal_;
  OpenClip source_;
  MediaFilePtr writer_;
  NxFileType type_ = NxFileTypeNone;
  NxMediaCreateInfo info_ = {};
  bool withSound_ = false;
  RateChoice rate_;        // of the new clip; scale 0: unknown
  RateChoice sourceRate_;  // at which the source's sound is found
  int32_t first_ = 0;
  int32_t last_ = 0;
  int32_t frames_ = 0;  // written
  double seconds_ = 0;
  std::string clip_;
  std::vector<std::string> soundFiles_;
};

bool Conversion::Prepare() {
  if (!OpenSource() || !ChooseRange()) return false;
  ChooseRate();
  if (!ChooseFormat() || !ChooseSound()) return false;
  DescribeClip();
  return true;
}

bool Conversion::OpenSource() {
  const NxErr opened = OpenClipWithSound(options_.source, options_.audioDir, &source_);
  if (opened != NxErrSuccess) return Refuse(opened, OpenClipWords(options_.source, opened));
  if (source_.info.width > 0 && PixelPitch(source_.info.fourcc, source_.info.width) > 0) {
    ReadSidecar();
    return true;
  }
  return Refuse(NxErrVideoFormatNotSupported, options_.source + " holds no picture.");
}

// Takes from the clip's sidecar what its class leaves there: the metadata that the frames do not
// have, and the rate of a sequence that does not begin with number 1.
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
      found->presentFlags &= ~info.metadata.presentFlags;
      (void)MergeMetadata(*found, &info.metadata);
    }
    (void)sidecar.Close();
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
    sourceRate_ = {info.timeScale, info.timeRate};
  } else if ((metadata.presentFlags & kMetaTimeCode) != 0 && metadata.tcScale > 0 &&
             metadata.tcRate > 0) {
    sourceRate_ = {metadata.tcScale, metadata.tcRate};
  }
  rate_ = options_.rate.scale > 0 ? options_.rate : sourceRate_;
  if (sourceRate_.scale == 0) sourceRate_ = rate_;
}

// The source's own format where the type has it; else one that loses no depth, and stays in RGB or
// YUV, as far as there is one.
int32_t NearestFormat(NxMediaFileBase& writer, FourCCCode wanted) {
  const PixelFormat* source = FindPixelFormat(wanted);
  int32_t best = -1;
  int32_t bestRank = -1;
  for (int32_t i = 0; i < writer.GetNumImageWriteFormats(); ++i) {
    NxImageWriteFormatDescription row = {};
    if (writer.GetImageWriteFormatDescription(i, &row) != NxErrSuccess) continue;
    const PixelFormat* format = FindPixelFormat(row.fourcc);
    if (format == nullptr || format->layout == PixelLayout::kNone) continue;
    int32_t rank = std::min(format->bitDepth, source->bitDepth) * 8;
    if (IsYuv(row.fourcc) == IsYuv(wanted)) rank += 4;
    if (format->bitDepth <= source->bitDepth) rank += 2;
    // The values are copied as they are, so nothing becomes logarithmic by its label alone.
    if (row.fourcc != FourCC("10rb") && row.fourcc != FourCC("10rl")) rank += 1;
    if (row.fourcc == wanted) rank = INT32_MAX;
    if (rank <= bestRank) continue;
    best = i;
    bestRank = rank;
  }
  return best;
}

bool Conversion::ChooseFormat() {
  type_ = options_.type.empty() ? MediaTypeOfPath(options_.source, false)
                                : ClipTypeFromName(options_.type);
  writer_.reset(CreateMediaFile(type_));
  if (writer_ == nullptr) return Refuse(NxErrOutOfMemory, "The new clip cannot be made.");
  const int32_t index = options_.format != 0 ? FindImageFormat(type_, options_.format)
                                             : NearestFormat(*writer_, source_.info.fourcc);
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

bool Conversion::ChooseSound() {
  const NxMediaAudioInfo& audio = source_.info.audio;
  AudioChoice choice;
  if (!options_.audio.empty()) (void)ParseAudioChoice(options_.audio, &choice);
  info_.streams = NxStreamsPicture;
  if (audio.fileCount <= 0 || choice.none) return true;
  if (rate_.scale == 0) {
    return Refuse(NxErrFailure,
                  options_.source + " has sound, but no frame rate; tell it with --rate.", true);
  }
  info_.audio.fourcc = options_.audio.empty() ? FourCCCode{audio.fourcc} : choice.fourcc;
  info_.audio.channelsPerFile =
      options_.audio.empty() ? int32_t{audio.channelsPerFile} : choice.channelsPerFile;
  const std::string words = SoundCopy::Plan(source_.info, *writer_, &info_.audio);
  if (!words.empty()) return Refuse(NxErrAudioDataNotSupported, words);
  info_.streams = NxStreamsBoth;
  withSound_ = true;
  return true;
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
  NxTimeCodeRecord record = {};
  if (first_ > 0 && TimecodeOfFrame(metadata, first_, &record) == NxErrSuccess) {
    metadata.timeCode = record.timeCode;
  }
  // Told, or the only one that is known: the timecode counts at it from here on.
  const bool unknown = metadata.tcScale <= 0 || metadata.tcRate <= 0;
  if (rate_.scale > 0 && (unknown || options_.rate.scale > 0)) {
    metadata.tcScale = rate_.scale;
    metadata.tcRate = rate_.rate;
    metadata.timeCodeType = TimecodeTypeOf(rate_, metadata.timeCodeType);
  }
  if (!options_.reel.empty()) {
    std::memset(metadata.reelName, 0, sizeof metadata.reelName);
    PutText(options_.reel, metadata.reelName, sizeof metadata.reelName);
    metadata.presentFlags |= kMetaReelName;
  }
  if (metadata.presentFlags != 0) CompleteMetadata(&metadata);
}

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

NxTimeCodeRecord Conversion::TimecodeOf(int32_t index) const {
  NxTimeCodeRecord record = {};
  if (TimecodeOfFrame(info_.metadata, index, &record) != NxErrSuccess) return record;
  if (index == 0) record.timeCode = info_.metadata.timeCode;  // also at a rate that is not known
  record.userBits = info_.metadata.userBits;
  return record;
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

int RunConvert(CommandContext& context, const ConvertOptions& options) {
  Conversion conversion(options);
  if (!conversion.Prepare() || !conversion.Run()) {
    const Refusal& why = conversion.Why();
    if (!why.usage) return Fail(context, why.code, why.words);
    std::fprintf(stderr, "%s\n", why.words.c_str());
    return kExitUsage;
  }
  const Json document = conversion.Document();
  if (context.json) {
    PrintJson(document);
    return kExitDone;
  }
  std::printf("clip %s\n", document["clip"].get<std::string>().c_str());
  for (const auto& path : document["audioFiles"]) {
    std::printf("sound %s\n", path.get<std::string>().c_str());
  }
  const auto frames = document["frames"].get<int32_t>();
  const auto seconds = document["seconds"].get<double>();
  std::printf("converted %d frames in %.1f seconds, %.1f frames a second\n", frames, seconds,
              seconds > 0 ? frames / seconds : 0.0);
  return kExitDone;
}

std::string CheckRange(const std::string& text) {
  int32_t first = 0;
  int32_t last = 0;
  return ParseRange(text, &first, &last) ? std::string() : text + ": A-B is meant, such as 0-24";
}

std::string CheckAudio(const std::string& text) {
  AudioChoice choice;
  if (ParseAudioChoice(text, &choice)) return {};
  return text + ": 16au, 24au, 32au or 32af, with :2 behind it for stereo files, or none";
}

std::string CheckStartNumber(const std::string& text) {
  const bool good = !text.empty() && text.size() <= 9 &&
                    text.find_first_not_of("0123456789") == std::string::npos;
  return good ? std::string() : text + ": up to nine digits are meant, such as 000001";
}

}  // namespace

void AddConvertCommand(CLI::App& app, CommandContext& context) {
  auto options = std::make_shared<ConvertOptions>();
  CLI::App* command = app.add_subcommand(
      "convert", "Copies a clip into another format, with sound, timecode and metadata");
  command->add_option("SRC", options->source, "A frame of the clip")->required();
  command
      ->add_option("DST", options->destination,
                   "Folder and name of the new clip, without number and extension")
      ->required();
  command->add_option("--type", options->type, "Type of the new clip (default: that of SRC)")
      ->check(CLI::IsMember(ClipTypeNames()));
  AddFourCCOption(*command, "--format", &options->format,
                  "Pixel format (default: that of SRC, or the nearest)");
  command->add_option("--range", options->range, "Frames, both ends included")
      ->type_name("A-B")
      ->check(CheckRange);
  AddMatrixOption(*command, &options->matrix);
  AddSizeOption(*command, "--size", &options->size, "Size of the new picture");
  command->add_flag("--stretch", options->stretch, "Scale the picture rather than centre it");
  AddRateOption(*command, &options->rate);
  command
      ->add_option("--audio", options->audio,
                   "16au, 24au, 32au or 32af, with :2 for stereo files, or none")
      ->check(CheckAudio);
  command->add_option("--audio-dir", options->audioDir, "Folder of the sound of SRC");
  command
      ->add_option("--start-number", options->startNumber,
                   "Number of the first frame's file, digits as they shall stand")
      ->check(CheckStartNumber);
  command->add_option("--reel", options->reel, "Reel name kept with the clip");
  command->add_option("--threads", options->threads, "Threads that read and convert")
      ->check(CLI::Range(1, 64));
  command->callback([&context, options] {
    context.run = [options](CommandContext& run) { return RunConvert(run, *options); };
  });
}

}  // namespace morvane::tools
