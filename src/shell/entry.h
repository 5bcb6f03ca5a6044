#pragma once

namespace morvane {

struct ProcessObjects;

// The application, from start to end: process-wide objects, toolkit, main window, message loop, and
// all of it back in the reverse order. The caller has installed a toolkit binding (which told the
// screen's size) and the driver; `objects` are new, and empty again when it returns.
// Returns: 0. With a thread that had to be abandoned the process ends here.
// Threads: main thread, before any other one exists.
int RunMorvane(ProcessObjects* objects);

}  // namespace morvane
