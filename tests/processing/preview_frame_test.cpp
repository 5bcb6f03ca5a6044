#include "processing/preview_frame.h"

#include <gtest/gtest.h>

#include "processing/conversion_tables.h"

namespace morvane {
namespace {

PreviewSource Source(const char (&fourcc)[5], int width, int height) {
  PreviewSource source;
  static const uint8_t kPicture[4] = {};
  source.picture = kPicture;
  source.width = width;
  source.height = height;
  source.rowBytes = width * 2;
  source.fourcc = FourCC(fourcc);
  source.aspectX = 7;
  source.aspectY = 5;
  return source;
}

TEST(PreviewFrame, JobFrameTakesTheSlotAndTheConstants) {
  PreviewSource source = Source("2vuy", 720, 486);
  source.bottomUp = true;
  source.originX = -3;
  source.originY = 9;
  source.widthPercent = 25.0f;
  source.heightPercent = 800.0f;
  source.fields = {1, 0, 10.0f, 11.0f, 0, 20.0f, 21.0f};
  const NXVideoFrame frame = MakeJobFrame(source);
  EXPECT_EQ(frame.picture, source.picture);
  EXPECT_EQ(frame.width, 720);
  EXPECT_EQ(frame.height, 486);
  EXPECT_EQ(frame.rowBytes, 1440);
  EXPECT_EQ(frame.fourcc, FourCC("2vuy"));
  EXPECT_EQ(frame.bottomUp, 1);
  EXPECT_EQ(frame.originX, -3);
  EXPECT_EQ(frame.originY, 9);
  EXPECT_EQ(frame.zoomX, 0.25f);
  EXPECT_EQ(frame.zoomY, 8.0f);
  EXPECT_EQ(frame.modeA, 4);
  EXPECT_EQ(frame.modeB, 4);
  EXPECT_EQ(frame.modeC, 3);
  EXPECT_EQ(frame.fields.flagA, 1);
  EXPECT_EQ(frame.fields.valueB, 11.0f);
  EXPECT_EQ(frame.fields.valueD, 21.0f);
  EXPECT_EQ(frame.aspectX, 7);
  EXPECT_EQ(frame.aspectY, 5);
}

TEST(PreviewFrame, DisplaySizeSetsTheZoomAndFitTheOriginToo) {
  const float kPercent[] = {0, 25, 50, 75, 100, 200, 400, 800};
  for (uint32_t index = 0; index < 10; ++index) {
    PreviewView view{-4, 6, 33, 44};
    ApplyDisplaySize(index, &view);
    EXPECT_EQ(view.widthPercent, index < 8 ? kPercent[index] : 33) << index;
    EXPECT_EQ(view.heightPercent, index < 8 ? kPercent[index] : 44) << index;
    EXPECT_EQ(view.originX, index == 0 ? 0 : -4) << index;
    EXPECT_EQ(view.originY, index == 0 ? 0 : 6) << index;
  }
}

TEST(PreviewFrame, StoredDv100RastersAreWidened) {
  const struct {
    int width, height, x, y;
  } kRows[] = {{1280, 1080, 3, 2}, {1440, 1080, 4, 3}, {960, 720, 4, 3},
               {1920, 1080, 7, 5}, {1280, 720, 7, 5},  {720, 576, 7, 5}};
  for (const auto& row : kRows) {
    const NXVideoFrame frame = MakeJobFrame(Source("dvhd", row.width, row.height));
    EXPECT_EQ(frame.aspectX, row.x) << row.width << "x" << row.height;
    EXPECT_EQ(frame.aspectY, row.y) << row.width << "x" << row.height;
    EXPECT_EQ(MakeJobFrame(Source("2vuy", row.width, row.height)).aspectX, 7);
  }
}

TEST(PreviewFrame, TenBitFramesTakeTheTenBitTables) {
  NxColorTables eight, ten;
  const auto table = [&](const char(&fourcc)[5]) {
    PreviewSource source = Source(fourcc, 1920, 1080);
    source.tables8 = &eight;
    source.tables10 = &ten;
    return MakeJobFrame(source).colorTable;
  };
  EXPECT_EQ(table("v219"), &ten);
  EXPECT_EQ(table("V219"), &ten);
  EXPECT_EQ(table("2vuy"), &eight);
  EXPECT_EQ(table("bgrA"), &eight);
  EXPECT_EQ(table("10rb"), &eight);
}

TEST(PreviewFrame, IdleFrameHasNoTablesAndModeOne) {
  NxColorTables eight;
  PreviewSource source = Source("bgrA", 1920, 1080);
  source.tables8 = &eight;
  source.fields.flagA = 1;
  source.widthPercent = 0.0f;  // fit
  const NXVideoFrame frame = MakeIdleFrame(source);
  EXPECT_EQ(frame.modeA, 1);
  EXPECT_EQ(frame.modeB, 1);
  EXPECT_EQ(frame.modeC, 3);
  EXPECT_EQ(frame.colorTable, nullptr);
  EXPECT_EQ(frame.fields.flagA, 0);
  EXPECT_EQ(frame.zoomX, 0.0f);
}

}  // namespace
}  // namespace morvane
