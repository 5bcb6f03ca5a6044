#include "media/tif_directory.h"

#include "media/still_header.h"

namespace morvane {
namespace {

constexpr uint16_t kVersion = 42;
constexpr size_t kEntryBytes = 12;
constexpr int32_t kMostEntries = 512;  // a longer directory is the library's
constexpr uint16_t kLastTag = 2000;    // private tags lie behind
constexpr uint32_t kMostSamples = 4;

constexpr uint16_t kTypeShort = 3;
constexpr uint16_t kTypeLong = 4;
constexpr uint16_t kTypeRational = 5;

constexpr uint32_t kPhotometricRgb = 2;
constexpr uint32_t kTopLeft = 1;
constexpr uint32_t kBottomLeft = 4;

// Of a written file: where what does not fit into an entry lies.
constexpr uint32_t kAtDirectory = 8;
constexpr uint32_t kAtBits = 206;
constexpr uint32_t kAtResolutionX = 214;
constexpr uint32_t kAtResolutionY = 222;

bool IsBigEndian(FourCCCode fourcc) {
  return fourcc == FourCC("rg2b") || fourcc == FourCC("rgbb");
}

class DirectoryWriter {
 public:
  explicit DirectoryWriter(const HeaderWriter& out) : out_(out) {}
  void Put(uint16_t tag, uint16_t type, uint32_t count, uint32_t value) {
    out_.U16(at_, tag);
    out_.U16(at_ + 2, type);
    out_.U32(at_ + 4, count);
    // One short stands in the first half of the value, in either byte order.
    if (type == kTypeShort && count == 1) {
      out_.U16(at_ + 8, static_cast<uint16_t>(value));
    } else {
      out_.U32(at_ + 8, value);
    }
    at_ += kEntryBytes;
  }

 private:
  const HeaderWriter& out_;
  size_t at_ = kAtDirectory + 2;
};

// What a directory says; absent tags keep what they stand for.
struct Directory {
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t bits = 1;
  uint32_t compression = 1;
  uint32_t photometric = 0;
  uint32_t fillOrder = 1;
  uint32_t stripOffset = 0;
  uint32_t stripBytes = UINT32_MAX;
  uint32_t orientation = kTopLeft;
  uint32_t samples = 1;
  uint32_t planar = 1;
  uint32_t sampleFormat = 1;
};

class DirectoryReader {
 public:
  DirectoryReader(FrameSource* source, bool isBig) : source_(source), isBig_(isBig) {}

  // Returns: false if the file is damaged or not for the plain way.
  [[nodiscard]] bool Read(uint32_t at, Directory* directory) {
    uint8_t count[2];
    if (!source_->Read(at, count, sizeof count)) return false;
    const uint32_t entries = HeaderReader(count, isBig_).U16(0);
    if (entries > kMostEntries) return false;
    for (uint32_t i = 0; i < entries; ++i) {
      uint8_t entry[kEntryBytes];
      const uint64_t place = uint64_t{at} + 2 + uint64_t{i} * kEntryBytes;
      if (!source_->Read(place, entry, sizeof entry)) return false;
      if (!TakeEntry(HeaderReader(entry, isBig_), directory)) return false;
    }
    return true;
  }

 private:
  bool TakeEntry(const HeaderReader& entry, Directory* d) {
    const uint16_t tag = entry.U16(0);
    if (tag > kLastTag) return true;
    switch (tag) {
      case 256:
        return TakeOne(entry, &d->width);
      case 257:
        return TakeOne(entry, &d->height);
      case 258:
        return TakeEqual(entry, &d->bits);
      case 259:
        return TakeOne(entry, &d->compression);
      case 262:
        return TakeOne(entry, &d->photometric);
      case 266:
        return TakeOne(entry, &d->fillOrder);
      case 273:  // more strips than one are the library's
        return TakeOne(entry, &d->stripOffset);
      case 274:
        return TakeOne(entry, &d->orientation);
      case 277:
        return TakeOne(entry, &d->samples);
      case 279:
        return TakeOne(entry, &d->stripBytes);
      case 284:
        return TakeOne(entry, &d->planar);
      case 322:  // tiles
        return false;
      case 339:
        return TakeEqual(entry, &d->sampleFormat);
      default:
        return true;
    }
  }

  // A single number.
  static bool TakeOne(const HeaderReader& entry, uint32_t* value) {
    if (entry.U32(4) != 1) return false;
    const uint16_t type = entry.U16(2);
    if (type == kTypeShort) *value = entry.U16(8);
    if (type == kTypeLong) *value = entry.U32(8);
    return type == kTypeShort || type == kTypeLong;
  }

  // One short a sample, all of them equal.
  bool TakeEqual(const HeaderReader& entry, uint32_t* value) {
    const uint32_t count = entry.U32(4);
    if (entry.U16(2) != kTypeShort || count < 1 || count > kMostSamples) return false;
    uint8_t bytes[2 * kMostSamples];
    const size_t size = 2 * count;
    if (size > 4) {
      if (!source_->Read(entry.U32(8), bytes, size)) return false;
    } else {
      for (size_t i = 0; i < size; ++i) bytes[i] = entry.U8(8 + i);
    }
    const HeaderReader values(bytes, isBig_);
    for (uint32_t i = 1; i < count; ++i) {
      if (values.U16(2 * i) != values.U16(0)) return false;
    }
    *value = values.U16(0);
    return true;
  }

  FrameSource* source_;
  bool isBig_;
};

// 0 for a picture that has no format of ours.
FourCCCode FourccOf(const Directory& d, bool isBig) {
  if (d.bits == 8 && d.samples == 3) return isBig ? FourCC("rg2b") : FourCC("rgb ");
  if (d.bits == 8 && d.samples == 4) return isBig ? FourCC("rgbb") : FourCC("rgba");
  if (d.bits == 16 && d.samples == 3) return isBig ? FourCC("RGb ") : FourCC("RGB ");
  if (d.bits == 16 && d.samples == 4 && !isBig) return FourCC("RGBA");
  return 0;
}

}  // namespace

void MakeTifHeader(const NxMediaCreateInfo& info, uint8_t* header) {
  const bool isBig = IsBigEndian(info.fourcc);
  const auto bytesPerPixel = static_cast<uint32_t>(BytesOfPixel(info.fourcc));
  const uint32_t sampleBytes = info.bitDepth == 16 ? 2 : 1;
  const uint32_t samples = bytesPerPixel / sampleBytes;
  const bool hasAlpha = samples == 4;
  std::memset(header, 0, kTifHeaderBytes);
  const HeaderWriter out(header, isBig);
  out.Text(0, isBig ? "MM" : "II");
  out.U16(2, kVersion);
  out.U32(4, kAtDirectory);
  out.U16(kAtDirectory, hasAlpha ? 16 : 15);
  DirectoryWriter directory(out);
  directory.Put(254, kTypeLong, 1, 0);
  directory.Put(256, kTypeShort, 1, static_cast<uint32_t>(info.width));
  directory.Put(257, kTypeShort, 1, static_cast<uint32_t>(info.height));
  directory.Put(258, kTypeShort, samples, kAtBits);
  directory.Put(259, kTypeShort, 1, 1);
  directory.Put(262, kTypeShort, 1, kPhotometricRgb);
  directory.Put(273, kTypeLong, 1, kTifHeaderBytes);
  directory.Put(274, kTypeShort, 1,
                info.orientation == kOrientationTopDown ? kTopLeft : kBottomLeft);
  directory.Put(277, kTypeShort, 1, samples);
  directory.Put(278, kTypeShort, 1, static_cast<uint32_t>(info.height));
  directory.Put(279, kTypeLong, 1, static_cast<uint32_t>(info.imageBytes));
  directory.Put(282, kTypeRational, 1, kAtResolutionX);
  directory.Put(283, kTypeRational, 1, kAtResolutionY);
  directory.Put(284, kTypeShort, 1, 1);
  directory.Put(296, kTypeShort, 1, 2);
  if (hasAlpha) directory.Put(338, kTypeShort, 1, 2);
  for (uint32_t i = 0; i < samples; ++i) {
    out.U16(kAtBits + 2 * i, static_cast<uint16_t>(8 * sampleBytes));
  }
  for (const uint32_t at : {kAtResolutionX, kAtResolutionY}) {
    out.U32(at, 72);
    out.U32(at + 4, 1);
  }
}

bool ParseTifDirectory(FrameSource* source, NxMediaFileInfo* info) {
  uint8_t head[8];
  if (!source->Read(0, head, sizeof head)) return false;
  const bool isBig = head[0] == 'M';
  if ((head[0] != 'M' && head[0] != 'I') || head[1] != head[0]) return false;
  const HeaderReader in(head, isBig);
  Directory d;
  if (in.U16(2) != kVersion || !DirectoryReader(source, isBig).Read(in.U32(4), &d)) return false;
  const FourCCCode fourcc = FourccOf(d, isBig);
  if (fourcc == 0 || d.compression != 1 || d.photometric != kPhotometricRgb || d.fillOrder != 1 ||
      d.planar != 1 || d.sampleFormat != 1 || d.stripOffset < sizeof head ||
      (d.orientation != kTopLeft && d.orientation != kBottomLeft)) {
    return false;
  }
  const StillLayout layout = {d.width, d.height, BytesOfPixel(fourcc), d.stripOffset};
  NxMediaInfoHead place = *info;
  if (LayOutReadFrame(layout, &place) != NxErrSuccess) return false;
  const auto imageBytes = static_cast<uint64_t>(place.imageBytes);
  if (d.stripBytes < imageBytes || d.stripOffset + imageBytes > source->Bytes()) return false;
  static_cast<NxMediaInfoHead&>(*info) = place;
  info->fourcc = info->nativeFourcc = fourcc;
  info->orientation = d.orientation == kTopLeft ? kOrientationTopDown : kOrientationBottomUp;
  info->bitDepth = static_cast<int32_t>(d.bits);
  return true;
}

}  // namespace morvane
