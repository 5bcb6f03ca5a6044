// Vector routines from 16-bit RGB.
#include <cstddef>

#include "processing/fast_lines.h"
#include "processing/fast_targets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "processing/fast_rgb16.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "processing/fast_vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace morvane {
namespace HWY_NAMESPACE {
#if MORVANE_NO_VECTORS  // no vectors: the plain code does it

StepRoutine PickWideToBytes(int) {
  return nullptr;
}
StepRoutine PickWideToWords(int, int) {
  return nullptr;
}
StepRoutine PickWideToPlanes(int) {
  return nullptr;
}

#else

// A vector of pixels, each component in 16-bit lanes.
struct WidePixels {
  V16 r, g, b, a;
};

constexpr size_t WideBytes(WideOrder order) {
  return order == WideOrder::kRgbLe || order == WideOrder::kRgbBe ? 6 : 8;
}

HWY_INLINE V16 SwapBytes(V16 v) {
  return hn::Or(hn::ShiftLeft<8>(v), hn::ShiftRight<8>(v));
}

template <WideOrder kOrder>
HWY_INLINE WidePixels LoadWide(const uint8_t* bytes) {
  const D16 d;
  const auto* p = reinterpret_cast<const uint16_t*>(bytes);
  V16 v0, v1, v2, v3 = hn::Zero(d);
  if constexpr (WideBytes(kOrder) == 6) {
    hn::LoadInterleaved3(d, p, v0, v1, v2);
  } else {
    hn::LoadInterleaved4(d, p, v0, v1, v2, v3);
  }
  if constexpr (kOrder == WideOrder::kRgbBe) {
    return {SwapBytes(v0), SwapBytes(v1), SwapBytes(v2), v3};
  } else if constexpr (kOrder == WideOrder::kArgb) {
    return {v1, v2, v3, v0};
  } else if constexpr (kOrder == WideOrder::kBgra) {
    return {v2, v1, v0, v3};
  } else {
    return {v0, v1, v2, v3};
  }
}

// The lower or upper half of 16-bit lanes, rescaled in lanes of 32 bits.
template <bool kUpper>
HWY_INLINE V32 HalfRescaled(const StepParams& p, V16 v) {
  const D32 d;
  const hn::Half<D16> half;
  if constexpr (kUpper) {
    return Rescaled(p, hn::PromoteTo(d, hn::UpperHalf(half, v)));
  } else {
    return Rescaled(p, hn::PromoteTo(d, hn::LowerHalf(half, v)));
  }
}
template <bool kUpper>
HWY_INLINE Rgb32 HalfRescaled(const StepParams& p, const WidePixels& v) {
  return {HalfRescaled<kUpper>(p, v.r), HalfRescaled<kUpper>(p, v.g), HalfRescaled<kUpper>(p, v.b)};
}

template <WideOrder kFrom, bool kUpper>
HWY_INLINE V32 HalfToBgra(const StepParams& p, const WidePixels& v) {
  const auto colour = JoinBgra(HalfRescaled<kUpper>(p, v));
  if constexpr (WideBytes(kFrom) == 6) {
    return hn::Or(colour, hn::Set(D32(), p.setBits));
  } else {
    return hn::Or(colour, hn::ShiftLeft<24>(HalfRescaled<kUpper>(p, v.a)));
  }
}

template <WideOrder kFrom>
void WideToBytes(const StepParams& p, LineState*, const uint8_t* in, uint8_t* out, size_t n) {
  const size_t half = hn::Lanes(D32()) * 4;
  ForUnits<WideBytes(kFrom), 4, 0>(in, out, n, hn::Lanes(D16()),
                                   [&](const uint8_t* s, uint8_t* t) HWY_ATTR {
                                     const WidePixels v = LoadWide<kFrom>(s);
                                     StoreWords(HalfToBgra<kFrom, false>(p, v), t);
                                     StoreWords(HalfToBgra<kFrom, true>(p, v), t + half);
                                   });
}

template <WideOrder kFrom, WordOrder kTo>
void WideToWords(const StepParams& p, LineState*, const uint8_t* in, uint8_t* out, size_t n) {
  const size_t half = hn::Lanes(D32()) * 4;
  ForUnits<WideBytes(kFrom), 4, 0>(in, out, n, hn::Lanes(D16()),
                                   [&](const uint8_t* s, uint8_t* t) HWY_ATTR {
                                     const WidePixels v = LoadWide<kFrom>(s);
                                     StoreWords(JoinWord<kTo>(HalfRescaled<false>(p, v)), t);
                                     StoreWords(JoinWord<kTo>(HalfRescaled<true>(p, v)), t + half);
                                   });
}

template <WideOrder kFrom>
void WideToPlanes(const StepParams&, LineState*, const uint8_t* in, uint8_t* out, size_t n) {
  const D16 d;
  const size_t step = hn::Lanes(d);
  const auto store = [&](const WidePixels& v, size_t i) HWY_ATTR {
    hn::StoreU(v.r, d, reinterpret_cast<uint16_t*>(out) + i);
    hn::StoreU(v.g, d, reinterpret_cast<uint16_t*>(out + kGreenPlane) + i);
    hn::StoreU(v.b, d, reinterpret_cast<uint16_t*>(out + kBluePlane) + i);
  };
  size_t i = 0;
  for (; i + step <= n; i += step) store(LoadWide<kFrom>(in + i * WideBytes(kFrom)), i);
  if (i == n) return;
  alignas(64) uint8_t from[kScratchBytes] = {};
  std::memcpy(from, in + i * WideBytes(kFrom), (n - i) * WideBytes(kFrom));
  store(LoadWide<kFrom>(from), i);
}

constexpr WordOrder kL = WordOrder::kLittle, kB = WordOrder::kBig, kG = WordOrder::kBgr;
constexpr WideOrder kRgbLe = WideOrder::kRgbLe, kRgbBe = WideOrder::kRgbBe,
                    kRgba = WideOrder::kRgba, kArgb = WideOrder::kArgb, kBgra = WideOrder::kBgra;

StepRoutine PickWideToBytes(int from) {
  static constexpr StepRoutine kRoutines[5] = {WideToBytes<kRgbLe>, WideToBytes<kRgbBe>,
                                               WideToBytes<kRgba>, WideToBytes<kArgb>,
                                               WideToBytes<kBgra>};
  return kRoutines[from];
}

StepRoutine PickWideToWords(int from, int to) {
  static constexpr StepRoutine kRoutines[5][3] = {
      {WideToWords<kRgbLe, kL>, WideToWords<kRgbLe, kB>, WideToWords<kRgbLe, kG>},
      {WideToWords<kRgbBe, kL>, WideToWords<kRgbBe, kB>, WideToWords<kRgbBe, kG>},
      {WideToWords<kRgba, kL>, WideToWords<kRgba, kB>, WideToWords<kRgba, kG>},
      {WideToWords<kArgb, kL>, WideToWords<kArgb, kB>, WideToWords<kArgb, kG>},
      {WideToWords<kBgra, kL>, WideToWords<kBgra, kB>, WideToWords<kBgra, kG>}};
  return kRoutines[from][to];
}

StepRoutine PickWideToPlanes(int from) {
  static constexpr StepRoutine kRoutines[5] = {WideToPlanes<kRgbLe>, WideToPlanes<kRgbBe>,
                                               WideToPlanes<kRgba>, WideToPlanes<kArgb>,
                                               WideToPlanes<kBgra>};
  return kRoutines[from];
}

#endif
}  // namespace HWY_NAMESPACE
}  // namespace morvane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace morvane {

HWY_EXPORT(PickWideToBytes);
HWY_EXPORT(PickWideToWords);
HWY_EXPORT(PickWideToPlanes);

StepRoutine WideToBytesStep(WideOrder from) {
  return HWY_DYNAMIC_DISPATCH(PickWideToBytes)(static_cast<int>(from));
}
StepRoutine WideToWordsStep(WideOrder from, WordOrder to) {
  return HWY_DYNAMIC_DISPATCH(PickWideToWords)(static_cast<int>(from), static_cast<int>(to));
}
StepRoutine WideToPlanesStep(WideOrder from) {
  return HWY_DYNAMIC_DISPATCH(PickWideToPlanes)(static_cast<int>(from));
}

}  // namespace morvane
#endif
