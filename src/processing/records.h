#pragma once

#include <cstdint>

#include "base/fourcc.h"

// Plain records that cross between the engines and the window toolkit. They are native structs,
// filled by the caller and only read by the callee; what a pointer names stays the caller's.
namespace morvane {

// A rectangle in pixels; the origin is the bottom left of the parent and y grows upwards.
struct NxRECT {
  int32_t x = 0;
  int32_t y = 0;
  int32_t w = 0;
  int32_t h = 0;

  friend bool operator==(const NxRECT&, const NxRECT&) = default;
};

// A colour, each component 0..1.
struct NxFCOLOR {
  float r = 0;
  float g = 0;
  float b = 0;
  float a = 0;

  friend bool operator==(const NxFCOLOR&, const NxFCOLOR&) = default;
};

struct NxFLOATPOINT {
  float x = 0;
  float y = 0;
};

inline constexpr uint32_t kLutEntries = 1024;

// Three curves of 1024 entries each, values 0..1023, for the preview of a frame.
struct NxRGBLUT {
  const uint32_t* first = nullptr;
  const uint32_t* second = nullptr;
  const uint32_t* third = nullptr;
  uint32_t reserved = 0;           // always 0
  uint32_t entries = kLutEntries;  // always 1024
};

struct NxColorTables;  // processing/conversion_tables.h

// Seven fields that a frame carries through to the toolkit.
struct NXFrameFields {
  uint8_t flagA = 0;  // 1 for job frames, else 0
  uint8_t flagB = 0;
  float valueA = 0;
  float valueB = 0;
  uint8_t flagC = 0;
  float valueC = 0;
  float valueD = 0;
};

// One frame for a video window. The picture is not kept beyond the call that takes the record.
struct NXVideoFrame {
  const uint8_t* picture = nullptr;  // first byte
  int32_t width = 0;                 // pixels
  int32_t height = 0;                // lines
  int32_t rowBytes = 0;
  int32_t aspectX = 1;  // the picture is shown aspectX / aspectY times as wide as it is stored
  int32_t aspectY = 1;
  FourCCCode fourcc = 0;
  int32_t bottomUp = 0;  // 1: the first line in memory is the lowest
  int32_t originX = 0;   // pixels
  int32_t originY = 0;
  float zoomX = 1.0f;  // 1.0 is 100 percent; 0 means fit the window
  float zoomY = 1.0f;
  int32_t modeA = 1;  // 1 for idle frames and the logo, 4 for job frames
  int32_t modeB = 1;  // the same
  NXFrameFields fields;
  const NxColorTables* colorTable = nullptr;  // YUV to RGB, for job frames
  int32_t modeC = 3;                          // always 3
};

}  // namespace morvane
