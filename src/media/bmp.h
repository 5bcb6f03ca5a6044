#pragma once

#include "media/media_seq_file.h"

namespace morvane {

// Windows bitmaps of 24 or 32 bits, uncompressed. Ours begin their pixels at byte 512; others are
// read with their own offset. Lines are not padded to four bytes: a width that is no multiple of
// four at 24 bits shears between this class and other programs.
// The NxMediaSeq part stands first in the object.
class NxMediaBMP : public NxMediaSeqFile<NxMediaSeq, NxMediaFileBase> {
 protected:
  const char* ImageExtension() const override { return "bmp"; }
  const char* MediaName() const override { return "BMP Sequence"; }
  std::span<const SeqWriteFormat> WriteFormats() const override;
  NxErr PlanWrite(NxMediaCreateInfo* info) override;
  const uint8_t* FrameHeader(const NxTimeCodeRecord&) override { return header_; }
  NxErr ParseFrame(FrameSource* source, bool first, NxMediaFileInfo* info) override;
  void FinishPixels(FourCCCode source, uint8_t* pixels) override;
  int32_t BytesPerPixel() const override;

 private:
  uint8_t header_[kSectorBytes] = {};
};

}  // namespace morvane
