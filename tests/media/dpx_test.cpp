#include "media/dpx.h"

#include <gtest/gtest.h>

#include "media/still_checks.h"
#include "media/still_header.h"

namespace morvane {
namespace {

using namespace morvane::test;

constexpr StillSample kSample = {NxFileTypeDPX, FourCC("11rb"), kOrientationTopDown};
TEST(Dpx, TableHasTheTenRows) {
  EXPECT_EQ(TableText(NxFileTypeDPX),
            "10rb|10-bit Log RGB 444(BE) T2B|1|10\n10rb|10-bit Log RGB 444(BE) B2T|0|10\n"
            "10rl|10-bit Log RGB 444(LE) T2B|1|10\n10rl|10-bit Log RGB 444(LE) B2T|0|10\n"
            "11rb|10-bit RGB 444(BE) T2B|1|10\n11rb|10-bit RGB 444(BE) B2T|0|10\n"
            "11rl|10-bit RGB 444(LE) T2B|1|10\n11rl|10-bit RGB 444(LE) B2T|0|10\n"
            "11rQ|10-bit SMPTE RGB 444(BE) T2B|1|10\n11rQ|10-bit SMPTE RGB 444(BE) B2T|0|10\n");
}

TEST(Dpx, SizesOfAClipAreWholeSectors) {
  const std::string folder = FreshFolder("sizes");
  const std::string path = WritePicture(NxFileTypeDPX, folder, FourCC("11rb"), 1, 720, 486);
  const auto bytes = ReadBytes(path);
  ASSERT_EQ(bytes.size(), 1401856u);
  EXPECT_EQ(Hex(bytes, 816, 4), "00000080");
  EXPECT_EQ(Hex(bytes, bytes.size() - 128, 128), std::string(256, '0'));
  NxMediaFileInfo info;
  ASSERT_EQ(OpenCode(path, &info), NxErrSuccess);
  EXPECT_EQ(int32_t{info.frameBytes}, 1403904);
  EXPECT_EQ(int32_t{info.imageOffset}, 2048);
  EXPECT_EQ(int32_t{info.linePitch}, 2880);
  EXPECT_EQ(int32_t{info.linePixels}, 0);
  EXPECT_EQ(int32_t{info.timeScale}, -1);
}

TEST(Dpx, EveryRowReadsBackToTheByte) {
  for (const StillRow& row : RowsOf(NxFileTypeDPX)) {
    const std::string path =
        WritePicture(NxFileTypeDPX, FreshFolder("rows"), row.fourcc, row.orientation, 66, 50);
    NxMediaFileInfo info;
    ASSERT_EQ(OpenCode(path, &info), NxErrSuccess);
    EXPECT_EQ(FourCCText(info.fourcc), FourCCText(row.fourcc));
    EXPECT_EQ(uint32_t{info.orientation}, row.orientation);
    EXPECT_EQ(std::string(info.name), row.name);
    const bool isBig = DpxIsBigEndian(row.fourcc);
    EXPECT_EQ(FourCCText(info.nativeFourcc), isBig ? FourCCText(row.fourcc) : "10RG");
    EXPECT_EQ(
        Difference(Picture(row.fourcc, 66, 50, row.orientation), StoredPixels(path), 66, 4, 1), "")
        << row.name;
  }
}

TEST(Dpx, OtherFormatsAndLineOrdersAreConverted) {
  for (const StillRow& row : RowsOf(NxFileTypeDPX)) {
    const std::string path =
        WritePicture(NxFileTypeDPX, FreshFolder("convert"), row.fourcc, row.orientation, 66, 50);
    // Half of the rows come with another line order than is asked for.
    const auto stored = Picture(row.fourcc, 66, 50, 1);
    const auto got = PixelsAs(path, FourCC("10RG"));
    ASSERT_EQ(got.size(), stored.size());
    for (size_t i = 0; i < got.size(); i += 4) {
      uint32_t r, g, b, a, max, min;
      ASSERT_EQ(UnpackRgbPixel(row.fourcc, &stored[i], &r, &g, &b, &a, &max, &min), 0);
      RescaleComponents(&r, &g, &b, &a, max, min, 1023, 0);
      ASSERT_EQ(LoadLe32(&got[i]), r | g << 10 | b << 20) << row.name << " at byte " << i;
    }
  }
}

TEST(Dpx, WritesStraightFromMemoryThatIsLaidOutAsTheFile) {
  const std::string folder = FreshFolder("direct");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeDPX));
  NxMediaCreateInfo info = PictureInfo(720, 486, FourCC("11rb"));
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), NxErrSuccess);
  PageBuffer block;
  ASSERT_TRUE(block.Allocate(static_cast<size_t>(info.frameBytes) + 512));
  const auto pixels = Picture(FourCC("11rb"), 720, 486, 1);
  std::memset(block.Data(), 0xEE, block.Bytes());
  std::memcpy(block.Data() + 2048, pixels.data(), pixels.size());
  NxImageWriteRequest request = CopiedWrite(info, block.Data() + 2048);
  request.headerBuffer = block.Data();
  request.dataOffset = 2048;
  request.frameBytes = info.frameBytes;
  ASSERT_EQ(file->WriteImage(&request), NxErrSuccess);
  ASSERT_EQ(file->Close(), NxErrSuccess);
  const auto bytes = ReadBytes(FramePath(folder, NxFileTypeDPX));
  // The header went to where the file was written from.
  ASSERT_EQ(bytes.size(), static_cast<size_t>(info.frameBytes));
  EXPECT_EQ(std::memcmp(bytes.data(), block.Data(), bytes.size()), 0);
  EXPECT_EQ(std::memcmp(bytes.data() + 2048, pixels.data(), pixels.size()), 0);
  EXPECT_EQ(LoadBe32(bytes.data()), 0x53445058u);
}

TEST(Dpx, SmpteRangeIsWrittenFullOnDemandUnderTheSameHeader) {
  const std::string folder = FreshFolder("full");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeDPX));
  NxMediaCreateInfo info = PictureInfo(64, 48, FourCC("11rQ"));
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), NxErrSuccess);
  const auto pixels = Picture(FourCC("bgrA"), 64, 48, 1);
  NxImageWriteRequest request;
  request.flags = 1;
  request.fourcc = FourCC("bgrA");
  request.width = 64;
  request.height = 48;
  request.pitch = 256;
  request.imageBuffer = const_cast<uint8_t*>(pixels.data());
  ASSERT_EQ(file->WriteImage(&request), NxErrSuccess);
  request.flags = 0;
  ASSERT_EQ(file->WriteImage(&request), NxErrSuccess);
  ASSERT_EQ(file->Close(), NxErrSuccess);
  const auto full = ReadBytes(FramePath(folder, NxFileTypeDPX, 0));
  const auto smpte = ReadBytes(FramePath(folder, NxFileTypeDPX, 1));
  EXPECT_EQ(Hex(full, 784, 4) + Hex(full, 792, 4), "00000040000003ac");
  for (size_t i = 0; i < pixels.size(); i += 4) {
    const double red = pixels[i + 2];
    ASSERT_EQ(LoadBe32(&full[2048 + i]) >> 22, static_cast<uint32_t>(red / 255 * 1023 + 0.5));
    ASSERT_EQ(LoadBe32(&smpte[2048 + i]) >> 22, static_cast<uint32_t>(red / 255 * 940 + 0.5));
  }
}

TEST(Dpx, PixelsBeginOnASectorWhereTheBufferHasRoom) {
  const std::string path =
      WritePicture(NxFileTypeDPX, FreshFolder("room"), FourCC("11rb"), 1, 720, 486);
  const auto info = std::make_unique<NxMediaFileInfo>();
  MediaFilePtr file;
  ASSERT_EQ(Open(path, info.get(), &file), NxErrSuccess);
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(*info, &buffer, 512);
  ASSERT_EQ(file->ReadImage(&request), NxErrSuccess);
  EXPECT_EQ(request.dataOffset, 2560u);
  request = PlainRead(*info, &buffer, 512);
  request.external = 1;
  ASSERT_EQ(file->ReadImage(&request), NxErrSuccess);
  EXPECT_EQ(request.dataOffset, 2048u);
  request = PlainRead(*info, &buffer, 0);
  ASSERT_EQ(file->ReadImage(&request), NxErrSuccess);
  EXPECT_EQ(request.dataOffset, 2048u);
  request = PlainRead(*info, &buffer, -1);
  EXPECT_EQ(file->ReadImage(&request), NxErrBufferTooSmall);
}

TEST(Dpx, OffsetOfTheGenericSectionReadsAWordLater) {
  // Header, picture and nothing else, as a writer without an industry section makes it.
  std::vector<uint8_t> file =
      ReadBytes(WritePicture(NxFileTypeDPX, FreshFolder("generic"), FourCC("11rb"), 1, 64, 48));
  const std::vector<uint8_t> pixels(file.begin() + 2048, file.begin() + 2048 + 64 * 48 * 4);
  file.resize(1664);
  StoreBe32(&file[4], 1664);
  file.insert(file.end(), pixels.begin(), pixels.end());
  const std::string path = FreshFolder("generic") + "/short.dpx";
  WriteBytes(path, file);
  const auto info = std::make_unique<NxMediaFileInfo>();
  MediaFilePtr clip;
  ASSERT_EQ(Open(path, info.get(), &clip), NxErrSuccess);
  EXPECT_EQ(int32_t{info->imageOffset}, 1668);
  // What lies at the place of the timecode is picture.
  EXPECT_EQ(info->metadata.presentFlags & kMetaTimeCode, 0u);
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(*info, &buffer);
  ASSERT_EQ(clip->ReadImage(&request), NxErrSuccess);
  EXPECT_EQ(request.dataOffset, 2048u);
  std::vector<uint8_t> wanted(pixels.begin() + 4, pixels.end());
  wanted.resize(pixels.size());  // the missing end is zero
  EXPECT_EQ(std::memcmp(buffer.Data() + 2048, wanted.data(), wanted.size()), 0);
}

TEST(Dpx, RectangleBringsItsLinesOnly) {
  const std::string path =
      WritePicture(NxFileTypeDPX, FreshFolder("rectangle"), FourCC("11rb"), 1, 720, 486);
  const auto info = std::make_unique<NxMediaFileInfo>();
  MediaFilePtr file;
  ASSERT_EQ(Open(path, info.get(), &file), NxErrSuccess);
  const auto picture = Picture(FourCC("11rb"), 720, 486, 1);
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(*info, &buffer, 0);
  request.subRect = 1;
  request.srcX = request.dstX = request.dstY = 0;
  request.srcY = 1;
  request.srcWidth = request.dstWidth = 720;
  request.srcHeight = request.dstHeight = 10;
  ASSERT_EQ(file->ReadImage(&request), NxErrSuccess);
  // Line 1 begins at byte 4928 of the file: 320 bytes into its sector.
  EXPECT_EQ(request.dataOffset, 320u);
  EXPECT_EQ(request.pitch, 2880);
  EXPECT_EQ(std::memcmp(buffer.Data() + 320, &picture[2880], 10 * 2880), 0);
  request.pitch = info->linePitch;
  request.srcX = 100;
  request.srcWidth = request.dstWidth = 33;
  request.srcHeight = -10;
  ASSERT_EQ(file->ReadImage(&request), NxErrSuccess);
  EXPECT_EQ(request.pitch, 132);
  for (size_t line = 0; line < 10; ++line) {
    ASSERT_EQ(std::memcmp(buffer.Data() + request.dataOffset + line * 132,
                          &picture[(10 - line) * 2880 + 400], 132),
              0)
        << "line " << line;
  }
}

TEST(Dpx, FrameOfAnotherKindInTheMiddleIsBlack) {
  const auto other = [](FourCCCode fourcc, uint32_t orientation, int32_t width) {
    return OtherFrame(NxFileTypeDPX, fourcc, orientation, width, 48);
  };
  ExpectBlackInTheMiddle(kSample, other(FourCC("11rb"), 1, 60));
  ExpectBlackInTheMiddle(kSample, other(FourCC("11rl"), 1, 64));  // byte order
  ExpectBlackInTheMiddle(kSample, other(FourCC("11rQ"), 1, 64));  // range
  ExpectBlackInTheMiddle(kSample, other(FourCC("11rb"), 0, 64));
}

TEST(Dpx, MissingEndOfAFrameIsZero) {
  const std::string path =
      WritePicture(NxFileTypeDPX, FreshFolder("cut"), FourCC("11rb"), 1, 64, 48);
  auto file = ReadBytes(path);
  file.resize(2048 + 5000);
  WriteBytes(path, file);
  auto wanted = Picture(FourCC("11rb"), 64, 48, 1);
  std::fill(wanted.begin() + 5000, wanted.end(), uint8_t{0});
  EXPECT_EQ(Difference(wanted, StoredPixels(path), 64, 4, 1), "");
}

TEST(Dpx, CreatesOnlyItsOwnFormats) {
  ExpectNotCreated(NxFileTypeDPX, {"10RG", "bgrA", "2vuy", "10RS"});
}

TEST(Dpx, TenBitYuvGoesToDiskFromMemoryOnly) {
  const std::string folder = FreshFolder("yuv");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeDPX));
  NxMediaCreateInfo info = PictureInfo(1280, 720, FourCC("10yb"));
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), NxErrSuccess);
  EXPECT_EQ(int32_t{info.linePixels}, 1296);
  EXPECT_EQ(int32_t{info.linePitch}, 3456);
  EXPECT_EQ(int32_t{info.imageBytes}, 720 * 3456);
  PageBuffer block;
  ASSERT_TRUE(block.Allocate(static_cast<size_t>(info.frameBytes) + 512));
  NxImageWriteRequest request = CopiedWrite(info, block.Data() + 2048);
  EXPECT_EQ(file->WriteImage(&request), NxErrUnsupportedRequest);  // would be a copy
  request.headerBuffer = block.Data();
  request.dataOffset = 2048;
  request.frameBytes = info.frameBytes;
  ASSERT_EQ(file->WriteImage(&request), NxErrSuccess);
  ASSERT_EQ(file->Close(), NxErrSuccess);
  const std::string path = FramePath(folder, NxFileTypeDPX);
  EXPECT_EQ(ReadBytes(path)[800], 100);
  EXPECT_EQ(OpenCode(path), NxErrVideoFormatNotSupported);
}

TEST(Dpx, EightBitRgbaIsWrittenAndNotRead) {
  const std::string path =
      WritePicture(NxFileTypeDPX, FreshFolder("rgba"), FourCC("rgba"), 1, 64, 48);
  const auto bytes = ReadBytes(path);
  EXPECT_EQ(bytes[800], 51);
  EXPECT_EQ(bytes[803], 8);
  EXPECT_EQ(Hex(bytes, 792, 8), "ff00000000c07f44");
  EXPECT_EQ(OpenCode(path), NxErrVideoFormatNotSupported);
}

}  // namespace
}  // namespace morvane
