#include "device/formats.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <tuple>

#include "device/golden_lines.h"

namespace morvane {
namespace {

TEST(VideoFormats, RowsEqualTheWrittenTable) {
  const auto golden = test::GoldenLines("video_formats.txt");
  ASSERT_EQ(golden.size(), 54u);
  ASSERT_EQ(VideoFormatRows().size(), golden.size());
  for (size_t i = 0; i < golden.size(); ++i) {
    const VideoFormatRow& row = VideoFormatRows()[i];
    std::ostringstream text;
    text << row.value << " \"" << row.text << "\" " << row.standard << ' ' << row.geometry << ' '
         << row.rate << ' ' << row.level << ' ' << row.picture;
    EXPECT_EQ(text.str(), golden[i]);
  }
}

TEST(VideoFormats, FiveColumnsNameOneFormat) {
  std::set<std::tuple<uint32_t, uint32_t, uint32_t, uint32_t, uint32_t>> columns;
  for (const VideoFormatRow& row : VideoFormatRows()) {
    EXPECT_TRUE(
        columns.emplace(row.standard, row.geometry, row.rate, row.level, row.picture).second)
        << row.text;
    EXPECT_EQ(FormatFromColumns(row.standard, row.geometry, row.rate, row.level, row.picture),
              row.value);
  }
}

TEST(VideoFormats, GeometryWithAncillaryLinesNamesTheSameFormat) {
  EXPECT_EQ(FormatFromColumns(0, 8, 4, 0, 0), 2u);
  EXPECT_EQ(FormatFromColumns(1, 9, 2, 0, 1), 4u);
  for (const uint32_t geometry : {6u, 14u}) EXPECT_EQ(FormatFromColumns(2, geometry, 4, 0, 0), 32u);
  for (const uint32_t geometry : {7u, 15u}) EXPECT_EQ(FormatFromColumns(3, geometry, 5, 0, 0), 33u);
  EXPECT_EQ(FormatFromColumns(4, 13, 7, 0, 1), 13u);
  EXPECT_EQ(FormatFromColumns(5, 12, 14, 0, 1), 64u);
  EXPECT_EQ(FormatFromColumns(0, 0, 8, 0, 0), 0u);
}

TEST(VideoFormats, TextOfAnEmptyValueIsEmptyAndOfAFamilyIsItsWord) {
  for (const uint32_t value : {0u, 31u, 38u, 63u, 69u, 79u, 98u, 0xFFFFFFFFu}) {
    EXPECT_STREQ(VideoFormatText(value), "") << value;
  }
  const char* words[] = {"1080i", "720p", "525", "625", "1080p", "2k"};
  for (uint32_t i = 0; i < 6; ++i) EXPECT_STREQ(VideoFormatText(92 + i), words[i]);
  EXPECT_STREQ(VideoFormatText(19), "1080p 59.94b");
}

TEST(VideoFormats, AFormatIsFoundByItsText) {
  for (const VideoFormatRow& row : VideoFormatRows().subspan(1)) {
    EXPECT_EQ(FormatOfText(row.text), row.value) << row.text;
  }
  for (const char* text : {"", "1080i", "1080i 29.9", "1080I 29.97"}) {
    EXPECT_EQ(FormatOfText(text), 0u) << text;
  }
}

TEST(VideoFormats, LinesOfEachFormat) {
  const std::set<uint32_t> lines1080 = {1,  2,  3,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15,
                                        16, 18, 19, 20, 23, 24, 25, 26, 27, 28, 29, 30};
  const std::set<uint32_t> lines720 = {4, 5, 17, 21}, lines525 = {32, 34, 35, 36},
                           lines625 = {33, 37}, lines1556 = {64, 65, 66, 67, 68};
  for (uint32_t format = 0; format < 120; ++format) {
    const uint32_t wanted = lines1080.count(format) != 0   ? 1080
                            : lines720.count(format) != 0  ? 720
                            : lines525.count(format) != 0  ? 525
                            : lines625.count(format) != 0  ? 625
                            : lines1556.count(format) != 0 ? 1556
                                                           : 0;
    EXPECT_EQ(FormatLines(format), wanted) << format;
  }
}

TEST(VideoFormats, TwentyTwoHasNoLinesAndComparesAsNone) {
  EXPECT_EQ(FormatLines(22), 0u);
  EXPECT_EQ(CompareFormatLines(22, 31), 0);
  EXPECT_EQ(CompareFormatLines(22, 32), -1);
  EXPECT_EQ(CompareFormatLines(2, 32), 1);
  EXPECT_EQ(CompareFormatLines(2, 24), 0);
}

TEST(VideoFormats, UnsupportedWordsTellStandardZeroFromTheOthers) {
  EXPECT_STREQ(UnsupportedFormatText(0), "Unsupported standard 1080 frame rate requested.");
  for (uint32_t standard = 1; standard < 8; ++standard) {
    EXPECT_STREQ(UnsupportedFormatText(standard), "Unsupported video standard requested.");
  }
}

TEST(VideoFormats, RatesAreExactPairs) {
  const struct {
    uint32_t rate, scale, duration;
  } kWanted[] = {{1, 60000, 1000},  {2, 60000, 1001}, {3, 30000, 1000}, {4, 30000, 1001},
                 {5, 25000, 1000},  {6, 24000, 1000}, {7, 24000, 1001}, {8, 50000, 1000},
                 {13, 15000, 1000}, {14, 15000, 1001}};
  for (const auto& wanted : kWanted) {
    uint32_t scale = 0, duration = 0;
    ASSERT_TRUE(FrameRatePair(wanted.rate, &scale, &duration));
    EXPECT_EQ(scale, wanted.scale);
    EXPECT_EQ(duration, wanted.duration);
  }
  for (const uint32_t rate : {0u, 9u, 12u, 15u, 16u}) {
    uint32_t scale = 11, duration = 12;
    EXPECT_FALSE(FrameRatePair(rate, &scale, &duration));
    EXPECT_EQ(scale, 11u);
    EXPECT_EQ(duration, 12u);
  }
}

// ---- frame buffers ----

TEST(FrameBuffers, TextsEqualTheWrittenTable) {
  const auto golden = test::GoldenLines("frame_buffer_formats.txt");
  ASSERT_EQ(golden.size(), 24u);
  for (uint32_t format = 0; format < golden.size(); ++format) {
    EXPECT_EQ(std::to_string(format) + " \"" + FrameBufferFormatText(format) + "\"",
              golden[format]);
  }
  EXPECT_STREQ(FrameBufferFormatText(24), "");
}

TEST(FrameBuffers, DescriptorsEqualTheWrittenTableAndAreZeroElsewhere) {
  size_t listed = 0;
  const auto golden = test::GoldenLines("format_descriptors.txt");
  const std::set<std::string> lines(golden.begin(), golden.end());
  for (uint32_t standard = 0; standard <= 6; ++standard) {
    for (uint32_t format = 0; format <= 24; ++format) {
      const auto d = GetFormatDescriptor(standard, format, false, false, false);
      EXPECT_EQ(d.firstActiveLine, 0u);
      if (d.numLines == 0 && d.numPixels == 0 && d.linePitch == 0) continue;
      std::ostringstream text;
      text << standard << ' ' << format << ' ' << d.numLines << ' ' << d.numPixels << ' '
           << d.linePitch;
      EXPECT_EQ(lines.count(text.str()), 1u) << text.str();
      ++listed;
    }
  }
  EXPECT_EQ(listed, golden.size());
}

void ExpectDescriptor(const RQD5FormatDescriptor& d, uint32_t lines, uint32_t pixels,
                      uint32_t pitch, uint32_t firstActive) {
  EXPECT_EQ(d.numLines, lines);
  EXPECT_EQ(d.numPixels, pixels);
  EXPECT_EQ(d.linePitch, pitch);
  EXPECT_EQ(d.firstActiveLine, firstActive);
}

TEST(FrameBuffers, AncillaryLinesReplaceTheCountAndShiftThePicture) {
  ExpectDescriptor(GetFormatDescriptor(0, 1, true, false, false), 1112, 1920, 960, 32);
  ExpectDescriptor(GetFormatDescriptor(0, 2, true, false, false), 1092, 1920, 1920, 12);
  ExpectDescriptor(GetFormatDescriptor(4, 0, true, false, true), 1112, 1920, 1280, 32);
  ExpectDescriptor(GetFormatDescriptor(1, 0, true, false, false), 740, 1280, 864, 20);
  ExpectDescriptor(GetFormatDescriptor(2, 1, true, false, false), 508, 720, 360, 22);
  ExpectDescriptor(GetFormatDescriptor(2, 1, true, false, true), 514, 720, 360, 28);
  ExpectDescriptor(GetFormatDescriptor(3, 1, true, false, false), 598, 720, 360, 22);
  ExpectDescriptor(GetFormatDescriptor(3, 1, true, false, true), 612, 720, 360, 36);
  ExpectDescriptor(GetFormatDescriptor(5, 0, true, false, false), 1588, 2048, 1376, 32);
}

TEST(FrameBuffers, EveryRgbFormatAndEightHaveTheShortAncillaryAt1080) {
  const std::set<uint32_t> shortOnes = {2, 3, 4, 6, 7, 8, 12, 13, 14, 15, 20, 21, 22};
  for (uint32_t format = 0; format < 24; ++format) {
    const auto d = GetFormatDescriptor(0, format, true, false, false);
    if (d.linePitch == 0) continue;
    EXPECT_EQ(d.numLines, shortOnes.count(format) != 0 ? 1092u : 1112u) << format;
  }
}

TEST(FrameBuffers, TwoKLinesAreWiderAndSomeFormatsHaveNone) {
  ExpectDescriptor(GetFormatDescriptor(0, 0, false, true, false), 1080, 2048, 1376, 0);
  ExpectDescriptor(GetFormatDescriptor(4, 21, false, true, false), 1080, 2048, 2730, 0);
  ExpectDescriptor(GetFormatDescriptor(0, 1, true, true, false), 1112, 2048, 1024, 32);
  for (const uint32_t format : {8u, 9u, 10u, 11u, 17u, 18u, 19u}) {
    ExpectDescriptor(GetFormatDescriptor(0, format, false, true, false), 0, 0, 0, 0);
  }
}

TEST(FrameBuffers, OutOfRangeIsAllZero) {
  ExpectDescriptor(GetFormatDescriptor(6, 0, true, true, true), 0, 0, 0, 0);
  ExpectDescriptor(GetFormatDescriptor(0, 24, true, true, true), 0, 0, 0, 0);
  for (uint32_t standard = 0; standard < 6; ++standard) {
    ExpectDescriptor(GetFormatDescriptor(standard, 17, false, false, false), 0, 0, 0, 0);
  }
}

TEST(FrameBuffers, BytesOfAFrame) {
  const struct {
    uint32_t standard, format, bytes;
  } kWanted[] = {{0, 0, 5529600}, {0, 1, 4147200}, {0, 2, 8294400}, {0, 16, 12441600},
                 {2, 1, 699840},  {3, 0, 1105920}, {5, 0, 8564224}, {5, 8, 12746752}};
  for (const auto& wanted : kWanted) {
    EXPECT_EQ(GetFormatDescriptor(wanted.standard, wanted.format, false, false, false).FrameBytes(),
              wanted.bytes);
  }
}

TEST(Geometry, QuadAndBaseForms) {
  EXPECT_EQ(GeometryForQuad(16), 0u);
  EXPECT_EQ(GeometryForQuad(17), 10u);
  EXPECT_EQ(GeometryForQuad(8), 8u);
  EXPECT_EQ(QuadForGeometry(0), 16u);
  EXPECT_EQ(QuadForGeometry(10), 17u);
  EXPECT_EQ(QuadForGeometry(1), 1u);
}

// ---- inputs ----

TEST(InputFormats, EveryCombinationEqualsTheWrittenTable) {
  struct Rule {
    std::string standard, rate, geometryClass, level3G, segmented, format;
  };
  std::vector<Rule> rules;
  for (const std::string& line : test::GoldenLines("input_formats.txt")) {
    Rule r;
    std::istringstream(line) >> r.standard >> r.rate >> r.geometryClass >> r.level3G >>
        r.segmented >> r.format;
    rules.push_back(r);
  }
  const auto fits = [](const std::string& pattern, uint32_t value) {
    return pattern == "-" || pattern == std::to_string(value);
  };
  for (uint32_t combination = 0; combination < 8 * 16 * 16 * 4; ++combination) {
    const uint32_t segmented = combination & 1, level3G = combination >> 1 & 1;
    const uint32_t geometryClass = combination >> 2 & 15, rate = combination >> 6 & 15;
    const uint32_t standard = combination >> 10;
    std::string wanted = "0";
    for (const Rule& r : rules) {
      if (fits(r.standard, standard) && fits(r.rate, rate) &&
          fits(r.geometryClass, geometryClass) && fits(r.level3G, level3G) &&
          fits(r.segmented, segmented)) {
        wanted = r.format;
        break;
      }
    }
    EXPECT_EQ(
        std::to_string(InputFormat(rate, standard, level3G != 0, geometryClass, segmented != 0)),
        wanted)
        << standard << ' ' << rate << ' ' << geometryClass << ' ' << level3G << ' ' << segmented;
  }
}

TEST(InputFormats, SomeOfTheTableByHand) {
  EXPECT_EQ(InputFormat(5, Standard1080, false, 8, false), 27u);
  EXPECT_EQ(InputFormat(3, Standard1080, true, 4, true), 20u);
  EXPECT_EQ(InputFormat(7, Standard525, false, 1, false), 34u);
  EXPECT_EQ(InputFormat(5, Standard720, false, 3, false), 0u);  // 720p 25.00 is not detected
}

TEST(InputFormats, ClassGivesTheStandard) {
  for (const bool progressive : {false, true}) {
    const uint32_t p1080 = progressive ? 4 : 0;
    const uint32_t wanted[] = {6, 2, 3, 1, p1080, 6, 6, 6, p1080, 5, 6, 6, 6, 6, 6, 6};
    for (uint32_t geometryClass = 0; geometryClass < 16; ++geometryClass) {
      EXPECT_EQ(StandardOfGeometryClass(geometryClass, progressive), wanted[geometryClass]);
    }
  }
}

TEST(InputFormats, ClassSevenIsUnknownAndNoFormat) {
  const uint32_t standard = StandardOfGeometryClass(7, false);
  EXPECT_EQ(standard, 6u);
  for (uint32_t rate = 0; rate < 16; ++rate) {
    EXPECT_EQ(InputFormat(rate, standard, false, 7, false), 0u);
  }
}

}  // namespace
}  // namespace morvane
