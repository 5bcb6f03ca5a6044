#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

#include "simulator/port_client.h"
#include "simulator/simulated_driver.h"

// An Elm with bars at 1080i 59.94 in manual time, 8-bit frames and eight sound channels.
namespace morvane::test {

inline constexpr uint32_t kOut = 1;
inline constexpr uint32_t kIn = 1 | kACInput;
inline constexpr uint32_t kUyvy1080 = 1920 * 1080 * 2;

class AutoCirculateRig : public ::testing::Test {
 protected:
  void Build(const MachineDescription& machine, uint32_t videoFormat = 2) {
    card_.reset();
    driver_ = std::make_unique<SimulatedDriver>(machine);
    card_ = std::make_unique<PortClient>(driver_.get(), BOARDTYPE_OEM2K);
    ASSERT_TRUE(card_->IsOpen());
    card_->SetFormat(videoFormat);
    card_->SetFrameBufferFormat(1, FrameBuffer8BitUyvy);
    card_->Write(24, 1, 0x10000, 16);  // eight channels
  }
  void SetUp() override { Build(ElmWithBars()); }

  bool Send(uint32_t user) {
    PortClient::Frame frame;
    frame.channelSpec = kOut;
    frame.video.assign(64, static_cast<uint8_t>(user));
    frame.user = user;
    frame.rp188 = {0x10000, 0x05060509, 0x01020304};
    return card_->Transfer(&frame) && (last_ = frame.status, true);
  }
  PortClient::Frame Take(uint32_t audioCapacity = 1 << 20) {
    PortClient::Frame frame;
    frame.channelSpec = kIn;
    frame.video.resize(kUyvy1080);
    frame.audio.resize(audioCapacity);
    EXPECT_TRUE(card_->Transfer(&frame));
    return frame;
  }

  ManualClock clock_;
  FrameStepper step_{&clock_, 30000, 1001};
  std::unique_ptr<SimulatedDriver> driver_;
  std::unique_ptr<PortClient> card_;
  RQD5AutoCirculateTransferStatus last_ = {};
};

}  // namespace morvane::test
