// The port: opening, claiming, and one exchange.
#include "session/control.h"

#include <gtest/gtest.h>

#include "session/control_rig.h"
#include "support/message_recorder.h"

namespace morvane {
namespace {

using test::Begins;
using test::ControlTest;
using test::DeckAnswer;
using test::DeckBytes;

using Control = ControlTest;

TEST_F(Control, ActivateClaimsThePortAndEnablesReceiveBeforeTransmit) {
  deck.stored = 0x40;
  EXPECT_TRUE(control.Activate());
  EXPECT_TRUE(control.IsActivated());
  EXPECT_EQ(deck.portActions,
            (std::vector<std::string>{"write " + std::to_string(0x140 | 0xC9), "enable 15",
                                      "subscribe 15", "enable 14", "subscribe 14"}));
  deck.portActions.clear();
  EXPECT_TRUE(control.Activate());
  EXPECT_TRUE(deck.portActions.empty());
}

TEST_F(Control, DeactivateLetsGoOfThePort) {
  EXPECT_TRUE(control.Deactivate());
  EXPECT_TRUE(deck.portActions.empty());
  ASSERT_TRUE(control.Activate());
  deck.portActions.clear();
  EXPECT_TRUE(control.Deactivate());
  EXPECT_FALSE(control.IsActivated());
  EXPECT_EQ(deck.portActions, (std::vector<std::string>{"write 0", "disable 15", "disable 14"}));
}

TEST_F(Control, DeactivateWithThePortGoneWritesNothing) {
  ASSERT_TRUE(control.Activate());
  deck.portActions.clear();
  deck.present = false;
  EXPECT_TRUE(control.Deactivate());
  EXPECT_FALSE(control.IsActivated());
  EXPECT_TRUE(deck.portActions.empty());
}

TEST_F(Control, CloseDeactivatesAndLeavesBothInterrupts) {
  ASSERT_TRUE(control.Play());
  deck.portActions.clear();
  EXPECT_TRUE(control.Close());
  EXPECT_EQ(deck.portActions, (std::vector<std::string>{"write 0", "disable 15", "disable 14",
                                                        "leave 14", "leave 15"}));
  ASSERT_TRUE(control.Open(0, false, BOARDTYPE_OEM2K, nullptr));
  EXPECT_FALSE(control.IsActivated());
  EXPECT_TRUE(control.Play());
}

TEST_F(Control, StartsClosedWithNoError) {
  CRQD5Control closed;
  EXPECT_EQ(closed.GetLastError(), "None");
  EXPECT_EQ(closed.GetControlType(), "No Type.");
  EXPECT_FALSE(closed.IsActivated());
  EXPECT_EQ(closed.CommandedSpeed(), 0);
}

TEST_F(Control, UnopenedEveryMemberSaysSoAndSendsNothing) {
  const std::vector<std::pair<const char*, std::function<bool(CRQD5Control&)>>> members = {
      {"Activate", [](auto& c) { return c.Activate(); }},
      {"Deactivate", [](auto& c) { return c.Deactivate(); }},
      {"SetTimeBase", [](auto& c) { return c.SetTimeBase(0); }},
      {"SetTcSource", [](auto& c) { return c.SetTcSource(0); }},
      {"SetPreroll", [](auto& c) { return c.SetPreroll(0); }},
      {"SetSettings", [](auto& c) { return c.SetSettings(DefaultVtrSettings()); }},
      {"GetNumTimeBases", [](auto& c) { return c.GetNumTimeBases() != 0; }},
      {"GetNumTcSources", [](auto& c) { return c.GetNumTcSources() != 0; }},
      {"Stop", [](auto& c) { return c.Stop(); }},
      {"Play", [](auto& c) { return c.Play(); }},
      {"Record", [](auto& c) { return c.Record(); }},
      {"FastForward", [](auto& c) { return c.FastForward(); }},
      {"Rewind", [](auto& c) { return c.Rewind(); }},
      {"Preview", [](auto& c) { return c.Preview(); }},
      {"AutoEdit", [](auto& c) { return c.AutoEdit(); }},
      {"PerformEdit", [](auto& c) { return c.PerformEdit(); }},
      {"ReversePlay", [](auto& c) { return c.ReversePlay(); }},
      {"Shuttle8x", [](auto& c) { return c.Shuttle8x(); }},
      {"Shuttle8xReverse", [](auto& c) { return c.Shuttle8xReverse(); }},
      {"ShuttleStill", [](auto& c) { return c.ShuttleStill(); }},
      {"Shuttle", [](auto& c) { return c.Shuttle(2); }},
      {"CueUp", [](auto& c) { return c.CueUp("01:00:00:00"); }},
      {"CueUp of nonsense", [](auto& c) { return c.CueUp("x"); }},
      {"SetPreset", [](auto& c) { return c.SetPreset("01:00:00:00"); }},
      {"Step", [](auto& c) { return c.Step(); }},
      {"StepBack", [](auto& c) { return c.StepBack(); }},
      {"GetSpeed", [](auto& c) { return c.GetSpeed() != 0; }},
      {"SetEditPoints",
       [](auto& c) {
         return c.SetEditPoints("01:00:00:00", "01:00:01:00", "01:00:00:00", "01:00:01:00", 1);
       }},
      {"SetPunchIn", [](auto& c) { return c.SetPunchIn("01:00:00:00"); }},
      {"ClearEdit", [](auto& c) { return c.ClearEdit(); }},
      {"SendCommand",
       [](auto& c) {
         const uint8_t stop[] = {2, 0x20, 0x00};
         return c.SendCommand(stop, true);
       }},
      {"GetTimecode",
       [](auto& c) {
         std::string text;
         const bool good = c.GetTimecode(&text);
         return good || text != "00:00:00:00";
       }},
      {"GetStatusText",
       [](auto& c) {
         std::string text;
         const bool good = c.GetStatusText(&text);
         return good || text != "Offline";
       }},
      {"GetStatus",
       [](auto& c) {
         RQD5VtrStatus status;
         const bool good = c.GetStatus(&status);
         return good || !status.Is(VtrNoReply);
       }},
  };
  for (const auto& [name, call] : members) {
    CRQD5Control closed;
    EXPECT_FALSE(call(closed)) << name;
    EXPECT_EQ(closed.GetLastError(), "Control Not Opened") << name;
  }
  EXPECT_TRUE(deck.commands.empty());
}

TEST_F(Control, WithoutAPortNothingIsActivated) {
  deck.present = false;
  EXPECT_FALSE(control.Activate());
  EXPECT_EQ(control.GetLastError(), "Could Not Activate Control");
  EXPECT_FALSE(control.Play());
  EXPECT_FALSE(control.ClearEdit());
  EXPECT_EQ(Timecode(), "00:00:00:00");
  EXPECT_EQ(StatusText(), "Offline");
  EXPECT_TRUE(deck.commands.empty());
  EXPECT_TRUE(deck.portActions.empty());
}

TEST_F(Control, APortThatCannotBeWrittenIsNotActivated) {
  deck.refuseWrites = {72};
  EXPECT_FALSE(control.Stop());
  EXPECT_EQ(control.GetLastError(), "Could Not Activate Control");
  EXPECT_FALSE(control.IsActivated());
  deck.refuseWrites.clear();
  EXPECT_TRUE(control.Stop());
}

TEST_F(Control, ACommandOfFifteenBytesIsNotSent) {
  uint8_t command[16] = {15};
  EXPECT_FALSE(control.SendCommand(command, true));
  EXPECT_TRUE(deck.commands.empty());
  command[0] = 14;
  EXPECT_TRUE(control.SendCommand(command, true));
  ASSERT_EQ(deck.commands.size(), 1u);
  EXPECT_EQ(deck.commands[0].size(), 15u);
}

TEST_F(Control, ACommandLongerThanItsBufferIsNotSent) {
  const uint8_t command[] = {3, 0x20, 0x00};
  EXPECT_FALSE(control.SendCommand(command, true));
  EXPECT_FALSE(control.SendCommand({}, true));
  const uint8_t nothing[] = {0};
  EXPECT_FALSE(control.SendCommand(nothing, true));
  EXPECT_TRUE(deck.commands.empty());
}

TEST_F(Control, ReplyEndsFiveMillisecondsBehindItsLastByte) {
  ASSERT_TRUE(control.Activate());
  // Three bytes out, one millisecond, three bytes back (the first at once), five milliseconds.
  EXPECT_NEAR(Milliseconds([&] { EXPECT_TRUE(control.Play()); }),
              3 * 0.286458 + 1 + 2 * 0.286458 + 5, 0.001);
  EXPECT_EQ(DeckBytes(control.Reply().begin(), control.Reply().end()), test::Ack());
}

TEST_F(Control, BytesUpToFiveMillisecondsApartAreOneReply) {
  deck.answer = [](const DeckBytes&) { return DeckAnswer{test::Ack(), 4'900'000, 4'900'000}; };
  EXPECT_TRUE(control.Play());
  deck.answer = [](const DeckBytes&) { return DeckAnswer{test::Ack(), 4'900'000, 5'100'000}; };
  EXPECT_FALSE(control.Play());
  EXPECT_EQ(control.Reply().size(), 1u);
}

TEST_F(Control, WithoutWantingAReplyNobodyWaitsForIt) {
  ASSERT_TRUE(control.Activate());
  EXPECT_NEAR(Milliseconds([&] { EXPECT_TRUE(control.PerformEdit()); }), 3 * 0.286458, 0.001);
  EXPECT_TRUE(control.Reply().empty());
  EXPECT_EQ(deck.TakeCommands(), "20 42 62\n");
}

TEST_F(Control, AReplyThatNobodyReadIsNotTakenForTheNext) {
  steady.status[1] = 0x01;
  Answer(steady);
  ASSERT_TRUE(control.PerformEdit());
  deck.Pass(10);
  EXPECT_EQ(StatusText(), "Play");
}

TEST_F(Control, NoMoreThanThirtyOneBytesOfAReplyAreKept) {
  deck.answer = [](const DeckBytes&) { return DeckAnswer{DeckBytes(200, 0x55), 1'000'000, 0}; };
  EXPECT_FALSE(control.Play());
  EXPECT_EQ(control.Reply().size(), 31u);
  deck.answer = steady;
  EXPECT_TRUE(control.Play());
}

TEST_F(Control, TransmitSideThatNeverEmptiesEndsTheExchange) {
  ASSERT_TRUE(control.Activate());
  deck.transmits = false;
  EXPECT_NEAR(Milliseconds([&] { EXPECT_FALSE(control.Play()); }), 15, 0.001);
  EXPECT_EQ(control.CommandedSpeed(), 0);
  EXPECT_EQ(Timecode(), "00:00:00:00");
  deck.transmits = true;
  EXPECT_TRUE(control.Play());
}

TEST_F(Control, PortThatInterruptsWithoutAByteDoesNotHoldTheCaller) {
  deck.answer = nullptr;
  deck.wildReceive = true;
  EXPECT_FALSE(control.Play());
  EXPECT_TRUE(control.Reply().empty());
}

TEST_F(Control, RegisterThatCannotBeWrittenOrReadEndsTheExchange) {
  ASSERT_TRUE(control.Activate());
  deck.refuseWrites = {70};
  EXPECT_FALSE(control.Play());
  deck.refuseWrites.clear();
  deck.refuseReads = {71};
  EXPECT_FALSE(control.Play());
  EXPECT_TRUE(control.Reply().empty());
  deck.refuseReads = {72};
  EXPECT_FALSE(control.Play());
  deck.refuseReads.clear();
  EXPECT_TRUE(control.Play());
}

TEST_F(Control, OpenOfAHostThatIsNotThereTellsItOnce) {
  test::MessageRecorder messages;
  CRQD5Control far;
  EXPECT_TRUE(far.Open(0, true, BOARDTYPE_OEM2K, "127.0.0.1"));
  EXPECT_EQ(messages.Take().size(), 1u);
  EXPECT_FALSE(far.IsControlAvailable());
}

}  // namespace
}  // namespace morvane
