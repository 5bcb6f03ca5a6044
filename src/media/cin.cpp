#include "media/cin.h"

#include <algorithm>

#include "media/still_header.h"

namespace morvane {
namespace {

constexpr char kLogName[] = "10-bit Log RGB 4:4:4 (BE)";
constexpr char kLinearName[] = "10-bit RGB 4:4:4 (BE)";
constexpr SeqWriteFormat kFormats[] = {
    {FourCC("10rb"), kLogName, kOrientationTopDown, 10},
};

constexpr uint32_t kMagic = 0x802A5FD7;
constexpr uint32_t kUndefined = 0xFFFFFFFF;
constexpr uint32_t kUndefinedFloat = 0x7F800000;  // this format says it with infinity
constexpr uint32_t kSectionBytes = 1024;
constexpr size_t kAtChannels = 196;
constexpr size_t kChannelBytes = 28;
constexpr size_t kThirdChannelDepth = kAtChannels + 2 * kChannelBytes + 2;
constexpr size_t kAtPacking = 681;
constexpr uint8_t kPackingWords = 5;  // three samples in a 32-bit word, left justified
constexpr int64_t kReadRoom = 2048;   // a buffer for reading holds this much more than a frame

void PutChannels(const NxMediaCreateInfo& info, const HeaderWriter& out) {
  for (size_t i = 0; i < 8; ++i) {
    const size_t at = kAtChannels + i * kChannelBytes;
    const bool isUsed = i < 3;
    out.Fill(at, isUsed ? 0 : 0xFF, 3);
    if (isUsed) {
      out.U8(at + 1, static_cast<uint8_t>(i + 1));
      out.U8(at + 2, static_cast<uint8_t>(info.bitDepth));
    }
    out.U32(at + 4, isUsed ? static_cast<uint32_t>(info.width) : kUndefined);
    out.U32(at + 8, isUsed ? static_cast<uint32_t>(info.height) : kUndefined);
    out.U32(at + 12, kUndefinedFloat);
    out.U32(at + 16, kUndefinedFloat);
    out.U32(at + 20, kUndefinedFloat);
    out.U32(at + 24, kUndefinedFloat);
    if (!isUsed) continue;
    out.Float(at + 12, 0.0f);
    out.Float(at + 20, 1023.0f);
  }
}

void MakeHeader(const NxMediaCreateInfo& info, uint8_t* header, size_t bytes) {
  std::memset(header, 0, bytes);
  const HeaderWriter out(header, true);
  out.U32(0, kMagic);
  out.U32(4, static_cast<uint32_t>(info.imageOffset));
  out.U32(8, kSectionBytes);
  out.U32(12, kSectionBytes);
  out.U32(20, static_cast<uint32_t>(info.frameBytes));
  out.Text(24, "V4.5");
  out.U8(192, info.orientation == kOrientationTopDown ? 0 : 1);
  out.U8(193, 3);
  PutChannels(info, out);
  for (size_t at = 420; at < 452; at += 4) out.U32(at, kUndefinedFloat);
  out.Text(452, "none");
  out.U8(kAtPacking, kPackingWords);
  for (size_t at = 972; at < 984; at += 4) out.U32(at, kUndefinedFloat);
  out.Fill(1024, 0xFF, 3);
  out.U32(1028, kUndefined);
  out.U32(1032, kUndefined);
  out.U32(1068, kUndefined);
  out.Float(1072, FrameRateOf(info.timeScale, info.timeRate));
  out.Text(1108, "none");
}

}  // namespace

NxErr NxMediaCIN::GetMetadataCaps(uint8_t caps[kMetadataCapsBytes]) const {
  std::fill_n(caps, kMetadataCapsBytes, uint8_t{0});
  return NxErrSuccess;
}

std::span<const SeqWriteFormat> NxMediaCIN::WriteFormats() const {
  return kFormats;
}

NxErr NxMediaCIN::PlanWrite(NxMediaCreateInfo* info) {
  const bool isLog = info->fourcc == FourCC("10rb");
  if ((!isLog && info->fourcc != FourCC("11rb")) || info->orientation > kOrientationTopDown) {
    return NxErrVideoFormatNotSupported;
  }
  const NxErr result = LayOutFrame({info->width, info->height, 4, sizeof header_}, info);
  if (result != NxErrSuccess) return result;
  PutName(info, isLog ? kLogName : kLinearName);
  info->bitDepth = 10;
  info->linePixels = info->width;
  MakeHeader(*info, header_, sizeof header_);
  return NxErrSuccess;
}

NxErr NxMediaCIN::ParseFrame(FrameSource* source, bool first, NxMediaFileInfo* info) {
  constexpr size_t kLastField = kAtPacking + 1;
  uint8_t header[kHeaderBytes];
  NxErr result = ReadHeader(source, kLastField, sizeof header, header);
  if (result != NxErrSuccess) return result;
  const HeaderReader in(header, true);
  if (in.U32(0) != kMagic || in.U8(192) > 1 || in.U8(193) != 3 || in.U8(kThirdChannelDepth) != 10 ||
      in.U8(kAtPacking) != kPackingWords) {
    return NxErrVideoFormatNotSupported;
  }
  result = LayOutReadFrame({in.U32(kAtChannels + 4), in.U32(kAtChannels + 8), 4, in.U32(4)}, info);
  if (result != NxErrSuccess) return result;
  info->fourcc = info->nativeFourcc = FourCC("10rb");
  info->orientation = in.U8(192) == 0 ? kOrientationTopDown : kOrientationBottomUp;
  info->bitDepth = 10;
  PutName(info, kLogName);
  if (first) {
    info->frameBytes = static_cast<int32_t>(
        (int64_t{info->imageBytes} + info->imageOffset + kReadRoom + kSectorBytes - 1) /
        kSectorBytes * kSectorBytes);
  }
  return NxErrSuccess;
}

}  // namespace morvane
