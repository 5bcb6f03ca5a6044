// Vector routines from 4:2:2 to RGB.
#include <cstddef>

#include "processing/fast_lines.h"
#include "processing/fast_targets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "processing/fast_yuv_to_rgb.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "processing/fast_yuv-inl.h"

HWY_BEFORE_NAMESPACE();
namespace morvane {
namespace HWY_NAMESPACE {
#if MORVANE_NO_VECTORS  // no vectors: the plain code does it

StepRoutine PickYuvToRgb(int, YuvToRgbKind) {
  return nullptr;
}

#else

// A vector of pairs; the odd pixels have the sum of their pair's chroma and the next pair's.
struct Pairs {
  V32 y0, cb, cr, y1, cbSum, crSum;
};

template <PairOrder kOrder>
HWY_INLINE Pairs LoadPairs(const uint8_t* p) {
  const auto v = LoadWords(p);
  const auto next = LoadWords(p + 4);
  Pairs r;
  if constexpr (kOrder == PairOrder::kWide) {
    const auto y = LoadWords(p + kLumaPlane);
    r.y0 = Low(y, 0xFFFF);
    r.y1 = hn::ShiftRight<16>(y);
    // Neither half of the sum of two 10-bit numbers runs over.
    const auto sum = hn::Add(v, next);
    r.cb = Low(v, 0xFFFF);
    r.cr = hn::ShiftRight<16>(v);
    r.cbSum = Low(sum, 0xFFFF);
    r.crSum = hn::ShiftRight<16>(sum);
    return r;
  }
  constexpr bool kLumaFirst = kOrder == PairOrder::kYuyv;
  const auto lower = Low(v, 0x00FF00FF);                     // every second byte
  const auto upper = Low(hn::ShiftRight<8>(v), 0x00FF00FF);  // the others
  const auto y = kLumaFirst ? lower : upper;
  const auto c = kLumaFirst ? upper : lower;
  const auto nextC = Low(kLumaFirst ? hn::ShiftRight<8>(next) : next, 0x00FF00FF);
  const auto sum = hn::Add(c, nextC);
  r.y0 = Low(y, 0xFFFF);
  r.y1 = hn::ShiftRight<16>(y);
  r.cb = Low(c, 0xFFFF);
  r.cr = hn::ShiftRight<16>(c);
  r.cbSum = Low(sum, 0xFFFF);
  r.crSum = hn::ShiftRight<16>(sum);
  return r;
}

// ---- Exact

struct RgbDoubles {
  VF64 r, g, b;
};

// The matrix. For chroma that came as a sum of two `cScale` is 2: twice the offset, half the
// factors.
template <bool kOwnRed>
struct ExactMatrix {
  VF64 yGain, yOff, yOffRed, cOff, crToR, cbToB, crToG, cbToG, half;

  HWY_INLINE ExactMatrix(const StepParams& p, double cScale) {
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

// The highest number before it becomes a component. 8-bit numbers for 10-bit targets are
// multiplied by 4 after they were truncated.
template <bool kWords, bool kEight>
constexpr int32_t kTopNumber = !kWords  ? 255
                               : kEight ? 256
                                        : 1023;

template <bool kWords, bool kEight>
HWY_INLINE V32 JoinPixels(Rgb32 p) {
  if constexpr (!kWords) return JoinBgra(p);
  if constexpr (kEight) {
    const auto top = hn::Set(D32(), 1023u);
    p = {hn::Min(hn::ShiftLeft<2>(p.r), top), hn::Min(hn::ShiftLeft<2>(p.g), top),
         hn::Min(hn::ShiftLeft<2>(p.b), top)};
  }
  return JoinHighWord(p);
}

template <bool kWords, bool kEight, bool kOwnRed>
HWY_INLINE V32 ExactPixels(const ExactMatrix<kOwnRed>& m, V32 y, V32 cb, V32 cr) {
  const Doubles yy = ToDoubles(y), u = ToDoubles(cb), v = ToDoubles(cr);
  const RgbDoubles lower = m.Apply(yy.lower, u.lower, v.lower);
  const RgbDoubles upper = m.Apply(yy.upper, u.upper, v.upper);
  constexpr int32_t kTop = kTopNumber<kWords, kEight>;
  return JoinPixels<kWords, kEight>({Truncated({lower.r, upper.r}, 0, kTop),
                                     Truncated({lower.g, upper.g}, 0, kTop),
                                     Truncated({lower.b, upper.b}, 0, kTop)});
}

// ---- Quick

// Coefficients as floats. `bias` is added to each result before it is rounded.
template <bool kOwnRed>
struct QuickMatrix {
  VF32 yGain, yAdd, yAddRed, cOff, crToR, cbToB, crToG, cbToG;

  HWY_INLINE QuickMatrix(const StepParams& p, double cScale, double bias) {
    yGain = FloatOf(p.k[kYGain]);
    yAdd = FloatOf(bias - p.k[kYOff] * p.k[kYGain]);
    yAddRed = FloatOf(bias - p.k[kYOffRed] * p.k[kYGain]);
    cOff = FloatOf(p.k[kCOff] * cScale);
    crToR = FloatOf(p.k[kCrToR] / cScale);
    cbToB = FloatOf(p.k[kCbToB] / cScale);
    crToG = FloatOf(p.k[kCrToG] / cScale);
    cbToG = FloatOf(p.k[kCbToG] / cScale);
  }
};

struct RgbFloats {
  VF32 r, g, b;
};

template <bool kOwnRed>
HWY_INLINE RgbFloats QuickRgb(const QuickMatrix<kOwnRed>& m, V32 y, V32 cb, V32 cr) {
  const auto fy = ToFloats(y);
  const auto u = hn::Sub(ToFloats(cb), m.cOff);
  const auto v = hn::Sub(ToFloats(cr), m.cOff);
  const auto luma = hn::MulAdd(fy, m.yGain, m.yAdd);
  const auto redLuma = kOwnRed ? hn::MulAdd(fy, m.yGain, m.yAddRed) : luma;
  return {hn::MulAdd(v, m.crToR, redLuma), hn::MulAdd(v, m.crToG, hn::MulAdd(u, m.cbToG, luma)),
          hn::MulAdd(u, m.cbToB, luma)};
}

template <bool kWords, bool kEight>
using RgbRounder = FixedRounder<kWords && !kEight ? 10 : 8>;

// A vector of pairs to bgrA or high words. Returns: false if a lane is in doubt.
template <bool kWords, bool kEight, bool kOwnRed>
HWY_INLINE bool QuickPixels(const QuickMatrix<kOwnRed>& even, const QuickMatrix<kOwnRed>& odd,
                            const Pairs& v, uint8_t* t) {
  const RgbFloats left = QuickRgb(even, v.y0, v.cb, v.cr);
  const RgbFloats right = QuickRgb(odd, v.y1, v.cbSum, v.crSum);
  RgbRounder<kWords, kEight> rounder;
  const V16 top = Set16(kTopNumber<kWords, kEight>);
  V16 r = hn::Min(rounder.Round(left.r, right.r), top);
  V16 g = hn::Min(rounder.Round(left.g, right.g), top);
  V16 b = hn::Min(rounder.Round(left.b, right.b), top);
  if (HWY_UNLIKELY(rounder.InDoubt())) return false;
  auto* const pixels = reinterpret_cast<uint16_t*>(t);
  if constexpr (!kWords) {
    hn::StoreInterleaved2(hn::Or(b, hn::ShiftLeft<8>(g)), r, D16(), pixels);
  } else {
    if constexpr (kEight) {
      r = hn::Min(hn::ShiftLeft<2>(r), Set16(1023));
      g = hn::Min(hn::ShiftLeft<2>(g), Set16(1023));
      b = hn::Min(hn::ShiftLeft<2>(b), Set16(1023));
    }
    hn::StoreInterleaved2(hn::Or(hn::ShiftLeft<12>(g), hn::ShiftLeft<2>(b)),
                          hn::Or(hn::ShiftLeft<6>(r), hn::ShiftRight<4>(g)), D16(), pixels);
  }
  return true;
}

// ---- Lines

template <PairOrder kFrom, bool kWords, bool kOwnRed, bool kQuick>
void YuvToRgb(const StepParams& p, LineState* state, const uint8_t* in, uint8_t* out, size_t n) {
  const D32 d;
  constexpr bool kEight = kFrom != PairOrder::kWide;
  constexpr double kBias = RgbRounder<kWords, kEight>::kBias;
  const ExactMatrix<kOwnRed> exactEven(p, 1.0), exactOdd(p, 2.0);
  const QuickMatrix<kOwnRed> even(p, 1.0, kBias), odd(p, 2.0, kBias);
  const size_t step = hn::Lanes(d);
  const auto convert = [&](const uint8_t* s, uint8_t* t) HWY_ATTR {
    const Pairs v = LoadPairs<kFrom>(s);
    if constexpr (kQuick) {
      if (HWY_LIKELY((QuickPixels<kWords, kEight>(even, odd, v, t)))) return;
    }
    const V32 left = ExactPixels<kWords, kEight>(exactEven, v.y0, v.cb, v.cr);
    const V32 right = ExactPixels<kWords, kEight>(exactOdd, v.y1, v.cbSum, v.crSum);
    hn::StoreInterleaved2(left, right, d, reinterpret_cast<uint32_t*>(t));
  };
  const size_t pairs = n / 2;
  const bool follower = state->pixelsAfter >= 2;
  // A wide block has room behind and holds the follower; of a line nothing else may be read.
  const size_t readable = kEight ? pairs + (follower ? 1 : 0) : SIZE_MAX;
  size_t i = 0;
  for (; i + step <= pairs && i + step + 1 <= readable; i += step) {
    convert(in + i * 4, out + i * 8);
  }
  alignas(64) uint8_t to[kScratchBytes];
  while (i < pairs) {
    const size_t rest = pairs - i < step ? pairs - i : step;
    const uint8_t* s = in + i * 4;
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

template <PairOrder kFrom, bool kWords>
StepRoutine PickYuvToRgbFrom(bool ownRed, bool quick) {
  if (ownRed) {
    return quick ? YuvToRgb<kFrom, kWords, true, true> : YuvToRgb<kFrom, kWords, true, false>;
  }
  return quick ? YuvToRgb<kFrom, kWords, false, true> : YuvToRgb<kFrom, kWords, false, false>;
}

template <PairOrder kFrom>
StepRoutine PickYuvToRgbFrom(const YuvToRgbKind& kind) {
  return kind.words ? PickYuvToRgbFrom<kFrom, true>(kind.ownRed, kind.quick)
                    : PickYuvToRgbFrom<kFrom, false>(kind.ownRed, kind.quick);
}

StepRoutine PickYuvToRgb(int from, YuvToRgbKind kind) {
  switch (static_cast<PairOrder>(from)) {
    case PairOrder::kUyvy:
      return PickYuvToRgbFrom<PairOrder::kUyvy>(kind);
    case PairOrder::kYuyv:
      return PickYuvToRgbFrom<PairOrder::kYuyv>(kind);
    default:
      return PickYuvToRgbFrom<PairOrder::kWide>(kind);
  }
}

#endif
}  // namespace HWY_NAMESPACE
}  // namespace morvane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace morvane {

HWY_EXPORT(PickYuvToRgb);

StepRoutine YuvToRgbStep(PairOrder from, const YuvToRgbKind& kind) {
  return HWY_DYNAMIC_DISPATCH(PickYuvToRgb)(static_cast<int>(from), kind);
}

}  // namespace morvane
#endif
