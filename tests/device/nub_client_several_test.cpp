// Several registers in one exchange, against a peer that gives given bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <utility>
#include <vector>

#include "device/nub_client.h"
#include "device/nub_exchange.h"
#include "device/nub_fake.h"

namespace morvane {
namespace {

using test::After;
using test::Bytes;
using test::Join;
using test::NameOf;
using test::NubFake;
using test::Observe;
using test::OpenReply;
using test::OpenThere;
using test::Outcome;
using test::Packet;
using test::PayloadOf;
using test::Wire;

constexpr RQD5RegisterEntry kThree[3] = {
    {50, 0xAAAA, 0xFFFFFFFF, 0}, {0, 0xBBBB, 0x78, 3}, {131, 0xCCCC, 0xFF, 0}};

Bytes ThreeReply(uint32_t result, uint32_t failed) {
  return Packet(3, 17, "ReadMR",
                Join({Wire({7, 0, result, failed}), Wire({50, 1, 0, 0}), Wire({0, 2, 0, 0}),
                      Wire({131, 3, 0, 0})}));
}

// Sends the three-register reply in pieces, each when the one before has been taken.
Outcome InPieces(std::vector<size_t> cuts, RQD5RegisterEntry* entries) {
  std::atomic<int> socket = -1;
  NubFake fake([&](NubFake& peer) {
    peer.Accept();
    peer.Receive();
    peer.Send(OpenReply(3, 7));
    peer.Receive();
    const Bytes reply = ThreeReply(1, 0);
    size_t from = 0;
    cuts.push_back(reply.size());
    for (const size_t to : cuts) {
      peer.WaitUntilTaken(socket);
      peer.Send(Bytes(reply.begin() + from, reply.begin() + to));
      from = to;
    }
    peer.Receive();
  });
  NubClient client;
  EXPECT_EQ(OpenThere(&client), NubSuccess);
  socket = client.Socket();
  uint32_t failed = 0x55;
  Outcome outcome = Observe([&] { return client.ReadRegisterMulti(3, &failed, entries); });
  client.Close();
  return outcome;
}

TEST(NubClient, SeveralRegistersAreOneExchange) {
  RQD5RegisterEntry entries[3] = {kThree[0], kThree[1], kThree[2]};
  uint32_t failed = 0x55;
  const Outcome outcome = After(
      3, ThreeReply(1, 99), [&](NubClient& c) { return c.ReadRegisterMulti(3, &failed, entries); });
  EXPECT_EQ(outcome.result, NubSuccess);
  EXPECT_EQ(failed, 99u);  // stored on success, too
  EXPECT_EQ(entries[0].value, 1u);
  EXPECT_EQ(entries[1].value, 2u);
  EXPECT_EQ(entries[2].value, 3u);
  EXPECT_EQ(entries[1].mask, 0x78u);
  EXPECT_EQ(NameOf(outcome.request), "ReadMQ");
  EXPECT_EQ(outcome.request.size(), 135u);
  EXPECT_EQ(PayloadOf(outcome.request), Join({Wire({7, 3, 0, 0}), Wire({50, 0, 0xFFFFFFFF, 0}),
                                              Wire({0, 0, 0x78, 3}), Wire({131, 0, 0xFF, 0})}));
}

TEST(NubClient, TheReplysRegisterNumbersAreTaken) {
  RQD5RegisterEntry entry{50, 0, 0xFFFFFFFF, 0};
  uint32_t failed = 0;
  const Bytes reply = Packet(3, 17, "ReadMR", Wire({7, 0, 1, 0, 51, 8, 0, 0}));
  EXPECT_EQ(
      After(3, reply, [&](NubClient& c) { return c.ReadRegisterMulti(1, &failed, &entry); }).result,
      NubSuccess);
  EXPECT_EQ(entry.registerNumber, 51u);
  EXPECT_EQ(entry.value, 8u);
}

// A peer that was held up for a quarter of a second between two pieces is not to blame: it may try
// again.
int AtBestInPieces(const std::vector<size_t>& cuts, RQD5RegisterEntry* entries) {
  int result = NubTimedOut;
  for (int i = 0; i < 20 && result == NubTimedOut; ++i) result = InPieces(cuts, entries).result;
  return result;
}

TEST(NubClient, AReplyInThreePiecesIsWhole) {
  RQD5RegisterEntry entries[3] = {kThree[0], kThree[1], kThree[2]};
  EXPECT_EQ(AtBestInPieces({1, 70}, entries), NubSuccess);
  EXPECT_EQ(entries[2].value, 3u);
  EXPECT_EQ(AtBestInPieces({134}, entries), NubSuccess);
}

TEST(NubClient, AReplyInFourPiecesFailsThoughItIsComplete) {
  RQD5RegisterEntry entries[3] = {kThree[0], kThree[1], kThree[2]};
  EXPECT_EQ(InPieces({50, 64, 100}, entries).result, NubTimedOut);
  EXPECT_EQ(entries[2].value, 0xCCCCu);
}

TEST(NubClient, AReplyThatStopsInTheMiddleIsATimeOut) {
  Bytes reply = ThreeReply(1, 0);
  reply.pop_back();
  // A piece is waited for a quarter of a second, not as long as another reply; a busy machine may
  // hold that up.
  auto least = std::chrono::steady_clock::duration::max();
  for (int i = 0; i < 10 && least >= std::chrono::milliseconds(1000); ++i) {
    RQD5RegisterEntry entries[3] = {kThree[0], kThree[1], kThree[2]};
    uint32_t failed = 0x55;
    NubFake fake({OpenReply(3, 7), reply});
    NubClient client;
    ASSERT_EQ(OpenThere(&client), NubSuccess);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(client.ReadRegisterMulti(3, &failed, entries), NubTimedOut);
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took, std::chrono::milliseconds(250));
    EXPECT_EQ(failed, 0x55u);
    least = std::min(least, took);
  }
  EXPECT_LT(least, std::chrono::milliseconds(1000));
}

TEST(NubClient, APeerThatClosesInTheMiddleIsTold) {
  NubFake fake([](NubFake& peer) {
    peer.Accept();
    peer.Receive();
    peer.Send(OpenReply(3, 7));
    peer.Receive();
    peer.Send(Bytes(40, 0));
  });
  NubClient client;
  ASSERT_EQ(OpenThere(&client), NubSuccess);
  RQD5RegisterEntry entries[3] = {kThree[0], kThree[1], kThree[2]};
  uint32_t failed = 0;
  EXPECT_EQ(client.ReadRegisterMulti(3, &failed, entries), NubPeerClosed);
}

TEST(NubClient, NoRegistersAre16BytesEachWay) {
  uint32_t failed = 0x55;
  const Outcome outcome = After(3, Packet(3, 17, "ReadMR", Wire({7, 0, 1, 0})), [&](NubClient& c) {
    return c.ReadRegisterMulti(0, &failed, nullptr);
  });
  EXPECT_EQ(outcome.result, NubSuccess);
  EXPECT_EQ(failed, 0u);
  EXPECT_EQ(outcome.request.size(), 64u + 7 + 16);
  EXPECT_EQ(PayloadOf(outcome.request), Wire({7, 0, 0, 0}));
}

TEST(NubClient, TooManyRegistersAreNotSent) {
  const std::pair<uint32_t, uint32_t> rows[] = {{3, 510}, {2, 510}, {1, 507}};
  for (const auto& [version, limit] : rows) {
    NubFake fake({OpenReply(version, 7)});
    NubClient client;
    ASSERT_EQ(OpenThere(&client), NubSuccess);
    std::vector<RQD5RegisterEntry> entries(limit + 1, RQD5RegisterEntry{1, 2, 3, 4});
    uint32_t failed = 0;
    EXPECT_EQ(client.ReadRegisterMulti(limit + 1, &failed, entries.data()), NubNotBuilt);
    EXPECT_EQ(client.ReadRegisterMulti(0xFFFFFFFF, &failed, entries.data()), NubNotBuilt);
    EXPECT_EQ(fake.Requests().size(), 1u);
  }
}

TEST(NubClient, AsManyRegistersAsFitAreRead) {
  const char* const names[] = {"Ah!... our chief weapons are surprise... blah blah blah.", "ReadMR",
                               "ReadMR"};
  const uint32_t limits[] = {507, 510, 510};
  for (const uint32_t version : {1u, 2u, 3u}) {
    const uint32_t count = limits[version - 1];
    Bytes payload = Wire({7, 0, 1, 0});
    for (uint32_t i = 0; i < count; ++i) payload = Join({payload, Wire({i, i * 3, 0, 0})});
    std::vector<RQD5RegisterEntry> entries(count, RQD5RegisterEntry{0, 0, 0, 0});
    uint32_t failed = 0x55;
    const Outcome outcome =
        After(version, Packet(version, 17, names[version - 1], payload),
              [&](NubClient& c) { return c.ReadRegisterMulti(count, &failed, entries.data()); });
    EXPECT_EQ(outcome.result, NubSuccess);
    EXPECT_EQ(entries[count - 1].value, (count - 1) * 3);
  }
}

// Of a reply in another version the entries would end past the packet.
TEST(NubClient, AReplyThatWouldReachPastThePacketIsRefused) {
  Bytes reply = Packet(1, 17, "Ah!... our chief weapons are surprise... blah blah blah.", Bytes());
  reply.resize(64 + 7 + 511 * 16, 0);
  std::vector<RQD5RegisterEntry> entries(510, RQD5RegisterEntry{1, 2, 3, 4});
  uint32_t failed = 0x55;
  EXPECT_EQ(After(3, reply,
                  [&](NubClient& c) { return c.ReadRegisterMulti(510, &failed, entries.data()); })
                .result,
            NubNotReadMultiReply);
  EXPECT_EQ(failed, 0x55u);
}

TEST(NubClient, AFailedReadOfSeveralKeepsWordsAsTheyCame) {
  RQD5RegisterEntry entries[3] = {kThree[0], kThree[1], kThree[2]};
  uint32_t failed = 0;
  const Bytes reply = Packet(
      3, 17, "ReadMR",
      Join({Wire({7, 0, 0, 2}), Wire({50, 1, 0, 0}), Wire({0, 1, 0, 0}), Wire({0, 1, 0, 0})}));
  const Outcome outcome =
      After(3, reply, [&](NubClient& c) { return c.ReadRegisterMulti(3, &failed, entries); });
  EXPECT_EQ(outcome.result, NubReadMultiFailed);
  EXPECT_EQ(outcome.out, "Read register multi failed on remote side on register number 2.\n");
  EXPECT_EQ(failed, 2u);
  EXPECT_EQ(entries[0].value, 0x01000000u);
  EXPECT_EQ(entries[1].value, 0x01000000u);
  EXPECT_EQ(entries[2].value, 0xCCCCu);
}

// A count is held against a register number.
TEST(NubClient, AFailureAtAHighRegisterFillsAllEntries) {
  RQD5RegisterEntry entries[3] = {kThree[0], kThree[1], kThree[2]};
  uint32_t failed = 0;
  EXPECT_EQ(After(3, ThreeReply(0, 5000),
                  [&](NubClient& c) { return c.ReadRegisterMulti(3, &failed, entries); })
                .result,
            NubReadMultiFailed);
  EXPECT_EQ(failed, 5000u);
  EXPECT_EQ(entries[2].value, 0x03000000u);
}

TEST(NubClient, AnInvalidHandleOfSeveralIsPrinted) {
  RQD5RegisterEntry entry{50, 0, 0xFFFFFFFF, 0};
  uint32_t failed = 0;
  const Outcome outcome =
      After(3, Packet(3, 17, "ReadMR", Wire({0xFFFFFFFF, 0, 1, 0, 50, 8, 0, 0})),
            [&](NubClient& c) { return c.ReadRegisterMulti(1, &failed, &entry); });
  EXPECT_EQ(outcome.result, NubBadHandle);
  EXPECT_EQ(outcome.out, "Got invalid nub handle back from read reg multi.\n");
  EXPECT_EQ(entry.value, 8u);
}

TEST(NubClient, ARefusalOfSeveralIsTheResultThoughTheHandleIsInvalidToo) {
  RQD5RegisterEntry entry{50, 0, 0xFFFFFFFF, 0};
  uint32_t failed = 0;
  const Outcome outcome =
      After(3, Packet(3, 17, "ReadMR", Wire({0xFFFFFFFF, 0, 0, 50, 50, 8, 0, 0})),
            [&](NubClient& c) { return c.ReadRegisterMulti(1, &failed, &entry); });
  EXPECT_EQ(outcome.result, -20);
  EXPECT_EQ(failed, 50u);
  EXPECT_EQ(outcome.out,
            "Got invalid nub handle back from read reg multi.\n"
            "Read register multi failed on remote side on register number 50.\n");
}

TEST(NubClient, AWrongReplyToSeveralIsRefused) {
  RQD5RegisterEntry entry{50, 0, 0xFFFFFFFF, 0};
  uint32_t failed = 0x55;
  EXPECT_EQ(After(3, Packet(3, 17, "ReadMQ", Wire({7, 0, 1, 0, 50, 8, 0, 0})),
                  [&](NubClient& c) { return c.ReadRegisterMulti(1, &failed, &entry); })
                .result,
            NubNotReadMultiReply);
  EXPECT_EQ(failed, 0x55u);
}

}  // namespace
}  // namespace morvane
