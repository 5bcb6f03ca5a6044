#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "support/test_environment.h"
#include "tools/tool_runner.h"

// The capture command as a user runs it: a process of its own, files on disk, another program that
// judges what lies there.
namespace morvane::test {
namespace {

using Json = nlohmann::json;

// Half the pace of time: this machine may stand still for two seconds before the card has no more
// room.
constexpr char kPace[] = "rate = 0.5\n";

std::string ClipMachine(const std::string& movie) {
  return std::string(kPace) +
         "[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"clip\"\nclip = \"" + movie +
         "\"\naudio = \"clip\"\n";
}

struct Raster {
  const char* name;
  const char* arguments;  // of make_movie.sh
  int frames;
  size_t frameBytes;
};

class CaptureOfAMovie : public testing::TestWithParam<Raster> {};

TEST_P(CaptureOfAMovie, IsByteForByteTheSource) {
  const Raster& raster = GetParam();
  const std::string folder = FreshFolder("capture");
  MakeMovie(folder, "in.mov", raster.arguments);
  WriteFile(folder + "/m.toml", ClipMachine("in.mov"));
  const ToolRun run =
      RunTool(folder,
              "--machine m.toml --json capture --name clip --type yuv --style 'Video - Audio' "
              "--dir . --frames " +
                  std::to_string(raster.frames));
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const Json result = Json::parse(run.out);
  EXPECT_EQ(result["framesCaptured"], raster.frames);
  EXPECT_EQ(result["framesDropped"], 0);
  EXPECT_EQ(result["writesFailed"], 0);
  EXPECT_EQ(result["firstTimecode"], "01:00:00:00");
  EXPECT_NE(run.err.find(" suffices for "), std::string::npos) << run.err;
  // The movie's raw pictures, one behind the other, as another program reads them.
  const ToolRun raw = RunShell(folder,
                               "ffmpeg -v error -i in.mov -map 0:v -f rawvideo "
                               "-pix_fmt uyvy422 source.raw");
  ASSERT_EQ(raw.exitCode, 0) << raw.err;
  const std::vector<uint8_t> source = ReadWholeFile(folder + "/source.raw");
  ASSERT_GE(source.size(), raster.frameBytes * static_cast<size_t>(raster.frames));
  for (int frame = 0; frame < raster.frames; ++frame) {
    char name[64];
    std::snprintf(name, sizeof name, "/clip/clip_%06d.yuv", frame);
    const std::vector<uint8_t> picture = ReadWholeFile(folder + name);
    ASSERT_EQ(picture.size(), raster.frameBytes) << name;
    const auto at = source.begin() + static_cast<ptrdiff_t>(raster.frameBytes * frame);
    ASSERT_TRUE(std::equal(picture.begin(), picture.end(), at)) << "frame " << frame;
  }
  // Frames and the sidecar, nothing else.
  EXPECT_EQ(FilesIn(folder + "/clip").size(), static_cast<size_t>(raster.frames) + 1);
  EXPECT_TRUE(std::filesystem::exists(folder + "/clip/clip_000000.vyr"));
}

INSTANTIATE_TEST_SUITE_P(
    Rasters, CaptureOfAMovie,
    testing::Values(Raster{"pal", "720x576 25 30 uyvy interlaced", 30, 829440},
                    Raster{"ntsc", "720x486 30000/1001 150 uyvy interlaced", 150, 699840},
                    Raster{"hd720p50", "1280x720 50 20", 20, 1843200},
                    Raster{"hd1080i25", "1920x1080 25 10 uyvy interlaced", 10, 4147200},
                    Raster{"hd1080i2997", "1920x1080 30000/1001 10 uyvy interlaced", 10, 4147200}),
    [](const testing::TestParamInfo<Raster>& row) { return row.param.name; });

TEST(CaptureCommand, HundredAndFiftyFramesOfVideoAre240240Samples) {
  const std::string folder = FreshFolder("capture");
  WriteFile(folder + "/m.toml", std::string(kPace) +
                                    "[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"bars\"\n"
                                    "format = \"525 59.94\"\n");
  const ToolRun run = RunTool(folder,
                              "--machine m.toml capture --name clip --type yuv --dir . "
                              "--style 'Video - Audio' --frames 150");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const Json document = Json::parse(RunTool(folder, "--json info clip/clip_000000.yuv").out);
  EXPECT_EQ(document["frameCount"], 150);
  EXPECT_EQ(document["audio"]["samplesPerFile"][0], 240240);
}

TEST(CaptureCommand, SoundStartsOnTheSampleOfTheFirstPictureAndIsContinuous) {
  const std::string folder = FreshFolder("capture");
  MakeMovie(folder, "in.mov", "720x486 30000/1001 45 uyvy interlaced");
  WriteFile(folder + "/m.toml", ClipMachine("in.mov"));
  const ToolRun run = RunTool(folder,
                              "--machine m.toml capture --name clip --type yuv --frames 30 "
                              "--dir . --audio 16au:2 --style 'Video - Audio'");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  // Both decoded to 16 bits by another program; 30 frames at 29.97 are 48048 samples.
  ASSERT_EQ(RunShell(folder, "ffmpeg -v error -i clip.wav -f s16le captured.raw").exitCode, 0);
  ASSERT_EQ(RunShell(folder, "ffmpeg -v error -i in.mov -map 0:a -f s32le source.raw").exitCode, 0);
  const std::vector<uint8_t> captured = ReadWholeFile(folder + "/captured.raw");
  const std::vector<uint8_t> source = ReadWholeFile(folder + "/source.raw");
  ASSERT_EQ(captured.size(), 48048U * 4);
  ASSERT_GE(source.size(), 48048U * 8);
  for (size_t i = 0; i < 48048U * 2; ++i) {
    ASSERT_EQ(captured[2 * i], source[4 * i + 2]) << "sample " << i / 2;
    ASSERT_EQ(captured[2 * i + 1], source[4 * i + 3]) << "sample " << i / 2;
  }
}

TEST(CaptureCommand, TenBitSourceGivesItsTopEightBits) {
  const std::string folder = FreshFolder("capture");
  MakeMovie(folder, "in.mov", "720x576 25 8 v210 interlaced");
  WriteFile(folder + "/m.toml", ClipMachine("in.mov"));
  ASSERT_EQ(RunTool(folder, "--machine m.toml capture --name clip --type yuv --frames 5 --dir .")
                .exitCode,
            0);
  ASSERT_EQ(
      RunShell(folder, "ffmpeg -v error -i in.mov -f rawvideo -pix_fmt yuv422p10le p.raw").exitCode,
      0);
  const std::vector<uint8_t> planar = ReadWholeFile(folder + "/p.raw");
  const std::vector<uint8_t> picture = ReadWholeFile(folder + "/clip/clip_000004.yuv");
  constexpr size_t kPixels = 720 * 576;
  constexpr size_t kFrame = kPixels * 4;  // 16-bit words, Y then two half planes
  ASSERT_EQ(planar.size(), kFrame * 8);
  const auto top = [&planar](size_t word) {
    const size_t at = 4 * kFrame + 2 * word;
    return static_cast<uint8_t>((planar[at] | planar[at + 1] << 8) >> 2);
  };
  for (size_t pair = 0; pair < kPixels / 2; ++pair) {
    ASSERT_EQ(picture[4 * pair], top(kPixels + pair)) << "Cb of pair " << pair;
    ASSERT_EQ(picture[4 * pair + 1], top(2 * pair)) << "Y0 of pair " << pair;
    ASSERT_EQ(picture[4 * pair + 2], top(kPixels + kPixels / 2 + pair)) << "Cr of pair " << pair;
    ASSERT_EQ(picture[4 * pair + 3], top(2 * pair + 1)) << "Y1 of pair " << pair;
  }
}

TEST(CaptureCommand, KilledInTheMiddleLeavesFramesAndSoundThatRead) {
  const std::string folder = FreshFolder("capture");
  WriteFile(folder + "/m.toml", std::string(kPace) +
                                    "[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"bars\"\n"
                                    "format = \"525 59.94\"\n");
  {
    BackgroundTool tool(folder, "--machine m.toml capture --name clip --type yuv --dir .");
    ASSERT_TRUE(WaitForFile(folder + "/clip/clip_000150.yuv", 1));
    tool.Signal(SIGKILL);
    EXPECT_EQ(tool.Wait(), 128 + SIGKILL);
  }
  const std::vector<std::string> names = FilesIn(folder + "/clip");
  ASSERT_GE(names.size(), 150U);
  for (size_t i = 0; i + 1 < names.size(); ++i) {  // the last one may be half written
    ASSERT_EQ(std::filesystem::file_size(folder + "/clip/" + names[i]), 699840U) << names[i];
  }
  const ToolRun info = RunTool(folder, "--json info clip/clip_000000.yuv");
  ASSERT_EQ(info.exitCode, 0) << info.err;
  const Json document = Json::parse(info.out);
  EXPECT_GE(document["frameCount"], 149);
  // The size on disk is a second behind at most: 15 frames of card time, and after a stand-still of
  // this machine all that had waited in the card and in the ring.
  const int frames = document["frameCount"];
  EXPECT_GE(document["audio"]["samplesPerFile"][0], (frames - 15 - 30 - 32) * 1601);
  EXPECT_EQ(RunShell(folder, "ffmpeg -v error -i clip.wav -f null -").exitCode, 0);
  // The next run gets the card at once.
  const ToolRun next =
      RunTool(folder, "--machine m.toml capture --name next --type yuv --frames 3 --dir .");
  EXPECT_EQ(next.exitCode, 0) << next.err;
}

TEST(CaptureCommand, SignalEndsACaptureWithValidFilesAndExitCodeZero) {
  const std::string folder = FreshFolder("capture");
  WriteFile(folder + "/m.toml", std::string(kPace) +
                                    "[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"bars\"\n"
                                    "format = \"525 59.94\"\n");
  BackgroundTool tool(folder, "--machine m.toml capture --name clip --type yuv --dir .");
  ASSERT_TRUE(WaitForFile(folder + "/clip/clip_000010.yuv", 1));
  tool.Signal(SIGINT);
  EXPECT_EQ(tool.Wait(), 0);
  const Json document = Json::parse(RunTool(folder, "--json info clip/clip_000000.yuv").out);
  const int frames = document["frameCount"];
  EXPECT_GE(frames, 11);
  // Sound as long as the picture, to the sample: 1601.6 a frame, rounded as a running sum.
  const int64_t samples = document["audio"]["samplesPerFile"][0];
  EXPECT_EQ(samples, (static_cast<int64_t>(frames) * 8008 + 2) / 5);
}

TEST(CaptureCommand, FileSizeLimitIsToldAndLeavesNothingHalf) {
  const std::string folder = FreshFolder("capture");
  const ToolRun run = RunTool(folder, "--json capture --name clip --type yuv --frames 5 --dir .",
                              "ulimit -f 3000;");
  EXPECT_EQ(run.exitCode, 1);
  const Json error = Json::parse(run.out);
  EXPECT_EQ(error["error"], -2);
  EXPECT_EQ(error["text"], "5 of 5 frames could not be written: no space left in .");
  EXPECT_NE(run.err.find("morvanectl: error -2: 5 of 5 frames could not be written"),
            std::string::npos);
  // Not one whole frame, so no clip: neither its folder nor its sound stays.
  EXPECT_EQ(FilesIn(folder), std::vector<std::string>{});
}

TEST(CaptureCommand, ASidecarThatWasThereIsTold) {
  const std::string folder = FreshFolder("capture");
  WriteFile(folder + "/clip_000000.vyr", "somebody's notes");
  const ToolRun run =
      RunTool(folder, "capture --name clip --type yuv --frames 2 --dir . --no-folder");
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_NE(run.err.find("clip_000000.vyr was there before"), std::string::npos) << run.err;
  EXPECT_EQ(ReadWholeFile(folder + "/clip_000000.vyr").size(), 16U);
}

struct Refusal {
  const char* name;
  const char* machine;  // TOML
  const char* arguments;
  int code;
  const char* text;
};

class RefusedCapture : public testing::TestWithParam<Refusal> {};

TEST_P(RefusedCapture, SaysSoAndTouchesNothing) {
  const Refusal& refusal = GetParam();
  const std::string folder = FreshFolder("refused");
  WriteFile(folder + "/m.toml", refusal.machine);
  WriteFile(folder + "/plain", "a file");
  std::filesystem::create_directories(folder + "/old");
  WriteFile(folder + "/old/old_000000.yuv", "precious");
  WriteFile(folder + "/flat_000000.yuv", "precious");
  WriteFile(folder + "/sound.wav", "precious");
  const ToolRun run = RunTool(folder, std::string("--json --machine m.toml capture --type yuv "
                                                  "--frames 2 ") +
                                          refusal.arguments);
  EXPECT_EQ(run.exitCode, 1);
  const Json error = Json::parse(run.out);
  EXPECT_EQ(error["error"], refusal.code);
  EXPECT_EQ(error["text"], refusal.text);
  const std::string last =
      "morvanectl: error " + std::to_string(refusal.code) + ": " + refusal.text + "\n";
  ASSERT_GE(run.err.size(), last.size());
  EXPECT_EQ(run.err.substr(run.err.size() - last.size()), last);
  EXPECT_EQ(FilesIn(folder),
            (std::vector<std::string>{"flat_000000.yuv", "m.toml", "old", "plain", "sound.wav"}));
  EXPECT_EQ(FilesIn(folder + "/old"), std::vector<std::string>{"old_000000.yuv"});
  for (const char* kept : {"/old/old_000000.yuv", "/flat_000000.yuv", "/sound.wav"}) {
    EXPECT_EQ(ReadWholeFile(folder + kept).size(), 8U) << kept;
  }
}

constexpr char kBars[] = "[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"bars\"\n";
constexpr char kNoInput[] = "[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"none\"\n";

INSTANTIATE_TEST_SUITE_P(
    Reasons, RefusedCapture,
    testing::Values(
        Refusal{"FolderExists", kBars, "--name old --dir .", 100004,
                "Could not create new Folder. Please change clip name."},
        Refusal{"FrameExists", kBars, "--name flat --no-folder --dir .", 100002,
                "Could not create Video File. Please change clip name."},
        Refusal{"SoundExists", kBars, "--name sound --dir . --style 'Video - Audio'", 100003,
                "Could not create Audio File. Please change clip name."},
        Refusal{"BelowAPlainFile", kBars, "--name clip --dir plain", 100004,
                "Could not create new Folder. Please change clip name."},
        Refusal{"NoInput", kNoInput, "--name clip --dir .", 200010, "No Video Input is detected."},
        Refusal{"AnotherFormat", kBars, "--name clip --dir . --video-format '720x576 @ 25.00i'",
                200011, "Video Input does not match Capture Format."}),
    [](const testing::TestParamInfo<Refusal>& row) { return row.param.name; });

TEST(CaptureCommand, TellsWhatDroppedFramesWaitedFor) {
  const std::string folder = FreshFolder("capture");
  const std::string machine = std::string(kPace) +
                              "[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"bars\"\n"
                              "format = \"525 59.94\"\n[card.faults]\ndrop_at = [5, 6]\n";
  WriteFile(folder + "/m.toml", machine);
  const ToolRun run =
      RunTool(folder, "--machine m.toml capture --name clip --type yuv --frames 20 --dir .");
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_NE(run.out.find("2 frames dropped (disk 0, card 2, processor 0)"), std::string::npos)
      << run.out;
  const ToolRun aborted = RunTool(folder,
                                  "--machine m.toml capture --name other --type yuv "
                                  "--frames 200 --dir . --abort-on-drop");
  EXPECT_EQ(aborted.exitCode, 1);
  EXPECT_NE(aborted.err.find("Capture aborted at a dropped frame"), std::string::npos)
      << aborted.err;
}

TEST(CaptureCommand, BoardHeldByAnotherProgramIsBusy) {
  const std::string folder = FreshFolder("capture");
  BackgroundTool tool(folder, "capture --name first --type yuv --dir .");
  ASSERT_TRUE(WaitForFile(folder + "/first/first_000000.yuv", 1));
  const ToolRun run = RunTool(folder, "capture --name second --type yuv --frames 2 --dir .");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.err.find("morvanectl: error 200000: Sorn Board is busy."), std::string::npos);
}

}  // namespace
}  // namespace morvane::test
