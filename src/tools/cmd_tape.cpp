// Tapes of the simulated machine: made, looked at, read back.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "base/byte_order.h"
#include "device/formats.h"
#include "media/codec/md5.h"
#include "simulator/tape_folder.h"
#include "simulator/tape_import.h"
#include "tools/choices.h"
#include "tools/command.h"
#include "tools/raw_file.h"
#include "tools/stop_signal.h"

namespace morvane::tools {
namespace {

constexpr int64_t kProgressEvery = 10;

struct TapeOptions {
  std::string path;
  std::string from;
  std::string format;
  std::string clip;
  double seconds = 3600;
  bool drop = false;
  std::string time;
  std::string out;
};

Json DocumentOf(const TapeFolder& tape) {
  return Json{{"format", VideoFormatText(tape.Facts().videoFormat)},
              {"from", TapeTimecodeText(tape.Rate(), tape.CountAt(0))},
              {"frames", tape.Pictures()},
              {"drop", tape.Rate().dropFrame},
              {"channels", kTapeChannels}};
}

int Print(const CommandContext& context, const Json& document) {
  if (context.json) {
    PrintJson(document);
    return kExitDone;
  }
  for (const auto& [key, value] : document.items()) {
    std::printf("%-9s %s\n", key.c_str(),
                value.is_string() ? value.get<std::string>().c_str() : value.dump().c_str());
  }
  return kExitDone;
}

std::shared_ptr<TapeFolder> OpenTape(const CommandContext& context, const std::string& path) {
  std::string error;
  auto tape = TapeFolder::Open(path, false, &error);
  if (tape == nullptr) Fail(context, NxErrFailure, "\"" + path + "\" is no tape: " + error + ".");
  return tape;
}

// A timecode that does not exist at the rate of a tape.
int FailAsNumber(const CommandContext& context, const TapeRate& rate, const std::string& text) {
  return Fail(context, NxErrFailure,
              "There is no " + text + " at " + std::to_string(rate.base) + " frames a second" +
                  (rate.dropFrame ? " in drop frame." : "."));
}

int RunCreate(CommandContext& context, const TapeOptions& options) {
  TapeFacts facts;
  facts.videoFormat = FormatOfText(options.format);
  const bool drop = options.drop || options.from.find(';') != std::string::npos;
  facts.rate = TapeRate::Of(facts.videoFormat, drop);
  if (drop && !facts.rate.dropFrame) {
    return Fail(context, NxErrFailure,
                "\"" + options.format + "\" does not count in drop frame; leave --drop away and " +
                    "write the timecode with colons.");
  }
  if (!IsTapeNumber(facts.rate, options.from))
    return FailAsNumber(context, facts.rate, options.from);
  facts.first = TapeCountOfText(facts.rate, options.from);
  facts.pictures = static_cast<int64_t>(options.seconds * facts.rate.scale / facts.rate.duration);
  const int64_t most = facts.rate.Pictures(facts.rate.DayCount());
  facts.pictures = std::clamp<int64_t>(facts.pictures, 1, most);
  std::string error;
  bool done = false;
  if (options.clip.empty()) {
    done = TapeFolder::Create(options.path, facts, &error);
  } else {
    const auto progress = [](int64_t picture) {
      if (picture % kProgressEvery == 0) {
        DrawProgress(std::to_string(picture) + " pictures on the tape");
      }
      return !StopAsked();
    };
    done = CreateTapeOfMovie(options.path, facts, options.clip, progress, &error);
    EndProgress();
    if (!done && error.empty()) error = "it was stopped; nothing is left of it";
  }
  if (!done) return Fail(context, NxErrFailure, "The tape was not made: " + error + ".");
  const auto tape = OpenTape(context, options.path);
  return tape == nullptr ? kExitFailed : Print(context, DocumentOf(*tape));
}

int RunInfo(CommandContext& context, const TapeOptions& options) {
  const auto tape = OpenTape(context, options.path);
  return tape == nullptr ? kExitFailed : Print(context, DocumentOf(*tape));
}

bool EndsIn(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string WritePicture(const TapeFolder& tape, const SignalPicture& picture,
                         const std::string& out, std::string* md5) {
  const FrameLayout plain = PlainLayout(FourCC("v219"), tape.Format().width, tape.Format().height);
  std::vector<uint8_t> pixels(plain.Bytes());
  picture.Store(plain, pixels.data());
  *md5 = Md5Of(pixels.data(), pixels.size());
  if (!EndsIn(out, ".png")) return WriteRawFile(out, pixels.data(), pixels.size());
  FrameLayout rgb = plain;
  rgb.fourcc = FourCC("rgb ");
  rgb.pitch = rgb.width * 3;
  rgb.matrix = rgb.width < 800 ? 1 : 3;
  std::vector<uint8_t> colours(rgb.Bytes());
  picture.Store(rgb, colours.data());
  return WritePngFile(out, colours.data(), rgb.width, rgb.height, rgb.pitch);
}

// One picture's sound as a WAV file: 16 channels of 32-bit samples at 48 kHz.
std::string WriteSound(const std::vector<int32_t>& samples, const std::string& out,
                       std::string* md5) {
  constexpr uint32_t kHeaderBytes = 44;
  constexpr uint32_t kFrameBytes = kTapeChannels * 4;
  const auto dataBytes = static_cast<uint32_t>(samples.size() * 4);
  std::vector<uint8_t> file(kHeaderBytes + dataBytes);
  uint8_t* at = file.data();
  std::memcpy(at, "RIFF", 4);
  StoreLe32(at + 4, kHeaderBytes - 8 + dataBytes);
  std::memcpy(at + 8, "WAVEfmt ", 8);
  StoreLe32(at + 16, 16);  // bytes of the format
  StoreLe16(at + 20, 1);   // plain integers
  StoreLe16(at + 22, kTapeChannels);
  StoreLe32(at + 24, kTapeSampleRate);
  StoreLe32(at + 28, kTapeSampleRate * kFrameBytes);
  StoreLe16(at + 32, kFrameBytes);
  StoreLe16(at + 34, 32);
  std::memcpy(at + 36, "data", 4);
  StoreLe32(at + 40, dataBytes);
  at += kHeaderBytes;
  for (size_t i = 0; i < samples.size(); ++i) {
    StoreLe32(at + 4 * i, static_cast<uint32_t>(samples[i]));
  }
  *md5 = Md5Of(at, dataBytes);
  return WriteRawFile(out, file.data(), file.size());
}

int RunExtract(CommandContext& context, const TapeOptions& options) {
  const auto tape = OpenTape(context, options.path);
  if (tape == nullptr) return kExitFailed;
  if (!IsTapeNumber(tape->Rate(), options.time)) {
    return FailAsNumber(context, tape->Rate(), options.time);
  }
  const int64_t count = TapeCountOfText(tape->Rate(), options.time);
  const int64_t picture = tape->Find(count);
  if (tape->CountAt(picture) != count) {
    return Fail(context, NxErrFailure,
                "The tape \"" + options.path + "\" has no " + options.time + "; it begins with " +
                    TapeTimecodeText(tape->Rate(), tape->CountAt(0)) + " and ends with " +
                    TapeTimecodeText(tape->Rate(), tape->CountAt(tape->Pictures() - 1)) + ".");
  }
  std::string error;
  std::string md5;
  std::string words;
  if (EndsIn(options.out, ".wav")) {
    std::vector<int32_t> samples;
    if (!tape->Sound(picture, &samples, &error)) {
      return Fail(context, NxErrFailure, "The sound is lost: " + error + ".");
    }
    words = WriteSound(samples, options.out, &md5);
  } else {
    const PictureRef found = tape->Picture(picture, &error);
    if (found == nullptr) return Fail(context, NxErrFailure, "The picture is lost: " + error + ".");
    words = WritePicture(*tape, *found, options.out, &md5);
  }
  if (!words.empty()) return Fail(context, NxErrFailure, words);
  Json document = DocumentOf(*tape);
  document["timecode"] = TapeTimecodeText(tape->Rate(), count);
  document["md5"] = md5;
  return Print(context, document);
}

using Options = std::shared_ptr<TapeOptions>;

CLI::App* AddOperation(CLI::App* family, CommandContext& context, const Options& options,
                       const char* name, const char* words,
                       int (*run)(CommandContext&, const TapeOptions&)) {
  CLI::App* command = family->add_subcommand(name, words);
  command->add_option("PATH", options->path, "Folder of the tape")->required();
  command->callback([&context, options, run] {
    context.run = [options, run](CommandContext& now) { return run(now, *options); };
  });
  return command;
}

std::string TimecodeRefusal(const std::string& text) {
  return SourceTimecode::IsTimecodeText(text) ? "" : "\"" + text + "\" is no timecode";
}

}  // namespace

void AddTapeCommand(CLI::App& app, CommandContext& context) {
  auto options = std::make_shared<TapeOptions>();
  CLI::App* family = app.add_subcommand("tape", "Tapes of the simulated tape machine");
  family->require_subcommand(1);
  CLI::App* create = AddOperation(family, context, options, "create", "Makes a tape", RunCreate);
  create->add_option("--from", options->from, "Timecode of its first frame")
      ->type_name("TC")
      ->required()
      ->check(TimecodeRefusal);
  create->add_option("--format", options->format, "A format of the card, such as \"1080i 59.94\"")
      ->required()
      ->check([](const std::string& text) {
        return FormatOfText(text) != 0 ? std::string() : "there is no format \"" + text + "\"";
      });
  CLI::Option* clip =
      create
          ->add_option(
              "--clip", options->clip,
              "Movie whose picture and sound are on it; stopped meanwhile, no tape is made")
          ->type_name("FILE");
  create->add_option("--length", options->seconds, "Length of a tape with bars and tone")
      ->type_name("SECONDS")
      ->check(NumberBetween(0.04, 86400))
      ->excludes(clip);
  create->add_flag("--drop", options->drop, "Timecode in drop frame");
  AddOperation(family, context, options, "info", "Tells what is on a tape", RunInfo);
  CLI::App* extract = AddOperation(
      family, context, options, "extract",
      "Writes one frame's picture, raw (10-bit 4:2:2) or as a PNG, or its sound", RunExtract);
  extract->add_option("TC", options->time, "Timecode of the frame")
      ->required()
      ->check(TimecodeRefusal);
  extract
      ->add_option("OUT", options->out, "New file; a PNG when it ends in .png, sound when in .wav")
      ->required();
}

}  // namespace morvane::tools
