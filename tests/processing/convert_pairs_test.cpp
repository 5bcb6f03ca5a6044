#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "convert_helpers.h"
#include "guarded_buffer.h"
#include "processing/convert.h"
#include "vector_targets.h"

// Every pair of formats: nothing outside the lines is read or written, and what ConvertImage picks
// gives the bits of the plain code.
namespace morvane {
namespace {

using test::GuardedBuffer;

constexpr int32_t kWidths[] = {1, 2, 3, 6, 7, 31, 48, 49, 66, 97, 130, 386, 782};

// Random bytes with runs of the ends of the range, where clips and carries show.
void FillRandom(const GuardedBuffer& buffer, std::mt19937& random) {
  for (size_t i = 0; i < buffer.Bytes(); ++i) {
    const uint32_t v = random();
    buffer.Data()[i] = static_cast<uint8_t>((v & 0x700) == 0 ? 0xFF : (v & 0x700) == 0x100 ? 0 : v);
  }
}

struct Options {
  int32_t width = 0;
  int32_t rows = 2;
  int32_t padding = 0;
  int32_t matrix = 0;
  GuardedBuffer::Edge edge = GuardedBuffer::Edge::kEnd;
};

size_t ImageBytes(FourCCCode code, const Options& o) {
  const int32_t line = PixelLineBytes(code, o.width);
  return static_cast<size_t>((o.rows - 1) * (line + o.padding) + line);
}

NxErr ConvertAll(const PixelFormat& from, const PixelFormat& to, const GuardedBuffer& src,
                 const GuardedBuffer& dst, const Options& o, bool reference) {
  ConvertContext context;
  context.reference = reference;
  NxColorContext color;
  color.matrix = o.matrix;
  color.fullWhite = o.width % 3 == 0;
  color.fullBlack = o.width % 4 == 0;
  return ConvertImage(&context, src.Data(), o.width, o.rows, from.code,
                      PixelLineBytes(from.code, o.width) + o.padding, dst.Data(), o.width, o.rows,
                      to.code, PixelLineBytes(to.code, o.width) + o.padding, false, &color, false,
                      nullptr);
}

void ExpectPaddingUntouched(const GuardedBuffer& dst, FourCCCode to, const Options& o) {
  const int32_t line = PixelLineBytes(to, o.width);
  for (int32_t y = 0; y + 1 < o.rows; ++y) {
    for (int32_t i = 0; i < o.padding; ++i) {
      ASSERT_EQ(dst.Data()[y * (line + o.padding) + line + i], GuardedBuffer::kFiller);
    }
  }
}

void ComparePair(const PixelFormat& from, const PixelFormat& to, const Options& o,
                 std::mt19937& random) {
  const GuardedBuffer src(ImageBytes(from.code, o), o.edge);
  FillRandom(src, random);
  const GuardedBuffer wanted(ImageBytes(to.code, o), o.edge);
  const GuardedBuffer got(ImageBytes(to.code, o), o.edge);
  const NxErr result = ConvertAll(from, to, src, wanted, o, true);
  ASSERT_TRUE(wanted.SlackUntouched());
  for (const int64_t target : test::VectorTargets()) {
    const test::ScopedTarget scope(target);
    got.Refill();
    ASSERT_EQ(ConvertAll(from, to, src, got, o, false), result);
    ASSERT_TRUE(got.SlackUntouched());
    for (size_t i = 0; i < got.Bytes(); ++i) {
      ASSERT_EQ(got.Data()[i], wanted.Data()[i])
          << "byte " << i << " with " << hwy::TargetName(target);
    }
    ExpectPaddingUntouched(got, to.code, o);
  }
}

// One code for each way that conversions treat a format; the others differ by name only.
const std::vector<PixelFormat>& Representatives() {
  static const std::vector<PixelFormat> formats = [] {
    std::vector<PixelFormat> chosen;
    for (const PixelFormat& f : PixelFormats()) {
      const bool known = std::any_of(chosen.begin(), chosen.end(), [&f](const PixelFormat& c) {
        return c.layout == f.layout && c.max == f.max && c.code != FourCC("bgrA");
      });
      if (!known) chosen.push_back(f);
    }
    return chosen;
  }();
  return formats;
}

class ConvertPairs : public testing::TestWithParam<int32_t> {};
INSTANTIATE_TEST_SUITE_P(Formats, ConvertPairs,
                         testing::Range(0, static_cast<int32_t>(Representatives().size())),
                         [](const auto& row) {
                           std::string name;
                           for (const char c : FourCCText(
                                    Representatives()[static_cast<size_t>(row.param)].code)) {
                             name += c == ' ' ? '_' : c;
                           }
                           return name;
                         });

TEST_P(ConvertPairs, PickedRoutineIsThePlainOneAndStaysInside) {
  std::mt19937 random(static_cast<uint32_t>(GetParam()) + 1);
  const PixelFormat& from = Representatives()[static_cast<size_t>(GetParam())];
  for (const PixelFormat& to : Representatives()) {
    Options o;
    for (const int32_t width : kWidths) {
      o.width = width;
      o.padding = width % 2 == 0 ? 0 : 20;
      o.matrix = (o.matrix + 1) % 6;
      o.edge = width % 4 < 2 ? GuardedBuffer::Edge::kEnd : GuardedBuffer::Edge::kBegin;
      ComparePair(from, to, o, random);
      if (HasFatalFailure()) {
        FAIL() << FourCCText(from.code) << " to " << FourCCText(to.code) << " width " << width
               << " matrix " << o.matrix;
      }
    }
  }
}

TEST(ConvertSizes, SizesThatDifferStayInside) {
  std::mt19937 random(5);
  const uint32_t fill = 0xFF4080C0;
  const int32_t sizes[][4] = {{7, 3, 13, 5},  {13, 5, 7, 3},    {9, 9, 20, 4},
                              {20, 4, 9, 9},  {1, 1, 6, 7},     {6, 7, 1, 1},
                              {33, 2, 66, 4}, {900, 3, 401, 2}, {401, 2, 900, 3}};
  for (const PixelFormat& from : Representatives()) {
    for (const PixelFormat& to : Representatives()) {
      for (const auto& s : sizes) {
        for (int32_t kind = 0; kind < 4; ++kind) {
          const int32_t srcPitch = PixelLineBytes(from.code, s[0]);
          const int32_t dstPitch = PixelLineBytes(to.code, s[2]);
          const GuardedBuffer src(static_cast<size_t>(srcPitch * s[1]));
          FillRandom(src, random);
          const size_t bytes = static_cast<size_t>(dstPitch * s[3]);
          const GuardedBuffer wanted(bytes), got(bytes);
          NxErr results[2];
          for (const bool reference : {false, true}) {
            ConvertContext context;
            context.reference = reference;
            NxColorContext color;
            color.matrix = kind;
            results[reference] =
                ConvertImage(&context, src.Data(), s[0], s[1], from.code, srcPitch,
                             (reference ? wanted : got).Data(), s[2], s[3], to.code, dstPitch,
                             (kind & 1) != 0, &color, false, (kind & 2) != 0 ? &fill : nullptr);
          }
          ASSERT_EQ(results[0], results[1]);
          ASSERT_TRUE(got.SlackUntouched());
          ASSERT_EQ(std::memcmp(got.Data(), wanted.Data(), bytes), 0)
              << FourCCText(from.code) << " to " << FourCCText(to.code) << " " << s[0] << "x"
              << s[1] << " to " << s[2] << "x" << s[3] << " kind " << kind;
        }
      }
    }
  }
}

}  // namespace
}  // namespace morvane
