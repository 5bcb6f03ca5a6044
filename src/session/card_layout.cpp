#include "session/card_layout.h"

#include <cstring>

#include "base/byte_order.h"
#include "device/formats.h"

namespace morvane {
namespace {

struct LayoutRow {
  char fourcc[5];
  RQD5FrameBufferFormat format;
};

// clang-format off
constexpr LayoutRow kLayouts[] = {
  {"v219", FrameBuffer10BitYCbCr},
  {"V219", FrameBuffer10BitYCbCr},
  {"2vuy", FrameBuffer8BitUyvy},
  {"2Vuy", FrameBuffer8BitUyvy},
  {"uyv9", FrameBuffer8BitUyvy},
  {"jpgq", FrameBuffer8BitUyvy},
  {"dv51", FrameBuffer8BitUyvy},
  {"dv26", FrameBuffer8BitUyvy},
  {"bgrA", FrameBuffer8BitArgb},
  {"rleq", FrameBuffer8BitArgb},
  {"argB", FrameBuffer8BitRgba},
  {"10RG", FrameBuffer10BitRgb},
  {"10RS", FrameBuffer10BitRgb},
  {"yuy2", FrameBuffer8BitYuy2},
  {"rgba", FrameBuffer8BitAbgr},
  {"rgbb", FrameBuffer8BitAbgr},
  {"10rb", FrameBuffer10BitRgbDpx},
  {"11rb", FrameBuffer10BitRgbDpx},
  {"11rQ", FrameBuffer10BitRgbDpx},
  {"10yb", FrameBuffer10BitYCbCrDpx},
  {"dvhd", FrameBuffer8BitDvcPro},
  {"rgb ", FrameBuffer8BitRgb},
  {"rg2b", FrameBuffer8BitRgb},
  {"bgr ", FrameBuffer8BitBgr},
  {"10rl", FrameBuffer10BitRgbDpxLittle},
  {"11rl", FrameBuffer10BitRgbDpxLittle},
  {"RGB ", FrameBuffer48BitRgb},
};
// clang-format on
static_assert(std::size(kLayouts) == 27);

// Four words of three samples: Cb Y Cr, Y Cb Y, Cr Y Cb, Y Cr Y.
constexpr uint32_t kBlackChromaFirst = 0x200u | 0x40u << 10 | 0x200u << 20;
constexpr uint32_t kBlackLumaFirst = 0x40u | 0x200u << 10 | 0x40u << 20;

void FillPairs(uint8_t* pixels, uint32_t bytes, uint8_t even, uint8_t odd) {
  for (uint32_t i = 0; i < bytes; ++i) pixels[i] = i % 2 == 0 ? even : odd;
}

}  // namespace

bool CardLayoutOf(FourCCCode fourcc, bool is1080At25, uint32_t* format) {
  for (const LayoutRow& row : kLayouts) {
    if (FourCC(row.fourcc) != fourcc) continue;
    *format = fourcc == FourCC("dvhd") && is1080At25 ? FrameBuffer8BitHdv : row.format;
    return true;
  }
  return false;
}

void FillCardBlack(uint32_t frameBufferFormat, uint8_t* pixels, uint32_t bytes) {
  switch (frameBufferFormat) {
    case FrameBuffer8BitUyvy:
    case FrameBuffer8BitDvcPro:
    case FrameBuffer8BitHdv:
      FillPairs(pixels, bytes, 0x80, 0x10);
      return;
    case FrameBuffer8BitYuy2:
      FillPairs(pixels, bytes, 0x10, 0x80);
      return;
    case FrameBuffer10BitYCbCr:
      for (uint32_t i = 0; i + 4 <= bytes; i += 4) {
        StoreLe32(pixels + i, i / 4 % 2 == 0 ? kBlackChromaFirst : kBlackLumaFirst);
      }
      return;
    default:
      std::memset(pixels, 0, bytes);
  }
}

}  // namespace morvane
