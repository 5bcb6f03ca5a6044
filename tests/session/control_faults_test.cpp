// Decks that misbehave: every call ends in time with the word for it, and the next good command
// works.
#include <gtest/gtest.h>

#include <functional>

#include "session/control_rig.h"

namespace morvane {
namespace {

using test::Ack;
using test::Begins;
using test::ControlTest;
using test::DeckAnswer;
using test::DeckBytes;
using test::Framed;

// What the four questions give while a deck misbehaves.
struct Outcome {
  const char* name;
  std::function<DeckAnswer(const DeckBytes& command, DeckAnswer good)> fault;
  bool play;
  bool cue;
  const char* status;
  const char* timecode;
};

void PrintTo(const Outcome& outcome, std::ostream* out) {
  *out << outcome.name;
}

class Fault : public ControlTest, public testing::WithParamInterface<Outcome> {};

TEST_P(Fault, GivesItsResultInTimeAndTheNextCommandWorks) {
  steady.status[1] = 0x01;
  steady.time = {0x12, 0x34, 0x56, 0x01};
  Answer(steady);
  ASSERT_TRUE(control.Activate());
  const Outcome& outcome = GetParam();
  const auto misbehave = [&](auto&& call) {
    deck.answer = [&](const DeckBytes& command) { return outcome.fault(command, steady(command)); };
    EXPECT_LE(Milliseconds(call), 40);
    deck.Pass(100);  // whatever comes late has come
    deck.answer = steady;
    EXPECT_TRUE(control.Stop());
    EXPECT_EQ(Timecode(), "01:56:34:12");
    EXPECT_EQ(StatusText(), "Play");
  };
  misbehave([&] { EXPECT_EQ(control.Play(), outcome.play); });
  misbehave([&] { EXPECT_EQ(control.CueUp("01:00:00:00"), outcome.cue); });
  misbehave([&] { EXPECT_EQ(StatusText(), outcome.status); });
  misbehave([&] { EXPECT_EQ(Timecode(), outcome.timecode); });
  EXPECT_EQ(control.GetLastError(), "None");
}

DeckAnswer Nothing(const DeckBytes&, DeckAnswer) {
  return {};
}
DeckAnswer Late(const DeckBytes&, DeckAnswer good) {
  good.afterNs = 8'000'000;
  return good;
}
DeckAnswer CutByOne(const DeckBytes&, DeckAnswer good) {
  good.bytes.pop_back();
  return good;
}
DeckAnswer CutToOne(const DeckBytes&, DeckAnswer good) {
  good.bytes.resize(1);
  return good;
}
DeckAnswer StopsInTheMiddle(const DeckBytes&, DeckAnswer good) {
  good.gapNs = 6'000'000;
  return good;
}
DeckAnswer WrongSum(const DeckBytes&, DeckAnswer good) {
  good.bytes.back() ^= 0x55;
  return good;
}
DeckAnswer Refusal(const DeckBytes&, DeckAnswer) {
  return {Framed({0x11, 0x12, 0x04})};
}
DeckAnswer OtherCommand(const DeckBytes& command, DeckAnswer) {
  if (Begins(command, 0x61, 0x20)) return {Framed({0x74, 0x04, 0x01, 0x02, 0x03, 0x04})};
  DeckBytes status = {0x7A, 0x20, 0x00, 0x20, 0, 0, 0, 0, 0, 0, 0, 0};
  return {Framed(status)};
}
DeckAnswer TooLong(const DeckBytes&, DeckAnswer good) {
  good.bytes.push_back(0);
  return good;
}
DeckAnswer Noise(const DeckBytes&, DeckAnswer) {
  return {DeckBytes(100, 0xFF), 0, 100'000};
}

// A wrong checksum at the end is not looked at where the length tells; an acknowledgement's last
// byte is looked at.
INSTANTIATE_TEST_SUITE_P(
    Decks, Fault,
    testing::Values(Outcome{"DoesNotAnswer", Nothing, false, false, "Offline", "00:00:00:00"},
                    Outcome{"AnswersLate", Late, false, false, "Offline", "00:00:00:00"},
                    Outcome{"CutByOne", CutByOne, false, false, "Offline", "01:56:34:12"},
                    Outcome{"CutToOne", CutToOne, false, false, "Offline", "00:00:00:00"},
                    Outcome{"StopsInTheMiddle", StopsInTheMiddle, false, false, "Offline",
                            "00:00:00:00"},
                    Outcome{"WrongSum", WrongSum, false, true, "Play", "01:56:34:12"},
                    Outcome{"Refusal", Refusal, false, false, "Offline", "00:00:27:04"},
                    Outcome{"OtherCommand", OtherCommand, false, false, "Offline", "00:00:20:00"},
                    Outcome{"TooLong", TooLong, false, false, "Offline", "01:56:34:12"},
                    Outcome{"Noise", Noise, false, false, "Offline", "30:70:70:30"}),
    [](const auto& param) { return std::string(param.param.name); });

using Faults = ControlTest;

TEST_F(Faults, LateAnswerInTheMiddleOfTheNextExchangeSpoilsOnlyThat) {
  steady.status[1] = 0x01;
  // The stop's answer comes while the status is being answered.
  deck.answer = [this](const DeckBytes& command) {
    DeckAnswer good = steady(command);
    if (Begins(command, 0x20, 0x00)) good.afterNs = 7'500'000;
    return good;
  };
  EXPECT_FALSE(control.Stop());
  EXPECT_EQ(StatusText(), "Offline");
  EXPECT_EQ(StatusText(), "Play");
  EXPECT_TRUE(control.Play());
}

TEST_F(Faults, DeckThatIsGoneAndComesBackIsThereAtOnce) {
  steady.status[2] = 0x02;
  Answer(steady);
  EXPECT_EQ(StatusText(), "Still");
  deck.answer = nullptr;
  for (int i = 0; i < 5; ++i) {
    EXPECT_LE(Milliseconds([&] { EXPECT_EQ(StatusText(), "Offline"); }), 40);
    EXPECT_LE(Milliseconds([&] { EXPECT_EQ(Timecode(), "00:00:00:00"); }), 40);
    EXPECT_LE(Milliseconds([&] { EXPECT_FALSE(control.Step()); }), 40);
  }
  deck.answer = steady;
  EXPECT_EQ(StatusText(), "Still");
}

TEST_F(Faults, SlowestReplyIsOverWithItsThirtyFirstByte) {
  ASSERT_TRUE(control.Activate());
  deck.answer = [](const DeckBytes&) {
    return DeckAnswer{DeckBytes(60, 0x10), 4'900'000, 4'900'000};
  };
  EXPECT_LE(Milliseconds([&] { EXPECT_FALSE(control.Play()); }), 15 + 31 * 5);
  EXPECT_EQ(control.Reply().size(), 31u);
}

}  // namespace
}  // namespace morvane
