#include "toolkit/qt/look.h"

#include <QApplication>
#include <QPainterPath>
#include <QPalette>
#include <QStyleFactory>

#include "toolkit/gui.h"

namespace morvane::toolkit {
namespace {

constexpr int kFontPixels = 11;

// Pictures are drawn in a square from (-1, -1), top left, to (1, 1).
QPainterPath Triangle(double from, double to) {  // points to `to`
  QPainterPath path(QPointF(from, -0.6));
  path.lineTo(to, 0);
  path.lineTo(from, 0.6);
  path.closeSubpath();
  return path;
}

QPainterPath Bar(double x, double width) {
  QPainterPath path;
  path.addRect(x, -0.6, width, 1.2);
  return path;
}

QPainterPath Box(double x, double y, double w, double h) {
  QPainterPath path;
  path.addRect(x, y, w, h);
  return path;
}

QPainterPath Cross() {
  QPainterPath path;
  constexpr double kArm = 0.14;
  QPolygonF arm;
  arm << QPointF(-0.6 - kArm, -0.6 + kArm) << QPointF(-0.6 + kArm, -0.6 - kArm)
      << QPointF(0.6 + kArm, 0.6 - kArm) << QPointF(0.6 - kArm, 0.6 + kArm);
  path.addPolygon(arm);
  path.closeSubpath();
  QPainterPath other;
  QPolygonF mirrored;
  for (const QPointF& point : arm) mirrored << QPointF(-point.x(), point.y());
  other.addPolygon(mirrored);
  other.closeSubpath();
  return path.united(other);
}

QPainterPath Frame() {
  return Box(-0.65, -0.6, 1.3, 1.2).subtracted(Box(-0.45, -0.3, 0.9, 0.7));
}

QPainterPath Circle(double radius) {
  QPainterPath path;
  path.addEllipse(QPointF(0, 0), radius, radius);
  return path;
}

QPainterPath Bracket(double side) {  // opens to the right with side -1
  QPainterPath path = Box(-0.1, -0.7, 0.2, 1.4);
  const double x = side < 0 ? -0.1 : -0.5;
  path = path.united(Box(x, -0.7, 0.6, 0.2));
  return path.united(Box(x, 0.5, 0.6, 0.2));
}

QPainterPath Picture(uint32_t number) {
  switch (number) {
    case 1:  // still
      return Bar(-0.5, 0.35) + Bar(0.15, 0.35);
    case 2:  // stop
      return Box(-0.55, -0.55, 1.1, 1.1);
    case 3:  // play
      return Triangle(-0.5, 0.7);
    case 4:  // play backwards
      return Triangle(0.5, -0.7);
    case 5:  // fast forward
      return Triangle(-0.8, 0) + Triangle(0, 0.8);
    case 6:  // rewind
      return Triangle(0.8, 0) + Triangle(0, -0.8);
    case 7:  // step forward
      return Bar(-0.6, 0.25) + Triangle(-0.2, 0.7);
    case 8:  // step back
      return Bar(0.35, 0.25) + Triangle(0.2, -0.7);
    case 9:  // to the end
      return Triangle(-0.7, 0.3) + Bar(0.4, 0.25);
    case 10:  // to the start
      return Triangle(0.7, -0.3) + Bar(-0.65, 0.25);
    case 11:  // close
      return Cross();
    case 12:  // minimise
      return Box(-0.6, 0.35, 1.2, 0.25);
    case 14:  // clear
      return Circle(0.65).subtracted(Circle(0.4)) + Box(-0.35, -0.1, 0.7, 0.2);
    case 15:  // set in point
      return Bracket(-1);
    case 16:  // set out point
      return Bracket(1);
    case 17:  // record
      return Circle(0.6);
    case 23:  // maximise
      return Frame();
    default:
      return {};
  }
}

}  // namespace

QColor SchemeColor(int entry) {
  NxFCOLOR color;
  NXGetSchemeColor(entry, &color);
  return QColor::fromRgbF(color.r, color.g, color.b, color.a);
}

void ApplyLook() {
  QApplication::setStyle(QStyleFactory::create("Fusion"));
  QPalette palette;
  palette.setColor(QPalette::Window, SchemeColor(0));
  palette.setColor(QPalette::WindowText, SchemeColor(1));
  palette.setColor(QPalette::Base, SchemeColor(2));
  palette.setColor(QPalette::AlternateBase, SchemeColor(0));
  palette.setColor(QPalette::Text, SchemeColor(3));
  palette.setColor(QPalette::PlaceholderText, SchemeColor(10));
  palette.setColor(QPalette::Button, SchemeColor(4));
  palette.setColor(QPalette::ButtonText, SchemeColor(5));
  palette.setColor(QPalette::BrightText, SchemeColor(9));
  palette.setColor(QPalette::Highlight, SchemeColor(8));
  palette.setColor(QPalette::HighlightedText, SchemeColor(9));
  palette.setColor(QPalette::ToolTipBase, SchemeColor(4));
  palette.setColor(QPalette::ToolTipText, SchemeColor(5));
  palette.setColor(QPalette::Link, SchemeColor(13));
  for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
    palette.setColor(QPalette::Disabled, role, SchemeColor(10));
  }
  QApplication::setPalette(palette);
  QFont font("DejaVu Sans");
  font.setPixelSize(kFontPixels);
  QApplication::setFont(font);
}

void PaintPicture(QPainter* painter, uint32_t number, const QRectF& place, const QColor& color) {
  const double half = std::min(place.width(), place.height()) / 2;
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  painter->translate(place.center());
  painter->scale(half, half);
  painter->fillPath(Picture(number), color);
  painter->restore();
}

}  // namespace morvane::toolkit
