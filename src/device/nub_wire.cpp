#include "device/nub_wire.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "base/byte_order.h"
#include "device/nub_payloads.h"

namespace morvane {
namespace {

struct NameRow {
  uint32_t type;
  const char* names[3];  // of versions 1, 2 and 3
};

// The names are a packet's identity and are compared as they stand.
// clang-format off
constexpr NameRow kNames[] = {
  {0, {"Our chief weapons are?",
       "Our chief weapons are?",
       "Our chief weapons are?"}},
  {1, {"Fear and surprise!",
       "Fear and surprise!",
       "Fear and surprise!"}},
  {2, {"I didn't expect a kind of Spanish Inquisition.",
       "I didn't expect a kind of Spanish Inquisition.",
       "I didn't expect a kind of Spanish Inquisition."}},
  {3, {"NOBODY expects the Spanish Inquisition!",
       "NOBODY expects the Spanish Inquisition!",
       "NOBODY expects the Spanish Inquisition!"}},
  {4, {"Cardinal Fang! Fetch...THE COMFY CHAIR!",
       "Read1Q", "Read1Q"}},
  {5, {"The...Comfy Chair?",
       "Read1R", "Read1R"}},
  {6, {"Biggles! Put her in the Comfy Chair!",
       "Write1Q", "Write1Q"}},
  {7, {"Is that really all it is?",
       "Write1R", "Write1R"}},
  {8, {"Right! How do you plead?",
       "GetACQ", "GetACQ"}},
  {9, {"Innocent.",
       "GetACR", "GetACR"}},
  {10, {"My old man said follow the...",
       "WaitIntQ", "WaitIntQ"}},
  {11, {"That's enough.",
       "WaitIntR", "WaitIntR"}},
  {12, {"Oh no - what kind of trouble?",
       "GetBFIQ", "GetBFIQ"}},
  {13, {"One on't cross beams gone owt askew on treddle.",
       "GetBFIR", "GetBFIR"}},
  {14, {"You have three last chances, the nature of which I have divulged in my previous utterance.",
       "DLTPQ", "DLTPQ"}},
  {15, {"I don't know what you're talking about.",
       "DLTPR", "DLTPR"}},
  {16, {"Surprise and...",
       "ReadMQ", "ReadMQ"}},
  {17, {"Ah!... our chief weapons are surprise... blah blah blah.",
       "ReadMR", "ReadMR"}},
  {18, {"Shall I...?",
       "GetDVQ", "GetDVQ"}},
  {19, {"No, just pretend for God's sake. Ha! Ha! Ha!",
       "GetDVR", "GetDVR"}},
  {20, {"Biggles! Fetch...THE SOFT CUSHIONS!",
       "ACCtrlQ", "ACCtrlQ"}},
  {21, {"Here they are, lord.",
       "ACCtrlR", "ACCtrlR"}},
  {22, {nullptr,
       nullptr, "GetBIQ"}},
  {23, {nullptr,
       nullptr, "GetBIR"}},
};
// clang-format on
static_assert(std::size(kNames) == kNubPacketTypes);
static_assert([] {
  for (uint32_t i = 0; i < kNubPacketTypes; ++i) {
    if (kNames[i].type != i) return false;
  }
  return true;
}());

bool IsRequest(uint32_t type) {
  return type % 2 == 0;
}

size_t NameBytes(uint32_t version, uint32_t type) {
  return std::strlen(NubPacketName(version, type)) + 1;
}

}  // namespace

const char* NubPacketName(uint32_t version, uint32_t type) {
  if (type >= kNubPacketTypes) return nullptr;
  const uint32_t table = version == 1 || version == 2 ? version : 3;
  return kNames[type].names[table - 1];
}

uint32_t NubWireType(uint32_t version, uint32_t type) {
  if (version != 1) return type;
  if (type == NubControl) return NubStatus;
  if (type == NubControlReply) return NubStatusReply;
  return type;
}

size_t NubPayloadOffset(uint32_t version, uint32_t type) {
  return kNubHeaderBytes + NameBytes(version, type);
}

uint32_t NubReadMultiLimit(uint32_t version) {
  const size_t name =
      std::max(NameBytes(version, NubReadMulti), NameBytes(version, NubReadMultiReply));
  return static_cast<uint32_t>((kNubBodyLimit - name) / sizeof(NubReadMultiEntry) - 1);
}

NubHeader LoadNubHeader(std::span<const uint8_t, kNubHeaderBytes> bytes) {
  return {LoadBe32(&bytes[0]), LoadBe32(&bytes[4]), LoadBe32(&bytes[8])};
}

void StoreNubHeader(const NubHeader& header, std::span<uint8_t, kNubHeaderBytes> bytes) {
  std::fill(bytes.begin(), bytes.end(), uint8_t{0});
  StoreBe32(&bytes[0], header.version);
  StoreBe32(&bytes[4], header.type);
  StoreBe32(&bytes[8], header.dataLength);
}

size_t BuildNubPacket(uint32_t version, uint32_t type, size_t payloadBytes,
                      std::span<uint8_t> buffer) {
  const char* name = NubPacketName(version, type);
  if (name == nullptr || payloadBytes > kNubBodyLimit) return 0;
  const size_t nameBytes = NameBytes(version, type);
  const size_t bodyBytes = nameBytes + payloadBytes;
  if (bodyBytes > kNubBodyLimit || kNubHeaderBytes + bodyBytes > buffer.size()) return 0;
  std::fill(buffer.begin(), buffer.end(), uint8_t{0});
  StoreNubHeader({version, NubWireType(version, type), static_cast<uint32_t>(bodyBytes)},
                 buffer.first<kNubHeaderBytes>());
  std::memcpy(&buffer[kNubHeaderBytes], name, nameBytes);
  return kNubHeaderBytes + bodyBytes;
}

bool NubPacketIs(uint32_t type, const NubHeader& header, std::span<const uint8_t> body) {
  const char* name = NubPacketName(header.version, type);
  if (name == nullptr || header.type != NubWireType(header.version, type)) return false;
  const size_t compared = std::min(size_t{header.dataLength}, std::strlen(name) + 1);
  // What would lie past the memory cannot be the name.
  return compared <= body.size() && std::memcmp(body.data(), name, compared) == 0;
}

std::optional<NubPacketType> RecogniseNubRequest(const NubHeader& header,
                                                 std::span<const uint8_t> body) {
  for (uint32_t type = 0; type < kNubPacketTypes; ++type) {
    const char* name = NubPacketName(header.version, type);
    if (!IsRequest(type) || name == nullptr) continue;
    if (header.dataLength > std::strlen(name) && NubPacketIs(type, header, body)) {
      return static_cast<NubPacketType>(type);
    }
  }
  return std::nullopt;
}

}  // namespace morvane
