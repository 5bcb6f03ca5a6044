#include <gtest/gtest.h>
#include <signal.h>

#include <cstdlib>
#include <fstream>

#include "desktop.h"
#include "support/test_environment.h"

// Keys, focus and dialogs of the toolkit on a real screen.
namespace morvane::test {
namespace {

class ProbeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(desktop.Stands());
    ASSERT_TRUE(Says("started\n"));
    // Painted, so that the mouse has something to hit.
    ASSERT_TRUE(Eventually([&] { return desktop.Shoot().At(380, 280)[2] > 20; }));
    ASSERT_TRUE(Eventually([&] { return program.HasKeyboard(); }));
  }
  bool Says(const std::string& text) {
    return Eventually([&] { return program.Output().find(text) != std::string::npos; });
  }
  [[nodiscard]] bool Said(const std::string& text) const {
    return program.Output().find(text) != std::string::npos;
  }
  // Row 0 to 4: text, number, box, file, list.
  void ClickRow(int row) { desktop.Click(60, 300 - 272 + 40 * row); }

  // Until the window of this title has the keyboard.
  bool HasKeyboard(const std::string& title) {
    return Eventually([&] { return desktop.Do("getwindowfocus getwindowname") == title + "\n"; });
  }
  // Until a list is down: a second window. Until lists and boxes have gone from the screen, which
  // is later than what the program says of them.
  bool ListIsDown() {
    return Eventually([&] { return program.Windows().size() > 1; });
  }
  bool StandsAlone() {
    return Eventually([&] { return program.Windows().size() == 1 && program.HasKeyboard(); });
  }

  ProbeTest() : ProbeTest(Program::Variables()) {}
  explicit ProbeTest(Program::Variables variables)
      : program(desktop, MORVANE_PROBE, [&] {
          variables["PROBE_FOLDER"] = folder;
          return variables;
        }()) {}

  const std::string folder = FreshFolder("probe");
  Desktop desktop{800, 600};
  Program program;
};

TEST_F(ProbeTest, WhatIsTypedIntoATextIsNoHotKey) {
  desktop.Do("key j");
  EXPECT_TRUE(Says("key 106 0\n"));
  ClickRow(0);
  EXPECT_TRUE(Says("gained text\n"));
  desktop.Do("key ctrl+a key j key space key i key Left key Left key x key Return");
  EXPECT_TRUE(Says("text jx i\n"));
  EXPECT_TRUE(Says("lost text\n"));
  EXPECT_FALSE(Said("key 32 0\n"));
  EXPECT_FALSE(Said("key -1 37\n"));
  desktop.Do("key Left key space");
  EXPECT_TRUE(Says("key -1 37\nkey 32 0\n"));
}

TEST_F(ProbeTest, EscapeDropsWhatWasTypedAndAPressElsewhereKeepsIt) {
  ClickRow(0);
  EXPECT_TRUE(Says("gained text\n"));
  desktop.Do("key a key b key Escape");
  EXPECT_TRUE(Says("key 27 0\n"));
  EXPECT_TRUE(Says("lost text\n"));
  EXPECT_FALSE(Said("text "));
  ClickRow(0);
  desktop.Do("key ctrl+a key n key e key w");
  desktop.Click(300, 280);  // the window's own ground
  EXPECT_TRUE(Says("text new\nlost text\ndown 300 19\n"));
}

TEST_F(ProbeTest, NumbersAreTypedAndStepped) {
  ClickRow(1);
  EXPECT_TRUE(Says("gained number\n"));
  desktop.Do("key ctrl+a key 4 key 2 key Return");
  EXPECT_TRUE(Says("number 42\n"));
  ClickRow(1);
  desktop.Do("key Up");
  EXPECT_TRUE(Says("number 43\n"));
  desktop.Do("mousemove 300 280 click 4");
  EXPECT_TRUE(Says("wheel 1 0\n"));
}

TEST_F(ProbeTest, AListIsChosenFromAndEscapeThatClosesItIsNoHotKey) {
  ClickRow(4);
  EXPECT_TRUE(ListIsDown());
  desktop.Do("key Escape");
  EXPECT_TRUE(StandsAlone());
  ClickRow(2);
  EXPECT_TRUE(Says("box\n"));
  EXPECT_FALSE(Said("key 27 0\n"));
  EXPECT_TRUE(HasKeyboard("Error"));
  desktop.Do("key Return");
  EXPECT_TRUE(Says("box closed\n"));
  EXPECT_TRUE(StandsAlone());
  ClickRow(4);
  EXPECT_TRUE(ListIsDown());
  desktop.Do("key Down key Return");
  EXPECT_TRUE(Says("selected "));
}

TEST_F(ProbeTest, AMessageBoxTakesTheKeysAndTheFocusStays) {
  ClickRow(2);
  EXPECT_TRUE(Says("box\n"));
  EXPECT_TRUE(HasKeyboard("Error"));
  desktop.Do("key j key Return");
  EXPECT_TRUE(Says("box closed\n"));
  EXPECT_FALSE(Said("key 106 0\n"));
  EXPECT_FALSE(Said("active 0\n"));
}

TEST_F(ProbeTest, AFileIsChosenByItsName) {
  std::ofstream(folder + "/warm.lut") << "1";
  ClickRow(3);
  EXPECT_TRUE(Says("file\n"));
  EXPECT_TRUE(HasKeyboard("Open LUT"));
  desktop.Do("type warm.lut");
  desktop.Do("key Return");
  EXPECT_TRUE(Says("chosen " + folder + "/warm.lut\n"));
  EXPECT_TRUE(StandsAlone());
  ClickRow(3);
  EXPECT_TRUE(Eventually([&] {
    const std::string said = program.Output();
    return said.rfind("file\n") > said.find("chosen");
  }));
  EXPECT_TRUE(HasKeyboard("Open LUT"));
  desktop.Do("key Escape");
  EXPECT_TRUE(Says("chosen none\n"));
}

TEST_F(ProbeTest, TheDesktopsTerminationEndsItBehindABox) {
  ClickRow(2);
  EXPECT_TRUE(HasKeyboard("Error"));
  program.Signal(SIGTERM);
  EXPECT_EQ(0, program.Wait());
  EXPECT_TRUE(Said("box closed\n"));
}

TEST_F(ProbeTest, TheDesktopsTerminationEndsItBehindAChoiceOfFiles) {
  ClickRow(3);
  EXPECT_TRUE(HasKeyboard("Open LUT"));
  program.Signal(SIGTERM);
  EXPECT_EQ(0, program.Wait());
  EXPECT_TRUE(Said("chosen none\n"));
}

class StackedProbeTest : public ProbeTest {
 protected:
  StackedProbeTest() : ProbeTest(Program::Variables{{"PROBE_STACK", "1"}}) {}
};

TEST_F(StackedProbeTest, TheDesktopsTerminationEndsItBehindTwoBoxes) {
  ClickRow(2);
  EXPECT_TRUE(HasKeyboard("Second"));
  program.Signal(SIGTERM);
  EXPECT_EQ(0, program.Wait());
  EXPECT_TRUE(Said("second closed\nbox closed\n")) << program.Output();
}

TEST_F(StackedProbeTest, ABoxGivesTheKeyboardToTheOneBelowIt) {
  ClickRow(2);
  EXPECT_TRUE(HasKeyboard("Second"));
  desktop.Do("key Return");
  EXPECT_TRUE(Says("second closed\n"));
  EXPECT_TRUE(HasKeyboard("Error"));
  EXPECT_FALSE(Said("box closed\n"));
  desktop.Do("key Return");
  EXPECT_TRUE(Says("box closed\n"));
  EXPECT_TRUE(StandsAlone());
  EXPECT_FALSE(Said("active 0\n"));
}

// What a video window on the screen shows, by display type.
class VideoProbeTest : public ProbeTest, public ::testing::WithParamInterface<const char*> {
 protected:
  VideoProbeTest() : ProbeTest(Program::Variables{{"PROBE_DISPLAY", GetParam()}}) {}

  static bool Near(std::array<int, 3> a, std::array<int, 3> b) {
    for (size_t i = 0; i < 3; ++i) {
      if (std::abs(a[i] - b[i]) > 3) return false;
    }
    return true;
  }
  // The video window lies from (220, 150) to (380, 240).
  bool Shows(std::array<std::array<int, 3>, 4> quarters) {
    return Eventually([&] {
      const Screen screen = desktop.Shoot();
      return Near(quarters[0], screen.At(225, 155)) && Near(quarters[1], screen.At(375, 155)) &&
             Near(quarters[2], screen.At(225, 235)) && Near(quarters[3], screen.At(375, 235));
    });
  }
  bool ShowsFrame() {
    return Shows({{{200, 20, 20}, {20, 200, 20}, {20, 20, 200}, {200, 200, 20}}});
  }
  bool ShowsBlack() { return Shows({}); }
  // Brings another program's window over this one and away again.
  void CoverAndUncover() {
    const size_t said = program.Output().size();
    const Program other(desktop, MORVANE_PROBE);
    ASSERT_TRUE(Eventually([&] { return other.HasKeyboard(); }));
    // It has no frame in its own video window.
    ASSERT_TRUE(ShowsBlack());
    desktop.Do("windowmove " + other.Window() + " 400 300");
    EXPECT_TRUE(
        Eventually([&] { return program.Output().find("exposed\n", said) != std::string::npos; }));
  }
};

TEST_P(VideoProbeTest, TheLastFrameStaysAlsoWhereTheWindowWasCovered) {
  ASSERT_TRUE(ShowsBlack());
  ClickRow(5);
  ASSERT_TRUE(ShowsFrame());
  CoverAndUncover();
  EXPECT_TRUE(ShowsFrame());
  // A window that comes back from nothing, too.
  const std::string window = program.Window();
  desktop.Do("windowunmap --sync " + window);
  desktop.Do("windowmap --sync " + window);
  EXPECT_TRUE(ShowsFrame());
  program.Signal(SIGTERM);
  EXPECT_EQ(0, program.Wait());
}

TEST_P(VideoProbeTest, WhatIsBlackenedStaysBlack) {
  ClickRow(5);
  ASSERT_TRUE(ShowsFrame());
  ClickRow(6);
  EXPECT_TRUE(ShowsBlack());
  const std::string window = program.Window();
  desktop.Do("windowunmap --sync " + window);
  EXPECT_TRUE(Eventually([&] { return desktop.Shoot().At(300, 280)[2] <= 20; }));
  desktop.Do("windowmap --sync " + window);
  EXPECT_TRUE(Eventually([&] { return desktop.Shoot().At(300, 280)[2] > 20; }));
  EXPECT_TRUE(ShowsBlack());
}

INSTANTIATE_TEST_SUITE_P(DisplayTypes, VideoProbeTest, ::testing::Values("0", "1"),
                         [](const auto& type) {
                           return *type.param == '0' ? "DrawPixels" : "Texture";
                         });

}  // namespace
}  // namespace morvane::test
