#include "simulator/deck_line.h"

#include <limits>

namespace morvane {
namespace {

constexpr size_t kLongest = 19;             // first byte's nibble 15, and one more
constexpr int64_t kReplyDelayNs = 1000000;  // shorter than the 5 ms that a controller waits
constexpr int64_t kSilenceNs = 10000000;
constexpr int64_t kPauseNs = 2000000;  // no controller pauses so long within a command
constexpr int64_t kNever = std::numeric_limits<int64_t>::max();

const DeckBytes kAcknowledge = {0x10, 0x01};
const DeckBytes kNotUnderstood = {0x11, 0x12, 0x04};

bool IsReversePlay(const DeckBytes& command) {
  return command == DeckBytes{0x21, 0x21, 0x40};
}

// Forwards and backwards, with the speed in one byte or in two.
bool IsShuttle(const DeckBytes& command) {
  return (command[0] == 0x21 || command[0] == 0x22) && (command[1] == 0x13 || command[1] == 0x23);
}

bool IsPresetOrCue(const DeckBytes& command) {
  return command[0] == 0x44 || (command[0] == 0x24 && command[1] == 0x31);
}

}  // namespace

uint8_t DeckSum(std::span<const uint8_t> bytes) {
  unsigned sum = 0;
  for (const uint8_t byte : bytes) sum += byte;
  return static_cast<uint8_t>(sum);
}

void DeckLine::Receive(uint8_t byte, int64_t atNs) {
  replies_.clear();  // of a command before it, which the controller does not wait for
  if (faults_.offLine) {
    heard_.clear();
    return;
  }
  const bool behindPause = heard_.empty() || atNs - heardNs_ >= kPauseNs;
  if (heard_.size() == kLongest) heard_.pop_front();
  heard_.push_back({byte, behindPause});
  heardNs_ = atNs;
  for (size_t start = 0; start < heard_.size(); ++start) {
    if (!heard_[start].behindPause) continue;
    const DeckBytes command = CommandAt(start);
    if (command.empty()) continue;
    heard_.clear();
    Accept(command, atNs);
    return;
  }
}

// Returns: the command from `start` to the last byte heard, without its sum; empty when it is none.
DeckBytes DeckLine::CommandAt(size_t start) const {
  const size_t length = heard_.size() - start;
  const size_t usual = 3u + (heard_[start].byte & 15u);
  if (length != usual && length != usual + 1) return {};
  DeckBytes command;
  for (size_t i = start; i + 1 < heard_.size(); ++i) command.push_back(heard_[i].byte);
  return DeckSum(command) == heard_.back().byte ? command : DeckBytes();
}

void DeckLine::Accept(const DeckBytes& command, int64_t atNs) {
  const DeckBytes reply = commands_->Execute(command, atNs);
  if (!reply.empty()) Send(Padded(command, reply), atNs + kReplyDelayNs);
}

DeckBytes DeckLine::Padded(const DeckBytes& command, DeckBytes reply) const {
  const bool acknowledges = reply == kAcknowledge;
  if (faults_.wrongReply) reply = {0x12, 0x11, 0xF0, 0x01};
  const uint8_t sum = DeckSum(reply);
  reply.push_back(static_cast<uint8_t>(faults_.wrongSum ? sum + 1u : sum));
  if (padded_ && acknowledges) {
    if (IsPresetOrCue(command)) {
      reply.resize(7);
    } else if (IsShuttle(command) || IsReversePlay(command)) {
      reply.resize(4);
    }
  }
  return reply;
}

void DeckLine::Send(DeckBytes reply, int64_t beginsNs) {
  reply.resize(reply.size() - std::min<size_t>(reply.size(), faults_.cutReply));
  int64_t at = beginsNs + faults_.slowReplyNs;
  for (const uint8_t byte : reply) {
    at += kSerialByteNs;
    replies_.push_back({at, byte});
  }
}

int64_t DeckLine::NextEventNs() const {
  const int64_t reply = replies_.empty() ? kNever : replies_.front().arrivesNs;
  const int64_t silence = heard_.empty() ? kNever : heardNs_ + kSilenceNs;
  return std::min(reply, silence);
}

bool DeckLine::Event(uint8_t* byte) {
  const int64_t at = NextEventNs();
  if (!replies_.empty() && replies_.front().arrivesNs == at) {
    *byte = replies_.front().byte;
    replies_.pop_front();
    return true;
  }
  if (!heard_.empty()) {
    heard_.clear();
    DeckBytes refusal = kNotUnderstood;
    refusal.push_back(DeckSum(refusal));
    Send(refusal, at);
  }
  return false;
}

}  // namespace morvane
