#include <string>

#include "tools/command.h"
#include "tools/tool_main.h"
#include "tools/version.h"

namespace {

using morvane::tools::CommandContext;

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
  morvane::tools::AddVtrCommand(app, context);
  morvane::tools::AddTapeCommand(app, context);
  morvane::tools::AddDemoCommand(app, context);
  morvane::tools::AddRegistersCommand(app, context);
  morvane::tools::AddCompletionCommand(app, context);
  return morvane::tools::RunParsed(app, context, argc, argv);
}

}  // namespace

int main(int argc, char** argv) {
  return morvane::tools::RunTool("morvanectl", RunCommandLine, argc, argv);
}
