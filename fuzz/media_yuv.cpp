// Any request for a frame of a raw clip, whose second frame has any length.
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "base/byte_order.h"
#include "media/media_factory.h"

using namespace morvane;

namespace {

constexpr size_t kFrameBytes = 691200;
constexpr size_t kMaxBuffer = 4u << 20;
constexpr char kFormats[][5] = {"2vuy", "yuy2", "v219", "bgrA", "rgb ", "10rb", "RGBA", "none"};

const std::string& Clip() {
  static const struct Folder {
    std::string path;
    Folder() {
      char name[] = "/dev/shm/morvane-fuzz-XXXXXX";
      char other[] = "/tmp/morvane-fuzz-XXXXXX";
      const char* made = mkdtemp(name);
      if (made == nullptr) made = mkdtemp(other);
      if (made == nullptr) abort();
      path = std::string(made) + "/c_";
      FILE* out = fopen((path + "0.yuv").c_str(), "wb");
      const std::vector<uint8_t> picture(kFrameBytes, 0x80);
      if (out == nullptr || fwrite(picture.data(), 1, kFrameBytes, out) != kFrameBytes) abort();
      fclose(out);
    }
    ~Folder() {
      unlink((path + "0.yuv").c_str());
      unlink((path + "1.yuv").c_str());
      rmdir(path.substr(0, path.size() - 3).c_str());
    }
  } folder;
  return folder.path;
}

// The bytes of the input as numbers; zeros when they are used up.
class Numbers {
 public:
  Numbers(const uint8_t* data, size_t size) : data_(data), end_(data + size) {}
  int32_t Next() {
    uint8_t word[4] = {};
    const size_t count = std::min<size_t>(4, static_cast<size_t>(end_ - data_));
    if (count > 0) memcpy(word, data_, count);
    data_ += count;
    return static_cast<int32_t>(LoadLe32(word));
  }

 private:
  const uint8_t* data_;
  const uint8_t* end_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Numbers in(data, size);
  const std::string second = Clip() + "1.yuv";
  FILE* out = fopen(second.c_str(), "wb");
  if (out == nullptr) abort();
  fclose(out);
  const uint32_t length = static_cast<uint32_t>(in.Next());
  if (truncate(second.c_str(), length % 3 == 0 ? kFrameBytes : length % (2 * kFrameBytes)) != 0) {
    abort();
  }
  NxMediaFileInfo info;
  MediaFilePtr file;
  if (OpenMediaClip(Clip() + "0.yuv", true, nullptr, 0, false, &info, &file) != NxErrSuccess) {
    abort();
  }
  if (info.frameCount != 2) abort();
  NxImageReadRequest request;
  const uint32_t choice = static_cast<uint32_t>(in.Next());
  request.fourcc = FourCC(kFormats[choice % std::size(kFormats)]);
  request.subRect = choice >> 8 & 1;
  request.external = choice >> 9 & 1;
  request.orientation = static_cast<int32_t>(choice >> 10 & 1);
  const bool plain = (choice >> 11 & 1) != 0;
  request.width = plain ? int32_t{info.width} : in.Next();
  request.height = plain ? int32_t{info.height} : in.Next();
  request.pitch = plain ? int32_t{info.linePitch} : in.Next();
  request.frame = in.Next();
  const auto bufferBytes = static_cast<uint32_t>(in.Next()) % kMaxBuffer;
  for (int32_t* value : {&request.srcX, &request.srcY, &request.srcWidth, &request.srcHeight,
                         &request.dstX, &request.dstY, &request.dstWidth, &request.dstHeight}) {
    *value = in.Next();
  }
  std::vector<uint8_t> buffer(bufferBytes + 1);
  request.buffer = buffer.data();
  request.bufferBytes = static_cast<int32_t>(bufferBytes);
  (void)file->ReadImage(&request);
  if (buffer[bufferBytes] != 0) abort();
  return 0;
}
