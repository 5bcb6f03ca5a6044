#include "media/data_vyr.h"

#include <libxml/parser.h>

#include <cstring>

#include "base/paths.h"
#include "media/vyr_document.h"

namespace morvane {
namespace {

constexpr uint32_t kDocumentAccess = 0x3E;
constexpr size_t kNarrowFolderChars = 260;
constexpr size_t kNarrowClipNameChars = 32;

struct RateRow {
  int32_t scale, rate, storedScale, storedRate;
};
// clang-format off
constexpr RateRow kRates[] = {
  { 14985, 1001, 15000, 1001 },
  {    15,    1, 15000, 1000 },
  {  1500,  100, 15000, 1000 },
  {  2997,  125, 24000, 1001 },
  {  2400,  101, 24000, 1001 },
  { 23976, 1000, 24000, 1001 },
  {    24,    1, 24000, 1000 },
  {  2400,  100, 24000, 1000 },
  {  2997,  100, 30000, 1001 },
  { 29970, 1000, 30000, 1001 },
  {  2500,  100, 25000, 1000 },
  {    25,    1, 25000, 1000 },
  {  3000,  100, 30000, 1000 },
  {    30,    1, 30000, 1000 },
  {  5000,  100, 50000, 1000 },
  {    50,    1, 50000, 1000 },
  {  6000,  100, 60000, 1000 },
  {    60,    1, 60000, 1000 },
  {  5994,  100, 60000, 1001 },
  { 59940, 1000, 60000, 1001 },
};
// clang-format on
static_assert(sizeof kRates / sizeof kRates[0] == 20);

int g_users = 0;

std::string NameText(const NxVyrHead& head) {
  std::u16string name;
  for (size_t i = 0; i < kVyrClipNameChars && head.clipName[i] != 0; ++i) {
    name.push_back(head.clipName[i]);
  }
  std::string text;
  return Utf16ToUtf8(name, &text) ? text : std::string(kCannotDisplayName);
}

}  // namespace

void NxDataVYRInit() {
  if (g_users++ == 0) xmlInitParser();
}

void NxDataVYRDeinit() {
  if (g_users > 0 && --g_users == 0) xmlCleanupParser();
}

void NormalizeVyrRate(int32_t* scale, int32_t* rate) {
  for (const RateRow& row : kRates) {
    if (row.scale != *scale || row.rate != *rate) continue;
    *scale = row.storedScale;
    *rate = row.storedRate;
    return;
  }
}

NxErr NxDataVYR::OpenRead(NxText path, char16_t* clipNameOut, NxVyrHead* headOut,
                          uint32_t createMode, uint32_t accessFlags, bool wide) {
  if (isOpenRead_ || isOpenWrite_) return NxErrHandleAlreadyOpen;
  if (clipNameOut == nullptr) return NxErrInvalidParameter;
  head = {};
  metadata_ = {};
  written_ = false;
  createMode_ = createMode;
  accessFlags_ = accessFlags;
  if ((createMode & kOpenExisting) == 0 || !path.ToUtf8(wide, &path_)) return NxErrOpenVideoFile;
  const NxErr result = ReadDocument();
  (void)file_.Close();
  if (result != NxErrSuccess) return result;
  const size_t separator = path_.rfind(kPathSeparator);
  folder_ = separator == std::string::npos ? std::string() : path_.substr(0, separator);
  std::memcpy(static_cast<void*>(clipNameOut), head.clipName, sizeof head.clipName);
  if (headOut != nullptr) *headOut = head;
  isOpenRead_ = true;
  return NxErrSuccess;
}

NxErr NxDataVYR::ReadDocument() {
  uint64_t bytes = 0;
  if (file_.OpenA(path_.c_str(), kOpenExisting, kAccessRead) != NxErrSuccess ||
      file_.GetSize(&bytes) != NxErrSuccess || bytes > kVyrMaxBytes) {
    return NxErrOpenVideoFile;
  }
  std::string text(bytes, '\0');
  uint64_t done = 0;
  if (file_.ReadAt(0, text.data(), bytes, &done) != NxErrSuccess || done != bytes ||
      !ParseVyrDocument(text, &head, &metadata_)) {
    return NxErrOpenVideoFile;
  }
  return NxErrSuccess;
}

NxErr NxDataVYR::GetMetadata(NxMediaMetadata* metadata) {
  if (metadata == nullptr || (!isOpenRead_ && !isOpenWrite_)) return NxErrParameterNotSupported;
  *metadata = metadata_;
  return NxErrSuccess;
}

NxErr NxDataVYR::SetMetadata(const NxMediaMetadata* metadata) {
  if (metadata == nullptr) return NxErrFailure;
  if (!isOpenRead_) {
    if (isOpenWrite_) metadata_ = *metadata;
    return NxErrFailure;
  }
  const NxMediaMetadata old = metadata_;
  if (MergeMetadata(*metadata, &metadata_) == NxErrSuccess && ReplaceDocument() == NxErrSuccess) {
    return NxErrSuccess;
  }
  metadata_ = old;
  return NxErrFailure;
}

// Writes the document over the one that is there. A disk that fails in between gets the old text.
NxErr NxDataVYR::ReplaceDocument() {
  std::string text;
  uint64_t oldBytes = 0;
  if (!BuildVyrDocument(head, metadata_, &text)) return NxErrFailure;
  if (file_.OpenA(path_.c_str(), kOpenExisting, kDocumentAccess) != NxErrSuccess) {
    return NxErrFailure;
  }
  std::string old;
  NxErr result = file_.GetSize(&oldBytes);
  if (result == NxErrSuccess && oldBytes > kVyrMaxBytes) result = NxErrFailure;
  if (result == NxErrSuccess) {
    old.resize(oldBytes);
    result = file_.ReadAt(0, old.data(), oldBytes, &oldBytes);
  }
  if (result == NxErrSuccess) {
    result = file_.WriteAt(0, text.data(), text.size());
    if (result == NxErrSuccess) result = file_.Truncate(text.size());
    if (result != NxErrSuccess) {
      (void)file_.WriteAt(0, old.data(), oldBytes);
      (void)file_.Truncate(oldBytes);
    }
  }
  if (result == NxErrSuccess) result = file_.Sync();
  (void)file_.Close();
  return result == NxErrSuccess ? NxErrSuccess : NxErrFailure;
}

NxErr NxDataVYR::OpenWrite(NxText path, NxText folder, const NxMediaMetadata* metadata,
                           uint32_t createMode, uint32_t accessFlags, bool wide) {
  if (isOpenRead_ || isOpenWrite_) return NxErrHandleAlreadyOpen;
  if (folder.IsNull()) return NxErrInvalidParameter;
  written_ = false;
  if ((createMode & (kCreateOrTruncate | kCreateNew)) == 0) return NxErrSuccess;
  createMode_ = createMode;
  accessFlags_ = accessFlags;
  if (!path.ToUtf8(wide, &path_) || !folder.ToUtf8(wide, &folder_)) return NxErrFailure;
  metadata_ = metadata != nullptr ? *metadata : NxMediaMetadata{};
  int32_t scale = head.timeScale;
  int32_t rate = head.timeRate;
  NormalizeVyrRate(&scale, &rate);
  head.timeScale = scale;
  head.timeRate = rate;
  const NxErr result = CreateDocument();
  isOpenWrite_ = result == NxErrSuccess;
  return result;
}

// Returns: 0 also when the file was there, which then stays as it is, or cannot be made: frames
// without a sidecar are a clip all the same.
NxErr NxDataVYR::CreateDocument() {
  std::string text;
  if (!BuildVyrDocument(head, metadata_, &text)) return NxErrFailure;
  if (file_.OpenA(path_.c_str(), kCreateNew, kDocumentAccess) != NxErrSuccess) return NxErrSuccess;
  written_ =
      file_.WriteAt(0, text.data(), text.size()) == NxErrSuccess && file_.Sync() == NxErrSuccess;
  (void)file_.Close();
  if (!written_) (void)FileRemove(path_);
  return NxErrSuccess;
}

NxErr NxDataVYR::IsReadable() const {
  return isOpenRead_ ? NxErrSuccess : NxErrFailure;
}

NxErr NxDataVYR::GetFolder(void* target, bool wide) const {
  if (target == nullptr) return NxErrInvalidParameter;
  if (wide) {
    PutFileName(folder_, static_cast<char16_t*>(target));
  } else {
    PutText(folder_, static_cast<char*>(target), kNarrowFolderChars);
  }
  return NxErrSuccess;
}

NxErr NxDataVYR::GetClipName(void* target, bool wide) const {
  if (target == nullptr) return NxErrInvalidParameter;
  if (wide) {
    std::memcpy(target, head.clipName, sizeof head.clipName);
  } else {
    PutText(NameText(head), static_cast<char*>(target), kNarrowClipNameChars);
  }
  return NxErrSuccess;
}

NxErr NxDataVYR::Close() {
  if (!isOpenRead_ && !isOpenWrite_) return NxErrFailure;
  isOpenRead_ = isOpenWrite_ = false;
  return NxErrSuccess;
}

NxErr NxDataVYR::DeleteFile() {
  if (isOpenRead_ || isOpenWrite_) return NxErrFailure;
  const bool removed = !path_.empty() && FileRemove(path_) == 0;
  path_.clear();
  folder_.clear();
  return removed ? NxErrSuccess : NxErrFailure;
}

NxErr NxDataVYR::DeleteAllFiles() {
  return NxDataVYR::DeleteFile();
}

}  // namespace morvane
