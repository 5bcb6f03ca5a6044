#include "processing/conversion_tables.h"

#include <cmath>
#include <new>

#include "processing/color_context.h"

namespace morvane {
namespace {

struct DepthRow {
  int32_t bits;
  int32_t entries;
  int32_t step;       // code that one entry stands for
  FourCCCode fourcc;  // a format with the offsets of this depth
};

// clang-format off
constexpr DepthRow kDepths[] = {
  { 8,  256,   1, FourCC("2vuy") },
  { 10, 1024,  1, FourCC("v219") },
  { 15, 65536, 1, FourCC("RgBA") },
  { 16, 65536, 1, FourCC("RGBA") },
  { 31, 16384, 2, FourCC("RgBA") },
  { 32, 16384, 4, FourCC("RgBF") },
};
// clang-format on

bool MakeTable(const DepthRow& depth, double factor, double offset,
               std::unique_ptr<double[]>* table) {
  table->reset(new (std::nothrow) double[static_cast<size_t>(depth.entries)]);
  if (*table == nullptr) return false;
  for (int32_t i = 0; i < depth.entries; ++i) {
    const double value = static_cast<double>(i) * depth.step;
    (*table)[static_cast<size_t>(i)] = value * factor - offset * factor;
  }
  return true;
}

bool MakeYuvToRgb(const DepthRow& depth, const NxColorContext& c, NxColorTables* t) {
  return MakeTable(depth, c.yGainR, c.yOffR, &t->yToR) &&
         MakeTable(depth, c.crToR, c.cOffR, &t->crToR) &&
         MakeTable(depth, c.yGainB, c.yOffB, &t->yToB) &&
         MakeTable(depth, c.cbToB, c.cOffB, &t->cbToB) &&
         MakeTable(depth, c.yGainG, c.yOffG, &t->yToG) &&
         MakeTable(depth, c.crToG, c.cOffG1, &t->crToG) &&
         MakeTable(depth, c.cbToG, c.cOffG2, &t->cbToG);
}

bool MakeRgbToYuv(const DepthRow& depth, const NxColorContext& c, NxColorTables* t) {
  return MakeTable(depth, c.yR, 0, &t->rToY) && MakeTable(depth, c.yG, 0, &t->gToY) &&
         MakeTable(depth, c.yB, 0, &t->bToY) && MakeTable(depth, c.cbR, 0, &t->rToCb) &&
         MakeTable(depth, c.cbG, 0, &t->gToCb) && MakeTable(depth, c.cbB, 0, &t->bToCb) &&
         MakeTable(depth, c.crR, 0, &t->rToCr) && MakeTable(depth, c.crG, 0, &t->gToCr) &&
         MakeTable(depth, c.crB, 0, &t->bToCr);
}

// What `value` adds to a channel, with the factor in 1024ths.
int16_t FixedStep(int32_t value, double factor) {
  return static_cast<int16_t>(value * static_cast<int32_t>(std::lround(factor * 1024)) / 1024);
}

bool MakeFixed(const NxColorContext& c, NxColorTables* t) {
  t->lumaFixed.reset(new (std::nothrow) FixedColorEntry[256]);
  t->cbFixed.reset(new (std::nothrow) FixedColorEntry[256]);
  t->crFixed.reset(new (std::nothrow) FixedColorEntry[256]);
  if (t->lumaFixed == nullptr || t->cbFixed == nullptr || t->crFixed == nullptr) return false;
  for (int32_t i = 0; i < 256; ++i) {
    const int32_t luma = i - static_cast<int32_t>(c.yOffG);
    const int32_t chroma = i - static_cast<int32_t>(c.cOffR);
    const int16_t gray = FixedStep(luma, c.yGainG);
    t->lumaFixed[static_cast<size_t>(i)] = {gray, gray, gray, 0};
    t->cbFixed[static_cast<size_t>(i)] = {FixedStep(chroma, c.cbToB), FixedStep(chroma, c.cbToG), 0,
                                          0};
    t->crFixed[static_cast<size_t>(i)] = {0, FixedStep(chroma, c.crToG), FixedStep(chroma, c.crToR),
                                          0};
  }
  return true;
}

void FreeTables(NxColorTables* tables) {
  const int32_t matrix = tables->matrix;
  *tables = NxColorTables{};
  tables->matrix = matrix;
}

}  // namespace

NxErr BuildConversionTables(int32_t bits, NxColorTables* tables, int32_t kind) {
  FreeTables(tables);
  const DepthRow* depth = nullptr;
  for (const DepthRow& row : kDepths) {
    if (row.bits == bits) depth = &row;
  }
  if (depth == nullptr || kind < 1 || kind > 3) return NxErrFailure;
  NxColorContext color;
  if (tables->matrix == ColorMatrixCustom ||
      SetColorMatrix(tables->matrix, depth->fourcc, &color) != NxErrSuccess) {
    return NxErrFailure;
  }
  const bool toRgb = kind == 1 || kind == 3;
  const bool toYuv = kind == 2 || kind == 3;
  if ((toRgb && !MakeYuvToRgb(*depth, color, tables)) ||
      (toYuv && !MakeRgbToYuv(*depth, color, tables)) ||
      (toRgb && bits == 8 && !MakeFixed(color, tables))) {
    FreeTables(tables);
    return NxErrFailure;
  }
  tables->bits = bits;
  tables->entries = depth->entries;
  return NxErrSuccess;
}

}  // namespace morvane
