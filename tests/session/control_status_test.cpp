#include <gtest/gtest.h>

#include "session/control_rig.h"

namespace morvane {
namespace {

using test::Begins;
using test::ControlTest;
using test::DeckAnswer;
using test::DeckBytes;

using Status = ControlTest;

TEST_F(Status, TimecodeIsAskedFromItsSource) {
  for (const auto& [source, bytes] : {std::pair<uint32_t, const char*>{0, "61 0C 01 6E\n"},
                                      {1, "61 0C 02 6F\n"},
                                      {2, "61 0C 03 70\n"}}) {
    ASSERT_TRUE(control.SetTcSource(source));
    Timecode();
    EXPECT_EQ(deck.TakeCommands(), bytes);
  }
}

TEST_F(Status, TimecodeIsDecodedWithoutItsFlags) {
  steady.time = {0x49, 0x58, 0x34, 0x12};
  Answer(steady);
  EXPECT_EQ(Timecode(), "12:34:58:09");
  EXPECT_EQ(DeckBytes(control.Reply().begin(), control.Reply().end()),
            (DeckBytes{0x74, 0x04, 0x49, 0x58, 0x34, 0x12, 0x5F}));
  ASSERT_TRUE(control.SetTimeBase(4));
  EXPECT_EQ(Timecode(), "12;34;58;09");
}

TEST_F(Status, NoTimecodeIsZerosInTheFormOfTheTape) {
  deck.answer = nullptr;
  std::string text;
  EXPECT_FALSE(control.GetTimecode(&text));
  EXPECT_EQ(text, "00:00:00:00");
  ASSERT_TRUE(control.SetTimeBase(4));
  EXPECT_FALSE(control.GetTimecode(&text));
  EXPECT_EQ(text, "00;00;00;00");
}

TEST_F(Status, TimecodeOfAShortReplyHasZerosInItsPlaces) {
  deck.answer = [](const DeckBytes&) { return DeckAnswer{{0x74, 0x04, 0x09, 0x58}}; };
  EXPECT_EQ(Timecode(), "00:00:58:09");
}

TEST_F(Status, TimecodeOfAnEarlierReplyDoesNotShowThrough) {
  steady.time = {0x49, 0x58, 0x34, 0x12};
  Answer(steady);
  ASSERT_EQ(Timecode(), "12:34:58:09");
  deck.answer = [](const DeckBytes&) { return DeckAnswer{{0x74}}; };
  EXPECT_EQ(Timecode(), "00:00:00:00");
}

TEST_F(Status, WordsOfTheDeck) {
  const std::pair<DeckBytes, const char*> cases[] = {
      {{0x00, 0x20, 0, 0, 0, 0, 0, 0, 0, 0}, "Stop"},
      {{0x01, 0x20, 0, 0, 0, 0, 0, 0, 0, 0}, "Local"},
      {{0x20, 0x20, 0, 0, 0, 0, 0, 0, 0, 0}, "Tape Out"},
      {{0x00, 0x01, 0x80, 0, 0, 0, 0, 0, 0, 0}, "Play"},
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, ""},
  };
  for (const auto& [status, text] : cases) {
    steady.status = status;
    Answer(steady);
    std::string got;
    EXPECT_TRUE(control.GetStatusText(&got));
    EXPECT_EQ(got, text);
    EXPECT_EQ(deck.TakeCommands(), "61 20 0A 8B\n") << text;
  }
}

TEST_F(Status, ReplyOfAnyOtherLengthIsOffline) {
  for (size_t length = 0; length <= 31; ++length) {
    if (length == 13) continue;
    deck.answer = [&](const DeckBytes&) { return DeckAnswer{DeckBytes(length, 0x01)}; };
    std::string text;
    EXPECT_FALSE(control.GetStatusText(&text)) << length;
    EXPECT_EQ(text, "Offline") << length;
    RQD5VtrStatus status;
    EXPECT_FALSE(control.GetStatus(&status)) << length;
    EXPECT_TRUE(status.Is(VtrNoReply)) << length;
    for (uint32_t entry = 1; entry < kVtrStatusEntries; ++entry) {
      EXPECT_FALSE(status.entries[entry]) << length << " " << entry;
    }
  }
}

TEST_F(Status, RecordHoldsTheDecksBits) {
  steady.status = {0x20, 0x00, 0x04, 0, 0, 0, 0, 0, 0x01, 0};
  Answer(steady);
  RQD5VtrStatus status;
  EXPECT_TRUE(control.GetStatus(&status));
  EXPECT_TRUE(status.Is(VtrTapeOut));
  EXPECT_TRUE(status.Is(VtrReverse));
  EXPECT_TRUE(status.Is(VtrRecordInhibited));
  EXPECT_FALSE(status.Is(VtrNoReply));
  EXPECT_FALSE(status.Is(VtrLocal));
}

struct MovingCase {
  double commanded;
  uint8_t mode;
  const char* text;
};

TEST_F(Status, MovingBySpeedTheCommandedSpeedIsTheWord) {
  const MovingCase cases[] = {
      {0, 0x22, "Still"},        {0.5, 0x20, "Play 1/2x"}, {0.25, 0x24, "Reverse Play 1/4x"},
      {-16, 0x24, "Rewind 16x"}, {5, 0x20, "Shuttle"},     {1, 0x10, "Play"},
  };
  for (const MovingCase& row : cases) {
    ASSERT_TRUE(control.Shuttle(row.commanded));
    steady.status[2] = row.mode;
    Answer(steady);
    deck.TakeCommands();
    EXPECT_EQ(StatusText(), row.text);
    EXPECT_EQ(deck.TakeCommands(), "61 20 0A 8B\n60 2E 8E\n");
  }
}

TEST_F(Status, SpeedReplyOfFourOrFiveBytesIsEnoughForTheWord) {
  ASSERT_TRUE(control.Shuttle(2));
  for (const uint8_t eject : {0x00, 0x10}) {
    for (size_t length = 0; length <= 8; ++length) {
      steady.status[1] = eject;
      steady.status[2] = 0x20;
      deck.answer = [&](const DeckBytes& command) {
        return Begins(command, 0x60, 0x2E) ? DeckAnswer{DeckBytes(length, 0x71)} : steady(command);
      };
      const bool known = length == 4 || length == 5;
      EXPECT_EQ(StatusText(), known ? "Play 2x" : eject != 0 ? "Jog" : "Shuttle") << length;
    }
  }
}

TEST_F(Status, SpeedHasTheDecksDirectionAndTheCommandedMagnitude) {
  ASSERT_TRUE(control.Shuttle(-4));
  steady.status[2] = 0x20;
  Answer(steady);
  deck.TakeCommands();
  EXPECT_EQ(control.GetSpeed(), 4);
  EXPECT_EQ(deck.TakeCommands(), "60 2E 8E\n61 20 0A 8B\n");
  steady.status[2] = 0x24;
  Answer(steady);
  EXPECT_EQ(control.GetSpeed(), -4);
}

TEST_F(Status, SpeedOfAStoppedOrSilentDeckIsZero) {
  ASSERT_TRUE(control.Shuttle(4));
  steady.status[1] = 0x20;
  Answer(steady);
  EXPECT_EQ(control.GetSpeed(), 0);
  deck.answer = [this](const DeckBytes& command) {
    return Begins(command, 0x61, 0x20) ? DeckAnswer{} : steady(command);
  };
  EXPECT_EQ(control.GetSpeed(), 0);
  steady.status[1] = 0;
  deck.answer = [this](const DeckBytes& command) {
    return Begins(command, 0x60, 0x2E) ? DeckAnswer{DeckBytes(5, 0x71)} : steady(command);
  };
  EXPECT_EQ(control.GetSpeed(), 0);
  EXPECT_EQ(control.CommandedSpeed(), 4);
}

TEST_F(Status, ARoundOfTimecodeStatusAndSpeedIsUnderAFrame) {
  ASSERT_TRUE(control.Shuttle(2));
  steady.status[2] = 0x20;
  Answer(steady);
  EXPECT_LT(Milliseconds([&] {
              Timecode();
              EXPECT_EQ(StatusText(), "Play 2x");
            }),
            33.3);
}

}  // namespace
}  // namespace morvane
