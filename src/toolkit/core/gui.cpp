#include "toolkit/gui.h"

#include <iterator>

#include "toolkit/core/node.h"

namespace morvane {
namespace {

using toolkit::Core;
using toolkit::Lock;
using toolkit::Phase;
using toolkit::TheCore;
using toolkit::ToolkitBinding;

constexpr int kSpacing = 8;
constexpr int kButtonHeight = 24;

// clang-format off
constexpr NxFCOLOR kScheme[] = {
  { 0.10f, 0.11f, 0.13f, 1 },  //  0 window
  { 0.86f, 0.88f, 0.90f, 1 },  //  1 text
  { 0.07f, 0.08f, 0.09f, 1 },  //  2 field
  { 0.92f, 0.94f, 0.96f, 1 },  //  3 text in a field
  { 0.20f, 0.22f, 0.25f, 1 },  //  4 button
  { 0.92f, 0.94f, 0.96f, 1 },  //  5 text on a button
  { 0.29f, 0.32f, 0.36f, 1 },  //  6 button under the pointer
  { 0.13f, 0.15f, 0.17f, 1 },  //  7 button pressed
  { 0.40f, 0.50f, 0.70f, 1 },  //  8 checked, selected
  { 1.00f, 1.00f, 1.00f, 1 },  //  9 text on what is selected
  { 0.45f, 0.47f, 0.50f, 1 },  // 10 text of what is disabled
  { 0.35f, 0.38f, 0.42f, 1 },  // 11 edge, light
  { 0.04f, 0.05f, 0.06f, 1 },  // 12 edge, dark
  { 0.55f, 0.70f, 0.95f, 1 },  // 13 focus
  { 0.85f, 0.25f, 0.20f, 1 },  // 14 recording, warning
  { 0.30f, 0.75f, 0.40f, 1 },  // 15 all is well
  { 0.75f, 0.79f, 0.84f, 1 },  // 16 label
  { 0.95f, 0.96f, 0.98f, 1 },  // 17 title
};
// clang-format on
constexpr int kSchemeEntries = 32;  // the rest of them are as text

// The binding if this is the main thread of a GUI that was made; else null.
ToolkitBinding* MainBinding() {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  return toolkit::OnMainThread(core) ? core.binding : nullptr;
}

// The same; null also while a wish to close waits: a dialog would be in its way.
ToolkitBinding* DialogBinding() {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  return toolkit::OnMainThread(core) && !core.closeWanted ? core.binding : nullptr;
}

// While one lives a dialog of ours is open: no hot keys, and nobody is told of the focus
// or of a wish to close. Both are told by the loop, once the handler that showed it has returned.
class DialogScope {
 public:
  DialogScope() {
    toolkit::ReleaseCapturedMouse();
    const Lock lock(TheCore().mutex);
    ++TheCore().dialogs;
  }
  ~DialogScope() {
    Core& core = TheCore();
    Lock lock(core.mutex);
    --core.dialogs;
    if (core.dialogs > 0 || core.phase != Phase::Started) return;
    const bool waits = core.closeWanted || core.active != core.reportedActive;
    const bool wake = waits && toolkit::NeedsWake(core);
    ToolkitBinding* binding = core.binding;
    lock.unlock();
    if (wake) binding->Wake();
  }
  DialogScope(const DialogScope&) = delete;
  DialogScope& operator=(const DialogScope&) = delete;
};

}  // namespace

NxErr NXInitGUI(int x, int y, int w, int h, void* /*instance*/, const char* title, const char* icon,
                void* /*reserved*/, int /*option*/) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  if (core.phase != Phase::None || core.binding == nullptr) return NxErrFailure;
  core.phase = Phase::Made;
  core.mainThread = std::this_thread::get_id();
  core.active = core.reportedActive = true;
  core.everActive = false;
  ToolkitBinding* binding = core.binding;
  lock.unlock();
  const NxErr result =
      binding->InitGui({x, y, w, h, title != nullptr ? title : "", icon != nullptr ? icon : ""});
  if (result == NxErrSuccess) return result;
  lock.lock();
  core.phase = Phase::None;
  core.mainThread = {};
  return result;
}

NxErr NXStartGUI() {
  Core& core = TheCore();
  Lock lock(core.mutex);
  if (!toolkit::OnMainThread(core) || core.phase != Phase::Made) return NxErrFailure;
  core.phase = Phase::Started;
  core.wakePending = true;
  ToolkitBinding* binding = core.binding;
  lock.unlock();
  binding->StartGui();
  binding->Wake();  // for what came before
  return NxErrSuccess;
}

NxErr NXStopGUI() {
  Core& core = TheCore();
  Lock lock(core.mutex);
  if (!toolkit::OnMainThread(core)) return NxErrFailure;
  if (core.phase != Phase::Made && core.phase != Phase::Started) return NxErrFailure;
  core.phase = Phase::Stopped;
  for (toolkit::PendingSend* send : core.sends) send->done = true;  // their result stays -2
  core.sends.clear();
  core.posts.clear();
  core.boxes.clear();
  ToolkitBinding* binding = core.binding;
  lock.unlock();
  core.sendDone.notify_all();
  binding->StopGui();
  return NxErrSuccess;
}

NxErr NXKillGUI() {
  Core& core = TheCore();
  if (MainBinding() == nullptr) return NxErrFailure;
  NXStopGUI();
  Lock lock(core.mutex);
  while (core.root != nullptr) {
    NXWindow* root = core.root->window;
    lock.unlock();
    root->NXWindow::DestroyNXWindow();
    lock.lock();
  }
  ToolkitBinding* binding = core.binding;
  lock.unlock();
  binding->KillGui();
  lock.lock();
  core.phase = Phase::None;
  core.mainThread = {};
  core.dirtyWindows.clear();
  core.dirtyVideos.clear();
  core.repaintWanted = core.wakePending = false;
  core.hotKeys.clear();
  core.closeRoutine = nullptr;
  core.closeWanted = false;
  return NxErrSuccess;
}

NxErr NXDispatchGUI(bool wait) {
  ToolkitBinding* binding = MainBinding();
  if (binding == nullptr) return NxErrFailure;
  binding->Dispatch(wait);
  return NxErrSuccess;
}

void NXWakeGUI() {
  Core& core = TheCore();
  Lock lock(core.mutex);
  if (core.binding == nullptr || core.phase == Phase::None) return;
  core.wakePending = true;
  ToolkitBinding* binding = core.binding;
  lock.unlock();
  binding->Wake();
}

void NXRePaint() {
  Core& core = TheCore();
  Lock lock(core.mutex);
  core.repaintWanted = true;
  ToolkitBinding* binding = core.binding;
  const bool wake = toolkit::NeedsWake(core);
  lock.unlock();
  if (wake) binding->Wake();
}

NxErr NXMinimizeGUI() {
  ToolkitBinding* binding = MainBinding();
  return binding != nullptr ? binding->Minimize() : NxErrFailure;
}

NxErr NXMaximizeGUI(NxRECT* rect, uint8_t restore) {
  ToolkitBinding* binding = MainBinding();
  if (binding == nullptr || rect == nullptr) return NxErrFailure;
  return binding->Maximize(rect, restore != 0);
}

NxErr NXStartMoveGUI() {
  ToolkitBinding* binding = MainBinding();
  return binding != nullptr ? binding->StartMove() : NxErrFailure;
}

NxErr NXMoveGUI() {
  ToolkitBinding* binding = MainBinding();
  return binding != nullptr ? binding->Move() : NxErrFailure;
}

NxErr NXStopMoveGUI() {
  ToolkitBinding* binding = MainBinding();
  return binding != nullptr ? binding->StopMove() : NxErrFailure;
}

void* NXGetHWND() {
  ToolkitBinding* binding = MainBinding();
  return binding != nullptr ? binding->NativeWindow() : nullptr;
}

void NXSetCloseRoutine(NXCloseRoutine routine, void* context) {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  core.closeRoutine = routine;
  core.closeContext = context;
}

int NXGetDefaultSpacing() {
  return kSpacing;
}

int NXGetDefaultButtonYSize() {
  return kButtonHeight;
}

NxErr NXGetSchemeColor(int entry, NxFCOLOR* color) {
  if (color == nullptr || entry < 0 || entry >= kSchemeEntries) return NxErrFailure;
  *color = kScheme[entry < static_cast<int>(std::size(kScheme)) ? entry : 1];
  return NxErrSuccess;
}

NxErr NXPrintText(const char* text, const NxRECT* rect, const NxFCOLOR* color, int style,
                  int /*option*/, const NxFLOATPOINT* point) {
  ToolkitBinding* binding = MainBinding();
  if (binding == nullptr || text == nullptr || rect == nullptr || color == nullptr) {
    return NxErrFailure;
  }
  return binding->PrintText(text, *rect, *color, style, point);
}

NxErr NXShowMB(const char* title, const char* text) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  if (core.phase == Phase::None || core.phase == Phase::Stopped || text == nullptr) {
    return NxErrFailure;
  }
  const std::string caption = title != nullptr ? title : "";
  ToolkitBinding* binding = core.binding;
  // Nobody is kept from closing by one more box: it waits for what the close routine says.
  if (toolkit::OnMainThread(core) && !core.closeWanted) {
    lock.unlock();
    const DialogScope open;
    binding->ShowBox(caption, text);
    return NxErrSuccess;
  }
  core.boxes.emplace_back(caption, text);
  const bool wake = toolkit::NeedsWake(core);
  lock.unlock();
  if (wake) binding->Wake();
  return NxErrSuccess;
}

NxErr NXChooseFile(const char* title, const char* filterName, const char* patterns,
                   const std::string& folder, std::string* path) {
  ToolkitBinding* binding = DialogBinding();
  if (binding == nullptr || path == nullptr) return NxErrFailure;
  const DialogScope open;
  return binding->ChooseFile(title != nullptr ? title : "", filterName != nullptr ? filterName : "",
                             patterns != nullptr ? patterns : "*", folder, path);
}

NxErr NXChooseFolder(const char* title, const std::string& folder, std::string* path) {
  ToolkitBinding* binding = DialogBinding();
  if (binding == nullptr || path == nullptr) return NxErrFailure;
  const DialogScope open;
  return binding->ChooseFolder(title != nullptr ? title : "", folder, path);
}

}  // namespace morvane
