#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>

#include "base/paths.h"
#include "capture/capture_engine.h"
#include "device/boards.h"
#include "playback/playback_engine.h"
#include "session/card2.h"
#include "simulator/input_source.h"
#include "tools/card_door.h"
#include "tools/choices.h"
#include "tools/clip_door.h"
#include "tools/clip_reader.h"
#include "tools/command.h"
#include "tools/demo_check.h"
#include "tools/session_choices.h"
#include "tools/stop_signal.h"

namespace morvane::tools {
namespace {

constexpr int kBoard = 0;
constexpr uint32_t kRoundMs = 2;
constexpr uint32_t kTimecodePatienceMs = 2000;
constexpr double kDefaultSeconds = 4;

struct DemoOptions {
  double seconds = kDefaultSeconds;
  std::string dir;
};

struct DemoResult {
  int32_t framesCaptured = 0;
  uint32_t framesDropped = 0;
  int32_t framesPlayed = 0;
  int64_t mismatches = 0;
  std::string clip;
};

// A log of the output that is removed with the demo.
class TemporaryLog {
 public:
  TemporaryLog() {
    std::string pattern = (std::filesystem::temp_directory_path() / "morvane-demo-XXXXXX").string();
    if (mkdtemp(pattern.data()) != nullptr) folder_ = pattern;
  }
  ~TemporaryLog() {
    std::error_code ignored;
    if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
  }
  TemporaryLog(const TemporaryLog&) = delete;
  TemporaryLog& operator=(const TemporaryLog&) = delete;
  [[nodiscard]] bool IsMade() const { return !folder_.empty(); }
  [[nodiscard]] std::string Path() const { return folder_ + "/output1.csv"; }

 private:
  std::string folder_;
};

// What the person at the desk reads meanwhile; nothing with --json.
void Say(const CommandContext& context, const std::string& line) {
  if (!context.json) std::printf("%s\n", line.c_str());
  std::fflush(stdout);
}

// The first clip name of the form "Demo 01" that does not exist in `folder`.
std::string FreeClipName(const std::string& folder) {
  for (int number = 1;; ++number) {
    char name[32];
    std::snprintf(name, sizeof name, "Demo %02d", number);
    const std::string path = JoinPath(folder, name);
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored) &&
        !std::filesystem::exists(path + ".wav", ignored)) {
      return name;
    }
  }
}

// Captures the demo's clip. Returns: an exit code on failure.
std::optional<int> Capture(const CommandContext& context, const RQD5BoardInfo& board,
                           const DemoOptions& options, const std::string& folder,
                           DemoResult* result) {
  CaptureEngine engine;
  if (engine.Open(board, CaptureStore::Ignore) != NxErrSuccess) {
    return Fail(context, NxErrFailure, "The card cannot be opened.");
  }
  if (auto refusal = ApplySessionTexts(engine.Session(), SessionTexts(), FormatSource::Input)) {
    return Fail(context, NxErrFailure, *refusal);
  }
  if (engine.KeepSessionChoices() != NxErrSuccess || engine.Activate() != NxErrSuccess) {
    return Fail(context, NxErrFailure, "The card refuses its settings.");
  }
  uint32_t scale = 0;
  uint32_t duration = 0;
  engine.Session().GetRate(&scale, &duration);
  const int frames = std::max(1, static_cast<int>(std::lround(options.seconds * scale / duration)));
  std::string text;
  (void)engine.SetFileType(NxFileTypeYUV);
  for (int32_t i = 0; i < engine.GetNumStyles(); ++i) {
    if (engine.GetStyleText(i, &text) == NxErrSuccess && text == "Video - Audio") {
      (void)engine.SetStyle(i);
    }
  }
  if (engine.SetVideoDirectory(folder) != NxErrSuccess ||
      engine.SetAudioDirectory(folder) != NxErrSuccess ||
      engine.SetClipName(FreeClipName(folder)) != NxErrSuccess ||
      engine.SetCaptureMode(static_cast<int32_t>(CaptureMode::Duration)) != NxErrSuccess ||
      engine.SetDurationFrames(frames) != NxErrSuccess) {
    return Fail(context, NxErrFailure, "The demo's choices were refused.");
  }
  if (const NxErr prepared = engine.Prepare(); prepared != NxErrSuccess) {
    return Fail(context, prepared);
  }
  Say(context, "capturing " + std::to_string(frames) + " frames of " +
                   engine.Session().GetFormat().name + " from the card's input ...");
  if (const NxErr started = engine.Start(); started != NxErrSuccess) {
    return Fail(context, started);
  }
  bool silent = false;  // frames come in and none carries timecode
  for (uint32_t round = 0; !engine.HasEnded() && !StopAsked() && !silent; ++round) {
    engine.PreviewRound(nullptr);
    NxSleep(kRoundMs);
    silent = round * kRoundMs >= kTimecodePatienceMs && engine.AwaitsTimecode();
  }
  engine.Stop();
  if (silent) {
    return Fail(context, NxErrFailure,
                "The input carries no timecode, with which a capture begins; give input1 a "
                "timecode in the machine description.");
  }
  result->framesCaptured = engine.FramesCaptured();
  result->framesDropped = engine.FramesDropped();
  result->clip = engine.ClipPath();
  if (engine.WritesFailed() > 0) {
    return Fail(context, NxErrFailure,
                std::to_string(engine.WritesFailed()) +
                    " frames could not be written: " + engine.FirstWriteError() + ".");
  }
  Say(context, "captured " + std::to_string(result->framesCaptured) + " frames, " +
                   std::to_string(result->framesDropped) + " dropped, first timecode " +
                   engine.FirstTimecode());
  Say(context, "picture  " + result->clip);
  for (const std::string& path : engine.AudioPaths()) Say(context, "sound    " + path);
  engine.Close();
  return std::nullopt;
}

std::optional<int> Play(const CommandContext& context, const RQD5BoardInfo& board,
                        const std::string& folder, const RQD5VideoFormatDesc& format,
                        DemoResult* result) {
  PlaybackEngine engine;
  if (engine.Open(board, PlaybackStore::Ignore) != NxErrSuccess) {
    return Fail(context, NxErrFailure, "The card cannot be opened.");
  }
  if (const NxErr opened = engine.OpenClip(result->clip, folder); opened != NxErrSuccess) {
    return Fail(context, opened, OpenClipWords(result->clip, opened));
  }
  SessionTexts texts;
  texts.videoFormat = format.name;
  if (auto refusal = ApplySessionTexts(engine.Session(), texts, FormatSource::Default)) {
    return Fail(context, NxErrFailure, *refusal);
  }
  if (engine.KeepSessionChoices() != NxErrSuccess || engine.Activate() != NxErrSuccess) {
    return Fail(context, NxErrFailure, "The card refuses its settings.");
  }
  Say(context, "playing the clip out of the card ...");
  if (const NxErr played = engine.Play(1.0, nullptr); played != NxErrSuccess) {
    return Fail(context, played);
  }
  while (engine.IsPlaying() && !engine.HasEnded() && !StopAsked()) NxSleep(kRoundMs);
  result->framesPlayed = engine.FramesPlayed();
  const NxErr refused = engine.GetPlayError();
  engine.Stop(false);
  if (refused != NxErrSuccess) return Fail(context, refused);
  Say(context, "played " + std::to_string(result->framesPlayed) + " frames");
  engine.Close();
  return std::nullopt;
}

// Number that the source gave the first captured frame: bars carry it in the picture, a clip
// starts with the capture.
std::optional<int64_t> FirstSourceFrame(const InputDescription& input, const std::string& path) {
  if (input.source != SignalSource::kBars) return 0;
  OpenClip clip;
  if (OpenClipWithSound(path, "", &clip) != NxErrSuccess) return std::nullopt;
  ClipReader reader(clip, FourCC("2vuy"));
  if (reader.Read(0) != NxErrSuccess) return std::nullopt;
  return ReadBarsFrameNumber(FourCC("2vuy"), reader.Pixels(),
                             static_cast<uint32_t>(clip.info.width));
}

int Report(const CommandContext& context, const DemoResult& result, bool compared) {
  if (result.mismatches != 0 || result.framesDropped != 0) {
    return Fail(context, NxErrFailure,
                std::to_string(result.mismatches) +
                    " frames that left the card are not what was on its input, " +
                    std::to_string(result.framesDropped) + " were dropped; the clip is " +
                    result.clip + ".");
  }
  if (context.json) {
    PrintJson(Json{{"framesCaptured", result.framesCaptured},
                   {"framesDropped", result.framesDropped},
                   {"framesPlayed", result.framesPlayed},
                   {"mismatches", result.mismatches},
                   {"clip", result.clip}});
  }
  Say(context, compared ? "every frame that left the card is the frame that was on its input"
                        : "stopped before the end; nothing was compared");
  return kExitDone;
}

// The description of board 0 of the scan, which goes by board type and not by description.
CardDescription* FirstScanned(MachineDescription* machine) {
  for (const uint32_t type : {BOARDTYPE_SDCARD, BOARDTYPE_HDCARD, BOARDTYPE_OEM2K}) {
    for (CardDescription& card : machine->cards) {
      const BoardRow* row = FindBoard(card.identity);
      if (row != nullptr && row->boardType == type) return &card;
    }
  }
  return nullptr;
}

// The demo's machine: what the user described, with the output of its first card logged.
bool DescribeDemo(const std::string& path, const std::string& log, MachineDescription* machine,
                  std::string* error) {
  if (!SimulatedMachine::Describe(path, machine, error)) return false;
  CardDescription* card = FirstScanned(machine);
  if (card == nullptr) return true;  // the scan will say that there is no board
  OutputDescription output;
  output.number = 1;
  for (const OutputDescription& existing : card->outputs) {
    if (existing.number == 1) output.record = existing.record;
  }
  std::erase_if(card->outputs, [](const OutputDescription& row) { return row.number == 1; });
  output.log = log;
  card->outputs.push_back(output);
  return true;
}

int RunDemo(CommandContext& context, const DemoOptions& options) {
  const TemporaryLog log;
  MachineDescription machine;
  std::string error;
  if (!log.IsMade()) return Fail(context, NxErrFailure, "No temporary folder can be made.");
  if (!DescribeDemo(context.machine, log.Path(), &machine, &error)) {
    return Fail(context, NxErrFailure, error);
  }
  const InputDescription* input = nullptr;
  const CardDescription* card = FirstScanned(&machine);
  if (card == nullptr) return Fail(context, NxErrNoBoards);
  for (const InputDescription& row : card->inputs) {
    if (row.connector == "input1") input = &row;
  }
  if (input == nullptr || input->source == SignalSource::kNone) {
    return Fail(context, NxErrNoVideoInput);
  }
  if (input->source == SignalSource::kLoop) {
    return Fail(
        context, NxErrFailure,
        "The demo compares with bars or a clip on input1; a loop has no source of its own.");
  }
  const std::string folder = options.dir.empty() ? DefaultVideoFolder() : options.dir;
  if (options.dir.empty()) {
    std::error_code ignored;
    std::filesystem::create_directories(folder, ignored);
  }
  DemoResult result;
  RQD5VideoFormatDesc format = {};
  {
    const auto door = CardDoor::OpenOver(machine);
    const RQD5BoardInfo* board = door->Find(context, kBoard);
    if (board == nullptr || !door->Lock(context, kBoard)) return kExitFailed;
    Say(context, "board    " + board->displayName);
    if (auto failed = Capture(context, *board, options, folder, &result)) return *failed;
    if (StopAsked()) return Report(context, result, false);
    CRQD5Card2 session;
    if (!session.OpenSession(board->boardIndex, *board, kSessionCaptureAndPlay)) {
      return Fail(context, NxErrFailure, session.GetLastError() + ".");
    }
    (void)ApplySessionTexts(session, SessionTexts(), FormatSource::Input);
    format = session.GetFormat();
    session.Close();
    if (auto failed = Play(context, *board, folder, format, &result)) return *failed;
  }
  if (StopAsked()) return Report(context, result, false);
  std::vector<LoggedFrame> left;
  const std::optional<int64_t> first = FirstSourceFrame(*input, result.clip);
  if (!ReadOutputLog(log.Path(), &left) || !first) {
    return Fail(context, NxErrFailure, "What left the card cannot be read back.");
  }
  result.mismatches = CountMismatches(left, HashInput(*input, *first, result.framesCaptured));
  return Report(context, result, true);
}

}  // namespace

void AddDemoCommand(CLI::App& app, CommandContext& context) {
  auto options = std::make_shared<DemoOptions>();
  CLI::App* command = app.add_subcommand(
      "demo", "Captures from the card, plays the clip out again, and compares both ends");
  command->add_option("--seconds", options->seconds, "Length of the clip")
      ->check(NumberBetween(0.1, 600));
  command->add_option("--dir", options->dir, "Folder of the clip (default: video folder)");
  command->callback([&context, options] {
    context.run = [options](CommandContext& run) { return RunDemo(run, *options); };
  });
}

}  // namespace morvane::tools
