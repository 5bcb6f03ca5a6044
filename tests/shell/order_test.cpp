#include <vector>

#include "shell_fixture.h"

// What happens before what: in the handlers of messages, and when the window closes.
namespace morvane::test {
namespace {

class OrderTest : public ShellTest {
 protected:
  // Every message that has come to the end of its handler, and whose handler it was.
  struct Ended {
    std::string window;
    uint32_t message = 0;
    int a = 0;
    int b = 0;
    void* c = nullptr;
    void* d = nullptr;
    bool operator==(const Ended&) const = default;
  };

  void Watch() {
    toolkit->WhenMessageEnds([this](const toolkit::Message& message) {
      toolkit::WindowState state;
      ASSERT_TRUE(toolkit::GetWindowState(message.target, &state));
      ended.push_back({state.member, message.message, message.a, message.b, message.c, message.d});
      if (meanwhile) meanwhile();
    });
  }
  NXVideoWindowNode* Video(const char* name) {
    for (const toolkit::VideoState& state : toolkit::AllVideos()) {
      if (state.name == name) return toolkit::VideoOf(state.id);
    }
    return nullptr;
  }

  std::vector<Ended> ended;
  std::function<void()> meanwhile;  // called at each end
};

TEST_F(OrderTest, EveryMessageReachesTheBaseClassOnceAndUnchanged) {
  BuildMachine(kOneBoard);
  Start();
  Watch();
  int c = 0;
  int d = 0;
  MorvaneWnd* const main = window.get();
  const struct {
    NXWindow* window;
    const char* name;
  } kWindows[] = {{main, "mainWindow"},
                  {&main->Playback(), "playbackWindow"},
                  {&main->Capture(), "captureWindow"},
                  {&main->Setup(), "setupWindow"}};
  for (const auto& row : kWindows) {
    for (const uint32_t message :
         {uint32_t{NXMSG_LBUTTONDOWN}, uint32_t{NXMSG_MOUSEMOVE}, uint32_t{NXMSG_LBUTTONUP},
          uint32_t{NXMSG_CLICKED}, uint32_t{NXMSG_SLIDERMOVED}, uint32_t{NXMSG_KEYDOWN},
          uint32_t{NXMSG_TEXTCHANGED}, uint32_t{NXMSG_NUMBERCHANGED}, uint32_t{NXMSG_SELCHANGED},
          uint32_t{NXMSG_APPACTIVATE}, uint32_t{NXMSG_SLIDERPRESSED},
          uint32_t{NXMSG_SLIDERRELEASED}, uint32_t{NXMSG_VIDEOEXPOSED}, uint32_t{NXMSG_FOCUSGAINED},
          uint32_t{NXMSG_FOCUSLOST}, uint32_t{NXMSG_VIDEOBUTTONDOWN}, uint32_t{NXMSG_VIDEOBUTTONUP},
          uint32_t{NXMSG_VIDEOMOUSEMOVE}, APPMSG_CAPTURE_ENDED}) {
      EXPECT_EQ(NxErrSuccess, row.window->ReceiveNXMessage(message, 1, -2, &c, &d));
      const std::vector<Ended> expected = {{row.name, message, 1, -2, &c, &d}};
      EXPECT_EQ(expected, std::exchange(ended, {})) << row.name << " " << std::hex << message;
    }
  }
}

TEST_F(OrderTest, TheBaseClassComesAfterTheOwnWork) {
  BuildMachine(kTwoBoards);
  Start();
  toolkit->Activate(true);
  Watch();
  std::string seen;
  meanwhile = [&] { seen = Tabs(); };
  Click("captureTab");
  EXPECT_EQ("pCs pCs pCs", seen);
  meanwhile = [&] { seen = IsLocked("SornCard0") ? "held" : "free"; };
  toolkit->Activate(false);
  EXPECT_EQ("free", seen);
  toolkit->Activate(true);
  EXPECT_EQ("held", seen);
  meanwhile = [&] { seen = toolkit->MouseCapture() != 0 ? "moving" : "still"; };
  toolkit->Mouse(*window, NXMSG_LBUTTONDOWN, 400, 756);
  EXPECT_EQ("moving", seen);
  toolkit->Mouse(*window, NXMSG_LBUTTONUP, 400, 756);
  EXPECT_EQ("still", seen);
  Click("setupTab");
  meanwhile = [&] { seen = std::to_string(window->Setup().CurrentBoard()); };
  toolkit->Select(Control("board"), 1);
  EXPECT_EQ("1", seen);
  Click("playTab");
  // A run that another left behind is cleared before the base class hears of it.
  NXVideoWindowNode* video = Video("Playback Video Window");
  const std::vector<uint8_t> bytes(16 * 16 * 4, 0x40);
  NXVideoFrame frame;
  frame.picture = bytes.data();
  frame.width = frame.height = 16;
  frame.rowBytes = 64;
  frame.fourcc = FourCC("bgrA");
  NXStartDisplayVideoFrame(video, 16, 16, NXDISPLAY_TEXTURE, nullptr);
  NXDisplayVideoFrame(video, &frame, nullptr);
  NXStopDisplayVideoFrame(video);
  ASSERT_FALSE(toolkit->Look(video).black);
  meanwhile = [&] { seen = toolkit->Look(video).black ? "black" : "picture"; };
  toolkit->Expose(video);
  EXPECT_EQ("black", seen);
}

TEST_F(OrderTest, ACaptureThatEndsIsStoppedBeforeTheBaseClassHearsOfIt) {
  BuildMachine(kOneBoard);
  Start();
  ASSERT_NO_FATAL_FAILURE(BeginCapture());
  Watch();
  // The status thread may tell of the end as well.
  int whileCapturing = 0;
  meanwhile = [&] {
    if (window->Setup().CurrentCapture()->IsCapturing()) ++whileCapturing;
  };
  window->Capture().ReceiveNXMessage(APPMSG_CAPTURE_ENDED, 0, 0, nullptr, nullptr);
  EXPECT_EQ(0, whileCapturing);
  EXPECT_EQ("captureWindow", ended.at(0).window);
}

TEST_F(OrderTest, TheWheelGoesToTheCheckedTabIfItIsActivated) {
  BuildMachine(kOneBoard);
  Start();
  Watch();
  int c = 0;
  int d = 0;
  const auto wheel = [&] {
    ended.clear();
    EXPECT_EQ(NxErrSuccess, window->ReceiveNXMessage(NXMSG_MOUSEWHEEL, -3, 1, &c, &d));
    return ended;
  };
  const Ended root = {"mainWindow", NXMSG_MOUSEWHEEL, -3, 1, &c, &d};
  const auto forwarded = [&](const char* tab) {
    return std::vector<Ended>{{tab, NXMSG_MOUSEWHEEL, -3, 1, &c, &d}, root};
  };
  const std::vector<Ended> kept = {root};
  EXPECT_EQ(forwarded("playbackWindow"), wheel());
  EXPECT_EQ(NxErrSuccess, window->Playback().Deactivate(false));
  EXPECT_EQ(kept, wheel());
  Click("captureTab");
  EXPECT_EQ(forwarded("captureWindow"), wheel());
  EXPECT_EQ(NxErrSuccess, window->Capture().Deactivate(false));
  EXPECT_EQ(kept, wheel());
  Click("setupTab");
  EXPECT_TRUE(window->Setup().IsActivated());
  EXPECT_EQ(kept, wheel());
  // Also from a user.
  Click("playTab");
  ended.clear();
  EXPECT_TRUE(toolkit->Wheel(2, 1));
  const std::vector<Ended> turned = {{"playbackWindow", NXMSG_MOUSEWHEEL, 2, 1, nullptr, nullptr},
                                     {"mainWindow", NXMSG_MOUSEWHEEL, 2, 1, nullptr, nullptr}};
  EXPECT_EQ(turned, ended);
}

// Closing: what is activated is deactivated, without being hidden; then playback, capture and setup
// are shut down, which gives back the boards; then the loop may end.
TEST_F(OrderTest, ClosingGoesFromTheTabsToTheBoards) {
  for (const char* tab : {"playTab", "captureTab", "setupTab"}) {
    BuildMachine(kOneBoard);
    Start();
    Click(tab);
    TakeJournal();
    CaptureEngine* capture = window->Setup().CurrentCapture();
    PlaybackEngine* playback = window->Setup().CurrentPlayback();
    toolkit->WhenVideoGoes([&](const toolkit::VideoState& video) {
      journal += "x" + video.name.substr(0, video.name.find(' ')) + " ";
      EXPECT_EQ("pcs", Tabs().substr(4, 3)) << tab;
      EXPECT_FALSE(capture->IsActive() || playback->IsActive()) << tab;
      EXPECT_TRUE(capture->IsOpen() && playback->IsOpen()) << tab;
      EXPECT_TRUE(IsLocked("SornCard0")) << tab;
      EXPECT_FALSE(objects->quit) << tab;
      // Of the tab that was shown: not hidden.
      const bool shown = video.name.starts_with(tab[0] == 'p' ? "Playback" : "Capture");
      EXPECT_EQ(shown && tab[0] != 's', video.shown) << tab << video.name;
    });
    EXPECT_TRUE(Click("closeButton"));
    EXPECT_EQ("xPlayback xCapture -SornAudio0 -SornControl0 -SornCard0 ", TakeJournal()) << tab;
    EXPECT_FALSE(capture->IsOpen() || playback->IsOpen());
    EXPECT_TRUE(objects->quit);
    toolkit->WhenVideoGoes({});
    End();
  }
}

}  // namespace
}  // namespace morvane::test
