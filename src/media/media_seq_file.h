#pragma once

#include <algorithm>

#include "media/media_seq.h"

namespace morvane {

// NxMediaFileBase over NxMediaSeq: what every still-image class derives from, to which it adds the
// hooks. The two parts stand in the order given: NxMediaBMP has its NxMediaSeq part first, all
// others their NxMediaFileBase part.
template <typename First, typename Second>
class NxMediaSeqFile : public First, public Second {
 public:
  NxErr OpenRead(NxText path, bool wantAudio, NxText audioFolder, NxMediaFileInfo* info,
                 uint32_t createMode, uint32_t accessFlags, uint32_t options, bool wide) override {
    return NxMediaSeq::OpenRead(path, wantAudio, audioFolder, info, createMode, accessFlags,
                                options, wide);
  }
  NxErr ReadImage(NxImageReadRequest* request) override { return NxMediaSeq::ReadImage(request); }
  NxErr ReadAudio(NxAudioReadRequest* request) override { return NxMediaSeq::ReadAudio(request); }
  NxErr ReadTimecode(int32_t frame, NxTimeCodeRecord* record) override {
    return NxMediaSeq::ReadTimecode(frame, record);
  }
  NxErr GetMetadata(NxMediaMetadata* metadata) override {
    return NxMediaSeq::GetMetadata(metadata);
  }
  NxErr GetReadInfo(NxMediaFileInfo* info) override { return NxMediaSeq::GetReadInfo(info); }
  NxErr GetChannelNameW(int32_t file, int32_t channel, char16_t* name) override {
    return NxMediaSeq::GetChannelNameW(file, channel, name);
  }
  NxErr GetChannelName(int32_t file, int32_t channel, char* name) override {
    return NxMediaSeq::GetChannelName(file, channel, name);
  }
  NxErr ReduceToStill() override { return NxMediaSeq::ReduceToStill(); }
  NxErr CreateWrite(NxText name, NxText startNumberText, NxText folder, NxText audioFolder,
                    NxMediaCreateInfo* info, uint32_t createMode, uint32_t accessFlags,
                    bool wide) override {
    return NxMediaSeq::CreateWrite(name, startNumberText, folder, audioFolder, info, createMode,
                                   accessFlags, wide);
  }
  NxErr WriteImage(NxImageWriteRequest* request) override {
    return NxMediaSeq::WriteImage(request);
  }
  NxErr WriteAudio(NxAudioWriteRequest* request) override {
    return NxMediaSeq::WriteAudio(request);
  }
  NxErr WriteReserved() override { return NxMediaSeq::WriteReserved(); }
  NxErr SetMetadata(const NxMediaMetadata* metadata) override {
    return NxMediaSeq::SetMetadata(metadata);
  }
  NxErr GetWriteInfo(NxMediaCreateInfo* info) override { return NxMediaSeq::GetWriteInfo(info); }
  [[nodiscard]] int32_t GetFrameCount() const override { return NxMediaSeq::GetFrameCount(); }
  [[nodiscard]] uint64_t GetAudioSampleCount(int32_t file) const override {
    return NxMediaSeq::GetAudioSampleCount(file);
  }
  NxErr GetImageFileName(char* name) const override { return NxMediaSeq::GetImageFileName(name); }
  NxErr GetImageFileNameW(char16_t* name) const override {
    return NxMediaSeq::GetImageFileNameW(name);
  }
  [[nodiscard]] NxFileHandle* GetImageFileHandle() override {
    return NxMediaSeq::GetImageFileHandle();
  }
  NxErr GetAudioFileName(int32_t file, char* name) const override {
    return NxMediaSeq::GetAudioFileName(file, name);
  }
  NxErr GetAudioFileNameW(int32_t file, char16_t* name) const override {
    return NxMediaSeq::GetAudioFileNameW(file, name);
  }
  [[nodiscard]] NxFileHandle* GetAudioFileHandle(int32_t file) override {
    return NxMediaSeq::GetAudioFileHandle(file);
  }
  [[nodiscard]] int32_t GetAudioFrameCount(int32_t file, int32_t timeScale,
                                           int32_t timeRate) const override {
    return NxMediaSeq::GetAudioFrameCount(file, timeScale, timeRate);
  }
  NxErr SetFilesOpen(bool open) override { return NxMediaSeq::SetFilesOpen(open); }
  NxErr Close() override { return NxMediaSeq::Close(); }
  NxErr DeleteFile() override { return NxMediaSeq::DeleteFile(); }
  NxErr DeleteAllFiles() override { return NxMediaSeq::DeleteAllFiles(); }
  NxErr GetClipStyles(uint8_t styles[4]) const override {
    return NxMediaSeq::GetClipStyles(styles);
  }
  [[nodiscard]] int32_t GetNumAudioWriteFormats() const override {
    return NxMediaSeq::GetNumAudioWriteFormats();
  }
  NxErr GetAudioWriteFormatDescription(int32_t index,
                                       NxAudioWriteFormatDescription* format) const override {
    return NxMediaSeq::GetAudioWriteFormatDescription(index, format);
  }
  [[nodiscard]] int32_t GetMaxAudioFiles(int32_t index) const override {
    return NxMediaSeq::GetMaxAudioFiles(index);
  }
  [[nodiscard]] int32_t GetAudioFormatChannels(int32_t index) const override {
    return NxMediaSeq::GetAudioFormatChannels(index);
  }
  NxErr GetMediaImageExtensionW(char16_t* text) const override {
    return NxMediaSeq::GetMediaImageExtensionW(text);
  }
  NxErr GetMediaImageExtension(char* text) const override {
    return NxMediaSeq::GetMediaImageExtension(text);
  }
  NxErr GetMediaAudioExtensionW(char16_t* text) const override {
    return NxMediaSeq::GetMediaAudioExtensionW(text);
  }
  NxErr GetMediaAudioExtension(char* text) const override {
    return NxMediaSeq::GetMediaAudioExtension(text);
  }

  [[nodiscard]] int32_t GetNumImageWriteFormats() const override {
    return static_cast<int32_t>(this->WriteFormats().size());
  }
  NxErr GetImageWriteFormatDescription(int32_t index,
                                       NxImageWriteFormatDescription* format) const override {
    return DescribeImageFormat(this->WriteFormats(), index, format);
  }
  NxErr GetMediaNameW(char16_t* text) const override {
    PutText(this->MediaName(), text, kFormatNameChars);
    return NxErrSuccess;
  }
  NxErr GetMediaName(char* text) const override {
    PutText(this->MediaName(), text, kFormatNameChars);
    return NxErrSuccess;
  }
  // What most of the classes say: only the third is set.
  NxErr GetMetadataCaps(uint8_t caps[kMetadataCapsBytes]) const override {
    std::fill_n(caps, kMetadataCapsBytes, uint8_t{0});
    caps[2] = 1;
    return NxErrSuccess;
  }
};

}  // namespace morvane
