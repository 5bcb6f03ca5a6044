#include "simulator/tape_store.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "base/byte_order.h"
#include "base/file_io.h"
#include "base/paths.h"
#include "base/system.h"
#include "media/codec/md5.h"

namespace morvane {
namespace {

constexpr FourCCCode k2vuy = FourCC("2vuy");
constexpr FourCCCode kV219 = FourCC("v219");
constexpr char kPictures[] = "pictures";
constexpr char kSounds[] = "sound";
constexpr char kUnfinished[] = ".new";
constexpr size_t kMostBytes = 1u << 28;  // of one file; more is none of ours

// The names of this store's files, also of one that was not finished.
bool IsOwnName(const std::string& folder, const std::string& name) {
  constexpr size_t kSumDigits = 32;
  const std::string sum = name.substr(0, kSumDigits);
  const std::string rest = name.substr(sum.size());
  return sum.size() == kSumDigits &&
         sum.find_first_not_of("0123456789abcdef") == std::string::npos &&
         (rest.empty() || rest == kUnfinished) && folder == sum.substr(0, 2);
}

bool IsEightBit(const std::vector<uint8_t>& v219) {
  constexpr uint32_t kLowBits = 0x3u | 0x3u << 10 | 0x3u << 20;
  for (size_t i = 0; i + 4 <= v219.size(); i += 4) {
    if ((LoadLe32(v219.data() + i) & kLowBits) != 0) return false;
  }
  return true;
}

TapeRead ReadWhole(const std::string& path, std::vector<uint8_t>* bytes, std::string* error) {
  File file;
  uint64_t size = 0;
  int result = file.Open(path, FileMode::kRead);
  if (result == 0) result = file.Size(&size);
  if (result == 0 && size > kMostBytes) result = EFBIG;
  size_t done = 0;
  if (result == 0) {
    bytes->resize(static_cast<size_t>(size));
    result = file.ReadAt(bytes->data(), bytes->size(), 0, &done);
  }
  if (result == 0 && done == bytes->size()) return TapeRead::kDone;
  *error = "\"" + path + "\" cannot be read: " + FileErrorText(result == 0 ? EIO : result);
  return result == ENOENT ? TapeRead::kGone : TapeRead::kFailed;
}

}  // namespace

TapeStore::TapeStore(const std::string& folder, uint32_t width, uint32_t height)
    : folder_(folder), width_(width), height_(height) {}

std::string TapeStore::PathOf(const char* kind, const std::string& sum) const {
  return folder_ + "/" + kind + "/" + sum.substr(0, 2) + "/" + sum;
}

bool TapeStore::Put(const std::string& path, const std::vector<uint8_t>& bytes,
                    std::string* error) {
  // What is there under this name is the same, unless the system once went down before it was on
  // the disk.
  std::error_code ignored;
  if (std::filesystem::file_size(path, ignored) == bytes.size() && !ignored) return true;
  const std::string part = path + kUnfinished;
  const std::filesystem::path parent = std::filesystem::path(path).parent_path();
  std::filesystem::create_directories(parent, ignored);
  int result = 0;
  {
    File file;
    result = file.Open(part, FileMode::kReplace);
    if (result == 0) result = file.WriteAt(bytes.data(), bytes.size(), 0);
    const int closed = file.Close();
    if (result == 0) result = closed;
  }
  if (result == 0) {
    std::filesystem::remove(path, ignored);
    result = FileRename(part, path);
  }
  if (result == 0) return true;
  (void)FileRemove(part);
  *error = "\"" + path + "\" cannot be written: " + FileErrorText(result);
  return false;
}

bool TapeStore::PutPicture(const std::vector<uint8_t>& v219, std::string* sum, std::string* error) {
  *sum = Md5Of(v219.data(), v219.size());
  if (!IsEightBit(v219)) return Put(PathOf(kPictures, *sum), v219, error);
  const FrameLayout layout = PlainLayout(k2vuy, width_, height_);
  const PlainPicture picture(kV219, width_, height_,
                             std::make_shared<const std::vector<uint8_t>>(v219));
  std::vector<uint8_t> eight(layout.Bytes());
  picture.Store(layout, eight.data());
  return Put(PathOf(kPictures, *sum), eight, error);
}

bool TapeStore::PutSound(const std::vector<int32_t>& samples, std::string* sum,
                         std::string* error) {
  std::vector<uint8_t> bytes(samples.size() * 4);
  for (size_t i = 0; i < samples.size(); ++i) {
    StoreLe32(bytes.data() + 4 * i, static_cast<uint32_t>(samples[i]));
  }
  *sum = Md5Of(bytes.data(), bytes.size());
  return Put(PathOf(kSounds, *sum), bytes, error);
}

PictureRef TapeStore::GetPicture(const std::string& sum, std::string* error) const {
  auto bytes = std::make_shared<std::vector<uint8_t>>();
  const std::string path = PathOf(kPictures, sum);
  if (ReadWhole(path, bytes.get(), error) != TapeRead::kDone) return nullptr;
  for (const FourCCCode code : {kV219, k2vuy}) {
    if (bytes->size() == PlainLayout(code, width_, height_).Bytes()) {
      return std::make_shared<PlainPicture>(code, width_, height_, std::move(bytes));
    }
  }
  *error = "\"" + path + "\" is no picture of this tape";
  return nullptr;
}

TapeRead TapeStore::GetSound(const std::string& sum, std::vector<int32_t>* samples,
                             std::string* error) const {
  std::vector<uint8_t> bytes;
  const std::string path = PathOf(kSounds, sum);
  const TapeRead read = ReadWhole(path, &bytes, error);
  if (read != TapeRead::kDone) return read;
  if (bytes.size() != samples->size() * 4) {
    *error = "\"" + path + "\" is no sound of this tape";
    return TapeRead::kFailed;
  }
  for (size_t i = 0; i < samples->size(); ++i) {
    (*samples)[i] = static_cast<int32_t>(LoadLe32(bytes.data() + 4 * i));
  }
  return TapeRead::kDone;
}

void TapeStore::RemovePicture(const std::string& sum) const {
  (void)FileRemove(PathOf(kPictures, sum));
}

void TapeStore::RemoveSound(const std::string& sum) const {
  (void)FileRemove(PathOf(kSounds, sum));
}

void TapeStore::Sweep(const std::set<std::string>& used) const {
  for (const char* kind : {kPictures, kSounds}) {
    std::error_code error;
    std::filesystem::recursive_directory_iterator entry(JoinPath(folder_, kind), error);
    std::vector<std::string> stray;
    for (; !error && entry != std::filesystem::recursive_directory_iterator();
         entry.increment(error)) {
      std::error_code ignored;
      if (!entry->is_regular_file(ignored)) continue;
      const std::string name = entry->path().filename().string();
      if (entry.depth() != 1) continue;
      if (!IsOwnName(entry->path().parent_path().filename().string(), name)) continue;
      if (used.count(name) == 0) stray.push_back(entry->path().string());
    }
    for (const std::string& path : stray) (void)FileRemove(path);
  }
}

}  // namespace morvane
