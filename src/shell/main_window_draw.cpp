#include <GL/gl.h>

#include "shell/main_window.h"
#include "toolkit/gui.h"

// The background of the main window: title strip, bar behind the tabs, edges.
namespace morvane {
namespace {

constexpr int kStripHeight = 8;  // of each of the two polygons of the title
constexpr int kTitleLeft = 4;
constexpr int kTitleHeight = 16;
constexpr int kTitleStyle = 3;
constexpr int32_t kTitleColor = 17;  // of the scheme
constexpr int kBarTop = 96;          // below the window's top
constexpr int kBarBottom = 128;

void Set(const NxFCOLOR& color) {
  glColor4f(color.r, color.g, color.b, color.a);
}

void Vertex(int x, int y) {
  glVertex2f(static_cast<float>(x), static_cast<float>(y));
}

// A rectangle that shades from one colour at its top to another at its bottom.
void Shade(const NxRECT& rect, const NxFCOLOR& top, const NxFCOLOR& bottom) {
  glBegin(GL_POLYGON);
  Set(top);
  Vertex(rect.x, rect.y + rect.h);
  Vertex(rect.x + rect.w, rect.y + rect.h);
  Set(bottom);
  Vertex(rect.x + rect.w, rect.y);
  Vertex(rect.x, rect.y);
  glEnd();
}

// One pixel of the bevel: left, bottom and right edge of what is left within `inset`.
void Edge(const NxRECT& rect, int inset, int below, const NxFCOLOR& color) {
  const auto middle = static_cast<float>(inset) + 0.5f;  // of a pixel, so that none is missed
  const auto left = static_cast<float>(rect.x) + middle;
  const auto right = static_cast<float>(rect.x + rect.w) - middle;
  const auto bottom = static_cast<float>(rect.y) + middle;
  const auto top = static_cast<float>(rect.y + rect.h - below);
  glBegin(GL_LINES);
  Set(color);
  glVertex2f(left, top);
  glVertex2f(left, bottom);
  glVertex2f(left - 0.5f, bottom);
  glVertex2f(right + 0.5f, bottom);
  glVertex2f(right, bottom);
  glVertex2f(right, top);
  glEnd();
}

}  // namespace

NxErr MorvaneWnd::RenderNXWindow() {
  const int x = nxRect.x;
  const int w = nxRect.w;
  const int h = nxRect.h;
  const int top = nxRect.y + h;
  const NxFCOLOR light = {0.5f, 0.55f, 0.6f, 1.0f};
  const NxFCOLOR middle = {0.25f, 0.3f, 0.35f, 0.5f};
  const NxFCOLOR dark = {0.05f, 0.05f, 0.05f, 0.5f};
  Shade({x, top - kStripHeight, w, kStripHeight}, light, middle);
  Shade({x, top - 2 * kStripHeight, w, kStripHeight}, middle, dark);

  NxFCOLOR titleColor;
  NXGetSchemeColor(kTitleColor, &titleColor);
  const NxRECT title = {kTitleLeft, h - kTitleHeight, w - kTitleLeft, kTitleHeight};
  NXPrintText("VYR Morvane", &title, &titleColor, kTitleStyle, 0, nullptr);

  glColor4f(0.4f, 0.5f, 0.7f, 0.5f);
  glRecti(x + 3, h - kBarTop, x - 4 + w, h - kBarBottom);

  Edge(nxRect, 0, 7, {0.1411f, 0.17f, 0.196f, 1});
  Edge(nxRect, 1, 8, {0.12f, 0.14f, 0.1647f, 1});
  Edge(nxRect, 2, 11, {0.07f, 0.078f, 0.0901f, 1});
  return NxErrSuccess;
}

}  // namespace morvane
