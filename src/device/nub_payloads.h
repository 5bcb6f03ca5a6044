#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "base/byte_order.h"
#include "device/driver_records.h"

// The payloads of the packets of nub_wire.h, byte for byte, for both sides.
namespace morvane {

// A word as it stands on the wire.
struct NubWord {
  constexpr NubWord() = default;
  NubWord(uint32_t value) { StoreBe32(bytes, value); }
  operator uint32_t() const { return LoadBe32(bytes); }

  uint8_t bytes[4] = {};
};

// 64 bits in the order of the sender's memory: least significant byte first.
struct NubRaw64 {
  constexpr NubRaw64() = default;
  NubRaw64(uint64_t value) { StoreLe64(bytes, value); }
  operator uint64_t() const { return LoadLe64(bytes); }

  uint8_t bytes[8] = {};
};

// Payloads are read from and written to any place of a packet.
template <typename Payload>
[[nodiscard]] Payload LoadNubPayload(const uint8_t* from) {
  static_assert(alignof(Payload) == 1 && std::is_trivially_copyable_v<Payload>);
  Payload payload;
  std::memcpy(&payload, from, sizeof payload);
  return payload;
}
template <typename Payload>
void StoreNubPayload(const Payload& payload, uint8_t* to) {
  static_assert(alignof(Payload) == 1 && std::is_trivially_copyable_v<Payload>);
  std::memcpy(to, &payload, sizeof payload);
}

// In every payload but that of the open request and reply the handle comes first. A result of 0
// says that the other side failed, anything else that it did not.

struct NubOpenPayload {
  NubWord boardNumber;  // low 16 bits
  NubWord boardType;    // low 16 bits
  NubWord handle;       // 0 in the request
};
static_assert(sizeof(NubOpenPayload) == 12);
static_assert(offsetof(NubOpenPayload, handle) == 8);

// Reading and writing one register, request and reply.
struct NubRegisterPayload {
  NubWord handle;
  NubWord registerNumber;
  NubWord value;  // reply to a read: masked and shifted
  NubWord mask;
  NubWord shift;
  NubWord result;
};
static_assert(sizeof(NubRegisterPayload) == 24);
static_assert(offsetof(NubRegisterPayload, value) == 8);
static_assert(offsetof(NubRegisterPayload, result) == 20);

// Reading several: one of these, then an entry for each register. Value is 0 in the request; mask
// and shift are ignored in the reply.
struct NubReadMultiPayload {
  NubWord handle;
  NubWord count;  // request
  NubWord result;
  NubWord failedRegister;  // reply
};
struct NubReadMultiEntry {
  NubWord registerNumber;
  NubWord value;
  NubWord mask;
  NubWord shift;
};
static_assert(sizeof(NubReadMultiPayload) == 16 && sizeof(NubReadMultiEntry) == 16);
static_assert(offsetof(NubReadMultiPayload, failedRegister) == 12);
[[nodiscard]] constexpr size_t NubReadMultiBytes(uint32_t count) {
  return (size_t{count} + 1) * sizeof(NubReadMultiEntry);
}

// Status of a frame ring. The request fills handle, command and channelSpec alone.
struct NubStatusPayload {
  NubWord handle;
  NubWord result;
  NubWord command;
  NubWord channelSpec;
  NubWord state;
  NubWord startFrame;
  NubWord endFrame;
  NubWord activeFrame;
  NubRaw64 startTime;
  NubRaw64 boundaryTime;
  NubRaw64 audioClockStart;
  NubRaw64 audioClockNow;
  NubWord framesProcessed;
  NubWord framesDropped;
  NubWord bufferLevel;
  NubWord withAudio;  // the flags of the record, as 0 or not
  NubWord option0;
  NubWord reserved84;
  NubWord option1;
  NubWord option2;
  NubWord timecodePresent;
  NubWord flag6;
};
static_assert(sizeof(NubStatusPayload) == 104);
static_assert(offsetof(NubStatusPayload, command) == 8);
static_assert(offsetof(NubStatusPayload, channelSpec) == 12);
static_assert(offsetof(NubStatusPayload, startTime) == 32);
static_assert(offsetof(NubStatusPayload, framesProcessed) == 64);
static_assert(offsetof(NubStatusPayload, withAudio) == 76);
static_assert(offsetof(NubStatusPayload, option1) == 88);
static_assert(offsetof(NubStatusPayload, flag6) == 100);

// Start, stop, abort and the two further commands of a frame ring, request and reply.
struct NubControlPayload {
  NubWord handle;
  NubWord result;
  NubWord command;
  NubWord channelSpec;
  NubWord reserved16[6];
  NubWord flag;  // command 3 alone: 0 or 1
  NubWord reserved44[7];
};
static_assert(sizeof(NubControlPayload) == 72);
static_assert(offsetof(NubControlPayload, flag) == 40);

struct NubWaitPayload {
  NubWord handle;
  NubWord result;
  NubWord interruptType;
  NubWord timeoutMs;
};
static_assert(sizeof(NubWaitPayload) == 16);
static_assert(offsetof(NubWaitPayload, interruptType) == 8);

// What is known of the logic on the card. Of the record only the words below cross the wire; the
// part name does not. The request fills handle, kind and projectNumber.
struct NubBitFilePayload {
  NubWord handle;
  NubWord result;
  NubWord kind;  // as asked
  NubWord checksum;
  NubWord recordVersion;
  NubWord recordSize;
  NubWord byteCount;
  uint8_t texts[48] = {};  // date, time and design name, 16 bytes each
  NubWord recordKind;
  uint8_t reserved80[16] = {};
  NubWord projectNumber;
  uint8_t reserved100[936] = {};
};
static_assert(sizeof(NubBitFilePayload) == 1036);
static_assert(offsetof(NubBitFilePayload, checksum) == 12);
static_assert(offsetof(NubBitFilePayload, texts) == 28);
static_assert(offsetof(NubBitFilePayload, recordKind) == 76);
static_assert(offsetof(NubBitFilePayload, projectNumber) == 96);

struct NubBuildPayload {
  NubWord handle;
  NubWord result;
  NubWord word0;
  NubWord word1;
  uint8_t text[1024] = {};
  uint8_t reserved1040[1016] = {};
};
static_assert(sizeof(NubBuildPayload) == 2056);
static_assert(offsetof(NubBuildPayload, text) == 16);

struct NubPatternPayload {
  NubWord handle;
  NubWord result;
  NubWord channel;
  NubWord frameBufferFormat;
  NubWord signalMask;  // low 16 bits
  NubWord dmaEnable;   // low 8 bits
  NubWord patternNumber;
};
static_assert(sizeof(NubPatternPayload) == 28);
static_assert(offsetof(NubPatternPayload, channel) == 8);
static_assert(offsetof(NubPatternPayload, patternNumber) == 24);

// Bytes of the payload of a request or reply of `type`; 0 for the types without a known one, and
// for reading several, where NubReadMultiBytes tells.
[[nodiscard]] size_t NubPayloadBytes(uint32_t type);

// ---- records in payloads: Put for the side that has the card, Take for the other ----

// Handle, result and command stay as they are.
void PutNubStatus(const RQD5AutoCirculateStatus& status, NubStatusPayload* payload);
// Writes every field; the reserved bytes stay.
void TakeNubStatus(const NubStatusPayload& payload, RQD5AutoCirculateStatus* status);
// Handle, result and the kind that was asked for stay as they are.
void PutNubBitFile(const RQD5BitFileInfo& info, NubBitFilePayload* payload);
// Deliberate: the part name, which is not on the wire, and what follows the project number stay.
void TakeNubBitFile(const NubBitFilePayload& payload, RQD5BitFileInfo* info);
void PutNubBuild(const RQD5BuildInfo& info, NubBuildPayload* payload);
void TakeNubBuild(const NubBuildPayload& payload, RQD5BuildInfo* info);

}  // namespace morvane
