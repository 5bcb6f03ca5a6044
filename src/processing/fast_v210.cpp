// Vector routines between 10-bit 4:2:2 words and other orders of the same values.
#include <cstddef>

#include "processing/fast_lines.h"
#include "processing/fast_targets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "processing/fast_v210.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "processing/fast_vectors-inl.h"
#include "processing/pixel_access.h"

HWY_BEFORE_NAMESPACE();
namespace morvane {
namespace HWY_NAMESPACE {
#if MORVANE_NO_VECTORS  // no vectors: the plain code does it

StepRoutine PickV210ToBytes(bool) {
  return nullptr;
}
StepRoutine PickV210ToWide() {
  return nullptr;
}
StepRoutine PickWideToV210() {
  return nullptr;
}

#else

constexpr uint8_t kNo = 0x80;  // gives a zero byte

// The three values of each word of a group lie in memory order as Cb Y Cr Y ..., which is the
// order of 8-bit 4:2:2 too, so 4 words become 12 bytes by leaving out every fourth.
template <PairOrder kTo>
void V210ToBytes(const StepParams&, LineState*, const uint8_t* in, uint8_t* out, size_t n) {
  alignas(16) static constexpr uint8_t kUyvyOrder[16] = {0,  1,  2,  4,  5,   6,   8,   9,
                                                         10, 12, 13, 14, kNo, kNo, kNo, kNo};
  alignas(16) static constexpr uint8_t kYuyvOrder[16] = {1,  0,  4,  2,  6,   5,   9,   8,
                                                         12, 10, 14, 13, kNo, kNo, kNo, kNo};
  alignas(16) static constexpr uint8_t kUyvyTop[16] = {240, 255, 240, 255, 240, 255, 240, 255,
                                                       240, 255, 240, 255, 0,   0,   0,   0};
  alignas(16) static constexpr uint8_t kYuyvTop[16] = {255, 240, 255, 240, 255, 240, 255, 240,
                                                       255, 240, 255, 240, 0,   0,   0,   0};
  constexpr bool kLumaFirst = kTo == PairOrder::kYuyv;
  const D8 d;
  const auto order = Table16(kLumaFirst ? kYuyvOrder : kUyvyOrder);
  const auto top = Table16(kLumaFirst ? kYuyvTop : kUyvyTop);
  const size_t groups = n / 6;
  ForUnits<16, 12, kSpreadSlack>(
      in, out, groups, hn::Lanes(D32()) / 4, [&](const uint8_t* s, uint8_t* t) HWY_ATTR {
        const auto w = Low(LoadWords(s), 0x3FFFFFFF);
        // (v + 2) >> 2 is v >> 2 plus the bit below, each value in a byte of its own.
        const auto eights =
            hn::Or(hn::Or(Low(hn::ShiftRight<2>(w), 0xFF), Low(hn::ShiftRight<4>(w), 0xFF00)),
                   Low(hn::ShiftRight<6>(w), 0xFF0000));
        const auto halves =
            hn::Or(hn::Or(Low(hn::ShiftRight<1>(w), 1), Low(hn::ShiftRight<3>(w), 0x100)),
                   Low(hn::ShiftRight<5>(w), 0x10000));
        const auto rounded = hn::SaturatedAdd(hn::BitCast(d, eights), hn::BitCast(d, halves));
        StoreGathered(hn::Min(hn::TableLookupBytesOr0(rounded, order), top), t);
      });
  const auto eight = [](uint32_t v, uint32_t most) {
    const uint32_t rounded = (v + 2) >> 2;
    return rounded < most ? rounded : most;
  };
  for (size_t x = groups * 6; x + 2 <= n; x += 2) {
    const YuvPair pair =
        LoadPair(*FindPixelFormat(FourCC("v219")), in, static_cast<int32_t>(x / 2));
    const PixelFormat& to = *FindPixelFormat(kLumaFirst ? FourCC("yuy2") : FourCC("2vuy"));
    StorePair(to, out, static_cast<int32_t>(x / 2),
              {eight(pair.y0, 255), eight(pair.cb, 240), eight(pair.cr, 240), eight(pair.y1, 255)});
  }
}

// To wide pairs, with the pair that follows the block (the last of the line is its own follower).
void V210ToWide(const StepParams&, LineState* state, const uint8_t* in, uint8_t* out, size_t n) {
  // u16 lanes of the values that stand lowest and middle in the four words, then of the highest.
  alignas(16) static constexpr uint8_t kChromaLow[16] = {0,   1,   kNo, kNo, 6,   7,   8,   9,
                                                         kNo, kNo, 14,  15,  kNo, kNo, kNo, kNo};
  alignas(16) static constexpr uint8_t kChromaHigh[16] = {kNo, kNo, 0,   1,   kNo, kNo, kNo, kNo,
                                                          8,   9,   kNo, kNo, kNo, kNo, kNo, kNo};
  alignas(16) static constexpr uint8_t kLumaLow[16] = {2,  3,  4,   5,   kNo, kNo, 10,  11,
                                                       12, 13, kNo, kNo, kNo, kNo, kNo, kNo};
  alignas(16) static constexpr uint8_t kLumaHigh[16] = {kNo, kNo, kNo, kNo, 4,   5,   kNo, kNo,
                                                        kNo, kNo, 12,  13,  kNo, kNo, kNo, kNo};
  const D8 d;
  const auto chromaLow = Table16(kChromaLow), chromaHigh = Table16(kChromaHigh);
  const auto lumaLow = Table16(kLumaLow), lumaHigh = Table16(kLumaHigh);
  const auto convert = [&](const uint8_t* s, size_t group) HWY_ATTR {
    const auto w = Low(LoadWords(s), 0x3FFFFFFF);
    const auto low = hn::BitCast(d, hn::Or(Low(w, 0x3FF), Low(hn::ShiftLeft<6>(w), 0x3FF0000)));
    const auto high = hn::BitCast(d, hn::ShiftRight<20>(w));
    StoreGathered(
        hn::Or(hn::TableLookupBytesOr0(low, chromaLow), hn::TableLookupBytesOr0(high, chromaHigh)),
        out + group * 12);
    StoreGathered(
        hn::Or(hn::TableLookupBytesOr0(low, lumaLow), hn::TableLookupBytesOr0(high, lumaHigh)),
        out + kLumaPlane + group * 12);
  };
  const bool follower = state->pixelsAfter >= 2;
  const size_t groups = (n + (follower ? 2 : 0) + 5) / 6;
  const size_t step = hn::Lanes(D32()) / 4;
  size_t i = 0;
  for (; i + step <= groups; i += step) convert(in + i * 16, i);
  if (i < groups) {
    alignas(64) uint8_t from[64] = {};
    std::memcpy(from, in + i * 16, (groups - i) * 16);
    convert(from, i);
  }
  if (!follower && n >= 2) std::memcpy(out + n * 2, out + n * 2 - 4, 4);
}

void WideToV210(const StepParams&, LineState*, const uint8_t* in, uint8_t* out, size_t n) {
  // Which u16 of the chroma or the luma of a group stands lowest, in the middle and highest.
  alignas(16) static constexpr uint8_t kLowC[16] = {0, 1, kNo, kNo, kNo, kNo, kNo, kNo,
                                                    6, 7, kNo, kNo, kNo, kNo, kNo, kNo};
  alignas(16) static constexpr uint8_t kLowY[16] = {kNo, kNo, kNo, kNo, 2, 3, kNo, kNo,
                                                    kNo, kNo, kNo, kNo, 8, 9, kNo, kNo};
  alignas(16) static constexpr uint8_t kMidC[16] = {kNo, kNo, kNo, kNo, 4,  5,  kNo, kNo,
                                                    kNo, kNo, kNo, kNo, 10, 11, kNo, kNo};
  alignas(16) static constexpr uint8_t kMidY[16] = {0, 1, kNo, kNo, kNo, kNo, kNo, kNo,
                                                    6, 7, kNo, kNo, kNo, kNo, kNo, kNo};
  alignas(16) static constexpr uint8_t kHighC[16] = {2, 3, kNo, kNo, kNo, kNo, kNo, kNo,
                                                     8, 9, kNo, kNo, kNo, kNo, kNo, kNo};
  alignas(16) static constexpr uint8_t kHighY[16] = {kNo, kNo, kNo, kNo, 4,  5,  kNo, kNo,
                                                     kNo, kNo, kNo, kNo, 10, 11, kNo, kNo};
  const D32 d;
  const auto lowC = Table16(kLowC), lowY = Table16(kLowY), midC = Table16(kMidC);
  const auto midY = Table16(kMidY), highC = Table16(kHighC), highY = Table16(kHighY);
  const auto convert = [&](size_t group) HWY_ATTR {
    const auto c = LoadSpread(in + group * 12);
    const auto y = LoadSpread(in + kLumaPlane + group * 12);
    const auto pick = [&](V8 tableC, V8 tableY) HWY_ATTR {
      return hn::BitCast(
          d, hn::Or(hn::TableLookupBytesOr0(c, tableC), hn::TableLookupBytesOr0(y, tableY)));
    };
    return hn::Or(hn::Or(pick(lowC, lowY), hn::ShiftLeft<10>(pick(midC, midY))),
                  hn::ShiftLeft<20>(pick(highC, highY)));
  };
  const size_t groups = n / 6;
  const size_t step = hn::Lanes(d) / 4;
  size_t i = 0;
  for (; i + step <= groups; i += step) StoreWords(convert(i), out + i * 16);
  if (i < groups) {
    alignas(64) uint8_t to[64];
    StoreWords(convert(i), to);
    std::memcpy(out + i * 16, to, (groups - i) * 16);
  }
  const PixelFormat& format = *FindPixelFormat(FourCC("v219"));
  for (size_t x = groups * 6; x + 2 <= n; x += 2) {
    const uint8_t* c = in + x * 2;
    const uint8_t* y = in + kLumaPlane + x * 2;
    StorePair(format, out, static_cast<int32_t>(x / 2),
              {LoadLe16(y), LoadLe16(c), LoadLe16(c + 2), LoadLe16(y + 2)});
  }
}

StepRoutine PickV210ToBytes(bool lumaFirst) {
  return lumaFirst ? V210ToBytes<PairOrder::kYuyv> : V210ToBytes<PairOrder::kUyvy>;
}
StepRoutine PickV210ToWide() {
  return V210ToWide;
}
StepRoutine PickWideToV210() {
  return WideToV210;
}

#endif
}  // namespace HWY_NAMESPACE
}  // namespace morvane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace morvane {

HWY_EXPORT(PickV210ToBytes);
HWY_EXPORT(PickV210ToWide);
HWY_EXPORT(PickWideToV210);

StepRoutine V210ToBytesStep(PairOrder to) {
  return HWY_DYNAMIC_DISPATCH(PickV210ToBytes)(to == PairOrder::kYuyv);
}
StepRoutine V210ToWideStep() {
  return HWY_DYNAMIC_DISPATCH(PickV210ToWide)();
}
StepRoutine WideToV210Step() {
  return HWY_DYNAMIC_DISPATCH(PickWideToV210)();
}

}  // namespace morvane
#endif
