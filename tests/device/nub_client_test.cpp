// Single registers and the connection's troubles, against a peer that gives given bytes.
#include "device/nub_client.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include "device/nub_exchange.h"
#include "device/nub_fake.h"
#include "device/nub_socket.h"

namespace morvane {
namespace {

using test::After;
using test::Bytes;
using test::DataLengthOf;
using test::Header;
using test::Join;
using test::kNubHost;
using test::NameOf;
using test::NubFake;
using test::Observe;
using test::OpenReply;
using test::OpenThere;
using test::Outcome;
using test::Packet;
using test::PayloadOf;
using test::ReadReply;
using test::TypeOf;
using test::VersionOf;
using test::Wire;
using test::WriteReply;

int Read50(NubClient* client, uint32_t* value) {
  return client->ReadRegister(50, value, 0xFFFFFFFF, 0);
}

TEST(NubClient, NothingWorksWithoutAConnection) {
  NubClient client;
  uint32_t value = 0x55;
  RQD5RegisterEntry entry{1, 2, 3, 4};
  RQD5AutoCirculateStatus record{};
  RQD5AutoCirculateData status, start;
  status.command = ACStatus;
  status.record1 = &record;
  start.command = ACStart;
  RQD5BitFileInfo info{};
  RQD5BuildInfo build{};
  EXPECT_EQ(Read50(&client, &value), NubNotOpen);
  EXPECT_EQ(client.WriteRegister(1, 2, 3, 0), NubNotOpen);
  EXPECT_EQ(client.ReadRegisterMulti(1, &value, &entry), NubNotOpen);
  EXPECT_EQ(client.ReadRegisterMulti(9999, &value, nullptr), NubNotOpen);
  EXPECT_EQ(client.AutoCirculate(status), NubNotOpen);
  EXPECT_EQ(client.AutoCirculate(start), NubNotOpen);
  EXPECT_EQ(client.WaitForInterrupt(0, 42), NubNotOpen);
  EXPECT_EQ(client.GetBitFileInformation(&info, 0), NubNotOpen);
  EXPECT_EQ(client.GetBuildInformation(&build), NubNotOpen);
  EXPECT_EQ(client.DownloadTestPattern(1, 1, 7, true, 0), NubNotOpen);
  EXPECT_EQ(value, 0x55u);
}

// ---- one register ----

TEST(NubClient, ReadRequestIsThese95Bytes) {
  uint32_t value = 0;
  const Outcome outcome =
      After(3, ReadReply(7, 0x10196500, 1), [&](NubClient& c) { return Read50(&c, &value); });
  EXPECT_EQ(outcome.result, NubSuccess);
  EXPECT_EQ(value, 0x10196500u);
  Bytes expected = {0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 0x1F};
  expected.resize(64, 0);
  const Bytes name = {0x52, 0x65, 0x61, 0x64, 0x31, 0x51, 0};
  expected = Join({expected, name, Wire({7, 50, 0, 0xFFFFFFFF, 0, 0})});
  ASSERT_EQ(expected.size(), 95u);
  EXPECT_EQ(outcome.request, expected);
}

TEST(NubClient, MaskAndShiftGoToTheOtherSide) {
  uint32_t value = 0;
  Outcome outcome = After(3, ReadReply(7, 3, 1),
                          [&](NubClient& c) { return c.ReadRegister(0, &value, 0x78, 3); });
  EXPECT_EQ(PayloadOf(outcome.request), Wire({7, 0, 0, 0x78, 3, 0}));
  EXPECT_EQ(value, 3u);
  outcome = After(3, WriteReply(7, 1), [](NubClient& c) { return c.WriteRegister(5, 3, 0x1E, 1); });
  EXPECT_EQ(outcome.result, NubSuccess);
  EXPECT_EQ(NameOf(outcome.request), "Write1Q");
  EXPECT_EQ(DataLengthOf(outcome.request), 32u);
  EXPECT_EQ(PayloadOf(outcome.request), Wire({7, 5, 3, 0x1E, 1, 0}));
}

TEST(NubClient, Version1CarriesTheLongNames) {
  uint32_t value = 0;
  const Bytes reply = Packet(1, 5, "The...Comfy Chair?", Wire({7, 50, 0x12345678, 0, 0, 1}));
  const Outcome outcome = After(1, reply, [&](NubClient& c) { return Read50(&c, &value); });
  EXPECT_EQ(outcome.result, NubSuccess);
  EXPECT_EQ(value, 0x12345678u);
  EXPECT_EQ(VersionOf(outcome.request), 1u);
  EXPECT_EQ(TypeOf(outcome.request), 4u);
  EXPECT_EQ(DataLengthOf(outcome.request), 64u);
  EXPECT_EQ(NameOf(outcome.request), "Cardinal Fang! Fetch...THE COMFY CHAIR!");
}

TEST(NubClient, AVersionAbove3HasTheNamesOfVersion3) {
  uint32_t value = 0;
  const Bytes reply = Packet(7, 5, "Read1R", Wire({7, 50, 9, 0, 0, 1}));
  const Outcome outcome = After(7, reply, [&](NubClient& c) { return Read50(&c, &value); });
  EXPECT_EQ(outcome.result, NubSuccess);
  EXPECT_EQ(value, 9u);
  EXPECT_EQ(VersionOf(outcome.request), 7u);
  EXPECT_EQ(NameOf(outcome.request), "Read1Q");
}

// Only the open reply changes the version of requests; a reply is read in its own.
TEST(NubClient, AReplyIsReadInItsOwnVersion) {
  NubFake fake({OpenReply(3, 7),
                Packet(1, 5, "The...Comfy Chair?", Wire({7, 50, 0x12345678, 0, 0, 1})),
                Packet(1, 5, "Read1R", Wire({7, 50, 1, 0, 0, 1}))});
  NubClient client;
  ASSERT_EQ(OpenThere(&client), NubSuccess);
  uint32_t value = 0;
  EXPECT_EQ(Read50(&client, &value), NubSuccess);
  EXPECT_EQ(value, 0x12345678u);
  EXPECT_EQ(client.Version(), 3u);
  EXPECT_EQ(Read50(&client, &value), NubNotReadReply);
  EXPECT_EQ(NameOf(fake.Requests()[2]), "Read1Q");
}

TEST(NubClient, AFailedReadLeavesTheValue) {
  uint32_t value = 0x55;
  const Outcome outcome =
      After(3, ReadReply(7, 1, 0), [&](NubClient& c) { return Read50(&c, &value); });
  EXPECT_EQ(outcome.result, NubReadFailed);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(value, 0x55u);
}

TEST(NubClient, AReplyOf63BytesIsTooShort) {
  uint32_t value = 0x55;
  Bytes reply = ReadReply(7, 1, 1);
  reply.resize(63);
  EXPECT_EQ(After(3, reply, [&](NubClient& c) { return Read50(&c, &value); }).result,
            NubShortReply);
  EXPECT_EQ(value, 0x55u);
}

TEST(NubClient, RightTypeWithWrongNameAndRightNameWithWrongTypeAreRefused) {
  const Bytes payload = Wire({7, 50, 1, 0, 0, 1});
  for (const Bytes& reply : {Packet(3, 5, "Read1Q", payload), Packet(3, 7, "Read1R", payload),
                             Packet(3, 5, "read1r", payload), Packet(3, 5, "Read1R ", payload),
                             Packet(3, 5, "Read1", payload), Packet(3, 4, "Read1R", payload)}) {
    NubFake fake({OpenReply(3, 7), reply, ReadReply(7, 2, 1)});
    NubClient client;
    ASSERT_EQ(OpenThere(&client), NubSuccess);
    uint32_t value = 0x55;
    EXPECT_EQ(Read50(&client, &value), NubNotReadReply);
    EXPECT_EQ(value, 0x55u);
    EXPECT_EQ(client.Mismatches(NubRead), 1u);
    EXPECT_EQ(client.Mismatches(NubWrite), 0u);
    EXPECT_EQ(Read50(&client, &value), NubSuccess);  // the connection goes on
    EXPECT_EQ(value, 2u);
  }
}

TEST(NubClient, ANameIsComparedAsFarAsTheReplysDataLength) {
  uint32_t value = 0;
  Bytes reply = Packet(3, 5, "ReadXX", Wire({7, 50, 9, 0, 0, 1}));
  reply[11] = 4;
  EXPECT_EQ(After(3, reply, [&](NubClient& c) { return Read50(&c, &value); }).result, NubSuccess);
  EXPECT_EQ(value, 9u);
  reply[11] = 5;
  EXPECT_EQ(After(3, reply, [&](NubClient& c) { return Read50(&c, &value); }).result,
            NubNotReadReply);
}

// The result word is that of the request, 0.
TEST(NubClient, ABareHeaderIsReadOverTheRequest) {
  uint32_t value = 0x55;
  EXPECT_EQ(After(3, Header(3, 5, 0), [&](NubClient& c) { return Read50(&c, &value); }).result,
            NubReadFailed);
  EXPECT_EQ(value, 0x55u);
  const Outcome outcome =
      After(3, Header(3, 7, 0), [](NubClient& c) { return c.WriteRegister(68, 1, 0xFFFFFFFF, 0); });
  EXPECT_EQ(outcome.result, NubSuccess);
  EXPECT_EQ(outcome.out, "Write Register 68 failed on remote side.\n");
}

TEST(NubClient, ARefusedWriteSucceedsAndIsPrinted) {
  const Outcome outcome = After(3, WriteReply(7, 0),
                                [](NubClient& c) { return c.WriteRegister(68, 1, 0xFFFFFFFF, 0); });
  EXPECT_EQ(outcome.result, NubSuccess);
  EXPECT_EQ(outcome.out, "Write Register 68 failed on remote side.\n");
}

TEST(NubClient, AnInvalidHandleIsPrintedAndTheRestIsRead) {
  uint32_t value = 0;
  Outcome outcome =
      After(3, ReadReply(0xFFFFFFFF, 9, 1), [&](NubClient& c) { return Read50(&c, &value); });
  EXPECT_EQ(outcome.result, NubBadHandle);
  EXPECT_EQ(outcome.out, "Got invalid nub handle back from register read.\n");
  EXPECT_EQ(value, 9u);
  outcome = After(3, ReadReply(0xFFFFFFFF, 8, 0), [&](NubClient& c) { return Read50(&c, &value); });
  EXPECT_EQ(outcome.result, NubReadFailed);  // a later test gives another code
  EXPECT_EQ(value, 9u);
  outcome = After(3, WriteReply(0xFFFFFFFF, 0),
                  [](NubClient& c) { return c.WriteRegister(68, 1, 0xFFFFFFFF, 0); });
  EXPECT_EQ(outcome.result, NubBadHandle);
  EXPECT_EQ(outcome.out,
            "Got invalid nub handle back from register write.\n"
            "Write Register 68 failed on remote side.\n");
}

TEST(NubClient, AWrongReplyToAWriteIsRefused) {
  EXPECT_EQ(After(3, ReadReply(7, 1, 1),
                  [](NubClient& c) { return c.WriteRegister(68, 1, 0xFFFFFFFF, 0); })
                .result,
            NubNotWriteReply);
}

// ---- the connection's troubles ----

TEST(NubClient, NoReplyIsATimeOutAfterTwoSeconds) {
  NubFake fake({OpenReply(3, 7)});
  NubClient client;
  ASSERT_EQ(OpenThere(&client), NubSuccess);
  uint32_t value = 0x55;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Read50(&client, &value), NubTimedOut);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(2000));
  EXPECT_EQ(value, 0x55u);
  EXPECT_NE(client.Socket(), -1);
}

TEST(NubClient, APeerThatClosesIsToldAndTheNextSendFails) {
  NubFake fake([](NubFake& peer) {
    peer.Accept();
    peer.Receive();
    peer.Send(OpenReply(3, 7));
  });
  NubClient client;
  ASSERT_EQ(OpenThere(&client), NubSuccess);
  pollfd closed{client.Socket(), POLLRDHUP, 0};
  ASSERT_EQ(poll(&closed, 1, 10000), 1);
  uint32_t value = 0x55;
  EXPECT_EQ(Read50(&client, &value), NubPeerClosed);
  EXPECT_EQ(Read50(&client, &value), NubNotSent);
  EXPECT_EQ(Read50(&client, &value), NubNotSent);
  EXPECT_EQ(value, 0x55u);
}

TEST(NubClient, APeerThatClosesInsteadOfAReplyIsTold) {
  NubFake fake([](NubFake& peer) {
    peer.Accept();
    peer.Receive();
    peer.Send(OpenReply(3, 7));
    peer.Receive();
  });
  NubClient client;
  ASSERT_EQ(OpenThere(&client), NubSuccess);
  uint32_t value = 0;
  EXPECT_EQ(Read50(&client, &value), NubPeerClosed);
  EXPECT_NE(client.Socket(), -1);  // only an open closes it
}

TEST(NubClient, ABrokenConnectionHasTheSystemsWords) {
  NubFake fake([](NubFake& peer) {
    peer.Accept();
    peer.Receive();
    peer.Send(OpenReply(3, 7));
    peer.Receive();
    peer.Reset();
  });
  NubClient client;
  ASSERT_EQ(OpenThere(&client), NubSuccess);
  uint32_t value = 0;
  const Outcome outcome = Observe([&] { return Read50(&client, &value); });
  EXPECT_EQ(outcome.result, NubSocketFailed);
  EXPECT_EQ(outcome.err, "recvtimeout_sec: Connection reset by peer\n");
}

void Ignore(int) {}

TEST(NubClient, SignalsDoNotEndAWait) {
  struct sigaction action {};
  action.sa_handler = Ignore;  // without SA_RESTART
  sigaction(SIGUSR1, &action, nullptr);
  const pthread_t caller = pthread_self();
  NubFake fake([caller](NubFake& peer) {
    peer.Accept();
    peer.Receive();
    peer.Send(OpenReply(3, 7));
    peer.Receive();
    for (int i = 0; i < 5; ++i) {
      pthread_kill(caller, SIGUSR1);
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    peer.Send(ReadReply(7, 9, 1));
    peer.Receive();
  });
  NubClient client;
  ASSERT_EQ(OpenThere(&client), NubSuccess);
  uint32_t value = 0;
  EXPECT_EQ(Read50(&client, &value), NubSuccess);
  EXPECT_EQ(value, 9u);
}

// Fills a connection that nobody reads until no more can be sent. Returns: whether it came to that.
bool Fills(int socket) {
  const Bytes packet(kNubPacketLimit, 0);
  while (send(socket, packet.data(), packet.size(), MSG_DONTWAIT) > 0) {
  }
  // The system may find room for more yet, but not without end.
  int more = 0;
  while (more < 10000 && SendNub(socket, packet)) ++more;
  return more < 10000;
}

TEST(NubClient, APeerThatNeverReadsDoesNotHoldTheCaller) {
  NubFake fake([](NubFake& peer) { peer.WaitForEnd(); });
  const int socket = ConnectNub(kNubHost);
  ASSERT_NE(socket, -1);
  EXPECT_TRUE(Fills(socket));
  CloseNub(socket);
}

TEST(NubClient, NorDoesItWhenSignalsCome) {
  struct sigaction action {};
  action.sa_handler = Ignore;  // without SA_RESTART
  sigaction(SIGUSR1, &action, nullptr);
  NubFake fake([](NubFake& peer) { peer.WaitForEnd(); });
  const int socket = ConnectNub(kNubHost);
  ASSERT_NE(socket, -1);
  std::atomic<bool> done = false;
  std::thread disturber([&done, caller = pthread_self()] {
    while (!done) {
      pthread_kill(caller, SIGUSR1);
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
  });
  EXPECT_TRUE(Fills(socket));
  done = true;
  disturber.join();
  CloseNub(socket);
}

}  // namespace
}  // namespace morvane
