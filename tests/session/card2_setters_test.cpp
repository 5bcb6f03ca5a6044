#include <gtest/gtest.h>

#include "session/session_fixture.h"

namespace morvane {
namespace {

using test::OpenedBoard;

// --- Video format --------------------------------------------------------------------------------

TEST(SetVideoFormat, AgainWritesOnlyTheFrontPanel) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.session.SetVideoFormat(0, false));
  EXPECT_NE(elm.port.TakeWrites(), "0 300000 1\n");
  ASSERT_TRUE(elm.session.SetVideoFormat(0, false));
  EXPECT_EQ(elm.port.TakeWrites(), "0 300000 1\n");
  ASSERT_TRUE(elm.session.SetVideoFormat(0, true));
  EXPECT_EQ(elm.port.TakeWrites(), "0 300000 1\n");
  ASSERT_TRUE(elm.Format("1280x720 @ 59.94p"));
  uint32_t index = 0;
  elm.session.GetVideoFormat(&index);
  ASSERT_TRUE(elm.session.SetVideoFormat(index, false));
  EXPECT_EQ(elm.port.TakeWrites(), "0 300000 0\n");
}

TEST(SetVideoFormat, RunsWhenTheCardHasAnotherFormat) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.session.SetVideoFormat(0, false));
  elm.port.registers[0] ^= 0x7;  // somebody changed the rate
  elm.port.TakeWrites();
  ASSERT_TRUE(elm.session.SetVideoFormat(0, false));
  EXPECT_NE(elm.port.TakeWrites(), "0 300000 1\n");
  EXPECT_EQ(elm.port.Bits(0, 0x7), 4u);
}

TEST(SetVideoFormat, TellsItemsOfOneCardFormatApart) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1280x720 @ 60.00p"));
  uint32_t index = 0;
  ASSERT_TRUE(elm.session.FindItem(SessionFamily::VideoFormat, "1280x720 @ 24.00p", &index));
  ASSERT_TRUE(elm.session.SetVideoFormat(index, false));
  EXPECT_EQ(elm.session.GetCadence(), 1u);
  EXPECT_NE(elm.port.TakeWrites(), "0 300000 0\n");
}

TEST(SetVideoFormat, BeyondTheListIsNotFound) {
  OpenedBoard elm(BoardElm);
  EXPECT_FALSE(elm.session.SetVideoFormat(33, false));
  EXPECT_EQ(elm.session.GetLastError(), "Video Format Not Found");
  EXPECT_EQ(elm.port.TakeWrites(), "");
}

TEST(SetVideoFormat, KeepsTheOldSelectionWhenTheCardRefuses) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1920x1080 @ 25.00i"));
  elm.port.refuseWrites = {0};
  EXPECT_FALSE(elm.session.SetVideoFormat(0, false));
  EXPECT_EQ(elm.session.GetLastError(), "Set Video Format Failed");
  EXPECT_EQ(elm.Current(SessionFamily::VideoFormat), "1920x1080 @ 25.00i");
}

TEST(SetVideoFormat, LevelFlagAndLinkFollowTheStreams) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1920x1080 @ 60.00p"));
  EXPECT_EQ(elm.port.Bits(0, 0x8000), 1u);
  EXPECT_EQ(elm.port.Bits(5, 0x80), 0u);
  ASSERT_TRUE(elm.Format("1920x1080 @ 29.97i"));
  EXPECT_EQ(elm.port.Bits(0, 0x8000), 0u);
  EXPECT_EQ(elm.port.Bits(5, 0x80), 1u);
}

TEST(SetVideoFormat, StandardDefinitionBitsFollowTheFormat) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("720x486 @ 29.97i"));
  EXPECT_EQ(elm.port.Bits(142, 0x40000000), 1u);
  EXPECT_EQ(elm.port.Bits(147, 0x40000000), 1u);
  ASSERT_TRUE(elm.Format("1920x1080 @ 29.97i"));
  EXPECT_EQ(elm.port.Bits(142, 0x40000000), 0u);
  EXPECT_EQ(elm.port.Bits(147, 0x40000000), 0u);
}

TEST(SetVideoFormat, EnablesTheOutputs) {
  OpenedBoard elm(BoardElm);
  elm.port.registers[142] = elm.port.registers[147] = 0x80000000;
  ASSERT_TRUE(elm.Format("1920x1080 @ 25.00i"));
  EXPECT_EQ(elm.port.Bits(129, 0x80), 1u);
  EXPECT_EQ(elm.port.Bits(130, 0x80), 1u);
  EXPECT_EQ(elm.port.Bits(143, 0x80000000), 1u);
  EXPECT_EQ(elm.port.Bits(148, 0x80000000), 1u);
  EXPECT_EQ(elm.port.Bits(142, 0x80000000), 0u);
  EXPECT_EQ(elm.port.Bits(147, 0x80000000), 0u);
  for (const uint32_t channel : {1u, 5u}) {
    EXPECT_EQ(elm.port.Bits(channel, 0x10000), 1u);
    EXPECT_EQ(elm.port.Bits(channel, 0x1000000), 1u);
  }
}

TEST(SetVideoFormat, HsdlKeepsTheLevelOff) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("2048x1556 @ 14.98sF", true));
  EXPECT_EQ(elm.Current(SessionFamily::SDIOutput), "HSDL");
  ASSERT_TRUE(elm.Format("1920x1080 @ 60.00p", false));  // the HSDL item is still the choice
  EXPECT_EQ(elm.port.Bits(0, 0x8000), 0u);
}

TEST(SetVideoFormat, LeavingHsdlForTwoStreamsTurnsTheLevelOn) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("2048x1556 @ 14.98sF", true));
  ASSERT_TRUE(elm.Format("1920x1080 @ 60.00p", true));
  EXPECT_EQ(elm.Current(SessionFamily::SDIOutput), "Single Link SDI");
  EXPECT_EQ(elm.port.Bits(0, 0x8000), 1u);
  RQD5VideoFormat format = 0;
  ASSERT_TRUE(elm.session.GetCardFormat(&format));
  EXPECT_EQ(format, 20u);
}

TEST(SetVideoFormat, ClearsTheAudioOffset) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.session.SetInputOffset(77));
  EXPECT_EQ(elm.port.registers[25], 77u);
  ASSERT_TRUE(elm.Format("1920x1080 @ 25.00i"));
  EXPECT_EQ(elm.port.registers[25], 0u);
}

TEST(SetVideoFormat, ReapplyFallsBackToTheDefaultItem) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1920x1080 @ 29.97i", true));
  ASSERT_TRUE(elm.Choose(SessionFamily::SDIOutput, "Dual Link SDI - Primary"));
  EXPECT_EQ(elm.port.Bits(0, 0x8000000), 1u);
  ASSERT_TRUE(elm.Format("1920x1080 @ 23.976sF", true));
  EXPECT_EQ(elm.Current(SessionFamily::SDIOutput), "Single Link SDI");
  EXPECT_EQ(elm.port.Bits(0, 0x8000000), 0u);
}

TEST(SetVideoFormat, ReapplyFindsItemsAgainByText) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1920x1080 @ 23.976sF", true));
  ASSERT_TRUE(elm.Choose(SessionFamily::SDIOutput, "Video + Key (K)"));  // item 3 of 4
  ASSERT_TRUE(elm.Format("1920x1080 @ 29.97i", true));
  EXPECT_EQ(elm.Current(SessionFamily::SDIOutput), "Video + Key (K)");
  uint32_t index = 0;
  elm.session.GetSDIOutput(&index);
  EXPECT_EQ(index, 5u);
}

TEST(SetVideoFormat, WithoutReapplyTheOthersStay) {
  OpenedBoard cedar(BoardCedar);
  ASSERT_TRUE(cedar.Format("720x486 @ 29.97i", true));
  ASSERT_TRUE(cedar.Choose(SessionFamily::AnalogOutput, "Component Betacam NTSC"));
  ASSERT_TRUE(cedar.Format("720x480 @ 29.97i", false));
  EXPECT_EQ(cedar.Current(SessionFamily::AnalogOutput), "Component Betacam NTSC");
}

// --- Routing -------------------------------------------------------------------------------------

TEST(ApplyRoutingTable, WritesFourteenEntriesInOrderAndRefusesFifteen) {
  OpenedBoard elm(BoardElm);
  RQD5RoutingTable table = {};
  table.count = 14;
  std::string expected;
  for (uint32_t i = 0; i < 15; ++i) {
    table.entries[i] = {300 + i, 0xF0, 4, i};
    if (i < 14) {
      char line[32];
      snprintf(line, sizeof line, "%u f0 %x\n", 300 + i, i);
      expected += line;
    }
  }
  EXPECT_TRUE(elm.session.ApplyRoutingTable(table));
  EXPECT_EQ(elm.port.TakeWrites(), expected);
  table.count = 15;
  EXPECT_FALSE(elm.session.ApplyRoutingTable(table));
  EXPECT_EQ(elm.port.TakeWrites(), "");
  table.count = 0;
  EXPECT_TRUE(elm.session.ApplyRoutingTable(table));
}

TEST(Routing, ClearedTableNeedsNoExtendedTransfer) {
  OpenedBoard elm(BoardElm);
  EXPECT_FALSE(elm.session.NeedsExtendedTransfer());
  RQD5RoutingTable route;
  route.count = 9;
  EXPECT_TRUE(elm.session.FillRoute(&route));
  EXPECT_EQ(route.count, 0u);
}

// --- Outputs -------------------------------------------------------------------------------------

TEST(SetSDIOutput, DualLinkTurnsTheLinkOnAndOff) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1920x1080 @ 23.976sF"));
  ASSERT_TRUE(elm.Choose(SessionFamily::SDIOutput, "Dual Link SDI"));
  EXPECT_EQ(elm.port.TakeWrites(), "0 8000000 1\n");
  EXPECT_EQ(elm.port.Bits(0, 0x8000000), 1u);
  ASSERT_TRUE(elm.Choose(SessionFamily::SDIOutput, "Single Link SDI"));
  EXPECT_EQ(elm.port.TakeWrites(), "0 8000000 0\n");
}

TEST(SetSDIOutput, KeepsTheOldItemWhenTheLinkFails) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1920x1080 @ 23.976sF"));
  elm.port.refuseWrites = {0};
  EXPECT_FALSE(elm.Choose(SessionFamily::SDIOutput, "Dual Link SDI"));
  EXPECT_EQ(elm.session.GetLastError(), "Failed to Turn DualLink On");
  EXPECT_FALSE(elm.Choose(SessionFamily::SDIOutput, "Video + Key (V)"));
  EXPECT_EQ(elm.session.GetLastError(), "Failed to Turn DualLink Off");
  elm.port.refuseWrites.clear();
  uint32_t index = 9;
  elm.session.GetSDIOutput(&index);
  EXPECT_EQ(index, 0u);
}

TEST(SetSDIOutput, FullApertureForcesHsdlOnAnyItem) {
  OpenedBoard iris(BoardIris);
  ASSERT_TRUE(iris.Format("2048x1556 @ 15.00sF"));
  ASSERT_EQ(iris.session.GetNumSDIOutputs(), 3u);
  ASSERT_TRUE(iris.session.SetSDIOutput(0));
  EXPECT_EQ(iris.port.TakeWrites(), "0 8000000 1\n");
  EXPECT_EQ(iris.Current(SessionFamily::SDIOutput), "HSDL");
}

TEST(SetSDIOutput, BeyondTheList) {
  OpenedBoard ebony(BoardEbony);
  EXPECT_FALSE(ebony.session.SetSDIOutput(1));
  EXPECT_EQ(ebony.session.GetLastError(), "Not a Valid SDI Output.");
}

TEST(SetHDMIOutput, IsTheSDIListWhereTheConnectorIsShared) {
  OpenedBoard dogwood(BoardDogwood);
  EXPECT_EQ(dogwood.session.GetNumHDMIOutputs(), 2u);
  ASSERT_TRUE(dogwood.Choose(SessionFamily::HDMIOutput, "Dual Link SDI"));
  EXPECT_EQ(dogwood.port.TakeWrites(), "0 8000000 1\n");
  EXPECT_FALSE(dogwood.session.SetHDMIOutput(2));
  EXPECT_EQ(dogwood.session.GetLastError(), "HDMI Format Not Found");
}

TEST(SetHDMIOutput, LeavesTheFirstOutputsDualLinkAlone) {
  OpenedBoard dogwood(BoardDogwood);
  ASSERT_TRUE(dogwood.Choose(SessionFamily::SDIOutput, "Dual Link SDI"));
  ASSERT_TRUE(dogwood.Choose(SessionFamily::HDMIOutput, "Single Link SDI"));
  EXPECT_EQ(dogwood.port.Bits(0, 0x8000000), 1u);
}

TEST(SetHDMIOutput, HasNoLinkOnItsOwnConnector) {
  OpenedBoard larch(BoardLarch);
  ASSERT_TRUE(larch.Format("1920x1080 @ 24.00p"));
  ASSERT_EQ(larch.session.GetNumHDMIOutputs(), 1u);
  EXPECT_TRUE(larch.session.SetHDMIOutput(0));
  EXPECT_EQ(larch.port.TakeWrites(), "");
  EXPECT_EQ(larch.Current(SessionFamily::HDMIOutput), "HDMI");
}

TEST(SetAnalogOutput, WithoutAnOutputDoesNothing) {
  OpenedBoard ebony(BoardEbony);
  EXPECT_TRUE(ebony.session.SetAnalogOutput(0));
  EXPECT_TRUE(ebony.session.SetAnalogOutput(44));
  EXPECT_EQ(ebony.port.TakeWrites(), "");
}

TEST(SetAnalogOutput, SetsBlackForTheItemsThatAskForIt) {
  OpenedBoard dogwood(BoardDogwood);
  ASSERT_TRUE(dogwood.Format("720x486 @ 29.97i"));
  ASSERT_TRUE(dogwood.Choose(SessionFamily::AnalogOutput, "Composite + S-Video NTSC-J"));
  EXPECT_EQ(dogwood.port.TakeWrites(), "128 300 1\n128 1f 2\n");
  ASSERT_TRUE(dogwood.Choose(SessionFamily::AnalogOutput, "Composite + S-Video NTSC"));
  EXPECT_EQ(dogwood.port.TakeWrites(), "128 300 0\n128 1f 1\n");
  ASSERT_TRUE(dogwood.Choose(SessionFamily::AnalogOutput, "Component Betacam NTSC-J"));
  EXPECT_EQ(dogwood.port.TakeWrites(), "128 300 1\n128 1f 4\n");
  ASSERT_TRUE(dogwood.Format("720x576 @ 25.00i"));
  ASSERT_TRUE(dogwood.Choose(SessionFamily::AnalogOutput, "Component RGB"));
  EXPECT_EQ(dogwood.port.TakeWrites(), "128 300 0\n128 1f 8\n");
}

TEST(SetAnalogOutput, OtherBoardsHaveNoBlackSetup) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1280x720 @ 59.94p"));
  ASSERT_TRUE(elm.Choose(SessionFamily::AnalogOutput, "Component RGB (720)"));
  EXPECT_EQ(elm.port.TakeWrites(), "128 1f 1a\n");
}

TEST(SetAnalogOutput, TellsItsFailures) {
  OpenedBoard elm(BoardElm);
  EXPECT_FALSE(elm.session.SetAnalogOutput(44));
  EXPECT_EQ(elm.session.GetLastError(), "Analog Format Not Found");
  elm.port.refuseWrites = {128};
  EXPECT_FALSE(elm.session.SetAnalogOutput(1));
  EXPECT_EQ(elm.session.GetLastError(), "Set Analog Output Failed");
  EXPECT_EQ(elm.Current(SessionFamily::AnalogOutput), "No Analog Output");
}

// --- Inputs --------------------------------------------------------------------------------------

TEST(SetVideoInput, WritesTheSelectOfEachConnector) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1920x1080 @ 23.976sF"));
  ASSERT_TRUE(elm.Choose(SessionFamily::VideoInput, "Single Link SDI"));
  EXPECT_EQ(elm.port.Bits(1, 0xC000), 2u);  // bit 15
  ASSERT_TRUE(elm.Choose(SessionFamily::VideoInput, "Single Link SDI 2"));
  EXPECT_EQ(elm.port.Bits(1, 0xC000), 1u);  // bit 14
  ASSERT_TRUE(elm.Choose(SessionFamily::VideoInput, "Dual Link SDI"));
  EXPECT_EQ(elm.port.Bits(1, 0xC000), 2u);
  elm.port.registers[0] |= 0x10000;
  ASSERT_TRUE(elm.Choose(SessionFamily::VideoInput, "Single Link SDI"));
  EXPECT_EQ(elm.port.Bits(0, 0x10000), 0u);
}

TEST(SetVideoInput, HdmiAndAnalogOfLarch) {
  OpenedBoard larch(BoardLarch);
  ASSERT_TRUE(larch.Format("720x486 @ 29.97i"));
  ASSERT_TRUE(larch.Choose(SessionFamily::VideoInput, "HDMI - Primary"));
  EXPECT_EQ(larch.port.Bits(1, 0xC000), 3u);
  ASSERT_TRUE(larch.Choose(SessionFamily::VideoInput, "S-Video NTSC"));
  EXPECT_EQ(larch.port.Bits(1, 0xC000), 0u);
  EXPECT_EQ(larch.port.Bits(128, 0x1F0000), 4u);  // fifth of the analog items
}

TEST(SetVideoInput, CedarTakesTheIndexAsItIs) {
  OpenedBoard cedar(BoardCedar);
  ASSERT_TRUE(cedar.session.SetVideoInput(0));
  EXPECT_EQ(cedar.port.Bits(1, 0xC000), 0u);
  ASSERT_TRUE(cedar.session.SetVideoInput(1));
  EXPECT_EQ(cedar.port.Bits(1, 0x4000), 1u);
  EXPECT_EQ(cedar.port.Bits(1, 0x8000), 0u);
}

TEST(SetVideoInput, DualStreamsNeedBothLinks) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1920x1080 @ 50.00p", true));
  EXPECT_EQ(elm.session.GetNumVideoInputs(), 1u);
  EXPECT_EQ(elm.Current(SessionFamily::VideoInput), "Dual Link SDI");
  ASSERT_TRUE(elm.Format("2048x1556 @ 15.00sF", true));
  EXPECT_EQ(elm.Current(SessionFamily::VideoInput), "HSDL");
  EXPECT_EQ(elm.port.Bits(1, 0xC000), 2u);
}

TEST(SetVideoInput, TellsItsFailures) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1920x1080 @ 23.976sF"));
  EXPECT_FALSE(elm.session.SetVideoInput(9));
  EXPECT_EQ(elm.session.GetLastError(), "Video Input Format Not Found");
  elm.port.refuseWrites = {1};
  EXPECT_FALSE(elm.Choose(SessionFamily::VideoInput, "Single Link SDI 2"));
  EXPECT_EQ(elm.session.GetLastError(), "Set Video Input Format Failed");
  elm.port.refuseWrites = {0};
  EXPECT_FALSE(elm.Choose(SessionFamily::VideoInput, "Single Link SDI 2"));
  EXPECT_EQ(elm.session.GetLastError(), "Failed to Turn DualLink Off");
  EXPECT_FALSE(elm.Choose(SessionFamily::VideoInput, "Dual Link SDI"));
  EXPECT_EQ(elm.session.GetLastError(), "Failed to Turn DualLink On");
  EXPECT_NE(elm.Current(SessionFamily::VideoInput), "Single Link SDI 2");
}

TEST(SetSecondFormat, ProgramsTheConverter) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1920x1080 @ 29.97i"));
  elm.port.registers[10050] = 9;  // the logic that mode 0 asks for
  ASSERT_TRUE(elm.Choose(SessionFamily::SecondFormatOut, "720x486 @ 29.97i (O)"));
  EXPECT_EQ(elm.port.TakeWrites(), "131 7 0\n131 7000 2\n131 40 0\n131 8000 0\n");
  ASSERT_TRUE(elm.Choose(SessionFamily::SecondFormatOut, "None"));
  EXPECT_EQ(elm.port.TakeWrites(), "");
  elm.port.registers[10050] = 10;
  ASSERT_TRUE(elm.Choose(SessionFamily::SecondFormatIn, "720x486 @ 29.97i (I)"));
  EXPECT_EQ(elm.port.TakeWrites(), "131 7 2\n131 7000 0\n131 40 0\n131 8000 0\n");
}

TEST(SetSecondFormat, DownloadsOtherLogicOnlyWhenItIsNotThere) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1920x1080 @ 29.97i"));
  ASSERT_TRUE(elm.Choose(SessionFamily::SecondFormatOut, "1280x720 @ 59.94p (O)"));
  EXPECT_NE(elm.port.TakeWrites().find("10050 ffffffff b\n"), std::string::npos);
  ASSERT_TRUE(elm.Choose(SessionFamily::SecondFormatOut, "1280x720 @ 59.94p (O)"));
  EXPECT_EQ(elm.port.TakeWrites().find("10050"), std::string::npos);
}

TEST(SetSecondFormat, TellsItsFailures) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1920x1080 @ 29.97i"));
  const uint32_t beyond = elm.session.GetNumSecondFormats(SessionDirection::Out);
  EXPECT_FALSE(elm.session.SetSecondFormat(beyond, SessionDirection::Out));
  EXPECT_EQ(elm.session.GetLastError(), "Second Video Format Not Found");
  elm.port.refuseWrites = {131};
  EXPECT_FALSE(elm.Choose(SessionFamily::SecondFormatOut, "720x486 @ 29.97i (O)"));
  EXPECT_EQ(elm.session.GetLastError(), "Set Video Input Covert Mode Failed");
  EXPECT_EQ(elm.Current(SessionFamily::SecondFormatOut), "None");
}

TEST(SetConvertMode, WritesTheConvertersSetting) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("720x486 @ 29.97i"));
  ASSERT_TRUE(elm.Choose(SessionFamily::ConvertMode, "Anamorphic"));
  EXPECT_EQ(elm.port.TakeWrites(), "131 30 2\n");
  ASSERT_TRUE(elm.Choose(SessionFamily::ConvertMode, "4x3->16x9 V-Crop"));
  EXPECT_EQ(elm.port.TakeWrites(), "131 700000 3\n");
  ASSERT_TRUE(elm.Choose(SessionFamily::ConvertMode, "Zoom 14x9"));
  EXPECT_EQ(elm.port.TakeWrites(), "131 700 1\n");
  EXPECT_FALSE(elm.session.SetConvertMode(99));
  EXPECT_EQ(elm.session.GetLastError(), "Convert Video Mode Not Found");
}

TEST(SetAudioInput, SelectsTheSource) {
  OpenedBoard larch(BoardLarch);
  ASSERT_TRUE(larch.Choose(SessionFamily::AudioInput, "Embedded HDMI"));
  EXPECT_EQ(larch.port.TakeWrites(), "24 4000000 0\n125 100 1\n");
  ASSERT_TRUE(larch.Choose(SessionFamily::AudioInput, "Analog"));
  EXPECT_EQ(larch.port.TakeWrites(), "24 4000000 1\n125 100 1\n");
  ASSERT_TRUE(larch.Choose(SessionFamily::AudioInput, "Digital AES/EBU - BNC (96)"));
  EXPECT_EQ(larch.port.TakeWrites(), "24 4000000 1\n125 100 0\n");
  ASSERT_TRUE(larch.Choose(SessionFamily::AudioInput, "Embedded SDI"));
  EXPECT_EQ(larch.port.TakeWrites(), "24 4000000 0\n125 100 0\n");
}

// --- Reference, levels ---------------------------------------------------------------------------

TEST(SetReference, WritesTheSourceOfEachItem) {
  OpenedBoard larch(BoardLarch);
  const struct {
    const char* text;
    const char* writes;
  } kRows[] = {{"Free Run", "0 1c00 3\n"},
               {"External", "0 1c00 0\n"},
               {"Input", "0 1c00 1\n"},
               {"Input HDMI", "0 1c00 2\n"},
               {"Input Analog", "0 1c00 4\n"}};
  ASSERT_EQ(larch.session.GetNumReferences(), std::size(kRows));
  for (const auto& row : kRows) {
    ASSERT_TRUE(larch.Choose(SessionFamily::Reference, row.text)) << row.text;
    EXPECT_EQ(larch.port.TakeWrites(), row.writes) << row.text;
  }
}

TEST(SetReference, TwoInputsAreTwoItems) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Choose(SessionFamily::Reference, "Input 2"));
  EXPECT_EQ(elm.port.TakeWrites(), "0 1c00 2\n");
  elm.session.SetKeepTiming(true);  // the driver's form
  ASSERT_TRUE(elm.Choose(SessionFamily::Reference, "Free Run"));
  EXPECT_EQ(elm.port.TakeWrites(), "10120 ffffffff 0\n");
}

TEST(SetReference, OfAnInputSessionIsTrueAtOnce) {
  OpenedBoard elm(BoardElm);
  elm.session.SetSessionIsInput(true);
  EXPECT_TRUE(elm.session.SetReference(1));
  EXPECT_TRUE(elm.session.SetReference(99));
  EXPECT_EQ(elm.port.TakeWrites(), "");
}

TEST(SetReference, TellsItsFailures) {
  OpenedBoard elm(BoardElm);
  EXPECT_FALSE(elm.session.SetReference(99));
  EXPECT_EQ(elm.session.GetLastError(), "Reference Input Format Not Found");
  elm.port.refuseWrites = {0};
  EXPECT_FALSE(elm.session.SetReference(1));
  EXPECT_EQ(elm.session.GetLastError(), "Set Reference Failed");
  EXPECT_EQ(elm.Current(SessionFamily::Reference), "Free Run");
}

TEST(SetAudioLevel, BeyondTheListIsTrueAndTold) {
  OpenedBoard elm(BoardElm);
  EXPECT_TRUE(elm.session.SetAudioLevel(9));
  EXPECT_EQ(elm.session.GetLastError(), "Audio Level Not Found");
  EXPECT_EQ(elm.port.TakeWrites(), "");
}

TEST(SetAudioLevel, WritesTheLevelOfChannel1) {
  OpenedBoard elm(BoardElm);
  elm.session.SetSessionChannel(RQD5Channel2);
  ASSERT_TRUE(elm.Choose(SessionFamily::AudioLevel, "Gain @ 0 dB"));
  EXPECT_EQ(elm.port.TakeWrites(), "24 60000000 1\n");
  ASSERT_TRUE(elm.Choose(SessionFamily::AudioLevel, "Gain @ 6 dB"));
  EXPECT_EQ(elm.port.TakeWrites(), "24 60000000 0\n");
  elm.port.refuseWrites = {24};
  EXPECT_FALSE(elm.session.SetAudioLevel(0));
  EXPECT_EQ(elm.session.GetLastError(), "Set Audio Level Failed");
}

TEST(SetRGBLevel, SetsTheOutputsAnew) {
  OpenedBoard ebony(BoardEbony);
  ASSERT_TRUE(ebony.session.SetRGBLevel(1));
  EXPECT_EQ(ebony.port.TakeWrites(), "1 10000 1\n5 10000 1\n1 1000000 1\n5 1000000 1\n");
  EXPECT_EQ(ebony.Current(SessionFamily::RGBLevel), "Full");
  EXPECT_FALSE(ebony.session.SetRGBLevel(2));
  EXPECT_EQ(ebony.session.GetLastError(), "RGB Level Format Not Found");
  ebony.port.refuseWrites = {5};
  EXPECT_FALSE(ebony.session.SetRGBLevel(0));
  EXPECT_EQ(ebony.session.GetLastError(), "Set RGB Level Failed");
  EXPECT_EQ(ebony.Current(SessionFamily::RGBLevel), "Full");
}

TEST(SetVideoLimit, IsKeptAndWritesNothing) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Choose(SessionFamily::VideoLimit, "Legal Broadcast"));
  EXPECT_EQ(elm.port.TakeWrites(), "");
  EXPECT_EQ(elm.Current(SessionFamily::VideoLimit), "Legal Broadcast");
  EXPECT_FALSE(elm.session.SetVideoLimit(3));
  EXPECT_EQ(elm.session.GetLastError(), "Video Limit Format Not Found");
}

TEST(SetTimingOffsets, CountFromTheCentre) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1920x1080 @ 25.00i"));
  ASSERT_TRUE(elm.session.SetTimingOffsets(5, -3));
  EXPECT_EQ(elm.port.registers[14] & 0xFFFF, 4096u + 5);
  EXPECT_EQ(elm.port.registers[14] >> 16, 2048u - 3);
  int32_t horizontal = 0, vertical = 0;
  elm.session.GetTimingOffsets(&horizontal, &vertical);
  EXPECT_EQ(horizontal, 5);
  EXPECT_EQ(vertical, -3);
}

// --- Set-ups
// --------------------------------------------------------------------------------------

TEST(SetupForOutput, RunsItsStepsInOrder) {
  OpenedBoard ebony(BoardEbony);
  ebony.port.registers[1] = 0x1001;  // an input, upside down
  ASSERT_TRUE(ebony.session.SetupForOutput(false, 0));
  EXPECT_EQ(ebony.port.TakeWrites(),
            "1 1 0\n"         // channel mode output
            "4 ffffffff 0\n"  // access frame
            "0 10000000 1\n"  // frame pulse of both channels
            "0 20000000 1\n"
            "1 10000 ff\n"  // full scale
            "5 10000 ff\n"
            "0 380 0\n"  // the format: standard, geometry, rate
            "0 78 0\n"
            "0 7 4\n"
            "0 400000 0\n"
            "0 8000 0\n"
            "10260 ffffffff 0\n"
            "14 ffff fa0\n"  // timing centred
            "14 ffff0000 233\n"
            "1 10000 1\n"  // output enables
            "5 10000 1\n"
            "1 1000000 1\n"
            "5 1000000 1\n"
            "0 1c00 3\n"       // reference
            "25 ffffffff 0\n"  // audio offset
            "1 1000 0\n"       // orientation
            "0 300000 1\n");   // front panel
}

TEST(SetupForCapture, LocksToTheInputAndLeavesAnOutput) {
  OpenedBoard elm(BoardElm);
  elm.port.registers[1] = 1;
  ASSERT_TRUE(elm.session.SetupForCapture());
  EXPECT_EQ(elm.port.TakeWrites(), "0 1c00 3\n1 1 0\n");
}

TEST(SetupForIdle, SetsTheMixerOfBoardsThatHaveOne) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.session.SetupForIdle());
  EXPECT_EQ(elm.port.TakeWrites(),
            "9 ffffffff 5\n10 ffffffff 0\n11 ffffffff 10000\n5 80 1\n0 1c00 3\n1 1 0\n");
}

TEST(SetupForIdle, WithoutAMixerIsAsForCapture) {
  OpenedBoard ebony(BoardEbony);
  ASSERT_TRUE(ebony.session.SetupForIdle());
  EXPECT_EQ(ebony.port.TakeWrites(), "0 1c00 3\n1 1 0\n");
}

TEST(SetChannelFormat, TakesChannel2AlongForTwoStreams) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1920x1080 @ 29.97i"));
  ASSERT_TRUE(elm.session.SetChannelFormat(FrameBuffer8BitUyvy));
  EXPECT_EQ(elm.port.Bits(1, 0x1E), 1u);
  EXPECT_EQ(elm.port.Bits(5, 0x1E), 0u);
  ASSERT_TRUE(elm.Format("1920x1080 @ 60.00p"));
  ASSERT_TRUE(elm.session.SetChannelFormat(FrameBuffer8BitArgb));
  EXPECT_EQ(elm.port.Bits(1, 0x1E), 2u);
  EXPECT_EQ(elm.port.Bits(5, 0x1E), 2u);
}

TEST(SetChannelFormat, GivesBackWhatTheSecondStreamTook) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1920x1080 @ 60.00p"));
  ASSERT_TRUE(elm.session.SetChannelFormat(FrameBuffer48BitRgb));
  EXPECT_EQ(elm.port.Bits(5, 0x40), 1u);
  ASSERT_TRUE(elm.Format("1920x1080 @ 29.97i"));
  ASSERT_TRUE(elm.session.SetChannelFormat(FrameBuffer48BitRgb));
  EXPECT_EQ(elm.port.Bits(5, 0x40), 1u);  // one stream has as few slots
  ASSERT_TRUE(elm.session.SetChannelFormat(FrameBuffer8BitQRez));
  EXPECT_EQ(elm.port.Bits(5, 0x40), 0u);
  EXPECT_EQ(elm.port.Bits(5, 0x1E), 1u);
}

TEST(SetChannelFormat, LeavesAloneWhatAnotherGaveChannel2) {
  OpenedBoard elm(BoardElm);
  elm.port.registers[5] = 0x40;
  ASSERT_TRUE(elm.Format("1920x1080 @ 29.97i"));
  ASSERT_TRUE(elm.session.SetChannelFormat(FrameBuffer8BitUyvy));
  EXPECT_EQ(elm.port.registers[5] & 0x5E, 0x40u);
  ASSERT_TRUE(elm.Format("1920x1080 @ 60.00p"));
  ASSERT_TRUE(elm.session.SetChannelFormat(FrameBuffer48BitRgb));
  elm.port.registers[5] = 0x40 | 0xC;  // meanwhile
  ASSERT_TRUE(elm.Format("1920x1080 @ 29.97i"));
  ASSERT_TRUE(elm.session.SetChannelFormat(FrameBuffer8BitUyvy));
  EXPECT_EQ(elm.port.registers[5] & 0x5E, 0x4Cu);
}

}  // namespace
}  // namespace morvane
