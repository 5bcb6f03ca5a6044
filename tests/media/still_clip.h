#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "media/clip_builder.h"
#include "processing/convert.h"
#include "processing/pixel_format.h"
#include "support/test_environment.h"

// Still-image clips: pictures of saturated colours in any format, written and read by our own
// classes and by other people's tools.
namespace morvane::test {

// Components of 0..65535.
struct Colour {
  uint32_t r, g, b;
  bool operator==(const Colour&) const = default;
};

// Eight saturated columns whose components ramp down the lines, each at its own pace; no two lines
// and no two columns are equal, so a picture that is turned, mirrored or shifted shows.
inline Colour ColourAt(int32_t x, int32_t y, int32_t width, int32_t height) {
  const int32_t column = 8 * x / width;
  const uint32_t down = static_cast<uint32_t>(y) * 65535u / static_cast<uint32_t>(height);
  const uint32_t across = static_cast<uint32_t>(x) * 65535u / static_cast<uint32_t>(width);
  return {column & 4 ? 65535 - down / 2 : across / 3, column & 2 ? 60000 - across / 4 : down / 3,
          column & 1 ? 65535 - down / 3 : 2000 + across / 8};
}

// That picture in `fourcc` (RGB), lines in the order of `orientation`, opaque. `pitch` 0 is tight.
inline std::vector<uint8_t> Picture(FourCCCode fourcc, int32_t width, int32_t height,
                                    uint32_t orientation) {
  const PixelFormat* format = FindPixelFormat(fourcc);
  const auto bytes = static_cast<size_t>(format->bytesPerGroup);
  std::vector<uint8_t> pixels(static_cast<size_t>(width) * static_cast<size_t>(height) * bytes);
  uint8_t* p = pixels.data();
  for (int32_t line = 0; line < height; ++line) {
    const int32_t y = orientation == kOrientationTopDown ? line : height - 1 - line;
    for (int32_t x = 0; x < width; ++x, p += bytes) {
      const Colour c = ColourAt(x, y, width, height);
      (void)PackRgbPixel(fourcc, p, c.r, c.g, c.b, 65535, 65535, 0);
    }
  }
  return pixels;
}

// A row of a class's table of what it writes.
struct StillRow {
  NxFileType type;
  FourCCCode fourcc;
  uint32_t orientation;
  std::string name;
  uint32_t bitDepth;
};

inline std::vector<StillRow> RowsOf(NxFileType type) {
  std::vector<StillRow> rows;
  const MediaFilePtr file(CreateMediaFile(type));
  for (int i = 0; i < file->GetNumImageWriteFormats(); ++i) {
    NxImageWriteFormatDescription row;
    EXPECT_EQ(file->GetImageWriteFormatDescription(i, &row), NxErrSuccess);
    rows.push_back({type, row.fourcc, row.orientation, row.name, row.bitDepth});
  }
  return rows;
}

inline std::string TableText(NxFileType type) {
  std::string text;
  for (const StillRow& row : RowsOf(type)) {
    text += FourCCText(row.fourcc) + "|" + row.name + "|" + std::to_string(row.orientation) + "|" +
            std::to_string(row.bitDepth) + "\n";
  }
  return text;
}

inline std::string ExtensionOfType(NxFileType type) {
  char extension[kFormatNameChars];
  const MediaFilePtr file(CreateMediaFile(type));
  EXPECT_EQ(file->GetMediaImageExtension(extension), NxErrSuccess);
  return extension;
}

// Path of frame `number` of the clip "clip" in `folder`.
inline std::string FramePath(const std::string& folder, NxFileType type, int number = 0) {
  std::string digits = std::to_string(number);
  digits.insert(0, digits.size() < 6 ? 6 - digits.size() : 0, '0');
  return folder + "/clip_" + digits + "." + ExtensionOfType(type);
}

// Writes the clip "clip" of these frames, each a picture as `info` describes it.
// Returns: the first code that is none of success.
inline NxErr WriteStills(NxFileType type, const std::string& folder, NxMediaCreateInfo info,
                         const std::vector<std::vector<uint8_t>>& frames) {
  const MediaFilePtr file(CreateMediaFile(type));
  NxErr result = Create(file.get(), folder, "clip", &info);
  if (result != NxErrSuccess) return result;
  for (const auto& frame : frames) {
    EXPECT_EQ(frame.size(), static_cast<size_t>(info.imageBytes));
    NxImageWriteRequest request = CopiedWrite(info, frame.data());
    result = file->WriteImage(&request);
    if (result != NxErrSuccess) return result;
  }
  return file->Close();
}

// Writes one frame of the test picture. Returns: its path.
inline std::string WritePicture(NxFileType type, const std::string& folder, FourCCCode fourcc,
                                uint32_t orientation, int32_t width, int32_t height) {
  EXPECT_EQ(WriteStills(type, folder, PictureInfo(width, height, fourcc, orientation),
                        {Picture(fourcc, width, height, orientation)}),
            NxErrSuccess);
  return FramePath(folder, type);
}

// The code that opening `path` gives.
inline NxErr OpenCode(const std::string& path, NxMediaFileInfo* info = nullptr) {
  const auto own = std::make_unique<NxMediaFileInfo>();
  MediaFilePtr file;
  return Open(path, info != nullptr ? info : own.get(), &file);
}

// Reads frame `frame` as it is stored. Returns: its pixels; empty on failure.
inline std::vector<uint8_t> StoredPixels(const std::string& path, int32_t frame = 0) {
  const auto info = std::make_unique<NxMediaFileInfo>();
  MediaFilePtr file;
  if (Open(path, info.get(), &file) != NxErrSuccess) return {};
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(*info, &buffer);
  request.frame = frame;
  if (file->ReadImage(&request) != NxErrSuccess) return {};
  const uint8_t* pixels = buffer.Data() + request.dataOffset;
  return std::vector<uint8_t>(pixels, pixels + info->imageBytes);
}

// Reads frame `frame` as `fourcc`, top line first.
inline std::vector<uint8_t> PixelsAs(const std::string& path, FourCCCode fourcc,
                                     int32_t frame = 0) {
  const auto info = std::make_unique<NxMediaFileInfo>();
  MediaFilePtr file;
  if (Open(path, info.get(), &file) != NxErrSuccess) return {};
  const int32_t pitch = PixelLineBytes(fourcc, info->width);
  const auto bytes = static_cast<size_t>(pitch) * static_cast<size_t>(info->height);
  std::vector<uint8_t> buffer(std::max(bytes, static_cast<size_t>(info->frameBytes)));
  NxImageReadRequest request;
  request.fourcc = fourcc;
  request.width = info->width;
  request.height = info->height;
  request.pitch = pitch;
  request.orientation = kOrientationTopDown;
  request.frame = frame;
  request.external = 1;
  request.buffer = buffer.data();
  request.bufferBytes = static_cast<int32_t>(buffer.size());
  if (file->ReadImage(&request) != NxErrSuccess) return {};
  buffer.erase(buffer.begin(), buffer.begin() + request.dataOffset);
  buffer.resize(bytes);
  return buffer;
}

// Runs a program of the system through the shell, quietly. Returns: its exit code.
inline int RunTool(const std::string& command) {
  const int status = system((command + " </dev/null >/dev/null 2>&1").c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// What a program prints.
inline std::string Output(const std::string& command) {
  std::string text;
  FILE* pipe = popen((command + " 2>&1 </dev/null").c_str(), "r");
  char block[4096];
  for (size_t n = 0; pipe != nullptr && (n = fread(block, 1, sizeof block, pipe)) > 0;) {
    text.append(block, n);
  }
  if (pipe != nullptr) pclose(pipe);
  return text;
}

// The first place where two pictures of `channels` components of `bytes` differ by more than
// `tolerance`, in words; empty if there is none.
inline std::string Difference(const std::vector<uint8_t>& wanted, const std::vector<uint8_t>& got,
                              int32_t width, int channels, int bytes, int tolerance = 0) {
  if (wanted.size() != got.size()) {
    return "sizes: wanted " + std::to_string(wanted.size()) + ", got " + std::to_string(got.size());
  }
  for (size_t i = 0; i + static_cast<size_t>(bytes) <= wanted.size();
       i += static_cast<size_t>(bytes)) {
    const int a = bytes == 2 ? LoadLe16(&wanted[i]) : wanted[i];
    const int b = bytes == 2 ? LoadLe16(&got[i]) : got[i];
    if (std::abs(a - b) <= tolerance) continue;
    const size_t component = i / static_cast<size_t>(bytes);
    const size_t pixel = component / static_cast<size_t>(channels);
    return "x " + std::to_string(pixel % static_cast<size_t>(width)) + ", y " +
           std::to_string(pixel / static_cast<size_t>(width)) + ", channel " +
           std::to_string(component % static_cast<size_t>(channels)) + ": wanted " +
           std::to_string(a) + ", got " + std::to_string(b);
  }
  return "";
}

}  // namespace morvane::test
