#include "base/system.h"
#include "gui_fixture.h"

namespace morvane::test {
namespace {

using WindowsTest = GuiTest;

class NoGuiTest : public ::testing::Test {
 protected:
  void SetUp() override { hands = MakeHands(); }
  void TearDown() override {
    NXKillGUI();
    hands.reset();
  }
  std::unique_ptr<Hands> hands;
};

TEST_F(NoGuiTest, NothingExistsBeforeTheGui) {
  RecordingWindow window;
  const NxRECT rect = {0, 0, 100, 100};
  EXPECT_EQ(NxErrFailure, window.CreateNXWindow("root", 0, 1, 0, &rect, nullptr));
  EXPECT_EQ(nullptr, window.GetNXWndHandle());
  EXPECT_EQ("", window.events);
  EXPECT_EQ(NxErrFailure, NXStartGUI());
  EXPECT_EQ(NxErrFailure, NXStopGUI());
  EXPECT_EQ(NxErrFailure, NXKillGUI());
  EXPECT_EQ(NxErrFailure, NXDispatchGUI(false));
  EXPECT_EQ(NxErrFailure, NXShowMB("Error", "text"));
  EXPECT_EQ(nullptr, NXGetHWND());
  NXRePaint();  // harmless
}

TEST_F(NoGuiTest, AGuiIsMadeOnceAndCanBeMadeAgain) {
  EXPECT_EQ(NxErrSuccess, NXInitGUI(0, 0, 100, 100, nullptr, "T", "i", nullptr, 0));
  EXPECT_EQ(NxErrFailure, NXInitGUI(0, 0, 100, 100, nullptr, "T", "i", nullptr, 0));
  EXPECT_EQ(NxErrSuccess, NXStartGUI());
  EXPECT_EQ(NxErrFailure, NXStartGUI());
  EXPECT_EQ(NxErrSuccess, NXStopGUI());
  EXPECT_EQ(NxErrFailure, NXStopGUI());
  EXPECT_EQ(NxErrSuccess, NXKillGUI());
  EXPECT_EQ(NxErrSuccess, NXInitGUI(0, 0, 100, 100, nullptr, "T", "i", nullptr, 0));
}

TEST_F(NoGuiTest, WindowsThatStillStandGoWithTheGui) {
  ASSERT_EQ(NxErrSuccess, NXInitGUI(0, 0, 100, 100, nullptr, "T", "i", nullptr, 0));
  RecordingWindow root;
  NXButton button;
  const NxRECT rect = {0, 0, 100, 100};
  ASSERT_EQ(NxErrSuccess, root.CreateNXWindow("root", 0, 1, 0, &rect, nullptr));
  ASSERT_EQ(NxErrSuccess, button.CreateNXWindow("b", 0, 1, 0, &rect, &root));
  EXPECT_EQ(NxErrSuccess, NXKillGUI());
  EXPECT_EQ("create destroy ", root.events);
  EXPECT_EQ(nullptr, root.GetNXWndHandle());
  EXPECT_EQ(nullptr, button.GetNXWndHandle());
}

TEST_F(NoGuiTest, TheScreensSizeIsKnownBeforeTheGui) {
  EXPECT_GT(NxScreenWidth(), 0u);
  EXPECT_GT(NxScreenHeight(), 0u);
}

TEST_F(WindowsTest, CreationEndsWithOnNXCreate) {
  RecordingWindow child;
  const NxRECT rect = {30, 40, 50, 60};
  bool existed = false;
  child.onCreate = [&] { existed = child.GetNXWndHandle() != nullptr && child.nxRect == rect; };
  child.result = static_cast<NxErr>(1234);
  EXPECT_EQ(1234, child.CreateNXWindow("child", 0, 1, 0, &rect, &root));
  EXPECT_TRUE(existed);
  EXPECT_EQ("create ", child.events);
  EXPECT_EQ(rect, child.nxRect);
  EXPECT_EQ(child.nxNode, child.GetNXWndHandle());
  EXPECT_EQ(&root, child.GetNXParent());
  EXPECT_EQ(root.nxNode, child.GetNXParentWnd());
  EXPECT_EQ(nullptr, root.GetNXParent());
  NxRECT read;
  EXPECT_EQ(NxErrSuccess, child.GetNXRect(&read));
  EXPECT_EQ(rect, read);
}

TEST_F(WindowsTest, WhatCannotBeCreatedIsRefused) {
  RecordingWindow child;
  RecordingWindow second;
  RecordingWindow orphan;
  const NxRECT rect = {0, 0, 10, 10};
  EXPECT_EQ(NxErrFailure, child.CreateNXWindow("c", 0, 1, 0, nullptr, &root));
  EXPECT_EQ(NxErrFailure, second.CreateNXWindow("second root", 0, 1, 0, &rect, nullptr));
  EXPECT_EQ(NxErrFailure, second.CreateNXWindow("s", 0, 1, 0, &rect, &orphan));
  EXPECT_EQ(NxErrSuccess, child.CreateNXWindow("c", 0, 1, 0, &rect, &root));
  EXPECT_EQ(NxErrFailure, child.CreateNXWindow("c", 0, 1, 0, &rect, &root));
  EXPECT_EQ("create ", child.events);
}

TEST_F(WindowsTest, AWindowCanBeCreatedAgain) {
  NXComboButton combo;
  Add(combo, "combo");
  combo.InsertNXItem(-1, "a", true);
  combo.SetNXCurSel(0, true);
  EXPECT_EQ(NxErrSuccess, combo.DestroyNXWindow());
  EXPECT_EQ(NxErrFailure, combo.DestroyNXWindow());
  Add(combo, "again");
  EXPECT_EQ(-1, combo.GetNXCurSel());
  EXPECT_EQ("", ItemOf(combo, 0));
  EXPECT_EQ("again", TextOf(combo));
}

TEST_F(WindowsTest, VisibleIsAsAskedForAtCreation) {
  NXButton shown;
  NXButton hidden;
  Add(shown, "shown", 1);
  Add(hidden, "hidden", 0);
  EXPECT_TRUE(shown.IsVisible());
  EXPECT_FALSE(hidden.IsVisible());
  EXPECT_TRUE(hands->IsShown(shown));
  EXPECT_FALSE(hands->IsShown(hidden));
  hidden.ShowNXWindow(1, true);
  EXPECT_TRUE(hands->IsShown(hidden));
}

TEST_F(WindowsTest, DestructionGoesFromTheWindowToItsChildrenAndBack) {
  std::string order;
  class Told : public NXWindow {
   public:
    NxErr OnNXDestroy() override {
      *order += name;
      EXPECT_NE(nullptr, nxNode);
      return NxErrSuccess;
    }
    std::string* order = nullptr;
    std::string name;
  };
  Told parent, first, second;
  const NxRECT rect = {0, 0, 100, 100};
  parent.name = "p";
  first.name = "1";
  second.name = "2";
  for (Told* told : {&parent, &first, &second}) told->order = &order;
  parent.CreateNXWindow("p", 0, 1, 0, &rect, &root);
  first.CreateNXWindow("1", 0, 1, 0, &rect, &parent);
  second.CreateNXWindow("2", 0, 1, 0, &rect, &parent);
  EXPECT_EQ(NxErrSuccess, parent.DestroyNXWindow());
  EXPECT_EQ("p21", order);
  for (Told* told : {&parent, &first, &second}) EXPECT_EQ(nullptr, told->nxNode);
}

TEST_F(WindowsTest, AWindowThatIsDeletedIsGone) {
  auto child = std::make_unique<NXButton>();
  Add(*child);
  NXWindowNode* node = child->GetNXWndHandle();
  child.reset();
  EXPECT_EQ(NxErrFailure, NXSendMessage(node, 1, 0, 0, nullptr, nullptr));
  EXPECT_EQ(NxErrFailure, NXPostMessage(node, 1, 0, 0, nullptr, nullptr));
  hands->Settle();
}

TEST_F(WindowsTest, AResizeCallsOnNXResizeOnce) {
  RecordingWindow child;
  Add(child);
  const NxRECT rect = {1, 2, 3, 4};
  EXPECT_EQ(NxErrSuccess, child.ResizeNXWindow(&rect, true));
  EXPECT_EQ("create resize ", child.events);
  EXPECT_EQ(rect, child.nxRect);
  EXPECT_EQ(rect, hands->Place(child));
  EXPECT_EQ(NxErrFailure, child.ResizeNXWindow(nullptr, true));
}

TEST_F(WindowsTest, ChildrenHangFromTheBottomLeftOfTheirParent) {
  RecordingWindow pane;
  NXButton button;
  const NxRECT paneRect = {20, 30, 200, 100};
  const NxRECT buttonRect = {5, 6, 50, 24};
  ASSERT_EQ(NxErrSuccess, pane.CreateNXWindow("pane", 0, 1, 0, &paneRect, &root));
  ASSERT_EQ(NxErrSuccess, button.CreateNXWindow("b", 0, 1, 0, &buttonRect, &pane));
  EXPECT_EQ((NxRECT{25, 36, 50, 24}), hands->Place(button));
  const NxRECT higher = {20, 30, 200, 180};
  pane.ResizeNXWindow(&higher, true);
  EXPECT_EQ((NxRECT{25, 36, 50, 24}), hands->Place(button));
  const NxRECT moved = {0, 0, 200, 180};
  pane.ResizeNXWindow(&moved, true);
  EXPECT_EQ((NxRECT{5, 6, 50, 24}), hands->Place(button));
  EXPECT_EQ(buttonRect, button.nxRect);
}

TEST_F(WindowsTest, MeasuresAndColoursOfTheScheme) {
  EXPECT_EQ(8, NXGetDefaultSpacing());
  EXPECT_EQ(24, NXGetDefaultButtonYSize());
  NxFCOLOR label;
  NxFCOLOR title;
  EXPECT_EQ(NxErrSuccess, NXGetSchemeColor(16, &label));
  EXPECT_EQ(NxErrSuccess, NXGetSchemeColor(17, &title));
  EXPECT_FALSE(label == title);
  EXPECT_EQ(1, label.a);
  EXPECT_EQ(NxErrFailure, NXGetSchemeColor(32, &label));
  EXPECT_EQ(NxErrFailure, NXGetSchemeColor(-1, &label));
  EXPECT_EQ(NxErrFailure, NXGetSchemeColor(16, nullptr));
}

TEST_F(WindowsTest, MaximizeGivesTheScreenAndRestoreTakesASize) {
  NxRECT rect = {0, 0, 1, 1};
  EXPECT_EQ(NxErrSuccess, NXMaximizeGUI(&rect, 0));
  EXPECT_EQ(static_cast<int32_t>(NxScreenWidth()), rect.w);
  EXPECT_EQ(static_cast<int32_t>(NxScreenHeight()), rect.h);
  rect = {0, 0, 400, 300};
  EXPECT_EQ(NxErrSuccess, NXMaximizeGUI(&rect, 1));
  EXPECT_EQ(400, rect.w);
  EXPECT_EQ(300, rect.h);
  EXPECT_EQ(NxErrFailure, NXMaximizeGUI(nullptr, 0));
}

TEST_F(WindowsTest, WindowsHaveNamesForDumpsAndScreenReaders) {
  NXPictureButton close;
  NXText clip;
  close.NameNXWindow("closeButton", "Close");
  Add(close, "x");
  Add(clip, "Untitled Clip 01");
  clip.NameNXWindow("clipName");
  toolkit::WindowState state;
  ASSERT_TRUE(toolkit::GetWindowState(toolkit::IdOf(close.nxNode), &state));
  EXPECT_EQ("closeButton", state.member);
  EXPECT_EQ("Close", state.accessibleName);
  ASSERT_TRUE(toolkit::GetWindowState(toolkit::IdOf(clip.nxNode), &state));
  EXPECT_EQ("clipName", state.member);
  EXPECT_FALSE(state.accessibleName.empty());
}

TEST_F(WindowsTest, ThePaintOrderIsParentsFirstAndOnlyWhatIsOnTheScreen) {
  RecordingWindow pane, inner, hidden, below;
  NXButton button;
  const NxRECT rect = {0, 0, 100, 100};
  pane.CreateNXWindow("pane", 0, 1, 0, &rect, &root);
  hidden.CreateNXWindow("hidden", 0, 0, 0, &rect, &root);
  inner.CreateNXWindow("inner", 0, 1, 0, &rect, &pane);
  below.CreateNXWindow("below hidden", 0, 1, 0, &rect, &hidden);
  button.CreateNXWindow("button", 0, 1, 0, &rect, &inner);
  std::string order;
  for (const toolkit::WindowState& state : toolkit::PaintOrder()) order += state.name + " ";
  EXPECT_EQ("root pane inner ", order);
  EXPECT_EQ(6u, toolkit::AllWindows().size());
}

}  // namespace
}  // namespace morvane::test
