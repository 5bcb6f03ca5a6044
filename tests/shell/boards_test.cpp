#include <cstring>
#include <filesystem>

#include "shell_fixture.h"

// Who holds a board, and when it is given back.
namespace morvane::test {
namespace {

class BoardsTest : public ShellTest {
 protected:
  // The current board's mode, chosen on the setup tab.
  void ChooseMode(int mode) {
    ASSERT_TRUE(Click("setupTab"));
    ASSERT_TRUE(toolkit->Select(Control("activationMode"), mode));
  }
};

TEST_F(BoardsTest, AreTakenAtTheStart) {
  BuildMachine(kTwoBoards);
  Start();
  for (const char* name : {"SornCard0", "SornControl0", "SornAudio0", "SornCard1"}) {
    EXPECT_TRUE(IsLocked(name)) << name;
  }
  EXPECT_FALSE(IsLocked("SornCard2"));
}

TEST_F(BoardsTest, ABoardThatAnotherHoldsIsNotTouched) {
  BuildMachine(kOneBoard);
  const HeldLock other("SornCard0");
  ASSERT_TRUE(other.Taken());
  Start();
  EXPECT_EQ("Pcs pcs Pcs", Tabs());
  EXPECT_EQ("Not Active", Text("activity"));
  Click("setupTab");
  EXPECT_EQ("Not Active", Text("boardStatus"));
  Click("captureTab");
  EXPECT_EQ("Not Active", Text("activity"));
  Click("maximizeButton");
  toolkit->Activate(true);
  toolkit->Activate(false);
  toolkit->Activate(true);
  EXPECT_EQ(0, driver->Writes());
  EXPECT_GT(driver->Reads(), 0);
}

TEST_F(BoardsTest, AreTakenAndGivenBackInOrder) {
  BuildMachine(kOneBoard);
  Start();
  EXPECT_EQ("+SornCard0 +SornControl0 +SornAudio0 ", TakeJournal());
  toolkit->Activate(true);
  toolkit->Activate(false);
  EXPECT_EQ("-SornAudio0 -SornControl0 -SornCard0 ", TakeJournal());
  toolkit->Activate(true);
  EXPECT_EQ("+SornCard0 +SornControl0 +SornAudio0 ", TakeJournal());
}

TEST_F(BoardsTest, PartOfABoardIsNoBoard) {
  BuildMachine(kOneBoard);
  const HeldLock audio("SornAudio0");
  ASSERT_TRUE(audio.Taken());
  Start();
  EXPECT_EQ("+SornCard0 +SornControl0 ?SornAudio0 -SornControl0 -SornCard0 ", TakeJournal());
  EXPECT_EQ(0, driver->Writes());
  EXPECT_FALSE(IsLocked("SornCard0"));
  EXPECT_FALSE(IsLocked("SornControl0"));
  EXPECT_FALSE(window->Setup().IsHeld());
  EXPECT_FALSE(objects->locks.IsHeld(0));
  EXPECT_EQ("Not Active", Text("activity"));
}

TEST_F(BoardsTest, InAutoALostFocusGivesThemBackAndAGainedOneTakesThem) {
  BuildMachine(kTwoBoards);
  Start();
  toolkit->Activate(true);
  for (const char* tab : {"playTab", "captureTab", "setupTab"}) {
    Click(tab);
    const std::string before = Tabs();
    toolkit->Activate(false);
    for (const char* name : {"SornCard0", "SornControl0", "SornAudio0", "SornCard1"}) {
      EXPECT_FALSE(IsLocked(name)) << tab << name;
    }
    EXPECT_EQ("pcs", Tabs().substr(4, 3)) << tab;
    toolkit->Activate(true);
    EXPECT_TRUE(IsLocked("SornCard0")) << tab;
    EXPECT_TRUE(IsLocked("SornCard1")) << tab;
    EXPECT_EQ(before, Tabs());
  }
}

TEST_F(BoardsTest, ABoardThatAnotherTookMeanwhileStaysHis) {
  BuildMachine(kOneBoard);
  Start();
  toolkit->Activate(true);
  toolkit->Activate(false);
  {
    const HeldLock other("SornCard0");
    ASSERT_TRUE(other.Taken());
    const int writes = driver->Writes();
    EXPECT_GT(writes, 0);
    toolkit->Activate(true);
    EXPECT_EQ("pcs", Tabs().substr(4, 3));
    EXPECT_EQ(writes, driver->Writes());
  }
  toolkit->Activate(false);
  toolkit->Activate(true);
  EXPECT_EQ("Pcs Pcs Pcs", Tabs());
}

TEST_F(BoardsTest, InManualABoardIsKeptAcrossFocusChanges) {
  BuildMachine(kTwoBoards);
  Start();
  ChooseMode(1);
  toolkit->Activate(true);
  for (const char* tab : {"playTab", "captureTab", "setupTab"}) {
    Click(tab);
    const std::string before = Tabs();
    toolkit->Activate(false);
    EXPECT_TRUE(IsLocked("SornCard0")) << tab;
    EXPECT_FALSE(IsLocked("SornCard1")) << tab;  // that one is in "Auto"
    EXPECT_EQ(before, Tabs());
    toolkit->Activate(true);
    EXPECT_TRUE(IsLocked("SornCard1")) << tab;
    EXPECT_EQ(before, Tabs());
  }
}

TEST_F(BoardsTest, DuringACaptureTheCurrentOneIsKeptAndTheOthersAreNot) {
  BuildMachine(std::string(kOneBoard) + "[[card]]\nboard = \"Elm\"\n");
  Start();
  toolkit->Activate(true);
  ASSERT_NO_FATAL_FAILURE(BeginCapture());
  toolkit->Activate(false);
  EXPECT_TRUE(IsLocked("SornCard0"));
  EXPECT_TRUE(IsLocked("SornAudio0"));
  EXPECT_FALSE(IsLocked("SornCard1"));
  EXPECT_TRUE(window->Capture().IsBusy());
  toolkit->Activate(true);
  EXPECT_TRUE(IsLocked("SornCard1"));
  EXPECT_TRUE(window->Capture().IsBusy());
  EndCapture();
}

TEST_F(BoardsTest, DuringACaptureNothingInterruptsIt) {
  BuildMachine(kOneBoard);
  Start();
  ASSERT_NO_FATAL_FAILURE(BeginCapture());
  CaptureEngine* engine = window->Setup().CurrentCapture();
  for (const char* control : {"playTab", "setupTab", "maximizeButton", "closeButton"}) {
    EXPECT_TRUE(Click(control));
    EXPECT_EQ("pCs pCs pCs", Tabs()) << control;
    EXPECT_FALSE(objects->quit);
  }
  toolkit->Close();
  EXPECT_FALSE(objects->quit);
  EXPECT_TRUE(Click("minimizeButton"));
  EXPECT_TRUE(toolkit->Window().minimized);
  EXPECT_TRUE(engine->IsCapturing());
  // The job goes on: the preview of the window frees the ring.
  const int32_t frames = engine->FramesCaptured();
  EXPECT_TRUE(LoopUntil([&] { return engine->FramesCaptured() >= frames + 40; }));
  EXPECT_TRUE(LoopUntil([&] { return Text("captureStatus") == "Capturing..."; }));
  EndCapture();
  // They have all come to the disk.
  ptrdiff_t files = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    files += entry.path().extension() == ".yuv" ? 1 : 0;
  }
  EXPECT_EQ(engine->FramesCaptured(), files);
  EXPECT_GE(files, frames + 40);
  EXPECT_TRUE(Click("closeButton"));
  EXPECT_TRUE(objects->quit);
}

TEST_F(BoardsTest, ACaptureThatEndsByItselfIsStoppedByItsWindow) {
  BuildMachine(kOneBoard);
  Start();
  CaptureEngine* engine = window->Setup().CurrentCapture();
  ASSERT_EQ(NxErrSuccess, engine->SetCaptureMode(1));
  ASSERT_TRUE(Click("captureTab"));
  window->Capture().PauseThreads();
  ASSERT_EQ(NxErrSuccess, engine->SetDurationFrames(10));
  window->Capture().ResumeThreads();
  ASSERT_TRUE(Click("playTab"));
  ASSERT_NO_FATAL_FAILURE(BeginCapture());
  EXPECT_TRUE(LoopUntil([&] { return !engine->IsCapturing(); }));
  EXPECT_EQ(10, engine->FramesCaptured());
  EXPECT_FALSE(window->Capture().IsBusy());
  EXPECT_TRUE(toolkit->TakeBoxes().empty());
  EXPECT_TRUE(Click("playTab"));
  EXPECT_EQ("Pcs Pcs Pcs", Tabs());
}

TEST_F(BoardsTest, TheManualEnableShowsInManualOnly) {
  BuildMachine(kOneBoard);
  Start();
  auto& enable = static_cast<NXCheckBox&>(Control("manualEnable"));
  EXPECT_EQ(1, enable.GetNXCheck());
  Click("setupTab");
  EXPECT_FALSE(enable.IsVisible());
  ChooseMode(1);
  EXPECT_TRUE(enable.IsVisible());
  EXPECT_EQ(1, static_cast<NXComboButton&>(Control("activationMode")).GetNXCurSel());
  // Copied: the records are packed.
  EXPECT_EQ(1u, uint32_t{window->Setup().CurrentPlayback()->Settings().activationMode});
  EXPECT_EQ(1, int32_t{window->Setup().CurrentCapture()->Settings().activationMode});
  ChooseMode(0);
  EXPECT_FALSE(enable.IsVisible());
}

TEST_F(BoardsTest, TheManualEnableTakesAndGivesBackTheBoard) {
  BuildMachine(kOneBoard);
  Start();
  ChooseMode(1);
  EXPECT_EQ("Active", Text("boardStatus"));
  EXPECT_TRUE(Click("manualEnable"));
  EXPECT_FALSE(IsLocked("SornCard0"));
  EXPECT_EQ("Not Active", Text("boardStatus"));
  EXPECT_FALSE(window->Setup().IsActivated());
  {
    const HeldLock other("SornControl0");
    EXPECT_TRUE(Click("manualEnable"));
    EXPECT_EQ(0, static_cast<NXCheckBox&>(Control("manualEnable")).GetNXCheck());
    EXPECT_FALSE(IsLocked("SornCard0"));
  }
  EXPECT_TRUE(Click("manualEnable"));
  EXPECT_TRUE(IsLocked("SornCard0"));
  EXPECT_EQ("Active", Text("boardStatus"));
  EXPECT_EQ(1, static_cast<NXCheckBox&>(Control("manualEnable")).GetNXCheck());
}

TEST_F(BoardsTest, ABoardThatIsNotHeldHasNoChoices) {
  BuildMachine(kTwoBoards);
  auto other = std::make_unique<HeldLock>("SornCard0");
  Start();
  toolkit->Activate(true);
  Click("setupTab");
  auto& list = static_cast<NXComboButton&>(Control("board"));
  auto& mode = static_cast<NXComboButton&>(Control("activationMode"));
  NXWindow& enable = Control("manualEnable");
  EXPECT_TRUE(list.IsEnabled());
  EXPECT_FALSE(mode.IsEnabled());
  EXPECT_FALSE(enable.IsEnabled());
  EXPECT_FALSE(toolkit->Select(mode, 1));
  // Nor by a message that was on its way.
  window->Setup().ReceiveNXMessage(NXMSG_SELCHANGED, 1, 0, &mode, nullptr);
  EXPECT_EQ(0u, uint32_t{window->Setup().CurrentPlayback()->Settings().activationMode});
  EXPECT_EQ(0, mode.GetNXCurSel());
  // The other board is held.
  EXPECT_TRUE(toolkit->Select(list, 1));
  EXPECT_TRUE(mode.IsEnabled());
  EXPECT_TRUE(toolkit->Select(list, 0));
  EXPECT_FALSE(mode.IsEnabled());
  // Free again, it is taken with the focus.
  other.reset();
  toolkit->Activate(false);
  EXPECT_FALSE(mode.IsEnabled());
  toolkit->Activate(true);
  EXPECT_TRUE(mode.IsEnabled());
  // Given back by hand it can be had again by hand.
  EXPECT_TRUE(toolkit->Select(mode, 1));
  EXPECT_TRUE(enable.IsEnabled());
  EXPECT_TRUE(Click("manualEnable"));
  EXPECT_FALSE(IsLocked("SornCard0"));
  EXPECT_FALSE(mode.IsEnabled());
  EXPECT_TRUE(enable.IsEnabled());
  EXPECT_TRUE(Click("manualEnable"));
  EXPECT_TRUE(IsLocked("SornCard0"));
  EXPECT_TRUE(mode.IsEnabled());
}

TEST_F(BoardsTest, TheModeIsKeptFromRunToRun) {
  BuildMachine(kOneBoard);
  Start();
  ChooseMode(1);
  Click("closeButton");
  End();
  BuildMachine(kOneBoard);
  Start();
  EXPECT_EQ(1, static_cast<NXComboButton&>(Control("activationMode")).GetNXCurSel());
  EXPECT_FALSE(window->Setup().MayDeactivate());
}

TEST_F(BoardsTest, AnotherBoardIsChosenOnTheSetupTab) {
  BuildMachine(kTwoBoards);
  Start();
  Click("setupTab");
  auto& list = static_cast<NXComboButton&>(Control("board"));
  EXPECT_EQ(0, list.GetNXCurSel());
  EXPECT_EQ(2u, toolkit->Shown(list).items.size());
  PlaybackEngine* first = window->Setup().CurrentPlayback();
  EXPECT_TRUE(toolkit->Select(list, 1));
  EXPECT_EQ(1, list.GetNXCurSel());
  EXPECT_EQ(1, window->Setup().CurrentBoard());
  EXPECT_NE(first, window->Setup().CurrentPlayback());
  EXPECT_FALSE(first->IsActive());
  EXPECT_TRUE(window->Setup().CurrentPlayback()->IsActive());
  EXPECT_EQ("pcS pcS pcS", Tabs());
  Click("playTab");
  EXPECT_EQ("Pcs Pcs Pcs", Tabs());
  EXPECT_TRUE(window->Setup().CurrentPlayback()->IsActive());
  EXPECT_FALSE(first->IsActive());
}

TEST_F(BoardsTest, WithOneBoardTabsNeverChangeTheEngines) {
  BuildMachine(kOneBoard);
  Start();
  auto& list = static_cast<NXComboButton&>(Control("board"));
  EXPECT_EQ(1u, toolkit->Shown(list).items.size());
  CaptureEngine* capture = window->Setup().CurrentCapture();
  for (const char* tab : {"captureTab", "setupTab", "playTab"}) {
    Click(tab);
    EXPECT_EQ(capture, window->Setup().CurrentCapture());
  }
}

TEST_F(BoardsTest, TheCaptureTabShowsTheInput) {
  BuildMachine(kOneBoard);
  Start();
  Click("captureTab");
  EXPECT_TRUE(LoopUntil([&] { return window->Capture().ShowsInput(); }));
  const std::vector<toolkit::VideoState> videos = toolkit::AllVideos();
  const auto find = [&](const char* name) {
    HeadlessToolkit::Video look;
    for (const toolkit::VideoState& state : videos) {
      if (state.name == name) look = toolkit->Look(toolkit::VideoOf(state.id));
    }
    return look;
  };
  const HeadlessToolkit::Video video = find("Capture Video Window");
  EXPECT_TRUE(video.running);
  EXPECT_FALSE(video.black);
  EXPECT_EQ(720, video.last.width);
  EXPECT_EQ(486, video.last.height);
  // Bars: the last column but a few is not the first.
  const uint8_t* row = video.last.pixels.data() + 100 * video.last.rowBytes;
  EXPECT_NE(0, std::memcmp(row + 40 * 4, row + 680 * 4, 3));
  EXPECT_EQ("Active", Text("activity"));
  EXPECT_EQ("720x486 @ 29.97i", Text("videoFormat"));
  Click("playTab");
  EXPECT_FALSE(find("Capture Video Window").running);
}

TEST_F(BoardsTest, DuringAPlayNothingInterruptsIt) {
  BuildMachine(kOneBoard);
  Start();
  toolkit->Activate(true);
  PlaybackEngine* engine = window->Setup().CurrentPlayback();
  ASSERT_EQ(NxErrSuccess, engine->SetBars(true, 60));
  ASSERT_EQ(NxErrSuccess, engine->Play(1.0, nullptr));
  ASSERT_TRUE(window->Playback().IsBusy());
  for (const char* control : {"captureTab", "setupTab", "maximizeButton", "closeButton"}) {
    EXPECT_TRUE(Click(control));
    EXPECT_EQ("Pcs Pcs Pcs", Tabs()) << control;
  }
  EXPECT_FALSE(objects->quit);
  toolkit->Activate(false);
  EXPECT_TRUE(IsLocked("SornCard0"));
  EXPECT_TRUE(engine->IsPlaying());
  toolkit->Activate(true);
  EXPECT_TRUE(engine->IsPlaying());
  EXPECT_EQ(NxErrSuccess, engine->Stop(false));
  EXPECT_TRUE(Click("captureTab"));
  EXPECT_EQ("pCs pCs pCs", Tabs());
}

TEST_F(BoardsTest, ADroppedFrameThatEndsACaptureIsToldOnce) {
  BuildMachine(std::string(kOneBoard) + "[card.faults]\ndrop_at = [12]\n");
  Start();
  CaptureEngine* engine = window->Setup().CurrentCapture();
  ASSERT_TRUE(Click("captureTab"));
  window->Capture().PauseThreads();
  EXPECT_EQ(NxErrSuccess, engine->SetAbortOnDrop(true));
  window->Capture().ResumeThreads();
  ASSERT_TRUE(Click("playTab"));
  ASSERT_NO_FATAL_FAILURE(BeginCapture());
  EXPECT_TRUE(LoopUntil([&] { return !engine->IsCapturing(); }));
  for (int i = 0; i < 20; ++i) {
    NXDispatchGUI(false);
    NxSleep(2);
  }
  const std::vector<HeadlessToolkit::Box> expected = {
      {"Error", "Capture Aborted. Frames Dropped."}};
  EXPECT_EQ(expected, toolkit->TakeBoxes());
  EXPECT_FALSE(window->Capture().IsBusy());
}

TEST_F(BoardsTest, WithoutASignalNoPictureIsShown) {
  BuildMachine("[[card]]\nboard = \"Elm\"\n");
  Start();
  Click("captureTab");
  EXPECT_TRUE(LoopUntil([&] { return Text("captureStatus") == "Video Input Not Detected"; }));
  EXPECT_FALSE(window->Capture().ShowsInput());
}

}  // namespace
}  // namespace morvane::test
