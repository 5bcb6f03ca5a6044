#include "gui_fixture.h"

// What holds a value that a user edits: numbers, sliders and texts.
namespace morvane::test {
namespace {

using toolkit::SliderPhase;

using ValuesTest = GuiTest;

class NumberTest : public GuiTest {
 protected:
  void SetUp() override {
    GuiTest::SetUp();
    Add(number);
  }

  NXNumber number;
};

class SliderTest : public GuiTest {
 protected:
  void SetUp() override {
    GuiTest::SetUp();
    Add(slider);
  }

  NXSlider slider;
};

class TextTest : public GuiTest {
 protected:
  void SetUp() override {
    GuiTest::SetUp();
    Add(text, "old");
  }

  NXText text;
};

TEST_F(NumberTest, ANumberHasARangeAndTellsWhatWasTyped) {
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

TEST_F(NumberTest, ANumberThatDidNotChangeTellsNothing) {
  number.PutNXNumberPos(5, true);
  ASSERT_TRUE(hands->Type(number, "5"));
  for (const Received& received : root.Take()) EXPECT_NE(NXMSG_NUMBERCHANGED, received.message);
}

TEST_F(NumberTest, AHandlerMayCorrectANumber) {
  root.onMessage = [&](const Received& received) {
    if (received.message == NXMSG_NUMBERCHANGED) number.PutNXNumberPos(4, false);
  };
  ASSERT_TRUE(hands->Type(number, "5"));
  EXPECT_EQ(4, number.GetNXNumberPos());
  EXPECT_EQ("4", hands->Text(number));
}

TEST_F(NumberTest, ANumberOfTypeTwoIsATimecode) {
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

TEST_F(NumberTest, DropFrameShowsSemicolons) {
  EXPECT_EQ(NxErrSuccess, number.PutNXNumberType(2, 30000, 1001, 1));
  EXPECT_EQ("00;00;00;00", NumberTextOf(number));
  number.PutNXNumberPos(1800, true);
  EXPECT_EQ("00;01;00;02", NumberTextOf(number));
  EXPECT_EQ("00;01;00;02", hands->Text(number));
}

TEST_F(NumberTest, ATypedTimecodeIsReadFromTheRight) {
  number.PutNXNumberType(2, 25000, 1000, 0);
  ASSERT_TRUE(hands->Type(number, "00:00:10:05"));
  EXPECT_EQ(255, number.GetNXNumberPos());
  EXPECT_EQ("00:00:10:05", hands->Text(number));
  const std::vector<Received> messages = root.Take();
  ASSERT_EQ(3u, messages.size());
  EXPECT_EQ((Received{NXMSG_NUMBERCHANGED, 255, 0, &number, nullptr}), messages[1]);
}

TEST_F(NumberTest, DigitsThatAreNoNumberAreRefused) {
  EXPECT_EQ(NxErrSuccess, number.PutNXNumberTC("12", true));
  EXPECT_EQ(12, number.GetNXNumberPos());
  EXPECT_EQ(NxErrFailure, number.PutNXNumberTC("12x", true));
  EXPECT_EQ(NxErrFailure, number.PutNXNumberTC("", true));
  EXPECT_EQ(NxErrFailure, number.PutNXNumberTC("99999999999", true));
  EXPECT_EQ(NxErrFailure, number.PutNXNumberTC(nullptr, true));
  EXPECT_EQ(12, number.GetNXNumberPos());
}

TEST_F(SliderTest, ASliderTellsPressedMovedReleased) {
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

TEST_F(SliderTest, ASlidersThumbStaysInItsRange) {
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

TEST_F(TextTest, ATextTellsThatItChangedAndKeepsIt) {
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

TEST_F(TextTest, ATextHasALimitAndKindsOfCharacters) {
  text.SetWindowNXText("000000", true);
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

TEST_F(TextTest, AHandlerMayPutTheOldTextBack) {
  root.onMessage = [&](const Received& received) {
    if (received.message == NXMSG_TEXTCHANGED) text.SetWindowNXText("old", true);
  };
  ASSERT_TRUE(hands->Type(text, "other"));
  EXPECT_EQ("old", TextOf(text));
  EXPECT_EQ("old", hands->Text(text));
}

TEST_F(ValuesTest, ValuesThatAThreadSetsWaitForTheEndOfAnEdit) {
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

TEST_F(SliderTest, ASliderThatIsDraggedIsNotMovedUnderTheHand) {
  ASSERT_TRUE(hands->Slide(slider, SliderPhase::Pressed, 0));
  ASSERT_TRUE(hands->Slide(slider, SliderPhase::Moved, 40));
  slider.PutNXSliderPos(90, true);
  EXPECT_EQ(40, hands->Position(slider));
  ASSERT_TRUE(hands->Slide(slider, SliderPhase::Released, 41));
  EXPECT_EQ(41, slider.GetNXSliderPos());
  EXPECT_EQ(41, hands->Position(slider));
}

TEST_F(TextTest, AnEditEndsWhenItsControlIsDisabled) {
  ASSERT_TRUE(hands->BeginTyping(text, "typed"));
  text.EnableNXWindow(0, true);
  hands->Settle();
  const std::vector<Received> messages = root.Take();
  ASSERT_FALSE(messages.empty());
  EXPECT_EQ((Received{NXMSG_FOCUSLOST, 0, 0, &text, nullptr}), messages.back());
  EXPECT_EQ("old", TextOf(text));
  EXPECT_EQ("old", hands->Text(text));
}

TEST_F(TextTest, DestroyingTheControlWithTheFocusCallsNobody) {
  ASSERT_TRUE(hands->BeginTyping(text, "typed"));
  root.Take();
  text.DestroyNXWindow();
  hands->Settle();
  EXPECT_TRUE(root.Take().empty());
}

}  // namespace
}  // namespace morvane::test
