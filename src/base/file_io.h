#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Files as the media layer sees them: positioned, whole (an interrupted or short call goes on), and
// with a place for tests to put in a failing disk.
// Every operation returns 0 or the system's error number; FileErrorText() has words for it. A
// failure leaves the number in errno too, for who stands behind a layer that does not pass it on.
// Threads: any; one File is used by one thread at a time.
namespace morvane {

enum class FileMode {
  kRead,     // must exist, and be a file: a folder is EISDIR, a pipe or a terminal ESPIPE
  kUpdate,   // read and write, must exist
  kCreate,   // read and write, must not exist: EEXIST, and the file that is there stays as it is
  kReplace,  // read and write, made when missing, emptied when there
};

// An open file; closed by the destructor at the latest.
class File {
 public:
  File() = default;
  ~File() { (void)Close(); }
  File(File&& other) noexcept;
  File& operator=(File&& other) noexcept;

  // Closes what is open, then opens `path`. `unbuffered` asks for direct transfers (O_DIRECT): then
  // buffers, offsets and sizes must be multiples of 512. Where the file system refuses direct
  // transfers, on opening or on a later call, the file goes on buffered by itself.
  [[nodiscard]] int Open(const std::string& path, FileMode mode, bool unbuffered = false);
  [[nodiscard]] bool IsOpen() const { return descriptor_ >= 0; }
  [[nodiscard]] bool IsUnbuffered() const { return unbuffered_; }
  [[nodiscard]] int Descriptor() const { return descriptor_; }  // stays this object's; -1 if closed

  // Reads `bytes` at `offset`, fewer only at the end of the file; `done` tells how many.
  [[nodiscard]] int ReadAt(void* data, size_t bytes, uint64_t offset, size_t* done);
  // Writes all of `bytes` at `offset`. On failure any part of them may have been written.
  [[nodiscard]] int WriteAt(const void* data, size_t bytes, uint64_t offset);
  [[nodiscard]] int Size(uint64_t* bytes);
  [[nodiscard]] int Truncate(uint64_t bytes);
  // Returns when data and size are on the disk.
  [[nodiscard]] int Sync();
  // Returns when everything that was written to the file system of this file, names included, is on
  // the disk: one wait for any number of files. An error may be that of a file that was written
  // and closed since this one was opened.
  [[nodiscard]] int SyncFileSystem();
  // The file is closed in any case; an error tells that the last writes may be lost.
  // Returns: 0 also for a file that is not open.
  int Close();

 private:
  template <typename Transfer>
  int Repeat(Transfer transfer, ptrdiff_t* done);

  int descriptor_ = -1;
  bool unbuffered_ = false;
};

[[nodiscard]] int FileRemove(const std::string& path);
// Moves `from` to `to`. Never replaces: EEXIST if `to` is there.
[[nodiscard]] int FileRename(const std::string& from, const std::string& to);
// Returns when the names in `path` (new, moved, removed files) are on the disk.
[[nodiscard]] int FolderSync(const std::string& path);
// Bytes that this user may still write on the file system of `path`.
[[nodiscard]] int FolderFreeBytes(const std::string& path, uint64_t* bytes);

// "No space left on device" and the like, for `error` as returned above.
[[nodiscard]] std::string FileErrorText(int error);

// ---- for tests -----------------------------------------------------------------------------

enum class FileCall {
  kAny,  // in a FileFault: whatever the call
  kOpen,
  kRead,
  kWrite,
  kSize,
  kTruncate,
  kSync,
  kClose,
  kRemove,
  kRename,
  kFolderSync,
  kFreeBytes,
};

// While one lives, the `nth` call (from 1, counted from here on over all threads) of the kind
// `call` fails with `error` and does nothing; with `fromThenOn` all later ones of the kind do too.
// (A Close that fails so has closed the file.)
// Threads: made and destroyed with no other thread in a file operation. One lives at a time.
class FileFault {
 public:
  FileFault(FileCall call, int nth, int error, bool fromThenOn = false);
  ~FileFault();
  FileFault(const FileFault&) = delete;
  FileFault& operator=(const FileFault&) = delete;

  [[nodiscard]] int Calls() const;   // calls of the kind so far
  [[nodiscard]] int Failed() const;  // how many of them were made to fail
};

}  // namespace morvane
