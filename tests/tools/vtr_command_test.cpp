// The tape machine and its tapes, run as a script runs them.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "simulator/test_movie.h"
#include "support/test_environment.h"
#include "tools/tool_runner.h"

namespace morvane::test {
namespace {

using Json = nlohmann::json;
using Clock = std::chrono::steady_clock;
using Moment = Clock::time_point;
using Seconds = std::chrono::duration<double>;

// "HH:MM:SS:FF" of 25 pictures a second as a count of them.
int PicturesOf(const std::string& timecode) {
  int hours = 0, minutes = 0, seconds = 0, pictures = 0;
  EXPECT_EQ(std::sscanf(timecode.c_str(), "%d:%d:%d:%d", &hours, &minutes, &seconds, &pictures), 4)
      << timecode;
  return ((hours * 60 + minutes) * 60 + seconds) * 25 + pictures;
}

// A folder with a machine of its own, in 625 lines; its tape is made by the first command.
class Room {
 public:
  explicit Room(const std::string& more = "", const std::string& machine = "")
      : folder_(FreshFolder("vtr")) {
    WriteFile(folder_ + "/m.toml",
              machine +
                  "[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"tape\"\n"
                  "[card.vtr]\ntape = \"reel\"\nformat = \"625 50.00\"\nlength = 3600\n" +
                  more);
  }
  [[nodiscard]] const std::string& Folder() const { return folder_; }
  [[nodiscard]] ToolRun Run(const std::string& arguments) const {
    return RunTool(folder_, "--machine m.toml " + arguments);
  }
  [[nodiscard]] Json Vtr(const std::string& arguments) const {
    const ToolRun run = Run("--json vtr " + arguments);
    EXPECT_EQ(run.exitCode, 0) << arguments << ": " << run.err;
    return Json::accept(run.out) ? Json::parse(run.out) : Json();
  }
  // Looks, each time in a process of its own, until the machine is there.
  void WaitFor(const std::string& status, const std::string& timecode) const {
    Json told = Vtr("status");
    for (int i = 0; i < 1000 && told["status"] != status; ++i) told = Vtr("status");
    EXPECT_EQ(told["status"], status);
    EXPECT_EQ(told["timecode"], timecode);
  }

 private:
  std::string folder_;
};

TEST(VtrCommand, TheDeckOutlivesTheProcess) {
  const Room room;
  EXPECT_EQ(room.Vtr("status"),
            (Json{{"result", 0}, {"status", "Stop"}, {"timecode", "00:59:50:00"}, {"speed", 0.0}}));
  const Json seeking = room.Vtr("cue 01:00:00:24 --hold 1.5");
  EXPECT_EQ(seeking["status"], "Cue Up");
  EXPECT_EQ(seeking["timecode"], "01:00:00:24");
  EXPECT_EQ(room.Vtr("timecode")["timecode"], "01:00:00:24");
  EXPECT_EQ(room.Vtr("step")["timecode"], "01:00:01:00");  // counts in 25, as its signal does
  EXPECT_EQ(room.Vtr("stepback")["timecode"], "01:00:00:24");
  const Moment begun = Clock::now();
  const Json play = room.Vtr("play --hold 1.2");
  const Moment left = Clock::now();
  EXPECT_EQ(play["status"], "Play");
  EXPECT_EQ(play["speed"], 1.0);
  EXPECT_GT(play["timecode"], "01:00:00:24");
  std::this_thread::sleep_for(std::chrono::seconds(2));
  const Moment looked = Clock::now();
  const Json on = room.Vtr("timecode");
  const Moment seen = Clock::now();
  // It has played on meanwhile, and the two looks may be one picture out each.
  const double pictures = PicturesOf(on["timecode"]) - PicturesOf(play["timecode"]);
  EXPECT_GE(pictures, 25 * Seconds(looked - left).count() - 2);
  EXPECT_LE(pictures, 25 * Seconds(seen - begun).count() + 2);
  EXPECT_EQ(room.Vtr("still")["status"], "Still");
  EXPECT_EQ(room.Vtr("shuttle 0.5")["status"], "Play 1/2x");
  EXPECT_EQ(room.Vtr("shuttle -2")["status"], "Reverse Play 2x");
  EXPECT_EQ(room.Vtr("ff")["status"], "Fast Forward");
  EXPECT_EQ(room.Vtr("stop")["status"], "Stop");
  EXPECT_EQ(room.Vtr("record")["status"], "Record");
  EXPECT_EQ(room.Vtr("stop")["status"], "Stop");
  (void)room.Vtr("rewind");
  room.WaitFor("Stop", "00:59:50:00");
}

TEST(VtrCommand, AMachineThatAnotherProcessSetRunningTellsItsOwnSpeed) {
  const Room room;
  const auto expect = [&](const std::string& command, const char* status, double speed) {
    (void)room.Vtr(command);
    const Json told = room.Vtr("status");
    EXPECT_EQ(told["status"], status) << command;
    EXPECT_EQ(told["speed"], speed) << command;
    EXPECT_EQ(Json::parse(room.Run("--json status").out)["vtr"]["status"], status) << command;
  };
  expect("cue 01:00:10:00 --hold 1.5", "Cue Up", 0.0);
  expect("shuttle 2", "Play 2x", 2.0);
  expect("shuttle -0.5", "Reverse Play 1/2x", -0.5);
  expect("play --hold 0.8", "Play", 1.0);
  expect("still", "Still", 0.0);
  expect("stop", "Stop", 0.0);
  expect("ff", "Fast Forward", 50.0);
  // The way back may be over before somebody looks; then it is made longer.
  Json told;
  for (int seconds = 1; seconds <= 16; seconds *= 2) {
    (void)room.Vtr("ff --hold " + std::to_string(seconds));
    (void)room.Vtr("rewind");
    told = room.Vtr("status");
    if (told["status"] != "Stop") break;
  }
  EXPECT_EQ(told["status"], "Rewind");
  EXPECT_EQ(told["speed"], -50.0);
}

TEST(VtrCommand, AHeldRecordingIsLookedAfterAllTheTime) {
  const Room room("", "trace = \"trace.txt\"\n");
  const auto requests = [&](const std::string& command) {
    EXPECT_EQ(room.Vtr(command)["status"], "Record") << command;
    std::ifstream file(room.Folder() + "/trace.txt");
    return std::count(std::istreambuf_iterator<char>(file), {}, '\n');
  };
  const auto few = requests("record");
  EXPECT_GE(few, 1);
  EXPECT_GE(requests("record --hold 3"), few + 100);
  const Json told = room.Vtr("status");
  EXPECT_EQ(told["status"], "Stop");  // it ended with its program
  EXPECT_GT(told["timecode"], "00:59:51:00");
}

TEST(VtrCommand, BothMannersOfAcknowledgingAreUnderstood) {
  const Room room("manner = \"plain\"\n");
  EXPECT_EQ(room.Vtr("cue 01:00:10:00 --hold 1.5")["timecode"], "01:00:10:00");
  EXPECT_EQ(room.Vtr("step")["timecode"], "01:00:10:01");
  EXPECT_EQ(room.Vtr("shuttle 0.5")["status"], "Play 1/2x");
  EXPECT_EQ(room.Vtr("still")["status"], "Still");
}

TEST(VtrCommand, StatusTellsTheDeck) {
  const Room room;
  const ToolRun run = room.Run("--json status");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const Json status = Json::parse(run.out);
  EXPECT_EQ(status["vtr"],
            (Json{{"present", true}, {"status", "Stop"}, {"timecode", "00:59:50:00"}}));
  EXPECT_EQ(status["input"]["text"], "625 50.00");
  EXPECT_NE(room.Run("status").out.find("deck       00:59:50:00  Stop"), std::string::npos);
}

TEST(VtrCommand, AMachineThatDoesNotObeyHasItsCode) {
  struct Row {
    const char* fault;
    const char* command;
    int code;
  };
  static constexpr Row kRows[] = {
      {"off_line = true", "play", 200016},
      {"off_line = true", "status", 200016},
      {"tape_out = true", "play", 200017},
      {"tape_out = true", "cue 01:00:00:00", 200017},
      {"local = true", "ff", 200018},
      {"local = true", "shuttle 2", 200018},
      {"record_inhibit = true", "record", 200019},
  };
  for (const Row& row : kRows) {
    const Room room(std::string("[card.vtr.faults]\n") + row.fault + "\n");
    const ToolRun run = room.Run(std::string("--json vtr ") + row.command);
    EXPECT_EQ(run.exitCode, 1) << row.fault;
    EXPECT_EQ(Json::parse(run.out)["error"], row.code) << row.fault << " " << row.command;
  }
}

TEST(VtrCommand, WrongLineIsExitCodeTwo) {
  const std::string folder = FreshFolder("vtr");
  for (const char* line :
       {"vtr", "vtr dance", "vtr cue", "vtr cue soon", "vtr shuttle", "vtr shuttle fast",
        "vtr play 1", "tape", "tape create x", "tape create x --from 1 --format \"625 50.00\"",
        "tape create x --from 01:00:00:00 --format cinema",
        "tape create x --from 01:00:00:00 --format \"625 50.00\" --length 0",
        "tape extract x 01:00:00:00"}) {
    EXPECT_EQ(RunTool(folder, line).exitCode, 2) << line;
  }
  EXPECT_EQ(RunTool(folder, "vtr play --board 4").exitCode, 1);
  EXPECT_FALSE(std::filesystem::exists(folder + "/x"));
}

TEST(TapeCommand, MakesTellsAndReadsBack) {
  const std::string folder = FreshFolder("tape");
  const std::string create =
      "--json tape create reel --from 10:00:00:00 --format \"1080i 59.94\" --length 2 --drop";
  const ToolRun made = RunTool(folder, create);
  ASSERT_EQ(made.exitCode, 0) << made.err;
  const Json facts{{"format", "1080i 59.94"},
                   {"from", "10;00;00;00"},
                   {"frames", 59},
                   {"drop", true},
                   {"channels", 16}};
  EXPECT_EQ(Json::parse(made.out), facts);
  EXPECT_EQ(Json::parse(RunTool(folder, "--json tape info reel").out), facts);
  const ToolRun again = RunTool(folder, create);
  EXPECT_EQ(again.exitCode, 1);
  EXPECT_NE(again.err.find("is there already"), std::string::npos) << again.err;

  const ToolRun frame = RunTool(folder, "--json tape extract reel 10:00:00:17 f.raw");
  ASSERT_EQ(frame.exitCode, 0) << frame.err;
  EXPECT_EQ(Json::parse(frame.out)["timecode"], "10;00;00;17");
  EXPECT_EQ(ReadWholeFile(folder + "/f.raw").size(), 1080u * 5120);
  EXPECT_EQ(RunTool(folder, "tape extract reel 10:00:00:17 f.raw").exitCode, 1);  // stays
  EXPECT_EQ(RunTool(folder, "tape extract reel 10:00:00:17 f.png").exitCode, 0);
  EXPECT_EQ(RunShell(folder,
                     "ffprobe -v error -show_entries stream=width,height,pix_fmt -of "
                     "csv=p=0 f.png")
                .out,
            "1920,1080,rgb24\n");
  EXPECT_EQ(RunTool(folder, "tape extract reel 10:00:00:17 f.wav").exitCode, 0);
  EXPECT_EQ(RunShell(folder,
                     "ffprobe -v error -show_entries "
                     "stream=codec_name,sample_rate,channels,duration_ts -of csv=p=0 f.wav")
                .out,
            "pcm_s32le,48000,16,1602\n");
  const ToolRun beyond = RunTool(folder, "tape extract reel 10:00:05:00 g.raw");
  EXPECT_EQ(beyond.exitCode, 1);
  EXPECT_NE(beyond.err.find("ends with 10;00;01;28"), std::string::npos) << beyond.err;
  EXPECT_EQ(RunTool(folder, "tape info nothing").exitCode, 1);
}

TEST(TapeCommand, ANumberThatDoesNotExistIsRefused) {
  const std::string folder = FreshFolder("tape");
  for (const char* line :
       {"--from 01:00:00:25 --format \"625 50.00\"", "--from '01;00;00;00' --format \"625 50.00\"",
        "--from 01:00:00:00 --format \"625 50.00\" --drop",
        "--from '01;01;00;00' --format \"525 59.94\"",
        "--from 01:01:00:01 --format \"525 59.94\" --drop"}) {
    const ToolRun bad = RunTool(folder, std::string("tape create new --length 1 ") + line);
    EXPECT_EQ(bad.exitCode, 1) << line;
    EXPECT_FALSE(bad.err.empty()) << line;
  }
  EXPECT_TRUE(FilesIn(folder).empty());
  // Semicolons are drop frame.
  const ToolRun made = RunTool(
      folder, "--json tape create reel --length 1 --from '01;01;00;02' --format \"525 59.94\"");
  ASSERT_EQ(made.exitCode, 0) << made.err;
  EXPECT_EQ(Json::parse(made.out)["from"], "01;01;00;02");
  EXPECT_EQ(Json::parse(made.out)["drop"], true);
  const ToolRun bad = RunTool(folder, "tape extract reel 01:01:00:45 f.raw");
  EXPECT_EQ(bad.exitCode, 2) << bad.err;
  EXPECT_EQ(RunTool(folder, "tape extract reel 01:02:00:01 f.raw").exitCode, 1);
  EXPECT_EQ(RunTool(folder, "vtr cue 25:00:00:00").exitCode, 2);
}

TEST(TapeCommand, ATapeOfAMovieHoldsItBitForBit) {
  const std::string folder = FreshFolder("tape");
  ASSERT_FALSE(MakeMovie(folder, "a.mov", MovieRow{720, 576, "25", 12, "uyvy"}).empty());
  const ToolRun made = RunTool(
      folder, "--json tape create reel --from 00:00:10:00 --format \"625 50.00\" --clip a.mov");
  ASSERT_EQ(made.exitCode, 0) << made.err;
  EXPECT_EQ(Json::parse(made.out)["frames"], 12);
  const std::vector<uint8_t> wanted = DecodePictures(folder + "/a.mov", "uyvy422");
  ASSERT_EQ(wanted.size(), 12u * 720 * 576 * 2);
  for (const int frame : {0, 7, 11}) {
    const std::string name = "f" + std::to_string(frame);
    const ToolRun got =
        RunTool(folder, "tape extract reel 00:00:10:" + std::string(frame < 10 ? "0" : "") +
                            std::to_string(frame) + " " + name);
    ASSERT_EQ(got.exitCode, 0) << got.err;
    const std::vector<uint8_t> ten = ReadWholeFile(folder + "/" + name);
    ASSERT_EQ(ten.size(), 576u * 1920);
    // Three samples of 10 bit to a word, the 8 bits of the source on top.
    for (size_t i = 0; i < 720u * 576 * 2; ++i) {
      const uint8_t* word = ten.data() + i / 3 * 4;
      const uint32_t bits =
          word[0] | word[1] << 8 | word[2] << 16 | static_cast<uint32_t>(word[3]) << 24;
      ASSERT_EQ(bits >> (i % 3 * 10) & 0x3FF,
                4u * wanted[static_cast<size_t>(frame) * 720 * 576 * 2 + i])
          << "frame " << frame << " sample " << i;
    }
  }
  for (const char* line : {"--format \"525 59.94\" --clip a.mov", "--format \"625 50.00\" --clip b",
                           "--format \"625 50.00\" --clip m.txt"}) {
    WriteFile(folder + "/m.txt", "no movie");
    const ToolRun bad = RunTool(folder, std::string("tape create new --from 01:00:00:00 ") + line);
    EXPECT_EQ(bad.exitCode, 1) << line;
    EXPECT_NE(bad.err.find("The tape was not made: "), std::string::npos) << bad.err;
  }
  EXPECT_EQ(FilesIn(folder).size(), 6u) << "a.mov, f0, f11, f7, m.txt, reel";
}

// The whole way: a movie on a tape, the tape in the deck, the deck on the card's input.
TEST(TapeCommand, ATapeOfAMoviePlaysIntoTheInput) {
  const Room room;
  const std::string& folder = room.Folder();
  ASSERT_FALSE(MakeMovie(folder, "a.mov", MovieRow{720, 576, "25", 100, "uyvy"}).empty());
  ASSERT_EQ(
      room.Run("tape create reel --from 10:00:00:00 --format \"625 50.00\" --clip a.mov").exitCode,
      0);
  EXPECT_EQ(room.Vtr("cue 10:00:01:05 --hold 0.5")["timecode"], "10:00:01:05");
  const ToolRun captured =
      room.Run("capture --name take --dir . --type yuv --frames 3 --audio none");
  ASSERT_EQ(captured.exitCode, 0) << captured.err;
  const std::vector<uint8_t> wanted = DecodePictures(folder + "/a.mov", "uyvy422");
  const size_t bytes = 720u * 576 * 2;
  std::string first;
  for (const std::string& name : FilesIn(folder + "/take")) {
    if (name.size() > 4 && name.substr(name.size() - 4) == ".yuv") {
      first = folder + "/take/" + name;
      break;
    }
  }
  ASSERT_FALSE(first.empty());
  const std::vector<uint8_t> got = ReadWholeFile(first);
  ASSERT_GE(got.size(), bytes);
  // The deck stands on frame 30 of the movie.
  EXPECT_TRUE(std::equal(got.begin(), got.begin() + static_cast<ptrdiff_t>(bytes),
                         wanted.begin() + static_cast<ptrdiff_t>(30 * bytes)));
}

}  // namespace
}  // namespace morvane::test
