#include "thread_facts.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

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
