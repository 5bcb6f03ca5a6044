#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "base/file_io.h"
#include "base/system.h"
#include "media/clip_builder.h"
#include "media/data_vyr.h"
#include "media/seq_names.h"
#include "support/test_environment.h"

namespace morvane::test {
namespace {

// Makes empty-looking but whole frames of the given names.
void MakeFrames(const std::string& folder, const std::vector<std::string>& names) {
  for (size_t i = 0; i < names.size(); ++i) {
    WriteBytes(folder + "/" + names[i], Noise(699840, static_cast<uint32_t>(i + 1)));
  }
}

// Writes a clip of `frames` frames and checks that just `names` are there, in order of writing.
void ExpectNames(const char* startNumber, const std::vector<std::string>& names,
                 const std::string& clip = "clip") {
  const std::string folder = FreshFolder("names");
  ASSERT_TRUE(WriteYuvClip(folder, clip, static_cast<int>(names.size()), startNumber));
  for (size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(ReadBytes(folder + "/" + names[i]), Noise(699840, static_cast<uint32_t>(i + 1)))
        << names[i];
  }
}

int32_t CountFrom(const std::string& path) {
  NxMediaFileInfo info;
  MediaFilePtr file;
  return Open(path, &info, &file) == NxErrSuccess ? int32_t{info.frameCount} : -1;
}

TEST(SequenceNames, DefaultNumberingBeginsAtZero) {
  const std::string folder = FreshFolder("names");
  ASSERT_TRUE(WriteYuvClip(folder, "clip", 3, nullptr, 0, 2));
  for (const char* name : {"/clip_000000.yuv", "/clip_000001.yuv", "/clip_000002.yuv",
                           "/clip_000000.vyr", "/clip.wav", "/clip_A2.wav"}) {
    EXPECT_TRUE(Exists(folder + name)) << name;
  }
}

TEST(SequenceNames, WiderNumberEatsIntoTheName) {
  ExpectNames("7", {"clip_7.yuv", "clip_8.yuv", "clip_9.yuv", "clip10.yuv"});
}

TEST(SequenceNames, LeadingZerosStay) {
  ExpectNames("0098", {"clip_0098.yuv", "clip_0099.yuv", "clip_0100.yuv", "clip_0101.yuv"});
}

TEST(SequenceNames, HighStartGoesOnAt900000) {
  ExpectNames("995000", {"clip_995000.yuv", "clip_900001.yuv", "clip_900002.yuv"});
  ExpectNames("990000", {"clip_990000.yuv", "clip_990001.yuv"});
}

TEST(SequenceNames, HighStartReadsAsOneFrame) {
  const std::string folder = FreshFolder("names");
  ASSERT_TRUE(WriteYuvClip(folder, "clip", 3, "995000"));
  EXPECT_EQ(CountFrom(folder + "/clip_995000.yuv"), 1);
}

TEST(SequenceNames, NumberThatWouldLeaveTheFolderIsRefused) {
  const std::string folder = FreshFolder("names");
  const std::string inner = folder + "/in";
  ASSERT_EQ(NxCreateFolder(inner.c_str()), 0);
  MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = PictureInfo(720, 486, FourCC("2vuy"));
  ASSERT_EQ(Create(file.get(), inner, "c", &info, "0"), 0);
  const auto pixels = Noise(699840, 1);
  NxImageWriteRequest request = CopiedWrite(info, pixels.data());
  ASSERT_EQ(file->WriteImage(&request), 0);
  request.frame = 999;
  EXPECT_EQ(file->WriteImage(&request), 0);
  EXPECT_TRUE(Exists(inner + "/999.yuv")) << "the number has eaten the whole name";
  request.frame = 1000;
  EXPECT_EQ(file->WriteImage(&request), -2);
  EXPECT_FALSE(Exists(folder + "/in1000.yuv"));
  EXPECT_EQ(file->GetFrameCount(), 2);
}

TEST(SequenceNames, RunIsCountedFromTheFrameThatWasOpened) {
  const std::string folder = FreshFolder("names");
  MakeFrames(folder, {"clip_000005.yuv", "clip_000006.yuv", "clip_000007.yuv", "clip_000008.yuv",
                      "clip_000009.yuv"});
  EXPECT_EQ(CountFrom(folder + "/clip_000007.yuv"), 3);
  EXPECT_EQ(CountFrom(folder + "/clip_000005.yuv"), 5);
  ASSERT_EQ(FileRemove(folder + "/clip_000008.yuv"), 0);
  EXPECT_EQ(CountFrom(folder + "/clip_000005.yuv"), 3) << "a gap ends the clip";
}

TEST(SequenceNames, FramesOfARunAreNumberedFromTheOpenedOne) {
  const std::string folder = FreshFolder("names");
  MakeFrames(folder, {"clip_000005.yuv", "clip_000006.yuv", "clip_000007.yuv"});
  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(Open(folder + "/clip_000006.yuv", &info, &file), 0);
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(info, &buffer, 0);
  request.frame = 1;
  ASSERT_EQ(file->ReadImage(&request), 0);
  EXPECT_EQ(std::vector<uint8_t>(buffer.Data(), buffer.Data() + 699840), Noise(699840, 3));
  request.frame = 2;
  ASSERT_EQ(file->ReadImage(&request), 0) << "past the end reads frame 0";
  EXPECT_EQ(std::vector<uint8_t>(buffer.Data(), buffer.Data() + 699840), Noise(699840, 2));
  request.frame = -4;
  ASSERT_EQ(file->ReadImage(&request), 0);
  EXPECT_EQ(std::vector<uint8_t>(buffer.Data(), buffer.Data() + 699840), Noise(699840, 2));
}

TEST(SequenceNames, FileWithoutNumberIsAStill) {
  const std::string folder = FreshFolder("names");
  MakeFrames(folder, {"clip.yuv"});
  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(Open(folder + "/clip.yuv", &info, &file), 0);
  EXPECT_EQ(info.frameCount, 1);
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(info, &buffer, 0);
  for (const int32_t frame : {3, 0, 3}) {
    request.frame = frame;
    ASSERT_EQ(file->ReadImage(&request), 0);
    EXPECT_EQ(std::vector<uint8_t>(buffer.Data(), buffer.Data() + 699840), Noise(699840, 1));
  }
}

TEST(SequenceNames, SoundIsFoundUnderTheClipsName) {
  const std::string folder = FreshFolder("names");
  MakeFrames(folder, {"clip000007.yuv", "clip_000007.yuv"});
  NxMediaFileInfo info;
  {
    MediaFilePtr file;
    ASSERT_EQ(Open(folder + "/clip000007.yuv", &info, &file), 0);
    EXPECT_EQ(info.streams, 1u);
  }
  NxMediaWAV wav;
  NxMediaCreateInfo sound = {};
  sound.streams = NxStreamsAudio;
  AddAudio(&sound, 0, 1);
  ASSERT_EQ(Create(&wav, folder, "clip", &sound), 0);
  const auto samples = Noise(3204, 1);
  NxAudioWriteRequest write;
  write.buffer = samples.data();
  write.bytes = static_cast<int32_t>(samples.size());
  ASSERT_EQ(wav.WriteAudio(&write), 0);
  ASSERT_EQ(wav.Close(), 0);
  for (const char* name : {"/clip000007.yuv", "/clip_000007.yuv"}) {
    MediaFilePtr file;
    ASSERT_EQ(Open(folder + name, &info, &file), 0);
    EXPECT_EQ(info.streams, 4u) << name;
  }
}

TEST(SequenceNames, SoundIsLookedForBesideTheFramesThenInItsFolder) {
  const std::string folder = FreshFolder("names");
  const std::string elsewhere = FreshFolder("sound");
  ASSERT_TRUE(WriteYuvClip(folder, "clip", 1, nullptr, 0, 1));
  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(FileRename(folder + "/clip.wav", elsewhere + "/clip.wav"), 0);
  ASSERT_EQ(OpenMediaClip(folder + "/clip_000000.yuv", true, elsewhere, 0, false, &info, &file), 0);
  EXPECT_EQ(info.streams, 4u);
  ASSERT_EQ(OpenMediaClip(folder + "/clip_000000.yuv", false, elsewhere, 0, false, &info, &file),
            0);
  EXPECT_EQ(info.streams, 1u) << "not wanted";
  ASSERT_EQ(OpenMediaClip(folder + "/clip_000000.yuv", true, nullptr, 0, false, &info, &file), 0);
  EXPECT_EQ(info.streams, 1u) << "no folder given";
}

TEST(SequenceNames, CapitalExtensionIsCountedAsSpelled) {
  const std::string folder = FreshFolder("names");
  MakeFrames(folder, {"x_000000.YUV", "x_000001.YUV"});
  EXPECT_EQ(CountFrom(folder + "/x_000000.YUV"), 2);
}

TEST(SequenceNames, MillionthNumberOverwritesTheUnderscore) {
  const std::string folder = FreshFolder("names");
  MakeFrames(folder, {"clip_999999.yuv", "clip1000000.yuv"});
  EXPECT_EQ(CountFrom(folder + "/clip_999999.yuv"), 2);
}

TEST(SequenceNames, OfALongNumberTheLastNineDigitsCount) {
  const std::string folder = FreshFolder("names");
  MakeFrames(folder, {"c_20261121000000001.yuv", "c_20261121000000002.yuv"});
  EXPECT_EQ(CountFrom(folder + "/c_20261121000000001.yuv"), 2);
}

TEST(SequenceNames, SingleFileIsNotCounted) {
  const std::string folder = FreshFolder("names");
  MakeFrames(folder, {"clip_000005.yuv", "clip_000006.yuv"});
  MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaFileInfo info = {};
  ASSERT_EQ(file->OpenRead(folder + "/clip_000005.yuv", true, folder, &info, kOpenExisting, 0x0D, 1,
                           false),
            0);
  EXPECT_EQ(info.frameCount, 1);
}

TEST(SequenceNames, KnownFrameCountIsCountedAllTheSame) {
  const std::string folder = FreshFolder("names");
  MakeFrames(folder, {"clip_000005.yuv", "clip_000006.yuv"});
  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(OpenMediaClip(folder + "/clip_000005.yuv", false, nullptr, 9, false, &info, &file), 0);
  EXPECT_EQ(info.frameCount, 2);
}

TEST(SequenceNames, SidecarIsLookedForUnderNumberOne) {
  EXPECT_EQ(SidecarToFind("/v/clip_000007.yuv"), "/v/clip_000001.vyr");
  EXPECT_EQ(SidecarToFind("/v/clip_995000.yuv"), "/v/clip_000001.vyr");
  EXPECT_EQ(SidecarToFind("/v/clip.yuv"), "/v/clip.vyr");
  EXPECT_EQ(SidecarToFind("/v/7.yuv"), "/v/1.vyr");
  EXPECT_EQ(SidecarToFind(".yuv"), ".yuv") << "too short for a suffix";
  EXPECT_EQ(SidecarOfFrame("/v/clip_000007.yuv"), "/v/clip_000007.vyr");
}

TEST(SequenceNames, SidecarIsFoundFromAnyFrameOfAClipThatBeginsAtOne) {
  const std::string folder = FreshFolder("names");
  ASSERT_TRUE(WriteYuvClip(folder, "clip", 3, "000001"));
  EXPECT_TRUE(Exists(folder + "/clip_000001.vyr"));
  for (const char* name : {"/clip_000001.yuv", "/clip_000003.yuv"}) {
    NxMediaFileInfo info;
    MediaFilePtr file;
    ASSERT_EQ(Open(folder + name, &info, &file), 0);
    EXPECT_EQ(info.timeScale, 30000) << name;
    EXPECT_EQ(info.timeRate, 1001);
    EXPECT_EQ(info.parNum, 1);
  }
}

TEST(SequenceNames, SidecarOfADefaultClipIsNotFound) {
  const std::string folder = FreshFolder("names");
  ASSERT_TRUE(WriteYuvClip(folder, "clip", 2));
  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(Open(folder + "/clip_000000.yuv", &info, &file), 0);
  EXPECT_EQ(info.timeScale, -1);
  EXPECT_EQ(info.timeRate, -1);
  EXPECT_EQ(info.fieldType, -1);
}

TEST(SequenceNames, SidecarWithABadBodyIsAnErrorOfTheClip) {
  const std::string folder = FreshFolder("names");
  ASSERT_TRUE(WriteYuvClip(folder, "clip", 2, "000001"));
  WriteText(folder + "/clip_000001.vyr", "<VYRFileData>");
  NxMediaFileInfo info;
  MediaFilePtr file;
  EXPECT_EQ(Open(folder + "/clip_000001.yuv", &info, &file), 100005);
  EXPECT_EQ(file, nullptr);
}

TEST(SequenceNames, HalfAnAspectCountsAsNone) {
  const std::string folder = FreshFolder("names");
  ASSERT_TRUE(WriteYuvClip(folder, "clip", 1, "000001"));
  std::string text = ReadText(folder + "/clip_000001.vyr");
  text.replace(text.find("<PARDen>1<"), 10, "<PARDen>-1<");
  WriteText(folder + "/clip_000001.vyr", text);
  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(Open(folder + "/clip_000001.yuv", &info, &file), 0);
  EXPECT_EQ(info.parNum, -1);
  EXPECT_EQ(info.parDen, -1);
}

TEST(SequenceNames, SidecarThatCannotBeOpenedIsAnErrorOfTheClip) {
  const std::string folder = FreshFolder("names");
  ASSERT_TRUE(WriteYuvClip(folder, "clip", 1, "000001"));
  const std::string path = folder + "/clip_000001.yuv";
  const struct {
    int error;
    NxErr result;
  } rows[] = {{EACCES, NxErrOpenVideoFile}, {EIO, NxErrOpenVideoFile}, {ENOENT, NxErrSuccess}};
  for (const auto& row : rows) {
    NxMediaFileInfo info;
    MediaFilePtr file;
    const FileFault fault(FileCall::kOpen, 2, row.error);  // the first is that of the frame
    EXPECT_EQ(Open(path, &info, &file), row.result) << row.error;
    EXPECT_EQ(fault.Failed(), 1);
  }
  ASSERT_EQ(std::remove((folder + "/clip_000001.vyr").c_str()), 0);
  ASSERT_EQ(mkdir((folder + "/clip_000001.vyr").c_str(), 0755), 0);
  NxMediaFileInfo info;
  MediaFilePtr file;
  EXPECT_EQ(Open(path, &info, &file), 100005) << "a folder in its place";
}

TEST(SequenceNames, ExistingSidecarStaysAsItIs) {
  const std::string folder = FreshFolder("names");
  const std::string path = folder + "/clip_000000.vyr";
  WriteText(path, "somebody's");
  const auto longAgo = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
  std::filesystem::last_write_time(path, longAgo);
  const auto before = std::filesystem::last_write_time(path);
  ASSERT_TRUE(WriteYuvClip(folder, "clip", 2)) << "and Close says 0";
  EXPECT_EQ(ReadText(path), "somebody's");
  EXPECT_EQ(std::filesystem::last_write_time(path), before);
}

TEST(SequenceNames, SidecarNamesTheFirstFrame) {
  const std::string folder = FreshFolder("names");
  ASSERT_TRUE(WriteYuvClip(folder, "\xC3\x84", 1));
  auto name = std::make_unique<char16_t[]>(kVyrClipNameChars);
  NxDataVYR sidecar;
  ASSERT_EQ(sidecar.OpenRead(folder + "/\xC3\x84_000000.vyr", name.get(), nullptr, kOpenExisting,
                             0x0C, false),
            0);
  EXPECT_EQ(std::u16string(name.get()), u"\u00C4_000000.yuv");
}

TEST(SequenceNames, NamesWithASeparatorAreRefused) {
  const std::string folder = FreshFolder("names");
  MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = PictureInfo(720, 486, FourCC("2vuy"));
  EXPECT_EQ(Create(file.get(), folder, "a/b", &info), 100002);
  EXPECT_EQ(Create(file.get(), folder, "", &info), 100002);
  EXPECT_EQ(Create(file.get(), folder, "a", &info, "../7"), 100002);
  EXPECT_EQ(Create(file.get(), folder + "/none", "a", &info), 100002);
}

}  // namespace
}  // namespace morvane::test
