#include "window_look.h"

#include <cstdlib>

namespace morvane::test {
namespace {

// clang-format off
constexpr NamedPixel kPixels[] = {
  // x     y    colour             within
  {  0,    400, {36, 43, 50},      2  },  // the bevel
  {  1,    400, {31, 36, 42},      2  },
  {  2,    400, {18, 20, 23},      2  },
  {  1029, 400, {36, 43, 50},      2  },
  {  500,  767, {36, 43, 50},      2  },
  {  500,  0,   {128, 140, 153},   12 },  // the strip
};
// clang-format on

}  // namespace

std::string FaultsOfPixels(const Screen& screen, std::span<const NamedPixel> pixels) {
  std::string faults;
  for (const NamedPixel& pixel : pixels) {
    const std::array<int, 3> got = screen.At(pixel.x, pixel.y);
    for (size_t i = 0; i < 3; ++i) {
      if (std::abs(got[i] - pixel.colour[i]) <= pixel.within) continue;
      faults += "(" + std::to_string(pixel.x) + ", " + std::to_string(pixel.y) + ") colour " +
                std::to_string(i) + ": wanted " + std::to_string(pixel.colour[i]) + ", got " +
                std::to_string(got[i]) + "\n";
    }
  }
  return faults;
}

std::string FaultsOfWindow(const Screen& screen) {
  std::string faults = FaultsOfPixels(screen, kPixels);
  // The title's letters stand in the strip's left end and nowhere else.
  int inTitle = 0;
  int besides = 0;
  for (int y = 3; y < 16; ++y) {
    for (int x = 0; x < 900; ++x) {
      if (screen.At(x, y)[0] > 200) ++(x >= 4 && x < 120 ? inTitle : besides);
    }
  }
  if (inTitle <= 100) faults += "title of " + std::to_string(inTitle) + " pixels\n";
  if (besides > 0) faults += "letters beside the title\n";
  // The list of output options: an edge that the bar behind it has not.
  if (screen.At(900, 112) == screen.At(780, 112)) faults += "no list of output options\n";
  return faults;
}

}  // namespace morvane::test
