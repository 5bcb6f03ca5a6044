#include "desktop.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>

#include "window_look.h"

// The application on a real screen, with a real mouse and real keys.
namespace morvane::test {
namespace {

// Eight bars of 75 % share the 772 pixels from x 6 on.
// clang-format off
constexpr NamedPixel kBars[] = {
  // x   y    colour           within
  {  54,  400, {191, 191, 191}, 10 },
  {  151, 400, {191, 191, 0},   10 },
  {  247, 400, {0, 191, 191},   10 },
  {  344, 400, {0, 191, 0},     10 },
  {  440, 400, {191, 0, 191},   10 },
  {  537, 400, {191, 0, 0},     10 },
  {  633, 400, {0, 0, 191},     10 },
  {  730, 400, {0, 0, 0},       10 },
};
// The logo of 256 by 144 in the middle of the video window, black beside it.
constexpr NamedPixel kLogo[] = {
  // x   y    colour           within
  {  264, 273, {38, 52, 70},    3  },  // its corners
  {  519, 273, {38, 52, 70},    3  },
  {  264, 416, {19, 26, 35},    3  },
  {  318, 320, {198, 214, 230}, 3  },  // in the V
  {  260, 273, {0, 0, 0},       0  },
  {  264, 269, {0, 0, 0},       0  },
  {  523, 420, {0, 0, 0},       0  },
};
// clang-format on

// On a screen of the window's size the window's pixels are the screen's.
class SmallScreenTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(desktop.Stands());
    ASSERT_TRUE(program.Started()) << program.Describe();
  }
  void Click(std::array<int, 2> point) { desktop.Click(point[0], point[1]); }
  bool Checked(const char* tab) { return program.Control(tab)["checked"] == 1; }
  // All that the program says of itself, but for the focus.
  nlohmann::json DumpButFocus() {
    nlohmann::json dump = program.Dump();
    for (auto& window : dump["windows"]) window.erase("focused");
    return dump;
  }

  Desktop desktop{1030, 768};
  MorvaneProgram program{desktop, "small"};
};

TEST_F(SmallScreenTest, TheWindowIsDrawnAsItShould) {
  EXPECT_TRUE(Eventually([&] { return FaultsOfWindow(desktop.Shoot()).empty(); }))
      << FaultsOfWindow(desktop.Shoot());
}

TEST_F(SmallScreenTest, TheWindowSaysWhatItIs) {
  EXPECT_NE(std::string::npos, program.Property("WM_NAME").find("\"Morvane\""));
  EXPECT_NE(std::string::npos, program.Property("_NET_WM_ICON").find("Icon (64 x 64)"));
}

TEST_F(SmallScreenTest, TheOutputOptionsAreThereAndEmpty) {
  const nlohmann::json options = program.Control("outputOptions");
  EXPECT_EQ(nlohmann::json({804, 768 - 120, 194, 16}), options["rect"]);
  EXPECT_EQ(0u, options["items"].size());
  const size_t windows = program.Windows().size();
  // Nothing comes down, and what is clicked afterwards works.
  Click({990, 112});
  Click(kSetupTab);
  EXPECT_TRUE(Eventually([&] { return Checked("setupTab"); })) << program.Describe();
  EXPECT_GE(windows, program.Windows().size());
  EXPECT_EQ(-1, program.Control("outputOptions")["selected"]);
}

TEST_F(SmallScreenTest, TabsAreSwitchedByClicks) {
  EXPECT_TRUE(Checked("playTab"));
  Click(kCaptureTab);
  EXPECT_TRUE(Eventually([&] { return Checked("captureTab"); }));
  EXPECT_FALSE(Checked("playTab"));
  Click(kSetupTab);
  EXPECT_TRUE(Eventually([&] { return Checked("setupTab"); }));
  EXPECT_FALSE(Checked("captureTab"));
  Click(kPlayTab);
  EXPECT_TRUE(Eventually([&] { return Checked("playTab"); }));
  const nlohmann::json before = DumpButFocus();
  Click(kPlayTab);
  ASSERT_TRUE(program.Handled());
  EXPECT_EQ(before, DumpButFocus());
}

TEST_F(SmallScreenTest, TheCaptureTabShowsTheCardsPicture) {
  Click(kCaptureTab);
  EXPECT_TRUE(Eventually([&] { return FaultsOfPixels(desktop.Shoot(), kBars).empty(); }))
      << FaultsOfPixels(desktop.Shoot(), kBars);
  // Not by way of a widget, which would look the same.
  const nlohmann::json dump = program.Dump();
  for (const auto& video : dump["videos"]) EXPECT_EQ("window", video["painter"]) << video;
  Click(kSetupTab);
  EXPECT_TRUE(Eventually([&] { return !FaultsOfPixels(desktop.Shoot(), kBars).empty(); }));
}

TEST(NoSignalTest, TheCaptureTabShowsTheLogo) {
  const Desktop desktop(1030, 768);
  ASSERT_TRUE(desktop.Stands());
  const std::string machine =
      WriteMachine("[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"none\"\n");
  MorvaneProgram program(desktop, "logo", {{"MORVANE_MACHINE", machine}});
  ASSERT_TRUE(program.Started()) << program.Describe();
  desktop.Click(kCaptureTab[0], kCaptureTab[1]);
  EXPECT_TRUE(Eventually([&] { return FaultsOfPixels(desktop.Shoot(), kLogo).empty(); }))
      << FaultsOfPixels(desktop.Shoot(), kLogo);
  EXPECT_EQ("Active", program.Control("activity")["text"]) << program.Describe();
}

TEST_F(SmallScreenTest, AWindowAsWideAsTheScreenIsNotDragged) {
  desktop.Do("mousemove 600 60 mousedown 1 mousemove 640 90 mouseup 1");
  ASSERT_TRUE(program.Handled());
  EXPECT_EQ((std::array<int, 4>{0, 0, 1030, 768}), program.Place());
}

TEST_F(SmallScreenTest, TheCloseButtonEndsTheProgram) {
  EXPECT_TRUE(program.Holds("SornCard0")) << program.Describe();
  Click({1014, 8});
  EXPECT_EQ(0, program.Wait());
  for (int board = 0; board < 8; ++board) {
    for (const char* family : {"SornCard", "SornAudio", "SornControl"}) {
      EXPECT_TRUE(LockIsFree(family + std::to_string(board)));
    }
  }
}

TEST_F(SmallScreenTest, ATerminationSignalIsTheCloseButton) {
  program.Signal(SIGTERM);
  EXPECT_EQ(0, program.Wait());
  EXPECT_TRUE(LockIsFree("SornCard0"));
}

// A program on a machine without cards: its first box stands.
class NoBoardTest : public ::testing::Test {
 protected:
  Desktop desktop{1030, 768};
};

TEST_F(NoBoardTest, ATerminationSignalEndsItWhateverBoxIsOpen) {
  ASSERT_TRUE(desktop.Stands());
  MorvaneProgram program(desktop, "box", {{"MORVANE_MACHINE", WriteMachine("card = []\n")}});
  // The box is a window of its own, up once the loop runs.
  ASSERT_TRUE(
      Eventually([&] { return !desktop.Do("search --onlyvisible --name '^Error$'").empty(); }));
  program.Signal(SIGTERM);
  EXPECT_TRUE(Eventually([&] { return !program.Runs(); }));
  EXPECT_EQ(0, program.Wait());
}

class LargeScreenTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(desktop.Stands()); }
  Desktop desktop{1280, 1024};
};

TEST_F(LargeScreenTest, TheWindowStandsInTheMiddleIsMovedMinimisedAndMaximised) {
  MorvaneProgram program(desktop, "large");
  ASSERT_TRUE(program.Started()) << program.Describe();
  EXPECT_EQ((std::array<int, 4>{125, 128, 1030, 768}), program.Place());
  int locks = 0;
  for (const auto& entry : std::filesystem::directory_iterator(getenv("MORVANE_LOCKS"))) {
    locks += entry.path().filename().string().starts_with("morvane-Sorn") ? 1 : 0;
  }
  EXPECT_EQ(24, locks);

  desktop.Click(125 + 990, 128 + 8);  // maximise
  const std::array<int, 4> whole = {0, 0, 1280, 1024};
  EXPECT_TRUE(Eventually([&] { return program.Place() == whole; }));
  // What is painted follows: the right edge of the larger window.
  EXPECT_TRUE(Eventually([&] { return desktop.Shoot().At(1279, 600)[1] > 40; }));
  desktop.Click(1280 - 40, 8);
  const std::array<int, 4> before = {125, 128, 1030, 768};
  EXPECT_TRUE(Eventually([&] { return program.Place() == before; }));

  // A program that hears late of a drag counts it from where the button went down all the same.
  kill(program.Pid(), SIGSTOP);
  desktop.Do("mousemove 725 188 mousedown 1 mousemove 735 198 mousemove 755 178 mouseup 1");
  kill(program.Pid(), SIGCONT);
  const std::array<int, 4> moved = {155, 118, 1030, 768};
  EXPECT_TRUE(Eventually([&] { return program.Place() == moved; }));
}

// Without a window manager nobody takes the window away, but the wish is there to be heard.
TEST_F(LargeScreenTest, MinimiseAsksTheWindowManager) {
  MorvaneProgram program(desktop, "minimised");
  ASSERT_TRUE(program.Started()) << program.Describe();
  const Program listener(desktop, "xev", {}, "-root");
  const auto heard = [&](const char* text) {
    return listener.Output().find(text) != std::string::npos;
  };
  // It listens when it hears of something that happens again and again.
  const std::string move = "windowmove " + program.Window() + " ";
  ASSERT_TRUE(Eventually([&] {
    desktop.Do(move + "125 129 " + move + "125 128");
    return heard("ConfigureNotify");
  }));
  EXPECT_FALSE(heard("WM_CHANGE_STATE"));
  desktop.Click(125 + 966, 128 + 8);
  EXPECT_TRUE(Eventually([&] { return heard("WM_CHANGE_STATE"); }));
  EXPECT_EQ(1, program.Control("playTab")["checked"]);
}

TEST_F(LargeScreenTest, WithoutACardTheWindowStandsAndEndsBehindItsMessage) {
  MorvaneProgram program(desktop, "none", {{"MORVANE_MACHINE", WriteMachine("card = []\n")}});
  ASSERT_TRUE(program.Started()) << program.Describe();
  EXPECT_TRUE(program.Control("playTab").is_object());
  program.Signal(SIGTERM);
  EXPECT_EQ(0, program.Wait());
}

TEST(TinyScreenTest, OnAScreenThatIsTooSmallMaximiseDoesNothing) {
  Desktop desktop(800, 600);
  ASSERT_TRUE(desktop.Stands());
  MorvaneProgram program(desktop, "tiny");
  ASSERT_TRUE(program.Started()) << program.Describe();
  const std::array<int, 4> before = program.Place();
  EXPECT_EQ(1030, before[2]);
  // The button itself is outside of this screen.
  const auto focused = [&](const char* member) {
    return program.Control(member)["focused"] == true;
  };
  for (int step = 0; step < 20 && !focused("maximizeButton"); ++step) {
    ASSERT_TRUE(program.Handled()) << program.Describe();
  }
  ASSERT_TRUE(focused("maximizeButton")) << program.Describe();
  desktop.Do("key Return");
  ASSERT_TRUE(program.Handled()) << program.Describe();
  EXPECT_FALSE(focused("maximizeButton"));
  EXPECT_EQ(before, program.Place());
}

}  // namespace
}  // namespace morvane::test
