#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <memory>

#include "base/byte_order.h"
#include "base/file_io.h"
#include "base/system.h"
#include "media/clip_builder.h"
#include "processing/convert.h"
#include "support/test_environment.h"

namespace morvane::test {
namespace {

constexpr int32_t kWidth = 64;
constexpr int32_t kHeight = 34;  // 4352 bytes, 8.5 sectors
constexpr size_t kBytes = kWidth * kHeight * 2;

NxMediaCreateInfo SmallInfo() {
  return PictureInfo(kWidth, kHeight, FourCC("2vuy"));
}

std::vector<std::string> FilesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

int OpenDescriptors() {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    (void)entry;
    ++count;
  }
  return count;
}

NxErr WriteNoise(NxMediaFileBase* file, const NxMediaCreateInfo& info, uint32_t seed,
                 int32_t frame = -1) {
  const auto pixels = Noise(static_cast<size_t>(info.imageBytes), seed);
  NxImageWriteRequest request = CopiedWrite(info, pixels.data());
  request.frame = frame;
  return file->WriteImage(&request);
}

TEST(SequenceWrite, CreateCompletesTheRecord) {
  const std::string folder = FreshFolder("write");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = PictureInfo(720, 486, FourCC("2vuy"));
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  EXPECT_STREQ(info.name, "8-bit YUV 4:2:2");
  EXPECT_EQ(info.bitDepth, 8);
  EXPECT_EQ(info.imageBytes, 699840);
  EXPECT_EQ(info.frameBytes, 699904);
  EXPECT_EQ(info.imageOffset, 0);
  EXPECT_EQ(info.linePixels, 720);
  EXPECT_EQ(info.linePitch, 1440);
  EXPECT_EQ(info.unused[0], -1);
  NxMediaCreateInfo again;
  EXPECT_EQ(file->GetWriteInfo(&again), 0);
  EXPECT_EQ(std::memcmp(&again, &info, sizeof info), 0);
  EXPECT_EQ(file->GetFrameCount(), 0);
}

TEST(SequenceWrite, OtherFormatsAndSizesAreRefused) {
  const std::string folder = FreshFolder("write");
  const auto refuses = [&](NxMediaCreateInfo info) {
    const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
    EXPECT_EQ(Create(file.get(), folder, "clip", &info), 100000);
    EXPECT_EQ(file->Close(), -2);
  };
  refuses(PictureInfo(720, 486, FourCC("uyv9")));
  refuses(PictureInfo(720, 486, FourCC("2vuy"), 0));
  refuses(PictureInfo(0, 486, FourCC("2vuy")));
  refuses(PictureInfo(720, -1, FourCC("2vuy")));
  refuses(PictureInfo(40000, 40000, FourCC("2vuy")));
  refuses(PictureInfo(INT32_MAX, INT32_MAX, FourCC("2vuy")));
  EXPECT_TRUE(FilesIn(folder).empty());
}

TEST(SequenceWrite, FrameGoesToDiskFromWhereItLies) {
  const std::string folder = FreshFolder("write");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = PictureInfo(720, 486, FourCC("2vuy"));
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  PageBuffer slot;
  ASSERT_TRUE(slot.Allocate(static_cast<size_t>(info.frameBytes) + 512));
  const auto pixels = Noise(699840, 5);
  std::memset(slot.Data(), 0xEE, slot.Bytes());
  std::memcpy(slot.Data(), pixels.data(), pixels.size());
  NxImageWriteRequest request = CopiedWrite(info, slot.Data());
  request.headerBuffer = slot.Data();
  request.dataOffset = 0;
  request.frameBytes = info.frameBytes;
  {
    // Without a copy a frame is one write; no memory is taken either.
    const FileFault count(FileCall::kWrite, 1000, EIO);
    NxSetPageLimit(0);
    EXPECT_EQ(file->WriteImage(&request), 0);
    NxSetPageLimit(SIZE_MAX);
    EXPECT_EQ(count.Calls(), 1);
  }
  EXPECT_EQ(file->Close(), 0);
  EXPECT_EQ(ReadBytes(folder + "/clip_000000.yuv"), pixels) << "exactly the picture";
}

TEST(SequenceWrite, NoMemoryForTheCopyIsTold) {
  const std::string folder = FreshFolder("write");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  NxSetPageLimit(0);
  EXPECT_EQ(WriteNoise(file.get(), info, 1), 10003);
  NxSetPageLimit(SIZE_MAX);
  EXPECT_EQ(file->GetFrameCount(), 0);
  EXPECT_EQ(WriteNoise(file.get(), info, 1), 0);
}

TEST(SequenceWrite, ByteOrdersOfTheGroupAreTurned) {
  const std::string folder = FreshFolder("write");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  std::vector<uint8_t> pixels(kBytes);
  const uint8_t pair[4] = {0x52, 0x5A, 0x53, 0xF0};
  for (size_t i = 0; i < kBytes; ++i) pixels[i] = pair[i % 4];
  NxImageWriteRequest request = CopiedWrite(info, pixels.data());
  request.fourcc = FourCC("yuy2");
  ASSERT_EQ(file->WriteImage(&request), 0);
  request.fourcc = FourCC("uyv9");
  ASSERT_EQ(file->WriteImage(&request), 0);
  EXPECT_EQ(Hex(ReadBytes(folder + "/clip_000000.yuv"), 0, 8), "5a52f0535a52f053");
  EXPECT_EQ(Hex(ReadBytes(folder + "/clip_000001.yuv"), 0, 8), "525a53f0525a53f0");
}

std::vector<uint8_t> ConvertedUpsideDown(const std::vector<uint8_t>& bgra, int32_t matrix) {
  std::vector<uint8_t> wanted(kBytes);
  ConvertContext context;
  NxColorContext color;
  color.matrix = matrix;
  EXPECT_EQ(ConvertImage(&context, bgra.data(), kWidth, kHeight, FourCC("bgrA"), kWidth * 4,
                         wanted.data(), kWidth, kHeight, FourCC("2vuy"), kWidth * 2, false, &color,
                         true, nullptr),
            0);
  return wanted;
}

TEST(SequenceWrite, OtherFormatsAreConverted) {
  const std::string folder = FreshFolder("write");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  const std::vector<uint8_t> pixels = Noise(kWidth * kHeight * 4, 3);
  NxImageWriteRequest request = CopiedWrite(info, pixels.data());
  request.fourcc = FourCC("bgrA");
  request.pitch = kWidth * 4;
  request.orientation = 0;
  request.color.matrix = ColorMatrix709Video;
  ASSERT_EQ(file->WriteImage(&request), 0);
  EXPECT_EQ(ReadBytes(folder + "/clip_000000.yuv"),
            ConvertedUpsideDown(pixels, ColorMatrix709Video));
  request.color.matrix = kMatrixByWidth;
  ASSERT_EQ(file->WriteImage(&request), 0);
  EXPECT_EQ(ReadBytes(folder + "/clip_000001.yuv"),
            ConvertedUpsideDown(pixels, ColorMatrix601Video))
      << "601 below 800 pixels";
}

TEST(SequenceWrite, PicturesThatCannotBeAreRefusedAndDoNotCount) {
  const std::string folder = FreshFolder("write");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  const auto pixels = Noise(kBytes, 3);
  NxImageWriteRequest request = CopiedWrite(info, pixels.data());
  request.fourcc = FourCC("none");
  EXPECT_EQ(file->WriteImage(&request), -1);
  request = CopiedWrite(info, pixels.data());
  request.pitch = 10;
  EXPECT_EQ(file->WriteImage(&request), -1);
  request = CopiedWrite(info, pixels.data());
  request.width = 0;
  EXPECT_EQ(file->WriteImage(&request), -1);
  request = CopiedWrite(info, nullptr);
  EXPECT_EQ(file->WriteImage(&request), -2);
  EXPECT_EQ(file->GetFrameCount(), 0);
}

TEST(SequenceWrite, FirstFrameWrittenIsTheFirstFileWhateverItsNumber) {
  const std::string folder = FreshFolder("write");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  ASSERT_EQ(WriteNoise(file.get(), info, 1, 7), 0);
  ASSERT_EQ(WriteNoise(file.get(), info, 2, 5), 0);
  EXPECT_EQ(WriteNoise(file.get(), info, 3, 0), -2) << "there already";
  ASSERT_EQ(file->Close(), 0);
  EXPECT_EQ(FilesIn(folder),
            (std::vector<std::string>{"clip_000000.vyr", "clip_000000.yuv", "clip_000005.yuv"}));
  EXPECT_EQ(ReadBytes(folder + "/clip_000000.yuv"), Noise(kBytes, 1));
}

TEST(SequenceWrite, ExactNamesAreUsedAsTheyStand) {
  const std::string folder = FreshFolder("write");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  const auto pixels = Noise(kBytes, 1);
  NxImageWriteRequest request = CopiedWrite(info, pixels.data());
  request.useExactName = 1;
  PutText(folder + "/first.yuv", request.exactName, kExactNameBytes);
  ASSERT_EQ(file->WriteImage(&request), 0);
  char name[kNxFileNameChars];
  EXPECT_EQ(file->GetImageFileName(name), 0);
  EXPECT_EQ(std::string(name), folder + "/first.yuv");
  std::u16string wide;
  ASSERT_TRUE(Utf8ToUtf16(folder + "/\xC3\x84.yuv", &wide));
  request.exactNameW = wide.c_str();
  ASSERT_EQ(file->WriteImage(&request), 0);
  EXPECT_EQ(file->WriteImage(&request), -2) << "never over a file that is there";
  ASSERT_EQ(file->Close(), 0);
  EXPECT_EQ(FilesIn(folder), (std::vector<std::string>{"first.vyr", "first.yuv", "\xC3\x84.yuv"}));
  EXPECT_EQ(file->DeleteAllFiles(), 0);
  EXPECT_TRUE(FilesIn(folder).empty());
}

TEST(SequenceWrite, ExistingFirstFrameIsNeverOverwritten) {
  const std::string folder = FreshFolder("write");
  WriteText(folder + "/clip_000000.yuv", "precious");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  AddAudio(&info, 0, 1);
  EXPECT_EQ(Create(file.get(), folder, "clip", &info), 100002);
  EXPECT_EQ(ReadText(folder + "/clip_000000.yuv"), "precious");
  EXPECT_EQ(FilesIn(folder).size(), 1u);
}

TEST(SequenceWrite, ExistingSoundTakesTheFirstFrameBack) {
  const std::string folder = FreshFolder("write");
  WriteText(folder + "/clip.wav", "precious");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  AddAudio(&info, 0, 1);
  EXPECT_EQ(Create(file.get(), folder, "clip", &info), 100003);
  EXPECT_EQ(FilesIn(folder), (std::vector<std::string>{"clip.wav"}));
  EXPECT_EQ(ReadText(folder + "/clip.wav"), "precious");
  info.audio.sampleRate = 44100;
  EXPECT_EQ(Create(file.get(), folder, "other", &info), 100001);
  EXPECT_EQ(FilesIn(folder).size(), 1u);
}

TEST(SequenceWrite, LaterFrameThatIsThereIsLeftAlone) {
  const std::string folder = FreshFolder("write");
  WriteText(folder + "/clip_000001.yuv", "precious");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  EXPECT_EQ(WriteNoise(file.get(), info, 1), 0);
  EXPECT_EQ(WriteNoise(file.get(), info, 2), -2);
  EXPECT_EQ(file->GetFrameCount(), 1);
  EXPECT_EQ(file->Close(), 0);
  EXPECT_EQ(file->DeleteAllFiles(), 0);
  EXPECT_EQ(FilesIn(folder), (std::vector<std::string>{"clip_000001.yuv"}));
  EXPECT_EQ(ReadText(folder + "/clip_000001.yuv"), "precious");
}

TEST(SequenceWrite, OverlappedFramesStayOpenUntilTheirSlotIsUsedAgain) {
  const std::string folder = FreshFolder("write");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  const int before = OpenDescriptors();
  ASSERT_EQ(Create(file.get(), folder, "clip", &info, nullptr, 0x8B), 0);
  for (uint32_t i = 1; i <= 12; ++i) ASSERT_EQ(WriteNoise(file.get(), info, i), 0);
  EXPECT_EQ(OpenDescriptors(), before + 6) << "five slots and the first frame";
  ASSERT_EQ(file->Close(), 0);
  EXPECT_EQ(OpenDescriptors(), before);
  EXPECT_EQ(ReadBytes(folder + "/clip_000011.yuv"), Noise(kBytes, 12));
}

TEST(SequenceWrite, ClipWithoutFramesLeavesNothing) {
  const std::string folder = FreshFolder("write");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  EXPECT_EQ(file->Close(), 0);
  EXPECT_TRUE(FilesIn(folder).empty()) << "no sidecar, no empty frame";
}

TEST(SequenceWrite, SoundAloneHasNoFrames) {
  const std::string folder = FreshFolder("write");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = {};
  info.streams = NxStreamsAudio;
  AddAudio(&info, 0, 1);
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  EXPECT_EQ(WriteNoise(file.get(), SmallInfo(), 1), -2);
  const auto sound = Noise(3204, 1);
  NxAudioWriteRequest request;
  request.buffer = sound.data();
  request.bytes = 3204;
  EXPECT_EQ(file->WriteAudio(&request), 0);
  EXPECT_EQ(file->GetAudioSampleCount(0), 1u);
  EXPECT_EQ(file->Close(), 0);
  EXPECT_EQ(FilesIn(folder), (std::vector<std::string>{"clip.wav"}));
}

TEST(SequenceWrite, MetadataMergesIntoClipAndSound) {
  const std::string folder = FreshFolder("write");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  AddAudio(&info, 0, 1);
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  NxMediaMetadata metadata = {};
  EXPECT_EQ(file->SetMetadata(&metadata), -2);
  EXPECT_EQ(file->SetMetadata(nullptr), -2);
  metadata.presentFlags = kMetaReelName;
  PutText("REEL 7", metadata.reelName, sizeof metadata.reelName);
  EXPECT_EQ(file->SetMetadata(&metadata), 0);
  const auto pixels = Noise(kBytes, 1);
  NxImageWriteRequest request = CopiedWrite(info, pixels.data());
  request.timeCode.flags = kTimeCodePresent;
  request.timeCode.timeCode = 0x02000100;
  ASSERT_EQ(file->WriteImage(&request), 0);
  request.timeCode.timeCode = 0x03000100;
  ASSERT_EQ(file->WriteImage(&request), 0);
  NxMediaMetadata back;
  ASSERT_EQ(file->GetMetadata(&back), 0);
  EXPECT_EQ(back.presentFlags, 10u);
  EXPECT_EQ(back.timeCode, 0x02000100u) << "of the first frame";
  ASSERT_EQ(file->Close(), 0);
  const std::string text = ReadText(folder + "/clip_000000.vyr");
  EXPECT_NE(text.find("<ReelName>REEL 7</ReelName>"), std::string::npos);
  EXPECT_NE(text.find("<TC>33554688</TC>"), std::string::npos);
  EXPECT_EQ(ReadBytes(folder + "/clip.wav").size(), 44u + 4096);
}

TEST(SequenceWrite, WriterGoesOnAfterItsFilesWereClosed) {
  const std::string folder = FreshFolder("write");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  ASSERT_EQ(WriteNoise(file.get(), info, 1), 0);
  EXPECT_EQ(file->SetFilesOpen(false), 0);
  EXPECT_EQ(file->SetFilesOpen(true), 0);
  ASSERT_EQ(WriteNoise(file.get(), info, 2), 0);
  ASSERT_EQ(file->Close(), 0);
  EXPECT_EQ(ReadBytes(folder + "/clip_000000.yuv"), Noise(kBytes, 1));
  EXPECT_EQ(ReadBytes(folder + "/clip_000001.yuv"), Noise(kBytes, 2));
}

TEST(SequenceWrite, FilesAndFolderAreSyncedAtClose) {
  const std::string folder = FreshFolder("write");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  AddAudio(&info, 0, 2);
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  for (uint32_t i = 1; i <= 4; ++i) ASSERT_EQ(WriteNoise(file.get(), info, i), 0);
  {
    const FileFault count(FileCall::kSync, 1000, EIO);
    ASSERT_EQ(file->Close(), 0);
    EXPECT_EQ(count.Calls(), 4 + 2 + 1) << "frames, sound, sidecar";
  }
}

TEST(SequenceWrite, SyncThatFailsIsTold) {
  const std::string folder = FreshFolder("write");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  ASSERT_EQ(WriteNoise(file.get(), info, 1), 0);
  const FileFault fault(FileCall::kSync, 1, EIO, true);
  EXPECT_EQ(file->Close(), -2);
  EXPECT_EQ(file->Close(), -2) << "closed all the same";
}

// A capture of ten frames and their sound, whatever fails in between.
void CaptureTenFrames(const std::string& folder) {
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  AddAudio(&info, 0, 2);
  if (Create(file.get(), folder, "clip", &info) != NxErrSuccess) return;
  const auto sound = Noise(40000, 99);
  for (uint32_t i = 1; i <= 10; ++i) {
    const int32_t written = file->GetFrameCount();
    const NxErr result = WriteNoise(file.get(), info, static_cast<uint32_t>(written + 1));
    EXPECT_EQ(file->GetFrameCount(), result == NxErrSuccess ? written + 1 : written);
    for (int32_t track = 0; track < 2; ++track) {
      NxAudioWriteRequest audio;
      audio.file = track;
      audio.buffer = sound.data();
      audio.bytes = 40000;
      (void)file->WriteAudio(&audio);
    }
  }
  (void)file->Close();
}

void ExpectOnlyWholeFiles(const std::string& folder, const std::string& what) {
  EXPECT_EQ(ReadText(folder + "/older_000000.yuv"), "precious") << what;
  uint32_t number = 0;
  for (const std::string& name : FilesIn(folder)) {
    if (name.find(".yuv") == std::string::npos || name.rfind("clip", 0) != 0) continue;
    char expected[32];
    snprintf(expected, sizeof expected, "clip_%06u.yuv", number);
    EXPECT_EQ(name, expected) << what << ": frames have no gap";
    EXPECT_EQ(ReadBytes(folder + "/" + name), Noise(kBytes, number + 1)) << what << " " << name;
    ++number;
  }
  for (const char* name : {"/clip.wav", "/clip_A2.wav"}) {
    if (!Exists(folder + name)) continue;
    const auto bytes = ReadBytes(folder + name);
    ASSERT_GE(bytes.size(), 44u) << what;
    EXPECT_EQ(Hex(bytes, 0, 4), "52494646") << what;
    EXPECT_LE(LoadLe32(bytes.data() + 40) + 44, bytes.size()) << what;
  }
}

class SequenceFault : public testing::TestWithParam<FileCall> {};

TEST_P(SequenceFault, WhicheverCallFailsNoHalfFrameStays) {
  const int descriptors = OpenDescriptors();
  int calls = 0;
  {
    const FileFault count(GetParam(), 100000, EIO);
    CaptureTenFrames(FreshFolder("clean"));
    calls = count.Calls();
  }
  ASSERT_GT(calls, 0);
  for (int nth = 1; nth <= calls; ++nth) {
    const std::string folder = FreshFolder("fault");
    WriteText(folder + "/older_000000.yuv", "precious");
    {
      const FileFault fault(GetParam(), nth, ENOSPC);
      CaptureTenFrames(folder);
      EXPECT_GE(fault.Failed(), 1);
    }
    ExpectOnlyWholeFiles(folder, std::to_string(nth));
  }
  EXPECT_EQ(OpenDescriptors(), descriptors);
}

INSTANTIATE_TEST_SUITE_P(, SequenceFault,
                         testing::Values(FileCall::kOpen, FileCall::kWrite, FileCall::kTruncate,
                                         FileCall::kSync, FileCall::kClose, FileCall::kFolderSync));

TEST(SequenceWrite, DiskThatFillsUpKeepsWhatWasWritten) {
  for (int nth = 1; nth <= 12; nth += 3) {
    const std::string folder = FreshFolder("full");
    WriteText(folder + "/older_000000.yuv", "precious");
    {
      const FileFault fault(FileCall::kWrite, nth, ENOSPC, true);
      CaptureTenFrames(folder);
    }
    ExpectOnlyWholeFiles(folder, std::to_string(nth));
  }
}

TEST(SequenceWrite, FileLimitOfTheSystemLeavesNoHalfFrame) {
  const std::string folder = FreshFolder("limit");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = PictureInfo(720, 486, FourCC("2vuy"));
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  rlimit old;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
  const auto previous = std::signal(SIGXFSZ, SIG_IGN);
  rlimit small = old;
  small.rlim_cur = 65536;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  EXPECT_EQ(WriteNoise(file.get(), info, 1), -2);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old), 0);
  std::signal(SIGXFSZ, previous);
  EXPECT_TRUE(FilesIn(folder).empty());
  EXPECT_EQ(WriteNoise(file.get(), info, 1), 0) << "and the next frame is the first";
  EXPECT_EQ(file->Close(), 0);
  EXPECT_EQ(ReadBytes(folder + "/clip_000000.yuv"), Noise(699840, 1));
}

TEST(SequenceWrite, RemovedFolderIsTold) {
  const std::string folder = FreshFolder("gone");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  ASSERT_EQ(WriteNoise(file.get(), info, 1), 0);
  std::filesystem::remove_all(folder);
  EXPECT_EQ(WriteNoise(file.get(), info, 2), -2);
  EXPECT_EQ(file->GetFrameCount(), 1);
  EXPECT_EQ(file->Close(), -2) << "what was written is lost";
}

TEST(SequenceDelete, WrittenClipTakesOnlyItsOwnFrames) {
  const std::string folder = FreshFolder("delete");
  ASSERT_TRUE(WriteYuvClip(folder, "clip", 5, nullptr, -1, 1, kWidth, kHeight));
  const auto before = FilesIn(folder);
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  AddAudio(&info, 0, 2);
  ASSERT_EQ(Create(file.get(), folder, "clip", &info, "000005"), 0);
  for (uint32_t i = 1; i <= 5; ++i) ASSERT_EQ(WriteNoise(file.get(), info, i), 0);
  ASSERT_EQ(file->Close(), 0);
  EXPECT_EQ(FilesIn(folder).size(), before.size() + 5 + 1 + 2);
  EXPECT_EQ(file->DeleteAllFiles(), 0);
  EXPECT_EQ(FilesIn(folder), before) << "frames 0 to 4 and their sidecar stay";
}

TEST(SequenceDelete, ForeignSidecarOfAWrittenClipStays) {
  const std::string folder = FreshFolder("delete");
  WriteText(folder + "/clip_000000.vyr", "somebody's");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  ASSERT_EQ(WriteNoise(file.get(), info, 1), 0);
  ASSERT_EQ(file->Close(), 0);
  EXPECT_EQ(file->DeleteAllFiles(), 0);
  EXPECT_EQ(FilesIn(folder), (std::vector<std::string>{"clip_000000.vyr"}));
}

TEST(SequenceDelete, OpenedClipGoesWithSidecarsAndSound) {
  const std::string folder = FreshFolder("delete");
  ASSERT_TRUE(WriteYuvClip(folder, "clip", 3, nullptr, 0, 2));
  WriteText(folder + "/clip_000002.vyr", "x");
  WriteText(folder + "/clip_000003.vyr", "x");
  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(Open(folder + "/clip_000000.yuv", &info, &file), 0);
  ASSERT_EQ(file->Close(), 0);
  EXPECT_EQ(file->DeleteAllFiles(), 0);
  EXPECT_EQ(FilesIn(folder), (std::vector<std::string>{"clip_000003.vyr"}));
}

TEST(SequenceDelete, DeleteFileTakesTheFirstFrameOnly) {
  const std::string folder = FreshFolder("delete");
  ASSERT_TRUE(WriteYuvClip(folder, "clip", 2, nullptr, 0, 1));
  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(Open(folder + "/clip_000000.yuv", &info, &file), 0);
  ASSERT_EQ(file->Close(), 0);
  EXPECT_EQ(file->DeleteFile(), 0);
  EXPECT_EQ(FilesIn(folder), (std::vector<std::string>{"clip_000001.yuv"}));
}

TEST(SequenceDelete, StillGoesAlone) {
  const std::string folder = FreshFolder("delete");
  WriteBytes(folder + "/clip.yuv", Noise(699840, 1));
  WriteText(folder + "/clip_000000.yuv", "other");
  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(Open(folder + "/clip.yuv", &info, &file), 0);
  ASSERT_EQ(file->Close(), 0);
  EXPECT_EQ(file->DeleteAllFiles(), 0);
  EXPECT_EQ(FilesIn(folder), (std::vector<std::string>{"clip_000000.yuv"}));
}

}  // namespace
}  // namespace morvane::test
