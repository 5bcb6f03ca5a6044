// When a card's time starts again, when it stands, and what its inputs raise.
#include <gtest/gtest.h>

#include <cstring>

#include "processing/convert.h"
#include "simulator/port_client.h"
#include "simulator/simulated_driver.h"

namespace morvane {
namespace {

using test::ElmWithBars;
using test::PortClient;

constexpr uint32_t kOut = 1;
constexpr uint32_t kIn = 1 | kACInput;

class CardTime : public ::testing::Test {
 protected:
  void Build(const MachineDescription& machine) {
    card_.reset();
    driver_ = std::make_unique<SimulatedDriver>(machine);
    card_ = std::make_unique<PortClient>(driver_.get(), BOARDTYPE_OEM2K);
    ASSERT_TRUE(card_->IsOpen());
  }
  void SetUp() override { Build(ElmWithBars()); }

  uint32_t Line() {
    const uint32_t line = card_->Get(18);
    (void)card_->Get(18);  // every value comes twice
    return line;
  }
  uint32_t InterruptCount(uint32_t type) {
    SubscriptionRecord record = {};
    record.header = card_->Header(PropertySubscription, kPropertyGet);
    record.code = kInterruptCountCode;
    record.interruptType = type;
    EXPECT_TRUE(card_->Request(&record, sizeof record));
    return record.count;
  }

  ManualClock clock_;
  std::unique_ptr<SimulatedDriver> driver_;
  std::unique_ptr<PortClient> card_;
};

TEST_F(CardTime, FramesAreCountedAnewWhenTheRateOrTheStandardChangesAlone) {
  const struct {
    const char* name;
    uint32_t value, mask, shift;
    bool restarts;
  } kWrites[] = {
      {"rate 25 to 30", FrameRate3000, 0x7, 0, true},
      {"high bit of the rate", 1, 0x400000, 22, true},
      {"standard 1080 to 1080p", Standard1080p, 0x380, 7, true},
      {"the same rate", FrameRate2500, 0x7, 0, false},
      {"the same standard", Standard1080, 0x380, 7, false},
      {"geometry", Geometry2048x1080, 0x78, 3, false},
      {"level flag", 1, 0x8000, 15, false},
      {"reference", 3, 0x1C00, 10, false},
  };
  for (const auto& write : kWrites) {
    SCOPED_TRACE(write.name);
    Build(ElmWithBars());
    card_->SetFormat(1);  // 25 a second: 40 ms
    clock_.Advance(30000000);
    EXPECT_EQ(Line(), 844u);  // three quarters of 1125 lines
    ASSERT_TRUE(card_->Write(0, write.value, write.mask, write.shift));
    EXPECT_EQ(Line(), write.restarts ? 1u : 844u);
    // Not restarted, the frame ends after 10 ms more.
    const uint32_t before = InterruptCount(InterruptOutput);
    clock_.Advance(10000000);
    EXPECT_EQ(InterruptCount(InterruptOutput) - before, write.restarts ? 0u : 1u);
  }
}

TEST_F(CardTime, WithoutARateThereAreNoBoundaries) {
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  PortClient::Frame frame;
  frame.video.assign(64, 1);
  ASSERT_TRUE(card_->Transfer(&frame));
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  clock_.Advance(10'000'000'000);
  EXPECT_EQ(card_->Status(kOut).state, uint32_t{ACStateStarting});
  EXPECT_EQ(card_->Status(kOut).framesProcessed, 0u);
  EXPECT_EQ(InterruptCount(InterruptOutput), 0u);
  EXPECT_EQ(InterruptCount(InterruptInput1), 0u);
  EXPECT_EQ(Line(), 1u);
  ASSERT_TRUE(card_->Control(ACStop, kOut));
  clock_.Advance(10'000'000'000);
  EXPECT_EQ(card_->Status(kOut).state, uint32_t{ACStateStopping});
  ASSERT_TRUE(card_->Control(ACAbort, kOut));
  EXPECT_EQ(card_->Status(kOut).state, uint32_t{ACStateIdle});

  // A rate that is taken away under a running ring holds it where it is.
  card_->SetFormat(1);
  ASSERT_TRUE(card_->Init(kOut, 0, 28));
  ASSERT_TRUE(card_->Control(ACStart, kOut));
  clock_.Advance(40'000'000);
  EXPECT_EQ(card_->Status(kOut).state, uint32_t{ACStateRunning});
  const uint32_t before = InterruptCount(InterruptOutput);
  card_->Write(0, 0, 0x7);
  clock_.Advance(10'000'000'000);
  EXPECT_EQ(card_->Status(kOut).state, uint32_t{ACStateRunning});
  EXPECT_EQ(InterruptCount(InterruptOutput), before);
}

TEST_F(CardTime, AnInputRaisesItsOwnInterruptAlone) {
  for (const bool second : {false, true}) {
    MachineDescription machine = ElmWithBars();
    machine.cards[0].inputs[0].connector = second ? "input2" : "input1";
    Build(machine);
    card_->SetFormat(1);
    clock_.Advance(400'000'000);
    EXPECT_EQ(InterruptCount(InterruptInput1), second ? 0u : 10u);
    EXPECT_EQ(InterruptCount(InterruptInput2), second ? 10u : 0u);
    EXPECT_EQ(InterruptCount(InterruptOutput), 10u);
  }
}

// Captures one frame in a frame-buffer format.
std::vector<uint8_t> Captured(ManualClock* clock, PortClient* card, uint32_t format, size_t bytes) {
  card->SetFrameBufferFormat(1, format);
  EXPECT_TRUE(card->Init(kIn, 0, 3, false));
  EXPECT_TRUE(card->Control(ACStart, kIn));
  clock->Advance(80'000'000);  // two frames of the slowest rate here
  PortClient::Frame frame;
  frame.channelSpec = kIn;
  frame.video.resize(bytes);
  frame.format = format;
  EXPECT_TRUE(card->Transfer(&frame));
  EXPECT_GE(frame.status.transferFrame, 0);
  EXPECT_TRUE(card->Control(ACAbort, kIn));
  return frame.video;
}

std::vector<uint8_t> WithMatrix(int32_t matrix, const std::vector<uint8_t>& ten, uint32_t width,
                                uint32_t height) {
  std::vector<uint8_t> pixels(size_t{width} * 4 * height);
  ConvertContext context;
  NxColorContext color = {};
  color.matrix = matrix;
  const auto pitch = static_cast<int32_t>(ten.size() / height);
  EXPECT_EQ(ConvertImage(&context, ten.data(), static_cast<int32_t>(width),
                         static_cast<int32_t>(height), FourCC("v219"), pitch, pixels.data(),
                         static_cast<int32_t>(width), static_cast<int32_t>(height), FourCC("bgrA"),
                         static_cast<int32_t>(width) * 4, false, &color, false, nullptr),
            NxErrSuccess);
  return pixels;
}

TEST_F(CardTime, RgbFramesGoByTheMatrixOfTheirLines) {
  const struct {
    uint32_t videoFormat, width, height, tenBytes;
    int32_t matrix, other;
  } kRows[] = {{32, 720, 486, 933120, 1, 3},
               {33, 720, 576, 1105920, 1, 3},
               {4, 1280, 720, 2488320, 3, 1},
               {1, 1920, 1080, 5529600, 3, 1}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.videoFormat);
    Build(ElmWithBars(row.videoFormat));
    card_->SetFormat(row.videoFormat);
    const auto ten = Captured(&clock_, card_.get(), FrameBuffer10BitYCbCr, row.tenBytes);
    const auto rgb =
        Captured(&clock_, card_.get(), FrameBuffer8BitArgb, size_t{row.width} * 4 * row.height);
    const auto wanted = WithMatrix(row.matrix, ten, row.width, row.height);
    const auto unwanted = WithMatrix(row.other, ten, row.width, row.height);
    // The first lines carry the frame's number, which differs between the two captures.
    const size_t from = size_t{16} * row.width * 4;
    const size_t bytes = wanted.size() - from;
    EXPECT_NE(std::memcmp(wanted.data() + from, unwanted.data() + from, bytes), 0);
    EXPECT_EQ(std::memcmp(rgb.data() + from, wanted.data() + from, bytes), 0);
  }
}

}  // namespace
}  // namespace morvane
