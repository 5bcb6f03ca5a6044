#include "media/media_factory.h"

#include <algorithm>
#include <new>

#include "media/bmp.h"
#include "media/cin.h"
#include "media/data_vyr.h"
#include "media/dpx.h"
#include "media/media_wav.h"
#include "media/media_yuv.h"
#include "media/seq_names.h"
#include "media/tga.h"
#include "media/tif.h"

namespace morvane {
namespace {

constexpr uint32_t kClipAccess = kAccessUnbuffered | kAccessRead | kAccessShareRead;
constexpr uint32_t kFrameCountKnown = 0x40;

int g_users = 0;

// The text after the last ".", in small letters; empty if there is none.
std::string ExtensionOf(const std::string& path) {
  const size_t dot = path.rfind('.');
  std::string extension = dot == std::string::npos ? std::string() : path.substr(dot + 1);
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return extension;
}

}  // namespace

NxMediaFileBase* CreateMediaFile(NxFileType type) {
  switch (type) {
    case NxFileTypeDPX:
      return new (std::nothrow) NxMediaDPX;
    case NxFileTypeCIN:
      return new (std::nothrow) NxMediaCIN;
    case NxFileTypeTGA:
      return new (std::nothrow) NxMediaTGA;
    case NxFileTypeBMP:
      return new (std::nothrow) NxMediaBMP;
    case NxFileTypeTIF:
      return new (std::nothrow) NxMediaTIF;
    case NxFileTypeYUV:
      return new (std::nothrow) NxMediaYUV;
    default:
      return nullptr;
  }
}

NxFileType MediaTypeOfPath(NxText path, bool wide) {
  std::string name;
  if (!path.ToUtf8(wide, &name)) return NxFileTypeNone;
  const std::string wanted = ExtensionOf(name);
  if (wanted.empty()) return NxFileTypeNone;
  for (int type = 0; type < kNxFileTypeCount; ++type) {
    const MediaFilePtr file(CreateMediaFile(static_cast<NxFileType>(type)));
    char extension[kFormatNameChars];
    if (file == nullptr || file->GetMediaImageExtension(extension) != NxErrSuccess) continue;
    if (wanted == extension) return static_cast<NxFileType>(type);
  }
  return NxFileTypeNone;
}

void ReleaseMediaFile(NxMediaFileBase* file) {
  delete file;
}

NxErr OpenMediaClip(NxText path, bool wantAudio, NxText audioFolder, int32_t knownFrames, bool wide,
                    NxMediaFileInfo* info, MediaFilePtr* file) {
  file->reset();
  if (info == nullptr) return NxErrInvalidParameter;
  *info = {};
  MediaFilePtr clip(CreateMediaFile(MediaTypeOfPath(path, wide)));
  if (clip == nullptr) return NxErrOpenVideoFile;
  uint32_t access = kClipAccess;
  if (knownFrames > 0) {
    access |= kFrameCountKnown;
    info->frameCount = knownFrames;
  }
  const NxErr result =
      clip->OpenRead(path, wantAudio, audioFolder, info, kOpenExisting, access, 0, wide);
  if (result != NxErrSuccess) return result;
  if (info->frameCount == 0) {
    (void)clip->Close();
    return NxErrFailure;
  }
  *file = std::move(clip);
  return NxErrSuccess;
}

NxErr OpenMediaSound(NxText path, bool wide, NxMediaFileInfo* info, MediaFilePtr* file) {
  file->reset();
  std::string name;
  if (info == nullptr) return NxErrInvalidParameter;
  *info = {};
  if (!path.ToUtf8(wide, &name) || ExtensionOf(name) != "wav") return NxErrOpenAudioFile;
  MediaFilePtr sound(new (std::nothrow) NxMediaWAV);
  if (sound == nullptr) return NxErrOutOfMemory;
  const std::string stem = FileOfPath(name.substr(0, name.size() - kFrameSuffixChars));
  const NxErr result = sound->OpenRead(stem, true, FolderOfPath(name), info, kOpenExisting,
                                       kAccessRead | kAccessShareRead, 0, false);
  if (result == NxErrSuccess) *file = std::move(sound);
  return result;
}

NxErr NxMediaFileInit() {
  if (g_users++ == 0) NxDataVYRInit();
  return NxErrSuccess;
}

void NxMediaFileDeinit() {
  if (g_users == 0) return;
  if (--g_users == 0) NxDataVYRDeinit();
}

}  // namespace morvane
