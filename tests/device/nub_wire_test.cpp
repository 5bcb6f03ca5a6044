#include "device/nub_wire.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "device/golden_lines.h"
#include "device/nub_payloads.h"

namespace morvane {
namespace {

using Buffer = std::array<uint8_t, kNubPacketLimit>;

std::span<const uint8_t> Body(const Buffer& buffer) {
  return std::span(buffer).subspan(kNubHeaderBytes);
}

NubHeader HeaderOf(const Buffer& buffer) {
  return LoadNubHeader(std::span(buffer).first<kNubHeaderBytes>());
}

// A packet without payload, then compared as `type`.
bool Matches(uint32_t type, const NubHeader& header, const std::string& name) {
  Buffer buffer{};
  std::memcpy(&buffer[kNubHeaderBytes], name.c_str(), name.size() + 1);
  return NubPacketIs(type, header, Body(buffer));
}

std::optional<NubPacketType> Recognised(const NubHeader& header, const std::string& name) {
  Buffer buffer{};
  std::memcpy(&buffer[kNubHeaderBytes], name.c_str(), name.size() + 1);
  return RecogniseNubRequest(header, Body(buffer));
}

TEST(NubWire, NamesAreTheWrittenOnesInAllThreeVersions) {
  std::vector<std::string> lines;
  for (uint32_t type = 0; type < kNubPacketTypes; ++type) {
    for (const uint32_t version : {1u, 2u, 3u}) {
      const char* name = NubPacketName(version, type);
      lines.push_back(std::to_string(type) + " " + std::to_string(version) + " " +
                      (name != nullptr ? name : "-"));
    }
  }
  EXPECT_EQ(lines, test::GoldenLines("nub_names.txt"));
}

TEST(NubWire, OtherVersionsHaveTheNamesOfVersion3) {
  EXPECT_STREQ(NubPacketName(7, NubRead), "Read1Q");
  EXPECT_STREQ(NubPacketName(0, NubBuild), "GetBIQ");
  EXPECT_EQ(NubPacketName(3, 24), nullptr);
  EXPECT_EQ(NubPacketName(1, 0xFFFFFFFF), nullptr);
}

TEST(NubWire, OnlyVersion1FoldsControlIntoStatus) {
  EXPECT_EQ(NubWireType(1, NubControl), 8u);
  EXPECT_EQ(NubWireType(1, NubControlReply), 9u);
  EXPECT_EQ(NubWireType(2, NubControl), 20u);
  EXPECT_EQ(NubWireType(3, NubControlReply), 21u);
  EXPECT_EQ(NubWireType(1, NubRead), 4u);
}

TEST(NubWire, OpenRequestHas123Bytes) {
  Buffer buffer;
  buffer.fill(0xAA);
  ASSERT_EQ(BuildNubPacket(3, NubOpen, sizeof(NubOpenPayload), buffer), 123u);
  const uint8_t head[] = {0, 0, 0, 3, 0, 0, 0, 2, 0, 0, 0, 0x3B};
  EXPECT_EQ(std::memcmp(buffer.data(), head, sizeof head), 0);
  for (size_t i = sizeof head; i < kNubHeaderBytes; ++i) EXPECT_EQ(buffer[i], 0) << i;
  EXPECT_STREQ(reinterpret_cast<const char*>(&buffer[64]),
               "I didn't expect a kind of Spanish Inquisition.");
  EXPECT_EQ(NubPayloadOffset(3, NubOpen), 111u);
  for (size_t i = 111; i < buffer.size(); ++i) EXPECT_EQ(buffer[i], 0) << i;
}

TEST(NubWire, ReadRequestIsTheseBytes) {
  Buffer buffer;
  ASSERT_EQ(BuildNubPacket(3, NubRead, sizeof(NubRegisterPayload), buffer), 95u);
  StoreNubPayload(NubRegisterPayload{7, 50, 0, 0xFFFFFFFF, 0, 0},
                  &buffer[NubPayloadOffset(3, NubRead)]);
  std::vector<uint8_t> expected = {0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 0x1F};
  expected.resize(64, 0);
  const uint8_t tail[] = {0x52, 0x65, 0x61, 0x64, 0x31, 0x51, 0,           // Read1Q
                          0,    0,    0,    7,    0,    0,    0,    0x32,  //
                          0,    0,    0,    0,    0xFF, 0xFF, 0xFF, 0xFF,  //
                          0,    0,    0,    0,    0,    0,    0,    0};
  expected.insert(expected.end(), std::begin(tail), std::end(tail));
  EXPECT_EQ(std::vector<uint8_t>(buffer.begin(), buffer.begin() + 95), expected);
}

TEST(NubWire, BodiesHaveTheirLengths) {
  struct Row {
    uint32_t version, type, dataLength;
  };
  // clang-format off
  const Row rows[] = {
    {3, NubWrite, 32}, {3, NubStatus, 111}, {3, NubControl, 80}, {3, NubWait, 25},
    {3, NubBitFile, 1044}, {3, NubBuild, 2063}, {3, NubPattern, 34}, {3, NubRead, 31},
    {1, NubRead, 64}, {1, NubControl, 108}, {1, NubStatus, 129},
    {2, NubBitFileReply, 1044}, {2, NubControlReply, 80}, {3, NubBuildReply, 2063},
  };
  // clang-format on
  for (const Row& row : rows) {
    Buffer buffer;
    const size_t bytes = BuildNubPacket(row.version, row.type, NubPayloadBytes(row.type), buffer);
    EXPECT_EQ(bytes, 64 + row.dataLength) << row.version << " " << row.type;
    EXPECT_EQ(HeaderOf(buffer).dataLength, row.dataLength);
    EXPECT_EQ(HeaderOf(buffer).type, NubWireType(row.version, row.type));
  }
}

TEST(NubWire, PacketsThatCannotBeAreNotBuilt) {
  Buffer buffer;
  buffer.fill(0xAA);
  EXPECT_EQ(BuildNubPacket(1, NubBuild, 8, buffer), 0u);
  EXPECT_EQ(BuildNubPacket(2, NubBuild, 8, buffer), 0u);
  EXPECT_EQ(BuildNubPacket(3, 24, 8, buffer), 0u);
  EXPECT_EQ(BuildNubPacket(3, NubReadMulti, 8186, buffer), 0u);
  EXPECT_EQ(BuildNubPacket(3, NubReadMulti, SIZE_MAX, buffer), 0u);
  EXPECT_EQ(BuildNubPacket(3, NubRead, 24, std::span(buffer).first(94)), 0u);
  EXPECT_EQ(buffer[0], 0xAA);
  EXPECT_EQ(BuildNubPacket(3, NubReadMulti, 8185, buffer), kNubPacketLimit);
}

TEST(NubWire, SeveralReadsAreLimitedByRequestAndReply) {
  EXPECT_EQ(NubReadMultiLimit(3), 510u);
  EXPECT_EQ(NubReadMultiLimit(2), 510u);
  EXPECT_EQ(NubReadMultiLimit(7), 510u);
  EXPECT_EQ(NubReadMultiLimit(1), 507u);
  EXPECT_EQ(NubReadMultiBytes(0), 16u);
  EXPECT_EQ(NubReadMultiBytes(3), 64u);
}

TEST(NubWire, APacketIsKnownByTypeAndName) {
  EXPECT_TRUE(Matches(NubReadReply, {3, 5, 31}, "Read1R"));
  EXPECT_FALSE(Matches(NubReadReply, {3, 5, 31}, "Read1Q"));
  EXPECT_FALSE(Matches(NubReadReply, {3, 7, 31}, "Read1R"));
  EXPECT_FALSE(Matches(NubReadReply, {3, 5, 31}, "Read1R more"));
  EXPECT_FALSE(Matches(NubReadReply, {1, 5, 31}, "Read1R"));
  EXPECT_TRUE(Matches(NubControlReply, {1, 9, 93}, "Here they are, lord."));
  EXPECT_FALSE(Matches(NubStatusReply, {1, 9, 93}, "Here they are, lord."));
  EXPECT_FALSE(Matches(NubControlReply, {1, 21, 93}, "Here they are, lord."));
  EXPECT_FALSE(Matches(NubBuildReply, {2, 23, 2063}, "GetBIR"));
}

TEST(NubWire, ANameIsComparedAsFarAsTheBodyGoes) {
  EXPECT_TRUE(Matches(NubReadReply, {3, 5, 4}, "Read"));
  EXPECT_TRUE(Matches(NubReadReply, {3, 5, 0}, "anything"));
  EXPECT_FALSE(Matches(NubReadReply, {3, 5, 5}, "Read"));
  EXPECT_TRUE(Matches(NubReadReply, {3, 5, 0xFFFFFFFF}, "Read1R"));
  const uint8_t body[] = {'R', 'e', 'a', 'd'};
  EXPECT_FALSE(NubPacketIs(NubReadReply, {3, 5, 31}, body));
  EXPECT_TRUE(NubPacketIs(NubReadReply, {3, 5, 4}, body));
}

TEST(NubWire, ARequestIsRecognisedByItsWholeName) {
  EXPECT_EQ(Recognised({1, 8, 129}, "Right! How do you plead?"), NubStatus);
  EXPECT_EQ(Recognised({1, 8, 108}, "Biggles! Fetch...THE SOFT CUSHIONS!"), NubControl);
  EXPECT_EQ(Recognised({3, 20, 80}, "ACCtrlQ"), NubControl);
  EXPECT_EQ(Recognised({9, 22, 2063}, "GetBIQ"), NubBuild);
  EXPECT_EQ(Recognised({1, 22, 2063}, "GetBIQ"), std::nullopt);
  EXPECT_EQ(Recognised({3, 4, 6}, "Read1Q"), std::nullopt);  // without its NUL
  EXPECT_EQ(Recognised({3, 4, 0}, ""), std::nullopt);
  EXPECT_EQ(Recognised({3, 5, 31}, "Read1R"), std::nullopt);  // a reply
  for (const uint32_t version : {1u, 2u, 3u}) {
    for (uint32_t type = 0; type < kNubPacketTypes; type += 2) {
      Buffer buffer;
      const size_t bytes = BuildNubPacket(version, type, 0, buffer);
      if (bytes == 0) continue;
      EXPECT_EQ(RecogniseNubRequest(HeaderOf(buffer), std::span(buffer).subspan(64, bytes - 64)),
                static_cast<NubPacketType>(type));
    }
  }
}

TEST(NubWire, WordsAreBigEndianAndTimeStampsLittleEndian) {
  NubStatusPayload payload;
  payload.result = 0x01020304;
  payload.startTime = 1;
  uint8_t bytes[sizeof payload + 1];
  StoreNubPayload(payload, bytes + 1);
  EXPECT_EQ(bytes[5], 1);
  EXPECT_EQ(bytes[8], 4);
  EXPECT_EQ(bytes[33], 1);
  EXPECT_EQ(bytes[40], 0);
  EXPECT_EQ(LoadNubPayload<NubStatusPayload>(bytes + 1).startTime, 1u);
}

TEST(NubWire, AStatusComesBackAsItWent) {
  RQD5AutoCirculateStatus status;
  std::memset(&status, 0, sizeof status);
  status.channelSpec = 0x101;
  status.state = 5;
  status.startFrame = 3;
  status.endFrame = 9;
  status.activeFrame = 0xFFFFFFFF;
  status.startTime = 0x1122334455667788;
  status.boundaryTime = 2;
  status.audioClockStart = 3;
  status.audioClockNow = 4;
  status.framesProcessed = 100;
  status.framesDropped = 7;
  status.bufferLevel = 6;
  status.option0 = 1;
  status.option2 = 1;
  status.flag6 = 1;
  NubStatusPayload payload;
  PutNubStatus(status, &payload);
  EXPECT_EQ(payload.option0, 1u);
  EXPECT_EQ(payload.option1, 0u);
  RQD5AutoCirculateStatus back;
  std::memset(&back, 0, sizeof back);
  TakeNubStatus(payload, &back);
  EXPECT_EQ(std::memcmp(&status, &back, sizeof status), 0);
  payload.timecodePresent = 0x100;
  TakeNubStatus(payload, &back);
  EXPECT_EQ(back.timecodePresent, 1);
}

TEST(NubWire, BitfileInformationLeavesThePartName) {
  RQD5BitFileInfo info;
  std::memset(&info, 'x', sizeof info);
  info.byteCount = 0x123456;
  info.projectNumber = 42;
  NubBitFilePayload payload;
  PutNubBitFile(info, &payload);
  RQD5BitFileInfo back;
  std::memset(&back, 'y', sizeof back);
  TakeNubBitFile(payload, &back);
  EXPECT_EQ(back.byteCount, 0x123456u);
  EXPECT_EQ(back.projectNumber, 42u);
  EXPECT_EQ(std::memcmp(info.date, back.date, 48), 0);
  EXPECT_EQ(back.kind, info.kind);
  EXPECT_EQ(std::string(back.partName, 16), std::string(16, 'y'));
  EXPECT_EQ(back.rest[0], 'y');
}

TEST(NubWire, BuildInformationComesBackAsItWent) {
  RQD5BuildInfo info;
  std::memset(&info, 'x', sizeof info);
  info.word0 = 1;
  NubBuildPayload payload;
  PutNubBuild(info, &payload);
  RQD5BuildInfo back;
  std::memset(&back, 0, sizeof back);
  TakeNubBuild(payload, &back);
  EXPECT_EQ(std::memcmp(&info, &back, sizeof info), 0);
}

}  // namespace
}  // namespace morvane
