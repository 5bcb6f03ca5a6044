// The nub server over real sockets, its rounds stepped by the test.
#include "simulator/nub_server.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <deque>
#include <filesystem>
#include <memory>
#include <thread>

#include "base/clock.h"
#include "simulator/deck_client.h"
#include "simulator/nub_raw_client.h"
#include "simulator/simulated_driver.h"
#include "simulator/simulated_machine.h"

namespace morvane::test {
namespace {

constexpr uint32_t kElm = 0x10196500;

class NubServerTest : public ::testing::Test {
 protected:
  void SetUp() override { machine_.Install(); }
  void Listen(NubServerOptions options = {}) {
    options.port = 0;
    options.log = [this](const std::string& line) { lines_.push_back(line); };
    server_ = std::make_unique<NubServer>(&machine_.Driver(), std::move(options));
    std::string error;
    ASSERT_TRUE(server_->Listen(&error)) << error;
  }
  // Rounds of the server until `client` has something to read, or was closed.
  Bytes Answer(RawClient& client) {
    for (int i = 0; i < 2000; ++i) {
      const Bytes bytes = client.Take();
      if (!bytes.empty() || client.IsClosed()) return bytes;
      EXPECT_TRUE(server_->ServeRound(10));
    }
    ADD_FAILURE() << "no answer";
    return {};
  }
  Bytes Ask(RawClient& client, const Bytes& request) {
    EXPECT_TRUE(client.Send(request));
    return Answer(client);
  }
  uint32_t OpenCard(RawClient& client) {
    const Bytes reply = Ask(client, OpenRequest());
    return reply.size() == 116 ? WordAt(reply, 112) : 0;
  }
  // Rounds until the server has `count` clients.
  void WaitForClients(size_t count) {
    for (int i = 0; i < 2000 && server_->ClientCount() != count; ++i) {
      ASSERT_TRUE(server_->ServeRound(10));
    }
    ASSERT_EQ(server_->ClientCount(), count);
  }

  SimulatedMachine machine_{BuiltInMachine()};
  std::vector<std::string> lines_;
  std::unique_ptr<NubServer> server_;
};

TEST_F(NubServerTest, AClientReadsARegister) {
  Listen();
  RawClient client(server_->Port());
  EXPECT_EQ(Ask(client, OpenRequest()), Packet(3, 3, kOpenReplyName, Words({0, 8, 1})));
  EXPECT_EQ(Ask(client, ReadRequest(1)), ReadReply(1, kElm));
  ASSERT_EQ(lines_.size(), 1u) << "one line a connection";
  EXPECT_EQ(lines_[0].rfind("127.0.0.1:", 0), 0u) << lines_[0];
}

TEST_F(NubServerTest, EveryReplyComesInOneReceive) {
  Listen();
  RawClient client(server_->Port());
  ASSERT_EQ(OpenCard(client), 1u);
  const Bytes several = Packet(3, 16, "ReadMQ", Padded(Words({1, 510}), 16 * 511));
  for (int i = 0; i < 50; ++i) {
    EXPECT_EQ(Ask(client, ReadRequest(1)).size(), 95u);
    EXPECT_EQ(Ask(client, Packet(3, 22, "GetBIQ", Padded(Words({1}), 2056))).size(), 2127u);
    EXPECT_EQ(Ask(client, several).size(), 8247u);
  }
}

TEST_F(NubServerTest, ItServesThisMachineAloneUnlessTold) {
  EXPECT_EQ(NubServerOptions{}.bindAddress, "127.0.0.1");
  EXPECT_EQ(NubServerOptions{}.port, 7474);
  EXPECT_EQ(NubServerOptions{}.protocol, 3u);
}

TEST_F(NubServerTest, AnAddressOutsideTheAllowedRangesGetsNoByte) {
  NubServerOptions options;
  options.allowed = {*AddressRange::Parse("127.0.0.2/32"), *AddressRange::Parse("10.0.0.0/8")};
  Listen(std::move(options));
  RawClient friendly(server_->Port(), "127.0.0.2");
  EXPECT_EQ(OpenCard(friendly), 1u);
  RawClient stranger(server_->Port(), "127.0.0.3");
  (void)stranger.Send(OpenRequest());
  EXPECT_TRUE(Answer(stranger).empty());
  EXPECT_TRUE(stranger.IsClosed());
  EXPECT_EQ(server_->ClientCount(), 1u);
  ASSERT_EQ(lines_.size(), 2u);
  EXPECT_NE(lines_[1].find("not in an allowed range"), std::string::npos) << lines_[1];
}

TEST_F(NubServerTest, MoreClientsThanItHoldsAreTurnedAwayAndComeInLater) {
  NubServerOptions options;
  options.maxClients = 2;
  Listen(std::move(options));
  RawClient first(server_->Port());
  RawClient second(server_->Port());
  ASSERT_EQ(OpenCard(first), 1u);
  ASSERT_EQ(OpenCard(second), 2u);
  RawClient third(server_->Port());
  EXPECT_TRUE(Answer(third).empty());
  EXPECT_TRUE(third.IsClosed());
  first.Close();
  WaitForClients(1);
  RawClient fourth(server_->Port());
  EXPECT_EQ(OpenCard(fourth), 3u);
  EXPECT_EQ(Ask(second, ReadRequest(2)), ReadReply(2, kElm));
}

TEST_F(NubServerTest, ClientsWithoutACardKeepNobodyOut) {
  NubServerOptions options;
  options.maxClients = 3;
  Listen(std::move(options));
  ManualClock clock;
  RawClient good(server_->Port());
  const uint32_t handle = OpenCard(good);
  clock.Advance(1);
  RawClient asks(server_->Port());
  ASSERT_EQ(Ask(asks, Packet(3, 2, kOpenName, Words({9, 8, 0}))).size(), 116u);
  clock.Advance(1);
  RawClient silent(server_->Port());
  WaitForClients(3);
  clock.Advance(1);
  ASSERT_EQ(Ask(asks, Packet(3, 2, kOpenName, Words({9, 8, 0}))).size(), 116u);
  clock.Advance(1);

  RawClient next(server_->Port());
  EXPECT_EQ(OpenCard(next), handle + 1);
  EXPECT_TRUE(silent.TakeWaiting().empty());
  EXPECT_TRUE(silent.IsClosed()) << "it was silent longest";
  EXPECT_FALSE(asks.IsClosed());
  RawClient another(server_->Port());
  EXPECT_EQ(OpenCard(another), handle + 2);
  EXPECT_TRUE(asks.TakeWaiting().empty());
  EXPECT_TRUE(asks.IsClosed());
  EXPECT_NE(lines_.at(3).find("makes room for another"), std::string::npos) << lines_.at(3);
  RawClient tooMany(server_->Port());
  EXPECT_TRUE(Answer(tooMany).empty()) << "each of the three has a card";
  EXPECT_TRUE(tooMany.IsClosed());
  EXPECT_EQ(Ask(good, ReadRequest(handle)), ReadReply(handle, kElm));
}

// Its end is told by a FIN, which a half-closed connection sends as well.
TEST_F(NubServerTest, AClientThatClosesInAWaitIsForgottenAtOnce) {
  Listen();
  const ManualClock clock;
  RawClient waiting(server_->Port());
  const uint32_t handle = OpenCard(waiting);
  ASSERT_TRUE(waiting.Send(WaitRequest(handle, 1500)));
  waiting.Settle();
  ASSERT_TRUE(server_->ServeRound(10));
  ASSERT_EQ(server_->ClientCount(), 1u);
  waiting.Close();
  WaitForClients(0);
}

// With no descriptor to be had, the port is left alone for a while: no spinning, and no client
// of those that are there waits longer.
TEST_F(NubServerTest, WithoutDescriptorsItServesThoseWhoAreThere) {
  Listen();
  ManualClock clock;
  RawClient there(server_->Port());
  const uint32_t handle = OpenCard(there);
  RawClient waiting(server_->Port());  // in the queue of the port
  rlimit limit = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const int next = dup(0);  // the lowest that is free
  ASSERT_GE(next, 0);
  close(next);
  const rlimit none = {static_cast<rlim_t>(next), limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  const bool sent = waiting.Send(OpenRequest());
  EXPECT_TRUE(server_->ServeRound(10));
  EXPECT_EQ(server_->ClientCount(), 1u);
  EXPECT_EQ(Ask(there, ReadRequest(handle)), ReadReply(handle, kElm));
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  ASSERT_TRUE(sent);
  EXPECT_TRUE(server_->ServeRound(0));
  EXPECT_EQ(server_->ClientCount(), 1u) << "it is too early to ask again";
  clock.Advance(100'000'000);
  EXPECT_EQ(Answer(waiting).size(), 116u);
  EXPECT_EQ(server_->ClientCount(), 2u);
}

TEST_F(NubServerTest, AWaitHoldsItsOwnClientAlone) {
  Listen();
  RawClient waiting(server_->Port());
  RawClient reading(server_->Port());
  const uint32_t waits = OpenCard(waiting);
  const uint32_t reads = OpenCard(reading);
  // No format was set: the wait lasts its whole time, which would be as long as this server lives.
  const ManualClock clock;
  ASSERT_TRUE(waiting.Send(WaitRequest(waits, 1500)));
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(Ask(reading, ReadRequest(reads)), ReadReply(reads, kElm));
    EXPECT_TRUE(waiting.Take().empty());
  }
}

TEST_F(NubServerTest, PatternsOfManyClientsAreAllDrawn) {
  Listen();
  std::deque<RawClient> clients;
  for (uint32_t i = 0; i < 8; ++i) {
    clients.emplace_back(server_->Port());
    const uint32_t handle = OpenCard(clients.back());
    ASSERT_TRUE(clients.back().Send(Packet(3, 14, "DLTPQ", Words({handle, 0, 1, 1, 7, 1, i}))));
  }
  for (RawClient& client : clients) {
    const Bytes reply = Answer(client);
    ASSERT_EQ(reply.size(), 64u + 6 + 28);
    EXPECT_EQ(WordAt(reply, 64 + 6 + 4), 1u);
  }
  // One that goes away with its order, and a server that ends with one.
  RawClient gone(server_->Port());
  const uint32_t handle = OpenCard(gone);
  ASSERT_TRUE(gone.Send(Packet(3, 14, "DLTPQ", Words({handle, 0, 1, 1, 7, 1, 12}))));
  gone.Settle();
  EXPECT_TRUE(server_->ServeRound(10));
  gone.Reset();
  ASSERT_TRUE(clients[0].Send(Packet(3, 14, "DLTPQ", Words({1, 0, 1, 1, 7, 1, 12}))));
  clients[0].Settle();
  EXPECT_TRUE(server_->ServeRound(10));
  server_.reset();
}

TEST_F(NubServerTest, WhatStrangersSendHarmsNobodyElse) {
  Listen();
  RawClient good(server_->Port());
  const uint32_t handle = OpenCard(good);
  Bytes tooLong = ReadRequest(handle);
  tooLong[8] = 0x7F;
  Bytes half = ReadRequest(handle);
  half.resize(70);
  std::deque<RawClient> halves;
  for (int i = 0; i < 10; ++i) {
    RawClient stranger(server_->Port());
    EXPECT_TRUE(Ask(stranger, Bytes(200, 'G')).empty());
    RawClient longer(server_->Port());
    EXPECT_TRUE(Ask(longer, tooLong).empty());
    RawClient gone(server_->Port());
    const uint32_t waits = OpenCard(gone);
    ASSERT_TRUE(gone.Send(WaitRequest(waits, 1500)));
    gone.Settle();
    EXPECT_TRUE(server_->ServeRound(10));
    gone.Reset();
    halves.emplace_back(server_->Port());
    ASSERT_TRUE(halves.back().Send(half));
    EXPECT_EQ(Ask(good, ReadRequest(handle)), ReadReply(handle, kElm)) << i;
  }
  WaitForClients(1 + halves.size());
}

// A client with a thousand requests in the pipe gets no more of the server than one with a single
// request: in each round every client has one turn.
TEST_F(NubServerTest, SixtyFourClientsHaveFairShares) {
  constexpr size_t kClients = 64;
  constexpr int kRounds = 20;
  Listen();
  std::deque<RawClient> clients;
  std::vector<uint32_t> handles;
  for (size_t i = 0; i < kClients; ++i) {
    clients.emplace_back(server_->Port());
    handles.push_back(OpenCard(clients.back()));
    ASSERT_EQ(handles.back(), i + 1);
  }
  for (size_t i = 0; i < kClients; ++i) {
    Bytes requests;
    // The first one floods.
    const int count = i == 0 ? 1000 : kRounds;
    for (int k = 0; k < count; ++k) requests = Joined(requests, ReadRequest(handles[i]));
    ASSERT_TRUE(clients[i].Send(requests));
  }
  for (const RawClient& client : clients) client.Settle();
  for (int round = 0; round < kRounds; ++round) {
    ASSERT_TRUE(server_->ServeRound(0));
    for (size_t i = 0; i < kClients; ++i) {
      ASSERT_EQ(clients[i].TakeWaiting(), ReadReply(handles[i], kElm)) << round << " " << i;
    }
  }
}

TEST_F(NubServerTest, StopEndsItFromAnyThread) {
  Listen();
  RawClient client(server_->Port());
  std::thread thread([this] { server_->Run(); });
  ASSERT_TRUE(client.Send(OpenRequest()));
  const Bytes reply = client.TakeWaiting();
  ASSERT_EQ(reply.size(), 116u);
  ASSERT_TRUE(client.Send(WaitRequest(WordAt(reply, 112), 1500)));
  server_->Stop();
  thread.join();
  server_.reset();
  (void)client.TakeWaiting();
  EXPECT_TRUE(client.IsClosed());
}

TEST_F(NubServerTest, AStopBeforeTheRunCounts) {
  Listen();
  server_->Stop();
  server_->Run();
  EXPECT_FALSE(server_->ServeRound(0));
}

TEST_F(NubServerTest, APortThatIsTakenIsTold) {
  Listen();
  NubServerOptions options;
  options.port = server_->Port();
  NubServer second(&machine_.Driver(), options);
  std::string error;
  EXPECT_FALSE(second.Listen(&error));
  EXPECT_EQ(error, "Cannot serve on 127.0.0.1:" + std::to_string(options.port) +
                       ": Address already in use.");
  options.bindAddress = "nowhere";
  NubServer third(&machine_.Driver(), options);
  EXPECT_FALSE(third.Listen(&error));
  EXPECT_EQ(error, "nowhere is no IPv4 address.");
}

TEST_F(NubServerTest, ItServesAgainOnAPortThatWasJustInUse) {
  Listen();
  const uint16_t port = server_->Port();
  RawClient client(port);
  ASSERT_EQ(OpenCard(client), 1u);
  server_.reset();  // it closes first, so the connection lingers in the system
  NubServerOptions options;
  options.port = port;
  NubServer again(&machine_.Driver(), options);
  std::string error;
  EXPECT_TRUE(again.Listen(&error)) << error;
}

size_t FilesBelow(const std::string& folder) {
  size_t files = 0;
  std::error_code error;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder, error)) {
    if (entry.is_regular_file(error)) ++files;
  }
  return files;
}

TEST(NubServerDeck, ATapeIsRecordedThoughNobodyAsks) {
  ManualClock clock;
  const MachineDescription description = ElmWithBars();
  const std::string pictures = description.cards[0].deck.tape + "/pictures";
  SimulatedMachine machine(description);
  machine.Install();
  NubServerOptions options;
  options.port = 0;
  NubServer server(&machine.Driver(), options);
  std::string error;
  ASSERT_TRUE(server.Listen(&error)) << error;
  DeckClient client(&machine.Driver(), &clock);
  ASSERT_EQ(client.Ask("20 02"), "10 01 11");  // and from here on, silence
  EXPECT_EQ(FilesBelow(pictures), 0u);
  for (int i = 0; i < 2000 && FilesBelow(pictures) == 0; ++i) {
    clock.Advance(50000000);
    ASSERT_TRUE(server.ServeRound(10));
  }
  EXPECT_GE(FilesBelow(pictures), 1u);
}

}  // namespace
}  // namespace morvane::test
