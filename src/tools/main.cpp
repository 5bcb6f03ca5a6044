#include <unistd.h>

#include <cstdio>
#include <exception>
#include <iostream>

#include "base/message_hook.h"
#include "base/system.h"
#include "media/media_factory.h"
#include "tools/command.h"
#include "tools/stop_signal.h"
#include "tools/version.h"

namespace {

using morvane::tools::CommandContext;

// Messages of the driver layer: what the window shows in a box, the tool says as a diagnostic.
void PrintMessage(void*, const char* caption, const char* text) {
  std::fprintf(stderr, "%s: %s\n", caption, text);
}

int RunCommandLine(int argc, char** argv) {
  CommandContext context;
  CLI::App app{
      "Morvane without its window: records clips from a broadcast card and plays them out again."};
  app.name("morvanectl");
  app.set_version_flag("--version", std::string("morvanectl ") + morvane::tools::kVersion);
  app.require_subcommand(1);
  app.fallthrough();
  app.add_option("--machine", context.machine, "TOML description of this machine's cards")
      ->type_name("FILE");
  app.add_flag("--json", context.json, "Print one JSON document on standard output");
  morvane::tools::AddBoardsCommand(app, context);
  morvane::tools::AddBoardCommand(app, context);
  morvane::tools::AddStatusCommand(app, context);
  morvane::tools::AddPatternCommand(app, context);
  morvane::tools::AddInfoCommand(app, context);
  morvane::tools::AddFramehashCommand(app, context);
  morvane::tools::AddExtractCommand(app, context);
  morvane::tools::AddConvertCommand(app, context);
  morvane::tools::AddPixelsCommand(app, context);
  morvane::tools::AddTimecodeCommand(app, context);
  morvane::tools::AddLutCommand(app, context);
  morvane::tools::AddCaptureCommand(app, context);
  morvane::tools::AddPlayCommand(app, context);
  morvane::tools::AddDemoCommand(app, context);
  morvane::tools::AddRegistersCommand(app, context);
  morvane::tools::AddCompletionCommand(app, context);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    const int result = app.exit(error);
    return result == 0 ? morvane::tools::kExitDone : morvane::tools::kExitUsage;
  }
  try {
    return context.run(context);
  } catch (const std::exception& failure) {  // of a library; ours do not throw
    return morvane::tools::Fail(context, morvane::NxErrFailure, failure.what());
  }
}

}  // namespace

int main(int argc, char** argv) {
  morvane::SetMessageHook(PrintMessage, nullptr);
  morvane::tools::InstallStopSignals();
  if (morvane::NxMediaFileInit() != morvane::NxErrSuccess) {
    std::fputs("morvanectl: error -2: The media layer cannot start.\n", stderr);
    return morvane::tools::kExitFailed;
  }
  const int result = RunCommandLine(argc, argv);
  morvane::NxMediaFileDeinit();
  std::cout.flush();
  // A thread that would not stop may still touch what the destructors would free.
  if (morvane::NxAnyThreadAbandoned()) _exit(result);
  return result;
}
