// The header of a DPX frame: its bytes, the timecode in it, and what other writers put there.
#include "media/dpx_header.h"

#include <gtest/gtest.h>

#include <cmath>

#include "media/still_checks.h"
#include "media/still_header.h"

namespace morvane {
namespace {

using namespace morvane::test;

constexpr StillSample kSample = {NxFileTypeDPX, FourCC("11rb"), kOrientationTopDown};
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

TEST(DpxHeader, HeaderOfANewClipIsTheKnownOne) {
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

TEST(DpxHeader, HeaderHasItsBytesWhereToolsLookForThem) {
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

TEST(DpxHeader, WrittenFramesCarryTimecodeUserBitsAndReel) {
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

TEST(DpxHeader, FrameWithoutTimecodeHasZerosAndReadsAsMidnight) {
  const std::string folder = FreshFolder("no-timecode");
  const std::string path = WritePicture(NxFileTypeDPX, folder, FourCC("11rb"), 1, 64, 48);
  EXPECT_EQ(Hex(ReadBytes(path), 1920, 8), "0000000000000000");
  NxMediaFileInfo info;
  ASSERT_EQ(OpenCode(path, &info), NxErrSuccess);
  EXPECT_NE(info.metadata.presentFlags & kMetaTimeCode, 0u);
  EXPECT_EQ(uint32_t{info.metadata.timeCode}, 0u);
}

TEST(DpxHeader, TimecodeReadsBackFromBothByteOrdersAndStepsOn) {
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

TEST(DpxHeader, FirstTimecodeGoesIntoTheClipsMetadata) {
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

TEST(DpxHeader, FrameRatesOfTheHeaderNameTheTimecodesRate) {
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
    ASSERT_EQ(OpenCode(Changed(kSample, 1724, word), &info), NxErrSuccess);
    EXPECT_EQ(uint32_t{info.metadata.timeCodeType}, row.type) << row.rate;
    EXPECT_EQ(int32_t{info.metadata.tcScale}, row.scale) << row.rate;
    EXPECT_EQ(int32_t{info.metadata.tcRate}, row.per) << row.rate;
  }
}

TEST(DpxHeader, TimecodeOfAllOnesIsNone) {
  NxMediaFileInfo info;
  ASSERT_EQ(OpenCode(Changed(kSample, 1920, {255, 255, 255, 255}), &info), NxErrSuccess);
  EXPECT_EQ(info.metadata.presentFlags & kMetaTimeCode, 0u);
}

TEST(DpxHeader, HeadersOfOthersChooseTheFormat) {
  // Transfer at 801, low and high data at 784 and 792.
  const std::vector<uint8_t> range = {0, 0, 0, 64, 0, 0, 0, 0, 0, 0, 3, 0xAC};
  const struct {
    uint8_t transfer;
    const char* code;
  } kRows[] = {{1, "11rQ"}, {2, "11rQ"}, {3, "10rb"}};
  for (const auto& row : kRows) {
    const std::string path = Changed(kSample, 784, range);
    auto file = ReadBytes(path);
    file[801] = row.transfer;
    WriteBytes(path, file);
    NxMediaFileInfo info;
    ASSERT_EQ(OpenCode(path, &info), NxErrSuccess);
    EXPECT_EQ(FourCCText(info.fourcc), row.code);
  }
  NxMediaFileInfo info;
  ASSERT_EQ(OpenCode(Changed(kSample, 768, {0, 6}), &info), NxErrSuccess);
  EXPECT_EQ(uint32_t{info.orientation}, kOrientationBottomUp);
  EXPECT_EQ(OpenCode(Changed(kSample, 812, {255, 255, 255, 255})), NxErrSuccess);
}

TEST(DpxHeader, RefusesWhatItCannotRead) {
  ExpectRefused(kSample, {{"magic", 0, {'S', 'D', 'P', 'Y'}},
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
                          {"image offset of all ones", 4, {255, 255, 255, 255}}});
}

}  // namespace
}  // namespace morvane
