// What other programs make of our frames, and we of theirs. Small pictures for every row, every
// raster for one row of each format; stills_matrix_test.cpp has both in full.
#include <gtest/gtest.h>

#include "media/foreign_reader.h"

namespace morvane {
namespace {

using namespace morvane::test;

constexpr auto kAllJudges = {Judge::kFfmpeg, Judge::kOiio, Judge::kMagick};

class StillRows : public testing::TestWithParam<NxFileType> {};

TEST_P(StillRows, AreReadByOthersToThePixel) {
  std::vector<std::pair<StillRow, Raster>> rows;
  for (const StillRow& row : RowsOf(GetParam())) rows.push_back({row, {64, 48}});
  CheckRows(rows, kAllJudges);
}

TEST_P(StillRows, AreReadByOthersInEveryRaster) {
  const auto all = RowsOf(GetParam());
  std::vector<std::pair<StillRow, Raster>> rows;
  // Not the same row each time.
  for (const Raster& raster : kRasters) rows.push_back({all[rows.size() % all.size()], raster});
  CheckRows(rows, kAllJudges);
}

std::string TypeName(const testing::TestParamInfo<NxFileType>& info) {
  return ExtensionOfType(info.param);
}
INSTANTIATE_TEST_SUITE_P(Formats, StillRows, testing::ValuesIn(kStillTypes), TypeName);

TEST(StillInterop, TimecodeAndUserBitsOfBothByteOrdersAreRightInOthers) {
  for (const FourCCCode fourcc : {FourCC("11rb"), FourCC("11rl")}) {
    const std::string folder = FreshFolder("timecode");
    const MediaFilePtr file(CreateMediaFile(NxFileTypeDPX));
    NxMediaCreateInfo info = PictureInfo(64, 48, fourcc);
    ASSERT_EQ(Create(file.get(), folder, "clip", &info), NxErrSuccess);
    const auto pixels = Picture(fourcc, 64, 48, 1);
    NxImageWriteRequest request = CopiedWrite(info, pixels.data());
    request.timeCode.flags = kTimeCodePresent;
    request.timeCode.timeCode = 0x12345601;
    request.timeCode.userBits = 0x78563412;
    ASSERT_EQ(file->WriteImage(&request), NxErrSuccess);
    ASSERT_EQ(file->Close(), NxErrSuccess);
    const std::string path = FramePath(folder, NxFileTypeDPX);
    EXPECT_NE(Output("ffprobe -show_frames '" + path + "'").find("timecode=01:56:34:12"),
              std::string::npos);
    const std::string seen = Output("oiiotool --info -v '" + path + "'");
    EXPECT_NE(seen.find("01:56:34:12"), std::string::npos) << seen;
    EXPECT_NE(seen.find("dpx:UserBits: 305419896"), std::string::npos) << seen;  // 0x12345678
  }
}

TEST(StillInterop, TiffToolsSeeOneStripAndNothingToComplainAbout) {
  for (const StillRow& row : RowsOf(NxFileTypeTIF)) {
    const std::string path =
        WritePicture(NxFileTypeTIF, FreshFolder("tools"), row.fourcc, row.orientation, 64, 48);
    const std::string said = Output("tiffinfo -s '" + path + "'");
    EXPECT_EQ(said.find("arning"), std::string::npos) << said;
    EXPECT_NE(said.find("1 Strips"), std::string::npos) << said;
  }
}

// How the picture of a foreign file comes out here.
enum class Arrival { kRefused, kExact, kUpsideDown, kOtherwise };

// A file that some program makes from a 64x48 PPM.
struct ForeignFile {
  const char* name;     // also says which test data it is
  const char* command;  // with %i and %o for the two files
  NxErr code;
  const char* fourcc;
  int32_t imageOffset;
  Arrival arrival;
};

constexpr int32_t kAnyOffset = -1;
constexpr ForeignFile kForeignFiles[] = {
    {"ffmpeg-8.dpx", "ffmpeg -v error -y -i %i %o", NxErrVideoFormatNotSupported, "", 0,
     Arrival::kRefused},
    // Its image begins at 1664, so it reads one pixel late.
    {"ffmpeg-10.dpx", "ffmpeg -v error -y -i %i -pix_fmt gbrp10le %o", NxErrSuccess, "11rl", 1668,
     Arrival::kOtherwise},
    {"ffmpeg-10-big.dpx", "ffmpeg -v error -y -i %i -pix_fmt gbrp10be %o", NxErrSuccess, "11rb",
     1668, Arrival::kOtherwise},
    {"ffmpeg-12.dpx", "ffmpeg -v error -y -i %i -pix_fmt gbrp12le %o", NxErrVideoFormatNotSupported,
     "", 0, Arrival::kRefused},
    {"oiiotool-8.dpx", "oiiotool %i -d uint8 -o %o", NxErrVideoFormatNotSupported, "", 0,
     Arrival::kRefused},
    {"oiiotool-10.dpx", "oiiotool %i -d uint10 -o %o", NxErrSuccess, "11rl", 8192, Arrival::kExact},
    {"oiiotool-10-big.dpx", "oiiotool %i -d uint10 --attrib oiio:Endian big -o %o", NxErrSuccess,
     "11rb", 8192, Arrival::kExact},
    {"oiiotool-12.dpx", "oiiotool %i -d uint12 -o %o", NxErrVideoFormatNotSupported, "", 0,
     Arrival::kRefused},
    {"oiiotool-16.dpx", "oiiotool %i -d uint16 -o %o", NxErrVideoFormatNotSupported, "", 0,
     Arrival::kRefused},
    {"magick-8.dpx", "convert-im6.q16 %i -depth 8 %o", NxErrVideoFormatNotSupported, "", 0,
     Arrival::kRefused},
    {"magick-10.dpx", "convert-im6.q16 %i -depth 10 %o", NxErrSuccess, "11rb", 8192,
     Arrival::kOtherwise},
    {"magick-16.dpx", "convert-im6.q16 %i -depth 16 %o", NxErrVideoFormatNotSupported, "", 0,
     Arrival::kRefused},
    {"magick.cin", "convert-im6.q16 %i %o", NxErrVideoFormatNotSupported, "", 0, Arrival::kRefused},
    {"ffmpeg.tga", "ffmpeg -v error -y -i %i %o", NxErrSuccess, "bgr ", 18, Arrival::kExact},
    {"ffmpeg-plain.tga", "ffmpeg -v error -y -i %i -rle 0 %o", NxErrSuccess, "bgr ", 18,
     Arrival::kExact},
    {"ffmpeg-32.tga", "ffmpeg -v error -y -i %i -pix_fmt bgra %o", NxErrSuccess, "bgrA", 18,
     Arrival::kExact},
    {"ffmpeg-15.tga", "ffmpeg -v error -y -i %i -pix_fmt rgb555le %o", NxErrVideoFormatNotSupported,
     "", 0, Arrival::kRefused},
    {"oiiotool.tga", "oiiotool %i -o %o", NxErrSuccess, "bgr ", 18, Arrival::kExact},
    {"oiiotool-packed.tga", "oiiotool %i --compression rle -o %o", NxErrSuccess, "bgr ", 18,
     Arrival::kExact},
    // It writes the first line first and does not say so.
    {"magick.tga", "convert-im6.q16 %i %o", NxErrSuccess, "bgr ", 18, Arrival::kUpsideDown},
    {"magick-packed.tga", "convert-im6.q16 %i -compress RLE %o", NxErrSuccess, "bgr ", 18,
     Arrival::kUpsideDown},
    {"magick-grey.tga", "convert-im6.q16 %i -colorspace Gray %o", NxErrVideoFormatNotSupported, "",
     0, Arrival::kRefused},
    {"ffmpeg.bmp", "ffmpeg -v error -y -i %i %o", NxErrSuccess, "bgr ", 54, Arrival::kExact},
    {"ffmpeg-32.bmp", "ffmpeg -v error -y -i %i -pix_fmt bgra %o", NxErrSuccess, "bgrA", 54,
     Arrival::kExact},
    {"ffmpeg-256.bmp", "ffmpeg -v error -y -i %i -pix_fmt gray %o", NxErrVideoFormatNotSupported,
     "", 0, Arrival::kRefused},
    {"oiiotool.bmp", "oiiotool %i -o %o", NxErrSuccess, "bgr ", 54, Arrival::kExact},
    {"magick.bmp", "convert-im6.q16 %i -alpha set %o", NxErrVideoFormatNotSupported, "", 0,
     Arrival::kRefused},
    {"magick-3.bmp", "convert-im6.q16 %i bmp3:%o", NxErrSuccess, "bgr ", 54, Arrival::kExact},
    {"ffmpeg.tif", "ffmpeg -v error -y -i %i %o", NxErrSuccess, "rgba", 0, Arrival::kExact},
    {"ffmpeg-lzw.tif", "ffmpeg -v error -y -i %i -compression_algo lzw %o", NxErrSuccess, "rgba", 0,
     Arrival::kExact},
    {"ffmpeg-raw.tif", "ffmpeg -v error -y -i %i -compression_algo raw %o", NxErrSuccess, "rgba", 0,
     Arrival::kExact},
    // Its way up to 16 bits ends below white.
    {"ffmpeg-48.tif", "ffmpeg -v error -y -i %i -pix_fmt rgb48le -compression_algo raw %o",
     NxErrSuccess, "rgba", 0, Arrival::kOtherwise},
    {"oiiotool.tif", "oiiotool %i -o %o", NxErrSuccess, "rgba", 0, Arrival::kExact},
    {"oiiotool-strips.tif", "oiiotool %i --compression none -o %o", NxErrSuccess, "rgba", 0,
     Arrival::kExact},
    {"oiiotool-16.tif",
     "oiiotool %i -d uint16 --compression none --attrib tiff:RowsPerStrip 48 -o %o", NxErrSuccess,
     "RGB ", kAnyOffset, Arrival::kExact},
    {"oiiotool-tiles.tif", "oiiotool %i --tile 16 16 -o %o", NxErrSuccess, "rgba", 0,
     Arrival::kExact},
    {"magick.tif", "convert-im6.q16 %i -type TrueColor -compress none %o", NxErrSuccess, "rgb ", 8,
     Arrival::kExact},
    {"magick-big.tif",
     "convert-im6.q16 %i -type TrueColor -define tiff:endian=msb -compress none %o", NxErrSuccess,
     "rg2b", 8, Arrival::kExact},
    {"magick-16.tif", "convert-im6.q16 %i -type TrueColor -depth 16 -compress none %o",
     NxErrSuccess, "RGB ", 8, Arrival::kExact},
    {"magick-alpha.tif", "convert-im6.q16 %i -type TrueColorAlpha -alpha set -compress none %o",
     NxErrSuccess, "rgba", 8, Arrival::kExact},
    {"magick-lzw.tif", "convert-im6.q16 %i -type TrueColor -compress lzw %o", NxErrSuccess, "rgba",
     0, Arrival::kExact},
    // Samples that libtiff does not turn into 8 bits.
    {"oiiotool-half.tif", "oiiotool %i -d half -o %o", NxErrVideoFormatNotSupported, "", 0,
     Arrival::kRefused},
    {"oiiotool-float.tif", "oiiotool %i -d float --compression none -o %o",
     NxErrVideoFormatNotSupported, "", 0, Arrival::kRefused},
    {"oiiotool-double.tif", "oiiotool %i -d double -o %o", NxErrVideoFormatNotSupported, "", 0,
     Arrival::kRefused},
    {"oiiotool-uint32.tif", "oiiotool %i -d uint32 -o %o", NxErrVideoFormatNotSupported, "", 0,
     Arrival::kRefused},
    {"oiiotool-uint12.tif", "oiiotool %i -d uint12 -o %o", NxErrVideoFormatNotSupported, "", 0,
     Arrival::kRefused},
    {"oiiotool-uint10.tif", "oiiotool %i -d uint10 -o %o", NxErrVideoFormatNotSupported, "", 0,
     Arrival::kRefused},
    {"oiiotool-uint4.tif", "oiiotool %i -d uint4 -o %o", NxErrVideoFormatNotSupported, "", 0,
     Arrival::kRefused},
    {"magick-12.tif", "convert-im6.q16 %i -type TrueColor -depth 12 %o",
     NxErrVideoFormatNotSupported, "", 0, Arrival::kRefused},
    {"magick-4.tif", "convert-im6.q16 %i -type TrueColor -depth 4 %o", NxErrVideoFormatNotSupported,
     "", 0, Arrival::kRefused},
    {"magick-32.tif", "convert-im6.q16 %i -type TrueColor -depth 32 -compress none %o",
     NxErrVideoFormatNotSupported, "", 0, Arrival::kRefused},
    {"magick-half.tif",
     "convert-im6.q16 %i -type TrueColor -depth 16 -define quantum:format=floating-point "
     "-compress lzw %o",
     NxErrVideoFormatNotSupported, "", 0, Arrival::kRefused},
};

std::string Filled(std::string command, const std::string& in, const std::string& out) {
  command.replace(command.find("%i"), 2, "'" + in + "'");
  const size_t at = command.find("%o");
  // A prefix such as "bmp3:" belongs to the name.
  return command.replace(at, 2, "'" + out + "'");
}

class ForeignStills : public testing::TestWithParam<ForeignFile> {};

TEST_P(ForeignStills, AreOpenedOrRefused) {
  const ForeignFile& f = GetParam();
  const std::string folder = FreshFolder("foreign");
  const auto picture = Picture(FourCC("rgb "), 64, 48, 1);
  std::vector<uint8_t> ppm = {'P', '6', '\n', '6', '4', ' ', '4', '8', '\n', '2', '5', '5', '\n'};
  ppm.insert(ppm.end(), picture.begin(), picture.end());
  WriteBytes(folder + "/source.ppm", ppm);
  const std::string path = folder + "/" + f.name;
  ASSERT_EQ(RunTool(Filled(f.command, folder + "/source.ppm", path)), 0) << f.command;
  ASSERT_TRUE(Exists(path));
  NxMediaFileInfo info;
  ASSERT_EQ(OpenCode(path, &info), f.code);
  if (f.code != NxErrSuccess) return;
  EXPECT_EQ(FourCCText(info.fourcc), f.fourcc);
  if (f.imageOffset != kAnyOffset) {
    EXPECT_EQ(int32_t{info.imageOffset}, f.imageOffset);
  }
  if (f.arrival == Arrival::kOtherwise) return;
  // Files of more than 8 bits were scaled up and are scaled back.
  const uint32_t order = f.arrival == Arrival::kExact ? kOrientationTopDown : kOrientationBottomUp;
  EXPECT_EQ(
      Difference(Picture(FourCC("rgb "), 64, 48, order), PixelsAs(path, FourCC("rgb ")), 64, 3, 1),
      "");
}

std::string FileName(const testing::TestParamInfo<ForeignFile>& info) {
  std::string name = info.param.name;
  std::replace_if(
      name.begin(), name.end(), [](char c) { return !isalnum(c); }, '_');
  return name;
}
INSTANTIATE_TEST_SUITE_P(Files, ForeignStills, testing::ValuesIn(kForeignFiles), FileName);

TEST(ForeignStill, FfmpegsDpxReadsOnePixelLate) {
  const std::string folder = FreshFolder("late");
  const auto picture = Picture(FourCC("11rl"), 64, 48, 1);
  const std::string ours = WritePicture(NxFileTypeDPX, folder, FourCC("11rl"), 1, 64, 48);
  const std::string theirs = folder + "/theirs.dpx";
  ASSERT_EQ(RunTool("ffmpeg -v error -y -i '" + ours + "' -pix_fmt gbrp10le '" + theirs + "'"), 0);
  const auto got = StoredPixels(theirs);
  ASSERT_EQ(got.size(), picture.size());
  EXPECT_TRUE(std::equal(picture.begin() + 4, picture.end(), got.begin()));
  EXPECT_EQ(Hex(got, got.size() - 4, 4), "00000000");
}

}  // namespace
}  // namespace morvane
