#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "media/media_file_base.h"

namespace morvane::test {

// A file object that keeps what it is given, and fails where a test says so.
class RecordingFile : public NxMediaFileBase {
 public:
  struct Picture {
    std::vector<uint8_t> pixels;
    NxTimeCodeRecord timeCode;
    ptrdiff_t headerRoom;  // bytes from the header buffer to the pixels
  };
  struct Sound {
    int32_t file;
    std::vector<uint8_t> bytes;
    NxTimeCodeRecord timeCode;
  };
  std::vector<Picture> pictures;
  std::vector<Sound> sounds;
  std::vector<int32_t> checked;   // frames that CheckFrameWritten was asked for
  int failPictureFrom = 1 << 30;  // count of the first picture that fails
  int failPictureTo = 1 << 30;    // and of the first that works again
  int failError = 0;              // errno that it leaves
  int pictureCalls = 0;
  bool refuseSound = false;

  NxErr WriteImage(NxImageWriteRequest* request) override {
    const int call = pictureCalls++;
    if (call >= failPictureFrom && call < failPictureTo) {
      errno = failError;
      return NxErrFailure;
    }
    const auto* pixels = static_cast<const uint8_t*>(request->imageBuffer);
    const size_t bytes = static_cast<size_t>(request->pitch) * static_cast<size_t>(request->height);
    pictures.push_back({{pixels, pixels + bytes},
                        request->timeCode,
                        pixels - static_cast<const uint8_t*>(request->headerBuffer)});
    return NxErrSuccess;
  }
  NxErr WriteAudio(NxAudioWriteRequest* request) override {
    if (refuseSound) {
      errno = failError;
      return NxErrFailure;
    }
    const auto* bytes = static_cast<const uint8_t*>(request->buffer);
    sounds.push_back({request->file, {bytes, bytes + request->bytes}, request->timeCode});
    return NxErrSuccess;
  }
  NxErr CheckFrameWritten(int32_t frame) override {
    checked.push_back(frame);
    return frame < static_cast<int32_t>(pictures.size()) ? NxErrSuccess : NxErrFailure;
  }
  [[nodiscard]] int32_t GetFrameCount() const override {
    return static_cast<int32_t>(pictures.size());
  }

  // What no test of the writer asks for.
  NxErr OpenRead(NxText, bool, NxText, NxMediaFileInfo*, uint32_t, uint32_t, uint32_t,
                 bool) override {
    return NxErrFailure;
  }
  NxErr ReadImage(NxImageReadRequest*) override { return NxErrFailure; }
  NxErr ReadAudio(NxAudioReadRequest*) override { return NxErrFailure; }
  NxErr ReadTimecode(int32_t, NxTimeCodeRecord*) override { return NxErrFailure; }
  NxErr GetMetadata(NxMediaMetadata*) override { return NxErrFailure; }
  NxErr GetReadInfo(NxMediaFileInfo*) override { return NxErrFailure; }
  NxErr GetChannelNameW(int32_t, int32_t, char16_t*) override { return NxErrFailure; }
  NxErr GetChannelName(int32_t, int32_t, char*) override { return NxErrFailure; }
  NxErr CreateWrite(NxText, NxText, NxText, NxText, NxMediaCreateInfo*, uint32_t, uint32_t,
                    bool) override {
    return NxErrFailure;
  }
  NxErr SetMetadata(const NxMediaMetadata*) override { return NxErrFailure; }
  NxErr GetWriteInfo(NxMediaCreateInfo*) override { return NxErrFailure; }
  [[nodiscard]] uint64_t GetAudioSampleCount(int32_t) const override { return sounds.size(); }
  NxErr GetImageFileName(char*) const override { return NxErrFailure; }
  NxErr GetImageFileNameW(char16_t*) const override { return NxErrFailure; }
  [[nodiscard]] NxFileHandle* GetImageFileHandle() override { return nullptr; }
  NxErr GetAudioFileName(int32_t, char*) const override { return NxErrFailure; }
  NxErr GetAudioFileNameW(int32_t, char16_t*) const override { return NxErrFailure; }
  [[nodiscard]] NxFileHandle* GetAudioFileHandle(int32_t) override { return nullptr; }
  [[nodiscard]] int32_t GetAudioFrameCount(int32_t, int32_t, int32_t) const override { return 0; }
  NxErr SetFilesOpen(bool) override { return NxErrFailure; }
  NxErr Close() override { return NxErrSuccess; }
  NxErr DeleteFile() override { return NxErrSuccess; }
  NxErr DeleteAllFiles() override { return NxErrSuccess; }
  NxErr GetClipStyles(uint8_t*) const override { return NxErrFailure; }
  [[nodiscard]] int32_t GetNumImageWriteFormats() const override { return 0; }
  NxErr GetImageWriteFormatDescription(int32_t, NxImageWriteFormatDescription*) const override {
    return NxErrFailure;
  }
  [[nodiscard]] int32_t GetNumAudioWriteFormats() const override { return 0; }
  NxErr GetAudioWriteFormatDescription(int32_t, NxAudioWriteFormatDescription*) const override {
    return NxErrFailure;
  }
  [[nodiscard]] int32_t GetMaxAudioFiles(int32_t) const override { return 0; }
  [[nodiscard]] int32_t GetAudioFormatChannels(int32_t) const override { return 1; }
  NxErr GetMetadataCaps(uint8_t*) const override { return NxErrFailure; }
  NxErr GetMediaImageExtensionW(char16_t*) const override { return NxErrFailure; }
  NxErr GetMediaImageExtension(char*) const override { return NxErrFailure; }
  NxErr GetMediaAudioExtensionW(char16_t*) const override { return NxErrFailure; }
  NxErr GetMediaAudioExtension(char*) const override { return NxErrFailure; }
  NxErr GetMediaNameW(char16_t*) const override { return NxErrFailure; }
  NxErr GetMediaName(char*) const override { return NxErrFailure; }
};

}  // namespace morvane::test
