#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "support/test_environment.h"
#include "tools/tool_runner.h"

namespace morvane::test {
namespace {

using Json = nlohmann::json;

TEST(CommandLine, WrongLineIsExitCodeTwo) {
  const std::string folder = FreshFolder("line");
  for (const char* line : {"", "nosuch", "capture", "capture --name x", "boards --what",
                           "capture --name x --type xyz", "capture --name x --type yuv --frames 0",
                           "info", "capture --name x --type yuv --mode duration",
                           "play x --speed abc", "play x --speed 0", "play x --speed nan"}) {
    const ToolRun run = RunTool(folder, line);
    EXPECT_EQ(run.exitCode, 2) << "morvanectl " << line;
    EXPECT_EQ(run.out, "") << line;
    EXPECT_NE(run.err, "") << line;
  }
}

TEST(CommandLine, ANumberIsFinite) {
  const std::string folder = FreshFolder("line");
  WriteFile(folder + "/m.toml", "[[card]]\nboard = \"Elm\"\n[card.vtr]\ntape = \"reel\"\n");
  for (const char* line :
       {"vtr shuttle ", "vtr status --hold ", "demo --seconds ", "pattern 1 --png a.png --hold ",
        "play x --for ", "play x --speed ",
        "tape create reel --from 01:00:00:00 --format \"625 50.00\" --length "}) {
    for (const char* number : {"nan", "-nan", "NaN", "inf", "-inf", "1e999", "x", "1x", "''"}) {
      const ToolRun run = RunTool(folder, "--machine m.toml " + std::string(line) + number);
      EXPECT_EQ(run.exitCode, 2) << line << number;
    }
  }
  for (const char* line : {"vtr status --hold 1e9", "vtr shuttle -1001", "pattern 1 --hold -1",
                           "play x --for 0", "demo --seconds 601"}) {
    EXPECT_EQ(RunTool(folder, line).exitCode, 2) << line;
  }
  EXPECT_FALSE(std::filesystem::exists(folder + "/reel"));
  EXPECT_FALSE(std::filesystem::exists(folder + "/a.png"));
  EXPECT_EQ(RunTool(folder, "--machine m.toml vtr status --hold 1e-2").exitCode, 0);
  EXPECT_EQ(RunTool(folder, "--machine m.toml vtr shuttle -0.5").exitCode, 0);
  EXPECT_EQ(RunTool(folder, "--machine m.toml pattern 1 --png a.png --hold 0").exitCode, 0);
}

TEST(CommandLine, HelpAndVersionAreExitCodeZero) {
  const std::string folder = FreshFolder("line");
  for (const char* line : {"--help", "capture --help", "play --help", "demo --help"}) {
    const ToolRun run = RunTool(folder, line);
    EXPECT_EQ(run.exitCode, 0) << line;
    EXPECT_NE(run.out, "") << line;
  }
  EXPECT_NE(RunTool(folder, "--version").out.find("commit"), std::string::npos);
}

TEST(CommandLine, BoardsListsTheScan) {
  const std::string folder = FreshFolder("line");
  WriteFile(folder + "/m.toml", "[[card]]\nboard = \"Elm\"\n[[card]]\nboard = \"Larch\"\n");
  const ToolRun run = RunTool(folder, "boards --json --machine m.toml");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const Json boards = Json::parse(run.out);
  ASSERT_EQ(boards.size(), 2U);
  EXPECT_EQ(boards[0], (Json{{"index", 0},
                             {"name", "Elm "},
                             {"display", "Elm  - 0"},
                             {"identity", "0x10196500"},
                             {"type", 8},
                             {"number", 0},
                             {"videoInputs", 2},
                             {"videoOutputs", 2},
                             {"analogOutputs", 1},
                             {"analogInputs", 0},
                             {"hdmiOutputs", 0},
                             {"hdmiInputs", 0},
                             {"audioSystems", 1}}));
  EXPECT_EQ(boards[1]["display"], "Larch  - 1");
  EXPECT_EQ(boards[1]["hdmiInputs"], 1);
}

TEST(CommandLine, BoardTellsWhatTheBoardOffers) {
  const std::string folder = FreshFolder("line");
  const ToolRun run = RunTool(folder, "board 0 --json");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const Json board = Json::parse(run.out);
  EXPECT_EQ(board["families"].size(), 17U);
  const Json& formats = board["families"]["VideoFormat"];
  EXPECT_EQ(formats["items"].size(), 33U);
  EXPECT_EQ(formats["default"], "1920x1080 @ 29.97i");
  EXPECT_EQ(formats["items"][32], "2048x1556 @ 14.98sF");
  EXPECT_EQ(board["capabilities"]["keyer"], true);
  EXPECT_EQ(board["capabilities"]["input3G"], false);
  EXPECT_EQ(RunTool(folder, "board 1").exitCode, 1);
}

TEST(CommandLine, StatusTellsInputReferenceAndOutput) {
  const std::string folder = FreshFolder("line");
  WriteFile(folder + "/m.toml",
            "[[card]]\nboard = \"Elm\"\nreference = \"625 50.00\"\n"
            "[card.input1]\nsource = \"bars\"\nformat = \"720p 59.94\"\n");
  const ToolRun run = RunTool(folder, "status --json --machine m.toml");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const Json status = Json::parse(run.out);
  EXPECT_EQ(status["input"], (Json{{"format", 4}, {"text", "720p 59.94"}, {"valid", true}}));
  EXPECT_EQ(status["reference"]["format"], 33);
  EXPECT_EQ(status["vtr"]["status"], "Offline");  // a port, and nothing on it
}

struct BadMachine {
  const char* name;
  const char* text;
  const char* words;  // the end of the one line, behind "morvanectl: error -2: m.toml:"
};

class BadMachineDescription : public testing::TestWithParam<BadMachine> {};

TEST_P(BadMachineDescription, IsOneLineThatNamesFileLineAndKey) {
  const BadMachine& bad = GetParam();
  const std::string folder = FreshFolder("machine");
  WriteFile(folder + "/m.toml", bad.text);
  WriteFile(folder + "/text.mov", "this is no movie");
  MakeMovie(folder, "whole.mov", "720x576 25 5");
  RunShell(folder, "head -c 900000 whole.mov > cut.mov");
  const ToolRun run = RunTool(folder, "--machine m.toml boards");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
  EXPECT_EQ(run.err.rfind("morvanectl: error -2: m.toml:", 0), 0U) << run.err;
  EXPECT_NE(run.err.find(bad.words), std::string::npos) << run.err;
}

INSTANTIATE_TEST_SUITE_P(
    Files, BadMachineDescription,
    testing::Values(BadMachine{"UnknownKey", "[[card]]\nboard = \"Elm\"\ncolour = 3\n",
                               "3: card.colour"},
                    BadMachine{"UnknownBoard", "[[card]]\nboard = \"Elmo\"\n", "2: card.board"},
                    BadMachine{"MissingClip",
                               "[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"clip\"\n"
                               "clip = \"nosuch.mov\"\n",
                               "5: card.input1.clip"},
                    BadMachine{"NoMovie",
                               "[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"clip\"\n"
                               "clip = \"text.mov\"\n",
                               "5: card.input1.clip"},
                    BadMachine{"CutShort",
                               "[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"clip\"\n"
                               "clip = \"cut.mov\"\n",
                               "5: card.input1.clip"},
                    BadMachine{"NoToml", "[[card]\nboard = \"Elm\"\n", "1"}),
    [](const testing::TestParamInfo<BadMachine>& row) { return row.param.name; });

TEST(CommandLine, InfoOfWhatIsNoClipNamesIt) {
  const std::string folder = FreshFolder("line");
  WriteFile(folder + "/odd.yuv", "seven b");
  ToolRun run = RunTool(folder, "info odd.yuv");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.err.find("error 100000: "), std::string::npos) << run.err;
  EXPECT_NE(run.err.find("odd.yuv"), std::string::npos);
  run = RunTool(folder, "info nosuch.yuv --json");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(std::string(Json::parse(run.out)["text"]).find("nosuch.yuv does not exist"),
            std::string::npos);
}

}  // namespace
}  // namespace morvane::test
