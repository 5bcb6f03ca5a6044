#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

#include "base/page_memory.h"
#include "media/picture_copy.h"
#include "processing/convert.h"
#include "processing/pixel_format.h"
#include "tools/choices.h"
#include "tools/command.h"
#include "tools/raw_file.h"

namespace morvane::tools {
namespace {

struct PixelsOptions {
  std::string in;
  std::string out;
  FourCCCode from = 0;
  FourCCCode to = 0;
  SizeChoice size;
  SizeChoice toSize;
  int32_t matrix = ColorMatrix709Video;
  bool stretch = false;
  bool flip = false;
  std::string fill;
  bool fullWhite = false;
  bool fullBlack = false;
};

// A raw image: lines of the format's own pitch without a gap.
struct RawImage {
  PicturePlace place;
  PageBuffer memory;

  [[nodiscard]] bool Allocate(FourCCCode fourcc, const SizeChoice& size) {
    place = {nullptr, size.width, size.height, fourcc, PixelPitch(fourcc, size.width)};
    if (!memory.Allocate(Bytes())) return false;
    place.pixels = memory.Data();
    return true;
  }
  [[nodiscard]] size_t Bytes() const {
    return static_cast<size_t>(place.pitch) * static_cast<size_t>(place.height);
  }
};

// RRGGBBAA as it lies in memory: R first.
uint32_t FillPixel(const std::string& text) {
  const auto typed = static_cast<uint32_t>(std::strtoul(text.c_str(), nullptr, 16));
  return typed >> 24 | (typed >> 8 & 0xFF00) | (typed << 8 & 0xFF0000) | typed << 24;
}

NxErr Convert(const PixelsOptions& options, const RawImage& from, RawImage& to) {
  const bool sameSize = from.place.width == to.place.width && from.place.height == to.place.height;
  NxColorContext color;
  color.matrix = options.matrix;
  color.fullWhite = options.fullWhite ? 1 : 0;
  color.fullBlack = options.fullBlack ? 1 : 0;
  if (IsYuv8(options.from) && IsYuv8(options.to)) {
    // The core leaves these pairs to its callers: there is nothing to calculate.
    return sameSize ? CopyPicture(from.place, to.place, options.flip, color)
                    : NxErrUnsupportedRequest;
  }
  const uint32_t fill = FillPixel(options.fill);
  ConvertContext context;
  context.threads = static_cast<int32_t>(std::thread::hardware_concurrency());
  return ConvertImage(&context, from.place.pixels, from.place.width, from.place.height,
                      from.place.fourcc, from.place.pitch, to.place.pixels, to.place.width,
                      to.place.height, to.place.fourcc, to.place.pitch, options.stretch, &color,
                      options.flip, options.fill.empty() ? nullptr : &fill);
}

int RunPixels(CommandContext& context, const PixelsOptions& options) {
  RawImage from;
  RawImage to;
  const SizeChoice& toSize = options.toSize.width > 0 ? options.toSize : options.size;
  if (!from.Allocate(options.from, options.size) || !to.Allocate(options.to, toSize)) {
    return Fail(context, NxErrOutOfMemory);
  }
  if (const std::string words = ReadRawFile(options.in, from.memory.Data(), from.Bytes());
      !words.empty()) {
    return Fail(context, NxErrFailure, words);
  }
  const NxErr result = Convert(options, from, to);
  if (result != NxErrSuccess) {
    return Fail(context, result,
                "There is no way from \"" + FourCCText(options.from) + "\" to \"" +
                    FourCCText(options.to) + "\" in these sizes.");
  }
  if (const std::string words = WriteRawFile(options.out, to.memory.Data(), to.Bytes());
      !words.empty()) {
    return Fail(context, NxErrFailure, words);
  }
  if (context.json) {
    PrintJson(Json{{"result", result}});
  } else {
    std::printf("%s: %zu bytes\n", options.out.c_str(), to.Bytes());
  }
  return kExitDone;
}

std::string CheckFill(const std::string& text) {
  const bool good =
      text.size() == 8 && text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
  return good ? std::string() : text + ": RRGGBBAA is meant, such as 000000FF";
}

}  // namespace

void AddPixelsCommand(CLI::App& app, CommandContext& context) {
  auto options = std::make_shared<PixelsOptions>();
  CLI::App* command =
      app.add_subcommand("pixels", "Converts one raw image into another pixel format");
  command->add_option("IN", options->in, "Raw image")->required();
  command->add_option("OUT", options->out, "New file for the raw image")->required();
  AddFourCCOption(*command, "--from", &options->from, "Pixel format of IN")->required();
  AddFourCCOption(*command, "--to", &options->to, "Pixel format of OUT")->required();
  AddSizeOption(*command, "--size", &options->size, "Size of IN")->required();
  AddSizeOption(*command, "--to-size", &options->toSize, "Size of OUT (default: that of IN)");
  AddMatrixOption(*command, &options->matrix);
  command->add_flag("--stretch", options->stretch, "Scale the picture rather than centre it");
  command->add_flag("--flip", options->flip, "Take the rows from the bottom up");
  command->add_option("--fill", options->fill, "Colour of the bars (default: none drawn)")
      ->type_name("RRGGBBAA")
      ->check(CheckFill);
  command->add_flag("--full-white", options->fullWhite, "No clip at nominal white");
  command->add_flag("--full-black", options->fullBlack, "No clip at nominal black");
  command->callback([&context, options] {
    context.run = [options](CommandContext& run) { return RunPixels(run, *options); };
  });
}

}  // namespace morvane::tools
