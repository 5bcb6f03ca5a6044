// Opening and closing of the nub client, against a peer that gives given bytes.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <utility>

#include "device/nub_client.h"
#include "device/nub_exchange.h"
#include "device/nub_fake.h"
#include "device/nub_socket.h"

namespace morvane {
namespace {

using test::Bytes;
using test::kNubHost;
using test::NubFake;
using test::Observe;
using test::OpenReply;
using test::OpenThere;
using test::Outcome;
using test::Packet;
using test::ReadReply;
using test::Wire;

// A label too long for any name server to be asked.
const std::string kUnknownHost(64, 'h');

TEST(NubClient, OpenRequestIsThese123Bytes) {
  NubFake fake({OpenReply(3, 7)});
  NubClient client;
  ASSERT_EQ(client.Open(kNubHost, 5, 0x12348), NubSuccess);
  EXPECT_EQ(client.Handle(), 7);
  EXPECT_EQ(client.Version(), 3u);
  EXPECT_EQ(client.Host(), kNubHost);
  const Bytes expected =
      Packet(3, 2, "I didn't expect a kind of Spanish Inquisition.", Wire({5, 0x2348, 0}));
  ASSERT_EQ(expected.size(), 123u);
  EXPECT_EQ(fake.Requests(), std::vector<Bytes>({expected}));
}

TEST(NubClient, TheReplyChoosesTheVersionAndTheOpenIsAlwaysVersion3) {
  for (const uint32_t version : {1u, 2u, 3u, 7u}) {
    NubFake fake({OpenReply(version, 1), OpenReply(3, 2)});
    NubClient client;
    ASSERT_EQ(OpenThere(&client), NubSuccess);
    EXPECT_EQ(client.Version(), version);
    ASSERT_EQ(OpenThere(&client), NubSuccess);
    EXPECT_EQ(client.Version(), 3u);
    EXPECT_EQ(client.Handle(), 2);
    const auto requests = fake.Requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0], requests[1]);
    EXPECT_EQ(requests[0][3], 3);
    EXPECT_EQ(fake.Connections(), 1);
  }
}

TEST(NubClient, AnotherHostIsAnotherConnection) {
  NubFake fake({OpenReply(3, 1), OpenReply(3, 2)});
  NubClient client;
  ASSERT_EQ(OpenThere(&client), NubSuccess);
  ASSERT_EQ(client.Open("127.0.0.2", 0, 8), NubNotOpen);  // nobody listens there
  EXPECT_EQ(client.Socket(), -1);
  EXPECT_EQ(client.Handle(), -1);
  EXPECT_EQ(client.Version(), 0u);
  ASSERT_EQ(OpenThere(&client), NubSuccess);
  EXPECT_EQ(client.Handle(), 2);
  EXPECT_EQ(fake.Connections(), 2);
}

TEST(NubClient, HostsAreComparedAsText) {
  NubFake fake({OpenReply(3, 1), OpenReply(3, 2)});
  NubClient client;
  ASSERT_EQ(OpenThere(&client), NubSuccess);
  ASSERT_EQ(client.Open("localhost", 0, 8), NubSuccess);
  EXPECT_EQ(client.Host(), "localhost");
  EXPECT_EQ(fake.Connections(), 2);
}

TEST(NubClient, NoHostClosesAndFails) {
  NubFake fake({OpenReply(3, 1)});
  NubClient client;
  ASSERT_EQ(OpenThere(&client), NubSuccess);
  EXPECT_EQ(client.Open(nullptr, 0, 8), NubNotOpen);
  EXPECT_EQ(client.Socket(), -1);
  EXPECT_EQ(client.Handle(), -1);
  EXPECT_FALSE(client.Close());
}

TEST(NubClient, AnUnknownNameFailsWithoutAMessage) {
  NubClient client;
  const Outcome outcome = Observe([&] { return client.Open(kUnknownHost.c_str(), 0, 8); });
  EXPECT_EQ(outcome.result, NubNotOpen);
  EXPECT_EQ(outcome.out + outcome.err, "");
  EXPECT_EQ(client.Socket(), -1);
}

TEST(NubClient, NobodyThereSaysConnect) {
  setenv("MORVANE_NUB_PORT", "1", 1);
  NubClient client;
  const Outcome outcome = Observe([&] { return OpenThere(&client); });
  unsetenv("MORVANE_NUB_PORT");
  EXPECT_EQ(outcome.result, NubNotOpen);
  EXPECT_EQ(outcome.err, "connect: Connection refused\n");
  EXPECT_EQ(client.Socket(), -1);
}

TEST(NubClient, ThePortIsTheUsualOneUnlessTold) {
  unsetenv("MORVANE_NUB_PORT");
  EXPECT_EQ(NubPort(), 7474);
  const std::pair<const char*, uint16_t> rows[] = {{"1", 1},      {"65535", 65535}, {"0", 7474},
                                                   {"", 7474},    {"65536", 7474},  {"-1", 7474},
                                                   {"80x", 7474}, {"x", 7474}};
  for (const auto& [text, port] : rows) {
    setenv("MORVANE_NUB_PORT", text, 1);
    EXPECT_EQ(NubPort(), port) << text;
  }
  unsetenv("MORVANE_NUB_PORT");
}

TEST(NubClient, AnInvalidHandleFailsTheOpenThoughItIsStored) {
  NubFake fake({OpenReply(2, 0xFFFFFFFF)});
  NubClient client;
  const Outcome outcome = Observe([&] { return OpenThere(&client); });
  EXPECT_EQ(outcome.result, NubBadHandle);
  EXPECT_EQ(outcome.out, "Got invalid handle on open response.\n");
  EXPECT_EQ(client.Handle(), -1);
  EXPECT_EQ(client.Version(), 2u);
  EXPECT_NE(client.Socket(), -1);
}

TEST(NubClient, AnOpenThatFailsKeepsTheConnectionUnlessThePeerClosedIt) {
  struct Row {
    Bytes reply;
    int result;
  };
  const Row rows[] = {
      {ReadReply(7, 0, 1), NubNotOpenReply},
      {Packet(3, 3, "Nobody expects the Spanish Inquisition!", Wire({0, 0, 7})), NubNotOpenReply},
      {Packet(3, 2, "NOBODY expects the Spanish Inquisition!", Wire({0, 0, 7})), NubNotOpenReply},
      {Bytes(63, 0), NubShortReply},
      {Bytes(1, 3), NubShortReply},
  };
  for (const Row& row : rows) {
    NubFake fake({row.reply, OpenReply(3, 9)});
    NubClient client;
    EXPECT_EQ(OpenThere(&client), row.result);
    EXPECT_EQ(client.Handle(), -1);
    EXPECT_NE(client.Socket(), -1);
    EXPECT_EQ(client.Mismatches(NubOpen), row.result == NubNotOpenReply ? 1u : 0u);
    EXPECT_EQ(OpenThere(&client), NubSuccess);
    EXPECT_EQ(client.Handle(), 9);
    EXPECT_EQ(fake.Connections(), 1);
  }
}

TEST(NubClient, AFailedOpenLeavesTheCardThatWasOpen) {
  NubFake fake({OpenReply(2, 7), ReadReply(7, 0, 1)});
  NubClient client;
  ASSERT_EQ(OpenThere(&client), NubSuccess);
  EXPECT_EQ(OpenThere(&client), NubNotOpenReply);
  EXPECT_EQ(client.Handle(), -1);
  EXPECT_EQ(client.Version(), 2u);  // as the last open reply told
  EXPECT_NE(client.Socket(), -1);
}

TEST(NubClient, AnOpenThatThePeerClosesCanBeTriedAgain) {
  NubFake fake([](NubFake& peer) {
    peer.Accept();
    peer.Receive();
    peer.Accept();
    peer.Receive();
    peer.Send(OpenReply(3, 4));
    peer.Receive();
  });
  NubClient client;
  EXPECT_EQ(OpenThere(&client), NubPeerClosed);
  EXPECT_EQ(client.Socket(), -1);
  EXPECT_EQ(OpenThere(&client), NubSuccess);
  EXPECT_EQ(client.Handle(), 4);
}

TEST(NubClient, ClosingSendsNothingAndForgetsAll) {
  NubFake fake({OpenReply(2, 7)});
  NubClient client;
  ASSERT_EQ(OpenThere(&client), NubSuccess);
  EXPECT_TRUE(client.Close());
  EXPECT_EQ(client.Socket(), -1);
  EXPECT_EQ(client.Handle(), -1);
  EXPECT_EQ(client.Version(), 0u);
  EXPECT_EQ(client.Host(), "");
  EXPECT_FALSE(client.Close());
  EXPECT_EQ(fake.Requests().size(), 1u);
}

TEST(NubClient, TheEndOfTheObjectClosesTheConnection) {
  std::atomic<bool> gone = false;
  NubFake fake([&gone](NubFake& peer) {
    peer.Accept();
    peer.Receive();
    peer.Send(OpenReply(3, 7));
    gone = peer.Receive().empty();
  });
  {
    NubClient client;
    ASSERT_EQ(OpenThere(&client), NubSuccess);
  }
  while (!gone) std::this_thread::yield();
}

}  // namespace
}  // namespace morvane
