#include "media/tif.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "media/still_header.h"
#include "media/tif_library.h"

namespace morvane {
namespace {

constexpr uint32_t T2B = kOrientationTopDown;
constexpr uint32_t B2T = kOrientationBottomUp;

// clang-format off
constexpr SeqWriteFormat kFormats[] = {
  { FourCC("rgb "), "8-bit RGB 4:4:4(LE) - B2T",      B2T, 8 },
  { FourCC("rgba"), "8-bit RGBA 4:4:4:4(LE) - B2T",   B2T, 8 },
  { FourCC("rgb "), "8-bit RGB 4:4:4(LE) - T2B",      T2B, 8 },
  { FourCC("rgba"), "8-bit RGBA 4:4:4:4(LE) - T2B",   T2B, 8 },
  { FourCC("rg2b"), "8-bit RGB 4:4:4(BE) - B2T",      B2T, 8 },
  { FourCC("rgbb"), "8-bit RGBA 4:4:4:4(BE) - B2T",   B2T, 8 },
  { FourCC("rg2b"), "8-bit RGB 4:4:4(BE) - T2B",      T2B, 8 },
  { FourCC("rgbb"), "8-bit RGBA 4:4:4:4(BE) - T2B",   T2B, 8 },
  { FourCC("RGB "), "16-bit RGB 4:4:4(LE) - B2T",     B2T, 16 },
  { FourCC("RGB "), "16-bit RGB 4:4:4(LE) - T2B",     T2B, 16 },
};
// Read only.
constexpr SeqWriteFormat kReadFormats[] = {
  { FourCC("RGBA"), "16-bit RGBA 4:4:4:4(LE) - B2T",  B2T, 16 },
  { FourCC("RGBA"), "16-bit RGBA 4:4:4:4(LE) - T2B",  T2B, 16 },
  { FourCC("RGb "), "16-bit RGB 4:4:4(BE) - B2T",     B2T, 16 },
  { FourCC("RGb "), "16-bit RGB 4:4:4(BE) - T2B",     T2B, 16 },
};
// clang-format on
static_assert(std::size(kFormats) == 10);
constexpr char kLibraryName[] = "8-bit RGBA 4:4:4:4 - TifLib";
constexpr int64_t kLargestField = 65535;

const char* NameOf(const NxMediaFileInfo& info) {
  const SeqWriteFormat* row = FindWriteFormat(kFormats, info.fourcc, info.orientation);
  if (row == nullptr) row = FindWriteFormat(kReadFormats, info.fourcc, info.orientation);
  return row->name;
}

}  // namespace

std::span<const SeqWriteFormat> NxMediaTIF::WriteFormats() const {
  return kFormats;
}

NxErr NxMediaTIF::PlanWrite(NxMediaCreateInfo* info) {
  const SeqWriteFormat* row = FindWriteFormat(kFormats, info->fourcc, info->orientation);
  if (row == nullptr || info->width > kLargestField || info->height > kLargestField) {
    return NxErrVideoFormatNotSupported;
  }
  const NxErr result =
      LayOutFrame({info->width, info->height, BytesOfPixel(info->fourcc), sizeof header_}, info);
  if (result != NxErrSuccess) return result;
  PutName(info, row->name);
  info->bitDepth = static_cast<int32_t>(row->bitDepth);
  info->linePixels = info->width;
  MakeTifHeader(*info, header_);
  return NxErrSuccess;
}

NxErr NxMediaTIF::ParseFrame(FrameSource* source, bool, NxMediaFileInfo* info) {
  isLibrarys_ = !ParseTifDirectory(source, info);
  if (!isLibrarys_) {
    PutName(info, NameOf(*info));
    return NxErrSuccess;
  }
  int64_t width = 0;
  int64_t height = 0;
  if (!TifLibrarySize(source, &width, &height)) return NxErrVideoFormatNotSupported;
  const NxErr result = LayOutReadFrame({width, height, 4, 0}, info);
  if (result != NxErrSuccess) return result;
  info->fourcc = info->nativeFourcc = FourCC("rgba");
  info->orientation = kOrientationTopDown;
  info->bitDepth = 8;
  PutName(info, kLibraryName);
  return NxErrSuccess;
}

NxErr NxMediaTIF::ReadUnpacked(FrameSource* source, const NxMediaFileInfo& info, uint8_t* frame) {
  std::memset(frame, 0, static_cast<size_t>(info.frameBytes));
  if (reinterpret_cast<uintptr_t>(frame) % sizeof(uint32_t) == 0) {
    (void)TifLibraryRead(source, info.width, info.height, frame, info.imageBytes);
    return NxErrSuccess;
  }
  std::vector<uint32_t> words(static_cast<size_t>(info.imageBytes) / sizeof(uint32_t));
  auto* bytes = static_cast<uint8_t*>(static_cast<void*>(words.data()));
  (void)TifLibraryRead(source, info.width, info.height, bytes, info.imageBytes);
  std::memcpy(frame, bytes, static_cast<size_t>(info.imageBytes));
  return NxErrSuccess;
}

void NxMediaTIF::FinishPixels(FourCCCode source, uint8_t* pixels) {
  const FourCCCode fourcc = WriteInfo()->fourcc;
  if (fourcc == FourCC("rgba") || fourcc == FourCC("rgbb")) {
    MakeOpaque(source, pixels, WriteInfo()->imageBytes);
  }
}

int32_t NxMediaTIF::BytesPerPixel() const {
  return BytesOfPixel(ReadInfo() != nullptr ? ReadInfo()->fourcc : WriteInfo()->fourcc);
}

}  // namespace morvane
