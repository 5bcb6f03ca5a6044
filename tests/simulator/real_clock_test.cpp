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

// Takes 300 frames from the card at `rate` times the pace. Returns: how many the card dropped,
// having no room: as many as are missing.
uint32_t TakeThreeHundred(double rate) {
  MachineDescription machine = ElmWithBars();
  machine.rate = rate;
  SimulatedDriver driver(machine);
  PortClient card(&driver, BOARDTYPE_OEM2K);
  card.SetFormat(2);
  card.SetFrameBufferFormat(1, FrameBuffer8BitUyvy);
  EXPECT_TRUE(card.Init(kIn, 0, 30));
  const int64_t start = NxClockNowNs();
  EXPECT_TRUE(card.Control(ACStart, kIn));
  PortClient::Frame frame;
  frame.channelSpec = kIn;
  frame.video.resize(1920 * 1080 * 2);
  uint32_t first = 0, last = 0;
  uint32_t dropped = 0;  // up to the last frame
  for (int i = 0; i < 300;) {
    if (!card.Transfer(&frame)) {
      ADD_FAILURE() << "frame " << i;
      break;
    }
    if (frame.status.transferFrame < 0) {
      NxClockSleepUntilNs(NxClockNowNs() + 1000000);
      continue;
    }
    const uint32_t number = ReadBarsFrameNumber(FourCC("2vuy"), frame.video.data(), 1920);
    if (i == 0) {
      first = number;
    } else {
      EXPECT_GT(number, last) << i;
    }
    last = number;
    dropped = frame.status.framesDropped;
    ++i;
  }
  // 300 frames of 1001 / 30000 s.
  EXPECT_GE(static_cast<double>(NxClockNowNs() - start), 10.01e9 / rate);
  EXPECT_LE(last - first, 299u + dropped);
  return dropped;
}

TEST(RealClock, ThreeHundredFramesTakeTheirTimeAndNoneIsDropped) {
  // At ten times the pace the card has room for a tenth of a second. A machine that stood still
  // longer than that gets more room.
  uint32_t dropped = TakeThreeHundred(10);
  for (const double rate : {3.0, 1.0, 0.3}) {
    if (dropped != 0) dropped = TakeThreeHundred(rate);
  }
  EXPECT_EQ(dropped, 0u);
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
