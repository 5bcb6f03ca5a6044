// The door to a card itself: registers, interrupts, the frame ring's status.
#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>

#include "device/nub_wire.h"
#include "device/registers.h"
#include "device/test_pattern.h"
#include "media/media_text.h"
#include "tools/card_door.h"
#include "tools/command.h"
#include "tools/remote_card.h"
#include "tools/stop_signal.h"

namespace morvane::tools {
namespace {

struct RegistersOptions {
  int board = 0;
  RemoteChoice remote;
  uint32_t number = 0;
  uint32_t value = 0;
  std::vector<uint32_t> numbers;
  uint32_t mask = 0xFFFFFFFF;
  uint32_t shift = 0;
  uint32_t timeoutMs = 0;
};

// What the door gave: the document behind its "result", or words for a refusal.
struct Answer {
  Json document = Json::object();
  std::string refusal;
};

Answer Read(CRQD5TestPattern& card, const RegistersOptions& options) {
  uint32_t value = 0;
  if (!card.ReadRegister(options.number, &value, options.mask, options.shift)) {
    return {{}, "Register " + std::to_string(options.number) + " cannot be read."};
  }
  return {Json{{"value", value}}, {}};
}

Answer Write(CRQD5TestPattern& card, const RegistersOptions& options) {
  uint32_t value = 0;
  if (!card.WriteRegister(options.number, options.value, options.mask, options.shift)) {
    return {{}, "Register " + std::to_string(options.number) + " cannot be written."};
  }
  if (!card.ReadRegister(options.number, &value)) {
    return {{}, "Register " + std::to_string(options.number) + " cannot be read back."};
  }
  return {Json{{"value", value}}, {}};
}

// A card that another machine lends answers this for as long as the connection holds.
bool Answers(CRQD5TestPattern& card) {
  uint32_t identity = 0;
  return card.ReadRegister(RegisterNumber(RegisterField::BoardIdentity), &identity);
}

Answer NoAnswer(const RegistersOptions& options) {
  return {{},
          options.remote.host + " does not answer any more; see whether morvane-nub runs there."};
}

Answer ReadMulti(CRQD5TestPattern& card, const RegistersOptions& options) {
  std::vector<RQD5RegisterEntry> entries;
  for (const uint32_t number : options.numbers) {
    entries.push_back({number, 0, options.mask, options.shift});
  }
  // As many as one packet of any version of the protocol holds.
  const size_t atOnce = card.IsRemote() ? NubReadMultiLimit(1) : entries.size();
  for (size_t first = 0; first < entries.size(); first += atOnce) {
    const size_t count = std::min(atOnce, entries.size() - first);
    uint32_t failed = 0;
    if (card.ReadRegisterMulti(static_cast<uint32_t>(count), &failed, &entries[first])) continue;
    if (card.IsRemote() && !Answers(card)) return NoAnswer(options);
    return {{}, "Register " + std::to_string(failed) + " cannot be read."};
  }
  Json values = Json::array();
  for (const RQD5RegisterEntry& entry : entries) values.push_back(uint32_t{entry.value});
  return {Json{{"value", values}}, {}};
}

std::string DidNotCome(const RegistersOptions& options) {
  return "Interrupt " + std::to_string(options.number) + " did not come within " +
         std::to_string(options.timeoutMs) + " ms.";
}

// The other machine waits, and not so long that its answer would come too late for the driver.
// Returns: words for a refusal; none when the interrupt came.
std::string WaitThere(CRQD5TestPattern& card, const RegistersOptions& options) {
  constexpr uint32_t kSliceMs = 1000;
  uint32_t left = options.timeoutMs;
  do {
    const uint32_t slice = std::min(left, kSliceMs);
    if (card.WaitForInterrupt(options.number, slice)) return {};
    // A wait that ran out and one that found nobody look the same.
    if (!Answers(card)) return NoAnswer(options).refusal;
    left -= slice;
    if (StopAsked()) {
      return "Interrupt " + std::to_string(options.number) +
             " had not come when the wait was stopped.";
    }
  } while (left > 0);
  return DidNotCome(options);
}

Answer Wait(CRQD5TestPattern& card, const RegistersOptions& options) {
  if (card.IsRemote()) return {Json{{"value", nullptr}}, WaitThere(card, options)};
  DriverEvent event = 0;
  if (!card.ConfigureSubscription(true, options.number, &event)) {
    return {{}, "Interrupt " + std::to_string(options.number) + " cannot be subscribed."};
  }
  const bool came = card.WaitForInterrupt(options.number, options.timeoutMs);
  uint32_t count = 0;  // another machine does not tell it
  const bool counted = card.GetInterruptCount(options.number, &count);
  (void)card.ConfigureSubscription(false, options.number, &event);
  if (!came) return {{}, DidNotCome(options)};
  return {Json{{"value", counted ? Json(count) : Json(nullptr)}}, {}};
}

Answer BitFile(CRQD5TestPattern& card, const RegistersOptions& options) {
  RQD5BitFileInfo info = {};
  if (!card.DriverGetBitFileInformation(&info, options.number)) {
    return {{}, "The card tells nothing of logic " + std::to_string(options.number) + "."};
  }
  return {Json{{"value", Json{{"checksum", uint32_t{info.checksum}},
                              {"recordVersion", uint32_t{info.recordVersion}},
                              {"recordSize", uint32_t{info.recordSize}},
                              {"byteCount", uint32_t{info.byteCount}},
                              {"date", FieldText(info.date, sizeof info.date)},
                              {"time", FieldText(info.time, sizeof info.time)},
                              {"designName", FieldText(info.designName, sizeof info.designName)},
                              {"kind", uint32_t{info.kind}},
                              {"partName", FieldText(info.partName, sizeof info.partName)},
                              {"projectNumber", uint32_t{info.projectNumber}}}}},
          {}};
}

Answer Build(CRQD5TestPattern& card, const RegistersOptions&) {
  if (!card.IsRemote()) {
    return {{}, "Only a card of another machine tells its build; name the machine with --host."};
  }
  RQD5BuildInfo info = {};
  if (!card.DriverGetBuildInformation(&info)) {
    return {{}, "The other machine does not tell the build; protocol versions 1 and 2 cannot."};
  }
  return {Json{{"value", Json{{"word0", uint32_t{info.word0}},
                              {"word1", uint32_t{info.word1}},
                              {"text", FieldText(info.text, sizeof info.text)}}}},
          {}};
}

Answer AutoCirculate(CRQD5TestPattern& card, const RegistersOptions& options) {
  // Another machine that refuses leaves the record as it is, and says so in no other way.
  constexpr uint32_t kNoState = 0xFFFFFFFF;
  RQD5AutoCirculateStatus status = {};
  status.state = kNoState;
  RQD5AutoCirculateData data;
  data.command = ACStatus;
  data.channelSpec = options.number;
  data.record1 = &status;
  const bool asked = card.AutoCirculate(data);
  if (!asked && card.IsRemote() && !Answers(card)) return NoAnswer(options);
  if (!asked || status.state == kNoState) {
    return {{}, "Channel " + HexWord(options.number) + " has no frame ring."};
  }
  const bool active = status.activeFrame != kACNoFrame;
  return {Json{{"value",
                Json{{"state", uint32_t{status.state}},
                     {"startFrame", uint32_t{status.startFrame}},
                     {"endFrame", uint32_t{status.endFrame}},
                     {"activeFrame", active ? Json(uint32_t{status.activeFrame}) : Json(nullptr)},
                     {"framesProcessed", uint32_t{status.framesProcessed}},
                     {"framesDropped", uint32_t{status.framesDropped}},
                     {"bufferLevel", uint32_t{status.bufferLevel}},
                     {"withAudio", status.withAudio != 0}}}},
          {}};
}

Answer Pattern(CRQD5TestPattern& card, const RegistersOptions& options) {
  const std::vector<std::string>& names = card.GetPatternNames();
  if (options.number >= names.size()) {
    return {{},
            "There is no test pattern " + std::to_string(options.number) +
                "; they are numbered 0 to " + std::to_string(names.size() - 1) + "."};
  }
  if (!card.DownloadTestPattern(options.number)) return {{}, "The card refuses the pattern."};
  return {Json{{"name", names[options.number]}}, {}};
}

using Operation = Answer (*)(CRQD5TestPattern&, const RegistersOptions&);

std::string PlainText(const Json& value) {
  if (value.is_string()) return value.get<std::string>();
  return value.is_number_unsigned() ? value.dump() + "  " + HexWord(value.get<uint32_t>())
                                    : value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void PrintLines(const Json& value) {
  if (value.is_array()) {
    for (const Json& item : value) std::printf("%s\n", PlainText(item).c_str());
  } else if (value.is_object()) {
    for (const auto& [key, item] : value.items()) {
      std::printf("%-15s %s\n", key.c_str(), PlainText(item).c_str());
    }
  } else {
    std::printf("%s\n", PlainText(value).c_str());
  }
}

Answer AskHere(CommandContext& context, const RegistersOptions& options, Operation operation,
               int* exitCode) {
  const auto door = CardDoor::Open(context, exitCode);
  if (door == nullptr) return {};
  *exitCode = kExitFailed;
  const RQD5BoardInfo* board = door->Find(context, options.board);
  if (board == nullptr) return {};
  *exitCode = kExitDone;
  CRQD5TestPattern card;
  if (!card.Open(static_cast<uint16_t>(board->boardNumber), false, board->boardType, nullptr)) {
    return {{}, "Board " + std::to_string(options.board) + " cannot be opened."};
  }
  return operation(card, options);
}

Answer AskThere(CommandContext& context, const RegistersOptions& options, Operation operation,
                int* exitCode) {
  CRQD5TestPattern card;
  if (!OpenRemoteCard(context, options.remote, &card)) {
    *exitCode = kExitFailed;
    return {};
  }
  const DiagnosticOutput refusals;
  return operation(card, options);
}

int RunRegisters(CommandContext& context, const RegistersOptions& options, Operation operation) {
  int exitCode = kExitDone;
  const Answer answer = options.remote.IsChosen() ? AskThere(context, options, operation, &exitCode)
                                                  : AskHere(context, options, operation, &exitCode);
  if (exitCode != kExitDone) return exitCode;
  if (!answer.refusal.empty()) return Fail(context, NxErrFailure, answer.refusal);
  if (!context.json) {
    for (const auto& [key, value] : answer.document.items()) PrintLines(value);
    return kExitDone;
  }
  Json document{{"result", 0}};
  document.update(answer.document);
  PrintJson(document);
  return kExitDone;
}

using Options = std::shared_ptr<RegistersOptions>;

CLI::App* AddOperation(CLI::App* family, CommandContext& context, const Options& options,
                       const char* name, const char* words, Operation operation) {
  CLI::App* command = family->add_subcommand(name, words);
  CLI::Option* board =
      command->add_option("--board", options->board, "Index of the board in the scan")
          ->check(CLI::NonNegativeNumber);
  AddRemoteOptions(command, board, &options->remote);
  command->callback([&context, options, operation] {
    context.run = [options, operation](CommandContext& run) {
      return RunRegisters(run, *options, operation);
    };
  });
  return command;
}

void AddField(CLI::App* command, const Options& options) {
  command->add_option("--mask", options->mask, "Bits of the register that count");
  command->add_option("--shift", options->shift, "Place of the value's lowest bit")
      ->check(CLI::Range(0, 31));
}

}  // namespace

void AddRegistersCommand(CLI::App& app, CommandContext& context) {
  auto options = std::make_shared<RegistersOptions>();
  CLI::App* family = app.add_subcommand("registers", "The driver's door to a card");
  family->require_subcommand(1);

  CLI::App* command = AddOperation(family, context, options, "read", "Reads a register", Read);
  command->add_option("N", options->number, "Register")->required();
  AddField(command, options);

  command = AddOperation(family, context, options, "write",
                         "Writes a register, and tells what it holds then", Write);
  command->add_option("N", options->number, "Register")->required();
  command->add_option("VALUE", options->value, "Value, before it is shifted")->required();
  AddField(command, options);

  command = AddOperation(family, context, options, "multi", "Reads registers in one go", ReadMulti);
  command->add_option("N", options->numbers, "Registers")->required();
  AddField(command, options);

  command = AddOperation(family, context, options, "wait",
                         "Waits for an interrupt, and tells how many there were", Wait);
  command->add_option("TYPE", options->number, "Interrupt type, 0 to 25")
      ->required()
      ->check(CLI::Range(0, static_cast<int>(InterruptLast)));
  command->add_option("MS", options->timeoutMs, "How long to wait, in milliseconds")->required();

  command = AddOperation(family, context, options, "bitfile", "What is known of the card's logic",
                         BitFile);
  command->add_option("KIND", options->number, "Number of the logic")->required();

  AddOperation(family, context, options, "build", "Who made the card's logic, on another machine",
               Build);

  command = AddOperation(family, context, options, "autocirculate",
                         "Status of a channel's frame ring", AutoCirculate);
  command->add_option("CHANNEL", options->number, "Channel; for its input 0x100 more")->required();

  command = AddOperation(family, context, options, "pattern",
                         "Draws a test pattern into the frame that channel 1 shows", Pattern);
  command->add_option("N", options->number, "Number of the pattern")->required();
}

}  // namespace morvane::tools
