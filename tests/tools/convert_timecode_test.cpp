// What becomes of timecode when a clip is converted, run as a user runs it.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/test_environment.h"
#include "tools/clip_maker.h"
#include "tools/tool_runner.h"

namespace morvane::test {
namespace {

using Json = nlohmann::json;

TEST(ConvertCommand, TimecodeAndReelGoAlong) {
  const std::string folder = FreshFolder("convert");
  MakeClip(folder, 4);
  ASSERT_EQ(RunTool(folder,
                    "convert src_000001.tga a --type dpx --rate 25000/1000 --reel Seven "
                    "--start-number 000001")
                .exitCode,
            0);
  // The timecode of the first frame, as it stands in the header of a DPX frame.
  ASSERT_EQ(RunShell(folder,
                     "printf '\\001\\002\\003\\026' | "
                     "dd of=a_000001.dpx bs=1 seek=1920 conv=notrunc status=none")
                .exitCode,
            0);
  ASSERT_EQ(Json::parse(RunTool(folder, "--json info a_000001.dpx").out)["timecode"],
            "01:02:03:16");
  const ToolRun run = RunTool(folder, "convert a_000001.dpx b --range 2-3 --start-number 000001");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const Json copy = Json::parse(RunTool(folder, "--json info b_000001.dpx").out);
  EXPECT_EQ(copy["frameCount"], 2);
  EXPECT_EQ(copy["timeScale"], 25000);
  EXPECT_EQ(copy["fourcc"], Json::parse(RunTool(folder, "--json info a_000001.dpx").out)["fourcc"]);
  const std::vector<uint8_t> first = ReadWholeFile(folder + "/b_000001.dpx");
  const std::vector<uint8_t> second = ReadWholeFile(folder + "/b_000002.dpx");
  ASSERT_GT(second.size(), 2048U);
  EXPECT_EQ(std::string(first.begin() + 160, first.begin() + 166), std::string("Seven\0", 6));
  EXPECT_EQ(copy["timecode"], "01:02:03:18");
}

TEST(ConvertCommand, DropFrameAndUserBitsOfDpxGoAlong) {
  const std::string folder = FreshFolder("convert");
  CaptureClip(folder, NxFileTypeDPX, "000001", kOrientationTopDown, kAcrossAMinute);
  ASSERT_EQ(RunTool(folder, "convert a_000001.dpx b --start-number 000001").exitCode, 0);
  for (const char* name : {"_000001.dpx", "_000002.dpx", "_000003.dpx", "_000004.dpx"}) {
    const std::vector<uint8_t> source = ReadWholeFile(folder + "/a" + name);
    const std::vector<uint8_t> copy = ReadWholeFile(folder + "/b" + name);
    ASSERT_GT(copy.size(), 2048U);
    ASSERT_EQ(copy.size(), source.size());
    EXPECT_EQ(std::vector<uint8_t>(copy.begin() + 1920, copy.begin() + 1928),
              std::vector<uint8_t>(source.begin() + 1920, source.begin() + 1928))
        << name;
  }
  EXPECT_NE(RunShell(folder, "cat b_000001.vyr").out.find("<DF>1</DF>"), std::string::npos);
}

// The timecode word and the user bits in the header of a DPX frame, as they stand there.
std::string WordsOf(const std::string& path) {
  const std::vector<uint8_t> bytes = ReadWholeFile(path);
  std::string text;
  for (size_t i = 1920; i < 1928 && i < bytes.size(); ++i) {
    char digits[4];
    std::snprintf(digits, sizeof digits, "%02x", bytes[i]);
    text += digits;
  }
  return text;
}

// Makes a clip as another program does: no sidecar, the four bytes `rate` in each header, timecode
// 01:00:59:28, :29, 01:01:00:02, :03, and user bits of their own in each frame.
void ForeignClip(const std::string& folder, const std::string& rate) {
  MakeClip(folder, 4);
  ASSERT_EQ(RunTool(folder, "convert src_000001.tga a --type dpx --start-number 000001").exitCode,
            0);
  ASSERT_EQ(RunShell(folder, "rm a_000001.vyr").exitCode, 0);
  const std::string words[] = {{1, 0, 0x59, 0x28}, {1, 0, 0x59, 0x29}, {1, 1, 0, 2}, {1, 1, 0, 3}};
  for (size_t i = 0; i < 4; ++i) {
    const std::string path = folder + "/a_00000" + std::to_string(i + 1) + ".dpx";
    const std::vector<uint8_t> bytes = ReadWholeFile(path);
    std::string file(bytes.begin(), bytes.end());
    file.replace(1724, 4, rate);
    file.replace(1920, 4, words[i]);
    file.replace(1924, 4, {0x32, 0x54, 0x76, static_cast<char>(0x18 + i)});
    WriteFile(path, file);
  }
}

TEST(ConvertCommand, EachForeignDpxFrameKeepsItsOwnTimecode) {
  const std::vector<std::string> wanted = {"0100592832547618", "0100592932547619",
                                           "010100023254761a", "010100033254761b"};
  const struct {
    const char* what;
    std::string rate;
  } rows[] = {{"undefined", "\xff\xff\xff\xff"},
              {"zero", std::string(4, '\0')},
              {"48", {0x42, 0x40, 0, 0}},
              {"29.97, whose drop frame no header tells of", "\x41\xef\xc2\x8f"}};
  for (const auto& row : rows) {
    const std::string folder = FreshFolder("convert");
    ForeignClip(folder, row.rate);
    ASSERT_EQ(WordsOf(folder + "/a_000003.dpx"), wanted[2]) << row.what;
    ASSERT_EQ(RunTool(folder, "convert a_000001.dpx b --start-number 000001").exitCode, 0);
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(WordsOf(folder + "/b_00000" + std::to_string(i + 1) + ".dpx"),
                wanted[static_cast<size_t>(i)])
          << row.what << ", frame " << i;
    }
    for (const std::string told : {"", " --rate 30000/1001"}) {
      const std::string name = told.empty() ? "c" : "d";
      ASSERT_EQ(RunTool(folder, "convert a_000001.dpx " + name +
                                    " --range 2-3 --start-number 000001" + told)
                    .exitCode,
                0);
      EXPECT_EQ(WordsOf(folder + "/" + name + "_000001.dpx"), wanted[2]) << row.what << told;
      EXPECT_EQ(WordsOf(folder + "/" + name + "_000002.dpx"), wanted[3]) << row.what << told;
      // In the sidecar too: 01:01:00:02 as a number.
      EXPECT_NE(RunShell(folder, "cat " + name + "_000001.vyr").out.find("<TC>33554689<"),
                std::string::npos)
          << row.what << told;
    }
  }
}

TEST(ConvertCommand, AFrameWithoutTimecodeIsCountedAndMidnightIsBelieved) {
  const std::string folder = FreshFolder("convert");
  ForeignClip(folder, "\x41\xef\xc2\x8f");
  const auto put = [&folder](int frame, const std::string& words) {
    const std::string path = folder + "/a_00000" + std::to_string(frame) + ".dpx";
    const std::vector<uint8_t> bytes = ReadWholeFile(path);
    std::string file(bytes.begin(), bytes.end());
    WriteFile(path, file.replace(1920, 8, words + std::string(8 - words.size(), '\0')));
  };
  put(3, "");
  ASSERT_EQ(RunTool(folder, "convert a_000001.dpx b --start-number 000001").exitCode, 0);
  EXPECT_EQ(WordsOf(folder + "/b_000003.dpx").substr(0, 8), "01010000");
  EXPECT_EQ(WordsOf(folder + "/b_000004.dpx"), "010100033254761b");
  put(1, "\x23\x59\x59\x28");
  put(2, "\x23\x59\x59\x29");
  ASSERT_EQ(RunTool(folder, "convert a_000001.dpx c --start-number 000001").exitCode, 0);
  EXPECT_EQ(WordsOf(folder + "/c_000002.dpx"), "2359592900000000");
  EXPECT_EQ(WordsOf(folder + "/c_000003.dpx"), "0000000000000000");
}

TEST(ConvertCommand, AnotherRateThatIsToldCountsOnFromTheFirstFrame) {
  const std::string folder = FreshFolder("convert");
  ForeignClip(folder, "\x41\xef\xc2\x8f");
  ASSERT_EQ(RunTool(folder,
                    "convert a_000001.dpx b --start-number 000001 --rate 60000/1001 "
                    "--range 1-3")
                .exitCode,
            0);
  // At 60 a number counts a pair of frames.
  EXPECT_EQ(WordsOf(folder + "/b_000001.dpx"), "0100592932547619");
  EXPECT_EQ(WordsOf(folder + "/b_000003.dpx"), "010100003254761b");
}

TEST(ConvertCommand, TimecodeThatCannotBeCountedIsNotInvented) {
  const std::string folder = FreshFolder("convert");
  MakeClip(folder, 3);
  WriteSidecar(folder + "/src_000001.vyr", "12", "1");
  ASSERT_EQ(RunTool(folder, "convert src_000001.tga b --range 1-2 --start-number 000001").exitCode,
            0);
  EXPECT_NE(RunShell(folder, "cat b_000001.vyr").out.find("<FileDataFlags>0<"), std::string::npos);
  ASSERT_EQ(RunTool(folder, "convert src_000001.tga c --start-number 000001").exitCode, 0);
  EXPECT_NE(RunShell(folder, "cat c_000001.vyr").out.find("<TC>65536<"), std::string::npos);
}

TEST(ConvertCommand, AFrameInTheMiddleKeepsItsOwnTimecode) {
  const std::string folder = FreshFolder("convert");
  CaptureClip(folder, NxFileTypeTGA, "000001", kOrientationTopDown, kAcrossAMinute);
  ASSERT_EQ(RunTool(folder, "convert a_000003.tga b --type dpx --start-number 000001").exitCode, 0);
  const std::vector<uint8_t> copy = ReadWholeFile(folder + "/b_000001.dpx");
  ASSERT_GT(copy.size(), 2048U);
  EXPECT_EQ(std::vector<uint8_t>(copy.begin() + 1920, copy.begin() + 1924),
            (std::vector<uint8_t>{0x01, 0x01, 0x00, 0x02}));
}

}  // namespace
}  // namespace morvane::test
