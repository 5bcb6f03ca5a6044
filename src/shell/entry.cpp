#include "shell/entry.h"

#include <unistd.h>

#include <memory>

#include "base/system.h"
#include "media/data_vyr.h"
#include "shell/main_window.h"
#include "shell/process_objects.h"
#include "toolkit/gui.h"

namespace morvane {
namespace {

constexpr int kWidth = kMainWindowWidth;
constexpr int kHeight = kMainWindowHeight;

void StartWindow(MorvaneWnd* window, int screenWidth, int screenHeight) {
  NXInitGUI(screenWidth / 2 - kWidth / 2, screenHeight / 2 - kHeight / 2, kWidth, kHeight, nullptr,
            "Morvane", "morvaneicon.ico", nullptr, 0);
  const NxRECT rect = {0, 0, kWidth, kHeight};
  window->CreateNXWindow("morvane", 0, 1, 0, &rect, nullptr);
  NXSetCloseRoutine([](void* self) { static_cast<MorvaneWnd*>(self)->RequestClose(); }, window);
  NXStartGUI();
  NXRePaint();
}

void StopWindow(MorvaneWnd* window) {
  NXStopGUI();
  window->DestroyNXWindow();
  NXKillGUI();
}

}  // namespace

int RunMorvane(ProcessObjects* objects) {
  NxDataVYRInit();
  auto window = std::make_unique<MorvaneWnd>(objects);
  objects->moduleFolder = ModuleFolder();
  NxRaiseProcessPriority();
  // A lock that cannot be made counts as taken: its board is then not held.
  (void)objects->locks.Create();
  const int screenWidth = static_cast<int>(NxScreenWidth());
  const int screenHeight = static_cast<int>(NxScreenHeight());
  BuildColorTables(objects);
  StartWindow(window.get(), screenWidth, screenHeight);

  while (!objects->quit && NXDispatchGUI(true) == NxErrSuccess) {
  }

  StopWindow(window.get());
  // Such a thread may still touch what is destroyed below.
  if (NxAnyThreadAbandoned()) _exit(0);
  objects->locks.Close();
  for (auto& table : objects->colorTables) table.reset();
  window.reset();
  NxDataVYRDeinit();
  return 0;
}

}  // namespace morvane
