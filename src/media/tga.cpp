#include "media/tga.h"

#include <algorithm>
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
// The blank at the end of the first is part of it.
constexpr char kPackedName24[] = "8-bit RGB - RLE Encoded ";
constexpr char kPackedName32[] = "8-bit RGBA - RLE Encoded";

constexpr size_t kFixedBytes = 18;  // header without the image ID
constexpr uint8_t kTypeTrueColour = 2;
constexpr uint8_t kTypePacked = 10;
constexpr uint8_t kTopDownBit = 0x20;
constexpr uint8_t kMirroredBit = 0x10;
// Of a clip to be written, on demand: lines that run from the right, which our own reader ignores.
constexpr uint32_t kMirrored = 2;
constexpr int64_t kLargestField = 65535;

const char* NameOf(const NxMediaFileInfo& info, bool isPacked) {
  if (!isPacked) return FindWriteFormat(kFormats, info.fourcc, info.orientation)->name;
  return info.fourcc == FourCC("bgr ") ? kPackedName24 : kPackedName32;
}

}  // namespace

size_t ExpandTargaRuns(std::span<const uint8_t> packets, size_t bytesPerPixel,
                       std::span<uint8_t> target) {
  size_t from = 0;
  size_t to = 0;
  while (to < target.size() && from < packets.size()) {
    const uint8_t packet = packets[from++];
    const bool isRun = packet >= 128;
    const size_t pixels = isRun ? packet - 127u : packet + 1u;
    const size_t wanted = std::min(pixels * bytesPerPixel, target.size() - to);
    const size_t there = packets.size() - from;
    if (isRun) {
      if (there < bytesPerPixel) break;
      for (size_t i = 0; i < wanted; ++i) target[to + i] = packets[from + i % bytesPerPixel];
      from += bytesPerPixel;
      to += wanted;
    } else {
      const size_t whole = std::min(wanted, there / bytesPerPixel * bytesPerPixel);
      std::memcpy(target.data() + to, packets.data() + from, whole);
      from += whole;
      to += whole;
      if (whole < wanted) break;
    }
  }
  return to;
}

std::span<const SeqWriteFormat> NxMediaTGA::WriteFormats() const {
  return kFormats;
}

NxErr NxMediaTGA::PlanWrite(NxMediaCreateInfo* info) {
  const uint32_t order = info->orientation & ~kMirrored;
  const SeqWriteFormat* row = FindWriteFormat(kFormats, info->fourcc, order);
  if (row == nullptr || info->width > kLargestField || info->height > kLargestField) {
    return NxErrVideoFormatNotSupported;
  }
  const int32_t bytesPerPixel = BytesOfPixel(info->fourcc);
  const NxErr result =
      LayOutFrame({info->width, info->height, bytesPerPixel, sizeof header_}, info);
  if (result != NxErrSuccess) return result;
  PutName(info, row->name);
  info->bitDepth = static_cast<int32_t>(row->bitDepth);
  info->linePixels = info->width;

  std::memset(header_, 0, sizeof header_);
  const HeaderWriter out(header_, false);
  out.U8(0, sizeof header_ - kFixedBytes);
  out.U8(2, kTypeTrueColour);
  out.U16(12, static_cast<uint16_t>(info->width));
  out.U16(14, static_cast<uint16_t>(info->height));
  out.U8(16, static_cast<uint8_t>(bytesPerPixel * 8));
  out.U8(17, static_cast<uint8_t>((order == kOrientationTopDown ? kTopDownBit : 0) |
                                  (order != info->orientation ? kMirroredBit : 0)));
  return NxErrSuccess;
}

NxErr NxMediaTGA::ParseFrame(FrameSource* source, bool, NxMediaFileInfo* info) {
  uint8_t header[kFixedBytes];
  NxErr result = ReadHeader(source, sizeof header, sizeof header, header);
  if (result != NxErrSuccess) return result;
  const HeaderReader in(header, false);
  const uint8_t type = in.U8(2);
  const uint8_t depth = in.U8(16);
  if (in.U8(1) != 0 || (type != kTypeTrueColour && type != kTypePacked) ||
      (depth != 24 && depth != 32)) {
    return NxErrVideoFormatNotSupported;
  }
  result = LayOutReadFrame(
      {in.U16(12), in.U16(14), depth / 8, static_cast<int64_t>(in.U8(0) + kFixedBytes)}, info);
  if (result != NxErrSuccess) return result;
  isPacked_ = type == kTypePacked;
  info->fourcc = depth == 24 ? FourCC("bgr ") : FourCC("bgrA");
  info->nativeFourcc = isPacked_ ? FourCC("tgal") : info->fourcc;
  info->orientation = in.U8(17) & kTopDownBit ? kOrientationTopDown : kOrientationBottomUp;
  info->bitDepth = 8;
  PutName(info, NameOf(*info, isPacked_));
  return NxErrSuccess;
}

NxErr NxMediaTGA::ReadUnpacked(FrameSource* source, const NxMediaFileInfo& info, uint8_t* frame) {
  const auto frameBytes = static_cast<size_t>(info.frameBytes);
  const auto offset = static_cast<size_t>(info.imageOffset);
  uint64_t done = 0;
  if (!isPacked_) {
    const NxErr result = source->File()->ReadAt(0, frame, frameBytes, &done);
    std::memset(frame + done, 0, frameBytes - done);
    return result;
  }
  // Packets for noise are longer than the picture, by one byte in 129 or, from a poor packer, up to
  // one a pixel; what lies behind that is not picture.
  const uint64_t most = offset + static_cast<uint64_t>(info.imageBytes) * 2;
  const uint64_t stored = std::min(source->Bytes(), most);
  const uint64_t sectors = (stored + kSectorBytes - 1) / kSectorBytes;
  if (packed_.Bytes() < sectors * kSectorBytes && !packed_.Allocate(sectors * kSectorBytes)) {
    return NxErrOutOfMemory;
  }
  const NxErr result = source->File()->ReadAt(0, packed_.Data(), sectors * kSectorBytes, &done);
  std::memset(frame, 0, frameBytes);
  if (result != NxErrSuccess || done <= offset) return result;
  (void)ExpandTargaRuns({packed_.Data() + offset, static_cast<size_t>(done) - offset},
                        static_cast<size_t>(BytesOfPixel(info.fourcc)),
                        {frame + offset, static_cast<size_t>(info.imageBytes)});
  return NxErrSuccess;
}

void NxMediaTGA::FinishPixels(FourCCCode source, uint8_t* pixels) {
  if (WriteInfo()->fourcc == FourCC("bgrA")) MakeOpaque(source, pixels, WriteInfo()->imageBytes);
}

int32_t NxMediaTGA::BytesPerPixel() const {
  return BytesOfPixel(ReadInfo() != nullptr ? ReadInfo()->fourcc : WriteInfo()->fourcc);
}

}  // namespace morvane
