#include "device/pattern_convert.h"

#include <algorithm>

#include "base/byte_order.h"
#include "device/formats.h"
#include "processing/resample.h"

namespace morvane {
namespace {

// clang-format off
constexpr PatternRgbMatrix kMatrices[2][2][2] = {  // [ten bit][SMPTE range][SD]
  { // Y        Cr to R  Cb to B  Cb to G  Cr to G   constant   after  max
    { { 0x4AB3,  0x77DC,  0x8AA1,  -0xE01,  -0x230C, 0x621A00,  0,     255 },     // full, HD
      { 0x4A86,  0x6626,  0x811B,  -0x1913, -0x3408, 0x9A3600,  0,     255 } },   // full, SD
    { { 0x3FF7,  0x66A3,  0x76B5,  -0xBFE,  -0x1E03, 0x540200,  0x10,  255 },     // SMPTE, HD
      { 0x3FD1,  0x5778,  0x6E8E,  -0x1579, -0x2C8E, 0x840E00,  0x10,  255 } } }, // SMPTE, SD
  {
    { { 0x12ACF, 0x1DF71, 0x22A86, -0x3806, -0x8C32, 0x1887000, 0,     1023 },
      { 0x12A15, 0x19895, 0x20469, -0x644A, -0xD01F, 0x268D200, 0,     1023 } },
    { { 0xFFDF,  0x19A8C, 0x1DAD7, -0x2FF9, -0x780D, 0x1500C00, 0x40,  1023 },
      { 0xFF40,  0x15DDF, 0x1BA34, -0x55E1, -0xB237, 0x2103000, 0x40,  1023 } } },
};
// clang-format on

int32_t Finish(const PatternRgbMatrix& matrix, int64_t sum) {
  const int64_t rounded = sum >= 0 ? (sum + 0x8000) >> 16 : -((0x8000 - sum) >> 16);
  return static_cast<int32_t>(std::clamp<int64_t>(rounded + matrix.offset, 0, matrix.max));
}

// Calls `write` with the pixels of a line in order. The second pixel of a pair has the mean of its
// pair's chroma and the next one's.
template <typename Write>
void ForEachRgb(const PatternSamples& samples, bool tenBit, bool sd, Write write) {
  const PatternRgbMatrix& matrix = GetPatternRgbMatrix(tenBit, false, sd);
  const size_t count = samples.size() / 4 * 4;
  for (size_t i = 0; i < count; i += 4) {
    const size_t next = i + 4 < count ? i + 4 : i;
    const int32_t cb = samples[i], cr = samples[i + 2];
    write(PatternToRgb(matrix, samples[i + 1], cb, cr));
    write(PatternToRgb(matrix, samples[i + 3], (cb + samples[next]) / 2,
                       (cr + samples[next + 2]) / 2));
  }
}

uint8_t Byte(int32_t value) {
  return static_cast<uint8_t>(value);
}
uint8_t TopByte(uint16_t sample) {
  return static_cast<uint8_t>(sample >> 2);
}

// Three components of 10 bits, the first in the low bits.
uint32_t Word(int32_t low, int32_t middle, int32_t high) {
  return static_cast<uint32_t>(low) | static_cast<uint32_t>(middle) << 10 |
         static_cast<uint32_t>(high) << 20;
}

// Three samples a word, the last word filled up with zeros.
void PackThrees(const PatternSamples& samples, bool dpx, uint8_t* line) {
  for (size_t i = 0; i < samples.size(); i += 3) {
    const auto sample = [&](size_t at) { return at < samples.size() ? samples[at] : 0; };
    const uint32_t word = Word(sample(i), sample(i + 1), sample(i + 2));
    if (dpx) {
      StoreBe32(line, word << 2);
    } else {
      StoreLe32(line, word);
    }
    line += 4;
  }
}

void PackBytes(const PatternSamples& samples, bool lumaFirst, uint8_t* line) {
  for (size_t i = 0; i + 1 < samples.size(); i += 2) {
    line[i + (lumaFirst ? 1 : 0)] = TopByte(samples[i]);
    line[i + (lumaFirst ? 0 : 1)] = TopByte(samples[i + 1]);
  }
}

// An opaque key value beside the samples of each pixel.
void PackKeyed(const PatternSamples& samples, uint8_t* line) {
  for (size_t i = 0; i + 1 < samples.size(); i += 2) {
    StoreLe32(line, (samples[i] | 0xEB000u) << 10 | samples[i + 1]);
    line += 4;
  }
}

void PackRgb8(uint32_t format, const PatternSamples& samples, bool sd, uint8_t* line) {
  // Deliberate: patterns put R, G, B, A into format 3 as into format 6, although a captured frame
  // in format 3 is read as A, R, G, B.
  ForEachRgb(samples, false, sd, [&](const PatternRgb& pixel) {
    const bool redFirst = format == FrameBuffer8BitRgba || format == FrameBuffer8BitAbgr ||
                          format == FrameBuffer8BitRgb;
    line[0] = Byte(redFirst ? pixel.r : pixel.b);
    line[1] = Byte(pixel.g);
    line[2] = Byte(redFirst ? pixel.b : pixel.r);
    line += 3;
    if (format != FrameBuffer8BitRgb && format != FrameBuffer8BitBgr) *line++ = 255;
  });
}

void PackRgb10(uint32_t format, const PatternSamples& samples, bool sd, uint8_t* line) {
  ForEachRgb(samples, true, sd, [&](const PatternRgb& pixel) {
    switch (format) {
      case FrameBuffer10BitRgb:
        StoreLe32(line, Word(pixel.r, pixel.g, pixel.b));
        line += 4;
        break;
      case FrameBuffer10BitRgbDpx:
        StoreBe32(line, Word(pixel.b, pixel.g, pixel.r) << 2);
        line += 4;
        break;
      case FrameBuffer10BitRgbDpxLittle:
        StoreLe32(line, Word(pixel.b, pixel.g, pixel.r) << 2);
        line += 4;
        break;
      case FrameBuffer48BitRgb:
        StoreLe16(line, static_cast<uint16_t>(pixel.r << 6));
        StoreLe16(line + 2, static_cast<uint16_t>(pixel.g << 6));
        StoreLe16(line + 4, static_cast<uint16_t>(pixel.b << 6));
        line += 6;
        break;
      default:  // top eight bits in three bytes, the low two of all in the fourth
        line[0] = Byte(pixel.b >> 2);
        line[1] = Byte(pixel.g >> 2);
        line[2] = Byte(pixel.r >> 2);
        line[3] = Byte((pixel.b & 3) | (pixel.g & 3) << 2 | (pixel.r & 3) << 4);
        line += 4;
        break;
    }
  });
}

}  // namespace

const PatternRgbMatrix& GetPatternRgbMatrix(bool tenBit, bool smpteRange, bool sd) {
  return kMatrices[tenBit ? 1 : 0][smpteRange ? 1 : 0][sd ? 1 : 0];
}

PatternRgb PatternToRgb(const PatternRgbMatrix& matrix, int32_t y, int32_t cb, int32_t cr) {
  const int64_t luma = int64_t{y - 0x40} * matrix.yGain;
  PatternRgb pixel;
  pixel.b = Finish(matrix, luma + int64_t{cb - 0x200} * matrix.cbToB);
  pixel.g = Finish(
      matrix, luma + int64_t{cb} * matrix.cbToG + int64_t{cr} * matrix.crToG + matrix.gConstant);
  pixel.r = Finish(matrix, luma + int64_t{cr - 0x200} * matrix.crToR);
  return pixel;
}

PatternSamples ResamplePattern(const PatternSamples& samples, int32_t pixels) {
  const int32_t sourcePixels = static_cast<int32_t>(samples.size() / 2);
  if (sourcePixels == pixels) return samples;
  PatternSamples out(static_cast<size_t>(pixels) * 2, 0);
  const LineResampler luma(sourcePixels, pixels);
  const LineResampler chroma(sourcePixels / 2, pixels / 2);
  luma.Row(samples.data() + 1, 2, out.data() + 1, 2, 4, 0x3FB);
  chroma.Row(samples.data(), 4, out.data(), 4, 4, 0x3FB);
  chroma.Row(samples.data() + 2, 4, out.data() + 2, 4, 4, 0x3FB);
  return out;
}

bool PatternFormatHasDrawing(uint32_t frameBufferFormat) {
  return frameBufferFormat <= FrameBuffer48BitRgb || frameBufferFormat == FrameBuffer10BitRgbPacked;
}

bool PatternFormatIsRgb(uint32_t frameBufferFormat) {
  switch (frameBufferFormat) {
    case FrameBuffer8BitArgb:
    case FrameBuffer8BitRgba:
    case FrameBuffer10BitRgb:
    case FrameBuffer8BitAbgr:
    case FrameBuffer10BitRgbDpx:
    case FrameBuffer8BitRgb:
    case FrameBuffer8BitBgr:
    case FrameBuffer10BitRgbDpxLittle:
    case FrameBuffer48BitRgb:
    case FrameBuffer10BitRgbPacked:
      return true;
    default:
      return false;
  }
}

uint32_t PatternLineBytes(uint32_t frameBufferFormat, uint32_t pixels) {
  if (!PatternFormatHasDrawing(frameBufferFormat)) return 0;
  switch (frameBufferFormat) {
    case FrameBuffer10BitYCbCr:
    case FrameBuffer10BitYCbCrDpx:
      return (pixels * 2 + 2) / 3 * 4;
    case FrameBuffer8BitUyvy:
    case FrameBuffer8BitYuy2:
    case FrameBuffer8BitDvcPro:
    case FrameBuffer8BitQRez:
    case FrameBuffer8BitHdv:
      return pixels * 2;
    case FrameBuffer8BitRgb:
    case FrameBuffer8BitBgr:
      return pixels * 3;
    case FrameBuffer48BitRgb:
      return pixels * 6;
    default:
      return pixels * 4;
  }
}

bool PackPatternLine(uint32_t frameBufferFormat, const PatternSamples& samples, bool sd,
                     uint8_t* line) {
  if (!PatternFormatHasDrawing(frameBufferFormat)) return false;
  switch (frameBufferFormat) {
    case FrameBuffer10BitYCbCr:
    case FrameBuffer10BitYCbCrDpx:
      PackThrees(samples, frameBufferFormat == FrameBuffer10BitYCbCrDpx, line);
      break;
    case FrameBuffer8BitUyvy:
    case FrameBuffer8BitDvcPro:
    case FrameBuffer8BitHdv:
      PackBytes(samples, false, line);
      break;
    case FrameBuffer8BitYuy2:
    case FrameBuffer8BitQRez:
      PackBytes(samples, true, line);
      break;
    case FrameBuffer10BitYCbCrA:
      PackKeyed(samples, line);
      break;
    case FrameBuffer8BitArgb:
    case FrameBuffer8BitRgba:
    case FrameBuffer8BitAbgr:
    case FrameBuffer8BitRgb:
    case FrameBuffer8BitBgr:
      PackRgb8(frameBufferFormat, samples, sd, line);
      break;
    default:
      PackRgb10(frameBufferFormat, samples, sd, line);
      break;
  }
  return true;
}

}  // namespace morvane
