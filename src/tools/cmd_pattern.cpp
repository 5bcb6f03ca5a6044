#include <cstdio>
#include <memory>
#include <vector>

#include "base/system.h"
#include "device/formats.h"
#include "device/pattern_drawing.h"
#include "session/card2.h"
#include "tools/card_door.h"
#include "tools/choices.h"
#include "tools/command.h"
#include "tools/raw_file.h"
#include "tools/stop_signal.h"

namespace morvane::tools {
namespace {

struct PatternOptions {
  uint32_t number = 0;
  int board = 0;
  std::string png;
  double holdSeconds = 0;
};

// Draws the pattern in the raster of the board's selected format.
std::string DrawToFile(const PatternOptions& options, const RQD5VideoFormatDesc& format) {
  PatternRaster raster;
  raster.standard = format.standard;
  raster.frameBufferFormat = FrameBuffer8BitRgb;
  const VideoFormatRow* row = FindVideoFormat(format.videoFormat);
  raster.wide2K = row != nullptr && row->geometry == Geometry2048x1080;
  const RQD5FormatDescriptor shape = PatternDescriptor(raster);
  std::vector<uint8_t> pixels(shape.FrameBytes());
  if (const char* refusal = DrawTestPattern(options.number, raster, pixels)) return refusal;
  return WritePngFile(options.png, pixels.data(), shape.numPixels, shape.numLines,
                      shape.linePitch * 4);
}

// Shows the pattern on the board's output, and keeps the process so long.
std::string ShowOnCard(const PatternOptions& options, CRQD5Card2& session) {
  uint32_t format = 0;
  const bool good = session.GetVideoFormat(&format) && session.SetVideoFormat(format, true) &&
                    session.SetChannelFormat(FrameBuffer8BitUyvy) &&
                    session.SetupForOutput(false, 0) && session.SetTestPattern(options.number);
  if (!good) {
    const std::string& words = session.GetLastError();
    return "The card refuses the pattern" + (words.empty() ? "." : ": " + words + ".");
  }
  constexpr uint32_t kSliceMs = 20;
  for (double left = options.holdSeconds * 1000; left > 0 && !StopAsked(); left -= kSliceMs) {
    NxSleep(kSliceMs);
  }
  return {};
}

int RunPattern(CommandContext& context, const PatternOptions& options) {
  if (options.number >= kTestPatterns) {
    return Fail(context, NxErrFailure,
                "There is no test pattern " + std::to_string(options.number) +
                    "; they are numbered 0 to " + std::to_string(kTestPatterns - 1) + ".");
  }
  int exitCode = kExitDone;
  const auto door = CardDoor::Open(context, &exitCode);
  if (door == nullptr) return exitCode;
  const RQD5BoardInfo* board = door->Find(context, options.board);
  if (board == nullptr) return kExitFailed;
  if (options.png.empty() && !door->Lock(context, options.board)) return kExitFailed;
  CRQD5Card2 session;
  if (!session.OpenSession(board->boardIndex, *board, kSessionCaptureAndPlay)) {
    return Fail(context, NxErrFailure,
                "Board " + std::to_string(options.board) + ": " + session.GetLastError() + ".");
  }
  const std::string words =
      options.png.empty() ? ShowOnCard(options, session) : DrawToFile(options, session.GetFormat());
  session.Close();
  if (!words.empty()) return Fail(context, NxErrFailure, words);
  const char* name = TestPatternName(options.number);
  if (context.json) {
    PrintJson(Json{{"result", 0}, {"name", name}});
  } else {
    std::printf("%s\n", name);
  }
  return kExitDone;
}

}  // namespace

void AddPatternCommand(CLI::App& app, CommandContext& context) {
  auto options = std::make_shared<PatternOptions>();
  CLI::App* command =
      app.add_subcommand("pattern", "Shows a test pattern on the output, or draws it to a file");
  command->add_option("N", options->number, "Number of the pattern, 0 to 12")->required();
  command->add_option("--board", options->board, "Index of the board in the scan")
      ->check(CLI::NonNegativeNumber);
  command->add_option("--png", options->png, "Draw to this new file instead")->type_name("FILE");
  command->add_option("--hold", options->holdSeconds, "Keep the output so long")
      ->type_name("SECONDS")
      ->check(NumberBetween(0, kMostSeconds));
  command->callback([&context, options] {
    context.run = [options](CommandContext& run) { return RunPattern(run, *options); };
  });
}

}  // namespace morvane::tools
