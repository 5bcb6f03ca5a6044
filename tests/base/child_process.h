#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace morvane::test {

// A child that runs base_probe. Killed at the end, if it still runs.
class ChildProcess {
 public:
  // `before` is a command in front of the probe, such as {"taskset", "-c", "1"}.
  explicit ChildProcess(const std::vector<std::string>& arguments,
                        const std::vector<std::string>& before = {});
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  std::string ReadLine();  // what the child prints next, without the line end; empty at its end
  void Kill();             // SIGKILL
  int Wait();              // until the child ends. Returns: its exit code, or 128 + its signal

 private:
  pid_t process_ = -1;
  int output_ = -1;
};

}  // namespace morvane::test
