#pragma once

#include <QObject>
#include <array>
#include <string>

namespace morvane {

// SIGTERM and SIGINT ask to close, as the window's close button does (refused while a job runs);
// SIGUSR1 writes what is on the screen as JSON to `dumpPath`, where that is not empty.
// Threads: main, with a QtToolkit. At most one at a time.
class DesktopSignals final : public QObject {
 public:
  explicit DesktopSignals(std::string dumpPath);
  ~DesktopSignals() override;  // the signals do again what they did before

 private:
  void Handle();

  const std::string dumpPath_;
  std::array<int, 2> pipe_ = {-1, -1};  // from the signal's handler to the loop
};

// Writes all windows, each before its children: member, name, class, text, rectangle in the
// top-level window (from its bottom left), shown and enabled (both with its parents), checked; of
// lists selection and items, of numbers and sliders the value. Then the video windows, with what
// paints them: "window", or "memory" that a plain widget shows. And whether the program is the
// active one. Whoever reads the file finds it whole.
// Returns: false when it cannot be written. Threads: main.
bool WriteUiDump(const std::string& path);

}  // namespace morvane
