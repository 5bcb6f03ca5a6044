// The tape machine, driven from the command line.
#include <cmath>
#include <cstdio>
#include <memory>

#include "base/system.h"
#include "device/registers.h"
#include "session/control.h"
#include "simulator/input_source.h"
#include "tools/card_door.h"
#include "tools/choices.h"
#include "tools/command.h"
#include "tools/deck_door.h"
#include "tools/stop_signal.h"

namespace morvane::tools {
namespace {

constexpr uint32_t kSliceMs = 20;
constexpr uint32_t kStepMs = 2000;  // a step is a short way

struct VtrOptions {
  std::string time;
  double speed = 0;
  int board = 0;
  double holdSeconds = 0;
};

using Command = bool (*)(CRQD5Control&, const VtrOptions&);

struct VtrCommand {
  const char* name;
  const char* words;
  Command run;  // null: only asks
  bool steps = false;
};

// Machines differ in how long an acknowledgement is.
bool Acknowledged(const CRQD5Control& control) {
  const auto reply = control.Reply();
  return reply.size() >= 3 && reply[0] == 0x10 && reply[1] == 0x01 && reply[2] == 0x11;
}

// clang-format off
constexpr VtrCommand kCommands[] = {
  { "status",   "Tells what the machine does",                   nullptr },
  { "timecode", "Tells where the tape stands",                   nullptr },
  { "play",     "Plays",
    [](CRQD5Control& c, const VtrOptions&) { return c.Play(); } },
  { "stop",     "Stops",
    [](CRQD5Control& c, const VtrOptions&) { return c.Stop(); } },
  { "still",    "Stands still with a picture",
    [](CRQD5Control& c, const VtrOptions&) { return c.ShuttleStill() || Acknowledged(c); } },
  { "ff",       "Winds forwards",
    [](CRQD5Control& c, const VtrOptions&) { return c.FastForward(); } },
  { "rewind",   "Winds backwards",
    [](CRQD5Control& c, const VtrOptions&) { return c.Rewind(); } },
  { "record",   "Records picture, sound and timecode from where the tape stands",
    [](CRQD5Control& c, const VtrOptions&) { return c.Record(); } },
  { "cue",      "Winds to a timecode and parks there",
    [](CRQD5Control& c, const VtrOptions& o) { return c.CueUp(o.time) || Acknowledged(c); } },
  { "step",     "Goes one frame on",
    [](CRQD5Control& c, const VtrOptions&) { return c.Step() || Acknowledged(c); }, true },
  { "stepback", "Goes one frame back",
    [](CRQD5Control& c, const VtrOptions&) { return c.StepBack() || Acknowledged(c); }, true },
  { "shuttle",  "Runs at a speed, negative for backwards",
    [](CRQD5Control& c, const VtrOptions& o) { return c.Shuttle(o.speed) || Acknowledged(c); } },
};
// clang-format on

// Why a machine did not obey. Returns: what the command returns.
int FailAsMachine(const CommandContext& context, CRQD5Control* control, const VtrCommand& command) {
  RQD5VtrStatus status;
  if (!control->GetStatus(&status)) return Fail(context, NxErrVtrOffline);
  if (status.Is(VtrTapeOut)) return Fail(context, NxErrNoTape);
  if (status.Is(VtrLocal)) return Fail(context, NxErrVtrLocal);
  const bool records = std::string(command.name) == "record";
  if (records && status.Is(VtrRecordInhibited)) return Fail(context, NxErrRecordInhibit);
  return Fail(context, NxErrVtrNotReady);
}

// A card that nobody asks passes no time: what a machine records meanwhile would all have to be
// passed with the next question.
void Wait(CRQD5Control* control, uint32_t milliseconds) {
  for (uint32_t passed = 0; passed < milliseconds && !StopAsked(); passed += kSliceMs) {
    NxSleep(kSliceMs);
    uint32_t ignored = 0;
    (void)control->ReadRegister(RegisterNumber(RegisterField::BoardIdentity), &ignored);
  }
}

// A step has ended when the machine has parked.
void AwaitStep(CRQD5Control* control) {
  for (uint32_t passed = 0; passed < kStepMs && !StopAsked(); passed += kSliceMs) {
    RQD5VtrStatus status;
    if (!control->GetStatus(&status) || !status.Is(VtrPrerolling)) return;
    NxSleep(kSliceMs);
  }
}

int Drive(CommandContext& context, const VtrOptions& options, const VtrCommand& command,
          CRQD5Control* control) {
  if (!control->IsControlAvailable()) {
    return Fail(context, NxErrFailure,
                "Board " + std::to_string(options.board) +
                    " has no port for a tape machine; see morvanectl boards.");
  }
  if (command.run != nullptr && !command.run(*control, options)) {
    return FailAsMachine(context, control, command);
  }
  if (command.steps) AwaitStep(control);
  Wait(control, static_cast<uint32_t>(options.holdSeconds * 1000));
  const DeckReport report = AskDeck(control);
  if (!report.answers) return Fail(context, NxErrVtrOffline);
  if (context.json) {
    PrintJson(Json{{"result", 0},
                   {"status", report.status},
                   {"timecode", report.timecode},
                   {"speed", report.speed}});
    return kExitDone;
  }
  const std::string time = report.timecode.is_null() ? "" : report.timecode.get<std::string>();
  if (std::string(command.name) == "timecode") {
    std::printf("%s\n", time.c_str());
  } else {
    std::printf("%s  %s\n", time.c_str(), report.status.c_str());
  }
  return kExitDone;
}

int RunVtr(CommandContext& context, const VtrOptions& options, const VtrCommand& command) {
  int exitCode = kExitDone;
  const auto door = CardDoor::Open(context, &exitCode);
  if (door == nullptr) return exitCode;
  const RQD5BoardInfo* board = door->Find(context, options.board);
  if (board == nullptr || !door->Lock(context, options.board)) return kExitFailed;
  CRQD5Control control;
  if (!OpenDeck(*board, &control)) {
    return Fail(context, NxErrFailure,
                "Board " + std::to_string(options.board) + " cannot be opened.");
  }
  const int result = Drive(context, options, command, &control);
  control.Close();
  return result;
}

}  // namespace

void AddVtrCommand(CLI::App& app, CommandContext& context) {
  auto options = std::make_shared<VtrOptions>();
  CLI::App* family = app.add_subcommand("vtr", "Drives the tape machine on a board's port");
  family->require_subcommand(1);
  for (const VtrCommand& row : kCommands) {
    CLI::App* command = family->add_subcommand(row.name, row.words);
    command->add_option("--board", options->board, "Index of the board in the scan")
        ->check(CLI::NonNegativeNumber);
    command->add_option("--hold", options->holdSeconds, "Stay so long before asking again")
        ->type_name("SECONDS")
        ->check(NumberBetween(0, 86400));
    const std::string name = row.name;
    if (name == "cue") {
      command->add_option("TC", options->time, "Where to, \"01:00:00:00\"")
          ->required()
          ->check([](const std::string& text) {
            return SourceTimecode::IsTimecodeText(text) ? std::string()
                                                        : "\"" + text + "\" is no timecode";
          });
    } else if (name == "shuttle") {
      command->add_option("SPEED", options->speed, "In plays: 1, 0.5, -8 ...")
          ->required()
          ->check(NumberBetween(-1000, 1000));
    }
    command->callback([&context, options, &row] {
      context.run = [options, &row](CommandContext& run) { return RunVtr(run, *options, row); };
    });
  }
}

}  // namespace morvane::tools
