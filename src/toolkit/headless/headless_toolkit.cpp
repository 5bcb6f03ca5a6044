#include "toolkit/headless/headless_toolkit.h"

#include "base/system.h"
#include "toolkit/gui.h"

namespace morvane {

using toolkit::FramePicture;
using toolkit::NodeId;
using toolkit::VideoState;
using toolkit::WindowState;

// What a screen shows of a window: of each update only what it says has changed.
class HeadlessToolkit::Shadow final : public toolkit::WindowShadow {
 public:
  explicit Shadow(HeadlessToolkit* toolkit) : toolkit_(toolkit) {}
  ~Shadow() override {
    if (toolkit_->focus_ == shown_.id) toolkit_->focus_ = 0;
  }

  void Update(const WindowState& state, uint32_t changes) override {
    const bool showsText = (changes & toolkit::ChangeText) != 0;
    const bool showsValue = (changes & toolkit::ChangeValue) != 0;
    WindowState next = state;
    if (!showsText) next.text = shown_.text;
    if (!showsValue) {
      next.value = shown_.value;
      next.valueText = shown_.valueText;
    }
    shown_ = std::move(next);
    ++updates_;
    if ((changes & (toolkit::ChangeShown | toolkit::ChangeEnabled)) != 0) toolkit_->CheckFocus();
  }
  void TakeFocus() override { toolkit_->MoveFocus(shown_.id); }
  void FollowHand(int position) { shown_.value = position; }  // a thumb that is dragged

  [[nodiscard]] const WindowState& Shown() const { return shown_; }
  [[nodiscard]] int Updates() const { return updates_; }

 private:
  HeadlessToolkit* const toolkit_;
  WindowState shown_;
  int updates_ = 0;
};

class HeadlessToolkit::Screen final : public toolkit::VideoShadow {
 public:
  explicit Screen(HeadlessToolkit* toolkit) : toolkit_(toolkit) {}
  ~Screen() override {
    if (toolkit_->videoGoes_) toolkit_->videoGoes_(state_);
  }

  void Update(const VideoState& state) override {
    state_ = state;
    if (toolkit_->videoChanges_) toolkit_->videoChanges_(state_);
  }
  bool Begin(uint32_t width, uint32_t height, uint32_t displayType) override {
    const std::lock_guard lock(mutex_);
    video_.running = true;
    video_.width = width;
    video_.height = height;
    video_.displayType = displayType;
    ++video_.runs;
    return true;
  }
  void Show(FramePicture* picture) override {
    const std::lock_guard lock(mutex_);
    std::swap(video_.last, *picture);
    video_.black = false;
    ++video_.frames;
  }
  void End() override {
    const std::lock_guard lock(mutex_);
    video_.running = false;
  }
  [[nodiscard]] const char* Painter() const override { return "none"; }
  void Blacken() override {
    const std::lock_guard lock(mutex_);
    video_.black = true;
  }
  [[nodiscard]] Video Look() {
    const std::lock_guard lock(mutex_);
    return video_;
  }

 private:
  HeadlessToolkit* const toolkit_;
  VideoState state_;  // the main thread's
  std::mutex mutex_;
  Video video_;
};

HeadlessToolkit::HeadlessToolkit(int screenWidth, int screenHeight)
    : screenWidth_(screenWidth), screenHeight_(screenHeight) {
  NxSetScreenSize(static_cast<uint32_t>(screenWidth), static_cast<uint32_t>(screenHeight));
  toolkit::InstallBinding(this);
}

HeadlessToolkit::~HeadlessToolkit() {
  NXKillGUI();
  toolkit::InstallBinding(nullptr);
}

// --- The user
// -------------------------------------------------------------------------------------

bool HeadlessToolkit::Click(NXWindow& control) {
  return toolkit::UserClicked(toolkit::IdOf(control.nxNode));
}

bool HeadlessToolkit::Type(NXWindow& control, std::string_view text) {
  return BeginTyping(control) && EnterTyping(control, text);
}

bool HeadlessToolkit::BeginTyping(NXWindow& control) {
  return Focus(control) && toolkit::UserEditing(toolkit::IdOf(control.nxNode), true);
}

bool HeadlessToolkit::EnterTyping(NXWindow& control, std::string_view text) {
  const NodeId id = toolkit::IdOf(control.nxNode);
  if (id == 0 || focus_ != id) return false;
  const bool done = toolkit::UserTyped(id, text);
  if (focus_ == id) MoveFocus(0);
  return done;
}

bool HeadlessToolkit::EscapeTyping(NXWindow& control) {
  const NodeId id = toolkit::IdOf(control.nxNode);
  if (id == 0 || focus_ != id) return false;
  const bool done = toolkit::UserEditing(id, false);
  if (focus_ == id) MoveFocus(0);
  return done;
}

bool HeadlessToolkit::Step(NXWindow& number, int value) {
  return toolkit::UserNumber(toolkit::IdOf(number.nxNode), value);
}

bool HeadlessToolkit::Select(NXWindow& list, int index) {
  return toolkit::UserSelected(toolkit::IdOf(list.nxNode), index);
}

bool HeadlessToolkit::Slide(NXWindow& slider, toolkit::SliderPhase phase, int position) {
  const NodeId id = toolkit::IdOf(slider.nxNode);
  if (auto* shadow = static_cast<Shadow*>(toolkit::ShadowOf(id)); shadow != nullptr) {
    shadow->FollowHand(position);
  }
  return toolkit::UserSlider(id, phase, position);
}

bool HeadlessToolkit::Focus(NXWindow& control) {
  const NodeId id = toolkit::IdOf(control.nxNode);
  MoveFocus(id);
  return id != 0 && focus_ == id;
}

void HeadlessToolkit::Blur() {
  MoveFocus(0);
}

bool HeadlessToolkit::Key(int key, int modifiers) {
  const bool arrow = key >= NXKEY_LEFT && key <= NXKEY_DOWN;
  return toolkit::UserKey(arrow ? -1 : key, arrow ? key : 0, modifiers);
}

bool HeadlessToolkit::Mouse(NXWindow& window, uint32_t message, int x, int y) {
  return toolkit::UserMouse(toolkit::IdOf(window.nxNode), message, x, y);
}

bool HeadlessToolkit::Mouse(NXVideoWindowNode* video, uint32_t message, int x, int y) {
  return toolkit::UserMouse(toolkit::IdOf(video), message, x, y);
}

bool HeadlessToolkit::Wheel(int delta, int modifier) {
  return toolkit::UserWheel(delta, modifier);
}

void HeadlessToolkit::MovePointer(int screenX, int screenY) {
  pointerX_ = screenX;
  pointerY_ = screenY;
}

bool HeadlessToolkit::Expose(NXVideoWindowNode* video) {
  return toolkit::UserExposed(toolkit::IdOf(video));
}

void HeadlessToolkit::Activate(bool active) {
  toolkit::UserActive(active);
}

void HeadlessToolkit::Close() {
  toolkit::UserClose();
}

NXWindow* HeadlessToolkit::Find(std::string_view name) const {
  NodeId found = 0;
  for (const WindowState& state : toolkit::AllWindows()) {
    if (state.member != name && state.name != name) continue;
    if (found == 0 || state.effective) found = state.id;
    if (state.effective) break;
  }
  return toolkit::WindowOf(found);
}

void HeadlessToolkit::Later(std::function<void()> action) {
  const std::lock_guard lock(mutex_);
  later_.push_back(std::move(action));
  something_.notify_all();
}

void HeadlessToolkit::MoveFocus(NodeId id) {
  if (id == focus_) return;
  const NodeId before = std::exchange(focus_, 0);
  if (before != 0) toolkit::UserFocus(before, false);
  if (id == 0 || focus_ != 0) return;  // a handler moved it already
  focus_ = id;
  if (!toolkit::UserFocus(id, true) && focus_ == id) focus_ = 0;
}

void HeadlessToolkit::CheckFocus() {
  WindowState state;
  if (focus_ != 0 && toolkit::GetWindowState(focus_, &state) && !state.effective) MoveFocus(0);
}

// --- The screen
// -------------------------------------------------------------------------------------

WindowState HeadlessToolkit::Shown(const NXWindow& window) const {
  const auto* shadow = static_cast<const Shadow*>(toolkit::ShadowOf(toolkit::IdOf(window.nxNode)));
  return shadow != nullptr ? shadow->Shown() : WindowState();
}

int HeadlessToolkit::Updates(const NXWindow& window) const {
  const auto* shadow = static_cast<const Shadow*>(toolkit::ShadowOf(toolkit::IdOf(window.nxNode)));
  return shadow != nullptr ? shadow->Updates() : 0;
}

std::vector<HeadlessToolkit::PrintedText> HeadlessToolkit::Render() {
  printed_.clear();
  for (const WindowState& state : toolkit::PaintOrder()) toolkit::RenderWindow(state.id);
  return std::exchange(printed_, {});
}

HeadlessToolkit::Video HeadlessToolkit::Look(const NXVideoWindowNode* video) const {
  auto* screen = static_cast<Screen*>(toolkit::VideoShadowOf(toolkit::IdOf(video)));
  return screen != nullptr ? screen->Look() : Video();
}

// --- ToolkitBinding
// ---------------------------------------------------------------------------------

NxErr HeadlessToolkit::InitGui(const toolkit::GuiSetup& setup) {
  Tell(Stage::Init);
  window_ = {};
  window_.x = setup.x;
  window_.y = setup.y;
  window_.w = setup.w;
  window_.h = setup.h;
  window_.title = setup.title;
  window_.icon = setup.icon;
  window_.made = true;
  return NxErrSuccess;
}

void HeadlessToolkit::StartGui() {
  Tell(Stage::Start);
  window_.started = true;
}

void HeadlessToolkit::StopGui() {
  Tell(Stage::Stop);
  window_.started = false;
}

void HeadlessToolkit::KillGui() {
  Tell(Stage::Kill);
  window_.made = false;
  focus_ = capture_ = 0;
}

void HeadlessToolkit::Dispatch(bool wait) {
  std::unique_lock lock(mutex_);
  if (wait) something_.wait(lock, [this] { return woken_ || !later_.empty(); });
  woken_ = false;
  const auto actions = std::exchange(later_, {});
  lock.unlock();
  toolkit::Service();
  for (const auto& action : actions) action();
}

void HeadlessToolkit::Wake() {
  const std::lock_guard lock(mutex_);
  woken_ = true;
  something_.notify_all();
}

void HeadlessToolkit::Repaint() {
  ++repaints_;
}

std::unique_ptr<toolkit::WindowShadow> HeadlessToolkit::MakeWindow(
    const WindowState& /*state*/, toolkit::WindowShadow* /*parent*/) {
  return std::make_unique<Shadow>(this);
}

std::unique_ptr<toolkit::VideoShadow> HeadlessToolkit::MakeVideo(const VideoState& /*state*/) {
  return std::make_unique<Screen>(this);
}

NxErr HeadlessToolkit::Minimize() {
  window_.minimized = true;
  return NxErrSuccess;
}

NxErr HeadlessToolkit::Maximize(NxRECT* rect, bool restore) {
  Tell(Stage::Maximize);
  if (!restore) {
    if (!window_.fullScreen) {
      smallX_ = window_.x;
      smallY_ = window_.y;
    }
    *rect = {0, 0, screenWidth_, screenHeight_};
  }
  window_.fullScreen = !restore;
  window_.x = restore ? smallX_ : 0;
  window_.y = restore ? smallY_ : 0;
  window_.w = rect->w;
  window_.h = rect->h;
  return NxErrSuccess;
}

NxErr HeadlessToolkit::StartMove() {
  moving_ = true;
  grabX_ = pointerX_ - window_.x;
  grabY_ = pointerY_ - window_.y;
  return NxErrSuccess;
}

NxErr HeadlessToolkit::Move() {
  if (!moving_) return NxErrFailure;
  window_.x = pointerX_ - grabX_;
  window_.y = pointerY_ - grabY_;
  return NxErrSuccess;
}

NxErr HeadlessToolkit::StopMove() {
  moving_ = false;
  return NxErrSuccess;
}

void HeadlessToolkit::CaptureMouse(NodeId id) {
  capture_ = id;
}

NxErr HeadlessToolkit::PrintText(const std::string& text, const NxRECT& rect, const NxFCOLOR& color,
                                 int style, const NxFLOATPOINT* /*point*/) {
  printed_.push_back({text, rect, color, style});
  return NxErrSuccess;
}

void HeadlessToolkit::ShowBox(const std::string& title, const std::string& text) {
  boxes_.push_back({title, text});
  if (whileBox_) whileBox_();
}

NxErr HeadlessToolkit::ChooseFile(const std::string& title, const std::string& /*filterName*/,
                                  const std::string& /*patterns*/, const std::string& folder,
                                  std::string* path) {
  return Answer(title, folder, path);
}

NxErr HeadlessToolkit::ChooseFolder(const std::string& title, const std::string& folder,
                                    std::string* path) {
  return Answer(title, folder, path);
}

NxErr HeadlessToolkit::Answer(const std::string& title, const std::string& folder,
                              std::string* path) {
  lastDialog_ = {title, folder};
  if (answer_.empty()) return NxErrFailure;
  *path = std::exchange(answer_, {});
  return NxErrSuccess;
}

}  // namespace morvane
