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
  // Runs a shell's command on this screen; returns what it prints.
  std::string Tell(const std::string& command) const;  // NOLINT(modernize-use-nodiscard)
  void Click(int x, int y) const;                      // of the screen, from the top left
  [[nodiscard]] Screen Shoot() const;

 private:
  pid_t server_ = 0;
  std::string display_;
};

// A program on a desktop. Nothing of the environment that changes how Qt looks reaches it.
class Program {
 public:
  using Variables = std::map<std::string, std::string>;
  Program(const Desktop& desktop, const std::string& path, const Variables& variables = {},
          const std::string& argument = {});
  // Kills it. The test fails if it has said anything on standard error.
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  void Signal(int number) const;
  [[nodiscard]] bool Runs();
  // Waits for its end. Returns: the exit code, or minus the signal.
  int Wait();
  // What it has printed so far, and what it has said on standard error.
  [[nodiscard]] std::string Output() const;
  [[nodiscard]] std::string Errors() const;
  [[nodiscard]] pid_t Pid() const { return pid_; }

  // Its top-level windows on the screen, by number.
  [[nodiscard]] std::vector<std::string> Windows() const;
  // The first of them; empty without one.
  [[nodiscard]] std::string Window() const;
  // Whether the keys go to that one.
  [[nodiscard]] bool HasKeyboard() const;

 protected:
  const Desktop& desktop_;

 private:
  pid_t pid_ = 0;
  int status_ = 0;
  std::string output_;
  std::string errors_;
};

// Tries until it holds, at most a minute: a condition that another process brings about.
[[nodiscard]] bool Eventually(const std::function<bool()>& holds);

// morvane-gui.
class MorvaneProgram : public Program {
 public:
  // The dump is written to a file named after `name`.
  MorvaneProgram(const Desktop& desktop, const std::string& name, Variables variables = {},
                 const std::string& path = MORVANE_GUI);

  // All windows of the screen, as SIGUSR1 writes them; null where the program does not answer.
  nlohmann::json Dump();
  // The control of this member; with two of that name the one that shows.
  nlohmann::json Control(const std::string& member);
  // The control that has the focus; null without one.
  nlohmann::json Focused();
  // Until the main window is painted and the program has had the keyboard.
  [[nodiscard]] bool Started();
  // Until it has handled the mouse and the keys so far: one more key moves the focus on.
  [[nodiscard]] bool Handled();
  // Presses the mouse on the middle of a control.
  void ClickOn(const std::string& member);
  // Where the window stands on the screen: x, y, w, h; all 0 without one.
  [[nodiscard]] std::array<int, 4> Place() const;
  // A property of its window, as xprop prints it.
  [[nodiscard]] std::string Property(const std::string& property) const;
  // Whether this program holds the machine-wide lock. Asking disturbs nobody.
  [[nodiscard]] bool Holds(const std::string& lock) const;
  // What there is to know when a test has failed.
  std::string Describe();

 private:
  const std::string dump_;
};

// Whether nobody holds this machine-wide lock. Asking takes it for a moment, so only while no
// program may want it: one that does would find it taken, and gives up.
[[nodiscard]] bool LockIsFree(const std::string& name);

// A lock as another program holds it.
class OutsideLock {
 public:
  explicit OutsideLock(const std::string& name);
  ~OutsideLock();
  OutsideLock(const OutsideLock&) = delete;
  OutsideLock& operator=(const OutsideLock&) = delete;
  [[nodiscard]] bool Taken() const { return taken_; }

 private:
  int file_ = -1;
  bool taken_ = false;
};

// Writes a machine's description; returns its path.
[[nodiscard]] std::string WriteMachine(const std::string& text);

}  // namespace morvane::test
