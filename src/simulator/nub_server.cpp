#include "simulator/nub_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/clock.h"
#include "simulator/simulated_driver.h"

namespace morvane {
namespace {

static_assert(std::atomic<bool>::is_always_lock_free, "Stop() may run in a signal handler");

constexpr int kBacklog = 64;
constexpr int64_t kNsPerMs = 1000000;
constexpr int64_t kNsPerSecond = 1000 * kNsPerMs;
constexpr int64_t kDeckLookNs = 50 * kNsPerMs;  // while a tape machine records
// With no socket to be had, the port is left alone so long.
constexpr int64_t kAcceptPauseNs = 100 * kNsPerMs;
// A machine that went away without a word is noticed after about two minutes.
constexpr int kKeepAliveIdleSeconds = 60;
constexpr int kKeepAliveIntervalSeconds = 10;
constexpr int kKeepAliveProbes = 6;
constexpr int kUnansweredMs = 120000;  // also with a reply on its way, when there are no probes

void SetOption(int socket, int level, int option, int value) {
  (void)setsockopt(socket, level, option, &value, sizeof value);
}

std::string SystemWords() {
  return std::strerror(errno);
}

sockaddr_in SocketAddress(uint32_t address, uint16_t port) {
  sockaddr_in result = {};
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  result.sin_addr.s_addr = htonl(address);
  return result;
}

}  // namespace

NubServer::NubServer(SimulatedDriver* driver, NubServerOptions options)
    : options_(std::move(options)),
      cards_(driver),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      painter_(std::make_unique<NubPainter>([this] { Wake(); })) {}

NubServer::~NubServer() {
  clients_.clear();  // what they have ordered is not drawn any more
  painter_.reset();
  if (listener_ >= 0) close(listener_);
  if (wake_ >= 0) close(wake_);
}

bool NubServer::Listen(std::string* error) {
  const std::string place = options_.bindAddress + ":" + std::to_string(options_.port);
  const auto address = ParseAddress(options_.bindAddress);
  if (!address) {
    *error = options_.bindAddress + " is no IPv4 address.";
    return false;
  }
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  SetOption(listener_, SOL_SOCKET, SO_REUSEADDR, 1);
  sockaddr_in own = SocketAddress(*address, options_.port);
  socklen_t bytes = sizeof own;
  if (wake_ < 0 || listener_ < 0 ||
      bind(listener_, reinterpret_cast<const sockaddr*>(&own), bytes) != 0 ||
      listen(listener_, kBacklog) != 0 ||
      getsockname(listener_, reinterpret_cast<sockaddr*>(&own), &bytes) != 0) {
    *error = "Cannot serve on " + place + ": " + SystemWords() + ".";
    return false;
  }
  port_ = ntohs(own.sin_port);
  return true;
}

void NubServer::Run() {
  while (ServeRound(-1)) {
  }
}

void NubServer::Stop() {
  stopped_ = true;
  Wake();
}

void NubServer::Wake() const {
  const uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(wake_, &one, sizeof one);
}

int64_t NubServer::NextDueNs() const {
  int64_t due = acceptAgainNs_ != 0 ? acceptAgainNs_ : kClockForeverNs;
  for (const NubConnection& client : clients_) due = std::min(due, client.DueNs());
  return due;
}

bool NubServer::ServeRound(int64_t longestMs) {
  if (NxClockNowNs() >= acceptAgainNs_) acceptAgainNs_ = 0;
  std::vector<pollfd> polled;
  polled.reserve(clients_.size() + 2);
  polled.push_back({wake_, POLLIN, 0});
  // A negative descriptor is passed over.
  polled.push_back({acceptAgainNs_ != 0 ? -1 : listener_, POLLIN, 0});
  for (const NubConnection& client : clients_) {
    polled.push_back({client.Socket(), static_cast<short>(client.WantedEvents()), 0});
  }
  int64_t due = NextDueNs();
  // No client need ask: what a tape machine records would all have to be passed at once then.
  if (cards_.Driver().AdvanceDecks()) due = std::min(due, NxClockNowNs() + kDeckLookNs);
  int64_t waitNs = longestMs < 0 ? kClockForeverNs : longestMs * kNsPerMs;
  if (due != kClockForeverNs) {
    waitNs = std::min(waitNs, std::max<int64_t>(due - NxClockNowNs(), 0));
  }
  const timespec wait = {waitNs / kNsPerSecond, waitNs % kNsPerSecond};
  if (ppoll(polled.data(), polled.size(), waitNs == kClockForeverNs ? nullptr : &wait, nullptr) <
      0) {
    for (pollfd& entry : polled) entry.revents = 0;
  }
  if (polled[0].revents != 0) {
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t taken = read(wake_, &count, sizeof count);
  }
  if (stopped_) return false;

  size_t index = 2;
  for (auto client = clients_.begin(); client != clients_.end(); ++index) {
    if (client->Serve(polled[index].revents)) {
      ++client;
      continue;
    }
    if (!client->Complaint().empty()) Say(client->Peer() + " " + client->Complaint());
    client = clients_.erase(client);
  }
  if (polled[1].revents != 0) AcceptAll();
  return true;
}

void NubServer::AcceptAll() {
  // No more than the queue holds, so that the clients have their turn between.
  for (int i = 0; i < kBacklog && AcceptOne(); ++i) {
  }
}

bool NubServer::AcceptOne() {
  sockaddr_in from = {};
  socklen_t bytes = sizeof from;
  const int connected =
      accept4(listener_, reinterpret_cast<sockaddr*>(&from), &bytes, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (connected < 0) {
    const bool nothing = errno == EAGAIN || errno == EWOULDBLOCK;
    const bool spent = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
    if (spent) acceptAgainNs_ = NxClockNowNs() + kAcceptPauseNs;
    return !nothing && !spent;  // else that one connection was broken off
  }
  const uint32_t address = ntohl(from.sin_addr.s_addr);
  const std::string peer = AddressText(address) + ":" + std::to_string(ntohs(from.sin_port));
  if (!IsAllowed(options_.allowed, address)) {
    Say(peer + " turned away: not in an allowed range");
    close(connected);
    return true;
  }
  if (clients_.size() >= options_.maxClients && !MakeRoom()) {
    Say(peer + " turned away: " + std::to_string(clients_.size()) + " clients are connected");
    close(connected);
    return true;
  }
  SetOption(connected, IPPROTO_TCP, TCP_NODELAY, 1);
  SetOption(connected, SOL_SOCKET, SO_KEEPALIVE, 1);
  SetOption(connected, IPPROTO_TCP, TCP_KEEPIDLE, kKeepAliveIdleSeconds);
  SetOption(connected, IPPROTO_TCP, TCP_KEEPINTVL, kKeepAliveIntervalSeconds);
  SetOption(connected, IPPROTO_TCP, TCP_KEEPCNT, kKeepAliveProbes);
  SetOption(connected, IPPROTO_TCP, TCP_USER_TIMEOUT, kUnansweredMs);
  Say(peer + " connected");
  clients_.emplace_back(connected, peer,
                        NubSession(&cards_, options_.protocol, options_.buildText, painter_.get()),
                        options_.patience);
  return true;
}

// Lets go the client that has been silent longest and has opened no card. Returns: false when each
// has one.
bool NubServer::MakeRoom() {
  auto longest = clients_.end();
  for (auto client = clients_.begin(); client != clients_.end(); ++client) {
    if (client->HasCard()) continue;
    if (longest == clients_.end() || client->LastRequestNs() < longest->LastRequestNs()) {
      longest = client;
    }
  }
  if (longest == clients_.end()) return false;
  Say(longest->Peer() + " makes room for another: it opened no card");
  clients_.erase(longest);
  return true;
}

void NubServer::Say(const std::string& line) const {
  if (options_.log) options_.log(line);
}

}  // namespace morvane
