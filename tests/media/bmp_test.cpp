#include "media/bmp.h"

#include <gtest/gtest.h>

#include "media/still_checks.h"

namespace morvane {
namespace {

using namespace morvane::test;

constexpr NxFileType kType = NxFileTypeBMP;
constexpr StillSample kSample = {kType, FourCC("bgr "), kOrientationBottomUp};

TEST(Bmp, TableHasTheFourRows) {
  EXPECT_EQ(TableText(kType),
            "bgr |8-bit RGB 4:4:4 - B2T|0|8\nbgrA|8-bit RGBA 4:4:4:4 - B2T|0|8\n"
            "bgr |8-bit RGB 4:4:4 - T2B|1|8\nbgrA|8-bit RGBA 4:4:4:4 - T2B|1|8\n");
}

TEST(Bmp, ObjectIsReleasedThroughItsSecondPart) {
  auto* file = new NxMediaBMP;
  NxMediaFileBase* base = file;
  EXPECT_NE(static_cast<void*>(base), static_cast<void*>(file));
  EXPECT_EQ(static_cast<void*>(static_cast<NxMediaSeq*>(file)), static_cast<void*>(file));
  ReleaseMediaFile(base);
}

TEST(Bmp, HeadersAreTheKnownOnes) {
  ExpectHeaders(kType, 512,
                {{"bgrA", 1, 0x622a3e73, 8294912},
                 {"bgr ", 1, 0xa7cd73df, 6221312},
                 {"bgr ", 0, 0x26868e74, 6221312},
                 {"bgrA", 0, 0xe361c3d8, 8294912}});
}

TEST(Bmp, HeaderHasItsBytesWhereToolsLookForThem) {
  const auto wide =
      ReadBytes(WritePicture(kType, FreshFolder("bytes"), FourCC("bgrA"), 1, 1920, 1080));
  EXPECT_EQ(
      Hex(wide, 0, 54),
      "424d00927e0000000000000200002800000080070000c8fbffff010020000000000000907e0000000000000000"
      "000000000000000000");
  const auto small =
      ReadBytes(WritePicture(kType, FreshFolder("bytes"), FourCC("bgr "), 0, 720, 486));
  EXPECT_EQ(Hex(small, 0, 38),
            "424d00081000000000000002000028000000d0020000e60100000100180000000000a0041000");
}

TEST(Bmp, EveryRowReadsBackToTheByte) {
  ExpectRowsComeBack(kType, 68, 512);
}

TEST(Bmp, PictureWithoutAlphaIsWrittenOpaque) {
  ExpectOpaque(kType, FourCC("bgrA"), 512);
}

TEST(Bmp, FilesOfOthersAreReadFromTheirOwnOffset) {
  // As most programs write it: 54 bytes of header, then the picture.
  auto file = ReadBytes(WritePicture(kType, FreshFolder("offset"), FourCC("bgr "), 0, 64, 48));
  const std::vector<uint8_t> pixels(file.begin() + 512, file.begin() + 512 + 64 * 48 * 3);
  file.resize(54);
  StoreLe32(&file[10], 54);
  file.insert(file.end(), pixels.begin(), pixels.end());
  const std::string path = FreshFolder("offset") + "/other.bmp";
  WriteBytes(path, file);
  const auto info = std::make_unique<NxMediaFileInfo>();
  MediaFilePtr clip;
  ASSERT_EQ(Open(path, info.get(), &clip), NxErrSuccess);
  EXPECT_EQ(int32_t{info->imageOffset}, 54);
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(*info, &buffer, 512);
  ASSERT_EQ(clip->ReadImage(&request), NxErrSuccess);
  EXPECT_EQ(request.dataOffset, 512u);
  EXPECT_EQ(std::memcmp(buffer.Data() + 512, pixels.data(), pixels.size()), 0);
  request = PlainRead(*info, &buffer, 0);
  ASSERT_EQ(clip->ReadImage(&request), NxErrSuccess);
  EXPECT_EQ(request.dataOffset, 54u);
}

TEST(Bmp, PaddedLinesOfOthersShear) {
  // 62 pixels are 186 bytes, which others fill up to 188; here the picture has lines of 186.
  auto file = ReadBytes(WritePicture(kType, FreshFolder("shear"), FourCC("bgr "), 0, 62, 48));
  file.resize(512);
  for (size_t line = 0; line < 48; ++line) {
    file.insert(file.end(), 186, static_cast<uint8_t>(line + 1));
    file.insert(file.end(), 2, 0);
  }
  const std::string path = FreshFolder("shear") + "/other.bmp";
  WriteBytes(path, file);
  const auto pixels = StoredPixels(path);
  ASSERT_EQ(pixels.size(), size_t{62 * 48 * 3});
  EXPECT_EQ(Hex(pixels, 184, 6), "010100000202");
  EXPECT_TRUE(std::equal(pixels.begin(), pixels.end(), file.begin() + 512));
}

TEST(Bmp, RefusesWhatItCannotRead) {
  ExpectRefused(kSample, {{"signature BA", 0, {'B', 'A'}},
                          {"256 colours", 28, {8, 0}},
                          {"16 bits", 28, {16, 0}},
                          {"header of 124", 14, {124, 0, 0, 0}},
                          {"header of 12", 14, {12, 0, 0, 0}},
                          {"compression 3", 30, {3, 0, 0, 0}},
                          {"width 8193", 18, {0x01, 0x20, 0, 0}},
                          {"width 0", 18, {0, 0, 0, 0}},
                          {"width -64", 18, {0xC0, 0xFF, 0xFF, 0xFF}},
                          {"height 0", 22, {0, 0, 0, 0}},
                          {"height 8193", 22, {0x01, 0x20, 0, 0}},
                          {"height -8193", 22, {0xFF, 0xDF, 0xFF, 0xFF}},
                          {"height that has no positive", 22, {0, 0, 0, 0x80}},
                          {"offset inside the header", 10, {20, 0, 0, 0}},
                          {"offset at the end", 10, {0, 0x28, 0, 0}},
                          {"offset of all ones", 10, {255, 255, 255, 255}}});
}

TEST(Bmp, FrameOfAnotherHeightOrLineOrderInTheMiddleIsBlack) {
  ExpectBlackInTheMiddle(kSample, OtherFrame(kType, FourCC("bgr "), 0, 64, 46));
  ExpectBlackInTheMiddle(kSample, OtherFrame(kType, FourCC("bgr "), 1, 64, 48));
}

TEST(Bmp, CreatesOnlyItsOwnFormats) {
  ExpectNotCreated(kType, {"rgb ", "rgba", "2vuy", "10rb"});
}

}  // namespace
}  // namespace morvane
