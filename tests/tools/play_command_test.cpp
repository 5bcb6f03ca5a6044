#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "support/test_environment.h"
#include "tools/demo_check.h"
#include "tools/tool_runner.h"

// Playing out of the card as a user runs it; the output log is the view from outside.
namespace morvane::test {
namespace {

using Json = nlohmann::json;
using tools::LoggedFrame;

constexpr int kFrames = 30;

// A captured clip of 525 lines, with sound, and a machine that logs its first output.
class PlayCommand : public testing::Test {
 protected:
  void SetUp() override {
    folder_ = FreshFolder("play");
    MakeMovie(folder_, "in.mov", "720x486 30000/1001 40 uyvy interlaced");
    WriteFile(folder_ + "/m.toml",
              "[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"clip\"\nclip = \"in.mov\"\n"
              "audio = \"clip\"\n[card.output1]\nlog = \"out.csv\"\n");
    const ToolRun capture = RunTool(folder_,
                                    "--machine m.toml capture --name clip --type yuv --dir . "
                                    "--style 'Video - Audio' --frames " +
                                        std::to_string(kFrames));
    ASSERT_EQ(capture.exitCode, 0) << capture.err;
    const ToolRun hashes = RunTool(folder_, "framehash --json clip/clip_000000.yuv");
    ASSERT_EQ(hashes.exitCode, 0) << hashes.err;
    for (const Json& row : Json::parse(hashes.out)) hashes_.push_back(row["md5"]);
    ASSERT_EQ(hashes_.size(), static_cast<size_t>(kFrames));
    std::filesystem::remove(folder_ + "/out.csv");
  }

  // Plays and reads what left the card.
  void Play(const std::string& arguments) {
    const ToolRun run =
        RunTool(folder_, "--machine m.toml --json play clip/clip_000000.yuv " + arguments);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    result_ = Json::parse(run.out);
    log_.clear();
    ASSERT_TRUE(tools::ReadOutputLog(folder_ + "/out.csv", &log_));
  }

  // The same, again where the card had to repeat a frame before the last: this machine stood still
  // for longer than the card had frames.
  void PlayWithoutRepeat(const std::string& arguments, int64_t last) {
    for (int i = 0; i < 5; ++i) {
      ASSERT_NO_FATAL_FAILURE(Play(arguments));
      const std::vector<LoggedFrame> lines = UpTo(last);
      if (std::all_of(lines.begin(), lines.end(),
                      [](const LoggedFrame& line) { return line.kind == "frame"; })) {
        return;
      }
    }
  }

  // The lines up to the one that brings timeline frame `last`, without those before the start.
  std::vector<LoggedFrame> UpTo(int64_t last) const {
    std::vector<LoggedFrame> lines;
    for (const LoggedFrame& line : log_) {
      if (line.kind == "idle") continue;
      lines.push_back(line);
      if (line.kind == "frame" && line.user == last) break;
    }
    return lines;
  }

  std::string folder_;
  std::vector<std::string> hashes_;
  std::vector<LoggedFrame> log_;
  Json result_;
};

TEST_F(PlayCommand, SendsEachFrameOnceInOrderWithItsSound) {
  ASSERT_NO_FATAL_FAILURE(PlayWithoutRepeat("", kFrames - 1));
  EXPECT_EQ(result_["framesPlayed"], kFrames);
  EXPECT_EQ(result_["framesDropped"], 0);
  EXPECT_EQ(result_["position"], kFrames - 1);
  const std::vector<LoggedFrame> lines = UpTo(kFrames - 1);
  ASSERT_EQ(lines.size(), hashes_.size());
  for (size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(lines[i].kind, "frame") << i;
    EXPECT_EQ(lines[i].user, static_cast<int64_t>(i));
    EXPECT_EQ(lines[i].md5, hashes_[i]) << i;
    // Sound leaves in the tick of frame 0: 1601.6 samples a frame.
    EXPECT_NEAR(static_cast<double>(lines[i].audio), 1601.6 * static_cast<double>(i), 1.0) << i;
  }
  EXPECT_EQ(lines[0].audio, 0);
}

TEST_F(PlayCommand, PlaysBackwards) {
  ASSERT_NO_FATAL_FAILURE(PlayWithoutRepeat("--speed -1", 0));
  EXPECT_EQ(result_["position"], 0);
  const std::vector<LoggedFrame> lines = UpTo(0);
  ASSERT_EQ(lines.size(), hashes_.size());
  for (size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(lines[i].kind, "frame") << i;
    EXPECT_EQ(lines[i].user, static_cast<int64_t>(kFrames - 1 - i));
    EXPECT_EQ(lines[i].md5, hashes_[kFrames - 1 - i]) << i;
  }
}

TEST_F(PlayCommand, PlaysARangeOfOneFrame) {
  ASSERT_NO_FATAL_FAILURE(Play("--range 7-7"));
  EXPECT_EQ(result_["framesPlayed"], 1);
  EXPECT_EQ(result_["position"], 7);
  const std::vector<LoggedFrame> lines = UpTo(7);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].md5, hashes_[7]);
}

TEST_F(PlayCommand, RefusesARangeBeyondTheClip) {
  const ToolRun run = RunTool(
      folder_, "--machine m.toml play clip/clip_000000.yuv --range 0-" + std::to_string(kFrames));
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.err.find("the timeline has frames 0 to 29"), std::string::npos) << run.err;
}

// A demo, again where it says that the card had no room for a frame or had to repeat one: this
// machine stood still for too long.
ToolRun Demo(const std::string& folder, const std::string& arguments) {
  ToolRun run;
  for (int i = 0; i < 3; ++i) {
    run = RunTool(folder, arguments);
    if (run.err.find("were dropped") == std::string::npos) break;
  }
  return run;
}

TEST(DemoCommand, FindsEveryFrameThatLeftTheCardOnItsInput) {
  const std::string folder = FreshFolder("demo");
  const ToolRun run = Demo(folder, "--json demo --seconds 1 --dir .");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const Json result = Json::parse(run.out);
  EXPECT_EQ(result["framesCaptured"], 30);
  EXPECT_EQ(result["framesDropped"], 0);
  EXPECT_EQ(result["framesPlayed"], 30);
  EXPECT_EQ(result["mismatches"], 0);
  EXPECT_TRUE(std::filesystem::exists(folder + "/" + std::string(result["clip"])));
}

TEST(DemoCommand, TakesLessThanThirtySecondsAsItIs) {
  const ToolRun run = Demo(FreshFolder("demo"), "--json demo --dir .");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  // Of the card's time, which leaves two thirds for what a slow machine adds.
  const Json result = Json::parse(run.out);
  const double frames = result["framesCaptured"].get<int>() + result["framesPlayed"].get<int>();
  EXPECT_LT(frames * 1001 / 30000, 10.0);
}

TEST(DemoCommand, AnInputWithoutTimecodeIsToldAndNotWaitedFor) {
  const std::string folder = FreshFolder("demo");
  WriteFile(folder + "/m.toml",
            "[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"bars\"\n"
            "timecode = \"none\"\n");
  const ToolRun run = RunTool(folder, "--machine m.toml demo --dir .");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.err.find("carries no timecode"), std::string::npos) << run.err;
}

TEST(PlayRefused, ACardThatWillNotStartIsAnError) {
  const std::string folder = FreshFolder("play");
  const std::string card =
      "[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"bars\"\n"
      "format = \"525 59.94\"\n";
  WriteFile(folder + "/good.toml", card);
  WriteFile(folder + "/bad.toml", card + "[card.faults]\nrefuse_start = true\n");
  ASSERT_EQ(RunTool(folder, "--machine good.toml capture --name clip --type yuv --frames 6 --dir .")
                .exitCode,
            0);
  const ToolRun run = RunTool(folder, "--machine bad.toml play clip/clip_000000.yuv");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.err.find("error 200002: "), std::string::npos) << run.err;
}

TEST(DemoCommand, NeverWritesOverTheClipOfAnEarlierRun) {
  const std::string folder = FreshFolder("demo");
  ASSERT_EQ(RunTool(folder, "demo --seconds 0.1 --dir .").exitCode, 0);
  ASSERT_EQ(RunTool(folder, "demo --seconds 0.1 --dir .").exitCode, 0);
  EXPECT_EQ(FilesIn(folder),
            (std::vector<std::string>{"Demo 01", "Demo 01.wav", "Demo 02", "Demo 02.wav"}));
}

TEST(DemoCheck, CountsWhatIsMissingTwiceOrOfAnotherContent) {
  const std::vector<std::string> input = {"a", "b", "c"};
  const auto frame = [](const char* md5, int64_t user) {
    return LoggedFrame{"frame", md5, "2vuy", user, 0};
  };
  const LoggedFrame repeat{"repeat", "a", "2vuy", 0, 0};
  const LoggedFrame idle{"idle", "", "", -1, 0};
  EXPECT_EQ(
      tools::CountMismatches({idle, frame("a", 0), frame("b", 1), frame("c", 2), repeat}, input),
      0);
  EXPECT_EQ(tools::CountMismatches({frame("a", 0), repeat, frame("b", 1), frame("c", 2)}, input),
            1);
  EXPECT_EQ(tools::CountMismatches({frame("a", 0), frame("x", 1), frame("c", 2)}, input), 1);
  EXPECT_EQ(tools::CountMismatches({frame("a", 0), frame("b", 1)}, input), 1);
  EXPECT_EQ(tools::CountMismatches({frame("a", 0), frame("c", 2), frame("b", 1)}, input), 2);
  EXPECT_EQ(tools::CountMismatches({}, input), 3);
}

}  // namespace
}  // namespace morvane::test
