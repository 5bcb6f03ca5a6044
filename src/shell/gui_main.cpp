#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/message_hook.h"
#include "shell/entry.h"
#include "shell/process_objects.h"
#include "simulator/simulated_machine.h"
#include "toolkit/gui.h"
#include "toolkit/qt/desktop_signals.h"
#include "toolkit/qt/qt_toolkit.h"

// The desktop's program: which toolkit and which driver are behind the application.
// $MORVANE_UI_DUMP is the file that SIGUSR1 writes what is on the screen to.
int main(int argc, char** argv) {
  morvane::QtToolkit toolkit(argc, argv);
  std::string error;
  const auto machine = morvane::SimulatedMachine::Load("", &error);
  if (machine == nullptr) {
    fprintf(stderr, "morvane-gui: %s\n", error.c_str());
    toolkit.ShowBox("Morvane", error);
    return 1;
  }
  machine->Install();
  morvane::SetMessageHook([](void* /*context*/, const char* caption,
                             const char* text) { morvane::NXShowMB(caption, text); },
                          nullptr);
  const char* dump = getenv("MORVANE_UI_DUMP");
  const morvane::DesktopSignals signals(dump != nullptr ? dump : "");
  morvane::ProcessObjects objects;
  return morvane::RunMorvane(&objects);
}
