#pragma once

#include <climits>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "toolkit/core/frame_picture.h"
#include "toolkit/types.h"

// What a binding (the desktop's, or the one without a screen) does for the core, and what the core
// tells it. The core holds the true state of every window; a binding shows it. What a user does
// comes back through user_events.h. One binding is installed for the life of the program, before
// NXInitGUI.
namespace morvane::toolkit {

using NodeId = uint64_t;  // of a window or a video window; 0 none; never used twice

// What changed in a WindowState.
enum Change : uint32_t {
  ChangePlace = 1u << 0,      // rect, or that of a parent
  ChangeShown = 1u << 1,      // visible
  ChangeEnabled = 1u << 2,    // enabled
  ChangeText = 1u << 3,       // text
  ChangeLook = 1u << 4,       // text style, types, picture, scrollable, input type and limit
  ChangeCheck = 1u << 5,      // check
  ChangeItems = 1u << 6,      // items
  ChangeSelection = 1u << 7,  // selection
  ChangeRange = 1u << 8,      // low, high, subLow, subHigh, number type and rate
  ChangeValue = 1u << 9,      // value, valueText
  ChangePressed = 1u << 10,   // must no longer look pressed
  ChangeNames = 1u << 11,     // member, accessibleName
  ChangeAll = 0xFFFu,
};

// A copy of all that a window is. Rectangles hang from the bottom left.
struct WindowState {
  NodeId id = 0;
  NodeId parent = 0;  // 0: the root
  NXClass nxClass = NXClass::Window;
  std::string name;            // of CreateNXWindow
  std::string member;          // for dumps
  std::string accessibleName;  // never empty for a control that has a text, a name or a member
  NxRECT rect;                 // in the parent
  NxRECT absolute;             // in the root
  int32_t parentHeight = 0;    // so the top is at parentHeight - rect.y - rect.h
  int32_t rootHeight = 0;
  bool visible = false;   // as asked for; a hidden parent hides too
  bool enabled = true;    // as asked for
  bool effective = true;  // it and all its parents are visible and enabled
  std::string text;
  int32_t textStyle[2] = {0, 0};
  int32_t check = 0;
  uint32_t buttonType = 0;
  uint32_t picture = 0;  // NXPictureButton
  int32_t backgroundType = 0;
  int32_t comboType = 0;
  std::vector<std::string> items;
  int32_t selection = -1;
  int32_t low = INT32_MIN;  // numbers and sliders
  int32_t high = INT32_MAX;
  int32_t subLow = 0;
  int32_t subHigh = 0;
  int32_t value = 0;
  std::string valueText = "0";  // a number as it shows
  int32_t numberType = 0;       // 2: timecode
  int32_t timeScale = 0;
  int32_t timeRate = 0;
  int32_t dropFrame = 0;
  bool scrollable = false;
  int32_t sliderType = 0;
  bool letters = true;  // what may be typed into a text
  bool digits = true;
  bool others = true;
  int32_t maxCharacters = 0;  // 0: no limit
  bool focused = false;       // as the binding told
  bool editing = false;
};

struct VideoState {
  NodeId id = 0;
  NodeId parent = 0;
  std::string name;
  NxRECT rect;      // in the parent
  NxRECT absolute;  // in the root
  int32_t rootHeight = 0;
  bool shown = false;     // the last NXShowVideoWindow
  bool onScreen = false;  // shown, and all parents visible
  bool acceptsFiles = false;
};

// One window on the screen.
// Threads: main. The core holds no lock while it calls. The shadow of a child is destroyed before
// that of its parent.
class WindowShadow {
 public:
  virtual ~WindowShadow() = default;
  // Shows the state; `changes` (Change, added up) tells where to look. Must not tell the core of
  // changes that the user has not made. While a control is edited the core holds back its text and
  // value; they come with the end of the edit.
  virtual void Update(const WindowState& state, uint32_t changes) = 0;
  // The application wants the keyboard here. Tells UserFocus when it is so.
  virtual void TakeFocus() = 0;
};

// One video window on the screen, black at first.
class VideoShadow {
 public:
  virtual ~VideoShadow() = default;
  // Threads: main.
  virtual void Update(const VideoState& state) = 0;
  // The rest runs on any thread, one call at a time, and must not wait for the main thread. Begin,
  // Show and End of a run come from one thread.
  // Returns: false if no run can begin.
  virtual bool Begin(uint32_t width, uint32_t height, uint32_t displayType) = 0;
  // The picture is the core's and good until the call returns; who wants to keep it gives another,
  // of any size, for it.
  virtual void Show(FramePicture* picture) = 0;
  virtual void End() = 0;
  virtual void Blacken() = 0;  // within a run on its thread, else from any thread
  // How it comes to the screen, for dumps.
  [[nodiscard]] virtual const char* Painter() const = 0;
};

// A message for a window. The id, not the address: another window may stand there by then.
struct Message {
  NodeId target = 0;
  uint32_t message = 0;
  int a = 0;
  int b = 0;
  void* c = nullptr;
  void* d = nullptr;
};

struct GuiSetup {
  int32_t x = 0, y = 0, w = 0, h = 0;  // on the screen, y downwards
  std::string title;
  std::string icon;
};

// Threads: main, with no lock of the core held, except where said.
class ToolkitBinding {
 public:
  virtual ~ToolkitBinding() = default;

  // Also tells base/system.h the screen's size, if that was not done before.
  virtual NxErr InitGui(const GuiSetup& setup) = 0;
  virtual void StartGui() = 0;  // shows the window
  virtual void StopGui() = 0;
  virtual void KillGui() = 0;  // all shadows are gone by then
  // One round of the platform's loop. Calls Service() when Wake() was called.
  virtual void Dispatch(bool wait) = 0;
  // Has the main thread call Service() soon, also from within a modal loop; ends a Dispatch(true)
  // that waits. Must not wait. Threads: any.
  virtual void Wake() = 0;
  // Paints all again, root first, through PaintOrder() and RenderWindow() of user_events.h.
  virtual void Repaint() = 0;

  virtual std::unique_ptr<WindowShadow> MakeWindow(const WindowState& state,
                                                   WindowShadow* parent) = 0;
  virtual std::unique_ptr<VideoShadow> MakeVideo(const VideoState& state) = 0;  // null: refused

  virtual NxErr Minimize() = 0;
  virtual NxErr Maximize(NxRECT* rect, bool restore) = 0;
  virtual NxErr StartMove() = 0;
  virtual NxErr Move() = 0;
  virtual NxErr StopMove() = 0;
  virtual void CaptureMouse(NodeId id) = 0;  // a window or a video window; 0: no more
  virtual void* NativeWindow() = 0;
  // Within RenderWindow() only. `absolute` is the window that renders.
  virtual NxErr PrintText(const std::string& text, const NxRECT& rect, const NxFCOLOR& color,
                          int style, const NxFLOATPOINT* point) = 0;

  // Modal. Meanwhile the main loop goes on, but no hot keys.
  virtual void ShowBox(const std::string& title, const std::string& text) = 0;
  virtual NxErr ChooseFile(const std::string& title, const std::string& filterName,
                           const std::string& patterns, const std::string& folder,
                           std::string* path) = 0;
  virtual NxErr ChooseFolder(const std::string& title, const std::string& folder,
                             std::string* path) = 0;
  // A handler has come to its end, the base class: here a binding could do what the application has
  // not done. Not called for a window that does not exist.
  virtual void MessageEnded(const Message& /*message*/) {}
  // Cancels the dialogs that are open, as the user could; they may still be open on return.
  virtual void CancelDialogs() = 0;
};

// The binding of this program. Null takes it away (a test's end). Threads: main, with no GUI made.
void InstallBinding(ToolkitBinding* binding);

}  // namespace morvane::toolkit
