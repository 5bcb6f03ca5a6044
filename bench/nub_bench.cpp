// One register of a card in another machine, against the bare exchange of as many bytes on
// loopback, whose peer answers 95 bytes with 95 bytes and looks at nothing: once with such a peer
// for the register too, which leaves the client's own cost, and once with the nub server.
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "device/nub_client.h"
#include "device/nub_payloads.h"
#include "device/nub_wire.h"
#include "simulator/nub_server.h"
#include "simulator/simulated_machine.h"

namespace morvane {
namespace {

constexpr size_t kExchangeBytes = 95;
using Exchange = std::array<uint8_t, kExchangeBytes>;

Exchange ReadReply() {
  Exchange reply;
  const size_t bytes =
      BuildNubPacket(kNubOpenVersion, NubReadReply, sizeof(NubRegisterPayload), reply);
  StoreNubPayload(NubRegisterPayload{7, 50, 9, 0xFFFFFFFF, 0, 1},
                  reply.data() + NubPayloadOffset(kNubOpenVersion, NubReadReply));
  if (bytes != kExchangeBytes) std::abort();
  return reply;
}

// A peer that answers every kExchangeBytes it gets with the reply to a read.
class Peer {
 public:
  Peer() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t bytes = sizeof address;
    sockaddr general;
    std::memcpy(&general, &address, sizeof general);
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    int accepted = -1;
    if (bind(listener, &general, sizeof general) == 0 && listen(listener, 1) == 0 &&
        getsockname(listener, &general, &bytes) == 0) {
      client_ = socket(AF_INET, SOCK_STREAM, 0);
      if (connect(client_, &general, sizeof general) == 0)
        accepted = accept(listener, nullptr, nullptr);
    }
    close(listener);
    NoDelay(client_);
    NoDelay(accepted);
    thread_ = std::thread([accepted] { Answer(accepted); });
  }
  ~Peer() {
    if (client_ != -1) close(client_);
    thread_.join();
  }
  [[nodiscard]] int Socket() const { return client_; }
  // The caller closes it, before this object ends.
  [[nodiscard]] int GiveSocket() { return std::exchange(client_, -1); }

 private:
  static void NoDelay(int socket) {
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  }
  static void Answer(int socket) {
    const Exchange reply = ReadReply();
    Exchange request;
    while (recv(socket, request.data(), request.size(), MSG_WAITALL) ==
           static_cast<ssize_t>(request.size())) {
      if (send(socket, reply.data(), reply.size(), MSG_NOSIGNAL) == -1) break;
    }
    close(socket);
  }

  int client_ = -1;
  std::thread thread_;
};

// Both sides of the comparison, connected.
class Pair {
 public:
  Pair() { client_.Adopt("loopback", nubPeer_.GiveSocket(), 7, kNubOpenVersion); }

  [[nodiscard]] bool Bare() {
    constexpr auto kAll = static_cast<ssize_t>(kExchangeBytes);
    return send(barePeer_.Socket(), bytes_.data(), bytes_.size(), MSG_NOSIGNAL) == kAll &&
           recv(barePeer_.Socket(), bytes_.data(), bytes_.size(), MSG_WAITALL) == kAll;
  }
  [[nodiscard]] bool Nub() {
    uint32_t value = 0;
    return client_.ReadRegister(50, &value, 0xFFFFFFFF, 0) == NubSuccess && value == 9;
  }

 private:
  Peer barePeer_;
  Peer nubPeer_;
  Exchange bytes_{};
  NubClient client_;
};

void BM_BareExchange(benchmark::State& state) {
  Pair pair;
  for (auto _ : state) {
    if (!pair.Bare()) state.SkipWithError("the exchange broke");
  }
}
BENCHMARK(BM_BareExchange)->UseRealTime();

void BM_NubReadRegister(benchmark::State& state) {
  Pair pair;
  for (auto _ : state) {
    if (!pair.Nub()) state.SkipWithError("the exchange broke");
  }
}
BENCHMARK(BM_NubReadRegister)->UseRealTime();

// The server on a thread of its own and a client of it.
class Served {
 public:
  Served() {
    machine_.Install();
    NubServerOptions options;
    options.port = 0;
    server_ = std::make_unique<NubServer>(&machine_.Driver(), options);
    std::string error;
    if (!server_->Listen(&error)) return;
    thread_ = std::thread([this] { server_->Run(); });
    setenv("MORVANE_NUB_PORT", std::to_string(server_->Port()).c_str(), 1);
    open_ = client_.Open("127.0.0.1", 0, 8) == NubSuccess;
  }
  ~Served() {
    server_->Stop();
    if (thread_.joinable()) thread_.join();
  }
  Served(const Served&) = delete;
  Served& operator=(const Served&) = delete;

  [[nodiscard]] bool Nub() {
    uint32_t value = 0;
    return open_ && client_.ReadRegister(50, &value, 0xFFFFFFFF, 0) == NubSuccess;
  }

 private:
  SimulatedMachine machine_{BuiltInMachine()};
  std::unique_ptr<NubServer> server_;
  std::thread thread_;
  NubClient client_;
  bool open_ = false;
};

// The two in turn, a hundred at a time, so that what else the machine does falls on both alike.
template <typename Other>
void Compare(benchmark::State& state, Pair& pair, Other& other) {
  using Clock = std::chrono::steady_clock;
  constexpr int kBatch = 100;
  Clock::duration bare{}, nub{};
  bool good = true;
  for (auto _ : state) {
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < kBatch; ++i) good = pair.Bare() && good;
    const Clock::time_point middle = Clock::now();
    for (int i = 0; i < kBatch; ++i) good = other.Nub() && good;
    bare += middle - start;
    nub += Clock::now() - middle;
  }
  if (!good) state.SkipWithError("the exchange broke");
  state.counters["times_bare"] =
      std::chrono::duration<double>(nub).count() / std::chrono::duration<double>(bare).count();
}

void BM_NubOverBare(benchmark::State& state) {
  Pair pair;
  Compare(state, pair, pair);
}
BENCHMARK(BM_NubOverBare)->UseRealTime();

void BM_ServedOverBare(benchmark::State& state) {
  Pair pair;
  Served served;
  Compare(state, pair, served);
}
BENCHMARK(BM_ServedOverBare)->UseRealTime();

}  // namespace
}  // namespace morvane
