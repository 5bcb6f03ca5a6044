#include "exact_lines.h"

#include <algorithm>
#include <random>

#include "base/byte_order.h"
#include "vector_targets.h"

namespace morvane::test {

NxColorContext ColorOf(int32_t matrix, FourCCCode fourcc) {
  NxColorContext color;
  SetColorMatrix(matrix, fourcc, &color);
  return color;
}

LineUnderTest::LineUnderTest(FourCCCode from, FourCCCode to, int32_t width, int32_t matrix)
    : LineUnderTest(from, to, width, ColorOf(matrix, from), true) {}

LineUnderTest::LineUnderTest(FourCCCode from, FourCCCode to, int32_t width,
                             const NxColorContext& color, bool vectors)
    : width_(width) {
  plain_ = MakeJob(from, to, color, true);
  for (const int64_t target : VectorTargets()) {
    const ScopedTarget scope(target);
    jobs_.push_back(MakeJob(from, to, color, false));
    names_.emplace_back(hwy::TargetName(target));
    EXPECT_EQ(jobs_.back()->run != plain_->run, vectors && HasVectors(target))
        << FourCCText(from) << " to " << FourCCText(to) << " with " << names_.back();
  }
  wanted_.resize(static_cast<size_t>(PixelLineBytes(to, width)));
  got_.resize(wanted_.size());
}

bool LineUnderTest::Check(const Bytes& src) {
  plain_->run(*plain_, src.data(), wanted_.data());
  for (size_t t = 0; t < jobs_.size(); ++t) {
    if (jobs_[t]->run == plain_->run) continue;
    std::fill(got_.begin(), got_.end(), uint8_t{0});
    jobs_[t]->run(*jobs_[t], src.data(), got_.data());
    if (got_ == wanted_) continue;
    Tell(t);
    return false;
  }
  return true;
}

std::unique_ptr<LineJob> LineUnderTest::MakeJob(FourCCCode from, FourCCCode to,
                                                const NxColorContext& color, bool reference) const {
  auto job = std::make_unique<LineJob>();
  EXPECT_EQ(MakeLineJob(from, width_, to, width_, 0, false, color, reference, job.get()), 0);
  return job;
}

void LineUnderTest::Tell(size_t t) const {
  for (size_t i = 0; i < wanted_.size(); ++i) {
    if (got_[i] == wanted_[i]) continue;
    ADD_FAILURE() << FourCCText(plain_->src->code) << " to " << FourCCText(plain_->dst->code)
                  << " with " << names_[t] << ": byte " << i << " wanted " << +wanted_[i] << " got "
                  << +got_[i];
    return;
  }
}

namespace {

// Pairs of which the odd pixels have the chroma sums `cb2`, `cr2` and every luma.
void FillHalfSteps(uint32_t cb2, uint32_t cr2, Bytes* line) {
  const uint8_t cb[2] = {static_cast<uint8_t>(cb2 / 2), static_cast<uint8_t>((cb2 + 1) / 2)};
  const uint8_t cr[2] = {static_cast<uint8_t>(cr2 / 2), static_cast<uint8_t>((cr2 + 1) / 2)};
  for (size_t p = 0; p < line->size() / 4; ++p) {
    uint8_t* d = &(*line)[4 * p];
    d[0] = cb[p % 2];
    d[1] = d[3] = static_cast<uint8_t>(p / 2);
    d[2] = cr[p % 2];
  }
}

void FillRandom(const PixelFormat& format, std::mt19937_64& random, Bytes* line) {
  for (size_t i = 0; i < line->size(); i += 8) {
    uint64_t v = random();
    if ((v & 0x70) == 0) v = 0;
    if ((v & 0x70) == 0x10) v = ~uint64_t{0};
    if (format.pixelClass == PixelClass::kYuv10) v &= 0x3FFFFFFF3FFFFFFF;
    uint8_t bytes[8];
    StoreLe64(bytes, v);
    std::copy_n(bytes, std::min<size_t>(8, line->size() - i),
                line->begin() + static_cast<ptrdiff_t>(i));
  }
}

}  // namespace

void CheckHalfSteps(int32_t matrix, uint32_t step) {
  constexpr int32_t kWidth = 1024;  // 256 luma values, two pairs each
  Bytes line(kWidth * 2);
  LineUnderTest bytes(FourCC("2vuy"), FourCC("bgrA"), kWidth, matrix);
  for (uint32_t at = step == 1 ? 0 : static_cast<uint32_t>(matrix); at < 511 * 511; at += step) {
    FillHalfSteps(at / 511, at % 511, &line);
    ASSERT_TRUE(bytes.Check(line))
        << "matrix " << matrix << " chroma sums " << at / 511 << ", " << at % 511;
  }
}

void CheckColours(uint32_t step) {
  constexpr uint32_t kWidth = 4096;
  Bytes line(kWidth * 4);
  for (int32_t matrix = 0; matrix < 6; ++matrix) {
    LineUnderTest eight(FourCC("bgrA"), FourCC("2vuy"), kWidth, matrix);
    LineUnderTest ten(FourCC("bgrA"), FourCC("v219"), kWidth, matrix);
    for (uint32_t first = 0; first < 1u << 24; first += kWidth * step) {
      // An odd factor takes each colour to another one, so that neighbours differ.
      for (uint32_t i = 0; i < kWidth; ++i) StoreLe32(&line[4 * i], (first + i) * 2654435761u >> 8);
      ASSERT_TRUE(eight.Check(line)) << "matrix " << matrix << " from " << first;
      for (uint32_t i = 0; i < kWidth; ++i) StoreLe32(&line[4 * i], first + i);
      ASSERT_TRUE(eight.Check(line)) << "matrix " << matrix << " from " << first;
      ASSERT_TRUE(ten.Check(line)) << "matrix " << matrix << " from " << first;
    }
  }
}

Bytes RandomLine(FourCCCode fourcc, int32_t width, uint64_t seed) {
  std::mt19937_64 random(seed);
  Bytes line(static_cast<size_t>(PixelLineBytes(fourcc, width)));
  FillRandom(*FindPixelFormat(fourcc), random, &line);
  return line;
}

void CheckRandomLines(int rounds) {
  struct Row {
    const char (&from)[5];
    const char (&to)[5];
  };
  const Row rows[] = {
      {"v219", "bgrA"}, {"v219", "rgb "}, {"v219", "11rl"}, {"v219", "11rQ"}, {"v219", "10RA"},
      {"2vuy", "11rb"}, {"yuy2", "10RS"}, {"yuy2", "argB"}, {"11rl", "2vuy"}, {"11rb", "v219"},
      {"10RG", "yuy2"}, {"10RA", "v219"}, {"RGB ", "v219"}, {"RGb ", "2vuy"}, {" RgB", "v219"},
      {"BRgB", "yuy2"}, {"rgb ", "v219"}, {"abgr", "2vuy"},
  };
  constexpr int32_t kWidth = 1920;
  std::mt19937_64 random(7);
  for (const Row& row : rows) {
    for (int32_t matrix = 0; matrix < 6; ++matrix) {
      LineUnderTest lines(FourCC(row.from), FourCC(row.to), kWidth, matrix);
      Bytes line(static_cast<size_t>(PixelLineBytes(FourCC(row.from), kWidth)));
      for (int round = 0; round < rounds; ++round) {
        FillRandom(*FindPixelFormat(FourCC(row.from)), random, &line);
        ASSERT_TRUE(lines.Check(line)) << "matrix " << matrix << " round " << round;
      }
    }
  }
}

}  // namespace morvane::test
