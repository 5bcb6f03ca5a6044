#include "base/byte_order.h"
#include "media/codec/picture_decoder.h"

namespace morvane::codec {
namespace {

const uint8_t* Row8(const AVFrame& frame, int plane, uint32_t y) {
  return frame.data[plane] + static_cast<ptrdiff_t>(y) * frame.linesize[plane];
}

uint32_t Load10(const uint8_t* row, uint32_t i) {
  return LoadLe16(row + 2 * i) & 0x3FF;
}

}  // namespace

void PackUyvy(const AVFrame& planar, uint32_t width, uint32_t height, uint8_t* out) {
  for (uint32_t y = 0; y < height; ++y) {
    const uint8_t* luma = Row8(planar, 0, y);
    const uint8_t* cb = Row8(planar, 1, y);
    const uint8_t* cr = Row8(planar, 2, y);
    uint8_t* to = out + static_cast<size_t>(y) * width * 2;
    for (uint32_t p = 0; p < width / 2; ++p) {
      to[4 * p] = cb[p];
      to[4 * p + 1] = luma[2 * p];
      to[4 * p + 2] = cr[p];
      to[4 * p + 3] = luma[2 * p + 1];
    }
  }
}

void PackV219(const AVFrame& planar, uint32_t width, uint32_t height, uint8_t* out) {
  const uint32_t pairs = width / 2;
  for (uint32_t y = 0; y < height; ++y) {
    const uint8_t* luma = Row8(planar, 0, y);
    const uint8_t* cb = Row8(planar, 1, y);
    const uint8_t* cr = Row8(planar, 2, y);
    uint8_t* row = out + y * V219RowBytes(width);
    std::memset(row, 0, V219RowBytes(width));
    // Samples stand in the order Cb Y Cr Y, three to a word.
    for (uint32_t p = 0, sample = 0; p < pairs; ++p) {
      const uint32_t values[4] = {Load10(cb, p), Load10(luma, 2 * p), Load10(cr, p),
                                  Load10(luma, 2 * p + 1)};
      for (const uint32_t value : values) {
        uint8_t* word = row + sample / 3 * 4;
        StoreLe32(word, LoadLe32(word) | value << (sample % 3 * 10));
        ++sample;
      }
    }
  }
}

void UnpackV219(const uint8_t* in, uint32_t width, uint32_t height, AVFrame* planar) {
  for (uint32_t y = 0; y < height; ++y) {
    const uint8_t* row = in + y * V219RowBytes(width);
    uint8_t* to[3];
    for (int plane = 0; plane < 3; ++plane) {
      to[plane] = planar->data[plane] + static_cast<ptrdiff_t>(y) * planar->linesize[plane];
    }
    for (uint32_t p = 0, sample = 0; p < width / 2; ++p, sample += 4) {
      uint16_t values[4];
      for (uint32_t i = 0; i < 4; ++i) {
        const uint32_t at = sample + i;
        values[i] = static_cast<uint16_t>(LoadLe32(row + at / 3 * 4) >> (at % 3 * 10) & 0x3FF);
      }
      StoreLe16(to[1] + 2 * p, values[0]);
      StoreLe16(to[0] + 4 * p, values[1]);
      StoreLe16(to[2] + 2 * p, values[2]);
      StoreLe16(to[0] + 4 * p + 2, values[3]);
    }
  }
}

}  // namespace morvane::codec
