#include "toolkit/qt/widgets.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <QPointer>
#include <QStyle>

#include "toolkit/qt/look.h"

namespace morvane::toolkit {
namespace {

constexpr int kThumb = 9;  // pixels of a slider's thumb along the track
constexpr int kTrack = 4;

// Between two ends, whatever their distance.
int64_t StepTo(int64_t from, int64_t by, int64_t low, int64_t high) {
  return std::clamp(from + by, low, high);
}

}  // namespace

// --- Buttons -----------------------------------------------------------------------------------

ButtonWidget::ButtonWidget(NXClass nxClass, QWidget* parent)
    : QPushButton(parent), class_(nxClass) {
  setCheckable(true);
  setAttribute(Qt::WA_Hover);
}

void ButtonWidget::SetLabel(const QString& label) {
  label_ = label;
  update();
}

void ButtonWidget::SetPicture(uint32_t picture) {
  picture_ = picture;
  update();
}

QColor ButtonWidget::Face() const {
  if (isEnabled() && isDown()) return SchemeColor(7);
  if (isChecked()) return isEnabled() ? SchemeColor(8) : SchemeColor(8).darker(150);
  return isEnabled() && underMouse() ? SchemeColor(6) : SchemeColor(4);
}

void ButtonWidget::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  const QColor ink = !isEnabled() ? SchemeColor(10) : isChecked() ? SchemeColor(9) : SchemeColor(5);
  const bool isHotText = class_ == NXClass::HotText;
  if (!isHotText) {
    painter.fillRect(rect(), Face());
    painter.setPen(isDown() ? SchemeColor(12) : SchemeColor(11));
    painter.drawLine(0, 0, width() - 1, 0);
    painter.drawLine(0, 0, 0, height() - 1);
    painter.setPen(isDown() ? SchemeColor(11) : SchemeColor(12));
    painter.drawLine(width() - 1, 0, width() - 1, height() - 1);
    painter.drawLine(0, height() - 1, width() - 1, height() - 1);
  }
  if (class_ == NXClass::PictureButton) {
    const int side = std::min({width() - 4, height() - 4, 20});
    const QRectF place((width() - side) / 2.0, (height() - side) / 2.0, side, side);
    const bool records = picture_ == 17 && isEnabled();
    PaintPicture(&painter, picture_, place, records ? SchemeColor(14) : ink);
  } else {
    painter.setPen(isHotText && isEnabled() ? SchemeColor(13) : ink);
    const auto align = isHotText ? Qt::AlignLeft | Qt::AlignVCenter : Qt::AlignCenter;
    painter.drawText(rect().adjusted(2, 0, -2, 0), static_cast<int>(align) | Qt::TextSingleLine,
                     label_);
  }
  if (hasFocus()) {
    painter.setPen(SchemeColor(13));
    painter.drawRect(rect().adjusted(1, 1, -2, -2));
  }
}

// --- Numbers -----------------------------------------------------------------------------------

NumberWidget::NumberWidget(NodeId node, QWidget* parent) : QAbstractSpinBox(parent), node_(node) {
  setButtonSymbols(QAbstractSpinBox::NoButtons);
  setKeyboardTracking(false);
}

void NumberWidget::SetScrollable(bool scrollable) {
  scrollable_ = scrollable;
  setButtonSymbols(scrollable ? QAbstractSpinBox::UpDownArrows : QAbstractSpinBox::NoButtons);
}

void NumberWidget::stepBy(int steps) {
  WindowState state;
  if (!scrollable_ || !GetWindowState(node_, &state)) return;
  UserNumber(node_, static_cast<int>(StepTo(state.value, steps, state.low, state.high)));
}

QAbstractSpinBox::StepEnabled NumberWidget::stepEnabled() const {
  return scrollable_ ? StepUpEnabled | StepDownEnabled : StepNone;
}

// --- Sliders -----------------------------------------------------------------------------------

SliderWidget::SliderWidget(NodeId node, QWidget* parent) : QSlider(parent), node_(node) {}

void SliderWidget::SetSubRange(int low, int high) {
  subLow_ = low;
  subHigh_ = high;
  update();
}

int SliderWidget::Span() const {
  return std::max((orientation() == Qt::Horizontal ? width() : height()) - kThumb, 1);
}

QPoint SliderWidget::PointOf(int position) const {
  const bool across = orientation() == Qt::Horizontal;
  const int at =
      kThumb / 2 + QStyle::sliderPositionFromValue(minimum(), maximum(), position, Span(), !across);
  return across ? QPoint(at, height() / 2) : QPoint(width() / 2, at);
}

int SliderWidget::PositionAt(const QPoint& point) const {
  const bool across = orientation() == Qt::Horizontal;
  const int at = (across ? point.x() : point.y()) - kThumb / 2;
  return QStyle::sliderValueFromPosition(minimum(), maximum(), at, Span(), !across);
}

void SliderWidget::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  const bool across = orientation() == Qt::Horizontal;
  const QPoint from = PointOf(subLow_);
  const QPoint to = PointOf(subHigh_);
  const QPoint thumb = PointOf(value());
  const auto bar = [&](int begin, int end) {
    return across ? QRect(begin, height() / 2 - kTrack / 2, end - begin, kTrack)
                  : QRect(width() / 2 - kTrack / 2, begin, kTrack, end - begin);
  };
  painter.fillRect(bar(0, across ? width() : height()), SchemeColor(2));
  const bool wholeRange = subLow_ <= minimum() && subHigh_ >= maximum();
  if (!wholeRange && isEnabled()) {
    const int begin = across ? from.x() : to.y();
    const int end = across ? to.x() : from.y();
    painter.fillRect(bar(begin, std::max(end, begin + 1)), SchemeColor(8));
  }
  const QRect knob = across ? QRect(thumb.x() - kThumb / 2, 1, kThumb, height() - 2)
                            : QRect(1, thumb.y() - kThumb / 2, width() - 2, kThumb);
  painter.fillRect(knob, !isEnabled() ? SchemeColor(4)
                         : hasFocus() ? SchemeColor(13)
                                      : SchemeColor(11));
  painter.setPen(SchemeColor(12));
  painter.drawRect(knob.adjusted(0, 0, -1, -1));
}

void SliderWidget::Tell(SliderPhase phase, int position) {
  // The thumb follows the hand; the core brings it elsewhere when the hand has gone.
  {
    const QSignalBlocker quiet(this);
    setValue(position);
  }
  UserSlider(node_, phase, position);
}

void SliderWidget::mousePressEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) return;
  setSliderDown(true);
  Tell(SliderPhase::Pressed, PositionAt(event->position().toPoint()));
}

void SliderWidget::mouseMoveEvent(QMouseEvent* event) {
  if (!isSliderDown() || (event->buttons() & Qt::LeftButton) == 0) return;
  Tell(SliderPhase::Moved, PositionAt(event->position().toPoint()));
}

void SliderWidget::mouseReleaseEvent(QMouseEvent* event) {
  if (!isSliderDown() || event->button() != Qt::LeftButton) return;
  {
    const QSignalBlocker quiet(this);
    setSliderDown(false);
  }
  Tell(SliderPhase::Released, PositionAt(event->position().toPoint()));
}

void SliderWidget::keyPressEvent(QKeyEvent* event) {
  int64_t by = 0;
  switch (event->key()) {
    case Qt::Key_Left:
    case Qt::Key_Down:
      by = -1;
      break;
    case Qt::Key_Right:
    case Qt::Key_Up:
      by = 1;
      break;
    case Qt::Key_PageDown:
      by = -10;
      break;
    case Qt::Key_PageUp:
      by = 10;
      break;
    case Qt::Key_Home:
      by = INT32_MIN;
      break;
    case Qt::Key_End:
      by = INT32_MAX;
      break;
    default:
      event->ignore();
      return;
  }
  const int before = value();
  const auto after = static_cast<int>(StepTo(before, by, minimum(), maximum()));
  if (after == before) return;
  // A handler may take the control away in between.
  const QPointer<SliderWidget> self(this);
  Tell(SliderPhase::Pressed, before);
  if (self != nullptr) Tell(SliderPhase::Moved, after);
  if (self != nullptr) Tell(SliderPhase::Released, after);
}

}  // namespace morvane::toolkit
