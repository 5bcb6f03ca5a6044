// Vector routines from RGB to 4:2:2.
#include <cstddef>

#include "processing/fast_lines.h"
#include "processing/fast_targets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "processing/fast_rgb_to_yuv.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "processing/fast_yuv-inl.h"

HWY_BEFORE_NAMESPACE();
namespace morvane {
namespace HWY_NAMESPACE {
#if MORVANE_NO_VECTORS  // no vectors: the plain code does it

StepRoutine PickRgbToYuv(int, int, bool) {
  return nullptr;
}

#else

// A vector of pairs: the pixel to the left of each, its even and its odd pixel.
struct Pixels {
  Rgb32 left, even, odd;
};

struct Yuv32 {
  V32 y0, cb, cr, y1;
};

template <RgbInput kFrom>
HWY_INLINE void LoadPixels(const uint8_t* s, Rgb32* even, Rgb32* odd) {
  const D32 d;
  if constexpr (kFrom == RgbInput::kWidePlanes) {
    const auto r = LoadWords(s), g = LoadWords(s + kGreenPlane), b = LoadWords(s + kBluePlane);
    *even = {Low(r, 0xFFFF), Low(g, 0xFFFF), Low(b, 0xFFFF)};
    *odd = {hn::ShiftRight<16>(r), hn::ShiftRight<16>(g), hn::ShiftRight<16>(b)};
  } else {
    V32 evens, odds;
    hn::LoadInterleaved2(d, reinterpret_cast<const uint32_t*>(s), evens, odds);
    if constexpr (kFrom == RgbInput::kBgra) {
      *even = SplitBgra(evens);
      *odd = SplitBgra(odds);
    } else {
      *even = SplitHighWord(evens);
      *odd = SplitHighWord(odds);
    }
  }
}

// Moves lanes up by one and puts the carried number in front.
class LeftPixels {
 public:
  HWY_INLINE explicit LeftPixels(const LineState& state)
      : r_(hn::Set(D32(), state.left[0])),
        g_(hn::Set(D32(), state.left[1])),
        b_(hn::Set(D32(), state.left[2])),
        first_(state.first) {
    const int32_t lanes = static_cast<int32_t>(hn::Lanes(D32()));
    alignas(64) int32_t turn[16];
    for (int32_t i = 0; i < lanes; ++i) turn[i] = (i + lanes - 1) % lanes;
    up_ = hn::Load(DI32(), turn);
  }

  HWY_INLINE Rgb32 Next(const Rgb32& even, const Rgb32& odd) {
    if (first_) {  // no pixel to the left: the first one stands in for it
      r_ = even.r;
      g_ = even.g;
      b_ = even.b;
      first_ = false;
    }
    return {Next(odd.r, &r_), Next(odd.g, &g_), Next(odd.b, &b_)};
  }

  HWY_INLINE void Keep(LineState* state) const {
    state->first = first_;
    state->left[0] = hn::GetLane(r_);
    state->left[1] = hn::GetLane(g_);
    state->left[2] = hn::GetLane(b_);
  }

 private:
  HWY_INLINE V32 Next(V32 odd, V32* carry) const {
    const D32 d;
    const auto turned = hn::TableLookupLanes(odd, hn::IndicesFromVec(d, up_));
    const auto left = hn::IfThenElse(hn::FirstN(d, 1), *carry, turned);
    *carry = turned;
    return left;
  }

  V32 r_, g_, b_;  // what comes to the left, in the first lane
  hn::Vec<DI32> up_;
  bool first_;
};

// ---- Exact

struct ExactMatrix {
  VF64 yR, yG, yB, yAdd, cbR, cbG, cbB, cbAdd, crR, crG, crB, crAdd, half;

  HWY_INLINE explicit ExactMatrix(const StepParams& p) {
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
  // One, two and one quarters, with 0.5 added.
  HWY_INLINE VF64 Filtered(VF64 left, VF64 even, VF64 odd) const {
    return hn::Add(hn::Add(hn::Add(left, hn::Add(even, even)), odd), half);
  }
};

struct RgbDoubles {
  VF64 r, g, b;
};
struct YuvDoubles {
  VF64 y0, cb, cr, y1;
};

HWY_INLINE YuvDoubles ExactHalf(const ExactMatrix& m, const RgbDoubles& left,
                                const RgbDoubles& even, const RgbDoubles& odd) {
  return {m.Luma(even.r, even.g, even.b),
          m.Filtered(m.Cb(left.r, left.g, left.b), m.Cb(even.r, even.g, even.b),
                     m.Cb(odd.r, odd.g, odd.b)),
          m.Filtered(m.Cr(left.r, left.g, left.b), m.Cr(even.r, even.g, even.b),
                     m.Cr(odd.r, odd.g, odd.b)),
          m.Luma(odd.r, odd.g, odd.b)};
}

HWY_INLINE Yuv32 ExactYuv(const ExactMatrix& m, const StepParams& p, const Pixels& v) {
  const Doubles lr = ToDoubles(v.left.r), lg = ToDoubles(v.left.g), lb = ToDoubles(v.left.b);
  const Doubles er = ToDoubles(v.even.r), eg = ToDoubles(v.even.g), eb = ToDoubles(v.even.b);
  const Doubles rr = ToDoubles(v.odd.r), rg = ToDoubles(v.odd.g), rb = ToDoubles(v.odd.b);
  const YuvDoubles lower =
      ExactHalf(m, {lr.lower, lg.lower, lb.lower}, {er.lower, eg.lower, eb.lower},
                {rr.lower, rg.lower, rb.lower});
  const YuvDoubles upper =
      ExactHalf(m, {lr.upper, lg.upper, lb.upper}, {er.upper, eg.upper, eb.upper},
                {rr.upper, rg.upper, rb.upper});
  return {Truncated({lower.y0, upper.y0}, p.low, p.highLuma),
          Truncated({lower.cb, upper.cb}, p.low, p.highChroma),
          Truncated({lower.cr, upper.cr}, p.low, p.highChroma),
          Truncated({lower.y1, upper.y1}, p.low, p.highLuma)};
}

// ---- Quick

// The chroma rows take the sum of one left, two even and one odd pixel, a whole number below 2^18.
struct QuickMatrix {
  VF32 yR, yG, yB, yAdd, cbR, cbG, cbB, cbAdd, crR, crG, crB, crAdd;
  V16 low, highLuma, highChroma;

  HWY_INLINE QuickMatrix(const StepParams& p, double bias) {
    yR = FloatOf(p.k[kYR]);
    yG = FloatOf(p.k[kYG]);
    yB = FloatOf(p.k[kYB]);
    yAdd = FloatOf(bias + p.k[kYAdd]);
    cbR = FloatOf(p.k[kCbR]);
    cbG = FloatOf(p.k[kCbG]);
    cbB = FloatOf(p.k[kCbB]);
    cbAdd = FloatOf(bias + p.k[kCbAdd] * 4);
    crR = FloatOf(p.k[kCrR]);
    crG = FloatOf(p.k[kCrG]);
    crB = FloatOf(p.k[kCrB]);
    crAdd = FloatOf(bias + p.k[kCrAdd] * 4);
    low = Set16(p.low);
    highLuma = Set16(p.highLuma);
    highChroma = Set16(p.highChroma);
  }
};

HWY_INLINE VF32 QuickLuma(const QuickMatrix& m, const Rgb32& p) {
  return hn::MulAdd(ToFloats(p.g), m.yG,
                    hn::MulAdd(ToFloats(p.r), m.yR, hn::MulAdd(ToFloats(p.b), m.yB, m.yAdd)));
}

HWY_INLINE V32 Filtered(V32 left, V32 even, V32 odd) {
  return hn::Add(hn::Add(left, hn::Add(even, even)), odd);
}

// Lanes of 16 bits hold Y0, Y1 ... and Cb, Cr ...
template <PairOrder kTo>
HWY_INLINE void StoreYuv(V16 luma, V16 chroma, uint8_t* t) {
  const D16 d;
  auto* const words = reinterpret_cast<uint16_t*>(t);
  if constexpr (kTo == PairOrder::kWide) {
    hn::StoreU(chroma, d, words);
    hn::StoreU(luma, d, reinterpret_cast<uint16_t*>(t + kLumaPlane));
  } else if constexpr (kTo == PairOrder::kYuyv) {
    hn::StoreU(hn::Or(luma, hn::ShiftLeft<8>(chroma)), d, words);
  } else {
    hn::StoreU(hn::Or(chroma, hn::ShiftLeft<8>(luma)), d, words);
  }
}

template <PairOrder kTo>
HWY_INLINE void StoreExact(const Yuv32& v, uint8_t* t) {
  const D16 d;
  StoreYuv<kTo>(hn::BitCast(d, hn::Or(v.y0, hn::ShiftLeft<16>(v.y1))),
                hn::BitCast(d, hn::Or(v.cb, hn::ShiftLeft<16>(v.cr))), t);
}

template <PairOrder kTo>
using YuvRounder = FixedRounder<kTo == PairOrder::kWide ? 10 : 8>;

// Returns: false if a lane is in doubt.
template <PairOrder kTo>
HWY_INLINE bool QuickYuv(const QuickMatrix& m, const Pixels& v, uint8_t* t) {
  const auto r = ToFloats(Filtered(v.left.r, v.even.r, v.odd.r));
  const auto g = ToFloats(Filtered(v.left.g, v.even.g, v.odd.g));
  const auto b = ToFloats(Filtered(v.left.b, v.even.b, v.odd.b));
  const auto cb = hn::MulAdd(b, m.cbB, hn::NegMulAdd(g, m.cbG, hn::NegMulAdd(r, m.cbR, m.cbAdd)));
  const auto cr = hn::MulAdd(r, m.crR, hn::NegMulAdd(g, m.crG, hn::NegMulAdd(b, m.crB, m.crAdd)));
  YuvRounder<kTo> rounder;
  const auto luma = rounder.Round(QuickLuma(m, v.even), QuickLuma(m, v.odd));
  const auto chroma = rounder.Round(cb, cr);
  if (HWY_UNLIKELY(rounder.InDoubt())) return false;
  StoreYuv<kTo>(hn::Min(hn::Max(luma, m.low), m.highLuma),
                hn::Min(hn::Max(chroma, m.low), m.highChroma), t);
  return true;
}

// ---- Lines

template <RgbInput kFrom, PairOrder kTo, bool kQuick>
void RgbToYuv(const StepParams& p, LineState* state, const uint8_t* in, uint8_t* out, size_t n) {
  constexpr size_t kInBytes = kFrom == RgbInput::kWidePlanes ? 4 : 8;  // of a pair
  const ExactMatrix exact(p);
  const QuickMatrix quick(p, YuvRounder<kTo>::kBias);
  LeftPixels left(*state);
  const auto convert = [&](const uint8_t* s, uint8_t* t) HWY_ATTR {
    Pixels v;
    LoadPixels<kFrom>(s, &v.even, &v.odd);
    v.left = left.Next(v.even, v.odd);
    if constexpr (kQuick) {
      if (HWY_LIKELY(QuickYuv<kTo>(quick, v, t))) return;
    }
    StoreExact<kTo>(ExactYuv(exact, p, v), t);
  };
  const size_t pairs = n / 2;
  const size_t step = hn::Lanes(D32());
  if constexpr (kTo == PairOrder::kWide || kFrom == RgbInput::kWidePlanes) {
    // One side is a block with room behind; the other may be a line.
    size_t i = 0;
    for (; i + step <= pairs; i += step) convert(in + i * kInBytes, out + i * 4);
    if (i < pairs) {
      alignas(64) uint8_t from[kScratchBytes] = {};
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
  left.Keep(state);
}

template <RgbInput kFrom, bool kQuick>
StepRoutine PickRgbToYuvFrom(int to) {
  static constexpr StepRoutine kRoutines[3] = {RgbToYuv<kFrom, PairOrder::kUyvy, kQuick>,
                                               RgbToYuv<kFrom, PairOrder::kYuyv, kQuick>,
                                               RgbToYuv<kFrom, PairOrder::kWide, kQuick>};
  return kRoutines[to];
}

template <RgbInput kFrom>
StepRoutine PickRgbToYuvFrom(int to, bool quick) {
  return quick ? PickRgbToYuvFrom<kFrom, true>(to) : PickRgbToYuvFrom<kFrom, false>(to);
}

StepRoutine PickRgbToYuv(int from, int to, bool quick) {
  switch (static_cast<RgbInput>(from)) {
    case RgbInput::kBgra:
      return PickRgbToYuvFrom<RgbInput::kBgra>(to, quick);
    case RgbInput::kHighWord:
      return PickRgbToYuvFrom<RgbInput::kHighWord>(to, quick);
    default:
      return PickRgbToYuvFrom<RgbInput::kWidePlanes>(to, quick);
  }
}

#endif
}  // namespace HWY_NAMESPACE
}  // namespace morvane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace morvane {

HWY_EXPORT(PickRgbToYuv);

StepRoutine RgbToYuvStep(RgbInput from, PairOrder to, bool quick) {
  return HWY_DYNAMIC_DISPATCH(PickRgbToYuv)(static_cast<int>(from), static_cast<int>(to), quick);
}

}  // namespace morvane
#endif
