#include "simulator/deck_description.h"

#include <filesystem>

#include "base/paths.h"
#include "device/formats.h"
#include "simulator/tape_folder.h"
#include "simulator/toml_table.h"

namespace morvane {
namespace {

constexpr uint32_t kDefaultFormat = 2;  // 1080i 59.94
constexpr int64_t kDaySeconds = 86400;
constexpr int64_t kMostFrames = 1 << 24;

bool IsThere(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::exists(std::filesystem::symlink_status(path, ignored));
}

std::string TimecodeOf(TomlTable* table, const std::string& key, const std::string& otherwise) {
  const std::string text = table->Text(key, otherwise);
  if (!text.empty() && !SourceTimecode::IsTimecodeText(text)) {
    Refuse(*table->Node().get(key), table->KeyPath(key),
           "\"" + text + "\" is no timecode; it is written like \"01:00:00:00\"");
  }
  return text;
}

// Faults may be described as a table of their own, [card.vtr.faults].
DeckFaultDescription Faults(const toml::table& node) {
  TomlTable table(node, "card.vtr.faults");
  DeckFaultDescription faults;
  faults.local = table.Flag("local");
  faults.tapeOut = table.Flag("tape_out");
  faults.recordInhibit = table.Flag("record_inhibit");
  faults.offLine = table.Flag("off_line");
  faults.skipTimecode = TimecodeOf(&table, "skip_timecode", "");
  faults.jumpAt = TimecodeOf(&table, "jump_at", "");
  faults.jumpFrames = table.Number("jump_frames", -kMostFrames, kMostFrames).value_or(0);
  faults.slowReplyMs = table.Number("slow_reply", 0, 3600000).value_or(0);
  faults.cutReply = table.Number("cut_reply", 0, 32).value_or(0);
  faults.wrongSum = table.Flag("wrong_sum");
  faults.wrongReply = table.Flag("wrong_reply");
  table.Done();
  return faults;
}

uint32_t FormatNamed(TomlTable* table, const std::string& text) {
  if (const uint32_t format = FormatOfText(text); format != 0) return format;
  Refuse(*table->Node().get("format"), table->KeyPath("format"),
         "there is no format \"" + text + "\", see docs/machine.md for the list");
}

// A tape that is there says by itself what it is.
void CheckTape(TomlTable* table, const toml::node& at, DeckDescription* deck) {
  const std::string key = table->KeyPath("tape");
  if (!IsThere(deck->tape)) {
    const std::filesystem::path parent = std::filesystem::path(deck->tape).parent_path();
    if (!IsThere(parent)) {
      Refuse(at, key, "the folder \"" + parent.string() + "\" does not exist");
    }
    return;
  }
  std::string error;
  const auto tape = TapeFolder::Open(deck->tape, false, &error);
  if (tape == nullptr) Refuse(at, key, "\"" + deck->tape + "\" is no tape: " + error);
  if (deck->videoFormat != 0 && deck->videoFormat != tape->Facts().videoFormat) {
    Refuse(*table->Node().get("format"), table->KeyPath("format"),
           std::string("the tape is ") + VideoFormatText(tape->Facts().videoFormat));
  }
}

// The timecode that a new tape begins with must be one that its format counts.
void CheckTimecode(TomlTable* table, const toml::table& node, const DeckDescription& deck) {
  if (node.get("timecode") == nullptr) return;
  const bool drop = deck.timecode.find(';') != std::string::npos;
  const uint32_t format = deck.videoFormat != 0 ? deck.videoFormat : kDefaultFormat;
  const TapeRate rate = TapeRate::Of(format, drop);
  if (drop == rate.dropFrame && IsTapeNumber(rate, deck.timecode)) return;
  Refuse(*node.get("timecode"), table->KeyPath("timecode"),
         std::string("there is no ") + deck.timecode + " in " + VideoFormatText(format));
}

}  // namespace

DeckDescription ReadDeckDescription(const toml::table& node, const std::string& folder) {
  TomlTable table(node, "card.vtr");
  DeckDescription deck;
  deck.tape = table.Text("tape", "");
  if (!deck.tape.empty() && deck.tape.front() != '/') deck.tape = JoinPath(folder, deck.tape);
  const std::string format = table.Text("format", "");
  if (!format.empty()) deck.videoFormat = FormatNamed(&table, format);
  deck.timecode = TimecodeOf(&table, "timecode", deck.timecode);
  deck.seconds = table.Number("length", 1, kDaySeconds).value_or(deck.seconds);
  const std::string manner = table.Text("manner", "padded");
  if (manner != "padded" && manner != "plain") {
    Refuse(*node.get("manner"), table.KeyPath("manner"),
           "there is no manner \"" + manner + "\"; padded or plain");
  }
  deck.plain = manner == "plain";
  if (const toml::table* faults = table.Child("faults")) deck.faults = Faults(*faults);
  if (!deck.tape.empty()) CheckTape(&table, *node.get("tape"), &deck);
  CheckTimecode(&table, node, deck);
  table.Done();
  return deck;
}

std::string DeckTapePath(const DeckDescription& deck) {
  return deck.tape.empty() ? JoinPath(DataFolder(), "tape") : deck.tape;
}

uint32_t DeckVideoFormat(const DeckDescription& deck) {
  std::string ignored;
  const std::string path = DeckTapePath(deck);
  if (IsThere(path)) {
    const auto tape = TapeFolder::Open(path, false, &ignored);
    if (tape != nullptr) return tape->Facts().videoFormat;
  }
  return deck.videoFormat != 0 ? deck.videoFormat : kDefaultFormat;
}

}  // namespace morvane
