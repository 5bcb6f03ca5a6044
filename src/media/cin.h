#pragma once

#include "media/media_seq_file.h"

namespace morvane {

// Cineon frames, version 4.5: 10-bit log RGB in big-endian words behind a header of 2048 bytes.
// "11rb" is written too, under the same header, and comes back as "10rb".
class NxMediaCIN : public NxMediaSeqFile<NxMediaFileBase, NxMediaSeq> {
 public:
  NxErr GetMetadataCaps(uint8_t caps[kMetadataCapsBytes]) const override;

 protected:
  const char* ImageExtension() const override { return "cin"; }
  const char* MediaName() const override { return "Cineon Sequence"; }
  std::span<const SeqWriteFormat> WriteFormats() const override;
  NxErr PlanWrite(NxMediaCreateInfo* info) override;
  const uint8_t* FrameHeader(const NxTimeCodeRecord&) override { return header_; }
  NxErr ParseFrame(FrameSource* source, bool first, NxMediaFileInfo* info) override;
  int32_t BytesPerPixel() const override { return 4; }

 private:
  static constexpr size_t kHeaderBytes = 2048;
  uint8_t header_[kHeaderBytes] = {};
};

}  // namespace morvane
