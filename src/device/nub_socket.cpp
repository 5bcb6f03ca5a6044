#include "device/nub_socket.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <vector>

#include "device/nub_client.h"
#include "device/nub_wire.h"

namespace morvane {
namespace {

constexpr int kSendSeconds = 2;
constexpr size_t kLookUpBytes = 1024;  // at first; doubled while the answer is longer
constexpr size_t kLookUpLimit = 1 << 20;

std::optional<in_addr> FirstAddress(const char* hostName) {
  for (size_t bytes = kLookUpBytes; bytes <= kLookUpLimit; bytes *= 2) {
    std::vector<char> memory(bytes);
    hostent entry{};
    hostent* found = nullptr;
    int error = 0;
    const int status =
        gethostbyname_r(hostName, &entry, memory.data(), memory.size(), &found, &error);
    if (status == ERANGE) continue;
    if (status != 0 || found == nullptr || found->h_addrtype != AF_INET ||
        found->h_addr_list[0] == nullptr) {
      return std::nullopt;
    }
    in_addr address;
    std::memcpy(&address, found->h_addr_list[0], sizeof address);
    return address;
  }
  return std::nullopt;
}

// A connect that a signal interrupts goes on by itself; its end is waited for.
bool FinishConnect(int socket) {
  pollfd waited{socket, POLLOUT, 0};
  while (poll(&waited, 1, -1) == -1) {
    if (errno != EINTR) return false;
  }
  int error = 0;
  socklen_t bytes = sizeof error;
  if (getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &bytes) != 0) return false;
  errno = error;
  return error == 0;
}

void SetOptions(int socket) {
  const int on = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  // A peer that never reads must not hold the caller for ever.
  const timeval limit{kSendSeconds, 0};
  setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

// Returns: as poll. A signal does not lengthen the wait.
int WaitReadable(int socket, int timeoutMs) {
  using std::chrono::steady_clock;
  const auto deadline = steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  for (int left = timeoutMs;;) {
    pollfd waited{socket, POLLIN, 0};
    const int ready = poll(&waited, 1, left);
    if (ready != -1 || errno != EINTR) return ready;
    const auto rest =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now()).count();
    left = rest > 0 ? static_cast<int>(rest) : 0;
  }
}

int SocketFailed() {
  std::perror("recvtimeout_sec");
  return NubSocketFailed;
}

}  // namespace

uint16_t NubPort() {
  const char* text = std::getenv("MORVANE_NUB_PORT");
  if (text == nullptr) return kNubPort;
  char* end = nullptr;
  const unsigned long port = std::strtoul(text, &end, 10);
  const bool good = end != text && *end == '\0' && port >= 1 && port <= UINT16_MAX;
  return good ? static_cast<uint16_t>(port) : kNubPort;
}

int ConnectNub(const char* hostName) {
  const std::optional<in_addr> address = FirstAddress(hostName);
  if (!address) return -1;
  const int made = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (made == -1) {
    std::perror("socket");
    return -1;
  }
  sockaddr_in peer{};
  peer.sin_family = AF_INET;
  peer.sin_port = htons(NubPort());
  peer.sin_addr = *address;
  sockaddr general;
  static_assert(sizeof general == sizeof peer);
  std::memcpy(&general, &peer, sizeof general);
  bool connected = connect(made, &general, sizeof general) == 0;
  if (!connected && errno == EINTR) connected = FinishConnect(made);
  if (!connected) {
    std::perror("connect");
    CloseNub(made);
    return -1;
  }
  SetOptions(made);
  return made;
}

void CloseNub(int socket) {
  close(socket);
}

bool SendNub(int socket, std::span<const uint8_t> bytes) {
  using std::chrono::steady_clock;
  // A signal does not lengthen the wait.
  const auto deadline = steady_clock::now() + std::chrono::seconds(kSendSeconds);
  while (!bytes.empty()) {
    const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent == -1) {
      if (errno == EINTR && steady_clock::now() < deadline) continue;
      return false;
    }
    bytes = bytes.subspan(static_cast<size_t>(sent));
  }
  return true;
}

int ReceiveNub(int socket, std::span<uint8_t> into, int timeoutMs) {
  const int ready = WaitReadable(socket, timeoutMs);
  if (ready == -1) return SocketFailed();
  if (ready == 0) return NubTimedOut;
  for (;;) {
    const ssize_t received = recv(socket, into.data(), into.size(), 0);
    if (received > 0) return static_cast<int>(received);
    if (received == 0) return NubPeerClosed;
    if (errno != EINTR) return SocketFailed();
  }
}

}  // namespace morvane
