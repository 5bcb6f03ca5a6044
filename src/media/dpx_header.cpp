#include "media/dpx_header.h"

#include <cmath>

#include "media/media_text.h"
#include "media/media_timecode.h"
#include "media/still_header.h"

namespace morvane {
namespace {

constexpr uint32_t kMagic = 0x53445058;
constexpr uint32_t kAllOnes = 0xFFFFFFFF;
// 2^32 as a float. Stands where the standard asks for all ones, and is read as undefined too.
constexpr uint32_t kUndefinedFloat = 0x4F800000;
constexpr uint32_t kHighQuantity = 0x447FC000;  // 1023.0, also in files of 8 bits
constexpr uint32_t kGenericBytes = 0x680;
constexpr uint32_t kIndustryBytes = 0x180;
constexpr size_t kElementBytes = 72;
constexpr uint8_t kDescriptorRgb = 50;
constexpr uint8_t kDescriptorRgba = 51;
constexpr uint8_t kDescriptorYuv = 100;
constexpr uint8_t kTransferLog = 3;
constexpr uint8_t kTransferLinear = 2;
constexpr uint32_t kSmpteLow = 64;
constexpr uint32_t kSmpteHigh = 940;
constexpr uint16_t kEncodingRunLength = 1;

// Where fields lie, from the start of the file.
constexpr size_t kAtCreator = 160;
constexpr size_t kCreatorBytes = 100;
constexpr size_t kAtElement = 780;
constexpr size_t kAtFrameRate = 1724;
constexpr size_t kAtTimeCode = 1920;
constexpr size_t kAtUserBits = 1924;

struct RateRow {
  int32_t whole;
  uint32_t timeCodeType;
  int32_t scale;
  int32_t rate;
};
// clang-format off
constexpr RateRow kRates[] = {
  // truncated  type  scale  rate
  {  23,        0,    24000, 1001 },
  {  24,        0,    24000, 1000 },
  {  25,        1,    25000, 1000 },
  {  29,        2,    30000, 1001 },
  {  30,        2,    30000, 1000 },
  {  50,        1,    50000, 1000 },
  {  59,        2,    60000, 1001 },
  {  60,        2,    60000, 1000 },
};
// clang-format on

uint8_t DescriptorOf(FourCCCode fourcc) {
  if (fourcc == FourCC("10yb")) return kDescriptorYuv;
  return fourcc == FourCC("rgba") ? kDescriptorRgba : kDescriptorRgb;
}

bool IsLog(FourCCCode fourcc) {
  return fourcc == FourCC("10rb") || fourcc == FourCC("10rl");
}

void PutElements(const NxMediaCreateInfo& info, const HeaderWriter& out, const HeaderWriter& raw) {
  const bool isSmpte = info.fourcc == FourCC("11rQ");
  const size_t at = kAtElement;
  out.U32(at + 4, isSmpte ? kSmpteLow : 0);
  out.U32(at + 12, isSmpte ? kSmpteHigh : info.bitDepth == 10 ? 1023 : 255);
  raw.U32(at + 16, kHighQuantity);
  out.U8(at + 20, DescriptorOf(info.fourcc));
  out.U8(at + 21, IsLog(info.fourcc) ? kTransferLog : kTransferLinear);
  out.U8(at + 23, static_cast<uint8_t>(info.bitDepth));
  out.U16(at + 24, 1);
  out.U32(at + 28, static_cast<uint32_t>(info.imageOffset));
  out.U32(at + 36, static_cast<uint32_t>(info.frameBytes - info.imageBytes - info.imageOffset));
  for (size_t i = 1; i < 8; ++i) {
    const size_t unused = kAtElement + i * kElementBytes;
    raw.Fill(unused, 0xFF, 40);
    raw.U32(unused + 8, kUndefinedFloat);
    raw.U32(unused + 16, kUndefinedFloat);
  }
}

void PutSource(const NxMediaCreateInfo& info, const HeaderWriter& out, const HeaderWriter& raw) {
  raw.U32(1412, kAllOnes);
  raw.U32(1416, kUndefinedFloat);
  raw.U32(1420, kUndefinedFloat);
  raw.U32(1424, kAllOnes);
  raw.U32(1428, kAllOnes);
  out.Text(1556, "VYR");
  raw.Fill(1620, 0xFF, 8);
  out.U32(1628, static_cast<uint32_t>(info.parNum));
  out.U32(1632, static_cast<uint32_t>(info.parDen));
}

void PutFilmAndTelevision(const NxMediaCreateInfo& info, const HeaderWriter& out,
                          const HeaderWriter& raw) {
  raw.U32(1712, kAllOnes);
  raw.U32(1716, kAllOnes);
  out.U32(1720, 1);
  out.Float(kAtFrameRate, FrameRateOf(info.timeScale, info.timeRate));
  raw.U32(1728, kUndefinedFloat);
  out.Text(1764, "none");
  raw.Fill(kAtTimeCode, 0xFF, 11);
  for (size_t at = 1932; at < 1972; at += 4) raw.U32(at, kUndefinedFloat);
}

// The format that the header's transfer and range stand for.
FourCCCode FourccOf(const HeaderReader& in, bool isBig) {
  const bool isLog = in.U8(kAtElement + 21) == kTransferLog;
  if (!isBig) return isLog ? FourCC("10rl") : FourCC("11rl");
  if (isLog) return FourCC("10rb");
  const bool isSmpte = in.U32(kAtElement + 4) == kSmpteLow && in.U32(kAtElement + 12) == kSmpteHigh;
  return isSmpte ? FourCC("11rQ") : FourCC("11rb");
}

// Fields that the image has overwritten are picture, whatever they look like.
bool HasField(size_t at, const NxMediaFileInfo& info) {
  return at + 4 <= static_cast<size_t>(info.imageOffset);
}

bool HasTimecode(const HeaderReader& in, const NxMediaFileInfo& info) {
  return HasField(kAtTimeCode, info) && in.U32(kAtTimeCode) != kAllOnes;
}

// Deliberate: the reverse of all other words, as this one and the user bits are strings of bytes.
uint32_t ReversedWord(const HeaderReader& in, size_t at) {
  return __builtin_bswap32(in.U32(at));
}

void ReadTimecodeFields(const HeaderReader& in, NxMediaFileInfo* info) {
  if (!HasTimecode(in, *info)) return;
  NxTimeCodeRecord record = {};
  record.tcScale = record.tcRate = -1;
  const float rate = HasField(kAtFrameRate, *info) ? in.Float(kAtFrameRate) : 0.0f;
  // Zero, 2^32 and the not-a-number of all ones are all ways to say nothing.
  if (std::isfinite(rate) && rate >= 1.0f && rate <= 1000.0f) {
    for (const RateRow& row : kRates) {
      if (row.whole != static_cast<int32_t>(rate)) continue;
      record.timeCodeType = row.timeCodeType;
      record.tcScale = row.scale;
      record.tcRate = row.rate;
    }
  }
  record.timeCode = ReversedWord(in, kAtTimeCode);
  PutTimecode(record, &info->metadata);
}

}  // namespace

bool DpxIsBigEndian(FourCCCode fourcc) {
  return fourcc == FourCC("10rb") || fourcc == FourCC("11rb") || fourcc == FourCC("11rQ") ||
         fourcc == FourCC("10yb");
}

void MakeDpxHeader(const NxMediaCreateInfo& info, uint8_t* header) {
  std::memset(header, 0, kDpxHeaderBytes);
  const HeaderWriter out(header, DpxIsBigEndian(info.fourcc));
  const HeaderWriter raw(header, false);
  out.U32(0, kMagic);
  out.U32(4, static_cast<uint32_t>(info.imageOffset));
  out.Text(8, "V1.0");
  out.U32(16, static_cast<uint32_t>(info.frameBytes));
  out.U32(20, 1);
  out.U32(24, kGenericBytes);
  out.U32(28, kIndustryBytes);
  out.Text(kAtCreator, "VYR");
  if (info.metadata.presentFlags & kMetaReelName) {
    static_assert(sizeof info.metadata.reelName <= kCreatorBytes);
    out.Fill(kAtCreator, 0, kCreatorBytes);
    out.Text(kAtCreator, FieldText(info.metadata.reelName, sizeof info.metadata.reelName));
  }
  out.Text(260, "none");
  raw.U32(660, kAllOnes);
  out.U16(768, info.orientation == kOrientationBottomUp ? 2 : 0);
  out.U16(770, 1);
  out.U32(772, static_cast<uint32_t>(info.width));
  out.U32(776, static_cast<uint32_t>(info.height));
  PutElements(info, out, raw);
  PutSource(info, out, raw);
  PutFilmAndTelevision(info, out, raw);
}

void PutDpxTimecode(const NxTimeCodeRecord& timeCode, bool isBig, uint8_t* header) {
  const bool has = (timeCode.flags & kTimeCodePresent) != 0;
  // Deliberate: unswapped in big-endian files and swapped in little-endian ones.
  const HeaderWriter reversed(header, !isBig);
  reversed.U32(kAtTimeCode, has ? timeCode.timeCode : 0);
  reversed.U32(kAtUserBits, has ? timeCode.userBits : 0);
}

bool LoadDpxTimecode(const uint8_t* header, const NxMediaFileInfo& info, bool isBig,
                     NxTimeCodeRecord* timeCode) {
  const HeaderReader in(header, isBig);
  if (!HasTimecode(in, info)) return false;
  timeCode->timeCode = ReversedWord(in, kAtTimeCode);
  if (HasField(kAtUserBits, info) && in.U32(kAtUserBits) != kAllOnes) {
    timeCode->userBits = ReversedWord(in, kAtUserBits);
  }
  return true;
}

NxErr ParseDpxHeader(const uint8_t* header, NxMediaFileInfo* info, bool* isBig) {
  const bool isBigFile = LoadBe32(header) == kMagic;
  if (!isBigFile && LoadLe32(header) != kMagic) return NxErrVideoFormatNotSupported;
  const HeaderReader in(header, isBigFile);
  StillLayout layout;
  layout.imageOffset = in.U32(4);
  // Deliberate: a picture right behind the generic section begins a word later.
  if (layout.imageOffset == kGenericBytes) layout.imageOffset += 4;
  layout.width = in.U32(772);
  layout.height = in.U32(776);
  layout.bytesPerPixel = 4;
  const uint16_t orientation = in.U16(768);
  const uint32_t linePadding = in.U32(kAtElement + 32);
  if ((orientation != 0 && orientation != 2 && orientation != 6) || in.U8(kAtElement + 23) != 10 ||
      in.U16(kAtElement + 24) != 1 || in.U16(kAtElement + 26) == kEncodingRunLength ||
      (linePadding != 0 && linePadding != kAllOnes) || in.U8(kAtElement + 20) != kDescriptorRgb) {
    return NxErrVideoFormatNotSupported;
  }
  const NxErr result = LayOutReadFrame(layout, info);
  if (result != NxErrSuccess) return result;
  info->fourcc = FourccOf(in, isBigFile);
  // What to ask for second: the word that the card has for little-endian files of either kind.
  info->nativeFourcc = isBigFile ? info->fourcc : FourCC("10RG");
  info->orientation = orientation == 0 ? kOrientationTopDown : kOrientationBottomUp;
  info->bitDepth = 10;
  ReadTimecodeFields(in, info);
  *isBig = isBigFile;
  return NxErrSuccess;
}

}  // namespace morvane
