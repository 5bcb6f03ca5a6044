#include "simulator/machine_description.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <sstream>

#include "base/paths.h"
#include "device/boards.h"
#include "device/formats.h"
#include "media/codec/media_reader.h"
#include "simulator/clip_format.h"
#include "simulator/deck_description.h"
#include "simulator/input_source.h"
#include "simulator/output_log.h"
#include "simulator/toml_table.h"

namespace morvane {
namespace {

constexpr size_t kMaxCards = 8;
constexpr char kDefaultFormat[] = "1080i 59.94";

std::string Quoted(std::string_view text) {
  return "\"" + std::string(text) + "\"";
}

// Name of a board without the blank that ends it in the table.
std::string PlainName(const BoardRow& row) {
  std::string name = row.name;
  while (!name.empty() && name.back() == ' ') name.pop_back();
  return name;
}

class Reader {
 public:
  explicit Reader(const std::string& folder) : folder_(folder) {}

  MachineDescription Machine(const toml::table& root) {
    TomlTable table(root, "");
    MachineDescription machine;
    if (const toml::node* node = table.Find("rate")) {
      const auto rate = node->value<double>();
      if (!rate || !std::isfinite(*rate) || *rate < 0.001 || *rate > 1000) {
        Refuse(*node, "rate", "a number from 0.001 to 1000 is needed here");
      }
      machine.rate = *rate;
    }
    machine.trace = OutputPath(&table, "trace");
    std::string error;
    if (!machine.trace.empty() && !OutputLog::CanWriteTrace(machine.trace, &error)) {
      Refuse(*root.get("trace"), "trace", error);
    }
    const toml::node* cards = table.Find("card");
    if (cards == nullptr) {
      throw Refusal{1, "card", "there is no [[card]] in this machine"};
    }
    const toml::array* list = cards->as_array();
    // An empty list is a machine that has no cards, on purpose.
    if (list == nullptr || !(list->empty() || list->is_array_of_tables())) {
      Refuse(*cards, "card", "cards are described as [[card]]");
    }
    if (list->size() > kMaxCards) {
      Refuse((*list)[kMaxCards], "card", "a machine has at most eight cards");
    }
    for (const toml::node& card : *list) machine.cards.push_back(Card(*card.as_table()));
    table.Done();
    CheckLoops(machine);
    CheckTapes(root);
    return machine;
  }

 private:
  std::string Absolute(const std::string& path) const {
    return path.empty() || path.front() == '/' ? path : JoinPath(folder_, path);
  }

  // A path that will be written to.
  std::string OutputPath(TomlTable* table, const std::string& key) {
    const std::string path = Absolute(table->Text(key, ""));
    if (path.empty()) return path;
    const size_t slash = path.rfind('/');
    const std::string parent = slash == 0 ? "/" : path.substr(0, slash);
    if (access(parent.c_str(), W_OK | X_OK) != 0) {
      Refuse(*table->Node().get(key), table->KeyPath(key),
             "the folder " + Quoted(parent) + " does not exist or cannot be written");
    }
    return path;
  }

  CardDescription Card(const toml::table& node) {
    TomlTable table(node, "card");
    CardDescription card;
    card.identity = Identity(&table);
    const BoardRow& board = *FindBoard(card.identity);
    const std::string reference = table.Text("reference", "none");
    if (reference != "none") card.referenceFormat = Format(&table, "reference", reference);
    Deck(&table, board, &card);
    card.slot = table.Text("slot", "");
    card.oldSubscriptions = table.Flag("old_subscriptions");
    for (const std::string& name : Connectors(board)) {
      if (const toml::table* input = table.Child(name)) {
        card.inputs.push_back(Input(*input, name, card));
      }
    }
    for (uint32_t number = 1; number <= board.videoOut; ++number) {
      const std::string name = "output" + std::to_string(number);
      if (const toml::table* output = table.Child(name)) {
        card.outputs.push_back(Output(*output, name, number));
      }
    }
    if (const toml::table* faults = table.Child("faults")) card.faults = Faults(*faults);
    RefuseForeignConnector(node, board);
    table.Done();
    return card;
  }

  static uint32_t Identity(TomlTable* table) {
    const toml::node* name = table->Find("board");
    const toml::node* identity = table->Find("identity");
    if (name != nullptr && identity != nullptr) {
      Refuse(*identity, table->KeyPath("identity"), "a card has either a board or an identity");
    }
    if (identity != nullptr) {
      const int64_t number =
          TomlTable::NumberOf(*identity, table->KeyPath("identity"), 0, 0xFFFFFFFF);
      if (FindBoard(static_cast<uint32_t>(number)) == nullptr) {
        Refuse(*identity, table->KeyPath("identity"), "no board has this identity");
      }
      return static_cast<uint32_t>(number);
    }
    if (name == nullptr) {
      Refuse(table->Node(), table->KeyPath("board"), "a card needs a board, such as \"Elm\"");
    }
    const std::string wanted = table->Text("board", "");
    for (const BoardRow& row : BoardRows()) {
      if (PlainName(row) == wanted) return row.identity;
    }
    Refuse(*name, table->KeyPath("board"), "there is no board " + Quoted(wanted));
  }

  static std::vector<std::string> Connectors(const BoardRow& board) {
    std::vector<std::string> names;
    for (uint32_t i = 1; i <= board.videoIn; ++i) names.push_back("input" + std::to_string(i));
    if (board.hdmiIn > 0) names.emplace_back("hdmi");
    if (board.analogIn > 0) names.emplace_back("analog");
    return names;
  }

  // A connector that other boards have is told apart from a slip of the pen.
  static void RefuseForeignConnector(const toml::table& node, const BoardRow& board) {
    const std::vector<std::string> have = Connectors(board);
    for (const char* name : {"input1", "input2", "input3", "input4", "hdmi", "analog", "output1",
                             "output2", "output3", "output4"}) {
      const toml::node* found = node.get(name);
      if (found == nullptr) continue;
      const bool isOutput = std::strncmp(name, "output", 6) == 0;
      const bool has = isOutput ? static_cast<uint32_t>(name[6] - '0') <= board.videoOut
                                : std::find(have.begin(), have.end(), name) != have.end();
      if (!has) {
        Refuse(*found, std::string("card.") + name,
               "board " + Quoted(PlainName(board)) + " has no such connector");
      }
    }
  }

  static uint32_t Format(TomlTable* table, const std::string& key, const std::string& text) {
    if (const uint32_t format = FormatOfText(text); format != 0) return format;
    const toml::node* node = table->Node().get(key);
    Refuse(node != nullptr ? *node : table->Node(), table->KeyPath(key),
           "there is no format " + Quoted(text) + ", see docs/machine.md for the list");
  }

  // [card.vtr] alone connects the machine; `rs422` says so without one, or takes the cable out.
  void Deck(TomlTable* table, const BoardRow& board, CardDescription* card) {
    const toml::node* flag = table->Node().get("rs422");
    card->rs422 = table->Flag("rs422");
    const toml::table* vtr = table->Child("vtr");
    if (vtr != nullptr && flag == nullptr) card->rs422 = true;
    if (card->rs422 && !BoardHasUart(card->identity)) {
      const bool byFlag = flag != nullptr;
      Refuse(byFlag ? *flag : *vtr, byFlag ? "card.rs422" : "card.vtr",
             "board " + Quoted(PlainName(board)) + " has no port for a tape machine");
    }
    if (vtr != nullptr) card->deck = ReadDeckDescription(*vtr, folder_);
    if (card->rs422) decks_.push_back({vtr, card->deck.tape});
  }

  // Two machines cannot play one tape.
  void CheckTapes(const toml::table& root) const {
    for (size_t i = 0; i < decks_.size(); ++i) {
      for (size_t k = 0; k < i; ++k) {
        if (decks_[i].tape != decks_[k].tape) continue;
        const toml::node* at = decks_[i].vtr;
        if (at != nullptr && decks_[i].vtr->contains("tape")) at = decks_[i].vtr->get("tape");
        Refuse(at != nullptr ? *at : *root.get("card"), "card.vtr.tape",
               "this tape is in another card's machine; give each machine one of its own");
      }
    }
  }

  InputDescription Input(const toml::table& node, const std::string& name,
                         const CardDescription& card) {
    TomlTable table(node, "card." + name);
    InputDescription input;
    input.connector = name;
    const std::string source = table.Text("source", "none");
    const std::string format = table.Text("format", "");
    const std::string clip = table.Text("clip", "");
    const std::string loop = table.Text("loop", "");
    const toml::node& at = node.contains("source") ? *node.get("source") : node;
    if (source == "tape") {
      input.source = SignalSource::kTape;
      if (!card.rs422) {
        Refuse(at, table.KeyPath("source"),
               "no tape machine is connected; describe it in [card.vtr]");
      }
      input.videoFormat = DeckVideoFormat(card.deck);
      if (!format.empty() && Format(&table, "format", format) != input.videoFormat) {
        Refuse(*node.get("format"), table.KeyPath("format"),
               std::string("the tape is ") + VideoFormatText(input.videoFormat));
      }
    } else if (source == "bars") {
      input.source = SignalSource::kBars;
      input.videoFormat = Format(&table, "format", format.empty() ? kDefaultFormat : format);
    } else if (source == "clip") {
      input.source = SignalSource::kClip;
      input.clip = Absolute(clip);
      Clip(&table, format, &input);
    } else if (source == "loop") {
      input.source = SignalSource::kLoop;
      if (loop.empty()) Refuse(at, table.KeyPath("loop"), "which output? such as \"0.output1\"");
      Loop(*node.get("loop"), table.KeyPath("loop"), loop, &input);
    } else if (source != "none") {
      Refuse(at, table.KeyPath("source"),
             "there is no source " + Quoted(source) + "; bars, clip, loop, tape or none");
    }
    RefuseStray(&table, "clip", !clip.empty() && source != "clip");
    RefuseStray(&table, "loop", !loop.empty() && source != "loop");
    RefuseStray(&table, "format", !format.empty() && (source == "loop"));
    const bool tape = input.source == SignalSource::kTape;
    RefuseStray(&table, "timecode", tape && node.contains("timecode"));
    RefuseStray(&table, "audio", tape && node.contains("audio"));
    Timecode(&table, &input);
    Sound(&table, &input);
    table.Done();
    return input;
  }

  // A key that its source makes no use of would mislead whoever reads the file.
  static void RefuseStray(TomlTable* table, const std::string& key, bool stray) {
    if (!stray) return;
    Refuse(*table->Node().get(key), table->KeyPath(key), "the source does not use this key");
  }

  static void Clip(TomlTable* table, const std::string& format, InputDescription* input) {
    const std::string key = table->KeyPath("clip");
    const toml::node* at = table->Node().get("clip");
    if (input->clip.empty()) {
      Refuse(at != nullptr ? *at : table->Node(), key, "which file? a path is needed here");
    }
    std::string error;
    if (!MediaReader::CheckWhole(input->clip, &error)) Refuse(*at, key, error);
    const auto reader = MediaReader::Open(input->clip, 48000, &error);
    if (!reader) Refuse(*at, key, error);
    if (!reader->Info().hasPicture) Refuse(*at, key, Quoted(input->clip) + " has no picture");
    if (format.empty()) {
      input->videoFormat = FormatOfMovie(reader->Info());
      if (input->videoFormat == 0) {
        Refuse(*at, key,
               Quoted(input->clip) + " is " + MovieText(reader->Info()) +
                   "; no format of the card is like that");
      }
      return;
    }
    input->videoFormat = Format(table, "format", format);
    if (!MovieFits(reader->Info(), input->videoFormat, &error)) {
      Refuse(*at, key, Quoted(input->clip) + " " + error);
    }
  }

  void Loop(const toml::node& at, const std::string& key, const std::string& text,
            InputDescription* input) {
    unsigned card = 0;
    unsigned output = 0;
    int used = 0;
    const int got = std::sscanf(text.c_str(), "%u.output%u%n", &card, &output, &used);
    if (got != 2 || static_cast<size_t>(used) != text.size()) {
      Refuse(at, key, Quoted(text) + " is no output; it is written like \"0.output1\"");
    }
    input->loopCard = card;
    input->loopOutput = output;
    loops_.push_back({&at, key, card, output});
  }

  static void Timecode(TomlTable* table, InputDescription* input) {
    const toml::node* node = table->Node().get("timecode");
    const std::string text = table->Text("timecode", input->timecode);
    if (text == "none") {
      input->timecode.clear();
      return;
    }
    if (!SourceTimecode::IsTimecodeText(text)) {
      Refuse(*node, table->KeyPath("timecode"),
             Quoted(text) + " is no timecode; it is written like \"01:00:00:00\"");
    }
    input->timecode = text;
  }

  static void Sound(TomlTable* table, InputDescription* input) {
    const bool isClip = input->source == SignalSource::kClip;
    const toml::node* node = table->Node().get("audio");
    const std::string text = table->Text("audio", isClip ? "clip" : "tone");
    const std::string key = table->KeyPath("audio");
    if (text == "tone") {
      input->sound = SoundSource::kTone;
    } else if (text == "silence") {
      input->sound = SoundSource::kSilence;
    } else if (text == "clip") {
      if (!isClip) Refuse(*node, key, "only the source \"clip\" has sound of its own");
      input->sound = SoundSource::kClip;
    } else {
      Refuse(*node, key, "there is no sound " + Quoted(text) + "; tone, clip or silence");
    }
  }

  OutputDescription Output(const toml::table& node, const std::string& name, uint32_t number) {
    TomlTable table(node, "card." + name);
    OutputDescription output;
    output.number = number;
    output.log = OutputPath(&table, "log");
    output.record = OutputPath(&table, "record");
    std::string error;
    if (!output.log.empty() && !OutputLog::CanWrite(output.log, &error)) {
      Refuse(*node.get("log"), table.KeyPath("log"), error);
    }
    table.Done();
    return output;
  }

  static FaultDescription Faults(const toml::table& node) {
    constexpr int64_t kMost = 1LL << 40;
    TomlTable table(node, "card.faults");
    FaultDescription faults;
    faults.dropAt = table.Numbers("drop_at", kMost);
    if (const toml::node* stall = table.Find("stall_transfer")) {
      const auto one = [&](const toml::node& item) {
        if (!item.is_table()) {
          Refuse(item, "card.faults.stall_transfer", "{frame = 10, ms = 200} is needed here");
        }
        TomlTable entry(*item.as_table(), "card.faults.stall_transfer");
        FaultDescription::Stall made;
        made.frame = entry.Number("frame", 0, kMost).value_or(0);
        made.milliseconds = entry.Number("ms", 0, 3600000).value_or(0);
        entry.Done();
        faults.stallTransfer.push_back(made);
      };
      if (const toml::array* list = stall->as_array()) {
        for (const toml::node& item : *list) one(item);
      } else {
        one(*stall);
      }
    }
    faults.refuseInit = table.Flag("refuse_init");
    faults.refuseStart = table.Flag("refuse_start");
    faults.loseInputAt = table.Number("lose_input_at", 0, kMost);
    faults.returnInputAt = table.Number("return_input_at", 0, kMost);
    if (const toml::node* node_ = table.Find("refuse_register")) {
      if (node_->is_array()) {
        for (const int64_t number : table.Numbers("refuse_register", 0xFFFFFFFF)) {
          faults.refuseRegister.push_back(static_cast<uint32_t>(number));
        }
      } else {
        faults.refuseRegister.push_back(static_cast<uint32_t>(
            TomlTable::NumberOf(*node_, table.KeyPath("refuse_register"), 0, 0xFFFFFFFF)));
      }
    }
    table.Done();
    return faults;
  }

  // A cable must end at an output that exists; cards may be described in any order.
  void CheckLoops(const MachineDescription& machine) {
    for (const LoopEnd& end : loops_) {
      const bool exists = end.card < machine.cards.size() && end.output >= 1 &&
                          end.output <= FindBoard(machine.cards[end.card].identity)->videoOut;
      if (!exists) Refuse(*end.at, end.key, "this machine has no such output");
    }
  }

  struct LoopEnd {
    const toml::node* at;
    std::string key;
    uint32_t card;
    uint32_t output;
  };

  struct DeckAt {
    const toml::table* vtr;  // null: none was described
    std::string tape;
  };

  std::string folder_;
  std::vector<LoopEnd> loops_;
  std::vector<DeckAt> decks_;
};

}  // namespace

MachineDescription BuiltInMachine() {
  MachineDescription machine;
  CardDescription card;
  card.identity = BoardElm;
  card.rs422 = true;
  InputDescription input;
  input.connector = "input1";
  input.source = SignalSource::kBars;
  for (const VideoFormatRow& row : VideoFormatRows()) {
    if (std::strcmp(row.text, kDefaultFormat) == 0) input.videoFormat = row.value;
  }
  card.referenceFormat = input.videoFormat;
  card.inputs.push_back(input);
  machine.cards.push_back(card);
  return machine;
}

bool LoadMachineDescription(const std::string& path, MachineDescription* machine,
                            std::string* error) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream text;
  if (file) text << file.rdbuf();
  if (!file || text.bad()) {
    *error = path + ": the machine description cannot be read: " + std::strerror(errno);
    return false;
  }
  const size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  return ParseMachineDescription(text.str(), path, folder, machine, error);
}

bool ParseMachineDescription(const std::string& text, const std::string& name,
                             const std::string& folder, MachineDescription* machine,
                             std::string* error) {
  try {
    const toml::table root = toml::parse(text, name);
    *machine = Reader(folder).Machine(root);
    return true;
  } catch (const Refusal& refusal) {
    *error = name + ":" + std::to_string(refusal.line) + ": " + refusal.key + ": " + refusal.text;
  } catch (const toml::parse_error& failure) {
    *error = name + ":" + std::to_string(failure.source().begin.line) + ": " +
             std::string(failure.description());
  } catch (const std::exception& failure) {
    *error = name + ": " + failure.what();
  }
  std::replace(error->begin(), error->end(), '\n', ' ');
  return false;
}

}  // namespace morvane
