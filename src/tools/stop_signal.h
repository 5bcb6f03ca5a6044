#pragma once

namespace morvane::tools {

// From here on SIGINT and SIGTERM ask the running job to stop, as its stop button would; a second
// one ends the process at once. Files are then as a killed process leaves them.
void InstallStopSignals();
// Has `action` called when a stop is asked for; null for nothing. It runs in the signal's handler,
// so it may do only what such a handler may.
void OnStopSignal(void (*action)());
// True once a stop was asked for. Threads: any.
[[nodiscard]] bool StopAsked();

}  // namespace morvane::tools
