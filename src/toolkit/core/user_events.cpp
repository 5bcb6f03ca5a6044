#include "toolkit/core/user_events.h"

#include <algorithm>
#include <utility>

#include "toolkit/core/node.h"
#include "toolkit/core/text_input.h"
#include "toolkit/messages.h"

namespace morvane::toolkit {
namespace {

// A node that may take input now, or null. With the mutex held.
NXWindowNode* InputTarget(Core& core, NodeId id) {
  NXWindowNode* node = FindWindow(core, id);
  return node != nullptr && Snapshot(core, *node).effective ? node : nullptr;
}

// Tells the parent (a root: itself) of something that happened to `node`. The lock is held and
// given up.
void TellParent(Lock lock, const NXWindowNode& node, uint32_t message, int a) {
  const NXWindowNode& target = node.parent != nullptr ? *node.parent : node;
  const Message text{target.state.id, message, a, 0, node.window, nullptr};
  lock.unlock();
  Deliver(text);
}

// The same, and brings the screen back to what the node says.
void TellAndShow(Core& core, Lock lock, NXWindowNode& node, uint32_t message, int a,
                 uint32_t changes) {
  const NodeId id = node.state.id;
  TellParent(std::move(lock), node, message, a);
  Lock again(core.mutex);
  NXWindowNode* still = FindWindow(core, id);
  if (still == nullptr) return;
  MarkDirty(core, *still, changes);
  Settle(core, std::move(again));
}

bool CommitNumber(Core& core, Lock lock, NXWindowNode& node, int value) {
  WindowState& state = node.state;
  const int32_t held = std::clamp(value, state.low, state.high);
  const bool differs = held != state.value;
  state.editing = false;
  state.value = held;
  state.valueText = NumberText(state);
  if (differs) {
    TellAndShow(core, std::move(lock), node, NXMSG_NUMBERCHANGED, held, ChangeValue);
  } else {
    MarkDirty(core, node, ChangeValue);
    Settle(core, std::move(lock));
  }
  return true;
}

bool CommitText(Core& core, Lock lock, NXWindowNode& node, std::string_view text) {
  std::string kept = FilterTyped(node.state, text);
  const bool differs = kept != node.state.text;
  node.state.editing = false;
  node.state.text = std::move(kept);
  if (differs) {
    TellAndShow(core, std::move(lock), node, NXMSG_TEXTCHANGED, 0, ChangeText);
  } else {
    MarkDirty(core, node, ChangeText);
    Settle(core, std::move(lock));
  }
  return true;
}

// Where the mouse is, in the root.
struct MousePoint {
  int x;
  int y;
};

// The message of a video window for one of a window.
uint32_t VideoMessage(uint32_t message) {
  switch (message) {
    case NXMSG_LBUTTONDOWN:
      return NXMSG_VIDEOBUTTONDOWN;
    case NXMSG_LBUTTONUP:
      return NXMSG_VIDEOBUTTONUP;
    default:
      return NXMSG_VIDEOMOUSEMOVE;
  }
}

Message MouseMessageToVideo(const Core& core, NXVideoWindowNode& video, uint32_t message,
                            MousePoint point) {
  const VideoState state = Snapshot(core, video);
  const uint32_t mapped = VideoMessage(message);
  void* sender = mapped == NXMSG_VIDEOMOUSEMOVE ? nullptr : &video;
  return {state.parent, mapped, point.x - state.absolute.x, point.y - state.absolute.y,
          sender,       nullptr};
}

Message MouseMessageToWindow(const Core& core, const NXWindowNode& node, uint32_t message,
                             MousePoint point) {
  const WindowState state = Snapshot(core, node);
  return {state.id, message, point.x - state.absolute.x, point.y - state.absolute.y,
          nullptr,  nullptr};
}

bool MatchesHotKey(const HotKey& entry, int character, int virtualKey, int modifiers) {
  if (entry.modifiers != modifiers) return false;
  const bool isVirtual = entry.key >= NXKEY_LEFT && entry.key <= NXKEY_DOWN;
  if (isVirtual) return character == -1 && entry.key == virtualKey;
  return character != -1 && entry.key == character;
}

// Who has the key now; null for nobody. With the mutex held.
const HotKey* FindHotKey(Core& core, int character, int virtualKey, int modifiers) {
  if (core.dialogs > 0) return nullptr;
  const NXWindowNode* focus = FindWindow(core, core.focus);
  const bool editing = focus != nullptr && focus->state.editing;
  if (editing && character != NXKEY_ESCAPE) return nullptr;
  const auto found = std::find_if(
      core.hotKeys.rbegin(), core.hotKeys.rend(),
      [=](const HotKey& entry) { return MatchesHotKey(entry, character, virtualKey, modifiers); });
  return found == core.hotKeys.rend() ? nullptr : &*found;
}

void AddTree(const Core& core, const NXWindowNode& node, std::vector<WindowState>* all) {
  all->push_back(Snapshot(core, node));
  for (const NXWindowNode* child : node.children) AddTree(core, *child, all);
}

void AddPainted(const Core& core, const NXWindowNode& node, std::vector<WindowState>* all) {
  if (!node.state.visible) return;
  if (node.state.nxClass == NXClass::Window) all->push_back(Snapshot(core, node));
  for (const NXWindowNode* child : node.children) AddPainted(core, *child, all);
}

void AddVideos(const Core& core, const NXWindowNode& node, std::vector<VideoState>* all) {
  for (const NXVideoWindowNode* video : node.videos) all->push_back(Snapshot(core, *video));
  for (const NXWindowNode* child : node.children) AddVideos(core, *child, all);
}

}  // namespace

bool UserClicked(NodeId id) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  NXWindowNode* node = InputTarget(core, id);
  if (node == nullptr) return false;
  const NXClass nxClass = node->state.nxClass;
  const bool clickable = nxClass == NXClass::Button || nxClass == NXClass::CheckBox ||
                         nxClass == NXClass::PictureButton || nxClass == NXClass::TabButton ||
                         nxClass == NXClass::MiniTabButton || nxClass == NXClass::HotText;
  if (!clickable) return false;
  if (nxClass == NXClass::CheckBox) node->state.check = node->state.check == 0 ? 1 : 0;
  TellAndShow(core, std::move(lock), *node, NXMSG_CLICKED, node->state.check, ChangeCheck);
  return true;
}

bool UserSelected(NodeId id, int index) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  NXWindowNode* node = InputTarget(core, id);
  if (node == nullptr || index < 0) return false;
  if (index >= static_cast<int>(node->state.items.size())) return false;
  TellAndShow(core, std::move(lock), *node, NXMSG_SELCHANGED, index, ChangeSelection);
  return true;
}

bool UserTyped(NodeId id, std::string_view text) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  NXWindowNode* node = InputTarget(core, id);
  if (node == nullptr) return false;
  if (node->state.nxClass == NXClass::Text) return CommitText(core, std::move(lock), *node, text);
  if (node->state.nxClass != NXClass::Number) return false;
  int32_t value = node->state.value;
  const bool read = ReadTypedNumber(node->state, text, &value);
  // A text that says nothing leaves the value as it was.
  return CommitNumber(core, std::move(lock), *node, read ? value : node->state.value);
}

bool UserNumber(NodeId id, int value) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  NXWindowNode* node = InputTarget(core, id);
  if (node == nullptr || node->state.nxClass != NXClass::Number) return false;
  return CommitNumber(core, std::move(lock), *node, value);
}

bool UserSlider(NodeId id, SliderPhase phase, int position) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  NXWindowNode* node = FindWindow(core, id);
  if (node == nullptr || node->state.nxClass != NXClass::Slider) return false;
  // A drag that has begun may end, whatever the application did meanwhile.
  if (phase != SliderPhase::Released && !Snapshot(core, *node).effective) return false;
  WindowState& state = node->state;
  state.value = std::clamp(position, state.low, state.high);
  state.editing = phase != SliderPhase::Released;
  const uint32_t message = phase == SliderPhase::Pressed ? NXMSG_SLIDERPRESSED
                           : phase == SliderPhase::Moved ? NXMSG_SLIDERMOVED
                                                         : NXMSG_SLIDERRELEASED;
  TellAndShow(core, std::move(lock), *node, message, state.value, ChangeValue);
  return true;
}

bool UserFocus(NodeId id, bool gained) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  NXWindowNode* node = gained ? InputTarget(core, id) : FindWindow(core, id);
  if (node == nullptr || node->state.focused == gained) return false;
  node->state.focused = gained;
  if (gained) {
    core.focus = id;
  } else {
    if (core.focus == id) core.focus = 0;
    node->state.editing = false;
  }
  const uint32_t message = gained ? NXMSG_FOCUSGAINED : NXMSG_FOCUSLOST;
  TellAndShow(core, std::move(lock), *node, message, 0, 0);
  return true;
}

bool UserEditing(NodeId id, bool editing) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  NXWindowNode* node = editing ? InputTarget(core, id) : FindWindow(core, id);
  if (node == nullptr) return false;
  const NXClass nxClass = node->state.nxClass;
  if (nxClass != NXClass::Text && nxClass != NXClass::Number) return false;
  node->state.editing = editing;
  // An edit without a result leaves nothing of itself on the screen.
  if (!editing) MarkDirty(core, *node, ChangeText | ChangeValue);
  Settle(core, std::move(lock));
  return true;
}

bool UserMouse(NodeId id, uint32_t message, int x, int y) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  MousePoint point = {x, y};
  NXVideoWindowNode* video = nullptr;
  NXWindowNode* node = nullptr;
  if (const auto found = core.videoById.find(id); found != core.videoById.end()) {
    video = found->second;
    const VideoState state = Snapshot(core, *video);
    point = {x + state.absolute.x, y + state.absolute.y};
  } else if (NXWindowNode* window = FindWindow(core, id); window != nullptr) {
    node = window;
    const WindowState state = Snapshot(core, *node);
    point = {x + state.absolute.x, y + state.absolute.y};
  } else {
    return false;
  }
  core.mouseX = point.x;
  core.mouseY = point.y;
  if (core.mouseCapture != 0) {
    const auto captured = core.videoById.find(core.mouseCapture);
    video = captured == core.videoById.end() ? nullptr : captured->second;
    node = FindWindow(core, core.mouseCapture);
  } else if (node != nullptr ? !Snapshot(core, *node).effective
                             : !Snapshot(core, *video->parent).effective) {
    return false;
  }
  if (node == nullptr && video == nullptr) return false;
  const Message text = video != nullptr ? MouseMessageToVideo(core, *video, message, point)
                                        : MouseMessageToWindow(core, *node, message, point);
  lock.unlock();
  Deliver(text);
  return true;
}

void ReleaseCapturedMouse() {
  Core& core = TheCore();
  Lock lock(core.mutex);
  const NodeId id = std::exchange(core.mouseCapture, 0);
  const MousePoint point = {core.mouseX, core.mouseY};
  Message text;
  if (const auto found = core.videoById.find(id); found != core.videoById.end()) {
    text = MouseMessageToVideo(core, *found->second, NXMSG_LBUTTONUP, point);
  } else if (const NXWindowNode* window = FindWindow(core, id); window != nullptr) {
    text = MouseMessageToWindow(core, *window, NXMSG_LBUTTONUP, point);
  } else {
    return;
  }
  ToolkitBinding* binding = core.binding;
  lock.unlock();
  binding->CaptureMouse(0);
  Deliver(text);
}

bool UserWheel(int delta, int modifier) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  if (core.root == nullptr || !Snapshot(core, *core.root).effective) return false;
  const NodeId root = core.root->state.id;
  lock.unlock();
  Deliver({root, NXMSG_MOUSEWHEEL, delta, modifier, nullptr, nullptr});
  return true;
}

bool IsHotKey(int character, int virtualKey, int modifiers) {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  return FindHotKey(core, character, virtualKey, modifiers) != nullptr;
}

bool UserKey(int character, int virtualKey, int modifiers) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  NodeId target = 0;
  if (const HotKey* entry = FindHotKey(core, character, virtualKey, modifiers); entry != nullptr) {
    target = entry->target;
  } else {
    const NXWindowNode* focus = FindWindow(core, core.focus);
    if (core.dialogs > 0 || focus == nullptr) return false;
    if (focus->state.nxClass != NXClass::Window) return false;
    target = core.focus;
  }
  lock.unlock();
  Deliver({target, NXMSG_KEYDOWN, character, character == -1 ? virtualKey : 0, nullptr, nullptr});
  return true;
}

bool UserExposed(NodeId video) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  const auto found = core.videoById.find(video);
  if (found == core.videoById.end()) return false;
  const Message text{found->second->state.parent, NXMSG_VIDEOEXPOSED, 0, 0, found->second, nullptr};
  lock.unlock();
  Deliver(text);
  return true;
}

void UserActive(bool active) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  core.everActive = core.everActive || active;
  if (!core.everActive) return;
  core.active = active;
  if (core.dialogs > 0 || core.reportedActive == active) return;
  if (core.root == nullptr || core.phase != Phase::Started) return;
  core.reportedActive = active;
  const NodeId root = core.root->state.id;
  lock.unlock();
  Deliver({root, NXMSG_APPACTIVATE, active ? 1 : 0, 0, nullptr, nullptr});
}

void UserClose() {
  Core& core = TheCore();
  Lock lock(core.mutex);
  if (core.dialogs > 0) {
    // The box may stand in a handler that a thread waits for: first that ends, then the loop asks.
    core.closeWanted = true;
    ToolkitBinding* binding = core.binding;
    lock.unlock();
    binding->CancelDialogs();
    return;
  }
  core.closeWanted = false;
  const NXCloseRoutine routine = core.closeRoutine;
  void* context = core.closeContext;
  lock.unlock();
  if (routine != nullptr) routine(context);
}

std::vector<WindowState> AllWindows() {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  std::vector<WindowState> all;
  if (core.root != nullptr) AddTree(core, *core.root, &all);
  return all;
}

std::vector<WindowState> PaintOrder() {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  std::vector<WindowState> all;
  if (core.root != nullptr) AddPainted(core, *core.root, &all);
  return all;
}

std::vector<VideoState> AllVideos() {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  std::vector<VideoState> all;
  if (core.root != nullptr) AddVideos(core, *core.root, &all);
  return all;
}

NxErr RenderWindow(NodeId id) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  const NXWindowNode* node = FindWindow(core, id);
  if (node == nullptr) return NxErrFailure;
  NXWindow* window = node->window;
  lock.unlock();
  return window->RenderNXWindow();
}

NodeId IdOf(const NXWindowNode* node) {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  const auto found = core.live.find(node);
  return found == core.live.end() ? 0 : found->second->state.id;
}

NodeId IdOf(const NXVideoWindowNode* node) {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  const auto found = core.liveVideos.find(node);
  return found == core.liveVideos.end() ? 0 : found->second->state.id;
}

NXWindow* WindowOf(NodeId id) {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  const NXWindowNode* node = FindWindow(core, id);
  return node != nullptr ? node->window : nullptr;
}

NXVideoWindowNode* VideoOf(NodeId id) {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  const auto found = core.videoById.find(id);
  return found == core.videoById.end() ? nullptr : found->second;
}

bool GetWindowState(NodeId id, WindowState* state) {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  const NXWindowNode* node = FindWindow(core, id);
  if (node == nullptr) return false;
  *state = Snapshot(core, *node);
  return true;
}

bool GetVideoState(NodeId id, VideoState* state) {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  const auto found = core.videoById.find(id);
  if (found == core.videoById.end()) return false;
  *state = Snapshot(core, *found->second);
  return true;
}

WindowShadow* ShadowOf(NodeId id) {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  const NXWindowNode* node = FindWindow(core, id);
  return node != nullptr ? node->shadow.get() : nullptr;
}

VideoShadow* VideoShadowOf(NodeId id) {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  const auto found = core.videoById.find(id);
  return found != core.videoById.end() ? found->second->shadow.get() : nullptr;
}

}  // namespace morvane::toolkit
