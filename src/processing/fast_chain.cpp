#include "processing/fast_chain.h"

#include <cmath>
#include <cstring>

#include "processing/line_job.h"
#include "processing/pixel_access.h"

namespace morvane {
namespace {

// ---- What the formats mean to the steps

// Where the components lie in a pixel of 8 bits each, or in one that a pixel of 16 bits each has
// the bytes of twice; -1 for no alpha.
struct BytePlaces {
  int bytes, r, g, b, a;
};

BytePlaces PlacesOf(PixelLayout layout) {
  switch (layout) {
    case PixelLayout::kRgba8:
    case PixelLayout::kRgba16:
      return {4, 0, 1, 2, 3};
    case PixelLayout::kArgb8:
    case PixelLayout::kArgb16:
      return {4, 1, 2, 3, 0};
    case PixelLayout::kAbgr8:
      return {4, 3, 2, 1, 0};
    case PixelLayout::kRgb888:
    case PixelLayout::kRgb16Le:
    case PixelLayout::kRgb16Be:
      return {3, 0, 1, 2, -1};
    case PixelLayout::kBgr888:
      return {3, 2, 1, 0, -1};
    default:
      return {4, 2, 1, 0, 3};  // kBgra8
  }
}

bool WordOrderOf(const PixelFormat& format, WordOrder* order) {
  switch (format.layout) {
    case PixelLayout::kWordRgbLe:
      *order = WordOrder::kLittle;
      return true;
    case PixelLayout::kWordRgbBe:
      *order = WordOrder::kBig;
      return true;
    case PixelLayout::kWordBgrLe:
      *order = WordOrder::kBgr;
      return true;
    default:
      return false;
  }
}

bool WideOrderOf(const PixelFormat& format, WideOrder* order) {
  switch (format.layout) {
    case PixelLayout::kRgb16Le:
      *order = WideOrder::kRgbLe;
      return true;
    case PixelLayout::kRgb16Be:
      *order = WideOrder::kRgbBe;
      return true;
    case PixelLayout::kRgba16:
      *order = WideOrder::kRgba;
      return true;
    case PixelLayout::kArgb16:
      *order = WideOrder::kArgb;
      return true;
    case PixelLayout::kBgra16:
      *order = WideOrder::kBgra;
      return true;
    default:
      return false;
  }
}

PairOrder PairOrderOf(const PixelFormat& format) {
  if (format.layout == PixelLayout::kV210) return PairOrder::kWide;
  return format.layout == PixelLayout::kYuyv ? PairOrder::kYuyv : PairOrder::kUyvy;
}

// ---- Putting a chain together

class ChainBuilder {
 public:
  explicit ChainBuilder(FastChain* chain) : chain_(chain) { *chain = FastChain{}; }

  // A step that a processor without vectors does not have makes the chain void.
  StepParams& Add(StepRoutine run) {
    static thread_local StepParams dropped;
    if (run == nullptr || chain_->count == FastChain::kMostSteps) {
      failed_ = true;
      return dropped;
    }
    FastStep& step = chain_->steps[chain_->count++];
    step.run = run;
    return step.params;
  }

  void AddShuffle(const BytePlaces& from, const BytePlaces& to, bool opaque) {
    StepParams& p = Add(ByteShuffleStep(from.bytes, to.bytes));
    const bool alpha = from.a >= 0 && !opaque;
    std::memset(p.table, 0x80, sizeof p.table);
    for (int i = 0; i < 4; ++i) {
      const int s = i * from.bytes;
      const int d = i * to.bytes;
      p.table[d + to.r] = static_cast<uint8_t>(s + from.r);
      p.table[d + to.g] = static_cast<uint8_t>(s + from.g);
      p.table[d + to.b] = static_cast<uint8_t>(s + from.b);
      if (to.a >= 0 && alpha) p.table[d + to.a] = static_cast<uint8_t>(s + from.a);
    }
    if (to.a >= 0 && !alpha) p.setBits = 0xFFu << (8 * to.a);
  }
  // To or from bgrA words; nothing to do for formats that are them.
  void AddShuffleTo(const PixelFormat& to) {
    if (to.layout != PixelLayout::kBgra8) AddShuffle(PlacesOf(kBgra), PlacesOf(to.layout), false);
  }
  void AddShuffleFrom(const PixelFormat& from) {
    if (from.layout != PixelLayout::kBgra8) {
      AddShuffle(PlacesOf(from.layout), PlacesOf(kBgra), false);
    }
  }

  void AddRescale(StepRoutine run, uint32_t from, uint32_t to, uint32_t setBits = 0) {
    StepParams& p = Add(run);
    p.top = to;
    p.setBits = setBits;
    p.powerOfTwo = from == 32768;
    p.factor = static_cast<float>(static_cast<double>(to) / from);
    // Even ranges have values that lie exactly between two results; they must come out above.
    if (from % 2 == 0) p.factor = std::nextafter(p.factor, INFINITY);
  }
  // From words of `order` and range `from` to the words of `to`.
  void AddWords(WordOrder order, uint32_t from, const PixelFormat& to, WordOrder toOrder) {
    if (from != to.max) {
      AddRescale(RescaleWordsStep(order, toOrder), from, to.max);
    } else {
      Add(MoveWordsStep(order, toOrder));
    }
  }

  [[nodiscard]] bool Complete() const { return !failed_ && chain_->count > 0; }

 private:
  static constexpr PixelLayout kBgra = PixelLayout::kBgra8;
  FastChain* chain_;
  bool failed_ = false;
};

constexpr uint32_t kOpaque = 0xFF000000;
constexpr uint32_t kOpaque40 = 0x3FF;

bool Rgb8ToRgb(const PixelFormat& from, const PixelFormat& to, ChainBuilder* chain) {
  WordOrder order;
  if (to.pixelClass == PixelClass::kRgb8) {
    chain->AddShuffle(PlacesOf(from.layout), PlacesOf(to.layout), to.code == FourCC("bgrA"));
    return true;
  }
  if (to.pixelClass == PixelClass::kRgb16 && to.max == 65535) {
    const BytePlaces places = PlacesOf(to.layout);
    chain->AddShuffle(PlacesOf(from.layout), places, false);
    chain->Add(DoubleBytesStep(places.bytes));
    return true;
  }
  if (!WordOrderOf(to, &order)) return false;
  chain->AddShuffleFrom(from);
  chain->AddRescale(RescaleBytesToWordsStep(order), from.max, to.max);
  return true;
}

bool Rgb10ToRgb(const PixelFormat& from, const PixelFormat& to, ChainBuilder* chain) {
  WordOrder order = WordOrder::kLittle, toOrder = WordOrder::kLittle;
  const bool from40 = from.layout == PixelLayout::kPacked40;
  if (!from40 && !WordOrderOf(from, &order)) return false;
  const bool toTop = to.code == FourCC("bgrA");
  // The alpha of 40-bit pixels is kept by the plain code.
  if (from40 && !toTop && !WordOrderOf(to, &toOrder)) return false;
  if (from40 && toTop) {
    chain->Add(Packed40ToTopBytesStep()).setBits = kOpaque;
    return true;
  }
  if (from40) chain->Add(Packed40ToWordsStep());
  if (toTop) {
    // Deliberate: read as a big-endian word, whatever its own layout.
    if (from.code == FourCC("10RS")) order = WordOrder::kBig;
    chain->Add(WordsToTopBytesStep(order)).setBits = kOpaque;
    return true;
  }
  if (to.pixelClass == PixelClass::kRgb8) {
    chain->AddRescale(RescaleWordsToBytesStep(order), from.max, to.max, kOpaque);
    chain->AddShuffleTo(to);
    return true;
  }
  if (WordOrderOf(to, &toOrder)) {
    chain->AddWords(order, from.max, to, toOrder);
    return true;
  }
  if (to.layout != PixelLayout::kPacked40) return false;
  chain->AddWords(order, from.max, to, WordOrder::kLittle);
  chain->Add(WordsToPacked40Step()).setBits = kOpaque40;
  return true;
}

bool Rgb16ToRgb(const PixelFormat& from, const PixelFormat& to, ChainBuilder* chain) {
  WideOrder wide;
  WordOrder order;
  if (!WideOrderOf(from, &wide)) return false;
  if (to.pixelClass == PixelClass::kRgb8) {
    chain->AddRescale(WideToBytesStep(wide), from.max, to.max, kOpaque);
    chain->AddShuffleTo(to);
    return true;
  }
  if (WordOrderOf(to, &order)) {
    chain->AddRescale(WideToWordsStep(wide, order), from.max, to.max);
    return true;
  }
  if (to.layout != PixelLayout::kPacked40) return false;
  if (from.hasAlpha) {
    chain->AddRescale(WideToPacked40Step(wide), from.max, to.max);
    return true;
  }
  chain->AddRescale(WideToWordsStep(wide, WordOrder::kLittle), from.max, to.max);
  chain->Add(WordsToPacked40Step()).setBits = kOpaque40;
  return true;
}

// ---- Matrices

// A size that neither overflows nor vanishes in any of the sums.
bool IsTame(double x) {
  return x == 0 || (std::fabs(x) < 1e6 && std::fabs(x) > 1e-100);
}

template <size_t N>
bool AreTame(const double (&values)[N]) {
  for (const double x : values) {
    if (!IsTame(x)) return false;
  }
  return true;
}

// The vector routines take what rows of one matrix have in common.
bool IsUsual(const NxColorContext& c) {
  const double terms[] = {c.yGainR, c.yOffR, c.crToR, c.cOffR,  c.yOffB,
                          c.cbToB,  c.crToG, c.cbToG, c.cOffG1, c.cOffG2};
  return AreTame(terms) && c.yGainR == c.yGainB && c.yGainR == c.yGainG && c.yOffB == c.yOffG &&
         c.cOffR == c.cOffB && c.cOffR == c.cOffG1 && c.cOffR == c.cOffG2;
}

bool IsWithin(double x, double size) {
  return std::fabs(x) <= size;
}

// Coefficients that keep the quick routines' error below three of their steps, and their sums in
// the room that they have (fast_yuv-inl.h): no larger than those of the matrices that we make, with
// some to spare. Results of 8 bits then lie between -330 and 650, those of 10 bits between four
// times as much.
bool IsQuickToRgb(const NxColorContext& c, const PixelFormat& from) {
  const double scale = from.pixelClass == PixelClass::kYuv10 ? 4.0 : 1.0;
  return IsWithin(c.yGainG, 1.25) && IsWithin(c.crToR, 2.25) && IsWithin(c.cbToB, 2.25) &&
         IsWithin(c.crToG, 1.0) && IsWithin(c.cbToG, 1.0) && IsWithin(c.yOffG, 32 * scale) &&
         IsWithin(c.yOffR, 32 * scale) && c.cOffR == 128 * scale;
}

// One row of the matrix from RGB; `from` is the highest number that a pixel may hold in the scale
// of results of 8 bits.
bool IsQuickRow(double from, double r, double g, double b, double offset) {
  const double terms[] = {r * from, g * from, b * from};
  double above = offset, below = offset, sum = 0;
  for (const double term : terms) {
    (term > 0 ? above : below) += term;
    sum += std::fabs(term);
  }
  return sum <= 540 && above <= 660 && below >= -340;
}

bool IsQuickToYuv(const NxColorContext& c, const PixelFormat& src, const PixelFormat& dst) {
  const double toEight = dst.pixelClass == PixelClass::kYuv10 ? 0.25 : 1.0;
  const double s = RgbToYuvScale(src, dst) * toEight;
  // Above its range a 16-bit format may hold more.
  const double from = s * (src.pixelClass == PixelClass::kRgb16   ? 65535
                           : src.pixelClass == PixelClass::kRgb10 ? 1023
                                                                  : 255);
  return IsQuickRow(from, c.yR, c.yG, c.yB, c.yOff * s) &&
         IsQuickRow(from, -c.cbR, -c.cbG, c.cbB, c.cbOff * s) &&
         IsQuickRow(from, c.crR, -c.crG, -c.crB, c.crOff * s);
}

bool YuvToRgb(const LineJob& job, ChainBuilder* chain) {
  const NxColorContext& c = job.color;
  const PixelFormat& to = *job.dst;
  WordOrder order = WordOrder::kLittle;
  const bool words = to.pixelClass == PixelClass::kRgb10;
  const bool to40 = to.layout == PixelLayout::kPacked40;
  if (!IsUsual(c) || (words && !to40 && !WordOrderOf(to, &order))) return false;
  const PairOrder from = PairOrderOf(*job.src);
  if (from == PairOrder::kWide) chain->Add(V210ToWideStep());
  StepParams& p =
      chain->Add(YuvToRgbStep(from, {words, c.yOffR != c.yOffB, IsQuickToRgb(c, *job.src)}));
  // A quarter of every factor instead of a quarter of the sum: exact, as a power of two.
  const double scale = from == PairOrder::kWide && !words ? 0.25 : 1.0;
  p.k[kYGain] = c.yGainG * scale;
  p.k[kYOff] = c.yOffG;
  p.k[kYOffRed] = c.yOffR;
  p.k[kCOff] = c.cOffR;
  p.k[kCrToR] = c.crToR * scale;
  p.k[kCbToB] = c.cbToB * scale;
  p.k[kCrToG] = c.crToG * scale;
  p.k[kCbToG] = c.cbToG * scale;
  if (!words) {
    chain->AddShuffleTo(to);
  } else if (to40) {
    chain->Add(WordsToPacked40Step()).setBits = 0;
  } else if (order != WordOrder::kLittle || to.max != 1023) {
    chain->AddWords(WordOrder::kLittle, 1023, to, order);
  }
  return true;
}

bool RgbToYuv(const LineJob& job, ChainBuilder* chain) {
  const NxColorContext& c = job.color;
  const PixelFormat& from = *job.src;
  const double terms[] = {c.yR,  c.yG,    c.yB,  c.yOff, c.cbR, c.cbG,
                          c.cbB, c.cbOff, c.crR, c.crG,  c.crB, c.crOff};
  if (!AreTame(terms)) return false;
  WordOrder order = WordOrder::kLittle;
  WideOrder wide;
  RgbInput input = RgbInput::kHighWord;
  if (from.pixelClass == PixelClass::kRgb8) {
    chain->AddShuffleFrom(from);
    input = RgbInput::kBgra;
  } else if (WordOrderOf(from, &order)) {
    if (order != WordOrder::kLittle) chain->Add(MoveWordsStep(order, WordOrder::kLittle));
  } else if (from.layout == PixelLayout::kPacked40) {
    chain->Add(Packed40ToWordsStep());
  } else if (WideOrderOf(from, &wide)) {
    chain->Add(WideToPlanesStep(wide));
    input = RgbInput::kWidePlanes;
  } else {
    return false;
  }
  const PairOrder to = PairOrderOf(*job.dst);
  const double s = RgbToYuvScale(from, *job.dst);
  StepParams& p = chain->Add(RgbToYuvStep(input, to, IsQuickToYuv(c, from, *job.dst)));
  const YuvClips clips = ClipsOf(c, *job.dst);
  p.low = clips.low;
  p.highLuma = clips.highLuma;
  p.highChroma = clips.highChroma;
  // The scale, and the quarter of the chroma filter, are powers of two and go into the factors.
  for (int i = 0; i < kTerms; ++i) p.k[i] = terms[i] * (i <= kYAdd ? s : 0.25 * s);
  if (to == PairOrder::kWide) chain->Add(WideToV210Step());
  return true;
}

bool BuildChain(LineJob* job) {
  const PixelFormat& from = *job->src;
  const PixelFormat& to = *job->dst;
  // Groups of six pixels must begin where the line's part does.
  if (from.layout == PixelLayout::kV210 && job->shape.srcStart % 6 != 0) return false;
  if (to.layout == PixelLayout::kV210 && job->shape.dstStart % 6 != 0) return false;
  ChainBuilder chain(&job->chain);
  bool built = false;
  switch (job->path) {
    case LinePath::kYuvToYuv:
      chain.Add(V210ToBytesStep(PairOrderOf(to)));
      built = true;
      break;
    case LinePath::kYuvToRgb:
      built = YuvToRgb(*job, &chain);
      break;
    case LinePath::kRgbToYuv:
      built = RgbToYuv(*job, &chain);
      break;
    case LinePath::kRgbToRgb:
      if (from.pixelClass == PixelClass::kRgb8) built = Rgb8ToRgb(from, to, &chain);
      if (from.pixelClass == PixelClass::kRgb10) built = Rgb10ToRgb(from, to, &chain);
      if (from.pixelClass == PixelClass::kRgb16) built = Rgb16ToRgb(from, to, &chain);
      break;
    default:
      break;
  }
  return built && chain.Complete();
}

// ---- Running

// Byte offset of a pixel; pairs and groups begin there.
size_t OffsetOf(const PixelFormat& format, size_t pixel) {
  return pixel / static_cast<size_t>(format.pixelsPerGroup) *
         static_cast<size_t>(format.bytesPerGroup);
}

void CopyPixels(const LineJob& job, const uint8_t* src, uint8_t* dst) {
  std::memcpy(dst + OffsetOf(*job.dst, static_cast<size_t>(job.shape.dstStart)),
              src + OffsetOf(*job.src, static_cast<size_t>(job.shape.srcStart)),
              OffsetOf(*job.src, static_cast<size_t>(job.shape.count)));
}

void RunOneStep(const LineJob& job, const uint8_t* src, uint8_t* dst) {
  const LineShape& shape = job.shape;
  LineState state;
  state.pixelsAfter = static_cast<size_t>(shape.srcWidth - shape.srcStart - shape.count);
  const FastStep& step = job.chain.steps[0];
  step.run(step.params, &state, src + OffsetOf(*job.src, static_cast<size_t>(shape.srcStart)),
           dst + OffsetOf(*job.dst, static_cast<size_t>(shape.dstStart)),
           static_cast<size_t>(shape.count));
}

// Asks for the bytes that the next block reads and that this one writes. The processor's own
// prefetching loses the track while other steps work on blocks; without this, cold frames take up
// to twice as long.
void PrefetchBlocks(const uint8_t* next, size_t nextBytes, uint8_t* out, size_t outBytes) {
  constexpr size_t kCacheLine = 64;
  for (size_t i = 0; i < nextBytes; i += kCacheLine) __builtin_prefetch(next + i);
  for (size_t i = 0; i < outBytes; i += kCacheLine) __builtin_prefetch(out + i, 1);
}

// Takes the line block by block through all steps, so that what lies between stays in the cache.
void RunSteps(const LineJob& job, const uint8_t* src, uint8_t* dst) {
  alignas(64) uint8_t blocks[2][kBlockBytes];
  const LineShape& shape = job.shape;
  const FastChain& chain = job.chain;
  const size_t count = static_cast<size_t>(shape.count);
  LineState state;
  for (size_t x = 0; x < count; x += kBlockPixels) {
    const size_t n = count - x < kBlockPixels ? count - x : kBlockPixels;
    const size_t from = static_cast<size_t>(shape.srcStart) + x;
    state.pixelsAfter = static_cast<size_t>(shape.srcWidth) - from - n;
    const uint8_t* in = src + OffsetOf(*job.src, from);
    uint8_t* const target = dst + OffsetOf(*job.dst, static_cast<size_t>(shape.dstStart) + x);
    PrefetchBlocks(in + OffsetOf(*job.src, n), OffsetOf(*job.src, n), target,
                   OffsetOf(*job.dst, n));
    for (int i = 0; i < chain.count; ++i) {
      uint8_t* out = i == chain.count - 1 ? target : blocks[i % 2];
      chain.steps[i].run(chain.steps[i].params, &state, in, out, n);
      in = out;
    }
  }
}

}  // namespace

bool PickFastRoutine(LineJob* job) {
  if (job->shape.scaledWidth != 0) return false;
  const PixelFormat& from = *job->src;
  // Whole numbers of one range come out of unpacking and packing as they were.
  if (job->path == LinePath::kRgbToRgb && from.code == job->dst->code &&
      from.pixelClass != PixelClass::kRgbFloat) {
    job->run = CopyPixels;
    return true;
  }
  if (!BuildChain(job)) return false;
  job->run = job->chain.count == 1 ? RunOneStep : RunSteps;
  return true;
}

}  // namespace morvane
