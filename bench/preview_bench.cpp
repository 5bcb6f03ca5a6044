// A window with three tabs, two of them with a preview of 960 by 540 at 30 frames a second, each
// drawn by a thread of its own; a third thread changes six texts ten times a second, and the tabs
// are switched every second. Prints processor time and memory of this process. Beside it
// preview_watch judges what is on the screen (0 228 960 540); see docs/latency.md.
//   preview_bench SECONDS [pixels|texture] [FOURCC]

#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "base/fourcc.h"
#include "frame_code.h"
#include "processing/records.h"
#include "timing.h"
#include "toolkit/controls.h"
#include "toolkit/gui.h"
#include "toolkit/qt/qt_toolkit.h"
#include "toolkit/video_sink.h"

namespace {

using namespace morvane;

constexpr int kWidth = 960;
constexpr int kHeight = 540;
constexpr auto kFrame = std::chrono::nanoseconds(1'000'000'000 / 30);
constexpr auto kText = std::chrono::milliseconds(100);
constexpr double kReportSeconds = 60;

std::atomic<bool> stop = false;

double ProcessorSeconds() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double ResidentMegabytes() {
  std::ifstream file("/proc/self/statm");
  double total = 0;
  double resident = 0;
  file >> total >> resident;
  return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1 << 20);
}

// The bytes of one numbered picture.
class Picture {
 public:
  explicit Picture(FourCCCode fourcc) : fourcc_(fourcc), bytes_(kWidth * kHeight * PixelBytes()) {}

  const NXVideoFrame& Number(uint32_t tag, uint32_t number) {
    const uint32_t code = frame_code::Code(tag, number);
    const std::vector<uint8_t> bar = Line(code, 0);
    const std::vector<uint8_t> between = Line(code, kHeight / 4);
    for (int y = 0; y < kHeight; ++y) {
      const auto& line = frame_code::InBar(y, kHeight) ? bar : between;
      memcpy(bytes_.data() + static_cast<size_t>(y) * line.size(), line.data(), line.size());
    }
    frame_.picture = bytes_.data();
    frame_.width = kWidth;
    frame_.height = kHeight;
    frame_.rowBytes = static_cast<int32_t>(kWidth * PixelBytes());
    frame_.fourcc = fourcc_;
    return frame_;
  }

 private:
  [[nodiscard]] std::vector<uint8_t> Line(uint32_t code, int y) const {
    std::vector<uint8_t> line(kWidth * PixelBytes(), 128);
    for (size_t x = 0; x < kWidth; ++x) {
      const uint8_t grey = frame_code::Pixel(code, static_cast<int>(x), y, kWidth, kHeight);
      uint8_t* pixel = line.data() + x * PixelBytes();
      if (PixelBytes() == 4) {
        memset(pixel, grey, 4);
      } else {
        pixel[1] = grey;
      }
    }
    return line;
  }
  [[nodiscard]] size_t PixelBytes() const { return fourcc_ == FourCC("2vuy") ? 2 : 4; }

  const FourCCCode fourcc_;
  std::vector<uint8_t> bytes_;
  NXVideoFrame frame_;
};

void Preview(NXVideoWindowNode* video, uint32_t tag, uint32_t displayType, FourCCCode fourcc) {
  VideoWindowSink sink;
  sink.SetWindow(video);
  sink.SetDisplayType(displayType);
  (void)sink.Begin(kWidth, kHeight);
  Picture picture(fourcc);
  uint32_t number = 0;
  for (auto next = Clock::now(); !stop; next += kFrame) {
    std::this_thread::sleep_until(next);
    ++number;
    if (NXIsVideoWindowVisible(video) != 0) sink.Show(picture.Number(tag, number));
  }
  sink.End();
}

class Tab : public NXWindow {
 public:
  explicit Tab(bool hasVideo) : hasVideo_(hasVideo) {}
  NxErr OnNXCreate() override {
    const NxRECT rect = {0, 0, kWidth, kHeight};
    if (hasVideo_) video = NXCreateVideoWindow(nxNode, "video", &rect, 0);
    return NxErrSuccess;
  }
  void Show(bool show) {
    if (video != nullptr) NXShowVideoWindow(video, show ? 1 : 0);
    ShowNXWindow(show ? 1 : 0, true);
  }

  NXVideoWindowNode* video = nullptr;

 private:
  const bool hasVideo_;
};

class Main : public NXWindow {
 public:
  NxErr OnNXCreate() override {
    const NxRECT rect = {0, 0, kWidth, kHeight};
    for (Tab* tab : tabs) tab->CreateNXWindow("tab", 0, 0, 0, &rect, this);
    for (int i = 0; i < kTexts; ++i) {
      const NxRECT place = {10 + 165 * i, kHeight + 40, 160, 24};
      texts_[static_cast<size_t>(i)].CreateNXWindow("", 0, 1, 0, &place, this);
    }
    return NxErrSuccess;
  }
  void ChangeTexts() {
    for (auto next = Clock::now(); !stop; next += kText) {
      std::this_thread::sleep_until(next);
      ++changes_;
      for (int i = 0; i < kTexts; ++i) {
        const std::string text = std::to_string(changes_ * kTexts + i);
        texts_[static_cast<size_t>(i)].SetWindowNXText(text.c_str(), true);
      }
      NXRePaint();
    }
  }

  Tab first{true};
  Tab second{true};
  Tab third{false};
  const std::array<Tab*, 3> tabs = {&first, &second, &third};

 private:
  static constexpr int kTexts = 6;
  std::array<NXStatic, kTexts> texts_;
  int changes_ = 0;
};

void Run(Main& main, double seconds) {
  const auto start = Clock::now();
  const double processor = ProcessorSeconds();
  double report = std::min(kReportSeconds, seconds);
  int shown = -1;
  while (Seconds(start) < seconds) {
    const int due = static_cast<int>(Seconds(start));
    if (due != shown) {
      if (shown >= 0) main.tabs[static_cast<size_t>(shown % 3)]->Show(false);
      main.tabs[static_cast<size_t>(due % 3)]->Show(true);
      shown = due;
    }
    NXDispatchGUI(true);
    const double now = Seconds(start);
    if (now < report) continue;
    std::printf("%6.0f s: %.1f %% of a core, %.1f MB resident\n", now,
                (ProcessorSeconds() - processor) / now * 100, ResidentMegabytes());
    std::fflush(stdout);
    report += kReportSeconds;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    fprintf(stderr, "usage: preview_bench SECONDS [pixels|texture] [FOURCC]\n");
    return 2;
  }
  const double seconds = atof(argv[1]);
  const bool texture = argc > 2 && strcmp(argv[2], "texture") == 0;
  const uint32_t displayType = texture ? NXDISPLAY_TEXTURE : NXDISPLAY_DRAWPIXELS;
  const FourCCCode fourcc = FourCC(argc > 3 && strcmp(argv[3], "2vuy") == 0 ? "2vuy" : "bgrA");

  QtToolkit toolkit(argc, argv);
  Main main;
  NXInitGUI(0, 0, 1030, 768, nullptr, "Preview", "", nullptr, 0);
  const NxRECT rect = {0, 0, 1030, 768};
  main.CreateNXWindow("main", 0, 1, 0, &rect, nullptr);
  NXStartGUI();
  {
    std::thread first(Preview, main.first.video, 1, displayType, fourcc);
    std::thread second(Preview, main.second.video, 2, displayType, fourcc);
    std::thread texts(&Main::ChangeTexts, &main);
    Run(main, seconds);
    stop = true;
    first.join();
    second.join();
    texts.join();
  }
  NXStopGUI();
  main.DestroyNXWindow();
  NXKillGUI();
  return 0;
}
