#include <algorithm>
#include <cstdio>
#include <memory>

#include "base/page_memory.h"
#include "media/codec/md5.h"
#include "processing/convert.h"
#include "processing/pixel_format.h"
#include "tools/choices.h"
#include "tools/clip_door.h"
#include "tools/clip_reader.h"
#include "tools/command.h"
#include "tools/stop_signal.h"

namespace morvane::tools {
namespace {

struct FramehashOptions {
  std::string clip;
  FourCCCode format = 0;  // 0: not told
  std::string range;
};

// The header that ffmpeg's framehash muxer writes, so that two listings can be compared as text.
void PrintHeader(const NxMediaFileInfo& info) {
  const bool rated = info.timeScale > 0 && info.timeRate > 0;
  std::printf("#format: frame checksums\n#version: 2\n#hash: MD5\n#tb 0: %d/%d\n",
              rated ? static_cast<int32_t>(info.timeRate) : 1,
              rated ? static_cast<int32_t>(info.timeScale) : 25);
  std::printf("#media_type 0: video\n#codec_id 0: rawvideo\n#dimensions 0: %dx%d\n#sar 0: %d/%d\n",
              static_cast<int32_t>(info.width), static_cast<int32_t>(info.height),
              std::max(0, static_cast<int32_t>(info.parNum)),
              std::max(1, static_cast<int32_t>(info.parDen)));
  std::printf("#stream#, dts,        pts, duration,     size, hash\n");
}

int RunFramehash(CommandContext& context, const FramehashOptions& options) {
  OpenClip clip;
  const NxErr opened = OpenClipWithSound(options.clip, "", &clip);
  if (opened != NxErrSuccess) return Fail(context, opened, OpenClipWords(options.clip, opened));
  const NxMediaFileInfo& info = clip.info;
  const FourCCCode format = options.format != 0 ? options.format : FourCCCode{info.fourcc};
  if (info.width <= 0 || PixelPitch(format, info.width) == 0) {
    return Fail(context, NxErrVideoFormatNotSupported, options.clip + " holds no picture.");
  }
  int32_t first = 0;
  int32_t last = info.frameCount - 1;
  // The command line was checked.
  if (!options.range.empty()) (void)ParseRange(options.range, &first, &last);
  if (last >= info.frameCount) {
    return Fail(context, NxErrInvalidParameter,
                "--range " + options.range + ": the clip has frames 0 to " +
                    std::to_string(info.frameCount - 1) + ".");
  }
  ClipReader reader(clip, format);
  Json frames = Json::array();
  if (!context.json) PrintHeader(info);
  int32_t frame = first;
  for (; frame <= last && !StopAsked(); ++frame) {
    const NxErr result = reader.Read(frame);
    if (result != NxErrSuccess) {
      return Fail(context, result,
                  "Frame " + std::to_string(frame) + " of " + options.clip +
                      " cannot be read as \"" + FourCCText(format) + "\".");
    }
    const std::string hash = Md5Of(reader.Pixels(), reader.Bytes());
    if (context.json) {
      frames.push_back(Json{{"frame", frame}, {"bytes", reader.Bytes()}, {"md5", hash}});
    } else {
      std::printf("0, %10d, %10d, %8d, %8zu, %s\n", frame, frame, 1, reader.Bytes(), hash.c_str());
    }
  }
  if (frame <= last) {
    // A shorter list could pass for that of a shorter clip.
    std::fflush(stdout);
    return Fail(context, NxErrFailure,
                "Stopped before frame " + std::to_string(frame) + " of " + options.clip +
                    "; the list is not complete.");
  }
  if (context.json) PrintJson(frames);
  return kExitDone;
}

}  // namespace

void AddFramehashCommand(CLI::App& app, CommandContext& context) {
  auto options = std::make_shared<FramehashOptions>();
  CLI::App* command =
      app.add_subcommand("framehash", "Lists the MD5 of each frame, as ffmpeg's framehash does");
  command->add_option("clip", options->clip, "A frame of the clip")->required()->type_name("CLIP");
  AddFourCCOption(*command, "--format", &options->format, "Pixel format to convert to");
  AddRangeOption(*command, &options->range);
  command->callback([&context, options] {
    context.run = [options](CommandContext& run) { return RunFramehash(run, *options); };
  });
}

}  // namespace morvane::tools
