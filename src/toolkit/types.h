#pragma once

#include <cstdint>

#include "base/nx_err.h"
#include "processing/records.h"

// What every header of the toolkit shares. Coordinates are whole pixels, the origin is the bottom
// left of the parent and y grows upwards; texts are UTF-8.
namespace morvane {

struct NXWindowNode;       // opaque: a window as the toolkit knows it
struct NXVideoWindowNode;  // opaque: a video window
class NXWindow;

// Which class a window is, for whoever draws it.
enum class NXClass : uint8_t {
  Window,
  Button,
  CheckBox,
  PictureButton,
  TabButton,
  MiniTabButton,
  ComboButton,
  HotTextList,
  Number,
  Slider,
  Text,
  Static,
  HotText,
  Scroll,
};

}  // namespace morvane
