#include "simulator/nub_connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/clock.h"

namespace morvane {
namespace {

constexpr int64_t kNsPerMs = 1000000;

int64_t FromNow(int64_t milliseconds) {
  return NxClockNowNs() + milliseconds * kNsPerMs;
}

uint32_t BodyBytes(const std::array<uint8_t, kNubPacketLimit>& packet) {
  return LoadNubHeader(std::span(packet).first<kNubHeaderBytes>()).dataLength;
}

bool IsPassing(int error) {
  return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

// Neither more bytes nor the end of the client's side have come behind its request. An end that
// comes later cannot be told from that of a client which has gone; one that came with the request
// is that of a client which wants its answer.
bool NothingFollows(int socket) {
  uint8_t byte = 0;
  return recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0 && IsPassing(errno);
}

}  // namespace

NubConnection::NubConnection(int socket, std::string peer, NubSession session,
                             const Patience& patience)
    : socket_(socket),
      peer_(std::move(peer)),
      session_(std::move(session)),
      patience_(patience),
      lastRequestNs_(NxClockNowNs()),
      deadlineNs_(FromNow(patience.firstPacketMs)) {}

NubConnection::~NubConnection() {
  close(socket_);
}

size_t NubConnection::PacketBytes() const {
  if (inBytes_ < kNubHeaderBytes) return 0;
  const size_t bytes = kNubHeaderBytes + BodyBytes(in_);
  return bytes <= inBytes_ ? bytes : 0;
}

bool NubConnection::IsTooLong() const {
  return inBytes_ >= kNubHeaderBytes && BodyBytes(in_) > kNubBodyLimit;
}

// While a reply is on its way, nothing is taken in: a client that does not read its replies fills
// the system's buffers and not ours.
int NubConnection::WantedEvents() const {
  if (IsSending()) return POLLOUT;
  if (session_.IsWaiting()) return endsWait_ ? POLLRDHUP : 0;
  if (ended_ || PacketBytes() != 0) return 0;
  return POLLIN;
}

int64_t NubConnection::DueNs() const {
  if (IsSending()) return deadlineNs_;
  if (session_.IsWaiting()) return session_.WaitDueNs();
  if (ended_ || IsTooLong() || PacketBytes() != 0) return 0;
  return deadlineNs_;
}

bool NubConnection::Serve(int events) {
  // Both directions are gone: nobody is there to be answered.
  if ((events & (POLLERR | POLLHUP | POLLNVAL)) != 0 && WantedEvents() != POLLIN) return false;
  if (IsSending()) return (events & POLLOUT) != 0 ? Send() : !IsLate();
  if (session_.IsWaiting()) {
    if (endsWait_ && (events & POLLRDHUP) != 0) return false;
    return !session_.LookAtWait() || StartReply();
  }
  if (PacketBytes() == 0 && events != 0 && !Receive()) return false;
  if (IsTooLong()) {
    return Complain("announced a packet of " + std::to_string(BodyBytes(in_)) +
                    " bytes behind its header");
  }
  if (PacketBytes() != 0) return ExecuteOne();
  return !ended_ && !IsLate();
}

bool NubConnection::IsLate() {
  if (NxClockNowNs() < deadlineNs_) return false;
  (void)Complain(IsSending()      ? "does not read its reply"
                 : inBytes_ != 0  ? "stopped in the middle of a packet"
                 : requests_ != 0 ? "opened no card"
                                  : "sent no request");
  return true;
}

int64_t NubConnection::NextDeadlineNs() const {
  if (inBytes_ != 0) return FromNow(patience_.packetMs);
  return HasCard() ? kClockForeverNs : FromNow(patience_.noCardMs);
}

bool NubConnection::Complain(std::string why) {
  complaint_ = std::move(why);
  return false;
}

bool NubConnection::Receive() {
  const ssize_t got = recv(socket_, in_.data() + inBytes_, in_.size() - inBytes_, 0);
  if (got < 0) return IsPassing(errno);
  if (got == 0) {
    ended_ = true;
    return true;
  }
  if (inBytes_ == 0 && requests_ > 0) deadlineNs_ = FromNow(patience_.packetMs);
  inBytes_ += static_cast<size_t>(got);
  return true;
}

bool NubConnection::ExecuteOne() {
  const size_t bytes = PacketBytes();
  const NubSession::Outcome outcome = session_.Execute(std::span(in_).first(bytes));
  ++requests_;
  lastRequestNs_ = NxClockNowNs();
  inBytes_ -= bytes;
  std::memmove(in_.data(), in_.data() + bytes, inBytes_);
  deadlineNs_ = NextDeadlineNs();
  switch (outcome) {
    case NubSession::Outcome::kReply:
      return StartReply();
    case NubSession::Outcome::kWaiting:
      endsWait_ = !ended_ && NothingFollows(socket_);
      return true;
    case NubSession::Outcome::kRefused:
      return Complain("sent what is no request: " + session_.Refusal());
  }
  return false;
}

bool NubConnection::StartReply() {
  reply_ = session_.Reply();
  sent_ = 0;
  return Send();
}

// Whole in one send, but where the client lets replies pile up.
bool NubConnection::Send() {
  const ssize_t sent =
      send(socket_, reply_.data() + sent_, reply_.size() - sent_, MSG_NOSIGNAL | MSG_DONTWAIT);
  if (sent < 0 && !IsPassing(errno)) return false;
  if (sent_ == 0 && static_cast<size_t>(std::max<ssize_t>(sent, 0)) < reply_.size()) {
    deadlineNs_ = FromNow(patience_.replyMs);
  }
  sent_ += static_cast<size_t>(std::max<ssize_t>(sent, 0));
  if (IsSending()) return true;
  reply_ = {};
  sent_ = 0;
  deadlineNs_ = NextDeadlineNs();
  return true;
}

}  // namespace morvane
