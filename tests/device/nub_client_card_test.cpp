// The frame ring, interrupts, bitfiles and patterns of the nub client, against given bytes.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "device/nub_client.h"
#include "device/nub_exchange.h"
#include "device/nub_fake.h"

namespace morvane {
namespace {

using test::After;
using test::Bytes;
using test::DataLengthOf;
using test::Header;
using test::Join;
using test::NameOf;
using test::NubFake;
using test::OpenReply;
using test::OpenThere;
using test::Outcome;
using test::Packet;
using test::Padded;
using test::PayloadOf;
using test::ReadReply;
using test::TypeOf;
using test::Wire;

constexpr uint32_t kNoCard = 0xFFFFFFFF;

// ---- status of the ring ----

Bytes StatusPayload(uint32_t handle, uint32_t result) {
  Bytes times;
  for (uint8_t i = 1; i <= 4; ++i) {
    times.push_back(i);
    times.resize(times.size() + 7, 0);
  }
  times[7] = 0x80;
  return Join({Wire({handle, result, 0, 0x101, 5, 3, 9, 4}), times,
               Wire({1000, 2, 6, 1, 0, 0, 0x100, 0, 1, 0x80000000})});
}

Outcome Status(uint32_t version, const Bytes& reply, RQD5AutoCirculateStatus* status) {
  return After(version, reply, [status](NubClient& client) {
    RQD5AutoCirculateData data;
    data.command = ACStatus;
    data.channelSpec = 0x101;
    data.value1 = 0x55;
    data.record1 = status;
    return client.AutoCirculate(data);
  });
}

TEST(NubRing, AStatusIsFilledFieldByField) {
  RQD5AutoCirculateStatus status;
  std::memset(&status, 0xEE, sizeof status);
  const Outcome outcome = Status(3, Packet(3, 9, "GetACR", StatusPayload(7, 1)), &status);
  EXPECT_EQ(outcome.result, NubSuccess);
  EXPECT_EQ(NameOf(outcome.request), "GetACQ");
  EXPECT_EQ(TypeOf(outcome.request), 8u);
  EXPECT_EQ(DataLengthOf(outcome.request), 111u);
  EXPECT_EQ(PayloadOf(outcome.request), Padded(Wire({7, 0, 4, 0x101}), 104));

  EXPECT_EQ(status.channelSpec, 0x101u);
  EXPECT_EQ(status.state, 5u);
  EXPECT_EQ(status.startFrame, 3u);
  EXPECT_EQ(status.endFrame, 9u);
  EXPECT_EQ(status.activeFrame, 4u);
  // Time stamps come as they lay in the other side's memory: 01 00 .. 80 is not swapped.
  EXPECT_EQ(status.startTime, 0x8000000000000001u);
  EXPECT_EQ(status.boundaryTime, 2u);
  EXPECT_EQ(status.audioClockStart, 3u);
  EXPECT_EQ(status.audioClockNow, 4u);
  EXPECT_EQ(status.framesProcessed, 1000u);
  EXPECT_EQ(status.framesDropped, 2u);
  EXPECT_EQ(status.bufferLevel, 6u);
  EXPECT_EQ(status.withAudio, 1);
  EXPECT_EQ(status.option0, 0);
  EXPECT_EQ(status.option1, 1);
  EXPECT_EQ(status.option2, 0);
  EXPECT_EQ(status.timecodePresent, 1);
  EXPECT_EQ(status.flag6, 1);
}

TEST(NubRing, ARefusedStatusSucceedsWithTheRecordUnwritten) {
  RQD5AutoCirculateStatus status, before;
  std::memset(&status, 0xEE, sizeof status);
  before = status;
  const Outcome outcome = Status(3, Packet(3, 9, "GetACR", StatusPayload(7, 0)), &status);
  EXPECT_EQ(outcome.result, NubSuccess);
  EXPECT_EQ(outcome.out, "Autocirculate GET failed on remote side.\n");
  EXPECT_EQ(std::memcmp(&status, &before, sizeof status), 0);
}

TEST(NubRing, Version1StatusHasItsNames) {
  RQD5AutoCirculateStatus status{};
  const Outcome outcome = Status(1, Packet(1, 9, "Innocent.", StatusPayload(7, 1)), &status);
  EXPECT_EQ(outcome.result, NubSuccess);
  EXPECT_EQ(NameOf(outcome.request), "Right! How do you plead?");
  EXPECT_EQ(TypeOf(outcome.request), 8u);
  EXPECT_EQ(status.framesProcessed, 1000u);
}

TEST(NubRing, AnInvalidHandleOfAStatusHasTheWordsOfAWrite) {
  RQD5AutoCirculateStatus status{};
  const Outcome outcome = Status(3, Packet(3, 9, "GetACR", StatusPayload(kNoCard, 1)), &status);
  EXPECT_EQ(outcome.result, NubBadHandle);
  EXPECT_EQ(outcome.out, "Got invalid nub handle back from register write.\n");
  EXPECT_EQ(status.state, 5u);
}

TEST(NubRing, AStatusWithoutARecordIsNotSent) {
  const Outcome outcome = Status(3, Packet(3, 9, "GetACR", StatusPayload(7, 1)), nullptr);
  EXPECT_EQ(outcome.result, NubNotBuilt);
  EXPECT_TRUE(outcome.request.empty());
}

// Whichever was asked, a reply is tried first as status, then as control.
TEST(NubRing, AControlReplyToAStatusIsReadAsControl) {
  RQD5AutoCirculateStatus status, before;
  std::memset(&status, 0xEE, sizeof status);
  before = status;
  Outcome outcome = Status(3, Packet(3, 21, "ACCtrlR", Padded(Wire({7, 1}), 72)), &status);
  EXPECT_EQ(outcome.result, NubSuccess);
  outcome = Status(3, Packet(3, 21, "ACCtrlR", Padded(Wire({7, 0}), 72)), &status);
  EXPECT_EQ(outcome.result, NubControlFailed);
  EXPECT_EQ(std::memcmp(&status, &before, sizeof status), 0);
}

// ---- control of the ring ----

Outcome Control(uint32_t version, uint32_t command, const Bytes& reply) {
  return After(version, reply, [command](NubClient& client) {
    RQD5AutoCirculateData data;
    data.command = command;
    data.channelSpec = 2;
    data.value1 = 0x55;
    data.flags[0] = true;
    return client.AutoCirculate(data);
  });
}

TEST(NubRing, ControlsCarryCommandAndChannelAndOneCarriesAFlag) {
  const Bytes reply = Packet(3, 21, "ACCtrlR", Padded(Wire({7, 1}), 72));
  for (const uint32_t command : {1u, 2u, 3u, 6u, 9u}) {
    const Outcome outcome = Control(3, command, reply);
    EXPECT_EQ(outcome.result, NubSuccess) << command;
    EXPECT_EQ(NameOf(outcome.request), "ACCtrlQ");
    EXPECT_EQ(TypeOf(outcome.request), 20u);
    EXPECT_EQ(DataLengthOf(outcome.request), 80u);
    Bytes payload = Padded(Wire({7, 0, command, 2}), 72);
    if (command == 3) payload[43] = 1;
    EXPECT_EQ(PayloadOf(outcome.request), payload) << command;
  }
}

TEST(NubRing, OtherCommandsAreNotSent) {
  for (const uint32_t command : {0u, 5u, 7u, 8u, 10u, 11u, 12u, 13u, 14u, 15u, 99u}) {
    const Outcome outcome = Control(3, command, Packet(3, 21, "ACCtrlR", Padded(Wire({7, 1}), 72)));
    EXPECT_EQ(outcome.result, NubNotBuilt) << command;
    EXPECT_TRUE(outcome.request.empty()) << command;
  }
}

TEST(NubRing, Version1FoldsControlIntoStatusAndTheNameTells) {
  const Bytes payload = Padded(Wire({7, 1}), 72);
  Outcome outcome = Control(1, ACStart, Packet(1, 9, "Here they are, lord.", payload));
  EXPECT_EQ(outcome.result, NubSuccess);
  EXPECT_EQ(TypeOf(outcome.request), 8u);
  EXPECT_EQ(NameOf(outcome.request), "Biggles! Fetch...THE SOFT CUSHIONS!");
  EXPECT_EQ(NameOf(outcome.request).size(), 35u);
  outcome = Control(1, ACStart, Packet(1, 21, "Here they are, lord.", payload));
  EXPECT_EQ(outcome.result, NubNotCirculateReply);
  outcome = Control(1, ACStart, Packet(1, 9, "Here they are, lord.", Padded(Wire({7, 0}), 72)));
  EXPECT_EQ(outcome.result, NubControlFailed);
}

TEST(NubRing, ARefusedControlFails) {
  const Outcome outcome = Control(3, ACStop, Packet(3, 21, "ACCtrlR", Padded(Wire({7, 0}), 72)));
  EXPECT_EQ(outcome.result, NubControlFailed);
  EXPECT_EQ(outcome.out, "");
}

TEST(NubRing, AnInvalidHandleOfAControlHasTheWordsOfAWrite) {
  const Outcome outcome =
      Control(3, ACStop, Packet(3, 21, "ACCtrlR", Padded(Wire({kNoCard, 1}), 72)));
  EXPECT_EQ(outcome.result, NubBadHandle);
  EXPECT_EQ(outcome.out, "Got invalid nub handle back from register write.\n");
}

TEST(NubRing, AStatusReplyToAControlIsReadAsStatus) {
  Outcome outcome = Control(3, ACStart, Packet(3, 9, "GetACR", StatusPayload(7, 1)));
  EXPECT_EQ(outcome.result, NubSuccess);
  outcome = Control(3, ACStart, Packet(3, 9, "GetACR", StatusPayload(7, 0)));
  EXPECT_EQ(outcome.result, NubSuccess);
  EXPECT_EQ(outcome.out, "Autocirculate GET failed on remote side.\n");
}

TEST(NubRing, OtherRepliesAreRefused) {
  NubFake fake({OpenReply(3, 7), ReadReply(7, 1, 1), ReadReply(7, 1, 1)});
  NubClient client;
  ASSERT_EQ(OpenThere(&client), NubSuccess);
  RQD5AutoCirculateData data;
  data.command = ACAbort;
  EXPECT_EQ(client.AutoCirculate(data), NubNotCirculateReply);
  EXPECT_EQ(client.Mismatches(NubControl), 1u);
  RQD5AutoCirculateStatus status{};
  data.command = ACStatus;
  data.record1 = &status;
  EXPECT_EQ(client.AutoCirculate(data), NubNotCirculateReply);
  EXPECT_EQ(client.Mismatches(NubStatus), 1u);
}

// ---- interrupts ----

Outcome Wait(const Bytes& reply) {
  return After(3, reply, [](NubClient& client) { return client.WaitForInterrupt(14, 500); });
}

TEST(NubWaits, TheTypeAndTheTimeOutAreSent) {
  const Outcome outcome = Wait(Packet(3, 11, "WaitIntR", Wire({7, 1, 0, 0})));
  EXPECT_EQ(outcome.result, NubSuccess);
  EXPECT_EQ(NameOf(outcome.request), "WaitIntQ");
  EXPECT_EQ(DataLengthOf(outcome.request), 25u);
  EXPECT_EQ(PayloadOf(outcome.request), Wire({7, 0, 14, 500}));
}

TEST(NubWaits, FailuresHaveTheirCodes) {
  EXPECT_EQ(Wait(Packet(3, 11, "WaitIntR", Wire({7, 0, 0, 0}))).result, NubWaitFailed);
  EXPECT_EQ(Wait(ReadReply(7, 1, 1)).result, NubNotWaitReply);
  const Outcome outcome = Wait(Packet(3, 11, "WaitIntR", Wire({kNoCard, 1, 0, 0})));
  EXPECT_EQ(outcome.result, NubBadHandle);
  EXPECT_EQ(outcome.out, "Got invalid nub handle back from register write.\n");
}

// ---- bitfile and build information ----

Outcome BitFile(const Bytes& reply, RQD5BitFileInfo* info) {
  return After(3, reply,
               [info](NubClient& client) { return client.GetBitFileInformation(info, 2); });
}

Bytes BitFilePayload(uint32_t handle, uint32_t result) {
  Bytes payload = Wire({handle, result, 2, 11, 12, 1024, 0x123456});
  for (const std::string text : {"2009/06/18", "14:25:07", "larch01"}) {
    Bytes field(text.begin(), text.end());
    payload = Join({payload, Padded(field, 16)});
  }
  payload = Join({payload, Wire({3}), Bytes(16, 0x77), Wire({99}), Bytes(936, 0x66)});
  EXPECT_EQ(payload.size(), 1036u);
  return payload;
}

TEST(NubBitFiles, OnlyTheProjectNumberOfTheRecordIsSent) {
  RQD5BitFileInfo info;
  std::memset(&info, 0xEE, sizeof info);
  info.projectNumber = 0x01020304;
  const Outcome outcome = BitFile(Packet(3, 13, "GetBFIR", BitFilePayload(7, 1)), &info);
  EXPECT_EQ(outcome.result, NubSuccess);
  EXPECT_EQ(NameOf(outcome.request), "GetBFIQ");
  EXPECT_EQ(DataLengthOf(outcome.request), 1044u);
  Bytes expected = Padded(Wire({7, 0, 2}), 1036);
  for (int i = 0; i < 4; ++i) expected[96 + i] = static_cast<uint8_t>(i + 1);
  EXPECT_EQ(PayloadOf(outcome.request), expected);
}

TEST(NubBitFiles, TheRecordIsFilledAndThePartNameStays) {
  RQD5BitFileInfo info;
  std::memset(&info, 0xEE, sizeof info);
  ASSERT_EQ(BitFile(Packet(3, 13, "GetBFIR", BitFilePayload(7, 1)), &info).result, NubSuccess);
  EXPECT_EQ(info.checksum, 11u);
  EXPECT_EQ(info.recordVersion, 12u);
  EXPECT_EQ(info.recordSize, 1024u);
  EXPECT_EQ(info.byteCount, 0x123456u);
  EXPECT_STREQ(info.date, "2009/06/18");
  EXPECT_STREQ(info.time, "14:25:07");
  EXPECT_STREQ(info.designName, "larch01");
  EXPECT_EQ(info.kind, 3u);
  EXPECT_EQ(std::string(info.partName, 16), std::string(16, '\xEE'));
  EXPECT_EQ(info.projectNumber, 99u);
  EXPECT_EQ(info.rest[0], 0xEE);
  EXPECT_EQ(info.rest[935], 0xEE);
}

TEST(NubBitFiles, FailuresHaveTheirCodesAndLeaveTheRecord) {
  RQD5BitFileInfo info, before;
  std::memset(&info, 0xEE, sizeof info);
  before = info;
  EXPECT_EQ(BitFile(Packet(3, 13, "GetBFIR", BitFilePayload(7, 0)), &info).result,
            NubBitFileFailed);
  EXPECT_EQ(BitFile(ReadReply(7, 1, 1), &info).result, NubNotBitFileReply);
  EXPECT_EQ(std::memcmp(&info, &before, sizeof info), 0);
  const Outcome outcome = BitFile(Packet(3, 13, "GetBFIR", BitFilePayload(kNoCard, 1)), &info);
  EXPECT_EQ(outcome.result, NubBadHandle);
  EXPECT_EQ(outcome.out, "Got invalid nub handle back from get bitfile info.\n");
}

Outcome Build(uint32_t version, const Bytes& reply, RQD5BuildInfo* info) {
  return After(version, reply,
               [info](NubClient& client) { return client.GetBuildInformation(info); });
}

Bytes BuildPayload(uint32_t handle, uint32_t result) {
  return Padded(Join({Wire({handle, result, 1, 0x01020304}), Bytes(1024, 'b')}), 2056);
}

TEST(NubBuilds, TwoWordsAnd1024BytesAreTaken) {
  RQD5BuildInfo info{};
  const Outcome outcome = Build(3, Packet(3, 23, "GetBIR", BuildPayload(7, 1)), &info);
  EXPECT_EQ(outcome.result, NubSuccess);
  EXPECT_EQ(NameOf(outcome.request), "GetBIQ");
  EXPECT_EQ(DataLengthOf(outcome.request), 2063u);
  EXPECT_EQ(PayloadOf(outcome.request), Padded(Wire({7}), 2056));
  EXPECT_EQ(info.word0, 1u);
  EXPECT_EQ(info.word1, 0x01020304u);
  EXPECT_EQ(std::string(info.text, 1024), std::string(1024, 'b'));
}

TEST(NubBuilds, FailuresHaveTheirCodes) {
  RQD5BuildInfo info{};
  EXPECT_EQ(Build(3, Packet(3, 23, "GetBIR", BuildPayload(7, 0)), &info).result, NubBuildFailed);
  EXPECT_EQ(Build(3, ReadReply(7, 1, 1), &info).result, NubNotBuildReply);
  EXPECT_EQ(info.word0, 0u);
  const Outcome outcome = Build(3, Packet(3, 23, "GetBIR", BuildPayload(kNoCard, 1)), &info);
  EXPECT_EQ(outcome.result, NubBadHandle);
  EXPECT_EQ(outcome.out, "Got invalid nub handle back from get build info.\n");
}

TEST(NubBuilds, VersionsWithoutTheNameAreNotAsked) {
  RQD5BuildInfo info{};
  for (const uint32_t version : {1u, 2u}) {
    const Outcome outcome = Build(version, Packet(3, 23, "GetBIR", BuildPayload(7, 1)), &info);
    EXPECT_EQ(outcome.result, NubNotBuilt);
    EXPECT_TRUE(outcome.request.empty());
  }
  EXPECT_EQ(Build(3, Packet(2, 23, "GetBIR", BuildPayload(7, 1)), &info).result, NubNotBuildReply);
}

// ---- test patterns ----

Outcome Pattern(const Bytes& reply) {
  return After(3, reply,
               [](NubClient& client) { return client.DownloadTestPattern(1, 1, 7, true, 12); });
}

TEST(NubPatterns, ARequestHas28BytesOfPayload) {
  const Outcome outcome = Pattern(Packet(3, 15, "DLTPR", Padded(Wire({7, 1}), 28)));
  EXPECT_EQ(outcome.result, NubSuccess);
  EXPECT_EQ(NameOf(outcome.request), "DLTPQ");
  EXPECT_EQ(DataLengthOf(outcome.request), 34u);
  EXPECT_EQ(PayloadOf(outcome.request), Wire({7, 0, 1, 1, 7, 1, 12}));
}

TEST(NubPatterns, FailuresHaveTheirCodesAndWords) {
  Outcome outcome = Pattern(Packet(3, 15, "DLTPR", Padded(Wire({7, 0}), 28)));
  EXPECT_EQ(outcome.result, NubPatternFailed);
  EXPECT_EQ(outcome.out, "Download test pattern failed on remote side.\n");
  EXPECT_EQ(Pattern(ReadReply(7, 1, 1)).result, NubNotPatternReply);
  outcome = Pattern(Packet(3, 15, "DLTPR", Padded(Wire({kNoCard, 1}), 28)));
  EXPECT_EQ(outcome.result, NubBadHandle);
  EXPECT_EQ(outcome.out, "Got invalid nub handle back from download test pattern.\n");
}

// ---- what the card functions have in common ----

// A refusal counts for more than a handle that names no card; its words are printed all the same.
TEST(NubCardFunctions, ARefusalIsTheResultThoughTheHandleIsInvalidToo) {
  const std::string ofWrite = "Got invalid nub handle back from register write.\n";
  Outcome outcome = Wait(Packet(3, 11, "WaitIntR", Wire({kNoCard, 0, 0, 0})));
  EXPECT_EQ(outcome.result, -14);
  EXPECT_EQ(outcome.out, ofWrite);
  outcome = Control(3, ACStop, Packet(3, 21, "ACCtrlR", Padded(Wire({kNoCard, 0}), 72)));
  EXPECT_EQ(outcome.result, -15);
  EXPECT_EQ(outcome.out, ofWrite);
  RQD5BitFileInfo bitFile = {};
  outcome = BitFile(Packet(3, 13, "GetBFIR", BitFilePayload(kNoCard, 0)), &bitFile);
  EXPECT_EQ(outcome.result, -16);
  EXPECT_EQ(outcome.out, "Got invalid nub handle back from get bitfile info.\n");
  outcome = Pattern(Packet(3, 15, "DLTPR", Padded(Wire({kNoCard, 0}), 28)));
  EXPECT_EQ(outcome.result, -19);
  EXPECT_EQ(outcome.out,
            "Got invalid nub handle back from download test pattern.\n"
            "Download test pattern failed on remote side.\n");
  RQD5BuildInfo build = {};
  outcome = Build(3, Packet(3, 23, "GetBIR", BuildPayload(kNoCard, 0)), &build);
  EXPECT_EQ(outcome.result, -25);
  EXPECT_EQ(outcome.out, "Got invalid nub handle back from get build info.\n");
}

// It is read over the request, whose handle is good and whose result word is 0.
TEST(NubCardFunctions, ABareHeaderIsARefusal) {
  EXPECT_EQ(Wait(Header(3, 11, 0)).result, -14);
  EXPECT_EQ(Control(3, ACStop, Header(3, 21, 0)).result, -15);
  RQD5BitFileInfo bitFile = {};
  EXPECT_EQ(BitFile(Header(3, 13, 0), &bitFile).result, -16);
  EXPECT_EQ(bitFile.recordSize, 0u);
  const Outcome outcome = Pattern(Header(3, 15, 0));
  EXPECT_EQ(outcome.result, -19);
  EXPECT_EQ(outcome.out, "Download test pattern failed on remote side.\n");
  RQD5BuildInfo build = {};
  EXPECT_EQ(Build(3, Header(3, 23, 0), &build).result, -25);
  EXPECT_EQ(build.word0, 0u);
}

}  // namespace
}  // namespace morvane
