#include "toolkit/video_window.h"

#include <algorithm>

#include "toolkit/core/node.h"

namespace morvane {
namespace toolkit {

void DestroyVideo(Core& core, NXVideoWindowNode* node) {
  Lock lock(core.mutex);
  const auto found = core.liveVideos.find(node);
  if (found == core.liveVideos.end()) return;
  const std::shared_ptr<NXVideoWindowNode> kept = found->second;
  core.liveVideos.erase(found);
  core.videoById.erase(kept->state.id);
  if (core.mouseCapture == kept->state.id) core.mouseCapture = 0;
  auto& siblings = kept->parent->videos;
  siblings.erase(std::remove(siblings.begin(), siblings.end(), node), siblings.end());
  kept->parent = nullptr;
  lock.unlock();
  // A thread that found the window just before may be drawing in it.
  const std::lock_guard drawing(kept->drawing);
  kept->gone = true;
  kept->shadow.reset();
}

}  // namespace toolkit

namespace {

using toolkit::Core;
using toolkit::Lock;
using toolkit::TheCore;

std::shared_ptr<NXVideoWindowNode> Find(const NXVideoWindowNode* node) {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  const auto found = core.liveVideos.find(node);
  return found == core.liveVideos.end() ? nullptr : found->second;
}

// Changes the state of a video window that exists, on the main thread.
template <typename ChangeState>
NxErr ChangeVideo(NXVideoWindowNode* node, ChangeState change) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  if (!toolkit::OnMainThread(core) || core.liveVideos.count(node) == 0) return NxErrFailure;
  change(node->state);
  if (!node->dirty) core.dirtyVideos.push_back(node->state.id);
  node->dirty = true;
  toolkit::Settle(core, std::move(lock));
  return NxErrSuccess;
}

// Whether the calling thread has the run of this window. The mutex is taken here.
bool HasRun(const NXVideoWindowNode& node) {
  const Lock lock(TheCore().mutex);
  return node.runThread == std::this_thread::get_id();
}

void SetRun(NXVideoWindowNode& node, std::thread::id thread) {
  const Lock lock(TheCore().mutex);
  node.runThread = thread;
}

// Claims the run for the calling thread. False while another thread has it.
bool ClaimRun(NXVideoWindowNode& node, bool* hadIt) {
  const Lock lock(TheCore().mutex);
  const std::thread::id self = std::this_thread::get_id();
  *hadIt = node.runThread == self;
  if (!*hadIt && node.runThread != std::thread::id()) return false;
  node.runThread = self;
  return true;
}

NxErr CaptureMouse(toolkit::NodeId id) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  if (!toolkit::OnMainThread(core)) return NxErrFailure;
  core.mouseCapture = id;
  toolkit::ToolkitBinding* binding = core.binding;
  lock.unlock();
  binding->CaptureMouse(id);
  return NxErrSuccess;
}

}  // namespace

NxErr NXCaptureMouse(NXWindowNode* node) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  const auto found = core.live.find(node);
  const toolkit::NodeId id = found != core.live.end() ? found->second->state.id : 0;
  lock.unlock();
  return id != 0 ? CaptureMouse(id) : NxErrFailure;
}

NxErr NXReleaseMouse() {
  return CaptureMouse(0);
}

NXVideoWindowNode* NXCreateVideoWindow(NXWindowNode* parent, const char* name, const NxRECT* rect,
                                       int /*option*/) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  const auto above = core.live.find(parent);
  if (!toolkit::OnMainThread(core) || above == core.live.end() || rect == nullptr) return nullptr;
  const auto node = std::make_shared<NXVideoWindowNode>();
  node->state.id = ++core.lastId;
  node->state.parent = parent->state.id;
  node->state.name = name != nullptr ? name : "";
  node->state.rect = *rect;
  node->parent = parent;
  parent->videos.push_back(node.get());
  core.liveVideos[node.get()] = node;
  core.videoById[node->state.id] = node.get();
  toolkit::ToolkitBinding* binding = core.binding;
  const toolkit::VideoState state = toolkit::Snapshot(core, *node);
  lock.unlock();
  node->shadow = binding->MakeVideo(state);
  if (node->shadow == nullptr) {
    toolkit::DestroyVideo(core, node.get());
    return nullptr;
  }
  node->shadow->Update(state);
  return node.get();
}

NxErr NXDestroyVideoWindow(NXVideoWindowNode* node) {
  Core& core = TheCore();
  {
    const Lock lock(core.mutex);
    if (!toolkit::OnMainThread(core) || core.liveVideos.count(node) == 0) return NxErrFailure;
  }
  toolkit::DestroyVideo(core, node);
  return NxErrSuccess;
}

NxErr NXResizeVideoWindow(NXVideoWindowNode* node, const NxRECT* rect) {
  if (rect == nullptr) return NxErrFailure;
  return ChangeVideo(node, [rect](toolkit::VideoState& state) { state.rect = *rect; });
}

NxErr NXShowVideoWindow(NXVideoWindowNode* node, int show) {
  return ChangeVideo(node, [show](toolkit::VideoState& state) { state.shown = show != 0; });
}

uint8_t NXIsVideoWindowVisible(NXVideoWindowNode* node) {
  Core& core = TheCore();
  const Lock lock(core.mutex);
  return core.liveVideos.count(node) != 0 && node->state.shown ? 1 : 0;
}

NxErr NXBlackenVideoWindow(NXVideoWindowNode* node) {
  const auto kept = Find(node);
  if (kept == nullptr) return NxErrFailure;
  const std::lock_guard drawing(kept->drawing);
  if (kept->gone) return NxErrFailure;
  kept->shadow->Blacken();
  return NxErrSuccess;
}

NxErr NXStartDisplayVideoFrame(NXVideoWindowNode* node, uint32_t width, uint32_t height,
                               uint32_t displayType, const NxRGBLUT* lut) {
  const auto kept = Find(node);
  if (kept == nullptr || displayType > NXDISPLAY_TEXTURE) return NxErrFailure;
  const std::lock_guard drawing(kept->drawing);
  bool hadIt = false;
  if (kept->gone || !ClaimRun(*kept, &hadIt)) return NxErrFailure;
  if (hadIt) kept->shadow->End();
  kept->lut = lut;
  if (kept->shadow->Begin(width, height, displayType)) return NxErrSuccess;
  SetRun(*kept, {});
  return NxErrFailure;
}

NxErr NXDisplayVideoFrame(NXVideoWindowNode* node, const NXVideoFrame* frame, const NxRGBLUT* lut) {
  const auto kept = Find(node);
  if (kept == nullptr || frame == nullptr) return NxErrFailure;
  const std::lock_guard drawing(kept->drawing);
  if (kept->gone || !HasRun(*kept)) return NxErrFailure;
  const NxRGBLUT* curves = lut != nullptr ? lut : kept->lut;
  if (!toolkit::ConvertFrame(*frame, curves, &kept->picture)) return NxErrFailure;
  kept->shadow->Show(&kept->picture);
  return NxErrSuccess;
}

NxErr NXStopDisplayVideoFrame(NXVideoWindowNode* node) {
  const auto kept = Find(node);
  if (kept == nullptr) return NxErrFailure;
  const std::lock_guard drawing(kept->drawing);
  if (kept->gone || !HasRun(*kept)) return NxErrFailure;
  kept->shadow->End();
  kept->lut = nullptr;
  SetRun(*kept, {});
  return NxErrSuccess;
}

NxErr NXVCaptureMouse(NXVideoWindowNode* node) {
  Core& core = TheCore();
  Lock lock(core.mutex);
  const auto found = core.liveVideos.find(node);
  const toolkit::NodeId id = found != core.liveVideos.end() ? found->second->state.id : 0;
  lock.unlock();
  return id != 0 ? CaptureMouse(id) : NxErrFailure;
}

NxErr NXVReleaseMouse() {
  return CaptureMouse(0);
}

NxErr NXRegDropFilesVideoWindow(NXVideoWindowNode* node) {
  return ChangeVideo(node, [](toolkit::VideoState& state) { state.acceptsFiles = true; });
}

NxErr NXUnRegDropFilesVideoWindow(NXVideoWindowNode* node) {
  return ChangeVideo(node, [](toolkit::VideoState& state) { state.acceptsFiles = false; });
}

}  // namespace morvane
