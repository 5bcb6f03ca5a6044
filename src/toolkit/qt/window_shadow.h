#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>

#include "toolkit/core/user_events.h"

namespace morvane::toolkit {

// A window or a control on the screen: the widget, and what a user does to it.
// Threads: main.
class QtWindow final : public QObject, public WindowShadow {
 public:
  QtWindow(const WindowState& state, QWidget* parent);
  // The widget is hidden, says nothing more and is deleted when no event is being handled in it.
  ~QtWindow() override;

  void Update(const WindowState& state, uint32_t changes) override;
  void TakeFocus() override { widget_->setFocus(Qt::OtherFocusReason); }

  [[nodiscard]] QWidget* Widget() const { return widget_; }
  // The text as the screen shows it; of a number and a text what stands in it.
  [[nodiscard]] QString ShownText() const;

  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void Make(QWidget* parent);
  void MakeText(QWidget* parent);
  void MakeNumber(QWidget* parent);
  void MakeLists(QWidget* parent);
  void ShowText(const WindowState& state);
  void ShowItems(const WindowState& state);
  void ShowSelection(int index);
  void ShowRange(const WindowState& state);
  void Selected(int index);
  void Typed(const QString& text);
  bool Key(int key);
  bool Wheel(QEvent* event);
  void Focus(bool gained);
  void EndEdit(bool commit);
  void LeaveFocus();
  [[nodiscard]] bool IsEdit() const;

  const NodeId id_;
  const NXClass class_;
  QWidget* widget_ = nullptr;
  std::vector<std::string> items_;  // as the widget shows them
};

// Mouse events of a plain window or a video window of this height, told to the core.
// Returns: true if it was one.
bool TellMouse(NodeId id, int height, QEvent* event);
// Where the pointer was, on the screen, at the last event that TellMouse() passed on. A drag counts
// from there: by the time the main thread hears of a press, the pointer may be elsewhere.
[[nodiscard]] QPoint LastMousePoint();
// A wheel, told to the core.
void TellWheel(QEvent* event);
// Widgets whose window is gone: deleted by Purge(), called when no event is being handled.
void Bury(QWidget* widget);
void PurgeBuried();

}  // namespace morvane::toolkit
