#pragma once

#include <cstdint>

#include "base/fourcc.h"
#include "base/nx_err.h"
#include "processing/color_context.h"

// Conversion of images between all pixel formats of pixel_format.h.
// Every result is bit by bit what the formulas of NxColorContext give in double precision, also
// where a vector routine does the work. Threads: any, with a context of one's own.
namespace morvane {

// What a conversion keeps between its lines. One per caller; the caller's to free.
struct ConvertContext {
  int32_t width = 0;  // of the whole destination; ConvertImage sets both
  int32_t height = 0;
  NxColorContext color;    // copy of the last one given to ConvertImage
  int32_t threads = 1;     // over how many threads ConvertImage may split the rows
  bool reference = false;  // plain code only: what the vector routines are measured against
};

// Converts an image; scales, crops or letterboxes it when the sizes differ.
//  `stretch` clear: the picture keeps its size and is centred or cropped around its middle.
//  `stretch` set: it is scaled by picking pixels, within its aspect, with bars above and below.
//  `color`: its `matrix` is applied for `srcFourcc` (the caller's record is filled) and kept in
//    `context`; null takes what `context` kept from the last call.
//  `flip`: source rows are taken from the bottom up.
//  `fill`: colour of the bars as one "rgba" pixel; null leaves their rows alone. Columns beside a
//    narrower picture are never touched, but in an 8-bit 4:2:2 destination that gets bars the
//    colour goes into every row first.
// Pitches are in bytes and may be larger than the line, or negative for lines upwards in memory.
// Not done here: between two 8-bit 4:2:2 formats no pixel is converted (result 0), callers copy;
// what is written is `fill`, where bars are asked for, and then into every row.
// A picture whose alpha has no source gets: 0 from YUV, the maximum from RGB.
// In pair formats the last pixel of an odd width is left alone.
// Returns: 0 (also for an image without rows or columns); 2 when the destination's packer is
// missing; -1 for a pair of formats without a path; -2 without buffers, or without coefficients
// (null `color` on a context that never had one), or out of memory.
// On failure the destination is undefined.
[[nodiscard]] NxErr ConvertImage(ConvertContext* context, const uint8_t* src, int32_t srcWidth,
                                 int32_t srcHeight, FourCCCode srcFourcc, int32_t srcPitch,
                                 uint8_t* dst, int32_t dstWidth, int32_t dstHeight,
                                 FourCCCode dstFourcc, int32_t dstPitch, bool stretch,
                                 NxColorContext* color, bool flip, const uint32_t* fill);

// Converts one line with the coefficients in `context->color`, which must be set for `srcFourcc`.
// `context->width` 0 or below `dstWidth` counts as `dstWidth`; a picture narrower than it is
// centred on an even pixel. The pitches and `fill` take no part.
// Returns: as ConvertImage.
[[nodiscard]] NxErr ConvertLine(const ConvertContext* context, const uint8_t* src, int32_t srcWidth,
                                FourCCCode srcFourcc, int32_t srcPitch, uint8_t* dst,
                                int32_t dstWidth, FourCCCode dstFourcc, int32_t dstPitch,
                                bool stretch, const uint32_t* fill);

// Reads or writes one pair of 4:2:2 pixels. For 8-bit formats `src`, `dst` point at the pair and
// `p` is ignored; for 10-bit ones they point at the start of the line and `p` is the pair's index.
// Writing touches no other pair's bits; 10-bit values are cut to 10 bits, 8-bit ones to 8.
// Returns: 0, or 2 for a format that is not 4:2:2.
NxErr UnpackYuvPair(FourCCCode fourcc, const uint8_t* src, uint32_t* y0, uint32_t* cb, uint32_t* cr,
                    uint32_t* y1, int32_t p);
NxErr PackYuvPair(FourCCCode fourcc, uint8_t* dst, uint32_t y0, uint32_t cb, uint32_t cr,
                  uint32_t y1, int32_t p);

// Reads one RGB pixel as its stored numbers and tells their range. Formats without alpha give the
// maximum. Floats are held to 0..1 (no number counts as 0) and come as 0..65535.
// Returns: 0, or 2 for a format that is not RGB or has no layout; then nothing is written.
NxErr UnpackRgbPixel(FourCCCode fourcc, const uint8_t* src, uint32_t* r, uint32_t* g, uint32_t* b,
                     uint32_t* a, uint32_t* max, uint32_t* min);
// Writes one RGB pixel whose components have the range `max`, `min`, rescaled to the format's.
// Returns: as above.
NxErr PackRgbPixel(FourCCCode fourcc, uint8_t* dst, uint32_t r, uint32_t g, uint32_t b, uint32_t a,
                   uint32_t max, uint32_t min);

// Unchanged if both pairs are equal; otherwise each value becomes
// truncate(v / fromMax * toMax + 0.5), clipped above at toMax.
// Deliberate: the minimums take part in the equality test only, so black is never raised.
void RescaleComponents(uint32_t* r, uint32_t* g, uint32_t* b, uint32_t* a, uint32_t fromMax,
                       uint32_t fromMin, uint32_t toMax, uint32_t toMin);

// Turns an image upside down in place. `pitch` is in bytes.
// Returns: 0, or -2 if the temporary line cannot be allocated.
NxErr FlipLines(uint8_t* base, int32_t unused, int32_t lines, int32_t pitch);

// Moves all lines by one in place: with `down` line n gets what was line n-1 (line 0 stays),
// without it line n gets line n+1 (the last line stays).
void ShiftLines(uint8_t* base, int32_t unused, int32_t lines, int32_t unused2, int32_t pitch,
                bool down);

}  // namespace morvane
