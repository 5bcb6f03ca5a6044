#include "tools/nub_process.h"

#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "support/test_environment.h"

namespace morvane::test {

NubProcess::NubProcess(const std::string& arguments, const std::string& before) {
  static int counter = 0;
  errorFile_ = PrivateFolder() + "/nub-" + std::to_string(counter++) + ".err";
  const std::string choice = arguments.find("--port") == std::string::npos ? "--port 0 " : "";
  const std::string line =
      before + " exec " MORVANE_NUB " " + choice + arguments + " 2>'" + errorFile_ + "'";
  int output[2] = {-1, -1};
  if (pipe(output) != 0) return;
  pid_ = fork();
  if (pid_ == 0) {
    dup2(output[1], STDOUT_FILENO);
    close(output[0]);
    close(output[1]);
    execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
    _exit(127);
  }
  close(output[1]);
  std::FILE* said = fdopen(output[0], "r");
  char text[256] = {};
  unsigned port = 0;
  if (std::fgets(text, sizeof text, said) != nullptr &&
      std::sscanf(text, "serving on %*[0-9.]:%u", &port) == 1) {
    port_ = static_cast<uint16_t>(port);
  }
  std::fclose(said);
}

NubProcess::~NubProcess() {
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  Wait();
}

void NubProcess::BecomeTheServer() const {
  setenv("MORVANE_NUB_PORT", std::to_string(port_).c_str(), 1);
}

void NubProcess::Signal(int number) const {
  kill(pid_, number);
}

int NubProcess::Wait() {
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string NubProcess::Errors() const {
  std::ifstream file(errorFile_);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

}  // namespace morvane::test
