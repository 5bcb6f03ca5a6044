#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Movies for tests, made and read by the ffmpeg command: a writer and a reader that are not ours.
namespace morvane::test {

// Runs ffmpeg with `arguments`. Returns: true if it succeeded.
bool RunFfmpeg(const std::string& arguments);

struct MovieRow {
  uint32_t width;
  uint32_t height;
  const char* rate;  // "30000/1001"
  int frames;
  const char* codec;  // "uyvy", "v210", "h264", "huffyuv"
};
// A moving picture with two channels of sound (channel 1 one tone, channel 2 another).
// Returns: its path in `folder`; empty when ffmpeg failed.
std::string MakeMovie(const std::string& folder, const std::string& name, const MovieRow& row);

// All bytes of a file.
std::vector<uint8_t> FileBytes(const std::string& path);
// The pictures of a movie in `pixelFormat`, one after another, as ffmpeg decodes them.
std::vector<uint8_t> DecodePictures(const std::string& movie, const std::string& pixelFormat);
// Its sound as interleaved 32-bit samples.
std::vector<int32_t> DecodeSound(const std::string& movie);

}  // namespace morvane::test
