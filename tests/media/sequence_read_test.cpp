#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/file_io.h"
#include "media/clip_builder.h"
#include "media/data_vyr.h"
#include "processing/convert.h"
#include "support/test_environment.h"

namespace morvane::test {
namespace {

constexpr size_t kBytes = 699840;

// A clip of three frames, opened.
struct OpenClip {
  std::string folder = FreshFolder("read");
  NxMediaFileInfo info;
  MediaFilePtr file;

  explicit OpenClip(int frames = 3, int audioRow = -1) {
    EXPECT_TRUE(WriteYuvClip(folder, "clip", frames, nullptr, audioRow));
    EXPECT_EQ(Open(First(), &info, &file), 0);
  }
  std::string First() const { return folder + "/clip_000000.yuv"; }
};

TEST(SequenceRead, EverySizeOfTheTableOpens) {
  const struct {
    int32_t bytes, width, height;
  } rows[] = {{699840, 720, 486},   {829440, 720, 576},    {691200, 720, 480},
              {1843200, 1280, 720}, {4147200, 1920, 1080}, {4423680, 2048, 1080},
              {6373376, 2048, 1556}};
  const std::string folder = FreshFolder("sizes");
  for (const auto& row : rows) {
    const std::string path = folder + "/a.yuv";
    WriteBytes(path, std::vector<uint8_t>(static_cast<size_t>(row.bytes)));
    NxMediaFileInfo info;
    MediaFilePtr file;
    ASSERT_EQ(Open(path, &info, &file), 0) << row.bytes;
    EXPECT_EQ(info.width, row.width);
    EXPECT_EQ(info.height, row.height);
    EXPECT_EQ(info.linePitch, row.width * 2);
    EXPECT_EQ(info.imageBytes, row.bytes);
    EXPECT_EQ(info.frameBytes, (row.bytes + 511) / 512 * 512);
    EXPECT_EQ(info.imageOffset, 0);
    EXPECT_EQ(info.linePixels, 0);
    EXPECT_EQ(info.bitDepth, 8);
    EXPECT_EQ(info.orientation, 1u);
    EXPECT_EQ(FourCCText(info.fourcc), "2vuy");
    EXPECT_EQ(FourCCText(info.nativeFourcc), "2vuy");
    EXPECT_STREQ(info.name, "8-bit YUV 4:2:2");
    EXPECT_EQ(info.parNum, -1);
    EXPECT_EQ(info.timeScale, -1);
    EXPECT_EQ(info.fieldType, -1);
  }
}

TEST(SequenceRead, OtherSizesAreRefused) {
  const std::string folder = FreshFolder("sizes");
  for (const size_t bytes :
       {size_t{0}, size_t{1}, size_t{699839}, size_t{699841}, size_t{699904}, size_t{6373377}}) {
    WriteBytes(folder + "/a.yuv", std::vector<uint8_t>(bytes));
    NxMediaFileInfo info;
    MediaFilePtr file;
    EXPECT_EQ(Open(folder + "/a.yuv", &info, &file), 100000) << bytes;
  }
  NxMediaFileInfo info;
  MediaFilePtr file;
  EXPECT_EQ(Open(folder + "/none.yuv", &info, &file), 100005);
}

TEST(SequenceRead, PixelsGoToASectorWhenThereIsRoom) {
  OpenClip clip;
  for (const int32_t spare : {0, 511, 512, 4096}) {
    PageBuffer buffer;
    NxImageReadRequest request = PlainRead(clip.info, &buffer, spare);
    ASSERT_EQ(clip.file->ReadImage(&request), 0);
    EXPECT_EQ(request.dataOffset, spare < 512 ? 0u : 512u);
    EXPECT_EQ(std::memcmp(buffer.Data() + request.dataOffset, Noise(kBytes, 1).data(), kBytes), 0);
    request.external = 1;
    ASSERT_EQ(clip.file->ReadImage(&request), 0);
    EXPECT_EQ(request.dataOffset, 0u);
    EXPECT_EQ(std::memcmp(buffer.Data(), Noise(kBytes, 1).data(), kBytes), 0);
  }
}

TEST(SequenceRead, WholeFrameIsOneRead) {
  OpenClip clip;
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(clip.info, &buffer);
  const FileFault count(FileCall::kRead, 1000, EIO);
  ASSERT_EQ(clip.file->ReadImage(&request), 0);
  EXPECT_EQ(count.Calls(), 1);
}

TEST(SequenceRead, SmallBufferIsRefused) {
  OpenClip clip;
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(clip.info, &buffer, 0);
  request.bufferBytes -= 1;
  EXPECT_EQ(clip.file->ReadImage(&request), 100007);
  request.bufferBytes = -1;
  EXPECT_EQ(clip.file->ReadImage(&request), -2);
  request.buffer = nullptr;
  EXPECT_EQ(clip.file->ReadImage(&request), -2);
}

TEST(SequenceRead, UnalignedBufferIsReadAllTheSame) {
  OpenClip clip;
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(clip.info, &buffer, 1024);
  request.buffer = buffer.Data() + 13;
  request.bufferBytes = clip.info.frameBytes;
  ASSERT_EQ(clip.file->ReadImage(&request), 0);
  EXPECT_EQ(std::memcmp(buffer.Data() + 13, Noise(kBytes, 1).data(), kBytes), 0);
}

TEST(SequenceRead, FrameOfAnotherSizeIsBlack) {
  OpenClip clip;
  WriteBytes(clip.folder + "/clip_000001.yuv", Noise(829440, 7));
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(clip.info, &buffer);
  request.frame = 1;
  ASSERT_EQ(clip.file->ReadImage(&request), 0);
  EXPECT_EQ(request.dataOffset, 0u);
  const std::vector<uint8_t> zeros(buffer.Bytes(), 0);
  EXPECT_EQ(std::memcmp(buffer.Data(), zeros.data(), static_cast<size_t>(request.bufferBytes)), 0);
  request.frame = 2;
  ASSERT_EQ(clip.file->ReadImage(&request), 0);
  EXPECT_EQ(std::memcmp(buffer.Data() + 512, Noise(kBytes, 3).data(), kBytes), 0)
      << "and the clip goes on";
}

TEST(SequenceRead, BadFrameIsBlackWhenConvertedToo) {
  OpenClip clip;
  WriteBytes(clip.folder + "/clip_000001.yuv", Noise(829440, 7));
  PageBuffer buffer;
  ASSERT_TRUE(buffer.Allocate(720 * 486 * 4));
  std::memset(buffer.Data(), 0xEE, buffer.Bytes());
  NxImageReadRequest request;
  request.fourcc = FourCC("bgrA");
  request.width = 720;
  request.height = 486;
  request.pitch = 720 * 4;
  request.frame = 1;
  request.buffer = buffer.Data();
  request.bufferBytes = 720 * 486 * 4;
  ASSERT_EQ(clip.file->ReadImage(&request), 0);
  for (size_t i = 0; i < 720 * 486 * 4; ++i) ASSERT_EQ(buffer.Data()[i], 0) << i;
}

TEST(SequenceRead, MissingFrameIsToldAndTheClipGoesOn) {
  OpenClip clip;
  ASSERT_EQ(FileRemove(clip.folder + "/clip_000001.yuv"), 0);
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(clip.info, &buffer);
  request.frame = 1;
  EXPECT_EQ(clip.file->ReadImage(&request), -2);
  request.frame = 2;
  EXPECT_EQ(clip.file->ReadImage(&request), 0);
}

TEST(SequenceRead, ReadErrorIsToldWithAZeroedBuffer) {
  OpenClip clip;
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(clip.info, &buffer);
  std::memset(buffer.Data(), 0xEE, buffer.Bytes());
  const FileFault fault(FileCall::kRead, 1, EIO);
  EXPECT_EQ(clip.file->ReadImage(&request), -2);
  EXPECT_EQ(buffer.Data()[0], 0);
  EXPECT_EQ(buffer.Data()[request.bufferBytes - 1], 0);
}

TEST(SequenceRead, OtherFormatIsConverted) {
  OpenClip clip;
  std::vector<uint8_t> wanted(720 * 486 * 4);
  auto pixels = Noise(kBytes, 2);
  NxColorContext color;
  for (const int32_t matrix : {int32_t{kMatrixByWidth}, int32_t{ColorMatrix709Video}}) {
    color.matrix = matrix;
    NxColorContext coefficients = color;
    if (matrix == kMatrixByWidth) coefficients.matrix = ColorMatrix601Video;
    ConvertContext context;
    ASSERT_EQ(ConvertImage(&context, pixels.data(), 720, 486, FourCC("2vuy"), 1440, wanted.data(),
                           720, 486, FourCC("bgrA"), 720 * 4, false, &coefficients, true, nullptr),
              0);
    PageBuffer buffer;
    ASSERT_TRUE(buffer.Allocate(wanted.size()));
    NxImageReadRequest request;
    request.fourcc = FourCC("bgrA");
    request.width = 720;
    request.height = 486;
    request.pitch = 720 * 4;
    request.orientation = 0;
    request.color.matrix = matrix;
    request.frame = 1;
    request.buffer = buffer.Data();
    request.bufferBytes = static_cast<int32_t>(wanted.size());
    ASSERT_EQ(clip.file->ReadImage(&request), 0);
    EXPECT_EQ(request.dataOffset, 0u);
    EXPECT_EQ(std::memcmp(buffer.Data(), wanted.data(), wanted.size()), 0) << matrix;
  }
}

TEST(SequenceRead, ConversionNeverLeavesItsBuffer) {
  OpenClip clip;
  std::vector<uint8_t> buffer(static_cast<size_t>(clip.info.frameBytes) + 64, 0xEE);
  NxImageReadRequest request;
  request.fourcc = FourCC("bgrA");
  request.width = 720;
  request.height = 486;
  request.pitch = 720 * 4;
  request.buffer = buffer.data();
  request.bufferBytes = clip.info.frameBytes;
  EXPECT_EQ(clip.file->ReadImage(&request), 100007) << "room for the file, not for the picture";
  request.fourcc = FourCC("none");
  EXPECT_EQ(clip.file->ReadImage(&request), -1);
  request.fourcc = FourCC("2vuy");
  request.pitch = 100;
  EXPECT_EQ(clip.file->ReadImage(&request), -1);
  request.pitch = 1440;
  request.height = INT32_MAX;
  EXPECT_EQ(clip.file->ReadImage(&request), 100007);
  request.height = -5;
  EXPECT_EQ(clip.file->ReadImage(&request), -1);
  for (size_t i = static_cast<size_t>(clip.info.frameBytes); i < buffer.size(); ++i) {
    ASSERT_EQ(buffer[i], 0xEE);
  }
}

TEST(SequenceRead, OtherSizeIsScaledOnBlack) {
  OpenClip clip;
  const size_t bytes = 1280 * 720 * 4;
  std::vector<uint8_t> buffer(bytes, 0xEE);
  NxImageReadRequest request;
  request.fourcc = FourCC("bgrA");
  request.width = 1280;
  request.height = 720;
  request.pitch = 1280 * 4;
  request.buffer = buffer.data();
  request.bufferBytes = static_cast<int32_t>(bytes);
  ASSERT_EQ(clip.file->ReadImage(&request), 0);
  // 1066 columns of picture stand in the middle.
  for (size_t y = 0; y < 720; ++y) {
    for (const size_t x : {size_t{0}, size_t{100}, size_t{1180}, size_t{1279}}) {
      const uint8_t* p = &buffer[(y * 1280 + x) * 4];
      ASSERT_EQ(p[0] + p[1] + p[2], 0) << "beside the picture at " << x << ", " << y;
    }
  }
  long colours = 0;
  for (size_t i = 0; i < bytes; i += 4) colours += buffer[i] + buffer[i + 1] + buffer[i + 2] > 0;
  EXPECT_GT(colours, 1000l * 700) << "and fill their lines";
}

TEST(SequenceRead, RectangleOfWholeLinesLandsInPlace) {
  OpenClip clip;
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(clip.info, &buffer);
  request.subRect = 1;
  request.srcX = request.dstX = request.dstY = 0;
  request.srcY = 1;
  request.srcWidth = request.dstWidth = 720;
  request.srcHeight = request.dstHeight = 10;
  ASSERT_EQ(clip.file->ReadImage(&request), 0);
  EXPECT_EQ(request.dataOffset, 1440u % 512);
  EXPECT_EQ(request.pitch, 1440);
  const auto pixels = Noise(kBytes, 1);
  EXPECT_EQ(std::memcmp(buffer.Data() + request.dataOffset, pixels.data() + 1440, 14400), 0);
}

TEST(SequenceRead, RectangleIsCutOutAndTurned) {
  OpenClip clip;
  const auto pixels = Noise(kBytes, 1);
  for (const bool flip : {false, true}) {
    PageBuffer buffer;
    NxImageReadRequest request = PlainRead(clip.info, &buffer);
    request.bufferBytes = 100 * 2 * 20;
    request.subRect = 1;
    request.srcX = 30;
    request.srcY = 466;
    request.dstX = request.dstY = 0;
    request.srcWidth = request.dstWidth = 100;
    request.srcHeight = flip ? -20 : 20;
    request.dstHeight = 20;
    ASSERT_EQ(clip.file->ReadImage(&request), 0);
    EXPECT_EQ(request.pitch, 200);
    EXPECT_EQ(request.dataOffset, 0u);
    for (size_t y = 0; y < 20; ++y) {
      const size_t row = 466 + (flip ? 19 - y : y);
      ASSERT_EQ(std::memcmp(buffer.Data() + y * 200, pixels.data() + row * 1440 + 60, 200), 0) << y;
    }
  }
}

TEST(SequenceRead, RectanglesOutsideThePictureAreRefused) {
  OpenClip clip;
  const int32_t bad[][4] = {{-2, 0, 10, 10}, {0, -2, 10, 10},       {711, 0, 10, 10},
                            {0, 480, 10, 7}, {0, 0, 0, 10},         {0, 0, 10, 0},
                            {0, 0, 721, 10}, {0, 0, 10, INT32_MIN}, {INT32_MAX, 0, 10, 10}};
  for (const auto& rect : bad) {
    PageBuffer buffer;
    NxImageReadRequest request = PlainRead(clip.info, &buffer);
    request.subRect = 1;
    request.srcX = rect[0];
    request.srcY = rect[1];
    request.srcWidth = request.dstWidth = rect[2];
    request.srcHeight = request.dstHeight = rect[3];
    request.dstX = request.dstY = 0;
    EXPECT_EQ(clip.file->ReadImage(&request), 1) << rect[0] << " " << rect[1];
  }
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(clip.info, &buffer);
  request.subRect = 1;
  request.srcX = request.srcY = request.dstX = request.dstY = 0;
  request.srcWidth = request.dstWidth = 720;
  request.srcHeight = request.dstHeight = 100;
  request.bufferBytes = 1440 * 100 - 1;
  EXPECT_EQ(clip.file->ReadImage(&request), 100007);
  request.srcX = -1;
  EXPECT_EQ(clip.file->ReadImage(&request), 100007) << "an incomplete rectangle is none";
}

TEST(SequenceRead, ExactNameReadsThatFile) {
  OpenClip clip;
  WriteBytes(clip.folder + "/other.yuv", Noise(kBytes, 77));
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(clip.info, &buffer, 0);
  const std::string name = clip.folder + "/other.yuv";
  request.useExactName = 1;
  request.exactName = name.c_str();
  ASSERT_EQ(clip.file->ReadImage(&request), 0);
  EXPECT_EQ(std::memcmp(buffer.Data(), Noise(kBytes, 77).data(), kBytes), 0);
}

TEST(SequenceRead, ClosedFilesReadNothingUntilReopened) {
  OpenClip clip(3, 0);
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(clip.info, &buffer);
  ASSERT_EQ(clip.file->SetFilesOpen(false), 0);
  EXPECT_NE(clip.file->ReadImage(&request), 0);
  const std::string path = clip.folder + "/clip_000000.yuv";
  request.useExactName = 1;
  request.exactName = path.c_str();
  EXPECT_NE(clip.file->ReadImage(&request), 0) << "nor a file with a name of its own";
  request.useExactName = 0;
  EXPECT_EQ(clip.file->GetFrameCount(), 3) << "logically open";
  ASSERT_EQ(clip.file->SetFilesOpen(true), 0);
  EXPECT_EQ(clip.file->ReadImage(&request), 0);
  std::vector<uint8_t> sound(100);
  NxAudioReadRequest audio;
  audio.timeScale = 30000;
  audio.timeRate = 1001;
  audio.buffer = sound.data();
  audio.bytes = 100;
  EXPECT_EQ(clip.file->ReadAudio(&audio), 0);
}

TEST(SequenceRead, StillOfAClipIsSilent) {
  OpenClip clip(3, 0);
  EXPECT_EQ(clip.info.streams, 4u);
  ASSERT_EQ(clip.file->ReduceToStill(), 0);
  NxMediaFileInfo info;
  ASSERT_EQ(clip.file->GetReadInfo(&info), 0);
  EXPECT_EQ(info.frameCount, 1);
  EXPECT_EQ(info.streams, 1u);
  EXPECT_EQ(info.audio.fileCount, 0);
  EXPECT_EQ(info.samplesPerFile[0], 0u);
  EXPECT_EQ(clip.file->GetFrameCount(), 1);
  EXPECT_EQ(clip.file->ReadAudio(nullptr), 1);
}

TEST(SequenceRead, MetadataGoesToANewSidecarThenIntoIt) {
  const std::string folder = FreshFolder("meta");
  WriteBytes(folder + "/a_000000.yuv", Noise(kBytes, 1));
  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(Open(folder + "/a_000000.yuv", &info, &file), 0);
  NxMediaMetadata metadata = {};
  EXPECT_EQ(file->SetMetadata(&metadata), -2);
  EXPECT_EQ(file->SetMetadata(nullptr), -2);
  EXPECT_FALSE(Exists(folder + "/a_000000.vyr"));
  metadata.presentFlags = kMetaReelName;
  PutText("ONE", metadata.reelName, sizeof metadata.reelName);
  ASSERT_EQ(file->SetMetadata(&metadata), 0);
  std::string text = ReadText(folder + "/a_000000.vyr");
  EXPECT_NE(text.find("<ReelName>ONE</ReelName>"), std::string::npos);
  EXPECT_NE(text.find("<MasterClip>a_000000.yuv</MasterClip>"), std::string::npos);
  metadata.presentFlags = kMetaTimeCode;
  metadata.timeCode = 0x01;
  metadata.tcScale = 25000;
  metadata.tcRate = 1000;
  ASSERT_EQ(file->SetMetadata(&metadata), 0);
  text = ReadText(folder + "/a_000000.vyr");
  EXPECT_NE(text.find("<ReelName>ONE</ReelName>"), std::string::npos) << "still there";
  EXPECT_NE(text.find("<FileDataFlags>10</FileDataFlags>"), std::string::npos);
  NxTimeCodeRecord stamp;
  ASSERT_EQ(file->ReadTimecode(25, &stamp), 0);
  EXPECT_EQ(stamp.timeCode, 0x00010001u) << "01:00:01:00";
  NxMediaMetadata back;
  ASSERT_EQ(file->GetMetadata(&back), 0);
  EXPECT_EQ(back.presentFlags, 10u);
}

TEST(SequenceRead, MetadataThatCannotBeKeptIsTakenBack) {
  const std::string folder = FreshFolder("meta");
  WriteBytes(folder + "/a_000000.yuv", Noise(kBytes, 1));
  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(Open(folder + "/a_000000.yuv", &info, &file), 0);
  NxMediaMetadata metadata = {};
  metadata.presentFlags = kMetaReelName;
  {
    const FileFault fault(FileCall::kWrite, 1, ENOSPC);
    EXPECT_EQ(file->SetMetadata(&metadata), -2);
  }
  NxMediaMetadata back;
  ASSERT_EQ(file->GetMetadata(&back), 0);
  EXPECT_EQ(back.presentFlags, 0u);
  EXPECT_FALSE(Exists(folder + "/a_000000.vyr"));
  WriteText(folder + "/a_000000.vyr", "not a document");
  EXPECT_EQ(file->SetMetadata(&metadata), -2);
  EXPECT_EQ(ReadText(folder + "/a_000000.vyr"), "not a document");
}

TEST(SequenceRead, ClipWithoutTimecodeSaysSo) {
  OpenClip clip;
  NxTimeCodeRecord stamp;
  EXPECT_EQ(clip.file->ReadTimecode(0, &stamp), -2);
  EXPECT_EQ(clip.file->ReadTimecode(0, nullptr), -2);
}

TEST(SequenceRead, FfmpegReadsTheFrames) {
  if (std::system("command -v ffmpeg >/dev/null 2>&1") != 0) {
    GTEST_SKIP() << "ffmpeg is not installed";
  }
  OpenClip clip;
  const std::string raw = clip.folder + "/out.raw";
  const std::string command = "ffmpeg -v error -y -f rawvideo -pix_fmt uyvy422 -s 720x486 -i " +
                              clip.folder + "/clip_000001.yuv -f rawvideo " + raw;
  ASSERT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(ReadBytes(raw), Noise(kBytes, 2));
}

}  // namespace
}  // namespace morvane::test
