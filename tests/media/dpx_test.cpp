#include "media/dpx.h"

#include <gtest/gtest.h>

#include <cmath>

#include "media/still_clip.h"
#include "media/still_header.h"

namespace morvane {
namespace {

using namespace morvane::test;

constexpr FourCCCode kCodes[] = {FourCC("10rb"), FourCC("10rl"), FourCC("11rb"), FourCC("11rl"),
                                 FourCC("11rQ")};

NxMediaCreateInfo Planned(FourCCCode fourcc, uint32_t orientation, int32_t width = 1920,
                          int32_t height = 1080) {
  NxMediaCreateInfo info = PictureInfo(width, height, fourcc, orientation);
  info.bitDepth = 10;
  EXPECT_EQ(LayOutFrame({width, height, 4, 2048}, &info), NxErrSuccess);
  return info;
}

std::vector<uint8_t> Header(const NxMediaCreateInfo& info) {
  std::vector<uint8_t> header(kDpxHeaderBytes, 0xEE);
  MakeDpxHeader(info, header.data());
  return header;
}

NxTimeCodeRecord SampleTimecode() {
  NxTimeCodeRecord record = {};
  record.flags = kTimeCodePresent;
  record.timeCode = 0x12345601;
  record.userBits = 0x78563412;
  record.timeCodeType = 2;
  record.tcScale = 30000;
  record.tcRate = 1001;
  return record;
}

// Writes one frame with the sample timecode and reel. Returns: the file.
std::string WriteStamped(FourCCCode fourcc, const std::string& folder, int32_t width,
                         int32_t height) {
  const MediaFilePtr file(CreateMediaFile(NxFileTypeDPX));
  NxMediaCreateInfo info = PictureInfo(width, height, fourcc);
  info.metadata.presentFlags = kMetaReelName;
  PutText("REEL 7", info.metadata.reelName, sizeof info.metadata.reelName);
  EXPECT_EQ(Create(file.get(), folder, "clip", &info), NxErrSuccess);
  const auto pixels = Picture(fourcc, width, height, 1);
  NxImageWriteRequest request = CopiedWrite(info, pixels.data());
  request.timeCode = SampleTimecode();
  EXPECT_EQ(file->WriteImage(&request), NxErrSuccess);
  EXPECT_EQ(file->Close(), NxErrSuccess);
  return FramePath(folder, NxFileTypeDPX);
}

// A small good file with a change, for the parser.
std::string Changed(const std::string& name, FourCCCode fourcc, size_t at,
                    const std::vector<uint8_t>& bytes) {
  const std::string folder = FreshFolder(name);
  const std::string path = WritePicture(NxFileTypeDPX, folder, fourcc, 1, 64, 48);
  std::vector<uint8_t> file = ReadBytes(path);
  std::copy(bytes.begin(), bytes.end(), file.begin() + static_cast<ptrdiff_t>(at));
  WriteBytes(path, file);
  return path;
}

TEST(Dpx, TableHasTheTenRows) {
  EXPECT_EQ(TableText(NxFileTypeDPX),
            "10rb|10-bit Log RGB 444(BE) T2B|1|10\n10rb|10-bit Log RGB 444(BE) B2T|0|10\n"
            "10rl|10-bit Log RGB 444(LE) T2B|1|10\n10rl|10-bit Log RGB 444(LE) B2T|0|10\n"
            "11rb|10-bit RGB 444(BE) T2B|1|10\n11rb|10-bit RGB 444(BE) B2T|0|10\n"
            "11rl|10-bit RGB 444(LE) T2B|1|10\n11rl|10-bit RGB 444(LE) B2T|0|10\n"
            "11rQ|10-bit SMPTE RGB 444(BE) T2B|1|10\n11rQ|10-bit SMPTE RGB 444(BE) B2T|0|10\n");
}

TEST(Dpx, SaysWhatItsMetadataIs) {
  const MediaFilePtr file(CreateMediaFile(NxFileTypeDPX));
  uint8_t caps[kMetadataCapsBytes];
  ASSERT_EQ(file->GetMetadataCaps(caps), NxErrSuccess);
  std::vector<uint8_t> wanted(kMetadataCapsBytes, 0);
  wanted[0] = 1;
  wanted[2] = 1;
  wanted[3] = 0xE0;
  EXPECT_EQ(std::vector<uint8_t>(caps, caps + kMetadataCapsBytes), wanted);
  EXPECT_TRUE(file->SupportsClipMetadata());
  char name[kFormatNameChars];
  ASSERT_EQ(file->GetMediaName(name), NxErrSuccess);
  EXPECT_STREQ(name, "DPX Sequence");
}

TEST(Dpx, HeaderOfANewClipIsTheKnownOne) {
  const struct {
    const char code[5];
    uint32_t crc;
  } kRows[] = {
      {"10rb", 0x77b96dc4}, {"10rl", 0x3fb9d46f}, {"11rQ", 0xde613763}, {"11rl", 0x6df66e74}};
  for (const auto& row : kRows) {
    const auto header = Header(Planned(FourCC(row.code), 1));
    EXPECT_EQ(Crc32(header.data(), header.size()), row.crc) << row.code;
  }
}

TEST(Dpx, HeaderHasItsBytesWhereToolsLookForThem) {
  const auto header = Header(Planned(FourCC("11rQ"), 1));
  EXPECT_EQ(Hex(header, 0, 36),
            "534450580000080056312e3000000000007e980000000001000006800000018000000000");
  EXPECT_EQ(
      Hex(header, 768, 52),
      "000000010000078000000438000000000000004000000000000003ac00c07f443202000a0001000000000800"
      "0000000000000000");
  EXPECT_EQ(Hex(header, 1720, 12), "0000000141efc29f0000804f");
  NxMediaCreateInfo pal = Planned(FourCC("10rl"), 1);
  pal.timeScale = 25000;
  pal.timeRate = 1000;
  EXPECT_EQ(Hex(Header(pal), 1724, 4), "0000c841");
}

TEST(Dpx, WrittenFramesCarryTimecodeUserBitsAndReel) {
  const struct {
    const char code[5];
    uint32_t crc;
    const char* words;
  } kRows[] = {{"10rb", 0x9f067beb, "0156341212345678ffffff000000804f"},
               {"10rl", 0x4b31bdee, "1234560178563412ffffff000000804f"}};
  for (const auto& row : kRows) {
    const auto bytes =
        ReadBytes(WriteStamped(FourCC(row.code), FreshFolder("stamped"), 1920, 1080));
    EXPECT_EQ(bytes.size(), 8296448u);
    EXPECT_EQ(Crc32(bytes.data(), kDpxHeaderBytes), row.crc) << row.code;
    EXPECT_EQ(Hex(bytes, 1920, 16), row.words);
    EXPECT_EQ(Hex(bytes, 160, 6), "5245454c2037");
    EXPECT_EQ(Hex(bytes, 166, 94), std::string(188, '0'));
  }
}

TEST(Dpx, FrameWithoutTimecodeHasZerosAndReadsAsMidnight) {
  const std::string folder = FreshFolder("no-timecode");
  const std::string path = WritePicture(NxFileTypeDPX, folder, FourCC("11rb"), 1, 64, 48);
  EXPECT_EQ(Hex(ReadBytes(path), 1920, 8), "0000000000000000");
  NxMediaFileInfo info;
  ASSERT_EQ(OpenCode(path, &info), NxErrSuccess);
  EXPECT_NE(info.metadata.presentFlags & kMetaTimeCode, 0u);
  EXPECT_EQ(uint32_t{info.metadata.timeCode}, 0u);
}

TEST(Dpx, TimecodeReadsBackFromBothByteOrdersAndStepsOn) {
  for (const FourCCCode code : kCodes) {
    const std::string path = WriteStamped(code, FreshFolder("timecode"), 64, 48);
    const auto info = std::make_unique<NxMediaFileInfo>();
    MediaFilePtr file;
    ASSERT_EQ(Open(path, info.get(), &file), NxErrSuccess);
    EXPECT_EQ(uint32_t{info->metadata.timeCode}, 0x12345601u) << FourCCText(code);
    EXPECT_EQ(uint32_t{info->metadata.userBits}, 0u);
    EXPECT_EQ(uint32_t{info->metadata.timeCodeType}, 2u);
    EXPECT_EQ(int32_t{info->metadata.tcScale}, 30000);
    EXPECT_EQ(int32_t{info->metadata.tcRate}, 1001);
    EXPECT_EQ(info->metadata.dropFrame, 0);
    NxTimeCodeRecord record;
    ASSERT_EQ(file->ReadTimecode(3, &record), NxErrSuccess);
    EXPECT_EQ(uint32_t{record.timeCode}, 0x15345601u);
  }
}

TEST(Dpx, FirstTimecodeGoesIntoTheClipsMetadata) {
  const std::string folder = FreshFolder("tc-metadata");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeDPX));
  NxMediaCreateInfo info = PictureInfo(64, 48, FourCC("11rb"));
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), NxErrSuccess);
  const auto pixels = Picture(FourCC("11rb"), 64, 48, 1);
  NxImageWriteRequest request = CopiedWrite(info, pixels.data());
  request.timeCode = SampleTimecode();
  ASSERT_EQ(file->WriteImage(&request), NxErrSuccess);
  request.timeCode.timeCode = 0x13345601;
  ASSERT_EQ(file->WriteImage(&request), NxErrSuccess);
  NxMediaMetadata metadata;
  ASSERT_EQ(file->GetMetadata(&metadata), NxErrSuccess);
  EXPECT_EQ(uint32_t{metadata.timeCode}, 0x12345601u);
  EXPECT_NE(metadata.presentFlags & kMetaTimeCode, 0u);
  ASSERT_EQ(file->Close(), NxErrSuccess);
  EXPECT_EQ(Hex(ReadBytes(FramePath(folder, NxFileTypeDPX, 1)), 1920, 4), "01563413");
}

TEST(Dpx, FrameRatesOfTheHeaderNameTheTimecodesRate) {
  const struct {
    float rate;
    uint32_t type;
    int32_t scale;
    int32_t per;
  } kRows[] = {{23.976f, 0, 24000, 1001}, {24.0f, 0, 24000, 1000},    {25.0f, 1, 25000, 1000},
               {29.97f, 2, 30000, 1001},  {30.0f, 2, 30000, 1000},    {50.0f, 1, 50000, 1000},
               {59.94f, 2, 60000, 1001},  {60.0f, 2, 60000, 1000},    {48.0f, 0, -1, -1},
               {0.0f, 0, -1, -1},         {4294967296.0f, 0, -1, -1}, {std::nanf(""), 0, -1, -1},
               {-25.0f, 0, -1, -1},       {1.0e30f, 0, -1, -1}};
  for (const auto& row : kRows) {
    std::vector<uint8_t> word(4);
    StoreBeFloat(word.data(), row.rate);
    NxMediaFileInfo info;
    ASSERT_EQ(OpenCode(Changed("rates", FourCC("11rb"), 1724, word), &info), NxErrSuccess);
    EXPECT_EQ(uint32_t{info.metadata.timeCodeType}, row.type) << row.rate;
    EXPECT_EQ(int32_t{info.metadata.tcScale}, row.scale) << row.rate;
    EXPECT_EQ(int32_t{info.metadata.tcRate}, row.per) << row.rate;
  }
}

TEST(Dpx, TimecodeOfAllOnesIsNone) {
  NxMediaFileInfo info;
  ASSERT_EQ(OpenCode(Changed("ones", FourCC("11rb"), 1920, {255, 255, 255, 255}), &info),
            NxErrSuccess);
  EXPECT_EQ(info.metadata.presentFlags & kMetaTimeCode, 0u);
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
  const struct {
    const char* what;
    FourCCCode fourcc;
    uint32_t orientation;
    int32_t width;
  } kRows[] = {{"other width", FourCC("11rb"), 1, 60},
               {"other byte order", FourCC("11rl"), 1, 64},
               {"other range", FourCC("11rQ"), 1, 64},
               {"other line order", FourCC("11rb"), 0, 64}};
  for (const auto& row : kRows) {
    const std::string folder = FreshFolder("middle");
    const auto good = Picture(FourCC("11rb"), 64, 48, 1);
    ASSERT_EQ(
        WriteStills(NxFileTypeDPX, folder, PictureInfo(64, 48, FourCC("11rb")), {good, good, good}),
        NxErrSuccess);
    const auto other = ReadBytes(WritePicture(NxFileTypeDPX, FreshFolder("other"), row.fourcc,
                                              row.orientation, row.width, 48));
    WriteBytes(FramePath(folder, NxFileTypeDPX, 1), other);
    const auto info = std::make_unique<NxMediaFileInfo>();
    MediaFilePtr file;
    ASSERT_EQ(Open(FramePath(folder, NxFileTypeDPX), info.get(), &file), NxErrSuccess);
    EXPECT_EQ(int32_t{info->frameCount}, 3);
    PageBuffer buffer;
    NxImageReadRequest request = PlainRead(*info, &buffer);
    std::memset(buffer.Data(), 0xEE, buffer.Bytes());
    request.frame = 1;
    ASSERT_EQ(file->ReadImage(&request), NxErrSuccess) << row.what;
    EXPECT_EQ(request.dataOffset, 0u);
    EXPECT_EQ(std::count(buffer.Data(), buffer.Data() + request.bufferBytes, 0),
              request.bufferBytes)
        << row.what;
    request.frame = 2;
    ASSERT_EQ(file->ReadImage(&request), NxErrSuccess);
    EXPECT_EQ(std::memcmp(buffer.Data() + request.dataOffset, good.data(), good.size()), 0);
  }
}

TEST(Dpx, HeadersOfOthersChooseTheFormat) {
  // Transfer at 801, low and high data at 784 and 792.
  const std::vector<uint8_t> range = {0, 0, 0, 64, 0, 0, 0, 0, 0, 0, 3, 0xAC};
  const struct {
    uint8_t transfer;
    const char* code;
  } kRows[] = {{1, "11rQ"}, {2, "11rQ"}, {3, "10rb"}};
  for (const auto& row : kRows) {
    const std::string path = Changed("transfer", FourCC("11rb"), 784, range);
    auto file = ReadBytes(path);
    file[801] = row.transfer;
    WriteBytes(path, file);
    NxMediaFileInfo info;
    ASSERT_EQ(OpenCode(path, &info), NxErrSuccess);
    EXPECT_EQ(FourCCText(info.fourcc), row.code);
  }
  NxMediaFileInfo info;
  ASSERT_EQ(OpenCode(Changed("six", FourCC("11rb"), 768, {0, 6}), &info), NxErrSuccess);
  EXPECT_EQ(uint32_t{info.orientation}, kOrientationBottomUp);
  EXPECT_EQ(OpenCode(Changed("eol", FourCC("11rb"), 812, {255, 255, 255, 255})), NxErrSuccess);
}

TEST(Dpx, RefusesWhatItCannotRead) {
  const struct {
    const char* what;
    size_t at;
    std::vector<uint8_t> bytes;
  } kRows[] = {{"magic", 0, {'S', 'D', 'P', 'Y'}},
               {"width 8193", 772, {0, 0, 0x20, 0x01}},
               {"height 8193", 776, {0, 0, 0x20, 0x01}},
               {"width 0", 772, {0, 0, 0, 0}},
               {"width of all ones", 772, {255, 255, 255, 255}},
               {"orientation 1", 768, {0, 1}},
               {"packing 0", 804, {0, 0}},
               {"packing 2", 804, {0, 2}},
               {"12 bits", 803, {12}},
               {"8 bits", 803, {8}},
               {"descriptor 51", 800, {51}},
               {"line padding 4", 812, {0, 0, 0, 4}},
               {"run-length", 806, {0, 1}},
               {"image offset at the end", 4, {0, 0, 0x38, 0}},
               {"image offset of all ones", 4, {255, 255, 255, 255}}};
  for (const auto& row : kRows) {
    EXPECT_EQ(OpenCode(Changed("refused", FourCC("11rb"), row.at, row.bytes)),
              NxErrVideoFormatNotSupported)
        << row.what;
  }
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
  for (const char* code : {"10RG", "bgrA", "2vuy", "10RS"}) {
    const char text[5] = {code[0], code[1], code[2], code[3], 0};
    const std::string folder = FreshFolder("create");
    const MediaFilePtr file(CreateMediaFile(NxFileTypeDPX));
    NxMediaCreateInfo info = PictureInfo(64, 48, FourCC(text));
    EXPECT_EQ(Create(file.get(), folder, "clip", &info), NxErrVideoFormatNotSupported) << code;
    EXPECT_FALSE(Exists(FramePath(folder, NxFileTypeDPX))) << code;
  }
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
