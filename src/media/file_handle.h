#pragma once

#include <cstdint>
#include <string>

#include "base/file_io.h"
#include "base/nx_err.h"
#include "media/media_text.h"

namespace morvane {

// `createMode` bits.
inline constexpr uint32_t kOpenExisting = 1;
inline constexpr uint32_t kCreateOrTruncate = 2;
inline constexpr uint32_t kCreateNew = 4;  // refused if the file is there: nothing is overwritten
// `accessFlags` bits; others are ignored.
inline constexpr uint32_t kAccessUnbuffered = 0x01;
inline constexpr uint32_t kAccessWrite = 0x02;
inline constexpr uint32_t kAccessRead = 0x04;
inline constexpr uint32_t kAccessShareRead = 0x08;
inline constexpr uint32_t kAccessShareWrite = 0x10;
inline constexpr uint32_t kAccessOverlapped = 0x80;

enum NxSeekOrigin : int32_t { NxSeekBegin = 1, NxSeekCurrent = 2, NxSeekEnd = 3 };

// The plain file object of the format classes. Read and Write go by the object's own offset, the
// ...At forms by a given one and leave the offset alone: they may run on two threads at once.
// An unbuffered file takes any pointer, length and offset: from the first one that the disk refuses
// it goes on buffered, so that multiples of 512 from page-aligned memory are the fast case.
// Results: 0, -2 on failure, 10001 with no file open, 10002 when one is open already.
class NxFileHandle {
 public:
  NxErr OpenA(const char* path, uint32_t createMode, uint32_t accessFlags);
  NxErr OpenW(const char16_t* path, uint32_t createMode, uint32_t accessFlags);
  // Reads up to `bytes`; `done` (may be null) is what was read, less only at the end of the file.
  NxErr Read(void* buffer, uint64_t bytes, uint64_t* done);
  NxErr Write(const void* buffer, uint64_t bytes);  // -2 unless all was written
  NxErr ReadAt(uint64_t offset, void* buffer, uint64_t bytes, uint64_t* done);
  NxErr WriteAt(uint64_t offset, const void* buffer, uint64_t bytes);
  NxErr Seek64(int64_t offset, NxSeekOrigin origin);
  NxErr SeekScaled(int64_t units, int64_t unitBytes, NxSeekOrigin origin);
  NxErr Truncate(uint64_t bytes);
  NxErr Sync();            // what was written has reached the disk
  NxErr SyncFileSystem();  // the same of all files beside this one, and their names
  NxErr Close();
  [[nodiscard]] bool IsOpen() const { return file_.IsOpen(); }
  [[nodiscard]] int GetHandle() const { return file_.Descriptor(); }  // -1 if closed
  // The system's error number of the last operation that failed, for words to the user.
  [[nodiscard]] int LastError() const { return lastError_; }
  NxErr GetSize(uint64_t* bytes);

 private:
  File file_;
  uint64_t offset_ = 0;
  int lastError_ = 0;
};

}  // namespace morvane
