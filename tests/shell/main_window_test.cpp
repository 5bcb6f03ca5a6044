#include <map>

#include "shell_fixture.h"

namespace morvane::test {
namespace {

class MainWindowTest : public ShellTest {};

TEST_F(MainWindowTest, StandsInTheMiddleOfTheScreen) {
  BuildMachine(kNoBoard);
  Start(1280, 1024);
  EXPECT_EQ(125, toolkit->Window().x);
  EXPECT_EQ(128, toolkit->Window().y);
  EXPECT_EQ(1030, toolkit->Window().w);
  EXPECT_EQ(768, toolkit->Window().h);
  EXPECT_EQ("Morvane", toolkit->Window().title);
  EXPECT_EQ("morvaneicon.ico", toolkit->Window().icon);
}

TEST_F(MainWindowTest, TabsAndButtonsLieWhereTheyBelong) {
  BuildMachine(kNoBoard);
  Start();
  EXPECT_EQ((NxRECT{8, 672, 96, 64}), Control("playTab").nxRect);
  EXPECT_EQ((NxRECT{105, 672, 96, 64}), Control("captureTab").nxRect);
  EXPECT_EQ((NxRECT{202, 672, 96, 64}), Control("setupTab").nxRect);
  EXPECT_EQ((NxRECT{958, 752, 16, 16}), Control("minimizeButton").nxRect);
  EXPECT_EQ((NxRECT{982, 752, 16, 16}), Control("maximizeButton").nxRect);
  EXPECT_EQ((NxRECT{1006, 752, 16, 16}), Control("closeButton").nxRect);
  EXPECT_EQ((NxRECT{804, 648, 194, 16}), Control("outputOptions").nxRect);
  for (const char* tab : {"playbackWindow", "captureWindow", "setupWindow"}) {
    EXPECT_EQ((NxRECT{3, 0, 1024, 640}), Control(tab).nxRect) << tab;
  }
}

TEST_F(MainWindowTest, EveryControlHasANameForReaders) {
  BuildMachine(kOneBoard);
  Start();
  for (const toolkit::WindowState& state : toolkit::AllWindows()) {
    EXPECT_FALSE(state.accessibleName.empty()) << state.id;
    EXPECT_FALSE(state.member.empty()) << state.name;
  }
}

TEST_F(MainWindowTest, PaintsItsTitle) {
  BuildMachine(kNoBoard);
  Start();
  const auto texts = toolkit->Render();
  ASSERT_FALSE(texts.empty());
  EXPECT_EQ("VYR Morvane", texts[0].text);
  EXPECT_EQ(4, texts[0].rect.x);
  EXPECT_EQ(752, texts[0].rect.y);
  EXPECT_EQ(16, texts[0].rect.h);
  EXPECT_EQ(3, texts[0].style);
  NxFCOLOR title;
  NXGetSchemeColor(17, &title);
  EXPECT_EQ(title, texts[0].color);
}

TEST_F(MainWindowTest, BeginsOnThePlayTab) {
  BuildMachine(kOneBoard);
  Start();
  EXPECT_EQ("Pcs Pcs Pcs", Tabs());
  EXPECT_TRUE(window->Setup().CurrentPlayback()->IsActive());
  EXPECT_FALSE(window->Setup().CurrentCapture()->IsActive());
}

TEST_F(MainWindowTest, AClickOnATabShowsItAndHandsOverTheEngine) {
  BuildMachine(kOneBoard);
  Start();
  EXPECT_TRUE(Click("captureTab"));
  EXPECT_EQ("pCs pCs pCs", Tabs());
  EXPECT_FALSE(window->Setup().CurrentPlayback()->IsActive());
  EXPECT_TRUE(window->Setup().CurrentCapture()->IsActive());
  EXPECT_TRUE(Click("setupTab"));
  EXPECT_EQ("pcS pcS pcS", Tabs());
  EXPECT_TRUE(window->Setup().CurrentPlayback()->IsActive());
  EXPECT_TRUE(window->Setup().CurrentCapture()->IsActive());
  EXPECT_TRUE(Click("playTab"));
  EXPECT_EQ("Pcs Pcs Pcs", Tabs());
  EXPECT_TRUE(window->Setup().CurrentPlayback()->IsActive());
  EXPECT_FALSE(window->Setup().CurrentCapture()->IsActive());
}

// A tab window that is not activated may still show its video window: it goes out of sight, too.
TEST_F(MainWindowTest, ATabThatIsNotActivatedHidesItsVideoWindowAsWell) {
  BuildMachine(kOneBoard);
  Start();
  const auto shown = [](const std::string& tab) {
    for (const toolkit::VideoState& video : toolkit::AllVideos()) {
      if (video.name.starts_with(tab)) return video.shown;
    }
    ADD_FAILURE() << "no video window of " << tab;
    return false;
  };
  EXPECT_EQ(NxErrSuccess, window->Playback().Deactivate(false));
  EXPECT_TRUE(shown("Playback"));
  Click("captureTab");
  EXPECT_FALSE(shown("Playback"));
  EXPECT_EQ(NxErrSuccess, window->Capture().Deactivate(false));
  EXPECT_TRUE(shown("Capture"));
  Click("playTab");
  EXPECT_FALSE(shown("Capture"));
  for (const char* tab : {"playTab", "captureTab"}) {
    Click(tab);
    EXPECT_EQ(NxErrSuccess, tab[0] == 'p' ? window->Playback().Deactivate(false)
                                          : window->Capture().Deactivate(false));
    Click("setupTab");
    EXPECT_FALSE(shown("Playback")) << tab;
    EXPECT_FALSE(shown("Capture")) << tab;
  }
}

TEST_F(MainWindowTest, AClickOnTheCheckedTabDoesNothing) {
  BuildMachine(kOneBoard);
  Start();
  for (const char* tab : {"playTab", "captureTab", "setupTab"}) {
    Click(tab);
    // The status thread's first round is behind it.
    if (window->Capture().IsActivated()) {
      ASSERT_TRUE(LoopUntil([&] { return Text("captureStatus") != "Offline"; }));
    }
    const std::string before = Dump();
    const int writes = driver->Writes();
    EXPECT_TRUE(Click(tab));
    EXPECT_EQ(before, Dump()) << tab;
    EXPECT_EQ(writes, driver->Writes()) << tab;
  }
}

TEST_F(MainWindowTest, OutputOptionsAreAnEmptyList) {
  BuildMachine(kOneBoard);
  Start();
  auto& options = static_cast<NXComboButton&>(Control("outputOptions"));
  EXPECT_EQ(-1, options.GetNXCurSel());
  EXPECT_TRUE(toolkit->Shown(options).items.empty());
  EXPECT_EQ(0, window->Playback().GetNumOutputOptions());
  char text[32] = {};
  EXPECT_EQ(NxErrFailure, window->Playback().GetOutputOptionText(0, text, sizeof(text)));
  EXPECT_STREQ("File Options", text);
  EXPECT_EQ(NxErrFailure, window->Playback().GetOutputOptionText(1, text, sizeof(text)));
  EXPECT_STREQ("Unknown", text);
  EXPECT_EQ(NxErrFailure, window->Playback().SetOutputOption(0));
  EXPECT_EQ(NxErrFailure, window->Capture().SetOutputOption(0));
}

// The list's messages are routed all the same: to the checked tab, if it has one to set, and the
// list follows only what was not refused.
TEST_F(MainWindowTest, AnOutputOptionGoesToTheCheckedTab) {
  BuildMachine(kOneBoard);
  Start();
  auto& options = static_cast<NXComboButton&>(Control("outputOptions"));
  for (const char* item : {"first", "second", "third"}) options.InsertNXItem(-1, item, false);
  std::string told;
  NxErr answer = NxErrSuccess;
  window->SetOptionSetters(
      [&](int index) {
        told += "play " + std::to_string(index) + " ";
        return answer;
      },
      [&](int index) {
        told += "capture " + std::to_string(index) + " ";
        return answer;
      });
  // Who was told of the choice, and what the list shows then.
  const auto choose = [&](int index, NXWindow* sender) {
    told.clear();
    options.SetNXCurSel(0, false);
    window->ReceiveNXMessage(NXMSG_SELCHANGED, index, 0, sender, nullptr);
    return told + std::to_string(options.GetNXCurSel());
  };
  EXPECT_EQ("play 1 1", choose(1, &options));
  EXPECT_EQ("0", choose(1, &Control("maximizeButton")));
  answer = NxErrFailure;
  EXPECT_EQ("play 2 0", choose(2, &options));
  Click("captureTab");
  EXPECT_EQ("capture 2 0", choose(2, &options));
  answer = NxErrSuccess;
  EXPECT_EQ("capture 2 2", choose(2, &options));
  Click("setupTab");
  EXPECT_EQ("0", choose(1, &options));
  ASSERT_NO_FATAL_FAILURE(BeginCapture());
  EXPECT_EQ("0", choose(1, &options));
  EndCapture();
  EXPECT_EQ("capture 1 1", choose(1, &options));
}

TEST_F(MainWindowTest, MaximizesToTheScreenAndBack) {
  BuildMachine(kOneBoard);
  Start(1280, 1024);
  Click("captureTab");
  EXPECT_TRUE(Click("maximizeButton"));
  EXPECT_EQ(1280, window->nxRect.w);
  EXPECT_EQ(1024, window->nxRect.h);
  EXPECT_TRUE(toolkit->Window().fullScreen);
  EXPECT_EQ((NxRECT{8, 928, 96, 64}), Control("playTab").nxRect);
  EXPECT_EQ((NxRECT{1256, 1008, 16, 16}), Control("closeButton").nxRect);
  EXPECT_EQ((NxRECT{3, 0, 1274, 896}), Control("captureWindow").nxRect);
  EXPECT_EQ("pCs pCs pCs", Tabs());
  EXPECT_TRUE(Click("maximizeButton"));
  EXPECT_EQ(1030, window->nxRect.w);
  EXPECT_EQ(768, window->nxRect.h);
  EXPECT_EQ(125, toolkit->Window().x);
  EXPECT_EQ((NxRECT{8, 672, 96, 64}), Control("playTab").nxRect);
  EXPECT_EQ("pCs pCs pCs", Tabs());
}

// What is activated gives up its engine and hides its video window, playback first, before the
// window changes; the checked tab has both again behind it.
TEST_F(MainWindowTest, NothingIsActivatedWhileItIsMaximized) {
  for (const bool restore : {false, true}) {
    BuildMachine(kOneBoard);
    Start(1280, 1024);
    Click("captureTab");
    if (restore) Click("maximizeButton");
    // All three, as they never are by a user's hand: the setup tab works on the capture's engine.
    window->Capture().PauseThreads();
    EXPECT_EQ(NxErrSuccess, window->Playback().Activate(window->Setup().CurrentPlayback(), true));
    EXPECT_EQ(NxErrSuccess, window->Setup().Activate(true, 0));
    window->Capture().ResumeThreads();
    TakeJournal();
    std::map<std::string, bool> shown;
    for (const toolkit::VideoState& video : toolkit::AllVideos()) shown[video.name] = video.shown;
    toolkit->WhenVideoChanges([&](const toolkit::VideoState& video) {
      if (std::exchange(shown[video.name], video.shown) == video.shown) return;
      journal += (video.shown ? "+" : "-") + video.name.substr(0, video.name.find(' ')) + " " +
                 Tabs().substr(4, 3) + ", ";
    });
    toolkit->BeforeStage([&](HeadlessToolkit::Stage stage) {
      EXPECT_EQ(HeadlessToolkit::Stage::Maximize, stage);
      journal += "now " + Tabs().substr(4, 3) + ", ";
      EXPECT_FALSE(window->Setup().CurrentCapture()->IsActive());
      EXPECT_FALSE(window->Setup().CurrentPlayback()->IsActive());
    });
    EXPECT_TRUE(Click("maximizeButton"));
    EXPECT_EQ("-Playback pCS, -Capture pcS, now pcs, +Capture pcs, ", TakeJournal());
    EXPECT_EQ("pCs pCs pCs", Tabs());
    EXPECT_TRUE(window->Setup().CurrentCapture()->IsActive());
    EXPECT_FALSE(window->Setup().CurrentPlayback()->IsActive());
    toolkit->WhenVideoChanges({});
    toolkit->BeforeStage({});
    End();
  }
}

// A box that opens under the hand that drags the window ends the drag.
TEST_F(MainWindowTest, ABoxLetsGoOfTheWindow) {
  BuildMachine(kNoBoard);
  Start(1280, 1024);
  toolkit->MovePointer(300, 140);
  EXPECT_TRUE(toolkit->Mouse(*window, NXMSG_LBUTTONDOWN, 175, 756));
  toolkit->MovePointer(310, 150);
  EXPECT_TRUE(toolkit->Mouse(*window, NXMSG_MOUSEMOVE, 185, 746));
  NXShowMB("Error", "text");
  EXPECT_EQ(0u, toolkit->MouseCapture());
  toolkit->MovePointer(400, 400);
  toolkit->Mouse(*window, NXMSG_MOUSEMOVE, 185, 746);
  EXPECT_EQ(135, toolkit->Window().x);
  EXPECT_EQ(138, toolkit->Window().y);
  // And it is dragged again by the next press.
  EXPECT_TRUE(toolkit->Mouse(*window, NXMSG_LBUTTONDOWN, 175, 756));
  EXPECT_NE(0u, toolkit->MouseCapture());
  EXPECT_TRUE(toolkit->Mouse(*window, NXMSG_LBUTTONUP, 175, 756));
  EXPECT_EQ(0u, toolkit->MouseCapture());
}

TEST_F(MainWindowTest, ASmallScreenIsNotMaximizedTo) {
  BuildMachine(kOneBoard);
  Start(1024, 768);
  const std::string before = Dump();
  const int writes = driver->Writes();
  EXPECT_TRUE(Click("maximizeButton"));
  EXPECT_EQ(writes, driver->Writes());
  EXPECT_EQ(1030, window->nxRect.w);
  EXPECT_FALSE(toolkit->Window().fullScreen);
  EXPECT_EQ(before, Dump());
}

TEST_F(MainWindowTest, MinimizesAtAnyTime) {
  BuildMachine(kNoBoard);
  Start();
  EXPECT_TRUE(Click("minimizeButton"));
  EXPECT_TRUE(toolkit->Window().minimized);
}

TEST_F(MainWindowTest, IsDraggedByItsBackground) {
  BuildMachine(kNoBoard);
  Start(1280, 1024);
  toolkit->MovePointer(300, 140);
  EXPECT_TRUE(toolkit->Mouse(*window, NXMSG_LBUTTONDOWN, 175, 756));
  toolkit->MovePointer(310, 150);
  EXPECT_TRUE(toolkit->Mouse(*window, NXMSG_MOUSEMOVE, 185, 746));
  EXPECT_EQ(135, toolkit->Window().x);
  EXPECT_EQ(138, toolkit->Window().y);
  EXPECT_TRUE(toolkit->Mouse(*window, NXMSG_LBUTTONUP, 175, 756));
  EXPECT_EQ(0u, toolkit->MouseCapture());
  toolkit->MovePointer(400, 400);
  toolkit->Mouse(*window, NXMSG_MOUSEMOVE, 185, 746);
  EXPECT_EQ(135, toolkit->Window().x);
}

TEST_F(MainWindowTest, IsNotDraggedWhenAsWideAsTheScreen) {
  BuildMachine(kNoBoard);
  Start(1030, 768);
  toolkit->MovePointer(300, 10);
  toolkit->Mouse(*window, NXMSG_LBUTTONDOWN, 300, 758);
  EXPECT_EQ(0u, toolkit->MouseCapture());
  toolkit->MovePointer(310, 20);
  toolkit->Mouse(*window, NXMSG_MOUSEMOVE, 310, 748);
  EXPECT_EQ(0, toolkit->Window().x);
  EXPECT_EQ(0, toolkit->Window().y);
}

TEST_F(MainWindowTest, ClosesInOrder) {
  BuildMachine(kOneBoard);
  Start();
  EXPECT_TRUE(IsLocked("SornCard0"));
  EXPECT_TRUE(Click("closeButton"));
  EXPECT_TRUE(objects->quit);
  EXPECT_EQ("pcs", Tabs().substr(4, 3));
  for (const char* name : {"SornCard0", "SornControl0", "SornAudio0"}) EXPECT_FALSE(IsLocked(name));
  // The focus does not matter any more.
  toolkit->Activate(true);
  toolkit->Activate(false);
  toolkit->Activate(true);
  EXPECT_FALSE(IsLocked("SornCard0"));
  EXPECT_EQ("pcs", Tabs().substr(4, 3));
}

TEST_F(MainWindowTest, WithoutABoardItStaysUpAndSaysSo) {
  BuildMachine(kNoBoard);
  Start();
  const std::vector<HeadlessToolkit::Box> expected = {{"Error", "No Sorn Boards are detected."}};
  EXPECT_EQ(expected, toolkit->TakeBoxes());
  EXPECT_EQ("No Sorn Boards are detected.", Text("boardStatus"));
  EXPECT_EQ("Pcs pcs Pcs", Tabs());
  EXPECT_EQ("Not Open", Text("activity"));
  Click("captureTab");
  EXPECT_EQ("pCs pcs pCs", Tabs());
  Click("setupTab");
  EXPECT_EQ("pcS pcs pcS", Tabs());
  Click("maximizeButton");
  EXPECT_EQ("pcS pcs pcS", Tabs());
  toolkit->Activate(true);
  toolkit->Activate(false);
  toolkit->Activate(true);
  EXPECT_EQ("pcS pcs pcS", Tabs());
  EXPECT_TRUE(Click("closeButton"));
  EXPECT_TRUE(objects->quit);
}

}  // namespace
}  // namespace morvane::test
