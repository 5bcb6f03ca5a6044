#include "tools/tool_main.h"

#include <unistd.h>

#include <cstdio>
#include <exception>
#include <iostream>

#include "base/message_hook.h"
#include "base/system.h"
#include "media/media_factory.h"
#include "tools/stop_signal.h"

namespace morvane::tools {
namespace {

// Messages of the driver layer: what the window shows in a box, a tool says as a diagnostic.
void PrintMessage(void*, const char* caption, const char* text) {
  std::fprintf(stderr, "%s: %s\n", caption, text);
}

}  // namespace

int RunTool(const char* name, int (*commandLine)(int argc, char** argv), int argc, char** argv) {
  SetMessageHook(PrintMessage, nullptr);
  InstallStopSignals();
  if (NxMediaFileInit() != NxErrSuccess) {
    std::fprintf(stderr, "%s: error -2: The media layer cannot start.\n", name);
    return kExitFailed;
  }
  const int result = commandLine(argc, argv);
  NxMediaFileDeinit();
  std::cout.flush();
  // A thread that would not stop may still touch what the destructors would free.
  if (NxAnyThreadAbandoned()) _exit(result);
  return result;
}

int RunParsed(CLI::App& app, CommandContext& context, int argc, char** argv) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    const int result = app.exit(error);
    return result == 0 ? kExitDone : kExitUsage;
  }
  try {
    return context.run(context);
  } catch (const std::exception& failure) {  // of a library; ours do not throw
    return Fail(context, NxErrFailure, failure.what());
  }
}

}  // namespace morvane::tools
