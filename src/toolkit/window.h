#pragma once

#include <memory>

#include "toolkit/types.h"

namespace morvane {

// A rectangle of the one top-level window, with children; the base of every control and of the
// application's own windows. A window exists in the toolkit from CreateNXWindow() to
// DestroyNXWindow(); before and after, operations return -2 and getters say no, 0 or null.
//
// A handler (ReceiveNXMessage, OnNX..., RenderNXWindow) runs on the main thread, with no lock of
// the toolkit held; an override of ReceiveNXMessage ends by calling its base class.
//
// Threads: constructor and destructor, create, destroy, resize and SetNXFocus on the main thread
// (the one that called NXInitGUI; -2 elsewhere); everything else on any thread. A setter stores the
// new state and returns, it never waits for the main thread; on the main thread the screen follows
// at once, else soon.
class NXWindow {
 public:
  NXWindow();
  // Destroys the window if that was not done; OnNXDestroy is not called then.
  virtual ~NXWindow();
  NXWindow(const NXWindow&) = delete;
  NXWindow& operator=(const NXWindow&) = delete;

  // Makes the window, a child of `parent` or, with null, the root (there can be one), and calls
  // OnNXCreate. `name` is the window's text at first. `style` and `flags` are not looked at.
  // Returns: what OnNXCreate says; -2 before NXInitGUI, when it exists already, without a rectangle
  // or when `parent` does not exist.
  virtual NxErr CreateNXWindow(const char* name, uint32_t style, uint32_t visible, uint32_t flags,
                               const NxRECT* rect, NXWindow* parent);
  // Calls OnNXDestroy, then destroys the children, the last made first, their video windows too,
  // then the window itself. Messages on their way to any of them are dropped.
  virtual NxErr DestroyNXWindow();
  // Moves and sizes the window, then calls OnNXResize. Children keep their rectangles.
  virtual NxErr ResizeNXWindow(const NxRECT* rect, bool repaint);
  virtual NxErr SetNXFocus();
  // `show` 0 hides the window and all in it.
  virtual NxErr ShowNXWindow(int show, bool repaint);
  // `enable` 0: the window and all in it take no mouse and no keys.
  virtual NxErr EnableNXWindow(int enable, bool repaint);
  // What was asked for of this window; a hidden or disabled parent does not count.
  [[nodiscard]] virtual bool IsVisible();
  [[nodiscard]] virtual bool IsEnabled();
  // Paints the window's background, by OpenGL in a current context: one unit a pixel, the origin at
  // the window's own bottom left, alpha blending on. Called by the toolkit, root first.
  virtual NxErr RenderNXWindow();
  virtual NxErr GetNXRect(NxRECT* rect);
  virtual NxErr SetWindowNXText(const char* text, bool repaint);
  // Writes at most `size` - 1 bytes (never half a character) and a terminator.
  virtual NxErr GetWindowNXText(char* text, int size);
  // Two numbers that are kept for whoever draws the text.
  virtual NxErr SetWindowNXTextStyle(int first, int second, bool repaint);
  virtual NxErr GetWindowNXTextStyle(int& first, int& second);
  virtual NxErr ReceiveNXMessage(uint32_t message, int a, int b, void* c, void* d);
  // As NXSendMessage to the target's node.
  virtual NxErr SendNXMessage(NXWindow* target, uint32_t message, int a, int b, void* c, void* d);
  [[nodiscard]] virtual NXWindow* GetNXParent();
  [[nodiscard]] virtual NXWindowNode* GetNXParentWnd();
  virtual NxErr OnNXCreate();
  virtual NxErr OnNXResize();
  virtual NxErr OnNXDestroy();

  [[nodiscard]] NXWindowNode* GetNXWndHandle() const { return nxNode; }

  // What this window is called in a dump of the screen, and what a screen reader says of it (null:
  // the window's text). At any time, also before the window exists.
  void NameNXWindow(const char* member, const char* accessibleName = nullptr);

  // Read by the application; written by the toolkit, on the main thread.
  NxRECT nxRect;
  NXWindowNode* nxNode = nullptr;

 protected:
  explicit NXWindow(NXClass nxClass);

  // For the controls: what stands behind this window, never null.
  [[nodiscard]] const std::shared_ptr<NXWindowNode>& OwnNode() const { return own_; }

 private:
  std::shared_ptr<NXWindowNode> own_;
};

}  // namespace morvane
