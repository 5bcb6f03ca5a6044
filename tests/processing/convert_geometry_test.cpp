#include <gtest/gtest.h>

#include "base/byte_order.h"
#include "convert_helpers.h"

// Where pixels and rows come from and go to.
namespace morvane {
namespace {

using test::Bytes;

constexpr uint8_t kBlank = 0xC7;

// A "bgrA" picture whose pixel at x, y is B = x, G = y, R = x + y + 7, A = 9.
Bytes Chart(int32_t width, int32_t height) {
  Bytes chart;
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      chart.insert(chart.end(), {static_cast<uint8_t>(x), static_cast<uint8_t>(y),
                                 static_cast<uint8_t>(x + y + 7), 9});
    }
  }
  return chart;
}

struct Case {
  int32_t srcWidth, srcHeight, dstWidth, dstHeight;
  bool stretch = false;
  bool flip = false;
  const uint32_t* fill = nullptr;
  int32_t threads = 1;
};

Bytes Converted(const Case& c, FourCCCode from = FourCC("bgrA"), FourCCCode to = FourCC("bgrA")) {
  const Bytes src = Chart(c.srcWidth, c.srcHeight);
  const int32_t pitch = PixelLineBytes(to, c.dstWidth);
  Bytes dst(static_cast<size_t>(pitch) * static_cast<size_t>(c.dstHeight), kBlank);
  NxColorContext color;
  color.matrix = 1;
  ConvertContext context;
  context.threads = c.threads;
  EXPECT_EQ(
      ConvertImage(&context, src.data(), c.srcWidth, c.srcHeight, from, c.srcWidth * 4, dst.data(),
                   c.dstWidth, c.dstHeight, to, pitch, c.stretch, &color, c.flip, c.fill),
      0);
  EXPECT_EQ(context.width, c.dstWidth);
  EXPECT_EQ(context.height, c.dstHeight);
  return dst;
}

// Source position shown at a place of the destination; -1, -1 where nothing was written.
struct Place {
  int32_t x, y;
  friend bool operator==(const Place&, const Place&) = default;
};

Place At(const Bytes& dst, const Case& c, int32_t x, int32_t y) {
  const uint8_t* p = &dst[static_cast<size_t>((y * c.dstWidth + x) * 4)];
  if (p[3] == kBlank) return {-1, -1};
  return {p[0], p[1]};
}

template <typename Wanted>
void ExpectPlaces(const Bytes& dst, const Case& c, Wanted wanted) {
  for (int32_t y = 0; y < c.dstHeight; ++y) {
    for (int32_t x = 0; x < c.dstWidth; ++x) {
      const Place want = wanted(x, y);
      const Place got = At(dst, c, x, y);
      ASSERT_EQ(want, got) << "at " << x << ", " << y << " wanted " << want.x << ", " << want.y
                           << " got " << got.x << ", " << got.y;
    }
  }
}

TEST(ConvertGeometry, SmallerPictureIsCentredOnAnEvenPixel) {
  for (const int32_t wider : {0, 1, 2, 3, 6, 7}) {
    for (const int32_t higher : {0, 1, 2, 3, 5}) {
      const Case c = {10, 6, 10 + wider, 6 + higher};
      const int32_t left = wider / 2 & ~1;
      const int32_t top = (higher + 1) / 2;
      ExpectPlaces(Converted(c), c, [&](int32_t x, int32_t y) -> Place {
        const bool inside = x >= left && x < left + 10 && y >= top && y < top + 6;
        return inside ? Place{x - left, y - top} : Place{-1, -1};
      });
    }
  }
}

TEST(ConvertGeometry, LargerPictureIsCroppedAroundItsMiddle) {
  for (const int32_t wider : {0, 1, 2, 3, 6, 7}) {
    for (const int32_t higher : {0, 1, 2, 3, 5}) {
      const Case c = {10 + wider, 6 + higher, 10, 6};
      ExpectPlaces(Converted(c), c, [&](int32_t x, int32_t y) -> Place {
        return {x + (wider / 2 & ~1), y + (higher + 1) / 2};
      });
    }
  }
}

TEST(ConvertGeometry, FlipTakesRowsFromTheBottom) {
  const Case c = {8, 5, 8, 5, false, true};
  ExpectPlaces(Converted(c), c, [](int32_t x, int32_t y) { return Place{x, 4 - y}; });
}

TEST(ConvertGeometry, StretchPicksRowsAndPixelsByPosition) {
  const Case doubled = {8, 4, 16, 8, true};
  ExpectPlaces(Converted(doubled), doubled, [](int32_t x, int32_t y) -> Place {
    return {std::min((x + 1) / 2, 7), std::min(y * 4 / 8 + (y % 2), 3)};
  });
  const Case halved = {16, 8, 8, 4, true};
  ExpectPlaces(Converted(halved), halved, [](int32_t x, int32_t y) { return Place{2 * x, 2 * y}; });
}

TEST(ConvertGeometry, StretchWithinTheAspectLeavesRowsAboveAndBelow) {
  // 16 by 9 into 16 by 12 has equal widths, so it is scaled; 8 by 4 into 16 by 12 keeps 2 to 1.
  const Case c = {8, 4, 16, 12, true};
  ExpectPlaces(Converted(c), c, [](int32_t x, int32_t y) -> Place {
    if (y < 2 || y >= 10) return {-1, -1};
    return {std::min((x + 1) / 2, 7), std::min((y - 2 + 1) / 2, 3)};
  });
}

TEST(ConvertGeometry, StretchWithinTheAspectLeavesColumnsOnBothSides) {
  const Case c = {8, 8, 24, 16, true};
  ExpectPlaces(Converted(c), c, [](int32_t x, int32_t y) -> Place {
    if (x < 4 || x >= 20) return {-1, -1};
    return {std::min((x - 4 + 1) / 2, 7), std::min((y + 1) / 2, 7)};
  });
}

TEST(ConvertGeometry, EqualWidthOrHeightIsScaledWithoutRegardToAspect) {
  const Case sameWidth = {8, 4, 8, 12, true};
  ExpectPlaces(Converted(sameWidth), sameWidth, [](int32_t x, int32_t y) -> Place {
    return {x, std::min(static_cast<int32_t>(y * 4 / 12.0 + 0.5), 3)};
  });
  const Case sameHeight = {8, 4, 16, 4, true};
  ExpectPlaces(Converted(sameHeight), sameHeight, [](int32_t x, int32_t y) {
    return Place{std::min((x + 1) / 2, 7), y};
  });
}

TEST(ConvertGeometry, BarsTakeTheFillColour) {
  const uint32_t fill = 0x40302010;  // R 10, G 20, B 30, A 40
  const Case c = {8, 4, 16, 11, true, false, &fill};
  const Bytes dst = Converted(c);
  // 8 rows of picture; (11 - 8) / 2 + 0.5 is 2, so rows 0, 1 above and 10 below stay bar, and the
  // lower bar's first row is covered by the picture.
  for (int32_t y = 0; y < 11; ++y) {
    const bool bar = y < 2 || y == 10;
    for (int32_t x = 0; x < 16; ++x) {
      const uint32_t pixel = LoadLe32(&dst[static_cast<size_t>((y * 16 + x) * 4)]);
      ASSERT_EQ(pixel == 0xFF102030u, bar) << x << ", " << y;
    }
  }
}

TEST(ConvertGeometry, BarsRoundAnUnscaledPictureLeaveItsColumns) {
  const uint32_t fill = 0xFF0000FF;  // red
  const Case c = {8, 4, 12, 8, false, false, &fill};
  const Bytes dst = Converted(c);
  for (int32_t y = 0; y < 8; ++y) {
    for (int32_t x = 0; x < 12; ++x) {
      const uint32_t pixel = LoadLe32(&dst[static_cast<size_t>((y * 12 + x) * 4)]);
      const bool bar = y < 2 || y >= 6;
      const bool picture = !bar && x >= 2 && x < 10;
      ASSERT_EQ(pixel == 0xFFFF0000u, bar) << x << ", " << y;
      ASSERT_EQ(pixel == 0xC7C7C7C7u, !bar && !picture) << x << ", " << y;
    }
  }
}

TEST(ConvertGeometry, EightBitYuvGetsTheBarColourInEveryRow) {
  const uint32_t fill = 0xFFFFFFFF;
  const Case c = {8, 4, 12, 8, false, false, &fill};
  const Bytes dst = Converted(c, FourCC("bgrA"), FourCC("2vuy"));
  for (int32_t y = 0; y < 8; ++y) {
    EXPECT_EQ(LoadLe32(&dst[static_cast<size_t>(y * 24)]), 0xEB80EB80u) << y;
    EXPECT_EQ(LoadLe32(&dst[static_cast<size_t>(y * 24 + 20)]), 0xEB80EB80u) << y;
    const bool bar = y < 2 || y >= 6;
    EXPECT_EQ(LoadLe32(&dst[static_cast<size_t>(y * 24 + 8)]) == 0xEB80EB80u, bar) << y;
  }
}

TEST(ConvertGeometry, InsideEightBitYuvOnlyTheBarColourIsWritten) {
  const uint32_t fill = 0xFFFFFFFF;
  const Bytes src(8 * 2 * 4, 0x33);
  for (const FourCCCode to : {FourCC("2vuy"), FourCC("yuy2")}) {
    Bytes dst(8 * 2 * 8, kBlank);
    NxColorContext color;
    color.matrix = 1;
    ConvertContext context;
    const auto convert = [&](const uint32_t* bars) {
      return ConvertImage(&context, src.data(), 8, 4, FourCC("2vuy"), 16, dst.data(), 8, 8, to, 16,
                          false, &color, false, bars);
    };
    EXPECT_EQ(convert(nullptr), 0);
    EXPECT_EQ(dst, Bytes(8 * 2 * 8, kBlank));
    EXPECT_EQ(convert(&fill), 0);
    const uint32_t white = to == FourCC("2vuy") ? 0xEB80EB80 : 0x80EB80EB;
    for (size_t i = 0; i < dst.size(); i += 4) EXPECT_EQ(LoadLe32(&dst[i]), white) << i;
  }
}

TEST(ConvertGeometry, NoBarsWhenTheRowsAreTheSourceRows) {
  const uint32_t fill = 0xFFFFFFFF;
  const Case c = {16, 4, 12, 8, true, false, &fill};  // becomes 12 by 3
  const Bytes scaled = Converted(c);
  EXPECT_EQ(LoadLe32(&scaled[0]), 0xFFFFFFFFu);
  const Case same = {20, 4, 10, 4, true, false, &fill};
  ExpectPlaces(Converted(same), same, [](int32_t x, int32_t y) { return Place{2 * x, y}; });
}

TEST(ConvertGeometry, ThreadsGiveTheSameImage) {
  const uint32_t fill = 0xFF00FF00;
  for (const bool stretch : {false, true}) {
    Case c = {60, 90, 100, 131, stretch, true, &fill};
    const Bytes one = Converted(c);
    for (const int32_t threads : {2, 3, 7, 1000, 0, -5}) {
      c.threads = threads;
      EXPECT_EQ(Converted(c), one) << threads;
    }
  }
}

TEST(ConvertGeometry, EmptyImagesDoNothing) {
  const Bytes src = Chart(4, 4);
  const int32_t sizes[][4] = {{4, 0, 4, 4},  {4, 4, 4, 0},  {0, 4, 4, 4}, {4, 4, 0, 4},
                              {4, -1, 4, 4}, {4, 4, 4, -7}, {0, 0, 0, 0}};
  const uint32_t fill = 1;
  for (const auto& s : sizes) {
    Bytes dst(64, kBlank);
    NxColorContext color;
    ConvertContext context;
    EXPECT_EQ(ConvertImage(&context, src.data(), s[0], s[1], FourCC("bgrA"), 16, dst.data(), s[2],
                           s[3], FourCC("2vuy"), 16, true, &color, true, &fill),
              0);
    EXPECT_EQ(dst, Bytes(64, kBlank));
  }
}

TEST(ConvertGeometry, ExtremeAspectsLeaveOnlyBars) {
  const uint32_t fill = 0xFF0000FF;
  const Case c = {1000, 2, 4, 8, true, false, &fill};  // 4 divided by 500 is no row
  const Bytes dst = Converted(c);
  for (size_t i = 0; i < dst.size(); i += 4) EXPECT_EQ(LoadLe32(&dst[i]), 0xFFFF0000u);
  const Case tall = {2, 1000, 8, 4, true, false, &fill};
  EXPECT_EQ(Converted(tall), Bytes(8 * 4 * 4, kBlank));
}

TEST(ConvertGeometry, ContextKeepsItsColours) {
  const Bytes src = Chart(2, 1);
  Bytes first(4), second(4);
  ConvertContext context;
  EXPECT_EQ(ConvertImage(&context, src.data(), 2, 1, FourCC("bgrA"), 8, first.data(), 2, 1,
                         FourCC("2vuy"), 4, false, nullptr, false, nullptr),
            NxErrFailure);
  NxColorContext color;
  color.matrix = 3;
  EXPECT_EQ(ConvertImage(&context, src.data(), 2, 1, FourCC("bgrA"), 8, first.data(), 2, 1,
                         FourCC("2vuy"), 4, false, &color, false, nullptr),
            0);
  EXPECT_EQ(+color.yG, 0.61423137);
  EXPECT_EQ(+context.color.yG, 0.61423137);
  EXPECT_EQ(ConvertImage(&context, src.data(), 2, 1, FourCC("bgrA"), 8, second.data(), 2, 1,
                         FourCC("2vuy"), 4, false, nullptr, false, nullptr),
            0);
  EXPECT_EQ(first, second);
}

TEST(ConvertGeometry, MissingBuffersAreRefused) {
  Bytes bytes(64);
  NxColorContext color;
  ConvertContext context;
  const auto convert = [&](ConvertContext* c, const uint8_t* src, uint8_t* dst) {
    return ConvertImage(c, src, 2, 1, FourCC("bgrA"), 8, dst, 2, 1, FourCC("2vuy"), 4, false,
                        &color, false, nullptr);
  };
  EXPECT_EQ(convert(nullptr, bytes.data(), bytes.data()), NxErrFailure);
  EXPECT_EQ(convert(&context, nullptr, bytes.data()), NxErrFailure);
  EXPECT_EQ(convert(&context, bytes.data(), nullptr), NxErrFailure);
}

TEST(ConvertGeometry, NegativePitchWritesUpwards) {
  const Bytes src = Chart(4, 3);
  Bytes dst(48, kBlank);
  NxColorContext color;
  ConvertContext context;
  EXPECT_EQ(ConvertImage(&context, src.data(), 4, 3, FourCC("bgrA"), 16, dst.data() + 32, 4, 3,
                         FourCC("bgrA"), -16, false, &color, false, nullptr),
            0);
  const Case c = {4, 3, 4, 3};
  ExpectPlaces(dst, c, [](int32_t x, int32_t y) { return Place{x, 2 - y}; });
}

TEST(ConvertGeometry, ScaledYuvShowsTheUnscaledColours) {
  // 8-bit and 10-bit 4:2:2 scaled up to RGB: each pixel is one of the unscaled line.
  for (const FourCCCode from : {FourCC("2vuy"), FourCC("yuy2"), FourCC("v219")}) {
    Bytes src(static_cast<size_t>(PixelLineBytes(from, 12)));
    for (size_t i = 0; i < src.size(); ++i) src[i] = static_cast<uint8_t>(i * 37 + 11);
    NxColorContext color;
    color.matrix = 3;
    ConvertContext context;
    Bytes plain(48), scaled(4 * 30);
    const int32_t bytes = static_cast<int32_t>(src.size());
    ASSERT_EQ(ConvertImage(&context, src.data(), 12, 1, from, bytes, plain.data(), 12, 1,
                           FourCC("rgba"), 48, true, &color, false, nullptr),
              0);
    ASSERT_EQ(ConvertImage(&context, src.data(), 12, 1, from, bytes, scaled.data(), 30, 1,
                           FourCC("rgba"), 120, true, &color, false, nullptr),
              0);
    for (int32_t x = 0; x < 30; ++x) {
      const int32_t at = std::min(static_cast<int32_t>(12.0 * x / 30 + 0.5), 11);
      EXPECT_EQ(LoadLe32(&scaled[static_cast<size_t>(4 * x)]),
                LoadLe32(&plain[static_cast<size_t>(4 * at)]))
          << FourCCText(from) << " " << x;
    }
  }
}

}  // namespace
}  // namespace morvane
