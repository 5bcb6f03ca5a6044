// Helpers of the vector routines, compiled once for each kind of processor.
#if defined(MORVANE_FAST_VECTORS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef MORVANE_FAST_VECTORS_INL_H_
#undef MORVANE_FAST_VECTORS_INL_H_
#else
#define MORVANE_FAST_VECTORS_INL_H_
#endif

#include <cstring>

#include "hwy/highway.h"
#include "processing/fast_lines.h"
#include "processing/fast_targets.h"

HWY_BEFORE_NAMESPACE();
namespace morvane {
namespace HWY_NAMESPACE {
#if !MORVANE_NO_VECTORS
namespace hn = hwy::HWY_NAMESPACE;

using D8 = hn::ScalableTag<uint8_t>;
using D16 = hn::ScalableTag<uint16_t>;
using D32 = hn::ScalableTag<uint32_t>;
using DI32 = hn::ScalableTag<int32_t>;
using DF32 = hn::ScalableTag<float>;
using V8 = hn::Vec<D8>;
using V16 = hn::Vec<D16>;
using V32 = hn::Vec<D32>;

// Room for what is left of a line: less than two steps of four vectors each, and what is touched
// behind. It is cleared for every line, so no more than that.
constexpr size_t kScratchBytes = 768;

// Calls `body(in, out)` for every `step` of `n` units (pixels or groups) of kIn and kOut bytes.
// A body may touch kSlack units behind its own, so the last ones go through memory of our own.
template <size_t kIn, size_t kOut, size_t kSlack, class Body>
HWY_INLINE void ForUnits(const uint8_t* in, uint8_t* out, size_t n, size_t step, const Body& body) {
  size_t i = 0;
  for (; i + step + kSlack <= n; i += step) body(in + i * kIn, out + i * kOut);
  const size_t rest = n - i;
  if (rest == 0) return;
  alignas(64) uint8_t from[kScratchBytes] = {};
  alignas(64) uint8_t to[kScratchBytes];
  std::memcpy(from, in + i * kIn, rest * kIn);
  for (size_t k = 0; k < rest; k += step) body(from + k * kIn, to + k * kOut);
  std::memcpy(out + i * kOut, to, rest * kOut);
}

// Lane order that spreads 12 bytes of each 16 to a block of its own, or brings them together.
HWY_INLINE auto SpreadLanes() {
  const D32 d;
  alignas(64) int32_t lanes[16];
  for (int32_t i = 0; i < 16; ++i) lanes[i] = i / 4 * 3 + (i % 4 < 3 ? i % 4 : 2);
  return hn::SetTableIndices(d, lanes);
}
HWY_INLINE auto GatherLanes() {
  const D32 d;
  const int32_t top = static_cast<int32_t>(hn::Lanes(d)) - 1;
  alignas(64) int32_t lanes[16];
  for (int32_t i = 0; i < 16; ++i) {
    const int32_t lane = i / 3 * 4 + i % 3;
    lanes[i] = lane < top ? lane : top;
  }
  return hn::SetTableIndices(d, lanes);
}

// Loads 12 bytes for each 16 of a vector; reads a whole vector.
HWY_INLINE V8 LoadSpread(const uint8_t* p) {
  const D8 d;
  const auto raw = hn::LoadU(d, p);
  if (hn::Lanes(d) == 16) return raw;
  return hn::BitCast(d, hn::TableLookupLanes(hn::BitCast(D32(), raw), SpreadLanes()));
}
// Stores the first 12 bytes of each 16; writes a whole vector.
HWY_INLINE void StoreGathered(V8 v, uint8_t* p) {
  const D8 d;
  if (hn::Lanes(d) > 16) {
    v = hn::BitCast(d, hn::TableLookupLanes(hn::BitCast(D32(), v), GatherLanes()));
  }
  hn::StoreU(v, d, p);
}
// Units of 12 bytes that a whole vector touches behind its own.
constexpr size_t kSpreadSlack = 2;

HWY_INLINE V8 Table16(const uint8_t (&table)[16]) {
  return hn::LoadDup128(D8(), table);
}

// A vector that is shifted in several ways is masked first where that costs nothing: compilers put
// the load into every shift otherwise, and cold memory then takes longer.
HWY_INLINE V32 LoadWords(const uint8_t* p) {
  return hn::BitCast(D32(), hn::LoadU(D8(), p));
}
HWY_INLINE void StoreWords(V32 v, uint8_t* p) {
  hn::StoreU(hn::BitCast(D8(), v), D8(), p);
}

HWY_INLINE V32 SwapWords(V32 v) {
  alignas(16) static constexpr uint8_t kSwap[16] = {3,  2,  1, 0, 7,  6,  5,  4,
                                                    11, 10, 9, 8, 15, 14, 13, 12};
  return hn::BitCast(D32(), hn::TableLookupBytes(hn::BitCast(D8(), v), Table16(kSwap)));
}

HWY_INLINE V32 Low(V32 v, uint32_t mask) {
  return hn::And(v, hn::Set(D32(), mask));
}

// A 10-bit word as a high word with its two low bits clear, and back.
template <WordOrder kOrder>
HWY_INLINE V32 ToHighWord(V32 v) {
  if constexpr (kOrder == WordOrder::kBgr) {
    v = Low(v, 0x3FFFFFFF);
    return hn::Or(hn::Or(hn::ShiftLeft<22>(v), hn::ShiftLeft<2>(Low(v, 0xFFC00))),
                  Low(hn::ShiftRight<18>(v), 0xFFC));
  } else if constexpr (kOrder == WordOrder::kBig) {
    return Low(SwapWords(v), 0xFFFFFFFC);
  } else {
    return Low(v, 0xFFFFFFFC);
  }
}
template <WordOrder kOrder>
HWY_INLINE V32 FromHighWord(V32 v) {
  if constexpr (kOrder == WordOrder::kBgr) {
    return hn::Or(hn::Or(hn::ShiftRight<22>(v), Low(hn::ShiftRight<2>(v), 0xFFC00)),
                  Low(hn::ShiftLeft<18>(v), 0x3FF00000));
  } else if constexpr (kOrder == WordOrder::kBig) {
    return SwapWords(v);
  } else {
    return v;
  }
}

struct Rgb32 {
  V32 r, g, b;
};

HWY_INLINE Rgb32 SplitHighWord(V32 v) {
  return {hn::ShiftRight<22>(v), Low(hn::ShiftRight<12>(v), 0x3FF),
          Low(hn::ShiftRight<2>(v), 0x3FF)};
}
HWY_INLINE V32 JoinHighWord(const Rgb32& p) {
  return hn::Or(hn::Or(hn::ShiftLeft<22>(p.r), hn::ShiftLeft<12>(p.g)), hn::ShiftLeft<2>(p.b));
}
// The same straight from and to a word of any order.
template <WordOrder kOrder>
HWY_INLINE Rgb32 SplitWord(V32 v) {
  if constexpr (kOrder == WordOrder::kBgr) {
    v = Low(v, 0x3FFFFFFF);
    return {Low(v, 0x3FF), Low(hn::ShiftRight<10>(v), 0x3FF), hn::ShiftRight<20>(v)};
  } else {
    return SplitHighWord(ToHighWord<kOrder>(v));
  }
}
template <WordOrder kOrder>
HWY_INLINE V32 JoinWord(const Rgb32& p) {
  if constexpr (kOrder == WordOrder::kBgr) {
    return hn::Or(hn::Or(p.r, hn::ShiftLeft<10>(p.g)), hn::ShiftLeft<20>(p.b));
  } else {
    return FromHighWord<kOrder>(JoinHighWord(p));
  }
}

HWY_INLINE Rgb32 SplitBgra(V32 v) {
  v = Low(v, 0xFFFFFF);
  return {hn::ShiftRight<16>(v), Low(hn::ShiftRight<8>(v), 0xFF), Low(v, 0xFF)};
}
HWY_INLINE V32 JoinBgra(const Rgb32& p) {
  return hn::Or(hn::Or(hn::ShiftLeft<16>(p.r), hn::ShiftLeft<8>(p.g)), p.b);
}

// truncate(v / from * to + 0.5), clipped at `top`, for v up to 65535.
// For 32768 it is a whole number times 2^-15. For the other ranges the product is rounded to a
// whole number by adding 2^23, which leaves no bits below 1. That is the same as the formula in
// doubles only because `factor` was chosen for it; the tests try every v of every pair of ranges on
// every kind of processor.
HWY_INLINE V32 Rescaled(const StepParams& p, V32 v) {
  const DF32 df;
  const D32 d;
  const auto top = hn::Set(d, p.top);
  if (p.powerOfTwo) {
    return hn::Min(hn::ShiftRight<15>(hn::Add(hn::Mul(v, top), hn::Set(d, 16384u))), top);
  }
  const auto magic = hn::Set(df, 8388608.0f);
  const auto x = hn::ConvertTo(df, hn::BitCast(DI32(), v));
  const auto sum = hn::BitCast(d, hn::MulAdd(x, hn::Set(df, p.factor), magic));
  return hn::Min(hn::Sub(sum, hn::BitCast(d, magic)), top);
}
HWY_INLINE Rgb32 Rescaled(const StepParams& p, const Rgb32& v) {
  return {Rescaled(p, v.r), Rescaled(p, v.g), Rescaled(p, v.b)};
}

#endif
}  // namespace HWY_NAMESPACE
}  // namespace morvane
HWY_AFTER_NAMESPACE();

#endif
