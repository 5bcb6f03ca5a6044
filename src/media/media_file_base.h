#pragma once

#include <cstdint>

#include "media/file_handle.h"
#include "media/media_records.h"
#include "media/media_requests.h"
#include "media/media_text.h"

namespace morvane {

// The one interface through which capture and playback read and write clips: a picture stream, up
// to sixteen audio files, a timecode and a block of metadata.
//
// States: closed, open for reading, open for writing. OpenRead and CreateWrite return 10002 unless
// closed, 1 for a null `info`; a failure leaves the object closed with everything freed and a file
// that was made deleted again. Close returns -2 if nothing is open; names stay known after it, so
// that a clip can still be deleted. Frames count from 0; one at or past the clip's end, or a
// negative one, reads frame 0.
// Reading order: OpenRead, GetReadInfo, PrepareDecoder, ReadImage / ReadAudio / ReadTimecode,
// ReleaseDecoder, Close. Writing order: CreateWrite, SetMetadata, per frame WriteImage then
// WriteAudio for each file, Close; DeleteAllFiles may follow.
// Texts come in two forms; `wide` at open or create picks one for that call. Buffers for file
// names hold kNxFileNameChars characters, for format names and extensions 64.
// Threads: no lock; one thread at a time, but one thread in ReadImage and one in ReadAudio may run
// together. SetFilesOpen comes from the user interface while the engine is idle.
// Release: never by delete; see ReleaseMediaFile (media/media_factory.h).
//
// The operations stand in their fixed order; new ones go behind the last.
class NxMediaFileBase {
 public:
  NxMediaFileBase() = default;
  NxMediaFileBase(const NxMediaFileBase&) = delete;
  NxMediaFileBase& operator=(const NxMediaFileBase&) = delete;
  virtual ~NxMediaFileBase() = default;

  // True only for a movie, which has a release function of its own.
  [[nodiscard]] virtual bool IsQuickTimeFile() const { return false; }
  // Opens the clip at `path`. `wantAudio` with an `audioFolder` looks for sound beside the
  // pictures, then in that folder. `createMode` kOpenExisting; `options` bit 0 opens one still of a
  // sequence without counting. Returns: 0 with `info` filled; 100005 if it cannot be read, 100000
  // if its picture format is not ours.
  virtual NxErr OpenRead(NxText path, bool wantAudio, NxText audioFolder, NxMediaFileInfo* info,
                         uint32_t createMode, uint32_t accessFlags, uint32_t options,
                         bool wide) = 0;
  virtual NxErr PrepareDecoder() { return NxErrSuccess; }
  virtual NxErr ReleaseDecoder() { return NxErrSuccess; }
  // Reads a frame. A frame that does not match the clip reads as zeros with result 0.
  // Returns: 0; 100007 when the buffer is below `frameBytes`; -2 not reading or null; 10003.
  virtual NxErr ReadImage(NxImageReadRequest* request) = 0;
  // Returns: 0; 1 for a bad file or null request; -2 with a zeroed buffer when nothing was read.
  virtual NxErr ReadAudio(NxAudioReadRequest* request) = 0;
  // Timecode of `frame`. Returns: 0, or -2 with the record zeroed if there is none.
  virtual NxErr ReadTimecode(int32_t frame, NxTimeCodeRecord* record) = 0;
  virtual NxErr GetMetadata(NxMediaMetadata* metadata) = 0;
  virtual NxErr GetReadInfo(NxMediaFileInfo* info) = 0;  // 1 with zeros if there is none
  // "Mono", "Stereo (Left)", "Stereo (Right)", else "Unknown" with result 1.
  virtual NxErr GetChannelNameW(int32_t file, int32_t channel, char16_t* name) = 0;
  virtual NxErr GetChannelName(int32_t file, int32_t channel, char* name) = 0;
  // Turns an open sequence into its first frame, silent.
  virtual NxErr ReduceToStill() { return NxErrSuccess; }
  // Makes clip `name` in `folder`, sound in `audioFolder`. `startNumberText` (null: "000000") is
  // the first frame's number as it shall stand. With kCreateNew nothing is ever overwritten.
  // Returns: 0 with `info` completed; 100000, 100001, 100002, 100003, 10003.
  virtual NxErr CreateWrite(NxText name, NxText startNumberText, NxText folder, NxText audioFolder,
                            NxMediaCreateInfo* info, uint32_t createMode, uint32_t accessFlags,
                            bool wide) = 0;
  // Writes a frame. Returns: 0; -2 not writing, null, or the write failed, and then the frame does
  // not count and no half-written file stays; a conversion's own code.
  virtual NxErr WriteImage(NxImageWriteRequest* request) = 0;
  virtual NxErr WriteAudio(NxAudioWriteRequest* request) = 0;  // 0, 1, -2
  virtual NxErr WriteReserved() { return NxErrSuccess; }
  // Merges the sections whose bits are set. Returns: 0, or -2 if none is set or it cannot be kept.
  virtual NxErr SetMetadata(const NxMediaMetadata* metadata) = 0;
  virtual NxErr GetWriteInfo(NxMediaCreateInfo* info) = 0;  // 1 with zeros if there is none
  virtual NxErr Reserved() { return NxErrSuccess; }
  virtual NxErr CheckFrameWritten([[maybe_unused]] int32_t frame) { return NxErrSuccess; }
  // Frames written while writing, else frames in the clip.
  [[nodiscard]] virtual int32_t GetFrameCount() const = 0;
  [[nodiscard]] virtual uint64_t GetAudioSampleCount(int32_t file) const = 0;
  // Full path of the movie or first frame; "None", or "Cannot Display Name".
  virtual NxErr GetImageFileName(char* name) const = 0;
  virtual NxErr GetImageFileNameW(char16_t* name) const = 0;
  [[nodiscard]] virtual NxFileHandle* GetImageFileHandle() = 0;
  virtual NxErr GetAudioFileName(int32_t file, char* name) const = 0;
  virtual NxErr GetAudioFileNameW(int32_t file, char16_t* name) const = 0;
  [[nodiscard]] virtual NxFileHandle* GetAudioFileHandle(int32_t file) = 0;
  // Picture frames that the sound covers; 0 for a file that is not there.
  [[nodiscard]] virtual int32_t GetAudioFrameCount(int32_t file, int32_t timeScale,
                                                   int32_t timeRate) const = 0;
  // Closes or reopens the handles; the clip stays open, reads fail in between.
  virtual NxErr SetFilesOpen(bool open) = 0;
  // Ends the session and completes headers; what was written is synced with its folder.
  virtual NxErr Close() = 0;
  virtual NxErr DeleteFile() = 0;      // movie, or first frame; with sidecar and sound. -2 if open
  virtual NxErr DeleteAllFiles() = 0;  // every file of the clip. -2 if open
  // For "Video Only", "Audio Only", "Video - Audio", "Video + Audio".
  virtual NxErr GetClipStyles(uint8_t styles[4]) const = 0;
  [[nodiscard]] virtual int32_t GetNumImageWriteFormats() const = 0;
  virtual NxErr GetImageWriteFormatDescription(int32_t index,
                                               NxImageWriteFormatDescription* format) const = 0;
  [[nodiscard]] virtual int32_t GetNumAudioWriteFormats() const = 0;
  virtual NxErr GetAudioWriteFormatDescription(int32_t index,
                                               NxAudioWriteFormatDescription* format) const = 0;
  [[nodiscard]] virtual int32_t GetMaxAudioFiles(int32_t index) const = 0;
  [[nodiscard]] virtual int32_t GetAudioFormatChannels(int32_t index) const = 0;
  [[nodiscard]] virtual bool SupportsClipMetadata() const { return false; }
  virtual NxErr GetMetadataCaps(uint8_t caps[kMetadataCapsBytes]) const = 0;
  virtual NxErr GetMediaImageExtensionW(char16_t* text) const = 0;
  virtual NxErr GetMediaImageExtension(char* text) const = 0;
  virtual NxErr GetMediaAudioExtensionW(char16_t* text) const = 0;
  virtual NxErr GetMediaAudioExtension(char* text) const = 0;
  virtual NxErr GetMediaNameW(char16_t* text) const = 0;
  virtual NxErr GetMediaName(char* text) const = 0;
  // Values that the application stores and nobody reads.
  virtual void SetBaseValue64(uint32_t low, uint32_t high) {
    baseValue64_ = static_cast<uint64_t>(high) << 32 | low;
  }
  virtual void SetBaseValuePair(uint32_t first, uint32_t second) {
    basePair_[0] = first;
    basePair_[1] = second;
  }
  [[nodiscard]] virtual uint8_t GetBaseFlag() const { return baseFlag_; }
  [[nodiscard]] virtual uint32_t GetBaseValueA() const { return baseValueA_; }
  virtual void SetBaseValueA(uint32_t value) { baseValueA_ = value; }
  virtual void SetBaseValueB(uint32_t value) { baseValueB_ = value; }

 private:
  uint64_t baseValue64_ = 0;
  uint32_t basePair_[2] = {};
  uint8_t baseFlag_ = 0;
  uint32_t baseValueA_ = 0;
  uint32_t baseValueB_ = 0;
};

}  // namespace morvane
