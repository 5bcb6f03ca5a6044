#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "base/byte_order.h"
#include "base/clock.h"
#include "base/file_io.h"
#include "media/wav_builder.h"
#include "support/test_environment.h"

namespace morvane::test {
namespace {

TEST(Wav, SixteenFormatsOfSixteenFiles) {
  const NxMediaWAV wav;
  EXPECT_EQ(wav.GetNumAudioWriteFormats(), 16);
  std::string table;
  for (int32_t i = 0; i < 16; ++i) {
    NxAudioWriteFormatDescription row;
    ASSERT_EQ(wav.GetAudioWriteFormatDescription(i, &row), 0);
    EXPECT_EQ(wav.GetMaxAudioFiles(i), 16);
    EXPECT_EQ(wav.GetAudioFormatChannels(i), row.channelsPerFile);
    const int32_t rate = static_cast<int32_t>(row.sampleRate);
    table += std::to_string(i) + " " + FourCCText(row.fourcc) + " " + row.name + " " +
             std::to_string(row.channelsPerFile) + " " + std::to_string(rate) + "\n";
  }
  EXPECT_EQ(table, ReadText(DataPath("golden/audio_formats.txt")));
  EXPECT_EQ(wav.GetMaxAudioFiles(16), 0);
  EXPECT_EQ(wav.GetMaxAudioFiles(-1), 0);
  EXPECT_EQ(wav.GetAudioFormatChannels(16), 1);
  NxAudioWriteFormatDescription row;
  EXPECT_EQ(wav.GetAudioWriteFormatDescription(16, &row), 1);
  EXPECT_EQ(wav.GetAudioWriteFormatDescription(-1, &row), 1);
}

TEST(Wav, AnswersNothingAboutPictures) {
  NxMediaWAV wav;
  EXPECT_EQ(wav.GetNumImageWriteFormats(), -1);
  NxImageWriteFormatDescription format;
  EXPECT_EQ(wav.GetImageWriteFormatDescription(0, &format), -1);
  EXPECT_EQ(wav.WriteReserved(), -1);
  char text[64];
  EXPECT_EQ(wav.GetMediaImageExtension(text), -1);
  EXPECT_STREQ(text, "wav");
  EXPECT_EQ(wav.GetMediaAudioExtension(text), 0);
  EXPECT_STREQ(text, "wav");
  uint8_t styles[4];
  EXPECT_EQ(wav.GetClipStyles(styles), 0);
  EXPECT_EQ(Hex({styles, styles + 4}, 0, 4), "00010000");
  EXPECT_FALSE(wav.IsQuickTimeFile());
  EXPECT_FALSE(wav.SupportsClipMetadata());
  std::vector<uint8_t> caps(kMetadataCapsBytes, 0xEE);
  EXPECT_EQ(wav.GetMetadataCaps(caps.data()), 0);
  EXPECT_EQ(caps, std::vector<uint8_t>(42, 0));
  EXPECT_EQ(wav.GetMediaName(text), 0);
  EXPECT_STREQ(text, "WAV Audio File");
  char16_t wide[64];
  EXPECT_EQ(wav.GetMediaNameW(wide), 0);
  EXPECT_EQ(std::u16string(wide), u"WAV Audio File");
  EXPECT_EQ(wav.GetImageFileHandle(), nullptr);
}

TEST(Wav, NamesAndHandlesOfItsFiles) {
  const std::string folder = FreshFolder("wav");
  NxMediaWAV wav;
  NxMediaCreateInfo info = SoundInfo(0, 2);
  ASSERT_EQ(Create(&wav, folder, "clip", &info), 0);
  const std::string second = folder + "/clip_A2.wav";
  std::vector<char16_t> wide(kNxFileNameChars);
  EXPECT_EQ(wav.GetAudioFileNameW(1, wide.data()), 0);
  EXPECT_EQ(std::u16string(wide.data()), std::u16string(second.begin(), second.end()));
  ASSERT_NE(wav.GetAudioFileHandle(1), nullptr);
  EXPECT_TRUE(wav.GetAudioFileHandle(1)->IsOpen());
  EXPECT_NE(wav.GetAudioFileHandle(0), wav.GetAudioFileHandle(1));
  EXPECT_EQ(wav.GetAudioFileHandle(16), nullptr);
  EXPECT_EQ(wav.GetAudioFileHandle(-1), nullptr);
  EXPECT_EQ(wav.Close(), 0);
}

TEST(Wav, Writes24BitMonoAsExtensible) {
  const std::string folder = FreshFolder("wav");
  WriteSound(folder, 1, 1, 144144);
  const auto bytes = ReadBytes(folder + "/clip.wav");
  EXPECT_EQ(Hex(bytes, 0, 68),
            "524946464c33020057415645666d742028000000feff010080bb00008032020003001800160018000300"
            "00000100000000001000800000aa00389b716461746110330200");
  EXPECT_EQ(bytes.size(), 68u + 144144) << "no metadata, no tail";
  EXPECT_EQ(Slice(bytes, 68, 144144), Noise(144144, 1));
}

TEST(Wav, Writes16BitStereoPlain) {
  const std::string folder = FreshFolder("wav");
  WriteSound(folder, 4, 1, 192192);
  const auto bytes = ReadBytes(folder + "/clip.wav");
  EXPECT_EQ(Hex(bytes, 0, 44),
            "52494646e4ee020057415645666d7420100000000100020080bb000000ee02000400100064617461c0ee"
            "0200");
}

TEST(Wav, FloatHasItsSubFormat) {
  const std::string folder = FreshFolder("wav");
  WriteSound(folder, 3, 1, 4004);
  EXPECT_EQ(LoadLe16(ReadBytes(folder + "/clip.wav").data() + 44), 3);
}

TEST(Wav, OddDataHasAPadByte) {
  const std::string folder = FreshFolder("wav");
  WriteSound(folder, 1, 1, 3);
  const auto bytes = ReadBytes(folder + "/clip.wav");
  EXPECT_EQ(bytes.size(), 72u);
  EXPECT_EQ(LoadLe32(bytes.data() + 4), 64u);
  EXPECT_EQ(LoadLe32(bytes.data() + 64), 3u);
}

TEST(Wav, MetadataIsTheTailOfEveryFile) {
  const std::string folder = FreshFolder("wav");
  NxMediaWAV wav;
  NxMediaCreateInfo info = SoundInfo(1, 2);
  ASSERT_EQ(Create(&wav, folder, "clip", &info), 0);
  NxMediaMetadata metadata = {};
  metadata.presentFlags = kMetaReelName;
  PutText("REEL 7", metadata.reelName, sizeof metadata.reelName);
  ASSERT_EQ(wav.SetMetadata(&metadata), 0);
  ASSERT_EQ(Append(&wav, 0, Noise(144144, 1)), 0);
  ASSERT_EQ(Append(&wav, 1, Noise(144144, 2)), 0);
  ASSERT_EQ(wav.Close(), 0);
  for (const char* name : {"/clip.wav", "/clip_A2.wav"}) {
    const auto bytes = ReadBytes(folder + name);
    ASSERT_EQ(bytes.size(), 68u + 144144 + 4096) << name;
    EXPECT_EQ(LoadLe32(bytes.data() + 4), 144204u);
    EXPECT_EQ(Hex(bytes, bytes.size() - 4096, 8), "0100000008000000");
    EXPECT_EQ(Hex(bytes, bytes.size() - 8, 8), "0010000078563412");
  }
  NxMediaFileInfo read;
  ASSERT_EQ(OpenSound(&wav, folder, "clip", &read), 0);
  EXPECT_STREQ(read.metadata.reelName, "REEL 7");
  EXPECT_EQ(read.samplesPerFile[0], 48048u) << "the tail is no sound";
  std::vector<uint8_t> past(4096, 0xEE);
  EXPECT_EQ(ReadFrame(&wav, 30, &past), -2);
  EXPECT_EQ(past, std::vector<uint8_t>(4096, 0));
  EXPECT_EQ(wav.Close(), 0);
}

TEST(Wav, FirstWriteBringsTheTimecode) {
  const std::string folder = FreshFolder("wav");
  NxMediaWAV wav;
  NxMediaCreateInfo info = SoundInfo(0, 1);
  ASSERT_EQ(Create(&wav, folder, "clip", &info), 0);
  const auto sound = Noise(3204, 1);
  NxAudioWriteRequest request;
  request.buffer = sound.data();
  request.bytes = static_cast<int32_t>(sound.size());
  request.timeCode.flags = kTimeCodePresent;
  request.timeCode.timeCode = 0x01000001;
  request.timeCode.tcScale = 30000;
  request.timeCode.tcRate = 1001;
  ASSERT_EQ(wav.WriteAudio(&request), 0);
  request.timeCode.timeCode = 0x02000001;
  ASSERT_EQ(wav.WriteAudio(&request), 0);
  ASSERT_EQ(wav.Close(), 0);
  NxMediaFileInfo read;
  ASSERT_EQ(OpenSound(&wav, folder, "clip", &read), 0);
  EXPECT_EQ(read.metadata.presentFlags, 2u);
  EXPECT_EQ(read.metadata.timeCode, 0x01000001u);
  NxTimeCodeRecord stamp;
  ASSERT_EQ(wav.ReadTimecode(2, &stamp), 0);
  EXPECT_EQ(stamp.timeCode, 0x03000001u);
}

TEST(Wav, EveryFormatComesBackToTheByte) {
  const std::string folder = FreshFolder("wav");
  for (int row = 0; row < 16; ++row) {
    const NxMediaAudioInfo format = AudioFormatRow(row);
    const auto bytes = static_cast<size_t>(format.bytesPerFrame) * 20000;
    const std::string name = "clip" + std::to_string(row);
    NxMediaWAV wav;
    NxMediaCreateInfo info = SoundInfo(row, 1);
    ASSERT_EQ(Create(&wav, folder, name, &info), 0);
    const auto sound = Noise(bytes, 7);
    ASSERT_EQ(Append(&wav, 0, Slice(sound, 0, 12)), 0) << "through the buffer";
    ASSERT_EQ(Append(&wav, 0, Slice(sound, 12, bytes - 12)), 0);
    ASSERT_EQ(wav.Close(), 0);
    NxMediaFileInfo read;
    ASSERT_EQ(OpenSound(&wav, folder, name, &read), 0) << row;
    EXPECT_EQ(std::memcmp(&read.audio, &info.audio, sizeof info.audio), 0) << row;
    EXPECT_EQ(read.samplesPerFile[0], 20000u);
    EXPECT_EQ(wav.GetAudioSampleCount(0), 20000u);
    std::vector<uint8_t> back(bytes);
    ASSERT_EQ(ReadFrame(&wav, 0, &back), 0);
    EXPECT_EQ(back, sound) << row;
    EXPECT_EQ(wav.Close(), 0);
  }
}

TEST(Wav, CreateRefusesWhatNoRowHas) {
  const std::string folder = FreshFolder("wav");
  const auto refuses = [&](auto change) {
    NxMediaWAV wav;
    NxMediaCreateInfo info = SoundInfo(0, 1);
    change(&info.audio);
    EXPECT_EQ(Create(&wav, folder, "clip", &info), 100001);
    EXPECT_FALSE(Exists(folder + "/clip.wav"));
  };
  refuses([](NxMediaAudioInfo* a) { a->sampleRate = 44100; });
  refuses([](NxMediaAudioInfo* a) { a->channelsPerFile = 3; });
  refuses([](NxMediaAudioInfo* a) { a->bitsPerSample = 24; });
  refuses([](NxMediaAudioInfo* a) { a->bigEndian = 1; });
  refuses([](NxMediaAudioInfo* a) { a->fourcc = FourCC("8au "); });
}

TEST(Wav, CreateClampsTheTracks) {
  const std::string folder = FreshFolder("wav");
  NxMediaWAV wav;
  NxMediaCreateInfo info = SoundInfo(0, 99);
  ASSERT_EQ(Create(&wav, folder, "many", &info), 0);
  EXPECT_EQ(info.audio.fileCount, 16);
  EXPECT_EQ(wav.Close(), 0);
  EXPECT_TRUE(Exists(folder + "/many_A16.wav"));
  info = SoundInfo(0, -3);
  ASSERT_EQ(Create(&wav, folder, "one", &info), 0);
  EXPECT_EQ(info.audio.fileCount, 1);
  EXPECT_STREQ(info.audio.name, "48kHz 16-bit PCM Mono");
}

TEST(Wav, ExistingTrackIsNeverOverwritten) {
  const std::string folder = FreshFolder("wav");
  WriteText(folder + "/clip_A2.wav", "precious");
  NxMediaWAV wav;
  NxMediaCreateInfo info = SoundInfo(0, 3);
  EXPECT_EQ(Create(&wav, folder, "clip", &info), 100003);
  EXPECT_EQ(ReadText(folder + "/clip_A2.wav"), "precious");
  EXPECT_FALSE(Exists(folder + "/clip.wav")) << "nothing was made before the check";
  EXPECT_FALSE(Exists(folder + "/clip_A3.wav"));
  EXPECT_EQ(wav.Close(), -2);
}

TEST(Wav, FailedCreateTakesItsFilesBack) {
  for (int nth = 1; nth <= 3; ++nth) {
    const std::string folder = FreshFolder("wav");
    NxMediaWAV wav;
    NxMediaCreateInfo info = SoundInfo(0, 3);
    {
      const FileFault fault(FileCall::kWrite, nth, ENOSPC);
      EXPECT_EQ(Create(&wav, folder, "clip", &info), 100003) << nth;
    }
    for (const char* name : {"/clip.wav", "/clip_A2.wav", "/clip_A3.wav"}) {
      EXPECT_FALSE(Exists(folder + name)) << nth << name;
    }
    EXPECT_EQ(Create(&wav, folder, "clip", &info), 0) << "closed, and usable again";
  }
}

TEST(Wav, StatesAndRefusals) {
  const std::string folder = FreshFolder("wav");
  NxMediaWAV wav;
  NxMediaCreateInfo info = SoundInfo(0, 2);
  NxMediaFileInfo read;
  const auto sound = Noise(3204, 1);
  EXPECT_EQ(wav.Close(), -2);
  EXPECT_EQ(wav.SetFilesOpen(false), -2);
  EXPECT_EQ(Append(&wav, 0, sound), 1) << "not writing";
  std::vector<uint8_t> buffer(16, 0xEE);
  EXPECT_EQ(ReadFrame(&wav, 0, &buffer), 0) << "not reading";
  EXPECT_EQ(wav.CreateWrite("c", nullptr, nullptr, folder, nullptr, kCreateNew, 0, false), 1);
  EXPECT_EQ(wav.CreateWrite("c", nullptr, nullptr, folder, &info, kOpenExisting, 0, false), 0);
  EXPECT_FALSE(Exists(folder + "/c.wav"));
  EXPECT_EQ(wav.OpenRead("c", true, folder, nullptr, kOpenExisting, 0, 0, false), 1);
  ASSERT_EQ(Create(&wav, folder, "clip", &info), 0);
  EXPECT_EQ(Create(&wav, folder, "clip2", &info), 10002);
  EXPECT_EQ(OpenSound(&wav, folder, "clip", &read), 10002);
  EXPECT_EQ(wav.DeleteFile(), -2);
  EXPECT_EQ(wav.WriteAudio(nullptr), 1);
  EXPECT_EQ(Append(&wav, 16, sound), 1);
  EXPECT_EQ(Append(&wav, -1, sound), 1);
  EXPECT_EQ(Append(&wav, 2, sound), -2) << "no such file in this clip";
  EXPECT_EQ(Append(&wav, 0, {}), -2) << "nothing to write";
  EXPECT_EQ(Append(&wav, 0, sound), 0);
  EXPECT_EQ(Append(&wav, 0, sound), 0);
  EXPECT_EQ(Append(&wav, 1, sound), 0);
  EXPECT_EQ(wav.GetAudioSampleCount(0), 2u) << "writes, not samples";
  EXPECT_EQ(wav.Close(), 0);
  ASSERT_EQ(OpenSound(&wav, folder, "clip", &read), 0);
  EXPECT_EQ(ReadFrame(&wav, 0, &buffer, 30000, 1001, 16), 1);
  EXPECT_EQ(ReadFrame(&wav, 0, &buffer, 30000, 1001, 5), 1) << "no such file in this clip";
  EXPECT_EQ(ReadFrame(&wav, -1, &buffer, 30000, 1001, 5), 0);
  EXPECT_EQ(buffer, std::vector<uint8_t>(16, 0));
  EXPECT_EQ(wav.GetAudioFrameCount(16, 30000, 1001), 0);
  EXPECT_EQ(wav.GetAudioFrameCount(0, 30000, 1001), 2);
  char text[64];
  EXPECT_EQ(wav.GetChannelName(0, 0, text), 0);
  EXPECT_STREQ(text, "Mono");
  EXPECT_EQ(wav.GetChannelName(0, 1, text), 1);
  EXPECT_STREQ(text, "Unknown");
  EXPECT_EQ(wav.Close(), 0);
  EXPECT_EQ(wav.DeleteFile(), 0);
  EXPECT_FALSE(Exists(folder + "/clip.wav"));
  EXPECT_FALSE(Exists(folder + "/clip_A2.wav"));
}

TEST(Wav, FailedWriteIsToldAndTheFileStaysWhole) {
  const std::string folder = FreshFolder("wav");
  NxMediaWAV wav;
  NxMediaCreateInfo info = SoundInfo(0, 1);
  ASSERT_EQ(Create(&wav, folder, "clip", &info), 0);
  const auto sound = Noise(100000, 1);
  ASSERT_EQ(Append(&wav, 0, sound), 0);
  {
    const FileFault fault(FileCall::kWrite, 1, ENOSPC);
    EXPECT_EQ(Append(&wav, 0, sound), -2);
  }
  EXPECT_EQ(wav.GetAudioSampleCount(0), 1u);
  EXPECT_EQ(wav.Close(), 0);
  NxMediaFileInfo read;
  ASSERT_EQ(OpenSound(&wav, folder, "clip", &read), 0);
  EXPECT_EQ(read.samplesPerFile[0], 50000u);
}

TEST(Wav, DataNeverPassesItsLimit) {
  RiffWaveFile file;
  WaveFormat format;
  format.fourcc = FourCC("16au");
  format.channels = 1;
  format.sampleRate = 48000;
  format.bits = 16;
  ASSERT_EQ(file.Create(FreshFolder("wav") + "/a.wav", kCreateNew, format), 0);
  const uint8_t sound[10] = {};
  // Refused before a byte is looked at.
  EXPECT_EQ(file.Append(sound, kMaxWaveDataBytes + 1), -2);
  ASSERT_EQ(file.Append(sound, sizeof sound), 0);
  EXPECT_EQ(file.Append(sound, kMaxWaveDataBytes - 9), -2);
  EXPECT_EQ(file.DataBytes(), 10u);
  EXPECT_EQ(file.Flush(), 0);
}

TEST(Wav, MetadataSetWhileReadingStaysInMemory) {
  const std::string folder = FreshFolder("wav");
  WriteSound(folder, 0, 1, 8000);
  const auto before = ReadBytes(folder + "/clip.wav");
  NxMediaWAV wav;
  NxMediaFileInfo info;
  ASSERT_EQ(OpenSound(&wav, folder, "clip", &info), 0);
  NxMediaMetadata metadata = {};
  EXPECT_EQ(wav.SetMetadata(&metadata), -2) << "no section named";
  metadata.presentFlags = kMetaReelName;
  PutText("REEL 7", metadata.reelName, sizeof metadata.reelName);
  EXPECT_EQ(wav.SetMetadata(&metadata), 0);
  NxMediaMetadata back;
  ASSERT_EQ(wav.GetMetadata(&back), 0);
  EXPECT_STREQ(back.reelName, "REEL 7");
  EXPECT_EQ(wav.Close(), 0);
  EXPECT_EQ(ReadBytes(folder + "/clip.wav"), before);
}

TEST(Wav, SizesAreBroughtUpToDateEverySecond) {
  const std::string folder = FreshFolder("wav");
  ManualClock clock;
  NxMediaWAV wav;
  NxMediaCreateInfo info = SoundInfo(0, 2);
  ASSERT_EQ(Create(&wav, folder, "clip", &info), 0);
  const auto sound = Noise(3204, 1);
  ASSERT_EQ(Append(&wav, 0, sound), 0);
  ASSERT_EQ(Append(&wav, 1, sound), 0);
  EXPECT_EQ(LoadLe32(ReadBytes(folder + "/clip.wav").data() + 40), 0u);
  clock.Advance(1'000'000'000);
  ASSERT_EQ(Append(&wav, 0, sound), 0);
  // What a copy of the files holds now is what a killed writer leaves.
  const std::string killed = FreshFolder("killed");
  WriteBytes(killed + "/clip.wav", ReadBytes(folder + "/clip.wav"));
  WriteBytes(killed + "/clip_A2.wav", ReadBytes(folder + "/clip_A2.wav"));
  NxMediaWAV reader;
  NxMediaFileInfo read;
  ASSERT_EQ(OpenSound(&reader, killed, "clip", &read), 0);
  EXPECT_EQ(read.audio.fileCount, 2);
  EXPECT_EQ(read.samplesPerFile[0], 3204u);
  EXPECT_EQ(read.samplesPerFile[1], 1602u);
  ASSERT_EQ(Append(&wav, 1, sound), 0);
  EXPECT_EQ(wav.Close(), 0);
  EXPECT_EQ(ReadBytes(folder + "/clip_A2.wav").size(), 44u + 2 * 3204);
}

TEST(Wav, WriterGoesOnAfterItsFilesWereClosed) {
  const std::string folder = FreshFolder("wav");
  NxMediaWAV wav;
  NxMediaCreateInfo info = SoundInfo(0, 1);
  ASSERT_EQ(Create(&wav, folder, "clip", &info), 0);
  ASSERT_EQ(Append(&wav, 0, Noise(3204, 1)), 0);
  ASSERT_EQ(wav.SetFilesOpen(false), 0);
  EXPECT_EQ(Append(&wav, 0, Noise(3204, 2)), -2);
  ASSERT_EQ(wav.SetFilesOpen(true), 0);
  ASSERT_EQ(Append(&wav, 0, Noise(3204, 2)), 0);
  ASSERT_EQ(wav.Close(), 0);
  const auto bytes = ReadBytes(folder + "/clip.wav");
  ASSERT_EQ(bytes.size(), 44u + 2 * 3204);
  EXPECT_EQ(Slice(bytes, 44, 3204), Noise(3204, 1));
  EXPECT_EQ(Slice(bytes, 44 + 3204, 3204), Noise(3204, 2));
}

TEST(Wav, CloseEndsFilesThatWereClosedForAWhile) {
  const std::string folder = FreshFolder("wav");
  NxMediaMetadata metadata = {};
  metadata.presentFlags = kMetaReelName;
  PutText("REEL 7", metadata.reelName, sizeof metadata.reelName);
  NxMediaWAV wav;
  NxMediaCreateInfo info = SoundInfo(0, 2);
  ASSERT_EQ(Create(&wav, folder, "clip", &info), 0);
  ASSERT_EQ(wav.SetMetadata(&metadata), 0);
  ASSERT_EQ(Append(&wav, 0, Noise(3204, 1)), 0);
  ASSERT_EQ(Append(&wav, 1, Noise(3204, 2)), 0);
  ASSERT_EQ(wav.SetFilesOpen(false), 0);
  ASSERT_EQ(wav.Close(), 0);
  for (const char* name : {"/clip.wav", "/clip_A2.wav"}) {
    const auto bytes = ReadBytes(folder + name);
    ASSERT_EQ(bytes.size(), 44u + 3204 + 4096) << name;
    EXPECT_EQ(Hex(bytes, bytes.size() - 8, 8), "0010000078563412") << name;
  }

  ASSERT_EQ(Create(&wav, folder, "gone", &info), 0);
  ASSERT_EQ(wav.SetMetadata(&metadata), 0);
  ASSERT_EQ(Append(&wav, 0, Noise(3204, 1)), 0);
  ASSERT_EQ(wav.SetFilesOpen(false), 0);
  const FileFault fault(FileCall::kOpen, 1, EIO);
  EXPECT_EQ(wav.Close(), -2) << "one file stays without its end";
}

TEST(Wav, SoxAndFfmpegReadEverySample) {
  if (!HasTool("soxi") || !HasTool("ffmpeg")) GTEST_SKIP() << "sox or ffmpeg is not installed";
  const std::string folder = FreshFolder("wav");
  for (int row = 0; row < 16; ++row) {
    const NxMediaAudioInfo format = AudioFormatRow(row);
    const std::string name = "c" + std::to_string(row);
    NxMediaWAV wav;
    NxMediaCreateInfo info = SoundInfo(row, 1);
    info.metadata.presentFlags =
        row % 2 == 0 ? 0u : uint32_t{kMetaReelName};  // with and without a tail
    ASSERT_EQ(Create(&wav, folder, name, &info), 0);
    auto sound = Noise(static_cast<size_t>(format.bytesPerFrame) * 3000, 9);
    if (format.fourcc == FourCC("32af")) {
      for (size_t i = 0; i < sound.size() / 4; ++i) {
        StoreLeFloat(sound.data() + 4 * i,
                     static_cast<float>(static_cast<int>(i % 2001) - 1000) / 1000.0f);
      }
    }
    ASSERT_EQ(Append(&wav, 0, sound), 0);
    ASSERT_EQ(wav.Close(), 0);
    const std::string path = folder + "/" + name + ".wav";
    EXPECT_EQ(OutputOf("soxi -s " + path), "3000\n") << row;
    const bool isFloat = format.fourcc == FourCC("32af");
    const std::string codec =
        isFloat ? "f32le" : "s" + std::to_string(int32_t{format.bitsPerSample}) + "le";
    const std::string raw = folder + "/out.raw";
    const std::string command =
        "ffmpeg -v error -y -i " + path + " -f " + codec + " -c:a pcm_" + codec + " " + raw;
    ASSERT_EQ(std::system(command.c_str()), 0) << row;
    EXPECT_EQ(ReadBytes(raw), sound) << row;
    const std::string encoding = isFloat ? "floating-point" : "signed-integer";
    ASSERT_EQ(std::system(("sox " + path + " -t raw -e " + encoding + " -b " +
                           std::to_string(int32_t{format.bitsPerSample}) + " " + raw)
                              .c_str()),
              0)
        << row;
    const auto heard = ReadBytes(raw);
    ASSERT_EQ(heard.size(), sound.size()) << "sox, row " << row;
    if (!isFloat) {
      EXPECT_EQ(heard, sound) << "sox, row " << row;
      continue;
    }
    // It counts in whole numbers of 32 bits.
    for (size_t i = 0; i < heard.size(); i += 4) {
      ASSERT_NEAR(LoadLeFloat(&heard[i]), LoadLeFloat(&sound[i]), 1e-6) << row;
    }
  }
}

}  // namespace
}  // namespace morvane::test
