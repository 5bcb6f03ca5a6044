// How the tape moves under the commands of its controller.
#include <gtest/gtest.h>

#include "simulator/deck_client.h"
#include "support/test_environment.h"

namespace morvane {
namespace {

using test::DeckClient;
using test::HexOf;

constexpr int64_t kPictureNs = 33366667;
constexpr int64_t kMs = 1000000;

MachineDescription MachineWith(const DeckFaultDescription& faults) {
  MachineDescription machine = test::ElmWithBars();
  machine.cards[0].deck.faults = faults;
  return machine;
}

class Bench {
 public:
  explicit Bench(const MachineDescription& machine = test::ElmWithBars())
      : driver_(machine), client_(&driver_, &clock_) {}
  DeckClient* operator->() { return &client_; }
  SimulatedDriver& Driver() { return driver_; }
  // Lets time pass until the machine stands still. Returns: its timecode.
  std::string Settle() {
    std::string before = "-";
    for (int i = 0; i < 200; ++i) {
      client_.Pass(20);
      const std::string now = client_.Timecode();
      if (now == before) return now;
      before = now;
    }
    return "moves";
  }
  void Cue(const std::string& bytes) {
    (void)client_.Send("24 31 " + bytes);
    (void)Settle();
  }

 private:
  ManualClock clock_;
  SimulatedDriver driver_;
  DeckClient client_;
};

TEST(DeckTransport, ANewTapeStandsAtItsBeginning) {
  Bench bench;
  EXPECT_EQ(bench->Timecode(), "00:59:50:00");
  EXPECT_EQ(bench->Status(), "00 20 00 00 00 00 00 00 00 00");
}

TEST(DeckTransport, PlayLocksAfterFifteenPicturesAndThenStepsOne) {
  Bench bench;
  bench->Ask("20 01");
  bench->PassTo(14);
  EXPECT_EQ(bench->Status().substr(6, 2), "00");
  bench->PassTo(15);
  EXPECT_EQ(bench->Status().substr(6, 2), "80");
  EXPECT_EQ(bench->Timecode(), "00:59:50:00");
  for (int picture = 1; picture < 12; ++picture) {
    bench->PassTo(15 + picture);
    char text[32];
    std::snprintf(text, sizeof text, "00:59:50:%02d", picture);
    EXPECT_EQ(bench->Timecode(), text);
  }
}

TEST(DeckTransport, NoPictureIsSkippedInPlay) {
  Bench bench;
  bench.Cue("00 00 00 01");
  EXPECT_EQ(bench->Timecode(), "01:00:00:00");
  bench->Ask("20 01");
  std::string before = "01:00:00:00";
  int64_t count = 0;
  const TapeRate rate;
  for (int round = 0; round < 1200; ++round) {  // 9 ms each
    const std::string now = bench->Timecode();
    const int64_t at = TapeCountOfText(rate, now) - 108000;
    ASSERT_TRUE(at == count || at == count + 1) << before << " " << now;
    count = at;
    before = now;
  }
  EXPECT_GT(count, 300);
}

TEST(DeckTransport, WindsAtFiftyTimes) {
  Bench bench;
  bench->Ask("20 10");
  bench->Pass(30);
  const int64_t before = TapeCountOfText(TapeRate{}, bench->Timecode());
  bench->PassNs(kPictureNs * 10 - 9150000);  // the question itself takes 9.15 ms
  EXPECT_EQ(TapeCountOfText(TapeRate{}, bench->Timecode()), before + 500);
  bench->Ask("20 20");
  EXPECT_EQ(bench.Settle(), "00:59:50:00");  // the beginning of the tape stops it
  EXPECT_EQ(bench->Status(), "00 20 00 00 00 00 00 00 00 00");
}

TEST(DeckTransport, TheEndOfTheTapeStopsIt) {
  Bench bench;
  bench->Ask("20 10");
  EXPECT_EQ(bench.Settle(), "01:59:46:11");  // an hour of 29.97 a second is 107892 pictures
  bench->Ask("20 01");
  bench->Pass(30);
  EXPECT_EQ(bench->Status(), "00 20 00 00 00 00 00 00 00 00");
}

TEST(DeckTransport, CueUpWindsAndParksExactly) {
  Bench bench;
  for (const auto& [bytes, text] :
       {std::pair{"12 34 05 01", "01:05:34:12"}, std::pair{"00 00 00 01", "01:00:00:00"},
        std::pair{"01 00 00 01", "01:00:00:01"},
        std::pair{"49 58 59 00", "00:59:58:09"}}) {  // 0x40 is a flag
    bench->Send(std::string("24 31 ") + bytes);
    EXPECT_EQ(bench->Status().substr(12, 2), "01") << text;  // on its way
    EXPECT_EQ(bench.Settle(), text);
    EXPECT_EQ(bench->Status(), "00 00 01 00 00 00 00 00 00 00") << text;
  }
  bench->Send("24 31 00 00 00 05");  // behind the end
  EXPECT_EQ(bench.Settle(), "01:59:46:11");
  bench->Send("24 31 00 00 59 00");  // before the beginning
  EXPECT_EQ(bench.Settle(), "00:59:50:00");
}

TEST(DeckTransport, ShuttleRunsAtItsSpeed) {
  struct Row {
    const char* command;
    int pictures;  // in 100 picture times
  };
  // 10^(n / 32 - 2): 0x2D 0.2549, 0x36 0.4870, 0x40 1, 0x4A 2.0535, 0x53 3.9241, 0x5D 8.0584,
  // 0x67 16.5482.
  static constexpr Row kRows[] = {
      {"21 13 2D", 25},   {"21 13 36", 48},  {"21 13 40", 100},  {"21 13 4A", 205},
      {"21 13 53", 392},  {"21 13 5D", 805}, {"21 13 67", 1654}, {"21 23 40", -100},
      {"21 23 4A", -205}, {"21 11 5D", 805}, {"21 21 5D", -805}, {"21 21 40", -100},
      {"21 12 40", 100},  {"21 13 00", 0},   {"21 23 00", 0},
  };
  for (const Row& row : kRows) {
    Bench bench;
    bench->Send("24 31 00 00 10 01");
    bench.Settle();
    const int64_t from = TapeCountOfText(TapeRate{}, bench->Timecode());
    bench->Ask(row.command);
    bench->PassNs(kPictureNs * 100 - 9 * kMs);
    bench->Ask("21 13 00");
    EXPECT_NEAR(static_cast<double>(TapeCountOfText(TapeRate{}, bench->Timecode()) - from),
                row.pictures, 17)
        << row.command;
  }
}

TEST(DeckTransport, TheSpeedQuestionTellsTheSpeed) {
  Bench bench;
  EXPECT_EQ(bench->Ask("60 2E"), "71 2E 00 9F");
  bench->Ask("20 01");
  EXPECT_EQ(bench->Ask("60 2E"), "71 2E 40 DF");
  bench->Ask("21 13 4A");
  EXPECT_EQ(bench->Ask("60 2E"), "71 2E 4A E9");
  bench->Ask("21 23 5D");
  EXPECT_EQ(bench->Ask("60 2E"), "71 2E 5D FC");
}

TEST(DeckTransport, TheQuestionsForTimecode) {
  Bench bench;
  bench.Cue("09 58 34 01");
  EXPECT_EQ(bench->Ask("61 0C 01"), "74 04 09 58 34 01 0E");
  EXPECT_EQ(bench->Ask("61 0C 02"), "74 06 09 58 34 01 10");
  EXPECT_EQ(bench->Ask("61 0C 03"), "74 06 09 58 34 01 10");  // it stands: VITC
  bench->Ask("20 01");
  bench->Pass(15);
  EXPECT_EQ(bench->Ask("61 0C 03").substr(0, 5), "74 04");
}

TEST(DeckTransport, DropFrameIsMarked) {
  MachineDescription machine = test::ElmWithBars();
  machine.cards[0].deck.timecode = "01;00;00;00";
  Bench bench(machine);
  EXPECT_EQ(bench->Ask("61 0C 01"), "74 04 40 00 00 01 B9");
  bench->Send("24 31 02 00 01 01");
  bench.Settle();
  EXPECT_EQ(bench->Ask("61 0C 01"), "74 04 42 00 01 01 BC");
  bench->Send("24 31 29 59 00 01");  // the picture before it
  bench.Settle();
  EXPECT_EQ(bench->Timecode(), "01:00:59:29");
  const int64_t now = bench->Boundary() + 1;
  bench->PassTo(now);
  bench->Ask("20 01");
  bench->PassTo(now + 15);
  EXPECT_EQ(bench->Timecode(), "01:00:59:29");
  bench->PassTo(now + 16);
  EXPECT_EQ(bench->Timecode(), "01:01:00:02");
}

TEST(DeckTransport, PairsOfPicturesShareANumber) {
  MachineDescription machine = test::ElmWithBars(4);  // 720p 59.94
  machine.cards[0].deck.videoFormat = 4;
  Bench bench(machine);
  bench->Send("24 31 10 00 00 01");
  EXPECT_EQ(bench.Settle(), "01:00:00:10");
  bench->Ask("20 01");
  bench->PassNs(kPictureNs / 2 * 15 + kMs);
  EXPECT_EQ(bench->Timecode(), "01:00:00:10");
  bench->PassNs(kPictureNs * 10 - 9150000);
  EXPECT_EQ(bench->Timecode(), "01:00:00:20");
}

TEST(DeckTransport, PlayAgainDoesNotLoseLock) {
  Bench bench;
  bench->Ask("20 01");
  bench->Pass(20);
  bench->Ask("20 01");
  EXPECT_EQ(bench->Status().substr(6, 2), "80");
}

TEST(DeckTransport, AutoEditRunsFromPrerollToTheOutPoint) {
  Bench bench;
  bench->Ask("40 41");
  bench->Ask("44 31 00 02 00 00");  // two seconds
  bench->Ask("44 14 00 10 00 01");
  bench->Ask("44 15 00 11 00 01");
  bench->Ask("20 40");  // a preview records nothing
  EXPECT_EQ(bench->Status().substr(12, 2), "01");
  bench->Pass(12);  // 540 pictures at 50 a picture time
  EXPECT_EQ(bench->Timecode(), "01:00:08:00");
  EXPECT_EQ(bench->Status().substr(0, 5), "00 01");
  bench->Pass(15 + 60);
  EXPECT_EQ(bench->Status(), "00 01 80 00 00 00 00 00 00 00");  // no record bit in a preview
  EXPECT_EQ(bench.Settle(), "01:00:11:00");
  EXPECT_EQ(bench->Status(), "00 20 00 00 00 00 00 00 00 00");
}

TEST(DeckTransport, AnEditWhoseInPointIsNotOnTheTapeIsRefused) {
  Bench bench;
  bench->Ask("41 30 51 00");
  for (const char* in : {"44 14 00 00 00 00", "44 14 00 00 00 23"}) {
    bench->Ask(in);
    EXPECT_EQ(bench->Ask("20 40"), "11 12 01 24") << in;
    EXPECT_EQ(bench->Ask("20 42"), "11 12 01 24") << in;
  }
  EXPECT_EQ(bench->Status(), "00 20 00 00 00 00 00 00 00 00");
  EXPECT_EQ(bench.Settle(), "00:59:50:00");
}

TEST(DeckTransport, TheOutPointIsTakenFromThreePlaces) {
  struct Row {
    const char* first;
    const char* second;
    const char* out;
  };
  static constexpr Row kRows[] = {
      {"44 15 00 03 00 01", "44 17 00 04 00 01", "01:00:03:00"},
      {"44 17 00 04 00 01", "44 16 00 02 00 01", "01:00:04:00"},
      {"44 16 00 02 00 01", "40 41", "01:00:02:00"},
  };
  for (const Row& row : kRows) {
    Bench bench;
    bench->Ask("44 31 00 01 00 00");
    bench->Ask("44 14 00 01 00 01");
    bench->Ask(row.first);
    bench->Ask(row.second);
    bench->Ask("20 40");
    bench->Pass(200);
    EXPECT_EQ(bench->Timecode(), row.out) << row.first;
  }
}

// ---- faults ----

TEST(DeckFaults, ALocalMachineAnswersQuestionsOnly) {
  DeckFaultDescription faults;
  faults.local = true;
  Bench bench(MachineWith(faults));
  EXPECT_EQ(bench->Ask("61 20 0A"), "7A 20 01 20 00 00 00 00 00 00 00 00 BB");
  EXPECT_EQ(bench->Ask("20 01"), "11 12 01 24");
  EXPECT_EQ(bench.Settle(), "00:59:50:00");
}

TEST(DeckFaults, WithoutATapeNothingMoves) {
  DeckFaultDescription faults;
  faults.tapeOut = true;
  Bench bench(MachineWith(faults));
  EXPECT_EQ(bench->Ask("61 20 0A"), "7A 20 20 20 00 00 00 00 00 00 00 00 DA");
  EXPECT_EQ(bench->Ask("20 01"), "11 12 01 24");
  EXPECT_EQ(bench->Ask("24 31 00 00 00 01"), "11 12 01 24");
  EXPECT_EQ(bench->Ask("21 13 40"), "11 12 01 24");
  bench.Driver().SetDeckFaults(0, {});
  EXPECT_EQ(bench->Ask("20 01"), "10 01 11");
}

TEST(DeckFaults, AProtectedTapeIsNotRecordedOn) {
  DeckFaultDescription faults;
  faults.recordInhibit = true;
  Bench bench(MachineWith(faults));
  EXPECT_EQ(bench->Status(), "00 20 00 00 00 00 00 00 01 00");
  EXPECT_EQ(bench->Ask("20 02"), "11 12 01 24");
  EXPECT_EQ(bench->Ask("20 42"), "11 12 01 24");
  EXPECT_EQ(bench->Ask("20 40"), "10 01 11");
}

TEST(DeckFaults, AMachineOffLineSaysNothing) {
  Bench bench;
  DeckFaultDescription faults;
  faults.offLine = true;
  EXPECT_EQ(bench->Ask("20 00"), "10 01 11");
  bench.Driver().SetDeckFaults(0, faults);
  EXPECT_EQ(bench->Ask("20 00"), "");
  EXPECT_EQ(bench->Ask("61 20 0A"), "");
  bench.Driver().SetDeckFaults(0, {});
  EXPECT_EQ(bench->Ask("20 00"), "10 01 11");
}

TEST(DeckFaults, ASlowReplyComesAfterTheWait) {
  Bench bench;
  DeckFaultDescription faults;
  faults.slowReplyMs = 8;
  bench.Driver().SetDeckFaults(0, faults);
  EXPECT_EQ(bench->Ask("20 00"), "");
  bench->PassNs(8 * kMs);
  EXPECT_EQ(HexOf(bench->Read()), "10 01 11");
  bench->Ask("20 00");
  bench.Driver().SetDeckFaults(0, {});
  EXPECT_EQ(bench->Ask("60 2E"), "71 2E 00 9F");  // the late one is not taken for it
}

TEST(DeckFaults, RepliesThatAreCutWrongOrAnothersCommands) {
  Bench bench;
  DeckFaultDescription faults;
  faults.cutReply = 2;
  bench.Driver().SetDeckFaults(0, faults);
  EXPECT_EQ(bench->Ask("61 20 0A"), "7A 20 00 20 00 00 00 00 00 00 00");
  faults.cutReply = 0;
  faults.wrongSum = true;
  bench.Driver().SetDeckFaults(0, faults);
  EXPECT_EQ(bench->Ask("60 2E"), "71 2E 00 A0");
  faults.wrongSum = false;
  faults.wrongReply = true;
  bench.Driver().SetDeckFaults(0, faults);
  EXPECT_EQ(bench->Ask("60 2E"), "12 11 F0 01 14");
  bench.Driver().SetDeckFaults(0, {});
  EXPECT_EQ(bench->Ask("20 00"), "10 01 11");
}

TEST(DeckFaults, OneTimecodeIsNeverRead) {
  Bench bench;
  DeckFaultDescription faults;
  faults.skipTimecode = "01:00:00:05";
  bench.Driver().SetDeckFaults(0, faults);
  bench.Cue("00 00 00 01");
  bench->Ask("20 01");
  bool five = false;
  bool four = false;
  bool six = false;
  for (int i = 0; i < 100; ++i) {
    const std::string now = bench->Timecode();
    four = four || now == "01:00:00:04";
    five = five || now == "01:00:00:05";
    six = six || now == "01:00:00:06";
  }
  EXPECT_TRUE(four);
  EXPECT_FALSE(five);
  EXPECT_TRUE(six);
}

TEST(DeckFaults, TheTapeJumpsOnce) {
  Bench bench;
  DeckFaultDescription faults;
  faults.jumpAt = "01:00:00:05";
  faults.jumpFrames = 10;
  bench.Driver().SetDeckFaults(0, faults);
  bench.Cue("00 00 00 01");
  const int64_t now = bench->Boundary() + 1;
  bench->PassTo(now);
  bench->Ask("20 01");
  bench->PassTo(now + 15 + 4);
  EXPECT_EQ(bench->Timecode(), "01:00:00:04");
  bench->PassTo(now + 15 + 5);
  EXPECT_EQ(bench->Timecode(), "01:00:00:15");
  bench->PassTo(now + 15 + 6);
  EXPECT_EQ(bench->Timecode(), "01:00:00:16");
}

TEST(DeckTransport, ThePlainMannerAlwaysHasThreeBytes) {
  MachineDescription machine = test::ElmWithBars();
  machine.cards[0].deck.plain = true;
  Bench bench(machine);
  for (const char* command :
       {"20 01", "21 21 40", "21 13 00", "44 04 00 10 20 01", "24 31 00 10 20 01", "42 30 50 04"}) {
    EXPECT_EQ(bench->Ask(command), "10 01 11") << command;
  }
}

}  // namespace
}  // namespace morvane
