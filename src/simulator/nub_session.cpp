#include "simulator/nub_session.h"

#include <algorithm>
#include <chrono>
#include <cstring>

#include "base/clock.h"
#include "device/registers.h"
#include "simulator/simulated_driver.h"

namespace morvane {
namespace {

constexpr int64_t kNsPerMs = 1000000;
// A wait is looked at again at least this often: another client may have changed the rate.
constexpr int64_t kLongestSleepNs = 20 * kNsPerMs;
constexpr uint32_t kSucceeded = 1;
constexpr uint32_t kFailed = 0;

constexpr uint32_t ResultWord(bool good) {
  return good ? kSucceeded : kFailed;
}

bool DrawPattern(CRQD5TestPattern* card, const NubPatternPayload& payload) {
  card->SetChannel(payload.channel);
  card->SetFrameBufferFormat(payload.frameBufferFormat);
  card->SetSignalMask(static_cast<uint16_t>(payload.signalMask));
  card->SetDmaEnable((payload.dmaEnable & 0xFF) != 0);
  return card->DownloadTestPattern(payload.patternNumber);
}

// The commands that a frame ring takes from another machine.
bool IsControlCommand(uint32_t command) {
  switch (command) {
    case ACStart:
    case ACStop:
    case ACControl3:
    case ACControl6:
    case ACAbort:
      return true;
    default:
      return false;
  }
}

}  // namespace

NubSession::NubSession(NubCards* cards, uint32_t protocol, std::string buildText,
                       NubPainter* painter)
    : cards_(cards), protocol_(protocol), buildText_(std::move(buildText)), painter_(painter) {}

NubSession::Outcome NubSession::Execute(std::span<const uint8_t> packet) {
  const NubHeader header = LoadNubHeader(packet.first<kNubHeaderBytes>());
  const auto body = packet.subspan(kNubHeaderBytes);
  const auto type = RecogniseNubRequest(header, body);
  if (!type) {
    return Refuse("type " + std::to_string(header.type) + " of version " +
                  std::to_string(header.version) + " is no request, or its name is another");
  }
  const auto payload = packet.subspan(NubPayloadOffset(header.version, *type));
  const size_t wanted = *type == NubReadMulti ? NubReadMultiBytes(0) : NubPayloadBytes(*type);
  if (payload.size() < wanted) {
    return Refuse(std::string(NubPacketName(header.version, *type)) + " carries " +
                  std::to_string(payload.size()) + " bytes instead of " + std::to_string(wanted));
  }
  return Dispatch({header.version, *type, payload});
}

NubSession::Outcome NubSession::Dispatch(const Request& request) {
  switch (request.type) {
    case NubQuery:
      (void)MakeReply(request.version, NubQueryReply, 0);
      return Outcome::kReply;
    case NubOpen:
      return Open(request);
    case NubRead:
    case NubWrite:
      return ReadOrWrite(request);
    case NubReadMulti:
      return ReadMulti(request);
    case NubStatus:
      return Status(request);
    case NubControl:
      return Control(request);
    case NubWait:
      return BeginWait(request);
    case NubBitFile:
      return BitFile(request);
    case NubBuild:
      return Build(request);
    case NubPattern:
      return Pattern(request);
    case NubDriverVersion:
      return DriverVersion(request);
    default:
      return Refuse("packet type " + std::to_string(request.type) + " is a reply");
  }
}

NubSession::Outcome NubSession::Refuse(std::string why) {
  refusal_ = std::move(why);
  replyBytes_ = 0;
  return Outcome::kRefused;
}

uint8_t* NubSession::MakeReply(uint32_t version, uint32_t type, size_t payloadBytes) {
  replyBytes_ = BuildNubPacket(version, type, payloadBytes, reply_);
  return reply_.data() + NubPayloadOffset(version, type);
}

template <typename Payload>
NubSession::Outcome NubSession::Answer(const Request& request, const Payload& payload) {
  StoreNubPayload(payload, MakeReply(request.version, request.type + 1u, sizeof payload));
  return Outcome::kReply;
}

CRQD5TestPattern* NubSession::CardOf(NubWord* handle) const {
  const uint32_t wanted = *handle;
  const auto found = std::find_if(opened_.begin(), opened_.end(), [wanted](const Opened& opened) {
    return opened.handle == wanted;
  });
  if (found != opened_.end()) return found->card.get();
  *handle = kNubInvalidHandle;
  return nullptr;
}

// The version of the open reply is the server's choice; the client builds all that follows with it.
NubSession::Outcome NubSession::Open(const Request& request) {
  auto payload = LoadNubPayload<NubOpenPayload>(request.payload.data());
  auto card = cards_->Open(payload.boardType & 0xFFFF, payload.boardNumber & 0xFFFF);
  payload.handle = kNubInvalidHandle;
  if (card != nullptr) {
    if (opened_.size() == kMaxHandles) opened_.erase(opened_.begin());
    payload.handle = cards_->NextHandle();
    opened_.push_back({payload.handle, std::move(card)});
  }
  return Answer({protocol_, NubOpen, {}}, payload);
}

NubSession::Outcome NubSession::ReadOrWrite(const Request& request) {
  auto payload = LoadNubPayload<NubRegisterPayload>(request.payload.data());
  payload.result = kFailed;
  CRQD5TestPattern* const card = CardOf(&payload.handle);
  if (card == nullptr) return Answer(request, payload);
  if (request.type == NubWrite) {
    payload.result = ResultWord(
        card->WriteRegister(payload.registerNumber, payload.value, payload.mask, payload.shift));
  } else {
    uint32_t value = 0;
    payload.result =
        ResultWord(card->ReadRegister(payload.registerNumber, &value, payload.mask, payload.shift));
    payload.value = value;
  }
  return Answer(request, payload);
}

NubSession::Outcome NubSession::ReadMulti(const Request& request) {
  auto payload = LoadNubPayload<NubReadMultiPayload>(request.payload.data());
  const uint32_t count = payload.count;
  if (count > NubReadMultiLimit(request.version) ||
      request.payload.size() < NubReadMultiBytes(count)) {
    return Refuse("a read of " + std::to_string(count) + " registers in " +
                  std::to_string(request.payload.size()) + " bytes");
  }
  CRQD5TestPattern* const card = CardOf(&payload.handle);
  payload.result = ResultWord(card != nullptr);
  payload.failedRegister = 0;
  uint8_t* reply = MakeReply(request.version, NubReadMultiReply, NubReadMultiBytes(count));
  for (uint32_t i = 0; i < count && payload.result != kFailed; ++i) {
    const size_t place = NubReadMultiBytes(i);
    auto entry = LoadNubPayload<NubReadMultiEntry>(request.payload.data() + place);
    uint32_t value = 0;
    if (card->ReadRegister(entry.registerNumber, &value, entry.mask, entry.shift)) {
      entry.value = value;
    } else {
      payload.result = kFailed;
      payload.failedRegister = entry.registerNumber;
    }
    StoreNubPayload(entry, reply + place);
  }
  StoreNubPayload(payload, reply);
  return Outcome::kReply;
}

NubSession::Outcome NubSession::Status(const Request& request) {
  auto payload = LoadNubPayload<NubStatusPayload>(request.payload.data());
  payload.result = kFailed;
  CRQD5TestPattern* const card = CardOf(&payload.handle);
  if (card != nullptr && payload.command == ACStatus) {
    RQD5AutoCirculateStatus status = {};
    RQD5AutoCirculateData data;
    data.command = ACStatus;
    data.channelSpec = payload.channelSpec;
    data.record1 = &status;
    if (card->AutoCirculate(data)) {
      PutNubStatus(status, &payload);
      payload.result = kSucceeded;
    }
  }
  return Answer(request, payload);
}

NubSession::Outcome NubSession::Control(const Request& request) {
  auto payload = LoadNubPayload<NubControlPayload>(request.payload.data());
  payload.result = kFailed;
  CRQD5TestPattern* const card = CardOf(&payload.handle);
  if (card != nullptr && IsControlCommand(payload.command)) {
    RQD5AutoCirculateData data;
    data.command = payload.command;
    data.channelSpec = payload.channelSpec;
    data.flags[0] = payload.flag != 0;
    payload.result = ResultWord(card->AutoCirculate(data));
  }
  return Answer(request, payload);
}

// A wait is for an interrupt that is still to come, so it is subscribed for the time of the wait.
// The control port's two are the exception: what came since the last wait ends the next one.
NubSession::Outcome NubSession::BeginWait(const Request& request) {
  Wait wait;
  wait.version = request.version;
  wait.payload = LoadNubPayload<NubWaitPayload>(request.payload.data());
  wait.payload.result = kFailed;
  wait.card = CardOf(&wait.payload.handle);
  if (wait.card == nullptr) return Answer(request, wait.payload);
  const uint32_t type = wait.payload.interruptType;
  if (type == InterruptUartTransmit || type == InterruptUartReceive) {
    wait.event = cards_->ControlPortEvent(*wait.card, type);
  } else {
    wait.subscribed = wait.card->ConfigureSubscription(true, type, &wait.event);
  }
  const uint32_t timeoutMs = std::min<uint32_t>(wait.payload.timeoutMs, kLongestWaitMs);
  wait.deadlineNs = NxClockNowNs() + timeoutMs * kNsPerMs;
  wait.pending = true;
  wait_ = wait;
  return LookAtWait() ? Outcome::kReply : Outcome::kWaiting;
}

bool NubSession::LookAtWait() {
  if (drawing_.result.valid()) {
    const bool drawn =
        drawing_.result.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    if (!drawn && NxClockNowNs() < drawing_.deadlineNs) return false;
    EndDrawing(drawn && drawing_.result.get());
    return true;
  }
  if (!wait_.pending) return false;
  wait_.dueNs = wait_.deadlineNs;
  const int64_t now = NxClockNowNs();
  bool came = false;
  if (wait_.event != 0) {
    const auto look = cards_->Driver().LookAtEvent(wait_.event, wait_.deadlineNs);
    came = look.signalled;
    wait_.dueNs = std::min({wait_.deadlineNs, look.dueNs, now + kLongestSleepNs});
  }
  if (!came && now < wait_.deadlineNs) return false;
  EndWait(came);
  return true;
}

void NubSession::EndWait(bool came) {
  if (wait_.subscribed) {
    wait_.card->ConfigureSubscription(false, wait_.payload.interruptType, nullptr);
  }
  wait_.payload.result = ResultWord(came);
  StoreNubPayload(wait_.payload, MakeReply(wait_.version, NubWaitReply, sizeof wait_.payload));
  wait_ = {};
}

NubSession::Outcome NubSession::BitFile(const Request& request) {
  const auto asked = LoadNubPayload<NubBitFilePayload>(request.payload.data());
  NubBitFilePayload payload;
  payload.handle = asked.handle;
  payload.kind = asked.kind;
  if (CRQD5TestPattern* card = CardOf(&payload.handle)) {
    RQD5BitFileInfo info = {};
    info.projectNumber = asked.projectNumber;
    if (card->DriverGetBitFileInformation(&info, asked.kind)) {
      PutNubBitFile(info, &payload);
      payload.result = kSucceeded;
    }
  }
  return Answer(request, payload);
}

// The build of a card's logic: which board it makes, which logic was last downloaded, and in words
// who serves it.
NubSession::Outcome NubSession::Build(const Request& request) {
  NubBuildPayload payload;
  payload.handle = LoadNubPayload<NubBuildPayload>(request.payload.data()).handle;
  if (CRQD5TestPattern* card = CardOf(&payload.handle)) {
    uint32_t identity = 0, bitfile = 0;
    if (card->ReadRegister(RegisterNumber(RegisterField::BoardIdentity), &identity) &&
        card->ReadRegister(RegisterNumber(RegisterField::BitfileDownload), &bitfile)) {
      RQD5BuildInfo info = {};
      info.word0 = identity;
      info.word1 = bitfile;
      std::memcpy(info.text, buildText_.data(), std::min(buildText_.size(), sizeof info.text - 1));
      PutNubBuild(info, &payload);
      payload.result = kSucceeded;
    }
  }
  return Answer(request, payload);
}

NubSession::Outcome NubSession::Pattern(const Request& request) {
  drawing_.version = request.version;
  drawing_.payload = LoadNubPayload<NubPatternPayload>(request.payload.data());
  const CRQD5TestPattern* card = CardOf(&drawing_.payload.handle);
  if (card != nullptr) drawing_.card = cards_->Open(card->BoardType(), card->BoardNumber());
  const auto draw = [card = std::weak_ptr(drawing_.card), payload = drawing_.payload] {
    const auto drawn = card.lock();  // none: the client is gone, or has had its answer
    return drawn != nullptr && DrawPattern(drawn.get(), payload);
  };
  if (painter_ == nullptr || drawing_.card == nullptr) {
    EndDrawing(draw());
    return Outcome::kReply;
  }
  drawing_.result = painter_->Draw(draw);
  drawing_.deadlineNs = NxClockNowNs() + kLongestWaitMs * kNsPerMs;
  return Outcome::kWaiting;
}

void NubSession::EndDrawing(bool good) {
  drawing_.payload.result = ResultWord(good);
  StoreNubPayload(drawing_.payload,
                  MakeReply(drawing_.version, NubPatternReply, sizeof drawing_.payload));
  drawing_ = {};
}

// No client of ours asks. The layout is this server's: handle, result, version.
NubSession::Outcome NubSession::DriverVersion(const Request& request) {
  struct VersionPayload {
    NubWord handle;
    NubWord result;
    NubWord version;
  } payload;
  if (request.payload.size() < sizeof payload.handle) {
    return Refuse("a question for the driver version without a handle");
  }
  payload.handle = LoadNubPayload<NubWord>(request.payload.data());
  if (CRQD5TestPattern* card = CardOf(&payload.handle)) {
    uint32_t version = 0;
    payload.result = ResultWord(card->GetDriverVersion(&version));
    payload.version = version;
  }
  return Answer(request, payload);
}

}  // namespace morvane
