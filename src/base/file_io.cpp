#include "base/file_io.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <system_error>
#include <utility>

#include "base/system.h"

namespace morvane {
namespace {

struct Fault {
  std::atomic<bool> active{false};
  FileCall call = FileCall::kAny;
  int nth = 0;
  int error = 0;
  bool fromThenOn = false;
  std::atomic<int> calls{0};
  std::atomic<int> failed{0};
};
Fault g_fault;

// Returns: the error that a test wants this call to fail with, else 0.
int InjectedError(FileCall call) {
  if (!g_fault.active.load(std::memory_order_acquire)) return 0;
  if (g_fault.call != FileCall::kAny && g_fault.call != call) return 0;
  const int number = g_fault.calls.fetch_add(1) + 1;
  const bool fails = g_fault.fromThenOn ? number >= g_fault.nth : number == g_fault.nth;
  if (!fails) return 0;
  g_fault.failed.fetch_add(1);
  return g_fault.error;
}

// Runs one file operation, which returns 0 or an error number: a primitive, so that an abandoned
// thread goes no further than here.
template <typename Operation>
int Guarded(FileCall call, Operation operation) {
  NxLeaveIfAbandoned();
  int error = InjectedError(call);
  if (error == 0) error = operation();
  NxLeaveIfAbandoned();
  if (error != 0) errno = error;
  return error;
}

// Calls `call` until it is not interrupted. Returns: 0 or the error number.
template <typename Call>
int Uninterrupted(Call call) {
  while (call() != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

int OpenFlags(FileMode mode) {
  switch (mode) {
    case FileMode::kRead:
      return O_RDONLY;
    case FileMode::kUpdate:
      return O_RDWR;
    case FileMode::kCreate:
      return O_RDWR | O_CREAT | O_EXCL;
    case FileMode::kReplace:
      return O_RDWR | O_CREAT | O_TRUNC;
  }
  return O_RDONLY;
}

// Returns: a descriptor, or -1 with errno set.
int OpenUninterrupted(const char* path, int flags) {
  int descriptor;
  do {
    descriptor = open(path, flags | O_CLOEXEC, 0666);
  } while (descriptor < 0 && errno == EINTR);
  return descriptor;
}

// Opens for reading. A pipe that nobody writes to must not hold this thread, so the open does not
// wait; what is no file is refused.
int OpenForReading(const char* path, int flags) {
  int descriptor = OpenUninterrupted(path, flags | O_NONBLOCK);
  // A file that another machine has on loan is waited for.
  if (descriptor < 0 && errno == EWOULDBLOCK) descriptor = OpenUninterrupted(path, flags);
  if (descriptor < 0) return descriptor;
  struct stat status = {};
  int error = fstat(descriptor, &status) == 0 ? 0 : errno;
  if (error == 0 && !S_ISREG(status.st_mode) && !S_ISBLK(status.st_mode)) {
    error = S_ISDIR(status.st_mode) ? EISDIR : ESPIPE;
  }
  const int now = error == 0 ? fcntl(descriptor, F_GETFL) : 0;
  if (error == 0 && (now < 0 || fcntl(descriptor, F_SETFL, now & ~O_NONBLOCK) != 0)) error = errno;
  if (error == 0) return descriptor;
  close(descriptor);
  errno = error;
  return -1;
}

}  // namespace

File::File(File&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)),
      unbuffered_(std::exchange(other.unbuffered_, false)) {}

File& File::operator=(File&& other) noexcept {
  if (this != &other) {
    (void)Close();
    descriptor_ = std::exchange(other.descriptor_, -1);
    unbuffered_ = std::exchange(other.unbuffered_, false);
  }
  return *this;
}

int File::Open(const std::string& path, FileMode mode, bool unbuffered) {
  (void)Close();
  return Guarded(FileCall::kOpen, [&] {
    const int flags = OpenFlags(mode);
    const auto openWith = mode == FileMode::kRead ? OpenForReading : OpenUninterrupted;
    int descriptor = -1;
    if (unbuffered) {
      descriptor = openWith(path.c_str(), flags | O_DIRECT);
      if (descriptor < 0 && errno != EINVAL) return errno;
    }
    unbuffered_ = descriptor >= 0;
    if (descriptor < 0) {
      // A file system that refuses O_DIRECT has made the new file all the same: an empty one, ours.
      const bool made = unbuffered && mode == FileMode::kCreate;
      descriptor = openWith(path.c_str(), made ? O_RDWR | O_CREAT : flags);
      struct stat status;
      if (made && descriptor >= 0 && (fstat(descriptor, &status) != 0 || status.st_size != 0)) {
        close(descriptor);
        return EEXIST;
      }
    }
    if (descriptor < 0) return errno;
    descriptor_ = descriptor;
    return 0;
  });
}

// Transfers until all is done, the file ends, or an error.
template <typename Transfer>
int File::Repeat(Transfer transfer, ptrdiff_t* done) {
  for (;;) {
    const ssize_t part = transfer(*done);
    if (part > 0) {
      *done += part;
      continue;
    }
    if (part == 0) return 0;
    if (errno == EINTR) continue;
    if (errno != EINVAL || !unbuffered_) return errno;
    // Refused as a direct transfer (an unaligned rest, or the file system): go on buffered.
    const int flags = fcntl(descriptor_, F_GETFL);
    if (flags < 0 || fcntl(descriptor_, F_SETFL, flags & ~O_DIRECT) != 0) return EINVAL;
    unbuffered_ = false;
  }
}

int File::ReadAt(void* data, size_t bytes, uint64_t offset, size_t* done) {
  *done = 0;
  return Guarded(FileCall::kRead, [&] {
    ptrdiff_t transferred = 0;
    const int error = Repeat(
        [&](ptrdiff_t at) -> ssize_t {
          const size_t left = bytes - static_cast<size_t>(at);
          if (left == 0) return 0;
          return pread(descriptor_, static_cast<uint8_t*>(data) + at, left,
                       static_cast<off_t>(offset) + at);
        },
        &transferred);
    *done = static_cast<size_t>(transferred);
    return error;
  });
}

int File::WriteAt(const void* data, size_t bytes, uint64_t offset) {
  return Guarded(FileCall::kWrite, [&] {
    ptrdiff_t transferred = 0;
    const int error = Repeat(
        [&](ptrdiff_t at) -> ssize_t {
          const size_t left = bytes - static_cast<size_t>(at);
          if (left == 0) return 0;
          return pwrite(descriptor_, static_cast<const uint8_t*>(data) + at, left,
                        static_cast<off_t>(offset) + at);
        },
        &transferred);
    if (error != 0) return error;
    return static_cast<size_t>(transferred) == bytes ? 0 : ENOSPC;
  });
}

int File::Size(uint64_t* bytes) {
  return Guarded(FileCall::kSize, [&] {
    struct stat status;
    if (fstat(descriptor_, &status) != 0) return errno;
    *bytes = static_cast<uint64_t>(status.st_size);
    return 0;
  });
}

int File::Truncate(uint64_t bytes) {
  return Guarded(FileCall::kTruncate, [&] {
    return Uninterrupted([&] { return ftruncate(descriptor_, static_cast<off_t>(bytes)); });
  });
}

int File::Sync() {
  return Guarded(FileCall::kSync,
                 [&] { return Uninterrupted([&] { return fsync(descriptor_); }); });
}

int File::SyncFileSystem() {
  return Guarded(FileCall::kSync,
                 [&] { return Uninterrupted([&] { return syncfs(descriptor_); }); });
}

int File::Close() {
  if (descriptor_ < 0) return 0;
  NxLeaveIfAbandoned();
  const int injected = InjectedError(FileCall::kClose);
  // Never twice: after any error the number may already be another file's.
  const int result = close(std::exchange(descriptor_, -1));
  const int error = result == 0 || errno == EINTR ? 0 : errno;
  unbuffered_ = false;
  NxLeaveIfAbandoned();
  return injected != 0 ? injected : error;
}

int FileRemove(const std::string& path) {
  return Guarded(FileCall::kRemove, [&] { return unlink(path.c_str()) == 0 ? 0 : errno; });
}

int FileRename(const std::string& from, const std::string& to) {
  return Guarded(FileCall::kRename, [&] {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return errno;
    // A file system that does not know the flag: a second name never replaces either.
    if (link(from.c_str(), to.c_str()) != 0) return errno;
    return unlink(from.c_str()) == 0 ? 0 : errno;
  });
}

int FolderSync(const std::string& path) {
  return Guarded(FileCall::kFolderSync, [&] {
    const int descriptor = OpenUninterrupted(path.c_str(), O_RDONLY | O_DIRECTORY);
    if (descriptor < 0) return errno;
    int error = Uninterrupted([&] { return fsync(descriptor); });
    if (error == EINVAL) error = 0;  // a file system that has nothing to sync for a folder
    close(descriptor);
    return error;
  });
}

int FolderFreeBytes(const std::string& path, uint64_t* bytes) {
  return Guarded(FileCall::kFreeBytes, [&] {
    struct statvfs status;
    const int error = Uninterrupted([&] { return statvfs(path.c_str(), &status); });
    if (error == 0) *bytes = static_cast<uint64_t>(status.f_bavail) * status.f_frsize;
    return error;
  });
}

std::string FileErrorText(int error) {
  return std::generic_category().message(error);
}

FileFault::FileFault(FileCall call, int nth, int error, bool fromThenOn) {
  g_fault.call = call;
  g_fault.nth = nth;
  g_fault.error = error;
  g_fault.fromThenOn = fromThenOn;
  g_fault.calls.store(0);
  g_fault.failed.store(0);
  g_fault.active.store(true, std::memory_order_release);
}

FileFault::~FileFault() {
  g_fault.active.store(false, std::memory_order_release);
}

int FileFault::Calls() const {
  return g_fault.calls.load();
}

int FileFault::Failed() const {
  return g_fault.failed.load();
}

}  // namespace morvane
