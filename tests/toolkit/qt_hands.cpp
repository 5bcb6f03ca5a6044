#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QTest>
#include <QTimer>

#include "hands.h"
#include "toolkit/controls.h"
#include "toolkit/gui.h"
#include "toolkit/qt/qt_toolkit.h"
#include "toolkit/qt/widgets.h"
#include "toolkit/qt/window_shadow.h"

// The Qt binding with a user of mouse and keys, on the platform "offscreen".
namespace morvane::test {
namespace {

using toolkit::NodeId;
using toolkit::QtWindow;
using toolkit::WindowState;

int no_arguments = 1;
char program_name[] = "toolkit_qt_test";
char* arguments[] = {program_name, nullptr};

class QtHands final : public Hands {
 public:
  QtHands() : toolkit_(no_arguments, arguments) {}

  bool Click(NXWindow& control) override {
    QWidget* widget = Widget(control);
    if (widget == nullptr || !widget->isVisible()) return false;
    WindowState state;
    const bool can = toolkit::GetWindowState(toolkit::IdOf(control.nxNode), &state) &&
                     state.effective && qobject_cast<QAbstractButton*>(widget) != nullptr;
    // Also where it must do nothing.
    Press(widget, QPoint(7, widget->height() / 2));
    Release(widget, QPoint(7, widget->height() / 2));
    return can;
  }
  bool Type(NXWindow& control, const std::string& text) override {
    return BeginTyping(control, text) && EndTyping(control, true);
  }
  bool BeginTyping(NXWindow& control, const std::string& text) override {
    if (!Focus(control)) return false;
    QTest::keyClick(Window(), Qt::Key_A, Qt::ControlModifier);
    for (const QChar character : QString::fromStdString(text)) SendKey(character.unicode());
    return true;
  }
  bool EndTyping(NXWindow& control, bool enter) override {
    if (Widget(control) == nullptr) return false;
    QTest::keyClick(Window(), enter ? Qt::Key_Return : Qt::Key_Escape);
    return true;
  }
  bool Select(NXWindow& list, int index) override {
    QWidget* widget = Widget(list);
    if (index < 0 || index >= Items(list) || !widget->isEnabled()) return false;
    if (auto* combo = qobject_cast<QComboBox*>(widget); combo != nullptr) {
      combo->showPopup();
      combo->view()->setCurrentIndex(combo->model()->index(index, 0));
      QTest::keyClick(combo->view(), Qt::Key_Return);
      return true;
    }
    auto* items = qobject_cast<QListWidget*>(widget);
    const QRect place = items->visualItemRect(items->item(index));
    QTest::mouseClick(items->viewport(), Qt::LeftButton, {}, place.center());
    return true;
  }
  bool Slide(NXWindow& slider, toolkit::SliderPhase phase, int position) override {
    auto* widget = static_cast<toolkit::SliderWidget*>(Widget(slider));
    const QPoint point = widget->PointOf(position);
    if (phase == toolkit::SliderPhase::Pressed) Press(widget, point);
    if (phase == toolkit::SliderPhase::Moved) MoveTo(widget, point);
    if (phase == toolkit::SliderPhase::Released) Release(widget, point);
    return true;
  }
  bool Focus(NXWindow& control) override {
    QWidget* widget = Widget(control);
    if (widget == nullptr) return false;
    widget->setFocus(Qt::TabFocusReason);
    return QApplication::focusWidget() == widget;
  }
  void Blur() override {
    if (QWidget* focus = QApplication::focusWidget(); focus != nullptr) focus->clearFocus();
  }
  void Key(int key) override {
    switch (key) {
      case NXKEY_LEFT:
        QTest::keyClick(Window(), Qt::Key_Left);
        break;
      case NXKEY_UP:
        QTest::keyClick(Window(), Qt::Key_Up);
        break;
      case NXKEY_RIGHT:
        QTest::keyClick(Window(), Qt::Key_Right);
        break;
      case NXKEY_DOWN:
        QTest::keyClick(Window(), Qt::Key_Down);
        break;
      case NXKEY_ESCAPE:
        QTest::keyClick(Window(), Qt::Key_Escape);
        break;
      default:
        SendKey(key);
    }
  }
  bool Mouse(NXWindow& window, uint32_t message, int x, int y) override {
    QWidget* widget = Widget(window);
    if (widget == nullptr) return false;
    Send(widget, message, QPoint(x, widget->height() - 1 - y));
    return true;
  }
  bool Mouse(NXVideoWindowNode* video, uint32_t message, int x, int y) override {
    QWidget* widget = Widget(video);
    if (widget == nullptr) return false;
    Send(widget, message, QPoint(x, widget->height() - 1 - y));
    return true;
  }
  bool Wheel(int delta, int modifier) override {
    const QPoint point(toolkit_.TopLevel()->width() - 2, 2);
    const QPoint angle(0, delta * 120);
    QWheelEvent event(point, Window()->mapToGlobal(point), {}, angle, Qt::NoButton,
                      modifier != 0 ? Qt::ControlModifier : Qt::NoModifier, Qt::NoScrollPhase,
                      false);
    QCoreApplication::sendEvent(Window(), &event);
    return true;
  }
  bool Expose(NXVideoWindowNode* video) override {
    QWidget* widget = Widget(video);
    if (widget == nullptr) return false;
    widget->hide();
    widget->show();
    Settle();
    return true;
  }
  void Activate(bool active) override {
    Q_EMIT qGuiApp->applicationStateChanged(active ? Qt::ApplicationActive
                                                   : Qt::ApplicationInactive);
  }
  void OnNextBox(void (*meanwhile)(void* context), void* context) override {
    WatchForBox(meanwhile, context);
  }
  void Settle() override {
    // Frames of other threads and deferred events come in a second and third round.
    for (int round = 0; round < 3; ++round) NXDispatchGUI(false);
  }

  bool IsShown(NXWindow& control) override { return Widget(control)->isVisible(); }
  bool IsEnabled(NXWindow& control) override { return Widget(control)->isEnabled(); }
  std::string Text(NXWindow& control) override {
    return Shadow(control)->ShownText().toStdString();
  }
  int Checked(NXWindow& control) override {
    return qobject_cast<QAbstractButton*>(Widget(control))->isChecked() ? 1 : 0;
  }
  int Selected(NXWindow& list) override {
    if (auto* combo = qobject_cast<QComboBox*>(Widget(list)); combo != nullptr) {
      return combo->currentIndex();
    }
    return qobject_cast<QListWidget*>(Widget(list))->currentRow();
  }
  int Items(NXWindow& list) override {
    if (auto* combo = qobject_cast<QComboBox*>(Widget(list)); combo != nullptr) {
      return combo->count();
    }
    return qobject_cast<QListWidget*>(Widget(list))->count();
  }
  int Position(NXWindow& slider) override {
    return qobject_cast<QSlider*>(Widget(slider))->value();
  }
  NxRECT Place(NXWindow& control) override {
    const QWidget* widget = Widget(control);
    const QWidget* top = toolkit_.TopLevel();
    const QPoint corner = widget->mapTo(top, QPoint(0, 0));
    return {corner.x(), top->height() - corner.y() - widget->height(), widget->width(),
            widget->height()};
  }
  uint32_t Pixel(NXVideoWindowNode* video, int x, int y) override {
    const QImage image = Widget(video)->grab().toImage();
    return image.pixel(x, image.height() - 1 - y) & 0xFFFFFF;
  }

 private:
  [[nodiscard]] QWindow* Window() const { return toolkit_.TopLevel()->windowHandle(); }
  static QtWindow* Shadow(NXWindow& control) {
    return static_cast<QtWindow*>(toolkit::ShadowOf(toolkit::IdOf(control.nxNode)));
  }
  static QWidget* Widget(NXWindow& control) {
    const QtWindow* shadow = Shadow(control);
    return shadow != nullptr ? shadow->Widget() : nullptr;
  }
  [[nodiscard]] QWidget* Widget(NXVideoWindowNode* video) const {
    toolkit::VideoState state;
    if (!toolkit::GetVideoState(toolkit::IdOf(video), &state)) return nullptr;
    const auto name = QString::fromStdString(state.name);
    return toolkit_.TopLevel()->findChild<QWidget*>(name, Qt::FindDirectChildrenOnly);
  }
  [[nodiscard]] QPoint InWindow(QWidget* widget, QPoint point) const {
    return widget->mapTo(toolkit_.TopLevel(), point);
  }
  void Press(QWidget* widget, QPoint point) {
    QTest::mousePress(Window(), Qt::LeftButton, {}, InWindow(widget, point));
  }
  void Release(QWidget* widget, QPoint point) {
    QTest::mouseRelease(Window(), Qt::LeftButton, {}, InWindow(widget, point));
  }
  void MoveTo(QWidget* widget, QPoint point) {
    QTest::mouseMove(Window(), InWindow(widget, point));
    QCoreApplication::processEvents();
  }
  void Send(QWidget* widget, uint32_t message, QPoint point) {
    // To the widget: the window would add the move from where the mouse was before.
    if (message == NXMSG_LBUTTONDOWN) QTest::mousePress(widget, Qt::LeftButton, {}, point);
    if (message == NXMSG_MOUSEMOVE) {
      QMouseEvent move(QEvent::MouseMove, point, widget->mapToGlobal(point), Qt::NoButton,
                       Qt::NoButton, Qt::NoModifier);
      QCoreApplication::sendEvent(widget, &move);
    }
    if (message == NXMSG_LBUTTONUP) QTest::mouseRelease(widget, Qt::LeftButton, {}, point);
  }
  void SendKey(int character) {
    if (character < 128) {
      QTest::keyClick(Window(), static_cast<char>(character));
    } else {
      QTest::sendKeyEvent(QTest::Click, Window(), Qt::Key_unknown,
                          QString(QChar(static_cast<char16_t>(character))), Qt::NoModifier);
    }
  }
  void WatchForBox(void (*meanwhile)(void* context), void* context) {
    QTimer::singleShot(1, &watch_, [this, meanwhile, context] {
      QWidget* box = QApplication::activeModalWidget();
      if (box == nullptr) {
        WatchForBox(meanwhile, context);
        return;
      }
      meanwhile(context);
      box->close();
    });
  }

  QtToolkit toolkit_;
  QObject watch_;
};

// One application for all tests: Qt does not like a second one.
class Environment : public ::testing::Environment {
 public:
  void SetUp() override {
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    application_ = toolkit::MakeQtApplication(no_arguments, arguments);
  }
  void TearDown() override { application_.reset(); }

 private:
  std::unique_ptr<QApplication> application_;
};
const auto* const environment = ::testing::AddGlobalTestEnvironment(new Environment);

}  // namespace

std::unique_ptr<Hands> MakeHands() {
  return std::make_unique<QtHands>();
}

}  // namespace morvane::test
