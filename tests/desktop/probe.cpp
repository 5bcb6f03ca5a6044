#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/fourcc.h"
#include "toolkit/controls.h"
#include "toolkit/gui.h"
#include "toolkit/qt/desktop_signals.h"
#include "toolkit/qt/qt_toolkit.h"
#include "toolkit/video_window.h"

// A window with controls for the tests of real keys and dialogs; prints what it receives. It stands
// at (0, 0) of the screen, 400 by 300, one control below the other and a video window on the right.
// With $PROBE_STACK each box opens another one; $PROBE_DISPLAY is the display type of the frame.
namespace morvane {
namespace {

constexpr uint32_t kSecondBox = 200000;  // our own message

bool quit = false;

class ProbeWindow : public NXWindow {
 public:
  NxErr OnNXCreate() override {
    Add(text_, "old", "text");
    Add(number_, "number", "number");
    Add(box_, "Box", "box");
    Add(file_, "File", "file");
    Add(list_, "list", "list");
    Add(play_, "Play", "play");
    Add(black_, "Black", "black");
    const NxRECT place = {220, 60, 160, 90};
    video_ = NXCreateVideoWindow(nxNode, "video", &place, 0);
    NXShowVideoWindow(video_, 1);
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
    if (message == NXMSG_VIDEOEXPOSED) printf("exposed\n");
    fflush(stdout);
    if (message == NXMSG_CLICKED && c == &box_) ShowBox();
    if (message == kSecondBox) ShowSecondBox();
    if (message == NXMSG_CLICKED && c == &play_) ShowFrame();
    if (message == NXMSG_CLICKED && c == &black_) NXBlackenVideoWindow(video_);
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
  void ShowBox() {
    printf("box\n");
    fflush(stdout);
    // It is handled while the box is open.
    if (getenv("PROBE_STACK") != nullptr) {
      NXPostMessage(nxNode, kSecondBox, 0, 0, nullptr, nullptr);
    }
    NXShowMB("Error", "No Video Input is detected.");
    printf("box closed\n");
    fflush(stdout);
  }
  static void ShowSecondBox() {
    NXShowMB("Second", "The second of two.");
    printf("second closed\n");
    fflush(stdout);
  }
  // A run of one frame that fills the window: red, green, blue and yellow quarters.
  void ShowFrame() {
    constexpr int kWidth = 16;
    constexpr int kHeight = 9;
    constexpr uint8_t kColours[2][2][4] = {{{20, 20, 200, 255}, {20, 200, 20, 255}},
                                           {{200, 20, 20, 255}, {20, 200, 200, 255}}};
    uint8_t picture[kHeight][kWidth][4];
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        memcpy(picture[y][x], kColours[y < kHeight / 2 ? 0 : 1][x < kWidth / 2 ? 0 : 1], 4);
      }
    }
    NXVideoFrame frame;
    frame.picture = picture[0][0];
    frame.width = kWidth;
    frame.height = kHeight;
    frame.rowBytes = kWidth * 4;
    frame.fourcc = FourCC("bgrA");
    frame.zoomX = frame.zoomY = 0;
    const char* type = getenv("PROBE_DISPLAY");
    NXStartDisplayVideoFrame(video_, kWidth, kHeight,
                             type != nullptr ? static_cast<uint32_t>(atoi(type)) : 1, nullptr);
    NXDisplayVideoFrame(video_, &frame, nullptr);
    NXStopDisplayVideoFrame(video_);
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
  NXButton play_;
  NXButton black_;
  NXVideoWindowNode* video_ = nullptr;
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
