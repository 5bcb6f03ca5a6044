#include "tools/clip_door.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "media/seq_names.h"

namespace morvane::tools {
namespace {

bool IsSoundFile(const std::string& path) {
  std::string extension = std::filesystem::path(path).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension == ".wav";
}

bool HasSound(const NxMediaFileInfo& info) {
  return info.audio.fileCount > 0;
}

}  // namespace

void WarnOfSidecar(const std::string& firstFrame) {
  const std::string sidecar = SidecarOfFrame(firstFrame);
  std::error_code error;
  if (!std::filesystem::exists(sidecar, error)) return;
  std::fprintf(stderr,
               "%s was there before and stays as it is: rate, aspect, field order, timecode and "
               "reel of the new clip are not in it.\n",
               sidecar.c_str());
}

std::vector<std::string> SoundFolders(const std::string& path, const std::string& audioDir) {
  namespace fs = std::filesystem;
  std::vector<std::string> folders;
  if (!audioDir.empty()) folders.push_back(audioDir);
  std::error_code ignored;  // a path that cannot be made absolute fails when it is opened
  folders.push_back(fs::absolute(fs::path(path), ignored).parent_path().parent_path().string());
  return folders;
}

NxErr OpenClipWithSound(const std::string& path, const std::string& audioDir, OpenClip* clip) {
  if (IsSoundFile(path)) return OpenMediaSound(path, false, &clip->info, &clip->file);
  NxErr result = NxErrFailure;
  for (const std::string& sound : SoundFolders(path, audioDir)) {
    if (clip->file != nullptr) clip->file->Close();
    clip->file.reset();
    result = OpenMediaClip(path, true, sound, 0, false, &clip->info, &clip->file);
    if (result != NxErrSuccess || HasSound(clip->info)) return result;
  }
  return result;
}

std::string OpenClipWords(const std::string& path, NxErr result) {
  char text[kNxErrTextBytes] = {};
  NxErrText(result, text);
  std::error_code ignored;
  return std::string(text) + " " + path +
         (std::filesystem::exists(path, ignored) ? " is no clip that this program reads."
                                                 : " does not exist.");
}

std::string TimecodeWordText(uint32_t word, bool dropFrame) {
  const char separator = dropFrame ? ';' : ':';
  char text[16];
  std::snprintf(text, sizeof text, "%02X%c%02X%c%02X%c%02X", word & 0xFF, separator,
                word >> 8 & 0xFF, separator, word >> 16 & 0xFF, separator, word >> 24 & 0x3F);
  return text;
}

}  // namespace morvane::tools
