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
StepRoutine PickWideToPacked40(int) {
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

// 40-bit pixels of a half of the lanes: their upper 32 bits and their alpha in 32-bit lanes, put
// together four at a time in 16 bytes and 4 bytes.
template <bool kUpper>
HWY_INLINE void StorePacked40(const StepParams& p, const WidePixels& v, uint8_t* out) {
  constexpr uint8_t kNo = 0x80;
  alignas(16) static constexpr uint8_t kHigh[16] = {3, 2,   1,  0,  kNo, 7, 6,   5,
                                                    4, kNo, 11, 10, 9,   8, kNo, 15};
  alignas(16) static constexpr uint8_t kLow[16] = {kNo, kNo, kNo, kNo, 0,   kNo, kNo, kNo,
                                                   kNo, 4,   kNo, kNo, kNo, kNo, 8,   kNo};
  alignas(16) static constexpr uint8_t kHighEnd[16] = {14,  13,  12,  kNo, kNo, kNo, kNo, kNo,
                                                       kNo, kNo, kNo, kNo, kNo, kNo, kNo, kNo};
  alignas(16) static constexpr uint8_t kLowEnd[16] = {kNo, kNo, kNo, 12,  kNo, kNo, kNo, kNo,
                                                      kNo, kNo, kNo, kNo, kNo, kNo, kNo, kNo};
  const D8 d;
  const auto alpha = HalfRescaled<kUpper>(p, v.a);
  const auto words = hn::Or(JoinHighWord(HalfRescaled<kUpper>(p, v)), hn::ShiftRight<8>(alpha));
  const auto join = [&](const uint8_t(&fromWord)[16], const uint8_t(&fromAlpha)[16]) HWY_ATTR {
    return hn::Or(hn::TableLookupBytesOr0(hn::BitCast(d, words), Table16(fromWord)),
                  hn::TableLookupBytesOr0(hn::BitCast(d, alpha), Table16(fromAlpha)));
  };
  alignas(64) uint8_t first[64], last[64];
  hn::Store(join(kHigh, kLow), d, first);
  hn::Store(join(kHighEnd, kLowEnd), d, last);
  for (size_t i = 0; i < hn::Lanes(d); i += 16, out += 20) {
    std::memcpy(out, first + i, 16);
    std::memcpy(out + 16, last + i, 4);
  }
}

template <WideOrder kFrom>
void WideToPacked40(const StepParams& p, LineState*, const uint8_t* in, uint8_t* out, size_t n) {
  const size_t half = hn::Lanes(D32()) * 5;
  ForUnits<WideBytes(kFrom), 5, 0>(in, out, n, hn::Lanes(D16()),
                                   [&](const uint8_t* s, uint8_t* t) HWY_ATTR {
                                     const WidePixels v = LoadWide<kFrom>(s);
                                     StorePacked40<false>(p, v, t);
                                     StorePacked40<true>(p, v, t + half);
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

// Nothing for pixels without alpha: they become words first.
StepRoutine PickWideToPacked40(int from) {
  static constexpr StepRoutine kRoutines[5] = {nullptr, nullptr, WideToPacked40<kRgba>,
                                               WideToPacked40<kArgb>, WideToPacked40<kBgra>};
  return kRoutines[from];
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
HWY_EXPORT(PickWideToPacked40);
HWY_EXPORT(PickWideToPlanes);

StepRoutine WideToBytesStep(WideOrder from) {
  return HWY_DYNAMIC_DISPATCH(PickWideToBytes)(static_cast<int>(from));
}
StepRoutine WideToWordsStep(WideOrder from, WordOrder to) {
  return HWY_DYNAMIC_DISPATCH(PickWideToWords)(static_cast<int>(from), static_cast<int>(to));
}
StepRoutine WideToPacked40Step(WideOrder from) {
  return HWY_DYNAMIC_DISPATCH(PickWideToPacked40)(static_cast<int>(from));
}
StepRoutine WideToPlanesStep(WideOrder from) {
  return HWY_DYNAMIC_DISPATCH(PickWideToPlanes)(static_cast<int>(from));
}

}  // namespace morvane
#endif
