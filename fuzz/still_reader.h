#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "media/media_factory.h"
#include "processing/pixel_format.h"

// Takes fuzzed bytes the way of a frame that somebody put into a clip: opened, read as it is, as a
// rectangle and converted.
namespace morvane::fuzz {

inline int ReadAsStill(const uint8_t* data, size_t size, const char* extension) {
  constexpr int32_t kMostFrameBytes = 8 << 20;  // a larger claim costs time and shows nothing new
  static const std::string path = [extension] {
    std::string folder = "/dev/shm/morvane-fuzz-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) abort();
    return folder + "/frame." + extension;
  }();
  FILE* file = fopen(path.c_str(), "wb");
  if (file == nullptr) abort();
  if (size > 0 && fwrite(data, 1, size, file) != size) abort();
  fclose(file);

  const auto info = std::make_unique<NxMediaFileInfo>();
  MediaFilePtr clip;
  if (OpenMediaClip(path, false, nullptr, 0, false, info.get(), &clip) != NxErrSuccess) return 0;
  if (info->frameBytes > kMostFrameBytes) return 0;
  NxImageReadRequest request;
  request.fourcc = info->fourcc;
  request.width = info->width;
  request.height = info->height;
  request.pitch = info->linePitch;
  request.orientation = static_cast<int32_t>(info->orientation);
  std::vector<uint8_t> buffer(static_cast<size_t>(info->frameBytes) + 512);
  request.buffer = buffer.data();
  request.bufferBytes = static_cast<int32_t>(buffer.size());
  NxImageReadRequest whole = request;
  if (clip->ReadImage(&whole) == NxErrSuccess &&
      whole.dataOffset + static_cast<uint64_t>(info->imageBytes) > buffer.size()) {
    abort();  // the picture must lie in the buffer
  }
  NxImageReadRequest rectangle = request;
  rectangle.subRect = 1;
  rectangle.srcX = rectangle.dstX = rectangle.dstY = 0;
  rectangle.srcY = info->height / 2;
  rectangle.srcWidth = rectangle.dstWidth = (info->width + 1) / 2;
  rectangle.srcHeight = rectangle.dstHeight = (info->height + 1) / 2;
  (void)clip->ReadImage(&rectangle);
  NxImageReadRequest converted = request;
  converted.fourcc = FourCC("2vuy");
  converted.pitch = PixelLineBytes(converted.fourcc, info->width);
  converted.orientation = 1;
  (void)clip->ReadImage(&converted);
  NxTimeCodeRecord record;
  (void)clip->ReadTimecode(1, &record);
  return 0;
}

}  // namespace morvane::fuzz
