// Vector routines between RGB formats of 8 and 10 bits.
#include <cstddef>

#include "processing/fast_lines.h"
#include "processing/fast_targets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "processing/fast_rgb.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "processing/fast_vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace morvane {
namespace HWY_NAMESPACE {
#if MORVANE_NO_VECTORS  // no vectors: the plain code does it

StepRoutine PickPacked40ToWords(bool) {
  return nullptr;
}
StepRoutine PickWordsToPacked40() {
  return nullptr;
}
StepRoutine PickByteShuffle(int, int) {
  return nullptr;
}
StepRoutine PickDoubleBytes(int) {
  return nullptr;
}
StepRoutine PickMoveWords(int, int) {
  return nullptr;
}
StepRoutine PickRescaleWords(int, int) {
  return nullptr;
}
StepRoutine PickWordsToTopBytes(int) {
  return nullptr;
}
StepRoutine PickRescaleWordsToBytes(int) {
  return nullptr;
}
StepRoutine PickRescaleBytesToWords(int) {
  return nullptr;
}

#else

template <int kIn, int kOut>
void ShuffleBytes(const StepParams& p, LineState*, const uint8_t* in, uint8_t* out, size_t n) {
  const D8 d;
  const auto table = Table16(p.table);
  const auto setBits = hn::BitCast(d, hn::Set(D32(), p.setBits));
  // A vector of 3-byte pixels touches up to 16 bytes behind its own.
  constexpr size_t kSlack = kIn == 3 || kOut == 3 ? 6 : 0;
  ForUnits<kIn, kOut, kSlack>(in, out, n, hn::Lanes(D32()),
                              [&](const uint8_t* s, uint8_t* t) HWY_ATTR {
                                V8 v = kIn == 3 ? LoadSpread(s) : hn::LoadU(d, s);
                                v = hn::TableLookupBytesOr0(v, table);
                                if constexpr (kOut == 3) {
                                  StoreGathered(v, t);
                                } else {
                                  hn::StoreU(hn::Or(v, setBits), d, t);
                                }
                              });
}

// From 255 to 65535 is times 257: each byte twice, in either byte order.
template <int kBytes>
void DoubleBytes(const StepParams&, LineState*, const uint8_t* in, uint8_t* out, size_t n) {
  const D8 d;
  ForUnits<1, 2, 0>(in, out, n * kBytes, hn::Lanes(d), [&](const uint8_t* s, uint8_t* t) HWY_ATTR {
    const auto v = hn::LoadU(d, s);
    hn::StoreInterleaved2(v, v, d, t);
  });
}

// Calls `convert` with a vector of words.
template <class Convert>
HWY_INLINE void ForWords(const uint8_t* in, uint8_t* out, size_t n, const Convert& convert) {
  ForUnits<4, 4, 0>(in, out, n, hn::Lanes(D32()), [&](const uint8_t* s, uint8_t* t) HWY_ATTR {
    StoreWords(convert(LoadWords(s)), t);
  });
}

template <WordOrder kFrom, WordOrder kTo>
void MoveWords(const StepParams&, LineState*, const uint8_t* in, uint8_t* out, size_t n) {
  ForWords(in, out, n, [](V32 v) HWY_ATTR { return FromHighWord<kTo>(ToHighWord<kFrom>(v)); });
}

template <WordOrder kFrom, WordOrder kTo>
void RescaleWords(const StepParams& p, LineState*, const uint8_t* in, uint8_t* out, size_t n) {
  ForWords(in, out, n,
           [&p](V32 v) HWY_ATTR { return JoinWord<kTo>(Rescaled(p, SplitWord<kFrom>(v))); });
}

template <WordOrder kFrom>
void WordsToTopBytes(const StepParams& p, LineState*, const uint8_t* in, uint8_t* out, size_t n) {
  const auto setBits = hn::Set(D32(), p.setBits);
  ForWords(in, out, n, [&](V32 v) HWY_ATTR {
    V32 red, green, blue;
    if constexpr (kFrom == WordOrder::kBgr) {
      v = Low(v, 0x3FFFFFFF);
      red = Low(hn::ShiftLeft<14>(v), 0xFF0000);
      green = Low(hn::ShiftRight<4>(v), 0xFF00);
      blue = hn::ShiftRight<22>(v);
    } else {
      const auto high = ToHighWord<kFrom>(v);
      red = Low(hn::ShiftRight<8>(high), 0xFF0000);
      green = Low(hn::ShiftRight<6>(high), 0xFF00);
      blue = Low(hn::ShiftRight<4>(high), 0xFF);
    }
    return hn::Or(hn::Or(red, green), hn::Or(blue, setBits));
  });
}

template <WordOrder kFrom>
void RescaleWordsToBytes(const StepParams& p, LineState*, const uint8_t* in, uint8_t* out,
                         size_t n) {
  const auto setBits = hn::Set(D32(), p.setBits);
  ForWords(in, out, n, [&](V32 v) HWY_ATTR {
    return hn::Or(JoinBgra(Rescaled(p, SplitWord<kFrom>(v))), setBits);
  });
}

template <WordOrder kTo>
void RescaleBytesToWords(const StepParams& p, LineState*, const uint8_t* in, uint8_t* out,
                         size_t n) {
  ForWords(in, out, n, [&p](V32 v) HWY_ATTR { return JoinWord<kTo>(Rescaled(p, SplitBgra(v))); });
}

constexpr size_t kAhead = 4096;  // how far in front a cache line is asked for

// Four pixels are 20 bytes: the first three words lie in the first 16, the last one in the last 16.
// Makes high words of them, or bgrA words of their top 8 bits.
template <bool kTopBytes>
void Packed40ToWords(const StepParams& p, LineState*, const uint8_t* in, uint8_t* out, size_t n) {
  constexpr uint8_t kNo = 0x80;
  alignas(16) static constexpr uint8_t kFirst[16] = {3,  2,  1,  0,  8,   7,   6,   5,
                                                     13, 12, 11, 10, kNo, kNo, kNo, kNo};
  alignas(16) static constexpr uint8_t kLast[16] = {kNo, kNo, kNo, kNo, kNo, kNo, kNo, kNo,
                                                    kNo, kNo, kNo, kNo, 14,  13,  12,  11};
  const hn::Full128<uint8_t> d;
  const hn::Full128<uint32_t> d32;
  const auto first = hn::Load(d, kFirst), last = hn::Load(d, kLast);
  const auto mask = hn::Set(d32, 0xFFFFFFFCu), setBits = hn::Set(d32, p.setBits);
  ForUnits<5, 4, 0>(in, out, n, 4, [&](const uint8_t* s, uint8_t* t) HWY_ATTR {
    __builtin_prefetch(s + kAhead);  // short vectors do not reach far enough by themselves
    const auto high = hn::BitCast(d32, hn::Or(hn::TableLookupBytesOr0(hn::LoadU(d, s), first),
                                              hn::TableLookupBytesOr0(hn::LoadU(d, s + 4), last)));
    if constexpr (kTopBytes) {
      const auto red = hn::And(hn::ShiftRight<8>(high), hn::Set(d32, 0xFF0000u));
      const auto green = hn::And(hn::ShiftRight<6>(high), hn::Set(d32, 0xFF00u));
      const auto blue = hn::And(hn::ShiftRight<4>(high), hn::Set(d32, 0xFFu));
      hn::StoreU(hn::BitCast(d, hn::Or(hn::Or(red, green), hn::Or(blue, setBits))), d, t);
    } else {
      hn::StoreU(hn::BitCast(d, hn::And(high, mask)), d, t);
    }
  });
}

void WordsToPacked40(const StepParams& p, LineState*, const uint8_t* in, uint8_t* out, size_t n) {
  constexpr uint8_t kNo = 0x80;
  alignas(16) static constexpr uint8_t kFirst[16] = {3, 2,   1,  0,  kNo, 7, 6,   5,
                                                     4, kNo, 11, 10, 9,   8, kNo, 15};
  alignas(16) static constexpr uint8_t kLast[16] = {14,  13,  12,  kNo, kNo, kNo, kNo, kNo,
                                                    kNo, kNo, kNo, kNo, kNo, kNo, kNo, kNo};
  // The alpha's two high bits are the lowest of a word, its other bits a byte behind it.
  alignas(16) uint8_t low[16] = {};
  low[4] = low[9] = low[14] = static_cast<uint8_t>(p.setBits);
  const hn::Full128<uint8_t> d;
  const hn::Full128<uint32_t> d32;
  const auto first = hn::Load(d, kFirst), last = hn::Load(d, kLast), lowBits = hn::Load(d, low);
  const auto highBits = hn::Set(d32, p.setBits >> 8);
  const uint32_t lastLow = p.setBits << 24;
  ForUnits<4, 5, 0>(in, out, n, 4, [&](const uint8_t* s, uint8_t* t) HWY_ATTR {
    __builtin_prefetch(t + kAhead, 1);
    const auto v = hn::BitCast(d, hn::Or(hn::BitCast(d32, hn::LoadU(d, s)), highBits));
    hn::StoreU(hn::Or(hn::TableLookupBytesOr0(v, first), lowBits), d, t);
    const auto rest = hn::BitCast(d32, hn::TableLookupBytesOr0(v, last));
    const uint32_t end = hn::GetLane(rest) | lastLow;
    std::memcpy(t + 16, &end, sizeof end);
  });
}

StepRoutine PickPacked40ToWords(bool topBytes) {
  return topBytes ? Packed40ToWords<true> : Packed40ToWords<false>;
}
StepRoutine PickWordsToPacked40() {
  return WordsToPacked40;
}

StepRoutine PickByteShuffle(int inBytes, int outBytes) {
  if (inBytes == 3) return outBytes == 3 ? ShuffleBytes<3, 3> : ShuffleBytes<3, 4>;
  return outBytes == 3 ? ShuffleBytes<4, 3> : ShuffleBytes<4, 4>;
}

StepRoutine PickDoubleBytes(int bytes) {
  return bytes == 3 ? DoubleBytes<3> : DoubleBytes<4>;
}

// Tables of the instances, by the order read and the order written.
constexpr WordOrder kL = WordOrder::kLittle, kB = WordOrder::kBig, kG = WordOrder::kBgr;

StepRoutine PickMoveWords(int from, int to) {
  static constexpr StepRoutine kMoves[3][3] = {
      {MoveWords<kL, kL>, MoveWords<kL, kB>, MoveWords<kL, kG>},
      {MoveWords<kB, kL>, MoveWords<kB, kB>, MoveWords<kB, kG>},
      {MoveWords<kG, kL>, MoveWords<kG, kB>, MoveWords<kG, kG>}};
  return kMoves[from][to];
}

StepRoutine PickRescaleWords(int from, int to) {
  static constexpr StepRoutine kRescales[3][3] = {
      {RescaleWords<kL, kL>, RescaleWords<kL, kB>, RescaleWords<kL, kG>},
      {RescaleWords<kB, kL>, RescaleWords<kB, kB>, RescaleWords<kB, kG>},
      {RescaleWords<kG, kL>, RescaleWords<kG, kB>, RescaleWords<kG, kG>}};
  return kRescales[from][to];
}

StepRoutine PickWordsToTopBytes(int from) {
  static constexpr StepRoutine kTops[3] = {WordsToTopBytes<kL>, WordsToTopBytes<kB>,
                                           WordsToTopBytes<kG>};
  return kTops[from];
}

StepRoutine PickRescaleWordsToBytes(int from) {
  static constexpr StepRoutine kRescales[3] = {RescaleWordsToBytes<kL>, RescaleWordsToBytes<kB>,
                                               RescaleWordsToBytes<kG>};
  return kRescales[from];
}

StepRoutine PickRescaleBytesToWords(int to) {
  static constexpr StepRoutine kRescales[3] = {RescaleBytesToWords<kL>, RescaleBytesToWords<kB>,
                                               RescaleBytesToWords<kG>};
  return kRescales[to];
}

#endif
}  // namespace HWY_NAMESPACE
}  // namespace morvane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace morvane {

HWY_EXPORT(PickByteShuffle);
HWY_EXPORT(PickDoubleBytes);
HWY_EXPORT(PickPacked40ToWords);
HWY_EXPORT(PickWordsToPacked40);
HWY_EXPORT(PickMoveWords);
HWY_EXPORT(PickRescaleWords);
HWY_EXPORT(PickWordsToTopBytes);
HWY_EXPORT(PickRescaleWordsToBytes);
HWY_EXPORT(PickRescaleBytesToWords);

StepRoutine ByteShuffleStep(int inBytes, int outBytes) {
  return HWY_DYNAMIC_DISPATCH(PickByteShuffle)(inBytes, outBytes);
}
StepRoutine DoubleBytesStep(int bytes) {
  return HWY_DYNAMIC_DISPATCH(PickDoubleBytes)(bytes);
}
StepRoutine Packed40ToWordsStep() {
  return HWY_DYNAMIC_DISPATCH(PickPacked40ToWords)(false);
}
StepRoutine Packed40ToTopBytesStep() {
  return HWY_DYNAMIC_DISPATCH(PickPacked40ToWords)(true);
}
StepRoutine WordsToPacked40Step() {
  return HWY_DYNAMIC_DISPATCH(PickWordsToPacked40)();
}
StepRoutine MoveWordsStep(WordOrder from, WordOrder to) {
  return HWY_DYNAMIC_DISPATCH(PickMoveWords)(static_cast<int>(from), static_cast<int>(to));
}
StepRoutine RescaleWordsStep(WordOrder from, WordOrder to) {
  return HWY_DYNAMIC_DISPATCH(PickRescaleWords)(static_cast<int>(from), static_cast<int>(to));
}
StepRoutine WordsToTopBytesStep(WordOrder from) {
  return HWY_DYNAMIC_DISPATCH(PickWordsToTopBytes)(static_cast<int>(from));
}
StepRoutine RescaleWordsToBytesStep(WordOrder from) {
  return HWY_DYNAMIC_DISPATCH(PickRescaleWordsToBytes)(static_cast<int>(from));
}
StepRoutine RescaleBytesToWordsStep(WordOrder to) {
  return HWY_DYNAMIC_DISPATCH(PickRescaleBytesToWords)(static_cast<int>(to));
}

}  // namespace morvane
#endif
