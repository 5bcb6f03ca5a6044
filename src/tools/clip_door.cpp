#include "tools/clip_door.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "media/data_vyr.h"
#include "media/file_handle.h"
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

std::string WithoutSuffix(const std::string& path) {
  return path.substr(0, path.size() - std::min(path.size(), kFrameSuffixChars));
}

// Name of the track behind `stem`: "clip" is followed by "clip_A2", "clip_A2" by "clip_A3".
std::string NextTrack(const std::string& stem) {
  const size_t digits = stem.find_last_not_of("0123456789") + 1;
  int32_t number = 0;
  const bool marked =
      digits >= 2 && stem.compare(digits - 2, 2, "_A") == 0 &&
      std::from_chars(stem.data() + digits, stem.data() + stem.size(), number).ec == std::errc() &&
      number > 1 && number < INT32_MAX && stem[digits] != '0';
  return marked ? stem.substr(0, digits) + std::to_string(number + 1) : stem + "_A2";
}

// True if a sidecar is there for the frame `path`, and is none.
bool IsBadSidecar(const std::string& path, const std::string& sidecar) {
  std::error_code ignored;
  if (sidecar == path || !std::filesystem::exists(sidecar, ignored)) return false;
  const auto clipName = std::make_unique<char16_t[]>(kVyrClipNameChars);
  NxDataVYR document;
  const bool opens = document.OpenRead(sidecar, clipName.get(), nullptr, kOpenExisting,
                                       kAccessRead | kAccessShareRead, false) == NxErrSuccess;
  (void)document.Close();
  return !opens && MediaTypeOfPath(path, false) != NxFileTypeNone;
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

std::string SoundLeftBehind(const std::string& path, const std::string& audioDir,
                            const OpenClip& clip) {
  namespace fs = std::filesystem;
  std::vector<std::string> stems;
  if (HasSound(clip.info)) {
    if (clip.info.audio.fileCount >= kMaxAudioFiles) return {};
    char last[kNxFileNameChars] = {};
    (void)clip.file->GetAudioFileName(clip.info.audio.fileCount - 1, last);
    stems.push_back(NextTrack(WithoutSuffix(last)));
  } else {
    std::string name = WithoutSuffix(FileOfPath(path));
    name.erase(name.find_last_not_of("0123456789") + 1);
    if (!name.empty() && name.back() == '_') name.pop_back();
    stems.push_back(FolderOfPath(path) + "/" + name);
    for (const std::string& folder : SoundFolders(path, audioDir)) {
      stems.push_back(folder + "/" + name);
    }
  }
  for (const std::string& stem : stems) {
    std::error_code ignored;
    for (const char* extension : {".wav", ".WAV"}) {
      if (fs::exists(stem + extension, ignored)) return stem + extension;
    }
  }
  return {};
}

std::string OpenClipWords(const std::string& path, NxErr result) {
  namespace fs = std::filesystem;
  std::error_code ignored;
  const fs::file_status status = fs::status(path, ignored);
  if (fs::is_directory(status)) return path + " is a folder; name a frame of the clip in it.";
  char text[kNxErrTextBytes] = {};
  NxErrText(result, text);
  const std::string sidecar = SidecarToFind(path);
  std::string words = " is no clip that this program reads.";
  if (!fs::exists(status)) {
    words = " does not exist.";
  } else if (!fs::is_regular_file(status) && !fs::is_block_file(status)) {
    words = " is no file.";
  } else if (result == NxErrOpenVideoFile && IsBadSidecar(path, sidecar)) {
    words = ": its sidecar " + sidecar + " cannot be read; mend it or take it away.";
  }
  return std::string(text) + " " + path + words;
}

std::string TimecodeWordText(uint32_t word, bool dropFrame) {
  const char separator = dropFrame ? ';' : ':';
  char text[16];
  std::snprintf(text, sizeof text, "%02X%c%02X%c%02X%c%02X", word & 0xFF, separator,
                word >> 8 & 0xFF, separator, word >> 16 & 0xFF, separator, word >> 24 & 0x3F);
  return text;
}

}  // namespace morvane::tools
