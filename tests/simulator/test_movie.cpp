#include "simulator/test_movie.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include "support/test_environment.h"

namespace morvane::test {

bool RunFfmpeg(const std::string& arguments) {
  return std::system(("ffmpeg -v error -nostdin -y " + arguments).c_str()) == 0;
}

std::string MakeMovie(const std::string& folder, const std::string& name, const MovieRow& row) {
  const std::string path = folder + "/" + name;
  const std::string codec = row.codec;
  const std::string picture = codec == "uyvy"   ? "-pix_fmt uyvy422 -c:v rawvideo -tag:v 2vuy"
                              : codec == "v210" ? "-pix_fmt yuv422p10le -c:v v210"
                              : codec == "h264" ? "-pix_fmt yuv420p -c:v mpeg4"
                                                : "-pix_fmt yuv422p -c:v huffyuv";
  double scale = 0;
  double duration = 1;
  if (std::sscanf(row.rate, "%lf/%lf", &scale, &duration) < 1) return "";
  const std::string seconds = std::to_string(row.frames * duration / scale);
  const bool made = RunFfmpeg(
      "-f lavfi -i \"testsrc2=size=" + std::to_string(row.width) + "x" +
      std::to_string(row.height) + ":rate=" + row.rate +
      ":d=" + std::to_string((row.frames - 0.5) * duration / scale) +
      "\" -f lavfi -i \"aevalsrc='0.3*sin(880*PI*t)|0.2*sin(1760*PI*t)':s=48000:d=" + seconds +
      "\" " + picture + " -c:a pcm_s16le \"" + path + "\"");
  return made ? path : "";
}

std::vector<uint8_t> FileBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<uint8_t> DecodePictures(const std::string& movie, const std::string& pixelFormat) {
  const std::string raw = FreshFolder("decoded") + "/raw";
  if (!RunFfmpeg("-i \"" + movie + "\" -map 0:v -f rawvideo -pix_fmt " + pixelFormat + " \"" + raw +
                 "\"")) {
    return {};
  }
  return FileBytes(raw);
}

std::vector<int32_t> DecodeSound(const std::string& movie) {
  const std::string raw = FreshFolder("decoded") + "/raw";
  if (!RunFfmpeg("-i \"" + movie + "\" -map 0:a -f s32le \"" + raw + "\"")) return {};
  const std::vector<uint8_t> bytes = FileBytes(raw);
  std::vector<int32_t> samples(bytes.size() / 4);
  std::memcpy(samples.data(), bytes.data(), samples.size() * 4);
  return samples;
}

}  // namespace morvane::test
