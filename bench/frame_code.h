#pragma once

#include <cstdint>

// Numbered pictures: whoever photographs the screen reads from a photograph which picture it shows,
// and whether it is one picture from the top to the bottom.
namespace morvane::frame_code {

// A picture has three bars (top, middle, bottom) with the same blocks, black or white, side by
// side: the lowest bit of the code at the left. Between the bars it is grey.
inline constexpr int kBlocks = 24;
inline constexpr int kTagBits = 2;
inline constexpr uint8_t kBlack = 16;
inline constexpr uint8_t kGrey = 126;
inline constexpr uint8_t kWhite = 235;

// `tag` 1 or 2 (not 0 or 3: a black or white screen is no picture); `number` below 2^22.
constexpr uint32_t Code(uint32_t tag, uint32_t number) {
  return tag | number << kTagBits;
}
constexpr uint32_t Tag(uint32_t code) {
  return code & 3;
}
constexpr uint32_t Number(uint32_t code) {
  return code >> kTagBits;
}

constexpr bool InBar(int y, int height) {
  const int eighth = y * 8 / height;
  return eighth == 0 || eighth == 4 || eighth == 7;
}
// Grey value of a pixel.
constexpr uint8_t Pixel(uint32_t code, int x, int y, int width, int height) {
  if (!InBar(y, height)) return kGrey;
  return (code >> (x * kBlocks / width) & 1) != 0 ? kWhite : kBlack;
}

enum class Seen { Picture, Torn, Nothing };

// Reads a photograph. `grey(x, y)` is the value of a pixel, y from the top.
template <typename Grey>
Seen Read(int width, int height, Grey grey, uint32_t* code) {
  for (const int sixteenth : {4, 12}) {
    const int value = grey(width / 2, height * sixteenth / 16);
    if (value < kGrey - 40 || value > kGrey + 40) return Seen::Nothing;
  }
  uint32_t bars[3] = {};
  const int rows[3] = {height / 16, height * 9 / 16, height * 15 / 16};
  for (int bar = 0; bar < 3; ++bar) {
    for (int block = 0; block < kBlocks; ++block) {
      const int x = (2 * block + 1) * width / (2 * kBlocks);
      if (grey(x, rows[bar]) > kGrey) bars[bar] |= 1U << block;
    }
  }
  *code = bars[0];
  if (bars[0] != bars[1] || bars[1] != bars[2]) return Seen::Torn;
  return Tag(*code) == 1 || Tag(*code) == 2 ? Seen::Picture : Seen::Nothing;
}

}  // namespace morvane::frame_code
