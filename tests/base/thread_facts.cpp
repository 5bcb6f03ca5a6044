#include "thread_facts.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "base/system.h"

namespace morvane::test {

int NiceOfCaller() {
  return getpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)));
}

std::string ProcessorsOfThread(uint32_t threadId) {
  std::ifstream status("/proc/self/task/" + std::to_string(threadId) + "/status");
  const std::string wanted = "Cpus_allowed_list:\t";
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(wanted, 0) == 0) return line.substr(wanted.size());
  }
  return "not found";
}

std::set<uint32_t> ThreadIds() {
  // The starter comes with the first thread and stays. The thread itself may take its time to
  // vanish, so there is one alone, before the first look.
  static const bool started = [] {
    NxHandle first = NxCreateThread([](void*) {}, nullptr, 0, 1, kNxAllProcessors, nullptr);
    const bool ended = NxWait(first, kNxWaitForever) == NxErrSuccess;
    NxCloseHandle(first);
    return ended;
  }();
  (void)started;
  std::set<uint32_t> ids;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    ids.insert(static_cast<uint32_t>(std::stoul(task.path().filename())));
  }
  return ids;
}

std::string ProcessorsOfCaller() {
  return ProcessorsOfThread(static_cast<uint32_t>(syscall(SYS_gettid)));
}

std::string OneProcessor(const std::string& list, int position) {
  std::istringstream ranges(list);
  for (std::string range; std::getline(ranges, range, ',');) {
    const size_t dash = range.find('-');
    const int first = std::atoi(range.c_str());
    const int last = dash == std::string::npos ? first : std::atoi(range.c_str() + dash + 1);
    if (position <= last - first) return std::to_string(first + position);
    position -= last - first + 1;
  }
  return "none";
}

}  // namespace morvane::test
