// How the frames of a sequence are called.
#include <algorithm>
#include <cstdlib>

#include "base/paths.h"
#include "media/media_seq.h"
#include "media/seq_names.h"

namespace morvane {
namespace {

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

size_t FileNameStart(const std::string& path) {
  const size_t separator = path.rfind(kPathSeparator);
  return separator == std::string::npos ? 0 : separator + 1;
}

}  // namespace

std::string FolderOfPath(const std::string& path) {
  const size_t start = FileNameStart(path);
  if (start == 0) return ".";
  return start == 1 ? std::string(1, kPathSeparator) : path.substr(0, start - 1);
}

std::string FileOfPath(const std::string& path) {
  return path.substr(FileNameStart(path));
}

std::string SidecarOfFrame(const std::string& path) {
  if (path.size() < kFrameSuffixChars) return std::string();
  return path.substr(0, path.size() - kFrameSuffixChars) + ".vyr";
}

std::string SidecarToFind(const std::string& path) {
  if (path.size() < kFrameSuffixChars + 1) return path;
  std::string name = path.substr(0, path.size() - kFrameSuffixChars);
  // Deliberate: whatever frame was opened, and whatever number its clip starts at, the sidecar is
  // looked for under number 1 of the digit field.
  for (size_t i = name.size(); i > 0 && IsDigit(name[i - 1]); --i) {
    name[i - 1] = i == name.size() ? '1' : '0';
  }
  return name + ".vyr";
}

void NxMediaSeq::ParseNumber() {
  digitCount_ = 0;
  firstNumber_ = -1;
  if (firstPath_.size() < kFrameSuffixChars + 1) return;
  const size_t end = firstPath_.size() - kFrameSuffixChars;
  size_t begin = end;
  while (begin > 1 && IsDigit(firstPath_[begin - 1])) --begin;
  digitCount_ = static_cast<int32_t>(end - begin);
  if (digitCount_ == 0) return;
  // Of a longer number the last nine digits count; the others stay in the name.
  const size_t counted = std::min<size_t>(end - begin, 9);
  const std::string digits = firstPath_.substr(end - counted, counted);
  firstNumber_ = std::strtoll(digits.c_str(), nullptr, 10);
  startNumber_ = firstNumber_;
}

// The first frame's name with `number` and the suffix laid over its tail: leading zeros stay, a
// number that is wider than its field eats into the name. Returns: empty when it would eat more
// than the file's name.
std::string NxMediaSeq::NameOfNumber(int64_t number) const {
  if (firstPath_.size() < kFrameSuffixChars) return std::string();
  const std::string suffix = firstPath_.substr(firstPath_.size() - kFrameSuffixChars);
  const std::string tail = std::to_string(number) + suffix;
  if (tail.size() > firstPath_.size() - FileNameStart(firstPath_)) return std::string();
  return firstPath_.substr(0, firstPath_.size() - tail.size()) + tail;
}

// Finds the unbroken run of frames from the one that was opened.
NxErr NxMediaSeq::CountFrames(bool singleFile) {
  ParseNumber();
  int32_t count = 1;
  if (digitCount_ > 0 && !singleFile) {
    for (count = 0; count < INT32_MAX; ++count) {
      const std::string name = NameOfNumber(firstNumber_ + count);
      NxFileHandle frame;
      if (name.empty() || frame.OpenA(name.c_str(), createMode_, accessFlags_) != NxErrSuccess) {
        break;
      }
    }
  }
  frameCountRead_ = frameCountKept_ = count;
  readInfo_->frameCount = count;
  return count > 0 ? NxErrSuccess : NxErrOpenVideoFile;
}

// The clip's name as its sound carries it.
std::string NxMediaSeq::AudioBaseName() const {
  std::string name = FileOfPath(firstPath_);
  const size_t cut = kFrameSuffixChars + static_cast<size_t>(digitCount_);
  name.resize(name.size() > cut ? name.size() - cut : 0);
  if (!name.empty() && name.back() == '_') name.pop_back();
  return name;
}

}  // namespace morvane
