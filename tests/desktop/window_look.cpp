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
  {  1028, 400, {31, 36, 42},      2  },
  {  1027, 400, {18, 20, 23},      2  },
  {  500,  767, {36, 43, 50},      2  },
  {  500,  766, {31, 36, 42},      2  },
  {  500,  765, {18, 20, 23},      2  },
  {  0,    6,   {55, 64, 74},      4  },  // where its lines begin, below the strip's last pixel
  {  0,    7,   {36, 43, 50},      2  },
  {  1,    7,   {48, 56, 65},      4  },
  {  1,    8,   {31, 36, 42},      2  },
  {  2,    10,  {37, 42, 49},      4  },
  {  2,    11,  {18, 20, 23},      2  },
  {  1029, 6,   {55, 64, 74},      4  },
  {  1029, 7,   {36, 43, 50},      2  },
  {  1028, 7,   {48, 56, 65},      4  },
  {  1028, 8,   {31, 36, 42},      2  },
  {  1027, 10,  {37, 42, 49},      4  },
  {  1027, 11,  {18, 20, 23},      2  },
  {  500,  0,   {128, 140, 153},   12 },  // the strip's upper half
  {  500,  7,   {48, 56, 65},      4  },
  {  500,  8,   {43, 50, 59},      4  },  // its lower one
  {  500,  15,  {21, 22, 25},      4  },
  {  500,  95,  {26, 28, 33},      2  },  // the bar and what is around it
  {  500,  96,  {64, 78, 105},     2  },
  {  500,  127, {64, 78, 105},     2  },
  {  3,    112, {64, 78, 105},     2  },
  {  1025, 112, {64, 78, 105},     2  },
  {  1026, 112, {26, 28, 33},      2  },
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
