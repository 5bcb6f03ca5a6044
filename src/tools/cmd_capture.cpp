#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include "base/file_io.h"
#include "base/paths.h"
#include "capture/capture_engine.h"
#include "session/card2.h"
#include "tools/card_door.h"
#include "tools/choices.h"
#include "tools/clip_door.h"
#include "tools/command.h"
#include "tools/session_choices.h"
#include "tools/stop_signal.h"

namespace morvane::tools {
namespace {

constexpr uint32_t kRoundMs = 2;          // between two rounds of the preview
constexpr uint32_t kRoundsPerDraw = 100;  // progress five times a second

struct CaptureOptions {
  std::string name;
  std::string type;
  std::string dir;
  std::string audioDir;
  int board = 0;
  std::string format;
  std::string style;
  std::string audio;
  int tracks = 1;
  std::string mode;
  int frames = 0;
  std::string reel;
  std::string startNumber;
  bool noFolder = false;
  bool abortOnDrop = false;
  SessionTexts session;
};

// Where pictures and sound go.
struct Folders {
  std::string video;
  std::string audio;
};

Folders FoldersOf(const CaptureOptions& options) {
  Folders folders;
  folders.video = options.dir.empty() ? DefaultVideoFolder() : options.dir;
  folders.audio = options.audioDir.empty() ? folders.video : options.audioDir;
  return folders;
}

// A refusal that a user can act on: what, where, what to do.
std::optional<std::string> Refusal(NxErr result, const std::string& words) {
  if (result == NxErrSuccess) return std::nullopt;
  return words;
}

std::optional<std::string> ChooseStyle(CaptureEngine& engine, const std::string& wanted,
                                       bool wantedByUser) {
  std::string offered;
  int32_t found = -1;
  for (int32_t i = 0; i < engine.GetNumStyles(); ++i) {
    std::string text;
    if (engine.GetStyleText(i, &text) != NxErrSuccess) continue;
    offered += (offered.empty() ? "\"" : ", \"") + text + "\"";
    if (text == wanted) found = i;
  }
  if (found < 0 && !wantedByUser) found = 0;
  if (found < 0)
    return "--style \"" + wanted + "\" is not offered here; there are " + offered + ".";
  return Refusal(engine.SetStyle(found), "The style \"" + wanted + "\" was refused.");
}

// Puts what was told on the command line into the opened, not yet active engine.
std::optional<std::string> ApplyFileChoices(CaptureEngine& engine, const CaptureOptions& options) {
  const NxFileType type = ClipTypeFromName(options.type);
  if (engine.SetFileType(type) != NxErrSuccess) return "--type " + options.type + " was refused.";
  if (!options.format.empty()) {
    FourCCCode code = 0;
    const int32_t index = ParseFourCC(options.format, &code) ? FindImageFormat(type, code) : -1;
    if (index < 0) {
      return "--format \"" + options.format + "\" is not offered for " + options.type +
             "; there are " + ImageFormatList(type) + ".";
    }
    if (engine.SetVideoSubtype(index) != NxErrSuccess) return "The pixel format was refused.";
  }
  AudioChoice audio;
  if (!options.audio.empty()) {
    if (!ParseAudioChoice(options.audio, &audio)) {
      return "--audio " + options.audio +
             ": 16au, 24au, 32au or 32af, with :2 behind it for "
             "stereo files, or none.";
    }
    if (!audio.none) {
      const int32_t index = FindAudioFormat(type, audio);
      if (index < 0 || engine.SetAudioSubtype(index) != NxErrSuccess) {
        return "--audio " + options.audio + " is not offered for " + options.type + ".";
      }
    }
  }
  const bool told = !options.style.empty() || audio.none;
  const std::string style = !options.style.empty() ? options.style
                            : audio.none           ? "Video Only"
                                                   : "Video - Audio";
  if (auto refusal = ChooseStyle(engine, style, told)) return refusal;
  if (options.tracks < 1 || options.tracks > std::max(1, engine.GetNumAudioTracks())) {
    return "--tracks " + std::to_string(options.tracks) + ": this board and format give 1 to " +
           std::to_string(std::max(1, engine.GetNumAudioTracks())) + " audio files.";
  }
  if (engine.SetAudioTracks(options.tracks - 1) != NxErrSuccess && options.tracks > 1) {
    return "--tracks " + std::to_string(options.tracks) + " was refused.";
  }
  return std::nullopt;
}

std::optional<std::string> ApplyJobChoices(CaptureEngine& engine, const CaptureOptions& options,
                                           const Folders& folders) {
  // A folder that was told must be there: making it could hide a disk that is not mounted.
  if (options.dir.empty()) {
    std::error_code ignored;  // what is wrong with the folder shows when the clip is made
    std::filesystem::create_directories(folders.video, ignored);
  }
  if (engine.SetVideoDirectory(folders.video) != NxErrSuccess) {
    return "--dir " + folders.video + " was refused.";
  }
  if (engine.SetAudioDirectory(folders.audio) != NxErrSuccess) {
    return "--audio-dir " + folders.audio + " was refused.";
  }
  if (engine.SetClipName(options.name) != NxErrSuccess) {
    return "--name " + options.name + " was refused.";
  }
  if (!options.startNumber.empty() &&
      engine.SetSequenceOffset(options.startNumber) != NxErrSuccess) {
    return "--start-number " + options.startNumber + " was refused.";
  }
  if (!options.reel.empty() && engine.SetReelName(options.reel) != NxErrSuccess) {
    return "--reel " + options.reel + " was refused.";
  }
  const bool duration = options.frames > 0;
  const CaptureMode mode = duration ? CaptureMode::Duration : CaptureMode::Now;
  if (engine.SetFolderPerSequence(!options.noFolder) != NxErrSuccess ||
      engine.SetAbortOnDrop(options.abortOnDrop) != NxErrSuccess ||
      engine.SetCaptureMode(static_cast<int32_t>(mode)) != NxErrSuccess ||
      (duration && engine.SetDurationFrames(options.frames) != NxErrSuccess)) {
    return "The job's choices were refused.";
  }
  return std::nullopt;
}

// What is in the way of a clip that could not be made, where that can be seen: the table's text
// speaks of the clip's name alone.
void TellWhatIsInTheWay(const CaptureOptions& options, const Folders& folders) {
  namespace fs = std::filesystem;
  std::error_code ignored;
  for (const std::string& folder : {folders.video, folders.audio}) {
    if (!fs::exists(folder, ignored)) {
      std::fprintf(stderr, "%s: no such folder; make it first\n", folder.c_str());
      return;
    }
    if (!fs::is_directory(folder, ignored)) {
      std::fprintf(stderr, "%s: not a folder\n", folder.c_str());
      return;
    }
  }
  const std::string sound = JoinPath(folders.audio, options.name + ".wav");
  const std::string pictures = JoinPath(folders.video, options.name);
  for (const std::string& path : {options.noFolder ? sound : pictures, sound}) {
    if (!fs::exists(path, ignored)) continue;
    std::fprintf(stderr, "%s exists already; nothing is ever overwritten\n", path.c_str());
    return;
  }
}

// Says for how long the disks suffice. Folders that cannot be asked are passed over in silence:
// the job itself reports what is wrong with them.
void TellDiskTime(const CaptureEngine& engine, const Folders& folders) {
  const auto tell = [](const char* what, const std::string& folder, uint64_t bytesPerSecond) {
    uint64_t free = 0;
    if (bytesPerSecond == 0 || FolderFreeBytes(folder, &free) != 0) return;
    std::fprintf(stderr, "%s: the disk of %s suffices for %" PRIu64 " seconds\n", what,
                 folder.c_str(), free / bytesPerSecond);
  };
  const uint64_t picture = engine.PictureBytesPerSecond();
  const uint64_t sound = engine.SoundBytesPerSecond();
  struct stat video = {};
  struct stat audio = {};
  const bool oneDisk = stat(folders.video.c_str(), &video) == 0 &&
                       stat(folders.audio.c_str(), &audio) == 0 && video.st_dev == audio.st_dev;
  if (oneDisk) {
    tell("picture and sound", folders.video, picture + sound);
    return;
  }
  tell("picture", folders.video, picture);
  tell("sound", folders.audio, sound);
}

// Says once that nothing is written because the input carries no timecode, and what to do.
void TellTimecodeIsAwaited(const CaptureEngine& engine, bool* told) {
  if (*told || !engine.AwaitsTimecode()) return;
  EndProgress();
  std::fprintf(stderr,
               "The job begins with the first frame that carries timecode, and the input carries "
               "none; --timecode-input chooses another (see morvanectl board).\n");
  *told = true;
}

// Runs the queued job to its end. Returns: seconds that it took.
double RunJob(CaptureEngine& engine) {
  const auto start = std::chrono::steady_clock::now();
  bool told = false;
  for (uint32_t round = 0; !engine.HasEnded() && !StopAsked(); ++round) {
    engine.PreviewRound(nullptr);
    if (round % kRoundsPerDraw == 0) {
      if (round > 0) TellTimecodeIsAwaited(engine, &told);
      DrawProgress("captured " + engine.FramesCapturedText() + "  dropped " +
                   std::to_string(engine.FramesDropped()));
    }
    NxSleep(kRoundMs);
  }
  engine.Stop();
  EndProgress();
  const auto end = std::chrono::steady_clock::now();
  return std::chrono::duration<double>(end - start).count();
}

std::string DropText(const CaptureEngine& engine) {
  if (engine.FramesDropped() == 0) return "0 frames dropped";
  const CaptureDrops drops = engine.Drops();
  std::string text = std::to_string(engine.FramesDropped()) + " frames dropped (";
  text += "disk " + std::to_string(drops.disk) + ", card " + std::to_string(drops.card) +
          ", processor " + std::to_string(drops.processor) + ")";
  return text;
}

// What stopped the first write, in words: a full disk and a limit on the size of files are one
// thing to who has to make room.
std::string WriteErrorWords(const CaptureEngine& engine, const Folders& folders) {
  const std::string words = engine.FirstWriteError();
  for (const int full : {ENOSPC, EFBIG, EDQUOT}) {
    if (words.find(FileErrorText(full)) != std::string::npos) {
      return "no space left in " + folders.video;
    }
  }
  return (words.empty() ? "write refused" : words) + " in " + folders.video;
}

int Report(const CommandContext& context, const CaptureEngine& engine, const Folders& folders,
           double seconds) {
  const int32_t failed = engine.WritesFailed();
  if (engine.FramesDropped() > 0) std::fprintf(stderr, "%s\n", DropText(engine).c_str());
  if (engine.WriterWasLost()) {
    return Fail(context, NxErrFailure,
                "The disk of " + folders.video + " does not answer any more; the first " +
                    std::to_string(engine.FramesCaptured()) + " frames are whole.");
  }
  if (failed > 0) {
    const int32_t total = engine.FramesCaptured();
    return Fail(context, NxErrFailure,
                std::to_string(failed) + " of " + std::to_string(total) +
                    " frames could not be written: " + WriteErrorWords(engine, folders));
  }
  if (!engine.CloseError().empty()) {
    return Fail(context, NxErrFailure,
                "The clip " + engine.ClipPath() + " could not be brought to the disk whole: " +
                    engine.CloseError() + "; its last second may be missing.");
  }
  if (engine.WasAborted()) {
    return Fail(context, NxErrFailure,
                "Capture aborted at a dropped frame after " +
                    std::to_string(engine.FramesCaptured()) + " frames; " + DropText(engine) + ".");
  }
  if (context.json) {
    Json document{{"result", 0},
                  {"framesCaptured", engine.FramesCaptured()},
                  {"framesDropped", engine.FramesDropped()},
                  {"writesFailed", failed},
                  {"clip", nullptr},
                  {"audioFiles", engine.AudioPaths()},
                  {"firstTimecode", nullptr},
                  {"seconds", seconds}};
    if (!engine.ClipPath().empty()) document["clip"] = engine.ClipPath();
    if (!engine.FirstTimecode().empty()) document["firstTimecode"] = engine.FirstTimecode();
    PrintJson(document);
    return kExitDone;
  }
  if (!engine.ClipPath().empty()) std::printf("clip %s\n", engine.ClipPath().c_str());
  for (const std::string& path : engine.AudioPaths()) std::printf("sound %s\n", path.c_str());
  if (!engine.FirstTimecode().empty()) {
    std::printf("first timecode %s\n", engine.FirstTimecode().c_str());
  }
  std::printf("captured %d frames in %.1f seconds, %s, %d writes failed\n", engine.FramesCaptured(),
              seconds, DropText(engine).c_str(), failed);
  return kExitDone;
}

int RunCapture(CommandContext& context, const CaptureOptions& options) {
  int exitCode = kExitDone;
  const auto door = CardDoor::Open(context, &exitCode);
  if (door == nullptr) return exitCode;
  const RQD5BoardInfo* board = door->Find(context, options.board);
  if (board == nullptr || !door->Lock(context, options.board)) return kExitFailed;

  const Folders folders = FoldersOf(options);
  CaptureEngine engine;
  if (engine.Open(*board, CaptureStore::Ignore) != NxErrSuccess) {
    return Fail(context, NxErrFailure,
                "Board " + std::to_string(options.board) +
                    " cannot be opened: " + engine.Session().GetLastError() + ".");
  }
  if (auto refusal = ApplySessionTexts(engine.Session(), options.session, FormatSource::Input)) {
    return Fail(context, NxErrFailure, *refusal);
  }
  if (engine.KeepSessionChoices() != NxErrSuccess || engine.Activate() != NxErrSuccess) {
    return Fail(context, NxErrFailure,
                "The card refuses its settings: " + engine.Session().GetLastError() + ".");
  }
  if (auto refusal = ApplyFileChoices(engine, options)) {
    return Fail(context, NxErrFailure, *refusal);
  }
  if (auto refusal = ApplyJobChoices(engine, options, folders)) {
    return Fail(context, NxErrFailure, *refusal);
  }
  if (const NxErr result = engine.Prepare(); result != NxErrSuccess) {
    if (result >= NxErrCreateVideoFile && result <= NxErrCreateFolder) {
      TellWhatIsInTheWay(options, folders);
    }
    return Fail(context, result);
  }
  TellDiskTime(engine, folders);
  if (!engine.ClipPath().empty()) WarnOfSidecar(engine.ClipPath());
  if (const NxErr result = engine.Start(); result != NxErrSuccess) return Fail(context, result);
  const double seconds = RunJob(engine);
  const int result = Report(context, engine, folders, seconds);
  engine.Close();
  return result;
}

}  // namespace

void AddCaptureCommand(CLI::App& app, CommandContext& context) {
  auto options = std::make_shared<CaptureOptions>();
  CLI::App* command = app.add_subcommand("capture", "Captures a clip from a board's input");
  command->add_option("--name", options->name, "Clip name")->required();
  command->add_option("--type", options->type, "Clip type")
      ->required()
      ->check(CLI::IsMember(ClipTypeNames()));
  command->add_option("--dir", options->dir, "Folder of the pictures (default: video folder)");
  command->add_option("--audio-dir", options->audioDir, "Folder of the sound (default: --dir)");
  command->add_option("--board", options->board, "Index of the board in the scan")
      ->check(CLI::NonNegativeNumber);
  command->add_option("--format", options->format, "Pixel format, as four characters")
      ->type_name("FOURCC");
  command->add_option("--style", options->style,
                      "\"Video Only\", \"Audio Only\", "
                      "\"Video - Audio\" or \"Video + Audio\"");
  command->add_option("--audio", options->audio,
                      "16au, 24au, 32au or 32af, with :2 for stereo files, or none");
  command->add_option("--tracks", options->tracks, "Number of audio files");
  auto* mode = command->add_option("--mode", options->mode, "now (until a signal) or duration")
                   ->check(CLI::IsMember({"now", "duration"}));
  auto* frames = command->add_option("--frames", options->frames, "Length of the clip in frames")
                     ->check(CLI::PositiveNumber);
  command->add_option("--reel", options->reel, "Reel name kept with the clip");
  command->add_option("--start-number", options->startNumber,
                      "Number of the first frame's file, digits as they shall stand");
  command->add_flag("--no-folder", options->noFolder, "Put the pictures into --dir itself");
  command->add_flag("--abort-on-drop", options->abortOnDrop, "End the job at a dropped frame");
  AddSessionOptions(*command, &options->session);
  command->callback([&context, options, mode, frames] {
    if (options->mode == "duration" && frames->count() == 0) {
      throw CLI::RequiredError("--mode duration requires --frames");
    }
    if (options->mode == "now" && mode->count() > 0 && frames->count() > 0) {
      throw CLI::ValidationError("--mode now", "excludes --frames");
    }
    context.run = [options](CommandContext& run) { return RunCapture(run, *options); };
  });
}

}  // namespace morvane::tools
