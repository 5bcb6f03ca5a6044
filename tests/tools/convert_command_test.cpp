// convert, run as a user runs it, on clips that the test makes.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/test_environment.h"
#include "tools/clip_maker.h"
#include "tools/sound_copy.h"
#include "tools/tool_runner.h"

namespace morvane::test {
namespace {

using Json = nlohmann::json;

std::string Hashes(const std::string& folder, const std::string& arguments) {
  const ToolRun run = RunTool(folder, "framehash --format 'rgb ' " + arguments);
  EXPECT_EQ(run.exitCode, 0) << run.err;
  // The lines of frames; the header tells the rate, which differs.
  const size_t head = run.out.rfind('#');
  return run.out.substr(run.out.find('\n', head));
}

TEST(ConvertCommand, PictureSurvivesTheWayThroughOtherTypes) {
  const std::string folder = FreshFolder("convert");
  MakeClip(folder, 3);
  const std::string wanted = Hashes(folder, "src_000001.tga");
  for (const char* type : {"dpx", "cin", "tga", "bmp", "tif"}) {
    const std::string to = std::string("convert src_000001.tga ") + type +
                           " --start-number 000001 --rate 25000/1000 --type " + type;
    ToolRun run = RunTool(folder, "--json " + to);
    ASSERT_EQ(run.exitCode, 0) << type << ": " << run.err;
    const Json document = Json::parse(run.out);
    EXPECT_EQ(document["frames"], 3);
    EXPECT_EQ(document["audioFiles"], Json::array());
    EXPECT_EQ(document["clip"], std::string("./") + type + "_000001." + type);
    EXPECT_GE(document["seconds"], 0.0);
    const std::string clip = std::string(type) + "_000001." + type;
    EXPECT_EQ(Hashes(folder, clip), wanted) << type;
    const Json info = Json::parse(RunTool(folder, "--json info " + clip).out);
    EXPECT_EQ(info["timeScale"], 25000) << type;
    EXPECT_EQ(info["timeRate"], 1000) << type;
    const std::vector<std::string> before = FilesIn(folder);
    run = RunTool(folder, to);
    EXPECT_EQ(run.exitCode, 1) << "the clip was there";
    EXPECT_EQ(FilesIn(folder), before);
  }
}

TEST(ConvertCommand, ThreadsChangeNothingButTheTime) {
  const std::string folder = FreshFolder("convert");
  MakeClip(folder, 7);
  for (const char* threads : {"1", "3", "16"}) {
    const ToolRun run = RunTool(folder, std::string("convert src_000001.tga t") + threads +
                                            " --type yuv --range 1-5 --threads " + threads);
    ASSERT_EQ(run.exitCode, 0) << run.err;
  }
  const ToolRun same = RunShell(folder,
                                "for n in 0 1 2 3 4; do cmp t1_00000$n.yuv t3_00000$n.yuv && "
                                "cmp t1_00000$n.yuv t16_00000$n.yuv || exit 1; done; "
                                "test ! -e t1_000005.yuv");
  EXPECT_EQ(same.exitCode, 0) << same.out << same.err;
}

TEST(ConvertCommand, ATerminalSeesHowFarItIs) {
  const std::string folder = FreshFolder("convert");
  MakeClip(folder, 5);
  const ToolRun quiet = RunTool(folder, "convert src_000001.tga quiet --type bmp");
  ASSERT_EQ(quiet.exitCode, 0);
  EXPECT_EQ(quiet.err, "") << "no line of progress in a log";
  if (RunShell(folder, "command -v script").exitCode != 0) GTEST_SKIP() << "no script(1) here";
  const ToolRun seen = RunTool(folder, "convert src_000001.tga seen --type bmp",
                               "run() { script -qec \"$*\" /dev/null; }; run");
  ASSERT_EQ(seen.exitCode, 0) << seen.out;
  const size_t last = seen.out.find("frame 5 of 5  ");
  ASSERT_NE(last, std::string::npos) << seen.out;
  EXPECT_NE(seen.out.find(" frames a second", last), std::string::npos) << seen.out;
}

TEST(ConvertCommand, AnEarlierClipInTheWayIsLeftAlone) {
  const std::string folder = FreshFolder("convert");
  MakeClip(folder, 3);
  WriteFile(folder + "/new_000002.bmp", "somebody's frame");
  const ToolRun run = RunTool(folder, "convert src_000001.tga new --type bmp");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(ReadWholeFile(folder + "/new_000002.bmp").size(), 16U);
  EXPECT_EQ(FilesIn(folder), (std::vector<std::string>{"new_000002.bmp", "src_000001.tga",
                                                       "src_000002.tga", "src_000003.tga"}));
}

TEST(ConvertCommand, AnotherSizeIsCentredOrScaled) {
  const std::string folder = FreshFolder("convert");
  MakeClip(folder, 1);
  ASSERT_EQ(
      RunTool(folder, "convert src_000001.tga big --type bmp --format 'bgr ' --size 10x8").exitCode,
      0);
  ASSERT_EQ(RunTool(folder,
                    "convert src_000001.tga wide --type bmp --format 'bgr ' --size 12x8 --stretch")
                .exitCode,
            0);
  ASSERT_EQ(RunTool(folder, "extract big_000000.bmp 0 big.raw --format 'rgb '").exitCode, 0);
  ASSERT_EQ(RunTool(folder, "extract wide_000000.bmp 0 wide.raw --format 'rgb '").exitCode, 0);
  const std::vector<uint8_t> big = ReadWholeFile(folder + "/big.raw");
  const std::vector<uint8_t> wide = ReadWholeFile(folder + "/wide.raw");
  ASSERT_EQ(big.size(), 240U);
  ASSERT_EQ(wide.size(), 288U);
  EXPECT_EQ(big[0], 0);
  EXPECT_EQ(big[1], 0);
  const size_t corner = (2 * 10 + 2) * 3;  // two rows and two columns of black before the picture
  EXPECT_EQ(big[corner + 1], 200);
  EXPECT_EQ(big[corner + 2], 10);
  EXPECT_EQ(wide[1], 200);
  EXPECT_EQ(wide[2], 10);
}

TEST(ConvertCommand, EightBitYuvIsCroppedToItsMiddleUnchanged) {
  const std::string folder = FreshFolder("convert");
  // 720x486, which the length of the file tells; no two neighbours are alike, all
  // in the range of video.
  std::vector<uint8_t> frame;
  for (int i = 0; i < 720 * 486 * 2; ++i) frame.push_back(static_cast<uint8_t>(i * 7 % 223 + 16));
  WriteFile(folder + "/src_000001.yuv", std::string(frame.begin(), frame.end()));
  const ToolRun run = RunTool(folder, "convert src_000001.yuv crop --size 720x480");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  ASSERT_EQ(RunTool(folder, "extract crop_000000.yuv 0 crop.raw --format 2vuy").exitCode, 0);
  const auto first = frame.begin() + 3 * 1440;
  EXPECT_TRUE(ReadWholeFile(folder + "/crop.raw") ==
              std::vector<uint8_t>(first, first + 480 * 1440));
}

TEST(ConvertCommand, SoundGoesAlongFrameByFrame) {
  const std::string folder = FreshFolder("convert");
  MakeClip(folder, 4);
  MakeSound(folder + "/src.wav", 1, 8000, 1);
  MakeSound(folder + "/src_A2.wav", 1, 8000, 20001);
  ToolRun run = RunTool(folder, "convert src_000001.tga new --type bmp");
  EXPECT_EQ(run.exitCode, 2) << "sound, but no rate";
  EXPECT_EQ(FilesIn(folder).size(), 6U);

  // The whole: the sound behind the last picture too.
  run = RunTool(folder, "--json convert src_000001.tga new --type bmp --rate 25000/1000");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(Json::parse(run.out)["audioFiles"], (Json{"./new.wav", "./new_A2.wav"}));
  const Json info = Json::parse(RunTool(folder, "--json info new_000000.bmp").out);
  EXPECT_EQ(info["audio"]["samplesPerFile"], (Json{8000, 8000}));

  // A range, as one stereo file of floats.
  run = RunTool(folder,
                "convert src_000001.tga cut --type bmp --rate 25000/1000 --range 1-2 "
                "--audio 32af:2");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  run = RunShell(folder, "ffmpeg -v error -i cut.wav -f s16le -c:a pcm_s16le cut.raw");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const std::vector<uint8_t> bytes = ReadWholeFile(folder + "/cut.raw");
  ASSERT_EQ(bytes.size(), 2U * 1920 * 4);
  const auto sample = [&bytes](size_t i) {
    return static_cast<int16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
  };
  EXPECT_EQ(sample(0), 1921);
  EXPECT_EQ(sample(1), 21921);
  EXPECT_EQ(sample(2 * 3839), 5760);
  EXPECT_EQ(sample(2 * 3839 + 1), 25760);

  ASSERT_EQ(RunTool(folder, "convert src_000001.tga mute --type bmp --audio none").exitCode, 0);
  EXPECT_EQ(RunShell(folder, "test ! -e mute.wav").exitCode, 0);
}

// The samples of a WAV file with a plain header.
std::vector<int> SamplesOf(const std::string& path) {
  const std::vector<uint8_t> bytes = ReadWholeFile(path);
  std::vector<int> samples;
  for (size_t i = 44; i + 1 < bytes.size(); i += 2) samples.push_back(bytes[i] | bytes[i + 1] << 8);
  return samples;
}

TEST(ConvertCommand, ARateInAnyFormFindsItsSound) {
  const struct {
    const char* scale;
    const char* rate;
    size_t first;  // sample before frame 2, and before frame 4
    size_t end;
    const char* storedScale;
    const char* storedRate;
  } rows[] = {{"25", "1", 3840, 7680, "25000", "1000"},
              {"2400", "100", 4000, 8000, "24000", "1000"},
              {"30", "1", 3200, 6400, "30000", "1000"},
              {"2997", "100", 3203, 6406, "30000", "1001"},
              {"2997", "125", 4004, 8008, "24000", "1001"}};
  for (const auto& row : rows) {
    const std::string folder = FreshFolder("convert");
    const std::string pair = std::string(row.scale) + "/" + row.rate;
    MakeClip(folder, 5);
    MakeSound(folder + "/src.wav", 1, 12000, 0);
    // The rate is told with the first copy, and stands in the sidecar for the second one.
    for (const std::string name : {"told", "found"}) {
      const std::string told = name == "told" ? " --rate " + pair : "";
      if (name == "found") WriteSidecar(folder + "/src_000001.vyr", row.scale, row.rate);
      const ToolRun run =
          RunTool(folder, "convert src_000001.tga " + name +
                              " --range 2-3 --start-number 000001 --audio 16au" + told);
      ASSERT_EQ(run.exitCode, 0) << pair << run.err;
      const std::vector<int> samples = SamplesOf(folder + "/" + name + ".wav");
      const size_t tail = name == "found" ? 2048 : 0;  // a block of metadata, in samples
      ASSERT_EQ(samples.size(), row.end - row.first + tail) << pair;
      EXPECT_EQ(samples[0], static_cast<int>(row.first)) << pair;
      EXPECT_EQ(samples[row.end - row.first - 1], static_cast<int>(row.end) - 1) << pair;
      const Json info = Json::parse(RunTool(folder, "--json info " + name + "_000001.tga").out);
      EXPECT_EQ(std::to_string(info["timeScale"].get<int>()), row.storedScale) << pair;
      EXPECT_EQ(std::to_string(info["timeRate"].get<int>()), row.storedRate) << pair;
    }
    const std::string sidecar = RunShell(folder, "cat found_000001.vyr").out;
    EXPECT_NE(sidecar.find(std::string("<TCScale>") + row.storedScale + "<"), std::string::npos);
    EXPECT_NE(sidecar.find(std::string("<TCRate>") + row.storedRate + "<"), std::string::npos);
    // 00:00:01:02 as a word.
    EXPECT_NE(sidecar.find("<TC>33619968<"), std::string::npos) << pair << sidecar;
    ASSERT_EQ(RunTool(folder, "convert src_000003.tga rest --start-number 000001").exitCode, 0);
    EXPECT_NE(RunShell(folder, "cat rest_000001.vyr").out.find("<TC>33619968<"), std::string::npos)
        << pair;
  }
}

TEST(ConvertCommand, ARateThatSoundDoesNotKnowIsRefused) {
  const std::string folder = FreshFolder("convert");
  MakeClip(folder, 3);
  MakeSound(folder + "/src.wav", 1, 4000, 0);
  ToolRun run = RunTool(folder, "convert src_000001.tga new --rate 12/1");
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_NE(run.err.find("--rate 12/1"), std::string::npos) << run.err;
  WriteSidecar(folder + "/src_000001.vyr", "12", "1");
  run = RunTool(folder, "convert src_000001.tga new --range 1-2");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.err.find("12/1 frames a second"), std::string::npos) << run.err;
  EXPECT_EQ(FilesIn(folder).size(), 5U) << "nothing was made";
  EXPECT_EQ(RunTool(folder, "convert src_000001.tga whole").exitCode, 0);
  EXPECT_EQ(RunTool(folder, "convert src_000001.tga mute --audio none --range 1-2").exitCode, 0);
}

TEST(ConvertCommand, AspectAndFieldOrderOfADefaultClipGoAlong) {
  const std::string folder = FreshFolder("convert");
  CaptureClip(folder, NxFileTypeTGA, nullptr, kOrientationTopDown, kAcrossAMinute);
  ASSERT_EQ(RunTool(folder, "convert a_000000.tga b --start-number 000001").exitCode, 0);
  const Json info = Json::parse(RunTool(folder, "--json info b_000001.tga").out);
  EXPECT_EQ(info["parNum"], 10);
  EXPECT_EQ(info["parDen"], 11);
  EXPECT_EQ(info["fieldType"], 2);
  EXPECT_EQ(info["timeScale"], 30000);
}

TEST(ConvertCommand, TheTopLineComesFirstWhereEveryProgramReadsItRight) {
  const std::string folder = FreshFolder("convert");
  CaptureClip(folder, NxFileTypeTGA, nullptr, kOrientationBottomUp, kAcrossAMinute);
  for (const char* type : {"tif", "bmp"}) {
    const std::string name = type;
    ASSERT_EQ(RunTool(folder, "convert a_000000.tga " + name + " --type " + name).exitCode, 0);
    EXPECT_EQ(
        Json::parse(RunTool(folder, "--json info " + name + "_000000." + name).out)["orientation"],
        1);
    const ToolRun other = RunShell(folder, "for f in a_000000.tga " + name + "_000000." + name +
                                               "; do ffmpeg -y -nostdin -v error -i $f -f rawvideo "
                                               "-pix_fmt rgb24 $f.raw || exit 1; done; "
                                               "cmp a_000000.tga.raw " +
                                               name + "_000000." + name + ".raw");
    EXPECT_EQ(other.exitCode, 0) << other.out << other.err;
  }
  // The same format keeps the order of its lines, and so each byte.
  for (const char* told : {"", " --format 'bgr '"}) {
    ASSERT_EQ(RunShell(folder, "rm -f same*").exitCode, 0);
    ASSERT_EQ(RunTool(folder, std::string("convert a_000000.tga same") + told).exitCode, 0);
    EXPECT_EQ(RunShell(folder, "cmp a_000000.tga same_000000.tga").exitCode, 0) << told;
  }
}

TEST(ConvertCommand, AlphaGoesAlongWhereTheNewTypeHasIt) {
  const std::string folder = FreshFolder("convert");
  MakeClip(folder, 1);
  ASSERT_EQ(RunTool(folder, "convert src_000001.tga a --format bgrA").exitCode, 0);
  // 0x40 in the alpha of every pixel.
  std::vector<uint8_t> bytes = ReadWholeFile(folder + "/a_000000.tga");
  ASSERT_GE(bytes.size(), 128U + 6 * 4 * 4);
  for (size_t i = 128 + 3; i < 128 + 6 * 4 * 4; i += 4) bytes[i] = 0x40;
  WriteFile(folder + "/a_000000.tga", std::string(bytes.begin(), bytes.end()));
  ASSERT_EQ(RunTool(folder, "extract a_000000.tga 0 a.raw --format rgba").exitCode, 0);
  const struct {
    const char* type;
    const char* withAlpha;
    const char* without;
  } rows[] = {{"bmp", "bgrA", "bgr "}, {"tif", "rgba", "rgb "}, {"tga", "bgrA", "bgr "}};
  for (const auto& row : rows) {
    const std::string type = row.type;
    ASSERT_EQ(RunTool(folder, "convert a_000000.tga with-" + type + " --type " + type).exitCode, 0);
    const std::string with = "with-" + type + "_000000." + type;
    EXPECT_EQ(Json::parse(RunTool(folder, "--json info " + with).out)["fourcc"], row.withAlpha);
    EXPECT_EQ(RunTool(folder, "extract " + with + " 0 " + type + ".raw --format rgba").exitCode, 0);
    EXPECT_EQ(RunShell(folder, "cmp a.raw " + type + ".raw").exitCode, 0) << type;
    ASSERT_EQ(RunTool(folder, "convert src_000001.tga plain --type " + type).exitCode, 0);
    EXPECT_EQ(Json::parse(RunTool(folder, "--json info plain_000000." + type).out)["fourcc"],
              row.without);
  }
}

TEST(ConvertCommand, SoundThatIsLeftBehindIsTold) {
  const std::string folder = FreshFolder("convert");
  MakeClip(folder, 1);
  WriteFile(folder + "/src.wav", "no sound at all");
  ToolRun run = RunTool(folder, "convert src_000001.tga a");
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_NE(run.err.find("/src.wav"), std::string::npos) << run.err;
  EXPECT_EQ(RunTool(folder, "convert src_000001.tga b --audio none").err, "");
  ASSERT_EQ(RunShell(folder, "rm src.wav").exitCode, 0);
  EXPECT_EQ(RunTool(folder, "convert src_000001.tga c").err, "");
  // The second track is of another kind, so it and the third one stay behind.
  MakeSound(folder + "/src.wav", 1, 3000, 0);
  MakeSound(folder + "/src_A2.wav", 2, 3000, 0);
  MakeSound(folder + "/src_A3.wav", 1, 3000, 0);
  run = RunTool(folder, "convert src_000001.tga d --rate 25000/1000");
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_NE(run.err.find("/src_A2.wav"), std::string::npos) << run.err;
  MakeSound(folder + "/two.wav", 1, 3000, 0);
  ASSERT_EQ(RunShell(folder, "mv two.wav src_A2.wav").exitCode, 0);
  EXPECT_EQ(RunTool(folder, "convert src_000001.tga e --rate 25000/1000").err, "");
}

TEST(ConvertCommand, RawFramesThatCannotBeOpenedAgainAreTold) {
  const std::string folder = FreshFolder("convert");
  MakeClip(folder, 1);
  ToolRun run = RunTool(folder, "convert src_000001.tga a --type yuv --size 64x48");
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_NE(run.err.find("64x48"), std::string::npos) << run.err;
  run = RunTool(folder, "convert src_000001.tga b --type yuv --size 720x480");
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(RunTool(folder, "info b_000000.yuv").exitCode, 0);
}

TEST(ConvertCommand, ASidecarThatWasThereIsTold) {
  const std::string folder = FreshFolder("convert");
  MakeClip(folder, 1);
  WriteFile(folder + "/b_000000.vyr", "somebody's notes");
  const ToolRun run = RunTool(folder, "convert src_000001.tga b --type bmp");
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_NE(run.err.find("b_000000.vyr was there before"), std::string::npos) << run.err;
  EXPECT_EQ(ReadWholeFile(folder + "/b_000000.vyr").size(), 16U);
}

TEST(ConvertCommand, WrongLineIsExitCodeTwo) {
  const std::string folder = FreshFolder("convert");
  MakeClip(folder, 1);
  for (const char* line :
       {"convert src_000001.tga", "convert src_000001.tga b --type xyz",
        "convert src_000001.tga b --range 3-1", "convert src_000001.tga b --audio 8au",
        "convert src_000001.tga b --threads 0", "convert src_000001.tga b --start-number 1x",
        "convert src_000001.tga b --size 10", "extract src_000001.tga",
        "framehash src_000001.tga --format xx", "framehash src_000001.tga --range zz",
        "convert src_000001.tga b --size 9000x64 --type dpx",
        "convert src_000001.tga b --size 64x8193 --type tif", "extract src_000001.tga -1 x"}) {
    EXPECT_EQ(RunTool(folder, line).exitCode, 2) << line;
  }
  EXPECT_EQ(FilesIn(folder), (std::vector<std::string>{"src_000001.tga"}));
  EXPECT_EQ(RunTool(folder, "convert src_000001.tga no/such/b").exitCode, 1);
  EXPECT_EQ(RunTool(folder, "convert src_000001.tga b --type bmp --format v219").exitCode, 1);
}

TEST(SoundCopy, SamplesKeepTheirValueInDeeperFormats) {
  uint8_t narrow[4] = {};
  uint8_t wide[4] = {};
  for (const char* deeper : {"24au", "32au", "32af"}) {
    const FourCCCode code = FourCC(std::string(deeper) == "24au"   ? "24au"
                                   : std::string(deeper) == "32au" ? "32au"
                                                                   : "32af");
    for (int value = -32768; value < 32768; ++value) {
      narrow[0] = static_cast<uint8_t>(value);
      narrow[1] = static_cast<uint8_t>(value >> 8);
      tools::StoreSample(code, tools::LoadSample(FourCC("16au"), narrow), wide);
      uint8_t back[4] = {};
      tools::StoreSample(FourCC("16au"), tools::LoadSample(code, wide), back);
      ASSERT_EQ(back[0], narrow[0]) << deeper << " " << value;
      ASSERT_EQ(back[1], narrow[1]) << deeper << " " << value;
    }
  }
}

TEST(SoundCopy, WhatIsBeyondFullScaleIsHeld) {
  uint8_t out[4] = {};
  tools::StoreSample(FourCC("24au"), 1.5, out);
  EXPECT_EQ(out[0] | out[1] << 8 | out[2] << 16, 0x7FFFFF);
  tools::StoreSample(FourCC("16au"), -2.0, out);
  EXPECT_EQ(out[0] | out[1] << 8, 0x8000);
  tools::StoreSample(FourCC("16au"), 1.5 / 32768, out);
  EXPECT_EQ(out[0] | out[1] << 8, 2);
}

}  // namespace
}  // namespace morvane::test
