#pragma once

#include <sys/types.h>

#include <array>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace morvane::test {

// A screenshot.
struct Screen {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> rgb;
  [[nodiscard]] std::array<int, 3> At(int x, int y) const;  // from the top left
};

// A screen of its own (Xvfb, with no window manager) and hands for its mouse and keys (xdotool).
class Desktop {
 public:
  Desktop(int width, int height);
  ~Desktop();
  Desktop(const Desktop&) = delete;
  Desktop& operator=(const Desktop&) = delete;

  [[nodiscard]] bool Stands() const { return !display_.empty(); }
  [[nodiscard]] const std::string& Display() const { return display_; }
  // Runs xdotool with these arguments; returns what it prints.
  std::string Do(const std::string& arguments) const;  // NOLINT(modernize-use-nodiscard)
  void Click(int x, int y) const;                      // of the screen, from the top left
  [[nodiscard]] Screen Shoot() const;

 private:
  pid_t server_ = 0;
  std::string display_;
};

// A program on a desktop.
class Program {
 public:
  using Variables = std::map<std::string, std::string>;
  // Standard output goes to `output` below the test's folder.
  Program(const Desktop& desktop, const std::string& path, const Variables& variables = {});
  ~Program();  // kills it
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  void Signal(int number) const;
  [[nodiscard]] bool Runs();
  // Waits for its end. Returns: the exit code, or minus the signal.
  int Wait();
  // What it has printed so far.
  [[nodiscard]] std::string Output() const;
  [[nodiscard]] pid_t Pid() const { return pid_; }

 private:
  pid_t pid_ = 0;
  int status_ = 0;
  std::string output_;
};

// Tries until it holds, at most 20 seconds: a condition that another process brings about.
[[nodiscard]] bool Eventually(const std::function<bool()>& holds);

// morvane-gui.
class MorvaneProgram : public Program {
 public:
  // The dump is written to a file named after `name`.
  MorvaneProgram(const Desktop& desktop, const std::string& name, Variables variables = {});

  // All windows of the screen, as SIGUSR1 writes them; null where the program does not answer.
  nlohmann::json Dump();
  // The control of this member; with two of that name the one that shows.
  nlohmann::json Control(const std::string& member);
  // Until the main window is painted.
  [[nodiscard]] bool Started();
  // The window's number while it is on the screen; else empty.
  [[nodiscard]] std::string Window() const;
  // Where the window stands on the screen: x, y, w, h.
  [[nodiscard]] std::array<int, 4> Place() const;

 private:
  const Desktop& desktop_;
  const std::string dump_;
};

// Whether nobody holds this machine-wide lock, in MORVANE_LOCKS or `folder`.
[[nodiscard]] bool LockIsFree(const std::string& name, const std::string& folder = {});

}  // namespace morvane::test
