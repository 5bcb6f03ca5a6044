#pragma once

namespace morvane {

// The application, from start to end: process-wide objects, toolkit, main window, message loop, and
// all of it back in the reverse order. The caller has installed a toolkit binding (which told the
// screen's size) and the driver.
// Returns: 0. With a thread that had to be abandoned the process ends here.
// Threads: main thread, before any other one exists.
int RunMorvane();

}  // namespace morvane
