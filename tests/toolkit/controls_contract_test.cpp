#include "gui_fixture.h"

namespace morvane::test {
namespace {

using ControlsTest = GuiTest;
using toolkit::SliderPhase;

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

TEST_F(ControlsTest, ACheckBoxTurnsOverBeforeItTells) {
  NXCheckBox box;
  Add(box);
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

TEST_F(ControlsTest, ARefusedTickSpringsBack) {
  NXCheckBox box;
  Add(box);
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

TEST_F(ControlsTest, ItemsAreInsertedAndAppended) {
  NXComboButton combo;
  Add(combo);
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

TEST_F(ControlsTest, NothingIsSelectedUntilTheApplicationSelects) {
  NXComboButton combo;
  NXHotTextList list;
  Add(combo);
  Add(list);
  for (const char* text : {"a", "b", "c"}) {
    combo.InsertNXItem(-1, text, true);
    list.InsertNXItem(-1, text, true);
  }
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

TEST_F(ControlsTest, AChoiceStaysOnlyWhenTheApplicationTakesIt) {
  NXComboButton combo;
  NXHotTextList list;
  Add(combo);
  Add(list);
  for (const char* text : {"a", "b", "c"}) {
    combo.InsertNXItem(-1, text, true);
    list.InsertNXItem(-1, text, true);
  }
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

TEST_F(ControlsTest, AListMayBeRefilledByTheHandlerOfItsOwnChoice) {
  NXComboButton combo;
  Add(combo);
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

TEST_F(ControlsTest, ANumberHasARangeAndTellsWhatWasTyped) {
  NXNumber number;
  Add(number);
  number.PutNXNumberPos(-40000, true);
  EXPECT_EQ(-40000, number.GetNXNumberPos());
  EXPECT_EQ("-40000", hands->Text(number));
  EXPECT_EQ(NxErrSuccess, number.SetNXNumberRange(-30, 30, true));
  EXPECT_EQ(-30, number.GetNXNumberPos());
  EXPECT_EQ("-30", hands->Text(number));
  EXPECT_EQ(NxErrFailure, number.SetNXNumberRange(5, 4, true));
  number.PutNXNumberPos(31, true);
  EXPECT_EQ(30, number.GetNXNumberPos());
  ASSERT_TRUE(hands->Type(number, "-12"));
  EXPECT_EQ(-12, number.GetNXNumberPos());
  EXPECT_EQ("-12", hands->Text(number));
  const std::vector<Received> expected = {{NXMSG_FOCUSGAINED, 0, 0, &number, nullptr},
                                          {NXMSG_NUMBERCHANGED, -12, 0, &number, nullptr},
                                          {NXMSG_FOCUSLOST, 0, 0, &number, nullptr}};
  EXPECT_EQ(expected, root.Take());
}

TEST_F(ControlsTest, ANumberThatDidNotChangeTellsNothing) {
  NXNumber number;
  Add(number);
  number.PutNXNumberPos(5, true);
  ASSERT_TRUE(hands->Type(number, "5"));
  for (const Received& received : root.Take()) EXPECT_NE(NXMSG_NUMBERCHANGED, received.message);
}

TEST_F(ControlsTest, AHandlerMayCorrectANumber) {
  NXNumber number;
  Add(number);
  root.onMessage = [&](const Received& received) {
    if (received.message == NXMSG_NUMBERCHANGED) number.PutNXNumberPos(4, false);
  };
  ASSERT_TRUE(hands->Type(number, "5"));
  EXPECT_EQ(4, number.GetNXNumberPos());
  EXPECT_EQ("4", hands->Text(number));
}

TEST_F(ControlsTest, ANumberOfTypeTwoIsATimecode) {
  NXNumber number;
  Add(number);
  EXPECT_EQ(0, number.GetNXNumberType());
  EXPECT_EQ(NxErrSuccess, number.PutNXNumberType(2, 25000, 1000, 0));
  EXPECT_EQ(2, number.GetNXNumberType());
  EXPECT_EQ("00:00:00:00", NumberTextOf(number));
  EXPECT_EQ(NxErrSuccess, number.PutNXNumberTC("01:00:00:05", true));
  EXPECT_EQ(90005, number.GetNXNumberPos());
  EXPECT_EQ("01:00:00:05", NumberTextOf(number));
  EXPECT_EQ("01:00:00:05", hands->Text(number));
  EXPECT_EQ(NxErrFailure, number.PutNXNumberType(2, 31000, 1000, 0));
  EXPECT_EQ("01:00:00:05", NumberTextOf(number));
  EXPECT_EQ(NxErrSuccess, number.PutNXNumberType(0, 0, 0, 0));
  EXPECT_EQ("90005", NumberTextOf(number));
}

TEST_F(ControlsTest, DropFrameShowsSemicolons) {
  NXNumber number;
  Add(number);
  EXPECT_EQ(NxErrSuccess, number.PutNXNumberType(2, 30000, 1001, 1));
  EXPECT_EQ("00;00;00;00", NumberTextOf(number));
  number.PutNXNumberPos(1800, true);
  EXPECT_EQ("00;01;00;02", NumberTextOf(number));
  EXPECT_EQ("00;01;00;02", hands->Text(number));
}

TEST_F(ControlsTest, ATypedTimecodeIsReadFromTheRight) {
  NXNumber number;
  Add(number);
  number.PutNXNumberType(2, 25000, 1000, 0);
  ASSERT_TRUE(hands->Type(number, "00:00:10:05"));
  EXPECT_EQ(255, number.GetNXNumberPos());
  EXPECT_EQ("00:00:10:05", hands->Text(number));
  const std::vector<Received> messages = root.Take();
  ASSERT_EQ(3u, messages.size());
  EXPECT_EQ((Received{NXMSG_NUMBERCHANGED, 255, 0, &number, nullptr}), messages[1]);
}

TEST_F(ControlsTest, DigitsThatAreNoNumberAreRefused) {
  NXNumber number;
  Add(number);
  EXPECT_EQ(NxErrSuccess, number.PutNXNumberTC("12", true));
  EXPECT_EQ(12, number.GetNXNumberPos());
  EXPECT_EQ(NxErrFailure, number.PutNXNumberTC("12x", true));
  EXPECT_EQ(NxErrFailure, number.PutNXNumberTC("", true));
  EXPECT_EQ(NxErrFailure, number.PutNXNumberTC("99999999999", true));
  EXPECT_EQ(NxErrFailure, number.PutNXNumberTC(nullptr, true));
  EXPECT_EQ(12, number.GetNXNumberPos());
}

TEST_F(ControlsTest, ASliderTellsPressedMovedReleased) {
  NXSlider slider;
  Add(slider);
  EXPECT_EQ(NxErrSuccess, slider.SetNXSliderRange(0, 14, true));
  EXPECT_EQ(NxErrSuccess, slider.PutNXSliderPos(7, true));
  EXPECT_EQ(7, hands->Position(slider));
  ASSERT_TRUE(hands->Slide(slider, SliderPhase::Pressed, 7));
  ASSERT_TRUE(hands->Slide(slider, SliderPhase::Moved, 10));
  EXPECT_EQ(10, slider.GetNXSliderPos());
  root.onMessage = [&](const Received& received) {
    if (received.message == NXMSG_SLIDERRELEASED) slider.PutNXSliderPos(7, true);
  };
  ASSERT_TRUE(hands->Slide(slider, SliderPhase::Released, 10));
  const std::vector<Received> expected = {{NXMSG_SLIDERPRESSED, 7, 0, &slider, nullptr},
                                          {NXMSG_SLIDERMOVED, 10, 0, &slider, nullptr},
                                          {NXMSG_SLIDERRELEASED, 10, 0, &slider, nullptr}};
  EXPECT_EQ(expected, root.Take());
  EXPECT_EQ(7, slider.GetNXSliderPos());
  EXPECT_EQ(7, hands->Position(slider));
}

TEST_F(ControlsTest, ASlidersThumbStaysInItsRange) {
  NXSlider slider;
  Add(slider);
  slider.PutNXSliderPos(200, true);
  EXPECT_EQ(100, slider.GetNXSliderPos());
  slider.SetNXSliderRange(10, 20, true);
  EXPECT_EQ(20, slider.GetNXSliderPos());
  slider.PutNXSliderPos(-3, true);
  EXPECT_EQ(10, slider.GetNXSliderPos());
  EXPECT_EQ(NxErrFailure, slider.SetNXSliderRange(2, 1, true));
  EXPECT_EQ(NxErrFailure, slider.SetNXSliderSubRange(2, 1, true));
  EXPECT_EQ(NxErrSuccess, slider.SetNXSliderSubRange(0, 15, true));
  EXPECT_EQ(NxErrSuccess, slider.SetNXSliderType(1, true));
  EXPECT_EQ(1, slider.GetNXSliderType());
}

TEST_F(ControlsTest, ATextTellsThatItChangedAndKeepsIt) {
  NXText text;
  Add(text, "Untitled Clip 01");
  ASSERT_TRUE(hands->Type(text, "Reel 7"));
  const std::vector<Received> expected = {{NXMSG_FOCUSGAINED, 0, 0, &text, nullptr},
                                          {NXMSG_TEXTCHANGED, 0, 0, &text, nullptr},
                                          {NXMSG_FOCUSLOST, 0, 0, &text, nullptr}};
  EXPECT_EQ(expected, root.Take());
  EXPECT_EQ("Reel 7", TextOf(text));
  EXPECT_EQ("Reel 7", hands->Text(text));
  ASSERT_TRUE(hands->Type(text, "Reel 7"));
  for (const Received& received : root.Take()) EXPECT_NE(NXMSG_TEXTCHANGED, received.message);
}

TEST_F(ControlsTest, ATextHasALimitAndKindsOfCharacters) {
  NXText text;
  Add(text, "000000");
  EXPECT_EQ(NxErrSuccess, text.SetNXTextInputType(false, true, false));
  EXPECT_EQ(NxErrSuccess, text.SetNXTextInputMax(4));
  EXPECT_EQ("0000", TextOf(text));
  ASSERT_TRUE(hands->Type(text, "1a2-3b4 5"));
  EXPECT_EQ("1234", TextOf(text));
  EXPECT_EQ("1234", hands->Text(text));
  EXPECT_EQ(NxErrSuccess, text.SetWindowNXText("ääöößß", true));
  EXPECT_EQ("ääöö", TextOf(text));
  EXPECT_EQ(NxErrFailure, text.SetNXTextInputMax(-1));
}

TEST_F(ControlsTest, AHandlerMayPutTheOldTextBack) {
  NXText text;
  Add(text, "Untitled");
  root.onMessage = [&](const Received& received) {
    if (received.message == NXMSG_TEXTCHANGED) text.SetWindowNXText("Untitled", true);
  };
  ASSERT_TRUE(hands->Type(text, "other"));
  EXPECT_EQ("Untitled", TextOf(text));
  EXPECT_EQ("Untitled", hands->Text(text));
}

TEST_F(ControlsTest, ValuesThatAThreadSetsWaitForTheEndOfAnEdit) {
  NXNumber number;
  NXText text;
  Add(number);
  Add(text, "old");
  ASSERT_TRUE(hands->BeginTyping(number, "1"));
  number.PutNXNumberPos(77, true);
  EXPECT_EQ(77, number.GetNXNumberPos());
  EXPECT_NE("77", hands->Text(number));
  ASSERT_TRUE(hands->EndTyping(number, false));
  EXPECT_EQ("77", hands->Text(number));
  EXPECT_EQ(77, number.GetNXNumberPos());

  ASSERT_TRUE(hands->BeginTyping(text, "typed"));
  text.SetWindowNXText("from a thread", true);
  EXPECT_NE("from a thread", hands->Text(text));
  ASSERT_TRUE(hands->EndTyping(text, true));
  EXPECT_EQ("typed", TextOf(text));
  EXPECT_EQ("typed", hands->Text(text));
}

TEST_F(ControlsTest, ASliderThatIsDraggedIsNotMovedUnderTheHand) {
  NXSlider slider;
  Add(slider);
  ASSERT_TRUE(hands->Slide(slider, SliderPhase::Pressed, 0));
  ASSERT_TRUE(hands->Slide(slider, SliderPhase::Moved, 40));
  slider.PutNXSliderPos(90, true);
  EXPECT_EQ(40, hands->Position(slider));
  ASSERT_TRUE(hands->Slide(slider, SliderPhase::Released, 41));
  EXPECT_EQ(41, slider.GetNXSliderPos());
  EXPECT_EQ(41, hands->Position(slider));
}

TEST_F(ControlsTest, AnEditEndsWhenItsControlIsDisabled) {
  NXText text;
  Add(text, "old");
  ASSERT_TRUE(hands->BeginTyping(text, "typed"));
  text.EnableNXWindow(0, true);
  hands->Settle();
  const std::vector<Received> messages = root.Take();
  ASSERT_FALSE(messages.empty());
  EXPECT_EQ((Received{NXMSG_FOCUSLOST, 0, 0, &text, nullptr}), messages.back());
  EXPECT_EQ("old", TextOf(text));
  EXPECT_EQ("old", hands->Text(text));
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

TEST_F(ControlsTest, DestroyingTheControlWithTheFocusCallsNobody) {
  NXText text;
  Add(text, "old");
  ASSERT_TRUE(hands->BeginTyping(text, "typed"));
  root.Take();
  text.DestroyNXWindow();
  hands->Settle();
  EXPECT_TRUE(root.Take().empty());
}

}  // namespace
}  // namespace morvane::test
