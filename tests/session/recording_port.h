#pragma once

#include <cstring>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "device/boards.h"
#include "device/driver_port.h"
#include "device/driver_records.h"

namespace morvane::test {

// A driver without a card: registers are plain words, frame transfers are kept, and what is written
// is listed. One board, the first of its type.
class RecordingPort : public DriverPort {
 public:
  struct Dma {
    uint32_t engine, frame, offset, bytes;
    bool read;
    bool operator==(const Dma&) const = default;
  };

  explicit RecordingPort(uint32_t identity) : identity_(identity) {
    registers[50] = identity;
    InstallDriverPort(this);
  }
  ~RecordingPort() override { InstallDriverPort(nullptr); }

  std::map<uint32_t, uint32_t> registers;
  std::set<uint32_t> refuseWrites;  // writes to these registers fail
  bool refuseDma = false;
  std::vector<Dma> transfers;
  std::map<uint32_t, std::vector<uint8_t>> frames;  // of the copying engine
  // Bytes of engine 7, by offset.
  std::vector<uint8_t> ring = std::vector<uint8_t>(0x3FC000);

  // Writes since the last call, one a line: "register mask value", the value before its shift.
  std::string TakeWrites() {
    std::string text;
    text.swap(writes_);
    return text;
  }
  uint32_t Bits(uint32_t registerNumber, uint32_t mask) {
    return (registers[registerNumber] & mask) >> __builtin_ctz(mask);
  }

  bool Enumerate(const PropertySetId& id, uint32_t index, DriverDevice* device) override {
    const BoardRow* row = FindBoard(identity_);
    const PropertySetId* wanted = row ? PropertySetOfBoardType(row->boardType) : nullptr;
    if (wanted == nullptr || id != *wanted || index != 0) return false;
    device->path = "recording";
    return true;
  }
  DriverHandle Open(const std::string&, bool) override { return 1; }
  void Close(DriverHandle) override {}
  DriverEvent CreateEvent() override { return 1; }
  void CloseEvent(DriverEvent) override {}
  bool WaitEvent(DriverEvent, uint32_t) override { return true; }
  void* MappedMemory(DriverHandle, uint32_t, size_t) override { return nullptr; }
  UserMemory& Memory() override { return memory_; }

  bool Request(DriverHandle, const void* in, size_t inBytes, void* out, size_t outBytes) override {
    PropertyHeader header;
    std::memcpy(&header, in, sizeof header);
    if (header.number == PropertyRegister && inBytes == sizeof(RegisterRecord)) {
      return RegisterRequest(in, out);
    }
    if (header.number == PropertyDma && inBytes == sizeof(DmaRecord)) return DmaRequest(in);
    if (header.number == PropertyBitFile && inBytes == sizeof(BitFileRecord)) {
      BitFileRecord record;
      std::memcpy(&record, in, sizeof record);
      record.info.kind = registers[10050];
      std::memcpy(out, &record, sizeof record);
      return true;
    }
    if (header.number == PropertyAutoCirculateStatus) {
      std::memcpy(out, in, outBytes < inBytes ? outBytes : inBytes);
      return true;  // every ring is idle
    }
    return header.number == PropertyAutoCirculateControl || header.number == PropertyInterrupt ||
           header.number == PropertySubscription;
  }

 private:
  bool RegisterRequest(const void* in, void* out) {
    RegisterRecord record;
    std::memcpy(&record, in, sizeof record);
    uint32_t& word = registers[record.registerNumber];
    if (record.header.flags == kPropertyGet) {
      record.value = (word & record.mask) >> record.shift;
      std::memcpy(out, &record, sizeof record);
      return true;
    }
    if (refuseWrites.count(record.registerNumber) != 0) return false;
    std::ostringstream line;
    line << std::dec << record.registerNumber << ' ' << std::hex << record.mask << ' '
         << record.value << '\n';
    writes_ += line.str();
    if (record.registerNumber == 50) return true;
    word = (word & ~record.mask) | (record.value << record.shift & record.mask);
    return true;
  }

  bool DmaRequest(const void* in) {
    DmaRecord record;
    std::memcpy(&record, in, sizeof record);
    if (refuseDma) return false;
    const bool read = record.header.flags == kPropertyGet;
    transfers.push_back({record.engine, record.frameNumber, record.offset, record.bytes, read});
    void* user = memory_.Find(record.buffer, record.bytes);
    if (user == nullptr) return record.bytes == 0;
    uint8_t* card = nullptr;
    if (record.engine == kDmaEngineAudio) {
      if (record.offset + record.bytes > ring.size()) return false;
      card = ring.data();
    } else {
      auto& frame = frames[record.frameNumber];
      if (frame.size() < record.offset + record.bytes) frame.resize(record.offset + record.bytes);
      card = frame.data();
    }
    std::memcpy(read ? user : card + record.offset, read ? card + record.offset : user,
                record.bytes);
    return true;
  }

  uint32_t identity_;
  std::string writes_;
  UserMemory memory_;
};

}  // namespace morvane::test
