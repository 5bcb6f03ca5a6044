#include "device/nub_client.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include "device/nub_payloads.h"
#include "device/nub_socket.h"

namespace morvane {
namespace {

constexpr int kReplyTimeoutMs = 2000;
// Several registers are the only reply that may come in pieces.
constexpr int kPieceTimeoutMs = 250;
constexpr int kPieces = 3;

// Also of the frame ring and of the interrupt wait.
constexpr char kInvalidWriteHandle[] = "Got invalid nub handle back from register write.\n";

// The card that a reply is about must be one. The reply is read on all the same.
int CheckHandle(uint32_t handle, const char* text) {
  if (handle != kNubInvalidHandle) return NubSuccess;
  std::fputs(text, stdout);
  return NubBadHandle;
}

// The reply was the right one, whatever it says.
bool WasRead(int result) {
  return result == NubSuccess || result == NubBadHandle;
}

}  // namespace

bool NubClient::Packet::Is(uint32_t type) const {
  return NubPacketIs(type, header, std::span(bytes).subspan(kNubHeaderBytes));
}

// The place of the payload is that of the name which matched, in the reply's own version.
template <typename Payload>
Payload NubClient::Packet::Load(uint32_t type) const {
  return LoadNubPayload<Payload>(bytes.data() + NubPayloadOffset(header.version, type));
}

// ---- the connection ----

NubClient::~NubClient() {
  Disconnect();
}

void NubClient::Disconnect() {
  if (socket_ != -1) CloseNub(std::exchange(socket_, -1));
  host_.clear();
}

void NubClient::Adopt(const char* hostName, int socket, int32_t handle, uint32_t version) {
  Disconnect();
  host_ = hostName;
  socket_ = socket;
  handle_ = handle;
  version_ = version;
}

int NubClient::Open(const char* hostName, uint16_t boardNumber, uint32_t boardType) {
  if (hostName == nullptr || (socket_ != -1 && host_ != hostName)) Close();
  if (hostName == nullptr) return NubNotOpen;
  if (socket_ == -1) {
    socket_ = ConnectNub(hostName);
    if (socket_ == -1) {
      handle_ = -1;
      return NubNotOpen;
    }
    host_ = hostName;
  }
  const int result = OpenExchange(boardNumber, boardType);
  if (result != NubSuccess) handle_ = -1;
  if (result == NubPeerClosed) Disconnect();
  return result;
}

int NubClient::OpenExchange(uint16_t boardNumber, uint32_t boardType) {
  Packet packet;
  const NubOpenPayload request{boardNumber, boardType & 0xFFFF, 0};
  if (const int result = Exchange(kNubOpenVersion, NubOpen, request, &packet)) return result;
  if (!packet.Is(NubOpenReply)) {
    ++mismatches_[NubOpen / 2];
    return NubNotOpenReply;
  }
  version_ = packet.header.version;
  const uint32_t handle = packet.Load<NubOpenPayload>(NubOpenReply).handle;
  handle_ = static_cast<int32_t>(handle);
  return CheckHandle(handle, "Got invalid handle on open response.\n");
}

bool NubClient::Close() {
  if (socket_ == -1) return false;
  Disconnect();
  handle_ = -1;
  version_ = 0;
  return true;
}

// ---- one request, one reply ----

// Sends the first `bytes` of the packet, and receives over them.
// Deliberate: the packet is cleared for the request alone. A reply of a bare header is read over
// the request's own body, whose result word is 0.
int NubClient::Transact(size_t bytes, Packet* packet) {
  if (!SendNub(socket_, std::span(packet->bytes).first(bytes))) return NubNotSent;
  // Deliberate: one receive. The other side writes a reply at once.
  const int received = ReceiveNub(socket_, packet->bytes, kReplyTimeoutMs);
  if (received < 0) return received;
  if (static_cast<size_t>(received) < kNubHeaderBytes) return NubShortReply;
  packet->header = LoadNubHeader(std::span(packet->bytes).first<kNubHeaderBytes>());
  return NubSuccess;
}

template <typename Payload>
int NubClient::Exchange(uint32_t version, uint32_t type, const Payload& request, Packet* packet) {
  if (socket_ == -1) return NubNotOpen;
  const size_t bytes = BuildNubPacket(version, type, sizeof request, packet->bytes);
  if (bytes == 0) return NubNotBuilt;
  StoreNubPayload(request, packet->bytes.data() + NubPayloadOffset(version, type));
  return Transact(bytes, packet);
}

// `payload` is the request, and where a reply of the same layout was read, that.
template <typename Payload>
int NubClient::Ask(uint32_t type, int mismatch, const char* invalidHandle, Payload* payload) {
  Packet packet;
  if (const int result = Exchange(version_, type, *payload, &packet)) return result;
  if (!packet.Is(type + 1)) {
    ++mismatches_[type / 2];
    return mismatch;
  }
  *payload = packet.Load<Payload>(type + 1);
  return CheckHandle(payload->handle, invalidHandle);
}

int NubClient::ReadRegister(uint32_t registerNumber, uint32_t* value, uint32_t mask,
                            uint32_t shift) {
  NubRegisterPayload payload{static_cast<uint32_t>(handle_), registerNumber, 0, mask, shift, 0};
  const int result =
      Ask(NubRead, NubNotReadReply, "Got invalid nub handle back from register read.\n", &payload);
  if (!WasRead(result)) return result;
  if (payload.result == 0) return NubReadFailed;
  *value = payload.value;
  return result;
}

int NubClient::WriteRegister(uint32_t registerNumber, uint32_t value, uint32_t mask,
                             uint32_t shift) {
  NubRegisterPayload payload{static_cast<uint32_t>(handle_), registerNumber, value, mask, shift, 0};
  const int result = Ask(NubWrite, NubNotWriteReply, kInvalidWriteHandle, &payload);
  if (WasRead(result) && payload.result == 0) {
    std::printf("Write Register %d failed on remote side.\n", static_cast<int>(registerNumber));
  }
  return result;
}

int NubClient::WaitForInterrupt(uint32_t interruptType, uint32_t timeoutMs) {
  NubWaitPayload payload{static_cast<uint32_t>(handle_), 0, interruptType, timeoutMs};
  const int result = Ask(NubWait, NubNotWaitReply, kInvalidWriteHandle, &payload);
  return WasRead(result) && payload.result == 0 ? NubWaitFailed : result;
}

int NubClient::GetBitFileInformation(RQD5BitFileInfo* info, uint32_t kind) {
  NubBitFilePayload payload;
  payload.handle = static_cast<uint32_t>(handle_);
  payload.kind = kind;
  payload.projectNumber = info->projectNumber;
  const int result = Ask(NubBitFile, NubNotBitFileReply,
                         "Got invalid nub handle back from get bitfile info.\n", &payload);
  if (!WasRead(result)) return result;
  if (payload.result == 0) return NubBitFileFailed;
  TakeNubBitFile(payload, info);
  return result;
}

int NubClient::GetBuildInformation(RQD5BuildInfo* info) {
  NubBuildPayload payload;
  payload.handle = static_cast<uint32_t>(handle_);
  const int result = Ask(NubBuild, NubNotBuildReply,
                         "Got invalid nub handle back from get build info.\n", &payload);
  if (!WasRead(result)) return result;
  if (payload.result == 0) return NubBuildFailed;
  TakeNubBuild(payload, info);
  return result;
}

int NubClient::DownloadTestPattern(uint32_t channel, uint32_t frameBufferFormat,
                                   uint16_t signalMask, bool dmaEnable, uint32_t patternNumber) {
  NubPatternPayload payload{static_cast<uint32_t>(handle_),
                            0,
                            channel,
                            frameBufferFormat,
                            signalMask,
                            dmaEnable ? 1u : 0u,
                            patternNumber};
  const int result = Ask(NubPattern, NubNotPatternReply,
                         "Got invalid nub handle back from download test pattern.\n", &payload);
  if (!WasRead(result) || payload.result != 0) return result;
  std::fputs("Download test pattern failed on remote side.\n", stdout);
  return NubPatternFailed;
}

// ---- the frame ring ----

int NubClient::AutoCirculate(const RQD5AutoCirculateData& data) {
  switch (data.command) {
    case ACStatus: {
      if (data.record1 == nullptr) return NubNotBuilt;
      NubStatusPayload request;
      request.handle = static_cast<uint32_t>(handle_);
      request.command = data.command;
      request.channelSpec = data.channelSpec;
      return Circulate(NubStatus, request, data);
    }
    case ACStart:
    case ACStop:
    case ACAbort:
    case ACControl3:
    case ACControl6: {
      NubControlPayload request;
      request.handle = static_cast<uint32_t>(handle_);
      request.command = data.command;
      request.channelSpec = data.channelSpec;
      if (data.command == ACControl3) request.flag = data.flags[0] ? 1u : 0u;
      return Circulate(NubControl, request, data);
    }
    default:
      return NubNotBuilt;
  }
}

// Deliberate: whichever was asked, the reply is tried first as status, then as control.
template <typename Payload>
int NubClient::Circulate(uint32_t type, const Payload& request, const RQD5AutoCirculateData& data) {
  Packet packet;
  if (const int result = Exchange(version_, type, request, &packet)) return result;
  if (packet.Is(NubStatusReply)) {
    const auto reply = packet.Load<NubStatusPayload>(NubStatusReply);
    const int result = CheckHandle(reply.handle, kInvalidWriteHandle);
    if (reply.result == 0) {
      std::fputs("Autocirculate GET failed on remote side.\n", stdout);
    } else if (data.command == ACStatus) {
      auto* status = static_cast<RQD5AutoCirculateStatus*>(data.record1);
      TakeNubStatus(reply, status);
    }
    return result;
  }
  if (packet.Is(NubControlReply)) {
    const auto reply = packet.Load<NubControlPayload>(NubControlReply);
    const int result = CheckHandle(reply.handle, kInvalidWriteHandle);
    return reply.result == 0 ? NubControlFailed : result;
  }
  ++mismatches_[type / 2];
  return NubNotCirculateReply;
}

// ---- several registers ----

int NubClient::SendReadMulti(uint32_t count, const RQD5RegisterEntry* entries, Packet* packet) {
  if (socket_ == -1) return NubNotOpen;
  if (count > NubReadMultiLimit(version_)) return NubNotBuilt;
  const size_t bytes =
      BuildNubPacket(version_, NubReadMulti, NubReadMultiBytes(count), packet->bytes);
  if (bytes == 0) return NubNotBuilt;
  uint8_t* at = packet->bytes.data() + NubPayloadOffset(version_, NubReadMulti);
  StoreNubPayload(NubReadMultiPayload{static_cast<uint32_t>(handle_), count, 0, 0}, at);
  for (uint32_t i = 0; i < count; ++i) {
    at += sizeof(NubReadMultiEntry);
    const RQD5RegisterEntry& entry = entries[i];
    StoreNubPayload(NubReadMultiEntry{entry.registerNumber, 0, entry.mask, entry.shift}, at);
  }
  return SendNub(socket_, std::span(packet->bytes).first(bytes)) ? NubSuccess : NubNotSent;
}

// Deliberate: a piece too many is received and counted before anything is asked of it, so that a
// reply in four pieces is late even when it is whole.
int NubClient::ReceiveInPieces(size_t bytes, Packet* packet) {
  size_t received = 0;
  for (int piece = 1; received < bytes; ++piece) {
    const std::span<uint8_t> rest(packet->bytes.data() + received, bytes - received);
    const int got = ReceiveNub(socket_, rest, kPieceTimeoutMs);
    if (piece > kPieces) return NubTimedOut;
    if (got < 0) return got;
    received += static_cast<size_t>(got);
  }
  packet->header = LoadNubHeader(std::span(packet->bytes).first<kNubHeaderBytes>());
  return NubSuccess;
}

int NubClient::ReadRegisterMulti(uint32_t count, uint32_t* failedRegister,
                                 RQD5RegisterEntry* entries) {
  Packet packet;
  if (const int result = SendReadMulti(count, entries, &packet)) return result;
  const size_t payloadBytes = NubReadMultiBytes(count);
  const size_t expected = NubPayloadOffset(version_, NubReadMultiReply) + payloadBytes;
  if (const int result = ReceiveInPieces(expected, &packet)) return result;
  // A reply in a version with a longer name than was asked for can reach past the packet.
  if (!packet.Is(NubReadMultiReply) ||
      NubPayloadOffset(packet.header.version, NubReadMultiReply) + payloadBytes >
          packet.bytes.size()) {
    ++mismatches_[NubReadMulti / 2];
    return NubNotReadMultiReply;
  }

  const auto reply = packet.Load<NubReadMultiPayload>(NubReadMultiReply);
  const uint8_t* at =
      packet.bytes.data() + NubPayloadOffset(packet.header.version, NubReadMultiReply);
  const auto entryAt = [at](uint32_t i) {
    return LoadNubPayload<NubReadMultiEntry>(at + NubReadMultiBytes(i));
  };
  const int result =
      CheckHandle(reply.handle, "Got invalid nub handle back from read reg multi.\n");
  const uint32_t failed = reply.failedRegister;
  *failedRegister = failed;
  if (reply.result == 0) {
    std::printf("Read register multi failed on remote side on register number %d.\n",
                static_cast<int>(failed));
    // Deliberate: a count is held against a register number, and the words stay as they came.
    for (uint32_t i = 0; i < std::min(count, failed); ++i) {
      std::memcpy(&entries[i].value, entryAt(i).value.bytes, sizeof entries[i].value);
    }
    return NubReadMultiFailed;
  }
  for (uint32_t i = 0; i < count; ++i) {
    const NubReadMultiEntry entry = entryAt(i);
    entries[i].registerNumber = entry.registerNumber;
    entries[i].value = entry.value;
  }
  return result;
}

}  // namespace morvane
