#include "tools/tool_runner.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "support/test_environment.h"

namespace morvane::test {
namespace {

constexpr auto kPatience = std::chrono::seconds(90);

std::string ReadText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

int ExitCodeOf(int status) {
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

ToolRun RunShell(const std::string& folder, const std::string& command) {
  static int counter = 0;
  const std::string out = PrivateFolder() + "/run-" + std::to_string(counter++);
  const std::string line =
      "cd '" + folder + "' && ( " + command + " ) >'" + out + ".out' 2>'" + out + ".err'";
  ToolRun run;
  run.exitCode = ExitCodeOf(std::system(line.c_str()));
  run.out = ReadText(out + ".out");
  run.err = ReadText(out + ".err");
  return run;
}

ToolRun RunTool(const std::string& folder, const std::string& arguments,
                const std::string& prefix) {
  return RunShell(folder, prefix + " " MORVANE_TOOL " " + arguments);
}

BackgroundTool::BackgroundTool(const std::string& folder, const std::string& arguments) {
  const std::string line =
      "cd '" + folder + "' && exec " MORVANE_TOOL " " + arguments + " >/dev/null 2>/dev/null";
  pid_ = fork();
  if (pid_ == 0) {
    execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
    _exit(127);
  }
}

BackgroundTool::~BackgroundTool() {
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  Wait();
}

void BackgroundTool::Signal(int number) const {
  kill(pid_, number);
}

int BackgroundTool::Wait() {
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = -1;
  return ExitCodeOf(status);
}

std::string MakeMovie(const std::string& folder, const std::string& name,
                      const std::string& arguments) {
  const std::string path = folder + "/" + name;
  const ToolRun run =
      RunShell(folder, DataPath("support/make_movie.sh") + " " + path + " " + arguments);
  EXPECT_EQ(run.exitCode, 0) << run.err;
  return path;
}

std::string WriteFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

std::vector<uint8_t> ReadWholeFile(const std::string& path) {
  const std::string text = ReadText(path);
  return {text.begin(), text.end()};
}

std::vector<std::string> FilesIn(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool WaitForFile(const std::string& path, size_t bytes) {
  const auto until = std::chrono::steady_clock::now() + kPatience;
  while (std::chrono::steady_clock::now() < until) {
    std::error_code ignored;
    const auto size = std::filesystem::file_size(path, ignored);
    if (!ignored && size >= bytes) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return false;
}

}  // namespace morvane::test
