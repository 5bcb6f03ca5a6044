#pragma once

#include <QElapsedTimer>
#include <QImage>
#include <QObject>
#include <QTimer>
#include <QWidget>
#include <memory>

#include "toolkit/core/binding.h"
#include "toolkit/qt/background.h"

class QApplication;

namespace morvane {

namespace toolkit {
// The application as this toolkit needs it: one unit is one pixel on every screen, and numbers are
// written the same in every country.
[[nodiscard]] std::unique_ptr<QApplication> MakeQtApplication(int& argc, char** argv);
}  // namespace toolkit

// The toolkit on the desktop, over Qt Widgets and OpenGL. Made before NXInitGUI and alive until
// after NXKillGUI; at most one at a time.
// Threads: main, but for Wake().
class QtToolkit final : public QObject, public toolkit::ToolkitBinding {
 public:
  // Makes the QApplication if there is none, and installs itself. Tells the screen's size to
  // base/system.h. Where Qt finds no display it ends the program with its own message.
  QtToolkit(int& argc, char** argv);
  ~QtToolkit() override;  // NXKillGUI, if that was not done

  // The top-level window; null without a GUI.
  [[nodiscard]] QWidget* TopLevel() const { return top_.get(); }
  // How often the background was rendered.
  [[nodiscard]] int Repaints() const { return repaints_; }

  // --- ToolkitBinding ---------------------------------------------------------------------------
  NxErr InitGui(const toolkit::GuiSetup& setup) override;
  void StartGui() override;
  void StopGui() override;
  void KillGui() override;
  void Dispatch(bool wait) override;
  void Wake() override;
  void Repaint() override;
  std::unique_ptr<toolkit::WindowShadow> MakeWindow(const toolkit::WindowState& state,
                                                    toolkit::WindowShadow* parent) override;
  std::unique_ptr<toolkit::VideoShadow> MakeVideo(const toolkit::VideoState& state) override;
  NxErr Minimize() override;
  NxErr Maximize(NxRECT* rect, bool restore) override;
  NxErr StartMove() override;
  NxErr Move() override;
  NxErr StopMove() override;
  void CaptureMouse(toolkit::NodeId id) override;
  void* NativeWindow() override;
  NxErr PrintText(const std::string& text, const NxRECT& rect, const NxFCOLOR& color, int style,
                  const NxFLOATPOINT* point) override;
  void ShowBox(const std::string& title, const std::string& text) override;
  NxErr ChooseFile(const std::string& title, const std::string& filterName,
                   const std::string& patterns, const std::string& folder,
                   std::string* path) override;
  NxErr ChooseFolder(const std::string& title, const std::string& folder,
                     std::string* path) override;
  void CancelDialogs() override;

  // The wake-up, and all events of the program.
  bool event(QEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void RenderBackground();
  void PaintTop();
  bool FilterKey(QEvent* event);
  void CommitOutside(const QWidget* pressed);
  void TakeKeyboardBack();
  NxErr Choose(bool folder, const std::string& title, const QString& filter,
               const std::string& start, std::string* path);

  std::unique_ptr<QApplication> application_;  // null: somebody else's
  std::unique_ptr<QWidget> top_;
  std::unique_ptr<toolkit::Background> background_;
  QImage image_;
  QTimer repaintTimer_;
  QElapsedTimer sinceRepaint_;
  int repaints_ = 0;
  int dispatching_ = 0;
  int dialogs_ = 0;
  bool serviced_ = false;      // in this round of Dispatch()
  bool serviceAgain_ = false;  // the next round has something to do
  bool popupHadKey_ = false;
  bool moving_ = false;
  bool fullScreen_ = false;
  QPoint grab_;        // of the pointer in the window while it is moved
  QPoint smallPlace_;  // where the window stood before it went to full screen
  QString lastFolder_;
};

}  // namespace morvane
