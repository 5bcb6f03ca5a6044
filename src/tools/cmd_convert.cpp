#include <cstdio>
#include <memory>

#include "tools/choices.h"
#include "tools/command.h"
#include "tools/conversion.h"

namespace morvane::tools {
namespace {

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
  AddRangeOption(*command, &options->range);
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
