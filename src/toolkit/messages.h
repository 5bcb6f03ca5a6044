#pragma once

#include <cstdint>

// The messages that reach NXWindow::ReceiveNXMessage(message, a, b, c, d). The numbers are fixed.
// Messages of a control go to its parent with the control (NXWindow*) as c; what is not named is 0.
namespace morvane {

enum NXMessage : uint32_t {
  NXMSG_LBUTTONDOWN = 0x8947,     // a x, b y: mouse press on the window itself
  NXMSG_LBUTTONUP = 0x894A,       // a x, b y
  NXMSG_MOUSEMOVE = 0x894E,       // a x, b y
  NXMSG_CLICKED = 0x8950,         // a state, c sender: button, check box, tab, hot text
  NXMSG_SLIDERMOVED = 0x8953,     // a position, c sender
  NXMSG_KEYDOWN = 0x8954,         // a character, or -1 and then b is the virtual key
  NXMSG_TEXTCHANGED = 0x8955,     // c sender: a text was committed
  NXMSG_NUMBERCHANGED = 0x8956,   // a value, c sender: a number was committed
  NXMSG_SELCHANGED = 0x8958,      // a index, c sender: combo or list
  NXMSG_APPACTIVATE = 0x8959,     // a 0 the program lost the focus, 1 gained it; to the root window
  NXMSG_SLIDERPRESSED = 0x895B,   // a position, c sender
  NXMSG_SLIDERRELEASED = 0x895C,  // a position, c sender
  NXMSG_VIDEOEXPOSED = 0x895F,    // c video window (NXVideoWindowNode*): it was uncovered
  NXMSG_FOCUSGAINED = 0x8960,     // c sender: the control took the keyboard
  NXMSG_FOCUSLOST = 0x8962,       // c sender; behind the commit of what was typed
  NXMSG_VIDEOBUTTONDOWN = 0x8963,  // a x, b y, c video window
  NXMSG_VIDEOBUTTONUP = 0x8964,    // a x, b y, c video window
  NXMSG_VIDEOMOUSEMOVE = 0x8967,   // a x, b y
  NXMSG_MOUSEWHEEL = 0x8969,       // a delta, b modifier (0 or 1); to the root window
};

// The application's own message, above the toolkit's range: a capture has ended by itself.
inline constexpr uint32_t APPMSG_CAPTURE_ENDED = 100000;

// Keys of NXRegisterHotKey. The arrows are virtual keys (a message has a = -1 and b = the key); all
// other keys are characters (a = the character). So "%", "&", "'" and "(" cannot be hot keys.
enum NXKey : int32_t {
  NXKEY_ESCAPE = 0x1B,
  NXKEY_SPACE = 0x20,
  NXKEY_LEFT = 0x25,
  NXKEY_UP = 0x26,
  NXKEY_RIGHT = 0x27,
  NXKEY_DOWN = 0x28,
};

// Modifiers of NXRegisterHotKey, added up. Shift is part of a character and never looked at.
enum NXModifier : int32_t {
  NXMOD_NONE = 0,
  NXMOD_CONTROL = 1,
  NXMOD_ALT = 2,
};

}  // namespace morvane
