#pragma once

#include <tiffio.h>

#include <cmath>
#include <filesystem>

#include "media/still_clip.h"

// Other people's programs as judges of what we write, and as makers of what we read.
namespace morvane::test {

enum class Judge { kFfmpeg, kOiio, kMagick };

inline const char* JudgeName(Judge judge) {
  return judge == Judge::kFfmpeg ? "ffmpeg" : judge == Judge::kOiio ? "oiiotool" : "ImageMagick";
}

// Pixels of a TIFF file of whole bytes a sample, through libtiff; 16-bit samples in the processor's
// order.
inline std::vector<uint8_t> PixelsOfTiff(const std::string& path) {
  std::vector<uint8_t> pixels;
  TIFF* tiff = TIFFOpen(path.c_str(), "r");
  if (tiff == nullptr) return pixels;
  uint32_t height = 0;
  TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
  std::vector<uint8_t> line(static_cast<size_t>(TIFFScanlineSize(tiff)));
  for (uint32_t y = 0; y < height; ++y) {
    if (TIFFReadScanline(tiff, line.data(), y, 0) != 1) break;
    pixels.insert(pixels.end(), line.begin(), line.end());
  }
  TIFFClose(tiff);
  return pixels;
}

// Components of the test picture as `row` can hold them: 8, 10 or 16 bits a component, R, G, B, the
// first line on top. 10 bits come in 16-bit words.
inline std::vector<uint8_t> WantedComponents(const StillRow& row, int32_t width, int32_t height) {
  const auto stored = Picture(row.fourcc, width, height, kOrientationTopDown);
  const auto bytes = static_cast<size_t>(FindPixelFormat(row.fourcc)->bytesPerGroup);
  std::vector<uint8_t> wanted;
  for (size_t i = 0; i < stored.size(); i += bytes) {
    uint32_t c[3], a, max, min;
    (void)UnpackRgbPixel(row.fourcc, &stored[i], &c[0], &c[1], &c[2], &a, &max, &min);
    for (const uint32_t value : c) {
      wanted.push_back(static_cast<uint8_t>(value));
      if (row.bitDepth > 8) wanted.push_back(static_cast<uint8_t>(value >> 8));
    }
  }
  return wanted;
}

// One file to be judged, and where the judge's pixels go.
struct Exhibit {
  StillRow row;
  int32_t width;
  int32_t height;
  std::string path;
  std::string raw;
};

// One command for all of them: starting such a program takes longer than a picture.
inline std::string JudgeCommand(Judge judge, const std::vector<Exhibit>& exhibits) {
  const auto quoted = [](const std::string& text) { return " '" + text + "'"; };
  std::string command = judge == Judge::kOiio     ? "oiiotool --autoorient"
                        : judge == Judge::kMagick ? "convert-im6.q16"
                                                  : "ffmpeg -v error -y";
  for (const Exhibit& e : exhibits) {
    const bool is8 = e.row.bitDepth == 8;
    if (judge == Judge::kOiio) {
      // Not as PPM: that writer of it damages 16-bit samples.
      command += quoted(e.path) + " --ch R,G,B -d " + (is8 ? "uint8" : "uint16") +
                 " --compression none -o" + quoted(e.raw);
    } else if (judge == Judge::kMagick) {
      command += quoted(e.path) + " -auto-orient -endian LSB -depth " + (is8 ? "8" : "16") +
                 " -write" + quoted("rgb:" + e.raw) + " +delete";
    } else {
      command += " -i" + quoted(e.path);
    }
  }
  for (size_t i = 0; judge == Judge::kFfmpeg && i < exhibits.size(); ++i) {
    const uint32_t depth = exhibits[i].row.bitDepth;
    command += " -map " + std::to_string(i) + " -frames:v 1 -f rawvideo -pix_fmt " +
               (depth == 8    ? "rgb24"
                : depth == 10 ? "gbrp10le"
                              : "rgb48le") +
               quoted(exhibits[i].raw);
  }
  return judge == Judge::kMagick ? command + " xc:red null:" : command;
}

// What `judge` made of a file, in the form of WantedComponents. Empty if it refused.
inline std::vector<uint8_t> JudgedComponents(Judge judge, const Exhibit& e) {
  const bool is10 = e.row.bitDepth == 10;
  std::vector<uint8_t> pixels = judge == Judge::kOiio ? PixelsOfTiff(e.raw) : ReadBytes(e.raw);
  if (judge == Judge::kOiio) {
    for (size_t i = 0; is10 && i + 1 < pixels.size(); i += 2) {
      const double value = LoadLe16(&pixels[i]) * 1023.0 / 65535.0;
      StoreLe16(&pixels[i], static_cast<uint16_t>(std::lround(value)));
    }
    return pixels;
  }
  const size_t plane = static_cast<size_t>(e.width) * static_cast<size_t>(e.height) * 2;
  if (judge != Judge::kFfmpeg || !is10 || pixels.size() != 3 * plane) return pixels;
  std::vector<uint8_t> woven(pixels.size());
  for (size_t i = 0; i < plane / 2; ++i) {
    for (size_t c = 0; c < 3; ++c) {  // planes come in the order G, B, R
      std::memcpy(&woven[6 * i + 2 * c], &pixels[(c + 2) % 3 * plane + 2 * i], 2);
    }
  }
  return woven;
}

// False where the program is known to misread a row, as told in docs/formats.md.
inline bool Understands(Judge judge, const StillRow& row) {
  const bool isBottomUp = row.orientation == kOrientationBottomUp;
  if (judge == Judge::kFfmpeg) {
    // It opens no Cineon, and takes the line order of DPX and TIFF for granted.
    if (row.type == NxFileTypeCIN) return false;
    return !isBottomUp || (row.type != NxFileTypeDPX && row.type != NxFileTypeTIF);
  }
  // It applies a film curve to logarithmic and linear files alike.
  if (judge == Judge::kMagick) return row.type != NxFileTypeDPX && row.type != NxFileTypeCIN;
  return true;
}

struct Raster {
  int32_t width;
  int32_t height;
};
// Writes each row at its size, reads it back and has it judged by those who understand it.
inline void CheckRows(const std::vector<std::pair<StillRow, Raster>>& rows,
                      std::initializer_list<Judge> judges) {
  std::vector<Exhibit> exhibits;
  for (const auto& [row, raster] : rows) {
    const std::string folder = FreshFolder("row");
    exhibits.push_back(
        {row, raster.width, raster.height,
         WritePicture(row.type, folder, row.fourcc, row.orientation, raster.width, raster.height),
         folder + "/raw.tif"});
    EXPECT_EQ(Difference(Picture(row.fourcc, raster.width, raster.height, row.orientation),
                         StoredPixels(exhibits.back().path), raster.width,
                         FindPixelFormat(row.fourcc)->bytesPerGroup, 1),
              "")
        << row.name;
  }
  for (const Judge judge : judges) {
    std::vector<Exhibit> readable;
    std::copy_if(exhibits.begin(), exhibits.end(), std::back_inserter(readable),
                 [judge](const Exhibit& e) { return Understands(judge, e.row); });
    if (readable.empty()) continue;
    const std::string command = JudgeCommand(judge, readable);
    EXPECT_EQ(RunTool(command), 0) << command;
    for (const Exhibit& e : readable) {
      EXPECT_EQ(Difference(WantedComponents(e.row, e.width, e.height), JudgedComponents(judge, e),
                           e.width, 3, e.row.bitDepth == 8 ? 1 : 2),
                "")
          << JudgeName(judge) << ", " << e.row.name << ", " << e.width << "x" << e.height;
      std::filesystem::remove(e.raw);
    }
  }
  for (const Exhibit& e : exhibits) std::filesystem::remove_all(FolderOf(e.path));
}

inline constexpr Raster kRasters[] = {{720, 486},   {720, 576},   {1280, 720},
                                      {1920, 1080}, {2048, 1080}, {2048, 1556}};
inline constexpr NxFileType kStillTypes[] = {NxFileTypeDPX, NxFileTypeCIN, NxFileTypeTGA,
                                             NxFileTypeBMP, NxFileTypeTIF};

}  // namespace morvane::test
