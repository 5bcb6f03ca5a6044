// The timecode functions on the command line.
#include <charconv>
#include <cstdio>
#include <functional>
#include <memory>

#include "processing/timecode.h"
#include "tools/choices.h"
#include "tools/command.h"

namespace morvane::tools {
namespace {

struct TimecodeOptions {
  int32_t frame = 0;
  std::string text;
  std::string other;
  RateChoice rate;
  int32_t rateClass = 2;
  bool drop = false;
};

// What a timecode function gave.
struct Outcome {
  int32_t result = 0;
  Json value;
  std::string refusal;  // words for the user when `result` is not 0
};

Outcome Rated(const TimecodeOptions& options, int32_t result, Json value) {
  return {result, std::move(value),
          options.rate.Text() +
              " is no rate of timecode; there are 24000, 30000 and 60000 with "
              "1000 or 1001, 25000 and 50000 with 1000."};
}

Outcome TextOfFrame(const TimecodeOptions& options) {
  char text[kTimecodeTextBytes] = {};
  const int32_t result = FrameToTimecodeText(options.frame, options.rate.scale, options.rate.rate,
                                             options.drop ? 1 : 0, text);
  return Rated(options, result, std::string(text));
}

Outcome FrameOfText(const TimecodeOptions& options) {
  uint32_t frame = 0;
  const int32_t result = TimecodeTextToFrame(options.text.c_str(), options.rate.scale,
                                             options.rate.rate, options.drop ? 1 : 0, &frame);
  return Rated(options, result, static_cast<int32_t>(frame));
}

Outcome WordOfFrame(const TimecodeOptions& options) {
  uint32_t word = 0;
  const int32_t result = FrameToTimecodeBcd(options.frame, options.rate.scale, options.rate.rate,
                                            options.drop ? 1 : 0, &word);
  return Rated(options, result, HexWord(word));
}

bool ParseWord(const std::string& text, uint32_t* word) {
  const bool prefixed = text.rfind("0x", 0) == 0 || text.rfind("0X", 0) == 0;
  const char* begin = text.data() + (prefixed ? 2 : 0);
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(begin, end, *word, 16);
  return error == std::errc() && stop == end;
}

Outcome FrameOfWord(const TimecodeOptions& options) {
  uint32_t word = 0;
  (void)ParseWord(options.text, &word);  // the command line was checked
  uint32_t frame = 0;
  const int32_t result = TimecodeBcdToFrame(static_cast<int32_t>(word), options.rate.scale,
                                            options.rate.rate, options.drop ? 1 : 0, &frame);
  return Rated(options, result, static_cast<int32_t>(frame));
}

Outcome Normalized(const TimecodeOptions& options) {
  char text[kTimecodeTextBytes] = {};
  const int32_t result =
      NormalizeTimecodeText(options.text.c_str(), text, options.rateClass, options.drop ? 1 : 0);
  return {result, std::string(text), "The text cannot be made legal."};
}

Outcome Compared(const TimecodeOptions& options) {
  uint32_t order = 0;
  const int32_t result = CompareTimecodeText(options.text.c_str(), options.other.c_str(), &order);
  return {result, order, "The texts cannot be compared."};
}

// The document is printed for a refused pair too, in the place of {"error", "text"}.
int Print(const CommandContext& context, const Outcome& outcome) {
  if (context.json) {
    PrintJson(Json{{"result", outcome.result}, {"value", outcome.value}});
  } else {
    const std::string text =
        outcome.value.is_string() ? outcome.value.get<std::string>() : outcome.value.dump();
    std::printf("%s\n", text.c_str());
    std::fflush(stdout);
  }
  if (outcome.result == 0) return kExitDone;
  CommandContext words;
  return Fail(words, outcome.result, outcome.refusal);
}

std::string CheckWord(const std::string& text) {
  uint32_t word = 0;
  if (ParseWord(text, &word)) return {};
  return text + ": a word of 32 bits is meant, such as 0x02000100";
}

// HH:MM:SS:FF, any separators: what the comparison can read.
std::string CheckWellFormed(const std::string& text) {
  bool good = text.size() == 11;
  for (size_t i = 0; good && i < text.size(); ++i) {
    good = i % 3 == 2 || (text[i] >= '0' && text[i] <= '9');
  }
  return good ? std::string() : text + ": HH:MM:SS:FF is meant";
}

using Options = std::shared_ptr<TimecodeOptions>;

void RunAs(CLI::App* command, CommandContext& context, const Options& options,
           const std::function<Outcome(const TimecodeOptions&)>& function) {
  command->callback([&context, options, function] {
    context.run = [options, function](CommandContext& run) {
      return Print(run, function(*options));
    };
  });
}

void AddRate(CLI::App* command, const Options& options) {
  AddRateOption(*command, &options->rate)->required();
  command->add_flag("--drop", options->drop, "Drop frame, where the rate has it");
}

}  // namespace

void AddTimecodeCommand(CLI::App& app, CommandContext& context) {
  auto options = std::make_shared<TimecodeOptions>();
  CLI::App* family = app.add_subcommand("timecode", "Timecode arithmetic");
  family->require_subcommand(1);

  CLI::App* command = family->add_subcommand("text", "Text of a frame count");
  command->add_option("FRAME", options->frame, "Frame count, may be negative")->required();
  AddRate(command, options);
  RunAs(command, context, options, TextOfFrame);

  command = family->add_subcommand("frame", "Frame count of a text");
  command->add_option("TEXT", options->text, "HH:MM:SS:FF, with - before it")->required();
  AddRate(command, options);
  RunAs(command, context, options, FrameOfText);

  command = family->add_subcommand("bcd", "Packed word of a frame count");
  command->add_option("FRAME", options->frame, "Frame count")->required();
  AddRate(command, options);
  RunAs(command, context, options, WordOfFrame);

  command = family->add_subcommand("unbcd", "Frame count of a packed word");
  command->add_option("HEX", options->text, "Packed word, such as 0x02000100")
      ->required()
      ->check(CheckWord);
  AddRate(command, options);
  RunAs(command, context, options, FrameOfWord);

  command = family->add_subcommand("normalize", "Legal text of what somebody typed");
  command->add_option("TEXT", options->text, "Digits, counted from the right")->required();
  command->add_option("--class", options->rateClass, "0: 24, 1: 25, 2: 30 frames a second")
      ->required()
      ->check(CLI::IsMember({0, 1, 2}));
  command->add_flag("--drop", options->drop, "Drop frame, at 30 frames a second");
  RunAs(command, context, options, Normalized);

  command = family->add_subcommand("compare", "0: equal, 1: A is later, 2: A is earlier");
  command->add_option("A", options->text, "HH:MM:SS:FF")->required()->check(CheckWellFormed);
  command->add_option("B", options->other, "HH:MM:SS:FF")->required()->check(CheckWellFormed);
  RunAs(command, context, options, Compared);
}

}  // namespace morvane::tools
