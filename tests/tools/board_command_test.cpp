// The commands that tell what a board offers and show a pattern, run as a user runs them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "support/test_environment.h"
#include "tools/tool_runner.h"

namespace morvane {
namespace {

test::ToolRun Morvanectl(const std::string& arguments) {
  return test::RunTool(test::PrivateFolder(), arguments);
}

TEST(BoardCommand, ListsTheFamiliesOfTheBuiltInBoard) {
  const test::ToolRun run = Morvanectl("--json board 0");
  ASSERT_EQ(run.exitCode, 0);
  const auto document = nlohmann::json::parse(run.out);
  EXPECT_EQ(document["index"], 0);
  EXPECT_EQ(document["name"], "Elm ");
  EXPECT_EQ(document["identity"], "0x10196500");
  const auto& format = document["families"]["VideoFormat"];
  EXPECT_EQ(format["items"].size(), 33u);
  EXPECT_EQ(format["current"], "1920x1080 @ 29.97i");
  EXPECT_EQ(format["default"], "1920x1080 @ 29.97i");
  EXPECT_EQ(document["families"]["TimecodeInput"]["items"][1], "Embedded  LTC (RP188)");
  EXPECT_EQ(document["capabilities"]["keyer"], true);
  EXPECT_EQ(document["capabilities"]["quadGeometry"], false);
}

TEST(BoardCommand, AFamilyWithoutItemsHasNoText) {
  const std::string machine = test::FreshFolder("machine") + "/hazel.toml";
  std::ofstream(machine) << "[[card]]\nidentity = 0x10212300\n";
  const test::ToolRun run = Morvanectl("--json --machine " + machine + " board 0");
  ASSERT_EQ(run.exitCode, 0);
  const auto document = nlohmann::json::parse(run.out);
  const auto& input = document["families"]["VideoInput"];
  EXPECT_EQ(input["items"].size(), 0u);
  EXPECT_TRUE(input["current"].is_null());
  EXPECT_TRUE(input["default"].is_null());
}

TEST(BoardCommand, AMissingBoardFails) {
  EXPECT_EQ(Morvanectl("board 7").exitCode, 1);
  EXPECT_EQ(Morvanectl("board").exitCode, 2);
}

TEST(PatternCommand, ShowsAndNamesThePattern) {
  const test::ToolRun run = Morvanectl("--json pattern 0");
  ASSERT_EQ(run.exitCode, 0);
  const auto document = nlohmann::json::parse(run.out);
  EXPECT_EQ(document["result"], 0);
  EXPECT_EQ(document["name"], "100% ColorBars");
}

TEST(PatternCommand, RefusesANumberBeyondTheList) {
  const test::ToolRun run = Morvanectl("--json pattern 13");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(nlohmann::json::parse(run.out)["error"], -2);
}

TEST(PatternCommand, DrawsEveryPattern) {
  const std::string folder = test::FreshFolder("patterns");
  for (int number = 0; number <= 12; ++number) {
    const std::string path = folder + "/" + std::to_string(number) + ".png";
    EXPECT_EQ(Morvanectl("pattern " + std::to_string(number) + " --png " + path).exitCode, 0);
    EXPECT_TRUE(std::filesystem::exists(path)) << number;
  }
  ASSERT_EQ(std::system(("ffmpeg -v error -i " + folder + "/0.png -f rawvideo -pix_fmt rgb24 " +
                         folder + "/0.raw")
                            .c_str()),
            0);
  std::ifstream file(folder + "/0.raw", std::ios::binary);
  std::string raw(size_t{1920} * 1080 * 3, '\0');
  file.read(raw.data(), static_cast<std::streamsize>(raw.size()));
  ASSERT_TRUE(file.good());
  const int kOn[8][3] = {{1, 1, 1}, {1, 1, 0}, {0, 1, 1}, {0, 1, 0},
                         {1, 0, 1}, {1, 0, 0}, {0, 0, 1}, {0, 0, 0}};
  for (const size_t y : {size_t{0}, size_t{540}, size_t{1079}}) {
    for (size_t bar = 0; bar < 8; ++bar) {
      for (size_t c = 0; c < 3; ++c) {
        const auto value = static_cast<uint8_t>(raw[(y * 1920 + bar * 240 + 120) * 3 + c]);
        EXPECT_NEAR(value, kOn[bar][c] * 255, 2) << "bar " << bar << " line " << y;
      }
    }
  }
}

TEST(PatternCommand, DrawsANewFileAndNeverOverAnOldOne) {
  const std::string path = test::FreshFolder("pattern") + "/bars.png";
  ASSERT_EQ(Morvanectl("pattern 1 --png " + path).exitCode, 0);
  std::ifstream file(path, std::ios::binary);
  std::string head(24, '\0');
  file.read(head.data(), static_cast<std::streamsize>(head.size()));
  EXPECT_EQ(head.substr(0, 8), "\x89PNG\r\n\x1a\n");
  EXPECT_EQ(head.substr(16, 8), std::string("\0\0\x07\x80\0\0\x04\x38", 8));  // 1920 x 1080
  const auto size = std::filesystem::file_size(path);
  EXPECT_EQ(Morvanectl("pattern 12 --png " + path).exitCode, 1);
  EXPECT_EQ(std::filesystem::file_size(path), size);
}

}  // namespace
}  // namespace morvane
