// Two processes: the whole of card control gives the same results, and the same registers behind
// it, over the nub as on a card of this machine.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "device/autocirculate.h"
#include "device/boards.h"
#include "device/card.h"
#include "device/formats.h"
#include "simulator/simulated_machine.h"
#include "support/test_environment.h"
#include "tools/nub_process.h"
#include "tools/tool_runner.h"

namespace morvane::test {
namespace {

// One board of each way to be set up: two links and four, settle wait, logic in flash, input
// select by item, fixed and switchable slots, the two older types.
struct Row {
  const char* name;
  uint32_t identity;
  const char* inputs;
};
constexpr Row kBoards[] = {
    {"Elm", BoardElm, "[card.input1]\nsource = \"bars\"\nformat = \"1080i 59.94\"\n"},
    {"Larch", BoardLarch, "[card.hdmi]\nsource = \"bars\"\nformat = \"720p 59.94\"\n"},
    {"Quince", BoardQuince, "[card.input2]\nsource = \"bars\"\nformat = \"1080i 50.00\"\n"},
    {"Cedar", BoardCedar, "[card.input1]\nsource = \"bars\"\nformat = \"525 59.94\"\n"},
    {"Dogwood", BoardDogwood, "[card.analog]\nsource = \"bars\"\nformat = \"1080i 59.94\"\n"},
    {"Spruce", BoardSpruce, ""},
    {"Cassia", BoardCassia, "[card.input1]\nsource = \"bars\"\nformat = \"625 50.00\"\n"},
    {"Basil", BoardBasil, ""},
};

std::string MachineText() {
  std::string text;
  for (const Row& row : kBoards) {
    text += std::string("[[card]]\nboard = \"") + row.name + "\"\nreference = \"1080i 59.94\"\n" +
            row.inputs;
  }
  return text;
}

// Registers that time moves by itself, so that no two reads need agree.
bool IsAnimated(uint32_t number) {
  return number == 18 || number == 26;  // the line, the place in the sound
}

std::string RegistersOf(CRQD5Card& card) {
  std::vector<RQD5RegisterEntry> entries;
  for (uint32_t number = 0; number < 320; ++number) {
    if (!IsAnimated(number)) entries.push_back({number, 0, 0xFFFFFFFF, 0});
  }
  for (uint32_t number = 10000; number < 10150; ++number) {
    entries.push_back({number, 0, 0xFFFFFFFF, 0});
  }
  entries.push_back({10260, 0, 0xFFFFFFFF, 0});
  uint32_t failed = 0;
  EXPECT_TRUE(
      card.ReadRegisterMulti(static_cast<uint32_t>(entries.size()), &failed, entries.data()))
      << "register " << failed;
  std::ostringstream text;
  text << std::hex;
  for (const RQD5RegisterEntry& entry : entries) {
    text << uint32_t{entry.registerNumber} << "=" << uint32_t{entry.value} << "\n";
  }
  return text.str();
}

template <typename... Values>
std::string Told(const Values&... values) {
  std::ostringstream text;
  ((text << values << " "), ...);
  return text.str();
}

// The machine with the other cards: this one, or another that serves the same already.
const char* Host() {
  const char* host = std::getenv("MORVANE_TEST_NUB_HOST");
  return host != nullptr ? host : "127.0.0.1";
}

using Step = std::function<std::string(CRQD5Card&)>;

class NubCard : public ::testing::TestWithParam<Row> {
 protected:
  static void SetUpTestSuite() {
    const std::string path = WriteFile(PrivateFolder() + "/machine.toml", MachineText());
    std::string error;
    machine_ = SimulatedMachine::Load(path, &error).release();
    ASSERT_NE(machine_, nullptr) << error;
    machine_->Install();
    if (std::getenv("MORVANE_TEST_NUB_HOST") != nullptr) return;
    nub_ = new NubProcess("--machine '" + path + "'");
    ASSERT_NE(nub_->Port(), 0) << nub_->Errors();
    nub_->BecomeTheServer();
  }
  static void TearDownTestSuite() {
    delete nub_;
    delete machine_;
  }

  void SetUp() override {
    const uint32_t identity = GetParam().identity;
    const uint32_t type = FindBoard(identity)->boardType;
    uint16_t number = 0;
    for (const Row& row : kBoards) {
      if (row.identity == identity) break;
      if (FindBoard(row.identity)->boardType == type) ++number;
    }
    ASSERT_TRUE(near_.Open(number, false, type, nullptr));
    ASSERT_TRUE(far_.Open(number, false, type, Host()));
    ASSERT_TRUE(far_.IsRemote());
    ASSERT_EQ(near_.BoardID(), identity);
    ASSERT_EQ(far_.BoardID(), identity);
  }

  // Takes the step on both cards and compares what it gives and what it leaves.
  void Both(const std::string& name, const Step& step) {
    const std::string near = step(near_);
    const std::string far = step(far_);
    ASSERT_EQ(near, far) << name;
    ASSERT_EQ(RegistersOf(near_), RegistersOf(far_)) << name;
  }

  static SimulatedMachine* machine_;
  static NubProcess* nub_;
  CRQD5Card near_;
  CRQD5Card far_;
};
SimulatedMachine* NubCard::machine_ = nullptr;
NubProcess* NubCard::nub_ = nullptr;

constexpr uint32_t kChannels[] = {RQD5Channel1, RQD5Channel2, RQD5Channel9, RQD5Channel10};

TEST_P(NubCard, IdentityInputsAndReference) {
  Both("identity", [](CRQD5Card& card) {
    return Told(card.GetBoardName(), card.GetBoardID(), card.FrameMemoryBytes(),
                card.FrameSlotBytes(), card.FrameSlots(), card.GetRequiredBitfile());
  });
  Both("driver version", [](CRQD5Card& card) {
    uint32_t version = 0;
    return Told(card.GetDriverVersion(&version), version);
  });
  Both("inputs", [](CRQD5Card& card) {
    return Told(card.DetectInput(1), card.DetectInput(2), card.DetectInput(3),
                card.DetectReference(), card.DetectInput3());
  });
  for (uint32_t select = 0; select < 7; ++select) {
    Both("input select " + std::to_string(select),
         [=](CRQD5Card& card) { return Told(card.SetInputSelect(select)); });
  }
  for (uint32_t source = 0; source < 5; ++source) {
    for (const bool driver : {false, true}) {
      Both("reference " + std::to_string(source),
           [=](CRQD5Card& card) { return Told(card.SetReference(source, driver)); });
    }
  }
}

TEST_P(NubCard, EveryVideoFormat) {
  for (uint32_t format = 0; format < 70; ++format) {
    for (const bool keepTiming : {false, true}) {
      Both("format " + std::to_string(format), [=](CRQD5Card& card) {
        const bool set = card.SetVideoFormat(format, keepTiming);
        RQD5VideoFormat got = 0;
        uint32_t standard = 0, rate = 0, geometry = 0;
        const bool read = card.GetVideoFormat(&got);
        return Told(set, read, got, card.GetStandard(&standard), standard, card.GetFrameRate(&rate),
                    rate, card.GetFrameGeometry(&geometry), geometry, card.IsSDStandard(),
                    card.IsProgressivePicture(), card.FormatLines(format),
                    card.CompareFormatLines(format, 2), card.GetRequiredBitfile());
      });
    }
  }
}

TEST_P(NubCard, EachPartOfAFormat) {
  for (uint32_t value = 0; value < 18; ++value) {
    Both("parts " + std::to_string(value), [=](CRQD5Card& card) {
      return Told(card.SetStandard(value % 8), card.SetFrameRate(value % 11),
                  card.SetFrameGeometry(value), card.SetLevelFlag(value & 1),
                  card.SetDualLink(value & 1));
    });
  }
}

TEST_P(NubCard, Timing) {
  // In every standard that a card can have.
  for (const uint32_t format : {2u, 4u, 32u, 33u, 7u}) {
    for (const int32_t offset : {0, 1, -1, 17, -100, 100000, -100000}) {
      Both("timing " + std::to_string(offset), [=](CRQD5Card& card) {
        const bool set = card.SetVideoFormat(format);
        const bool h = card.SetOutputTimingHorizontal(offset);
        const bool v = card.SetOutputTimingVertical(offset);
        int32_t across = 0, down = 0;
        CRQD5Card::TimingLimits limits = {};
        const bool limited = card.GetTimingLimits(&limits);
        const bool gotH = card.GetOutputTimingHorizontal(&across);
        const bool gotV = card.GetOutputTimingVertical(&down);
        return Told(set, h, v, gotH, across, gotV, down, limited, limits.horizontalDefault,
                    limits.horizontalMinimum, limits.horizontalMaximum, limits.verticalDefault,
                    limits.verticalMinimum, limits.verticalMaximum);
      });
    }
  }
}

TEST_P(NubCard, ChannelsAndFrames) {
  Both("format", [](CRQD5Card& card) { return Told(card.SetVideoFormat(2)); });
  for (const uint32_t channel : kChannels) {
    for (uint32_t value = 0; value < 24; ++value) {
      Both("channel " + std::to_string(channel) + " " + std::to_string(value),
           [=](CRQD5Card& card) {
             uint32_t mode = 9, format = 99, out = 99, in = 99;
             const bool setMode = card.SetChannelMode(channel, value & 1);
             const bool setFormat = card.SetFrameBufferFormat(channel, value);
             const bool setOut = card.SetOutputFrame(channel, value);
             const bool setIn = card.SetInputFrame(channel, value + 1);
             const bool access = card.SetAccessFrame(channel, value + 2);
             const bool gotMode = card.GetChannelMode(channel, &mode);
             const bool gotFormat = card.GetFrameBufferFormat(channel, &format);
             const bool gotOut = card.GetOutputFrame(channel, &out);
             const bool gotIn = card.GetInputFrame(channel, &in);
             return Told(setMode, setFormat, setOut, setIn, access, gotMode, mode, gotFormat,
                         format, gotOut, out, gotIn, in, card.RefreshMemoryFigures(),
                         card.FrameSlotBytes(), card.FrameSlots(), card.GetRequiredBitfile());
           });
    }
    Both("toggle", [=](CRQD5Card& card) { return Told(card.ToggleFrames(channel)); });
  }
}

TEST_P(NubCard, SoundConversionAndAnalog) {
  for (const uint32_t channel : kChannels) {
    for (const uint32_t count : {2u, 6u, 8u, 16u, 7u}) {
      Both("audio channels " + std::to_string(count), [=](CRQD5Card& card) {
        return Told(card.SetAudioChannels(count, channel), card.GetAudioChannels(channel));
      });
    }
  }
  for (uint32_t mode = 0; mode < 31; ++mode) {
    Both("conversion " + std::to_string(mode), [=](CRQD5Card& card) {
      bool vanc = true, tall = true;
      const bool set = card.SetConversionMode(mode);
      const bool got = card.GetVancMode(&vanc, &tall);
      return Told(set, got, vanc, tall);
    });
  }
  for (const uint32_t value : {0u, 1u, 2u, 0xFFu}) {
    Both("analog level " + std::to_string(value), [=](CRQD5Card& card) {
      return Told(card.SetAnalogOutputLevel(value), card.SetFrontPanel(value));
    });
  }
  Both("bitfile", [](CRQD5Card& card) { return Told(card.SwitchToRequiredBitfile()); });
}

TEST_P(NubCard, EveryFieldThatHasAName) {
  for (uint32_t i = 0; i < static_cast<uint32_t>(RegisterRows().size()); ++i) {
    const auto field = RegisterRows()[i].field;
    Both("field " + std::to_string(i), [=](CRQD5Card& card) {
      uint32_t value = 0xABCD;
      const bool read = card.ReadField(field, &value);
      return Told(read, IsAnimated(RegisterNumber(field)) ? 0 : value);
    });
  }
}

TEST_P(NubCard, ARegisterThatIsRefused) {
  uint32_t value = 77;
  EXPECT_FALSE(far_.ReadRegister(5000, &value));
  EXPECT_EQ(value, 77u);
  // Deliberate: a write that the other side refuses is told as done; here it is not.
  EXPECT_FALSE(near_.WriteRegister(5000, 1));
  EXPECT_TRUE(far_.WriteRegister(5000, 1));
  RQD5RegisterEntry entries[3] = {
      {50, 0, 0xFFFFFFFF, 0}, {6000, 0, 0xFFFFFFFF, 0}, {50, 0, 0xFFFFFFFF, 0}};
  uint32_t failed = 0;
  EXPECT_FALSE(far_.ReadRegisterMulti(3, &failed, entries));
  EXPECT_EQ(failed, 6000u);
}

TEST_P(NubCard, TheLogicOfTheCard) {
  const auto told = [](CRQD5Card& card) {
    RQD5BitFileInfo info = {};
    info.projectNumber = 3;
    const bool good = card.DriverGetBitFileInformation(&info, 0);
    return Told(good, info.checksum, info.recordVersion, info.recordSize, info.byteCount,
                std::string(info.date, 16), std::string(info.time, 16),
                std::string(info.designName, 16), info.kind, info.projectNumber);
  };
  Both("logic", told);
  RQD5BuildInfo build = {};
  EXPECT_FALSE(near_.DriverGetBuildInformation(&build)) << "told of other machines alone";
  EXPECT_TRUE(far_.DriverGetBuildInformation(&build));
  EXPECT_EQ(uint32_t{build.word0}, GetParam().identity);
}

TEST_P(NubCard, TheFrameRing) {
  Both("format", [](CRQD5Card& card) { return Told(card.SetVideoFormat(2)); });
  for (const uint32_t channel : {1u, 0x101u, 2u}) {
    Both("a ring that nobody made", [=](CRQD5Card& card) {
      RQD5AutoCirculateStatus status = {};
      const bool started = card.StartAutoCirculate(channel);
      const bool got = card.GetAutoCirculate(channel, &status);
      const bool stopped = card.StopAutoCirculate(channel);
      return Told(started, stopped, card.AbortAutoCirculate(channel), got, status.channelSpec,
                  status.state, status.startFrame, status.endFrame, status.activeFrame,
                  status.framesProcessed, status.framesDropped, status.bufferLevel);
    });
  }
  // Pictures do not travel to another machine.
  bool flags[8] = {};
  RQD5FrameStamp stamp = {};
  RQD5AutoCirculateTransfer transfer;
  RQD5AutoCirculateTransferStatus status = {};
  transfer.channelSpec = 1;
  EXPECT_FALSE(far_.InitAutoCirculate(1, 0, 9, flags, false));
  EXPECT_FALSE(far_.GetFrameStamp(1, 0, &stamp));
  EXPECT_FALSE(far_.TransferAutoCirculate(&transfer, &status));
  EXPECT_FALSE(far_.MapFrameBuffers());
  EXPECT_FALSE(far_.ConfigureSubscription(true, 0, nullptr));
}

TEST_P(NubCard, AWaitEndsWithABoundary) {
  Both("format", [](CRQD5Card& card) { return Told(card.SetVideoFormat(2)); });
  EXPECT_TRUE(far_.WaitForInterrupt(InterruptOutput, 1000));
  EXPECT_FALSE(far_.WaitForInterrupt(1, 1));
}

// All of the above between two network namespaces.
TEST(NubTwoMachines, EveryCardIsTheSameThere) {
  if (RunShell(PrivateFolder(), "unshare -Urn ip link add veth0 type veth peer name veth1")
          .exitCode != 0) {
    GTEST_SKIP() << "network namespaces cannot be made here (user namespaces, or ip of iproute2)";
  }
  const std::string machine = WriteFile(PrivateFolder() + "/there.toml", MachineText());
  const std::string locks = FreshFolder("locks-there");
  const std::string self = std::filesystem::read_symlink("/proc/self/exe");
  const ToolRun run = RunShell(
      PrivateFolder(), "MORVANE_LOCKS='" + locks + "' unshare -Urn bash '" +
                           DataPath("support/two_machines.sh") +
                           "' " MORVANE_NUB " " MORVANE_TOOL " '" + machine + "' '" + self + "'");
  EXPECT_EQ(run.exitCode, 0) << run.out << run.err;
  EXPECT_NE(run.out.find("[  PASSED  ] 88 tests."), std::string::npos) << run.out;
}

INSTANTIATE_TEST_SUITE_P(Boards, NubCard, ::testing::ValuesIn(kBoards),
                         [](const auto& board) { return std::string(board.param.name); });

}  // namespace
}  // namespace morvane::test
