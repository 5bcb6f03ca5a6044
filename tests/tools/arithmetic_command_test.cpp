// timecode, pixels and lut: functions of the media layer, run as a script runs them.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/test_environment.h"
#include "tools/tool_runner.h"

namespace morvane::test {
namespace {

using Json = nlohmann::json;

struct TimecodeRow {
  const char* arguments;
  int result;
  Json value;
};

TEST(TimecodeCommand, GivesResultAndValueOfTheFunctions) {
  const TimecodeRow rows[] = {
      {"text 1800 --rate 30000/1001 --drop", 0, "00;01;00;02"},
      {"text 1800 --rate 24000/1001 --drop", 0, "00:01:15:00"},
      {"text -1 --rate 25000/1000", 0, "-00:00:00:01"},
      {"frame -00:00:00:01 --rate 25000/1000", 0, -1},
      {"frame '01;00;00;00' --rate 30000/1001 --drop", 0, 107892},
      {"bcd 1800 --rate 30000/1001 --drop", 0, "0x02000100"},
      {"unbcd 0xC2000100 --rate 30000/1001 --drop", 0, 1800},
      {"unbcd 02000100 --rate 30000/1001 --drop", 0, 1800},
      {"normalize 99999999 --class 0", 0, "23:59:59:23"},
      {"normalize 00010000 --class 2 --drop", 0, "00;01;00;02"},
      {"compare 01:00:00:00 '00;59;59;29'", 0, 1},
      {"compare 01:00:00:00 01:00:00:01", 0, 2},
      {"text 100 --rate 48000/1000", 1, "00:00:00:00"},
      {"unbcd 1 --rate 25000/1001", 1, 0},
  };
  const std::string folder = FreshFolder("timecode");
  for (const TimecodeRow& row : rows) {
    const ToolRun run = RunTool(folder, std::string("--json timecode ") + row.arguments);
    EXPECT_EQ(run.exitCode, row.result) << row.arguments << "\n" << run.err;
    ASSERT_TRUE(Json::accept(run.out)) << row.arguments << "\n" << run.out << run.err;
    EXPECT_EQ(Json::parse(run.out), (Json{{"result", row.result}, {"value", row.value}}))
        << row.arguments;
  }
}

TEST(TimecodeCommand, RefusedPairIsToldOnStandardError) {
  const ToolRun run = RunTool(FreshFolder("timecode"), "timecode text 100 --rate 25000/1001");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.out, "00:00:00:00\n");
  EXPECT_EQ(run.err.rfind("morvanectl: error 1: 25000/1001 is no rate", 0), 0U) << run.err;
}

TEST(ArithmeticCommands, WrongLineIsExitCodeTwo) {
  const std::string folder = FreshFolder("line");
  for (const char* line :
       {"timecode", "timecode text 5", "timecode text x --rate 25000/1000",
        "timecode text 5 --rate 25", "timecode text 5 --rate 25000/0",
        "timecode unbcd 0x1_0 --rate 25000/1000", "timecode unbcd 0x100000000 --rate 25000/1000",
        "timecode normalize 1 --class 3", "timecode compare 1 2", "lut",
        "pixels a b --from bgrA --to xxxx --size 2x2", "pixels a b --from bgr --to bgrA --size 2x2",
        "pixels a b --from bgrA --to bgrA --size 0x2", "pixels a b --from bgrA --to bgrA",
        "pixels a b --from bgrA --to bgrA --size 2x2 --fill 12345",
        "pixels a b --from bgrA --to bgrA --size 2x2 --matrix 6"}) {
    const ToolRun run = RunTool(folder, line);
    EXPECT_EQ(run.exitCode, 2) << "morvanectl " << line << "\n" << run.out;
    EXPECT_NE(run.err, "") << line;
  }
}

std::vector<uint8_t> Bytes(const std::string& text) {
  return {text.begin(), text.end()};
}

TEST(PixelsCommand, ConvertsOneRawImageIntoANewFile) {
  const std::string folder = FreshFolder("pixels");
  // Two pixels, two lines: red, green; blue, white. B, G, R, A.
  const std::string bgra =
      std::string("\0\0\xFF\x11\0\xFF\0\x22", 8) + std::string("\xFF\0\0\x33\xFF\xFF\xFF\x44", 8);
  WriteFile(folder + "/in.raw", bgra);
  ToolRun run =
      RunTool(folder, "--json pixels in.raw out.raw --from bgrA --to 'rgb ' --size 2x2 --flip");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(Json::parse(run.out), (Json{{"result", 0}}));
  const std::vector<uint8_t> wanted =
      Bytes(std::string("\0\0\xFF\xFF\xFF\xFF", 6) + std::string("\xFF\0\0\0\xFF\0", 6));
  EXPECT_EQ(ReadWholeFile(folder + "/out.raw"), wanted);

  run = RunTool(folder, "--json pixels in.raw out.raw --from bgrA --to bgrA --size 2x2");
  EXPECT_EQ(run.exitCode, 1) << "the file was there";
  EXPECT_EQ(Json::parse(run.out)["error"], -2);
  EXPECT_EQ(ReadWholeFile(folder + "/out.raw"), wanted);
}

TEST(PixelsCommand, LinesOfTenBitYuvArePaddedTo48Pixels) {
  const std::string folder = FreshFolder("pixels");
  WriteFile(folder + "/in.raw", std::string(16, '\xFF'));
  const ToolRun run = RunTool(folder, "pixels in.raw out.raw --from bgrA --to v219 --size 2x2");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const std::vector<uint8_t> out = ReadWholeFile(folder + "/out.raw");
  ASSERT_EQ(out.size(), 256U);
  // White: Cb 512, Y 940, Cr 512.
  EXPECT_EQ(std::vector<uint8_t>(out.begin(), out.begin() + 4),
            (std::vector<uint8_t>{0x00, 0xB2, 0x0E, 0x20}));
  // There is no way up from eight bits.
  EXPECT_EQ(Json::parse(RunTool(folder,
                                "--json pixels in.raw b.raw --from 2vuy --to v219 "
                                "--size 4x2")
                            .out)["error"],
            -1);
}

TEST(PixelsCommand, PairsInsideEightBitYuvAreTurnedAndNotScaled) {
  const std::string folder = FreshFolder("pixels");
  WriteFile(folder + "/in.raw", "UYVy");
  ToolRun run = RunTool(folder, "pixels in.raw out.raw --from 2vuy --to yuy2 --size 2x1");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(ReadWholeFile(folder + "/out.raw"), Bytes("YUyV"));
  run = RunTool(folder,
                "--json pixels in.raw b.raw --from 2vuy --to yuy2 --size 2x1 --to-size 4x2 "
                "--stretch");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(Json::parse(run.out)["error"], -1);
  EXPECT_EQ(FilesIn(folder), (std::vector<std::string>{"in.raw", "out.raw"}));
}

TEST(PixelsCommand, FillColoursTheBars) {
  const std::string folder = FreshFolder("pixels");
  WriteFile(folder + "/in.raw", std::string("\1\2\3\4\5\6\7\x8", 8));
  const ToolRun run = RunTool(folder,
                              "pixels in.raw out.raw --from rgba --to rgba --size 2x1 "
                              "--to-size 2x3 --fill 10203040");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const std::string bar = "\x10\x20\x30\x40\x10\x20\x30\x40";
  EXPECT_EQ(ReadWholeFile(folder + "/out.raw"), Bytes(bar + "\1\2\3\4\5\6\7\x8" + bar));
}

TEST(PixelsCommand, AFileOfAnotherLengthIsRefused) {
  const std::string folder = FreshFolder("pixels");
  WriteFile(folder + "/in.raw", "seven b");
  for (const char* in : {"in.raw", "nosuch.raw", "."}) {
    const ToolRun run =
        RunTool(folder, std::string("pixels ") + in + " out.raw --from bgrA --to 2vuy --size 2x2");
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err.rfind(std::string("morvanectl: error -2: ") + in, 0), 0U) << run.err;
  }
  EXPECT_EQ(FilesIn(folder), (std::vector<std::string>{"in.raw"}));
}

TEST(LutCommand, ReadsThreeCurvesInTheirOrder) {
  const std::string folder = FreshFolder("lut");
  std::string text = "a comment\nLUT: 3 1024\n";
  for (int curve = 0; curve < 3; ++curve) {
    for (int i = 0; i < 1024; ++i) text += std::to_string(curve * 2000 + i) + "\n";
  }
  WriteFile(folder + "/a.lut", text);
  ToolRun run = RunTool(folder, "--json lut a.lut");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const Json document = Json::parse(run.out);
  EXPECT_EQ(document["entries"], 1024);
  EXPECT_EQ(document["first"].size(), 1024U);
  EXPECT_EQ(document["first"][1023], 1023);
  EXPECT_EQ(document["third"][5], 2005);
  EXPECT_EQ(document["second"][5], 4005);

  WriteFile(folder + "/b.lut", "LUT: 3 512\n");
  for (const char* name : {"b.lut", "nosuch.lut"}) {
    run = RunTool(folder, std::string("--json lut ") + name);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(Json::parse(run.out)["error"], -2);
    EXPECT_NE(run.err.find(name), std::string::npos);
  }
}

}  // namespace
}  // namespace morvane::test
