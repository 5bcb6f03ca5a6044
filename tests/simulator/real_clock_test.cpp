#include <gtest/gtest.h>

#include <dirent.h>

#include <ctime>

#include "base/clock.h"
#include "simulator/input_source.h"
#include "simulator/port_client.h"
#include "simulator/simulated_driver.h"
#include "simulator/test_movie.h"
#include "support/test_environment.h"

// What only a clock that runs by itself can show.
namespace morvane {
namespace {

using test::ElmWithBars;
using test::PortClient;

constexpr uint32_t kIn = 1 | kACInput;

int ThreadCount() {
  int count = 0;
  DIR* tasks = opendir("/proc/self/task");
  while (const dirent* entry = readdir(tasks)) count += entry->d_name[0] != '.' ? 1 : 0;
  closedir(tasks);
  return count;
}

TEST(RealClock, ThreeHundredFramesTakeTheirTimeAndNoneIsDropped) {
  MachineDescription machine = ElmWithBars();
  machine.rate = 10;
  SimulatedDriver driver(machine);
  PortClient card(&driver, BOARDTYPE_OEM2K);
  card.SetFormat(2);
  card.SetFrameBufferFormat(1, FrameBuffer8BitUyvy);
  ASSERT_TRUE(card.Init(kIn, 0, 30));
  const int64_t start = NxClockNowNs();
  ASSERT_TRUE(card.Control(ACStart, kIn));
  PortClient::Frame frame;
  frame.channelSpec = kIn;
  frame.video.resize(1920 * 1080 * 2);
  uint32_t last = 0;
  for (int i = 0; i < 300;) {
    ASSERT_TRUE(card.Transfer(&frame));
    if (frame.status.transferFrame < 0) {
      NxClockSleepUntilNs(NxClockNowNs() + 1000000);
      continue;
    }
    const uint32_t number = ReadBarsFrameNumber(FourCC("2vuy"), frame.video.data(), 1920);
    if (i > 0) {
      ASSERT_EQ(number, last + 1);
    }
    last = number;
    ++i;
  }
  const int64_t elapsed = NxClockNowNs() - start;
  EXPECT_GE(elapsed, 1001000000);  // 300 frames of 1001 / 30000 s at ten times the pace
  EXPECT_LT(elapsed, 10010000000);
  EXPECT_EQ(card.Status(kIn).framesDropped, 0u);
}

TEST(RealClock, AnIdleCardTakesNoProcessorTime) {
  SimulatedDriver driver(ElmWithBars());
  PortClient card(&driver, BOARDTYPE_OEM2K);
  card.SetFormat(2);
  ASSERT_TRUE(card.Init(kIn, 0, 30));
  EXPECT_EQ(card.Get(22), 0x00000044u);
  timespec before, after;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &before);
  NxClockSleepUntilNs(NxClockNowNs() + 300'000'000);
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &after);
  const double usedMs = static_cast<double>(after.tv_sec - before.tv_sec) * 1e3 +
                        static_cast<double>(after.tv_nsec - before.tv_nsec) * 1e-6;
  EXPECT_LE(usedMs, 30.0);
}

TEST(RealClock, AnIdleMachineHasNoThreads) {
  const std::string folder = test::FreshFolder("idle");
  const std::string movie = test::MakeMovie(folder, "a.mov", {720, 576, "25", 3, "uyvy"});
  ASSERT_FALSE(movie.empty());
  MachineDescription machine;
  std::string error;
  ASSERT_TRUE(ParseMachineDescription(
      "[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"clip\"\nclip = \"" + movie +
          "\"\n[card.output1]\nlog = \"out.csv\"\nrecord = \"out.mkv\"\n",
      "test.toml", folder, &machine, &error))
      << error;
  const int before = ThreadCount();
  SimulatedDriver driver(machine);
  PortClient card(&driver, BOARDTYPE_OEM2K);
  card.SetFormat(33);
  EXPECT_NE(card.Get(22), 0u);
  EXPECT_EQ(ThreadCount(), before);
}

}  // namespace
}  // namespace morvane
