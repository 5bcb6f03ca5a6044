#pragma once

#include "toolkit/window.h"

// The controls. Two rules for what a user does to them:
//  - A button, a tab, a combo and a list only tell (NXMSG_CLICKED, NXMSG_SELCHANGED); their check
//    or selection stays until the application sets it.
//  - A check box, a number, a slider and a text take what the user did before they tell.
// Arguments called `repaint` say whether the change should be painted; it always is, soon.
// Setters return -2, with nothing changed, where an argument is refused.
namespace morvane {

// A push button with its text on it.
class NXButton : public NXWindow {
 public:
  NXButton() : NXWindow(NXClass::Button) {}
  virtual NxErr ButtonNXType(uint32_t type);  // kept for whoever draws it
  virtual NxErr SetNXCheck(int check);
  [[nodiscard]] virtual int GetNXCheck();
};

// A box with a tick and its text beside it. A click turns 0 into 1 and all else into 0.
class NXCheckBox : public NXWindow {
 public:
  NXCheckBox() : NXWindow(NXClass::CheckBox) {}
  virtual NxErr ButtonNXType(uint32_t type);
  virtual NxErr SetNXCheck(int check);
  [[nodiscard]] virtual int GetNXCheck();
};

// A button with a picture:
//   1 still, 2 stop, 3 play, 4 play backwards, 5 fast forward, 6 rewind, 7 step forward, 8 step
//   back, 9 to the end, 10 to the start, 11 close, 12 minimise, 14 clear, 15 set in point, 16 set
//   out point, 17 record, 23 maximise; any other number an empty button.
class NXPictureButton : public NXWindow {
 public:
  NXPictureButton() : NXWindow(NXClass::PictureButton) {}
  virtual NxErr ButtonNXPictureType(uint32_t picture);
  virtual NxErr ButtonNXType(uint32_t type);
  virtual NxErr ResetNXActionState(bool repaint);  // no longer looks pressed
  virtual NxErr SetNXCheck(int check);
  [[nodiscard]] virtual int GetNXCheck();
  virtual NxErr SetNXBkType(int type);
  [[nodiscard]] virtual int GetNXBkType();
};

// A tab: one of a row; the application checks one of them.
class NXTabButton : public NXWindow {
 public:
  NXTabButton() : NXWindow(NXClass::TabButton) {}
  virtual NxErr SetNXTabCheck(int check);
  [[nodiscard]] virtual int GetNXTabCheck();
};

class NXMiniTabButton : public NXWindow {
 public:
  NXMiniTabButton() : NXWindow(NXClass::MiniTabButton) {}
  virtual NxErr SetNXTabCheck(int check);
  [[nodiscard]] virtual int GetNXTabCheck();
};

// A list of which one item shows; it drops down when clicked.
class NXComboButton : public NXWindow {
 public:
  NXComboButton() : NXWindow(NXClass::ComboButton) {}
  // Inserts before item `position`, 0 to the count; -1 appends. The selected item stays selected.
  virtual NxErr InsertNXItem(int position, const char* text, bool repaint);
  // Writes at most `size` - 1 bytes and a terminator. -2, and an empty text, without that item.
  virtual NxErr GetNXItemText(int index, char* text, int size);
  virtual NxErr SetNXCurSel(int index, bool repaint);  // -1: none
  [[nodiscard]] virtual int GetNXCurSel();             // -1: none, as at first
  virtual NxErr ResetNXAll(bool repaint);              // no items, none selected
  virtual NxErr SetNXComboType(int type);
};

// The same operations with all items in view.
class NXHotTextList : public NXWindow {
 public:
  NXHotTextList() : NXWindow(NXClass::HotTextList) {}
  virtual NxErr InsertNXItem(int position, const char* text, bool repaint);
  virtual NxErr GetNXItemText(int index, char* text, int size);
  virtual NxErr SetNXCurSel(int index, bool repaint);
  [[nodiscard]] virtual int GetNXCurSel();
  virtual NxErr ResetNXAll(bool repaint);
};

// A whole number that can be typed, or a timecode (type 2).
class NXNumber : public NXWindow {
 public:
  NXNumber() : NXWindow(NXClass::Number) {}
  // Both ends belong to the range; at first it has all 32-bit numbers. Moves the value into it.
  // -2 when low is above high.
  virtual NxErr SetNXNumberRange(int low, int high, bool repaint);
  [[nodiscard]] virtual int GetNXNumberPos();
  virtual NxErr PutNXNumberPos(int value, bool repaint);  // moved into the range
  // The value as the control shows it, into kTimecodeTextBytes bytes: timecode with type 2, else
  // digits.
  virtual NxErr GetNXNumberTC(char* text);
  // Sets the value from such a text. -2 for digits that are no number.
  virtual NxErr PutNXNumberTC(const char* text, bool repaint);
  [[nodiscard]] virtual int GetNXNumberType();
  // Type 2: the value is a frame count and shows as timecode at `timeScale` / `timeRate` frames a
  // second (30000/1001), counted in drop frame where `dropFrame` is not 0. Every other type is a
  // plain number. -2 for type 2 with a pair that is no timecode rate.
  virtual NxErr PutNXNumberType(int type, int timeScale, int timeRate, int dropFrame);
  // True: the wheel and the arrow keys step the value.
  virtual NxErr SetNXScrollable(bool scrollable);
  [[nodiscard]] virtual bool GetNXScrollable();
};

// A thumb on a track.
class NXSlider : public NXWindow {
 public:
  NXSlider() : NXWindow(NXClass::Slider) {}
  [[nodiscard]] virtual int GetNXSliderType();
  virtual NxErr SetNXSliderType(int type, bool repaint);
  // Both ends belong to the range, 0 to 100 at first. Moves thumb and sub-range into it.
  // -2 when low is above high, here and below.
  virtual NxErr SetNXSliderRange(int low, int high, bool repaint);
  virtual NxErr SetNXSliderSubRange(int low, int high, bool repaint);  // a part that is marked
  [[nodiscard]] virtual int GetNXSliderPos();
  virtual NxErr PutNXSliderPos(int position, bool repaint);  // moved into the range
};

// A line of text that can be typed.
class NXText : public NXWindow {
 public:
  NXText() : NXWindow(NXClass::Text) {}
  // What may be typed; all of it at first. Everything that is neither letter nor digit is `others`.
  // Text that the application sets is not looked at.
  virtual NxErr SetNXTextInputType(bool letters, bool digits, bool others);
  // The longest text in characters, typed or set; 0, as at first: no limit. -2 below 0.
  virtual NxErr SetNXTextInputMax(int characters);
};

// A text that a user cannot change; clicks on it go nowhere.
class NXStatic : public NXWindow {
 public:
  NXStatic() : NXWindow(NXClass::Static) {}
};

// A text that can be clicked.
class NXHotText : public NXWindow {
 public:
  NXHotText() : NXWindow(NXClass::HotText) {}
};

class NXScroll : public NXWindow {
 public:
  NXScroll() : NXWindow(NXClass::Scroll) {}
};

}  // namespace morvane
