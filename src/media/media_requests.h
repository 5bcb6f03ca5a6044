#pragma once

#include <cstdint>

#include "media/media_records.h"

// What a caller asks of an open clip, a frame or a piece of sound at a time. In-memory records: the
// caller owns every buffer named in one until the call returns.
namespace morvane {

inline constexpr size_t kExactNameBytes = 260;

// The colour context of a request that names no matrix: the clip's width picks it, 601 video below
// 800 pixels and 709 video from there on.
inline constexpr int32_t kMatrixByWidth = -1;
[[nodiscard]] inline NxColorContext ColorByWidth() {
  NxColorContext color;
  color.matrix = kMatrixByWidth;
  return color;
}

struct NxImageReadRequest {
  uint32_t reserved = 0;
  FourCCCode fourcc = 0;  // the format that the caller wants
  // 1: a rectangle only, at the clip's own format, all eight values other than -1. It arrives as a
  // picture of its own, `dstWidth` wide; both sizes are equal, a negative height turns it over.
  uint8_t subRect = 0;
  int32_t srcX = -1;
  int32_t srcY = -1;
  int32_t srcWidth = -1;
  int32_t srcHeight = -1;
  int32_t dstX = -1;
  int32_t dstY = -1;
  int32_t dstWidth = -1;
  int32_t dstHeight = -1;
  int32_t width = 0;
  int32_t height = 0;
  int32_t pitch = 0;        // bytes a line; in and out
  int32_t orientation = 1;  // in and out
  NxColorContext color = ColorByWidth();
  uint8_t useExactName = 0;
  const char* exactName = nullptr;
  const char16_t* exactNameW = nullptr;
  int32_t frame = 0;        // outside the clip reads frame 0
  uint32_t dataOffset = 0;  // out: where in `buffer` the pixels begin
  uint8_t external = 0;     // 1: do not shift the picture in the buffer
  void* buffer = nullptr;   // page-aligned, at least `frameBytes` of the clip
  int32_t bufferBytes = 0;
  void* scratch = nullptr;  // used if it holds what is needed, else memory is taken for the call
  int32_t scratchBytes = 0;
};

struct NxImageWriteRequest {
  // Bit 0: write SMPTE-range 10-bit formats as their full-range twins.
  uint32_t flags = 0;
  FourCCCode fourcc = 0;  // these five describe the caller's picture
  int32_t width = 0;
  int32_t height = 0;
  int32_t pitch = 0;
  int32_t orientation = 1;
  NxColorContext color = ColorByWidth();
  uint8_t useExactName = 0;  // write to exactly this path
  char exactName[kExactNameBytes] = {};
  const char16_t* exactNameW = nullptr;
  int32_t frame = -1;  // negative: the next
  // Bytes that the caller keeps free right before the picture, `headerBuffer` their start, and
  // bytes that may be read from there. When they are `imageOffset` and `frameBytes` of the clip and
  // the five above match it, the frame goes to disk from where it lies; otherwise it is copied.
  uint32_t dataOffset = 0;
  int32_t frameBytes = 0;
  void* headerBuffer = nullptr;
  void* imageBuffer = nullptr;
  void* scratch = nullptr;
  int32_t scratchBytes = 0;
  NxTimeCodeRecord timeCode = {};
};

struct NxAudioReadRequest {
  int32_t file = 0;
  int32_t timeScale = 0;  // of the picture
  int32_t timeRate = 0;
  int32_t frame = 0;  // -1 goes on where the last read ended
  void* buffer = nullptr;
  int32_t bytes = 0;
};

struct NxAudioWriteRequest {
  int32_t file = 0;
  const void* buffer = nullptr;
  int32_t bytes = 0;
  NxTimeCodeRecord timeCode = {};  // the first write of a clip copies it into the metadata
};

}  // namespace morvane
