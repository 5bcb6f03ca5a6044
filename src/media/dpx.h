#pragma once

#include "media/dpx_header.h"
#include "media/media_seq_file.h"

namespace morvane {

// DPX frames, 10 bits RGB in 32-bit words of either byte order, behind a header of 2048 bytes that
// is made once a clip; only the timecode words differ from frame to frame.
// Written beside the offered formats, on demand: "10yb" (10-bit 4:2:2, from memory laid out as the
// file only) and 8-bit "rgba"; neither can be opened again.
class NxMediaDPX : public NxMediaSeqFile<NxMediaFileBase, NxMediaSeq> {
 public:
  [[nodiscard]] bool SupportsClipMetadata() const override { return true; }
  NxErr GetMetadataCaps(uint8_t caps[kMetadataCapsBytes]) const override;

  // Puts the timecode word and the user bits that the header of `frame` itself has into `record`;
  // ReadTimecode counts from the first frame's instead. Undefined user bits leave those that are
  // there.
  // Returns: 0; -2, and `record` as it was, for a frame without timecode or none of this clip; else
  // the code of the open or the read.
  NxErr ReadOwnTimecode(int32_t frame, NxTimeCodeRecord* record);

 protected:
  const char* ImageExtension() const override { return "dpx"; }
  const char* MediaName() const override { return "DPX Sequence"; }
  std::span<const SeqWriteFormat> WriteFormats() const override;
  NxErr PlanWrite(NxMediaCreateInfo* info) override;
  const uint8_t* FrameHeader(const NxTimeCodeRecord& timeCode) override;
  NxErr ParseFrame(FrameSource* source, bool first, NxMediaFileInfo* info) override;
  FourCCCode StoredFourcc(FourCCCode fourcc, uint32_t flags) const override;
  int32_t BytesPerPixel() const override { return 4; }

 private:
  bool isBig_ = false;  // of the clip
  uint8_t header_[kDpxHeaderBytes] = {};
};

}  // namespace morvane
