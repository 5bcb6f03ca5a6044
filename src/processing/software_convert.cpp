#include "processing/software_convert.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "base/byte_order.h"
#include "base/fourcc.h"
#include "processing/color_context.h"
#include "processing/convert.h"

namespace morvane {
namespace {

constexpr int32_t kStandardDefinitionLines = 576;
constexpr int32_t kBandRows = 16;

RangeTables BuildRangeTables() {
  RangeTables tables{};
  for (int32_t i = 0; i < 256; ++i) {
    const size_t entry = static_cast<size_t>(i);
    tables.toFullRange[entry] = static_cast<uint8_t>(std::clamp(i * 255 / 219 - 16, 0, 255));
    tables.toVideoRange[entry] = static_cast<uint8_t>(std::max(i * 219 / 255 + 16, 16));
  }
  return tables;
}

void MapBgraRow(const std::array<uint8_t, 256>& table, uint8_t* destination, const uint8_t* source,
                int32_t width) {
  for (int32_t x = 0; x < width; ++x, destination += 4, source += 4) {
    destination[0] = table[source[0]];
    destination[1] = table[source[1]];
    destination[2] = table[source[2]];
    destination[3] = source[3];
  }
}

bool Convert(int32_t matrix, uint8_t* destination, int32_t rowBytes, const uint8_t* source,
             int32_t sourceRowBytes, int32_t width, int32_t height) {
  ConvertContext context;
  NxColorContext color;
  color.matrix = matrix;
  return ConvertImage(&context, source, width, height, FourCC("bgrA"), sourceRowBytes, destination,
                      width, height, FourCC("yuy2"), rowBytes, false, &color, false,
                      nullptr) == NxErrSuccess;
}

}  // namespace

const RangeTables& GetRangeTables() {
  static const RangeTables kTables = BuildRangeTables();
  return kTables;
}

bool ConvertBgraTo422(uint8_t* destination, int32_t rowBytes, const uint8_t* source,
                      int32_t sourceRowBytes, int32_t width, int32_t height) {
  if (width < 0 || rowBytes / 2 < width || sourceRowBytes / 4 < width) return false;
  if (height <= kStandardDefinitionLines) {
    return Convert(ColorMatrix601Video, destination, rowBytes, source, sourceRowBytes, width,
                   height);
  }
  // The range table brings RGB to video range, and full-range coefficients leave it there.
  const int32_t bandBytes = width * 4;
  const std::unique_ptr<uint8_t[]> band(new (std::nothrow)
                                            uint8_t[static_cast<size_t>(bandBytes) * kBandRows]);
  if (band == nullptr) return false;
  for (int32_t y = 0; y < height; y += kBandRows) {
    const int32_t rows = std::min(kBandRows, height - y);
    ApplyRangeRows(VideoRangeBgraRow, band.get(), bandBytes, source + ptrdiff_t{y} * sourceRowBytes,
                   sourceRowBytes, width, rows);
    if (!Convert(ColorMatrix709Full, destination + ptrdiff_t{y} * rowBytes, rowBytes, band.get(),
                 bandBytes, width, rows)) {
      return false;
    }
  }
  return true;
}

void CopyBgraRow(uint8_t* destination, const uint8_t* source, int32_t width) {
  std::memmove(destination, source, static_cast<size_t>(width) * 4);
}

void VideoRangeBgraRow(uint8_t* destination, const uint8_t* source, int32_t width) {
  MapBgraRow(GetRangeTables().toVideoRange, destination, source, width);
}

void FullRangeBgraRow(uint8_t* destination, const uint8_t* source, int32_t width) {
  MapBgraRow(GetRangeTables().toFullRange, destination, source, width);
}

void SwapWordsRow(uint8_t* destination, const uint8_t* source, int32_t width) {
  constexpr uint64_t kLowBytes = 0x00FF00FF00FF00FF;
  int32_t x = 0;
  for (; x + 4 <= width; x += 4, destination += 8, source += 8) {
    const uint64_t words = LoadLe64(source);
    StoreLe64(destination, (words & kLowBytes) << 8 | (words >> 8 & kLowBytes));
  }
  for (; x < width; ++x, destination += 2, source += 2) {
    const uint8_t first = source[0];
    destination[0] = source[1];
    destination[1] = first;
  }
}

void ApplyRangeRows(RowRoutine routine, uint8_t* destination, int32_t step, const uint8_t* source,
                    int32_t sourceStep, int32_t width, int32_t height) {
  if (width <= 0 || height <= 0) return;
  if (step < 0) destination -= ptrdiff_t{height - 1} * step;
  if (sourceStep < 0) source -= ptrdiff_t{height - 1} * sourceStep;
  for (int32_t y = 0; y < height; ++y) {
    routine(destination, source, width);
    destination += step;
    source += sourceStep;
  }
}

}  // namespace morvane
