#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "simulator/nub_session.h"

namespace morvane {

// One connection of the nub server: bytes in, packets to its session, replies out. Nothing here
// blocks. A packet is carried out only when it has come whole and the reply before it has gone.
// Owns: the socket. Memory: one packet in, one reply out, and its session.
// Threads: the server's.
class NubConnection {
 public:
  // How long a client may take, in milliseconds of the process clock.
  struct Patience {
    int64_t firstPacketMs = 10000;  // from the connection to its first whole packet
    int64_t packetMs = 10000;       // from the first byte of a packet to its last
    int64_t noCardMs = 10000;       // between two requests of a client that has opened no card
    int64_t replyMs = 5000;         // to take a reply that the system's buffers do not hold
  };

  // Takes a connected, non-blocking socket.
  NubConnection(int socket, std::string peer, NubSession session, const Patience& patience);
  ~NubConnection();
  NubConnection(const NubConnection&) = delete;
  NubConnection& operator=(const NubConnection&) = delete;

  [[nodiscard]] int Socket() const { return socket_; }
  [[nodiscard]] const std::string& Peer() const { return peer_; }
  [[nodiscard]] uint64_t Requests() const { return requests_; }
  [[nodiscard]] bool HasCard() const { return session_.HandleCount() != 0; }
  // Process time of its last whole request; of the connection before the first.
  [[nodiscard]] int64_t LastRequestNs() const { return lastRequestNs_; }

  // Bits of poll() that this connection waits for.
  [[nodiscard]] int WantedEvents() const;
  // Process time at which Serve() is to be called even if nothing happens on the socket.
  [[nodiscard]] int64_t DueNs() const;
  // One turn: takes in what has come, carries out at most one packet, sends what there is to send.
  // `events` is what poll() told. Returns: false when the connection is over.
  [[nodiscard]] bool Serve(int events);
  // Why the server ended it; empty when the client did.
  [[nodiscard]] const std::string& Complaint() const { return complaint_; }

 private:
  [[nodiscard]] bool IsSending() const { return sent_ < reply_.size(); }
  [[nodiscard]] size_t PacketBytes() const;  // of the packet at the front; 0 while it is not whole
  [[nodiscard]] bool IsTooLong() const;      // the packet that begins at the front
  [[nodiscard]] bool Receive();
  [[nodiscard]] bool ExecuteOne();
  [[nodiscard]] bool StartReply();
  [[nodiscard]] bool Send();
  [[nodiscard]] bool IsLate();
  [[nodiscard]] int64_t NextDeadlineNs() const;  // with no reply on its way
  [[nodiscard]] bool Complain(std::string why);

  const int socket_;
  const std::string peer_;
  NubSession session_;
  const Patience patience_;

  std::array<uint8_t, kNubPacketLimit> in_ = {};
  size_t inBytes_ = 0;
  bool ended_ = false;              // the client sends no more
  bool endsWait_ = false;           // the wait is over if the client ends its side now
  std::span<const uint8_t> reply_;  // the session's, until it has gone
  size_t sent_ = 0;
  uint64_t requests_ = 0;
  int64_t lastRequestNs_ = 0;
  int64_t deadlineNs_ = 0;  // of the packet that is coming, or the reply that is going
  std::string complaint_;
};

}  // namespace morvane
