#include <gtest/gtest.h>

#include "session/control_rig.h"

namespace morvane {
namespace {

using test::ControlTest;
using test::DeckAnswer;
using test::DeckBytes;

class Edit : public ControlTest {
 protected:
  bool Arm(uint32_t mask) {
    return control.SetEditPoints("01:00:10:00", "01:00:12:15", "01:00:10:01", "01:00:12:16", mask);
  }
  // The last command of an armed edit, the one with the channels.
  std::string Channels(uint32_t mask) {
    deck.TakeCommands();
    (void)Arm(mask);
    const DeckBytes last = deck.commands.empty() ? DeckBytes{} : deck.commands.back();
    deck.commands = {last};
    return deck.TakeCommands();
  }
};

TEST_F(Edit, ArmingSendsPrerollFourPointsAndChannels) {
  EXPECT_TRUE(Arm(0x3));
  EXPECT_EQ(deck.TakeCommands(),
            "40 41 81\n"
            "44 31 00 05 00 00 7A\n"
            "44 14 00 10 00 01 69\n"
            "44 15 15 12 00 01 81\n"
            "44 16 01 10 00 01 6C\n"
            "44 17 16 12 00 01 84\n"
            "41 30 51 00 C2\n");
}

TEST_F(Edit, ChannelsOfTheMask) {
  EXPECT_EQ(Channels(0x0), "41 30 40 00 B1\n");
  EXPECT_EQ(Channels(0x1), "41 30 50 00 C1\n");
  EXPECT_EQ(Channels(0x2), "41 30 41 00 B2\n");
  EXPECT_EQ(Channels(0x4), "41 30 42 00 B3\n");
  EXPECT_EQ(Channels(0x7), "41 30 53 00 C4\n");
  EXPECT_EQ(Channels(0x8), "42 30 40 04 B6\n");
  EXPECT_EQ(Channels(0x9), "42 30 50 04 C6\n");
  EXPECT_EQ(Channels(0x100), "42 30 40 80 32\n");
  EXPECT_EQ(Channels(0x1FF), "42 30 53 FC C1\n");
}

TEST_F(Edit, ChannelsWithoutAPlaceOnTheLineAreLeftOut) {
  EXPECT_EQ(Channels(0x1E01), "41 30 50 00 C1\n");
  EXPECT_EQ(Channels(0xFFFFFFFF), "42 30 53 FC C1\n");
}

TEST_F(Edit, PrerollIsTwoDecimalDigits) {
  ASSERT_TRUE(control.SetPreroll(15));
  EXPECT_TRUE(Arm(1));
  EXPECT_NE(deck.TakeCommands().find("44 31 00 15 00 00 8A\n"), std::string::npos);
}

TEST_F(Edit, ArmingIsFalseWhenTheChannelsAreNotAcknowledged) {
  deck.answer = [this](const DeckBytes& command) {
    return test::Begins(command, 0x41, 0x30) ? DeckAnswer{{0x11, 0x12, 0x01, 0x24}}
                                             : steady(command);
  };
  EXPECT_FALSE(Arm(1));
  deck.answer = nullptr;
  EXPECT_FALSE(Arm(1));
  deck.answer = steady;
  EXPECT_TRUE(Arm(1));
}

TEST_F(Edit, OneBadPointSendsNothing) {
  const std::string good = "01:00:10:00", bad = "01:00:10";
  EXPECT_FALSE(control.SetEditPoints(bad, good, good, good, 1));
  EXPECT_FALSE(control.SetEditPoints(good, bad, good, good, 1));
  EXPECT_FALSE(control.SetEditPoints(good, good, bad, good, 1));
  EXPECT_FALSE(control.SetEditPoints(good, good, good, bad, 1));
  EXPECT_FALSE(control.SetPunchIn(bad));
  EXPECT_EQ(control.GetLastError(), "Timecode Invalid");
  EXPECT_TRUE(deck.commands.empty());
}

TEST_F(Edit, PunchInHasNoEnd) {
  EXPECT_TRUE(control.SetPunchIn("01:00:10:00"));
  EXPECT_EQ(deck.TakeCommands(),
            "40 41 81\n"
            "44 31 00 05 00 00 7A\n"
            "44 14 00 10 00 01 69\n"
            "41 30 20 91\n");
}

TEST_F(Edit, ClearingStopsAndForgetsEverything) {
  ASSERT_TRUE(control.Record());
  deck.TakeCommands();
  EXPECT_TRUE(control.ClearEdit());
  EXPECT_EQ(deck.TakeCommands(),
            "20 00 20\n"
            "40 40 80\n"
            "41 30 00 00 71\n"
            "40 20 60\n"
            "40 21 61\n"
            "40 22 62\n"
            "40 23 63\n");
  EXPECT_EQ(control.CommandedSpeed(), 0);
}

TEST_F(Edit, ClearingIsTrueHoweverTheDeckAnswers) {
  deck.answer = nullptr;
  EXPECT_TRUE(control.ClearEdit());
  EXPECT_EQ(deck.commands.size(), 7u);
}

}  // namespace
}  // namespace morvane
