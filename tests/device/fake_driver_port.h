#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "base/message_hook.h"
#include "device/driver_port.h"
#include "device/driver_records.h"

namespace morvane::test {

// A driver that stores registers, answers the plain requests and keeps every record, in and out.
// It has no time: waits end at once, with the answer that the test sets.
class FakeDriverPort final : public DriverPort {
 public:
  struct Call {
    std::vector<uint8_t> in, out;
    [[nodiscard]] uint32_t Word(size_t offset) const {
      uint32_t value = 0;
      if (offset + 4 <= in.size()) std::memcpy(&value, in.data() + offset, 4);
      return value;
    }
    [[nodiscard]] uint32_t Number() const { return Word(16); }
    [[nodiscard]] uint32_t Flags() const { return Word(20); }
    [[nodiscard]] bool IsWrite() const { return Number() == PropertyRegister && Flags() == 2; }
    [[nodiscard]] bool IsRead() const { return Number() == PropertyRegister && Flags() == 1; }
    [[nodiscard]] uint32_t Register() const { return Word(24); }
    [[nodiscard]] uint32_t Value() const { return Word(28); }
  };
  struct Device {
    PropertySetId set;
    DriverDevice device;
    uint32_t identity;
  };

  FakeDriverPort() { InstallDriverPort(this); }
  ~FakeDriverPort() override { InstallDriverPort(nullptr); }

  // A board that Open() finds; its identity is register 50.
  void AddBoard(uint32_t boardType, uint32_t identity, const std::string& location = "PCI bus 2") {
    const auto n = std::to_string(devices.size());
    devices.push_back(
        {*PropertySetOfBoardType(boardType), {"card" + n, location, "PCI bus 0", 7}, identity});
  }

  // ---- what tests look at and set ----
  std::vector<Device> devices;
  std::map<uint32_t, uint32_t> registers;                            // those not here read 0
  std::set<uint32_t> refusedRegisters, refusedReads, refusedWrites;  // both ways; one way
  uint32_t failFrom = 4096;  // hardware registers from here to 9999 fail
  std::vector<Call> calls;
  std::set<uint32_t> refusedProperties;
  bool waitAnswer = true;
  uint32_t openEvents = 0;
  uint32_t opens = 0, closes = 0;
  uint32_t registerWindow = 16384;
  std::vector<uint8_t> flash;
  bool flashStuck = false;  // register 58 says busy for ever
  std::function<void(const Call&, uint8_t* out, size_t bytes)> circulate;

  [[nodiscard]] std::vector<Call> Writes() const {
    std::vector<Call> result;
    for (const Call& call : calls) {
      if (call.IsWrite()) result.push_back(call);
    }
    return result;
  }
  [[nodiscard]] std::vector<Call> WritesTo(uint32_t number) const {
    std::vector<Call> result;
    for (const Call& call : calls) {
      if (call.IsWrite() && call.Register() == number) result.push_back(call);
    }
    return result;
  }
  [[nodiscard]] size_t ReadsOf(uint32_t number) const {
    size_t count = 0;
    for (const Call& call : calls) count += call.IsRead() && call.Register() == number ? 1 : 0;
    return count;
  }
  [[nodiscard]] size_t Count(uint32_t property) const {
    size_t count = 0;
    for (const Call& call : calls) count += call.Number() == property ? 1 : 0;
    return count;
  }

  // ---- DriverPort ----
  bool Enumerate(const PropertySetId& id, uint32_t index, DriverDevice* device) override {
    for (const Device& candidate : devices) {
      if (candidate.set != id) continue;
      if (index-- == 0) {
        *device = candidate.device;
        return true;
      }
    }
    return false;
  }
  DriverHandle Open(const std::string& path, bool shared) override {
    if (exclusive_ || (!shared && opens > closes)) return 0;
    for (const Device& candidate : devices) {
      if (candidate.device.path != path) continue;
      exclusive_ = !shared;
      registers[50] = candidate.identity;
      return ++opens;
    }
    return 0;
  }
  void Close(DriverHandle) override {
    exclusive_ = false;
    ++closes;
  }
  bool Request(DriverHandle, const void* in, size_t inBytes, void* out, size_t outBytes) override {
    const auto* bytes = static_cast<const uint8_t*>(in);
    Call call{{bytes, bytes + inBytes}, {}};
    const bool good = refusedProperties.count(call.Number()) == 0 &&
                      Execute(call, static_cast<uint8_t*>(out), outBytes);
    const auto* result = static_cast<const uint8_t*>(out);
    call.out.assign(result, result + outBytes);
    calls.push_back(call);
    return good;
  }
  DriverEvent CreateEvent() override {
    ++openEvents;
    return nextEvent_++;
  }
  void CloseEvent(DriverEvent) override { --openEvents; }
  bool WaitEvent(DriverEvent, uint32_t) override { return waitAnswer; }
  void* MappedMemory(DriverHandle, uint32_t base, size_t bytes) override {
    return base == kRegisterBase && bytes <= sizeof window_ ? window_ : nullptr;
  }
  UserMemory& Memory() override { return memory_; }

  static constexpr uint32_t kFrameBase = 0x40000000, kRegisterBase = 0x20000000,
                            kFlashBase = 0x30000000;

 private:
  static void Put(uint8_t* out, size_t offset, uint32_t value) {
    std::memcpy(out + offset, &value, 4);
  }
  bool Execute(const Call& call, uint8_t* out, size_t outBytes) {
    switch (call.Number()) {
      case PropertyRegister:
        return AccessRegister(call, out);
      case PropertyMap:
        if (call.Flags() == 1) {
          const uint32_t bases[] = {kFrameBase, kRegisterBase, kFlashBase};
          Put(out, 24, bases[call.Word(32)]);
          Put(out, 28, call.Word(32) == 1 ? registerWindow : 0x800000);
        }
        return true;
      case PropertySubscription:
      case PropertySubscriptionOld:
        if (call.Word(28) == kInterruptCountCode) Put(out, 24, 77);
        return true;
      case PropertyInterrupt:
      case PropertyDma:
        return true;
      case PropertyBitFile:
        Put(out, 24 + 8, 1024);
        Put(out, 24 + 64, registers[10050]);
        return true;
      default:
        if (circulate) circulate(call, out, outBytes);
        return true;
    }
  }
  bool AccessRegister(const Call& call, uint8_t* out) {
    const uint32_t number = call.Register();
    if ((number >= failFrom && number < 10000) || refusedRegisters.count(number) != 0) return false;
    const auto& refused = call.IsWrite() ? refusedWrites : refusedReads;
    if (refused.count(number) != 0) return false;
    const uint32_t mask = call.Word(32), shift = call.Word(36);
    if (call.IsWrite()) {
      uint32_t& stored = registers[number];
      if (number != 50) stored = (stored & ~mask) | ((call.Value() << shift) & mask);
      return true;
    }
    uint32_t value = registers.count(number) != 0 ? registers[number] : 0;
    if (number == 61 && registers[59] + 4 <= flash.size()) {
      std::memcpy(&value, flash.data() + registers[59], 4);
    }
    if (number == 58 && flashStuck) value = 0x100;
    if (number == 18) value = ++line_ / 2;  // 0 1 1 2 2 ...: stands still on every other read
    Put(out, 28, (value & mask) >> shift);
    return true;
  }

  UserMemory memory_;
  bool exclusive_ = false;
  DriverEvent nextEvent_ = 0x51;
  uint32_t line_ = 0;
  uint8_t window_[16384] = {};
};

// Keeps every message while it lives.
class MessageRecorder {
 public:
  MessageRecorder() {
    SetMessageHook(
        [](void* context, const char* caption, const char* text) {
          auto* self = static_cast<MessageRecorder*>(context);
          self->captions.emplace_back(caption);
          self->texts.emplace_back(text);
        },
        this);
  }
  ~MessageRecorder() { SetMessageHook(nullptr, nullptr); }

  std::vector<std::string> captions, texts;
};

}  // namespace morvane::test
