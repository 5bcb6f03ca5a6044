// What a look at the tape machine costs: each question, and a monitor's round of timecode, status
// and speed, which must fit into a frame so that no frame of a running tape is missed. Runs in
// real time on a simulated card. Prints Markdown.  Usage: deck_bench [ROUNDS]

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "session/control.h"
#include "simulator/simulated_machine.h"

namespace {

using namespace morvane;
using Clock = std::chrono::steady_clock;

constexpr double kFrameMs = 1001.0 / 30;
constexpr int kRoundsBetweenStatus = 31;  // as a monitor does while a job runs

[[noreturn]] void Die(const char* what) {
  std::fprintf(stderr, "deck_bench: %s failed\n", what);
  std::exit(1);
}
void Check(const char* what, bool good) {
  if (!good) Die(what);
}

template <typename Work>
void PrintStep(const char* name, int rounds, Work&& work) {
  std::vector<double> ms;
  int within = 0;
  for (int i = 0; i < rounds; ++i) {
    const auto from = Clock::now();
    work();
    ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - from).count());
    within += ms.back() < kFrameMs ? 1 : 0;
  }
  std::sort(ms.begin(), ms.end());
  const auto at = [&](double share) {
    return ms[static_cast<size_t>(share * static_cast<double>(ms.size() - 1))];
  };
  std::printf("| %s | %.2f | %.2f | %.2f | %.1f %% |\n", name, at(0.5), at(0.95), ms.back(),
              100.0 * within / rounds);
}

// Follows a playing tape frame by frame, with a status now and then.
void CountMissedFrames(CRQD5Control& control, int frames) {
  Check("play", control.Play());
  std::string last, text;
  // Until the tape runs.
  Check("timecode", control.GetTimecode(&last));
  do {
    Check("timecode", control.GetTimecode(&text));
  } while (text == last);
  last = text;
  int missed = 0, round = 0;
  for (int seen = 0; seen < frames;) {
    if (++round % kRoundsBetweenStatus == 0) Check("status", control.GetStatusText(&text));
    Check("timecode", control.GetTimecode(&text));
    if (text == last) continue;
    for (++seen; (last = NextVtrTime(last, control.GetTimeBase())) != text; ++seen) {
      ++missed;
      if (missed > frames) Die("following the tape");
    }
  }
  std::printf("\n%d of %d frames of a playing tape were not read\n", missed, frames);
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 300;
  Check("ROUNDS", rounds > 0);
  MachineDescription description = BuiltInMachine();
  description.cards[0].rs422 = true;
  // A tape of its own: the user's stays where it stands.
  char folder[] = "/tmp/deck_bench.XXXXXX";
  Check("a folder for the tape", mkdtemp(folder) != nullptr);
  description.cards[0].deck.tape = std::string(folder) + "/tape";
  SimulatedMachine machine(description);
  machine.Install();
  CRQD5Control control;
  Check("open", control.Open(0, false, BOARDTYPE_OEM2K, nullptr));
  Check("shuttle", control.Shuttle(0.25));
  std::string text;
  std::printf(
      "| Question | median ms | 95 of 100 below, ms | longest ms | under %.2f ms |\n"
      "|---|---|---|---|---|\n",
      kFrameMs);
  PrintStep("timecode", rounds, [&] { Check("timecode", control.GetTimecode(&text)); });
  PrintStep("status record", rounds, [&] {
    RQD5VtrStatus status;
    Check("status", control.GetStatus(&status));
  });
  PrintStep("speed exchange", rounds, [&] {
    const uint8_t speed[] = {2, 0x60, 0x2E};
    Check("speed", control.SendCommand(speed, true) && control.Reply().size() == 4);
  });
  PrintStep("round: timecode, status and speed of a shuttling tape", rounds, [&] {
    Check("timecode", control.GetTimecode(&text));
    Check("status text", control.GetStatusText(&text) && text == "Play 1/4x");
  });
  PrintStep("timecode, status text and GetSpeed(), five exchanges", rounds, [&] {
    Check("timecode", control.GetTimecode(&text));
    Check("status text", control.GetStatusText(&text));
    Check("speed", control.GetSpeed() == 0.25);
  });
  CountMissedFrames(control, rounds);
  Check("stop", control.Stop());
  control.Close();
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
  return 0;
}
