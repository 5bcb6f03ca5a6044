#include "gui_fixture.h"

// What stands still until it is clicked: texts, buttons, boxes and lists.
namespace morvane::test {
namespace {

using ControlsTest = GuiTest;

class CheckBoxTest : public GuiTest {
 protected:
  void SetUp() override {
    GuiTest::SetUp();
    Add(box);
  }

  NXCheckBox box;
};

class ListsTest : public GuiTest {
 protected:
  void SetUp() override {
    GuiTest::SetUp();
    Add(combo);
    Add(list);
  }

  // Three items in each.
  void Fill() {
    for (const char* text : {"a", "b", "c"}) {
      combo.InsertNXItem(-1, text, true);
      list.InsertNXItem(-1, text, true);
    }
  }

  NXComboButton combo;
  NXHotTextList list;
};

TEST_F(ControlsTest, AWindowHasItsNameAsItsFirstText) {
  NXStatic text;
  Add(text, "Not Open");
  EXPECT_EQ("Not Open", TextOf(text));
  EXPECT_EQ("Not Open", hands->Text(text));
}

TEST_F(ControlsTest, TextIsSetReadAndShown) {
  NXStatic text;
  Add(text);
  EXPECT_EQ(NxErrSuccess, text.SetWindowNXText("Überspielung", true));
  EXPECT_EQ("Überspielung", TextOf(text));
  EXPECT_EQ("Überspielung", hands->Text(text));
}

TEST_F(ControlsTest, ATextIsCutToTheBufferAtAWholeCharacter) {
  NXStatic text;
  Add(text, "aäö");  // bytes: a, two, two
  char buffer[8] = "xxxxxxx";
  EXPECT_EQ(NxErrSuccess, text.GetWindowNXText(buffer, 5));
  EXPECT_STREQ("aä", buffer);
  EXPECT_EQ(NxErrSuccess, text.GetWindowNXText(buffer, 6));
  EXPECT_STREQ("aäö", buffer);
  EXPECT_EQ(NxErrSuccess, text.GetWindowNXText(buffer, 1));
  EXPECT_STREQ("", buffer);
  EXPECT_EQ(NxErrFailure, text.GetWindowNXText(buffer, 0));
  EXPECT_EQ(NxErrFailure, text.GetWindowNXText(nullptr, 5));
  EXPECT_EQ(NxErrFailure, text.SetWindowNXText(nullptr, true));
}

TEST_F(ControlsTest, TextStylesAreKept) {
  NXStatic text;
  Add(text);
  EXPECT_EQ(NxErrSuccess, text.SetWindowNXTextStyle(3, 7, true));
  int first = 0;
  int second = 0;
  EXPECT_EQ(NxErrSuccess, text.GetWindowNXTextStyle(first, second));
  EXPECT_EQ(3, first);
  EXPECT_EQ(7, second);
}

TEST_F(ControlsTest, BeforeItExistsAControlRefuses) {
  NXComboButton combo;
  char text[8] = "x";
  EXPECT_EQ(NxErrFailure, combo.InsertNXItem(-1, "one", true));
  EXPECT_EQ(NxErrFailure, combo.SetWindowNXText("text", true));
  EXPECT_EQ(NxErrFailure, combo.GetWindowNXText(text, 8));
  EXPECT_EQ(NxErrFailure, combo.ShowNXWindow(1, true));
  EXPECT_EQ(-1, combo.GetNXCurSel());
  EXPECT_EQ(nullptr, combo.GetNXWndHandle());
  EXPECT_FALSE(combo.IsVisible());
}

TEST_F(ControlsTest, ButtonsTellTheirStateAndLeaveItToTheApplication) {
  NXButton button;
  NXPictureButton picture;
  NXTabButton tab;
  NXMiniTabButton miniTab;
  Add(button);
  Add(picture);
  Add(tab);
  Add(miniTab);
  EXPECT_EQ(NxErrSuccess, button.SetNXCheck(1));
  EXPECT_EQ(NxErrSuccess, tab.SetNXTabCheck(1));
  EXPECT_EQ(1, hands->Checked(button));
  EXPECT_EQ(1, hands->Checked(tab));
  for (NXWindow* control : {static_cast<NXWindow*>(&button), static_cast<NXWindow*>(&picture),
                            static_cast<NXWindow*>(&tab), static_cast<NXWindow*>(&miniTab)}) {
    ASSERT_TRUE(hands->Click(*control));
  }
  const std::vector<Received> expected = {{NXMSG_CLICKED, 1, 0, &button, nullptr},
                                          {NXMSG_CLICKED, 0, 0, &picture, nullptr},
                                          {NXMSG_CLICKED, 1, 0, &tab, nullptr},
                                          {NXMSG_CLICKED, 0, 0, &miniTab, nullptr}};
  EXPECT_EQ(expected, root.Take());
  EXPECT_EQ(1, button.GetNXCheck());
  EXPECT_EQ(0, picture.GetNXCheck());
  EXPECT_EQ(1, tab.GetNXTabCheck());
  EXPECT_EQ(0, miniTab.GetNXTabCheck());
  EXPECT_EQ(1, hands->Checked(button));
  EXPECT_EQ(0, hands->Checked(picture));
  EXPECT_EQ(1, hands->Checked(tab));
  EXPECT_EQ(0, hands->Checked(miniTab));
}

TEST_F(ControlsTest, AHandlersCheckIsWhatTheScreenShows) {
  NXPictureButton button;
  Add(button);
  root.onMessage = [&](const Received&) { button.SetNXCheck(button.GetNXCheck() == 0 ? 1 : 0); };
  ASSERT_TRUE(hands->Click(button));
  EXPECT_EQ(1, hands->Checked(button));
  ASSERT_TRUE(hands->Click(button));
  EXPECT_EQ(0, hands->Checked(button));
}

TEST_F(CheckBoxTest, ACheckBoxTurnsOverBeforeItTells) {
  int seen = -1;
  root.onMessage = [&](const Received&) { seen = box.GetNXCheck(); };
  ASSERT_TRUE(hands->Click(box));
  EXPECT_EQ(1, seen);
  EXPECT_EQ(1, hands->Checked(box));
  ASSERT_TRUE(hands->Click(box));
  const std::vector<Received> expected = {{NXMSG_CLICKED, 1, 0, &box, nullptr},
                                          {NXMSG_CLICKED, 0, 0, &box, nullptr}};
  EXPECT_EQ(expected, root.Take());
  EXPECT_EQ(0, hands->Checked(box));
}

TEST_F(CheckBoxTest, ARefusedTickSpringsBack) {
  root.onMessage = [&](const Received&) { box.SetNXCheck(0); };
  ASSERT_TRUE(hands->Click(box));
  EXPECT_EQ(0, box.GetNXCheck());
  EXPECT_EQ(0, hands->Checked(box));
}

TEST_F(ControlsTest, HotTextIsClickedAndStaticTextIsNot) {
  NXHotText hot;
  NXStatic text;
  Add(hot);
  Add(text);
  ASSERT_TRUE(hands->Click(hot));
  hands->Click(text);
  const std::vector<Received> expected = {{NXMSG_CLICKED, 0, 0, &hot, nullptr}};
  EXPECT_EQ(expected, root.Take());
}

TEST_F(ControlsTest, HiddenAndDisabledControlsTakeNothing) {
  NXButton button;
  Add(button);
  button.EnableNXWindow(0, true);
  EXPECT_FALSE(button.IsEnabled());
  EXPECT_FALSE(hands->IsEnabled(button));
  EXPECT_FALSE(hands->Click(button));
  button.EnableNXWindow(1, true);
  button.ShowNXWindow(0, true);
  EXPECT_FALSE(button.IsVisible());
  EXPECT_FALSE(hands->IsShown(button));
  EXPECT_FALSE(hands->Click(button));
  button.ShowNXWindow(1, true);
  EXPECT_TRUE(hands->Click(button));
  EXPECT_EQ(1u, root.Take().size());
}

TEST_F(ControlsTest, WhatLiesInADisabledOrHiddenWindowTakesNothingEither) {
  RecordingWindow pane;
  NXButton button;
  Add(pane);
  const NxRECT rect = {0, 0, 60, 24};
  ASSERT_EQ(NxErrSuccess, button.CreateNXWindow("b", 0, 1, 0, &rect, &pane));
  pane.EnableNXWindow(0, true);
  EXPECT_TRUE(button.IsEnabled());
  EXPECT_FALSE(hands->IsEnabled(button));
  EXPECT_FALSE(hands->Click(button));
  pane.EnableNXWindow(1, true);
  pane.ShowNXWindow(0, true);
  EXPECT_TRUE(button.IsVisible());
  EXPECT_FALSE(hands->IsShown(button));
  EXPECT_FALSE(hands->Click(button));
  pane.ShowNXWindow(1, true);
  EXPECT_TRUE(hands->Click(button));
  EXPECT_EQ(1u, pane.Take().size());
  EXPECT_TRUE(root.Take().empty());
}

TEST_F(ListsTest, ItemsAreInsertedAndAppended) {
  EXPECT_EQ(NxErrSuccess, combo.InsertNXItem(-1, "b", true));
  EXPECT_EQ(NxErrSuccess, combo.InsertNXItem(-1, "c", true));
  EXPECT_EQ(NxErrSuccess, combo.InsertNXItem(0, "a", true));
  EXPECT_EQ(NxErrSuccess, combo.InsertNXItem(3, "d", true));
  EXPECT_EQ(NxErrFailure, combo.InsertNXItem(5, "x", true));
  EXPECT_EQ(NxErrFailure, combo.InsertNXItem(-2, "x", true));
  EXPECT_EQ("a", ItemOf(combo, 0));
  EXPECT_EQ("b", ItemOf(combo, 1));
  EXPECT_EQ("c", ItemOf(combo, 2));
  EXPECT_EQ("d", ItemOf(combo, 3));
  EXPECT_EQ("", ItemOf(combo, 4));
  EXPECT_EQ("", ItemOf(combo, -1));
  EXPECT_EQ(4, hands->Items(combo));
}

TEST_F(ListsTest, NothingIsSelectedUntilTheApplicationSelects) {
  Fill();
  EXPECT_EQ(-1, combo.GetNXCurSel());
  EXPECT_EQ(-1, list.GetNXCurSel());
  EXPECT_EQ(-1, hands->Selected(combo));
  EXPECT_EQ(-1, hands->Selected(list));
  EXPECT_EQ(NxErrSuccess, combo.SetNXCurSel(2, true));
  EXPECT_EQ(NxErrSuccess, list.SetNXCurSel(1, false));
  EXPECT_EQ(NxErrFailure, combo.SetNXCurSel(3, true));
  EXPECT_EQ(NxErrFailure, combo.SetNXCurSel(-2, true));
  EXPECT_EQ(2, combo.GetNXCurSel());
  EXPECT_EQ(2, hands->Selected(combo));
  EXPECT_EQ(1, hands->Selected(list));
  // The selected item stays selected when one comes before it.
  combo.InsertNXItem(0, "first", true);
  EXPECT_EQ(3, combo.GetNXCurSel());
  EXPECT_EQ(3, hands->Selected(combo));
  EXPECT_EQ(NxErrSuccess, combo.SetNXCurSel(-1, true));
  EXPECT_EQ(-1, hands->Selected(combo));
  list.ResetNXAll(true);
  EXPECT_EQ(-1, list.GetNXCurSel());
  EXPECT_EQ(0, hands->Items(list));
}

TEST_F(ControlsTest, NoMessageComesFromWhatTheApplicationDoes) {
  NXComboButton combo;
  NXNumber number;
  NXSlider slider;
  NXText text;
  NXCheckBox box;
  for (NXWindow* control : {static_cast<NXWindow*>(&combo), static_cast<NXWindow*>(&number),
                            static_cast<NXWindow*>(&slider), static_cast<NXWindow*>(&text),
                            static_cast<NXWindow*>(&box)}) {
    Add(*control);
  }
  combo.InsertNXItem(-1, "a", true);
  combo.SetNXCurSel(0, true);
  combo.ResetNXAll(true);
  number.SetNXNumberRange(0, 10, true);
  number.PutNXNumberPos(5, true);
  slider.SetNXSliderRange(0, 14, true);
  slider.PutNXSliderPos(7, true);
  text.SetWindowNXText("text", true);
  box.SetNXCheck(1);
  hands->Settle();
  EXPECT_TRUE(root.Take().empty());
}

TEST_F(ListsTest, AChoiceStaysOnlyWhenTheApplicationTakesIt) {
  Fill();
  combo.SetNXCurSel(0, true);
  ASSERT_TRUE(hands->Select(combo, 2));
  ASSERT_TRUE(hands->Select(list, 1));
  const std::vector<Received> expected = {{NXMSG_SELCHANGED, 2, 0, &combo, nullptr},
                                          {NXMSG_SELCHANGED, 1, 0, &list, nullptr}};
  EXPECT_EQ(expected, root.Take());
  EXPECT_EQ(0, combo.GetNXCurSel());
  EXPECT_EQ(0, hands->Selected(combo));
  EXPECT_EQ(-1, hands->Selected(list));
  root.onMessage = [&](const Received& received) { combo.SetNXCurSel(received.a, false); };
  ASSERT_TRUE(hands->Select(combo, 2));
  EXPECT_EQ(2, combo.GetNXCurSel());
  EXPECT_EQ(2, hands->Selected(combo));
  EXPECT_FALSE(hands->Select(combo, 3));
}

TEST_F(ListsTest, AListMayBeRefilledByTheHandlerOfItsOwnChoice) {
  for (const char* text : {"a", "b"}) combo.InsertNXItem(-1, text, true);
  root.onMessage = [&](const Received&) {
    combo.ResetNXAll(false);
    for (const char* text : {"x", "y", "z"}) combo.InsertNXItem(-1, text, false);
    combo.SetNXCurSel(0, false);
  };
  ASSERT_TRUE(hands->Select(combo, 1));
  EXPECT_EQ(3, hands->Items(combo));
  EXPECT_EQ(0, hands->Selected(combo));
}

TEST_F(ControlsTest, AHandlerMayDestroyTheControlThatSent) {
  NXButton button;
  NXText text;
  Add(button);
  Add(text, "old");
  root.onMessage = [&](const Received& received) {
    static_cast<NXWindow*>(received.c)->DestroyNXWindow();
  };
  ASSERT_TRUE(hands->Click(button));
  EXPECT_EQ(nullptr, button.GetNXWndHandle());
  EXPECT_FALSE(hands->Click(button));
  root.onMessage = [&](const Received& received) {
    if (received.message == NXMSG_TEXTCHANGED) text.DestroyNXWindow();
  };
  hands->Type(text, "new");
  hands->Settle();
  EXPECT_EQ(nullptr, text.GetNXWndHandle());
}

}  // namespace
}  // namespace morvane::test
