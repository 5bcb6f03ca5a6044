#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "base/byte_order.h"
#include "media/media_seq.h"

// What the headers of all still-image formats have in common: words in a byte order that the file
// chooses, limits, and the arithmetic of a picture's size.
namespace morvane {

// A reader takes pictures up to this in both directions.
inline constexpr int64_t kLargestSide = 8192;

// Writes fields into a zeroed header. Requires: offset and width lie inside it.
class HeaderWriter {
 public:
  HeaderWriter(uint8_t* header, bool isBig) : header_(header), isBig_(isBig) {}

  void U8(size_t offset, uint8_t value) const { header_[offset] = value; }
  void U16(size_t offset, uint16_t value) const {
    isBig_ ? StoreBe16(header_ + offset, value) : StoreLe16(header_ + offset, value);
  }
  void U32(size_t offset, uint32_t value) const {
    isBig_ ? StoreBe32(header_ + offset, value) : StoreLe32(header_ + offset, value);
  }
  void Float(size_t offset, float value) const { U32(offset, std::bit_cast<uint32_t>(value)); }
  void Text(size_t offset, std::string_view text) const {
    std::memcpy(header_ + offset, text.data(), text.size());
  }
  void Fill(size_t offset, uint8_t value, size_t bytes) const {
    std::memset(header_ + offset, value, bytes);
  }

 private:
  uint8_t* header_;
  bool isBig_;
};

// Reads fields. Requires: as above.
class HeaderReader {
 public:
  HeaderReader(const uint8_t* header, bool isBig) : header_(header), isBig_(isBig) {}

  [[nodiscard]] uint8_t U8(size_t offset) const { return header_[offset]; }
  [[nodiscard]] uint16_t U16(size_t offset) const {
    return isBig_ ? LoadBe16(header_ + offset) : LoadLe16(header_ + offset);
  }
  [[nodiscard]] uint32_t U32(size_t offset) const {
    return isBig_ ? LoadBe32(header_ + offset) : LoadLe32(header_ + offset);
  }
  [[nodiscard]] float Float(size_t offset) const { return std::bit_cast<float>(U32(offset)); }

 private:
  const uint8_t* header_;
  bool isBig_;
};

// Where a picture lies in its file; numbers as a hostile header may give them.
struct StillLayout {
  int64_t width = 0;
  int64_t height = 0;
  int64_t bytesPerPixel = 0;
  int64_t imageOffset = 0;
};

// Fills width, height, imageBytes, imageOffset, linePitch and frameBytes (whole sectors).
// Returns: 0; 100000, with `head` as it was, for a size below 1, an offset below 0, or a frame
// whose bytes are no 31-bit number.
NxErr LayOutFrame(const StillLayout& layout, NxMediaInfoHead* head);
// The same for a picture in somebody's file: no side above kLargestSide.
NxErr LayOutReadFrame(const StillLayout& layout, NxMediaInfoHead* head);

// The row for `fourcc` in that line order; null if there is none.
[[nodiscard]] const SeqWriteFormat* FindWriteFormat(std::span<const SeqWriteFormat> rows,
                                                    FourCCCode fourcc, uint32_t orientation);

// Bytes of one stored pixel; 0 for formats whose pixels are not whole bytes and for unknown ones.
[[nodiscard]] int32_t BytesOfPixel(FourCCCode fourcc);

// `timeScale` / `timeRate` as headers carry it; 0 for a rate below 1.
[[nodiscard]] float FrameRateOf(int32_t timeScale, int32_t timeRate);

// Makes an 8-bit picture with alpha in the last byte of four opaque where `source` had no alpha
// that could have been converted.
void MakeOpaque(FourCCCode source, uint8_t* pixels, int64_t bytes);

// Reads the first `bytes` of a frame's file, or all of a shorter file; what it lacks is 0xFF.
// Returns: 0; 100000 for a file of less than `required` bytes; -2 if it cannot be read.
NxErr ReadHeader(FrameSource* source, size_t required, size_t bytes, uint8_t* header);

}  // namespace morvane
