// The frame ring against the real clock: this takes ten seconds.
#include <gtest/gtest.h>

#include <vector>

#include "base/clock.h"
#include "device/card.h"
#include "simulator/machine_description.h"
#include "simulator/simulated_driver.h"

namespace morvane {
namespace {

// Real time: 300 frames at 29.97 take 10.01 seconds and none is dropped.
TEST(SimulatedRealTime, ARealClockPlaysThreeHundredFramesWithoutADrop) {
  SimulatedDriver driver(BuiltInMachine());
  InstallDriverPort(&driver);
  CRQD5Card card;
  ASSERT_TRUE(card.Open(0, false, 8, nullptr));
  ASSERT_TRUE(card.SetVideoFormat(2));
  const bool flags[8] = {};
  ASSERT_TRUE(card.InitAutoCirculate(1, 0, 28, flags, false));
  std::vector<uint8_t> picture(1920 * 1080 * 2);
  RQD5AutoCirculateTransfer transfer;
  transfer.channelSpec = 1;
  transfer.videoBuffer = picture.data();
  transfer.videoSize = static_cast<uint32_t>(picture.size());
  transfer.frameRequest = -1;
  RQD5AutoCirculateTransferStatus sent{};
  RQD5AutoCirculateStatus status{};
  for (int i = 0; i < 10; ++i) ASSERT_TRUE(card.TransferAutoCirculate(&transfer, &sent));
  const int64_t start = NxClockNowNs();
  ASSERT_TRUE(card.StartAutoCirculate(1));
  uint64_t firstBoundary = 0;
  uint32_t firstProcessed = 0;
  for (;;) {
    ASSERT_TRUE(card.GetAutoCirculate(1, &status));
    if (firstProcessed == 0 && status.framesProcessed > 0) {
      firstProcessed = status.framesProcessed;
      firstBoundary = status.boundaryTime;
    }
    if (firstProcessed != 0 && status.framesProcessed >= firstProcessed + 300) break;
    if (status.bufferLevel < 20) {
      ASSERT_TRUE(card.TransferAutoCirculate(&transfer, &sent));
    } else {
      card.SleepMs(1);
    }
  }
  // The card keeps the time of the wall: 10.01 s, less what of a frame had passed at the start.
  const double seconds = static_cast<double>(NxClockNowNs() - start) * 1e-9;
  EXPECT_GE(seconds, 10.01 - 0.034);
  EXPECT_LT(seconds, 12.0);
  EXPECT_EQ(status.framesDropped, 0u);
  // Frames of 1001/30000 s in units of 100 ns, each boundary within one unit.
  const double frames = status.framesProcessed - firstProcessed;
  EXPECT_NEAR(static_cast<double>(status.boundaryTime - firstBoundary), frames * 1001e7 / 30000.0,
              2.0);
  EXPECT_TRUE(card.StopAutoCirculate(1));
  card.Close();
  InstallDriverPort(nullptr);
}

}  // namespace
}  // namespace morvane
