#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "base/byte_order.h"
#include "session/session_fixture.h"

namespace morvane {
namespace {

using test::OpenedBoard;

SessionPicture Picture(const std::vector<uint8_t>& bytes, uint32_t format, bool topDown = true) {
  SessionPicture picture;
  picture.data = bytes.data();
  picture.bytes = static_cast<uint32_t>(bytes.size());
  picture.frameBufferFormat = format;
  picture.topDown = topDown;
  return picture;
}

TEST(DmaFrame, TellsItsFailures) {
  OpenedBoard elm(BoardElm);
  std::vector<uint8_t> bytes(64, 0x5A);
  EXPECT_FALSE(elm.session.DmaReadFrame(0, nullptr, 64));
  EXPECT_EQ(elm.session.GetLastError(), "Frame Buffer is NULL");
  EXPECT_TRUE(elm.session.DmaWriteFrame(3, bytes.data(), 64));
  std::vector<uint8_t> back(64);
  EXPECT_TRUE(elm.session.DmaReadFrame(3, back.data(), 64));
  EXPECT_EQ(back, bytes);
  elm.port.refuseDma = true;
  EXPECT_FALSE(elm.session.DmaWriteFrame(3, bytes.data(), 64));
  EXPECT_EQ(elm.session.GetLastError(), "DMA Write Frame Failed");
  EXPECT_FALSE(elm.session.DmaReadFrame(3, back.data(), 64));
  EXPECT_EQ(elm.session.GetLastError(), "DMA Read Frame Failed");
}

TEST(LiveInput, TurnsTheChannelRound) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.session.SetLiveInput(true));
  EXPECT_EQ(elm.port.TakeWrites(), "1 1 1\n4 ffffffff 0\n3 ffffffff 0\n");
  ASSERT_TRUE(elm.session.SetLiveInput(false));
  EXPECT_EQ(elm.port.TakeWrites(), "1 1 0\n");
}

TEST(IdleOutput, BlackIsABlackPicture) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("720x576 @ 25.00i"));
  elm.port.registers[1] |= 1;
  ASSERT_TRUE(elm.session.SetIdleOutput(IdleOutput::Black));
  EXPECT_EQ(elm.port.Bits(1, 1), 0u);
  const uint32_t shown = elm.port.registers[2];
  const auto& frame = elm.port.frames[shown];
  ASSERT_EQ(frame.size(), 720u * 576 * 2);
  for (size_t i = 0; i < frame.size(); i += 2) {
    ASSERT_EQ(frame[i], 0x80);
    ASSERT_EQ(frame[i + 1], 0x10);
  }
}

TEST(IdleOutput, EToEIsTheLiveInput) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.session.SetIdleOutput(IdleOutput::EToE));
  EXPECT_EQ(elm.port.Bits(1, 1), 1u);
}

TEST(ShowStill, NeverWritesTheFrameThatIsShown) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("720x576 @ 25.00i"));
  const std::vector<uint8_t> one(720 * 576 * 2, 0x11);
  const std::vector<uint8_t> two(720 * 576 * 2, 0x22);
  for (const auto* bytes : {&one, &two, &one}) {
    const uint32_t before = elm.port.registers[2];
    elm.port.transfers.clear();
    ASSERT_TRUE(elm.session.ShowStill(Picture(*bytes, FrameBuffer8BitUyvy)));
    ASSERT_EQ(elm.port.transfers.size(), 1u);
    EXPECT_NE(elm.port.transfers[0].frame, before);
    EXPECT_EQ(elm.port.registers[2], elm.port.transfers[0].frame);
    EXPECT_EQ(elm.port.frames[elm.port.registers[2]], *bytes);
  }
}

TEST(ShowStill, FlipsWhatTheCardCanFlip) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("720x576 @ 25.00i"));
  const std::vector<uint8_t> bytes(720 * 576 * 4, 0x33);
  ASSERT_TRUE(elm.session.ShowStill(Picture(bytes, FrameBuffer8BitArgb, false)));
  EXPECT_EQ(elm.port.Bits(1, 0x1000), 1u);
  EXPECT_EQ(elm.port.Bits(1, 0x1E), 2u);
  ASSERT_TRUE(elm.session.ShowStill(Picture(bytes, FrameBuffer8BitArgb, true)));
  EXPECT_EQ(elm.port.Bits(1, 0x1000), 0u);
  elm.port.TakeWrites();
  EXPECT_FALSE(elm.session.ShowStill(Picture(bytes, FrameBuffer8BitUyvy, false)));
  EXPECT_EQ(elm.port.TakeWrites(), "");
}

TEST(ShowStill, RefusesWhatTheCardCannotTake) {
  OpenedBoard ebony(BoardEbony);
  const std::vector<uint8_t> bytes(64);
  EXPECT_FALSE(ebony.session.ShowStill(Picture(bytes, FrameBuffer48BitRgb)));
  EXPECT_FALSE(ebony.session.ShowStill({}));
  EXPECT_EQ(ebony.session.GetLastError(), "Frame Buffer is NULL");
  EXPECT_EQ(ebony.port.TakeWrites(), "");
}

TEST(ReadInputFrame, ConvertsToBgra) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("720x576 @ 25.00i"));
  ASSERT_TRUE(elm.session.SetChannelFormat(FrameBuffer8BitUyvy));
  std::vector<uint8_t> out(720 * 576 * 4);
  EXPECT_FALSE(elm.session.ReadInputFrame(out.data(), out.size()));  // no live input
  ASSERT_TRUE(elm.session.SetLiveInput(true));
  auto& frame = elm.port.frames[0];
  frame.resize(720 * 576 * 2);
  for (size_t i = 0; i < frame.size(); i += 4) {  // 75 % red
    frame[i] = 100;
    frame[i + 1] = 65;
    frame[i + 2] = 212;
    frame[i + 3] = 65;
  }
  ASSERT_TRUE(elm.session.ReadInputFrame(out.data(), out.size()));
  EXPECT_NEAR(out[0], 0, 2);
  EXPECT_NEAR(out[1], 0, 2);
  EXPECT_NEAR(out[2], 191, 2);
  EXPECT_FALSE(elm.session.ReadInputFrame(out.data(), out.size() - 1));
}

TEST(ReadInputFrame, BgraComesAsItIs) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("720x576 @ 25.00i"));
  ASSERT_TRUE(elm.session.SetChannelFormat(FrameBuffer8BitArgb));
  ASSERT_TRUE(elm.session.SetLiveInput(true));
  auto& frame = elm.port.frames[0];
  frame.resize(720 * 576 * 4);
  for (size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<uint8_t>(i * 31);
  std::vector<uint8_t> out(frame.size());
  ASSERT_TRUE(elm.session.ReadInputFrame(out.data(), out.size()));
  EXPECT_EQ(out, frame);
}

TEST(Mixer, NeedsAKeyer) {
  OpenedBoard ebony(BoardEbony);
  EXPECT_FALSE(ebony.session.SetMixer({}, 0.5f, true));
  EXPECT_EQ(ebony.port.TakeWrites(), "");
}

TEST(Mixer, LoadsThePictureAndItsShare) {
  OpenedBoard elm(BoardElm);
  const std::vector<uint8_t> bytes(1920 * 1080 * 4, 0x44);
  ASSERT_TRUE(elm.session.SetMixer(Picture(bytes, FrameBuffer8BitAbgr), 0.25f, true));
  EXPECT_EQ(elm.port.registers[6], 30u);
  EXPECT_EQ(elm.port.frames[30], bytes);
  EXPECT_EQ(elm.port.registers[10], 16384u);
  EXPECT_EQ(elm.port.registers[11], 49152u);
  EXPECT_EQ(elm.session.GetMixerLevel(), 0.25f);
  ASSERT_TRUE(elm.session.SetMixer({}, 2.0f, false));
  EXPECT_EQ(elm.port.registers[10], 0u);
  EXPECT_EQ(elm.port.registers[11], 65536u);
  EXPECT_EQ(elm.session.GetMixerLevel(), 1.0f);
  EXPECT_FALSE(elm.session.GetMixerEnable());
}

TEST(ColourTable, IsLoadedSwitchedOnAndOff) {
  OpenedBoard elm(BoardElm);
  std::vector<uint8_t> table(kColourTableBytes);
  for (size_t i = 0; i < table.size(); ++i) table[i] = static_cast<uint8_t>(i * 13 + 1);
  ASSERT_TRUE(elm.session.LoadColourTable(table.data(), true));
  for (uint32_t word = 0; word < 1536; ++word) {
    ASSERT_EQ(elm.port.registers[512 + word], LoadLe32(table.data() + word * 4)) << word;
  }
  EXPECT_EQ(elm.port.registers[2048], 2u);
  ASSERT_TRUE(elm.session.LoadColourTable(table.data(), false));
  EXPECT_EQ(elm.port.registers[2048], 0u);
  elm.port.refuseWrites = {2048};
  EXPECT_FALSE(elm.session.LoadColourTable(table.data(), false));
  EXPECT_EQ(elm.session.GetLastError(), "Could Not Turn Off CC Mode");
}

TEST(ColourTable, WithoutATableIsTheIdentity) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.session.LoadColourTable(nullptr, true));
  EXPECT_EQ(elm.port.registers[512], (1u << 16 | 0u) << 6);
  EXPECT_EQ(elm.port.registers[512 + 511], (1023u << 16 | 1022u) << 6);
  EXPECT_EQ(elm.port.registers[512 + 512], (1u << 16 | 0u) << 6);
  EXPECT_EQ(elm.port.registers[512 + 1535], (1023u << 16 | 1022u) << 6);
}

TEST(ColourTable, OtherBoardsRefuse) {
  OpenedBoard ebony(BoardEbony);
  EXPECT_FALSE(ebony.session.HasColourTable());
  EXPECT_FALSE(ebony.session.LoadColourTable(nullptr, true));
  EXPECT_EQ(ebony.port.TakeWrites(), "");
}

TEST(TestPattern, BeyondTheListIsNotFound) {
  OpenedBoard elm(BoardElm);
  EXPECT_FALSE(elm.session.SetTestPattern(13));
  EXPECT_EQ(elm.session.GetLastError(), "Test Pattern Not Found");
  EXPECT_EQ(elm.port.TakeWrites(), "");
}

TEST(TestPattern, IsDrawnInTheChannelsLayoutAndShown) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("720x576 @ 25.00i"));
  ASSERT_TRUE(elm.session.SetChannelFormat(FrameBuffer8BitUyvy));
  ASSERT_TRUE(elm.session.SetTestPattern(8));  // black
  const auto& frame = elm.port.frames[elm.port.registers[2]];
  ASSERT_EQ(frame.size(), 720u * 576 * 2);
  EXPECT_EQ(frame[0], 0x80);
  EXPECT_EQ(frame[1], 0x10);
  ASSERT_TRUE(elm.session.SetTestPattern(0));
  const auto& bars = elm.port.frames[elm.port.registers[2]];
  EXPECT_EQ(bars.size(), 720u * 576 * 2);
  EXPECT_GT(bars[1], 200);  // white first
}

TEST(TestPattern, IsShownInTheFrameThatPatternsHave) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("720x576 @ 25.00i"));
  ASSERT_TRUE(elm.session.SetChannelFormat(FrameBuffer8BitUyvy));
  elm.port.registers[1] |= 0x1000;  // bottom line first, from a picture before
  ASSERT_TRUE(elm.session.SetTestPattern(1));
  EXPECT_EQ(elm.port.registers[2], 3u);
  EXPECT_EQ(elm.port.registers[1] & 0x1000, 0u);
  EXPECT_EQ(elm.port.frames[3].size(), 720u * 576 * 2);
}

TEST(TestPattern, WithoutADrawingIsRefusedInWords) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("720x576 @ 25.00i"));
  elm.port.registers[1] = (elm.port.registers[1] & ~0x1Eu) | FrameBuffer8BitDvcPro << 1;
  (void)elm.port.TakeWrites();
  EXPECT_FALSE(elm.session.SetTestPattern(1));
  EXPECT_EQ(elm.session.GetLastError(),
            "DVCPro, HDV, and QRez framebuffer formats not supported in 525 and 625.");
  EXPECT_EQ(elm.port.TakeWrites(), "");
}

TEST(TestPattern, OfASetupGoesToTheFrameAskedFor) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("720x576 @ 25.00i"));
  ASSERT_TRUE(elm.session.SetupForOutput(true, 5));
  EXPECT_EQ(elm.port.registers[2], 5u);
  EXPECT_FALSE(elm.port.frames[5].empty());
}

}  // namespace
}  // namespace morvane
