// Any bytes as a LUT file: read, packed for the card, and held to what such a file may do.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "processing/lut.h"

using namespace morvane;

namespace {

std::string WriteToFile(const uint8_t* data, size_t size) {
  static const std::string path = [] {
    std::string folder = "/dev/shm/morvane-fuzz-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) abort();
    return folder + "/curves.lut";
  }();
  FILE* file = fopen(path.c_str(), "wb");
  if (file == nullptr) abort();
  if (size > 0 && fwrite(data, 1, size, file) != size) abort();
  fclose(file);
  return path;
}

void Require(bool claim) {
  if (!claim) abort();
}

bool Same(const LutCurves& a, const LutCurves& b) {
  return a.first == b.first && a.second == b.second && a.third == b.third;
}

// Each word must hold its two entries as 16 bits, six bits up.
void RequirePacked(const CardLut& card, const LutCurves& curves) {
  const uint32_t* word = card.data();
  for (const auto* curve : {&curves.first, &curves.second, &curves.third}) {
    for (size_t i = 0; i < kLutEntries; i += 2, ++word) {
      const uint64_t pair = ((*curve)[i] & 0xFFFF) + ((*curve)[i + 1] & 0xFFFF) * uint64_t{65536};
      Require(*word == static_cast<uint32_t>(pair * 64));
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = WriteToFile(data, size);
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  LutCurves curves;
  if (ReadLutFile(path, &curves) != NxErrSuccess) {
    Require(Same(curves, LutCurves()));  // refused: as it was
    return 0;
  }
  const size_t header = text.find("LUT: 3 1024");
  Require(header != std::string_view::npos);
  // Entries behind the last line of the file are as they were: lines fill the first curve, then the
  // third, then the second, so nothing may be in a later one that the file is too short for.
  const size_t mostLines = text.size() - header;
  if (mostLines < kLutEntries) Require(curves.third == LutCurves().third);
  if (mostLines < 2 * kLutEntries) Require(curves.second == LutCurves().second);
  RequirePacked(BuildCardLut(curves), curves);
  // The same file gives the same curves, whatever stood before in the part that it fills.
  LutCurves again;
  Require(ReadLutFile(path, &again) == NxErrSuccess && Same(again, curves));
  return 0;
}
