#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "gui_fixture.h"
#include "processing/conversion_tables.h"
#include "processing/convert.h"
#include "processing/pixel_format.h"

namespace morvane::test {
namespace {

class VideoTest : public GuiTest {
 protected:
  void SetUp() override {
    GuiTest::SetUp();
    const NxRECT rect = {40, 50, 64, 32};
    video = NXCreateVideoWindow(root.nxNode, "Video Window", &rect, 3);
    ASSERT_NE(nullptr, video);
    ASSERT_EQ(NxErrSuccess, NXShowVideoWindow(video, 1));
    hands->Settle();
    root.Take();
  }

  NXVideoWindowNode* video = nullptr;
};

// A picture of one colour.
struct Picture {
  Picture(int32_t width, int32_t height, uint32_t bgra) {
    bytes.resize(static_cast<size_t>(width * height) * 4);
    for (size_t at = 0; at < bytes.size(); at += 4) memcpy(&bytes[at], &bgra, 4);
    frame.picture = bytes.data();
    frame.width = width;
    frame.height = height;
    frame.rowBytes = width * 4;
    frame.fourcc = FourCC("bgrA");
  }
  void Row(int32_t y, uint32_t bgra) {
    for (int32_t x = 0; x < frame.width; ++x) {
      memcpy(&bytes[static_cast<size_t>(y * frame.rowBytes + x * 4)], &bgra, 4);
    }
  }
  std::vector<uint8_t> bytes;
  NXVideoFrame frame;
};

TEST_F(VideoTest, AFrameIsShownAndNotKept) {
  EXPECT_EQ(0u, hands->Pixel(video, 32, 16));
  auto picture = std::make_unique<Picture>(64, 32, 0xFF2040E0u);
  ASSERT_EQ(NxErrSuccess, NXStartDisplayVideoFrame(video, 64, 32, NXDISPLAY_TEXTURE, nullptr));
  ASSERT_EQ(NxErrSuccess, NXDisplayVideoFrame(video, &picture->frame, nullptr));
  picture.reset();  // the memory is free on return
  ASSERT_EQ(NxErrSuccess, NXStopDisplayVideoFrame(video));
  hands->Settle();
  EXPECT_EQ(0x2040E0u, hands->Pixel(video, 32, 16));
  EXPECT_EQ(0x2040E0u, hands->Pixel(video, 1, 1));
  EXPECT_EQ(0x2040E0u, hands->Pixel(video, 62, 30));
}

TEST_F(VideoTest, BottomUpPicturesStandUpright) {
  for (const bool bottomUp : {false, true}) {
    Picture picture(64, 32, 0xFF00FF00u);
    picture.Row(0, 0xFFFF0000u);  // the first line in memory is red
    picture.frame.bottomUp = bottomUp ? 1 : 0;
    NXStartDisplayVideoFrame(video, 64, 32, NXDISPLAY_TEXTURE, nullptr);
    ASSERT_EQ(NxErrSuccess, NXDisplayVideoFrame(video, &picture.frame, nullptr));
    NXStopDisplayVideoFrame(video);
    hands->Settle();
    EXPECT_EQ(bottomUp ? 0x00FF00u : 0xFF0000u, hands->Pixel(video, 20, 31)) << bottomUp;
    EXPECT_EQ(bottomUp ? 0xFF0000u : 0x00FF00u, hands->Pixel(video, 20, 0)) << bottomUp;
  }
}

TEST_F(VideoTest, BlackenClears) {
  Picture picture(64, 32, 0xFFFFFFFFu);
  NXStartDisplayVideoFrame(video, 64, 32, NXDISPLAY_DRAWPIXELS, nullptr);
  NXDisplayVideoFrame(video, &picture.frame, nullptr);
  NXStopDisplayVideoFrame(video);
  hands->Settle();
  EXPECT_EQ(0xFFFFFFu, hands->Pixel(video, 10, 10));
  EXPECT_EQ(NxErrSuccess, NXBlackenVideoWindow(video));
  hands->Settle();
  EXPECT_EQ(0u, hands->Pixel(video, 10, 10));
}

// The largest difference of a component of two colours.
int Difference(uint32_t a, uint32_t b) {
  int largest = 0;
  for (const int shift : {0, 8, 16}) {
    const int one = static_cast<int>(a >> shift & 0xFF);
    const int other = static_cast<int>(b >> shift & 0xFF);
    largest = std::max(largest, std::abs(one - other));
  }
  return largest;
}

// A picture of one colour, in every format in which a file or a job may hand one over.
TEST_F(VideoTest, AllPixelFormatsAreTaken) {
  constexpr uint32_t kColor = 0x30A0C8u;
  constexpr int kVideoRounding = 2;  // of a colour that goes to 8-bit YUV and back
  const Picture source(48, 8, 0xFF000000u | kColor);
  for (const PixelFormat& format : PixelFormats()) {
    const char* code = reinterpret_cast<const char*>(&format.code);
    const std::string name(code, 4);
    NXVideoFrame frame;
    frame.width = 48;
    frame.height = 8;
    frame.fourcc = format.code;
    frame.rowBytes = PixelPitch(format.code, 48);
    std::vector<uint8_t> bytes(static_cast<size_t>(frame.rowBytes) * 8);
    frame.picture = bytes.data();
    ConvertContext context;
    NxColorContext color;
    color.matrix = ColorMatrix601Video;  // what a picture of so few lines is taken for
    const bool readable = format.layout != PixelLayout::kNone;
    if (readable) {
      ASSERT_EQ(NxErrSuccess, ConvertImage(&context, source.bytes.data(), 48, 8, FourCC("bgrA"),
                                           source.frame.rowBytes, bytes.data(), 48, 8, format.code,
                                           frame.rowBytes, false, &color, false, nullptr))
          << name;
    }
    // Deliberate: of 10-bit words the top 8 bits are shown, whatever their range, and those of
    // "10RS" in the order of the others.
    const uint32_t shown = !readable                       ? 0
                           : format.code == FourCC("11rQ") ? 0x2C93B8u
                           : format.code == FourCC("10RS") ? 0xB1E092u
                                                           : kColor;
    NXBlackenVideoWindow(video);
    ASSERT_EQ(NxErrSuccess, NXStartDisplayVideoFrame(video, 48, 8, NXDISPLAY_TEXTURE, nullptr));
    EXPECT_EQ(readable ? NxErrSuccess : NxErrFailure, NXDisplayVideoFrame(video, &frame, nullptr))
        << name;
    NXStopDisplayVideoFrame(video);
    hands->Settle();
    const uint32_t pixel = hands->Pixel(video, 30, 16);
    EXPECT_LE(Difference(shown, pixel), kVideoRounding) << name << " shows " << std::hex << pixel;
  }
}

TEST_F(VideoTest, YuvUsesTheMatrixOfItsTables) {
  // What Cb 90, Y 120, Cr 180 is: by hand from the coefficients of 601 and 709, in full range and
  // in video range.
  const struct {
    ColorMatrix matrix;
    uint32_t color;
  } kRows[] = {
      {ColorMatrix601Full, 0xBF6036u},
      {ColorMatrix601Video, 0xCC5E2Cu},
      {ColorMatrix709Full, 0xC86733u},
      {ColorMatrix709Video, 0xD66529u},
  };
  for (const auto& row : kRows) {
    NxColorTables tables;
    tables.matrix = row.matrix;
    ASSERT_EQ(NxErrSuccess, BuildConversionTables(8, &tables, 1));
    std::vector<uint8_t> bytes(64 * 2 * 32);
    for (size_t at = 0; at < bytes.size(); at += 4) {
      bytes[at] = 90;
      bytes[at + 1] = bytes[at + 3] = 120;
      bytes[at + 2] = 180;
    }
    NXVideoFrame frame;
    frame.picture = bytes.data();
    frame.width = 64;
    frame.height = 32;
    frame.rowBytes = 128;
    frame.fourcc = FourCC("2vuy");
    frame.colorTable = &tables;
    NXStartDisplayVideoFrame(video, 64, 32, NXDISPLAY_TEXTURE, nullptr);
    ASSERT_EQ(NxErrSuccess, NXDisplayVideoFrame(video, &frame, nullptr));
    NXStopDisplayVideoFrame(video);
    hands->Settle();
    const uint32_t pixel = hands->Pixel(video, 30, 20);
    EXPECT_LE(Difference(row.color, pixel), 1) << row.matrix << " shows " << std::hex << pixel;
  }
}

TEST_F(VideoTest, CurvesAreAppliedToEachColour) {
  std::vector<uint32_t> up(kLutEntries, 1023);
  std::vector<uint32_t> same(kLutEntries);
  std::vector<uint32_t> down(kLutEntries, 0);
  for (uint32_t i = 0; i < kLutEntries; ++i) same[i] = i;
  const NxRGBLUT lut = {up.data(), same.data(), down.data(), 0, kLutEntries};
  Picture picture(64, 32, 0xFF406080u);
  NXStartDisplayVideoFrame(video, 64, 32, NXDISPLAY_TEXTURE, &lut);
  ASSERT_EQ(NxErrSuccess, NXDisplayVideoFrame(video, &picture.frame, nullptr));
  NXStopDisplayVideoFrame(video);
  hands->Settle();
  EXPECT_EQ(0xFF6000u, hands->Pixel(video, 30, 20));
}

TEST_F(VideoTest, ZoomAndOriginPlaceThePicture) {
  Picture picture(16, 8, 0xFF0000FFu);
  picture.frame.originX = 8;
  picture.frame.originY = 4;
  NXStartDisplayVideoFrame(video, 16, 8, NXDISPLAY_TEXTURE, nullptr);
  ASSERT_EQ(NxErrSuccess, NXDisplayVideoFrame(video, &picture.frame, nullptr));
  hands->Settle();
  // 16 by 8 around (32 + 8, 16 + 4).
  EXPECT_EQ(0x0000FFu, hands->Pixel(video, 33, 17));
  EXPECT_EQ(0x0000FFu, hands->Pixel(video, 47, 23));
  EXPECT_EQ(0u, hands->Pixel(video, 31, 20));
  EXPECT_EQ(0u, hands->Pixel(video, 48, 20));
  EXPECT_EQ(0u, hands->Pixel(video, 40, 15));
  EXPECT_EQ(0u, hands->Pixel(video, 40, 24));
  picture.frame.originX = picture.frame.originY = 0;
  picture.frame.zoomX = picture.frame.zoomY = 0;  // fit
  ASSERT_EQ(NxErrSuccess, NXDisplayVideoFrame(video, &picture.frame, nullptr));
  hands->Settle();
  EXPECT_EQ(0x0000FFu, hands->Pixel(video, 1, 1));
  EXPECT_EQ(0x0000FFu, hands->Pixel(video, 62, 30));
  NXStopDisplayVideoFrame(video);
}

TEST_F(VideoTest, AFrameNeedsARunOnItsThread) {
  Picture picture(64, 32, 0xFFFFFFFFu);
  EXPECT_EQ(NxErrFailure, NXDisplayVideoFrame(video, &picture.frame, nullptr));
  EXPECT_EQ(NxErrFailure, NXStopDisplayVideoFrame(video));
  ASSERT_EQ(NxErrSuccess, NXStartDisplayVideoFrame(video, 64, 32, NXDISPLAY_TEXTURE, nullptr));
  NxErr start{}, show{}, stop{};
  std::thread other([&] {
    start = NXStartDisplayVideoFrame(video, 64, 32, NXDISPLAY_TEXTURE, nullptr);
    show = NXDisplayVideoFrame(video, &picture.frame, nullptr);
    stop = NXStopDisplayVideoFrame(video);
  });
  other.join();
  EXPECT_EQ(NxErrFailure, start);
  EXPECT_EQ(NxErrFailure, show);
  EXPECT_EQ(NxErrFailure, stop);
  // On the same thread a run begins anew.
  EXPECT_EQ(NxErrSuccess, NXStartDisplayVideoFrame(video, 64, 32, NXDISPLAY_TEXTURE, nullptr));
  EXPECT_EQ(NxErrSuccess, NXStopDisplayVideoFrame(video));
  EXPECT_EQ(NxErrFailure, NXStartDisplayVideoFrame(video, 64, 32, 2, nullptr));
}

TEST_F(VideoTest, FramesThatCannotBeAreRefused) {
  Picture picture(64, 32, 0xFFFFFFFFu);
  ASSERT_EQ(NxErrSuccess, NXStartDisplayVideoFrame(video, 64, 32, NXDISPLAY_TEXTURE, nullptr));
  NXVideoFrame bad[7];
  for (NXVideoFrame& frame : bad) frame = picture.frame;
  bad[0].picture = nullptr;
  bad[1].width = 0;
  bad[2].height = -1;
  bad[3].rowBytes = 64 * 4 - 1;
  bad[4].fourcc = FourCC("none");
  bad[5].width = 20000;
  bad[6].rowBytes = -256;
  for (const NXVideoFrame& frame : bad) {
    EXPECT_EQ(NxErrFailure, NXDisplayVideoFrame(video, &frame, nullptr));
  }
  EXPECT_EQ(NxErrFailure, NXDisplayVideoFrame(video, nullptr, nullptr));
  EXPECT_EQ(NxErrSuccess, NXStopDisplayVideoFrame(video));
}

TEST_F(VideoTest, FramesOfAThreadAreShown) {
  std::thread preview([&] {
    NXStartDisplayVideoFrame(video, 64, 32, NXDISPLAY_TEXTURE, nullptr);
    for (uint32_t i = 1; i <= 30; ++i) {
      Picture picture(64, 32, 0xFF000000u | i);
      NXDisplayVideoFrame(video, &picture.frame, nullptr);
    }
    NXStopDisplayVideoFrame(video);
  });
  preview.join();
  hands->Settle();
  EXPECT_EQ(30u, hands->Pixel(video, 30, 20));
}

TEST_F(VideoTest, VisibleIsWhatWasAskedForLast) {
  EXPECT_EQ(1, NXIsVideoWindowVisible(video));
  NXMinimizeGUI();
  hands->Settle();
  root.ShowNXWindow(0, true);
  EXPECT_EQ(1, NXIsVideoWindowVisible(video));
  root.ShowNXWindow(1, true);
  EXPECT_EQ(NxErrSuccess, NXShowVideoWindow(video, 0));
  EXPECT_EQ(0, NXIsVideoWindowVisible(video));
  EXPECT_EQ(0, NXIsVideoWindowVisible(nullptr));
}

TEST_F(VideoTest, ItsMouseGoesToTheParentWithItsOwnNumbers) {
  EXPECT_TRUE(hands->Mouse(video, NXMSG_LBUTTONDOWN, 5, 6));
  EXPECT_TRUE(hands->Mouse(video, NXMSG_MOUSEMOVE, 7, 8));
  EXPECT_TRUE(hands->Mouse(video, NXMSG_LBUTTONUP, 7, 8));
  const std::vector<Received> expected = {{NXMSG_VIDEOBUTTONDOWN, 5, 6, video, nullptr},
                                          {NXMSG_VIDEOMOUSEMOVE, 7, 8, nullptr, nullptr},
                                          {NXMSG_VIDEOBUTTONUP, 7, 8, video, nullptr}};
  EXPECT_EQ(expected, root.Take());
}

TEST_F(VideoTest, ItCapturesTheMouse) {
  EXPECT_EQ(NxErrSuccess, NXVCaptureMouse(video));
  EXPECT_TRUE(hands->Mouse(root, NXMSG_MOUSEMOVE, 41, 53));
  const std::vector<Received> expected = {{NXMSG_VIDEOMOUSEMOVE, 1, 3, nullptr, nullptr}};
  EXPECT_EQ(expected, root.Take());
  EXPECT_EQ(NxErrSuccess, NXVReleaseMouse());
  EXPECT_EQ(NxErrFailure, NXVCaptureMouse(nullptr));
}

TEST_F(VideoTest, AnExposureIsToldToTheParent) {
  EXPECT_TRUE(hands->Expose(video));
  const std::vector<Received> expected = {{NXMSG_VIDEOEXPOSED, 0, 0, video, nullptr}};
  EXPECT_EQ(expected, root.Take());
}

TEST_F(VideoTest, ItGoesWithItsParent) {
  RecordingWindow pane;
  Add(pane);
  const NxRECT rect = {0, 0, 20, 20};
  NXVideoWindowNode* inner = NXCreateVideoWindow(pane.nxNode, "inner", &rect, 0);
  ASSERT_NE(nullptr, inner);
  pane.DestroyNXWindow();
  EXPECT_EQ(NxErrFailure, NXBlackenVideoWindow(inner));
  EXPECT_EQ(NxErrFailure, NXDestroyVideoWindow(inner));
  EXPECT_EQ(NxErrFailure, NXStartDisplayVideoFrame(inner, 1, 1, 0, nullptr));
  EXPECT_EQ(NxErrFailure, NXResizeVideoWindow(inner, &rect));
  EXPECT_EQ(nullptr, NXCreateVideoWindow(nullptr, "none", &rect, 0));
  EXPECT_EQ(nullptr, NXCreateVideoWindow(root.nxNode, "none", nullptr, 0));
}

// As when the thread of a preview had to be abandoned.
TEST_F(VideoTest, ItGoesWithoutARunThatItsThreadNeverEnded) {
  std::atomic<bool> shown{false};
  std::atomic<bool> gone{false};
  std::thread lost([&] {
    Picture picture(64, 32, 0xFF2040E0u);
    NXStartDisplayVideoFrame(video, 64, 32, NXDISPLAY_TEXTURE, nullptr);
    NXDisplayVideoFrame(video, &picture.frame, nullptr);
    shown = true;
    while (!gone) std::this_thread::yield();
    // It comes back after all.
    EXPECT_EQ(NxErrFailure, NXDisplayVideoFrame(video, &picture.frame, nullptr));
    EXPECT_EQ(NxErrFailure, NXStopDisplayVideoFrame(video));
  });
  while (!shown) std::this_thread::yield();
  hands->Settle();
  EXPECT_EQ(0x2040E0u, hands->Pixel(video, 32, 16));
  EXPECT_EQ(NxErrSuccess, NXDestroyVideoWindow(video));
  hands->Settle();
  gone = true;
  lost.join();
  // There can be another.
  const NxRECT rect = {40, 50, 64, 32};
  NXVideoWindowNode* next = NXCreateVideoWindow(root.nxNode, "next", &rect, 3);
  ASSERT_NE(nullptr, next);
  EXPECT_EQ(NxErrSuccess, NXStartDisplayVideoFrame(next, 64, 32, NXDISPLAY_TEXTURE, nullptr));
  EXPECT_EQ(NxErrSuccess, NXStopDisplayVideoFrame(next));
}

TEST_F(VideoTest, ItIsResizedAndDestroyed) {
  const NxRECT rect = {0, 0, 400, 300};
  EXPECT_EQ(NxErrSuccess, NXResizeVideoWindow(video, &rect));
  toolkit::VideoState state;
  ASSERT_TRUE(toolkit::GetVideoState(toolkit::IdOf(video), &state));
  EXPECT_EQ(rect, state.absolute);
  EXPECT_TRUE(state.onScreen);
  EXPECT_EQ(NxErrSuccess, NXRegDropFilesVideoWindow(video));
  EXPECT_EQ(NxErrSuccess, NXUnRegDropFilesVideoWindow(video));
  EXPECT_EQ(NxErrSuccess, NXDestroyVideoWindow(video));
  EXPECT_EQ(NxErrFailure, NXDestroyVideoWindow(video));
}

}  // namespace
}  // namespace morvane::test
