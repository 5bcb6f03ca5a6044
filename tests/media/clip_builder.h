#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "base/page_memory.h"
#include "base/paths.h"
#include "media/media_factory.h"
#include "media/media_wav.h"

// What the tests of the media layer share: files as bytes, pictures with a number in them, clips.
namespace morvane::test {

inline std::vector<uint8_t> ReadBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(file),
                              std::istreambuf_iterator<char>());
}

inline void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

inline void WriteText(const std::string& path, const std::string& text) {
  WriteBytes(path, std::vector<uint8_t>(text.begin(), text.end()));
}

inline std::string ReadText(const std::string& path) {
  const std::vector<uint8_t> bytes = ReadBytes(path);
  return std::string(bytes.begin(), bytes.end());
}

inline bool Exists(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0;
}

inline std::string Hex(const std::vector<uint8_t>& bytes, size_t first, size_t count) {
  std::string text;
  for (size_t i = first; i < first + count && i < bytes.size(); ++i) {
    const char* digits = "0123456789abcdef";
    text.push_back(digits[bytes[i] >> 4]);
    text.push_back(digits[bytes[i] & 15]);
  }
  return text;
}

inline uint32_t Crc32(const void* data, size_t bytes) {
  uint32_t crc = 0xFFFFFFFF;
  const auto* p = static_cast<const uint8_t*>(data);
  for (size_t i = 0; i < bytes; ++i) {
    crc ^= p[i];
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320u : 0u);
  }
  return ~crc;
}

// Bytes that differ from place to place and from seed to seed.
inline std::vector<uint8_t> Noise(size_t bytes, uint32_t seed) {
  std::vector<uint8_t> noise(bytes);
  uint32_t state = seed * 2654435761u + 12345;
  for (uint8_t& byte : noise) {
    state = state * 1664525u + 1013904223u;
    byte = static_cast<uint8_t>(state >> 24);
  }
  return noise;
}

inline NxMediaCreateInfo PictureInfo(int32_t width, int32_t height, FourCCCode fourcc,
                                     uint32_t orientation = 1) {
  NxMediaCreateInfo info = {};
  info.streams = NxStreamsPicture;
  info.fourcc = fourcc;
  info.orientation = orientation;
  info.fieldType = -1;
  info.width = width;
  info.height = height;
  info.parNum = 1;
  info.parDen = 1;
  info.timeScale = 30000;
  info.timeRate = 1001;
  return info;
}

inline void AddAudio(NxMediaCreateInfo* info, int row, int32_t tracks) {
  info->streams = info->streams == NxStreamsAudio ? NxStreamsAudio : NxStreamsBoth;
  info->audio = AudioFormatRow(row);
  info->audio.fileCount = tracks;
}

// Creates a clip as a capture does. Returns: the code of CreateWrite.
inline NxErr Create(NxMediaFileBase* file, const std::string& folder, const std::string& name,
                    NxMediaCreateInfo* info, const char* startNumber = nullptr,
                    uint32_t access = 0x0B) {
  return file->CreateWrite(name, startNumber, folder, folder, info, kCreateNew, access, false);
}

// A request for a picture of `info` from `pixels`, which is copied on its way to the file.
inline NxImageWriteRequest CopiedWrite(const NxMediaCreateInfo& info, const uint8_t* pixels) {
  NxImageWriteRequest request;
  request.fourcc = info.fourcc;
  request.width = info.width;
  request.height = info.height;
  request.pitch = info.linePitch;
  request.orientation = static_cast<int32_t>(info.orientation);
  request.imageBuffer = const_cast<uint8_t*>(pixels);
  return request;
}

// Writes `frames` YUV frames of noise, seeds 1, 2, 3 ... Returns: false on any failure.
inline bool WriteYuvClip(const std::string& folder, const std::string& name, int frames,
                         const char* startNumber = nullptr, int audioRow = -1, int tracks = 1,
                         int32_t width = 720, int32_t height = 486) {
  MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = PictureInfo(width, height, FourCC("2vuy"));
  if (audioRow >= 0) AddAudio(&info, audioRow, tracks);
  if (Create(file.get(), folder, name, &info, startNumber) != NxErrSuccess) return false;
  for (int i = 0; i < frames; ++i) {
    const auto pixels = Noise(static_cast<size_t>(info.imageBytes), static_cast<uint32_t>(i + 1));
    NxImageWriteRequest request = CopiedWrite(info, pixels.data());
    if (file->WriteImage(&request) != NxErrSuccess) return false;
    for (int track = 0; audioRow >= 0 && track < tracks; ++track) {
      const auto sound = Noise(static_cast<size_t>(info.audio.bytesPerFrame) * 1602,
                               static_cast<uint32_t>(1000 * (track + 1) + i));
      NxAudioWriteRequest audio;
      audio.file = track;
      audio.buffer = sound.data();
      audio.bytes = static_cast<int32_t>(sound.size());
      if (file->WriteAudio(&audio) != NxErrSuccess) return false;
    }
  }
  return file->Close() == NxErrSuccess;
}

inline std::string FolderOf(const std::string& path) {
  return path.substr(0, path.rfind(kPathSeparator));
}

// Opens the clip at `path` the way playback does.
inline NxErr Open(const std::string& path, NxMediaFileInfo* info, MediaFilePtr* file) {
  return OpenMediaClip(path, true, FolderOf(path), 0, false, info, file);
}

// A request for a frame in the clip's own format, into `buffer`.
inline NxImageReadRequest PlainRead(const NxMediaFileInfo& info, PageBuffer* buffer,
                                    int32_t spare = 512) {
  NxImageReadRequest request;
  EXPECT_TRUE(buffer->Allocate(static_cast<size_t>(info.frameBytes + spare)));
  request.fourcc = info.fourcc;
  request.width = info.width;
  request.height = info.height;
  request.pitch = info.linePitch;
  request.orientation = static_cast<int32_t>(info.orientation);
  request.buffer = buffer->Data();
  request.bufferBytes = info.frameBytes + spare;
  return request;
}

}  // namespace morvane::test
