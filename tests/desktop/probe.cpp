#include <cstdio>

#include "toolkit/controls.h"
#include "toolkit/gui.h"
#include "toolkit/qt/desktop_signals.h"
#include "toolkit/qt/qt_toolkit.h"

// A window with controls for the tests of real keys and dialogs; prints what it receives. It stands
// at (0, 0) of the screen, 400 by 300, one control below the other.
namespace morvane {
namespace {

bool quit = false;

class ProbeWindow : public NXWindow {
 public:
  NxErr OnNXCreate() override {
    Add(text_, "old", "text");
    Add(number_, "number", "number");
    Add(box_, "Box", "box");
    Add(file_, "File", "file");
    Add(list_, "list", "list");
    for (const char* item : {"one", "two", "three"}) list_.InsertNXItem(-1, item, false);
    number_.SetNXScrollable(true);
    for (const int key : {int{'j'}, int{NXKEY_LEFT}, int{NXKEY_ESCAPE}, int{NXKEY_SPACE}}) {
      NXRegisterHotKey(nxNode, key, 0);
    }
    return NxErrSuccess;
  }
  NxErr ReceiveNXMessage(uint32_t message, int a, int b, void* c, void* d) override {
    if (message == NXMSG_KEYDOWN) printf("key %d %d\n", a, b);
    if (message == NXMSG_TEXTCHANGED) printf("text %s\n", Text().c_str());
    if (message == NXMSG_NUMBERCHANGED) printf("number %d\n", a);
    if (message == NXMSG_SELCHANGED) printf("selected %d\n", a);
    if (message == NXMSG_FOCUSGAINED) printf("gained %s\n", Name(c));
    if (message == NXMSG_FOCUSLOST) printf("lost %s\n", Name(c));
    if (message == NXMSG_LBUTTONDOWN) printf("down %d %d\n", a, b);
    if (message == NXMSG_MOUSEWHEEL) printf("wheel %d %d\n", a, b);
    if (message == NXMSG_APPACTIVATE) printf("active %d\n", a);
    fflush(stdout);
    if (message == NXMSG_CLICKED && c == &box_) ShowBox();
    if (message == NXMSG_CLICKED && c == &file_) ChooseFile();
    return NXWindow::ReceiveNXMessage(message, a, b, c, d);
  }

 private:
  void Add(NXWindow& control, const char* name, const char* member) {
    control.NameNXWindow(member);
    const NxRECT rect = {10, 260 - 40 * count_++, 200, 24};
    control.CreateNXWindow(name, 0, 1, 0, &rect, this);
  }
  std::string Text() {
    char text[256];
    text_.GetWindowNXText(text, sizeof(text));
    return text;
  }
  const char* Name(void* control) const {
    return control == &text_ ? "text" : control == &number_ ? "number" : "other";
  }
  static void ShowBox() {
    printf("box\n");
    fflush(stdout);
    NXShowMB("Error", "No Video Input is detected.");
    printf("box closed\n");
    fflush(stdout);
  }
  static void ChooseFile() {
    printf("file\n");
    fflush(stdout);
    std::string path = "none";
    NXChooseFile("Open LUT", "LUT files", "*.lut", getenv("PROBE_FOLDER"), &path);
    printf("chosen %s\n", path.c_str());
    fflush(stdout);
  }

  NXText text_;
  NXNumber number_;
  NXButton box_;
  NXButton file_;
  NXComboButton list_;
  int count_ = 0;
};

}  // namespace
}  // namespace morvane

int main(int argc, char** argv) {
  using namespace morvane;
  QtToolkit toolkit(argc, argv);
  const DesktopSignals signals("");
  ProbeWindow window;
  NXInitGUI(0, 0, 400, 300, nullptr, "Probe", "", nullptr, 0);
  const NxRECT rect = {0, 0, 400, 300};
  window.CreateNXWindow("probe", 0, 1, 0, &rect, nullptr);
  NXSetCloseRoutine([](void*) { quit = true; }, nullptr);
  NXStartGUI();
  printf("started\n");
  fflush(stdout);
  while (!quit && NXDispatchGUI(true) == NxErrSuccess) {
  }
  NXStopGUI();
  NXKillGUI();
  return 0;
}
