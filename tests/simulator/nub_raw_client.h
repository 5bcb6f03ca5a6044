#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <utility>

#include "simulator/nub_packets.h"

namespace morvane::test {

// A connection that sends what it is given and gives back what comes.
class RawClient {
 public:
  explicit RawClient(int socket) : socket_(socket) {}
  // Connects to `port` of this machine, `from` an address of it. Socket() is -1 when refused.
  explicit RawClient(uint16_t port, const char* from = "127.0.0.1")
      : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in own = {};
    own.sin_family = AF_INET;
    inet_pton(AF_INET, from, &own.sin_addr);
    sockaddr_in there = own;
    inet_pton(AF_INET, "127.0.0.1", &there.sin_addr);
    there.sin_port = htons(port);
    if (bind(socket_, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0 ||
        connect(socket_, reinterpret_cast<const sockaddr*>(&there), sizeof there) != 0) {
      Close();
    }
  }
  ~RawClient() { Close(); }
  RawClient(RawClient&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}
  RawClient& operator=(RawClient&&) = delete;

  [[nodiscard]] int Socket() const { return socket_; }
  void Close() {
    if (socket_ >= 0) close(socket_);
    socket_ = -1;
  }
  // As a process that was killed with bytes unread: the other side is told by a reset.
  void Reset() {
    const linger now = {1, 0};
    setsockopt(socket_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    Close();
  }

  bool Send(const Bytes& bytes) {
    return send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(bytes.size());
  }
  // Waits until all that was sent has arrived in the other side's buffers.
  void Settle() const {
    int outstanding = 1;
    while (ioctl(socket_, TIOCOUTQ, &outstanding) == 0 && outstanding != 0) usleep(100);
  }
  // What one receive gives now; empty when nothing is there.
  Bytes Take() {
    Bytes bytes(20000);
    const ssize_t got = recv(socket_, bytes.data(), bytes.size(), MSG_DONTWAIT);
    bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return bytes;
  }
  // The same, waiting for it; empty when the other side has closed.
  Bytes TakeWaiting(int timeoutMs = 20000) {
    pollfd entry = {socket_, POLLIN, 0};
    return poll(&entry, 1, timeoutMs) == 1 ? Take() : Bytes();
  }
  // Whether the other side has closed, nothing being left to read.
  [[nodiscard]] bool IsClosed() const {
    uint8_t byte = 0;
    const ssize_t got = recv(socket_, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    return got == 0 || (got < 0 && errno != EAGAIN);
  }

 private:
  int socket_ = -1;
};

// The packets that most tests send.
inline Bytes OpenRequest() {
  return Packet(3, 2, kOpenName, Words({0, 8, 0}));
}
inline Bytes ReadRequest(uint32_t handle, uint32_t number = 50) {
  return Packet(3, 4, "Read1Q", Words({handle, number, 0, 0xFFFFFFFF, 0, 0}));
}
inline Bytes ReadReply(uint32_t handle, uint32_t value, uint32_t number = 50) {
  return Packet(3, 5, "Read1R", Words({handle, number, value, 0xFFFFFFFF, 0, 1}));
}
inline Bytes WaitRequest(uint32_t handle, uint32_t timeoutMs) {
  return Packet(3, 10, "WaitIntQ", Words({handle, 0, 0, timeoutMs}));
}
inline Bytes Joined(const Bytes& first, const Bytes& second) {
  Bytes both = first;
  both.insert(both.end(), second.begin(), second.end());
  return both;
}

}  // namespace morvane::test
