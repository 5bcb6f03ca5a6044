#pragma once

#include <algorithm>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "device/boards.h"
#include "device/driver_port.h"
#include "device/driver_records.h"

namespace morvane::test {

using DeckBytes = std::vector<uint8_t>;

// What a deck sends back. Times count from the last byte of the command having left.
struct DeckAnswer {
  DeckBytes bytes;
  int64_t afterNs = 1'000'000;  // the first byte is there
  int64_t gapNs = 286'458;      // between bytes: line speed
};

// A driver with nothing but a serial port, and at its end a deck that answers as the test says.
// It owns a manual clock and moves it in its waits, so time is exact and costs nothing. Whatever
// lies unread in the port is thrown away when the next command goes out.
class ScriptedDeck final : public DriverPort {
 public:
  explicit ScriptedDeck(uint32_t identity = BoardElm) : identity_(identity) {
    InstallDriverPort(this);
  }
  ~ScriptedDeck() override { InstallDriverPort(nullptr); }

  // ---- what tests set and look at ----
  // Asked for each whole command, its checksum included. The default is a deck that is not there.
  std::function<DeckAnswer(const DeckBytes& command)> answer;
  std::vector<DeckBytes> commands;       // as they left the port
  std::vector<std::string> portActions;  // claims of the port, in their order
  uint32_t stored = 0;                   // the control bits of register 72
  bool present = true;                   // bit 8 of it
  bool transmits = true;                 // false: the transmit side never empties
  bool wildReceive = false;              // the receive side interrupts without a byte, for ever
  std::set<uint32_t> refuseWrites, refuseReads;

  // Lets time pass while nobody waits.
  void Pass(int64_t milliseconds) {
    EndCommand();
    clock_.Advance(milliseconds * 1'000'000);
    Settle();
  }
  // Commands since the last call, a line each, in hexadecimal.
  std::string TakeCommands() {
    std::string text;
    for (const DeckBytes& command : commands) {
      for (size_t i = 0; i < command.size(); ++i) {
        constexpr char kHex[] = "0123456789ABCDEF";
        if (i > 0) text += ' ';
        text += {kHex[command[i] >> 4], kHex[command[i] & 15]};
      }
      text += '\n';
    }
    commands.clear();
    return text;
  }

  // ---- DriverPort ----
  bool Enumerate(const PropertySetId& id, uint32_t index, DriverDevice* device) override {
    const BoardRow* row = FindBoard(identity_);
    const PropertySetId* wanted = row != nullptr ? PropertySetOfBoardType(row->boardType) : nullptr;
    if (wanted == nullptr || id != *wanted || index != 0) return false;
    device->path = "scripted";
    return true;
  }
  DriverHandle Open(const std::string&, bool) override { return 1; }
  void Close(DriverHandle) override {}
  DriverEvent CreateEvent() override { return ++lastEvent_; }
  void CloseEvent(DriverEvent event) override { signalled_.erase(event); }
  void* MappedMemory(DriverHandle, uint32_t, size_t) override { return nullptr; }
  UserMemory& Memory() override { return memory_; }

  bool Request(DriverHandle, const void* in, size_t inBytes, void* out, size_t) override {
    PropertyHeader header;
    std::memcpy(&header, in, sizeof header);
    Settle();
    if (header.number == PropertyRegister && inBytes == sizeof(RegisterRecord)) {
      RegisterRecord record;
      std::memcpy(&record, in, sizeof record);
      if (header.flags == kPropertySet) return Write(record);
      if (refuseReads.count(record.registerNumber) != 0) return false;
      record.value = (Read(record.registerNumber) & record.mask) >> record.shift;
      std::memcpy(out, &record, sizeof record);
      return true;
    }
    if (header.number == PropertyInterrupt && inBytes == sizeof(InterruptRecord)) {
      InterruptRecord record;
      std::memcpy(&record, in, sizeof record);
      const bool on = header.flags == kPropertyGet;
      enabled_[record.interruptType] = on;
      portActions.push_back((on ? "enable " : "disable ") + std::to_string(record.interruptType));
      return true;
    }
    if (header.number == PropertySubscription && inBytes == sizeof(SubscriptionRecord)) {
      SubscriptionRecord record;
      std::memcpy(&record, in, sizeof record);
      const bool on = header.flags == kPropertyGet;
      events_[record.interruptType] = on ? record.event : 0;
      portActions.push_back((on ? "subscribe " : "leave ") + std::to_string(record.interruptType));
      return true;
    }
    return false;
  }

  bool WaitEvent(DriverEvent event, uint32_t timeoutMs) override {
    EndCommand();
    const int64_t deadline = NxClockNowNs() + int64_t{timeoutMs} * 1'000'000;
    for (;;) {
      Settle();
      if (signalled_.erase(event) != 0) return true;
      if (wildReceive && event == events_[InterruptUartReceive]) return true;
      const int64_t next = std::min(NextNs(), deadline);
      if (next == deadline && NxClockNowNs() >= deadline) return false;
      clock_.Advance(std::max<int64_t>(next - NxClockNowNs(), 0));
    }
  }

 private:
  static constexpr int64_t kByteNs = 286'458;

  bool Write(const RegisterRecord& record) {
    if (refuseWrites.count(record.registerNumber) != 0) return false;
    if (record.registerNumber == 70) {
      if (sending_.empty()) unread_.clear();
      sending_.push_back(static_cast<uint8_t>(record.value));
    } else if (record.registerNumber == 72) {
      stored = record.value & 0xC9;
      portActions.push_back("write " + std::to_string(record.value));
    }
    return true;
  }

  uint32_t Read(uint32_t number) {
    switch (number) {
      case 50:
        return identity_;
      case 10002:
        return kDriverVersionNewSubscription;
      case 71: {
        if (unread_.empty()) return 0;
        const uint8_t byte = unread_.front();
        unread_.pop_front();
        return byte;
      }
      case 72:
        return stored | (present ? 0x100u : 0) | (unread_.empty() ? 0 : 0x10u);
      default:
        return 0;
    }
  }

  // The bytes written since the last wait are one command.
  void EndCommand() {
    if (sending_.empty()) return;
    const DeckBytes command = std::exchange(sending_, {});
    commands.push_back(command);
    if (!transmits) return;
    const int64_t sentNs = NxClockNowNs() + static_cast<int64_t>(command.size()) * kByteNs;
    emptyNs_ = sentNs;
    if (!answer) return;
    const DeckAnswer reply = answer(command);
    for (size_t i = 0; i < reply.bytes.size(); ++i) {
      const int64_t at = sentNs + reply.afterNs + static_cast<int64_t>(i) * reply.gapNs;
      coming_.emplace(at, reply.bytes[i]);
    }
  }

  int64_t NextNs() const {
    int64_t next = emptyNs_;
    if (!coming_.empty()) next = std::min(next, coming_.begin()->first);
    return next;
  }

  void Settle() {
    const int64_t now = NxClockNowNs();
    if (now >= emptyNs_) {
      emptyNs_ = kClockForeverNs;
      Raise(InterruptUartTransmit);
    }
    while (!coming_.empty() && coming_.begin()->first <= now) {
      unread_.push_back(coming_.begin()->second);
      coming_.erase(coming_.begin());
      Raise(InterruptUartReceive);
    }
  }

  void Raise(uint32_t type) {
    if (enabled_[type] && events_[type] != 0) signalled_.insert(events_[type]);
  }

  const uint32_t identity_;
  ManualClock clock_;
  UserMemory memory_;
  DeckBytes sending_;
  int64_t emptyNs_ = kClockForeverNs;
  std::multimap<int64_t, uint8_t> coming_;
  std::deque<uint8_t> unread_;
  std::map<uint32_t, bool> enabled_;
  std::map<uint32_t, DriverEvent> events_;
  std::set<DriverEvent> signalled_;
  DriverEvent lastEvent_ = 0;
};

// ---- what decks answer ----

// A reply with its checksum.
inline DeckBytes Framed(DeckBytes bytes) {
  uint8_t sum = 0;
  for (const uint8_t byte : bytes) sum = static_cast<uint8_t>(sum + byte);
  bytes.push_back(sum);
  return bytes;
}

inline DeckBytes Ack(size_t length = 3) {
  DeckBytes bytes = {0x10, 0x01, 0x11};
  bytes.resize(length, 0);
  return bytes;
}

inline bool Begins(const DeckBytes& command, uint8_t first, uint8_t second) {
  return command.size() >= 2 && command[0] == first && command[1] == second;
}

// A deck with one time, one status and a speed byte. `longAcks`: acknowledgements of shuttle,
// reverse play, preset and cue come lengthened.
struct SteadyDeck {
  bool longAcks = true;
  DeckBytes status = DeckBytes(10, 0);
  DeckBytes time = {0, 0, 0, 0};  // frames, seconds, minutes, hours

  DeckAnswer operator()(const DeckBytes& command) const {
    if (Begins(command, 0x61, 0x20)) {
      DeckBytes reply = {0x7A, 0x20};
      reply.insert(reply.end(), status.begin(), status.end());
      return {Framed(reply)};
    }
    if (Begins(command, 0x61, 0x0C)) {
      DeckBytes reply = {0x74, 0x04};
      reply.insert(reply.end(), time.begin(), time.end());
      return {Framed(reply)};
    }
    if (Begins(command, 0x60, 0x2E)) return {Framed({0x71, 0x2E, 0x40})};
    if (!longAcks) return {Ack()};
    if (Begins(command, 0x24, 0x31) || Begins(command, 0x44, 0x04)) return {Ack(7)};
    const bool reversePlay = Begins(command, 0x21, 0x21) && command[2] == 0x40;
    if (reversePlay || Begins(command, 0x21, 0x13) || Begins(command, 0x21, 0x23)) return {Ack(4)};
    return {Ack()};
  }
};

}  // namespace morvane::test
