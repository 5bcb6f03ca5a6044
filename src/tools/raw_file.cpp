#include "tools/raw_file.h"

#include <png.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/file_io.h"

namespace morvane::tools {

std::string ReadRawFile(const std::string& path, uint8_t* data, size_t bytes) {
  File file;
  uint64_t size = 0;
  int error = file.Open(path, FileMode::kRead);
  if (error == 0) error = file.Size(&size);
  if (error == 0 && size != bytes) {
    return path + " holds " + std::to_string(size) + " bytes; an image of this format and size " +
           "has " + std::to_string(bytes) + ".";
  }
  size_t done = 0;
  if (error == 0) error = file.ReadAt(data, bytes, 0, &done);
  if (error != 0) return path + " cannot be read: " + FileErrorText(error) + ".";
  return done == bytes ? std::string() : path + " became shorter while it was read.";
}

std::string WriteRawFile(const std::string& path, const uint8_t* data, size_t bytes) {
  File file;
  int error = file.Open(path, FileMode::kCreate);
  if (error != 0) return path + " cannot be made: " + FileErrorText(error) + ".";
  error = file.WriteAt(data, bytes, 0);
  const int closed = file.Close();
  if (error == 0) error = closed;
  if (error == 0) return {};
  (void)FileRemove(path);
  return path + " cannot be written: " + FileErrorText(error) + ".";
}

std::string WritePngFile(const std::string& path, const uint8_t* data, uint32_t width,
                         uint32_t height, uint32_t pitch) {
  std::FILE* file = std::fopen(path.c_str(), "wxb");  // never over a file that is there
  if (file == nullptr) return path + " cannot be made: " + FileErrorText(errno) + ".";
  png_image image;
  std::memset(&image, 0, sizeof image);
  image.version = PNG_IMAGE_VERSION;
  image.width = width;
  image.height = height;
  image.format = PNG_FORMAT_RGB;
  std::string words;
  if (png_image_write_to_stdio(&image, file, 0, data, static_cast<png_int_32>(pitch), nullptr) ==
      0) {
    words = image.message;
  }
  if (std::fclose(file) != 0 && words.empty()) words = FileErrorText(errno);
  if (words.empty()) return {};
  std::remove(path.c_str());
  return path + " cannot be written: " + words + ".";
}

}  // namespace morvane::tools
