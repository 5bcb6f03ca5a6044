#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// A machine as its TOML file describes it: which cards, what lies on their inputs, where their
// outputs are logged and recorded. Parsing is strict: an unknown key is an error.
namespace morvane {

enum class SignalSource { kNone, kBars, kClip, kLoop, kTape };
enum class SoundSource { kSilence, kTone, kClip };

// One input connector. `connector` is "input1" .. "input4", "hdmi" or "analog".
struct InputDescription {
  std::string connector;
  SignalSource source = SignalSource::kNone;
  uint32_t videoFormat = 0;  // RQD5VideoFormat; for a clip the row that was given or that fits it
  std::string clip;          // absolute path
  uint32_t loopCard = 0;     // index of the card, 0-based
  uint32_t loopOutput = 0;   // output number, 1-based
  std::string timecode = "01:00:00:00";  // of source frame 0; ';' for drop frame; empty for none
  SoundSource sound = SoundSource::kTone;
};

// One output connector, numbered from 1. An empty path means not asked for.
struct OutputDescription {
  uint32_t number = 0;
  std::string log;
  std::string record;
};

// Faults that the card shows. Frames count from 0 with the first frame of each circulating run.
struct FaultDescription {
  std::vector<int64_t> dropAt;
  struct Stall {
    int64_t frame = 0;
    int64_t milliseconds = 0;
  };
  std::vector<Stall> stallTransfer;
  bool refuseInit = false;
  bool refuseStart = false;
  std::optional<int64_t> loseInputAt;
  std::optional<int64_t> returnInputAt;
  std::vector<uint32_t> refuseRegister;  // accesses to these fail
};

// What is wrong with a tape machine, or how somebody has set its switches.
struct DeckFaultDescription {
  bool local = false;          // it answers questions only
  bool tapeOut = false;        // there is no cassette in it
  bool recordInhibit = false;  // the cassette is protected
  bool offLine = false;        // it hears nothing and says nothing
  std::string skipTimecode;    // the head never reads this number while the tape plays
  std::string jumpAt;          // played onto this number, the tape slips on, once,
  int64_t jumpFrames = 0;      // by so many pictures
  int64_t slowReplyMs = 0;     // each reply comes so much later
  int64_t cutReply = 0;        // bytes missing at the end of each reply
  bool wrongSum = false;       // of each reply
  bool wrongReply = false;     // each reply is another command's
};

// A tape machine on a card's serial port.
struct DeckDescription {
  std::string tape;                      // absolute path; empty: "tape" in the data folder
  uint32_t videoFormat = 0;              // of a tape that is made; 0: 1080i 59.94
  std::string timecode = "00:59:50:00";  // where a tape that is made begins; ';' for drop frame
  int64_t seconds = 3600;                // length of a tape that is made
  bool plain = false;                    // acknowledgements have three bytes always
  DeckFaultDescription faults;
};

struct CardDescription {
  uint32_t identity = 0;         // of the board table
  uint32_t referenceFormat = 0;  // RQD5VideoFormat on the reference input; 0 is none
  bool rs422 = false;            // `deck` is connected
  DeckDescription deck;
  bool oldSubscriptions = false;
  std::string slot;  // location text such as "Magma 3"; empty is "PCI bus 2, device <index>"
  std::vector<InputDescription> inputs;
  std::vector<OutputDescription> outputs;
  FaultDescription faults;
};

struct MachineDescription {
  double rate = 1.0;                   // card time against real time
  std::string trace;                   // absolute path of the request trace; empty is none
  std::vector<CardDescription> cards;  // 1 .. 8
};

// The machine of a computer without a description: one "Elm", bars and tone on input 1.
[[nodiscard]] MachineDescription BuiltInMachine();

// Reads and checks the description at `path`; relative paths in it count from its folder. Clips
// are opened once to see that they are whole and fit their format.
// Returns: false with one line in `error` that names file, line and key ("machine.toml:7:
// input1.clip: ..."); `machine` is then untouched.
[[nodiscard]] bool LoadMachineDescription(const std::string& path, MachineDescription* machine,
                                          std::string* error);
// The same for a text that comes from no file; relative paths count from `folder`.
[[nodiscard]] bool ParseMachineDescription(const std::string& text, const std::string& name,
                                           const std::string& folder, MachineDescription* machine,
                                           std::string* error);

}  // namespace morvane
