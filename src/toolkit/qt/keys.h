#pragma once

#include <QKeyEvent>

#include "toolkit/messages.h"

namespace morvane::toolkit {

// A key as NXMSG_KEYDOWN tells it.
struct KeyPress {
  int character = 0;   // -1: a virtual key
  int virtualKey = 0;  // NXKEY_LEFT to NXKEY_DOWN
  int modifiers = 0;   // NXModifier
};

[[nodiscard]] inline KeyPress TranslateKey(const QKeyEvent& event) {
  KeyPress press;
  if ((event.modifiers() & Qt::ControlModifier) != 0) press.modifiers |= NXMOD_CONTROL;
  if ((event.modifiers() & Qt::AltModifier) != 0) press.modifiers |= NXMOD_ALT;
  switch (event.key()) {
    case Qt::Key_Left:
      press.virtualKey = NXKEY_LEFT;
      break;
    case Qt::Key_Up:
      press.virtualKey = NXKEY_UP;
      break;
    case Qt::Key_Right:
      press.virtualKey = NXKEY_RIGHT;
      break;
    case Qt::Key_Down:
      press.virtualKey = NXKEY_DOWN;
      break;
    case Qt::Key_Escape:
      press.character = NXKEY_ESCAPE;
      return press;
    default: {
      // With a modifier the text is a control character, so the key itself counts.
      const bool letter = event.key() >= Qt::Key_A && event.key() <= Qt::Key_Z;
      if (press.modifiers != 0 && letter) {
        press.character = 'a' + (event.key() - Qt::Key_A);
      } else if (!event.text().isEmpty()) {
        press.character = event.text().at(0).unicode();
      }
      return press;
    }
  }
  press.character = -1;
  return press;
}

}  // namespace morvane::toolkit
