// Vector routines between 4:2:2 and RGB: the written formulas in lanes of doubles, operation by
// operation in the written order, so the bits are those of the plain code by construction. Factors
// of two (the mean of two pixels, the scale between 8 and 10 bits) are moved into the
// coefficients; that changes no rounding. No fused operation may stand here.
#include <cstddef>

#include "processing/fast_lines.h"
#include "processing/fast_targets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "processing/fast_yuv.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "processing/fast_vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace morvane {
namespace HWY_NAMESPACE {
#if HWY_TARGET == HWY_SCALAR  // no vectors: the plain code does it

StepRoutine PickYuvToRgb(int, bool, bool) {
  return nullptr;
}
StepRoutine PickRgbToYuv(int, int) {
  return nullptr;
}

#else

using DF64 = hn::ScalableTag<double>;
using VF64 = hn::Vec<DF64>;
using HalfI32 = hn::Half<DI32>;

// The numbers of a vector of 32-bit lanes in two vectors of doubles.
struct Doubles {
  VF64 lower, upper;
};

HWY_INLINE Doubles ToDoubles(V32 v) {
  const DF64 d;
  const HalfI32 half;
  const auto i = hn::BitCast(DI32(), v);
  return {hn::PromoteTo(d, hn::LowerHalf(half, i)), hn::PromoteTo(d, hn::UpperHalf(half, i))};
}

// Truncates and clips to low..high.
HWY_INLINE V32 Truncated(const Doubles& v, int32_t low, int32_t high) {
  const DI32 d;
  const HalfI32 half;
  const auto i = hn::Combine(d, hn::DemoteTo(half, v.upper), hn::DemoteTo(half, v.lower));
  return hn::BitCast(D32(), hn::Min(hn::Max(i, hn::Set(d, low)), hn::Set(d, high)));
}

// ---- 4:2:2 to RGB

// A vector of pairs and the chroma of the pairs that follow.
struct Pairs {
  V32 y0, cb, cr, y1, cbNext, crNext;
};

// 8-bit pairs as 32-bit words.
template <PairOrder kOrder>
HWY_INLINE Pairs LoadPairs8(const uint8_t* p) {
  const auto v = LoadWords(p);
  const auto next = LoadWords(p + 4);
  if constexpr (kOrder == PairOrder::kUyvy) {
    return {Low(hn::ShiftRight<8>(v), 0xFF), Low(v, 0xFF),    Low(hn::ShiftRight<16>(v), 0xFF),
            hn::ShiftRight<24>(v),           Low(next, 0xFF), Low(hn::ShiftRight<16>(next), 0xFF)};
  } else {
    return {Low(v, 0xFF),
            Low(hn::ShiftRight<8>(v), 0xFF),
            hn::ShiftRight<24>(v),
            Low(hn::ShiftRight<16>(v), 0xFF),
            Low(hn::ShiftRight<8>(next), 0xFF),
            hn::ShiftRight<24>(next)};
  }
}

HWY_INLINE Pairs LoadWidePairs(const uint8_t* p) {
  const auto c = LoadWords(p);
  const auto next = LoadWords(p + 4);
  const auto y = LoadWords(p + kLumaPlane);
  return {Low(y, 0xFFFF),        Low(c, 0xFFFF),    hn::ShiftRight<16>(c),
          hn::ShiftRight<16>(y), Low(next, 0xFFFF), hn::ShiftRight<16>(next)};
}

struct RgbDoubles {
  VF64 r, g, b;
};

// The matrix. The chroma offset is `cScale` times its own, the chroma factors 1 / `cScale` of
// theirs, for chroma that came as the sum of two.
template <bool kOwnRed>
struct YuvMatrix {
  VF64 yGain, yOff, yOffRed, cOff, crToR, cbToB, crToG, cbToG, half;

  HWY_INLINE YuvMatrix(const StepParams& p, double cScale) {
    const DF64 d;
    half = hn::Set(d, 0.5);
    yGain = hn::Set(d, p.k[kYGain]);
    yOff = hn::Set(d, p.k[kYOff]);
    yOffRed = hn::Set(d, p.k[kYOffRed]);
    cOff = hn::Set(d, p.k[kCOff] * cScale);
    crToR = hn::Set(d, p.k[kCrToR] / cScale);
    cbToB = hn::Set(d, p.k[kCbToB] / cScale);
    crToG = hn::Set(d, p.k[kCrToG] / cScale);
    cbToG = hn::Set(d, p.k[kCbToG] / cScale);
  }

  // Red, green and blue with 0.5 added, ready to be truncated.
  HWY_INLINE RgbDoubles Apply(VF64 y, VF64 cb, VF64 cr) const {
    const auto luma = hn::Mul(hn::Sub(y, yOff), yGain);
    const auto redLuma = kOwnRed ? hn::Mul(hn::Sub(y, yOffRed), yGain) : luma;
    const auto u = hn::Sub(cb, cOff);
    const auto v = hn::Sub(cr, cOff);
    const auto r = hn::Add(hn::Mul(v, crToR), redLuma);
    const auto b = hn::Add(hn::Mul(u, cbToB), luma);
    const auto g = hn::Add(hn::Add(hn::Mul(v, crToG), luma), hn::Mul(u, cbToG));
    return {hn::Add(r, half), hn::Add(g, half), hn::Add(b, half)};
  }
};

// kEight: 8-bit numbers, so that results for 10-bit targets are multiplied by 4 after truncation.
template <bool kWords, bool kEight, bool kOwnRed>
HWY_INLINE V32 PixelsOf(const YuvMatrix<kOwnRed>& m, V32 y, V32 cb, V32 cr) {
  const Doubles yy = ToDoubles(y), u = ToDoubles(cb), v = ToDoubles(cr);
  const RgbDoubles lower = m.Apply(yy.lower, u.lower, v.lower);
  const RgbDoubles upper = m.Apply(yy.upper, u.upper, v.upper);
  constexpr int32_t kTop = !kWords ? 255 : kEight ? 256 : 1023;
  Rgb32 p = {Truncated({lower.r, upper.r}, 0, kTop), Truncated({lower.g, upper.g}, 0, kTop),
             Truncated({lower.b, upper.b}, 0, kTop)};
  if constexpr (!kWords) return JoinBgra(p);
  if constexpr (kEight) {
    const auto top = hn::Set(D32(), 1023u);
    p = {hn::Min(hn::ShiftLeft<2>(p.r), top), hn::Min(hn::ShiftLeft<2>(p.g), top),
         hn::Min(hn::ShiftLeft<2>(p.b), top)};
  }
  return JoinHighWord(p);
}

template <PairOrder kFrom, bool kWords, bool kOwnRed>
void YuvToRgb(const StepParams& p, LineState* state, const uint8_t* in, uint8_t* out, size_t n) {
  const D32 d;
  constexpr bool kEight = kFrom != PairOrder::kWide;
  constexpr size_t kInBytes = 4;  // of a pair; in a wide block of its chroma
  const YuvMatrix<kOwnRed> even(p, 1.0);
  const YuvMatrix<kOwnRed> odd(p, 2.0);
  const size_t step = hn::Lanes(d);
  const auto convert = [&](const uint8_t* s, uint8_t* t) HWY_ATTR {
    Pairs v;
    if constexpr (kEight) {
      v = LoadPairs8<kFrom>(s);
    } else {
      v = LoadWidePairs(s);
    }
    const auto left = PixelsOf<kWords, kEight>(even, v.y0, v.cb, v.cr);
    const auto right =
        PixelsOf<kWords, kEight>(odd, v.y1, hn::Add(v.cb, v.cbNext), hn::Add(v.cr, v.crNext));
    hn::StoreInterleaved2(left, right, d, reinterpret_cast<uint32_t*>(t));
  };
  const size_t pairs = n / 2;
  const bool follower = state->pixelsAfter >= 2;
  // A wide block has room behind and holds the follower; of a line nothing else may be read.
  const size_t readable = kEight ? pairs + (follower ? 1 : 0) : SIZE_MAX;
  size_t i = 0;
  for (; i + step <= pairs && i + step + 1 <= readable; i += step) {
    convert(in + i * kInBytes, out + i * 8);
  }
  alignas(64) uint8_t to[kScratchBytes];
  while (i < pairs) {
    const size_t rest = pairs - i < step ? pairs - i : step;
    const uint8_t* s = in + i * kInBytes;
    alignas(64) uint8_t from[kScratchBytes] = {};
    if constexpr (kEight) {
      const bool next = i + rest < readable;
      std::memcpy(from, s, (rest + (next ? 1 : 0)) * 4);
      if (!next) std::memcpy(from + rest * 4, s + rest * 4 - 4, 4);
      s = from;
    }
    convert(s, to);
    std::memcpy(out + i * 8, to, rest * 8);
    i += rest;
  }
}

// ---- RGB to 4:2:2

struct Components {
  Rgb32 even, odd;
};

template <RgbInput kFrom>
HWY_INLINE Components LoadComponents(const uint8_t* s) {
  const D32 d;
  if constexpr (kFrom == RgbInput::kWidePlanes) {
    const auto r = LoadWords(s), g = LoadWords(s + kGreenPlane), b = LoadWords(s + kBluePlane);
    return {{Low(r, 0xFFFF), Low(g, 0xFFFF), Low(b, 0xFFFF)},
            {hn::ShiftRight<16>(r), hn::ShiftRight<16>(g), hn::ShiftRight<16>(b)}};
  } else {
    V32 even, odd;
    hn::LoadInterleaved2(d, reinterpret_cast<const uint32_t*>(s), even, odd);
    if constexpr (kFrom == RgbInput::kBgra) return {SplitBgra(even), SplitBgra(odd)};
    return {SplitHighWord(even), SplitHighWord(odd)};
  }
}

struct RgbMatrix {
  VF64 yR, yG, yB, yAdd, cbR, cbG, cbB, cbAdd, crR, crG, crB, crAdd, half;

  HWY_INLINE explicit RgbMatrix(const StepParams& p) {
    const DF64 d;
    half = hn::Set(d, 0.5);
    yR = hn::Set(d, p.k[kYR]);
    yG = hn::Set(d, p.k[kYG]);
    yB = hn::Set(d, p.k[kYB]);
    yAdd = hn::Set(d, p.k[kYAdd]);
    cbR = hn::Set(d, p.k[kCbR]);
    cbG = hn::Set(d, p.k[kCbG]);
    cbB = hn::Set(d, p.k[kCbB]);
    cbAdd = hn::Set(d, p.k[kCbAdd]);
    crR = hn::Set(d, p.k[kCrR]);
    crG = hn::Set(d, p.k[kCrG]);
    crB = hn::Set(d, p.k[kCrB]);
    crAdd = hn::Set(d, p.k[kCrAdd]);
  }
  // With 0.5 added, ready to be truncated.
  HWY_INLINE VF64 Luma(VF64 r, VF64 g, VF64 b) const {
    const auto sum = hn::Add(hn::Add(hn::Mul(r, yR), hn::Mul(g, yG)), hn::Mul(b, yB));
    return hn::Add(hn::Add(sum, yAdd), half);
  }
  // A quarter of the chroma.
  HWY_INLINE VF64 Cb(VF64 r, VF64 g, VF64 b) const {
    const auto away = hn::Add(hn::Mul(r, cbR), hn::Mul(g, cbG));
    return hn::Add(hn::Sub(hn::Mul(b, cbB), away), cbAdd);
  }
  HWY_INLINE VF64 Cr(VF64 r, VF64 g, VF64 b) const {
    const auto near = hn::Sub(hn::Sub(hn::Mul(r, crR), hn::Mul(g, crG)), hn::Mul(b, crB));
    return hn::Add(near, crAdd);
  }
};

struct ChromaHalf {
  VF64 cb, cr;
};
struct YuvHalf {
  VF64 y0, y1, cb, cr;
};

// Converts half a vector of pairs. `left` holds the chroma of the pixel to the left in its first
// lane, and takes that for the next half.
HWY_INLINE YuvHalf ConvertHalf(const RgbMatrix& m, const RgbDoubles& even, const RgbDoubles& odd,
                               ChromaHalf* left, bool first) {
  const DF64 d;
  alignas(64) int64_t turn[8];
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(d));
  for (int64_t i = 0; i < lanes; ++i) turn[i] = (i + lanes - 1) % lanes;
  const auto up = hn::SetTableIndices(d, turn);
  const auto firstLane = hn::FirstN(d, 1);
  const ChromaHalf e = {m.Cb(even.r, even.g, even.b), m.Cr(even.r, even.g, even.b)};
  const ChromaHalf o = {m.Cb(odd.r, odd.g, odd.b), m.Cr(odd.r, odd.g, odd.b)};
  if (first) *left = e;
  const ChromaHalf turned = {hn::TableLookupLanes(o.cb, up), hn::TableLookupLanes(o.cr, up)};
  const auto leftCb = hn::IfThenElse(firstLane, left->cb, turned.cb);
  const auto leftCr = hn::IfThenElse(firstLane, left->cr, turned.cr);
  *left = turned;
  const auto cb = hn::Add(hn::Add(leftCb, hn::Add(e.cb, e.cb)), o.cb);
  const auto cr = hn::Add(hn::Add(leftCr, hn::Add(e.cr, e.cr)), o.cr);
  return {m.Luma(even.r, even.g, even.b), m.Luma(odd.r, odd.g, odd.b), hn::Add(cb, m.half),
          hn::Add(cr, m.half)};
}

template <PairOrder kTo>
HWY_INLINE void StoreComponents(V32 y0, V32 cb, V32 cr, V32 y1, uint8_t* t) {
  if constexpr (kTo == PairOrder::kWide) {
    StoreWords(hn::Or(cb, hn::ShiftLeft<16>(cr)), t);
    StoreWords(hn::Or(y0, hn::ShiftLeft<16>(y1)), t + kLumaPlane);
  } else {
    constexpr bool kLumaFirst = kTo == PairOrder::kYuyv;
    const auto low =
        kLumaFirst ? hn::Or(y0, hn::ShiftLeft<8>(cb)) : hn::Or(cb, hn::ShiftLeft<8>(y0));
    const auto high =
        kLumaFirst ? hn::Or(y1, hn::ShiftLeft<8>(cr)) : hn::Or(cr, hn::ShiftLeft<8>(y1));
    StoreWords(hn::Or(low, hn::ShiftLeft<16>(high)), t);
  }
}

template <RgbInput kFrom, PairOrder kTo>
void RgbToYuv(const StepParams& p, LineState* state, const uint8_t* in, uint8_t* out, size_t n) {
  const DF64 d;
  constexpr size_t kInBytes = kFrom == RgbInput::kWidePlanes ? 4 : 8;  // of a pair
  const RgbMatrix m(p);
  ChromaHalf left = {hn::Set(d, state->carryCb), hn::Set(d, state->carryCr)};
  bool first = state->first;
  const auto convert = [&](const uint8_t* s, uint8_t* t) HWY_ATTR {
    const Components v = LoadComponents<kFrom>(s);
    const Doubles er = ToDoubles(v.even.r), eg = ToDoubles(v.even.g), eb = ToDoubles(v.even.b);
    const Doubles orr = ToDoubles(v.odd.r), og = ToDoubles(v.odd.g), ob = ToDoubles(v.odd.b);
    const YuvHalf lower = ConvertHalf(m, {er.lower, eg.lower, eb.lower},
                                      {orr.lower, og.lower, ob.lower}, &left, first);
    const YuvHalf upper = ConvertHalf(m, {er.upper, eg.upper, eb.upper},
                                      {orr.upper, og.upper, ob.upper}, &left, false);
    first = false;
    StoreComponents<kTo>(Truncated({lower.y0, upper.y0}, p.low, p.highLuma),
                         Truncated({lower.cb, upper.cb}, p.low, p.highChroma),
                         Truncated({lower.cr, upper.cr}, p.low, p.highChroma),
                         Truncated({lower.y1, upper.y1}, p.low, p.highLuma), t);
  };
  const size_t pairs = n / 2;
  const size_t step = hn::Lanes(D32());
  if constexpr (kTo == PairOrder::kWide || kFrom == RgbInput::kWidePlanes) {
    // One side is a block with room behind; the other may be a line.
    size_t i = 0;
    for (; i + step <= pairs; i += step) convert(in + i * kInBytes, out + i * 4);
    if (i < pairs) {
      alignas(64) uint8_t from[kBlockBytes] = {};
      const uint8_t* s = in + i * kInBytes;
      if constexpr (kFrom != RgbInput::kWidePlanes) {
        std::memcpy(from, s, (pairs - i) * kInBytes);
        s = from;
      }
      if constexpr (kTo == PairOrder::kWide) {
        convert(s, out + i * 4);
      } else {
        alignas(64) uint8_t to[kScratchBytes];
        convert(s, to);
        std::memcpy(out + i * 4, to, (pairs - i) * 4);
      }
    }
  } else {
    ForUnits<kInBytes, 4, 0>(in, out, pairs, step, convert);
  }
  state->first = first;
  state->carryCb = hn::GetLane(left.cb);
  state->carryCr = hn::GetLane(left.cr);
}

template <PairOrder kFrom>
StepRoutine PickYuvToRgbFrom(bool words, bool ownRed) {
  if (words) return ownRed ? YuvToRgb<kFrom, true, true> : YuvToRgb<kFrom, true, false>;
  return ownRed ? YuvToRgb<kFrom, false, true> : YuvToRgb<kFrom, false, false>;
}

StepRoutine PickYuvToRgb(int from, bool words, bool ownRed) {
  switch (static_cast<PairOrder>(from)) {
    case PairOrder::kUyvy:
      return PickYuvToRgbFrom<PairOrder::kUyvy>(words, ownRed);
    case PairOrder::kYuyv:
      return PickYuvToRgbFrom<PairOrder::kYuyv>(words, ownRed);
    default:
      return PickYuvToRgbFrom<PairOrder::kWide>(words, ownRed);
  }
}

template <RgbInput kFrom>
StepRoutine PickRgbToYuvFrom(int to) {
  static constexpr StepRoutine kRoutines[3] = {RgbToYuv<kFrom, PairOrder::kUyvy>,
                                               RgbToYuv<kFrom, PairOrder::kYuyv>,
                                               RgbToYuv<kFrom, PairOrder::kWide>};
  return kRoutines[to];
}

StepRoutine PickRgbToYuv(int from, int to) {
  switch (static_cast<RgbInput>(from)) {
    case RgbInput::kBgra:
      return PickRgbToYuvFrom<RgbInput::kBgra>(to);
    case RgbInput::kHighWord:
      return PickRgbToYuvFrom<RgbInput::kHighWord>(to);
    default:
      return PickRgbToYuvFrom<RgbInput::kWidePlanes>(to);
  }
}

#endif
}  // namespace HWY_NAMESPACE
}  // namespace morvane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace morvane {

HWY_EXPORT(PickYuvToRgb);
HWY_EXPORT(PickRgbToYuv);

StepRoutine YuvToRgbStep(PairOrder from, bool words, bool ownRed) {
  return HWY_DYNAMIC_DISPATCH(PickYuvToRgb)(static_cast<int>(from), words, ownRed);
}
StepRoutine RgbToYuvStep(RgbInput from, PairOrder to) {
  return HWY_DYNAMIC_DISPATCH(PickRgbToYuv)(static_cast<int>(from), static_cast<int>(to));
}

}  // namespace morvane
#endif
