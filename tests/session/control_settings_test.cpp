#include <gtest/gtest.h>

#include <cstring>

#include "session/control_rig.h"

namespace morvane {
namespace {

using test::ControlTest;

using Settings = ControlTest;

TEST_F(Settings, TimeBasesAndSourcesOfABoardWithAPort) {
  EXPECT_TRUE(control.IsControlAvailable());
  EXPECT_EQ(control.GetNumTimeBases(), 7u);
  RQD5TimeBase base;
  ASSERT_TRUE(control.GetTimeBaseDesc(6, &base));
  EXPECT_STREQ(base.name, "Base 30 DF (60 fps)");
  EXPECT_EQ(control.GetNumTcSources(), 3u);
  const char* sources[] = {"LTC", "VITC", "LTC + VITC"};
  for (uint32_t i = 0; i < 3; ++i) {
    std::string text;
    ASSERT_TRUE(control.GetTcSourceDesc(i, &text));
    EXPECT_EQ(text, sources[i]);
  }
}

TEST_F(Settings, WithoutAPortThereIsOneOfEachAndItIsNone) {
  ASSERT_TRUE(control.Close());
  deck.present = false;
  ASSERT_TRUE(control.Open(0, false, BOARDTYPE_OEM2K, nullptr));
  EXPECT_FALSE(control.IsControlAvailable());
  EXPECT_EQ(control.GetNumTimeBases(), 1u);
  RQD5TimeBase base;
  ASSERT_TRUE(control.GetTimeBaseDesc(0, &base));
  EXPECT_STREQ(base.name, "None");
  EXPECT_EQ(base.framesPerSecond, 24u);
  EXPECT_EQ(base.scale, 24000u);
  EXPECT_EQ(base.duration, 1000u);
  EXPECT_STREQ(control.GetTimeBase().name, "None");
  EXPECT_EQ(control.GetNumTcSources(), 1u);
  std::string text;
  ASSERT_TRUE(control.GetTcSourceDesc(0, &text));
  EXPECT_EQ(text, "None");
  EXPECT_FALSE(control.SetTimeBase(1));
  EXPECT_FALSE(control.SetTcSource(1));
  EXPECT_TRUE(control.SetPreroll(9));
}

TEST_F(Settings, IndexesBeyondTheListsAreRefused) {
  ASSERT_TRUE(control.SetTimeBase(6));
  EXPECT_FALSE(control.SetTimeBase(7));
  EXPECT_EQ(control.GetLastError(), "TC Format Not Found");
  EXPECT_EQ(control.GetTimeBaseIndex(), 6u);
  ASSERT_TRUE(control.SetTcSource(2));
  EXPECT_FALSE(control.SetTcSource(3));
  EXPECT_EQ(control.GetLastError(), "TC Source Not Found");
  EXPECT_EQ(control.GetTcSourceIndex(), 2u);
}

TEST_F(Settings, PrerollIsAtMostFifteenSeconds) {
  EXPECT_EQ(control.GetPreroll(), 5u);
  EXPECT_TRUE(control.SetPreroll(15));
  EXPECT_FALSE(control.SetPreroll(16));
  EXPECT_EQ(control.GetLastError(), "Preroll Time Invalid");
  EXPECT_EQ(control.GetPreroll(), 15u);
}

TEST_F(Settings, StartWithTheDefaults) {
  VtrSettingsBlock settings;
  control.GetSettings(&settings);
  const VtrSettingsBlock defaults = CRQD5Control::GetDefaultSettings();
  EXPECT_EQ(std::memcmp(&settings, &defaults, sizeof settings), 0);
}

TEST_F(Settings, BlockComesBackAsItWent) {
  for (uint32_t index = 0; index < 7; ++index) {
    ASSERT_TRUE(control.SetTimeBase(index));
    ASSERT_TRUE(control.SetTcSource(index % 3));
    ASSERT_TRUE(control.SetPreroll(index));
    VtrSettingsBlock settings;
    control.GetSettings(&settings);
    EXPECT_EQ(settings.formatName, std::string(VtrTimeBases()[index].name));
    EXPECT_EQ(double{settings.scale}, VtrTimeBases()[index].scale);
    EXPECT_EQ(settings.dropFrame, VtrTimeBases()[index].dropFrame ? 1 : 0);
    ASSERT_TRUE(control.SetSettings(CRQD5Control::GetDefaultSettings()));
    ASSERT_TRUE(control.SetSettings(settings));
    VtrSettingsBlock again;
    control.GetSettings(&again);
    EXPECT_EQ(std::memcmp(&settings, &again, sizeof settings), 0) << index;
  }
}

TEST_F(Settings, RefusedBlockChangesNothing) {
  ASSERT_TRUE(control.SetTimeBase(1));
  ASSERT_TRUE(control.SetTcSource(1));
  ASSERT_TRUE(control.SetPreroll(1));
  VtrSettingsBlock before;
  control.GetSettings(&before);
  for (int field = 0; field < 3; ++field) {
    VtrSettingsBlock settings = CRQD5Control::GetDefaultSettings();
    if (field == 0) settings.formatIndex = 7;
    if (field == 1) settings.source = 3;
    if (field == 2) settings.prerollSeconds = 16;
    EXPECT_FALSE(control.SetSettings(settings));
    VtrSettingsBlock after;
    control.GetSettings(&after);
    EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0) << field;
  }
}

}  // namespace
}  // namespace morvane
