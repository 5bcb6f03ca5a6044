// info, framehash and extract, run as a user runs them, on clips that the test makes.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "media/media_factory.h"
#include "media/media_wav.h"
#include "support/test_environment.h"
#include "tools/clip_maker.h"
#include "tools/tool_runner.h"

namespace morvane::test {
namespace {

using Json = nlohmann::json;

// The hashes of a list of frames, which are its last column.
std::vector<std::string> HashesOf(const ToolRun& run) {
  EXPECT_EQ(run.exitCode, 0) << run.err;
  std::vector<std::string> hashes;
  std::istringstream lines(run.out);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && line[0] != '#') hashes.push_back(line.substr(line.rfind(' ') + 1));
  }
  return hashes;
}

TEST(FramehashCommand, ListsWhatFfmpegLists) {
  const std::string folder = FreshFolder("hash");
  MakeClip(folder, 3);
  for (const std::string type : {"tga", "bmp"}) {
    // A width that is a multiple of four: others want lines of whole words in a BMP.
    ASSERT_EQ(
        RunTool(folder, "convert src_000001.tga " + type + " --size 8x4 --type " + type).exitCode,
        0);
    const auto theirs = HashesOf(RunShell(
        folder, "ffmpeg -v error -i " + type + "_%06d." + type + " -pix_fmt rgb24 -f framemd5 -"));
    EXPECT_EQ(theirs.size(), 3U);
    EXPECT_EQ(
        HashesOf(RunTool(folder, "framehash " + type + "_000000." + type + " --format 'rgb '")),
        theirs)
        << type;
  }
  ASSERT_EQ(RunTool(folder, "convert src_000001.tga raw --type yuv --size 720x480").exitCode, 0);
  const auto theirs = HashesOf(RunShell(folder,
                                        "cat raw_00000?.yuv | ffmpeg -v error -f rawvideo -pix_fmt "
                                        "uyvy422 -s 720x480 -i - -f framemd5 -"));
  EXPECT_EQ(theirs.size(), 3U);
  EXPECT_EQ(HashesOf(RunTool(folder, "framehash raw_000000.yuv")), theirs);
}

TEST(FramehashCommand, AListThatWasStoppedIsNoneToTrust) {
  const std::string folder = FreshFolder("hash");
  MakeClip(folder, 1);
  // More lines than a pipe holds, so that the listing waits for its reader.
  const ToolRun run = RunTool(
      folder, "framehash src_000001.tga",
      "for n in $(seq -w 2 3000); do ln src_000001.tga src_00$n.tga; done; mkfifo pipe; "
      "stopped() { \"$@\" > pipe & exec 3<pipe; read line <&3; kill -TERM $!; cat <&3 > list; "
      "wait $!; }; stopped");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.err.find("the list is not complete"), std::string::npos) << run.err;
  EXPECT_GT(ReadWholeFile(folder + "/list").size(), 1000U);
}

TEST(InfoCommand, TellsOfEveryTypeWhatWasWritten) {
  const std::string folder = FreshFolder("info");
  MakeClip(folder, 2);
  const struct {
    const char* type;
    const char* fourcc;
    int imageOffset;
  } rows[] = {{"dpx", "11rb", 2048}, {"cin", "10rb", 2048}, {"tga", "bgr ", 128},
              {"bmp", "bgr ", 512},  {"tif", "rgb ", 512},  {"yuv", "2vuy", 0}};
  for (const auto& row : rows) {
    const std::string type = row.type;
    ASSERT_EQ(RunTool(folder, "convert src_000001.tga " + type + " --size 720x576 --type " + type)
                  .exitCode,
              0)
        << type;
    const ToolRun run = RunTool(folder, "--json info " + type + "_000000." + type);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const Json info = Json::parse(run.out);
    EXPECT_EQ(info["fourcc"], row.fourcc) << type;
    EXPECT_EQ(info["width"], 720) << type;
    EXPECT_EQ(info["height"], 576) << type;
    EXPECT_EQ(info["frameCount"], 2) << type;
    EXPECT_EQ(info["imageOffset"], row.imageOffset) << type;
  }
}

TEST(InfoCommand, SoundAloneHasNoPictureAndTellsItsMetadata) {
  const std::string folder = FreshFolder("info");
  NxMediaWAV wav;
  NxMediaCreateInfo info = {};
  info.streams = NxStreamsAudio;
  info.audio = AudioFormatRow(5);
  info.audio.fileCount = 1;
  ASSERT_EQ(wav.CreateWrite("x", nullptr, nullptr, folder, &info, kCreateNew, kAccessWrite, false),
            NxErrSuccess);
  NxMediaMetadata metadata = {};
  metadata.presentFlags = kMetaReelName | kMetaExtended;
  PutText("REEL 7", metadata.reelName, sizeof metadata.reelName);
  PutText("10:20:30:04", metadata.extended.orgTC, sizeof metadata.extended.orgTC);
  PutText("second pass", metadata.extended.comment, sizeof metadata.extended.comment);
  metadata.extended.altTCScale = 25000;
  metadata.extended.dataType = 3;
  ASSERT_EQ(wav.SetMetadata(&metadata), NxErrSuccess);
  std::vector<uint8_t> sound(600, 7);
  NxAudioWriteRequest request;
  request.buffer = sound.data();
  request.bytes = 600;
  ASSERT_EQ(wav.WriteAudio(&request), NxErrSuccess);
  ASSERT_EQ(wav.Close(), NxErrSuccess);

  const ToolRun run = RunTool(folder, "--json info x.wav");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const Json document = Json::parse(run.out);
  EXPECT_EQ(document["class"], "NxMediaWAV");
  EXPECT_EQ(document["width"], 0);
  EXPECT_EQ(document["audio"]["fourcc"], "24au");
  EXPECT_EQ(document["audio"]["samplesPerFile"], Json{100});
  EXPECT_EQ(document["metadata"]["reelName"], "REEL 7");
  const Json& extended = document["metadata"]["extended"];
  EXPECT_EQ(extended["orgTC"], "10:20:30:04");
  EXPECT_EQ(extended["comment"], "second pass");
  EXPECT_EQ(extended["altTCScale"], 25000);
  EXPECT_EQ(extended["dataType"], 3);
}

TEST(InfoCommand, NamesWhatKeepsAClipFromOpening) {
  const std::string folder = FreshFolder("info");
  MakeClip(folder, 1);
  WriteFile(folder + "/src_000001.vyr", "no XML");
  ToolRun run = RunTool(folder, "info src_000001.tga");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.err.find("error 100005"), std::string::npos) << run.err;
  EXPECT_NE(run.err.find("sidecar src_000001.vyr"), std::string::npos) << run.err;
  ASSERT_EQ(RunShell(folder, "rm src_000001.vyr; mkdir x.dpx; mkfifo y.dpx").exitCode, 0);
  run = RunTool(folder, "info x.dpx");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.err.find("x.dpx is a folder"), std::string::npos) << run.err;
  EXPECT_EQ(run.err.find("Unknown"), std::string::npos) << run.err;
  run = RunTool(folder, "info y.dpx");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.err.find("y.dpx is no file"), std::string::npos) << run.err;
  run = RunTool(folder, "info src_000009.tga");
  EXPECT_NE(run.err.find("does not exist"), std::string::npos) << run.err;
}

TEST(InfoCommand, APipeBesideAClipIsNoPartOfIt) {
  const std::string folder = FreshFolder("info");
  MakeClip(folder, 2);
  ASSERT_EQ(RunShell(folder, "mkfifo src.wav src_000003.tga").exitCode, 0);
  ToolRun run = RunTool(folder, "--json info src_000001.tga");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(Json::parse(run.out)["frameCount"], 2);
  ASSERT_EQ(RunShell(folder, "mkfifo src_000001.vyr").exitCode, 0);
  run = RunTool(folder, "info src_000001.tga");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.err.find("sidecar src_000001.vyr"), std::string::npos) << run.err;
}

TEST(ExtractCommand, WritesTheRawPixelsOfOneFrame) {
  const std::string folder = FreshFolder("extract");
  MakeClip(folder, 2);
  ToolRun run = RunTool(folder, "--json extract src_000001.tga 1 out.raw --format 'rgb '");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(Json::parse(run.out)["bytes"], 72);
  const std::vector<uint8_t> pixels = ReadWholeFile(folder + "/out.raw");
  ASSERT_EQ(pixels.size(), 72U);
  EXPECT_EQ(pixels[0], 20);
  EXPECT_EQ(pixels[1], 200);
  EXPECT_EQ(pixels[2], 10);
  EXPECT_EQ(pixels[69], 43);  // the last pixel's red

  run = RunTool(folder, "extract src_000001.tga 0 out.raw");
  EXPECT_EQ(run.exitCode, 1) << "the file was there";
  EXPECT_EQ(ReadWholeFile(folder + "/out.raw"), pixels);
  run = RunTool(folder, "--json extract src_000001.tga 2 other.raw");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.err.find("has frames 0 to 1"), std::string::npos) << run.err;
  EXPECT_EQ(RunTool(folder, "extract src_000001.tga 0 a.png --format bgrA").exitCode, 2);
}

TEST(ExtractCommand, WritesAPngThatAnotherReaderSees) {
  const std::string folder = FreshFolder("extract");
  MakeClip(folder, 1);
  const ToolRun run = RunTool(folder, "extract src_000001.tga 0 out.png");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  ASSERT_EQ(RunTool(folder, "extract src_000001.tga 0 out.raw --format 'rgb '").exitCode, 0);
  const ToolRun other = RunShell(
      folder,
      "ffmpeg -v error -i out.png -f rawvideo -pix_fmt rgb24 png.raw && cmp png.raw out.raw");
  EXPECT_EQ(other.exitCode, 0) << other.err << other.out;
}

}  // namespace
}  // namespace morvane::test
