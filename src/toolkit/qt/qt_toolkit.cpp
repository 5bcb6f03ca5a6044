#include "toolkit/qt/qt_toolkit.h"

#include <QApplication>
#include <QCloseEvent>
#include <QIcon>
#include <QLineEdit>
#include <QPainter>
#include <QScreen>
#include <QStyleHints>
#include <QWindow>
#include <clocale>

#include "base/system.h"
#include "toolkit/core/user_events.h"
#include "toolkit/gui.h"
#include "toolkit/qt/keys.h"
#include "toolkit/qt/look.h"
#include "toolkit/qt/video_shadow.h"
#include "toolkit/qt/widgets.h"
#include "toolkit/qt/window_shadow.h"

namespace morvane {
namespace {

using toolkit::NodeId;
using toolkit::QtWindow;

constexpr int kRepaintMs = 33;
const auto kWakeEvent = static_cast<QEvent::Type>(QEvent::User + 1);

void TellScreenSize() {
  const QScreen* screen = QGuiApplication::primaryScreen();
  if (screen == nullptr) return;
  const QSize size = screen->geometry().size();
  NxSetScreenSize(static_cast<uint32_t>(size.width()), static_cast<uint32_t>(size.height()));
}

}  // namespace

std::unique_ptr<QApplication> toolkit::MakeQtApplication(int& argc, char** argv) {
  qputenv("QT_ENABLE_HIGHDPI_SCALING", "0");
  qunsetenv("QT_SCALE_FACTOR");
  qunsetenv("QT_SCREEN_SCALE_FACTORS");
  // Also where a desktop enlarges its fonts only: the style measures arrows and boxes by them.
  qunsetenv("QT_FONT_DPI");
  QCoreApplication::setAttribute(Qt::AA_Use96Dpi);
  QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
  auto application = std::make_unique<QApplication>(argc, argv);
  setlocale(LC_NUMERIC, "C");
  QCoreApplication::setApplicationName("Morvane");
  QGuiApplication::setDesktopFileName("morvane");
  QGuiApplication::setQuitOnLastWindowClosed(false);
  toolkit::ApplyLook();
  return application;
}

QtToolkit::QtToolkit(int& argc, char** argv) {
  if (QCoreApplication::instance() == nullptr)
    application_ = toolkit::MakeQtApplication(argc, argv);
  TellScreenSize();
  repaintTimer_.setSingleShot(true);
  connect(&repaintTimer_, &QTimer::timeout, this, [this] { RenderBackground(); });
  toolkit::InstallBinding(this);
}

QtToolkit::~QtToolkit() {
  NXKillGUI();
  toolkit::InstallBinding(nullptr);
  toolkit::PurgeBuried();
}

// --- Life --------------------------------------------------------------------------------------

NxErr QtToolkit::InitGui(const toolkit::GuiSetup& setup) {
  TellScreenSize();
  top_ = std::make_unique<QWidget>(nullptr, Qt::Window | Qt::FramelessWindowHint);
  top_->setWindowTitle(QString::fromStdString(setup.title));
  const QString icons = QCoreApplication::applicationDirPath() + "/data/icons/";
  top_->setWindowIcon(QIcon(icons + QString::fromStdString(setup.icon)));
  top_->setAttribute(Qt::WA_OpaquePaintEvent);
  top_->setGeometry(setup.x, setup.y, setup.w, setup.h);
  background_ = std::make_unique<toolkit::Background>();
  qApp->installEventFilter(this);
  connect(qGuiApp, &QGuiApplication::applicationStateChanged, this,
          [](Qt::ApplicationState state) { toolkit::UserActive(state == Qt::ApplicationActive); });
  return NxErrSuccess;
}

void QtToolkit::StartGui() {
  top_->show();
  // Without a window manager nobody else gives the keyboard to the window.
  top_->activateWindow();
  if (QWindow* window = top_->windowHandle(); window != nullptr) window->requestActivate();
}

void QtToolkit::StopGui() {
  repaintTimer_.stop();
}

void QtToolkit::KillGui() {
  disconnect(qGuiApp, nullptr, this, nullptr);
  qApp->removeEventFilter(this);
  repaintTimer_.stop();
  QCoreApplication::removePostedEvents(this);
  toolkit::PurgeBuried();
  background_.reset();
  top_.reset();
  image_ = {};
  moving_ = fullScreen_ = serviceAgain_ = false;
}

void QtToolkit::Dispatch(bool wait) {
  ++dispatching_;
  serviced_ = false;
  QCoreApplication::processEvents(wait ? QEventLoop::WaitForMoreEvents : QEventLoop::AllEvents);
  --dispatching_;
  if (dispatching_ > 0) return;
  toolkit::PurgeBuried();
  if (std::exchange(serviceAgain_, false)) Wake();
}

void QtToolkit::Wake() {
  QCoreApplication::postEvent(this, new QEvent(kWakeEvent));
}

bool QtToolkit::event(QEvent* event) {
  if (event->type() != kWakeEvent) return QObject::event(event);
  // Once a round: what is posted while messages are handled would keep Qt's loop for ever.
  if (dispatching_ == 1 && dialogs_ == 0 && serviced_) {
    serviceAgain_ = true;
    return true;
  }
  serviced_ = true;
  toolkit::Service();
  return true;
}

// --- Painting ----------------------------------------------------------------------------------

void QtToolkit::Repaint() {
  if (repaintTimer_.isActive()) return;
  const qint64 passed = sinceRepaint_.isValid() ? sinceRepaint_.elapsed() : kRepaintMs;
  repaintTimer_.start(static_cast<int>(std::max<qint64>(kRepaintMs - passed, 0)));
}

void QtToolkit::RenderBackground() {
  if (top_ == nullptr) return;
  ++repaints_;
  sinceRepaint_.start();
  image_ = background_->Render(top_->width(), top_->height());
  top_->update();
}

void QtToolkit::PaintTop() {
  if (image_.isNull()) RenderBackground();
  QPainter painter(top_.get());
  // A picture of the size before hangs from the top left until the next one is there.
  painter.drawImage(0, 0, image_);
  if (image_.size() != top_->size()) {
    QRegion rest(top_->rect());
    rest -= image_.rect();
    painter.setClipRegion(rest);
    painter.fillRect(top_->rect(), toolkit::SchemeColor(0));
  }
}

NxErr QtToolkit::PrintText(const std::string& text, const NxRECT& rect, const NxFCOLOR& color,
                           int style, const NxFLOATPOINT* point) {
  return background_ != nullptr ? background_->PrintText(text, rect, color, style, point)
                                : NxErrFailure;
}

// --- Windows -----------------------------------------------------------------------------------

std::unique_ptr<toolkit::WindowShadow> QtToolkit::MakeWindow(const toolkit::WindowState& state,
                                                             toolkit::WindowShadow* parent) {
  QWidget* above = parent != nullptr ? static_cast<QtWindow*>(parent)->Widget() : top_.get();
  return std::make_unique<QtWindow>(state, above);
}

std::unique_ptr<toolkit::VideoShadow> QtToolkit::MakeVideo(const toolkit::VideoState& state) {
  return toolkit::MakeVideoShadow(state, top_.get());
}

NxErr QtToolkit::Minimize() {
  top_->showMinimized();
  return NxErrSuccess;
}

NxErr QtToolkit::Maximize(NxRECT* rect, bool restore) {
  if (restore) {
    top_->setGeometry(QRect(smallPlace_, QSize(rect->w, rect->h)));
    fullScreen_ = false;
    return NxErrSuccess;
  }
  if (!fullScreen_) smallPlace_ = top_->pos();
  const QScreen* screen = QGuiApplication::primaryScreen();
  const QRect whole = screen != nullptr ? screen->geometry() : top_->geometry();
  top_->setGeometry(whole);
  fullScreen_ = true;
  *rect = {0, 0, whole.width(), whole.height()};
  return NxErrSuccess;
}

NxErr QtToolkit::StartMove() {
  moving_ = true;
  grab_ = toolkit::LastMousePoint() - top_->pos();
  return NxErrSuccess;
}

NxErr QtToolkit::Move() {
  if (!moving_) return NxErrFailure;
  top_->move(toolkit::LastMousePoint() - grab_);
  return NxErrSuccess;
}

NxErr QtToolkit::StopMove() {
  moving_ = false;
  return NxErrSuccess;
}

// While a button is down Qt sends all of the mouse to the window that was pressed, and the core
// sends it on to who has captured it.
void QtToolkit::CaptureMouse(NodeId /*id*/) {}

void* QtToolkit::NativeWindow() {
  return top_.get();
}

// --- Events of the whole program ---------------------------------------------------------------

bool QtToolkit::eventFilter(QObject* watched, QEvent* event) {
  switch (event->type()) {
    case QEvent::ShortcutOverride:
      // The key that closes a list is used up before it arrives as a key.
      if (QApplication::activePopupWidget() != nullptr) popupHadKey_ = true;
      return false;
    case QEvent::KeyPress:
      return watched->isWindowType() && FilterKey(event);
    case QEvent::MouseButtonPress:
      if (watched->isWidgetType()) CommitOutside(static_cast<QWidget*>(watched));
      // A video window is a native window of its own, within this one.
      if (watched->isWindowType() && watched->parent() == top_->windowHandle()) {
        CommitOutside(top_.get());
      }
      return false;
    case QEvent::WindowActivate:
      // Qt would give the keyboard to the first control, which nobody asked for.
      if (watched == top_.get() && top_->focusWidget() == nullptr) top_->setFocus();
      return false;
    case QEvent::Paint:
      if (watched != top_.get()) return false;
      PaintTop();
      return true;
    case QEvent::Resize:
      if (watched == top_.get()) Repaint();
      return false;
    case QEvent::Close:
      if (watched != top_.get()) return false;
      event->ignore();
      toolkit::UserClose();
      return true;
    default:
      return false;
  }
}

bool QtToolkit::FilterKey(QEvent* event) {
  const bool popup = std::exchange(popupHadKey_, false);
  if (popup || QApplication::activePopupWidget() != nullptr) return false;
  if (QApplication::activeModalWidget() != nullptr) return false;
  const toolkit::KeyPress key = toolkit::TranslateKey(*static_cast<QKeyEvent*>(event));
  if (!toolkit::UserKey(key.character, key.virtualKey, key.modifiers)) return false;
  // Escape also ends the edit that it finds.
  const QWidget* focus = QApplication::focusWidget();
  const bool editing = qobject_cast<const QLineEdit*>(focus) != nullptr ||
                       qobject_cast<const QAbstractSpinBox*>(focus) != nullptr;
  return !(editing && key.character == NXKEY_ESCAPE);
}

void QtToolkit::CommitOutside(const QWidget* pressed) {
  QWidget* focus = QApplication::focusWidget();
  if (focus == nullptr || focus->window() != top_.get() || pressed->window() != top_.get()) return;
  if (focus == pressed || focus->isAncestorOf(pressed)) return;
  const bool edit = qobject_cast<QLineEdit*>(focus) != nullptr ||
                    qobject_cast<QAbstractSpinBox*>(focus) != nullptr;
  if (edit) focus->clearFocus();
}

}  // namespace morvane
