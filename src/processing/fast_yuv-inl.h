// What the vector routines between 4:2:2 and RGB share. Compiled once for each kind of processor.
//
// They come twice over. The exact form does the written formulas in lanes of doubles, operation by
// operation in the written order, so its bits are those of the plain code by construction. Factors
// of two (the mean of two pixels, the scale between 8 and 10 bits) are moved into the
// coefficients; that changes no rounding. No fused operation stands there.
//
// The quick form works in floats, in any order and with fused operations. Its results carry a bias
// that keeps them, and every sum on the way to them, between two neighbouring powers of two
// (1024 and 2048 for results of 8 bits, 4096 and 8192 for 10): such a float is a fixed-point number
// with 13 (11) bits behind the point, and rounding, clip and doubt cost a few operations on whole
// numbers. The error, in steps of the last of these bits: half a step each for the bias and for up
// to three sums; a quarter of a step or little more each for the coefficients of a row, which are
// off by 2^-24 of their products' sum, and, without fused operations, for the rounding of these
// products. That is below 3, so a result within two steps of a whole number may stand on its wrong
// side; a vector with any such lane is done again in the exact form. That is one in four or fewer.
// Coefficients whose sums could leave these sizes take the exact form (fast_chain.cpp).
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

// Rounds the quick form's results, which must carry kBias (the 0.5 of the formulas is in it), and
// keeps in mind how near the nearest one came to a whole number.
template <int kResultBits>
class FixedRounder {
 public:
  static constexpr int kFractionBits = 21 - kResultBits;
  static constexpr int32_t kRoomBelow = 352 << (kResultBits - 8);  // for results below zero
  // Two steps above the truth, so that what is in doubt has the fractions 0 to 4.
  static constexpr double kStep = 1.0 / (1 << kFractionBits);
  static constexpr double kBias = (1 << (23 - kFractionBits)) + kRoomBelow + 0.5 + 2 * kStep;

  HWY_INLINE FixedRounder() : nearest_(hn::Set(D32(), kFractionMask)) {}
  // Returns: whole numbers of `even` and `odd` in turn in lanes of 16 bits; below zero they are 0.
  HWY_INLINE V16 Round(VF32 even, VF32 odd) {
    const D16 d;
    const auto evenBits = hn::BitCast(D32(), even), oddBits = hn::BitCast(D32(), odd);
    nearest_ =
        hn::Min(nearest_, hn::Min(Low(evenBits, kFractionMask), Low(oddBits, kFractionMask)));
    const auto whole = hn::OddEven(hn::BitCast(d, hn::ShiftLeft<16 - kFractionBits>(oddBits)),
                                   hn::BitCast(d, hn::ShiftRight<kFractionBits>(evenBits)));
    // The lowest bits of the exponent stand above the number.
    constexpr int kExponent = (127 + 23 - kFractionBits) << (23 - kFractionBits) & 0xFFFF;
    return hn::SaturatedSub(whole, hn::Set(d, static_cast<uint16_t>(kExponent + kRoomBelow)));
  }
  [[nodiscard]] HWY_INLINE bool InDoubt() const {
    return !hn::AllTrue(DI32(), hn::Gt(hn::BitCast(DI32(), nearest_), hn::Set(DI32(), 4)));
  }

 private:
  static constexpr uint32_t kFractionMask = (1u << kFractionBits) - 1;
  V32 nearest_;
};

HWY_INLINE V16 Set16(int32_t x) {
  return hn::Set(D16(), static_cast<uint16_t>(x));
}

#endif
}  // namespace HWY_NAMESPACE
}  // namespace morvane
HWY_AFTER_NAMESPACE();

#endif
