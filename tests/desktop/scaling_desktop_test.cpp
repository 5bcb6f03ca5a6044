#include <gtest/gtest.h>

#include "desktop.h"
#include "support/test_environment.h"
#include "window_look.h"

// On a desktop that scales its programs the window stands unscaled: one unit is one pixel.
namespace morvane::test {
namespace {

struct Scaling {
  const char* name;
  Program::Variables variables;
  const char* dpi;  // that the X server's resources name
};

// Names the tests in ctest's list.
void PrintTo(const Scaling& scaling, std::ostream* out) {
  *out << scaling.name;
}

const Scaling kScalings[] = {
    {"Twice", {{"QT_SCALE_FACTOR", "2"}}, ""},
    {"OneAndAQuarter", {{"QT_SCALE_FACTOR", "1.25"}}, ""},
    {"ScreenTwice", {{"QT_ENABLE_HIGHDPI_SCALING", "1"}, {"QT_SCREEN_SCALE_FACTORS", "2"}}, ""},
    {"FontsOf192", {{"QT_FONT_DPI", "192"}}, ""},
    {"ResourcesOf192", {}, "192"},
    {"ResourcesOf120", {{"QT_USE_PHYSICAL_DPI", "1"}}, "120"},
};

// Where two pictures differ first; empty where they do not.
std::string Difference(const Screen& wanted, const Screen& got) {
  if (wanted.width != got.width || wanted.height != got.height) return "sizes";
  for (int y = 0; y < wanted.height; ++y) {
    for (int x = 0; x < wanted.width; ++x) {
      const std::array<int, 3> want = wanted.At(x, y);
      const std::array<int, 3> have = got.At(x, y);
      if (want == have) continue;
      std::string text = "at (" + std::to_string(x) + ", " + std::to_string(y) + ")";
      for (size_t i = 0; i < 3; ++i) {
        text += ", wanted " + std::to_string(want[i]) + " got " + std::to_string(have[i]);
      }
      return text;
    }
  }
  return "";
}

class ScalingTest : public ::testing::TestWithParam<Scaling> {
 protected:
  void SetUp() override {
    ASSERT_TRUE(plain.Stands());
    ASSERT_TRUE(scaled.Stands());
    const std::string dpi = GetParam().dpi;
    if (dpi.empty()) return;
    scaled.Tell("xprop -root -f RESOURCE_MANAGER 8s -set RESOURCE_MANAGER 'Xft.dpi:\t" + dpi + "'");
    ASSERT_NE(std::string::npos, scaled.Tell("xprop -root RESOURCE_MANAGER").find(dpi));
  }
  // Two programs at a time, with nothing in common.
  static Program::Variables Apart(Program::Variables variables) {
    const std::string folder = FreshFolder("apart");
    variables["MORVANE_LOCKS"] = folder;
    variables["MORVANE_SETTINGS"] = folder + "/settings.db";
    variables["XDG_DATA_HOME"] = folder;
    return variables;
  }
  bool LookTheSame() {
    return Eventually([&] { return Difference(plain.Shoot(), scaled.Shoot()).empty(); });
  }
  std::string HowTheyDiffer() { return Difference(plain.Shoot(), scaled.Shoot()); }

  Desktop plain{1030, 768};
  Desktop scaled{1030, 768};
};

TEST_P(ScalingTest, TheWindowStandsUnscaledWholeAndUsable) {
  MorvaneProgram wanted(plain, "wanted", Apart({}));
  MorvaneProgram program(scaled, "scaled", Apart(GetParam().variables));
  ASSERT_TRUE(wanted.Started()) << wanted.Describe();
  ASSERT_TRUE(program.Started()) << program.Describe();
  EXPECT_EQ((std::array<int, 4>{0, 0, 1030, 768}), program.Place());
  EXPECT_TRUE(Eventually([&] { return FaultsOfWindow(scaled.Shoot()).empty(); }))
      << FaultsOfWindow(scaled.Shoot());
  EXPECT_TRUE(LookTheSame()) << HowTheyDiffer();
  for (const Desktop* desktop : {&plain, &scaled}) desktop->Click(kSetupTab[0], kSetupTab[1]);
  for (MorvaneProgram* each : {&wanted, &program}) {
    EXPECT_TRUE(Eventually([&] { return each->Control("setupTab")["checked"] == 1; }))
        << each->Describe();
  }
  EXPECT_TRUE(LookTheSame()) << HowTheyDiffer();
}

TEST_P(ScalingTest, AMessageStandsUnscaled) {
  Program::Variables none = {{"MORVANE_MACHINE", WriteMachine("card = []\n")}};
  const Program wanted(plain, MORVANE_GUI, Apart(none));
  none.insert(GetParam().variables.begin(), GetParam().variables.end());
  const Program program(scaled, MORVANE_GUI, Apart(none));
  for (const Desktop* desktop : {&plain, &scaled}) {
    ASSERT_TRUE(
        Eventually([&] { return !desktop->Do("search --onlyvisible --name '^Error$'").empty(); }));
  }
  EXPECT_TRUE(LookTheSame()) << HowTheyDiffer();
}

INSTANTIATE_TEST_SUITE_P(Scalings, ScalingTest, ::testing::ValuesIn(kScalings),
                         [](const auto& scaling) { return scaling.param.name; });

}  // namespace
}  // namespace morvane::test
