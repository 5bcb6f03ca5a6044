#include "capture/logo.h"

#include <gtest/gtest.h>

#include <fstream>
#include <vector>

#include "base/byte_order.h"
#include "support/test_environment.h"
#include "toolkit/gui.h"
#include "toolkit/headless/headless_toolkit.h"

namespace morvane::test {
namespace {

// A bitmap of 32 bits as other programs write it: bottom line first, 54 bytes of header.
std::string WriteBitmap(int32_t width, int32_t height, uint32_t lowest, uint32_t others) {
  constexpr uint32_t kHeaderBytes = 54;
  std::vector<uint8_t> bytes(kHeaderBytes + static_cast<size_t>(width * height) * 4);
  bytes[0] = 'B';
  bytes[1] = 'M';
  StoreLe32(&bytes[2], static_cast<uint32_t>(bytes.size()));
  StoreLe32(&bytes[10], kHeaderBytes);
  StoreLe32(&bytes[14], 40);
  StoreLe32(&bytes[18], static_cast<uint32_t>(width));
  StoreLe32(&bytes[22], static_cast<uint32_t>(height));
  bytes[26] = 1;
  bytes[28] = 32;
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      StoreLe32(&bytes[kHeaderBytes + static_cast<size_t>(y * width + x) * 4],
                y == 0 ? lowest : others);
    }
  }
  const std::string path = FreshFolder("logo") + "/vyr.bmp";
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  return path;
}

class LogoTest : public ::testing::Test {
 protected:
  void SetUp() override {
    NXInitGUI(0, 0, 100, 100, nullptr, "T", "i", nullptr, 0);
    const NxRECT rect = {0, 0, 100, 100};
    root.CreateNXWindow("root", 0, 1, 0, &rect, nullptr);
    video = NXCreateVideoWindow(root.nxNode, "video", &rect, 3);
  }
  void TearDown() override { NXKillGUI(); }
  HeadlessToolkit toolkit;
  NXWindow root;
  NXVideoWindowNode* video = nullptr;
};

TEST_F(LogoTest, IsDrawnUpright) {
  Logo logo;
  ASSERT_TRUE(logo.Load(WriteBitmap(16, 8, 0xFFE01020, 0xFF2080C0)));
  EXPECT_TRUE(logo.IsLoaded());
  logo.Draw(video);
  const HeadlessToolkit::Video look = toolkit.Look(video);
  EXPECT_EQ(1, look.frames);
  EXPECT_FALSE(look.running);
  EXPECT_EQ(16, look.last.width);
  EXPECT_EQ(8, look.last.height);
  EXPECT_EQ(0xFF2080C0, LoadLe32(look.last.pixels.data()));
  EXPECT_EQ(0xFFE01020, LoadLe32(look.last.pixels.data() + 7 * look.last.rowBytes));
}

TEST_F(LogoTest, TheOneThatIsInstalledCanBeRead) {
  Logo logo;
  ASSERT_TRUE(logo.Load(DataPath("../data/icons/vyr.bmp")));
  logo.Draw(video);
  const HeadlessToolkit::Video look = toolkit.Look(video);
  EXPECT_EQ(256, look.last.width);
  EXPECT_EQ(144, look.last.height);
  // Darker at the bottom, and letters on it.
  EXPECT_GT(look.last.pixels[0], look.last.pixels[143 * look.last.rowBytes]);
  EXPECT_LT(look.last.pixels[0], look.last.pixels[50 * look.last.rowBytes + 55 * 4]);
}

TEST_F(LogoTest, WithoutAFileNothingIsDrawn) {
  Logo logo;
  EXPECT_FALSE(logo.Load(FreshFolder("logo") + "/vyr.bmp"));
  logo.Draw(video);
  EXPECT_EQ(0, toolkit.Look(video).frames);
}

TEST_F(LogoTest, AFileThatIsNoBitmapIsNoLogo) {
  const std::string path = FreshFolder("logo") + "/vyr.bmp";
  std::ofstream(path) << "not a bitmap";
  Logo logo;
  EXPECT_FALSE(logo.Load(path));
  EXPECT_FALSE(logo.IsLoaded());
}

}  // namespace
}  // namespace morvane::test
