#include "media/dpx.h"

#include <algorithm>
#include <iterator>

#include "media/still_header.h"

namespace morvane {
namespace {

constexpr uint32_t T2B = kOrientationTopDown;
constexpr uint32_t B2T = kOrientationBottomUp;

// clang-format off
constexpr SeqWriteFormat kFormats[] = {
  { FourCC("10rb"), "10-bit Log RGB 444(BE) T2B",   T2B, 10 },
  { FourCC("10rb"), "10-bit Log RGB 444(BE) B2T",   B2T, 10 },
  { FourCC("10rl"), "10-bit Log RGB 444(LE) T2B",   T2B, 10 },
  { FourCC("10rl"), "10-bit Log RGB 444(LE) B2T",   B2T, 10 },
  { FourCC("11rb"), "10-bit RGB 444(BE) T2B",       T2B, 10 },
  { FourCC("11rb"), "10-bit RGB 444(BE) B2T",       B2T, 10 },
  { FourCC("11rl"), "10-bit RGB 444(LE) T2B",       T2B, 10 },
  { FourCC("11rl"), "10-bit RGB 444(LE) B2T",       B2T, 10 },
  { FourCC("11rQ"), "10-bit SMPTE RGB 444(BE) T2B", T2B, 10 },
  { FourCC("11rQ"), "10-bit SMPTE RGB 444(BE) B2T", B2T, 10 },
};
// Written on demand, but not offered: nothing of ours reads them.
constexpr SeqWriteFormat kHiddenFormats[] = {
  { FourCC("10yb"), "10-bit RGB 444(LE) T2B",       T2B, 10 },
  { FourCC("10yb"), "10-bit RGB 444(LE) B2T",       B2T, 10 },
  { FourCC("rgba"), "8-bit RGBA 4444 (LE) T2B",     T2B, 8 },
  { FourCC("rgba"), "8-bit RGBA 4444 (LE) B2T",     B2T, 8 },
};
// clang-format on
static_assert(std::size(kFormats) == 10);

// A buffer for reading holds this much more than a frame.
constexpr int64_t kReadRoom = 2048;

const SeqWriteFormat* FindFormat(FourCCCode fourcc, uint32_t orientation) {
  const SeqWriteFormat* row = FindWriteFormat(kFormats, fourcc, orientation);
  return row != nullptr ? row : FindWriteFormat(kHiddenFormats, fourcc, orientation);
}

int64_t WholeSectors(int64_t bytes) {
  return (bytes + kSectorBytes - 1) / kSectorBytes * kSectorBytes;
}

// 10-bit 4:2:2: 8 bytes for 3 pixels. Deliberate: lines of 1280 are stored 1296 wide.
NxErr LayOutYuv(NxMediaCreateInfo* info) {
  const int64_t width = info->width;
  const int64_t height = info->height;
  StillLayout layout = {width, height, 4, kDpxHeaderBytes};  // checks the size with room to spare
  const NxErr result = LayOutFrame(layout, info);
  if (result != NxErrSuccess) return result;
  const int64_t stored = width == 1280 ? 1296 : width;
  info->imageBytes = static_cast<int32_t>(height * stored * 8 / 3);
  info->linePitch = static_cast<int32_t>(stored * 8 / 3);
  info->linePixels = static_cast<int32_t>(stored);
  info->frameBytes =
      static_cast<int32_t>(WholeSectors(int64_t{info->imageBytes} + kDpxHeaderBytes));
  return NxErrSuccess;
}

}  // namespace

NxErr NxMediaDPX::GetMetadataCaps(uint8_t caps[kMetadataCapsBytes]) const {
  std::fill_n(caps, kMetadataCapsBytes, uint8_t{0});
  caps[0] = 1;
  caps[2] = 1;
  caps[3] = 0xE0;
  return NxErrSuccess;
}

std::span<const SeqWriteFormat> NxMediaDPX::WriteFormats() const {
  return kFormats;
}

NxErr NxMediaDPX::PlanWrite(NxMediaCreateInfo* info) {
  const SeqWriteFormat* row = FindFormat(info->fourcc, info->orientation);
  if (row == nullptr) return NxErrVideoFormatNotSupported;
  PutName(info, row->name);
  info->bitDepth = static_cast<int32_t>(row->bitDepth);
  info->linePixels = info->width;
  const NxErr result = info->fourcc == FourCC("10yb")
                           ? LayOutYuv(info)
                           : LayOutFrame({info->width, info->height, 4, kDpxHeaderBytes}, info);
  if (result != NxErrSuccess) return result;
  isBig_ = DpxIsBigEndian(info->fourcc);
  MakeDpxHeader(*info, header_);
  return NxErrSuccess;
}

const uint8_t* NxMediaDPX::FrameHeader(const NxTimeCodeRecord& timeCode) {
  PutDpxTimecode(timeCode, isBig_, header_);
  return header_;
}

NxErr NxMediaDPX::ParseFrame(FrameSource* source, bool first, NxMediaFileInfo* info) {
  constexpr size_t kLastField = 816;  // end of the padding of the first element
  uint8_t header[kDpxHeaderBytes];
  NxErr result = ReadHeader(source, kLastField, sizeof header, header);
  if (result != NxErrSuccess) return result;
  bool isBig = false;
  result = ParseDpxHeader(header, info, &isBig);
  if (result != NxErrSuccess) return result;
  if (!first) return isBig == isBig_ ? NxErrSuccess : NxErrFailure;
  isBig_ = isBig;
  PutName(info, FindFormat(info->fourcc, info->orientation)->name);
  info->frameBytes =
      static_cast<int32_t>(WholeSectors(int64_t{info->imageBytes} + info->imageOffset + kReadRoom));
  return NxErrSuccess;
}

NxErr NxMediaDPX::ReadOwnTimecode(int32_t frame, NxTimeCodeRecord* record) {
  uint8_t header[kDpxHeaderBytes];
  const NxErr result = ReadFrameHeader(frame, sizeof header, header);
  if (result != NxErrSuccess) return result;
  return LoadDpxTimecode(header, *ReadInfo(), isBig_, record) ? NxErrSuccess : NxErrFailure;
}

FourCCCode NxMediaDPX::StoredFourcc(FourCCCode fourcc, uint32_t flags) const {
  constexpr uint32_t kFullRange = 0x01;
  if ((flags & kFullRange) == 0) return fourcc;
  if (fourcc == FourCC("11rQ")) return FourCC("11rb");
  return fourcc == FourCC("10RS") ? FourCC("10RG") : fourcc;
}

}  // namespace morvane
