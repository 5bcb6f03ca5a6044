#include <algorithm>

#include "toolkit/core/node.h"
#include "toolkit/core/user_events.h"

namespace morvane::toolkit {
namespace {

// What an edit holds back.
constexpr uint32_t kEditedChanges = ChangeText | ChangeValue;

// What a screen reader says. The text of a text control is its content, not what it is called.
std::string AccessibleName(const NXWindowNode& node) {
  const WindowState& state = node.state;
  if (!node.spokenName.empty()) return node.spokenName;
  if (state.nxClass != NXClass::Text && !state.text.empty()) return state.text;
  return state.name.empty() ? node.memberName : state.name;
}

// Takes what can go to the screen now out of the node's marks. With the mutex held.
uint32_t TakeChanges(NXWindowNode& node) {
  const uint32_t held = node.state.editing ? kEditedChanges : 0;
  const uint32_t changes = node.dirty & ~held;
  node.dirty &= held;
  return changes;
}

void FlushWindow(Core& core, NodeId id) {
  Lock lock(core.mutex);
  NXWindowNode* node = FindWindow(core, id);
  if (node == nullptr) return;
  const uint32_t changes = TakeChanges(*node);
  WindowShadow* shadow = node->shadow.get();
  if (changes == 0 || shadow == nullptr) return;
  const WindowState state = Snapshot(core, *node);
  lock.unlock();
  shadow->Update(state, changes);
}

void FlushVideo(Core& core, NodeId id) {
  Lock lock(core.mutex);
  const auto found = core.videoById.find(id);
  if (found == core.videoById.end() || !found->second->dirty) return;
  NXVideoWindowNode* node = found->second;
  node->dirty = false;
  const VideoState state = Snapshot(core, *node);
  lock.unlock();
  if (node->shadow != nullptr) node->shadow->Update(state);
}

void DeliverPosts(Core& core) {
  Lock lock(core.mutex);
  // Only those that are there now: a handler that posts again does not keep the loop here.
  for (size_t count = core.posts.size(); count > 0 && core.phase == Phase::Started; --count) {
    if (core.posts.empty()) return;
    const Message message = core.posts.front();
    core.posts.pop_front();
    lock.unlock();
    Deliver(message);
    lock.lock();
  }
}

// A wish to close that a dialog held back. Returns: false if there was none.
bool DeliverClose(Core& core) {
  Lock lock(core.mutex);
  if (!core.closeWanted || core.dialogs > 0 || core.phase != Phase::Started) return false;
  lock.unlock();
  UserClose();
  return true;
}

// What a dialog held back of the program's focus, if that has not come round again.
void DeliverActive(Core& core) {
  Lock lock(core.mutex);
  const bool active = core.active;
  if (active == core.reportedActive) return;
  lock.unlock();
  UserActive(active);
}

void ShowBoxes(Core& core) {
  Lock lock(core.mutex);
  while (!core.boxes.empty() && core.phase == Phase::Started && core.dialogs == 0) {
    const auto box = core.boxes.front();
    core.boxes.pop_front();
    lock.unlock();
    NXShowMB(box.first.c_str(), box.second.c_str());
    lock.lock();
  }
}

}  // namespace

Core& TheCore() {
  static Core* core = new Core;
  return *core;
}

void InstallBinding(ToolkitBinding* binding) {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  core.binding = binding;
}

bool OnMainThread(const Core& core) {
  return core.phase != Phase::None && core.mainThread == std::this_thread::get_id();
}

NXWindowNode* FindWindow(Core& core, NodeId id) {
  const auto found = core.byId.find(id);
  return found == core.byId.end() ? nullptr : found->second;
}

WindowState Snapshot(const Core& core, const NXWindowNode& node) {
  WindowState state = node.state;
  state.member = node.memberName;
  state.accessibleName = AccessibleName(node);
  state.absolute = state.rect;
  state.effective = state.visible && state.enabled;
  for (const NXWindowNode* parent = node.parent; parent != nullptr; parent = parent->parent) {
    state.absolute.x += parent->state.rect.x;
    state.absolute.y += parent->state.rect.y;
    state.effective = state.effective && parent->state.visible && parent->state.enabled;
  }
  state.parentHeight = node.parent != nullptr ? node.parent->state.rect.h : state.rect.h;
  state.rootHeight = core.root != nullptr ? core.root->state.rect.h : state.rect.h;
  return state;
}

VideoState Snapshot(const Core& core, const NXVideoWindowNode& node) {
  VideoState state = node.state;
  state.absolute = state.rect;
  state.onScreen = state.shown;
  for (const NXWindowNode* parent = node.parent; parent != nullptr; parent = parent->parent) {
    state.absolute.x += parent->state.rect.x;
    state.absolute.y += parent->state.rect.y;
    state.onScreen = state.onScreen && parent->state.visible;
  }
  state.rootHeight = core.root != nullptr ? core.root->state.rect.h : 0;
  return state;
}

void MarkDirty(Core& core, NXWindowNode& node, uint32_t changes) {
  const bool first = node.dirty == 0;
  node.dirty |= changes;
  if (first) core.dirtyWindows.push_back(node.state.id);
  if ((changes & ChangeShown) != 0) MarkVideosDirty(core, node);
}

void MarkVideosDirty(Core& core, NXWindowNode& node) {
  for (NXVideoWindowNode* video : node.videos) {
    if (!video->dirty) core.dirtyVideos.push_back(video->state.id);
    video->dirty = true;
  }
  for (NXWindowNode* child : node.children) MarkVideosDirty(core, *child);
}

void MarkPlaced(Core& core, NXWindowNode& node) {
  MarkDirty(core, node, ChangePlace);
  for (NXVideoWindowNode* video : node.videos) {
    if (!video->dirty) core.dirtyVideos.push_back(video->state.id);
    video->dirty = true;
  }
  for (NXWindowNode* child : node.children) MarkPlaced(core, *child);
}

bool NeedsWake(Core& core) {
  if (core.wakePending || core.binding == nullptr || core.phase == Phase::None) return false;
  core.wakePending = true;
  return true;
}

void Settle(Core& core, Lock lock) {
  if (OnMainThread(core)) {
    lock.unlock();
    FlushChanges(core);
    return;
  }
  ToolkitBinding* binding = core.binding;
  const bool wake = NeedsWake(core);
  lock.unlock();
  if (wake) binding->Wake();
}

void FlushChanges(Core& core) {
  Lock lock(core.mutex);
  std::vector<NodeId> windows;
  std::vector<NodeId> videos;
  windows.swap(core.dirtyWindows);
  videos.swap(core.dirtyVideos);
  lock.unlock();
  for (const NodeId id : windows) FlushWindow(core, id);
  for (const NodeId id : videos) FlushVideo(core, id);
  lock.lock();
  // What an edit holds back stays marked, so that it is not listed twice.
  for (const NodeId id : windows) {
    NXWindowNode* node = FindWindow(core, id);
    if (node != nullptr && node->dirty != 0 &&
        std::find(core.dirtyWindows.begin(), core.dirtyWindows.end(), id) ==
            core.dirtyWindows.end()) {
      core.dirtyWindows.push_back(id);
    }
  }
}

NxErr Deliver(const Message& message) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  const NXWindowNode* node = FindWindow(core, message.target);
  if (node == nullptr) return NxErrFailure;
  NXWindow* window = node->window;
  lock.unlock();
  return window->ReceiveNXMessage(message.message, message.a, message.b, message.c, message.d);
}

void Service() {
  Core& core = TheCore();
  {
    const Lock lock(core.mutex);
    core.wakePending = false;
    if (!OnMainThread(core)) return;
  }
  FlushChanges(core);
  NXServiceSends();
  DeliverPosts(core);
  // After it the application's loop decides whether there is a next round, with the rest.
  const bool asked = DeliverClose(core);
  if (!asked) {
    DeliverActive(core);
    ShowBoxes(core);
  }
  FlushChanges(core);
  Lock lock(core.mutex);
  ToolkitBinding* binding = core.binding;
  const bool repaint = core.repaintWanted && core.phase == Phase::Started;
  if (repaint) core.repaintWanted = false;
  const bool rest = !core.boxes.empty() || core.active != core.reportedActive;
  const bool waits = !core.posts.empty() || (asked && rest);
  const bool more = waits && core.phase == Phase::Started && NeedsWake(core);
  lock.unlock();
  if (repaint) binding->Repaint();
  if (more) binding->Wake();
}

}  // namespace morvane::toolkit
