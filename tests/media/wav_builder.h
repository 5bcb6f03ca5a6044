#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "media/clip_builder.h"
#include "media/media_wav.h"

// What the tests of sound files share.
namespace morvane::test {

inline NxMediaCreateInfo SoundInfo(int row, int32_t tracks) {
  NxMediaCreateInfo info = {};
  info.streams = NxStreamsAudio;
  AddAudio(&info, row, tracks);
  return info;
}

inline NxErr Append(NxMediaWAV* wav, int32_t file, const std::vector<uint8_t>& sound) {
  NxAudioWriteRequest request;
  request.file = file;
  request.buffer = sound.data();
  request.bytes = static_cast<int32_t>(sound.size());
  return wav->WriteAudio(&request);
}

// Writes "clip" with one write of noise (seed = track number) a track.
inline void WriteSound(const std::string& folder, int row, int32_t tracks, size_t bytes) {
  NxMediaWAV wav;
  NxMediaCreateInfo info = SoundInfo(row, tracks);
  ASSERT_EQ(Create(&wav, folder, "clip", &info), 0);
  for (int32_t track = 0; track < tracks; ++track) {
    ASSERT_EQ(Append(&wav, track, Noise(bytes, static_cast<uint32_t>(track + 1))), 0);
  }
  ASSERT_EQ(wav.Close(), 0);
}

inline NxErr OpenSound(NxMediaWAV* wav, const std::string& folder, const std::string& name,
                       NxMediaFileInfo* info, bool wantAudio = true) {
  *info = {};
  return wav->OpenRead(name, wantAudio, folder, info, kOpenExisting, 0x0D, 0, false);
}

inline NxErr ReadFrame(NxMediaWAV* wav, int32_t frame, std::vector<uint8_t>* sound,
                       int32_t scale = 30000, int32_t rate = 1001, int32_t file = 0) {
  NxAudioReadRequest request;
  request.file = file;
  request.timeScale = scale;
  request.timeRate = rate;
  request.frame = frame;
  request.buffer = sound->data();
  request.bytes = static_cast<int32_t>(sound->size());
  return wav->ReadAudio(&request);
}

inline std::vector<uint8_t> Slice(const std::vector<uint8_t>& bytes, size_t first, size_t count) {
  return std::vector<uint8_t>(bytes.begin() + static_cast<ptrdiff_t>(first),
                              bytes.begin() + static_cast<ptrdiff_t>(first + count));
}

inline bool HasTool(const char* tool) {
  const std::string command = std::string("command -v ") + tool + " >/dev/null 2>&1";
  return std::system(command.c_str()) == 0;
}

inline std::string OutputOf(const std::string& command) {
  std::string text;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return text;
  char part[256];
  while (fgets(part, sizeof part, pipe) != nullptr) text += part;
  pclose(pipe);
  return text;
}

}  // namespace morvane::test
