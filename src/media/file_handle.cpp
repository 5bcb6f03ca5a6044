#include "media/file_handle.h"

#include "base/paths.h"

namespace morvane {
namespace {

FileMode ModeOf(uint32_t createMode, uint32_t accessFlags) {
  if (createMode & kCreateNew) return FileMode::kCreate;
  if (createMode & kCreateOrTruncate) return FileMode::kReplace;
  return accessFlags & kAccessWrite ? FileMode::kUpdate : FileMode::kRead;
}

}  // namespace

NxErr NxFileHandle::OpenA(const char* path, uint32_t createMode, uint32_t accessFlags) {
  if (IsOpen()) return NxErrHandleAlreadyOpen;
  offset_ = 0;
  if (path == nullptr) return NxErrFailure;
  lastError_ =
      file_.Open(path, ModeOf(createMode, accessFlags), (accessFlags & kAccessUnbuffered) != 0);
  return lastError_ == 0 ? NxErrSuccess : NxErrFailure;
}

NxErr NxFileHandle::OpenW(const char16_t* path, uint32_t createMode, uint32_t accessFlags) {
  if (IsOpen()) return NxErrHandleAlreadyOpen;
  std::string narrow;
  if (path == nullptr || !Utf16ToUtf8(path, &narrow)) return NxErrFailure;
  return OpenA(narrow.c_str(), createMode, accessFlags);
}

NxErr NxFileHandle::Read(void* buffer, uint64_t bytes, uint64_t* done) {
  uint64_t count = 0;
  const NxErr result = ReadAt(offset_, buffer, bytes, &count);
  offset_ += count;
  if (done != nullptr) *done = count;
  return result;
}

NxErr NxFileHandle::Write(const void* buffer, uint64_t bytes) {
  const NxErr result = WriteAt(offset_, buffer, bytes);
  if (result == NxErrSuccess) offset_ += bytes;
  return result;
}

NxErr NxFileHandle::ReadAt(uint64_t offset, void* buffer, uint64_t bytes, uint64_t* done) {
  if (done != nullptr) *done = 0;
  if (!IsOpen()) return NxErrUndefinedHandle;
  size_t count = 0;
  lastError_ = file_.ReadAt(buffer, bytes, offset, &count);
  if (done != nullptr) *done = count;
  return lastError_ == 0 ? NxErrSuccess : NxErrFailure;
}

NxErr NxFileHandle::WriteAt(uint64_t offset, const void* buffer, uint64_t bytes) {
  if (!IsOpen()) return NxErrUndefinedHandle;
  lastError_ = file_.WriteAt(buffer, bytes, offset);
  return lastError_ == 0 ? NxErrSuccess : NxErrFailure;
}

NxErr NxFileHandle::Seek64(int64_t offset, NxSeekOrigin origin) {
  if (!IsOpen()) return NxErrUndefinedHandle;
  uint64_t base = 0;
  if (origin == NxSeekCurrent) base = offset_;
  if (origin == NxSeekEnd && GetSize(&base) != NxErrSuccess) return NxErrFailure;
  int64_t target = 0;
  if (__builtin_add_overflow(static_cast<int64_t>(base), offset, &target) || target < 0) {
    return NxErrFailure;
  }
  offset_ = static_cast<uint64_t>(target);
  return NxErrSuccess;
}

NxErr NxFileHandle::SeekScaled(int64_t units, int64_t unitBytes, NxSeekOrigin origin) {
  int64_t offset = 0;
  if (__builtin_mul_overflow(units, unitBytes, &offset)) return NxErrFailure;
  return Seek64(offset, origin);
}

NxErr NxFileHandle::Truncate(uint64_t bytes) {
  if (!IsOpen()) return NxErrUndefinedHandle;
  lastError_ = file_.Truncate(bytes);
  return lastError_ == 0 ? NxErrSuccess : NxErrFailure;
}

NxErr NxFileHandle::Sync() {
  if (!IsOpen()) return NxErrUndefinedHandle;
  lastError_ = file_.Sync();
  return lastError_ == 0 ? NxErrSuccess : NxErrFailure;
}

NxErr NxFileHandle::SyncFileSystem() {
  if (!IsOpen()) return NxErrUndefinedHandle;
  lastError_ = file_.SyncFileSystem();
  return lastError_ == 0 ? NxErrSuccess : NxErrFailure;
}

NxErr NxFileHandle::Close() {
  if (!IsOpen()) return NxErrUndefinedHandle;
  lastError_ = file_.Close();
  return lastError_ == 0 ? NxErrSuccess : NxErrFailure;
}

NxErr NxFileHandle::GetSize(uint64_t* bytes) {
  if (!IsOpen()) return NxErrUndefinedHandle;
  lastError_ = file_.Size(bytes);
  return lastError_ == 0 ? NxErrSuccess : NxErrFailure;
}

}  // namespace morvane
