// From the start of morvane-gui to its first paint on the screen, without a card and with the
// built-in one: wall time, and processor time of the program by then. Prints Markdown.
//   xvfb-run -s "-screen 0 1280x1024x24" first_paint [ROUNDS]
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "screen.h"
#include "timing.h"

namespace {

using namespace morvane;

constexpr double kPatience = 20;  // seconds
// A place in the bar behind the tabs of a window in the middle of 1280 by 1024: painted with
// the rest of the window.
constexpr int kBar[2] = {625, 240};
constexpr int kBarBlue = 80;

struct Start {
  double wall = 0;       // milliseconds
  double processor = 0;  // the same
};

bool Painted(const Screen& screen) {
  Photo photo;
  if (!screen.Take(kBar[0], kBar[1], 1, 1, &photo)) {
    fprintf(stderr, "first_paint: no screen of 1280 by 1024 and 24 bits\n");
    exit(1);
  }
  return photo.pixels[0] > kBarBlue;
}

void Await(const Screen& screen, bool painted, pid_t pid) {
  for (const auto start = Clock::now(); Painted(screen) != painted;) {
    if (Seconds(start) > kPatience || (painted && waitpid(pid, nullptr, WNOHANG) == pid)) {
      fprintf(stderr, "first_paint: the window does not %s\n", painted ? "appear" : "go");
      exit(1);
    }
    std::this_thread::sleep_for(std::chrono::microseconds(500));
  }
}

double ProcessorMs(pid_t pid) {
  clockid_t clock = 0;
  timespec time = {};
  if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &time) != 0) return 0;
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6;
}

Start Run(const Screen& screen, const std::string& machine) {
  const auto start = Clock::now();
  const pid_t pid = fork();
  if (pid == 0) {
    setenv("QT_QPA_PLATFORM", "xcb", 1);
    if (machine.empty()) {
      unsetenv("MORVANE_MACHINE");
    } else {
      setenv("MORVANE_MACHINE", machine.c_str(), 1);
    }
    execl(MORVANE_GUI, MORVANE_GUI, nullptr);
    _exit(127);
  }
  Await(screen, true, pid);
  const Start result = {Seconds(start) * 1e3, ProcessorMs(pid)};
  kill(pid, SIGTERM);
  waitpid(pid, nullptr, 0);
  Await(screen, false, 0);
  return result;
}

void Report(const Screen& screen, const char* name, const std::string& machine, int rounds) {
  std::vector<double> wall;
  std::vector<double> processor;
  for (int round = 0; round < rounds; ++round) {
    const Start start = Run(screen, machine);
    wall.push_back(start.wall);
    processor.push_back(start.processor);
  }
  std::printf("| %s | %.0f | %.0f | %.0f | %.0f |\n", name, Percentile(wall, 0), Median(wall),
              Percentile(wall, 1), Median(processor));
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? atoi(argv[1]) : 10;
  char folder[] = "/tmp/first_paintXXXXXX";
  if (rounds < 1 || mkdtemp(folder) == nullptr) return 2;
  const std::string none = std::string(folder) + "/none.toml";
  std::ofstream(none) << "card = []\n";
  for (const char* name :
       {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR", "MORVANE_LOCKS"}) {
    setenv(name, folder, 1);
  }
  const Screen screen;
  (void)Run(screen, none);  // what the system keeps in memory is there now
  std::printf("| machine | wall, least ms | median | most | processor, median ms |\n");
  std::printf("|---|---|---|---|---|\n");
  Report(screen, "no card", none, rounds);
  Report(screen, "one card", "", rounds);
  return 0;
}
