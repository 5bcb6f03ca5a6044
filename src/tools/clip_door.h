#pragma once

#include <string>
#include <vector>

#include "media/media_factory.h"
#include "tools/command.h"

namespace morvane::tools {

// A clip on disk, opened for reading.
struct OpenClip {
  MediaFilePtr file;
  NxMediaFileInfo info = {};
};

// Opens `path` with the sound that belongs to it: beside the pictures, then in `audioDir`, then one
// folder up. A sound file alone opens too.
// Returns: 0, or the code of the class.
[[nodiscard]] NxErr OpenClipWithSound(const std::string& path, const std::string& audioDir,
                                      OpenClip* clip);
// The folders in which the sound of clip `path` is looked for beside its pictures' own, in order:
// `audioDir` where told, then one folder up.
[[nodiscard]] std::vector<std::string> SoundFolders(const std::string& path,
                                                    const std::string& audioDir);
// The sound file that belongs to the clip `path` by its name and was not taken as its sound: the
// first one, or the next track. Empty if there is none.
[[nodiscard]] std::string SoundLeftBehind(const std::string& path, const std::string& audioDir,
                                          const OpenClip& clip);
// Words for a clip that would not open: what, where, what to do.
[[nodiscard]] std::string OpenClipWords(const std::string& path, NxErr result);

// Says on standard error that a sidecar lies already where that of the new clip with this first
// frame belongs: it stays, so it is not the new clip's.
void WarnOfSidecar(const std::string& firstFrame);

// Text of a packed timecode word, ";" for drop frame.
[[nodiscard]] std::string TimecodeWordText(uint32_t word, bool dropFrame);

}  // namespace morvane::tools
