// The nub server under 64 clients that each read a register in a loop, over loopback: exchanges a
// client, errors, and how even the shares are; then the same with one more client that sends
// requests without waiting for replies. Usage: nub_server_bench [seconds a run]
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "device/nub_client.h"
#include "device/nub_payloads.h"
#include "simulator/nub_server.h"
#include "simulator/simulated_machine.h"

namespace {

using namespace morvane;

constexpr size_t kClients = 64;
constexpr char kHost[] = "127.0.0.1";

struct Share {
  uint64_t exchanges = 0;
  uint64_t errors = 0;
};

// All begin together, when every one of them has its card.
struct Signals {
  std::atomic<size_t> ready{0};
  std::atomic<bool> go{false};
  std::atomic<bool> stop{false};
};

void ReadInALoop(Signals* signals, Share* share) {
  NubClient client;
  const bool open = client.Open(kHost, 0, 8) == NubSuccess;
  ++signals->ready;
  if (!open) {
    ++share->errors;
    return;
  }
  signals->go.wait(false);
  Share own;
  while (!signals->stop) {
    uint32_t value = 0;
    if (client.ReadRegister(50, &value, 0xFFFFFFFF, 0) == NubSuccess && value == 0x10196500) {
      ++own.exchanges;
    } else {
      ++own.errors;
    }
  }
  *share = own;
}

// Keeps the pipe to the server full, and reads what comes.
void Flood(const std::atomic<bool>& stop, uint64_t* replies) {
  NubClient client;
  if (client.Open(kHost, 0, 8) != NubSuccess) return;
  std::vector<uint8_t> request(kNubPacketLimit);
  request.resize(BuildNubPacket(client.Version(), NubRead, sizeof(NubRegisterPayload), request));
  NubRegisterPayload payload;
  payload.handle = static_cast<uint32_t>(client.Handle());
  payload.registerNumber = 50;
  payload.mask = 0xFFFFFFFF;
  StoreNubPayload(payload, request.data() + NubPayloadOffset(client.Version(), NubRead));
  std::vector<uint8_t> many;
  for (int i = 0; i < 80; ++i) many.insert(many.end(), request.begin(), request.end());
  std::vector<uint8_t> in(1 << 16);
  uint64_t bytes = 0;
  size_t sent = 0;
  while (!stop) {
    pollfd entry = {client.Socket(), POLLIN | POLLOUT, 0};
    if (poll(&entry, 1, 100) <= 0) continue;
    if ((entry.revents & POLLIN) != 0) {
      const ssize_t got = recv(client.Socket(), in.data(), in.size(), MSG_DONTWAIT);
      if (got <= 0) break;
      bytes += static_cast<uint64_t>(got);
    }
    if ((entry.revents & POLLOUT) != 0) {
      const ssize_t put = send(client.Socket(), many.data() + sent, many.size() - sent,
                               MSG_NOSIGNAL | MSG_DONTWAIT);
      sent = put > 0 ? (sent + static_cast<size_t>(put)) % many.size() : sent;
    }
  }
  *replies = bytes / request.size();
}

void Run(const char* title, size_t count, bool flooded, double seconds) {
  std::vector<Share> shares(count);
  std::vector<std::thread> threads;
  Signals signals;
  uint64_t flood = 0;
  for (Share& share : shares) threads.emplace_back([&] { ReadInALoop(&signals, &share); });
  if (flooded) threads.emplace_back([&] { Flood(signals.stop, &flood); });
  while (signals.ready < count) std::this_thread::yield();
  signals.go = true;
  signals.go.notify_all();
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  signals.stop = true;
  for (std::thread& thread : threads) thread.join();
  std::sort(shares.begin(), shares.end(),
            [](const Share& a, const Share& b) { return a.exchanges < b.exchanges; });
  uint64_t total = 0, errors = 0;
  for (const Share& share : shares) {
    total += share.exchanges;
    errors += share.errors;
  }
  const double mean = static_cast<double>(total) / static_cast<double>(count);
  const auto part = [&](size_t place) {
    return static_cast<double>(shares[place].exchanges) / mean;
  };
  std::printf(
      "%-22s %6.0f /s in all, %6.1f us an exchange, %llu errors; of the mean a client has: "
      "least %.2f, one in twenty %.2f, most %.2f",
      title, static_cast<double>(total) / seconds, seconds * 1e6 / mean,
      static_cast<unsigned long long>(errors), part(0), part(count / 20), part(count - 1));
  if (flooded) std::printf("; the flood %.2f", static_cast<double>(flood) / mean);
  std::printf("\n");
}

}  // namespace

int main(int argc, char** argv) {
  const double seconds = argc > 1 ? std::atof(argv[1]) : 3;
  SimulatedMachine machine(BuiltInMachine());
  machine.Install();
  NubServerOptions options;
  options.port = 0;
  NubServer server(&machine.Driver(), options);
  std::string error;
  if (!server.Listen(&error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  setenv("MORVANE_NUB_PORT", std::to_string(server.Port()).c_str(), 1);
  std::thread serving([&] { server.Run(); });
  Run("1 client", 1, false, seconds);
  Run("64 clients", kClients, false, seconds);
  Run("64 clients and a flood", kClients, true, seconds);
  server.Stop();
  serving.join();
  return 0;
}
