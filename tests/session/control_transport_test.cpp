#include <gtest/gtest.h>

#include <limits>

#include "session/control_rig.h"

namespace morvane {
namespace {

using test::Ack;
using test::ControlTest;
using test::DeckAnswer;
using test::DeckBytes;

using Transport = ControlTest;

struct CommandCase {
  const char* bytes;
  bool (CRQD5Control::*command)();
  double speed;
  size_t ackLength;
};

const CommandCase kCommands[] = {
    {"20 00 20\n", &CRQD5Control::Stop, 0, 3},
    {"20 01 21\n", &CRQD5Control::Play, 1, 3},
    {"20 02 22\n", &CRQD5Control::Record, 1, 3},
    {"20 10 30\n", &CRQD5Control::FastForward, 50, 3},
    {"20 20 40\n", &CRQD5Control::Rewind, -50, 3},
    {"20 40 60\n", &CRQD5Control::Preview, 1, 3},
    {"20 42 62\n", &CRQD5Control::AutoEdit, 1, 3},
    {"21 21 40 82\n", &CRQD5Control::ReversePlay, -1, 4},
    {"21 11 5D 8F\n", &CRQD5Control::Shuttle8x, 8, 3},
    {"21 21 5D 9F\n", &CRQD5Control::Shuttle8xReverse, -8, 3},
    {"21 13 00 34\n", &CRQD5Control::ShuttleStill, 0, 4},
};

TEST_F(Transport, EachCommandSendsItsBytesAndSetsItsSpeed) {
  for (const CommandCase& row : kCommands) {
    ASSERT_TRUE(control.Shuttle(0.125));
    deck.TakeCommands();
    EXPECT_TRUE((control.*row.command)()) << row.bytes;
    EXPECT_EQ(deck.TakeCommands(), row.bytes);
    EXPECT_EQ(control.CommandedSpeed(), row.speed) << row.bytes;
  }
}

TEST_F(Transport, OnlyTheAcknowledgementOfTheRightLengthCounts) {
  for (const CommandCase& row : kCommands) {
    for (size_t length = 1; length <= 8; ++length) {
      deck.answer = [&](const DeckBytes&) { return DeckAnswer{Ack(length)}; };
      EXPECT_EQ((control.*row.command)(), length == row.ackLength) << row.bytes << length;
    }
    for (size_t wrong = 0; wrong < 3; ++wrong) {
      DeckBytes reply = Ack(row.ackLength);
      ++reply[wrong];
      deck.answer = [&](const DeckBytes&) { return DeckAnswer{reply}; };
      EXPECT_FALSE((control.*row.command)()) << row.bytes << wrong;
    }
  }
}

TEST_F(Transport, SpeedIsTheOneAskedForEvenUnacknowledged) {
  deck.answer = nullptr;
  for (const CommandCase& row : kCommands) {
    EXPECT_FALSE((control.*row.command)()) << row.bytes;
    EXPECT_EQ(control.CommandedSpeed(), row.speed) << row.bytes;
  }
}

TEST_F(Transport, DeckWithShortAcknowledgementsStillObeys) {
  steady.longAcks = false;
  Answer(steady);
  EXPECT_TRUE(control.Play());
  EXPECT_TRUE(control.Stop());
  deck.TakeCommands();
  EXPECT_FALSE(control.CueUp("01:20:10:00"));
  EXPECT_FALSE(control.SetPreset("01:20:10:00"));
  EXPECT_FALSE(control.Shuttle(2));
  EXPECT_FALSE(control.ShuttleStill());
  EXPECT_FALSE(control.ReversePlay());
  EXPECT_EQ(deck.commands.size(), 5u);
  EXPECT_EQ(control.GetLastError(), "None");
}

struct ShuttleCase {
  double speed;
  const char* bytes;
};

TEST_F(Transport, ShuttleSpeedsAreThirtyTwoStepsADecade) {
  const ShuttleCase cases[] = {
      {0.25, "21 13 2D 61\n"}, {0.5, "21 13 36 6A\n"}, {1, "21 13 40 74\n"},
      {2, "21 13 4A 7E\n"},    {4, "21 13 53 87\n"},   {8, "21 13 5D 91\n"},
      {16, "21 13 67 9B\n"},   {-2, "21 23 4A 8E\n"},  {-16, "21 23 67 AB\n"},
      {-0.5, "21 23 36 7A\n"}, {0, "21 13 00 34\n"},   {-0.0, "21 13 00 34\n"},
  };
  for (const ShuttleCase& row : cases) {
    EXPECT_TRUE(control.Shuttle(row.speed)) << row.speed;
    EXPECT_EQ(deck.TakeCommands(), row.bytes) << row.speed;
    EXPECT_EQ(control.CommandedSpeed(), row.speed);
  }
}

TEST_F(Transport, ShuttleBeyondTheLineIsCutAndNoNumberIsRefused) {
  EXPECT_TRUE(control.Shuttle(1e300));
  EXPECT_EQ(deck.TakeCommands(), "21 13 FF 33\n");
  EXPECT_TRUE(control.Shuttle(-1e-300));
  EXPECT_EQ(deck.TakeCommands(), "21 23 00 44\n");
  for (const double speed :
       {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity()}) {
    EXPECT_FALSE(control.Shuttle(speed));
    EXPECT_EQ(control.GetLastError(), "Shuttle Speed Invalid");
  }
  EXPECT_TRUE(deck.commands.empty());
  EXPECT_EQ(control.CommandedSpeed(), -1e-300);
}

TEST_F(Transport, CueAndPresetSendTheTimeFramesFirst) {
  EXPECT_TRUE(control.CueUp("01:20:10:00"));
  EXPECT_EQ(deck.TakeCommands(), "24 31 00 10 20 01 86\n");
  EXPECT_TRUE(control.SetPreset("01:20:10:00"));
  EXPECT_EQ(deck.TakeCommands(), "44 04 00 10 20 01 79\n");
}

TEST_F(Transport, PresetCarriesTheDropFrameFlagAndCueDoesNot) {
  ASSERT_TRUE(control.SetTimeBase(4));
  EXPECT_TRUE(control.SetPreset("01:00:00:02"));
  EXPECT_EQ(deck.TakeCommands(), "44 04 42 00 00 01 8B\n");
  EXPECT_TRUE(control.CueUp("01;00;00;02"));
  EXPECT_EQ(deck.TakeCommands(), "24 31 02 00 00 01 58\n");
}

TEST_F(Transport, TimesOfAnotherFormAreRefusedUnsent) {
  for (const char* text : {"", "now", "01:20:10", "01:20:10:0x"}) {
    EXPECT_FALSE(control.CueUp(text)) << text;
    EXPECT_EQ(control.GetLastError(), "Timecode Invalid");
    EXPECT_FALSE(control.SetPreset(text)) << text;
  }
  EXPECT_TRUE(deck.commands.empty());
}

TEST_F(Transport, CueKeepsTheCommandedSpeed) {
  ASSERT_TRUE(control.Play());
  EXPECT_TRUE(control.CueUp("01:20:10:00"));
  EXPECT_EQ(control.CommandedSpeed(), 1);
}

TEST_F(Transport, StepOfAMovingTapeStillsItReadsAndCues) {
  steady.status[1] = 0x01;
  steady.time = {0x29, 0x59, 0x09, 0x00};
  Answer(steady);
  ASSERT_TRUE(control.SetTimeBase(4));
  EXPECT_TRUE(control.Step());
  EXPECT_EQ(deck.TakeCommands(), "61 20 0A 8B\n21 13 00 34\n61 0C 01 6E\n24 31 00 00 10 00 65\n");
  EXPECT_EQ(control.CommandedSpeed(), 0);
}

TEST_F(Transport, StepOfAStillTapeDoesNotStillItAgain) {
  steady.status[2] = 0x02;
  steady.time = {0x00, 0x00, 0x00, 0x01};
  Answer(steady);
  EXPECT_TRUE(control.Step());
  EXPECT_EQ(deck.TakeCommands(), "61 20 0A 8B\n61 0C 01 6E\n24 31 01 00 00 01 57\n");
  EXPECT_TRUE(control.StepBack());
  EXPECT_EQ(deck.TakeCommands(), "61 20 0A 8B\n61 0C 01 6E\n24 31 29 59 59 00 30\n");
}

TEST_F(Transport, StepUnderDropFrameSkipsWhatHasNoNumber) {
  steady.status[2] = 0x02;
  steady.time = {0x29, 0x59, 0x00, 0x01};
  Answer(steady);
  ASSERT_TRUE(control.SetTimeBase(4));
  EXPECT_TRUE(control.Step());
  EXPECT_EQ(deck.TakeCommands(), "61 20 0A 8B\n61 0C 01 6E\n24 31 02 00 01 01 59\n");
  steady.time = {0x02, 0x00, 0x01, 0x01};
  Answer(steady);
  EXPECT_TRUE(control.StepBack());
  EXPECT_EQ(deck.TakeCommands(), "61 20 0A 8B\n61 0C 01 6E\n24 31 29 59 00 01 D8\n");
}

TEST_F(Transport, StepOfADeckThatTellsNoTimeSendsNoCue) {
  deck.answer = [this](const DeckBytes& command) {
    return test::Begins(command, 0x61, 0x0C) ? DeckAnswer{} : steady(command);
  };
  EXPECT_FALSE(control.Step());
  EXPECT_FALSE(control.StepBack());
  EXPECT_EQ(deck.TakeCommands().find("24 31"), std::string::npos);
}

}  // namespace
}  // namespace morvane
