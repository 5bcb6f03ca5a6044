// The serial line and the commands of the tape machine, as a controller meets them.
#include <gtest/gtest.h>

#include "simulator/deck_client.h"

namespace morvane {
namespace {

using test::BytesOf;
using test::DeckClient;
using test::HexOf;

constexpr int64_t kMs = 1000000;

// A machine with a deck, and a controller on its line.
class Bench {
 public:
  explicit Bench(const MachineDescription& machine = test::ElmWithBars())
      : driver_(machine), client_(&driver_, &clock_) {}
  DeckClient* operator->() { return &client_; }
  ManualClock& Clock() { return clock_; }

 private:
  ManualClock clock_;
  SimulatedDriver driver_;
  DeckClient client_;
};

TEST(DeckLine, AcknowledgesInThePaddedManner) {
  struct Row {
    const char* command;
    const char* reply;
  };
  static constexpr Row kRows[] = {
      {"20 00", "10 01 11"},
      {"20 01", "10 01 11"},
      {"20 02", "10 01 11"},
      {"20 10", "10 01 11"},
      {"20 20", "10 01 11"},
      {"20 40", "10 01 11"},
      {"20 42", "10 01 11"},
      {"21 21 40", "10 01 11 00"},
      {"21 11 5D", "10 01 11"},
      {"21 21 5D", "10 01 11"},
      {"21 13 00", "10 01 11 00"},
      {"21 23 4A", "10 01 11 00"},
      {"44 04 00 10 20 01", "10 01 11 00 00 00 00"},
      {"24 31 00 10 20 01", "10 01 11 00 00 00 00"},
      {"40 40", "10 01 11"},
      {"40 41", "10 01 11"},
      {"41 30 51 00", "10 01 11"},
      {"42 30 50 04", "10 01 11"},
      {"41 30 20", "10 01 11"},
      {"40 20", "10 01 11"},
      {"40 23", "10 01 11"},
  };
  Bench bench;
  for (const Row& row : kRows) EXPECT_EQ(bench->Ask(row.command), row.reply) << row.command;
}

TEST(DeckLine, RepliesComeInTheTimeOfTheLine) {
  // Four bytes there, 1 ms, seven bytes back: 4.15 ms; the controller's last 5 ms make it 9.15.
  Bench bench;
  bench->Write(BytesOf("61 0C 01 6E"));
  bench->PassNs(4 * 286458 + kMs + 286458 - 1);
  EXPECT_TRUE(bench->Read().empty());
  bench->PassNs(1);
  EXPECT_EQ(HexOf(bench->Read()), "74");
  bench->PassNs(6 * 286458);
  EXPECT_EQ(HexOf(bench->Read()), "04 00 50 59 00 21");
  bench->PassNs(100 * kMs);
  EXPECT_TRUE(bench->Read().empty());
}

TEST(DeckLine, TheReceiveInterruptComesWithEachByte) {
  Bench bench;
  SubscriptionRecord count = {};
  count.header = bench->Card().Header(PropertySubscription, kPropertyGet);
  count.interruptType = InterruptUartReceive;
  count.code = kInterruptCountCode;
  const auto bytes = [&] {
    EXPECT_TRUE(bench->Card().Request(&count, sizeof count));
    return count.count;
  };
  EXPECT_EQ(bytes(), 0u);
  bench->Write(BytesOf("20 00 20"));
  bench->PassNs(3 * 286458 + kMs);
  EXPECT_EQ(bytes(), 0u);
  for (uint32_t n = 1; n <= 3; ++n) {
    bench->PassNs(286458);
    EXPECT_EQ(bytes(), n);
    EXPECT_EQ(bench->Card().Get(72), 0x1D9u);
  }
  bench->PassNs(10 * kMs);
  EXPECT_EQ(bytes(), 3u);
  EXPECT_EQ(HexOf(bench->Read()), "10 01 11");
  EXPECT_EQ(bench->Card().Get(72), 0x1C9u);
}

TEST(DeckLine, WhatIsNoCommandIsRefusedAfterSilence) {
  Bench bench;
  for (const char* bytes : {"20 01 22", "61", "20 01", "44 04 00 00 00 00 00 00"}) {
    bench->Write(BytesOf(bytes));
    bench->PassNs(9 * kMs);
    EXPECT_TRUE(bench->Read().empty()) << bytes;
    bench->PassNs(6 * kMs);
    EXPECT_EQ(HexOf(bench->Read()), "11 12 04 27") << bytes;
    EXPECT_EQ(bench->Ask("20 00"), "10 01 11") << bytes;
  }
  EXPECT_EQ(bench->Ask("20 77"), "11 12 01 24");  // a good sum, but nothing that it knows
}

TEST(DeckLine, ACommandBehindRubbishIsUnderstood) {
  Bench bench;
  for (const char* bytes : {"61 0C", "44 04 42", "FF FF FF FF FF FF FF FF FF FF FF FF FF"}) {
    bench->Write(BytesOf(bytes));
    bench->PassNs(13 * 286458 + 3 * kMs);  // less than the silence that would end it
    EXPECT_EQ(bench->Ask("20 00"), "10 01 11") << bytes;
  }
}

TEST(DeckLine, APauseWithinACommandDoesNoHarm) {
  Bench bench;
  bench->Write(BytesOf("61 0C"));
  bench->PassNs(5 * kMs);
  bench->Write(BytesOf("01 6E"));
  bench->PassNs(5 * kMs);
  EXPECT_EQ(HexOf(bench->Read()), "74 04 00 50 59 00 21");
}

TEST(DeckLine, ANewCommandDropsAReplyThatNobodyRead) {
  Bench bench;
  bench->Write(BytesOf("20 42 62"));
  bench->PassNs(3 * 286458);  // the last byte has just left; the reply is to come
  EXPECT_EQ(bench->Ask("61 20 01").substr(0, 5), "71 20");
  bench->Write(BytesOf("20 00 20"));
  bench->PassNs(10 * kMs);  // the reply lies in the FIFO
  EXPECT_EQ(bench->Ask("60 2E"), "71 2E 00 9F");
}

TEST(DeckLine, OfTwoCommandsInOneBreathTheLastIsAnswered) {
  Bench bench;
  bench->Write(BytesOf("61 0C 01 6E 60 2E 8E"));
  bench->PassNs(20 * kMs);
  EXPECT_EQ(HexOf(bench->Read()), "71 2E 00 9F");
}

TEST(DeckLine, NothingAnswersWhereNoMachineIsConnected) {
  MachineDescription machine = test::ElmWithBars();
  machine.cards[0].rs422 = false;
  Bench bench(machine);
  EXPECT_EQ(bench->Card().Get(72, 0x100), 0x100u);
  EXPECT_EQ(bench->Ask("61 20 0A"), "");
}

TEST(DeckLine, StatusTellsWhatTheMachineDoes) {
  Bench bench;
  EXPECT_EQ(bench->Ask("61 20 0A"), "7A 20 00 20 00 00 00 00 00 00 00 00 BA");
  bench->Ask("20 01");
  EXPECT_EQ(bench->Status(), "00 01 00 00 00 00 00 00 00 00");
  bench->Pass(15);
  EXPECT_EQ(bench->Ask("61 20 0A"), "7A 20 00 01 80 00 00 00 00 00 00 00 1B");
  bench->Ask("20 10");
  EXPECT_EQ(bench->Status(), "00 04 00 00 00 00 00 00 00 00");
  bench->Pass(40);
  bench->Ask("20 20");
  EXPECT_EQ(bench->Status(), "00 08 04 00 00 00 00 00 00 00");
  bench->Ask("21 13 00");
  EXPECT_EQ(bench->Status(), "00 00 22 00 00 00 00 00 00 00");
  bench->Ask("21 21 40");
  EXPECT_EQ(bench->Status(), "00 00 14 00 00 00 00 00 00 00");
  bench->Ask("21 12 36");
  EXPECT_EQ(bench->Status(), "00 00 08 00 00 00 00 00 00 00");
  bench->Ask("20 05");
  EXPECT_EQ(bench->Status(), "00 80 00 00 00 00 00 00 00 00");
  bench->Ask("24 31 00 00 00 01");
  EXPECT_EQ(bench->Status(), "00 00 04 00 01 00 00 00 00 00");
  bench->Pass(60);
  EXPECT_EQ(bench->Status(), "00 00 01 00 00 00 00 00 00 00");
  bench->Ask("20 0F");
  EXPECT_EQ(bench->Status(), "20 10 00 00 00 00 00 00 00 00");
  EXPECT_EQ(bench->Ask("61 20 11"), "71 20 10 A1");  // one byte from the second on
}

}  // namespace
}  // namespace morvane
