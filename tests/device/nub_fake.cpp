#include "device/nub_fake.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace morvane::test {
namespace {

// Waits until `socket` can be read, or `stop` is closed. Returns: whether it can.
bool WaitReadable(int socket, int stop) {
  pollfd waited[2] = {{socket, POLLIN, 0}, {stop, 0, 0}};
  while (poll(waited, 2, -1) == -1) {
  }
  return waited[0].revents != 0;
}

}  // namespace

Bytes Wire(std::initializer_list<uint32_t> words) {
  Bytes bytes;
  for (const uint32_t word : words) {
    for (const int shift : {24, 16, 8, 0}) bytes.push_back(static_cast<uint8_t>(word >> shift));
  }
  return bytes;
}

Bytes Join(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

Bytes Header(uint32_t version, uint32_t type, uint32_t dataLength) {
  Bytes bytes = Wire({version, type, dataLength});
  bytes.resize(64, 0);
  return bytes;
}

Bytes Packet(uint32_t version, uint32_t type, std::string_view name, const Bytes& payload) {
  Bytes body(name.begin(), name.end());
  body.push_back(0);
  body.insert(body.end(), payload.begin(), payload.end());
  return Join({Header(version, type, static_cast<uint32_t>(body.size())), body});
}

Bytes OpenReply(uint32_t version, uint32_t handle) {
  return Packet(version, 3, "NOBODY expects the Spanish Inquisition!", Wire({0, 0, handle}));
}

Bytes ReadReply(uint32_t handle, uint32_t value, uint32_t result) {
  return Packet(3, 5, "Read1R", Wire({handle, 50, value, 0xFFFFFFFF, 0, result}));
}

Bytes WriteReply(uint32_t handle, uint32_t result) {
  return Packet(3, 7, "Write1R", Wire({handle, 68, 0, 0xFFFFFFFF, 0, result}));
}

NubFake::NubFake(Script script) {
  Listen();
  thread_ = std::thread([this, script = std::move(script)] {
    script(*this);
    Close();
  });
}

NubFake::NubFake(std::vector<Bytes> replies)
    : NubFake([replies = std::move(replies)](NubFake& fake) {
        size_t next = 0;
        while (!fake.ReceiveOfAny().empty()) {
          if (next < replies.size()) fake.Send(replies[next++]);
        }
      }) {}

std::unique_ptr<NubFake> NubFake::Answering(Answer answer) {
  return std::make_unique<NubFake>([answer = std::move(answer)](NubFake& fake) {
    for (Bytes request; !(request = fake.ReceiveOfAny()).empty();) fake.Send(answer(request));
  });
}

NubFake::~NubFake() {
  End();
  close(listener_);
  unsetenv("MORVANE_NUB_PORT");
}

void NubFake::Listen() {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t bytes = sizeof address;
  sockaddr general;
  std::memcpy(&general, &address, sizeof general);
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool listening = bind(listener_, &general, sizeof general) == 0 &&
                         listen(listener_, 4) == 0 &&
                         getsockname(listener_, &general, &bytes) == 0 && pipe(stop_) == 0;
  EXPECT_TRUE(listening);
  std::memcpy(&address, &general, sizeof address);
  setenv("MORVANE_NUB_PORT", std::to_string(ntohs(address.sin_port)).c_str(), 1);
}

void NubFake::End() {
  if (!thread_.joinable()) return;
  close(stop_[1]);
  thread_.join();
  close(stop_[0]);
}

std::vector<Bytes> NubFake::Requests() {
  End();
  return requests_;
}

int NubFake::Connections() {
  std::lock_guard lock(mutex_);
  return connections_;
}

bool NubFake::Accept() {
  Close();
  if (!WaitReadable(listener_, stop_[0])) return false;
  client_ = accept(listener_, nullptr, nullptr);
  const int on = 1;
  setsockopt(client_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  std::lock_guard lock(mutex_);
  ++connections_;
  return client_ != -1;
}

bool NubFake::ReceiveExactly(std::span<uint8_t> into) {
  while (!into.empty()) {
    if (!WaitReadable(client_, stop_[0])) return false;
    const ssize_t received = recv(client_, into.data(), into.size(), 0);
    if (received <= 0) return false;
    into = into.subspan(static_cast<size_t>(received));
  }
  return true;
}

Bytes NubFake::Receive() {
  Bytes packet(64);
  if (client_ == -1 || !ReceiveExactly(packet)) return {};
  const size_t dataLength =
      size_t{packet[8]} << 24 | size_t{packet[9]} << 16 | size_t{packet[10]} << 8 | packet[11];
  EXPECT_LE(dataLength, 8192u);
  packet.resize(64 + dataLength);
  if (!ReceiveExactly(std::span(packet).subspan(64))) return {};
  std::lock_guard lock(mutex_);
  requests_.push_back(packet);
  return packet;
}

Bytes NubFake::ReceiveOfAny() {
  for (;;) {
    Bytes packet = Receive();
    if (!packet.empty() || !Accept()) return packet;
  }
}

void NubFake::Send(const Bytes& bytes) {
  if (bytes.empty()) return;
  const ssize_t sent = send(client_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  EXPECT_EQ(sent, static_cast<ssize_t>(bytes.size()));
}

void NubFake::WaitForEnd() {
  pollfd ended{stop_[0], 0, 0};
  while (poll(&ended, 1, -1) == -1) {
  }
}

void NubFake::WaitUntilTaken(int clientSocket) {
  for (int left = 1; left > 0;) {
    if (ioctl(clientSocket, FIONREAD, &left) != 0) return;
    usleep(1000);
  }
}

void NubFake::Close() {
  if (client_ != -1) close(std::exchange(client_, -1));
}

void NubFake::Reset() {
  const linger none{1, 0};
  setsockopt(client_, SOL_SOCKET, SO_LINGER, &none, sizeof none);
  Close();
}

}  // namespace morvane::test
