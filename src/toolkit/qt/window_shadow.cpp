#include "toolkit/qt/window_shadow.h"

#include <QApplication>
#include <QComboBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMouseEvent>

#include "toolkit/messages.h"
#include "toolkit/qt/widgets.h"

namespace morvane::toolkit {
namespace {

constexpr int kWheelStep = 120;  // of Qt's angle, a notch
constexpr int kMostListLines = 24;

QPoint g_lastMousePoint;  // main thread

std::vector<QPointer<QWidget>>& Buried() {
  static std::vector<QPointer<QWidget>> buried;
  return buried;
}

QString Escaped(const std::string& text) {  // "&" has a meaning in a check box
  return QString::fromStdString(text).replace("&", "&&");
}

}  // namespace

void Bury(QWidget* widget) {
  widget->blockSignals(true);
  widget->hide();
  Buried().emplace_back(widget);
}

void PurgeBuried() {
  for (const QPointer<QWidget>& widget : std::exchange(Buried(), {})) delete widget.data();
}

QPoint LastMousePoint() {
  return g_lastMousePoint;
}

bool TellMouse(NodeId id, int height, QEvent* event) {
  uint32_t message = 0;
  switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
      message = NXMSG_LBUTTONDOWN;
      break;
    case QEvent::MouseButtonRelease:
      message = NXMSG_LBUTTONUP;
      break;
    case QEvent::MouseMove:
      message = NXMSG_MOUSEMOVE;
      break;
    default:
      return false;
  }
  const auto* mouse = static_cast<QMouseEvent*>(event);
  if (message != NXMSG_MOUSEMOVE && mouse->button() != Qt::LeftButton) return true;
  g_lastMousePoint = mouse->globalPosition().toPoint();
  const QPoint point = mouse->position().toPoint();
  UserMouse(id, message, point.x(), height - 1 - point.y());
  return true;
}

void TellWheel(QEvent* event) {
  const auto* wheel = static_cast<QWheelEvent*>(event);
  // The rest of a notch of a fine wheel waits for the next event.
  static int rest = 0;
  rest += wheel->angleDelta().y();
  const int notches = rest / kWheelStep;
  rest %= kWheelStep;
  if (notches == 0) return;
  const bool modified = (wheel->modifiers() & (Qt::ControlModifier | Qt::ShiftModifier)) != 0;
  UserWheel(notches, modified ? 1 : 0);
}

// --- Making ------------------------------------------------------------------------------------

QtWindow::QtWindow(const WindowState& state, QWidget* parent)
    : id_(state.id), class_(state.nxClass) {
  Make(parent);
  widget_->installEventFilter(this);
  if (class_ == NXClass::Window) {
    widget_->setMouseTracking(true);
  } else {
    // What is pressed on a control is not pressed on what lies behind it.
    widget_->setAttribute(Qt::WA_NoMousePropagation);
  }
}

QtWindow::~QtWindow() {
  widget_->removeEventFilter(this);
  widget_->disconnect(this);
  widget_->blockSignals(true);
  widget_->clearFocus();
  Bury(widget_);
}

void QtWindow::Make(QWidget* parent) {
  switch (class_) {
    case NXClass::Button:
    case NXClass::PictureButton:
    case NXClass::TabButton:
    case NXClass::MiniTabButton:
    case NXClass::HotText:
      widget_ = new ButtonWidget(class_, parent);
      break;
    case NXClass::CheckBox:
      widget_ = new CheckWidget(parent);
      break;
    case NXClass::ComboButton:
    case NXClass::HotTextList:
      MakeLists(parent);
      break;
    case NXClass::Number:
      MakeNumber(parent);
      break;
    case NXClass::Slider:
      widget_ = new SliderWidget(id_, parent);
      break;
    case NXClass::Text:
      MakeText(parent);
      break;
    case NXClass::Static: {
      auto* label = new QLabel(parent);
      label->setTextFormat(Qt::PlainText);
      widget_ = label;
      break;
    }
    case NXClass::Window:
    case NXClass::Scroll:
      widget_ = new QWidget(parent);
      break;
  }
  if (auto* button = qobject_cast<QAbstractButton*>(widget_); button != nullptr) {
    connect(button, &QAbstractButton::clicked, this, [id = id_] { UserClicked(id); });
  }
  const bool takesKeys =
      class_ != NXClass::Window && class_ != NXClass::Static && class_ != NXClass::Scroll;
  // By the Tab key; the mouse gives the keyboard to what is typed into only.
  widget_->setFocusPolicy(IsEdit() ? Qt::StrongFocus : takesKeys ? Qt::TabFocus : Qt::NoFocus);
}

void QtWindow::MakeText(QWidget* parent) {
  auto* edit = new QLineEdit(parent);
  widget_ = edit;
  connect(edit, &QLineEdit::textEdited, this, [this](const QString& text) { Typed(text); });
}

void QtWindow::MakeNumber(QWidget* parent) {
  auto* number = new NumberWidget(id_, parent);
  widget_ = number;
  connect(number->Edit(), &QLineEdit::textEdited, this, [id = id_] { UserEditing(id, true); });
}

void QtWindow::MakeLists(QWidget* parent) {
  if (class_ == NXClass::ComboButton) {
    auto* combo = new QComboBox(parent);
    combo->setMaxVisibleItems(kMostListLines);
    widget_ = combo;
    connect(combo, &QComboBox::activated, this, [this](int index) { Selected(index); });
    return;
  }
  auto* list = new QListWidget(parent);
  widget_ = list;
  connect(list, &QListWidget::itemClicked, this,
          [this, list](QListWidgetItem* item) { Selected(list->row(item)); });
}

bool QtWindow::IsEdit() const {
  return class_ == NXClass::Text || class_ == NXClass::Number;
}

// --- Showing -----------------------------------------------------------------------------------

void QtWindow::Update(const WindowState& state, uint32_t changes) {
  const QSignalBlocker quiet(widget_);
  if ((changes & ChangeNames) != 0) {
    widget_->setObjectName(QString::fromStdString(state.member));
    widget_->setAccessibleName(QString::fromStdString(state.accessibleName));
  }
  if ((changes & ChangePlace) != 0) {
    const NxRECT& rect = state.rect;
    const int top = state.parent != 0 ? state.parentHeight - rect.y - rect.h : 0;
    widget_->setGeometry(state.parent != 0 ? rect.x : 0, top, rect.w, rect.h);
    if (class_ == NXClass::Slider) {
      static_cast<SliderWidget*>(widget_)->setOrientation(rect.w >= rect.h ? Qt::Horizontal
                                                                           : Qt::Vertical);
    }
  }
  if ((changes & (ChangeRange | ChangeLook)) != 0) ShowRange(state);
  if ((changes & (ChangeText | ChangeValue)) != 0) ShowText(state);
  if ((changes & ChangeItems) != 0) ShowItems(state);
  if ((changes & (ChangeItems | ChangeSelection)) != 0) ShowSelection(state.selection);
  if (auto* button = qobject_cast<QAbstractButton*>(widget_); button != nullptr) {
    if ((changes & ChangeCheck) != 0) button->setChecked(state.check != 0);
    if ((changes & ChangePressed) != 0) button->setDown(false);
  }
  const bool goes = (changes & ChangeEnabled) != 0 && !state.enabled;
  const bool hides = (changes & ChangeShown) != 0 && !state.visible;
  const QPointer<QtWindow> self(this);
  if (goes || hides) LeaveFocus();
  if (self == nullptr) return;  // a handler of the lost focus took it away
  if ((changes & ChangeEnabled) != 0) widget_->setEnabled(state.enabled);
  if ((changes & ChangeShown) != 0) widget_->setVisible(state.visible);
}

// Qt would give the keyboard to the next control, which nobody asked for.
void QtWindow::LeaveFocus() {
  QWidget* focus = QApplication::focusWidget();
  if (focus == nullptr) return;
  if (focus == widget_ || widget_->isAncestorOf(focus)) focus->clearFocus();
}

void QtWindow::ShowText(const WindowState& state) {
  if (class_ == NXClass::Number) {
    static_cast<NumberWidget*>(widget_)->Edit()->setText(QString::fromStdString(state.valueText));
  } else if (class_ == NXClass::Text) {
    const QString text = QString::fromStdString(state.text);
    auto* edit = static_cast<QLineEdit*>(widget_);
    if (edit->text() != text) edit->setText(text);
    edit->setCursorPosition(edit->hasFocus() ? edit->cursorPosition() : 0);
  } else if (class_ == NXClass::Static) {
    static_cast<QLabel*>(widget_)->setText(QString::fromStdString(state.text));
  } else if (class_ == NXClass::CheckBox) {
    static_cast<CheckWidget*>(widget_)->setText(Escaped(state.text));
  } else if (class_ == NXClass::Slider) {
    static_cast<SliderWidget*>(widget_)->setValue(state.value);
  } else if (auto* button = dynamic_cast<ButtonWidget*>(widget_); button != nullptr) {
    button->SetLabel(QString::fromStdString(state.text));
  }
  const bool namedByText = !state.accessibleName.empty();
  if (namedByText) widget_->setAccessibleName(QString::fromStdString(state.accessibleName));
}

void QtWindow::ShowItems(const WindowState& state) {
  auto* combo = qobject_cast<QComboBox*>(widget_);
  auto* list = qobject_cast<QListWidget*>(widget_);
  // Lists are filled item by item: what is the same stays.
  size_t same = 0;
  while (same < items_.size() && same < state.items.size() && items_[same] == state.items[same]) {
    ++same;
  }
  for (size_t at = items_.size(); at > same; --at) {
    const auto row = static_cast<int>(at - 1);
    if (combo != nullptr) combo->removeItem(row);
    if (list != nullptr) delete list->takeItem(row);
  }
  for (size_t at = same; at < state.items.size(); ++at) {
    const QString text = QString::fromStdString(state.items[at]);
    if (combo != nullptr) combo->addItem(text);
    if (list != nullptr) list->addItem(text);
  }
  items_ = state.items;
}

void QtWindow::ShowSelection(int index) {
  if (auto* combo = qobject_cast<QComboBox*>(widget_); combo != nullptr) {
    combo->setCurrentIndex(index);
    combo->update();
  } else if (auto* list = qobject_cast<QListWidget*>(widget_); list != nullptr) {
    list->setCurrentRow(index);
    if (index < 0) list->clearSelection();
  }
}

void QtWindow::ShowRange(const WindowState& state) {
  if (class_ == NXClass::Slider) {
    auto* slider = static_cast<SliderWidget*>(widget_);
    slider->setRange(state.low, state.high);
    slider->SetSubRange(state.subLow, state.subHigh);
  } else if (class_ == NXClass::Number) {
    static_cast<NumberWidget*>(widget_)->SetScrollable(state.scrollable);
  } else if (class_ == NXClass::PictureButton) {
    static_cast<ButtonWidget*>(widget_)->SetPicture(state.picture);
  }
}

QString QtWindow::ShownText() const {
  if (class_ == NXClass::Number) return static_cast<NumberWidget*>(widget_)->Edit()->text();
  if (class_ == NXClass::Text) return static_cast<QLineEdit*>(widget_)->text();
  if (class_ == NXClass::Static) return static_cast<QLabel*>(widget_)->text();
  if (class_ == NXClass::CheckBox) {
    return static_cast<CheckWidget*>(widget_)->text().replace("&&", "&");
  }
  const auto* button = dynamic_cast<ButtonWidget*>(widget_);
  return button != nullptr ? button->Label() : QString();
}

// --- What a user does --------------------------------------------------------------------------

void QtWindow::Selected(int index) {
  const QPointer<QtWindow> self(this);
  if (UserSelected(id_, index) || self == nullptr) return;
  WindowState state;
  if (GetWindowState(id_, &state)) Update(state, ChangeSelection);
}

void QtWindow::Typed(const QString& text) {
  WindowState state;
  if (!GetWindowState(id_, &state)) return;
  const QString kept = QString::fromStdString(FilterTyped(state, text.toStdString()));
  if (kept != text) {
    auto* edit = static_cast<QLineEdit*>(widget_);
    const QSignalBlocker quiet(edit);
    const auto lost = text.size() - kept.size();
    const auto cursor = edit->cursorPosition() - static_cast<int>(lost);
    edit->setText(kept);
    edit->setCursorPosition(std::max(cursor, 0));
  }
  if (!state.editing) UserEditing(id_, true);
}

void QtWindow::EndEdit(bool commit) {
  WindowState state;
  if (!GetWindowState(id_, &state) || !state.editing) return;
  if (commit && UserTyped(id_, ShownText().toStdString())) return;
  UserEditing(id_, false);
}

void QtWindow::Focus(bool gained) {
  const QPointer<QtWindow> self(this);
  if (gained) {
    // A text takes its keys from the start, or a hot key could not be typed into it. A number goes
    // on showing its value until the first digit.
    if (UserFocus(id_, true) && self != nullptr && class_ == NXClass::Text) UserEditing(id_, true);
    return;
  }
  const NodeId id = id_;
  if (IsEdit()) EndEdit(true);
  UserFocus(id, false);
}

bool QtWindow::Key(int key) {
  const bool enter = key == Qt::Key_Return || key == Qt::Key_Enter;
  if (IsEdit() && (enter || key == Qt::Key_Escape)) {
    const QPointer<QtWindow> self(this);
    EndEdit(enter);
    if (self != nullptr) widget_->clearFocus();
    return true;
  }
  if (!enter) return false;
  if (auto* button = qobject_cast<QAbstractButton*>(widget_); button != nullptr) {
    button->click();
    return true;
  }
  if (auto* list = qobject_cast<QListWidget*>(widget_); list != nullptr) {
    if (list->currentRow() >= 0) Selected(list->currentRow());
    return true;
  }
  if (auto* combo = qobject_cast<QComboBox*>(widget_); combo != nullptr) {
    combo->showPopup();
    return true;
  }
  return false;
}

bool QtWindow::Wheel(QEvent* event) {
  if (class_ == NXClass::HotTextList) return false;
  WindowState state;
  if (class_ == NXClass::Number && GetWindowState(id_, &state) && state.scrollable) return false;
  TellWheel(event);
  return true;
}

bool QtWindow::eventFilter(QObject* watched, QEvent* event) {
  if (watched != widget_) return false;
  switch (event->type()) {
    case QEvent::FocusIn:
    case QEvent::FocusOut: {
      // A menu or list of ours takes the keyboard only for a moment.
      const auto reason = static_cast<QFocusEvent*>(event)->reason();
      if (reason != Qt::PopupFocusReason && reason != Qt::MenuBarFocusReason) {
        Focus(event->type() == QEvent::FocusIn);
      }
      return false;
    }
    case QEvent::KeyPress:
      return Key(static_cast<QKeyEvent*>(event)->key());
    case QEvent::Wheel:
      return Wheel(event);
    default:
      return class_ == NXClass::Window && TellMouse(id_, widget_->height(), event);
  }
}

}  // namespace morvane::toolkit
