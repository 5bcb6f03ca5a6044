#include "processing/pixel_format.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "support/test_environment.h"

namespace morvane {
namespace {

const char* ClassText(PixelClass pixelClass) {
  switch (pixelClass) {
    case PixelClass::kYuv8:
      return "8-bit YUV";
    case PixelClass::kYuv10:
      return "10-bit YUV";
    case PixelClass::kRgb8:
      return "8-bit RGB";
    case PixelClass::kRgb10:
      return "10-bit RGB";
    case PixelClass::kRgb16:
      return "16-bit RGB";
    case PixelClass::kRgbFloat:
      return "float RGB";
  }
  return "";
}

std::string FormatsAsText() {
  std::ostringstream text;
  for (const PixelFormat& f : PixelFormats()) {
    text << FourCCText(f.code) << ' ' << ClassText(f.pixelClass) << ' ' << f.bytesPerGroup << '/'
         << f.pixelsPerGroup << " depth " << f.bitDepth << " range " << f.max << ".." << f.min
         << (f.hasAlpha ? " alpha" : "")
         << (f.layout == PixelLayout::kNone ? " without layout" : "") << '\n';
  }
  return text.str();
}

TEST(PixelFormat, TableReadsAsWritten) {
  std::ifstream file(test::DataPath("golden/pixel_formats.txt"));
  std::ostringstream wanted;
  wanted << file.rdbuf();
  ASSERT_FALSE(wanted.str().empty());
  EXPECT_EQ(FormatsAsText(), wanted.str());
}

TEST(PixelFormat, EveryCodeIsFoundAndNoOther) {
  for (const PixelFormat& f : PixelFormats()) EXPECT_EQ(FindPixelFormat(f.code), &f);
  EXPECT_EQ(FindPixelFormat(0), nullptr);
  EXPECT_EQ(FindPixelFormat(FourCC("10yb")), nullptr);
  EXPECT_EQ(FindPixelFormat(FourCC("2vuz")), nullptr);
}

TEST(PixelFormat, GroupsAnswerByClass) {
  EXPECT_TRUE(IsYuv8(FourCC("mjai")));
  EXPECT_FALSE(IsYuv8(FourCC("v219")));
  EXPECT_TRUE(IsYuv10(FourCC("apnq")));
  EXPECT_TRUE(IsYuv(FourCC("V219")));
  EXPECT_TRUE(IsYuv(FourCC("dv26")));
  EXPECT_TRUE(IsRgb(FourCC("BGrF")));
  EXPECT_FALSE(IsRgb(FourCC("2vuy")));
  EXPECT_FALSE(IsRgb(FourCC("none")));
  EXPECT_TRUE(IsYuyvOrder(FourCC("yuy2")));
  EXPECT_TRUE(IsYuyvOrder(FourCC("mjai")));
  EXPECT_FALSE(IsYuyvOrder(FourCC("jpgq")));
  EXPECT_TRUE(HasAlpha(FourCC("10RA")));
  EXPECT_FALSE(HasAlpha(FourCC("10RG")));
}

TEST(PixelFormat, LineBytesAreWholeGroups) {
  EXPECT_EQ(PixelLineBytes(FourCC("2vuy"), 1920), 3840);
  EXPECT_EQ(PixelLineBytes(FourCC("2vuy"), 5), 12);
  EXPECT_EQ(PixelLineBytes(FourCC("v219"), 1), 16);
  EXPECT_EQ(PixelLineBytes(FourCC("v219"), 7), 32);
  EXPECT_EQ(PixelLineBytes(FourCC("10RA"), 3), 15);
  EXPECT_EQ(PixelLineBytes(FourCC("bgr "), 3), 9);
  EXPECT_EQ(PixelLineBytes(FourCC("bgrA"), 0), 0);
  EXPECT_EQ(PixelLineBytes(FourCC("bgrA"), -4), 0);
  EXPECT_EQ(PixelLineBytes(FourCC("????"), 10), 0);
}

TEST(PixelFormat, TenBitPitchIsPaddedTo48Pixels) {
  EXPECT_EQ(PixelPitch(FourCC("v219"), 720), 1920);
  EXPECT_EQ(PixelPitch(FourCC("v219"), 1280), 3456);
  EXPECT_EQ(PixelPitch(FourCC("v219"), 1920), 5120);
  EXPECT_EQ(PixelPitch(FourCC("v219"), 2048), 5504);
  EXPECT_EQ(PixelPitch(FourCC("aphq"), 1), 128);
  EXPECT_EQ(PixelPitch(FourCC("yuy2"), 721), 1444);
  EXPECT_EQ(PixelPitch(FourCC("RgBF"), 7), 112);
  EXPECT_EQ(PixelPitch(FourCC("????"), 10), 0);
}

}  // namespace
}  // namespace morvane
