#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "base/byte_order.h"
#include "base/file_io.h"
#include "base/system.h"
#include "media/small_clip.h"
#include "processing/convert.h"
#include "support/test_environment.h"

namespace morvane::test {
namespace {

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
  std::vector<uint8_t> pixels(kSmallBytes);
  const uint8_t pair[4] = {0x52, 0x5A, 0x53, 0xF0};
  for (size_t i = 0; i < kSmallBytes; ++i) pixels[i] = pair[i % 4];
  NxImageWriteRequest request = CopiedWrite(info, pixels.data());
  request.fourcc = FourCC("yuy2");
  ASSERT_EQ(file->WriteImage(&request), 0);
  request.fourcc = FourCC("uyv9");
  ASSERT_EQ(file->WriteImage(&request), 0);
  EXPECT_EQ(Hex(ReadBytes(folder + "/clip_000000.yuv"), 0, 8), "5a52f0535a52f053");
  EXPECT_EQ(Hex(ReadBytes(folder + "/clip_000001.yuv"), 0, 8), "525a53f0525a53f0");
}

std::vector<uint8_t> ConvertedUpsideDown(const std::vector<uint8_t>& bgra, int32_t matrix) {
  std::vector<uint8_t> wanted(kSmallBytes);
  ConvertContext context;
  NxColorContext color;
  color.matrix = matrix;
  EXPECT_EQ(ConvertImage(&context, bgra.data(), kSmallWidth, kSmallHeight, FourCC("bgrA"),
                         kSmallWidth * 4, wanted.data(), kSmallWidth, kSmallHeight, FourCC("2vuy"),
                         kSmallWidth * 2, false, &color, true, nullptr),
            0);
  return wanted;
}

TEST(SequenceWrite, OtherFormatsAreConverted) {
  const std::string folder = FreshFolder("write");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  const std::vector<uint8_t> pixels = Noise(kSmallWidth * kSmallHeight * 4, 3);
  NxImageWriteRequest request = CopiedWrite(info, pixels.data());
  request.fourcc = FourCC("bgrA");
  request.pitch = kSmallWidth * 4;
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
  const auto pixels = Noise(kSmallBytes, 3);
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
  EXPECT_EQ(ReadBytes(folder + "/clip_000000.yuv"), Noise(kSmallBytes, 1));
}

TEST(SequenceWrite, ExactNamesAreUsedAsTheyStand) {
  const std::string folder = FreshFolder("write");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  const auto pixels = Noise(kSmallBytes, 1);
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
  EXPECT_EQ(ReadBytes(folder + "/clip_000011.yuv"), Noise(kSmallBytes, 12));
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
  const auto pixels = Noise(kSmallBytes, 1);
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
  EXPECT_EQ(ReadBytes(folder + "/clip_000000.yuv"), Noise(kSmallBytes, 1));
  EXPECT_EQ(ReadBytes(folder + "/clip_000001.yuv"), Noise(kSmallBytes, 2));
}

}  // namespace
}  // namespace morvane::test
