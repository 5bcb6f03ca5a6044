#pragma once

#include <array>
#include <span>
#include <string>

#include "desktop.h"

namespace morvane::test {

// The tabs' middles on a screen of the window's size, from the top left.
inline constexpr std::array<int, 2> kPlayTab = {56, 64};
inline constexpr std::array<int, 2> kCaptureTab = {153, 64};
inline constexpr std::array<int, 2> kSetupTab = {250, 64};

struct NamedPixel {
  int x;  // of the screen, from the top left
  int y;
  std::array<int, 3> colour;
  int within;  // of each colour
};

// What is wrong with a picture; empty for nothing.
[[nodiscard]] std::string FaultsOfPixels(const Screen& screen, std::span<const NamedPixel> pixels);

// What is wrong with a picture of the main window on a screen of its size; empty for nothing.
[[nodiscard]] std::string FaultsOfWindow(const Screen& screen);

}  // namespace morvane::test
