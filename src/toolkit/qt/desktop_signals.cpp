#include "toolkit/qt/desktop_signals.h"

#include <fcntl.h>
#include <unistd.h>

#include <QApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QSocketNotifier>
#include <QWidget>
#include <csignal>
#include <utility>

#include "toolkit/core/user_events.h"

namespace morvane {
namespace {

using toolkit::VideoState;
using toolkit::WindowState;

constexpr std::array<int, 3> kSignals = {SIGTERM, SIGINT, SIGUSR1};

int write_end = -1;  // of the pipe; -1 without a DesktopSignals
std::array<struct sigaction, kSignals.size()> before;

void OnSignal(int number) {
  const auto byte = static_cast<char>(number);
  if (write_end >= 0) (void)!write(write_end, &byte, 1);
}

QString ClassName(NXClass nxClass) {
  switch (nxClass) {
    case NXClass::Window:
      return "NXWindow";
    case NXClass::Button:
      return "NXButton";
    case NXClass::CheckBox:
      return "NXCheckBox";
    case NXClass::PictureButton:
      return "NXPictureButton";
    case NXClass::TabButton:
      return "NXTabButton";
    case NXClass::MiniTabButton:
      return "NXMiniTabButton";
    case NXClass::ComboButton:
      return "NXComboButton";
    case NXClass::HotTextList:
      return "NXHotTextList";
    case NXClass::Number:
      return "NXNumber";
    case NXClass::Slider:
      return "NXSlider";
    case NXClass::Text:
      return "NXText";
    case NXClass::Static:
      return "NXStatic";
    case NXClass::HotText:
      return "NXHotText";
    case NXClass::Scroll:
      return "NXScroll";
  }
  return {};
}

QJsonArray Rectangle(const NxRECT& rect) {
  return {rect.x, rect.y, rect.w, rect.h};
}

// Whether the window and all its parents are so.
bool WithParents(const WindowState& state, bool WindowState::*flag) {
  WindowState at = state;
  while (at.*flag && at.parent != 0) {
    if (!toolkit::GetWindowState(at.parent, &at)) return false;
  }
  return at.*flag;
}

QJsonObject Describe(const WindowState& state) {
  QJsonObject entry;
  entry["member"] = QString::fromStdString(state.member);
  entry["name"] = QString::fromStdString(state.name);
  entry["class"] = ClassName(state.nxClass);
  entry["accessible"] = QString::fromStdString(state.accessibleName);
  entry["text"] =
      QString::fromStdString(state.nxClass == NXClass::Number ? state.valueText : state.text);
  entry["rect"] = Rectangle(state.absolute);
  entry["shown"] = WithParents(state, &WindowState::visible);
  entry["enabled"] = WithParents(state, &WindowState::enabled);
  entry["focused"] = state.focused;
  entry["checked"] = state.check;
  if (state.nxClass == NXClass::ComboButton || state.nxClass == NXClass::HotTextList) {
    QJsonArray items;
    for (const std::string& item : state.items) items.append(QString::fromStdString(item));
    entry["items"] = items;
    entry["selected"] = state.selection;
  }
  if (state.nxClass == NXClass::Slider || state.nxClass == NXClass::Number) {
    entry["value"] = state.value;
  }
  return entry;
}

QJsonObject Describe(const VideoState& state) {
  QJsonObject entry;
  entry["name"] = QString::fromStdString(state.name);
  entry["class"] = "video";
  entry["rect"] = Rectangle(state.absolute);
  entry["shown"] = state.onScreen;
  const toolkit::VideoShadow* shadow = toolkit::VideoShadowOf(state.id);
  if (shadow != nullptr) entry["painter"] = shadow->Painter();
  return entry;
}

}  // namespace

DesktopSignals::DesktopSignals(std::string dumpPath) : dumpPath_(std::move(dumpPath)) {
  if (pipe2(pipe_.data(), O_CLOEXEC | O_NONBLOCK) != 0) return;
  write_end = pipe_[1];
  auto* notifier = new QSocketNotifier(pipe_[0], QSocketNotifier::Read, this);
  connect(notifier, &QSocketNotifier::activated, this, [this] { Handle(); });
  struct sigaction action = {};
  action.sa_handler = OnSignal;
  action.sa_flags = SA_RESTART;
  for (size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &action, &before[i]);
}

DesktopSignals::~DesktopSignals() {
  if (pipe_[0] < 0) return;
  for (size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &before[i], nullptr);
  write_end = -1;
  close(pipe_[0]);
  close(pipe_[1]);
}

void DesktopSignals::Handle() {
  std::array<char, 16> bytes{};
  const ssize_t count = read(pipe_[0], bytes.data(), bytes.size());
  for (ssize_t i = 0; i < count; ++i) {
    const int number = static_cast<unsigned char>(bytes[static_cast<size_t>(i)]);
    if (number != SIGUSR1) {
      // Behind a dialog the program could not end: it is dismissed first.
      if (QWidget* dialog = QApplication::activeModalWidget(); dialog != nullptr) dialog->close();
      toolkit::UserClose();
    } else if (!dumpPath_.empty()) {
      WriteUiDump(dumpPath_);
    }
  }
}

bool WriteUiDump(const std::string& path) {
  QJsonArray windows;
  for (const WindowState& state : toolkit::AllWindows()) windows.append(Describe(state));
  QJsonArray videos;
  for (const VideoState& state : toolkit::AllVideos()) videos.append(Describe(state));
  const bool active = QGuiApplication::applicationState() == Qt::ApplicationActive;
  QSaveFile file(QString::fromStdString(path));
  if (!file.open(QIODevice::WriteOnly)) return false;
  const QJsonObject dump = {{"active", active}, {"windows", windows}, {"videos", videos}};
  file.write(QJsonDocument(dump).toJson());
  return file.commit();
}

}  // namespace morvane
