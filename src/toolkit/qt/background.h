#pragma once

#include <QImage>
#include <memory>
#include <string>
#include <unordered_map>

#include "toolkit/qt/gl_memory.h"
#include "toolkit/types.h"

namespace morvane::toolkit {

// What lies behind the controls: the windows' own drawing, by OpenGL into memory.
// Threads: main.
class Background {
 public:
  // Has all windows on the screen drawn, the root first.
  // Returns: the picture of the top-level window; of one colour where there is no OpenGL.
  QImage Render(int width, int height);
  // Draws a text; only while Render() runs, within the window that draws.
  NxErr PrintText(const std::string& text, const NxRECT& rect, const NxFCOLOR& color, int style,
                  const NxFLOATPOINT* point);

 private:
  // A text as it was painted once.
  struct TextTexture {
    uint32_t name = 0;
    int width = 0;
    int height = 0;
  };
  const TextTexture& Texture(const std::string& text, const NxFCOLOR& color, bool bold);

  std::unique_ptr<GlMemory> memory_;
  bool tried_ = false;
  bool rendering_ = false;
  std::unordered_map<std::string, TextTexture> texts_;
};

}  // namespace morvane::toolkit
