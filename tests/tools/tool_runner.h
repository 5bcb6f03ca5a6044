#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace morvane::test {

// One run of morvanectl as a process of its own.
struct ToolRun {
  int exitCode = -1;  // 128 + n after signal n
  std::string out;
  std::string err;
};

// Runs `morvanectl arguments...` in `folder` to its end; `prefix` goes before it on the shell's
// line (such as "ulimit -f 100;").
ToolRun RunTool(const std::string& folder, const std::string& arguments,
                const std::string& prefix = "");
// Runs a shell command; its output is in `out`.
ToolRun RunShell(const std::string& folder, const std::string& command);
// A tool that runs while the test goes on.
class BackgroundTool {
 public:
  BackgroundTool(const std::string& folder, const std::string& arguments);
  ~BackgroundTool();  // kills it if it still runs
  BackgroundTool(const BackgroundTool&) = delete;
  BackgroundTool& operator=(const BackgroundTool&) = delete;
  void Signal(int number) const;
  // Waits for its end. Returns: the exit code, 128 + n after signal n.
  int Wait();

 private:
  int pid_ = -1;
};

// Makes `name` in `folder` with tests/support/make_movie.sh. Returns: its path.
std::string MakeMovie(const std::string& folder, const std::string& name,
                      const std::string& arguments);
// Writes a text file. Returns: its path.
std::string WriteFile(const std::string& path, const std::string& text);
std::vector<uint8_t> ReadWholeFile(const std::string& path);
std::vector<std::string> FilesIn(const std::string& folder);  // names, sorted
// Waits until `path` exists and holds `bytes` at least. Returns: false after 20 seconds.
bool WaitForFile(const std::string& path, size_t bytes);

}  // namespace morvane::test
