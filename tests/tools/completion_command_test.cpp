// The completion files: bash's is run by bash, the others are read.
#include <gtest/gtest.h>

#include <string>

#include "support/test_environment.h"
#include "tools/tool_runner.h"

namespace morvane::test {
namespace {

// What bash offers for the last word of `words`, sorted, a blank between.
std::string OfferedFor(const std::string& folder, const std::string& words) {
  const ToolRun run =
      RunShell(folder, "bash -c 'source ./completion; COMP_WORDS=(" + words +
                           "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _morvanectl; "
                           "printf \"%s\\n\" \"${COMPREPLY[@]}\" | sort | tr \"\\n\" \" \"'");
  EXPECT_EQ(run.exitCode, 0) << run.err;
  return run.out;
}

TEST(CompletionCommand, BashOffersCommandsAndOptionsOfTheirLevel) {
  const std::string folder = FreshFolder("completion");
  const ToolRun run = RunTool(folder, "completion bash > completion");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(OfferedFor(folder, "morvanectl boa"), "board boards ");
  EXPECT_EQ(OfferedFor(folder, "morvanectl timecode n"), "normalize ");
  EXPECT_EQ(OfferedFor(folder, "morvanectl timecode text 5 --"), "--drop --help --rate ");
  EXPECT_EQ(OfferedFor(folder, "morvanectl --json lut --"), "--help ");
  EXPECT_EQ(OfferedFor(folder, "morvanectl --m"), "--machine ");
}

TEST(CompletionCommand, EveryShellHasEveryCommandOfTheHelp) {
  const std::string folder = FreshFolder("completion");
  for (const char* shell : {"bash", "zsh", "fish"}) {
    const ToolRun run = RunTool(folder, std::string("completion ") + shell);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    for (const char* word : {"boards", "capture", "convert", "normalize", "autocirculate"}) {
      EXPECT_NE(run.out.find(word), std::string::npos) << shell << " " << word;
    }
  }
  EXPECT_EQ(RunTool(folder, "completion").exitCode, 2);
  EXPECT_EQ(RunTool(folder, "completion tcsh").exitCode, 2);
}

TEST(CompletionCommand, FishAsksForTheWholeWayDown) {
  const ToolRun run = RunTool(FreshFolder("completion"), "completion fish");
  EXPECT_NE(run.out.find("-n '__fish_seen_subcommand_from timecode; and "
                         "__fish_seen_subcommand_from text' -l rate -r -d "),
            std::string::npos)
      << run.out;
}

}  // namespace
}  // namespace morvane::test
