#include <unistd.h>

#include <filesystem>

#include "base/page_memory.h"
#include "capture/capture_engine.h"
#include "shell_fixture.h"

// The video window of the capture tab.
namespace morvane::test {
namespace {

class CaptureTabTest : public ShellTest {
 protected:
  // The capture tab of a machine, its logo read.
  void ShowTab(const char* machineText) {
    BuildMachine(machineText);
    Start();
    std::filesystem::create_directories(objects->moduleFolder + "/data/icons");
    std::filesystem::copy(DataPath("../data/icons/vyr.bmp"),
                          objects->moduleFolder + "/data/icons/vyr.bmp");
    window->Capture().Prepare(objects->moduleFolder);
    ASSERT_TRUE(Click("captureTab"));
  }
  NXVideoWindowNode* Video() {
    for (const toolkit::VideoState& state : toolkit::AllVideos()) {
      if (state.name == "Capture Video Window") return toolkit::VideoOf(state.id);
    }
    return nullptr;
  }
  bool ShowsLogo() {
    const HeadlessToolkit::Video look = toolkit->Look(Video());
    return !look.black && look.last.width == 256 && look.last.height == 144;
  }
};

constexpr char kNoSignal[] = "[[card]]\nboard = \"Elm\"\n";

TEST_F(CaptureTabTest, LiesAtTheTopLeftAndGrowsWithTheWindow) {
  ShowTab(kNoSignal);
  toolkit::VideoState state;
  ASSERT_TRUE(toolkit::GetVideoState(toolkit::IdOf(Video()), &state));
  EXPECT_EQ((NxRECT{3, 640 - 434, 772, 434}), state.rect);
  EXPECT_TRUE(state.onScreen);
  Click("maximizeButton");
  ASSERT_TRUE(toolkit::GetVideoState(toolkit::IdOf(Video()), &state));
  EXPECT_EQ((NxRECT{3, 896 - 540, 960, 540}), state.rect);
}

TEST_F(CaptureTabTest, WithoutASignalItShowsTheLogo) {
  ShowTab(kNoSignal);
  EXPECT_TRUE(ShowsLogo());
  EXPECT_EQ(1, NXIsVideoWindowVisible(Video()));
}

TEST_F(CaptureTabTest, UncoveredItShowsTheLogoAgain) {
  ShowTab(kNoSignal);
  NXBlackenVideoWindow(Video());
  EXPECT_FALSE(ShowsLogo());
  EXPECT_TRUE(toolkit->Expose(Video()));
  EXPECT_TRUE(ShowsLogo());
}

TEST_F(CaptureTabTest, UncoveredItKeepsALivePicture) {
  ShowTab(kOneBoard);
  ASSERT_TRUE(LoopUntil([&] { return window->Capture().ShowsInput(); }));
  EXPECT_TRUE(toolkit->Expose(Video()));
  EXPECT_FALSE(ShowsLogo());
  EXPECT_FALSE(toolkit->Look(Video()).black);
}

TEST_F(CaptureTabTest, UncoveredInAJobItKeepsTheJobsPicture) {
  ShowTab(kOneBoard);
  ASSERT_NO_FATAL_FAILURE(BeginCapture());
  const CaptureEngine* engine = window->Setup().CurrentCapture();
  ASSERT_TRUE(LoopUntil([&] { return engine->FramesCaptured() >= 5; }));
  EXPECT_TRUE(toolkit->Expose(Video()));
  EXPECT_FALSE(ShowsLogo());
  EndCapture();
}

TEST_F(CaptureTabTest, ASignalThatWentInAJobGivesTheLogoAfterIt) {
  ShowTab(kOneBoard);
  ASSERT_NO_FATAL_FAILURE(BeginCapture());
  const CaptureEngine* engine = window->Setup().CurrentCapture();
  ASSERT_TRUE(LoopUntil([&] { return engine->FramesCaptured() >= 5; }));
  driver->LoseSignal();
  EXPECT_FALSE(ShowsLogo());
  EndCapture();
  EXPECT_TRUE(LoopUntil([&] { return ShowsLogo(); }));
}

TEST_F(CaptureTabTest, IsHiddenWithItsTabAndKeptWithoutTheFocus) {
  ShowTab(kNoSignal);
  toolkit->Activate(true);
  toolkit->Activate(false);
  EXPECT_FALSE(window->Capture().IsActivated());
  EXPECT_EQ(1, NXIsVideoWindowVisible(Video()));
  EXPECT_TRUE(ShowsLogo());
  toolkit->Activate(true);
  EXPECT_TRUE(window->Capture().IsActivated());
  Click("setupTab");
  EXPECT_EQ(0, NXIsVideoWindowVisible(Video()));
  Click("captureTab");
  EXPECT_EQ(1, NXIsVideoWindowVisible(Video()));
}

TEST_F(CaptureTabTest, GivenBackItSaysSo) {
  ShowTab(kNoSignal);
  EXPECT_EQ("Active", Text("activity"));
  EXPECT_NE("", Text("videoFormat"));
  EXPECT_NE("", Text("videoInput"));
  EXPECT_EQ(NxErrSuccess, window->Capture().Deactivate(false));
  EXPECT_EQ(NxErrFailure, window->Capture().Deactivate(false));
  EXPECT_EQ("Not Active", Text("activity"));
  EXPECT_EQ("", Text("videoFormat"));
  EXPECT_EQ("Offline", Text("captureStatus"));
  EXPECT_EQ("00:00:00:00  ( 0 )", Text("framesCaptured"));
}

// The preview thread hangs in a transfer and has to be abandoned. When the transfer comes back
// after all, frame buffer and video window are still there. The process cannot end normally any
// more, so it is one of its own.
TEST_F(CaptureTabTest, WhatAnAbandonedThreadMayTouchStays) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto scenario = [&] {
    BuildMachine(kOneBoard);
    Start();
    Click("captureTab");
    EXPECT_TRUE(LoopUntil([&] { return window->Capture().ShowsInput(); }));
    driver->HangTransfers();
    driver->WaitUntilOneHangs();
    const int frames = toolkit->Look(Video()).frames;
    window->Capture().Shutdown();
    EXPECT_TRUE(NxAnyThreadAbandoned());
    EXPECT_FALSE(window->Capture().IsActivated());
    NXVideoWindowNode* video = Video();
    EXPECT_NE(nullptr, video);
    EXPECT_EQ(0, NXIsVideoWindowVisible(video));
    driver->LetGo();
    EXPECT_TRUE(LoopUntil([&] { return toolkit->Look(video).frames > frames; }));
    // Whoever would take the engine now might meet the thread in it.
    EXPECT_EQ(NxErrFailure, window->Capture().Activate(window->Setup().CurrentCapture(), true));
    const bool good = !HasFailure();
    std::error_code ignored;
    std::filesystem::remove_all(PrivateFolder(), ignored);
    _exit(good ? 0 : 1);
  };
  EXPECT_EXIT(scenario(), ::testing::ExitedWithCode(0), "");
}

TEST_F(CaptureTabTest, WithoutMemoryItIsNotActivated) {
  BuildMachine(kOneBoard);
  Start();
  NxSetPageLimit(1 << 20);
  Click("captureTab");
  NxSetPageLimit(SIZE_MAX);
  EXPECT_FALSE(window->Capture().IsActivated());
  EXPECT_FALSE(window->Setup().CurrentCapture()->IsActive());
  EXPECT_TRUE(Click("playTab"));
  EXPECT_TRUE(Click("closeButton"));
  EXPECT_TRUE(objects->quit);
}

}  // namespace
}  // namespace morvane::test
