#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/clip_door.h"

namespace morvane::tools {

// Reads one sample, little-endian, as a fraction of full scale.
[[nodiscard]] double LoadSample(FourCCCode format, const uint8_t* from);
// Writes one sample. Integers are rounded and held to their range, half away from zero.
void StoreSample(FourCCCode format, double value, uint8_t* to);

// Copies the sound of one clip into another that is being written, a run of samples at a time.
// Channels keep their order: those of all files of the source, one file after the other, become
// those of the destination's files; what is left over in the last file is silent. Samples of the
// same format are copied bit by bit.
// Both clips outlive the copier. Threads: one.
class SoundCopy {
 public:
  // Completes `to` (fourcc and channelsPerFile set) for the sound of `from`.
  // Returns: words for the user, empty when all went well.
  [[nodiscard]] static std::string Plan(const NxMediaFileInfo& from, NxMediaFileBase& writer,
                                        NxMediaAudioInfo* to);

  // `first`: picture frame at which the copy begins, at the rate scale/rate.
  SoundCopy(OpenClip& from, NxMediaFileBase& writer, const NxMediaAudioInfo& to, int32_t first,
            int32_t scale, int32_t rate);

  // Samples before picture frame `frame` of the copy.
  [[nodiscard]] uint64_t SamplesBefore(int32_t frame) const;
  // Samples from the first frame to the end of the longest file.
  [[nodiscard]] uint64_t Length() const;
  // Copies on until `samples` samples of each file, or the source's end, are written.
  // Returns: 0, or the code of the read or the write.
  [[nodiscard]] NxErr CopyUntil(uint64_t samples);

 private:
  NxErr ReadFiles(uint64_t samples);
  NxErr WriteFiles(uint64_t samples);
  [[nodiscard]] uint64_t LengthOf(int32_t file) const;

  OpenClip& from_;
  NxMediaFileBase& writer_;
  NxMediaAudioInfo to_;
  int32_t first_;
  int32_t scale_;
  int32_t rate_;
  uint64_t start_;                           // sample of the source at which the copy begins
  uint64_t done_ = 0;                        // samples copied
  std::vector<std::vector<uint8_t>> files_;  // what was read last, one of each source file
  std::vector<uint8_t> out_;
};

}  // namespace morvane::tools
