#include "desktop.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
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

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

}  // namespace

bool Eventually(const std::function<bool()>& holds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
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
  return Run("DISPLAY=" + display_ + " xdotool " + arguments + " 2>/dev/null");
}

void Desktop::Click(int x, int y) const {
  Do("mousemove " + std::to_string(x) + " " + std::to_string(y) + " click 1");
}

Screen Desktop::Shoot() const {
  const std::string picture =
      Run("DISPLAY=" + display_ + " import -silent -window root -depth 8 ppm:-");
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

// --- Program -----------------------------------------------------------------------------------

Program::Program(const Desktop& desktop, const std::string& path, const Variables& variables) {
  static int count = 0;
  output_ = PrivateFolder() + "/program" + std::to_string(++count) + ".txt";
  const int file = open(output_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  pid_ = fork();
  if (pid_ == 0) {
    dup2(file, 1);
    setenv("DISPLAY", desktop.Display().c_str(), 1);
    setenv("QT_QPA_PLATFORM", "xcb", 1);
    setenv("XDG_RUNTIME_DIR", PrivateFolder().c_str(), 1);
    for (const auto& [name, value] : variables) setenv(name.c_str(), value.c_str(), 1);
    execl(path.c_str(), path.c_str(), nullptr);
    _exit(127);
  }
  close(file);
}

Program::~Program() {
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
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

// --- Morvane -----------------------------------------------------------------------------------

MorvaneProgram::MorvaneProgram(const Desktop& desktop, const std::string& name, Variables variables)
    : Program(desktop, MORVANE_GUI,
              [&] {
                variables["MORVANE_UI_DUMP"] = PrivateFolder() + "/" + name + ".json";
                return variables;
              }()),
      desktop_(desktop),
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

bool MorvaneProgram::Started() {
  // Before it has a handler the signal would end it: the window first.
  if (!Eventually([&] { return !Window().empty() || !Runs(); })) return false;
  const std::array<int, 4> place = Place();
  // The bar behind the tabs.
  return Eventually([&] { return desktop_.Shoot().At(place[0] + 500, place[1] + 112)[2] > 80; });
}

std::string MorvaneProgram::Window() const {
  const std::string found = desktop_.Do("search --onlyvisible --pid " + std::to_string(Pid()));
  return found.substr(0, found.find('\n'));
}

std::array<int, 4> MorvaneProgram::Place() const {
  const std::string window = Window();
  const std::string shell =
      window.empty() ? window : desktop_.Do("getwindowgeometry --shell " + window);
  std::array<int, 4> place{};
  const std::array<const char*, 4> names = {"X=", "Y=", "WIDTH=", "HEIGHT="};
  for (size_t i = 0; i < names.size(); ++i) {
    const size_t at = shell.find(std::string("\n") + names[i]);
    if (at != std::string::npos) place[i] = atoi(shell.c_str() + at + 1 + strlen(names[i]));
  }
  return place;
}

bool LockIsFree(const std::string& name, const std::string& folder) {
  const std::string locks = folder.empty() ? getenv("MORVANE_LOCKS") : folder;
  const int file = open((locks + "/morvane-" + name).c_str(), O_RDWR | O_CLOEXEC);
  if (file < 0) return true;
  const bool free = flock(file, LOCK_EX | LOCK_NB) == 0;
  close(file);
  return free;
}

}  // namespace morvane::test
