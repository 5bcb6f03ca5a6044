#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/fourcc.h"
#include "media/file_handle.h"

namespace morvane {

// What a "fmt " chunk says, as far as it is one of ours.
struct WaveFormat {
  FourCCCode fourcc = 0;  // "16au", "24au", "32au", "32af"
  int32_t channels = 0;
  int32_t sampleRate = 0;
  int32_t bits = 0;

  [[nodiscard]] int32_t BytesPerFrame() const { return channels * bits / 8; }
  bool operator==(const WaveFormat&) const = default;
};

// One WAV file. Samples are addressed by their offset in the data chunk.
// Writing goes through a 64 KiB buffer, reading by position.
// Results: as NxFileHandle; 100001 for sound in a format that is not ours.
class RiffWaveFile {
 public:
  // Opens `path` and finds its chunks. Returns: 0; 100006 if it cannot be read or is no WAV file.
  NxErr OpenRead(const std::string& path);
  // Makes `path` with an empty data chunk. Returns: 0; 100003.
  NxErr Create(const std::string& path, uint32_t createMode, const WaveFormat& format);
  NxErr Append(const void* data, uint64_t bytes);
  // Reads samples at `offset` of the data chunk; `done` ends with the chunk.
  NxErr ReadAt(uint64_t offset, void* buffer, uint64_t bytes, uint64_t* done);
  // Writes out what is buffered and brings the sizes in the file up to date.
  NxErr Flush();
  // After a last Flush: `tail` goes behind the RIFF form.
  NxErr WriteTail(const void* tail, uint64_t bytes);
  NxErr ReadTail(void* tail, uint64_t bytes);
  NxErr Sync();
  NxErr Close();   // without flushing
  NxErr Reopen();  // in the mode of the session, after Close
  [[nodiscard]] bool IsOpen() const { return file_.IsOpen(); }
  [[nodiscard]] const WaveFormat& Format() const { return format_; }
  [[nodiscard]] uint64_t DataBytes() const { return dataBytes_; }
  [[nodiscard]] NxFileHandle* Handle() { return &file_; }

 private:
  NxErr FindParts();
  NxErr WriteBuffered();

  NxFileHandle file_;
  std::string path_;
  bool writing_ = false;
  WaveFormat format_;
  uint64_t dataStart_ = 0;
  uint64_t dataBytes_ = 0;  // in the chunk, what is buffered included
  uint64_t flushed_ = 0;    // of these, in the file
  std::vector<uint8_t> buffer_;
};

// A data chunk never grows past this.
inline constexpr uint64_t kMaxWaveDataBytes = 0xFFFFF000;

}  // namespace morvane
