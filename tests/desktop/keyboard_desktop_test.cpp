#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <set>

#include "desktop.h"
#include "window_look.h"

// Whoever has no mouse reaches everything.
namespace morvane::test {
namespace {

// Of the classes that only show something.
constexpr std::array<const char*, 3> kSilent = {"NXWindow", "NXStatic", "NXScroll"};

class KeyboardTest : public ::testing::TestWithParam<const char*> {
 protected:
  // One control as a text that no other has.
  static std::string Name(const nlohmann::json& window) {
    return window["class"].get<std::string>() + " " + window["member"].get<std::string>() + " at " +
           window["rect"].dump();
  }
  // The controls that are there to be used.
  std::set<std::string> Usable() {
    std::set<std::string> names;
    const nlohmann::json dump = program.Dump();
    for (const auto& window : dump["windows"]) {
      const bool silent = std::find(kSilent.begin(), kSilent.end(),
                                    window["class"].get<std::string>()) != kSilent.end();
      if (!silent && window["shown"] == true && window["enabled"] == true) {
        names.insert(Name(window));
      }
    }
    return names;
  }
  // The controls that one key reaches, until it comes round.
  std::set<std::string> Reached(const char* key) {
    std::set<std::string> names;
    for (;;) {
      const nlohmann::json before = program.Focused();
      desktop.Do("key " + std::string(key));
      if (!Eventually([&] { return program.Focused() != before; })) return names;
      const nlohmann::json focused = program.Focused();
      // Between two controls nothing has the focus for a moment.
      if (!focused.is_null() && !names.insert(Name(focused)).second) return names;
    }
  }

  Desktop desktop{1030, 768};
  MorvaneProgram program{desktop, "keys"};
};

TEST_P(KeyboardTest, TabReachesEveryControlThatHasAName) {
  ASSERT_TRUE(desktop.Stands());
  ASSERT_TRUE(program.Started()) << program.Describe();
  program.ClickOn(GetParam());
  ASSERT_TRUE(Eventually([&] { return program.Control(GetParam())["checked"] == 1; }))
      << program.Describe();
  const std::set<std::string> usable = Usable();
  EXPECT_GE(usable.size(), 7u);  // those of the main window
  EXPECT_EQ(usable, Reached("Tab")) << program.Describe();
  EXPECT_EQ(usable, Reached("shift+Tab")) << program.Describe();
  const nlohmann::json dump = program.Dump();
  for (const auto& window : dump["windows"]) {
    EXPECT_NE("", window["accessible"]) << window;
  }
  program.Signal(SIGTERM);
  EXPECT_EQ(0, program.Wait());
}

TEST_P(KeyboardTest, ReturnOnATabShowsIt) {
  ASSERT_TRUE(desktop.Stands());
  ASSERT_TRUE(program.Started()) << program.Describe();
  for (int step = 0; step < 20 && program.Focused()["member"] != GetParam(); ++step) {
    ASSERT_TRUE(program.Handled()) << program.Describe();
  }
  desktop.Do("key Return");
  EXPECT_TRUE(Eventually([&] { return program.Control(GetParam())["checked"] == 1; }))
      << program.Describe();
}

INSTANTIATE_TEST_SUITE_P(Tabs, KeyboardTest, ::testing::Values("playTab", "captureTab", "setupTab"),
                         [](const auto& tab) { return std::string(tab.param); });

}  // namespace
}  // namespace morvane::test
