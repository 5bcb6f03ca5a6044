#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/fourcc.h"

namespace morvane {

// How a frame lies in card memory.
struct FrameLayout {
  uint32_t frameBufferFormat = 0;
  FourCCCode fourcc = 0;  // 0: a layout that the card cannot make of a signal
  uint32_t width = 0;
  uint32_t height = 0;           // lines, with the ancillary ones
  uint32_t pitch = 0;            // bytes
  uint32_t firstActiveLine = 0;  // where the picture begins
  int32_t matrix = 3;            // of the conversion core

  [[nodiscard]] size_t Bytes() const { return static_cast<size_t>(height) * pitch; }
  friend bool operator==(const FrameLayout&, const FrameLayout&) = default;
};

// FourCC of a frame-buffer format's pixels. Returns: 0 where no conversion exists.
[[nodiscard]] FourCCCode FrameBufferFourCC(uint32_t frameBufferFormat);

// Layout of a plain picture: "2vuy" or "v219" rows of their usual pitch.
[[nodiscard]] FrameLayout PlainLayout(FourCCCode fourcc, uint32_t width, uint32_t height);

// One picture as it travels on a connector. Immutable; threads: any.
class SignalPicture {
 public:
  virtual ~SignalPicture() = default;
  [[nodiscard]] virtual uint32_t Width() const = 0;
  [[nodiscard]] virtual uint32_t Height() const = 0;
  // Makes the frame buffer of it: all `layout.Bytes()` of `out` are written. A picture of another
  // raster lies at the top left; what it does not cover is black.
  virtual void Store(const FrameLayout& layout, uint8_t* out) const = 0;
};
using PictureRef = std::shared_ptr<const SignalPicture>;

// Pixels in memory, "2vuy" or "v219" in PlainLayout.
class PlainPicture : public SignalPicture {
 public:
  // `pixels` holds PlainLayout(...).Bytes().
  PlainPicture(FourCCCode fourcc, uint32_t width, uint32_t height,
               std::shared_ptr<const std::vector<uint8_t>> pixels);

  uint32_t Width() const override { return layout_.width; }
  uint32_t Height() const override { return layout_.height; }
  void Store(const FrameLayout& layout, uint8_t* out) const override;

 private:
  FrameLayout layout_;
  std::shared_ptr<const std::vector<uint8_t>> pixels_;
};

// Converts `lines` lines of plain picture `from` at `pixels` to the first of `layout` at `out`
// (which points at the picture's first line). Both rasters may differ; the smaller counts.
void ConvertLines(const FrameLayout& from, const uint8_t* pixels, uint32_t lines,
                  const FrameLayout& layout, uint8_t* out);
// Fills a whole frame with black of its format.
void StoreBlack(const FrameLayout& layout, uint8_t* out);

// What an output made of a frame buffer: 8-bit 4:2:2 stays as it is, everything else goes to
// "v219". `flip`: the rows lie bottom first. `bytes` may be fewer than the layout's; what is
// missing is black.
[[nodiscard]] PictureRef PictureOfFrame(const FrameLayout& layout, const uint8_t* frame,
                                        size_t bytes, bool flip);

}  // namespace morvane
