#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/page_memory.h"
#include "media/media_file_base.h"
#include "media/media_wav.h"

namespace morvane {

inline constexpr int32_t kSectorBytes = 512;
inline constexpr int kFrameRingSlots = 5;

// One row of a class's table of what it can write.
struct SeqWriteFormat {
  FourCCCode fourcc;
  const char* name;
  uint32_t orientation;
  uint32_t bitDepth;
};
// Fills `format` from row `index`. Returns: 0; 1 for a bad index or a null `format`.
NxErr DescribeImageFormat(std::span<const SeqWriteFormat> rows, int32_t index,
                          NxImageWriteFormatDescription* format);

// The second base class of the still-image formats: turns one file per frame into a clip. Names,
// counting, the ring of open frame files, sound, the sidecar, and the way of a picture between the
// caller's buffer and its file all stand here; a format class only describes its header and, where
// its pixels are not simply stored, reads them (the hooks below).
// Rules: a frame is written with one call, header in front of the pixels; a frame whose file does
// not match the first one reads as zeros; a failed write leaves no file and does not count; names
// of a clip being written are startNumber + frame, laid over the tail of the first name.
// Results and threads as NxMediaFileBase. The first 34 operations stand in their fixed order.
class NxMediaSeq {
 public:
  NxMediaSeq() = default;
  NxMediaSeq(const NxMediaSeq&) = delete;
  NxMediaSeq& operator=(const NxMediaSeq&) = delete;

  virtual NxErr OpenRead(NxText path, bool wantAudio, NxText audioFolder, NxMediaFileInfo* info,
                         uint32_t createMode, uint32_t accessFlags, uint32_t options, bool wide);
  virtual NxErr ReduceToStill();
  virtual NxErr ReadAudio(NxAudioReadRequest* request);
  virtual NxErr ReadTimecode(int32_t frame, NxTimeCodeRecord* record);
  virtual NxErr GetMetadata(NxMediaMetadata* metadata);
  virtual NxErr GetReadInfo(NxMediaFileInfo* info);
  virtual NxErr GetChannelNameW(int32_t file, int32_t channel, char16_t* name);
  virtual NxErr GetChannelName(int32_t file, int32_t channel, char* name);
  virtual NxErr WriteAudio(NxAudioWriteRequest* request);
  virtual NxErr WriteReserved() { return NxErrSuccess; }
  virtual NxErr SetMetadata(const NxMediaMetadata* metadata);
  virtual NxErr GetWriteInfo(NxMediaCreateInfo* info);
  [[nodiscard]] virtual int32_t GetFrameCount() const;
  [[nodiscard]] virtual uint64_t GetAudioSampleCount(int32_t file) const;
  virtual NxErr GetImageFileName(char* name) const;
  virtual NxErr GetImageFileNameW(char16_t* name) const;
  [[nodiscard]] virtual NxFileHandle* GetImageFileHandle();
  virtual NxErr GetAudioFileName(int32_t file, char* name) const;
  virtual NxErr GetAudioFileNameW(int32_t file, char16_t* name) const;
  [[nodiscard]] virtual NxFileHandle* GetAudioFileHandle(int32_t file);
  [[nodiscard]] virtual int32_t GetAudioFrameCount(int32_t file, int32_t timeScale,
                                                   int32_t timeRate) const;
  virtual NxErr SetFilesOpen(bool open);
  virtual NxErr Close();
  virtual NxErr GetClipStyles(uint8_t styles[4]) const;
  [[nodiscard]] virtual int32_t GetNumAudioWriteFormats() const;
  virtual NxErr GetAudioWriteFormatDescription(int32_t index,
                                               NxAudioWriteFormatDescription* format) const;
  [[nodiscard]] virtual int32_t GetMaxAudioFiles(int32_t index) const;
  [[nodiscard]] virtual int32_t GetAudioFormatChannels(int32_t index) const;
  virtual NxErr GetMediaAudioExtensionW(char16_t* text) const;
  virtual NxErr GetMediaAudioExtension(char* text) const;
  virtual NxErr DeleteFile();
  virtual NxErr DeleteAllFiles();
  virtual NxErr GetMediaImageExtensionW(char16_t* text) const;
  virtual NxErr GetMediaImageExtension(char* text) const;

  // Shared by all formats: the picture half of NxMediaFileBase.
  virtual NxErr CreateWrite(NxText name, NxText startNumberText, NxText folder, NxText audioFolder,
                            NxMediaCreateInfo* info, uint32_t createMode, uint32_t accessFlags,
                            bool wide);
  virtual NxErr WriteImage(NxImageWriteRequest* request);
  virtual NxErr ReadImage(NxImageReadRequest* request);

 protected:
  virtual ~NxMediaSeq();

  // ---- what a format class says -----------------------------------------------------------
  [[nodiscard]] virtual const char* ImageExtension() const = 0;  // "dpx"
  [[nodiscard]] virtual const char* MediaName() const = 0;       // "DPX Sequence"
  [[nodiscard]] virtual std::span<const SeqWriteFormat> WriteFormats() const = 0;
  // Checks fourcc, orientation and size of a clip to be written, fills bitDepth, name (PutName),
  // imageBytes, imageOffset, linePixels and linePitch, and makes the header for FrameHeader.
  // `frameBytes` is computed by the caller unless set. Returns: 0 or 100000.
  virtual NxErr PlanWrite(NxMediaCreateInfo* info) = 0;
  // The `imageOffset` bytes before the pixels, for a frame with this timecode.
  virtual const uint8_t* FrameHeader([[maybe_unused]] const NxTimeCodeRecord& timeCode) {
    return nullptr;
  }
  // Reads the header of `file` (open for reading, `bytes` long) into a zeroed `info`: the head's
  // picture fields and what metadata the file has. `first` is clear for the check of a later frame.
  // frameBytes is computed by the caller unless set. Returns: 0; 100000, -2, or a read error.
  virtual NxErr ParseFrame(NxFileHandle* file, uint64_t bytes, bool first,
                           NxMediaFileInfo* info) = 0;
  // True if a later frame's header belongs to the clip.
  [[nodiscard]] virtual bool SameFrame(const NxMediaFileInfo& first,
                                       const NxMediaFileInfo& now) const;
  // False where the file's bytes are not its pixels; then ReadStored brings them.
  [[nodiscard]] virtual bool PixelsAreStored() const { return true; }
  // Reads a whole frame, header included, to `frame` (frameBytes). What the file lacks is zeroed.
  virtual NxErr ReadStored(NxFileHandle* file, const NxMediaFileInfo& info, uint8_t* frame);
  // The format in which pixels go to the file: `flags` bit 0 asks for the full-range twin.
  [[nodiscard]] virtual FourCCCode StoredFourcc(FourCCCode fourcc, uint32_t flags) const;
  // After a conversion into the file's format, before the write.
  virtual void FinishPixels([[maybe_unused]] FourCCCode source, [[maybe_unused]] uint8_t* pixels) {}
  // Length of a written frame's file.
  [[nodiscard]] virtual uint64_t StoredBytes(const NxMediaCreateInfo& info) const {
    return static_cast<uint64_t>(info.frameBytes);
  }
  // Of the format in the file; 4:2:2 counts 2.
  [[nodiscard]] virtual int32_t BytesPerPixel() const = 0;

  // ---- help for the hooks -----------------------------------------------------------------
  static void PutName(NxMediaInfoHead* head, const char* name);
  // a * b and a * b + c as a positive 31-bit number; false when it does not fit.
  [[nodiscard]] static bool SizeProduct(int64_t a, int64_t b, int32_t* product);
  [[nodiscard]] const NxMediaFileInfo* ReadInfo() const { return readInfo_.get(); }
  [[nodiscard]] const NxMediaCreateInfo* WriteInfo() const { return writeInfo_.get(); }

 private:
  struct FrameFile {  // the file of one frame for the length of a call
    NxFileHandle* handle = nullptr;
    std::string path;
    bool inRing = false;
  };

  [[nodiscard]] bool IsOpen() const { return isOpenRead_ || isOpenWrite_; }
  void Reset();
  void ClearState();
  // names (media_seq_names.cpp)
  [[nodiscard]] std::string NameOfNumber(int64_t number) const;
  [[nodiscard]] std::string NameOfFrame(int32_t frame) const;
  [[nodiscard]] static std::string SidecarOfFrame(const std::string& path);
  [[nodiscard]] static std::string SidecarToFind(const std::string& path);
  void ParseNumber(const std::string& path);
  NxErr SeqOpenRead(const std::string& path, bool singleFile);
  [[nodiscard]] std::string AudioBaseName() const;
  // opening (media_seq_open.cpp)
  NxErr OpenFirst(const std::string& path);
  NxErr ApplySidecar();
  void OpenAudio(bool wantAudio, const std::string& audioFolder, uint32_t options);
  NxErr SeqCreate(const std::string& name, const std::string* startNumber,
                  const std::string& folder, NxText clipName, NxText audioFolder,
                  NxMediaCreateInfo* info);
  NxErr CreateAudio(NxText clipName, NxText audioFolder, NxMediaCreateInfo* info);
  NxErr FailCreate(NxErr code);
  // pictures (media_seq_read.cpp, media_seq_write.cpp)
  NxErr OpenFrameFile(const NxImageReadRequest& request, FrameFile* file);
  void LeaveFrameFile(FrameFile* file, bool failed);
  bool FrameIsGood(FrameFile* file);
  NxErr ReadSameFormat(FrameFile* file, NxImageReadRequest* request);
  NxErr ReadRectangle(FrameFile* file, NxImageReadRequest* request);
  NxErr ReadConverted(FrameFile* file, NxImageReadRequest* request);
  NxErr FillFrame(NxImageWriteRequest* request, uint8_t* frame);
  NxErr WriteFrameFile(const NxImageWriteRequest& request, const uint8_t* frame);
  NxErr PutFrame(NxFileHandle* handle, const uint8_t* frame);
  void KeepFirstTimecode(const NxTimeCodeRecord& timeCode);
  // closing (media_seq_close.cpp)
  void WriteSidecar();
  void SyncWritten();
  NxErr RewriteSidecar(const NxMediaMetadata& metadata);
  NxErr RemoveAudio();

  std::unique_ptr<NxMediaFileInfo> readInfo_;
  std::unique_ptr<NxMediaCreateInfo> writeInfo_;
  uint32_t createMode_ = 0;  // as given at open or create; used for every frame file
  uint32_t accessFlags_ = 0;
  std::string firstPath_;  // full path of the first frame
  NxFileHandle imageFile_;
  std::unique_ptr<NxMediaWAV> audio_;
  bool isOpenRead_ = false;
  bool isOpenWrite_ = false;
  bool hasImage_ = false;
  bool hasAudio_ = false;
  int32_t ringIndex_ = 0;
  NxFileHandle ring_[kFrameRingSlots];
  std::string suffix_;        // "." and the extension as the opened path spells it
  int64_t firstNumber_ = -1;  // in the first file's name; -1 if it has none
  int64_t startNumber_ = 0;   // at which writing starts
  int32_t digitCount_ = 0;
  int32_t framesWritten_ = 0;
  int32_t frameCountRead_ = 0;
  int32_t frameCountKept_ = 0;  // kept after Close for deletion
  bool overlapped_ = false;
  bool wide_ = false;
  bool sidecarWritten_ = false;
  std::vector<std::string> written_;  // frame files of this clip, for syncing and deletion
};

}  // namespace morvane
