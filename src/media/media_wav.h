#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "media/media_file_base.h"
#include "media/riff_wave.h"

namespace morvane {

// One to sixteen mono or stereo WAV files, one a track, all of one format: the sound of every
// sequence and AVI clip, and a clip type in its own right. Track 1 is "clip.wav", track 2
// "clip_A2.wav". Sound is addressed by picture frame at a picture rate.
// OpenRead takes a clip name without extension and its folder; a name that ends in "_A" and digits
// starts at that track. CreateWrite likewise takes `name` and `audioFolder`.
// While writing, the sizes in the files are brought up to date every second, so that a clip whose
// writer died still opens.
class NxMediaWAV : public NxMediaFileBase {
 public:
  NxMediaWAV();
  ~NxMediaWAV() override;

  // Returns: 0; 10002; 1; 100006 if no track opens; 100001 for a first track in a format that is
  // not ours.
  NxErr OpenRead(NxText name, bool wantAudio, NxText folder, NxMediaFileInfo* info,
                 uint32_t createMode, uint32_t accessFlags, uint32_t options, bool wide) override;
  NxErr ReadImage(NxImageReadRequest* request) override;
  NxErr ReadAudio(NxAudioReadRequest* request) override;
  NxErr ReadTimecode(int32_t frame, NxTimeCodeRecord* record) override;
  NxErr GetMetadata(NxMediaMetadata* metadata) override;
  NxErr GetReadInfo(NxMediaFileInfo* info) override;
  NxErr GetChannelNameW(int32_t file, int32_t channel, char16_t* name) override;
  NxErr GetChannelName(int32_t file, int32_t channel, char* name) override;
  NxErr CreateWrite(NxText name, NxText startNumberText, NxText folder, NxText audioFolder,
                    NxMediaCreateInfo* info, uint32_t createMode, uint32_t accessFlags,
                    bool wide) override;
  NxErr WriteImage(NxImageWriteRequest* request) override;
  NxErr WriteAudio(NxAudioWriteRequest* request) override;
  NxErr WriteReserved() override { return NxErrUnsupportedRequest; }
  NxErr SetMetadata(const NxMediaMetadata* metadata) override;
  NxErr GetWriteInfo(NxMediaCreateInfo* info) override;
  [[nodiscard]] int32_t GetFrameCount() const override;
  [[nodiscard]] uint64_t GetAudioSampleCount(int32_t file) const override;
  NxErr GetImageFileName(char* name) const override;
  NxErr GetImageFileNameW(char16_t* name) const override;
  [[nodiscard]] NxFileHandle* GetImageFileHandle() override { return nullptr; }
  NxErr GetAudioFileName(int32_t file, char* name) const override;
  NxErr GetAudioFileNameW(int32_t file, char16_t* name) const override;
  [[nodiscard]] NxFileHandle* GetAudioFileHandle(int32_t file) override;
  [[nodiscard]] int32_t GetAudioFrameCount(int32_t file, int32_t timeScale,
                                           int32_t timeRate) const override;
  NxErr SetFilesOpen(bool open) override;
  NxErr Close() override;
  NxErr DeleteFile() override;
  NxErr DeleteAllFiles() override;
  NxErr GetClipStyles(uint8_t styles[4]) const override;
  [[nodiscard]] int32_t GetNumImageWriteFormats() const override;
  NxErr GetImageWriteFormatDescription(int32_t index,
                                       NxImageWriteFormatDescription* format) const override;
  [[nodiscard]] int32_t GetNumAudioWriteFormats() const override;
  NxErr GetAudioWriteFormatDescription(int32_t index,
                                       NxAudioWriteFormatDescription* format) const override;
  [[nodiscard]] int32_t GetMaxAudioFiles(int32_t index) const override;
  [[nodiscard]] int32_t GetAudioFormatChannels(int32_t index) const override;
  NxErr GetMetadataCaps(uint8_t caps[kMetadataCapsBytes]) const override;
  NxErr GetMediaImageExtensionW(char16_t* text) const override;
  NxErr GetMediaImageExtension(char* text) const override;
  NxErr GetMediaAudioExtensionW(char16_t* text) const override;
  NxErr GetMediaAudioExtension(char* text) const override;
  NxErr GetMediaNameW(char16_t* text) const override;
  NxErr GetMediaName(char* text) const override;

 private:
  struct Track {
    std::string path;
    RiffWaveFile file;
    uint64_t samples = 0;  // sample frames when reading; writes done when writing
    int32_t lastFrame = kNoFrame;
    uint64_t position = 0;  // where in the samples' bytes the next read begins
    int32_t timeScale = 0;  // rate of the last read
    int32_t timeRate = 0;
  };
  static constexpr int32_t kNoFrame = -10;

  void Reset();
  [[nodiscard]] bool IsOpen() const { return isOpenRead_ || isOpenWrite_; }
  [[nodiscard]] const NxMediaAudioInfo* Audio() const;
  // writing (media_wav_write.cpp)
  NxErr CreateTracks(const std::string& folder, const std::string& name, uint32_t createMode);
  NxErr FlushTracks();
  NxErr CloseWriting();
  void DiscardTracks();
  // reading (media_wav_read.cpp)
  NxErr OpenTracks(const std::string& folder, const std::string& name, int32_t wanted);
  NxErr OpenTrack(const std::string& stem, Track* track);
  void ReadMetadataTail();

  std::unique_ptr<NxMediaFileInfo> readInfo_;
  std::unique_ptr<NxMediaCreateInfo> writeInfo_;
  bool isOpenRead_ = false;
  bool isOpenWrite_ = false;
  bool hasAudio_ = false;
  bool anyWritten_ = false;
  int64_t flushedNs_ = 0;  // when the sizes in the files were last brought up to date
  std::string folder_;
  Track tracks_[kMaxAudioFiles];
};

// Samples per channel before picture frame `frame` at `timeScale`/`timeRate`; sampleRate 48000 or
// 96000. Rates without a row of their own count as 60000/1001.
[[nodiscard]] uint64_t AudioSamplesBefore(int64_t frame, int32_t timeScale, int32_t timeRate,
                                          double sampleRate);
// True for a rate that has a row of its own there.
[[nodiscard]] bool HasAudioCadence(int32_t timeScale, int32_t timeRate);
// The inverse: whole picture frames that `samples` cover.
[[nodiscard]] int32_t AudioFramesIn(uint64_t samples, int32_t timeScale, int32_t timeRate,
                                    double sampleRate);
// The sixteen formats that can be written; index 0..15.
inline constexpr int kAudioFormatCount = 16;
[[nodiscard]] NxMediaAudioInfo AudioFormatRow(int index);

}  // namespace morvane
