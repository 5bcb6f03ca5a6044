#include "media/picture_copy.h"

#include <gtest/gtest.h>

#include <vector>

#include "base/nx_err.h"
#include "media/media_requests.h"

namespace morvane {
namespace {

constexpr FourCCCode k2vuy = FourCC("2vuy");
constexpr FourCCCode kYuy2 = FourCC("yuy2");

struct Image {
  std::vector<uint8_t> bytes;
  PicturePlace place;

  Image(FourCCCode fourcc, int32_t width, int32_t height)
      : bytes(static_cast<size_t>(LineBytes(fourcc, width) * height), 0xEE) {
    place = {bytes.data(), width, height, fourcc, static_cast<int32_t>(LineBytes(fourcc, width))};
  }
  // Cb, Y, Cr of a pixel of a "2vuy" picture.
  [[nodiscard]] std::vector<int> Pixel(int32_t x, int32_t y) const {
    const uint8_t* pair = &bytes[static_cast<size_t>(y * place.pitch + x / 2 * 4)];
    return {pair[0], pair[1 + x % 2 * 2], pair[2]};
  }
};

constexpr int kColours[4][3] = {{90, 41, 240}, {54, 34, 90}, {240, 110, 60}, {128, 235, 128}};

// Four quarters of one colour each.
Image Quarters(int32_t width, int32_t height) {
  Image image(k2vuy, width, height);
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; x += 2) {
      const int* colour = kColours[(y >= height / 2 ? 2 : 0) + (x >= width / 2 ? 1 : 0)];
      uint8_t* pair = &image.bytes[static_cast<size_t>(y * image.place.pitch + x * 2)];
      pair[0] = static_cast<uint8_t>(colour[0]);
      pair[1] = pair[3] = static_cast<uint8_t>(colour[1]);
      pair[2] = static_cast<uint8_t>(colour[2]);
    }
  }
  return image;
}

std::vector<int> Colour(int quarter) {
  return {kColours[quarter][0], kColours[quarter][1], kColours[quarter][2]};
}
const std::vector<int> kBlack = {128, 16, 128};

TEST(PictureCopy, EightBitYuvIsScaledToOtherSizes) {
  const Image from = Quarters(16, 8);
  Image to(k2vuy, 32, 16);
  ASSERT_EQ(CopyPicture(from.place, to.place, false, ColorByWidth()), NxErrSuccess);
  EXPECT_EQ(to.Pixel(0, 0), Colour(0));
  EXPECT_EQ(to.Pixel(31, 0), Colour(1));
  EXPECT_EQ(to.Pixel(0, 15), Colour(2));
  EXPECT_EQ(to.Pixel(31, 15), Colour(3));
  Image small(k2vuy, 8, 4);
  ASSERT_EQ(CopyPicture(from.place, small.place, true, ColorByWidth()), NxErrSuccess);
  EXPECT_EQ(small.Pixel(0, 0), Colour(2)) << "upside down";
  EXPECT_EQ(small.Pixel(7, 3), Colour(1));
}

TEST(PictureCopy, ScaledEightBitYuvTurnsItsBytes) {
  const Image from = Quarters(16, 8);
  Image plain(k2vuy, 24, 12);
  Image turned(kYuy2, 24, 12);
  ASSERT_EQ(CopyPicture(from.place, plain.place, false, ColorByWidth()), NxErrSuccess);
  ASSERT_EQ(CopyPicture(from.place, turned.place, false, ColorByWidth()), NxErrSuccess);
  for (size_t i = 0; i < plain.bytes.size(); ++i) {
    ASSERT_EQ(turned.bytes[i ^ 1], plain.bytes[i]) << i;
  }
}

TEST(PictureCopy, BesideANarrowerPictureIsBlack) {
  Image rgb(FourCC("bgrA"), 8, 8);
  std::fill(rgb.bytes.begin(), rgb.bytes.end(), uint8_t{255});
  const Image yuv = Quarters(8, 8);
  for (const PicturePlace& from : {rgb.place, yuv.place}) {
    Image to(k2vuy, 32, 16);
    ASSERT_EQ(CopyPicture(from, to.place, false, ColorByWidth()), NxErrSuccess);
    for (int32_t y = 0; y < 16; ++y) {
      for (const int32_t x : {0, 5, 26, 31}) EXPECT_EQ(to.Pixel(x, y), kBlack) << x << " " << y;
    }
    EXPECT_NE(to.Pixel(16, 8), kBlack);
  }
}

TEST(PictureCopy, AboveAndBelowALowerPictureIsBlack) {
  const Image from = Quarters(32, 8);
  Image to(k2vuy, 16, 16);
  ASSERT_EQ(CopyPicture(from.place, to.place, false, ColorByWidth()), NxErrSuccess);
  for (int32_t x = 0; x < 16; ++x) {
    EXPECT_EQ(to.Pixel(x, 0), kBlack) << x;
    EXPECT_EQ(to.Pixel(x, 15), kBlack) << x;
  }
  EXPECT_EQ(to.Pixel(0, 7), Colour(0));
  EXPECT_EQ(to.Pixel(15, 8), Colour(3));
}

}  // namespace
}  // namespace morvane
