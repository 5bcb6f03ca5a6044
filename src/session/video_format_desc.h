#pragma once

#include <cstddef>
#include <cstdint>

namespace morvane {

// What a video format item of a session is: picture, rates and cadence. Packed, since its bytes
// stand in the session's persistent block; the bytes before `videoFormat` decide whether a format
// change needs any work.
#pragma pack(push, 1)
struct RQD5VideoFormatDesc {
  char name[32];              // the item's text, zero padded
  uint32_t standard;          // RQD5Standard of the card format
  uint32_t pixelFormatClass;  // 0 SD, 1 HD, 2 2K
  double frameScale;          // clip frames a second are frameScale / frameDuration
  double frameDuration;       // 1000 or 1001
  uint32_t width;             // of the card's raster, pixels
  uint32_t height;            // of the card's raster, lines
  uint32_t displayWidth;      // of the item's picture (720 by 480 shows 480 lines of 486)
  uint32_t displayHeight;
  double fieldScale;  // fields a second; twice the frame scale with two fields
  double fieldDuration;
  uint32_t fieldCount;   // 2 for interlaced and segmented pictures, else 1
  uint32_t fieldFlag;    // 0 progressive, 1 upper field first, 2 lower field first
  uint8_t progressive;   // the picture is progressive (also when it travels segmented)
  uint8_t wide;          // 16 by 9 in a standard-definition raster
  uint8_t segmented;     // progressive, carried as two segments
  uint8_t dualStream;    // the card's level flag: 1080 lines at 50 to 60 frames on two streams
  uint8_t cadence;       // clip frames to card frames: 0 one to one, 1 2:3, 2 each twice
  uint32_t videoFormat;  // RQD5VideoFormat that the card runs
};
#pragma pack(pop)

inline constexpr size_t kComparedDescBytes = 101;  // all before videoFormat

static_assert(sizeof(RQD5VideoFormatDesc) == 105);
static_assert(offsetof(RQD5VideoFormatDesc, frameScale) == 40);
static_assert(offsetof(RQD5VideoFormatDesc, fieldCount) == 88);
static_assert(offsetof(RQD5VideoFormatDesc, progressive) == 96);
static_assert(offsetof(RQD5VideoFormatDesc, videoFormat) == kComparedDescBytes);

}  // namespace morvane
