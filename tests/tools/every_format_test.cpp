// Capture and play in every video format that two boards offer, seen from outside: the clip's
// frames and the output's log.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "device/boards.h"
#include "device/formats.h"
#include "session/card2.h"
#include "session/catalogue_table.h"
#include "support/test_environment.h"
#include "tools/tool_runner.h"

namespace morvane {
namespace {

constexpr int kFrames = 6;
constexpr int kParts = 4;  // a board's formats are dealt out to so many tests

// Timeline frames in the order in which the card is to show them.
std::vector<int> ShownFrames(uint32_t cadence) {
  std::vector<int> shown;
  for (int frame = 0; frame < kFrames; ++frame) {
    const int times = cadence == 2 ? 2 : cadence == 1 ? 2 + frame % 2 : 1;
    shown.insert(shown.end(), static_cast<size_t>(times), frame);
  }
  return shown;
}

std::vector<std::string> Cells(const std::string& line) {
  std::vector<std::string> cells;
  std::istringstream text(line);
  for (std::string cell; std::getline(text, cell, ',');) cells.push_back(cell);
  return cells;
}

// The timeline frames of the lines that say "frame".
std::vector<int> LoggedFrames(const std::string& path) {
  const std::vector<uint8_t> bytes = test::ReadWholeFile(path);
  std::istringstream log(std::string(bytes.begin(), bytes.end()));
  std::string line;
  std::getline(log, line);
  const std::vector<std::string> head = Cells(line);
  size_t kind = head.size(), user = head.size();
  for (size_t i = 0; i < head.size(); ++i) {
    if (head[i] == "kind") kind = i;
    if (head[i] == "user") user = i;
  }
  std::vector<int> frames;
  while (std::getline(log, line)) {
    const std::vector<std::string> cells = Cells(line);
    if (cells.size() > std::max(kind, user) && cells[kind] == "frame") {
      frames.push_back(std::stoi(cells[user]));
    }
  }
  return frames;
}

std::string Quoted(const std::string& text) {
  return "\"" + text + "\"";
}

class EveryFormat : public testing::TestWithParam<std::tuple<uint32_t, int>> {};

TEST_P(EveryFormat, IsCapturedAndPlayed) {
  const auto [identity, part] = GetParam();
  CatalogueContext context;
  context.identity = identity;
  const uint64_t formats = CatalogueMask(SessionFamily::VideoFormat, context);
  const std::string name = BoardName(identity);
  for (uint32_t i = 0, id = 0; ListItemId(formats, i, &id); ++i) {
    if (i % kParts != static_cast<uint32_t>(part)) continue;
    const VideoFormatItem& item = VideoFormatItems()[id];
    SCOPED_TRACE(item.text);
    const std::string folder = test::FreshFolder("format");
    const std::string signal = VideoFormatText(item.videoFormat);
    test::WriteFile(folder + "/machine.toml",
                    "[[card]]\nboard = " + Quoted(name.substr(0, name.size() - 1)) +
                        "\nreference = " + Quoted(signal) +
                        "\n[card.input1]\nsource = \"bars\"\nformat = " + Quoted(signal) +
                        "\n[card.output1]\nlog = \"log.csv\"\n");
    const std::string common = "--json --machine machine.toml ";
    const std::string format = " --video-format " + Quoted(item.text);
    const test::ToolRun capture = test::RunTool(
        folder, common + "capture --name c --type yuv --dir " + folder + " --frames " +
                    std::to_string(kFrames) + " --style \"Video - Audio\"" + format);
    ASSERT_EQ(capture.exitCode, 0) << capture.err;
    const auto document = nlohmann::json::parse(capture.out);
    ASSERT_EQ(document["framesCaptured"], kFrames);
    EXPECT_EQ(document["framesDropped"], 0);
    const test::ToolRun play = test::RunTool(
        folder, common + "play " + Quoted(document["clip"].get<std::string>()) + format);
    ASSERT_EQ(play.exitCode, 0) << play.err;
    // The sound may outlast the picture: only the picture's frames are looked at.
    const std::vector<int> wanted = ShownFrames(item.cadence);
    std::vector<int> shown = LoggedFrames(folder + "/log.csv");
    ASSERT_GE(shown.size(), wanted.size());
    shown.resize(wanted.size());
    EXPECT_EQ(shown, wanted);
  }
}

INSTANTIATE_TEST_SUITE_P(Boards, EveryFormat,
                         testing::Combine(testing::Values(uint32_t{BoardElm}, uint32_t{BoardLarch}),
                                          testing::Range(0, kParts)),
                         [](const auto& param) {
                           const std::string name = BoardName(std::get<0>(param.param));
                           return name.substr(0, name.size() - 1) +
                                  std::to_string(std::get<1>(param.param));
                         });

TEST(VideoFormats, OneThatTheBoardHasNotIsRefusedInWords) {
  const std::string folder = test::FreshFolder("refused");
  const test::ToolRun run = test::RunTool(
      folder, "capture --name c --type yuv --frames 2 --video-format \"2048x1080 @ 24.00p\"");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.err.find("\"2048x1080 @ 24.00p\" is not offered by this board"), std::string::npos);
}

TEST(VideoFormats, OneThatTheBoardHasNotIsNotPlayed) {
  const std::string folder = test::FreshFolder("refused");
  const test::ToolRun capture = test::RunTool(
      folder, "--json capture --name c --type yuv --frames 2 --dir " + Quoted(folder));
  ASSERT_EQ(capture.exitCode, 0) << capture.err;
  const std::string clip = nlohmann::json::parse(capture.out)["clip"];
  const test::ToolRun play =
      test::RunTool(folder, "play " + Quoted(clip) + " --video-format \"2048x1080 @ 24.00p\"");
  EXPECT_EQ(play.exitCode, 1);
  EXPECT_NE(play.err.find("\"2048x1080 @ 24.00p\" is not offered by this board"),
            std::string::npos);
}

}  // namespace
}  // namespace morvane
