#include "child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace morvane::test {

ChildProcess::ChildProcess(const std::vector<std::string>& arguments,
                           const std::vector<std::string>& before) {
  std::vector<std::string> words = before;
  words.emplace_back(BASE_PROBE);
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);

  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  if (posix_spawnp(&process_, argv[0], &actions, nullptr, argv.data(), environ) != 0) process_ = -1;
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  output_ = ends[0];
}

ChildProcess::~ChildProcess() {
  if (process_ > 0) {
    Kill();
    (void)Wait();
  }
  if (output_ >= 0) close(output_);
}

std::string ChildProcess::ReadLine() {
  std::string line;
  char letter;
  while (read(output_, &letter, 1) == 1 && letter != '\n') line += letter;
  return line;
}

void ChildProcess::Kill() {
  if (process_ > 0) kill(process_, SIGKILL);
}

int ChildProcess::Wait() {
  int status = 0;
  if (process_ <= 0 || waitpid(process_, &status, 0) != process_) return -1;
  process_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace morvane::test
