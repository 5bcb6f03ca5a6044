#include "session/card2.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "session/session_fixture.h"

namespace morvane {
namespace {

using test::OpenedBoard;

std::string Item(CRQD5Card2& session, SessionFamily family, uint32_t index) {
  std::string text;
  session.GetItemDesc(family, index, &text);
  return text;
}

TEST(Session, RefusesAMissingBoard) {
  test::RecordingPort port(BoardElm);
  RQD5BoardInfo record = DescribeBoard(BoardElm);
  record.boardType = BOARDTYPE_OEM2K;
  record.boardNumber = 3;
  CRQD5Card2 session;
  EXPECT_FALSE(session.OpenSession(3, record, kSessionCaptureAndPlay));
  EXPECT_EQ(session.GetLastError(), "Could Not Open Board");
}

TEST(Session, OpensWithoutWriting) {
  test::RecordingPort port(BoardElm);
  RQD5BoardInfo record = DescribeBoard(BoardElm);
  record.boardType = BOARDTYPE_OEM2K;
  CRQD5Card2 session;
  ASSERT_TRUE(session.OpenSession(0, record, kSessionCaptureAndPlay));
  EXPECT_EQ(port.TakeWrites(), "");
  EXPECT_EQ(session.GetLastError(), "");
}

TEST(Session, MakesTheBoardText) {
  OpenedBoard elm(BoardElm);
  std::string text;
  EXPECT_TRUE(elm.session.GetBoardText(&text));
  EXPECT_EQ(text, "Board: 1 Type: Elm  - 0");
}

TEST(Session, ShowsOlderBoardNamesInNewWords) {
  const struct {
    const char* name;
    const char* shown;
  } kRows[] = {
      {"TOVI Wayline  ", "Board: 3 Type: Wayline  "},
      {"TOVI 2K  ", "Board: 3 Type: Sorn 3  "},
      {"TOVI SORN SORN - 1", "Board: 3 Type: Sorn Sorn SORN - 1"},
      {"TOVI Wayline  - 0", "Board: 3 Type: Sorn Wayline  - 0"},
  };
  for (const auto& row : kRows) {
    test::RecordingPort port(BoardElm);
    RQD5BoardInfo record = DescribeBoard(BoardElm);
    record.boardType = BOARDTYPE_OEM2K;
    record.displayName = row.name;
    CRQD5Card2 session;
    ASSERT_TRUE(session.OpenSession(2, record, kSessionCaptureAndPlay));
    std::string text;
    EXPECT_TRUE(session.GetBoardText(&text));
    EXPECT_EQ(text, row.shown);
  }
}

TEST(Session, UnopenedMembersSayBoardNotOpened) {
  CRQD5Card2 session;
  for (uint32_t f = 0; f < kSessionFamilies; ++f) {
    const auto family = static_cast<SessionFamily>(f);
    SCOPED_TRACE(f);
    uint32_t index = 5;
    std::string text;
    EXPECT_EQ(session.GetNumItems(family), 0u);
    EXPECT_EQ(session.GetLastError(), "Board Not Opened");
    EXPECT_FALSE(session.GetItemDesc(family, 0, &text));
    EXPECT_EQ(text, "Not a Valid Board ID.");
    text.clear();
    EXPECT_FALSE(session.GetDefaultItem(family, &index, &text));
    EXPECT_EQ(text, "Not a Valid Board ID.");
    index = 5;
    EXPECT_FALSE(session.GetItem(family, &index));
    EXPECT_EQ(index, 0u);
    CRQD5Card2 fresh;
    EXPECT_FALSE(fresh.SetItem(family, 0));
    EXPECT_EQ(fresh.GetLastError(), "Board Not Opened");
  }
  std::string text;
  EXPECT_FALSE(session.GetBoardText(&text));
  EXPECT_EQ(text, "Board Not Opened.");
}

TEST(Session, UnopenedOperationsSetTheText) {
  const struct {
    const char* name;
    bool (*call)(CRQD5Card2&);
  } kCalls[] = {
      {"Reopen", [](CRQD5Card2& s) { return s.Reopen(); }},
      {"SetVideoFormat", [](CRQD5Card2& s) { return s.SetVideoFormat(0, true); }},
      {"SetMixMode", [](CRQD5Card2& s) { return s.SetMixMode(9); }},
      {"SetAudioLevel", [](CRQD5Card2& s) { return s.SetAudioLevel(0); }},
      {"SetReference", [](CRQD5Card2& s) { return s.SetReference(0); }},
      {"SetupForOutput", [](CRQD5Card2& s) { return s.SetupForOutput(false, 0); }},
      {"SetupForCapture", [](CRQD5Card2& s) { return s.SetupForCapture(); }},
      {"SetupForIdle", [](CRQD5Card2& s) { return s.SetupForIdle(); }},
      {"SetLiveInput", [](CRQD5Card2& s) { return s.SetLiveInput(true); }},
      {"SetIdleOutput", [](CRQD5Card2& s) { return s.SetIdleOutput(IdleOutput::Black); }},
      {"SetTestPattern", [](CRQD5Card2& s) { return s.SetTestPattern(0); }},
      {"DmaWriteFrame", [](CRQD5Card2& s) { return s.DmaWriteFrame(0, "", 1); }},
      {"DmaReadFrame", [](CRQD5Card2& s) { return s.DmaReadFrame(0, nullptr, 1); }},
      {"LoadColourTable", [](CRQD5Card2& s) { return s.LoadColourTable(nullptr, true); }},
      {"SetMixer", [](CRQD5Card2& s) { return s.SetMixer({}, 1, true); }},
      {"ApplyRoutingTable", [](CRQD5Card2& s) { return s.ApplyRoutingTable({}); }},
      {"CheckInput", [](CRQD5Card2& s) { return s.CheckInput() != 2; }},
      {"CanUse", [](CRQD5Card2& s) { return s.CanUseFrameBufferFormat(1); }},
      {"CarriesTimecode", [](CRQD5Card2& s) { return s.CarriesTimecode(); }},
      {"SetTimingOffsets", [](CRQD5Card2& s) { return s.SetTimingOffsets(1, 1); }},
      {"SetSecondFormat", [](CRQD5Card2& s) { return s.SetSecondFormat(0, SessionDirection::In); }},
  };
  for (const auto& call : kCalls) {
    CRQD5Card2 session;
    EXPECT_FALSE(call.call(session)) << call.name;
    EXPECT_EQ(session.GetLastError(), "Board Not Opened") << call.name;
  }
}

TEST(Session, ReopenCloses) {
  OpenedBoard elm(BoardElm);
  EXPECT_TRUE(elm.session.Reopen());
  EXPECT_FALSE(elm.session.IsOpen());
  EXPECT_FALSE(elm.session.Reopen());
  EXPECT_EQ(elm.session.GetLastError(), "Board Not Opened");
}

TEST(Session, DefaultVideoFormatByBoard) {
  uint32_t index = 9;
  std::string text;
  OpenedBoard cedar(BoardCedar);
  EXPECT_TRUE(cedar.session.GetDefaultVideoFormat(&index, &text));
  EXPECT_EQ(text, "720x486 @ 29.97i");
  EXPECT_EQ(index, 0u);
}

TEST(Session, DefaultVideoFormatOfElmIsTheFirst) {
  uint32_t index = 9;
  std::string text;
  OpenedBoard elm(BoardElm);
  EXPECT_TRUE(elm.session.GetDefaultVideoFormat(&index, &text));
  EXPECT_EQ(text, "1920x1080 @ 29.97i");
  EXPECT_EQ(index, 0u);
}

TEST(Session, BoardTypeWithoutADefaultStartsOnItsFirstFormat) {
  OpenedBoard basil(BoardBasil);
  ASSERT_TRUE(basil.opened);
  EXPECT_EQ(basil.session.GetLastError(), "Unknown Board Type");
  uint32_t index = 9;
  std::string text;
  EXPECT_FALSE(basil.session.GetDefaultVideoFormat(&index, &text));
  EXPECT_EQ(text, "Not a Valid Board ID.");
  EXPECT_EQ(basil.session.GetLastError(), "Unknown Board Type");
  EXPECT_EQ(basil.Current(SessionFamily::VideoFormat), "720x486 @ 29.97i");
}

TEST(Session, MixModesNeedAKeyer) {
  OpenedBoard ebony(BoardEbony);
  EXPECT_EQ(ebony.session.GetNumMixModes(), 1u);
  EXPECT_EQ(Item(ebony.session, SessionFamily::MixMode, 0), "None");
  EXPECT_TRUE(ebony.session.SetMixMode(0));
  EXPECT_EQ(ebony.port.TakeWrites(), "");
}

TEST(Session, MixModeBeyondTheListIsTrueAndChangesNothing) {
  OpenedBoard elm(BoardElm);
  EXPECT_EQ(elm.session.GetNumMixModes(), 3u);
  EXPECT_TRUE(elm.session.SetMixMode(3));
  EXPECT_EQ(elm.port.TakeWrites(), "");
  uint32_t index = 9;
  EXPECT_TRUE(elm.session.GetMixMode(&index));
  EXPECT_EQ(index, 0u);
  EXPECT_TRUE(elm.session.SetMixMode(2));
  EXPECT_EQ(elm.port.TakeWrites(), "9 300000 2\n");
  EXPECT_EQ(elm.Current(SessionFamily::MixMode), "UnShaped");
}

TEST(Session, SDIOutputsOfElmFollowTheFormat) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1920x1080 @ 29.97i"));
  EXPECT_EQ(elm.session.GetNumSDIOutputs(), 6u);
  EXPECT_EQ(Item(elm.session, SessionFamily::SDIOutput, 0), "Single Link SDI - Primary");
  ASSERT_TRUE(elm.Format("1920x1080 @ 23.976sF"));
  EXPECT_EQ(elm.session.GetNumSDIOutputs(), 4u);
  ASSERT_TRUE(elm.Format("2048x1556 @ 14.98sF"));
  EXPECT_EQ(elm.session.GetNumSDIOutputs(), 1u);
  EXPECT_EQ(Item(elm.session, SessionFamily::SDIOutput, 0), "HSDL");
}

TEST(Session, QuinceHasOneSDIOutput) {
  OpenedBoard quince(BoardQuince);
  EXPECT_EQ(quince.session.GetNumSDIOutputs(), 1u);
}

TEST(Session, TimecodeInputsOfElm) {
  OpenedBoard elm(BoardElm);
  EXPECT_EQ(elm.session.GetNumTimecodeInputs(), 4u);
  EXPECT_EQ(Item(elm.session, SessionFamily::TimecodeInput, 1), "Embedded  LTC (RP188)");
}

TEST(Session, LarchHasHdmiAsItsSecondInput) {
  OpenedBoard larch(BoardLarch);
  ASSERT_TRUE(larch.Format("1920x1080 @ 29.97i"));
  EXPECT_EQ(Item(larch.session, SessionFamily::VideoInput, 0), "Single Link SDI - Primary");
  EXPECT_EQ(Item(larch.session, SessionFamily::VideoInput, 1), "HDMI - Primary");
}

TEST(Session, OakBehavesAsElmUnderItsOwnName) {
  OpenedBoard oak(BoardOak);
  EXPECT_EQ(oak.session.GetNumVideoFormats(), 33u);
  EXPECT_EQ(oak.session.GetSessionBoardID(), uint32_t{BoardElm});
  EXPECT_EQ(oak.session.GetBoardName(), "Oak ");
  std::string suffix;
  EXPECT_TRUE(oak.session.GetBoardSuffix(&suffix));
  EXPECT_EQ(suffix, "Oak ");
  EXPECT_EQ(oak.session.GetNumMixModes(), 3u);
}

TEST(Session, DescribesTheCadenceFormats) {
  OpenedBoard elm(BoardElm);
  RQD5VideoFormatDesc desc;
  ASSERT_TRUE(elm.session.GetVideoFormatDesc(23, &desc));
  EXPECT_STREQ(desc.name, "1280x720 @ 24.00p");
  EXPECT_EQ(uint32_t{desc.videoFormat}, 5u);
  EXPECT_EQ(double{desc.frameScale}, 24000);
  EXPECT_EQ(double{desc.frameDuration}, 1000);
  EXPECT_EQ(desc.cadence, 1);
  EXPECT_FALSE(elm.session.GetVideoFormatDesc(33, &desc));
  EXPECT_EQ(elm.session.GetLastError(), "Video Format Not Found");
}

struct DescRow {
  const char* text;
  uint32_t format, standard, pixelClass, width, height, displayHeight;
  double fieldScale;
  uint32_t fieldCount, fieldFlag;
  int progressive, wide, segmented, dualStream, cadence;
};
// clang-format off
constexpr DescRow kDescs[] = {
  // text                      fmt std cls width height disp  fields   n  flag p  w  s  d  c
  { "1920x1080 @ 29.97i",        2, 0, 1, 1920, 1080, 1080, 60000, 2, 1,  0, 0, 0, 0, 0 },
  { "1920x1080 @ 29.97i/sF",    29, 0, 1, 1920, 1080, 1080, 60000, 2, 1,  0, 0, 1, 0, 0 },
  { "1920x1080 @ 25.00sF",      28, 0, 1, 1920, 1080, 1080, 50000, 2, 0,  1, 0, 1, 0, 0 },
  { "1920x1080 @ 59.94p",       19, 0, 1, 1920, 1080, 1080, 60000, 1, 0,  1, 0, 0, 1, 0 },
  { "1920x1080 @ 24.00p",       12, 4, 1, 1920, 1080, 1080, 24000, 1, 0,  1, 0, 0, 0, 0 },
  { "1280x720 @ 25.00p",        17, 1, 1, 1280,  720,  720, 25000, 1, 0,  1, 0, 0, 0, 2 },
  { "720x480 @ 29.97i",         32, 2, 0,  720,  486,  480, 60000, 2, 2,  0, 0, 0, 0, 0 },
  { "720x576 (Wide) @ 25.00i",  33, 3, 0,  720,  576,  576, 50000, 2, 1,  0, 1, 0, 0, 0 },
  { "2048x1556 @ 14.98sF",      64, 5, 2, 2048, 1556, 1556, 30000, 2, 0,  1, 0, 1, 0, 0 },
};
// clang-format on

TEST(Session, DescribesEachKindOfFormat) {
  OpenedBoard elm(BoardElm);
  for (const DescRow& row : kDescs) {
    SCOPED_TRACE(row.text);
    uint32_t index = 0;
    RQD5VideoFormatDesc d;
    ASSERT_TRUE(elm.session.FindItem(SessionFamily::VideoFormat, row.text, &index));
    ASSERT_TRUE(elm.session.GetVideoFormatDesc(index, &d));
    EXPECT_STREQ(d.name, row.text);
    EXPECT_EQ(uint32_t{d.videoFormat}, row.format);
    EXPECT_EQ(uint32_t{d.standard}, row.standard);
    EXPECT_EQ(uint32_t{d.pixelFormatClass}, row.pixelClass);
    EXPECT_EQ(uint32_t{d.width}, row.width);
    EXPECT_EQ(uint32_t{d.height}, row.height);
    EXPECT_EQ(uint32_t{d.displayWidth}, row.width);
    EXPECT_EQ(uint32_t{d.displayHeight}, row.displayHeight);
    EXPECT_EQ(double{d.fieldScale}, row.fieldScale);
    EXPECT_EQ(uint32_t{d.fieldCount}, row.fieldCount);
    EXPECT_EQ(uint32_t{d.fieldFlag}, row.fieldFlag);
    EXPECT_EQ(d.progressive, row.progressive);
    EXPECT_EQ(d.wide, row.wide);
    EXPECT_EQ(d.segmented, row.segmented);
    EXPECT_EQ(d.dualStream, row.dualStream);
    EXPECT_EQ(d.cadence, row.cadence);
  }
}

struct BeyondRow {
  SessionFamily family;
  const char* error;
  const char* text;
};
constexpr BeyondRow kBeyond[] = {
    {SessionFamily::SDIOutput, "Not a Valid SDI Output.", "Not a Valid SDI Output."},
    {SessionFamily::HDMIOutput, "HDMI Format Not Found", "Not a Valid HDMI Output."},
    {SessionFamily::VideoInput, "Video Input Format Not Found", "Not a Valid Input."},
    {SessionFamily::TimecodeInput, "Not a Valid TimeCode Input.", "Not a Valid TimeCode Input."},
    {SessionFamily::AudioInput, "Not a Valid Audio Input.", "Not a Valid Audio Input."},
    {SessionFamily::VideoSyncOutput, "Not a Valid Video Sync Output.",
     "Not a Valid Video Sync Output."},
    {SessionFamily::AnalogOutput, "Analog Format Not Found", "Analog Format Not Found"},
    {SessionFamily::ConvertMode, "Convert Video Mode Not Found", "Convert Video Mode Not Found"},
    {SessionFamily::AudioLevel, "Audio Level Not Found", "Audio Level Not Found"},
    {SessionFamily::VideoLimit, "Video Limit Format Not Found", "Video Limit Format Not Found"},
    {SessionFamily::RGBLevel, "RGB Level Format Not Found", "RGB Level Format Not Found"},
    {SessionFamily::Reference, "Reference Input Format Not Found",
     "Reference Input Format Not Found"},
};

TEST(Session, DescriptionBeyondTheListGivesTheFamilysTexts) {
  OpenedBoard elm(BoardElm);
  for (const BeyondRow& row : kBeyond) {
    std::string text;
    EXPECT_FALSE(elm.session.GetItemDesc(row.family, elm.session.GetNumItems(row.family), &text));
    EXPECT_EQ(elm.session.GetLastError(), row.error);
    EXPECT_EQ(text, row.text);
  }
}

TEST(Session, FamilyWithoutATextKeepsTheFailureBefore) {
  OpenedBoard elm(BoardElm);
  EXPECT_FALSE(elm.session.SetVideoFormat(99, false));
  std::string text;
  EXPECT_FALSE(elm.session.GetMixModeDesc(3, &text));
  EXPECT_EQ(elm.session.GetLastError(), "Video Format Not Found");
}

TEST(Session, EmptyListsHaveTheirTexts) {
  OpenedBoard hazel(BoardHazel);  // two outputs, no input
  EXPECT_EQ(hazel.session.GetNumVideoInputs(), 0u);
  uint32_t index = 9;
  std::string text;
  EXPECT_FALSE(hazel.session.GetDefaultVideoInput(&index, &text));
  EXPECT_EQ(hazel.session.GetLastError(), "Could Not Fill Video Input Default");
  EXPECT_EQ(index, 0u);
}

TEST(Session, BoardsWithoutAFamilySaySo) {
  OpenedBoard fennel(BoardFennel);  // no audio
  EXPECT_EQ(Item(fennel.session, SessionFamily::AudioInput, 0), "No Audio Inputs.");
  EXPECT_EQ(Item(fennel.session, SessionFamily::ConvertMode, 0), "Not Available");
  EXPECT_EQ(Item(fennel.session, SessionFamily::SecondFormatOut, 0), "Not Available");
  EXPECT_EQ(Item(fennel.session, SessionFamily::AudioLevel, 0), "None");
  EXPECT_EQ(Item(fennel.session, SessionFamily::AnalogOutput, 0), "No Analog Output");
  EXPECT_TRUE(fennel.session.SetAnalogOutput(0));
}

TEST(Session, TimecodeInputsNeedUartOrInput) {
  OpenedBoard hazel(BoardHazel);  // neither
  EXPECT_EQ(hazel.session.GetNumTimecodeInputs(), 1u);
  EXPECT_EQ(Item(hazel.session, SessionFamily::TimecodeInput, 0), "No TimeCode Inputs.");
}

TEST(Session, SecondFormatTextsTellTheDirection) {
  OpenedBoard elm(BoardElm);
  std::string text;
  ASSERT_TRUE(elm.session.GetSecondFormatDesc(1, SessionDirection::In, &text));
  EXPECT_EQ(text.substr(text.size() - 4), " (I)");
  ASSERT_TRUE(elm.session.GetSecondFormatDesc(1, SessionDirection::Out, &text));
  EXPECT_EQ(text.substr(text.size() - 4), " (O)");
  ASSERT_TRUE(elm.session.GetSecondFormatDesc(0, SessionDirection::Out, &text));
  EXPECT_EQ(text, "None");
}

TEST(Session, IdentityBlockTellsBoardAndChannel) {
  OpenedBoard elm(BoardElm);
  elm.session.SetSessionChannel(RQD5Channel2);
  SessionIdentityBlock block;
  ASSERT_TRUE(elm.session.GetIdentityBlock(&block));
  EXPECT_EQ(uint32_t{block.identity}, uint32_t{BoardElm});
  EXPECT_EQ(uint32_t{block.type}, 8u);
  EXPECT_EQ(uint32_t{block.number}, 0u);
  EXPECT_EQ(uint32_t{block.boardIndex}, 0u);
  EXPECT_STREQ(block.boardText, "Board: 1 Type: Elm  - 0");
  EXPECT_EQ(uint32_t{block.channel}, 2u);
}

}  // namespace
}  // namespace morvane
