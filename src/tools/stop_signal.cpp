#include "tools/stop_signal.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>

namespace morvane::tools {
namespace {

std::atomic<int> g_signals{0};
std::atomic<void (*)()> g_action{nullptr};
static_assert(std::atomic<int>::is_always_lock_free, "used in a signal handler");
static_assert(std::atomic<void (*)()>::is_always_lock_free, "used in a signal handler");

void OnSignal(int number) {
  if (g_signals.fetch_add(1) >= 1) _exit(128 + number);
  if (void (*action)() = g_action.load()) action();
}

}  // namespace

void InstallStopSignals() {
  struct sigaction action = {};
  action.sa_handler = OnSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  // A reader that went away, or a limit on the size of files, is an error of the write and not
  // the end of a capture.
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
}

void OnStopSignal(void (*action)()) {
  g_action.store(action);
}

bool StopAsked() {
  return g_signals.load() > 0;
}

}  // namespace morvane::tools
