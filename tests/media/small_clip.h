#pragma once

#include <algorithm>
#include <filesystem>

#include "media/clip_builder.h"

// Clips of small raw frames, and what a folder and this process hold.
namespace morvane::test {

inline constexpr int32_t kSmallWidth = 64;
inline constexpr int32_t kSmallHeight = 34;  // 4352 bytes, 8.5 sectors
inline constexpr size_t kSmallBytes = kSmallWidth * kSmallHeight * 2;

inline NxMediaCreateInfo SmallInfo() {
  return PictureInfo(kSmallWidth, kSmallHeight, FourCC("2vuy"));
}

inline std::vector<std::string> FilesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

inline int OpenDescriptors() {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    (void)entry;
    ++count;
  }
  return count;
}

inline NxErr WriteNoise(NxMediaFileBase* file, const NxMediaCreateInfo& info, uint32_t seed,
                        int32_t frame = -1) {
  const auto pixels = Noise(static_cast<size_t>(info.imageBytes), seed);
  NxImageWriteRequest request = CopiedWrite(info, pixels.data());
  request.frame = frame;
  return file->WriteImage(&request);
}

}  // namespace morvane::test
