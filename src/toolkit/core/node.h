#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "toolkit/core/binding.h"
#include "toolkit/gui.h"
#include "toolkit/video_window.h"
#include "toolkit/window.h"

// Private to core/: the nodes and the one mutex that guards them.

namespace morvane {

// A window's node. All but `shadow` and `window` is guarded by the core's mutex.
struct NXWindowNode {
  toolkit::WindowState state;  // absolute, parentHeight, effective are made by Snapshot()
  std::string memberName;      // of NameNXWindow; kept when the window goes
  std::string spokenName;
  bool alive = false;
  uint32_t dirty = 0;  // Change
  NXWindowNode* parent = nullptr;
  std::vector<NXWindowNode*> children;
  std::vector<NXVideoWindowNode*> videos;

  // Main thread.
  NXWindow* window = nullptr;
  std::unique_ptr<toolkit::WindowShadow> shadow;
};

struct NXVideoWindowNode {
  // Guarded by the core's mutex.
  toolkit::VideoState state;  // absolute, onScreen are made by Snapshot()
  NXWindowNode* parent = nullptr;
  bool dirty = false;
  std::thread::id runThread;  // none: no run

  // Guarded by `drawing`, which is taken before the core's mutex, never within it.
  std::mutex drawing;
  bool gone = false;
  const NxRGBLUT* lut = nullptr;
  toolkit::FramePicture picture;

  std::unique_ptr<toolkit::VideoShadow> shadow;  // made and destroyed on the main thread
};

namespace toolkit {

enum class Phase { None, Made, Started, Stopped };

// Lies on the stack of the thread that waits for it.
struct PendingSend {
  Message message;
  NxErr result = NxErrFailure;
  bool done = false;
};

struct HotKey {
  NodeId target = 0;
  int key = 0;
  int modifiers = 0;
};

struct Core {
  std::mutex mutex;  // never held while application or binding code runs
  std::condition_variable sendDone;

  ToolkitBinding* binding = nullptr;
  Phase phase = Phase::None;
  std::thread::id mainThread;  // none in Phase::None
  NodeId lastId = 0;
  NXWindowNode* root = nullptr;
  std::unordered_map<const NXWindowNode*, std::shared_ptr<NXWindowNode>> live;
  std::unordered_map<NodeId, NXWindowNode*> byId;
  std::unordered_map<const NXVideoWindowNode*, std::shared_ptr<NXVideoWindowNode>> liveVideos;
  std::unordered_map<NodeId, NXVideoWindowNode*> videoById;

  std::deque<PendingSend*> sends;
  std::deque<Message> posts;
  std::deque<std::pair<std::string, std::string>> boxes;  // title, text
  std::vector<NodeId> dirtyWindows;
  std::vector<NodeId> dirtyVideos;
  bool repaintWanted = false;
  bool wakePending = false;  // Wake() was called and Service() has not begun yet

  std::vector<HotKey> hotKeys;
  NodeId mouseCapture = 0;
  int mouseX = 0;  // in the root, as the binding told last
  int mouseY = 0;
  NodeId focus = 0;
  int dialogs = 0;             // open ones
  bool closeWanted = false;    // the desktop asked to close while a dialog was open
  bool active = true;          // as the binding told last
  bool reportedActive = true;  // as the application knows it
  bool everActive = false;     // a desktop may call a new window inactive until it has the focus
  NXCloseRoutine closeRoutine = nullptr;
  void* closeContext = nullptr;
};

using Lock = std::unique_lock<std::mutex>;

// The one core; it is never destroyed, so that threads may outlive the end of main.
[[nodiscard]] Core& TheCore();

// With the mutex held.
[[nodiscard]] bool OnMainThread(const Core& core);
[[nodiscard]] NXWindowNode* FindWindow(Core& core, NodeId id);
[[nodiscard]] WindowState Snapshot(const Core& core, const NXWindowNode& node);
[[nodiscard]] VideoState Snapshot(const Core& core, const NXVideoWindowNode& node);
void MarkDirty(Core& core, NXWindowNode& node, uint32_t changes);
void MarkVideosDirty(Core& core, NXWindowNode& node);  // of the window and all below it
void MarkPlaced(Core& core, NXWindowNode& node);       // the window and all below it
// Whether the binding must be woken, which is then to be done without the mutex.
[[nodiscard]] bool NeedsWake(Core& core);

// Without the mutex, any thread: brings what is marked to the screen, on the main thread at once,
// elsewhere soon. `lock` is held when it is called and is given up.
void Settle(Core& core, Lock lock);
// Main thread, without the mutex.
void FlushChanges(Core& core);
// Delivers on the main thread, without the mutex. -2 when the window is gone.
NxErr Deliver(const Message& message);
// Main thread, without the mutex: who has captured the mouse hears that the button was released
// where the mouse was last, and has it no more.
void ReleaseCapturedMouse();
void DestroyVideo(Core& core, NXVideoWindowNode* node);  // main thread, without the mutex

// A setter: changes the state of a window that exists. `change` returns a NxErr; only with 0 is
// anything marked.
template <typename ChangeState>
NxErr ChangeWindow(NXWindowNode& node, uint32_t changes, ChangeState change) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  if (!node.alive) return NxErrFailure;
  const NxErr result = change(node.state);
  if (result != NxErrSuccess) return result;
  MarkDirty(core, node, changes);
  Settle(core, std::move(lock));
  return NxErrSuccess;
}

// A getter: `read(state)`, or `none` where the window does not exist.
template <typename Read, typename Value>
Value ReadWindow(const NXWindowNode& node, Value none, Read read) {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  return node.alive ? static_cast<Value>(read(node.state)) : none;
}

}  // namespace toolkit
}  // namespace morvane
