#include "media/bmp.h"

#include <gtest/gtest.h>

#include "media/still_clip.h"

namespace morvane {
namespace {

using namespace morvane::test;

constexpr NxFileType kType = NxFileTypeBMP;

// A small good file of 24 bits, bottom line first, with a change.
std::string Changed(size_t at, const std::vector<uint8_t>& bytes) {
  const std::string path = WritePicture(kType, FreshFolder("changed"), FourCC("bgr "), 0, 64, 48);
  std::vector<uint8_t> file = ReadBytes(path);
  std::copy(bytes.begin(), bytes.end(), file.begin() + static_cast<ptrdiff_t>(at));
  WriteBytes(path, file);
  return path;
}

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

TEST(Bmp, SaysWhatItsMetadataIs) {
  const MediaFilePtr file(CreateMediaFile(kType));
  uint8_t caps[kMetadataCapsBytes];
  ASSERT_EQ(file->GetMetadataCaps(caps), NxErrSuccess);
  std::vector<uint8_t> wanted(kMetadataCapsBytes, 0);
  wanted[2] = 1;
  EXPECT_EQ(std::vector<uint8_t>(caps, caps + kMetadataCapsBytes), wanted);
  EXPECT_FALSE(file->SupportsClipMetadata());
}

TEST(Bmp, HeadersAreTheKnownOnes) {
  const struct {
    const char code[5];
    uint32_t orientation;
    uint32_t crc;
    size_t bytes;
  } kRows[] = {{"bgrA", 1, 0x622a3e73, 8294912},
               {"bgr ", 1, 0xa7cd73df, 6221312},
               {"bgr ", 0, 0x26868e74, 6221312},
               {"bgrA", 0, 0xe361c3d8, 8294912}};
  for (const auto& row : kRows) {
    const auto file = ReadBytes(
        WritePicture(kType, FreshFolder("header"), FourCC(row.code), row.orientation, 1920, 1080));
    ASSERT_EQ(file.size(), row.bytes);
    EXPECT_EQ(Crc32(file.data(), 512), row.crc) << row.code << row.orientation;
  }
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
  for (const StillRow& row : RowsOf(kType)) {
    const std::string path =
        WritePicture(kType, FreshFolder("rows"), row.fourcc, row.orientation, 68, 50);
    NxMediaFileInfo info;
    ASSERT_EQ(OpenCode(path, &info), NxErrSuccess);
    EXPECT_EQ(FourCCText(info.fourcc), FourCCText(row.fourcc));
    EXPECT_EQ(FourCCText(info.nativeFourcc), FourCCText(row.fourcc));
    EXPECT_EQ(uint32_t{info.orientation}, row.orientation);
    EXPECT_EQ(std::string(info.name), row.name);
    EXPECT_EQ(int32_t{info.imageOffset}, 512);
    const auto wanted = Picture(row.fourcc, 68, 50, row.orientation);
    EXPECT_EQ(Difference(wanted, StoredPixels(path), 68, info.imageBytes / 68 / 50, 1), "")
        << row.name;
    EXPECT_EQ(
        Difference(Picture(FourCC("rgb "), 68, 50, 1), PixelsAs(path, FourCC("rgb ")), 68, 3, 1),
        "")
        << row.name;
  }
}

TEST(Bmp, PictureWithoutAlphaIsWrittenOpaque) {
  const std::string folder = FreshFolder("opaque");
  const MediaFilePtr file(CreateMediaFile(kType));
  NxMediaCreateInfo info = PictureInfo(64, 48, FourCC("bgrA"));
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), NxErrSuccess);
  const auto pixels = Noise(64 * 48 * 2, 7);
  NxImageWriteRequest request = CopiedWrite(info, pixels.data());
  request.fourcc = FourCC("2vuy");
  request.pitch = 128;
  ASSERT_EQ(file->WriteImage(&request), NxErrSuccess);
  ASSERT_EQ(file->Close(), NxErrSuccess);
  const auto bytes = ReadBytes(FramePath(folder, kType));
  for (size_t i = 515; i < 512 + 64 * 48 * 4; i += 4) ASSERT_EQ(bytes[i], 255) << i;
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

TEST(Bmp, RefusesWhatItCannotRead) {
  const struct {
    const char* what;
    size_t at;
    std::vector<uint8_t> bytes;
  } kRows[] = {{"signature BA", 0, {'B', 'A'}},
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
               {"offset of all ones", 10, {255, 255, 255, 255}}};
  for (const auto& row : kRows) {
    EXPECT_EQ(OpenCode(Changed(row.at, row.bytes)), NxErrVideoFormatNotSupported) << row.what;
  }
}

TEST(Bmp, FrameOfAnotherHeightOrLineOrderInTheMiddleIsBlack) {
  for (const int variant : {0, 1}) {
    const std::string folder = FreshFolder("middle");
    const auto good = Picture(FourCC("bgr "), 64, 48, 1);
    ASSERT_EQ(WriteStills(kType, folder, PictureInfo(64, 48, FourCC("bgr ")), {good, good, good}),
              NxErrSuccess);
    WriteBytes(FramePath(folder, kType, 1),
               ReadBytes(WritePicture(kType, FreshFolder("other"), FourCC("bgr "),
                                      variant == 0 ? 1 : 0, 64, variant == 0 ? 46 : 48)));
    const auto black = StoredPixels(FramePath(folder, kType), 1);
    EXPECT_EQ(black, std::vector<uint8_t>(good.size(), 0));
    EXPECT_EQ(StoredPixels(FramePath(folder, kType), 2), good);
  }
}

TEST(Bmp, CreatesOnlyItsOwnFormats) {
  for (const char* code : {"rgb ", "rgba", "2vuy", "10rb"}) {
    const char text[5] = {code[0], code[1], code[2], code[3], 0};
    const std::string folder = FreshFolder("create");
    EXPECT_EQ(WriteStills(kType, folder, PictureInfo(64, 48, FourCC(text)), {}),
              NxErrVideoFormatNotSupported);
    EXPECT_FALSE(Exists(FramePath(folder, kType)));
  }
}

}  // namespace
}  // namespace morvane
