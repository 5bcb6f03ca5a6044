#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <vector>

#include "playback/playback_engine.h"
#include "session/card2.h"
#include "tools/card_door.h"
#include "tools/choices.h"
#include "tools/clip_door.h"
#include "tools/command.h"
#include "tools/session_choices.h"
#include "tools/stop_signal.h"

namespace morvane::tools {
namespace {

constexpr uint32_t kPollMs = 5;
constexpr uint32_t kPollsPerDraw = 40;  // progress five times a second

struct PlayOptions {
  std::string clip;
  int board = 0;
  double speed = 1.0;
  std::string range;
  std::string loop = "straight";
  double forSeconds = 0;
  std::vector<std::string> audio;
  std::string audioDir;
  uint32_t bars = 0;
  int tone = -1;
  uint32_t leader = 0;
  uint32_t trailer = 0;
  bool still = false;
  SessionTexts session;
};

struct PlayResult {
  int64_t framesPlayed = 0;
  int64_t framesDropped = 0;
  int64_t framesLost = 0;
  PlaybackDrops drops;
  int32_t position = 0;
  std::string status;
};

// Words against a speed that no play can have; empty for a good one.
std::string RefuseSpeed(const std::string& text) {
  double speed = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, speed);
  if (error != std::errc() || stop != end || !std::isfinite(speed)) return text + " is no number";
  return speed == 0 ? "a speed of 0 does not play" : std::string();
}

// Opens the clip with the sound that belongs to it, and sound files told beside it.
std::optional<int> OpenMedia(const CommandContext& context, PlaybackEngine& engine,
                             const PlayOptions& options) {
  NxErr result = NxErrFailure;
  for (const std::string& folder : SoundFolders(options.clip, options.audioDir)) {
    result = engine.OpenClip(options.clip, folder);
    if (result != NxErrSuccess || engine.ClipInfo().audio.fileCount > 0) break;
  }
  if (result != NxErrSuccess) return Fail(context, result, OpenClipWords(options.clip, result));
  for (size_t i = 0; i < options.audio.size(); ++i) {
    std::string path = options.audio[i];
    int32_t track = 0;
    int32_t last = 0;
    const size_t colon = path.rfind(':');
    if (colon != std::string::npos && ParseRange(path.substr(colon + 1), &track, &last)) {
      path.resize(colon);
    }
    const NxErr opened = engine.OpenAudio(path, static_cast<int32_t>(i), track);
    if (opened != NxErrSuccess) return Fail(context, opened, OpenClipWords(path, opened));
  }
  return std::nullopt;
}

std::optional<std::string> ApplyFormat(PlaybackEngine& engine, const PlayOptions& options) {
  const NxMediaFileInfo& info = engine.ClipInfo();
  if (options.session.videoFormat.empty()) {
    // A raster that the board does not have is scaled to the board's default format.
    (void)SelectFormatOfClip(engine.Session(), info.width, info.height, info.timeScale,
                             info.timeRate);
  }
  if (auto refusal = ApplySessionTexts(engine.Session(), options.session, FormatSource::Default)) {
    return refusal;
  }
  if (engine.KeepSessionChoices() != NxErrSuccess || engine.Activate() != NxErrSuccess) {
    return "The card refuses its settings: " + engine.Session().GetLastError() + ".";
  }
  return std::nullopt;
}

std::optional<std::string> ApplyTimeline(PlaybackEngine& engine, const PlayOptions& options) {
  if ((options.bars > 0 && engine.SetBars(true, options.bars) != NxErrSuccess) ||
      (options.tone >= 0 &&
       engine.SetToneLevel(static_cast<uint32_t>(options.tone)) != NxErrSuccess) ||
      (options.leader > 0 && engine.SetLeader(true, options.leader) != NxErrSuccess) ||
      (options.trailer > 0 && engine.SetTrailer(true, options.trailer) != NxErrSuccess)) {
    return "Bars, leader and trailer take 0 to 120 seconds, the tone 0 to 100 percent.";
  }
  if (options.range.empty()) return std::nullopt;
  int32_t first = 0;
  int32_t last = 0;
  if (!ParseRange(options.range, &first, &last)) {
    return "--range " + options.range + ": A-B is meant, frames of the timeline from 0.";
  }
  if (last >= engine.TimelineLength()) {
    return "--range " + options.range + ": the timeline has frames 0 to " +
           std::to_string(engine.TimelineLength() - 1) + ".";
  }
  if (engine.SetRangeType(static_cast<uint32_t>(PlayRange::Marks)) != NxErrSuccess ||
      engine.SetOutPoint(last) != NxErrSuccess || engine.SetInPoint(first) != NxErrSuccess) {
    return "--range " + options.range + " was refused.";
  }
  return std::nullopt;
}

// Plays once, to the end of the range or until told to stop. Returns: true if the end was reached.
bool PlayOnce(PlaybackEngine& engine, std::optional<std::chrono::steady_clock::time_point> until,
              PlayResult* result) {
  bool ended = false;
  for (uint32_t poll = 0; !StopAsked(); ++poll) {
    if ((ended = engine.HasEnded())) break;
    if (until && std::chrono::steady_clock::now() >= *until) break;
    if (poll % kPollsPerDraw == 0) {
      DrawProgress(engine.GetStatusWord() + "  frame " + std::to_string(engine.GetPlayingFrame()) +
                   "  dropped " + std::to_string(engine.FramesDropped()));
    }
    NxSleep(kPollMs);
  }
  EndProgress();
  result->position = engine.GetPlayingFrame();
  result->framesPlayed += engine.FramesPlayed();
  result->framesDropped += engine.FramesDropped();
  result->framesLost += engine.FramesLost();
  const PlaybackDrops drops = engine.Drops();
  result->drops.disk += drops.disk;
  result->drops.card += drops.card;
  result->drops.processor += drops.processor;
  return ended;
}

NxErr PlayLoops(PlaybackEngine& engine, const PlayOptions& options, PlayResult* result) {
  std::optional<std::chrono::steady_clock::time_point> until;
  if (options.forSeconds > 0) {
    until = std::chrono::steady_clock::now() +
            std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                std::chrono::duration<double>(options.forSeconds));
  }
  double speed = options.speed;
  for (;;) {
    const NxErr started = engine.Play(speed, nullptr);
    if (started != NxErrSuccess) return started;
    if (!engine.IsPlaying()) return NxErrDurationZero;  // no picture and no sound to play
    const bool again = PlayOnce(engine, until, result) && options.loop != "straight";
    const NxErr refused = engine.GetPlayError();
    engine.Stop(again || options.still);
    if (refused != NxErrSuccess) return refused;
    if (!again) break;
    if (options.loop == "bounce") speed = -speed;
  }
  result->status = engine.GetStatusWord();
  return NxErrSuccess;
}

int RunPlay(CommandContext& context, const PlayOptions& options) {
  int exitCode = kExitDone;
  const auto door = CardDoor::Open(context, &exitCode);
  if (door == nullptr) return exitCode;
  const RQD5BoardInfo* board = door->Find(context, options.board);
  if (board == nullptr || !door->Lock(context, options.board)) return kExitFailed;
  PlaybackEngine engine;
  if (engine.Open(*board, PlaybackStore::Ignore) != NxErrSuccess) {
    return Fail(context, NxErrFailure,
                "Board " + std::to_string(options.board) +
                    " cannot be opened: " + engine.Session().GetLastError() + ".");
  }
  if (auto failed = OpenMedia(context, engine, options)) return *failed;
  if (auto refusal = ApplyFormat(engine, options)) return Fail(context, NxErrFailure, *refusal);
  if (auto refusal = ApplyTimeline(engine, options)) return Fail(context, NxErrFailure, *refusal);
  PlayResult result;
  const NxErr played = PlayLoops(engine, options, &result);
  if (played == NxErrDurationZero) {
    return Fail(context, played, "Duration is 0: " + options.clip + " has nothing to play.");
  }
  if (played != NxErrSuccess) return Fail(context, played);
  engine.Close();
  if (result.framesLost > 0) {
    std::fprintf(stderr, "%lld frames of %s could not be read and went out black\n",
                 static_cast<long long>(result.framesLost), options.clip.c_str());
  }
  if (result.framesDropped > 0) {
    std::fprintf(stderr, "frames dropped: disk %u, card %u, processor %u\n", result.drops.disk,
                 result.drops.card, result.drops.processor);
  }
  if (context.json) {
    PrintJson(Json{{"result", 0},
                   {"framesPlayed", result.framesPlayed},
                   {"framesDropped", result.framesDropped},
                   {"position", result.position},
                   {"status", result.status}});
  } else {
    std::printf("played %lld frames, %lld dropped, at frame %d, %s\n",
                static_cast<long long>(result.framesPlayed),
                static_cast<long long>(result.framesDropped), result.position,
                result.status.c_str());
  }
  return kExitDone;
}

}  // namespace

void AddPlayCommand(CLI::App& app, CommandContext& context) {
  auto options = std::make_shared<PlayOptions>();
  CLI::App* command = app.add_subcommand("play", "Plays a clip out of a board");
  command->add_option("clip", options->clip, "A frame of the clip")->required()->type_name("CLIP");
  command->add_option("--board", options->board, "Index of the board in the scan")
      ->check(CLI::NonNegativeNumber);
  command
      ->add_option("--speed", options->speed, "Source frames a frame of output; below 0 backwards")
      ->check(CLI::Validator(RefuseSpeed, "NUMBER"));
  command->add_option("--range", options->range, "Frames of the timeline, both ends included")
      ->type_name("A-B");
  command->add_option("--loop", options->loop, "straight, loop or bounce")
      ->check(CLI::IsMember({"straight", "loop", "bounce"}));
  command->add_option("--for", options->forSeconds, "Stop after so many seconds")
      ->check(NumberBetween(kLeastSeconds, kMostSeconds));
  command->add_option("--audio", options->audio, "Sound file for the next track, and its channel")
      ->type_name("FILE[:TRACK]");
  command->add_option("--audio-dir", options->audioDir, "Folder of the clip's sound");
  command->add_option("--bars", options->bars, "Seconds of colour bars first")
      ->check(CLI::Range(0, 120));
  command->add_option("--tone", options->tone, "Level of the tone under bars, percent")
      ->check(CLI::Range(0, 100));
  command->add_option("--leader", options->leader, "Seconds of black before the clip")
      ->check(CLI::Range(0, 120));
  command->add_option("--trailer", options->trailer, "Seconds of black behind the clip")
      ->check(CLI::Range(0, 120));
  command->add_flag("--still", options->still, "Leave the last picture on the output");
  command->add_option("--video-format", options->session.videoFormat,
                      "Video format, as the board lists it (default: the clip's)");
  command->callback([&context, options] {
    context.run = [options](CommandContext& run) { return RunPlay(run, *options); };
  });
}

}  // namespace morvane::tools
