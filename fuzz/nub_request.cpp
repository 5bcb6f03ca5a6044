// Any bytes as what a client sends to the nub server, from its first request on: they reach the
// server's own connection through a pair of sockets, in pieces, with time passing between them.
// An input is a row of {size, size, kind} and as many bytes; kind 0 to 23 puts the header and the
// name of that request in front, so that the payload is what varies.
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <vector>

#include "base/byte_order.h"
#include "base/clock.h"
#include "device/nub_wire.h"
#include "simulator/nub_connection.h"
#include "simulator/simulated_driver.h"
#include "simulator/simulated_machine.h"

using namespace morvane;

namespace {

constexpr size_t kMaxPieces = 24;
constexpr int kTurns = 4;
constexpr int64_t kStepNs = 17'000'000;

// What the fuzzer is not to guess: a good name, and a handle where a payload has one.
std::vector<uint8_t> MakePacket(uint8_t kind, std::vector<uint8_t> payload) {
  const uint32_t version = 1 + kind / kNubPacketTypes % 3;
  const uint32_t type = kind % kNubPacketTypes;
  const bool handle = type != NubOpen && payload.size() >= 4;
  if (handle && payload[0] == 0) StoreBe32(payload.data(), 1);
  std::vector<uint8_t> packet(kNubPacketLimit);
  packet.resize(BuildNubPacket(version, type, payload.size(), packet));
  if (packet.empty()) return payload;
  std::copy(payload.begin(), payload.end(),
            packet.begin() + static_cast<std::ptrdiff_t>(NubPayloadOffset(version, type)));
  return packet;
}

// Gives the connection its turns. Returns: false when it is over.
bool Turn(int socket, NubConnection* connection, ManualClock* clock) {
  static std::array<uint8_t, 1 << 16> replies;
  for (int i = 0; i < kTurns; ++i) {
    pollfd entry = {connection->Socket(), static_cast<short>(connection->WantedEvents()), 0};
    poll(&entry, 1, 0);
    if (!connection->Serve(entry.revents)) return false;
    while (recv(socket, replies.data(), replies.size(), MSG_DONTWAIT) > 0) {
    }
  }
  clock->Advance(kStepNs);
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ManualClock clock;
  MachineDescription description = BuiltInMachine();
  description.cards[0].rs422 = false;  // its tape is a folder, and would remember
  SimulatedMachine machine(description);
  machine.Install();
  NubCards cards(&machine.Driver());
  int pair[2] = {-1, -1};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, pair) != 0) return 0;
  {
    NubConnection connection(pair[0], "fuzz", NubSession(&cards, 3, "fuzz"), {});
    const std::vector<uint8_t> open = MakePacket(NubOpen, {0, 0, 0, 0, 0, 0, 0, 8, 0, 0, 0, 0});
    (void)send(pair[1], open.data(), open.size(), MSG_NOSIGNAL);
    bool alive = Turn(pair[1], &connection, &clock);
    const uint8_t* end = data + size;
    for (size_t piece = 0; alive && piece < kMaxPieces && end - data >= 3; ++piece) {
      const size_t bytes = std::min<size_t>(LoadBe16(data), static_cast<size_t>(end - data) - 3);
      const uint8_t kind = data[2];
      std::vector<uint8_t> sent(data + 3, data + 3 + bytes);
      data += 3 + bytes;
      if (kind < 3 * kNubPacketTypes) sent = MakePacket(kind, std::move(sent));
      if (!sent.empty()) (void)send(pair[1], sent.data(), sent.size(), MSG_NOSIGNAL);
      alive = Turn(pair[1], &connection, &clock);
    }
  }
  close(pair[1]);
  return 0;
}
