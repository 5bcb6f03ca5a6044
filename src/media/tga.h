#pragma once

#include "base/page_memory.h"
#include "media/media_seq_file.h"

namespace morvane {

// Targa true-colour frames of 24 or 32 bits behind 128 bytes of header and image ID. Run-length
// files are read too: they expand as they come, and a clip may mix them with plain ones.
class NxMediaTGA : public NxMediaSeqFile<NxMediaFileBase, NxMediaSeq> {
 protected:
  const char* ImageExtension() const override { return "tga"; }
  const char* MediaName() const override { return "TGA Sequence"; }
  std::span<const SeqWriteFormat> WriteFormats() const override;
  NxErr PlanWrite(NxMediaCreateInfo* info) override;
  const uint8_t* FrameHeader(const NxTimeCodeRecord&) override { return header_; }
  NxErr ParseFrame(FrameSource* source, bool first, NxMediaFileInfo* info) override;
  // Of the frame that was parsed last.
  bool PixelsAreStored() const override { return !isPacked_; }
  NxErr ReadUnpacked(FrameSource* source, const NxMediaFileInfo& info, uint8_t* frame) override;
  void FinishPixels(FourCCCode source, uint8_t* pixels) override;
  int32_t BytesPerPixel() const override;

 private:
  static constexpr size_t kHeaderBytes = 128;

  bool isPacked_ = false;
  uint8_t header_[kHeaderBytes] = {};
  PageBuffer packed_;  // a run-length file as it lies on the disk
};

// Expands run-length packets of pixels of `bytesPerPixel` into `target`. A run may cross lines; the
// last one stops at the end of `target`, a packet that the source does not hold whole ends it.
// Returns: bytes of `target` that were written.
[[nodiscard]] size_t ExpandTargaRuns(std::span<const uint8_t> packets, size_t bytesPerPixel,
                                     std::span<uint8_t> target);

}  // namespace morvane
