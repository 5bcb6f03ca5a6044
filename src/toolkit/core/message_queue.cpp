#include <algorithm>

#include "base/system.h"
#include "toolkit/core/node.h"

namespace morvane {
namespace {

using toolkit::Core;
using toolkit::Lock;
using toolkit::Message;
using toolkit::PendingSend;
using toolkit::Phase;
using toolkit::TheCore;
using toolkit::ToolkitBinding;

// The id behind a handle, which may be of a window that is gone; 0 for none. With the mutex held.
toolkit::NodeId LiveId(const Core& core, const NXWindowNode* node) {
  const auto found = core.live.find(node);
  return found == core.live.end() ? 0 : found->second->state.id;
}

bool TakesMessages(const Core& core) {
  return core.phase == Phase::Made || core.phase == Phase::Started;
}

}  // namespace

NxErr NXPostMessage(NXWindowNode* node, uint32_t message, int a, int b, void* c, void* d) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  const toolkit::NodeId target = LiveId(core, node);
  if (target == 0 || !TakesMessages(core)) return NxErrFailure;
  core.posts.push_back({target, message, a, b, c, d});
  ToolkitBinding* binding = core.binding;
  const bool wake = toolkit::NeedsWake(core);
  lock.unlock();
  if (wake) binding->Wake();
  return NxErrSuccess;
}

NxErr NXSendMessage(NXWindowNode* node, uint32_t message, int a, int b, void* c, void* d) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  const toolkit::NodeId target = LiveId(core, node);
  if (target == 0) return NxErrFailure;
  if (toolkit::OnMainThread(core)) {
    lock.unlock();
    return toolkit::Deliver({target, message, a, b, c, d});
  }
  if (!TakesMessages(core)) return NxErrFailure;
  PendingSend send{{target, message, a, b, c, d}};
  core.sends.push_back(&send);
  if (core.phase == Phase::Started && toolkit::NeedsWake(core)) {
    ToolkitBinding* binding = core.binding;
    lock.unlock();
    binding->Wake();
    lock.lock();
  }
  core.sendDone.wait(lock, [&send] { return send.done; });
  lock.unlock();
  NxLeaveIfAbandoned();
  return send.result;
}

void NXServiceSends() {
  Core& core = TheCore();
  Lock lock(core.mutex);
  while (toolkit::OnMainThread(core) && !core.sends.empty()) {
    PendingSend* send = core.sends.front();
    core.sends.pop_front();
    const Message message = send->message;
    lock.unlock();
    const NxErr result = toolkit::Deliver(message);
    lock.lock();
    send->result = result;
    send->done = true;
    core.sendDone.notify_all();
  }
}

NxErr NXRegisterHotKey(NXWindowNode* node, int key, int modifiers) {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  const toolkit::NodeId target = LiveId(core, node);
  if (target == 0) return NxErrFailure;
  std::erase_if(core.hotKeys, [=](const toolkit::HotKey& entry) {
    return entry.target == target && entry.key == key && entry.modifiers == modifiers;
  });
  core.hotKeys.push_back({target, key, modifiers});
  return NxErrSuccess;
}

NxErr NXUnRegisterHotKey(NXWindowNode* node, int key) {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  const toolkit::NodeId target = LiveId(core, node);
  const auto removed = std::erase_if(core.hotKeys, [=](const toolkit::HotKey& entry) {
    return entry.target == target && entry.key == key;
  });
  return removed > 0 ? NxErrSuccess : NxErrFailure;
}

}  // namespace morvane
