// Tape control seen from the other side: in the pictures and timecodes that the deck brings to the
// card's input. A new tape has bars whose frame number is the picture's place on the tape.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "processing/timecode.h"
#include "session/tape_rig.h"
#include "simulator/input_source.h"
#include "simulator/port_client.h"

namespace morvane {
namespace {

using test::PortClient;
using test::TapeRig;

constexpr uint32_t kIn = 1 | kACInput;
constexpr uint32_t kWaitMs = 200;  // for a boundary

struct TapeCase {
  const char* name;
  uint32_t videoFormat;
  uint32_t timeBase;
  const char* first;  // of the tape
  const char* cue;
  const char* next;      // one step on from `cue`
  const char* previous;  // one step back from `cue`
  int64_t picture;       // of `cue`, counted from `first` by hand
  int perNumber;         // pictures that share a number
};

// Ten seconds into the tape; the drop-frame ones at a place where two numbers are left out.
const TapeCase kTapes[] = {
    {"Rate24", 35, 0, "01:00:00:00", "01:00:09:23", "01:00:10:00", "01:00:09:22", 239, 1},
    {"Rate25", 33, 1, "09:59:50:00", "10:00:00:00", "10:00:00:01", "09:59:59:24", 250, 1},
    {"Rate2997NonDrop", 32, 3, "00:59:50:00", "01:00:00:29", "01:00:01:00", "01:00:00:28", 329, 1},
    {"Rate2997Drop", 32, 4, "01;00;50;00", "01;01;00;02", "01;01;00;03", "01;00;59;29", 300, 1},
    {"Rate50", 17, 2, "09:59:50:00", "10:00:00:00", "10:00:00:01", "09:59:59:24", 500, 2},
    {"Rate5994NonDrop", 4, 5, "00:59:50:00", "01:00:00:29", "01:00:01:00", "01:00:00:28", 658, 2},
    {"Rate5994Drop", 4, 6, "01;00;50;00", "01;01;00;02", "01;01;00;03", "01;00;59;29", 600, 2},
};

void PrintTo(const TapeCase& tape, std::ostream* out) {
  *out << tape.name;
}

MachineDescription MachineOf(const TapeCase& tape) {
  MachineDescription machine = test::ElmWithDeck(tape.videoFormat);
  CardDescription& card = machine.cards[0];
  card.inputs[0].source = SignalSource::kTape;
  card.deck.videoFormat = tape.videoFormat;
  card.deck.timecode = tape.first;
  card.deck.seconds = 30;
  return machine;
}

// What one picture time brought to the input.
struct Seen {
  int64_t picture = -1;
  std::string timecode;
  bool operator==(const Seen&) const = default;
};
void PrintTo(const Seen& seen, std::ostream* out) {
  *out << "picture " << seen.picture << " at " << seen.timecode;
}

class OnTape : public testing::TestWithParam<TapeCase> {
 protected:
  OnTape() : rig_(MachineOf(GetParam())), input_(rig_.Port(), BOARDTYPE_OEM2K) {
    EXPECT_TRUE(rig_.opened && input_.IsOpen());
    input_.SetFormat(GetParam().videoFormat);
    input_.SetFrameBufferFormat(1, FrameBuffer8BitUyvy);
    EXPECT_TRUE(rig_.control.SetTimeBase(GetParam().timeBase));
    EXPECT_TRUE(rig_.control.ConfigureSubscription(true, InterruptInput1, nullptr));
  }

  void StartInput() {
    ASSERT_TRUE(input_.Init(kIn, 0, 9));
    ASSERT_TRUE(input_.Control(ACStart, kIn));
    (void)rig_.control.WaitForInterrupt(InterruptInput1, 0);  // a boundary long past
    NextPicture();                                            // begins the first
  }
  void StopInput() { ASSERT_TRUE(input_.Control(ACAbort, kIn)); }
  void NextPicture() { ASSERT_TRUE(rig_.control.WaitForInterrupt(InterruptInput1, kWaitMs)); }
  // The picture that has just ended.
  Seen Take() {
    PortClient::Frame frame;
    frame.channelSpec = kIn;
    frame.video.resize(width_ * 2);
    Seen seen;
    if (!input_.Transfer(&frame) || frame.status.transferFrame < 0) return seen;
    seen.picture = ReadBarsFrameNumber(FourCC("2vuy"), frame.video.data(), width_);
    const RQD5Rp188& words = frame.status.stamp.rp188;
    char text[kTimecodeTextBytes] = "";
    EXPECT_TRUE(UnpackRp188({words.flags, words.low, words.high}, text));
    seen.timecode = text;
    return seen;
  }
  // What is on the input now.
  Seen Look() {
    StartInput();
    NextPicture();
    const Seen seen = Take();
    StopInput();
    return seen;
  }
  void CueTo(const std::string& time) {
    EXPECT_TRUE(rig_.control.CueUp(time));
    ASSERT_TRUE(rig_.Await("Cue Up"));
    EXPECT_EQ(rig_.Timecode(), time);
  }
  // Number of a picture of this tape, by counting on.
  std::string NumberOf(int64_t picture) const {
    std::string time = GetParam().first;
    const RQD5TimeBase& base = VtrTimeBases()[GetParam().timeBase];
    for (int64_t i = 0; i < picture / GetParam().perNumber; ++i) time = NextVtrTime(time, base);
    return time;
  }

  TapeRig rig_;
  PortClient input_;
  const uint32_t width_ = GetParam().perNumber == 2 ? 1280 : 720;
};

TEST_P(OnTape, CueShowsTheFrameThatWasAskedFor) {
  CueTo(GetParam().cue);
  EXPECT_EQ(Look(), (Seen{GetParam().picture, GetParam().cue}));
  CueTo(GetParam().first);
  EXPECT_EQ(Look(), (Seen{0, GetParam().first}));
  CueTo(GetParam().previous);
  EXPECT_EQ(Look(), (Seen{GetParam().picture - GetParam().perNumber, GetParam().previous}));
}

TEST_P(OnTape, PlayShowsEachPictureOnceAndTheTimecodeIsThatOfThePicture) {
  CueTo(GetParam().cue);
  StartInput();
  ASSERT_TRUE(rig_.control.Play());
  NextPicture();
  Take();
  int64_t last = GetParam().picture;
  int moved = 0;
  for (int k = 0; k < 80 && moved < 60; ++k) {
    // Nine of the sixteen milliseconds that the fastest picture stands.
    const std::string told = rig_.Timecode();
    NextPicture();
    const Seen seen = Take();
    ASSERT_EQ(seen.timecode, told) << k;
    ASSERT_EQ(seen.timecode, NumberOf(seen.picture)) << k;
    ASSERT_TRUE(seen.picture == last + 1 || (moved == 0 && seen.picture == last))
        << k << ": " << seen.picture << " behind " << last;
    moved += seen.picture != last ? 1 : 0;
    last = seen.picture;
  }
  EXPECT_EQ(moved, 60);
  EXPECT_EQ(rig_.Status(), "Play");
  StopInput();
}

TEST_P(OnTape, ShuttleMovesAtItsSpeedAndStillHoldsAPicture) {
  const std::pair<double, const char*> speeds[] = {
      {2, "Play 2x"}, {-1, "Reverse Play"}, {8, "Fast Forward 8x"}, {-0.5, "Reverse Play 1/2x"}};
  for (const auto& [speed, text] : speeds) {
    CueTo(GetParam().cue);
    (void)rig_.control.Shuttle(speed);
    EXPECT_EQ(rig_.Status(), text);
    StartInput();
    std::vector<int64_t> pictures;
    for (int k = 0; k < 12; ++k) {
      NextPicture();
      const Seen seen = Take();
      ASSERT_EQ(seen.timecode, NumberOf(seen.picture));
      pictures.push_back(seen.picture);
    }
    StopInput();
    // The speed byte is a step of a thirty-second decade, so ten pictures are within 4 % and one.
    const auto way = static_cast<double>(pictures[11] - pictures[1]);
    EXPECT_NEAR(way, speed * 10, std::abs(speed) * 0.4 + 1) << text;
    (void)rig_.control.ShuttleStill();
    EXPECT_EQ(rig_.Status(), "Still");
    const Seen still = Look();
    EXPECT_EQ(still.timecode, NumberOf(still.picture));
    EXPECT_EQ(rig_.Timecode(), still.timecode);
    EXPECT_EQ(Look(), still);
  }
}

TEST_P(OnTape, StepShowsTheNeighbour) {
  CueTo(GetParam().cue);
  (void)rig_.control.Step();
  ASSERT_TRUE(rig_.Await("Cue Up"));
  EXPECT_EQ(Look(), (Seen{GetParam().picture + GetParam().perNumber, GetParam().next}));
  (void)rig_.control.StepBack();
  ASSERT_TRUE(rig_.Await("Cue Up"));
  EXPECT_EQ(Look(), (Seen{GetParam().picture, GetParam().cue}));
  (void)rig_.control.StepBack();
  ASSERT_TRUE(rig_.Await("Cue Up"));
  EXPECT_EQ(Look(), (Seen{GetParam().picture - GetParam().perNumber, GetParam().previous}));
}

INSTANTIATE_TEST_SUITE_P(Rates, OnTape, testing::ValuesIn(kTapes),
                         [](const auto& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace morvane
