#pragma once

#include <cstdint>

#include "base/byte_order.h"
#include "processing/pixel_format.h"

// Reading and writing single pixels by layout, for the conversions of this folder.
namespace morvane {

struct RgbPixel {
  uint32_t r, g, b, a;
};

struct YuvPair {
  uint32_t y0, cb, cr, y1;
};

// Held to 0..1, no number counts as 0; comes as 0..65535.
[[nodiscard]] inline uint32_t FloatComponent(float v) {
  if (!(v > 0.0f)) return 0;
  if (v >= 1.0f) return 65535;
  return static_cast<uint32_t>(static_cast<double>(v) * 65535.0 + 0.5);
}

[[nodiscard]] inline float ComponentFloat(uint32_t v) {
  return static_cast<float>(static_cast<double>(v) / 65535.0);
}

[[nodiscard]] inline RgbPixel RgbOfHighWord(uint32_t word, uint32_t alpha) {
  return {word >> 22, word >> 12 & 0x3FF, word >> 2 & 0x3FF, alpha};
}

[[nodiscard]] inline uint32_t HighWordOfRgb(const RgbPixel& p) {
  return (p.r & 0x3FF) << 22 | (p.g & 0x3FF) << 12 | (p.b & 0x3FF) << 2;
}

// The layout must have pixels (not kNone) and be RGB.
[[nodiscard]] inline RgbPixel LoadRgb(const PixelFormat& format, const uint8_t* s) {
  const uint32_t full = format.max;
  const auto u16 = [s](int i) -> uint32_t { return LoadLe16(s + 2 * i); };
  const auto big = [s](int i) -> uint32_t { return LoadBe16(s + 2 * i); };
  const auto f32 = [s](int i) { return FloatComponent(LoadLeFloat(s + 4 * i)); };
  switch (format.layout) {
    case PixelLayout::kBgra8:
      return {s[2], s[1], s[0], s[3]};
    case PixelLayout::kRgba8:
      return {s[0], s[1], s[2], s[3]};
    case PixelLayout::kArgb8:
      return {s[1], s[2], s[3], s[0]};
    case PixelLayout::kAbgr8:
      return {s[3], s[2], s[1], s[0]};
    case PixelLayout::kRgb888:
      return {s[0], s[1], s[2], full};
    case PixelLayout::kBgr888:
      return {s[2], s[1], s[0], full};
    case PixelLayout::kWordRgbLe:
      return RgbOfHighWord(LoadLe32(s), full);
    case PixelLayout::kWordRgbBe:
      return RgbOfHighWord(LoadBe32(s), full);
    case PixelLayout::kWordBgrLe: {
      const uint32_t word = LoadLe32(s);
      return {word & 0x3FF, word >> 10 & 0x3FF, word >> 20 & 0x3FF, full};
    }
    case PixelLayout::kPacked40: {
      const uint32_t word = LoadBe32(s);
      return {word >> 22, word >> 12 & 0x3FF, word >> 2 & 0x3FF, (word & 3) << 8 | s[4]};
    }
    case PixelLayout::kRgb16Le:
      return {u16(0), u16(1), u16(2), full};
    case PixelLayout::kRgb16Be:
      return {big(0), big(1), big(2), full};
    case PixelLayout::kRgba16:
      return {u16(0), u16(1), u16(2), u16(3)};
    case PixelLayout::kArgb16:
      return {u16(1), u16(2), u16(3), u16(0)};
    case PixelLayout::kBgra16:
      return {u16(2), u16(1), u16(0), u16(3)};
    case PixelLayout::kFloatRgb:
      return {f32(0), f32(1), f32(2), full};
    case PixelLayout::kFloatRgba:
      return {f32(0), f32(1), f32(2), f32(3)};
    case PixelLayout::kFloatArgb:
      return {f32(1), f32(2), f32(3), f32(0)};
    case PixelLayout::kFloatBgra:
      return {f32(2), f32(1), f32(0), f32(3)};
    default:
      return {0, 0, 0, 0};
  }
}

namespace pixel_access {

inline void Put8(uint8_t* d, uint32_t a, uint32_t b, uint32_t c, uint32_t e) {
  d[0] = static_cast<uint8_t>(a);
  d[1] = static_cast<uint8_t>(b);
  d[2] = static_cast<uint8_t>(c);
  d[3] = static_cast<uint8_t>(e);
}

inline void Put16(uint8_t* d, uint32_t a, uint32_t b, uint32_t c) {
  StoreLe16(d, static_cast<uint16_t>(a));
  StoreLe16(d + 2, static_cast<uint16_t>(b));
  StoreLe16(d + 4, static_cast<uint16_t>(c));
}

inline void PutFloat(uint8_t* d, uint32_t a, uint32_t b, uint32_t c) {
  StoreLeFloat(d, ComponentFloat(a));
  StoreLeFloat(d + 4, ComponentFloat(b));
  StoreLeFloat(d + 8, ComponentFloat(c));
}

}  // namespace pixel_access

// Writes components that have the format's range already; bits above the field's width are cut.
inline void StoreRgb(const PixelFormat& format, uint8_t* d, const RgbPixel& p) {
  using namespace pixel_access;
  switch (format.layout) {
    case PixelLayout::kBgra8:
      return Put8(d, p.b, p.g, p.r, p.a);
    case PixelLayout::kRgba8:
      return Put8(d, p.r, p.g, p.b, p.a);
    case PixelLayout::kArgb8:
      return Put8(d, p.a, p.r, p.g, p.b);
    case PixelLayout::kAbgr8:
      return Put8(d, p.a, p.b, p.g, p.r);
    case PixelLayout::kRgb888:
      d[0] = static_cast<uint8_t>(p.r);
      d[1] = static_cast<uint8_t>(p.g);
      d[2] = static_cast<uint8_t>(p.b);
      return;
    case PixelLayout::kBgr888:
      d[0] = static_cast<uint8_t>(p.b);
      d[1] = static_cast<uint8_t>(p.g);
      d[2] = static_cast<uint8_t>(p.r);
      return;
    case PixelLayout::kWordRgbLe:
      return StoreLe32(d, HighWordOfRgb(p));
    case PixelLayout::kWordRgbBe:
      return StoreBe32(d, HighWordOfRgb(p));
    case PixelLayout::kWordBgrLe:
      return StoreLe32(d, (p.r & 0x3FF) | (p.g & 0x3FF) << 10 | (p.b & 0x3FF) << 20);
    case PixelLayout::kPacked40:
      StoreBe32(d, HighWordOfRgb(p) | (p.a >> 8 & 3));
      d[4] = static_cast<uint8_t>(p.a);
      return;
    case PixelLayout::kRgb16Le:
      return Put16(d, p.r, p.g, p.b);
    case PixelLayout::kRgb16Be:
      StoreBe16(d, static_cast<uint16_t>(p.r));
      StoreBe16(d + 2, static_cast<uint16_t>(p.g));
      StoreBe16(d + 4, static_cast<uint16_t>(p.b));
      return;
    case PixelLayout::kRgba16:
      Put16(d, p.r, p.g, p.b);
      return StoreLe16(d + 6, static_cast<uint16_t>(p.a));
    case PixelLayout::kArgb16:
      StoreLe16(d, static_cast<uint16_t>(p.a));
      return Put16(d + 2, p.r, p.g, p.b);
    case PixelLayout::kBgra16:
      Put16(d, p.b, p.g, p.r);
      return StoreLe16(d + 6, static_cast<uint16_t>(p.a));
    case PixelLayout::kFloatRgb:
      return PutFloat(d, p.r, p.g, p.b);
    case PixelLayout::kFloatRgba:
      PutFloat(d, p.r, p.g, p.b);
      return StoreLeFloat(d + 12, ComponentFloat(p.a));
    case PixelLayout::kFloatArgb:
      StoreLeFloat(d, ComponentFloat(p.a));
      return PutFloat(d + 4, p.r, p.g, p.b);
    case PixelLayout::kFloatBgra:
      PutFloat(d, p.b, p.g, p.r);
      return StoreLeFloat(d + 12, ComponentFloat(p.a));
    default:
      return;
  }
}

// Where pair `p` of a 10-bit 4:2:2 line begins: three words hold two and a half pairs, so its four
// values lie in one word and the next.
[[nodiscard]] inline int64_t V210PairOffset(int64_t p) {
  return 4 * (p % 3 + 4 * (p / 3));
}

// `p` counts pairs from `line`; the format must be 4:2:2.
[[nodiscard]] inline YuvPair LoadPair(const PixelFormat& format, const uint8_t* line, int32_t p) {
  if (format.layout == PixelLayout::kUyvy) {
    const uint8_t* s = line + 4 * static_cast<int64_t>(p);
    return {s[1], s[0], s[2], s[3]};
  }
  if (format.layout == PixelLayout::kYuyv) {
    const uint8_t* s = line + 4 * static_cast<int64_t>(p);
    return {s[0], s[1], s[3], s[2]};
  }
  const uint8_t* s = line + V210PairOffset(p);
  const uint32_t a = LoadLe32(s);
  const uint32_t b = LoadLe32(s + 4);
  switch (p % 3) {
    case 0:
      return {a >> 10 & 0x3FF, a & 0x3FF, a >> 20 & 0x3FF, b & 0x3FF};
    case 1:
      return {a >> 20 & 0x3FF, a >> 10 & 0x3FF, b & 0x3FF, b >> 10 & 0x3FF};
    default:
      return {b & 0x3FF, a >> 20 & 0x3FF, b >> 10 & 0x3FF, b >> 20 & 0x3FF};
  }
}

// Touches only the bits of its own pair, and clears the two top bits of the words it writes.
inline void StorePair(const PixelFormat& format, uint8_t* line, int32_t p, const YuvPair& v) {
  using namespace pixel_access;
  if (format.layout == PixelLayout::kUyvy) {
    return Put8(line + 4 * static_cast<int64_t>(p), v.cb, v.y0, v.cr, v.y1);
  }
  if (format.layout == PixelLayout::kYuyv) {
    return Put8(line + 4 * static_cast<int64_t>(p), v.y0, v.cb, v.y1, v.cr);
  }
  uint8_t* d = line + V210PairOffset(p);
  const uint32_t a = LoadLe32(d);
  const uint32_t b = LoadLe32(d + 4);
  const uint32_t y0 = v.y0 & 0x3FF, cb = v.cb & 0x3FF, cr = v.cr & 0x3FF, y1 = v.y1 & 0x3FF;
  switch (p % 3) {
    case 0:
      StoreLe32(d, cb | y0 << 10 | cr << 20);
      StoreLe32(d + 4, (b & 0x3FFFFC00) | y1);
      return;
    case 1:
      StoreLe32(d, (a & 0x3FF) | cb << 10 | y0 << 20);
      StoreLe32(d + 4, (b & 0x3FF00000) | cr | y1 << 10);
      return;
    default:
      StoreLe32(d, (a & 0xFFFFF) | cb << 20);
      StoreLe32(d + 4, y0 | cr << 10 | y1 << 20);
      return;
  }
}

}  // namespace morvane
