#include "simulator/machine_description.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "simulator/simulated_machine.h"
#include "simulator/test_movie.h"
#include "support/test_environment.h"

namespace morvane {
namespace {

bool Parse(const std::string& text, MachineDescription* machine, std::string* error,
           const std::string& folder = test::PrivateFolder()) {
  return ParseMachineDescription(text, "machine.toml", folder, machine, error);
}

std::string ErrorOf(const std::string& text) {
  MachineDescription machine;
  std::string error;
  EXPECT_FALSE(Parse(text, &machine, &error)) << text;
  EXPECT_EQ(error.find('\n'), std::string::npos);
  return error;
}

constexpr char kCard[] = "[[card]]\nboard = \"Elm\"\n";

TEST(MachineDescription, TheBuiltInMachineIsOneElmWithBarsAndTone) {
  const MachineDescription machine = BuiltInMachine();
  ASSERT_EQ(machine.cards.size(), 1u);
  EXPECT_EQ(machine.cards[0].identity, 0x10196500u);
  ASSERT_EQ(machine.cards[0].inputs.size(), 1u);
  EXPECT_EQ(machine.cards[0].inputs[0].connector, "input1");
  EXPECT_EQ(machine.cards[0].inputs[0].source, SignalSource::kBars);
  EXPECT_EQ(machine.cards[0].inputs[0].videoFormat, 2u);
  EXPECT_EQ(machine.cards[0].inputs[0].sound, SoundSource::kTone);
  EXPECT_EQ(machine.cards[0].inputs[0].timecode, "01:00:00:00");
  EXPECT_EQ(machine.rate, 1.0);
}

TEST(MachineDescription, EveryKeyOfTheTapeMachineIsRead) {
  const std::string folder = test::FreshFolder("machine");
  MachineDescription machine;
  std::string error;
  ASSERT_TRUE(Parse(R"(
[[card]]
board = "Elm"
[card.input1]
source = "tape"
[card.vtr]
tape = "reel"
format = "720p 50"
timecode = "10:00:00:00"
length = 90
manner = "plain"
[card.vtr.faults]
local = true
tape_out = true
record_inhibit = true
off_line = true
skip_timecode = "10:00:01:00"
jump_at = "10:00:02:00"
jump_frames = -3
slow_reply = 7
cut_reply = 2
wrong_sum = true
wrong_reply = true
)",
                    &machine, &error, folder))
      << error;
  const CardDescription& card = machine.cards[0];
  EXPECT_TRUE(card.rs422);
  EXPECT_EQ(card.inputs[0].source, SignalSource::kTape);
  EXPECT_EQ(card.inputs[0].videoFormat, 17u);
  EXPECT_EQ(card.deck.tape, folder + "/reel");
  EXPECT_EQ(card.deck.videoFormat, 17u);
  EXPECT_EQ(card.deck.timecode, "10:00:00:00");
  EXPECT_EQ(card.deck.seconds, 90);
  EXPECT_TRUE(card.deck.plain);
  const DeckFaultDescription& faults = card.deck.faults;
  EXPECT_TRUE(faults.local && faults.tapeOut && faults.recordInhibit && faults.offLine);
  EXPECT_TRUE(faults.wrongSum && faults.wrongReply);
  EXPECT_EQ(faults.skipTimecode, "10:00:01:00");
  EXPECT_EQ(faults.jumpAt, "10:00:02:00");
  EXPECT_EQ(faults.jumpFrames, -3);
  EXPECT_EQ(faults.slowReplyMs, 7);
  EXPECT_EQ(faults.cutReply, 2);
  EXPECT_FALSE(std::filesystem::exists(folder + "/reel"));  // made when the machine is first used
}

TEST(MachineDescription, EveryKeyIsRead) {
  const std::string folder = test::FreshFolder("machine");
  MachineDescription machine;
  std::string error;
  ASSERT_TRUE(Parse(R"(
rate = 0.25
trace = "trace.txt"

[[card]]
board = "Larch"
reference = "1080i 59.94"
rs422 = true
slot = "Magma 3"
old_subscriptions = true

[card.input1]
source = "bars"
format = "720p 59.94"
timecode = "00;59;58;00"
audio = "silence"

[card.hdmi]
source = "none"

[card.analog]
source = "loop"
loop = "1.output2"

[card.output1]
log = "out.csv"
record = "sub.mkv"

[card.faults]
drop_at = [3, 5]
stall_transfer = {frame = 10, ms = 200}
refuse_init = true
refuse_start = true
lose_input_at = 20
return_input_at = 30
refuse_register = [22, 126]

[[card]]
identity = 0x10196500
[card.input1]
source = "bars"
timecode = "none"
[card.faults]
refuse_register = 22
)",
                    &machine, &error, folder))
      << error;
  EXPECT_EQ(machine.rate, 0.25);
  EXPECT_EQ(machine.trace, folder + "/trace.txt");
  ASSERT_EQ(machine.cards.size(), 2u);
  const CardDescription& card = machine.cards[0];
  EXPECT_EQ(card.identity, 0x10266400u);
  EXPECT_EQ(card.referenceFormat, 2u);
  EXPECT_TRUE(card.rs422);
  EXPECT_TRUE(card.oldSubscriptions);
  EXPECT_EQ(card.slot, "Magma 3");
  ASSERT_EQ(card.inputs.size(), 3u);
  EXPECT_EQ(card.inputs[0].videoFormat, 4u);
  EXPECT_EQ(card.inputs[0].timecode, "00;59;58;00");
  EXPECT_EQ(card.inputs[0].sound, SoundSource::kSilence);
  EXPECT_EQ(card.inputs[1].source, SignalSource::kNone);
  EXPECT_EQ(card.inputs[2].source, SignalSource::kLoop);
  EXPECT_EQ(card.inputs[2].loopCard, 1u);
  EXPECT_EQ(card.inputs[2].loopOutput, 2u);
  ASSERT_EQ(card.outputs.size(), 1u);
  EXPECT_EQ(card.outputs[0].log, folder + "/out.csv");
  EXPECT_EQ(card.outputs[0].record, folder + "/sub.mkv");
  EXPECT_EQ(card.faults.dropAt, (std::vector<int64_t>{3, 5}));
  ASSERT_EQ(card.faults.stallTransfer.size(), 1u);
  EXPECT_EQ(card.faults.stallTransfer[0].frame, 10);
  EXPECT_EQ(card.faults.stallTransfer[0].milliseconds, 200);
  EXPECT_TRUE(card.faults.refuseInit);
  EXPECT_TRUE(card.faults.refuseStart);
  EXPECT_EQ(card.faults.loseInputAt, 20);
  EXPECT_EQ(card.faults.returnInputAt, 30);
  EXPECT_EQ(card.faults.refuseRegister, (std::vector<uint32_t>{22, 126}));
  EXPECT_EQ(machine.cards[1].faults.refuseRegister, std::vector<uint32_t>{22});
  EXPECT_EQ(machine.cards[1].identity, 0x10196500u);
  EXPECT_EQ(machine.cards[1].inputs[0].timecode, "");
}

struct Bad {
  const char* text;
  const char* begins;  // of the message
};

TEST(MachineDescription, WhatIsWrongIsToldWithFileLineAndKey) {
  const Bad kBad[] = {
      {"", "machine.toml:1: card: "},
      {"[[card]]\n", "machine.toml:1: card.board: "},
      {"[[card]]\nboard = \"Oaak\"\n", "machine.toml:2: card.board: there is no board \"Oaak\""},
      {"[[card]]\nboard = 5\n", "machine.toml:2: card.board: "},
      {"[[card]]\nidentity = 5\n", "machine.toml:2: card.identity: "},
      {"[[card]]\nboard = \"Elm\"\nidentity = 0x10196500\n", "machine.toml:3: card.identity: "},
      {"[[card]]\nboard = \"Elm\"\ncolour = 1\n", "machine.toml:3: card.colour: unknown key"},
      {"speed = 1\n[[card]]\nboard = \"Elm\"\n", "machine.toml:1: speed: unknown key"},
      {"rate = 0\n[[card]]\nboard = \"Elm\"\n", "machine.toml:1: rate: "},
      {"rate = \"fast\"\n[[card]]\nboard = \"Elm\"\n", "machine.toml:1: rate: "},
      {"[card]\nboard = \"Elm\"\n", "machine.toml:1: card: "},
      {"[[card]]\nboard = \"Elm\"\nreference = \"1080i 61\"\n",
       "machine.toml:3: card.reference: there is no format \"1080i 61\""},
      {"[[card]]\nboard = \"Elm\"\nrs422 = 1\n", "machine.toml:3: card.rs422: "},
      {"[[card]]\nboard = \"Elm\"\n[card.input3]\nsource = \"bars\"\n",
       "machine.toml:3: card.input3: board \"Elm\" has no such connector"},
      {"[[card]]\nboard = \"Elm\"\n[card.hdmi]\nsource = \"bars\"\n", "machine.toml:3: card.hdmi"},
      {"[[card]]\nboard = \"Elm\"\n[card.output3]\nlog = \"a\"\n", "machine.toml:3: card.output3"},
      {"[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"barz\"\n",
       "machine.toml:4: card.input1.source: "},
      {"[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"bars\"\nformat = \"x\"\n",
       "machine.toml:5: card.input1.format: "},
      {"[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"tape\"\n",
       "machine.toml:4: card.input1.source: no tape machine is connected"},
      {"[[card]]\nboard = \"Elm\"\nrs422 = true\n[card.input1]\nsource = \"tape\"\nformat = "
       "\"625 50.00\"\n",
       "machine.toml:6: card.input1.format: the tape is 1080i 59.94"},
      {"[[card]]\nboard = \"Elm\"\nrs422 = true\n[card.input1]\nsource = \"tape\"\naudio = "
       "\"tone\"\n",
       "machine.toml:6: card.input1.audio: the source does not use this key"},
      {"[[card]]\nboard = \"Hazel2\"\n[card.vtr]\n",
       "machine.toml:3: card.vtr: board \"Hazel2\" has no port for a tape machine"},
      {"[[card]]\nboard = \"Elm\"\n[card.vtr]\ntape = \"no/where\"\n",
       "machine.toml:4: card.vtr.tape: the folder \""},
      {"[[card]]\nboard = \"Elm\"\n[card.vtr]\ntape = \"/etc/hostname\"\n",
       "machine.toml:4: card.vtr.tape: \"/etc/hostname\" is no tape: "},
      {"[[card]]\nboard = \"Elm\"\n[card.vtr]\ntimecode = \"1 hour\"\n",
       "machine.toml:4: card.vtr.timecode: \"1 hour\" is no timecode"},
      {"[[card]]\nboard = \"Elm\"\n[card.vtr]\nformat = \"625 50.00\"\ntimecode = "
       "\"01:00:00:25\"\n",
       "machine.toml:5: card.vtr.timecode: there is no 01:00:00:25 in 625 50.00"},
      {"[[card]]\nboard = \"Elm\"\n[card.vtr]\nformat = \"720p 50\"\ntimecode = \"01;00;00;00\"\n",
       "machine.toml:5: card.vtr.timecode: there is no 01;00;00;00 in 720p 50"},
      {"[[card]]\nboard = \"Elm\"\n[card.vtr]\nmanner = \"rude\"\n",
       "machine.toml:4: card.vtr.manner: there is no manner \"rude\""},
      {"[[card]]\nboard = \"Elm\"\n[card.vtr]\nlength = 0\n", "machine.toml:4: card.vtr.length: "},
      {"[[card]]\nboard = \"Elm\"\n[card.vtr]\nformat = \"x\"\n",
       "machine.toml:4: card.vtr.format: there is no format \"x\""},
      {"[[card]]\nboard = \"Elm\"\n[card.vtr.faults]\nsleepy = true\n",
       "machine.toml:4: card.vtr.faults.sleepy: "},
      {"[[card]]\nboard = \"Elm\"\nrs422 = true\n[[card]]\nboard = \"Elm\"\n[card.vtr]\n",
       "machine.toml:6: card.vtr.tape: this tape is in another card's machine"},
      {"[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"clip\"\n",
       "machine.toml:3: card.input1.clip: "},
      {"[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"clip\"\nclip = \"none.mov\"\n",
       "machine.toml:5: card.input1.clip: "},
      {"[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"bars\"\nclip = \"none.mov\"\n",
       "machine.toml:5: card.input1.clip: "},
      {"[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"bars\"\ntimecode = \"1:2\"\n",
       "machine.toml:5: card.input1.timecode: "},
      {"[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"bars\"\naudio = \"clip\"\n",
       "machine.toml:5: card.input1.audio: "},
      {"[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"bars\"\naudio = \"loud\"\n",
       "machine.toml:5: card.input1.audio: "},
      {"[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"loop\"\n",
       "machine.toml:4: card.input1.loop: "},
      {"[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"loop\"\nloop = \"0:1\"\n",
       "machine.toml:5: card.input1.loop: "},
      {"[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"loop\"\nloop = \"1.output1\"\n",
       "machine.toml:5: card.input1.loop: this machine has no such output"},
      {"[[card]]\nboard = \"Elm\"\n[card.output1]\nlog = \"nowhere/a.csv\"\n",
       "machine.toml:4: card.output1.log: the folder "},
      {"[[card]]\nboard = \"Elm\"\n[card.output1]\nrecord = \"nowhere/a.mkv\"\n",
       "machine.toml:4: card.output1.record: the folder "},
      {"[[card]]\nboard = \"Elm\"\n[card.faults]\ndrop_at = 4\n",
       "machine.toml:4: card.faults.drop_at: "},
      {"[[card]]\nboard = \"Elm\"\n[card.faults]\ndrop = [4]\n",
       "machine.toml:4: card.faults.drop: unknown key"},
      {"[[card]]\nboard = \"Elm\"\n[card.faults]\nstall_transfer = {frame = 1, sec = 2}\n",
       "machine.toml:4: card.faults.stall_transfer.sec: unknown key"},
      {"[[card]]\nboard = \"Elm\n", "machine.toml:2: "},
  };
  for (const Bad& bad : kBad) {
    SCOPED_TRACE(bad.text);
    EXPECT_EQ(ErrorOf(bad.text).substr(0, std::string(bad.begins).size()), bad.begins);
  }
}

TEST(MachineDescription, AnEmptyListOfCardsIsAMachineWithoutCards) {
  MachineDescription machine;
  std::string error;
  EXPECT_TRUE(Parse("card = []\n", &machine, &error)) << error;
  EXPECT_TRUE(machine.cards.empty());
  EXPECT_NE("", ErrorOf("card = [1]\n"));
  EXPECT_NE("", ErrorOf(""));
}

TEST(MachineDescription, AMachineHasAtMostEightCards) {
  std::string text;
  for (int i = 0; i < 8; ++i) text += kCard;
  MachineDescription machine;
  std::string error;
  EXPECT_TRUE(Parse(text, &machine, &error)) << error;
  EXPECT_EQ(machine.cards.size(), 8u);
  EXPECT_EQ(ErrorOf(text + kCard).substr(0, 21), "machine.toml:17: card");
}

class Clips : public ::testing::Test {
 protected:
  std::string Text(const std::string& clip, const std::string& format = "") {
    return std::string(kCard) + "[card.input1]\nsource = \"clip\"\nclip = \"" + clip + "\"\n" +
           (format.empty() ? "" : "format = \"" + format + "\"\n");
  }
  std::string folder_ = test::FreshFolder("clips");
};

TEST_F(Clips, AFileThatIsNoMovieIsRefused) {
  std::ofstream(folder_ + "/text.mov") << "This is no movie at all, it is a text.\n";
  EXPECT_NE(ErrorOf(Text(folder_ + "/text.mov")).find("card.input1.clip: "), std::string::npos);
  std::ofstream(folder_ + "/empty.mov").flush();
  EXPECT_NE(ErrorOf(Text(folder_ + "/empty.mov")).find("machine.toml:5: card.input1.clip: "),
            std::string::npos);
  EXPECT_NE(ErrorOf(Text(folder_)).find("is no file"), std::string::npos);
}

TEST_F(Clips, AMovieThatIsCutShortIsRefused) {
  for (const char* name : {"a.mov", "a.avi", "a.mkv"}) {
    SCOPED_TRACE(name);
    const bool mov = std::string(name) == "a.mov";
    const std::string movie =
        test::MakeMovie(folder_, name, {720, 576, "25", 60, mov ? "uyvy" : "huffyuv"});
    ASSERT_FALSE(movie.empty());
    MachineDescription machine;
    std::string error;
    ASSERT_TRUE(Parse(Text(movie), &machine, &error)) << error;
    std::filesystem::resize_file(movie, std::filesystem::file_size(movie) * 6 / 10);
    const std::string told = ErrorOf(Text(movie));
    EXPECT_EQ(told.substr(0, 34), "machine.toml:5: card.input1.clip: ");
    EXPECT_NE(told.find("cut short"), std::string::npos) << told;
  }
}

TEST_F(Clips, AMovieWithItsIndexInFrontIsFoundCutShortToo) {
  const std::string movie = test::MakeMovie(folder_, "a.mov", {720, 576, "25", 10, "uyvy"});
  const std::string front = folder_ + "/front.mov";
  ASSERT_TRUE(
      test::RunFfmpeg("-i \"" + movie + "\" -c copy -movflags faststart \"" + front + "\""));
  std::filesystem::resize_file(front, std::filesystem::file_size(front) - 100);
  EXPECT_NE(ErrorOf(Text(front)).find("cut short"), std::string::npos);
}

TEST_F(Clips, RasterAndRateMustFitTheFormat) {
  const std::string movie = test::MakeMovie(folder_, "a.mov", {720, 576, "25", 2, "uyvy"});
  MachineDescription machine;
  std::string error;
  EXPECT_TRUE(Parse(Text(movie, "625 50.00"), &machine, &error)) << error;
  EXPECT_EQ(machine.cards[0].inputs[0].videoFormat, 33u);
  EXPECT_EQ(machine.cards[0].inputs[0].sound, SoundSource::kClip);
  EXPECT_NE(ErrorOf(Text(movie, "1080i 50.00")).find("720x576"), std::string::npos);
  EXPECT_NE(ErrorOf(Text(movie, "625 51")).find("machine.toml:6: card.input1.format"),
            std::string::npos);
  const std::string odd = test::MakeMovie(folder_, "b.mov", {640, 480, "25", 2, "uyvy"});
  EXPECT_NE(ErrorOf(Text(odd)).find("no format of the card is like that"), std::string::npos);
  const std::string slow = test::MakeMovie(folder_, "c.mov", {720, 576, "24", 2, "uyvy"});
  EXPECT_NE(ErrorOf(Text(slow, "625 50.00")).find("not at the rate"), std::string::npos);
}

TEST_F(Clips, PathsCountFromTheDescription) {
  ASSERT_FALSE(test::MakeMovie(folder_, "a.mov", {720, 576, "25", 2, "uyvy"}).empty());
  std::ofstream(folder_ + "/machine.toml") << Text("a.mov");
  MachineDescription machine;
  std::string error;
  ASSERT_TRUE(LoadMachineDescription(folder_ + "/machine.toml", &machine, &error)) << error;
  EXPECT_EQ(machine.cards[0].inputs[0].clip, folder_ + "/a.mov");
}

TEST(MachineFile, IsFoundByTheRuleOfTheCommandLine) {
  std::string error;
  std::unique_ptr<SimulatedMachine> machine = SimulatedMachine::Load("", &error);
  ASSERT_NE(machine, nullptr);
  EXPECT_EQ(machine->Description().cards[0].identity, 0x10196500u);

  const std::string config = std::string(getenv("XDG_CONFIG_HOME")) + "/morvane";
  std::filesystem::create_directories(config);
  std::ofstream(config + "/machine.toml") << "[[card]]\nboard = \"Larch\"\n";
  machine = SimulatedMachine::Load("", &error);
  ASSERT_NE(machine, nullptr) << error;
  EXPECT_EQ(machine->Description().cards[0].identity, 0x10266400u);

  const std::string folder = test::FreshFolder("machine");
  std::ofstream(folder + "/env.toml") << "[[card]]\nboard = \"Oak\"\n";
  setenv("MORVANE_MACHINE", (folder + "/env.toml").c_str(), 1);
  machine = SimulatedMachine::Load("", &error);
  unsetenv("MORVANE_MACHINE");
  ASSERT_NE(machine, nullptr) << error;
  EXPECT_EQ(machine->Description().cards[0].identity, 0x10294700u);

  EXPECT_EQ(SimulatedMachine::Load(folder + "/missing.toml", &error), nullptr);
  EXPECT_NE(error.find("missing.toml"), std::string::npos);
  std::filesystem::remove(config + "/machine.toml");
}

TEST(MachineFile, AFileThatIsNoLogIsNotReplaced) {
  const std::string folder = test::FreshFolder("machine");
  std::ofstream(folder + "/precious.csv") << "my,own,data\n";
  MachineDescription machine;
  std::string error;
  EXPECT_FALSE(Parse(std::string(kCard) + "[card.output1]\nlog = \"precious.csv\"\n", &machine,
                     &error, folder));
  EXPECT_NE(error.find("is no output log"), std::string::npos);
  EXPECT_EQ(test::FileBytes(folder + "/precious.csv").size(), 12u);
}

}  // namespace
}  // namespace morvane
