#include "toolkit/qt/background.h"

#define GL_GLEXT_PROTOTYPES
#include <GL/gl.h>
#include <GL/glext.h>

#include <QApplication>
#include <QFontMetrics>
#include <QPainter>

#include "toolkit/core/user_events.h"
#include "toolkit/gui.h"
#include "toolkit/qt/look.h"

namespace morvane::toolkit {
namespace {

constexpr int kBold = 1;
constexpr int kCentred = 2;
constexpr size_t kMostTexts = 256;  // of the cache, which is emptied beyond

// The drawing area of one window: nothing outside of it changes, its bottom left is (0, 0).
void EnterWindow(const WindowState& state) {
  const NxRECT& place = state.absolute;
  glViewport(place.x, place.y, place.w, place.h);
  glScissor(place.x, place.y, place.w, place.h);
  glEnable(GL_SCISSOR_TEST);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glOrtho(0, place.w, 0, place.h, -1, 1);
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
  glDisable(GL_TEXTURE_2D);
  glEnable(GL_BLEND);
  glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
}

}  // namespace

QImage Background::Render(int width, int height) {
  QImage image(std::max(width, 1), std::max(height, 1), QImage::Format_RGB32);
  const QColor ground = SchemeColor(0);
  if (!tried_) memory_ = GlMemory::Create();
  tried_ = true;
  if (rendering_ || memory_ == nullptr || !memory_->Enter(image.width(), image.height())) {
    image.fill(ground);
    return image;
  }
  rendering_ = true;
  glDisable(GL_SCISSOR_TEST);
  glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
  glClearColor(static_cast<float>(ground.redF()), static_cast<float>(ground.greenF()),
               static_cast<float>(ground.blueF()), 1);
  glClear(GL_COLOR_BUFFER_BIT);
  glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_FALSE);  // the picture stays opaque
  for (const WindowState& state : PaintOrder()) {
    if (state.absolute.w < 1 || state.absolute.h < 1) continue;
    EnterWindow(state);
    RenderWindow(state.id);
  }
  memory_->Read(image.bits());
  memory_->Leave();
  rendering_ = false;
  return image.mirrored();
}

const Background::TextTexture& Background::Texture(const std::string& text, const NxFCOLOR& color,
                                                   bool bold) {
  const QColor pen = QColor::fromRgbF(color.r, color.g, color.b, color.a);
  const std::string key = (bold ? "b" : "n") + pen.name(QColor::HexArgb).toStdString() + text;
  if (const auto found = texts_.find(key); found != texts_.end()) return found->second;
  if (texts_.size() >= kMostTexts) {
    for (const auto& [unused, old] : texts_) glDeleteTextures(1, &old.name);
    texts_.clear();
  }
  QFont font = QApplication::font();
  font.setBold(bold);
  const QString letters = QString::fromStdString(text);
  const QFontMetrics metrics(font);
  QImage image(std::max(metrics.horizontalAdvance(letters), 1), std::max(metrics.height(), 1),
               QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  painter.setFont(font);
  painter.setPen(pen);
  painter.drawText(0, metrics.ascent(), letters);
  painter.end();

  TextTexture made;
  made.width = image.width();
  made.height = image.height();
  glGenTextures(1, &made.name);
  glBindTexture(GL_TEXTURE_2D, made.name);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
  glPixelStorei(GL_UNPACK_ROW_LENGTH, static_cast<int>(image.bytesPerLine() / 4));
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, made.width, made.height, 0, GL_BGRA, GL_UNSIGNED_BYTE,
               image.constBits());
  glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
  return texts_.emplace(key, made).first->second;
}

NxErr Background::PrintText(const std::string& text, const NxRECT& rect, const NxFCOLOR& color,
                            int style, const NxFLOATPOINT* point) {
  if (!rendering_) return NxErrFailure;
  if (text.empty()) return NxErrSuccess;
  glPushAttrib(GL_CURRENT_BIT | GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_TEXTURE_BIT);
  const TextTexture& texture = Texture(text, color, (style & kBold) != 0);
  const int spare = rect.h - texture.height;
  // Whole pixels, or the letters blur.
  int left = rect.x;
  int bottom = (style & kCentred) != 0 ? rect.y + spare / 2 : rect.y + spare;
  if (point != nullptr) {
    left += static_cast<int>(point->x);
    bottom += static_cast<int>(point->y);
  }
  const int right = left + texture.width;
  const int top = bottom + texture.height;
  glEnable(GL_TEXTURE_2D);
  glBindTexture(GL_TEXTURE_2D, texture.name);
  glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_REPLACE);
  glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);  // the letters' edges are premultiplied
  glBegin(GL_QUADS);
  glTexCoord2f(0, 0);
  glVertex2i(left, top);
  glTexCoord2f(1, 0);
  glVertex2i(right, top);
  glTexCoord2f(1, 1);
  glVertex2i(right, bottom);
  glTexCoord2f(0, 1);
  glVertex2i(left, bottom);
  glEnd();
  glPopAttrib();
  return NxErrSuccess;
}

}  // namespace morvane::toolkit
