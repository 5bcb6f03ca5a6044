#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "toolkit/core/binding.h"
#include "toolkit/core/user_events.h"
#include "toolkit/video_window.h"
#include "toolkit/window.h"

namespace morvane {

// The toolkit without a screen: the same windows and messages, a record of what a screen would show
// and a user that a test plays. Made before NXInitGUI and alive until after NXKillGUI.
//
// What the user does happens at once: the messages have been handled when a call returns. What
// other threads asked for happens in NXDispatchGUI. Calls return false, with nothing done, where a
// user could not do it: the control is hidden, disabled or not of that kind. Threads: the main one,
// but for Later().
class HeadlessToolkit final : public toolkit::ToolkitBinding {
 public:
  // Installs itself. Tells the screen's size to base/system.h.
  explicit HeadlessToolkit(int screenWidth = 1280, int screenHeight = 1024);
  ~HeadlessToolkit() override;  // NXKillGUI, if that was not done
  HeadlessToolkit(const HeadlessToolkit&) = delete;
  HeadlessToolkit& operator=(const HeadlessToolkit&) = delete;

  // --- The user ---------------------------------------------------------------------------------
  bool Click(NXWindow& control);
  // Takes the focus, types in place of what is there, and presses Enter, which gives it up.
  bool Type(NXWindow& control, std::string_view text);
  // The same in steps. Escape drops what was typed.
  bool BeginTyping(NXWindow& control);
  bool EnterTyping(NXWindow& control, std::string_view text);
  bool EscapeTyping(NXWindow& control);
  bool Step(NXWindow& number, int value);  // arrows or wheel of a number
  bool Select(NXWindow& list, int index);
  bool Slide(NXWindow& slider, toolkit::SliderPhase phase, int position);
  bool Focus(NXWindow& control);  // by the Tab key
  void Blur();                    // nothing has the focus
  // A character, or one of NXKEY_LEFT to NXKEY_DOWN for the arrow keys.
  bool Key(int key, int modifiers = 0);
  // x and y in the window, upwards. `message` as in UserMouse.
  bool Mouse(NXWindow& window, uint32_t message, int x, int y);
  bool Mouse(NXVideoWindowNode* video, uint32_t message, int x, int y);
  bool Wheel(int delta, int modifier);
  void MovePointer(int screenX, int screenY);  // y downwards; for NXMoveGUI
  bool Expose(NXVideoWindowNode* video);
  void Activate(bool active);  // the program gains or loses the focus
  void Close();                // as the desktop asks
  // The window that NameNXWindow or CreateNXWindow named so; of several the first that is on the
  // screen, else the first. Returns: null if there is none.
  [[nodiscard]] NXWindow* Find(std::string_view name) const;
  // Done by the next NXDispatchGUI, which it ends. Threads: any.
  void Later(std::function<void()> action);

  // --- What dialogs say, and what was said in them
  // ------------------------------------------------
  struct Box {
    std::string title;
    std::string text;
    bool operator==(const Box&) const = default;
  };
  [[nodiscard]] std::vector<Box> TakeBoxes() { return std::exchange(boxes_, {}); }
  // How often the toolkit cancelled what was open.
  [[nodiscard]] int Cancels() const { return cancels_; }
  // Called while a box is open.
  void WhileBoxIsOpen(std::function<void()> action) { whileBox_ = std::move(action); }
  // What the next file or folder dialog returns; empty: cancelled.
  void AnswerPath(std::string path) { answer_ = std::move(path); }
  // Title and start folder of the last one.
  [[nodiscard]] const Box& LastDialog() const { return lastDialog_; }

  // --- The screen
  // --------------------------------------------------------------------------------- What a screen
  // shows of this window: behind the true state until a NXDispatchGUI when another thread changed
  // it, or until the end of an edit.
  [[nodiscard]] toolkit::WindowState Shown(const NXWindow& window) const;
  [[nodiscard]] int Updates(const NXWindow& window) const;  // how often it was brought up to date
  [[nodiscard]] int Repaints() const { return repaints_; }
  struct PrintedText {
    std::string text;
    NxRECT rect;
    NxFCOLOR color;
    int style = 0;
  };
  // Calls RenderNXWindow of all that is on the screen, with no OpenGL context. Returns: the texts
  // that were printed.
  [[nodiscard]] std::vector<PrintedText> Render();

  struct Video {
    bool running = false;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t displayType = 0;
    int runs = 0;
    int frames = 0;              // shown so far
    bool black = true;           // blackened, and no frame since
    toolkit::FramePicture last;  // the last frame
  };
  [[nodiscard]] Video Look(const NXVideoWindowNode* video) const;

  // Called when a message has come to the end of its handler; when a video window has changed, and
  // when it goes, with its last state.
  void WhenMessageEnds(std::function<void(const toolkit::Message&)> action) {
    messageEnds_ = std::move(action);
  }
  void WhenVideoChanges(std::function<void(const toolkit::VideoState&)> action) {
    videoChanges_ = std::move(action);
  }
  void WhenVideoGoes(std::function<void(const toolkit::VideoState&)> action) {
    videoGoes_ = std::move(action);
  }

  // Called before the whole window is made, started, stopped, taken away or maximised.
  enum class Stage { Init, Start, Stop, Kill, Maximize };
  void BeforeStage(std::function<void(Stage)> action) { beforeStage_ = std::move(action); }

  struct TopLevel {
    int x = 0, y = 0, w = 0, h = 0;  // on the screen, y downwards
    std::string title;
    std::string icon;
    bool made = false;
    bool started = false;
    bool minimized = false;
    bool fullScreen = false;
  };
  [[nodiscard]] const TopLevel& Window() const { return window_; }
  [[nodiscard]] toolkit::NodeId MouseCapture() const { return capture_; }

  // --- ToolkitBinding
  // -----------------------------------------------------------------------------
  NxErr InitGui(const toolkit::GuiSetup& setup) override;
  void StartGui() override;
  void StopGui() override;
  void KillGui() override;
  void Dispatch(bool wait) override;
  void Wake() override;
  void Repaint() override;
  std::unique_ptr<toolkit::WindowShadow> MakeWindow(const toolkit::WindowState& state,
                                                    toolkit::WindowShadow* parent) override;
  std::unique_ptr<toolkit::VideoShadow> MakeVideo(const toolkit::VideoState& state) override;
  NxErr Minimize() override;
  NxErr Maximize(NxRECT* rect, bool restore) override;
  NxErr StartMove() override;
  NxErr Move() override;
  NxErr StopMove() override;
  void CaptureMouse(toolkit::NodeId id) override;
  void* NativeWindow() override { return nullptr; }
  NxErr PrintText(const std::string& text, const NxRECT& rect, const NxFCOLOR& color, int style,
                  const NxFLOATPOINT* point) override;
  void ShowBox(const std::string& title, const std::string& text) override;
  NxErr ChooseFile(const std::string& title, const std::string& filterName,
                   const std::string& patterns, const std::string& folder,
                   std::string* path) override;
  NxErr ChooseFolder(const std::string& title, const std::string& folder,
                     std::string* path) override;
  void CancelDialogs() override { ++cancels_; }
  void MessageEnded(const toolkit::Message& message) override {
    if (messageEnds_) messageEnds_(message);
  }

 private:
  class Shadow;
  class Screen;

  void MoveFocus(toolkit::NodeId id);
  void Tell(Stage stage) const {
    if (beforeStage_) beforeStage_(stage);
  }
  void CheckFocus();  // what can no longer have it loses it
  NxErr Answer(const std::string& title, const std::string& folder, std::string* path);

  const int screenWidth_;
  const int screenHeight_;
  TopLevel window_;
  int smallX_ = 0;  // where the window stood before it went to full screen
  int smallY_ = 0;
  int pointerX_ = 0;
  int pointerY_ = 0;
  int grabX_ = 0;  // of the pointer in the window while it is moved
  int grabY_ = 0;
  bool moving_ = false;
  toolkit::NodeId focus_ = 0;
  toolkit::NodeId capture_ = 0;
  int repaints_ = 0;
  std::vector<Box> boxes_;
  std::function<void()> whileBox_;
  std::function<void(const toolkit::Message&)> messageEnds_;
  std::function<void(const toolkit::VideoState&)> videoChanges_;
  std::function<void(const toolkit::VideoState&)> videoGoes_;
  std::function<void(Stage)> beforeStage_;
  std::string answer_;
  Box lastDialog_;
  int cancels_ = 0;
  std::vector<PrintedText> printed_;

  // Shared with other threads.
  std::mutex mutex_;
  std::condition_variable something_;
  bool woken_ = false;
  std::vector<std::function<void()>> later_;
};

}  // namespace morvane
