#include "media/cin.h"

#include <gtest/gtest.h>

#include "media/still_checks.h"

namespace morvane {
namespace {

using namespace morvane::test;

constexpr NxFileType kType = NxFileTypeCIN;
constexpr StillSample kSample = {kType, FourCC("10rb"), kOrientationTopDown};

TEST(Cineon, OffersOneRow) {
  EXPECT_EQ(TableText(kType), "10rb|10-bit Log RGB 4:4:4 (BE)|1|10\n");
}

TEST(Cineon, HasNoMetadata) {
  const MediaFilePtr file(CreateMediaFile(kType));
  uint8_t caps[kMetadataCapsBytes];
  std::fill_n(caps, kMetadataCapsBytes, uint8_t{0xEE});
  ASSERT_EQ(file->GetMetadataCaps(caps), NxErrSuccess);
  EXPECT_EQ(std::count(caps, caps + kMetadataCapsBytes, 0), 42);
  EXPECT_FALSE(file->SupportsClipMetadata());
  const std::string path = WritePicture(kType, FreshFolder("word"), FourCC("10rb"), 1, 64, 48);
  NxMediaFileInfo info;
  MediaFilePtr clip;
  ASSERT_EQ(Open(path, &info, &clip), NxErrSuccess);
  NxTimeCodeRecord record;
  EXPECT_EQ(clip->ReadTimecode(0, &record), NxErrFailure);
}

TEST(Cineon, HeadersAreTheKnownOnes) {
  const struct {
    uint32_t orientation;
    uint32_t crc;
  } kRows[] = {{1, 0xdde59770}, {0, 0x08986630}};
  for (const auto& row : kRows) {
    const auto file = ReadBytes(
        WritePicture(kType, FreshFolder("header"), FourCC("10rb"), row.orientation, 1920, 1080));
    ASSERT_EQ(file.size(), 8296448u);
    EXPECT_EQ(Crc32(file.data(), 2048), row.crc) << row.orientation;
    if (row.orientation == 0) continue;
    EXPECT_EQ(Hex(file, 0, 28), "802a5fd700000800000004000000040000000000007e980056342e35");
    EXPECT_EQ(Hex(file, 192, 34),
              "0003000000010a000000078000000438000000007f800000447fc0007f8000000002");
    EXPECT_EQ(Hex(file, 280, 30), "ffffff00ffffffffffffffff7f8000007f8000007f8000007f800000ffff");
    EXPECT_EQ(Hex(file, 680, 4), "00050000");
    EXPECT_EQ(Hex(file, 1072, 4), "41efc29f");
    EXPECT_EQ(Hex(file, 452, 5), "6e6f6e6500");
  }
}

TEST(Cineon, WordHoldsThePixelFromTheTopBitOn) {
  std::vector<uint8_t> pixels(64 * 48 * 4);
  ASSERT_EQ(PackRgbPixel(FourCC("10rb"), pixels.data(), 1000, 40, 20, 0, 1023, 0), 0);
  const std::string folder = FreshFolder("word");
  ASSERT_EQ(WriteStills(kType, folder, PictureInfo(64, 48, FourCC("10rb")), {pixels}),
            NxErrSuccess);
  EXPECT_EQ(Hex(ReadBytes(FramePath(folder, kType)), 2048, 4), "fa028050");
}

TEST(Cineon, ReadsBackToTheByteAsLog) {
  for (const char* code : {"10rb", "11rb"}) {
    for (const uint32_t orientation : {0u, 1u}) {
      const char text[5] = {code[0], code[1], code[2], code[3], 0};
      const std::string path =
          WritePicture(kType, FreshFolder("rows"), FourCC(text), orientation, 67, 50);
      NxMediaFileInfo info;
      ASSERT_EQ(OpenCode(path, &info), NxErrSuccess);
      EXPECT_EQ(FourCCText(info.fourcc), "10rb");
      EXPECT_EQ(FourCCText(info.nativeFourcc), "10rb");
      EXPECT_EQ(uint32_t{info.orientation}, orientation);
      EXPECT_EQ(int32_t{info.timeScale}, -1);
      EXPECT_EQ(int32_t{info.parNum}, -1);
      EXPECT_EQ(int32_t{info.frameBytes}, (67 * 50 * 4 + 4096 + 511) / 512 * 512);
      EXPECT_EQ(
          Difference(Picture(FourCC("10rb"), 67, 50, orientation), StoredPixels(path), 67, 4, 1),
          "");
    }
  }
}

TEST(Cineon, NameSaysWhatWasWritten) {
  const MediaFilePtr file(CreateMediaFile(kType));
  NxMediaCreateInfo info = PictureInfo(64, 48, FourCC("11rb"));
  ASSERT_EQ(Create(file.get(), FreshFolder("name"), "clip", &info), NxErrSuccess);
  EXPECT_EQ(std::string(info.name), "10-bit RGB 4:4:4 (BE)");
}

TEST(Cineon, RefusesWhatItCannotRead) {
  ExpectRefused(kSample, {{"magic the other way round", 0, {0xD7, 0x5F, 0x2A, 0x80}},
                          {"packing 4", 681, {4}},
                          {"packing 0", 681, {0}},
                          {"orientation 2", 192, {2}},
                          {"one element", 193, {1}},
                          {"16 bits in the third channel", 254, {16}},
                          {"width 0", 200, {0, 0, 0, 0}},
                          {"width 8193", 200, {0, 0, 0x20, 1}},
                          {"height 8193", 204, {0, 0, 0x20, 1}},
                          {"width of all ones", 200, {255, 255, 255, 255}},
                          {"image offset at the end", 4, {0, 0, 0x38, 0}},
                          {"image offset of all ones", 4, {255, 255, 255, 255}}});
}

TEST(Cineon, ImageOffsetIsTakenAsItStands) {
  NxMediaFileInfo info;
  ASSERT_EQ(OpenCode(Changed(kSample, 4, {0, 0, 0x06, 0x80}), &info), NxErrSuccess);
  EXPECT_EQ(int32_t{info.imageOffset}, 1664);
}

TEST(Cineon, FrameOfAnotherWidthInTheMiddleIsBlack) {
  ExpectBlackInTheMiddle(kSample, OtherFrame(kType, FourCC("10rb"), 1, 60, 48));
}

TEST(Cineon, CreatesOnlyItsOwnFormats) {
  ExpectNotCreated(kType, {"10rl", "11rQ", "bgrA"});
}

}  // namespace
}  // namespace morvane
