#include "desktop.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "support/test_environment.h"

// The application on a real screen, with a real mouse and real keys.
namespace morvane::test {
namespace {

constexpr std::array<int, 2> kPlayTab = {56, 64};
constexpr std::array<int, 2> kCaptureTab = {153, 64};
constexpr std::array<int, 2> kSetupTab = {250, 64};

// On a screen of the window's size the window's pixels are the screen's.
class SmallScreenTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(desktop.Stands());
    ASSERT_TRUE(program.Started());
  }
  void Click(std::array<int, 2> point) { desktop.Click(point[0], point[1]); }
  bool Checked(const char* tab) { return program.Control(tab)["checked"] == 1; }

  Desktop desktop{1030, 768};
  MorvaneProgram program{desktop, "small"};
};

void ExpectNear(std::array<int, 3> expected, std::array<int, 3> pixel, int within) {
  for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(expected[i], pixel[i], within) << "colour " << i;
}

TEST_F(SmallScreenTest, TheWindowIsDrawnAsItShould) {
  const Screen screen = desktop.Shoot();
  ASSERT_EQ(1030, screen.width);
  ExpectNear({36, 43, 50}, screen.At(0, 400), 2);
  ExpectNear({31, 36, 42}, screen.At(1, 400), 2);
  ExpectNear({18, 20, 23}, screen.At(2, 400), 2);
  ExpectNear({36, 43, 50}, screen.At(1029, 400), 2);
  ExpectNear({36, 43, 50}, screen.At(500, 767), 2);
  ExpectNear({128, 140, 153}, screen.At(500, 0), 12);
  // The title's letters stand in the strip's left end and nowhere else.
  int inTitle = 0;
  int besides = 0;
  for (int y = 3; y < 16; ++y) {
    for (int x = 0; x < 900; ++x) {
      const bool letter = screen.At(x, y)[0] > 200;
      if (letter && x >= 4 && x < 120) ++inTitle;
      if (letter && (x < 4 || x >= 120)) ++besides;
    }
  }
  EXPECT_GT(inTitle, 100);
  EXPECT_EQ(0, besides);
  // The list of output options: an edge that the bar behind it has not, open it shows nothing.
  EXPECT_NE(screen.At(900, 112), screen.At(780, 112));
  EXPECT_EQ(0u, program.Control("outputOptions")["items"].size());
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
  const nlohmann::json before = program.Dump();
  Click(kPlayTab);
  EXPECT_EQ(before, program.Dump());
}

TEST_F(SmallScreenTest, TheCaptureTabShowsTheCardsPicture) {
  Click(kCaptureTab);
  // Bars: grey at the left, blue towards the right.
  const auto seen = [&] {
    const Screen screen = desktop.Shoot();
    return screen.At(40, 400)[0] > 150 && screen.At(40, 400)[2] > 150 &&
           screen.At(670, 400)[0] < 60 && screen.At(670, 400)[2] > 150;
  };
  EXPECT_TRUE(Eventually(seen));
  Click(kSetupTab);
  EXPECT_TRUE(Eventually([&] { return !seen(); }));
}

TEST_F(SmallScreenTest, KeysReachTheTabs) {
  desktop.Do("key Tab key Tab");
  EXPECT_TRUE(Eventually([&] { return program.Control("captureTab")["focused"] == true; }));
  desktop.Do("key Return");
  EXPECT_TRUE(Eventually([&] { return Checked("captureTab"); }));
  for (const auto& window : program.Dump()["windows"]) {
    EXPECT_NE("", window["accessible"]) << window;
  }
}

TEST_F(SmallScreenTest, AWindowAsWideAsTheScreenIsNotDragged) {
  desktop.Do("mousemove 600 60 mousedown 1 mousemove 640 90 mouseup 1");
  EXPECT_TRUE(Checked("playTab"));  // the program has handled the mouse by now
  EXPECT_EQ((std::array<int, 4>{0, 0, 1030, 768}), program.Place());
}

TEST_F(SmallScreenTest, TheCloseButtonEndsTheProgram) {
  EXPECT_FALSE(LockIsFree("SornCard0"));
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
  static std::string Machine() {
    const std::string path = FreshFolder("machine") + "/machine.toml";
    std::ofstream(path) << "card = []\n";
    return path;
  }
  Desktop desktop{1030, 768};
};

TEST_F(NoBoardTest, ATerminationSignalEndsItWhateverBoxIsOpen) {
  ASSERT_TRUE(desktop.Stands());
  MorvaneProgram program(desktop, "box", {{"MORVANE_MACHINE", Machine()}});
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
  ASSERT_TRUE(program.Started());
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

  desktop.Click(155 + 966, 118 + 8);  // minimise
  // Without a window manager nobody takes the window away, but nothing else may happen either.
  EXPECT_EQ(1, program.Control("playTab")["checked"]);
  EXPECT_TRUE(program.Runs());
}

TEST_F(LargeScreenTest, TheBoardIsLentWhileAnotherProgramHasTheKeyboard) {
  MorvaneProgram program(desktop, "first");
  ASSERT_TRUE(program.Started());
  EXPECT_TRUE(Eventually([] { return !LockIsFree("SornCard0"); }));
  // Another program: a second copy that has nothing to do with the first one's boards.
  const std::string elsewhere = FreshFolder("elsewhere");
  {
    MorvaneProgram other(desktop, "second", {{"MORVANE_LOCKS", elsewhere}});
    EXPECT_TRUE(Eventually([] { return LockIsFree("SornCard0"); }));
    EXPECT_TRUE(Eventually([&] { return !LockIsFree("SornCard0", elsewhere); }));
  }
  desktop.Do("windowfocus " + program.Window());
  EXPECT_TRUE(Eventually([] { return !LockIsFree("SornCard0"); }));
}

TEST_F(LargeScreenTest, ABoardThatIsHeldElsewhereIsLeftAlone) {
  const std::string card = std::string(getenv("MORVANE_LOCKS")) + "/morvane-SornCard0";
  const int file = open(card.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  ASSERT_EQ(0, flock(file, LOCK_EX | LOCK_NB));
  MorvaneProgram program(desktop, "without");
  ASSERT_TRUE(program.Started());
  desktop.Click(125 + kSetupTab[0], 128 + kSetupTab[1]);
  const auto says = [&](const char* text) {
    const nlohmann::json dump = program.Dump();
    for (const auto& window : dump["windows"]) {
      if (window["shown"] == true && window["text"] == text) return true;
    }
    return false;
  };
  EXPECT_TRUE(Eventually([&] { return says("Not Active"); }));
  close(file);
}

TEST_F(LargeScreenTest, WithoutACardTheWindowStandsAndEndsBehindItsMessage) {
  const std::string machine = FreshFolder("machine") + "/none.toml";
  std::ofstream(machine) << "card = []\n";
  MorvaneProgram program(desktop, "none", {{"MORVANE_MACHINE", machine}});
  ASSERT_TRUE(program.Started());
  EXPECT_TRUE(program.Control("playTab").is_object());
  program.Signal(SIGTERM);
  EXPECT_EQ(0, program.Wait());
}

TEST_F(LargeScreenTest, AKilledProgramLeavesItsBoardToTheNext) {
  {
    MorvaneProgram program(desktop, "killed");
    ASSERT_TRUE(program.Started());
    EXPECT_TRUE(Eventually([] { return !LockIsFree("SornCard0"); }));
  }
  EXPECT_TRUE(LockIsFree("SornCard0"));
  MorvaneProgram next(desktop, "next");
  ASSERT_TRUE(next.Started());
  EXPECT_TRUE(Eventually([] { return !LockIsFree("SornCard0"); }));
}

TEST(TinyScreenTest, OnAScreenThatIsTooSmallMaximiseDoesNothing) {
  Desktop desktop(800, 600);
  ASSERT_TRUE(desktop.Stands());
  MorvaneProgram program(desktop, "tiny");
  ASSERT_TRUE(program.Started());
  const std::array<int, 4> before = program.Place();
  EXPECT_EQ(1030, before[2]);
  // The button itself is outside of this screen.
  const auto focused = [&](const char* member) {
    return program.Control(member)["focused"] == true;
  };
  for (int step = 0; step < 20 && !focused("maximizeButton"); ++step) desktop.Do("key Tab");
  ASSERT_TRUE(Eventually([&] { return focused("maximizeButton"); }));
  desktop.Do("key Return key Tab");
  EXPECT_TRUE(Eventually([&] { return !focused("maximizeButton"); }));
  EXPECT_EQ(before, program.Place());
}

}  // namespace
}  // namespace morvane::test
