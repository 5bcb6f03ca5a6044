#include "processing/lut.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <numeric>

#include "base/paths.h"

namespace morvane {
namespace {

constexpr char kHeaderText[] = "LUT: 3 1024";
constexpr int kHeaderLines = 100;
constexpr int kLineBytes = 4096;  // with the terminator

struct CloseFile {
  void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

bool SkipHeader(FILE* file) {
  char line[kLineBytes];
  for (int i = 0; i < kHeaderLines; ++i) {
    if (std::fgets(line, sizeof line, file) == nullptr) return false;
    if (std::strstr(line, kHeaderText) != nullptr) return true;
  }
  return false;
}

// Returns: false at the end of the file.
bool ReadBlock(FILE* file, std::array<uint32_t, kLutEntries>& block) {
  char line[kLineBytes];
  for (uint32_t& entry : block) {
    if (std::fgets(line, sizeof line, file) == nullptr) return false;
    const long value = std::strtol(line, nullptr, 10);
    entry = static_cast<uint32_t>(static_cast<int32_t>(std::clamp<long>(
        value, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max())));
  }
  return true;
}

}  // namespace

LutCurves::LutCurves() {
  SetIdentity();
}

void LutCurves::SetIdentity() {
  std::iota(first.begin(), first.end(), 0u);
  second = third = first;
}

NxRGBLUT LutCurves::Record() const {
  return {first.data(), second.data(), third.data(), 0, kLutEntries};
}

NxErr ReadLutFile(const std::string& path, LutCurves* curves) {
  const File file(std::fopen(path.c_str(), "re"));
  if (file == nullptr || !SkipHeader(file.get())) return NxErrFailure;
  // Deliberate: the middle block of a file is the third curve.
  (void)(ReadBlock(file.get(), curves->first) && ReadBlock(file.get(), curves->third) &&
         ReadBlock(file.get(), curves->second));
  return NxErrSuccess;
}

NxErr ReadLutFile(const std::u16string& path, LutCurves* curves) {
  std::string narrow;
  if (!Utf16ToUtf8(path, &narrow)) return NxErrFailure;
  return ReadLutFile(narrow, curves);
}

CardLut BuildCardLut(const uint32_t* first, const uint32_t* second, const uint32_t* third) {
  if (first == nullptr || second == nullptr || third == nullptr) return BuildCardLut(LutCurves());
  CardLut card;
  uint32_t* word = card.data();
  for (const uint32_t* curve : {first, second, third}) {
    for (uint32_t i = 0; i < kLutEntries; i += 2) {
      *word++ = (curve[i + 1] << 16 | (curve[i] & 0xFFFF)) << 6;
    }
  }
  return card;
}

CardLut BuildCardLut(const LutCurves& curves) {
  return BuildCardLut(curves.first.data(), curves.second.data(), curves.third.data());
}

}  // namespace morvane
