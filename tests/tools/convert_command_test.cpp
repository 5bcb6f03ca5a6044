// info, framehash, extract and convert, run as a user runs them, on clips that the test makes.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "media/media_factory.h"
#include "media/media_wav.h"
#include "media/riff_wave.h"
#include "support/test_environment.h"
#include "tools/sound_copy.h"
#include "tools/tool_runner.h"

namespace morvane::test {
namespace {

using Json = nlohmann::json;

// A clip of `frames` TGA frames, 6x4, each of another colour and no two pixels alike.
void MakeClip(const std::string& folder, int frames) {
  for (int frame = 0; frame < frames; ++frame) {
    std::string file(18, '\0');
    file[2] = 2;  // plain RGB
    file[12] = 6;
    file[14] = 4;
    file[16] = 24;
    file[17] = 0x20;  // top row first
    for (int i = 0; i < 24; ++i) {
      file += static_cast<char>(10 + i);          // blue
      file += static_cast<char>(200 - 3 * i);     // green
      file += static_cast<char>(frame * 20 + i);  // red
    }
    char name[32];
    std::snprintf(name, sizeof name, "/src_%06d.tga", frame + 1);
    WriteFile(folder + name, file);
  }
}

// A WAV file of 48 kHz sound, 16 bits, whose n-th sample is n + `offset` (mod 2^16).
void MakeSound(const std::string& path, int channels, int samples, int offset) {
  RiffWaveFile file;
  WaveFormat format;
  format.fourcc = FourCC("16au");
  format.channels = channels;
  format.sampleRate = 48000;
  format.bits = 16;
  ASSERT_EQ(file.Create(path, kCreateNew, format), NxErrSuccess);
  std::vector<int16_t> data;
  for (int i = 0; i < samples * channels; ++i) data.push_back(static_cast<int16_t>(i + offset));
  ASSERT_EQ(file.Append(data.data(), data.size() * 2), NxErrSuccess);
  ASSERT_EQ(file.Flush(), NxErrSuccess);
  ASSERT_EQ(file.Close(), NxErrSuccess);
}

std::string Hashes(const std::string& folder, const std::string& arguments) {
  const ToolRun run = RunTool(folder, "framehash --format 'rgb ' " + arguments);
  EXPECT_EQ(run.exitCode, 0) << run.err;
  // The lines of frames; the header tells the rate, which differs.
  const size_t head = run.out.rfind('#');
  return run.out.substr(run.out.find('\n', head));
}

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

// A sidecar that somebody wrote: its rate as it stands there, a timecode of 00:00:01:00.
void WriteSidecar(const std::string& path, const std::string& scale, const std::string& rate) {
  WriteFile(path,
            "<VYRFileData version=\"1.0\"><MasterClip>src</MasterClip><PARNum>1</PARNum>"
            "<PARDen>1</PARDen><TimeScale>" +
                scale + "</TimeScale><TimeRate>" + rate +
                "</TimeRate><FieldType>0</FieldType><FileDataFlags>2</FileDataFlags>"
                "<TimeCode version=\"1.0\"><TC>65536</TC><UserBits>0</UserBits>"
                "<TimeCodeType>1</TimeCodeType><DF>0</DF><TCScale>" +
                scale + "</TCScale><TCRate>" + rate + "</TCRate></TimeCode></VYRFileData>");
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

// Writes a clip of 8x4 pixels as a capture does: frames of `words`, user bits, drop frame, the
// aspect and field order of tape.
void CaptureClip(const std::string& folder, NxFileType type, const char* startNumber,
                 uint32_t orientation, const std::vector<uint32_t>& words) {
  const MediaFilePtr file(CreateMediaFile(type));
  NxMediaCreateInfo info = {};
  info.streams = NxStreamsPicture;
  info.fourcc = type == NxFileTypeDPX ? FourCC("11rb") : FourCC("bgr ");
  info.orientation = orientation;
  info.width = 8;
  info.height = 4;
  info.fieldType = 2;
  info.parNum = 10;
  info.parDen = 11;
  info.timeScale = 30000;
  info.timeRate = 1001;
  ASSERT_EQ(
      file->CreateWrite("a", startNumber, folder, folder, &info, kCreateNew, kAccessWrite, false),
      NxErrSuccess);
  std::vector<uint8_t> pixels;
  for (int i = 0; i < 8 * 4 * 4; ++i) pixels.push_back(static_cast<uint8_t>(31 * i));
  for (const uint32_t word : words) {
    NxImageWriteRequest request;
    request.fourcc = info.fourcc;
    request.width = 8;
    request.height = 4;
    request.pitch = info.linePitch;
    request.orientation = static_cast<int32_t>(orientation);
    request.imageBuffer = pixels.data();
    request.timeCode.flags = kTimeCodePresent;
    request.timeCode.timeCode = word;
    request.timeCode.userBits = 0x78563412;
    request.timeCode.timeCodeType = 2;
    request.timeCode.dropFrame = 1;
    request.timeCode.tcScale = 30000;
    request.timeCode.tcRate = 1001;
    ASSERT_EQ(file->WriteImage(&request), NxErrSuccess);
  }
  ASSERT_EQ(file->Close(), NxErrSuccess);
}

// 01:00:59;28 and on; the first two frames of the minute are not counted.
const std::vector<uint32_t> kAcrossAMinute = {0x28590001, 0x29590001, 0x02000101, 0x03000101};

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
