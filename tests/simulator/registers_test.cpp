#include <gtest/gtest.h>

#include <set>

#include "simulator/port_client.h"
#include "simulator/simulated_driver.h"

namespace morvane {
namespace {

using test::ElmWithBars;
using test::FrameStepper;
using test::PortClient;

MachineDescription MachineOf(uint32_t identity) {
  MachineDescription machine;
  machine.cards.resize(1);
  machine.cards[0].identity = identity;
  return machine;
}

InputDescription Bars(const std::string& connector, uint32_t format) {
  InputDescription input;
  input.connector = connector;
  input.source = SignalSource::kBars;
  input.videoFormat = format;
  return input;
}

// A card of any board, also of those that no device class lists.
class Card {
 public:
  explicit Card(const MachineDescription& machine) : driver_(machine) {
    client_ = std::make_unique<PortClient>(&driver_, BOARDTYPE_OEM2K);
  }
  SimulatedDriver& Driver() { return driver_; }
  PortClient* operator->() { return client_.get(); }

 private:
  SimulatedDriver driver_;
  std::unique_ptr<PortClient> client_;
};

TEST(Registers, TheMaskedWriteKeepsWhatIsNotItsOwn) {
  ManualClock clock;
  Card card(ElmWithBars());
  ASSERT_TRUE(card->Write(5, 0xFFFFFFFF));
  ASSERT_TRUE(card->Write(5, 3, 0x1E, 1));
  EXPECT_EQ(card->Get(5), 0xFFFFFFE7u);
  EXPECT_EQ(card->Get(5, 0x1E, 1), 3u);
}

TEST(Registers, NumbersExistUpTo4095AndFrom10000) {
  ManualClock clock;
  Card card(ElmWithBars());
  uint32_t value = 0;
  EXPECT_TRUE(card->Read(4095, &value));
  EXPECT_EQ(value, 0u);
  EXPECT_FALSE(card->Read(4096, &value));
  EXPECT_FALSE(card->Read(9999, &value));
  EXPECT_FALSE(card->Write(4096, 1));
  EXPECT_TRUE(card->Read(10000, &value));
  EXPECT_EQ(value, 0u);
  EXPECT_TRUE(card->Write(0xFFFFFFFF, 7));
  EXPECT_EQ(card->Get(0xFFFFFFFF), 7u);
}

TEST(Registers, NewNumbersForEverFindAnEnd) {
  ManualClock clock;
  Card card(ElmWithBars());
  constexpr uint32_t kFirst = 20000;
  constexpr uint32_t kLimit = 65536;
  for (uint32_t i = 0; i < 2 * kLimit; ++i) ASSERT_TRUE(card->Write(kFirst + i, 0)) << i;
  for (uint32_t i = 0; i < kLimit; ++i) ASSERT_TRUE(card->Write(kFirst + i, i + 1)) << i;
  EXPECT_FALSE(card->Write(kFirst + kLimit, 1));
  EXPECT_EQ(card->Get(kFirst + kLimit), 0u);
  EXPECT_TRUE(card->Write(kFirst + kLimit, 0)) << "what needs no room has it";

  // What is there, and what the software uses, works on.
  EXPECT_EQ(card->Get(50), 0x10196500u);
  EXPECT_TRUE(card->Write(10050, 3));
  EXPECT_EQ(card->Get(10050), 3u);
  EXPECT_TRUE(card->Write(kFirst, 99));
  EXPECT_EQ(card->Get(kFirst), 99u);
  EXPECT_EQ(card->Get(kFirst + kLimit - 1), kLimit);
  EXPECT_TRUE(card->Write(kFirst, 0));
  EXPECT_TRUE(card->Write(kFirst + 1, 0));
  EXPECT_TRUE(card->Write(kFirst + kLimit, 1)) << "a word that is 0 again takes no room";
}

TEST(Registers, AShiftBeyondTheWordGivesNothing) {
  ManualClock clock;
  Card card(ElmWithBars());
  ASSERT_TRUE(card->Write(200, 0xFFFFFFFF));
  EXPECT_EQ(card->Get(200, 0xFFFFFFFF, 32), 0u);
  ASSERT_TRUE(card->Write(200, 1, 0xFF, 40));
  EXPECT_EQ(card->Get(200), 0xFFFFFF00u);
}

TEST(Registers, TheIdentityOfEveryBoardIsReadAndNeverWritten) {
  ManualClock clock;
  for (const BoardRow& board : BoardRows()) {
    SCOPED_TRACE(board.name);
    SimulatedDriver driver(MachineOf(board.identity));
    const DriverHandle handle = driver.Open(SimulatedDriver::CardPath(0), true);
    ASSERT_NE(handle, 0u);
    RegisterRecord record = {};
    const PropertySetId* set = PropertySetOfBoardType(board.boardType);
    if (set != nullptr) record.header.propertySet = *set;
    record.header.number = PropertyRegister;
    record.registerNumber = 50;
    record.mask = 0xFFFFFFFF;
    record.value = 1234;
    record.header.flags = kPropertySet;
    EXPECT_TRUE(driver.Request(handle, &record, sizeof record, &record, sizeof record));
    record.header.flags = kPropertyGet;
    EXPECT_TRUE(driver.Request(handle, &record, sizeof record, &record, sizeof record));
    EXPECT_EQ(record.value, board.identity);
    driver.Close(handle);
  }
}

TEST(Registers, TheLineCounterRepeatsEachValueOnce) {
  ManualClock clock;
  Card card(ElmWithBars());
  card->SetFormat(2);
  std::set<uint32_t> seen;
  for (int i = 0; i < 50; ++i) {
    const uint32_t first = card->Get(18);
    clock.Advance(777777);
    EXPECT_EQ(card->Get(18), first);
    EXPECT_GE(first, 1u);
    EXPECT_LE(first, 1125u);
    seen.insert(first);
  }
  EXPECT_GT(seen.size(), 10u);
}

TEST(Registers, TheLineCounterTellsThePlaceInTheFrame) {
  struct Row {
    uint32_t format;
    uint32_t total;
  };
  for (const Row& row :
       {Row{1, 1125}, Row{17, 750}, Row{34, 525}, Row{33, 625}, Row{10, 1125}, Row{68, 1125}}) {
    SCOPED_TRACE(row.format);
    ManualClock clock;
    Card card(ElmWithBars());
    card->SetFormat(row.format);
    uint32_t scale = 0;
    uint32_t duration = 0;
    ASSERT_TRUE(FrameRatePair(FindVideoFormat(row.format)->rate, &scale, &duration));
    EXPECT_EQ(card->Get(18), 1u);
    (void)card->Get(18);
    FrameStepper step(&clock, scale * 2, duration);
    step.Step(3);  // half way through the second frame
    EXPECT_NEAR(static_cast<double>(card->Get(18)), row.total / 2.0 + 1, 1.0);
  }
}

TEST(Registers, InputsReportTheirFormats) {
  ManualClock clock;
  MachineDescription machine = ElmWithBars(2);
  machine.cards[0].inputs.push_back(Bars("input2", 2));
  EXPECT_EQ(Card(machine)->Get(22), 0x00004444u);
  machine.cards[0].inputs[0].videoFormat = 32;
  machine.cards[0].inputs[1].videoFormat = 32;
  EXPECT_EQ(Card(machine)->Get(22), 0x00001414u);
  machine.cards[0].inputs[1].source = SignalSource::kNone;
  EXPECT_EQ(Card(machine)->Get(22), 0x00000014u);
  machine.cards[0].inputs.clear();
  EXPECT_EQ(Card(machine)->Get(22), 0u);
}

// Reads back what the detector of the caller would make of the words.
uint32_t Decode(uint32_t word, bool level3G) {
  const uint32_t rate = (word & 7) | (word >> 28 & 1) << 3;
  const uint32_t geometryClass = (word >> 4 & 7) | (word >> 30 & 1) << 3;
  const bool scan = (word & 0x80) != 0;
  const bool progressive = scan && !(level3G && rate >= 3 && rate <= 5);
  return InputFormat(rate, StandardOfGeometryClass(geometryClass, progressive), level3G,
                     geometryClass, scan);
}

TEST(Registers, EveryDetectableFormatIsDetected) {
  ManualClock clock;
  for (const VideoFormatRow& row : VideoFormatRows()) {
    if (row.value == 0 || row.geometry >= GeometryQuad1920x1080) continue;
    SCOPED_TRACE(row.text);
    MachineDescription machine = MachineOf(BoardLarch);
    machine.cards[0].inputs.push_back(Bars("input1", row.value));
    Card card(machine);
    const uint32_t got = Decode(card->Get(22), (card->Get(232) & 1) != 0);
    uint32_t wanted = row.value;
    if (wanted == 22) wanted = 0;   // no bits for 720p 25
    if (wanted == 28) wanted = 10;  // segmented reads as progressive
    if (wanted == 29) wanted = 8;
    if (wanted == 30) wanted = 9;
    EXPECT_EQ(got, wanted);
  }
}

TEST(Registers, TheFlagsOfTheThreeGigabitInputs) {
  ManualClock clock;
  MachineDescription machine = MachineOf(BoardNutmeg);
  machine.cards[0].inputs.push_back(Bars("input1", 19));
  machine.cards[0].inputs.push_back(Bars("input2", 19));
  EXPECT_EQ(Card(machine)->Get(232), 0x101u);
  machine.cards[0].inputs[0].videoFormat = 2;
  EXPECT_EQ(Card(machine)->Get(232), 0x100u);
  EXPECT_EQ(Card(ElmWithBars(19))->Get(232), 0u);  // Elm has no such inputs
}

TEST(Registers, TheReferenceIsToldWithItsLock) {
  ManualClock clock;
  MachineDescription machine = ElmWithBars();
  machine.cards[0].referenceFormat = 2;
  EXPECT_EQ(Card(machine)->Get(126), 0x44000C01u);
  machine.cards[0].referenceFormat = 32;
  EXPECT_EQ(Card(machine)->Get(126), 0x41000C01u);
  machine.cards[0].referenceFormat = 0;
  EXPECT_EQ(Card(machine)->Get(126), 0u);
}

TEST(Registers, TheThirdInputIsTheHdmiOne) {
  ManualClock clock;
  MachineDescription machine = MachineOf(BoardLarch);
  machine.cards[0].inputs.push_back(Bars("hdmi", 2));
  EXPECT_EQ(Card(machine)->Get(81), 0x44000001u);
  machine.cards[0].inputs.clear();
  EXPECT_EQ(Card(machine)->Get(81), 0u);
}

TEST(Registers, AudioPresentFollowsTheInputs) {
  ManualClock clock;
  MachineDescription machine = ElmWithBars();
  EXPECT_EQ(Card(machine)->Get(24, 0x600000), 0x200000u);
  machine.cards[0].inputs.push_back(Bars("input2", 2));
  EXPECT_EQ(Card(machine)->Get(24, 0x600000), 0x600000u);
  machine.cards[0].inputs[0].sound = SoundSource::kSilence;
  EXPECT_EQ(Card(machine)->Get(24, 0x600000), 0x400000u);
}

constexpr uint32_t kMute = 1u << 9;
constexpr uint32_t kRun = 1u << 12;
constexpr uint32_t kEight = 1u << 16;
constexpr uint32_t k96 = 1u << 18;
constexpr uint32_t kSixteen = 1u << 20;
constexpr uint32_t kBig = 1u << 31;

TEST(Registers, TheAudioPositionStepsBySamplesAndGoesRound) {
  struct Row {
    uint32_t control;
    int64_t ns;
    uint32_t position;
  };
  const Row rows[] = {
      {kRun, 1000000, 48 * 24},
      {kRun | kEight, 1000000, 48 * 32},
      {kRun | kSixteen, 1000000, 48 * 64},
      {kRun | kSixteen | kEight, 1000000, 48 * 64},
      {kRun | k96, 1000000, 96 * 24},
      {kRun, 20833, 0},  // just short of one sample
      {kRun, 20834, 24},
      {kRun | kEight, 1000000000, 48000 * 32 % 0xFF000},
      {kRun | kSixteen | kBig, 2000000000, 96000u * 64 % 0x3FC000},
      {kRun | kMute, 1000000, 0},
      {0, 1000000, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.control);
    ManualClock clock;
    Card card(ElmWithBars());
    card->Write(24, row.control);
    clock.Advance(row.ns);
    EXPECT_EQ(card->Get(26), row.position);
  }
}

TEST(Registers, WritingTheRunBitZeroesTheAudioPosition) {
  ManualClock clock;
  Card card(ElmWithBars());
  card->Write(24, kRun);
  clock.Advance(5000000);
  EXPECT_EQ(card->Get(26), 240u * 24);
  card->Write(24, 1, kRun, 12);
  EXPECT_EQ(card->Get(26), 0u);
  clock.Advance(1000000);
  EXPECT_EQ(card->Get(26), 48u * 24);
  card->Write(24, 1, kMute, 9);
  EXPECT_EQ(card->Get(26), 0u);
  card->Write(24, 0, kMute, 9);
  clock.Advance(1000000);
  EXPECT_EQ(card->Get(26), 48u * 24);
}

TEST(Registers, AnArmedAudioRingRunsFromTheBoundaryOfTheFirstFrame) {
  ManualClock clock;
  Card card(ElmWithBars());
  card->SetFormat(1);
  card->Write(24, kRun | kMute);
  card->Write(10003, 3);
  card->Write(24, kRun);
  clock.Advance(10000000);
  EXPECT_EQ(card->Get(26), 0u);
  PortClient::Frame frame;
  frame.video.assign(64, 0);
  ASSERT_TRUE(card->Init(1, 0, 28));
  ASSERT_TRUE(card->Control(ACStart, 1));
  clock.Advance(30000000);  // the boundary at 40 ms shows nothing yet
  EXPECT_EQ(card->Get(26), 0u);
  ASSERT_TRUE(card->Transfer(&frame));
  clock.Advance(40000000);  // shown at 80 ms
  EXPECT_EQ(card->Get(26), 0u);
  clock.Advance(1000000);
  EXPECT_EQ(card->Get(26), 48u * 24);
  card->Write(10003, 2);
  EXPECT_EQ(card->Get(26), 0u);
  card->Write(10003, 0);
  clock.Advance(2000000);
  EXPECT_EQ(card->Get(26), 96u * 24);
}

TEST(Registers, TheDriverVersionTellsTheSubscriptionForm) {
  ManualClock clock;
  MachineDescription machine = ElmWithBars();
  EXPECT_EQ(Card(machine)->Get(10002), 0x2401u);
  machine.cards[0].oldSubscriptions = true;
  EXPECT_EQ(Card(machine)->Get(10002), 0x0401u);
}

TEST(Registers, TheFlashIsReadWordByWord) {
  ManualClock clock;
  Card card(MachineOf(BoardLarch));
  std::vector<uint8_t> bytes;
  for (uint32_t address = 0; address < 256; address += 4) {
    card->Write(59, address);
    card->Write(58, 11);
    EXPECT_EQ(card->Get(58, 0x100, 8), 1u);
    EXPECT_EQ(card->Get(58, 0x100, 8), 1u);
    EXPECT_EQ(card->Get(58, 0x100, 8), 0u);
    const uint32_t word = card->Get(61);
    for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<uint8_t>(word >> (8 * i)));
  }
  const uint8_t head[] = {0x00, 0x09, 0x0F, 0xF0, 0x0F, 0xF0, 0x0F, 0xF0,
                          0x0F, 0xF0, 0x00, 0x00, 0x01, 'a',  0x00};
  for (size_t i = 0; i < sizeof head; ++i) EXPECT_EQ(bytes[i], head[i]) << i;
  EXPECT_EQ(std::string(bytes.begin() + 16, bytes.begin() + 23), "larch01");
  EXPECT_EQ(Card(ElmWithBars())->Get(61), 0xFFFFFFFFu);  // Elm keeps none there
}

TEST(Registers, TheUartSendsAtLineSpeed) {
  ManualClock clock;
  Card card(ElmWithBars());
  EXPECT_EQ(card->Get(72), 0x100u);
  card->Write(72, 0xFFFFFFFF);
  EXPECT_EQ(card->Get(72), 0x1C9u);
  EXPECT_EQ(card->Get(71), 0u);
  card->Write(72, 0);
  EXPECT_EQ(card->Get(72), 0x100u);
  EXPECT_EQ(Card(MachineOf(BoardHazel))->Get(72, 0x100), 0u);  // no port on this board
}

TEST(Registers, ARefusedRegisterFailsBothWays) {
  ManualClock clock;
  MachineDescription machine = ElmWithBars();
  machine.cards[0].faults.refuseRegister = {22, 10021};
  Card card(machine);
  uint32_t value = 0;
  EXPECT_FALSE(card->Read(22, &value));
  EXPECT_FALSE(card->Write(10021, 2));
  EXPECT_TRUE(card->Read(23, &value));
}

TEST(Registers, FramesAreCountedAnewWhenTheRateChanges) {
  ManualClock clock;
  Card card(ElmWithBars());
  card->SetFormat(1);
  clock.Advance(30000000);  // 30 ms into a frame of 40
  card->SetFormat(17);      // 50 a second from here on
  EXPECT_EQ(card->Get(18), 1u);
  (void)card->Get(18);
  clock.Advance(10000000);
  EXPECT_NEAR(static_cast<double>(card->Get(18)), 375, 2);
}

}  // namespace
}  // namespace morvane
