#include "media/tif.h"

#include <gtest/gtest.h>
#include <tiffio.h>

#include "media/still_checks.h"

namespace morvane {
namespace {

using namespace morvane::test;

constexpr NxFileType kType = NxFileTypeTIF;

// Offset of the value of `tag` in a little-endian file of ours.
size_t ValueOf(uint16_t tag, const std::vector<uint8_t>& file) {
  for (size_t i = 0; i < LoadLe16(&file[8]); ++i) {
    if (LoadLe16(&file[10 + 12 * i]) == tag) return 10 + 12 * i + 8;
  }
  ADD_FAILURE() << "no tag " << tag;
  return 0;
}

// A small "rgb " file with the value of `tag` set to `value`.
std::string Changed(uint16_t tag, uint32_t value) {
  const std::string path = WritePicture(kType, FreshFolder("changed"), FourCC("rgb "), 1, 64, 48);
  std::vector<uint8_t> file = ReadBytes(path);
  StoreLe32(&file[ValueOf(tag, file)], value);
  WriteBytes(path, file);
  return path;
}

struct Foreign {
  uint16_t samples = 3;
  uint16_t bits = 8;
  uint16_t compression = COMPRESSION_NONE;
  uint16_t photometric = PHOTOMETRIC_RGB;
  uint16_t planar = PLANARCONFIG_CONTIG;
  uint16_t orientation = ORIENTATION_TOPLEFT;
  uint32_t rowsPerStrip = 48;
  const char* mode = "w";
};

// A file of 64x48 from libtiff, which puts its directory behind the picture. `pixels` are lines of
// `samples` components (planes one after another for separate planes). Returns: its path.
std::string WriteForeign(const Foreign& f, const std::vector<uint8_t>& pixels) {
  const std::string path = FreshFolder("foreign") + "/other.tif";
  TIFF* tiff = TIFFOpen(path.c_str(), f.mode);
  EXPECT_NE(tiff, nullptr);
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 64);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 48);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, f.samples);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, f.bits);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, f.compression);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, f.photometric);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, f.planar);
  TIFFSetField(tiff, TIFFTAG_ORIENTATION, f.orientation);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, f.rowsPerStrip);
  if (f.samples == 4) {
    const uint16_t extra = EXTRASAMPLE_UNASSALPHA;
    TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &extra);
  }
  const bool isPlanar = f.planar == PLANARCONFIG_SEPARATE;
  const size_t line = 64u * f.bits / 8 * (isPlanar ? 1 : f.samples);
  for (uint16_t plane = 0; plane < (isPlanar ? f.samples : 1); ++plane) {
    for (uint32_t y = 0; y < 48; ++y) {
      std::vector<uint8_t> row(
          pixels.begin() + static_cast<ptrdiff_t>((plane * 48 + y) * line),
          pixels.begin() + static_cast<ptrdiff_t>((plane * 48 + y + 1) * line));
      EXPECT_EQ(TIFFWriteScanline(tiff, row.data(), y, plane), 1);
    }
  }
  TIFFClose(tiff);
  return path;
}

bool WentTheLibraryWay(const std::string& path) {
  NxMediaFileInfo info;
  EXPECT_EQ(OpenCode(path, &info), NxErrSuccess);
  return std::string(info.name) == "8-bit RGBA 4:4:4:4 - TifLib";
}

TEST(Tiff, TableHasTheTenRows) {
  EXPECT_EQ(TableText(kType),
            "rgb |8-bit RGB 4:4:4(LE) - B2T|0|8\nrgba|8-bit RGBA 4:4:4:4(LE) - B2T|0|8\n"
            "rgb |8-bit RGB 4:4:4(LE) - T2B|1|8\nrgba|8-bit RGBA 4:4:4:4(LE) - T2B|1|8\n"
            "rg2b|8-bit RGB 4:4:4(BE) - B2T|0|8\nrgbb|8-bit RGBA 4:4:4:4(BE) - B2T|0|8\n"
            "rg2b|8-bit RGB 4:4:4(BE) - T2B|1|8\nrgbb|8-bit RGBA 4:4:4:4(BE) - T2B|1|8\n"
            "RGB |16-bit RGB 4:4:4(LE) - B2T|0|16\nRGB |16-bit RGB 4:4:4(LE) - T2B|1|16\n");
}

TEST(Tiff, HeadersAreTheKnownOnes) {
  ExpectHeaders(kType, 512,
                {{"rgb ", 1, 0x6a8c7017, 6221312},
                 {"rgba", 1, 0x7d195fe6, 8294912},
                 {"rg2b", 1, 0xed194ef3, 6221312},
                 {"rgbb", 1, 0x463edc39, 8294912},
                 {"RGB ", 1, 0x0d947e2a, 12442112},
                 {"rgb ", 0, 0xfab187bd, 6221312},
                 {"rgba", 0, 0xed24a84c, 8294912},
                 {"rg2b", 0, 0x6ff375fc, 6221312},
                 {"rgbb", 0, 0xc4d4e736, 8294912},
                 {"RGB ", 0, 0x9da98980, 12442112}});
}

TEST(Tiff, HeaderHasItsBytesWhereToolsLookForThem) {
  const auto big =
      ReadBytes(WritePicture(kType, FreshFolder("bytes"), FourCC("rgbb"), 1, 1920, 1080));
  EXPECT_EQ(Hex(big, 0, 34),
            "4d4d002a00000008001000fe00040000000100000000010000030000000107800000");
  EXPECT_EQ(Hex(big, 206, 8), "0008000800080008");
  EXPECT_EQ(Hex(big, 214, 16), "00000048000000010000004800000001");
  const auto little =
      ReadBytes(WritePicture(kType, FreshFolder("bytes"), FourCC("rgb "), 0, 1920, 1080));
  EXPECT_EQ(Hex(little, 0, 34),
            "49492a00080000000f00fe0004000100000000000000000103000100000080070000");
}

TEST(Tiff, EveryRowReadsBackToTheByte) {
  ExpectRowsComeBack(kType, 67, 512);
}

TEST(Tiff, SixteenBitSamplesAreLittleEndian) {
  std::vector<uint8_t> pixels(64 * 48 * 3, 0);
  pixels[0] = 0x01;
  pixels[1] = 0x80;
  pixels[2] = 0xFE;
  const std::string folder = FreshFolder("deep");
  const MediaFilePtr file(CreateMediaFile(kType));
  NxMediaCreateInfo info = PictureInfo(64, 48, FourCC("RGB "));
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), NxErrSuccess);
  NxImageWriteRequest request = CopiedWrite(info, pixels.data());
  request.fourcc = FourCC("rgb ");
  request.pitch = 64 * 3;
  ASSERT_EQ(file->WriteImage(&request), NxErrSuccess);
  std::vector<uint8_t> deep(64 * 48 * 6, 0);
  ASSERT_EQ(PackRgbPixel(FourCC("RGB "), deep.data(), 0x1234, 0x5678, 0x9ABC, 0, 65535, 0), 0);
  request = CopiedWrite(info, deep.data());
  ASSERT_EQ(file->WriteImage(&request), NxErrSuccess);
  ASSERT_EQ(file->Close(), NxErrSuccess);
  EXPECT_EQ(Hex(ReadBytes(FramePath(folder, kType, 0)), 512, 6), "01018080fefe");
  EXPECT_EQ(Hex(ReadBytes(FramePath(folder, kType, 1)), 512, 6), "34127856bc9a");
}

TEST(Tiff, PictureWithoutAlphaIsWrittenOpaque) {
  ExpectOpaque(kType, FourCC("rgba"), 512);
  ExpectOpaque(kType, FourCC("rgbb"), 512);
}

TEST(Tiff, PlainFilesOfTheLibraryAreReadAsTheyLie) {
  const struct {
    const char* mode;
    uint16_t samples;
    uint16_t bits;
    const char* code;
  } kRows[] = {{"wl", 3, 8, "rgb "}, {"wl", 4, 8, "rgba"},  {"wb", 3, 8, "rg2b"},
               {"wb", 4, 8, "rgbb"}, {"wl", 3, 16, "RGB "}, {"wl", 4, 16, "RGBA"},
               {"wb", 3, 16, "RGb "}};
  for (const auto& row : kRows) {
    for (const uint16_t orientation : {ORIENTATION_TOPLEFT, ORIENTATION_BOTLEFT}) {
      Foreign f;
      f.mode = row.mode;
      f.samples = row.samples;
      f.bits = row.bits;
      f.orientation = orientation;
      const auto pixels = Noise(64u * 48 * row.samples * row.bits / 8, 3);
      const std::string path = WriteForeign(f, pixels);
      NxMediaFileInfo info;
      ASSERT_EQ(OpenCode(path, &info), NxErrSuccess);
      EXPECT_EQ(FourCCText(info.fourcc), row.code) << row.mode;
      EXPECT_EQ(uint32_t{info.orientation}, orientation == ORIENTATION_TOPLEFT ? 1u : 0u);
      EXPECT_EQ(int32_t{info.imageOffset}, 8);
      // The library takes 16-bit samples in the processor's order and writes them in the file's.
      auto wanted = pixels;
      for (size_t i = 0; row.code == std::string("RGb ") && i < wanted.size(); i += 2) {
        std::swap(wanted[i], wanted[i + 1]);
      }
      EXPECT_EQ(StoredPixels(path), wanted) << row.code;
    }
  }
}

TEST(Tiff, EverythingElseGoesThroughTheLibrary) {
  Foreign lzw;
  lzw.compression = COMPRESSION_LZW;
  Foreign packbits;
  packbits.compression = COMPRESSION_PACKBITS;
  packbits.rowsPerStrip = 24;
  Foreign strips;
  strips.rowsPerStrip = 16;
  Foreign planes;
  planes.planar = PLANARCONFIG_SEPARATE;
  Foreign turned;
  turned.orientation = ORIENTATION_TOPRIGHT;
  Foreign version43;
  version43.mode = "w8";
  Foreign deepBig;
  deepBig.mode = "wb";
  deepBig.samples = 4;
  deepBig.bits = 16;
  for (const Foreign& f : {lzw, packbits, strips, planes, turned, version43, deepBig}) {
    const auto pixels = Noise(64u * 48 * f.samples * f.bits / 8, 3);
    EXPECT_TRUE(WentTheLibraryWay(WriteForeign(f, pixels)));
  }
}

TEST(Tiff, LibraryDecodesToTheFirstLineOnTop) {
  const auto picture = Picture(FourCC("rgb "), 64, 48, 1);
  for (const uint16_t orientation : {ORIENTATION_TOPLEFT, ORIENTATION_BOTLEFT}) {
    Foreign f;
    f.compression = COMPRESSION_LZW;
    f.rowsPerStrip = 16;
    f.orientation = orientation;
    const std::string path = WriteForeign(
        f, Picture(FourCC("rgb "), 64, 48, orientation == ORIENTATION_TOPLEFT ? 1 : 0));
    NxMediaFileInfo info;
    ASSERT_EQ(OpenCode(path, &info), NxErrSuccess);
    EXPECT_EQ(FourCCText(info.fourcc), "rgba");
    EXPECT_EQ(uint32_t{info.orientation}, kOrientationTopDown);
    EXPECT_EQ(int32_t{info.imageOffset}, 0);
    const auto got = StoredPixels(path);
    ASSERT_EQ(got.size(), 64u * 48 * 4);
    for (size_t i = 0; i < 64 * 48; ++i) {
      ASSERT_EQ(std::memcmp(&got[4 * i], &picture[3 * i], 3), 0) << i;
      ASSERT_EQ(got[4 * i + 3], 255);
    }
    EXPECT_EQ(Difference(picture, PixelsAs(path, FourCC("rgb ")), 64, 3, 1), "");
  }
}

TEST(Tiff, GreyOfThreeStripsGoesThroughTheLibrary) {
  Foreign f;
  f.samples = 1;
  f.photometric = PHOTOMETRIC_MINISBLACK;
  f.compression = COMPRESSION_LZW;
  f.rowsPerStrip = 16;
  const auto grey = Noise(64 * 48, 9);
  const std::string path = WriteForeign(f, grey);
  ASSERT_TRUE(WentTheLibraryWay(path));
  const auto got = StoredPixels(path);
  for (size_t i = 0; i < grey.size(); ++i) {
    ASSERT_EQ(got[4 * i], grey[i]);
    ASSERT_EQ(got[4 * i + 2], grey[i]);
  }
}

TEST(Tiff, AbsentTagsStandForTheirDefaults) {
  // Orientation, planes and strip length turned into private tags, as writers leave them out.
  const std::string path = WritePicture(kType, FreshFolder("absent"), FourCC("rgb "), 1, 64, 48);
  std::vector<uint8_t> file = ReadBytes(path);
  for (const uint16_t tag : {274, 284, 279, 278}) StoreLe16(&file[ValueOf(tag, file) - 8], 40000);
  WriteBytes(path, file);
  EXPECT_FALSE(WentTheLibraryWay(path));
  EXPECT_EQ(StoredPixels(path), Picture(FourCC("rgb "), 64, 48, 1));
}

TEST(Tiff, StripThatTheFileDoesNotHoldGoesThroughTheLibrary) {
  EXPECT_TRUE(WentTheLibraryWay(Changed(279, 64 * 48 * 3 - 1)));
  EXPECT_TRUE(WentTheLibraryWay(Changed(273, 1024)));
}

TEST(Tiff, RefusesWhatItCannotRead) {
  const std::string text = FreshFolder("text") + "/text.tif";
  WriteText(text, "This is no picture, whatever its name says.\n");
  EXPECT_EQ(OpenCode(text), NxErrVideoFormatNotSupported);
  const std::string empty = FreshFolder("empty") + "/empty.tif";
  WriteText(empty, "");
  EXPECT_EQ(OpenCode(empty), NxErrVideoFormatNotSupported);
  EXPECT_EQ(OpenCode(Changed(256, 8193)), NxErrVideoFormatNotSupported);
  EXPECT_EQ(OpenCode(Changed(257, 8193)), NxErrVideoFormatNotSupported);
  EXPECT_EQ(OpenCode(Changed(256, 0)), NxErrVideoFormatNotSupported);
}

TEST(Tiff, DamagedFrameInTheMiddleIsBlackAndTheNextOneIsNot) {
  Foreign f;
  f.compression = COMPRESSION_LZW;
  const auto picture = Picture(FourCC("rgb "), 64, 48, 1);
  const auto compressed = ReadBytes(WriteForeign(f, picture));
  const auto plain =
      ReadBytes(WritePicture(kType, FreshFolder("plain"), FourCC("rgba"), 1, 64, 48));
  const auto text = std::vector<uint8_t>(5000, 'x');
  // A compressed clip with a plain frame and one that is none.
  const std::string folder = FreshFolder("middle");
  const std::vector<std::vector<uint8_t>> frames = {compressed, plain, text, compressed};
  for (int i = 0; i < 4; ++i)
    WriteBytes(FramePath(folder, kType, i), frames[static_cast<size_t>(i)]);
  const auto info = std::make_unique<NxMediaFileInfo>();
  MediaFilePtr file;
  ASSERT_EQ(Open(FramePath(folder, kType), info.get(), &file), NxErrSuccess);
  ASSERT_EQ(int32_t{info->frameCount}, 4);
  for (int i = 0; i < 4; ++i) {
    PageBuffer buffer;
    NxImageReadRequest request = PlainRead(*info, &buffer);
    request.frame = i;
    ASSERT_EQ(file->ReadImage(&request), NxErrSuccess);
    const uint8_t* pixels = buffer.Data() + request.dataOffset;
    const bool isBlack =
        std::all_of(pixels, pixels + info->imageBytes, [](uint8_t b) { return b == 0; });
    EXPECT_EQ(isBlack, i == 1 || i == 2) << i;
    if (!isBlack) {
      EXPECT_EQ(std::memcmp(pixels + 4 * 64 * 7, &picture[3 * 64 * 7], 3), 0) << i;
    }
  }
}

TEST(Tiff, CreatesOnlyItsOwnFormats) {
  ExpectNotCreated(kType, {"bgr ", "RGBA", "RGb ", "2vuy"});
}

}  // namespace
}  // namespace morvane
