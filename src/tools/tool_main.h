#pragma once

#include "tools/command.h"

namespace morvane::tools {

// Start and end of a tool's process: messages to standard error, stop signals, the media layer.
// `commandLine` is all that is between them. Returns: the exit code for main; does not return
// when a thread had to be abandoned.
int RunTool(const char* name, int (*commandLine)(int argc, char** argv), int argc, char** argv);

// Reads the line that `app` declares and runs the command that it chose (context.run).
// Returns: the exit code.
int RunParsed(CLI::App& app, CommandContext& context, int argc, char** argv);

}  // namespace morvane::tools
