#include <cstdio>
#include <memory>

#include "processing/lut.h"
#include "tools/command.h"

namespace morvane::tools {
namespace {

int RunLut(CommandContext& context, const std::string& path) {
  LutCurves curves;
  const NxErr result = ReadLutFile(path, &curves);
  if (result != NxErrSuccess) {
    return Fail(context, result,
                path +
                    " cannot be opened, or none of its first 100 lines has \"LUT: 3 1024\" in "
                    "it; a file of three curves with 1024 numbers each is meant.");
  }
  if (context.json) {
    PrintJson(Json{{"entries", kLutEntries},
                   {"first", curves.first},
                   {"second", curves.second},
                   {"third", curves.third}});
    return kExitDone;
  }
  std::printf("entries %u\n", kLutEntries);
  for (size_t i = 0; i < kLutEntries; ++i) {
    std::printf("%4zu %10u %10u %10u\n", i, curves.first[i], curves.second[i], curves.third[i]);
  }
  return kExitDone;
}

}  // namespace

void AddLutCommand(CLI::App& app, CommandContext& context) {
  auto path = std::make_shared<std::string>();
  CLI::App* command = app.add_subcommand("lut", "Reads a LUT file");
  command->add_option("file", *path, "LUT file")->required()->type_name("FILE");
  command->callback([&context, path] {
    context.run = [path](CommandContext& run) { return RunLut(run, *path); };
  });
}

}  // namespace morvane::tools
