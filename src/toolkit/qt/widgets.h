#pragma once

#include <QAbstractSpinBox>
#include <QCheckBox>
#include <QPushButton>
#include <QSlider>

#include "toolkit/core/user_events.h"

// The widgets of ours, where Qt's own do not look or behave as the contract says. They tell what a
// user does through user_events.h; `node` is the control's id. They stay what the application set.
// Threads: main.
namespace morvane::toolkit {

// Buttons, tabs, hot texts and picture buttons.
class ButtonWidget final : public QPushButton {
 public:
  ButtonWidget(NXClass nxClass, QWidget* parent);
  void SetPicture(uint32_t picture);
  // Not QPushButton's text, in which "&" has a meaning.
  void SetLabel(const QString& label);
  [[nodiscard]] const QString& Label() const { return label_; }

 protected:
  void nextCheckState() override {}  // the application sets the check
  void paintEvent(QPaintEvent* event) override;

 private:
  [[nodiscard]] QColor Face() const;

  const NXClass class_;
  QString label_;
  uint32_t picture_ = 0;
};

class CheckWidget final : public QCheckBox {
 public:
  using QCheckBox::QCheckBox;

 protected:
  void nextCheckState() override {}
};

// A number or a timecode as it shows. Its text is the edit's; steps go to the core.
class NumberWidget final : public QAbstractSpinBox {
 public:
  NumberWidget(NodeId node, QWidget* parent);
  void SetScrollable(bool scrollable);
  [[nodiscard]] QLineEdit* Edit() const { return lineEdit(); }
  void stepBy(int steps) override;
  QValidator::State validate(QString& /*text*/, int& /*at*/) const override {
    return QValidator::Acceptable;  // the core reads what was typed
  }

 protected:
  StepEnabled stepEnabled() const override;

 private:
  const NodeId node_;
  bool scrollable_ = false;
};

// A slider whose thumb goes where the mouse is.
class SliderWidget final : public QSlider {
 public:
  SliderWidget(NodeId node, QWidget* parent);
  void SetSubRange(int low, int high);
  // The middle of the thumb at this position, in the widget.
  [[nodiscard]] QPoint PointOf(int position) const;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;

 private:
  [[nodiscard]] int PositionAt(const QPoint& point) const;
  [[nodiscard]] int Span() const;
  void Tell(SliderPhase phase, int position);

  const NodeId node_;
  int subLow_ = 0;
  int subHigh_ = 0;
};

}  // namespace morvane::toolkit
