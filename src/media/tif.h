#pragma once

#include "media/media_seq_file.h"
#include "media/tif_directory.h"

namespace morvane {

// TIFF frames: written uncompressed in one strip behind 512 bytes of header and directory, read
// like that without a library. Every other TIFF is decoded through libtiff, to 8-bit "rgba" with
// the top line first; there, colours come multiplied by an alpha that is not associated.
class NxMediaTIF : public NxMediaSeqFile<NxMediaFileBase, NxMediaSeq> {
 protected:
  const char* ImageExtension() const override { return "tif"; }
  const char* MediaName() const override { return "TIFF Sequence"; }
  std::span<const SeqWriteFormat> WriteFormats() const override;
  NxErr PlanWrite(NxMediaCreateInfo* info) override;
  const uint8_t* FrameHeader(const NxTimeCodeRecord&) override { return header_; }
  NxErr ParseFrame(FrameSource* source, bool first, NxMediaFileInfo* info) override;
  // Of the frame that was parsed last.
  bool PixelsAreStored() const override { return !isLibrarys_; }
  NxErr ReadUnpacked(FrameSource* source, const NxMediaFileInfo& info, uint8_t* frame) override;
  void FinishPixels(FourCCCode source, uint8_t* pixels) override;
  int32_t BytesPerPixel() const override;

 private:
  bool isLibrarys_ = false;
  uint8_t header_[kTifHeaderBytes] = {};
};

}  // namespace morvane
