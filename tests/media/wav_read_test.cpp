#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "base/byte_order.h"
#include "base/file_io.h"
#include "media/wav_builder.h"
#include "support/test_environment.h"

namespace morvane::test {
namespace {

// A WAV file by hand: fmt chunk and data chunk as given.
std::vector<uint8_t> Riff(const std::vector<uint8_t>& fmt, uint32_t dataBytes,
                          const std::vector<uint8_t>& data) {
  std::vector<uint8_t> file(12 + 8 + fmt.size() + 8);
  std::memcpy(file.data(), "RIFF", 4);
  StoreLe32(file.data() + 4, static_cast<uint32_t>(file.size() + data.size() - 8));
  std::memcpy(file.data() + 8, "WAVEfmt ", 8);
  StoreLe32(file.data() + 16, static_cast<uint32_t>(fmt.size()));
  std::memcpy(file.data() + 20, fmt.data(), fmt.size());
  std::memcpy(file.data() + 20 + fmt.size(), "data", 4);
  StoreLe32(file.data() + 24 + fmt.size(), dataBytes);
  file.insert(file.end(), data.begin(), data.end());
  return file;
}

std::vector<uint8_t> Fmt(size_t bytes, uint16_t tag, uint16_t channels, uint32_t rate,
                         uint16_t bits, uint16_t subFormat = 1) {
  std::vector<uint8_t> fmt(bytes);
  StoreLe16(fmt.data(), tag);
  StoreLe16(fmt.data() + 2, channels);
  StoreLe32(fmt.data() + 4, rate);
  StoreLe32(fmt.data() + 8, rate * channels * bits / 8);
  StoreLe16(fmt.data() + 12, static_cast<uint16_t>(channels * bits / 8));
  StoreLe16(fmt.data() + 14, bits);
  if (bytes >= 26) StoreLe16(fmt.data() + 24, subFormat);
  return fmt;
}

TEST(Wav, FileWithoutTailHasNoMetadata) {
  const std::string folder = FreshFolder("wav");
  WriteSound(folder, 0, 1, 8000);
  NxMediaWAV wav;
  NxMediaFileInfo info;
  ASSERT_EQ(OpenSound(&wav, folder, "clip", &info), 0);
  const NxMediaMetadata none = {};
  EXPECT_EQ(std::memcmp(&info.metadata, &none, sizeof none), 0);
  EXPECT_EQ(info.timeScale, -1);
  EXPECT_EQ(info.timeRate, -1);
  EXPECT_EQ(info.streams, 2u);
  NxTimeCodeRecord stamp;
  EXPECT_EQ(wav.ReadTimecode(0, &stamp), -2);
}

TEST(Wav, TailOfAnEarlierLayoutCountsAsNone) {
  const std::string folder = FreshFolder("wav");
  WriteSound(folder, 0, 1, 8000);
  auto bytes = ReadBytes(folder + "/clip.wav");
  NxMediaMetadata tail = {};
  tail.presentFlags = kMetaReelName;
  CompleteMetadata(&tail);
  tail.extended.bytes = 1500;
  const auto* p = reinterpret_cast<const uint8_t*>(&tail);
  bytes.insert(bytes.end(), p, p + sizeof tail);
  WriteBytes(folder + "/clip.wav", bytes);
  NxMediaWAV wav;
  NxMediaFileInfo info;
  ASSERT_EQ(OpenSound(&wav, folder, "clip", &info), 0);
  EXPECT_EQ(info.metadata.presentFlags, 0u);
}

TEST(Wav, StereoChannelsHaveNames) {
  const std::string folder = FreshFolder("wav");
  WriteSound(folder, 4, 1, 4000);
  NxMediaWAV wav;
  NxMediaFileInfo info;
  ASSERT_EQ(OpenSound(&wav, folder, "clip", &info), 0);
  char16_t text[64];
  EXPECT_EQ(wav.GetChannelNameW(0, 0, text), 0);
  EXPECT_EQ(std::u16string(text), u"Stereo (Left)");
  EXPECT_EQ(wav.GetChannelNameW(0, 1, text), 0);
  EXPECT_EQ(std::u16string(text), u"Stereo (Right)");
}

TEST(Wav, TracksEndAtTheFirstThatIsMissing) {
  const std::string folder = FreshFolder("wav");
  WriteSound(folder, 0, 3, 8000);
  ASSERT_EQ(FileRemove(folder + "/clip_A2.wav"), 0);
  NxMediaWAV wav;
  NxMediaFileInfo info;
  ASSERT_EQ(OpenSound(&wav, folder, "clip", &info), 0);
  EXPECT_EQ(info.audio.fileCount, 1);
  EXPECT_EQ(wav.Close(), 0);
  ASSERT_EQ(OpenSound(&wav, folder, "clip_A3", &info), 0) << "a name may say its first track";
  EXPECT_EQ(info.audio.fileCount, 1);
  char path[kNxFileNameChars];
  EXPECT_EQ(wav.GetAudioFileName(0, path), 0);
  EXPECT_EQ(std::string(path), folder + "/clip_A3.wav");
}

TEST(Wav, TracksOfAnotherFormatEndTheClip) {
  const std::string folder = FreshFolder("wav");
  WriteSound(folder, 0, 1, 8000);
  ASSERT_EQ(FileRename(folder + "/clip.wav", folder + "/clip_A2.wav"), 0);
  WriteSound(folder, 1, 1, 9000);
  NxMediaWAV wav;
  NxMediaFileInfo info;
  ASSERT_EQ(OpenSound(&wav, folder, "clip", &info), 0);
  EXPECT_EQ(info.audio.fileCount, 1);
}

TEST(Wav, OneTrackUnlessMoreAreWanted) {
  const std::string folder = FreshFolder("wav");
  WriteSound(folder, 0, 3, 8000);
  NxMediaWAV wav;
  NxMediaFileInfo info;
  ASSERT_EQ(OpenSound(&wav, folder, "clip", &info, false), 0);
  EXPECT_EQ(info.audio.fileCount, 1);
}

TEST(Wav, TakesAndRefusesFormatChunks) {
  const std::string folder = FreshFolder("wav");
  const auto data = Noise(4800, 3);
  const struct {
    const char* what;
    std::vector<uint8_t> fmt;
    const char* fourcc;  // null: refused
  } files[] = {
      {"16 of 16", Fmt(16, 1, 1, 48000, 16), "16au"},
      {"18 of 16, 96 kHz stereo", Fmt(18, 1, 2, 96000, 16), "16au"},
      {"40 of 24", Fmt(40, 0xFFFE, 1, 48000, 24), "24au"},
      {"40 of 32", Fmt(40, 0xFFFE, 2, 48000, 32), "32au"},
      {"40 of float", Fmt(40, 0xFFFE, 2, 96000, 32, 3), "32af"},
      {"44100 Hz", Fmt(16, 1, 2, 44100, 16), nullptr},
      {"three channels", Fmt(16, 1, 3, 48000, 16), nullptr},
      {"no channel", Fmt(16, 1, 0, 48000, 16), nullptr},
      {"24 bits in a short chunk", Fmt(16, 1, 1, 48000, 24), nullptr},
      {"compressed", Fmt(18, 2, 1, 48000, 16), nullptr},
      {"16 bits in a long chunk", Fmt(40, 0xFFFE, 1, 48000, 16), nullptr},
      {"another sub-format", Fmt(40, 0xFFFE, 1, 48000, 24, 2), nullptr},
      {"another length", Fmt(20, 1, 1, 48000, 16), nullptr},
  };
  int number = 0;
  for (const auto& file : files) {
    const std::string name = "f" + std::to_string(number++);
    WriteBytes(folder + "/" + name + ".wav", Riff(file.fmt, 4800, data));
    NxMediaWAV wav;
    NxMediaFileInfo info;
    const NxErr result = OpenSound(&wav, folder, name, &info);
    if (file.fourcc == nullptr) {
      EXPECT_EQ(result, 100001) << file.what;
      EXPECT_EQ(wav.Close(), -2);
    } else {
      EXPECT_EQ(result, 0) << file.what;
      EXPECT_EQ(FourCCText(info.audio.fourcc), file.fourcc) << file.what;
    }
  }
}

TEST(Wav, RefusesFilesThatAreNone) {
  const std::string folder = FreshFolder("wav");
  const auto fmt = Fmt(16, 1, 1, 48000, 16);
  auto noWave = Riff(fmt, 4800, Noise(4800, 1));
  noWave[8] = 'X';
  auto noData = Riff(fmt, 4800, Noise(4800, 1));
  noData[36] = 'X';
  auto endless = Riff(fmt, 0, {});
  std::memcpy(endless.data() + 12, "junk", 4);
  StoreLe32(endless.data() + 16, 0xFFFFFFFF);
  const struct {
    const char* name;
    std::vector<uint8_t> bytes;
  } files[] = {
      {"empty", {}},
      {"short", Noise(11, 1)},
      {"noise", Noise(5000, 1)},
      {"not_wave", noWave},
      {"no_data_chunk", noData},
      {"no_samples", Riff(fmt, 0, {})},
      {"chunk_past_the_end", endless},
      {"ends_in_fmt", Slice(Riff(fmt, 0, {}), 0, 30)},
      {"zeros_after_head",
       [] {
         std::vector<uint8_t> bytes(100000);
         std::memcpy(bytes.data(), "RIFF\x10\x20\x30\x40WAVE", 12);
         return bytes;
       }()},
  };
  for (const auto& file : files) {
    WriteBytes(folder + "/" + file.name + ".wav", file.bytes);
    NxMediaWAV wav;
    NxMediaFileInfo info;
    EXPECT_EQ(OpenSound(&wav, folder, file.name, &info), 100006) << file.name;
  }
  NxMediaWAV wav;
  NxMediaFileInfo info;
  EXPECT_EQ(OpenSound(&wav, folder, "missing", &info), 100006);
  EXPECT_EQ(wav.OpenRead("empty", true, folder, &info, 0, 0, 0, false), 100006);
}

TEST(Wav, ChunkThatPromisesMoreEndsWithTheFile) {
  const std::string folder = FreshFolder("wav");
  WriteBytes(folder + "/cut.wav", Riff(Fmt(16, 1, 1, 48000, 16), 0xFFFFFFF0, Noise(4800, 1)));
  NxMediaWAV wav;
  NxMediaFileInfo info;
  ASSERT_EQ(OpenSound(&wav, folder, "cut", &info), 0);
  EXPECT_EQ(info.samplesPerFile[0], 2400u);
}

TEST(Wav, ReadsByFrameInAnyOrder) {
  const std::string folder = FreshFolder("wav");
  WriteSound(folder, 0, 1, 20000 * 2);
  const auto sound = Noise(20000 * 2, 1);
  NxMediaWAV wav;
  NxMediaFileInfo info;
  ASSERT_EQ(OpenSound(&wav, folder, "clip", &info), 0);
  const size_t at[] = {0, 1602, 3203, 4805, 6406, 8008};
  for (const int32_t frame : {0, 1, 5, 2, 0, 4, 4, 3}) {
    std::vector<uint8_t> buffer((at[1]) * 2);
    ASSERT_EQ(ReadFrame(&wav, frame, &buffer), 0) << frame;
    EXPECT_EQ(buffer, Slice(sound, at[frame] * 2, buffer.size())) << frame;
  }
}

TEST(Wav, NextFrameReadsOnFromWhereTheLastEnded) {
  const std::string folder = FreshFolder("wav");
  WriteSound(folder, 0, 1, 20000 * 2);
  const auto sound = Noise(20000 * 2, 1);
  NxMediaWAV wav;
  NxMediaFileInfo info;
  ASSERT_EQ(OpenSound(&wav, folder, "clip", &info), 0);
  std::vector<uint8_t> buffer(1000);
  ASSERT_EQ(ReadFrame(&wav, 0, &buffer), 0);
  ASSERT_EQ(ReadFrame(&wav, 1, &buffer), 0);
  EXPECT_EQ(buffer, Slice(sound, 1000, 1000)) << "frame 1 behind frame 0 does not seek";
  ASSERT_EQ(ReadFrame(&wav, -1, &buffer), 0);
  EXPECT_EQ(buffer, Slice(sound, 2000, 1000));
  ASSERT_EQ(ReadFrame(&wav, 0, &buffer), 0);
  EXPECT_EQ(buffer, Slice(sound, 0, 1000)) << "frame 0 after a continued read seeks";
  ASSERT_EQ(ReadFrame(&wav, 1, &buffer, 25000, 1000), 0);
  EXPECT_EQ(buffer, Slice(sound, 1920 * 2, 1000)) << "another rate seeks";
  ASSERT_EQ(wav.SetFilesOpen(false), 0);
  EXPECT_EQ(ReadFrame(&wav, 2, &buffer, 25000, 1000), 1);
  ASSERT_EQ(wav.SetFilesOpen(true), 0);
  ASSERT_EQ(ReadFrame(&wav, 2, &buffer, 25000, 1000), 0);
  EXPECT_EQ(buffer, Slice(sound, 2 * 1920 * 2, 1000)) << "reopened files seek";
}

TEST(Wav, ShortReadKeepsWhatThereIs) {
  const std::string folder = FreshFolder("wav");
  WriteSound(folder, 0, 1, 4000);
  const auto sound = Noise(4000, 1);
  NxMediaWAV wav;
  NxMediaFileInfo info;
  ASSERT_EQ(OpenSound(&wav, folder, "clip", &info), 0);
  std::vector<uint8_t> buffer(3204, 0xEE);
  ASSERT_EQ(ReadFrame(&wav, 1, &buffer), 0);
  EXPECT_EQ(Slice(buffer, 0, 796), Slice(sound, 3204, 796));
  EXPECT_EQ(Slice(buffer, 796, 2408), std::vector<uint8_t>(2408, 0));
  EXPECT_EQ(ReadFrame(&wav, 2, &buffer), -2);
  EXPECT_EQ(buffer, std::vector<uint8_t>(3204, 0));
  EXPECT_EQ(ReadFrame(&wav, -7, &buffer), -2) << "no such frame";
}

TEST(Wav, ReadErrorIsSilence) {
  const std::string folder = FreshFolder("wav");
  WriteSound(folder, 0, 1, 40000);
  NxMediaWAV wav;
  NxMediaFileInfo info;
  ASSERT_EQ(OpenSound(&wav, folder, "clip", &info), 0);
  std::vector<uint8_t> buffer(3204, 0xEE);
  {
    const FileFault fault(FileCall::kRead, 1, EIO);
    EXPECT_EQ(ReadFrame(&wav, 0, &buffer), -2);
    EXPECT_EQ(buffer, std::vector<uint8_t>(3204, 0));
  }
  ASSERT_EQ(ReadFrame(&wav, 1, &buffer), 0);
  EXPECT_EQ(buffer, Slice(Noise(40000, 1), 3204, 3204)) << "after an error the next read seeks";
}

TEST(Wav, CapitalExtensionIsFound) {
  const std::string folder = FreshFolder("wav");
  WriteSound(folder, 0, 1, 8000);
  ASSERT_EQ(FileRename(folder + "/clip.wav", folder + "/clip.WAV"), 0);
  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(OpenMediaSound(folder + "/clip.WAV", false, &info, &file), 0);
  EXPECT_EQ(info.samplesPerFile[0], 4000u);
}

TEST(Wav, FilesOfFfmpegOpen) {
  if (!HasTool("ffmpeg")) GTEST_SKIP() << "ffmpeg is not installed";
  const std::string folder = FreshFolder("wav");
  const std::string make = "ffmpeg -v error -y -f lavfi -i sine=r=48000:d=0.5 -c:a ";
  ASSERT_EQ(std::system((make + "pcm_s24le -ar 48000 " + folder + "/a.wav").c_str()), 0);
  ASSERT_EQ(std::system((make + "pcm_s16le -ar 44100 " + folder + "/b.wav").c_str()), 0);
  NxMediaWAV wav;
  NxMediaFileInfo info;
  ASSERT_EQ(OpenSound(&wav, folder, "a", &info), 0);
  EXPECT_EQ(FourCCText(info.audio.fourcc), "24au");
  EXPECT_EQ(info.samplesPerFile[0], 24000u);
  EXPECT_EQ(wav.Close(), 0);
  EXPECT_EQ(OpenSound(&wav, folder, "b", &info), 100001);
  for (const std::string kind : {"s16", "s32", "f32"}) {
    ASSERT_EQ(std::system((make + "pcm_" + kind + "le " + folder + "/" + kind + ".wav").c_str()),
              0);
    ASSERT_EQ(OpenSound(&wav, folder, kind, &info), 0) << kind;
    EXPECT_EQ(FourCCText(info.audio.fourcc), kind == "s16"   ? "16au"
                                             : kind == "s32" ? "32au"
                                                             : "32af");
    EXPECT_EQ(info.samplesPerFile[0], 24000u);
    EXPECT_EQ(wav.Close(), 0);
  }
  for (const std::string kind : {"pcm_f64le", "adpcm_ms"}) {
    ASSERT_EQ(std::system((make + kind + " " + folder + "/" + kind + ".wav").c_str()), 0);
    EXPECT_EQ(OpenSound(&wav, folder, kind, &info), 100001) << kind;
  }
}

TEST(Wav, FilesOfSoxOpen) {
  if (!HasTool("sox")) GTEST_SKIP() << "sox is not installed";
  const std::string folder = FreshFolder("wav");
  for (const std::string bits : {"16", "24", "32"}) {
    const std::string path = folder + "/s" + bits + ".wav";
    ASSERT_EQ(std::system(("sox -n -r 48000 -c 1 -b " + bits + " " + path +
                           " synth 24000s sine 440 vol 0.5")
                              .c_str()),
              0);
    NxMediaWAV wav;
    NxMediaFileInfo info;
    ASSERT_EQ(OpenSound(&wav, folder, "s" + bits, &info), 0) << bits;
    EXPECT_EQ(FourCCText(info.audio.fourcc), bits + "au");
    EXPECT_EQ(info.samplesPerFile[0], 24000u);
    EXPECT_EQ(wav.Close(), 0);
  }
}

}  // namespace
}  // namespace morvane::test
