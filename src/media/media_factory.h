#pragma once

#include <memory>

#include "media/media_file_base.h"

// Which class stands behind a clip, and how its objects come and go.
namespace morvane {

// Gives: a new closed object, to be given back with ReleaseMediaFile; null for a type without a
// class in this build or out of memory.
[[nodiscard]] NxMediaFileBase* CreateMediaFile(NxFileType type);
// The type whose image extension is the text after the last "." of `path`, any case; none if there
// is no "." or no class.
[[nodiscard]] NxFileType MediaTypeOfPath(NxText path, bool wide);
// Returns the object through the release function of its class. Null is allowed.
void ReleaseMediaFile(NxMediaFileBase* file);

struct MediaFileReleaser {
  void operator()(NxMediaFileBase* file) const { ReleaseMediaFile(file); }
};
using MediaFilePtr = std::unique_ptr<NxMediaFileBase, MediaFileReleaser>;

// Opens the clip at `path` for reading, unbuffered. `knownFrames` above 0 is handed to the class in
// `info->frameCount`; nobody counts less for it.
// Returns: 0 with `file` open and `info` filled; else the code of OpenRead (100005 where no class
// claims the extension, -2 for a clip without frames) with `file` null.
NxErr OpenMediaClip(NxText path, bool wantAudio, NxText audioFolder, int32_t knownFrames, bool wide,
                    NxMediaFileInfo* info, MediaFilePtr* file);
// Opens a sound file (extension "wav") with the tracks beside it.
NxErr OpenMediaSound(NxText path, bool wide, NxMediaFileInfo* info, MediaFilePtr* file);

// Start and stop of the media layer; counted. Threads: main.
NxErr NxMediaFileInit();
void NxMediaFileDeinit();

}  // namespace morvane
