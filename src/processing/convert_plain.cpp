#include <cstring>

#include "processing/line_job.h"
#include "processing/pixel_access.h"

// The reference of all conversions: formula by formula, in double precision, in the written order.
// No fused operation may stand here; the build forbids silent ones.
namespace morvane {
namespace {

// A pair's chroma and what the pixel between it and the next pair gets.
struct Chroma {
  double cb, cr;
};

double RedOf(const NxColorContext& c, double y, double cr) {
  return (cr - c.cOffR) * c.crToR + (y - c.yOffR) * c.yGainR;
}

double BlueOf(const NxColorContext& c, double y, double cb) {
  return (cb - c.cOffB) * c.cbToB + (y - c.yOffB) * c.yGainB;
}

double GreenOf(const NxColorContext& c, double y, double cb, double cr) {
  return (cr - c.cOffG1) * c.crToG + (y - c.yOffG) * c.yGainG + (cb - c.cOffG2) * c.cbToG;
}

// A matrix result as a component of the target, 0..255 or 0..1023.
uint32_t Quantized(const LineJob& job, double x) {
  const bool fromTen = job.src->pixelClass == PixelClass::kYuv10;
  if (job.dst->pixelClass == PixelClass::kRgb8) {
    return ClipTruncated((fromTen ? x / 4 : x) + 0.5, 0, 255);
  }
  if (fromTen) return ClipTruncated(x + 0.5, 0, 1023);
  // Deliberate: truncated before it is multiplied, so the two low bits come out 0.
  const uint32_t scaled = ClipTruncated(x + 0.5, 0, 256) * 4;
  return scaled < 1023 ? scaled : 1023;
}

void WriteRgb(const LineJob& job, double y, const Chroma& chroma, uint8_t* dst) {
  const NxColorContext& c = job.color;
  uint32_t r = Quantized(job, RedOf(c, y, chroma.cr));
  uint32_t g = Quantized(job, GreenOf(c, y, chroma.cb, chroma.cr));
  uint32_t b = Quantized(job, BlueOf(c, y, chroma.cb));
  uint32_t a = 0;
  const uint32_t max = job.dst->pixelClass == PixelClass::kRgb8 ? 255 : 1023;
  RescaleComponents(&r, &g, &b, &a, max, 0, job.dst->max, job.dst->min);
  StoreRgb(*job.dst, dst, {r, g, b, a});
}

// The chroma of source pixel `x`: an odd one has the mean of its pair's and the next pair's.
Chroma ChromaAt(const LineJob& job, const uint8_t* src, int32_t x) {
  const int32_t last = job.shape.srcWidth / 2 - 1;
  const int32_t p = x / 2;
  const YuvPair pair = LoadPair(*job.src, src, p);
  if (x % 2 == 0 || p >= last) return {static_cast<double>(pair.cb), static_cast<double>(pair.cr)};
  const YuvPair next = LoadPair(*job.src, src, p + 1);
  return {(static_cast<double>(pair.cb) + next.cb) / 2,
          (static_cast<double>(pair.cr) + next.cr) / 2};
}

void YuvToRgb(const LineJob& job, const uint8_t* src, uint8_t* dst) {
  const LineShape& shape = job.shape;
  uint8_t* to = dst + static_cast<int64_t>(shape.dstStart) * job.dst->bytesPerGroup;
  for (int32_t i = 0; i < shape.count; ++i, to += job.dst->bytesPerGroup) {
    const int32_t x = SourcePairPixel(shape, i);
    const YuvPair pair = LoadPair(*job.src, src, x / 2);
    WriteRgb(job, x % 2 == 0 ? pair.y0 : pair.y1, ChromaAt(job, src, x), to);
  }
}

void YuvToYuv(const LineJob& job, const uint8_t* src, uint8_t* dst) {
  const LineShape& shape = job.shape;
  const auto eight = [](uint32_t v, int32_t top) { return ClipTruncated(v / 4.0 + 0.5, 0, top); };
  for (int32_t i = 0; i < shape.count; i += 2) {
    const int32_t x0 = SourcePairPixel(shape, i);
    const int32_t x1 = SourcePairPixel(shape, i + 1);
    const YuvPair left = LoadPair(*job.src, src, x0 / 2);
    const YuvPair right = LoadPair(*job.src, src, x1 / 2);
    const uint32_t y0 = x0 % 2 == 0 ? left.y0 : left.y1;
    const uint32_t y1 = x1 % 2 == 0 ? right.y0 : right.y1;
    StorePair(*job.dst, dst, (shape.dstStart + i) / 2,
              {eight(y0, 255), eight(left.cb, 240), eight(left.cr, 240), eight(y1, 255)});
  }
}

// The top 8 bits of each component, opaque.
void WriteTopBits(const PixelFormat& format, const uint8_t* s, uint8_t* d) {
  RgbPixel p;
  if (format.code == FourCC("10RS")) {
    // Deliberate: goes through the big-endian word although its own layout is another.
    p = RgbOfHighWord(LoadBe32(s), 0);
  } else {
    p = LoadRgb(format, s);
  }
  const int shift = format.pixelClass == PixelClass::kRgb10 ? 2 : 0;
  pixel_access::Put8(d, p.b >> shift, p.g >> shift, p.r >> shift, 255);
}

void RgbToRgb(const LineJob& job, const uint8_t* src, uint8_t* dst) {
  const PixelFormat& from = *job.src;
  const PixelFormat& to = *job.dst;
  const bool same = from.code == to.code && from.bytesPerGroup < 5;
  const bool topBits = to.code == FourCC("bgrA") && from.bitDepth <= 10;
  uint8_t* d = dst + static_cast<int64_t>(job.shape.dstStart) * to.bytesPerGroup;
  for (int32_t i = 0; i < job.shape.count; ++i, d += to.bytesPerGroup) {
    const uint8_t* s = src + SourceRgbOffset(job.shape, from.bytesPerGroup, i);
    if (same) {
      std::memcpy(d, s, static_cast<size_t>(from.bytesPerGroup));
    } else if (topBits) {
      WriteTopBits(from, s, d);
    } else {
      RgbPixel p = LoadRgb(from, s);
      RescaleComponents(&p.r, &p.g, &p.b, &p.a, from.max, from.min, to.max, to.min);
      StoreRgb(to, d, p);
    }
  }
}

// One pixel through the rows of the matrix, scaled but not rounded.
struct YuvSample {
  double y, cb, cr;
};

YuvSample SampleAt(const LineJob& job, const uint8_t* src, int32_t i, double s) {
  const NxColorContext& c = job.color;
  const int64_t x = SourcePixel(job.shape, i);
  const RgbPixel p = LoadRgb(*job.src, src + x * job.src->bytesPerGroup);
  const double r = p.r, g = p.g, b = p.b;
  return {s * (r * c.yR + g * c.yG + b * c.yB + c.yOff),
          s * (b * c.cbB - (r * c.cbR + g * c.cbG) + c.cbOff),
          s * (r * c.crR - g * c.crG - b * c.crB + c.crOff)};
}

void RgbToYuv(const LineJob& job, const uint8_t* src, uint8_t* dst) {
  const double s = RgbToYuvScale(*job.src, *job.dst);
  const YuvClips clips = ClipsOf(job.color, *job.dst);
  YuvSample before{};
  for (int32_t i = 0; i < job.shape.count; i += 2) {
    const YuvSample even = SampleAt(job, src, i, s);
    const YuvSample odd = SampleAt(job, src, i + 1, s);
    if (i == 0) before = even;  // no pixel to the left: the first one stands in for it
    const double cb = 0.25 * before.cb + 0.5 * even.cb + 0.25 * odd.cb;
    const double cr = 0.25 * before.cr + 0.5 * even.cr + 0.25 * odd.cr;
    StorePair(*job.dst, dst, (job.shape.dstStart + i) / 2,
              {ClipTruncated(even.y + 0.5, clips.low, clips.highLuma),
               ClipTruncated(cb + 0.5, clips.low, clips.highChroma),
               ClipTruncated(cr + 0.5, clips.low, clips.highChroma),
               ClipTruncated(odd.y + 0.5, clips.low, clips.highLuma)});
    before = odd;
  }
}

void Nothing(const LineJob&, const uint8_t*, uint8_t*) {}

}  // namespace

LineRoutine PlainRoutine(LinePath path) {
  switch (path) {
    case LinePath::kYuvToYuv:
      return YuvToYuv;
    case LinePath::kYuvToRgb:
      return YuvToRgb;
    case LinePath::kRgbToRgb:
      return RgbToRgb;
    case LinePath::kRgbToYuv:
      return RgbToYuv;
    default:
      return Nothing;
  }
}

}  // namespace morvane
