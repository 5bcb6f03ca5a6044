// One connection of the nub server and what a client may do to it, in stepped time over a pair of
// sockets.
#include "simulator/nub_connection.h"

#include <cerrno>
#include <optional>

#include "simulator/nub_raw_client.h"
#include "simulator/nub_session_fixture.h"

namespace morvane::test {
namespace {

constexpr int64_t kSecond = 1'000'000'000;
constexpr uint32_t kElm = 0x10196500;

// A request, a reply, and little more.
static_assert(sizeof(NubConnection) < 3 * kNubPacketLimit);

class NubConnectionTest : public NubSessionTest {
 protected:
  void SetUp() override {
    NubSessionTest::SetUp();
    int pair[2] = {-1, -1};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, pair), 0);
    client_.emplace(pair[1]);
    connection_.emplace(pair[0], "peer", NubSession(cards_.get(), 3, ""),
                        NubConnection::Patience{});
  }
  // One turn of the server, as its loop gives it. Returns: whether the connection goes on.
  bool Turn() {
    pollfd entry = {connection_->Socket(), static_cast<short>(connection_->WantedEvents()), 0};
    poll(&entry, 1, 0);
    return connection_->Serve(entry.revents);
  }
  // Turns until nothing is left to be done. Returns: whether the connection goes on.
  bool TurnAll() {
    for (int i = 0; i < 1000; ++i) {
      pollfd entry = {connection_->Socket(), static_cast<short>(connection_->WantedEvents()), 0};
      const bool ready = poll(&entry, 1, 0) > 0;
      const bool due = connection_->DueNs() <= NxClockNowNs();
      if (!ready && !due) return true;
      if (!connection_->Serve(entry.revents)) return false;
    }
    ADD_FAILURE() << "it never comes to rest";
    return false;
  }
  void OpenCard() {
    ASSERT_TRUE(client_->Send(OpenRequest()));
    ASSERT_TRUE(TurnAll());
    ASSERT_EQ(client_->Take().size(), 116u);
  }

  std::optional<RawClient> client_;
  std::optional<NubConnection> connection_;
};

TEST_F(NubConnectionTest, APacketMayComeByteByByte) {
  const Bytes request = OpenRequest();
  for (const uint8_t byte : request) {
    EXPECT_TRUE(client_->Take().empty());
    ASSERT_TRUE(client_->Send({byte}));
    ASSERT_TRUE(TurnAll());
  }
  EXPECT_EQ(client_->Take(), Packet(3, 3, kOpenReplyName, Words({0, 8, 1})));
}

TEST_F(NubConnectionTest, ManyRequestsAtOnceAreServedOneATurn) {
  OpenCard();
  Bytes requests;
  for (int i = 0; i < 10; ++i) requests = Joined(requests, ReadRequest(1));
  ASSERT_TRUE(client_->Send(requests));
  for (int i = 0; i < 10; ++i) {
    ASSERT_TRUE(Turn());
    EXPECT_EQ(client_->Take(), ReadReply(1, kElm)) << i;
  }
  ASSERT_TRUE(Turn());
  EXPECT_TRUE(client_->Take().empty());
}

TEST_F(NubConnectionTest, MoreRequestsThanFitAreServedToTheLast) {
  OpenCard();
  constexpr int kRequests = 400;
  Bytes requests;
  for (int i = 0; i < kRequests; ++i) requests = Joined(requests, ReadRequest(1));
  ASSERT_TRUE(client_->Send(requests));
  Bytes replies;
  while (replies.size() < kRequests * ReadReply(1, kElm).size()) {
    ASSERT_TRUE(TurnAll());
    const Bytes some = client_->Take();
    ASSERT_FALSE(some.empty());
    replies = Joined(replies, some);
  }
  EXPECT_EQ(replies.size(), kRequests * 95u);
  EXPECT_EQ(connection_->Requests(), kRequests + 1u);
}

TEST_F(NubConnectionTest, AWaitIsAnsweredWhenItEnds) {
  OpenCard();
  ASSERT_TRUE(client_->Send(Joined(WaitRequest(1, 100), ReadRequest(1))));
  ASSERT_TRUE(TurnAll());
  EXPECT_TRUE(client_->Take().empty());
  clock_.Advance(kSecond / 10);
  ASSERT_TRUE(TurnAll());
  EXPECT_EQ(client_->Take(),
            Joined(Packet(3, 11, "WaitIntR", Words({1, 0, 0, 100})), ReadReply(1, kElm)))
      << "and what was sent behind it comes after it";
}

TEST_F(NubConnectionTest, AClientMaySendAndEndItsSide) {
  OpenCard();
  ASSERT_TRUE(client_->Send(ReadRequest(1)));
  shutdown(client_->Socket(), SHUT_WR);
  EXPECT_FALSE(TurnAll());
  EXPECT_EQ(client_->Take(), ReadReply(1, kElm));
  EXPECT_EQ(connection_->Complaint(), "");
}

TEST_F(NubConnectionTest, AClientMayEndItsSideBehindAWait) {
  OpenCard();
  ASSERT_TRUE(client_->Send(Joined(WaitRequest(1, 100), ReadRequest(1))));
  shutdown(client_->Socket(), SHUT_WR);
  ASSERT_TRUE(TurnAll());
  clock_.Advance(kSecond / 10);
  EXPECT_FALSE(TurnAll());
  EXPECT_EQ(client_->Take(),
            Joined(Packet(3, 11, "WaitIntR", Words({1, 0, 0, 100})), ReadReply(1, kElm)));
}

// ---- what is refused ----

TEST_F(NubConnectionTest, APacketThatIsTooLongIsRefusedByItsHeader) {
  for (const uint32_t length : {8193u, 0x7FFFFFFFu, 0xFFFFFFC0u, 0xFFFFFFFFu}) {
    SetUp();
    Bytes head = Packet(3, 4, "Read1Q", {});
    head.resize(64);
    for (size_t i = 0; i < 4; ++i) head[8 + i] = static_cast<uint8_t>(length >> (24 - 8 * i));
    ASSERT_TRUE(client_->Send(head));
    EXPECT_FALSE(TurnAll()) << length;
    EXPECT_EQ(connection_->Complaint(),
              "announced a packet of " + std::to_string(length) + " bytes behind its header");
  }
}

TEST_F(NubConnectionTest, ATooLongOneBehindAGoodOneIsRefusedToo) {
  OpenCard();
  Bytes bad = Packet(3, 4, "Read1Q", {});
  bad[8] = 0x80;
  ASSERT_TRUE(client_->Send(Joined(ReadRequest(1), bad)));
  EXPECT_FALSE(TurnAll());
  EXPECT_EQ(client_->Take(), ReadReply(1, kElm));
  EXPECT_NE(connection_->Complaint(), "");
}

TEST_F(NubConnectionTest, ThePacketOfGreatestLengthIsTaken) {
  OpenCard();
  Bytes payload(8192 - 7, 0);
  payload[3] = 1;  // handle; no registers, and much behind them
  ASSERT_TRUE(client_->Send(Packet(3, 16, "ReadMQ", payload)));
  ASSERT_TRUE(TurnAll());
  EXPECT_EQ(client_->Take().size(), 64u + 7 + 16);
}

struct Malformed {
  const char* what;
  Bytes packet;
};
std::vector<Malformed> MalformedPackets() {
  Bytes noNul = Packet(3, 4, "Read1Q", {});
  noNul.pop_back();
  noNul[11] = 6;
  Bytes nothing = Packet(3, 4, "Read1Q", {});
  nothing.resize(64);
  nothing[11] = 0;
  return {
      {"a header alone", nothing},
      {"a name without its end", noNul},
      {"a name without a payload", Packet(3, 4, "Read1Q", {})},
      {"half a payload", Packet(3, 4, "Read1Q", Bytes(23, 0))},
      {"the name of a reply", Packet(3, 4, "Read1R", Bytes(24, 0))},
      {"a reply", Packet(3, 5, "Read1R", Bytes(24, 0))},
      {"the number of another request", Packet(3, 6, "Read1Q", Bytes(24, 0))},
      {"a longer name", Packet(3, 4, "Read1QQ", Bytes(24, 0))},
      {"a number that is not there", Packet(3, 24, "Read1Q", Bytes(24, 0))},
      {"the greatest number", Packet(3, 0xFFFFFFFF, "Read1Q", Bytes(24, 0))},
      {"a name of another version", Packet(1, 4, "Read1Q", Bytes(24, 0))},
      {"control by number in version 1",
       Packet(1, 20, "Biggles! Fetch...THE SOFT CUSHIONS!", Bytes(72, 0))},
      {"build information in version 2", Packet(2, 22, "GetBIQ", Bytes(2056, 0))},
      {"more registers than bytes", Packet(3, 16, "ReadMQ", Words({1, 9, 0, 0}))},
      {"a count that overflows", Packet(3, 16, "ReadMQ", Words({1, 0x10000000, 0, 0}))},
      {"text of another kind", Bytes(300, 'G')},
  };
}

TEST_F(NubConnectionTest, WhatIsNoRequestEndsItsConnectionAndNothingElse) {
  for (const Malformed& malformed : MalformedPackets()) {
    SetUp();
    OpenCard();
    ASSERT_TRUE(client_->Send(malformed.packet));
    EXPECT_FALSE(TurnAll()) << malformed.what;
    EXPECT_NE(connection_->Complaint(), "") << malformed.what;
    EXPECT_TRUE(client_->Take().empty()) << malformed.what;
  }
  EXPECT_EQ(ReadRegister(OpenBoard(), 50), kElm) << "another client is served as before";
}

// ---- clients without manners ----

TEST_F(NubConnectionTest, AClientThatNeverAsksIsLetGo) {
  clock_.Advance(10 * kSecond - 1);
  ASSERT_TRUE(TurnAll());
  clock_.Advance(1);
  EXPECT_FALSE(TurnAll());
  EXPECT_EQ(connection_->Complaint(), "sent no request");
}

TEST_F(NubConnectionTest, AClientThatAsksAndOpensNoCardIsLetGo) {
  const Bytes open = Packet(3, 2, kOpenName, Words({9, 8, 0}));
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(client_->Send(open));
    ASSERT_TRUE(TurnAll());
    ASSERT_EQ(client_->Take().size(), 116u);
    clock_.Advance(10 * kSecond - 1);
    ASSERT_TRUE(TurnAll());
  }
  clock_.Advance(1);
  EXPECT_FALSE(TurnAll());
  EXPECT_EQ(connection_->Complaint(), "opened no card");
}

TEST_F(NubConnectionTest, AClientThatHasACardMayBeSilentForEver) {
  OpenCard();
  clock_.Advance(1000 * 3600 * kSecond);
  ASSERT_TRUE(TurnAll());
  EXPECT_EQ(connection_->DueNs(), kClockForeverNs);
  ASSERT_TRUE(client_->Send(ReadRequest(1)));
  ASSERT_TRUE(TurnAll());
  EXPECT_EQ(client_->Take(), ReadReply(1, kElm));
}

TEST_F(NubConnectionTest, AClientThatStopsInsideAPacketIsLetGo) {
  OpenCard();
  Bytes half = ReadRequest(1);
  half.resize(80);
  ASSERT_TRUE(client_->Send(half));
  ASSERT_TRUE(TurnAll());
  clock_.Advance(10 * kSecond - 1);
  ASSERT_TRUE(TurnAll());
  clock_.Advance(1);
  EXPECT_FALSE(TurnAll());
  EXPECT_EQ(connection_->Complaint(), "stopped in the middle of a packet");
}

TEST_F(NubConnectionTest, TricklingBytesGainsNoTime) {
  OpenCard();
  const Bytes request = ReadRequest(1);
  int seconds = 0;
  for (; seconds < 60; ++seconds) {
    ASSERT_TRUE(client_->Send({request.at(static_cast<size_t>(seconds))}));
    if (!TurnAll()) break;
    clock_.Advance(kSecond);
  }
  EXPECT_EQ(seconds, 10);
}

TEST_F(NubConnectionTest, AClientThatVanishesInsideAPacketIsForgotten) {
  OpenCard();
  Bytes half = ReadRequest(1);
  half.resize(80);
  ASSERT_TRUE(client_->Send(half));
  client_->Close();
  EXPECT_FALSE(TurnAll());
  EXPECT_EQ(connection_->Complaint(), "");
}

TEST_F(NubConnectionTest, AClientThatVanishesInAWaitIsForgotten) {
  OpenCard();
  ASSERT_TRUE(client_->Send(WaitRequest(1, 1500)));
  ASSERT_TRUE(TurnAll());
  client_->Close();
  EXPECT_FALSE(TurnAll()) << "at once, not when the wait ends";
}

TEST_F(NubConnectionTest, AClientOfTheNetworkThatClosesWhileItsPatternIsQueuedIsForgotten) {
  const RawClient listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in own = {};
  socklen_t bytes = sizeof own;
  ASSERT_EQ(listen(listener.Socket(), 1), 0);
  ASSERT_EQ(getsockname(listener.Socket(), reinterpret_cast<sockaddr*>(&own), &bytes), 0);
  HeldPainter painter;
  client_.emplace(ntohs(own.sin_port));
  connection_.emplace(accept4(listener.Socket(), nullptr, nullptr, SOCK_NONBLOCK), "peer",
                      NubSession(cards_.get(), 3, "", painter.Get()), NubConnection::Patience{});
  OpenCard();
  ASSERT_TRUE(client_->Send(Packet(3, 14, "DLTPQ", Words({1, 0, 1, 1, 7, 1, 4}))));
  client_->Settle();
  ASSERT_TRUE(TurnAll());
  EXPECT_TRUE(client_->Take().empty());
  client_->Close();
  pollfd entry = {connection_->Socket(), static_cast<short>(connection_->WantedEvents()), 0};
  ASSERT_EQ(poll(&entry, 1, 20000), 1);
  EXPECT_EQ(entry.revents, POLLRDHUP) << "no more than a FIN";
  EXPECT_FALSE(TurnAll());
  painter.Open();
}

// A client that asks and never reads: what it leaves lying is in the system's buffers, and its
// requests are no longer taken in.
TEST_F(NubConnectionTest, AClientThatNeverReadsIsLetGo) {
  OpenCard();
  const int small = 4096;
  setsockopt(connection_->Socket(), SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
  const Bytes request = Packet(3, 12, "GetBFIQ", Padded(Words({1}), 1036));
  int rounds = 0;
  for (; rounds < 100000 && connection_->WantedEvents() != POLLOUT; ++rounds) {
    (void)send(client_->Socket(), request.data(), request.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    ASSERT_TRUE(Turn());
  }
  ASSERT_EQ(connection_->WantedEvents(), POLLOUT);
  const uint64_t served = connection_->Requests();
  clock_.Advance(5 * kSecond - 1);
  ASSERT_TRUE(Turn());
  EXPECT_EQ(connection_->Requests(), served);
  clock_.Advance(1);
  EXPECT_FALSE(Turn());
  EXPECT_EQ(connection_->Complaint(), "does not read its reply");
}

TEST_F(NubConnectionTest, AClientThatReadsLateGetsItsRepliesWhole) {
  OpenCard();
  const int small = 4096;
  setsockopt(connection_->Socket(), SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
  Bytes request = Packet(3, 22, "GetBIQ", Padded(Words({1}), 2056));
  int asked = 0;
  while (connection_->WantedEvents() != POLLOUT) {
    if (client_->Send(request)) ++asked;
    ASSERT_TRUE(Turn());
  }
  Bytes replies;
  while (replies.size() < static_cast<size_t>(asked) * 2127) {
    const Bytes some = client_->Take();
    replies = Joined(replies, some);
    ASSERT_TRUE(TurnAll());
  }
  ASSERT_EQ(replies.size(), static_cast<size_t>(asked) * 2127);
  for (size_t at = 0; at < replies.size(); at += 2127) {
    EXPECT_EQ(WordAt(replies, at + 4), 23u) << at;
    EXPECT_EQ(WordAt(replies, at + 64 + 7 + 8), kElm) << at;
  }
}

}  // namespace
}  // namespace morvane::test
