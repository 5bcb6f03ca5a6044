#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

// The packets between a program and a card in another machine, byte for byte, for both sides.
//
// A packet is a header of 64 bytes and a body: the packet's name as text with its NUL, then the
// payload. Names differ in length, so the payload has no fixed place and no alignment. Every word
// is 32 bits, most significant byte first, but for the time stamps of a status reply.
// What stands in the payloads tells nub_payloads.h.
// Threads: everything here is a pure function or a plain record.
namespace morvane {

inline constexpr uint16_t kNubPort = 7474;
inline constexpr size_t kNubHeaderBytes = 64;
inline constexpr size_t kNubBodyLimit = 8192;  // name, its NUL and payload together
inline constexpr size_t kNubPacketLimit = kNubHeaderBytes + kNubBodyLimit;
inline constexpr uint32_t kNubOpenVersion = 3;      // of every open request
inline constexpr uint32_t kNubInvalidHandle = ~0u;  // no card there; -1 as the client sees it

// Even numbers are requests, the next odd one is the reply.
enum NubPacketType : uint32_t {
  NubQuery = 0,  // 0, 1, 18 and 19 have names, and no payload that this program knows
  NubQueryReply = 1,
  NubOpen = 2,
  NubOpenReply = 3,
  NubRead = 4,
  NubReadReply = 5,
  NubWrite = 6,
  NubWriteReply = 7,
  NubStatus = 8,
  NubStatusReply = 9,
  NubWait = 10,
  NubWaitReply = 11,
  NubBitFile = 12,
  NubBitFileReply = 13,
  NubPattern = 14,
  NubPatternReply = 15,
  NubReadMulti = 16,
  NubReadMultiReply = 17,
  NubDriverVersion = 18,
  NubDriverVersionReply = 19,
  NubControl = 20,
  NubControlReply = 21,
  NubBuild = 22,  // version 3 alone
  NubBuildReply = 23,
};
inline constexpr uint32_t kNubPacketTypes = 24;

// Name of a packet type; a version other than 1 and 2 has those of version 3.
// Returns: null where the version has no such packet.
[[nodiscard]] const char* NubPacketName(uint32_t version, uint32_t type);
// Type number that stands in the header. Version 1 sends 20 as 8 and 21 as 9, and only the name
// tells them apart.
[[nodiscard]] uint32_t NubWireType(uint32_t version, uint32_t type);
// Where the payload begins in a packet. Requires: NubPacketName is not null.
[[nodiscard]] size_t NubPayloadOffset(uint32_t version, uint32_t type);
// Registers that one read of several can ask for: request and reply must both fit.
[[nodiscard]] uint32_t NubReadMultiLimit(uint32_t version);

// The header in host order; the 52 bytes after it are zero.
struct NubHeader {
  uint32_t version = 0;
  uint32_t type = 0;
  uint32_t dataLength = 0;  // bytes of the body
};
[[nodiscard]] NubHeader LoadNubHeader(std::span<const uint8_t, kNubHeaderBytes> bytes);
void StoreNubHeader(const NubHeader& header, std::span<uint8_t, kNubHeaderBytes> bytes);

// Makes header and name of a packet with room for a payload, all else in `buffer` zero.
// Returns: bytes of the packet; 0 when the version has no such packet, the body would pass its
// limit, or `buffer` is too small, and then nothing is written.
[[nodiscard]] size_t BuildNubPacket(uint32_t version, uint32_t type, size_t payloadBytes,
                                    std::span<uint8_t> buffer);

// Whether a packet is of `type`: by its type number, and by its name as far as its own dataLength
// goes. Deliberate: a dataLength shorter than the name matches by prefix, and 0 always does.
// `body` is what memory holds behind the header, dataLength or not; nothing is read past it.
[[nodiscard]] bool NubPacketIs(uint32_t type, const NubHeader& header,
                               std::span<const uint8_t> body);
// The request in a packet that came whole, by type number and whole name with its NUL.
// Returns: nothing when no request of that version has them.
[[nodiscard]] std::optional<NubPacketType> RecogniseNubRequest(const NubHeader& header,
                                                               std::span<const uint8_t> body);

}  // namespace morvane
