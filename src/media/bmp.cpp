#include "media/bmp.h"

#include <cstdlib>
#include <iterator>

#include "media/still_header.h"

namespace morvane {
namespace {

// clang-format off
constexpr SeqWriteFormat kFormats[] = {
  { FourCC("bgr "), "8-bit RGB 4:4:4 - B2T",    kOrientationBottomUp, 8 },
  { FourCC("bgrA"), "8-bit RGBA 4:4:4:4 - B2T", kOrientationBottomUp, 8 },
  { FourCC("bgr "), "8-bit RGB 4:4:4 - T2B",    kOrientationTopDown,  8 },
  { FourCC("bgrA"), "8-bit RGBA 4:4:4:4 - T2B", kOrientationTopDown,  8 },
};
// clang-format on
static_assert(std::size(kFormats) == 4);

constexpr uint16_t kSignature = 0x4D42;
constexpr uint32_t kInfoBytes = 40;  // of the header variant that is written and read
constexpr size_t kHeadersBytes = 54;

}  // namespace

std::span<const SeqWriteFormat> NxMediaBMP::WriteFormats() const {
  return kFormats;
}

NxErr NxMediaBMP::PlanWrite(NxMediaCreateInfo* info) {
  const SeqWriteFormat* row = FindWriteFormat(kFormats, info->fourcc, info->orientation);
  if (row == nullptr) return NxErrVideoFormatNotSupported;
  const int32_t bytesPerPixel = BytesOfPixel(info->fourcc);
  const NxErr result =
      LayOutFrame({info->width, info->height, bytesPerPixel, sizeof header_}, info);
  if (result != NxErrSuccess) return result;
  PutName(info, row->name);
  info->bitDepth = static_cast<int32_t>(row->bitDepth);
  info->linePixels = info->width;

  const bool isTopDown = info->orientation == kOrientationTopDown;
  std::memset(header_, 0, sizeof header_);
  const HeaderWriter out(header_, false);
  out.U16(0, kSignature);
  out.U32(2, static_cast<uint32_t>(info->frameBytes));
  out.U32(10, sizeof header_);
  out.U32(14, kInfoBytes);
  out.U32(18, static_cast<uint32_t>(info->width));
  out.U32(22, static_cast<uint32_t>(isTopDown ? -info->height : info->height));
  out.U16(26, 1);
  out.U16(28, static_cast<uint16_t>(bytesPerPixel * 8));
  out.U32(34, static_cast<uint32_t>(info->imageBytes));
  return NxErrSuccess;
}

NxErr NxMediaBMP::ParseFrame(FrameSource* source, bool, NxMediaFileInfo* info) {
  uint8_t header[kHeadersBytes];
  NxErr result = ReadHeader(source, sizeof header, sizeof header, header);
  if (result != NxErrSuccess) return result;
  const HeaderReader in(header, false);
  const uint16_t bits = in.U16(28);
  if (in.U16(0) != kSignature || in.U32(14) != kInfoBytes || (bits != 24 && bits != 32) ||
      in.U32(30) != 0) {
    return NxErrVideoFormatNotSupported;
  }
  const int64_t height = static_cast<int32_t>(in.U32(22));
  const int64_t offset = in.U32(10);
  // Pixels inside the header would be the header.
  if (offset < static_cast<int64_t>(kHeadersBytes)) return NxErrVideoFormatNotSupported;
  result =
      LayOutReadFrame({static_cast<int32_t>(in.U32(18)), std::abs(height), bits / 8, offset}, info);
  if (result != NxErrSuccess) return result;
  info->fourcc = info->nativeFourcc = bits == 24 ? FourCC("bgr ") : FourCC("bgrA");
  info->orientation = height < 0 ? kOrientationTopDown : kOrientationBottomUp;
  info->bitDepth = 8;
  PutName(info, FindWriteFormat(kFormats, info->fourcc, info->orientation)->name);
  return NxErrSuccess;
}

void NxMediaBMP::FinishPixels(FourCCCode source, uint8_t* pixels) {
  if (WriteInfo()->fourcc == FourCC("bgrA")) MakeOpaque(source, pixels, WriteInfo()->imageBytes);
}

int32_t NxMediaBMP::BytesPerPixel() const {
  return BytesOfPixel(ReadInfo() != nullptr ? ReadInfo()->fourcc : WriteInfo()->fourcc);
}

}  // namespace morvane
