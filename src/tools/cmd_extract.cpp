#include <cstdio>
#include <memory>

#include "processing/pixel_format.h"
#include "tools/choices.h"
#include "tools/clip_door.h"
#include "tools/clip_reader.h"
#include "tools/command.h"
#include "tools/raw_file.h"

namespace morvane::tools {
namespace {

struct ExtractOptions {
  std::string clip;
  int32_t frame = 0;
  std::string out;
  FourCCCode format = 0;  // 0: not told
  int32_t matrix = -1;    // -1: not told
};

constexpr FourCCCode kPngFormat = FourCC("rgb ");

bool IsPngName(const std::string& path) {
  return path.size() >= 4 && path.compare(path.size() - 4, 4, ".png") == 0;
}

int RunExtract(CommandContext& context, const ExtractOptions& options) {
  OpenClip clip;
  const NxErr opened = OpenClipWithSound(options.clip, "", &clip);
  if (opened != NxErrSuccess) return Fail(context, opened, OpenClipWords(options.clip, opened));
  const bool png = IsPngName(options.out);
  const int32_t width = clip.info.width;
  FourCCCode format = options.format != 0 ? options.format : FourCCCode{clip.info.fourcc};
  if (png) format = kPngFormat;
  if (width <= 0 || PixelPitch(format, width) == 0) {
    return Fail(context, NxErrVideoFormatNotSupported, options.clip + " holds no picture.");
  }
  if (options.frame >= clip.info.frameCount) {
    return Fail(context, NxErrInvalidParameter,
                "Frame " + std::to_string(options.frame) + ": " + options.clip +
                    " has frames 0 to " + std::to_string(clip.info.frameCount - 1) + ".");
  }
  ClipReader reader(clip, format, options.matrix >= 0 ? options.matrix : MatrixOfClip(width));
  const NxErr result = reader.Read(options.frame);
  if (result != NxErrSuccess) {
    return Fail(context, result,
                "Frame " + std::to_string(options.frame) + " of " + options.clip +
                    " cannot be read as \"" + FourCCText(format) + "\".");
  }
  const std::string words =
      png ? WritePngFile(options.out, reader.Pixels(), static_cast<uint32_t>(width),
                         static_cast<uint32_t>(clip.info.height),
                         static_cast<uint32_t>(reader.Pitch()))
          : WriteRawFile(options.out, reader.Pixels(), reader.Bytes());
  if (!words.empty()) return Fail(context, NxErrFailure, words);
  const auto height = static_cast<int32_t>(clip.info.height);
  if (context.json) {
    PrintJson(Json{{"width", width},
                   {"height", height},
                   {"fourcc", FourCCText(format)},
                   {"bytes", reader.Bytes()}});
  } else {
    std::printf("%s: %dx%d \"%s\"\n", options.out.c_str(), width, height,
                FourCCText(format).c_str());
  }
  return kExitDone;
}

}  // namespace

void AddExtractCommand(CLI::App& app, CommandContext& context) {
  auto options = std::make_shared<ExtractOptions>();
  CLI::App* command = app.add_subcommand(
      "extract", "Writes the pixels of one frame, raw or as an 8-bit PNG (OUT ends in .png)");
  command->add_option("clip", options->clip, "A frame of the clip")->required()->type_name("CLIP");
  command->add_option("FRAME", options->frame, "Frame, counted from 0")
      ->required()
      ->check(CLI::NonNegativeNumber);
  command->add_option("OUT", options->out, "New file")->required();
  auto* format = AddFourCCOption(*command, "--format", &options->format,
                                 "Pixel format (default: the clip's; a PNG is \"rgb \")");
  AddMatrixOption(*command, &options->matrix);
  command->callback([&context, options, format] {
    if (format->count() > 0 && IsPngName(options->out) && options->format != kPngFormat) {
      throw CLI::ValidationError("--format", "a PNG has \"rgb \" pixels");
    }
    context.run = [options](CommandContext& run) { return RunExtract(run, *options); };
  });
}

}  // namespace morvane::tools
