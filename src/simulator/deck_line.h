#pragma once

#include <cstdint>
#include <deque>
#include <span>
#include <vector>

#include "simulator/card_uart.h"

namespace morvane {

using DeckBytes = std::vector<uint8_t>;

// Who carries out what the line has understood.
class DeckCommands {
 public:
  virtual ~DeckCommands() = default;
  // Carries out `command` (its two command bytes and its data, without the sum) as of card time
  // `atNs`. Returns: the reply without its sum or padding; empty for none.
  [[nodiscard]] virtual DeckBytes Execute(std::span<const uint8_t> command, int64_t atNs) = 0;
};

// What is wrong with a machine's answers.
struct DeckLineFaults {
  bool offLine = false;     // it hears nothing and says nothing
  int64_t slowReplyNs = 0;  // each reply comes so much later
  uint32_t cutReply = 0;    // bytes missing at the end of each reply
  bool wrongSum = false;    // the sum of each reply is one too high
  bool wrongReply = false;  // each reply has the head of another command's
};

// The 9-pin line's far end: takes bytes, finds the commands among them, and sends the replies at
// line speed.
//
// A command is complete when its last byte is the sum of those before it, at a length of 3 plus
// the low nibble of its first byte or at one byte more. What is none is answered with a refusal
// after 10 ms of silence. A command that begins behind a pause is understood though what was
// before it is rubbish. The reply begins 1 ms behind the command's last byte.
// Threads: the card's lock.
class DeckLine : public SerialDevice {
 public:
  // `padded`: acknowledgements come lengthened with zero bytes, to 4 for shuttle and reverse play
  // and to 7 for presets and cue-up; otherwise they have three bytes always.
  DeckLine(DeckCommands* commands, bool padded) : commands_(commands), padded_(padded) {}

  void SetFaults(const DeckLineFaults& faults) { faults_ = faults; }

  void Receive(uint8_t byte, int64_t atNs) override;
  [[nodiscard]] int64_t NextEventNs() const override;
  [[nodiscard]] bool Event(uint8_t* byte) override;
  void Interrupted() override { replies_.clear(); }

 private:
  struct Heard {
    uint8_t byte;
    bool behindPause;
  };
  struct Reply {
    int64_t arrivesNs;
    uint8_t byte;
  };

  [[nodiscard]] DeckBytes CommandAt(size_t start) const;
  void Accept(const DeckBytes& command, int64_t atNs);
  void Send(DeckBytes reply, int64_t beginsNs);
  [[nodiscard]] DeckBytes Padded(const DeckBytes& command, DeckBytes reply) const;

  DeckCommands* commands_;
  bool padded_;
  DeckLineFaults faults_;
  std::deque<Heard> heard_;  // since the last command; at most kLongest
  int64_t heardNs_ = 0;      // when the last of them arrived
  std::deque<Reply> replies_;
};

// The sum that ends a command or reply: of all bytes before it, modulo 256.
[[nodiscard]] uint8_t DeckSum(std::span<const uint8_t> bytes);

}  // namespace morvane
