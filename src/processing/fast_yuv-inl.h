// What the vector routines between 4:2:2 and RGB share. Compiled once for each kind of processor.
//
// They come twice over. The exact form does the written formulas in lanes of doubles, operation by
// operation in the written order, so its bits are those of the plain code by construction. Factors
// of two (the mean of two pixels, the scale between 8 and 10 bits) are moved into the
// coefficients; that changes no rounding. No fused operation stands there.
//
// The quick form works in floats, in any order and with fused operations, and is off from the
// formula by less than kDoubt8 (kDoubt10 for results of 10 bits). A result that lies nearer than
// that to the middle between two whole numbers may be rounded to the wrong one, so a vector with
// any such lane is done again in the exact form; that is one in twenty or fewer. The error for 8
// bits: up to four roundings of numbers below 1024 (3.1e-5 each) and as many coefficients that are
// off by 2^-25 of products below 300 (9e-6 each) make 1.6e-4, where 1/4096 is 2.4e-4. Results of 10
// bits are four times as large, and so is their doubt. Coefficients outside of these sizes take
// the exact form (fast_chain.cpp).
#if defined(MORVANE_FAST_YUV_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef MORVANE_FAST_YUV_INL_H_
#undef MORVANE_FAST_YUV_INL_H_
#else
#define MORVANE_FAST_YUV_INL_H_
#endif

#include "processing/fast_vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace morvane {
namespace HWY_NAMESPACE {
#if !MORVANE_NO_VECTORS

using DF64 = hn::ScalableTag<double>;
using VF64 = hn::Vec<DF64>;
using VF32 = hn::Vec<DF32>;
using HalfI32 = hn::Half<DI32>;

constexpr float kDoubt8 = 1.0f / 4096;
constexpr float kDoubt10 = 1.0f / 1024;

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

HWY_INLINE VF32 ToFloats(V32 v) {
  return hn::ConvertTo(DF32(), hn::BitCast(DI32(), v));
}

HWY_INLINE VF32 FloatOf(double x) {
  return hn::Set(DF32(), static_cast<float>(x));
}

// Rounds floats to whole numbers and keeps in mind how far the worst one was off.
class Rounder {
 public:
  HWY_INLINE Rounder() : off_(hn::Zero(DF32())) {}
  // Clips to low..high and rounds. Returns: the number in the low 23 bits, 0x4B in the top byte.
  HWY_INLINE V32 Round(VF32 x, VF32 low, VF32 high) {
    const auto magic = hn::Set(DF32(), 8388608.0f);  // 2^23: no bits below 1
    x = hn::Min(hn::Max(x, low), high);
    const auto sum = hn::Add(x, magic);
    off_ = hn::Max(off_, hn::Abs(hn::Sub(x, hn::Sub(sum, magic))));
    return hn::BitCast(D32(), sum);
  }
  // True if a result lay within `doubt` of the middle between two numbers.
  HWY_INLINE bool InDoubt(float doubt) const {
    return !hn::AllFalse(DF32(), hn::Gt(off_, hn::Set(DF32(), 0.5f - doubt)));
  }

 private:
  VF32 off_;
};

#endif
}  // namespace HWY_NAMESPACE
}  // namespace morvane
HWY_AFTER_NAMESPACE();

#endif
