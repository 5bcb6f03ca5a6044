#pragma once

#include "media/media_seq_file.h"

namespace morvane {

// Raw frames: every file is one picture of 8-bit 4:2:2 "2vuy", top line first, and nothing more.
// The length of a file tells its size; the sidecar is the only source of rate and aspect.
// Any size can be written; only the sizes of the table can be opened again.
class NxMediaYUV final : public NxMediaSeqFile<NxMediaFileBase, NxMediaSeq> {
 public:
  // True for a size of the table.
  [[nodiscard]] static bool IsRaster(int32_t width, int32_t height);

 protected:
  const char* ImageExtension() const override { return "yuv"; }
  const char* MediaName() const override { return "YUV Sequence"; }
  std::span<const SeqWriteFormat> WriteFormats() const override;
  NxErr PlanWrite(NxMediaCreateInfo* info) override;
  NxErr ParseFrame(FrameSource* source, bool first, NxMediaFileInfo* info) override;
  int32_t BytesPerPixel() const override { return 2; }
  // Exactly the picture: padding would make a file that cannot be opened again.
  uint64_t StoredBytes(const NxMediaCreateInfo& info) const override {
    return static_cast<uint64_t>(info.imageBytes);
  }
};

}  // namespace morvane
