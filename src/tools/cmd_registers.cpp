// The door to a card itself: registers, interrupts, the frame ring's status.
#include <cstdio>
#include <functional>
#include <memory>

#include "device/test_pattern.h"
#include "media/media_text.h"
#include "tools/card_door.h"
#include "tools/command.h"

namespace morvane::tools {
namespace {

struct RegistersOptions {
  int board = 0;
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

Answer ReadMulti(CRQD5TestPattern& card, const RegistersOptions& options) {
  std::vector<RQD5RegisterEntry> entries;
  for (const uint32_t number : options.numbers) {
    entries.push_back({number, 0, options.mask, options.shift});
  }
  uint32_t failed = 0;
  if (!card.ReadRegisterMulti(static_cast<uint32_t>(entries.size()), &failed, entries.data())) {
    return {{}, "Register " + std::to_string(failed) + " cannot be read."};
  }
  Json values = Json::array();
  for (const RQD5RegisterEntry& entry : entries) values.push_back(uint32_t{entry.value});
  return {Json{{"value", values}}, {}};
}

Answer Wait(CRQD5TestPattern& card, const RegistersOptions& options) {
  DriverEvent event = 0;
  if (!card.ConfigureSubscription(true, options.number, &event)) {
    return {{}, "Interrupt " + std::to_string(options.number) + " cannot be subscribed."};
  }
  const bool came = card.WaitForInterrupt(options.number, options.timeoutMs);
  uint32_t count = 0;
  const bool counted = card.GetInterruptCount(options.number, &count);
  (void)card.ConfigureSubscription(false, options.number, &event);
  if (!came) {
    return {{},
            "Interrupt " + std::to_string(options.number) + " did not come within " +
                std::to_string(options.timeoutMs) + " ms."};
  }
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

Answer AutoCirculate(CRQD5TestPattern& card, const RegistersOptions& options) {
  RQD5AutoCirculateStatus status = {};
  RQD5AutoCirculateData data;
  data.command = ACStatus;
  data.channelSpec = options.number;
  data.record1 = &status;
  if (!card.AutoCirculate(data)) {
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

int RunRegisters(CommandContext& context, const RegistersOptions& options, Operation operation) {
  int exitCode = kExitDone;
  const auto door = CardDoor::Open(context, &exitCode);
  if (door == nullptr) return exitCode;
  const RQD5BoardInfo* board = door->Find(context, options.board);
  if (board == nullptr) return kExitFailed;
  CRQD5TestPattern card;
  if (!card.Open(static_cast<uint16_t>(board->boardNumber), false, board->boardType, nullptr)) {
    return Fail(context, NxErrFailure,
                "Board " + std::to_string(options.board) + " cannot be opened.");
  }
  const Answer answer = operation(card, options);
  card.Close();
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
  command->add_option("--board", options->board, "Index of the board in the scan")
      ->check(CLI::NonNegativeNumber);
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

  command = AddOperation(family, context, options, "autocirculate",
                         "Status of a channel's frame ring", AutoCirculate);
  command->add_option("CHANNEL", options->number, "Channel; for its input 0x100 more")->required();

  command = AddOperation(family, context, options, "pattern",
                         "Draws a test pattern into the frame that channel 1 shows", Pattern);
  command->add_option("N", options->number, "Number of the pattern")->required();
}

}  // namespace morvane::tools
