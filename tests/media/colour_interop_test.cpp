// Colours and fields of what we write, judged by the picture that ffmpeg sees: saturated bars whose
// order is reversed in every second line, so that neither a wrong matrix or range nor lines of the
// wrong field go unnoticed.
#include <gtest/gtest.h>

#include "media/foreign_reader.h"

namespace morvane {
namespace {

using namespace morvane::test;

constexpr uint8_t kBars[8][3] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                                 {255, 0, 255},   {255, 0, 0},   {0, 0, 255},   {0, 0, 0}};

const uint8_t* BarAt(int32_t bar, int32_t line) {
  return kBars[line % 2 == 0 ? bar : 7 - bar];
}

std::vector<uint8_t> Bars(int32_t width, int32_t height) {
  std::vector<uint8_t> pixels;
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      const uint8_t* bar = BarAt(8 * x / width, y);
      pixels.insert(pixels.end(), {bar[2], bar[1], bar[0], 255});
    }
  }
  return pixels;
}

// Writes one frame of the bars in the format of `type`. Returns: its path.
std::string WriteBars(NxFileType type, FourCCCode fourcc, uint32_t orientation,
                      const Raster& raster) {
  const std::string folder = FreshFolder("bars");
  const MediaFilePtr file(CreateMediaFile(type));
  NxMediaCreateInfo info = PictureInfo(raster.width, raster.height, fourcc, orientation);
  EXPECT_EQ(Create(file.get(), folder, "clip", &info), NxErrSuccess);
  const auto pixels = Bars(raster.width, raster.height);
  NxImageWriteRequest request;
  request.fourcc = FourCC("bgrA");
  request.width = raster.width;
  request.height = raster.height;
  request.pitch = raster.width * 4;
  request.imageBuffer = const_cast<uint8_t*>(pixels.data());
  EXPECT_EQ(file->WriteImage(&request), NxErrSuccess);
  EXPECT_EQ(file->Close(), NxErrSuccess);
  return FramePath(folder, type);
}

// The largest difference between the middle of any bar of `rgb` (8 bits) and what it should be.
int WorstBar(const std::vector<uint8_t>& rgb, const Raster& raster) {
  if (rgb.size() != static_cast<size_t>(raster.width) * static_cast<size_t>(raster.height) * 3) {
    return 999;
  }
  int worst = 0;
  for (int32_t y = 0; y < raster.height; ++y) {
    for (int32_t bar = 0; bar < 8; ++bar) {
      const int32_t x = (2 * bar + 1) * raster.width / 16;
      const uint8_t* got = &rgb[static_cast<size_t>(y * raster.width + x) * 3];
      for (int c = 0; c < 3; ++c) worst = std::max(worst, std::abs(got[c] - BarAt(bar, y)[c]));
    }
  }
  return worst;
}

std::string SizeText(const Raster& raster) {
  return std::to_string(raster.width) + "x" + std::to_string(raster.height);
}

// A raw frame as RGB in the eyes of ffmpeg, which is told its matrix.
std::vector<uint8_t> RgbOfYuv(const std::string& path, const Raster& raster, const char* matrix) {
  const std::string raw = path + ".rgb";
  const std::string command =
      "ffmpeg -v error -y -f rawvideo -pix_fmt uyvy422 -s " + SizeText(raster) + " -i '" + path +
      "' -vf scale=in_color_matrix=" + matrix +
      ":in_range=tv:out_range=pc:flags=accurate_rnd+full_chroma_int+full_chroma_inp "
      "-f rawvideo -pix_fmt rgb24 '" +
      raw + "'";
  EXPECT_EQ(RunTool(command), 0) << command;
  return ReadBytes(raw);
}

TEST(YuvInterop, EveryRasterIsReadByFfmpegToTheByte) {
  for (const Raster& raster : kRasters) {
    const std::string folder = FreshFolder("raster");
    ASSERT_TRUE(WriteYuvClip(folder, "clip", 1, nullptr, -1, 1, raster.width, raster.height));
    const std::string path = FramePath(folder, NxFileTypeYUV);
    ASSERT_EQ(RunTool("ffmpeg -v error -y -f rawvideo -pix_fmt uyvy422 -s " + SizeText(raster) +
                      " -i '" + path + "' -f rawvideo '" + path + ".raw'"),
              0);
    const auto wanted =
        Noise(static_cast<size_t>(raster.width) * static_cast<size_t>(raster.height) * 2, 1);
    EXPECT_EQ(ReadBytes(path + ".raw"), wanted) << SizeText(raster);
    EXPECT_EQ(StoredPixels(path), wanted) << SizeText(raster);
  }
}

TEST(YuvInterop, MatrixIsTheOneOfTheRaster) {
  for (const Raster& raster : kRasters) {
    const std::string path = WriteBars(NxFileTypeYUV, FourCC("2vuy"), 1, raster);
    const bool is601 = raster.width < 800;
    const char* right = is601 ? "bt601" : "bt709";
    const char* wrong = is601 ? "bt709" : "bt601";
    EXPECT_LE(WorstBar(RgbOfYuv(path, raster, right), raster), 3) << SizeText(raster);
    EXPECT_GE(WorstBar(RgbOfYuv(path, raster, wrong), raster), 20) << "the bars show the matrix";
    std::filesystem::remove_all(FolderOf(path));
  }
}

// Raw frame in, frame of a still format out, the way a conversion of a clip goes.
TEST(YuvInterop, ColoursSurviveTheWayIntoEveryStillFormat) {
  constexpr Raster kSizes[] = {{720, 576}, {1280, 720}};
  for (const Raster& raster : kSizes) {
    const std::string yuv = WriteBars(NxFileTypeYUV, FourCC("2vuy"), 1, raster);
    for (const NxFileType type : kStillTypes) {
      for (const StillRow& row : RowsOf(type)) {
        if (!Understands(Judge::kFfmpeg, row) || row.fourcc == FourCC("11rQ")) continue;
        const std::string folder = FreshFolder("still");
        const auto pixels = PixelsAs(yuv, row.bitDepth > 10 ? FourCC("bgrA") : row.fourcc);
        const MediaFilePtr file(CreateMediaFile(type));
        NxMediaCreateInfo info =
            PictureInfo(raster.width, raster.height, row.fourcc, row.orientation);
        ASSERT_EQ(Create(file.get(), folder, "clip", &info), NxErrSuccess);
        NxImageWriteRequest request = CopiedWrite(info, pixels.data());
        request.orientation = kOrientationTopDown;
        if (row.bitDepth > 10) {
          request.fourcc = FourCC("bgrA");
          request.pitch = raster.width * 4;
        }
        ASSERT_EQ(file->WriteImage(&request), NxErrSuccess) << row.name;
        ASSERT_EQ(file->Close(), NxErrSuccess);
        const std::string path = FramePath(folder, type);
        ASSERT_EQ(RunTool("ffmpeg -v error -y -i '" + path + "' -f rawvideo -pix_fmt rgb24 '" +
                          path + ".rgb'"),
                  0);
        EXPECT_LE(WorstBar(ReadBytes(path + ".rgb"), raster), 4) << row.name;
        std::filesystem::remove_all(folder);
      }
    }
  }
}

TEST(YuvInterop, SmpteRowsHoldTheirRange) {
  constexpr Raster kSize = {64, 48};
  const std::string path = WriteBars(NxFileTypeDPX, FourCC("11rQ"), 1, kSize);
  ASSERT_EQ(RunTool("ffmpeg -v error -y -i '" + path + "' -f rawvideo -pix_fmt gbrp10le '" + path +
                    ".raw'"),
            0);
  const auto planes = ReadBytes(path + ".raw");
  ASSERT_EQ(planes.size(), size_t{64 * 48 * 2 * 3});
  for (int32_t y = 0; y < 48; ++y) {
    for (int32_t x = 0; x < 64; ++x) {
      for (size_t c = 0; c < 3; ++c) {  // planes come in the order G, B, R
        const size_t at = (c + 2) % 3 * 64 * 48 + static_cast<size_t>(y * 64 + x);
        const int wanted = BarAt(x / 8, y)[c] == 255 ? 940 : 0;
        ASSERT_EQ(LoadLe16(&planes[at * 2]), wanted) << x << " " << y << " " << c;
      }
    }
  }
}

}  // namespace
}  // namespace morvane
