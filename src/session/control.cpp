// The port: opening, claiming, and one exchange on the line.
#include "session/control.h"

#include <algorithm>

#include "device/driver_records.h"
#include "device/registers.h"

namespace morvane {
namespace {

// Of the UART status word.
constexpr uint32_t kUartPresent = 1u << 8;
constexpr uint32_t kUartReceived = 1u << 4;
constexpr uint32_t kUartEnable = 201;  // bits 0, 3, 6 and 7

constexpr uint32_t kTransmitWaitMs = 15;
constexpr uint32_t kReceiveWaitMs = 5;
// Every byte may wake once with and once without something to read; more is a port gone wild.
constexpr size_t kMaxReceiveWaits = 2 * kVtrReplyBytes + 2;

}  // namespace

CRQD5Control::CRQD5Control() = default;

CRQD5Control::~CRQD5Control() {
  CRQD5Control::Close();
}

bool CRQD5Control::Open(uint16_t boardNumber, bool displayError, uint32_t boardType,
                        const char* hostName) {
  if (!CRQD5Card::Open(boardNumber, displayError, boardType, hostName)) return false;
  // A host that cannot be reached has had its message; there is nothing to read.
  const bool noHost = hostName != nullptr && hostName[0] != '\0' && !IsRemote();
  controlAvailable_ = !noHost && (FieldOr(RegisterField::UartStatus, 0) & kUartPresent) != 0;
  return true;
}

bool CRQD5Control::Close() {
  if (activated_) Deactivate();
  activated_ = false;
  controlAvailable_ = false;
  return CRQD5Card::Close();
}

bool CRQD5Control::Fail(const char* text) {
  lastError_ = text;
  return false;
}

bool CRQD5Control::RequireOpen() {
  return boardOpen_ || Fail("Control Not Opened");
}

bool CRQD5Control::RequireActivated() {
  return RequireOpen() && Activate();
}

bool CRQD5Control::Activate() {
  if (!RequireOpen()) return false;
  if (activated_) return true;
  uint32_t status = 0;
  if (!ReadField(RegisterField::UartStatus, &status) || (status & kUartPresent) == 0 ||
      !WriteField(RegisterField::UartStatus, status | kUartEnable)) {
    return Fail("Could Not Activate Control");
  }
  // Results are not looked at: over the network these are refused, and the far side has them on.
  for (const uint32_t type : {InterruptUartReceive, InterruptUartTransmit}) {
    ConfigureInterrupt(true, type);
    ConfigureSubscription(true, type, nullptr);
  }
  activated_ = true;
  return true;
}

bool CRQD5Control::Deactivate() {
  if (!RequireOpen()) return false;
  if (!activated_) return true;
  if ((FieldOr(RegisterField::UartStatus, 0) & kUartPresent) != 0) {
    WriteField(RegisterField::UartStatus, 0);
    ConfigureInterrupt(false, InterruptUartReceive);
    ConfigureInterrupt(false, InterruptUartTransmit);
  }
  activated_ = false;
  return true;
}

bool CRQD5Control::SendCommand(std::span<const uint8_t> command, bool wantReply) {
  if (!RequireActivated()) return false;
  replyLength_ = 0;
  reply_.fill(0);
  const size_t count = command.empty() ? 0 : command[0];
  if (count == 0 || count > kVtrCommandBytes || command.size() < count + 1) return false;
  uint8_t sum = 0;
  for (const uint8_t byte : command.subspan(1, count)) {
    if (!WriteField(RegisterField::UartTransmit, byte)) return false;
    sum = static_cast<uint8_t>(sum + byte);
  }
  if (!WriteField(RegisterField::UartTransmit, sum)) return false;
  if (!WaitForInterrupt(InterruptUartTransmit, kTransmitWaitMs)) return false;
  if (wantReply) Receive();
  return true;
}

void CRQD5Control::Receive() {
  for (size_t wait = 0; wait < kMaxReceiveWaits && replyLength_ < kVtrReplyBytes; ++wait) {
    if (!WaitForInterrupt(InterruptUartReceive, kReceiveWaitMs)) return;
    while (replyLength_ < kVtrReplyBytes &&
           (FieldOr(RegisterField::UartStatus, 0) & kUartReceived) != 0) {
      uint32_t byte = 0;
      if (!ReadField(RegisterField::UartReceive, &byte)) return;
      reply_[replyLength_++] = static_cast<uint8_t>(byte);
    }
  }
}

bool CRQD5Control::Exchange(Bytes bytes, bool wantReply) {
  std::array<uint8_t, kVtrCommandBytes + 1> command{};
  command[0] = static_cast<uint8_t>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), command.begin() + 1);
  return SendCommand(command, wantReply);
}

bool CRQD5Control::ExchangeTime(uint8_t first, uint8_t second, const VtrTime& time) {
  return Exchange({first, second, time[0], time[1], time[2], time[3]});
}

bool CRQD5Control::IsAck(size_t length) const {
  return replyLength_ == length && reply_[0] == 0x10 && reply_[1] == 0x01 && reply_[2] == 0x11;
}

}  // namespace morvane
