// Photographs a part of the screen and judges the numbered pictures on it: torn, blank between two
// of one window, or older than the one before.
//   preview_watch X Y WIDTH HEIGHT SECONDS [CYCLE]
//       prints one line a minute and one at the end. Numbers go round at CYCLE.
//   preview_watch --movie WIDTH HEIGHT FRAMES
//       writes numbered pictures, 8-bit grey, to standard output: for a movie on a card's input.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "frame_code.h"
#include "screen.h"
#include "timing.h"

namespace {

using namespace morvane;

constexpr auto kPeriod = std::chrono::milliseconds(16);
// A switch of tabs hides the window for longer than this.
constexpr double kShortestVisit = 0.8;
constexpr double kMinute = 60;

int WriteMovie(int width, int height, int frames) {
  std::vector<uint8_t> line(static_cast<size_t>(width));
  for (int frame = 0; frame < frames; ++frame) {
    const uint32_t code = frame_code::Code(1, static_cast<uint32_t>(frame));
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        line[static_cast<size_t>(x)] = frame_code::Pixel(code, x, y, width, height);
      }
      if (fwrite(line.data(), 1, line.size(), stdout) != line.size()) return 1;
    }
  }
  return 0;
}

// What was seen so far.
class Judge {
 public:
  explicit Judge(uint32_t cycle) : cycle_(cycle) {}

  void Photograph(const Photo& photo, double now) {
    ++photographs_;
    uint32_t code = 0;
    const auto grey = [&](int x, int y) { return photo.Green(x, y); };
    switch (frame_code::Read(photo.width, photo.height, grey, &code)) {
      case frame_code::Seen::Torn:
        ++torn_;
        break;
      case frame_code::Seen::Nothing:
        if (gapSince_ < 0) gapSince_ = now;
        ++gap_;
        break;
      case frame_code::Seen::Picture:
        Picture(code, now);
        break;
    }
  }
  [[nodiscard]] bool Clean() const { return torn_ + blank_ + backward_ == 0 && pictures_ > 0; }
  void Print(double now) const {
    std::printf(
        "%6.0f s: %ld photographs, %ld pictures, %ld torn, %ld blank, %ld backward, "
        "%ld visits, longest standstill %.0f ms\n",
        now, photographs_, pictures_, torn_, blank_, backward_, visits_, standstill_ * 1000);
    std::fflush(stdout);
  }

 private:
  void Picture(uint32_t code, double now) {
    const uint32_t number = frame_code::Number(code);
    const bool same = frame_code::Tag(code) == frame_code::Tag(last_);
    const bool newVisit = !same || (gap_ > 0 && now - gapSince_ >= kShortestVisit);
    if (newVisit) {
      ++visits_;
    } else {
      blank_ += gap_;
    }
    gap_ = 0;
    gapSince_ = -1;
    if (same && code != last_) {
      const uint32_t ahead = (number + cycle_ - frame_code::Number(last_)) % cycle_;
      if (ahead > cycle_ / 2) ++backward_;
    }
    if (newVisit || code != last_) {
      if (!newVisit) standstill_ = std::max(standstill_, now - changed_);
      ++pictures_;
      changed_ = now;
    }
    last_ = code;
  }

  const uint32_t cycle_;
  uint32_t last_ = 0;
  long photographs_ = 0;
  long pictures_ = 0;  // that differ from the one before
  long torn_ = 0;
  long blank_ = 0;
  long backward_ = 0;
  long visits_ = 0;
  long gap_ = 0;          // photographs without a picture since the last one
  double gapSince_ = -1;  // seconds; below 0 without a gap
  double changed_ = 0;
  double standstill_ = 0;  // longest time that one picture stood within a visit
};

int Watch(int x, int y, int width, int height, double seconds, uint32_t cycle) {
  const Screen screen;
  Photo photo;
  Judge judge(cycle);
  const auto start = Clock::now();
  double minute = kMinute;
  for (auto next = start; Seconds(start) < seconds; next += kPeriod) {
    std::this_thread::sleep_until(next);
    next = std::max(next, Clock::now() - kPeriod);
    const double now = Seconds(start);
    if (!screen.Take(x, y, width, height, &photo)) {
      fprintf(stderr, "preview_watch: no screen, or the place is not on it\n");
      return 2;
    }
    judge.Photograph(photo, now);
    if (now < minute) continue;
    judge.Print(now);
    minute += kMinute;
  }
  judge.Print(Seconds(start));
  return judge.Clean() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 5 && strcmp(argv[1], "--movie") == 0) {
    return WriteMovie(atoi(argv[2]), atoi(argv[3]), atoi(argv[4]));
  }
  if (argc < 6) {
    fprintf(stderr,
            "usage: preview_watch X Y WIDTH HEIGHT SECONDS [CYCLE]\n"
            "       preview_watch --movie WIDTH HEIGHT FRAMES\n");
    return 2;
  }
  const uint32_t cycle = argc > 6 ? static_cast<uint32_t>(atoi(argv[6])) : 1U << 22;
  return Watch(atoi(argv[1]), atoi(argv[2]), atoi(argv[3]), atoi(argv[4]), atof(argv[5]), cycle);
}
