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
#if HWY_TARGET == HWY_SCALAR  // no vectors: the plain code does it

StepRoutine PickByteShuffle(int, int) {
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
  ForWords(in, out, n, [&p](V32 v) HWY_ATTR {
    return FromHighWord<kTo>(JoinHighWord(Rescaled(p, SplitHighWord(ToHighWord<kFrom>(v)))));
  });
}

template <WordOrder kFrom>
void WordsToTopBytes(const StepParams& p, LineState*, const uint8_t* in, uint8_t* out, size_t n) {
  const auto setBits = hn::Set(D32(), p.setBits);
  ForWords(in, out, n, [&](V32 v) HWY_ATTR {
    const auto high = ToHighWord<kFrom>(v);
    const auto red = Low(hn::ShiftRight<8>(high), 0xFF0000);
    const auto green = Low(hn::ShiftRight<6>(high), 0xFF00);
    const auto blue = Low(hn::ShiftRight<4>(high), 0xFF);
    return hn::Or(hn::Or(red, green), hn::Or(blue, setBits));
  });
}

template <WordOrder kFrom>
void RescaleWordsToBytes(const StepParams& p, LineState*, const uint8_t* in, uint8_t* out,
                         size_t n) {
  const auto setBits = hn::Set(D32(), p.setBits);
  ForWords(in, out, n, [&](V32 v) HWY_ATTR {
    return hn::Or(JoinBgra(Rescaled(p, SplitHighWord(ToHighWord<kFrom>(v)))), setBits);
  });
}

template <WordOrder kTo>
void RescaleBytesToWords(const StepParams& p, LineState*, const uint8_t* in, uint8_t* out,
                         size_t n) {
  ForWords(in, out, n, [&p](V32 v) HWY_ATTR {
    return FromHighWord<kTo>(JoinHighWord(Rescaled(p, SplitBgra(v))));
  });
}

StepRoutine PickByteShuffle(int inBytes, int outBytes) {
  if (inBytes == 3) return outBytes == 3 ? ShuffleBytes<3, 3> : ShuffleBytes<3, 4>;
  return outBytes == 3 ? ShuffleBytes<4, 3> : ShuffleBytes<4, 4>;
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
HWY_EXPORT(PickMoveWords);
HWY_EXPORT(PickRescaleWords);
HWY_EXPORT(PickWordsToTopBytes);
HWY_EXPORT(PickRescaleWordsToBytes);
HWY_EXPORT(PickRescaleBytesToWords);

StepRoutine ByteShuffleStep(int inBytes, int outBytes) {
  return HWY_DYNAMIC_DISPATCH(PickByteShuffle)(inBytes, outBytes);
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
