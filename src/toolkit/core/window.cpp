#include "toolkit/window.h"

#include <algorithm>

#include "toolkit/core/node.h"
#include "toolkit/core/text_input.h"
#include "toolkit/core/user_events.h"

namespace morvane {
namespace {

using toolkit::Core;
using toolkit::Lock;
using toolkit::TheCore;
using toolkit::WindowState;

// A state as it is when a window comes into being; what a window is called stays.
WindowState FirstState(const WindowState& before, const char* name, bool visible,
                       const NxRECT& rect) {
  WindowState state;
  state.nxClass = before.nxClass;
  state.name = name != nullptr ? name : "";
  state.text = state.name;
  state.rect = rect;
  state.visible = visible;
  if (state.nxClass == NXClass::Slider) {
    state.low = 0;
    state.high = 100;
    state.subHigh = 100;
  }
  return state;
}

// Plain windows are painted with the background.
void WantRepaint(const WindowState& state, bool repaint) {
  if (repaint && state.nxClass == NXClass::Window) NXRePaint();
}

// Takes a window out of the core. `lock` is held.
void Unlink(Core& core, NXWindowNode& node) {
  if (node.parent != nullptr) {
    auto& siblings = node.parent->children;
    siblings.erase(std::remove(siblings.begin(), siblings.end(), &node), siblings.end());
  }
  const toolkit::NodeId id = node.state.id;
  std::erase_if(core.hotKeys, [id](const toolkit::HotKey& key) { return key.target == id; });
  if (core.mouseCapture == id) core.mouseCapture = 0;
  if (core.focus == id) core.focus = 0;
  if (core.root == &node) core.root = nullptr;
  core.byId.erase(id);
  core.live.erase(&node);
  node.alive = false;
  node.dirty = 0;
  node.parent = nullptr;
}

// Destroys what is below a window and then the window, whose OnNXDestroy was called already.
void Remove(NXWindow* window, NXWindowNode& node) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  while (node.alive && !node.children.empty()) {
    NXWindowNode& child = *node.children.back();
    lock.unlock();
    child.window->OnNXDestroy();
    Remove(child.window, child);
    lock.lock();
  }
  while (node.alive && !node.videos.empty()) {
    NXVideoWindowNode* video = node.videos.back();
    lock.unlock();
    toolkit::DestroyVideo(core, video);
    lock.lock();
  }
  if (!node.alive) return;  // a handler did it
  Unlink(core, node);
  std::unique_ptr<toolkit::WindowShadow> shadow = std::move(node.shadow);
  lock.unlock();
  shadow.reset();
  window->nxNode = nullptr;
}

}  // namespace

NXWindow::NXWindow() : NXWindow(NXClass::Window) {}

NXWindow::NXWindow(NXClass nxClass) : own_(std::make_shared<NXWindowNode>()) {
  own_->state.nxClass = nxClass;
  own_->window = this;
}

NXWindow::~NXWindow() {
  Remove(this, *own_);
  own_->window = nullptr;
}

NxErr NXWindow::CreateNXWindow(const char* name, uint32_t /*style*/, uint32_t visible,
                               uint32_t /*flags*/, const NxRECT* rect, NXWindow* parent) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  if (!toolkit::OnMainThread(core) || own_->alive || rect == nullptr) return NxErrFailure;
  if (parent == nullptr ? core.root != nullptr : !parent->own_->alive) return NxErrFailure;
  NXWindowNode& node = *own_;
  node.state = FirstState(node.state, name, visible != 0, *rect);
  node.state.id = ++core.lastId;
  node.alive = true;
  if (parent == nullptr) {
    core.root = &node;
  } else {
    node.parent = parent->own_.get();
    node.state.parent = node.parent->state.id;
    node.parent->children.push_back(&node);
  }
  core.live[&node] = own_;
  core.byId[node.state.id] = &node;
  nxRect = *rect;
  nxNode = &node;
  toolkit::WindowShadow* above = node.parent != nullptr ? node.parent->shadow.get() : nullptr;
  toolkit::ToolkitBinding* binding = core.binding;
  const WindowState state = toolkit::Snapshot(core, node);
  lock.unlock();
  node.shadow = binding->MakeWindow(state, above);
  if (node.shadow != nullptr) node.shadow->Update(state, toolkit::ChangeAll);
  WantRepaint(state, state.visible);
  return OnNXCreate();
}

NxErr NXWindow::DestroyNXWindow() {
  Core& core = TheCore();
  {
    const Lock lock(core.mutex);
    if (!toolkit::OnMainThread(core) || !own_->alive) return NxErrFailure;
  }
  const NxErr result = OnNXDestroy();
  Remove(this, *own_);
  return result;
}

NxErr NXWindow::ResizeNXWindow(const NxRECT* rect, bool repaint) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  if (!toolkit::OnMainThread(core) || !own_->alive || rect == nullptr) return NxErrFailure;
  own_->state.rect = *rect;
  nxRect = *rect;
  toolkit::MarkPlaced(core, *own_);
  const WindowState state = toolkit::Snapshot(core, *own_);
  toolkit::Settle(core, std::move(lock));
  const NxErr result = OnNXResize();
  WantRepaint(state, repaint);
  return result;
}

NxErr NXWindow::SetNXFocus() {
  Core& core = TheCore();
  Lock lock(core.mutex);
  if (!toolkit::OnMainThread(core) || !own_->alive) return NxErrFailure;
  if (!toolkit::Snapshot(core, *own_).effective) return NxErrFailure;
  toolkit::WindowShadow* shadow = own_->shadow.get();
  lock.unlock();
  if (shadow != nullptr) shadow->TakeFocus();
  return NxErrSuccess;
}

NxErr NXWindow::ShowNXWindow(int show, bool repaint) {
  WindowState state;
  const NxErr result =
      toolkit::ChangeWindow(*own_, toolkit::ChangeShown, [show, &state](WindowState& now) {
        now.visible = show != 0;
        state.nxClass = now.nxClass;
        return NxErrSuccess;
      });
  if (result == NxErrSuccess) WantRepaint(state, repaint);
  return result;
}

NxErr NXWindow::EnableNXWindow(int enable, bool /*repaint*/) {
  return toolkit::ChangeWindow(*own_, toolkit::ChangeEnabled, [enable](WindowState& state) {
    state.enabled = enable != 0;
    return NxErrSuccess;
  });
}

bool NXWindow::IsVisible() {
  return toolkit::ReadWindow(*own_, false, [](const WindowState& state) { return state.visible; });
}

bool NXWindow::IsEnabled() {
  return toolkit::ReadWindow(*own_, false, [](const WindowState& state) { return state.enabled; });
}

NxErr NXWindow::RenderNXWindow() {
  return NxErrSuccess;
}

NxErr NXWindow::GetNXRect(NxRECT* rect) {
  if (rect == nullptr) return NxErrFailure;
  return toolkit::ReadWindow(*own_, NxErrFailure, [rect](const WindowState& state) {
    *rect = state.rect;
    return NxErrSuccess;
  });
}

NxErr NXWindow::SetWindowNXText(const char* text, bool repaint) {
  if (text == nullptr) return NxErrFailure;
  WindowState before;
  const NxErr result =
      toolkit::ChangeWindow(*own_, toolkit::ChangeText, [text, &before](WindowState& state) {
        state.text = toolkit::CutCharacters(text, state.maxCharacters);
        before.nxClass = state.nxClass;
        return NxErrSuccess;
      });
  if (result == NxErrSuccess) WantRepaint(before, repaint);
  return result;
}

NxErr NXWindow::GetWindowNXText(char* text, int size) {
  if (text == nullptr || size < 1) return NxErrFailure;
  *text = '\0';
  return toolkit::ReadWindow(*own_, NxErrFailure, [text, size](const WindowState& state) {
    toolkit::CopyText(state.text, text, size);
    return NxErrSuccess;
  });
}

NxErr NXWindow::SetWindowNXTextStyle(int first, int second, bool /*repaint*/) {
  return toolkit::ChangeWindow(*own_, toolkit::ChangeLook, [=](WindowState& state) {
    state.textStyle[0] = first;
    state.textStyle[1] = second;
    return NxErrSuccess;
  });
}

NxErr NXWindow::GetWindowNXTextStyle(int& first, int& second) {
  first = second = 0;
  return toolkit::ReadWindow(*own_, NxErrFailure, [&](const WindowState& state) {
    first = state.textStyle[0];
    second = state.textStyle[1];
    return NxErrSuccess;
  });
}

NxErr NXWindow::ReceiveNXMessage(uint32_t message, int a, int b, void* c, void* d) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  if (!own_->alive) return NxErrSuccess;
  toolkit::ToolkitBinding* binding = core.binding;
  const toolkit::Message ended{own_->state.id, message, a, b, c, d};
  lock.unlock();
  binding->MessageEnded(ended);
  return NxErrSuccess;
}

NxErr NXWindow::SendNXMessage(NXWindow* target, uint32_t message, int a, int b, void* c, void* d) {
  if (target == nullptr) return NxErrFailure;
  return NXSendMessage(target->own_.get(), message, a, b, c, d);
}

NXWindow* NXWindow::GetNXParent() {
  NXWindowNode* parent = GetNXParentWnd();
  return parent != nullptr ? parent->window : nullptr;
}

NXWindowNode* NXWindow::GetNXParentWnd() {
  const Lock lock(TheCore().mutex);
  return own_->alive ? own_->parent : nullptr;
}

NxErr NXWindow::OnNXCreate() {
  return NxErrSuccess;
}

NxErr NXWindow::OnNXResize() {
  return NxErrSuccess;
}

NxErr NXWindow::OnNXDestroy() {
  return NxErrSuccess;
}

void NXWindow::NameNXWindow(const char* member, const char* accessibleName) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  own_->memberName = member != nullptr ? member : "";
  own_->spokenName = accessibleName != nullptr ? accessibleName : "";
  if (!own_->alive) return;
  toolkit::MarkDirty(core, *own_, toolkit::ChangeNames);
  toolkit::Settle(core, std::move(lock));
}

}  // namespace morvane
