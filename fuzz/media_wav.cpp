// Any bytes as a sound file, opened and read in and out of order.
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "media/media_factory.h"

using namespace morvane;

namespace {

// One folder a process, in memory where there is such a place.
const std::string& Folder() {
  static const std::string folder = [] {
    char name[] = "/dev/shm/morvane-fuzz-XXXXXX";
    char other[] = "/tmp/morvane-fuzz-XXXXXX";
    const char* made = mkdtemp(name);
    if (made == nullptr) made = mkdtemp(other);
    if (made == nullptr) abort();
    static const struct Remover {
      std::string path;
      ~Remover() {
        unlink((path + "/clip.wav").c_str());
        rmdir(path.c_str());
      }
    } remover{made};
    return remover.path;
  }();
  return folder;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = Folder() + "/clip.wav";
  FILE* out = fopen(path.c_str(), "wb");
  if (out == nullptr) abort();
  if (size > 0 && fwrite(data, 1, size, out) != size) abort();
  fclose(out);
  NxMediaFileInfo info;
  MediaFilePtr file;
  if (OpenMediaSound(path, false, &info, &file) != NxErrSuccess) return 0;
  if (info.audio.fileCount != 1 || info.samplesPerFile[0] * 2 > size) abort();
  (void)file->GetAudioFrameCount(0, 30000, 1001);
  std::vector<uint8_t> sound(6408);
  for (const int32_t frame : {0, 1, -1, 1000000, 2, INT32_MAX, INT32_MIN}) {
    NxAudioReadRequest request;
    request.timeScale = 30000;
    request.timeRate = 1001;
    request.frame = frame;
    request.buffer = sound.data();
    request.bytes = static_cast<int32_t>(sound.size());
    (void)file->ReadAudio(&request);
  }
  NxMediaMetadata metadata;
  if (file->GetMetadata(&metadata) != NxErrSuccess) abort();
  if (file->Close() != NxErrSuccess) abort();
  return 0;
}
