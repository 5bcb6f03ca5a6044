#include "desktop.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "support/test_environment.h"

namespace morvane::test {
namespace {

std::string Run(const std::string& command) {
  std::string text;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return text;
  std::array<char, 65536> part{};
  size_t count = 0;
  while ((count = fread(part.data(), 1, part.size(), pipe)) > 0) text.append(part.data(), count);
  pclose(pipe);
  return text;
}

std::string LockPath(const std::string& name) {
  return std::string(getenv("MORVANE_LOCKS")) + "/morvane-" + name;
}

// What a desktop's own settings say to Qt.
constexpr std::array<const char*, 11> kLooks = {
    "QT_SCALE_FACTOR",  "QT_SCREEN_SCALE_FACTORS",    "QT_ENABLE_HIGHDPI_SCALING",
    "QT_FONT_DPI",      "QT_USE_PHYSICAL_DPI",        "QT_STYLE_OVERRIDE",
    "QT_IM_MODULE",     "QT_QPA_PLATFORMTHEME",       "QT_LOGGING_RULES",
    "QT_DEBUG_PLUGINS", "QT_AUTO_SCREEN_SCALE_FACTOR"};

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

// A PPM file as a screenshot; empty when it is none.
Screen ReadPicture(const std::string& picture) {
  Screen screen;
  std::istringstream text(picture);
  std::string magic;
  int depth = 0;
  text >> magic >> screen.width >> screen.height >> depth;
  text.get();
  const auto begin = static_cast<size_t>(std::max<std::streamoff>(text.tellg(), 0));
  const size_t bytes = static_cast<size_t>(screen.width) * static_cast<size_t>(screen.height) * 3;
  if (magic == "P6" && depth == 255 && picture.size() - begin >= bytes) {
    screen.rgb.assign(picture.begin() + static_cast<ptrdiff_t>(begin), picture.end());
  }
  return screen;
}

}  // namespace

bool Eventually(const std::function<bool()>& holds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!holds()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

std::array<int, 3> Screen::At(int x, int y) const {
  const auto at = static_cast<size_t>(y * width + x) * 3;
  if (at + 2 >= rgb.size()) return {-1, -1, -1};
  return {rgb[at], rgb[at + 1], rgb[at + 2]};
}

// --- Desktop -----------------------------------------------------------------------------------

Desktop::Desktop(int width, int height) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) return;
  const std::string size = std::to_string(width) + "x" + std::to_string(height) + "x24";
  server_ = fork();
  if (server_ == 0) {
    close(ends[0]);
    const std::string end = std::to_string(ends[1]);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, 2);
    execlp("Xvfb", "Xvfb", "-displayfd", end.c_str(), "-screen", "0", size.c_str(), "-nolisten",
           "tcp", "-noreset", nullptr);
    _exit(127);
  }
  close(ends[1]);
  // The server says its number, and a line's end, when it takes clients.
  std::string number;
  char letter = 0;
  while (read(ends[0], &letter, 1) == 1 && letter != '\n') number += letter;
  close(ends[0]);
  if (!number.empty()) display_ = ":" + number;
}

Desktop::~Desktop() {
  if (server_ <= 0) return;
  kill(server_, SIGTERM);
  waitpid(server_, nullptr, 0);
}

std::string Desktop::Do(const std::string& arguments) const {
  return Tell("xdotool " + arguments + " 2>/dev/null");
}

std::string Desktop::Tell(const std::string& command) const {
  return Run("export DISPLAY=" + display_ + "; " + command);
}

void Desktop::Click(int x, int y) const {
  Do("mousemove " + std::to_string(x) + " " + std::to_string(y) + " click 1");
}

Screen Desktop::Shoot() const {
  Screen screen;
  // It looks at all windows too, and may meet one that goes.
  (void)Eventually([&] {
    screen = ReadPicture(Tell("import -silent -window root -depth 8 ppm:- 2>/dev/null"));
    return !screen.rgb.empty();
  });
  return screen;
}

// --- Program -----------------------------------------------------------------------------------

Program::Program(const Desktop& desktop, const std::string& path, const Variables& variables,
                 const std::string& argument)
    : desktop_(desktop) {
  static int count = 0;
  const std::string name = PrivateFolder() + "/program" + std::to_string(++count);
  output_ = name + ".txt";
  errors_ = name + ".errors.txt";
  constexpr int kMode = O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC;
  const int output = open(output_.c_str(), kMode, 0600);
  const int errors = open(errors_.c_str(), kMode, 0600);
  pid_ = fork();
  if (pid_ == 0) {
    dup2(output, 1);
    dup2(errors, 2);
    for (const char* look : kLooks) unsetenv(look);
    setenv("DISPLAY", desktop.Display().c_str(), 1);
    setenv("QT_QPA_PLATFORM", "xcb", 1);
    setenv("XDG_RUNTIME_DIR", PrivateFolder().c_str(), 1);
    for (const auto& [variable, value] : variables) setenv(variable.c_str(), value.c_str(), 1);
    const char* more = argument.empty() ? nullptr : argument.c_str();
    execlp(path.c_str(), path.c_str(), more, nullptr);
    _exit(127);
  }
  close(output);
  close(errors);
}

Program::~Program() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  EXPECT_EQ("", Errors()) << "on standard error";
}

void Program::Signal(int number) const {
  if (pid_ > 0) kill(pid_, number);
}

bool Program::Runs() {
  if (pid_ <= 0) return false;
  if (waitpid(pid_, &status_, WNOHANG) != pid_) return true;
  pid_ = 0;
  return false;
}

int Program::Wait() {
  if (!Eventually([this] { return !Runs(); })) return 1000;
  return WIFEXITED(status_) ? WEXITSTATUS(status_) : -WTERMSIG(status_);
}

std::string Program::Output() const {
  return ReadFile(output_);
}

std::string Program::Errors() const {
  return ReadFile(errors_);
}

std::vector<std::string> Program::Windows() const {
  // Windows come and go while xdotool looks at them one by one: then it ends with an error.
  std::string found;
  (void)Eventually([&] {
    found = desktop_.Tell("xdotool search --maxdepth 1 --onlyvisible --pid " +
                          std::to_string(Pid()) + " 2>&1");
    return found.find("Error") == std::string::npos;
  });
  std::istringstream lines(found);
  std::vector<std::string> windows;
  for (std::string line; std::getline(lines, line);) {
    if (line.find_first_not_of("0123456789") == std::string::npos) windows.push_back(line);
  }
  return windows;
}

std::string Program::Window() const {
  const std::vector<std::string> windows = Windows();
  return windows.empty() ? std::string() : windows.front();
}

bool Program::HasKeyboard() const {
  const std::string window = Window();
  return !window.empty() && desktop_.Do("getwindowfocus") == window + "\n";
}

// --- Morvane -----------------------------------------------------------------------------------

MorvaneProgram::MorvaneProgram(const Desktop& desktop, const std::string& name, Variables variables,
                               const std::string& path)
    : Program(desktop, path,
              [&] {
                variables["MORVANE_UI_DUMP"] = PrivateFolder() + "/" + name + ".json";
                return variables;
              }()),
      dump_(PrivateFolder() + "/" + name + ".json") {}

nlohmann::json MorvaneProgram::Dump() {
  unlink(dump_.c_str());
  Signal(SIGUSR1);
  if (!Eventually([this] { return access(dump_.c_str(), R_OK) == 0 || !Runs(); })) return nullptr;
  return nlohmann::json::parse(ReadFile(dump_), nullptr, false);
}

nlohmann::json MorvaneProgram::Control(const std::string& member) {
  nlohmann::json found;
  const nlohmann::json dump = Dump();
  if (!dump.is_object()) return found;
  for (const auto& window : dump["windows"]) {
    if (window["member"] == member && (found.is_null() || window["shown"] == true)) found = window;
  }
  return found;
}

nlohmann::json MorvaneProgram::Focused() {
  const nlohmann::json dump = Dump();
  if (dump.is_object()) {
    for (const auto& window : dump["windows"]) {
      if (window["focused"] == true) return window;
    }
  }
  return nullptr;
}

bool MorvaneProgram::Started() {
  // Before it has a handler the signal would end it: the window first.
  if (!Eventually([&] { return !Window().empty() || !Runs(); })) return false;
  // The bar behind the tabs.
  const auto painted = [&] {
    const std::array<int, 4> place = Place();
    return desktop_.Shoot().At(place[0] + 500, place[1] + 112)[2] > 80;
  };
  const auto active = [&] {
    const nlohmann::json dump = Dump();
    return dump.is_object() && dump["active"] == true;
  };
  return Eventually([&] { return painted() || !Runs(); }) &&
         Eventually([&] { return active() || !Runs(); }) && Runs();
}

bool MorvaneProgram::Handled() {
  const nlohmann::json before = Focused()["member"];
  desktop_.Do("key Tab");
  // What it asked of the screen is on its way when it goes round once more.
  return Eventually([&] { return Focused()["member"] != before; }) && Dump().is_object();
}

void MorvaneProgram::ClickOn(const std::string& member) {
  const nlohmann::json rect = Control(member)["rect"];
  const std::array<int, 4> place = Place();
  if (!rect.is_array()) {
    ADD_FAILURE() << "no control " << member;
    return;
  }
  const int x = rect[0].get<int>() + rect[2].get<int>() / 2;
  const int y = place[3] - rect[1].get<int>() - rect[3].get<int>() / 2;
  desktop_.Click(place[0] + x, place[1] + y);
}

std::array<int, 4> MorvaneProgram::Place() const {
  std::array<int, 4> place{};
  const std::array<const char*, 4> names = {"X=", "Y=", "WIDTH=", "HEIGHT="};
  (void)Eventually([&] {
    const std::string window = Window();
    if (window.empty()) return true;
    const std::string shell = desktop_.Do("getwindowgeometry --shell " + window);
    for (size_t i = 0; i < names.size(); ++i) {
      const size_t at = shell.find(std::string("\n") + names[i]);
      if (at != std::string::npos) place[i] = atoi(shell.c_str() + at + 1 + strlen(names[i]));
    }
    return place[2] > 0;
  });
  return place;
}

std::string MorvaneProgram::Property(const std::string& property) const {
  return desktop_.Tell("xprop -id " + Window() + " " + property);
}

bool MorvaneProgram::Holds(const std::string& lock) const {
  const std::string process = "/proc/" + std::to_string(Pid());
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(process + "/fd", ignored)) {
    const auto file = std::filesystem::read_symlink(entry.path(), ignored);
    if (file.filename() != "morvane-" + lock) continue;
    const std::string name = entry.path().filename().string();
    if (ReadFile(process + "/fdinfo/" + name).find("FLOCK") != std::string::npos) return true;
  }
  return false;
}

std::string MorvaneProgram::Describe() {
  std::string text = "\nwindows of process " + std::to_string(Pid()) + ":";
  for (const std::string& window : Windows()) text += " " + window;
  text += "\nkeyboard: " + desktop_.Do("getwindowfocus getwindowpid getwindowname");
  for (const char* family : {"SornCard0", "SornControl0", "SornAudio0"}) {
    text += std::string(Holds(family) ? "holds " : "does not hold ") + family + "\n";
  }
  text += "standard error: " + Errors() + "\n";
  const nlohmann::json dump = Dump();
  if (!dump.is_object()) return text + "no dump";
  text += "active: " + dump["active"].dump() + "\n";
  for (const auto& window : dump["windows"]) {
    if (window["shown"] == true) text += window.dump() + "\n";
  }
  return text;
}

bool LockIsFree(const std::string& name) {
  return OutsideLock(name).Taken();
}

OutsideLock::OutsideLock(const std::string& name)
    : file_(open(LockPath(name).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)),
      taken_(flock(file_, LOCK_EX | LOCK_NB) == 0) {}

OutsideLock::~OutsideLock() {
  if (file_ >= 0) close(file_);
}

std::string WriteMachine(const std::string& text) {
  const std::string path = FreshFolder("machine") + "/machine.toml";
  std::ofstream(path) << text;
  return path;
}

}  // namespace morvane::test
