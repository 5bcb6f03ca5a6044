// Tape control on the simulated tape machine, in exact time.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "device/boards.h"
#include "session/tape_rig.h"

namespace morvane {
namespace {

using test::TapeRig;

TEST(ControlOnDeck, EveryTransportCommandIsAcknowledgedAndShown) {
  TapeRig rig;
  ASSERT_TRUE(rig.opened);
  EXPECT_TRUE(rig.control.IsControlAvailable());
  EXPECT_EQ(rig.Status(), "Stop");
  ASSERT_TRUE(rig.control.CueUp("01:10:00:00"));
  ASSERT_TRUE(rig.Await("Cue Up"));
  EXPECT_TRUE(rig.control.FastForward());
  EXPECT_EQ(rig.Status(), "Fast Forward");
  EXPECT_TRUE(rig.control.Play());
  EXPECT_EQ(rig.Status(), "Play");
  EXPECT_TRUE(rig.control.Shuttle8x());
  EXPECT_EQ(rig.Status(), "Fast Forward 8x");
  EXPECT_TRUE(rig.control.Shuttle8xReverse());
  EXPECT_EQ(rig.Status(), "Rewind 8x");
  EXPECT_TRUE(rig.control.Shuttle(16));
  EXPECT_EQ(rig.Status(), "Fast Forward 16x");
  EXPECT_TRUE(rig.control.ReversePlay());
  EXPECT_EQ(rig.Status(), "Reverse Play");
  EXPECT_TRUE(rig.control.ShuttleStill());
  EXPECT_EQ(rig.Status(), "Still");
  EXPECT_TRUE(rig.control.Rewind());
  EXPECT_EQ(rig.Status(), "Rewind");
  EXPECT_TRUE(rig.control.Shuttle(5));
  EXPECT_EQ(rig.Status(), "Shuttle");
  EXPECT_TRUE(rig.control.Record());
  EXPECT_EQ(rig.Status(), "Record");
  EXPECT_TRUE(rig.control.Stop());
  EXPECT_EQ(rig.Status(), "Stop");
}

TEST(ControlOnDeck, CueParksOnTheExactFrame) {
  TapeRig rig;
  for (const char* time : {"01:00:00:00", "00:59:52:13", "01:12:34:29", "00:59:50:00"}) {
    EXPECT_TRUE(rig.control.CueUp(time));
    EXPECT_EQ(rig.Status(), "Seeking");
    ASSERT_TRUE(rig.Await("Cue Up")) << time;
    EXPECT_EQ(rig.Timecode(), time);
  }
}

TEST(ControlOnDeck, EveryFrameOfAPlayingTapeIsReadAndNoneSkipped) {
  TapeRig rig;
  ASSERT_TRUE(rig.control.CueUp("01:00:00:00"));
  ASSERT_TRUE(rig.Await("Cue Up"));
  ASSERT_EQ(rig.Timecode(), "01:00:00:00");
  ASSERT_TRUE(rig.control.Play());
  std::string last = rig.Timecode();
  std::string wanted = NextVtrTime(last, rig.control.GetTimeBase());
  for (int frame = 0; frame < 300;) {
    const std::string reading = rig.Timecode();
    if (reading == last) continue;
    ASSERT_EQ(reading, wanted);
    last = reading;
    wanted = NextVtrTime(last, rig.control.GetTimeBase());
    ++frame;
  }
  EXPECT_EQ(last, "01:00:10:00");
}

TEST(ControlOnDeck, StepsLandOnTheNeighbour) {
  TapeRig rig;
  ASSERT_TRUE(rig.control.CueUp("01:00:00:29"));
  ASSERT_TRUE(rig.Await("Cue Up"));
  for (const char* time : {"01:00:01:00", "01:00:01:01"}) {
    EXPECT_TRUE(rig.control.Step());
    ASSERT_TRUE(rig.Await("Cue Up"));
    EXPECT_EQ(rig.Timecode(), time);
  }
  for (const char* time : {"01:00:01:00", "01:00:00:29", "01:00:00:28"}) {
    EXPECT_TRUE(rig.control.StepBack());
    ASSERT_TRUE(rig.Await("Cue Up"));
    EXPECT_EQ(rig.Timecode(), time);
  }
}

TEST(ControlOnDeck, SpeedIsThatOfTheCommandAndZeroWhenStopped) {
  TapeRig rig;
  EXPECT_EQ(rig.control.GetSpeed(), 0);
  ASSERT_TRUE(rig.control.CueUp("01:10:00:00"));
  ASSERT_TRUE(rig.Await("Cue Up"));
  ASSERT_TRUE(rig.control.Shuttle(-4));
  EXPECT_EQ(rig.control.GetSpeed(), -4);
  ASSERT_TRUE(rig.control.Play());
  EXPECT_EQ(rig.control.GetSpeed(), 1);
  ASSERT_TRUE(rig.control.Stop());
  EXPECT_EQ(rig.control.GetSpeed(), 0);
}

TEST(ControlOnDeck, StatusRightBehindAnEditThatNobodyWaitedFor) {
  TapeRig rig;
  ASSERT_TRUE(
      rig.control.SetEditPoints("01:00:00:00", "01:00:02:00", "01:00:00:00", "01:00:02:00", 1));
  ASSERT_TRUE(rig.control.PerformEdit());
  EXPECT_EQ(rig.Status(), "Seeking");
  EXPECT_TRUE(rig.control.ClearEdit());
  EXPECT_EQ(rig.Status(), "Stop");
}

TEST(ControlOnDeck, WorksBehindAChangeOfTheLogic) {
  TapeRig rig;
  EXPECT_TRUE(rig.control.Play());
  EXPECT_TRUE(rig.control.SwitchBitfile(BoardElm, 3));
  EXPECT_EQ(rig.Status(), "Play");
  EXPECT_TRUE(rig.control.Stop());
  EXPECT_EQ(rig.Status(), "Stop");
}

TEST(ControlOnDeck, WorksBehindADownloadByAnotherObject) {
  TapeRig rig;
  EXPECT_TRUE(rig.control.Stop());
  CRQD5Card other;
  ASSERT_TRUE(other.Open(0, false, BOARDTYPE_OEM2K, nullptr));
  EXPECT_TRUE(other.SwitchBitfile(BoardElm, 4));
  EXPECT_TRUE(rig.control.Play());
  EXPECT_EQ(rig.Status(), "Play");
  // Without the download the interrupts are off, and the port is deaf.
  for (uint32_t type : {14u, 15u}) ASSERT_TRUE(other.ConfigureInterrupt(false, type));
  EXPECT_FALSE(rig.control.Stop());
  EXPECT_EQ(rig.Status(), "Offline");
  ASSERT_TRUE(other.WriteRegister(10050, 4));
  EXPECT_TRUE(rig.control.Stop());
  EXPECT_EQ(rig.Status(), "Stop");
}

TEST(ControlOnDeck, ShortAcknowledgementsAreFalseButTheTapeArrives) {
  MachineDescription machine = test::ElmWithDeck();
  machine.cards[0].deck.plain = true;
  TapeRig rig(machine);
  EXPECT_TRUE(rig.control.Play());
  EXPECT_TRUE(rig.control.Stop());
  EXPECT_FALSE(rig.control.CueUp("01:00:00:12"));
  ASSERT_TRUE(rig.Await("Cue Up"));
  EXPECT_EQ(rig.Timecode(), "01:00:00:12");
  EXPECT_FALSE(rig.control.Shuttle(2));
  EXPECT_EQ(rig.Status(), "Play 2x");
  EXPECT_FALSE(rig.control.ReversePlay());
  EXPECT_EQ(rig.Status(), "Reverse Play");
  EXPECT_FALSE(rig.control.ShuttleStill());
  EXPECT_EQ(rig.Status(), "Still");
  const std::string there = rig.Timecode();
  EXPECT_FALSE(rig.control.Step());
  ASSERT_TRUE(rig.Await("Cue Up"));
  EXPECT_EQ(rig.Timecode(), NextVtrTime(there, rig.control.GetTimeBase()));
  EXPECT_FALSE(rig.control.SetPreset("02:00:00:00"));
  EXPECT_TRUE(
      rig.control.SetEditPoints("01:00:00:00", "01:00:02:00", "01:00:00:00", "01:00:02:00", 0x1FF));
  EXPECT_TRUE(rig.control.ClearEdit());
  EXPECT_EQ(rig.control.GetLastError(), "None");
}

TEST(ControlOnDeck, SwitchesOfTheDeckAreItsStatus) {
  TapeRig rig;
  RQD5VtrStatus status;
  ASSERT_TRUE(rig.control.GetStatus(&status));
  EXPECT_FALSE(status.Is(VtrLocal) || status.Is(VtrTapeOut) || status.Is(VtrRecordInhibited));
  DeckFaultDescription faults;
  faults.recordInhibit = true;
  rig.SetFaults(faults);
  ASSERT_TRUE(rig.control.GetStatus(&status));
  EXPECT_TRUE(status.Is(VtrRecordInhibited));
  EXPECT_FALSE(rig.control.Record());
  EXPECT_EQ(rig.Status(), "Stop");
  faults.local = true;
  rig.SetFaults(faults);
  ASSERT_TRUE(rig.control.GetStatus(&status));
  EXPECT_TRUE(status.Is(VtrLocal));
  EXPECT_EQ(rig.Status(), "Local");
  EXPECT_FALSE(rig.control.Play());
  faults.tapeOut = true;
  rig.SetFaults(faults);
  ASSERT_TRUE(rig.control.GetStatus(&status));
  EXPECT_TRUE(status.Is(VtrTapeOut));
  EXPECT_EQ(rig.Status(), "Tape Out");
  rig.SetFaults({});
  EXPECT_TRUE(rig.control.Play());
  EXPECT_EQ(rig.Status(), "Play");
}

struct LineFault {
  const char* name;
  DeckFaultDescription faults;
  const char* status;
  const char* timecode;
};

TEST(ControlOnDeck, AnswersThatGoWrongOnTheLineEndInTimeAndTheNextIsGood) {
  TapeRig rig;
  ASSERT_TRUE(rig.control.CueUp("01:02:03:04"));
  ASSERT_TRUE(rig.Await("Cue Up"));
  // Of another command's reply the bytes that stand where the time would are read as one.
  LineFault rows[5] = {{"off line", {}, "Offline", "00:00:00:00"},
                       {"late", {}, "Offline", "00:00:00:00"},
                       {"cut", {}, "Offline", "01:02:03:04"},
                       {"wrong sum", {}, "Cue Up", "01:02:03:04"},
                       {"another's", {}, "Offline", "00:14:01:30"}};
  rows[0].faults.offLine = true;
  rows[1].faults.slowReplyMs = 8;
  rows[2].faults.cutReply = 1;
  rows[3].faults.wrongSum = true;
  rows[4].faults.wrongReply = true;
  for (const LineFault& row : rows) {
    SCOPED_TRACE(row.name);
    rig.SetFaults(row.faults);
    int64_t before = NxClockNowNs();
    EXPECT_EQ(rig.Status(), row.status);
    EXPECT_LE(NxClockNowNs() - before, 40'000'000);
    before = NxClockNowNs();
    EXPECT_EQ(rig.Timecode(), row.timecode);
    EXPECT_LE(NxClockNowNs() - before, 40'000'000);
    EXPECT_FALSE(rig.control.Stop());
    EXPECT_LE(rig.control.Reply().size(), kVtrReplyBytes);
    rig.SetFaults({});
    rig.Pass(20);
    ASSERT_TRUE(rig.control.CueUp("01:02:03:04"));
    ASSERT_TRUE(rig.Await("Cue Up"));
    EXPECT_EQ(rig.Timecode(), "01:02:03:04");
  }
}

TEST(ControlOnDeck, NumberThatTheHeadDoesNotReadIsNeverSeen) {
  TapeRig rig;
  ASSERT_TRUE(rig.control.CueUp("01:00:00:00"));
  ASSERT_TRUE(rig.Await("Cue Up"));
  DeckFaultDescription faults;
  faults.skipTimecode = "01:00:00:10";
  rig.SetFaults(faults);
  ASSERT_TRUE(rig.control.Play());
  std::set<std::string> seen;
  while (rig.Timecode() < "01:00:01:00") seen.insert(rig.Timecode());
  EXPECT_EQ(seen.count("01:00:00:10"), 0u);
  EXPECT_EQ(seen.count("01:00:00:09"), 1u);
  EXPECT_EQ(seen.count("01:00:00:11"), 1u);
}

TEST(ControlOnDeck, SecondControlOnTheSameCardIsUnderstoodToo) {
  TapeRig rig;
  ASSERT_TRUE(rig.control.Play());
  CRQD5Control second;
  ASSERT_TRUE(second.Open(0, false, BOARDTYPE_OEM2K, nullptr));
  std::string text;
  EXPECT_TRUE(second.GetStatusText(&text));
  EXPECT_EQ(text, "Play");
  EXPECT_TRUE(second.Stop());
  EXPECT_EQ(rig.Status(), "Stop");
}

}  // namespace
}  // namespace morvane
