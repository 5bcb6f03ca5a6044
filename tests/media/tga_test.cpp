#include "media/tga.h"

#include <gtest/gtest.h>

#include "media/still_checks.h"

namespace morvane {
namespace {

using namespace morvane::test;

constexpr NxFileType kType = NxFileTypeTGA;
constexpr StillSample kSample = {kType, FourCC("bgr "), kOrientationBottomUp};

// A run-length file of `packets` for a picture.
std::vector<uint8_t> Packed(int32_t width, int32_t height, uint8_t depth, uint8_t descriptor,
                            const std::vector<uint8_t>& packets) {
  std::vector<uint8_t> file(18 + packets.size(), 0);
  file[2] = 10;
  StoreLe16(&file[12], static_cast<uint16_t>(width));
  StoreLe16(&file[14], static_cast<uint16_t>(height));
  file[16] = depth;
  file[17] = descriptor;
  std::copy(packets.begin(), packets.end(), file.begin() + 18);
  return file;
}

// Packets for `pixels`: runs where there are any, literals else; both cross lines.
std::vector<uint8_t> PacketsOf(const std::vector<uint8_t>& pixels, size_t bytesPerPixel) {
  std::vector<uint8_t> packets;
  const size_t count = pixels.size() / bytesPerPixel;
  const auto pixel = [&](size_t i) {
    return pixels.begin() + static_cast<ptrdiff_t>(i * bytesPerPixel);
  };
  const auto equal = [&](size_t a, size_t b) {
    return std::equal(pixel(a), pixel(a + 1), pixel(b));
  };
  for (size_t i = 0; i < count;) {
    size_t run = 1;
    while (run < 128 && i + run < count && equal(i, i + run)) ++run;
    if (run > 1) {
      packets.push_back(static_cast<uint8_t>(127 + run));
      packets.insert(packets.end(), pixel(i), pixel(i + 1));
    } else {
      while (run < 128 && i + run + 1 < count && !equal(i + run, i + run + 1)) ++run;
      packets.push_back(static_cast<uint8_t>(run - 1));
      packets.insert(packets.end(), pixel(i), pixel(i + run));
    }
    i += run;
  }
  return packets;
}

TEST(Targa, TableHasTheFourRows) {
  EXPECT_EQ(TableText(kType),
            "bgr |8-bit RGB 4:4:4 - B2T|0|8\nbgrA|8-bit RGBA 4:4:4:4 - B2T|0|8\n"
            "bgr |8-bit RGB 4:4:4 - T2B|1|8\nbgrA|8-bit RGBA 4:4:4:4 - T2B|1|8\n");
}

TEST(Targa, HeadersAreTheKnownOnes) {
  ExpectHeaders(kType, 128,
                {{"bgr ", 1, 0xf04d4f5a, 6221312},
                 {"bgr ", 0, 0x907e0ac3, 6221312},
                 {"bgrA", 1, 0x842fdf34, 8294912},
                 {"bgrA", 0, 0xe41c9aad, 8294912}});
  const auto file =
      ReadBytes(WritePicture(kType, FreshFolder("header"), FourCC("bgr "), 1, 1920, 1080));
  EXPECT_EQ(Hex(file, 0, 128), "6e0002000000000000000000800738041820" + std::string(220, '0'));
}

TEST(Targa, EveryRowReadsBackToTheByte) {
  ExpectRowsComeBack(kType, 67, 128);
}

TEST(Targa, PixelsBeginOnASectorWhereTheBufferHasRoom) {
  const std::string path = WritePicture(kType, FreshFolder("room"), FourCC("bgr "), 1, 64, 48);
  const auto info = std::make_unique<NxMediaFileInfo>();
  MediaFilePtr file;
  ASSERT_EQ(Open(path, info.get(), &file), NxErrSuccess);
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(*info, &buffer, 512);
  ASSERT_EQ(file->ReadImage(&request), NxErrSuccess);
  EXPECT_EQ(request.dataOffset, 512u);
  request = PlainRead(*info, &buffer, 0);
  ASSERT_EQ(file->ReadImage(&request), NxErrSuccess);
  EXPECT_EQ(request.dataOffset, 128u);
}

TEST(Targa, PictureWithoutAlphaIsWrittenOpaque) {
  ExpectOpaque(kType, FourCC("bgrA"), 128);
}

TEST(Targa, RunLengthFilesExpandAsTheyCome) {
  for (const char* code : {"bgr ", "bgrA"}) {
    const char text[5] = {code[0], code[1], code[2], code[3], 0};
    const size_t bytesPerPixel = code[3] == 'A' ? 4 : 3;
    const auto pixels = Picture(FourCC(text), 67, 50, 1);
    const std::string path = FreshFolder("packed") + "/packed.tga";
    WriteBytes(path, Packed(67, 50, static_cast<uint8_t>(8 * bytesPerPixel), 32,
                            PacketsOf(pixels, bytesPerPixel)));
    NxMediaFileInfo info;
    ASSERT_EQ(OpenCode(path, &info), NxErrSuccess);
    EXPECT_EQ(FourCCText(info.fourcc), code);
    EXPECT_EQ(FourCCText(info.nativeFourcc), "tgal");
    EXPECT_EQ(std::string(info.name),
              bytesPerPixel == 3 ? "8-bit RGB - RLE Encoded " : "8-bit RGBA - RLE Encoded");
    EXPECT_EQ(Difference(pixels, StoredPixels(path), 67, static_cast<int>(bytesPerPixel), 1), "");
    EXPECT_EQ(
        Difference(Picture(FourCC("rgb "), 67, 50, 1), PixelsAs(path, FourCC("rgb ")), 67, 3, 1),
        "");
  }
}

TEST(Targa, NoiseThatGrewByPackingIsReadWhole) {
  const auto pixels = Noise(67 * 50 * 3, 3);
  const auto packets = PacketsOf(pixels, 3);
  ASSERT_GT(packets.size(), pixels.size());
  const std::string path = FreshFolder("noise") + "/noise.tga";
  WriteBytes(path, Packed(67, 50, 24, 0, packets));
  EXPECT_EQ(StoredPixels(path), pixels);
}

TEST(Targa, RectangleOfARunLengthFile) {
  const auto pixels = Picture(FourCC("bgr "), 64, 48, 1);
  const std::string path = FreshFolder("rectangle") + "/packed.tga";
  WriteBytes(path, Packed(64, 48, 24, 32, PacketsOf(pixels, 3)));
  const auto info = std::make_unique<NxMediaFileInfo>();
  MediaFilePtr file;
  ASSERT_EQ(Open(path, info.get(), &file), NxErrSuccess);
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(*info, &buffer);
  request.subRect = 1;
  request.srcX = 5;
  request.srcY = 7;
  request.dstX = request.dstY = 0;
  request.srcWidth = request.dstWidth = 20;
  request.srcHeight = request.dstHeight = 9;
  ASSERT_EQ(file->ReadImage(&request), NxErrSuccess);
  for (size_t line = 0; line < 9; ++line) {
    ASSERT_EQ(std::memcmp(buffer.Data() + request.dataOffset + line * 60,
                          &pixels[((7 + line) * 64 + 5) * 3], 60),
              0);
  }
}

TEST(Targa, AClipMayMixPlainAndRunLengthFrames) {
  const auto pixels = Picture(FourCC("bgr "), 64, 48, 1);
  std::vector<uint8_t> plain = Packed(64, 48, 24, 32, pixels);
  plain[2] = 2;
  const auto packed = Packed(64, 48, 24, 32, PacketsOf(pixels, 3));
  for (const bool packedFirst : {false, true}) {
    const std::string folder = FreshFolder("mixed");
    WriteBytes(FramePath(folder, kType, 0), packedFirst ? packed : plain);
    WriteBytes(FramePath(folder, kType, 1), packedFirst ? plain : packed);
    WriteBytes(FramePath(folder, kType, 2), packedFirst ? packed : plain);
    const auto info = std::make_unique<NxMediaFileInfo>();
    MediaFilePtr file;
    ASSERT_EQ(Open(FramePath(folder, kType), info.get(), &file), NxErrSuccess);
    for (const int frame : {0, 1, 2, 1, 0}) {
      PageBuffer buffer;
      NxImageReadRequest request = PlainRead(*info, &buffer);
      request.frame = frame;
      ASSERT_EQ(file->ReadImage(&request), NxErrSuccess);
      EXPECT_EQ(std::memcmp(buffer.Data() + request.dataOffset, pixels.data(), pixels.size()), 0)
          << packedFirst << " frame " << frame;
    }
  }
}

TEST(Targa, RunStopsAtTheLastPixel) {
  const std::vector<uint8_t> packets = {0xFF, 1, 2, 3};  // 128 pixels
  std::vector<uint8_t> target(15 + 4, 0xEE);
  EXPECT_EQ(ExpandTargaRuns(packets, 3, std::span(target).first(15)), 15u);
  for (size_t i = 0; i < 15; ++i) EXPECT_EQ(target[i], 1 + i % 3);
  EXPECT_EQ(target[15], 0xEE);
}

TEST(Targa, PacketsThatEndEarlyGiveWhatIsWhole) {
  std::vector<uint8_t> target(30, 0);
  const std::vector<uint8_t> literal = {0x07, 1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(ExpandTargaRuns(literal, 3, target), 6u);
  const std::vector<uint8_t> run = {0x81, 1, 2};
  EXPECT_EQ(ExpandTargaRuns(run, 3, target), 0u);
  EXPECT_EQ(ExpandTargaRuns({}, 3, target), 0u);
}

TEST(Targa, CutRunLengthFileIsZeroFromWhereItEnds) {
  const auto pixels = Noise(64 * 48 * 3, 5);
  auto file = Packed(64, 48, 24, 32, PacketsOf(pixels, 3));
  file.resize(18 + 129 * 9 + 1);
  const std::string path = FreshFolder("cut") + "/cut.tga";
  WriteBytes(path, file);
  const auto got = StoredPixels(path);
  ASSERT_EQ(got.size(), pixels.size());
  const auto firstZero = std::find_if(got.rbegin(), got.rend(), [](uint8_t b) { return b != 0; });
  const auto read = static_cast<size_t>(got.rend() - firstZero);
  EXPECT_GT(read, 1000u);
  EXPECT_LT(read, 1200u);
  EXPECT_TRUE(std::equal(got.begin(), got.begin() + static_cast<ptrdiff_t>(read), pixels.begin()));
}

TEST(Targa, DescriptorOfOthersGivesTheLineOrderOnly) {
  const struct {
    uint8_t descriptor;
    uint32_t orientation;
  } kRows[] = {{0, 0}, {8, 0}, {16, 0}, {32, 1}, {40, 1}, {48, 1}};
  for (const auto& row : kRows) {
    NxMediaFileInfo info;
    ASSERT_EQ(OpenCode(Changed(kSample, 17, {row.descriptor}), &info), NxErrSuccess);
    EXPECT_EQ(uint32_t{info.orientation}, row.orientation) << int{row.descriptor};
  }
}

TEST(Targa, RefusesWhatItCannotRead) {
  ExpectRefused(kSample, {{"16 bits", 16, {16}},
                          {"8 bits", 16, {8}},
                          {"grey", 2, {3}},
                          {"packed grey", 2, {11}},
                          {"no image", 2, {0}},
                          {"colour map", 1, {1}},
                          {"width 8193", 12, {1, 0x20}},
                          {"height 8193", 14, {1, 0x20}},
                          {"width 0", 12, {0, 0}},
                          {"height 0", 14, {0, 0}}});
}

TEST(Targa, FrameOfAnotherKindInTheMiddleIsBlack) {
  ExpectBlackInTheMiddle(kSample, OtherFrame(kType, FourCC("bgrA"), 0, 64, 48));
  ExpectBlackInTheMiddle(kSample, OtherFrame(kType, FourCC("bgr "), 0, 60, 48));
  auto shorterId = OtherFrame(kType, FourCC("bgr "), 0, 64, 48);
  shorterId[0] = 9;
  ExpectBlackInTheMiddle(kSample, shorterId);
}

TEST(Targa, MirroredLinesAreMarkedAndStoredAsTheyCome) {
  const struct {
    uint32_t orientation;
    uint8_t descriptor;
    uint32_t readAs;
  } kRows[] = {{0, 0, 0}, {1, 32, 1}, {2, 16, 0}, {3, 48, 1}};
  for (const auto& row : kRows) {
    const std::string folder = FreshFolder("mirrored");
    const auto pixels = Picture(FourCC("bgr "), 64, 48, 1);
    ASSERT_EQ(
        WriteStills(kType, folder, PictureInfo(64, 48, FourCC("bgr "), row.orientation), {pixels}),
        NxErrSuccess);
    const std::string path = FramePath(folder, kType);
    EXPECT_EQ(ReadBytes(path)[17], row.descriptor);
    NxMediaFileInfo info;
    ASSERT_EQ(OpenCode(path, &info), NxErrSuccess);
    EXPECT_EQ(uint32_t{info.orientation}, row.readAs);
    EXPECT_EQ(StoredPixels(path), pixels) << row.orientation;
  }
  EXPECT_EQ(WriteStills(kType, FreshFolder("mirrored"), PictureInfo(64, 48, FourCC("bgr "), 4), {}),
            NxErrVideoFormatNotSupported);
}

TEST(Targa, CreatesOnlyItsOwnFormatsAndSizes) {
  ExpectNotCreated(kType, {"rgb ", "tgal", "2vuy"});
  EXPECT_EQ(WriteStills(kType, FreshFolder("create"), PictureInfo(65536, 1, FourCC("bgr ")), {}),
            NxErrVideoFormatNotSupported);
}

}  // namespace
}  // namespace morvane
