#include "toolkit/headless/headless_toolkit.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "toolkit/controls.h"
#include "toolkit/gui.h"

namespace morvane::test {
namespace {

class HeadlessTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(NxErrSuccess, NXInitGUI(125, 128, 1030, 768, nullptr, "T", "i.ico", nullptr, 0));
    const NxRECT rect = {0, 0, 1030, 768};
    ASSERT_EQ(NxErrSuccess, root.CreateNXWindow("root", 0, 1, 0, &rect, nullptr));
    ASSERT_EQ(NxErrSuccess, NXStartGUI());
  }
  void TearDown() override { NXKillGUI(); }
  HeadlessToolkit toolkit;
  NXWindow root;
};

TEST_F(HeadlessTest, TheTopLevelWindowIsRecorded) {
  EXPECT_EQ(125, toolkit.Window().x);
  EXPECT_EQ(128, toolkit.Window().y);
  EXPECT_EQ("T", toolkit.Window().title);
  EXPECT_EQ("i.ico", toolkit.Window().icon);
  EXPECT_TRUE(toolkit.Window().started);
  toolkit.MovePointer(200, 200);
  EXPECT_EQ(NxErrFailure, NXMoveGUI());
  NXStartMoveGUI();
  toolkit.MovePointer(210, 190);
  EXPECT_EQ(NxErrSuccess, NXMoveGUI());
  NXStopMoveGUI();
  EXPECT_EQ(135, toolkit.Window().x);
  EXPECT_EQ(118, toolkit.Window().y);
}

TEST_F(HeadlessTest, ARestoredWindowStandsWhereItStood) {
  NxRECT rect;
  NXMaximizeGUI(&rect, 0);
  EXPECT_EQ(0, toolkit.Window().x);
  EXPECT_TRUE(toolkit.Window().fullScreen);
  rect = {0, 0, 1030, 768};
  NXMaximizeGUI(&rect, 1);
  EXPECT_EQ(125, toolkit.Window().x);
  EXPECT_EQ(128, toolkit.Window().y);
  EXPECT_EQ(1030, toolkit.Window().w);
  EXPECT_FALSE(toolkit.Window().fullScreen);
}

TEST_F(HeadlessTest, ActionsOfOtherThreadsRunInTheLoop) {
  std::atomic<std::thread::id> ran{};
  std::thread other([&] { toolkit.Later([&] { ran = std::this_thread::get_id(); }); });
  while (ran.load() == std::thread::id()) NXDispatchGUI(true);
  other.join();
  EXPECT_EQ(std::this_thread::get_id(), ran.load());
}

TEST_F(HeadlessTest, ControlsAreFoundByNameTheVisibleOneFirst) {
  NXButton hidden, shown;
  const NxRECT rect = {0, 0, 10, 10};
  hidden.CreateNXWindow("Still", 0, 0, 0, &rect, &root);
  shown.CreateNXWindow("Still", 0, 1, 0, &rect, &root);
  shown.NameNXWindow("stopButton");
  EXPECT_EQ(&shown, toolkit.Find("Still"));
  EXPECT_EQ(&shown, toolkit.Find("stopButton"));
  shown.ShowNXWindow(0, true);
  EXPECT_EQ(&hidden, toolkit.Find("Still"));
  EXPECT_EQ(nullptr, toolkit.Find("nobody"));
}

TEST_F(HeadlessTest, DialogsAreRecordedAndAnswered) {
  NXShowMB("Error", "text");
  const std::vector<HeadlessToolkit::Box> expected = {{"Error", "text"}};
  EXPECT_EQ(expected, toolkit.TakeBoxes());
  std::string path = "before";
  EXPECT_EQ(NxErrFailure, NXChooseFile("Open LUT", "LUT", "*.lut", "/data", &path));
  EXPECT_EQ("before", path);
  toolkit.AnswerPath("/clips");
  EXPECT_EQ(NxErrSuccess, NXChooseFolder("Select Video Directory", "/", &path));
  EXPECT_EQ("/clips", path);
  EXPECT_EQ("Select Video Directory", toolkit.LastDialog().title);
}

TEST_F(HeadlessTest, RepaintsAreCountedOncePerRound) {
  NXDispatchGUI(false);
  const int before = toolkit.Repaints();
  for (int i = 0; i < 100; ++i) NXRePaint();
  NXDispatchGUI(false);
  EXPECT_EQ(before + 1, toolkit.Repaints());
  NXDispatchGUI(false);
  EXPECT_EQ(before + 1, toolkit.Repaints());
}

TEST_F(HeadlessTest, ManyChangesOfAThreadAreOneUpdate) {
  NXStatic text;
  const NxRECT rect = {0, 0, 10, 10};
  text.CreateNXWindow("t", 0, 1, 0, &rect, &root);
  const int before = toolkit.Updates(text);
  std::thread other([&] {
    for (int i = 0; i < 100; ++i) text.SetWindowNXText(std::to_string(i).c_str(), true);
  });
  other.join();
  NXDispatchGUI(false);
  EXPECT_EQ(before + 1, toolkit.Updates(text));
}

}  // namespace
}  // namespace morvane::test
