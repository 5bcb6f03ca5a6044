#pragma once

#include <memory>
#include <string>

#include "toolkit/core/user_events.h"
#include "toolkit/video_window.h"
#include "toolkit/window.h"

namespace morvane::test {

// A user in front of a binding, and eyes. The same tests of the contract run with each binding:
// a program of tests links one MakeHands(). Calls return false where a user could not do it.
class Hands {
 public:
  virtual ~Hands() = default;  // takes the binding away

  virtual bool Click(NXWindow& control) = 0;
  // Focus, the keys of the text in place of what is there, Enter.
  virtual bool Type(NXWindow& control, const std::string& text) = 0;
  // Focus and the keys, but no Enter yet; then the rest.
  virtual bool BeginTyping(NXWindow& control, const std::string& text) = 0;
  virtual bool EndTyping(NXWindow& control, bool enter) = 0;
  virtual bool Select(NXWindow& list, int index) = 0;
  virtual bool Slide(NXWindow& slider, toolkit::SliderPhase phase, int position) = 0;
  virtual bool Focus(NXWindow& control) = 0;
  virtual void Blur() = 0;
  virtual void Key(int key) = 0;  // as HeadlessToolkit::Key
  virtual bool Mouse(NXWindow& window, uint32_t message, int x, int y) = 0;  // y upwards
  virtual bool Mouse(NXVideoWindowNode* video, uint32_t message, int x, int y) = 0;
  virtual bool Wheel(int delta, int modifier) = 0;
  virtual bool Expose(NXVideoWindowNode* video) = 0;
  virtual void Activate(bool active) = 0;
  // Closes the next message box once `meanwhile` has run within it.
  virtual void OnNextBox(void (*meanwhile)(void* context), void* context) = 0;

  // Handles all that is there to be handled.
  virtual void Settle() = 0;

  // What the screen shows of a control.
  virtual bool IsShown(NXWindow& control) = 0;      // with its parents
  virtual bool IsEnabled(NXWindow& control) = 0;    // with its parents
  virtual std::string Text(NXWindow& control) = 0;  // of a number and a text: what stands in it
  virtual int Checked(NXWindow& control) = 0;       // 0 or 1
  virtual int Selected(NXWindow& list) = 0;
  virtual int Items(NXWindow& list) = 0;
  virtual int Position(NXWindow& slider) = 0;
  virtual NxRECT Place(NXWindow& control) = 0;  // in the top-level window, from its bottom left
  // The pixel of a video window as 0xRRGGBB, from its bottom left.
  virtual uint32_t Pixel(NXVideoWindowNode* video, int x, int y) = 0;
};

std::unique_ptr<Hands> MakeHands();

}  // namespace morvane::test
