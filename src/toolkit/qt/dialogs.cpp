#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QMessageBox>

#include "toolkit/qt/qt_toolkit.h"

// Qt's own dialogs: the same on every desktop.
namespace morvane {
namespace {

class Counted {
 public:
  explicit Counted(int* count) : count_(count) { ++*count_; }
  ~Counted() { --*count_; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

 private:
  int* const count_;
};

}  // namespace

void QtToolkit::ShowBox(const std::string& title, const std::string& text) {
  const Counted open(&dialogs_);
  QMessageBox box(QMessageBox::NoIcon, QString::fromStdString(title), QString::fromStdString(text),
                  QMessageBox::Ok, top_.get());
  box.setTextFormat(Qt::PlainText);
  box.exec();
  TakeKeyboardBack();
}

// Without a window manager nobody gives the window the keyboard that a dialog had. A user who has
// gone on to another program keeps it there.
void QtToolkit::TakeKeyboardBack() {
  if (QGuiApplication::applicationState() != Qt::ApplicationActive) return;
  QWidget* below = QApplication::activeModalWidget();
  if (below == nullptr) below = top_.get();
  if (below != nullptr && below->isVisible()) below->activateWindow();
}

NxErr QtToolkit::ChooseFile(const std::string& title, const std::string& filterName,
                            const std::string& patterns, const std::string& folder,
                            std::string* path) {
  const QString filter = QString::fromStdString(filterName + " (" + patterns + ")");
  return Choose(false, title, filter, folder, path);
}

NxErr QtToolkit::ChooseFolder(const std::string& title, const std::string& folder,
                              std::string* path) {
  return Choose(true, title, QString(), folder, path);
}

NxErr QtToolkit::Choose(bool folder, const std::string& title, const QString& filter,
                        const std::string& start, std::string* path) {
  const Counted open(&dialogs_);
  const QString where = start.empty() ? lastFolder_ : QString::fromStdString(start);
  QFileDialog dialog(top_.get(), QString::fromStdString(title),
                     QDir(where).exists() && !where.isEmpty() ? where : QDir::homePath(), filter);
  dialog.setOption(QFileDialog::DontUseNativeDialog);
  dialog.setOption(QFileDialog::DontUseCustomDirectoryIcons);
  dialog.setAcceptMode(QFileDialog::AcceptOpen);
  dialog.setFileMode(folder ? QFileDialog::Directory : QFileDialog::ExistingFile);
  dialog.setOption(QFileDialog::ShowDirsOnly, folder);
  const int answer = dialog.exec();
  TakeKeyboardBack();
  if (answer != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return NxErrFailure;
  lastFolder_ = dialog.directory().absolutePath();
  *path = dialog.selectedFiles().constFirst().toStdString();
  return NxErrSuccess;
}

void QtToolkit::CancelDialogs() {
  // Each hides at once and gives way to the one below it.
  const QWidget* last = nullptr;
  while (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget())) {
    if (dialog == last) return;
    last = dialog;
    dialog->reject();
  }
}

}  // namespace morvane
