#include "simulator/signal_picture.h"

#include <algorithm>
#include <cstring>

#include "base/byte_order.h"
#include "processing/convert.h"
#include "processing/pixel_format.h"

namespace morvane {
namespace {

constexpr FourCCCode k2vuy = FourCC("2vuy");
constexpr FourCCCode kV219 = FourCC("v219");
constexpr FourCCCode kDpx10 = FourCC("10yb");

// Three samples of a 10-bit 4:2:2 word in the order of a DPX file's word.
void ConvertV219ToDpx(const uint8_t* from, uint32_t words, uint8_t* to) {
  for (uint32_t i = 0; i < words; ++i) {
    const uint32_t word = LoadLe32(from + 4 * i);
    StoreBe32(to + 4 * i,
              (word & 0x3FF) << 22 | (word >> 10 & 0x3FF) << 12 | (word >> 20 & 0x3FF) << 2);
  }
}

void ConvertDpxToV219(const uint8_t* from, uint32_t words, uint8_t* to) {
  for (uint32_t i = 0; i < words; ++i) {
    const uint32_t word = LoadBe32(from + 4 * i);
    StoreLe32(to + 4 * i, word >> 22 | (word >> 12 & 0x3FF) << 10 | (word >> 2 & 0x3FF) << 20);
  }
}

// 10-bit 4:2:2 to 8 bit by a shift: the top eight bits of each sample, in the same order.
// The conversion core rounds, and would change what an 8-bit source sent.
void ShiftRight(const uint8_t* from, uint8_t* to, uint32_t samples) {
  uint32_t done = 0;
  for (; done + 12 <= samples; done += 12, from += 16, to += 12) {
    for (uint32_t w = 0; w < 4; ++w) {
      const uint32_t word = LoadLe32(from + 4 * w);
      to[3 * w] = static_cast<uint8_t>(word >> 2);
      to[3 * w + 1] = static_cast<uint8_t>(word >> 12);
      to[3 * w + 2] = static_cast<uint8_t>(word >> 22);
    }
  }
  for (uint32_t i = 0; done + i < samples; ++i) {
    to[i] = static_cast<uint8_t>(LoadLe32(from + i / 3 * 4) >> (i % 3 * 10 + 2));
  }
}

void ShiftLeft(const uint8_t* from, uint8_t* to, uint32_t samples) {
  uint32_t done = 0;
  for (; done + 3 <= samples; done += 3, from += 3, to += 4) {
    StoreLe32(to, static_cast<uint32_t>(from[0]) << 2 | static_cast<uint32_t>(from[1]) << 12 |
                      static_cast<uint32_t>(from[2]) << 22);
  }
  if (done == samples) return;
  uint32_t word = 0;
  for (uint32_t i = 0; done + i < samples; ++i) {
    word |= static_cast<uint32_t>(from[i]) << (i * 10 + 2);
  }
  StoreLe32(to, word);
}

void ShiftRows(FourCCCode fromCode, const uint8_t* from, uint32_t fromPitch, uint8_t* to,
               uint32_t toPitch, uint32_t width, uint32_t lines, bool flip) {
  for (uint32_t y = 0; y < lines; ++y) {
    const uint8_t* source = from + static_cast<size_t>(flip ? lines - 1 - y : y) * fromPitch;
    uint8_t* target = to + static_cast<size_t>(y) * toPitch;
    if (fromCode == kV219) {
      ShiftRight(source, target, width * 2);
    } else {
      // The samples that pad the last group of a line are zero.
      std::memset(target + (width * 2 + 2) / 3 * 4, 0, toPitch - (width * 2 + 2) / 3 * 4);
      ShiftLeft(source, target, width * 2);
    }
  }
}

// Between the two orders of 8-bit 4:2:2.
void SwapPairs(const uint8_t* from, uint32_t fromPitch, uint8_t* to, uint32_t toPitch,
               uint32_t width, uint32_t lines, bool flip) {
  for (uint32_t y = 0; y < lines; ++y) {
    const uint8_t* source = from + static_cast<size_t>(flip ? lines - 1 - y : y) * fromPitch;
    uint8_t* target = to + static_cast<size_t>(y) * toPitch;
    for (uint32_t p = 0; p < width / 2; ++p) {
      const uint32_t pair = LoadLe32(source + 4 * p);
      StoreLe32(target + 4 * p, (pair & 0x00FF00FF) << 8 | (pair >> 8 & 0x00FF00FF));
    }
  }
}

// Between two formats of equal raster.
void ConvertRows(FourCCCode fromCode, const uint8_t* from, uint32_t fromPitch, FourCCCode toCode,
                 uint8_t* to, uint32_t toPitch, uint32_t width, uint32_t lines, int32_t matrix,
                 bool flip) {
  if (lines == 0 || width == 0) return;
  if (IsYuv8(fromCode) && IsYuv8(toCode) && fromCode != toCode) {
    SwapPairs(from, fromPitch, to, toPitch, width, lines, flip);
    return;
  }
  if ((fromCode == kV219 && toCode == k2vuy) || (fromCode == k2vuy && toCode == kV219)) {
    ShiftRows(fromCode, from, fromPitch, to, toPitch, width, lines, flip);
    return;
  }
  if (IsYuv(fromCode) && IsYuv(toCode) && IsYuyvOrder(fromCode) != IsYuyvOrder(toCode) &&
      (IsYuv10(fromCode) || IsYuv10(toCode))) {
    const FrameLayout eight = PlainLayout(k2vuy, width, lines);
    std::vector<uint8_t> whole(eight.Bytes());
    ConvertRows(fromCode, from, fromPitch, k2vuy, whole.data(), eight.pitch, width, lines, matrix,
                flip);
    ConvertRows(k2vuy, whole.data(), eight.pitch, toCode, to, toPitch, width, lines, matrix, false);
    return;
  }
  if (fromCode == k2vuy && !IsYuv(toCode)) {
    // A connector carries 10 bit: RGB is made of that.
    const FrameLayout ten = PlainLayout(kV219, width, lines);
    std::vector<uint8_t> whole(ten.Bytes());
    ConvertRows(fromCode, from, fromPitch, kV219, whole.data(), ten.pitch, width, lines, matrix,
                flip);
    ConvertRows(kV219, whole.data(), ten.pitch, toCode, to, toPitch, width, lines, matrix, false);
    return;
  }
  if (fromCode == toCode) {
    const size_t bytes = std::min(fromPitch, toPitch);
    for (uint32_t y = 0; y < lines; ++y) {
      const uint32_t source = flip ? lines - 1 - y : y;
      std::memcpy(to + static_cast<size_t>(y) * toPitch,
                  from + static_cast<size_t>(source) * fromPitch, bytes);
    }
    return;
  }
  const PixelFormat* target = FindPixelFormat(toCode);
  if (fromCode == kV219 && target != nullptr && target->pixelClass == PixelClass::kRgb16) {
    // The core has no way from 4:2:2 to 16 bit; 10-bit RGB holds all that a connector carries.
    constexpr FourCCCode kRgb10 = FourCC("10RG");
    std::vector<uint8_t> whole(static_cast<size_t>(width) * 4 * lines);
    ConvertRows(fromCode, from, fromPitch, kRgb10, whole.data(), width * 4, width, lines, matrix,
                flip);
    ConvertRows(kRgb10, whole.data(), width * 4, toCode, to, toPitch, width, lines, matrix, false);
    return;
  }
  ConvertContext context;
  NxColorContext color = {};
  color.matrix = matrix;
  (void)ConvertImage(&context, from, static_cast<int32_t>(width), static_cast<int32_t>(lines),
                     fromCode, static_cast<int32_t>(fromPitch), to, static_cast<int32_t>(width),
                     static_cast<int32_t>(lines), toCode, static_cast<int32_t>(toPitch), false,
                     &color, flip, nullptr);
}

// The reduced rasters of frame-buffer formats 9, 10 and 11: picks pairs and lines.
void PickPairs(const uint8_t* from, const FrameLayout& fromLayout, const FrameLayout& layout,
               uint8_t* out) {
  for (uint32_t y = 0; y < layout.height; ++y) {
    const uint32_t line = y * fromLayout.height / layout.height;
    const uint8_t* source = from + static_cast<size_t>(line) * fromLayout.pitch;
    uint8_t* target = out + static_cast<size_t>(y) * layout.pitch;
    for (uint32_t p = 0; p < layout.width / 2; ++p) {
      StoreLe32(target + 4 * p, LoadLe32(source + 4 * (p * fromLayout.width / layout.width)));
    }
  }
}

bool IsReduced(uint32_t frameBufferFormat) {
  return frameBufferFormat >= 9 && frameBufferFormat <= 11;
}

}  // namespace

FourCCCode FrameBufferFourCC(uint32_t frameBufferFormat) {
  switch (frameBufferFormat) {
    case 0:
    case 23:
      return kV219;
    case 1:
    case 9:
    case 10:
    case 11:
      return k2vuy;
    case 2:
      return FourCC("bgrA");
    case 3:
      return FourCC("argB");
    case 4:
      return FourCC("10RG");
    case 5:
      return FourCC("yuy2");
    case 6:
      return FourCC("rgba");
    case 7:
      return FourCC("10rb");
    case 8:
      return kDpx10;
    case 12:
      return FourCC("rgb ");
    case 13:
      return FourCC("bgr ");
    case 15:
      return FourCC("10rl");
    case 16:
      return FourCC("RGB ");
    case 22:
      return FourCC("ARGB");
    default:
      return 0;
  }
}

FrameLayout PlainLayout(FourCCCode fourcc, uint32_t width, uint32_t height) {
  FrameLayout layout;
  layout.frameBufferFormat = fourcc == k2vuy ? 1 : 0;
  layout.fourcc = fourcc;
  layout.width = width;
  layout.height = height;
  layout.pitch = fourcc == k2vuy ? width * 2 : (width + 47) / 48 * 128;
  layout.matrix = width < 800 ? 1 : 3;
  return layout;
}

PlainPicture::PlainPicture(FourCCCode fourcc, uint32_t width, uint32_t height,
                           std::shared_ptr<const std::vector<uint8_t>> pixels)
    : layout_(PlainLayout(fourcc, width, height)), pixels_(std::move(pixels)) {}

void PlainPicture::Store(const FrameLayout& layout, uint8_t* out) const {
  const bool covers = layout.width == layout_.width && layout.firstActiveLine == 0 &&
                      layout.height == layout_.height && layout.fourcc != 0;
  if (!covers && !IsReduced(layout.frameBufferFormat)) StoreBlack(layout, out);
  ConvertLines(layout_, pixels_->data(), layout_.height, layout,
               out + static_cast<size_t>(layout.firstActiveLine) * layout.pitch);
}

void ConvertLines(const FrameLayout& from, const uint8_t* pixels, uint32_t lines,
                  const FrameLayout& layout, uint8_t* out) {
  if (layout.fourcc == 0) return;
  if (IsReduced(layout.frameBufferFormat)) {
    const FrameLayout eight = PlainLayout(k2vuy, from.width, lines);
    std::vector<uint8_t> whole(eight.Bytes());
    ConvertRows(from.fourcc, pixels, from.pitch, k2vuy, whole.data(), eight.pitch, from.width,
                lines, layout.matrix, false);
    PickPairs(whole.data(), eight, layout, out);
    return;
  }
  const uint32_t width = std::min(from.width, layout.width);
  const uint32_t count = std::min(lines, layout.height - layout.firstActiveLine);
  if (layout.fourcc == kDpx10) {
    const FrameLayout ten = PlainLayout(kV219, width, count);
    std::vector<uint8_t> whole(ten.Bytes());
    ConvertRows(from.fourcc, pixels, from.pitch, kV219, whole.data(), ten.pitch, width, count,
                layout.matrix, false);
    for (uint32_t y = 0; y < count; ++y) {
      ConvertV219ToDpx(whole.data() + static_cast<size_t>(y) * ten.pitch,
                       std::min(ten.pitch, layout.pitch) / 4,
                       out + static_cast<size_t>(y) * layout.pitch);
    }
    return;
  }
  ConvertRows(from.fourcc, pixels, from.pitch, layout.fourcc, out, layout.pitch, width, count,
              layout.matrix, false);
}

void StoreBlack(const FrameLayout& layout, uint8_t* out) {
  if (layout.fourcc == k2vuy || layout.fourcc == FourCC("yuy2")) {
    const uint32_t pair = layout.fourcc == k2vuy ? 0x10801080 : 0x80108010;
    for (size_t i = 0; i + 4 <= layout.Bytes(); i += 4) StoreLe32(out + i, pair);
    return;
  }
  if (layout.fourcc == kV219 || layout.fourcc == kDpx10) {
    // Cb Y Cr, Y Cb Y, Cr Y Cb, Y Cr Y.
    const uint32_t a = 512u | 64u << 10 | 512u << 20;
    const uint32_t b = 64u | 512u << 10 | 64u << 20;
    const uint32_t words[4] = {a, b, a, b};
    for (size_t i = 0; i + 16 <= layout.Bytes(); i += 16) {
      for (size_t w = 0; w < 4; ++w) StoreLe32(out + i + 4 * w, words[w]);
    }
    if (layout.fourcc == kDpx10) {
      ConvertV219ToDpx(out, static_cast<uint32_t>(layout.Bytes() / 4), out);
    }
    return;
  }
  // A layout without a row has no bytes, and nobody has memory for them.
  if (layout.Bytes() > 0) std::memset(out, 0, layout.Bytes());
}

PictureRef PictureOfFrame(const FrameLayout& layout, const uint8_t* frame, size_t bytes,
                          bool flip) {
  const uint32_t height = layout.height - layout.firstActiveLine;
  const bool eightBit = layout.fourcc == k2vuy && !IsReduced(layout.frameBufferFormat);
  const FrameLayout plain = PlainLayout(eightBit ? k2vuy : kV219, layout.width, height);
  auto pixels = std::make_shared<std::vector<uint8_t>>(plain.Bytes());
  const size_t skipped = static_cast<size_t>(layout.firstActiveLine) * layout.pitch;
  const size_t present = bytes > skipped && layout.pitch > 0 ? (bytes - skipped) / layout.pitch : 0;
  const uint32_t lines = static_cast<uint32_t>(std::min<size_t>(height, present));
  if (lines < height || layout.fourcc == 0) StoreBlack(plain, pixels->data());
  if (layout.fourcc != 0) {
    const uint8_t* from = frame + skipped;
    std::vector<uint8_t> unpacked;
    FourCCCode code = layout.fourcc;
    if (code == kDpx10) {
      unpacked.resize(static_cast<size_t>(lines) * layout.pitch);
      ConvertDpxToV219(from, static_cast<uint32_t>(unpacked.size() / 4), unpacked.data());
      from = unpacked.data();
      code = kV219;
    }
    ConvertRows(code, from, layout.pitch, plain.fourcc, pixels->data(), plain.pitch, layout.width,
                lines, layout.matrix, flip);
  }
  return std::make_shared<PlainPicture>(plain.fourcc, layout.width, height, std::move(pixels));
}

}  // namespace morvane
