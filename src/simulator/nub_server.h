#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "simulator/address_range.h"
#include "simulator/nub_cards.h"
#include "simulator/nub_connection.h"
#include "simulator/nub_painter.h"

namespace morvane {

struct NubServerOptions {
  std::string bindAddress = "127.0.0.1";  // dotted; "0.0.0.0" for all of this machine's
  uint16_t port = kNubPort;               // 0: one that the system chooses
  uint32_t protocol = kNubOpenVersion;    // 1, 2 or 3: what an open reply answers
  std::vector<AddressRange> allowed;      // who is served; empty: whoever reaches the port
  size_t maxClients = 128;                // one more takes the place of one without a card, or none
  std::string buildText;                  // what the build information says
  NubConnection::Patience patience;
  // A line for each connection that comes, and one for each that the server ends. May be empty.
  std::function<void(const std::string&)> log;
};

// Lends this machine's cards to other machines over the nub protocol.
//
// One loop on one thread: in each round every client that has something is served one request, so
// that none can take another's share, and a wait holds nobody but the client that asked for it.
// Patterns alone are drawn on a second thread, one after the other.
// There is no authentication: whoever is served owns the cards.
// Owns: the port and its clients, from Listen() to destruction.
// Threads: one, but for Stop().
class NubServer {
 public:
  // Requires: `driver` is the installed driver port, and outlives this.
  NubServer(SimulatedDriver* driver, NubServerOptions options);
  ~NubServer();
  NubServer(const NubServer&) = delete;
  NubServer& operator=(const NubServer&) = delete;

  // Opens the port. Returns: false with a sentence in `error`.
  [[nodiscard]] bool Listen(std::string* error);
  [[nodiscard]] uint16_t Port() const { return port_; }  // after Listen()

  // Serves until Stop().
  void Run();
  // Ends Run(), now or as soon as it begins. Threads: any; also from a signal handler.
  void Stop();
  // One round: waits up to `longestMs` (-1: for ever) for something to do, then gives each client
  // its turn. Returns: false once stopped.
  [[nodiscard]] bool ServeRound(int64_t longestMs);

  [[nodiscard]] size_t ClientCount() const { return clients_.size(); }
  [[nodiscard]] size_t BoardCount() const { return cards_.BoardCount(); }

 private:
  [[nodiscard]] int64_t NextDueNs() const;
  void AcceptAll();
  [[nodiscard]] bool AcceptOne();
  [[nodiscard]] bool MakeRoom();
  void Wake() const;
  void Say(const std::string& line) const;

  const NubServerOptions options_;
  NubCards cards_;
  int listener_ = -1;
  int wake_ = -1;  // an eventfd: stopped, or a pattern is drawn
  uint16_t port_ = 0;
  std::atomic<bool> stopped_{false};
  int64_t acceptAgainNs_ = 0;  // after the system refused a socket
  std::unique_ptr<NubPainter> painter_;
  std::list<NubConnection> clients_;
};

}  // namespace morvane
