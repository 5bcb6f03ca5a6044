#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/page_memory.h"
#include "media/frame_source.h"
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
  // Reads a frame's header into `info`, whose numbers that a file may leave unknown are -1 and all
  // else zero: the head's picture fields and what metadata the file has. `first` is clear for the
  // check of a later frame. frameBytes is computed by the caller unless set.
  // Returns: 0; 100000 for a picture that is not ours; -2 or a read error.
  virtual NxErr ParseFrame(FrameSource* source, bool first, NxMediaFileInfo* info) = 0;
  // True if a later frame's header belongs to the clip.
  [[nodiscard]] virtual bool SameFrame(const NxMediaFileInfo& first,
                                       const NxMediaFileInfo& now) const;
  // False where the file's bytes are not its pixels; then ReadUnpacked brings them.
  [[nodiscard]] virtual bool PixelsAreStored() const { return true; }
  // Reads a whole frame, header room included, to `frame` (frameBytes); what the file lacks is
  // zeroed. Called only with pixels that are not simply stored.
  virtual NxErr ReadUnpacked(FrameSource* source, const NxMediaFileInfo& info, uint8_t* frame);
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
  // a * b as a number of 31 bits; false when it does not fit.
  [[nodiscard]] static bool SizeProduct(int64_t a, int64_t b, int32_t* product);
  // Reads the first `bytes` of the file of `frame`; what it lacks is 0xFF.
  // Returns: 0; -2 for a frame that the clip does not have, or whose file is none of its own; else
  // the code of the open or the read.
  NxErr ReadFrameHeader(int32_t frame, size_t bytes, uint8_t* header);
  [[nodiscard]] const NxMediaFileInfo* ReadInfo() const { return readInfo_.get(); }
  [[nodiscard]] const NxMediaCreateInfo* WriteInfo() const { return writeInfo_.get(); }

 private:
  [[nodiscard]] bool IsOpen() const { return isOpenRead_ || isOpenWrite_; }
  void Reset();
  void CloseFiles();
  // names (media_seq_names.cpp)
  [[nodiscard]] std::string NameOfNumber(int64_t number) const;
  void ParseNumber();
  NxErr CountFrames(bool singleFile);
  [[nodiscard]] std::string AudioBaseName() const;
  // opening (media_seq_open.cpp, media_seq_create.cpp)
  NxErr OpenFirst();
  NxErr ApplySidecar();
  void OpenAudio(const std::string& audioFolder, uint32_t options);
  NxErr PlanPicture();
  NxErr CreateFirst(NxText name, NxText startNumberText, NxText folder, bool wide);
  NxErr CreateAudio(NxText name, NxText audioFolder, bool wide);
  // pictures (media_seq_read.cpp, media_seq_write.cpp)
  NxErr OpenFrame(const NxImageReadRequest& request, int32_t frame, NxFileHandle** handle);
  void LeaveFrame(NxFileHandle* handle);
  bool FrameIsGood(FrameSource* source);
  NxErr LoadFrame(NxFileHandle* handle, uint8_t* frame, bool* good);
  NxErr ReadWhole(NxFileHandle* handle, NxImageReadRequest* request);
  NxErr ReadRectangle(NxFileHandle* handle, NxImageReadRequest* request);
  NxErr ReadConverted(NxFileHandle* handle, NxImageReadRequest* request);
  [[nodiscard]] uint8_t* Scratch(void* offered, int32_t offeredBytes, size_t bytes);
  [[nodiscard]] bool MayGoDirectly(const NxImageWriteRequest& request) const;
  NxErr FillFrame(const NxImageWriteRequest& request, uint8_t* frame);
  NxErr WriteFirst(const std::string* exactName, const uint8_t* frame);
  NxErr WriteNext(const std::string* exactName, int32_t frame, const uint8_t* data);
  void CloseSlot(NxFileHandle* file);
  NxErr PutFrame(NxFileHandle* handle, const std::string& path, const uint8_t* frame);
  // closing (media_seq_close.cpp)
  void WriteSidecar();
  NxErr SyncWritten();
  NxErr RewriteSidecar(const NxMediaMetadata& metadata);
  [[nodiscard]] std::vector<std::string> FilesToDelete() const;
  void DeleteAudio();

  // Set at open and create, constant until Close.
  std::unique_ptr<NxMediaFileInfo> readInfo_;
  std::unique_ptr<NxMediaCreateInfo> writeInfo_;
  uint32_t createMode_ = 0;  // as given; used for every frame file
  uint32_t accessFlags_ = 0;
  std::string firstPath_;  // full path of the first frame
  std::unique_ptr<NxMediaWAV> audio_;
  bool isOpenRead_ = false;
  bool isOpenWrite_ = false;
  bool hasImage_ = false;
  bool hasAudio_ = false;
  bool overlapped_ = false;   // a frame's file stays open until its slot is used again
  int64_t firstNumber_ = -1;  // in the first file's name; -1 if it has none
  int64_t startNumber_ = 0;   // at which writing starts
  int32_t digitCount_ = 0;
  int32_t frameCountRead_ = 0;
  int32_t frameCountKept_ = 0;  // kept after Close for deletion
  // The picture thread's.
  NxFileHandle imageFile_;  // the first frame's
  NxFileHandle ring_[kFrameRingSlots];
  int32_t ringIndex_ = 0;
  int32_t framesWritten_ = 0;
  PageBuffer scratch_;
  // What this object made, for syncing and deletion: the first frame's file if `firstMade_`, files
  // by number, files by exact name, the sidecar.
  bool isWriter_ = false;  // stays after Close
  bool firstMade_ = false;
  bool sidecarMade_ = false;
  bool slotFailed_ = false;  // a slot of the ring could not be closed while writing
  std::vector<int64_t> numbersMade_;
  std::vector<std::string> namesMade_;
};

}  // namespace morvane
