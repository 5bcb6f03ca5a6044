#include "session/vtr_status.h"

#include <gtest/gtest.h>

#include <array>

#include "device/golden_lines.h"

namespace morvane {
namespace {

using Data = std::array<uint8_t, kVtrStatusBytes>;

Data With(std::initializer_list<std::pair<size_t, uint8_t>> bytes) {
  Data data{};
  for (const auto& [index, value] : bytes) data[index] = value;
  return data;
}

TEST(VtrStatus, EntriesAreThoseOfTheWrittenTable) {
  std::vector<std::string> lines;
  for (const VtrStatusRow& row : VtrStatusRows()) {
    lines.push_back(std::to_string(row.entry) + " " + std::to_string(row.byte) + " " +
                    std::to_string(row.bit));
  }
  EXPECT_EQ(lines, test::GoldenLines("vtr_status.txt"));
}

TEST(VtrStatus, EachBitSetsItsEntriesAndNoOther) {
  for (const VtrStatusRow& bit : VtrStatusRows()) {
    const Data data = With({{bit.byte, static_cast<uint8_t>(1u << bit.bit)}});
    const RQD5VtrStatus status = DecodeVtrStatus(data);
    for (uint32_t entry = 0; entry < kVtrStatusEntries; ++entry) {
      const bool tripled = entry >= 19 && entry <= 21 && bit.entry >= 19 && bit.entry <= 21;
      EXPECT_EQ(status.entries[entry], entry == bit.entry || tripled)
          << "byte " << bit.byte << " bit " << bit.bit << " entry " << entry;
    }
  }
}

TEST(VtrStatus, AllBitsLeaveNoReplyAndTheLastFourFalse) {
  Data data;
  data.fill(0xFF);
  const RQD5VtrStatus status = DecodeVtrStatus(data);
  EXPECT_FALSE(status.Is(VtrNoReply));
  for (uint32_t entry = 1; entry <= 55; ++entry) EXPECT_TRUE(status.entries[entry]) << entry;
  for (uint32_t entry = 56; entry < 60; ++entry) EXPECT_FALSE(status.entries[entry]) << entry;
}

TEST(VtrStatus, RecordInhibitIsTheLowestBitOfByteEight) {
  EXPECT_TRUE(DecodeVtrStatus(With({{8, 0x01}})).Is(VtrRecordInhibited));
  EXPECT_FALSE(DecodeVtrStatus(With({{8, 0xFE}})).Is(VtrRecordInhibited));
}

struct WordCase {
  Data data;
  const char* text;
};

TEST(VtrStatusText, EveryWord) {
  const WordCase cases[] = {
      {With({{0, 0x20}}), "Tape Out"},    {With({{0, 0x01}}), "Local"},
      {With({{1, 0x20}}), "Stop"},        {With({{1, 0x02}}), "Record"},
      {With({{1, 0x01}}), "Play"},        {With({{1, 0x04}}), "Fast Forward"},
      {With({{1, 0x08}}), "Rewind"},      {With({{4, 0x01}}), "Seeking"},
      {With({{1, 0x10}}), "Eject"},       {With({{2, 0x08}}), "Variable"},
      {With({{2, 0x02}}), "Still"},       {With({{2, 0x01}}), "Cue Up"},
      {With({{1, 0x80}}), "StandBy"},     {Data{}, ""},
      {With({{2, 0x80}, {8, 0xFF}}), ""},
  };
  for (const WordCase& row : cases) {
    EXPECT_EQ(VtrStatusText(row.data), row.text);
    EXPECT_FALSE(VtrMovesBySpeed(row.data)) << row.text;
  }
}

TEST(VtrStatusText, EarlierWordsGoBeforeLaterOnes) {
  // Every bit set, then the one of the word just seen cleared.
  const WordCase clears[] = {
      {With({{0, 0x20}}), "Tape Out"}, {With({{0, 0x01}}), "Local"},
      {With({{1, 0x20}}), "Stop"},     {With({{1, 0x02}}), "Record"},
      {With({{1, 0x01}}), "Play"},     {With({{1, 0x04}}), "Fast Forward"},
      {With({{1, 0x08}}), "Rewind"},   {With({{4, 0x01}, {2, 0x30}}), "Seeking"},
      {With({{1, 0x10}}), "Eject"},    {With({{2, 0x08}}), "Variable"},
      {With({{2, 0x02}}), "Still"},    {With({{2, 0x01}}), "Cue Up"},
      {With({{1, 0x80}}), "StandBy"},
  };
  Data data;
  data.fill(0xFF);
  for (const WordCase& row : clears) {
    EXPECT_EQ(VtrStatusText(data), row.text);
    for (size_t i = 0; i < data.size(); ++i) data[i] &= static_cast<uint8_t>(~row.data[i]);
  }
  EXPECT_EQ(VtrStatusText(data), "");
}

TEST(VtrStatusText, OnlyShuttleAndJogMoveBySpeed) {
  EXPECT_TRUE(VtrMovesBySpeed(With({{2, 0x20}})));
  EXPECT_TRUE(VtrMovesBySpeed(With({{2, 0x10}})));
  EXPECT_TRUE(VtrMovesBySpeed(With({{2, 0x3F}, {1, 0x90}})));
  EXPECT_FALSE(VtrMovesBySpeed(With({{2, 0xCF}})));
  EXPECT_FALSE(VtrMovesBySpeed(With({{2, 0x20}, {1, 0x01}})));
  EXPECT_FALSE(VtrMovesBySpeed(With({{2, 0x10}, {4, 0x01}})));
}

struct SpeedCase {
  double speed;
  const char* forward;
  const char* reverse;
};

TEST(VtrSpeedText, EverySpeed) {
  const SpeedCase cases[] = {
      {0, "Still", "Still"},
      {0.05, "Still", "Still"},
      {0.051, "Play 1/4x", "Reverse Play 1/4x"},
      {0.25, "Play 1/4x", "Reverse Play 1/4x"},
      {0.499, "Play 1/4x", "Reverse Play 1/4x"},
      {0.5, "Play 1/2x", "Reverse Play 1/2x"},
      {0.999, "Play 1/2x", "Reverse Play 1/2x"},
      {1, "Play", "Reverse Play"},
      {1.49, "Play", "Reverse Play"},
      {1.5, "Play 2x", "Reverse Play 2x"},
      {2, "Play 2x", "Reverse Play 2x"},
      {2.5, "Play 3x", "Reverse Play 3x"},
      {3.4, "Play 3x", "Reverse Play 3x"},
      {3.5, "Shuttle", "Shuttle"},
      {4, "Play 4x", "Reverse Play 4x"},
      {4.9, "Play 4x", "Reverse Play 4x"},
      {5, "Shuttle", "Shuttle"},
      {8, "Fast Forward 8x", "Rewind 8x"},
      {8.9, "Fast Forward 8x", "Rewind 8x"},
      {9, "Shuttle", "Shuttle"},
      {16, "Fast Forward 16x", "Rewind 16x"},
      {32.5, "Fast Forward 32x", "Rewind 32x"},
      {50, "Shuttle", "Shuttle"},
      {1e300, "Shuttle", "Shuttle"},
  };
  for (const SpeedCase& row : cases) {
    for (const double sign : {1.0, -1.0}) {
      EXPECT_EQ(VtrSpeedText(With({{2, 0x20}}), sign * row.speed), row.forward) << row.speed;
      EXPECT_EQ(VtrSpeedText(With({{2, 0x24}}), sign * row.speed), row.reverse) << row.speed;
    }
  }
}

TEST(VtrSpeedText, JogIsToldByTheBitOfEject) {
  EXPECT_EQ(VtrSpeedText(With({{1, 0x10}, {2, 0x10}}), 5), "Jog");
  EXPECT_EQ(VtrUnknownSpeedText(With({{1, 0x10}})), "Jog");
  EXPECT_EQ(VtrUnknownSpeedText(With({{2, 0x10}})), "Shuttle");
}

}  // namespace
}  // namespace morvane
