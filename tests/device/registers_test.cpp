#include "device/registers.h"

#include <gtest/gtest.h>

#include <sstream>

#include "device/golden_lines.h"

namespace morvane {
namespace {

std::string RowText(const RegisterRow& row) {
  std::ostringstream text;
  for (int i = 0; i < 4 && row.registers[i] != kNoRegister; ++i) {
    text << (i > 0 ? "," : "") << row.registers[i];
  }
  text << ' ';
  if (row.mask == 0xFFFFFFFF) {
    text << "all";
  } else {
    text << "0x" << std::uppercase << std::hex << row.mask << std::dec;
  }
  text << ' ' << row.shift;
  return text.str();
}

// The written map comes first, in its order; frame words and additions stand behind it.
TEST(Registers, RowsEqualTheWrittenMap) {
  const auto golden = test::GoldenLines("registers.txt");
  ASSERT_EQ(golden.size(), static_cast<size_t>(RegisterField::OutputFrame));
  for (size_t i = 0; i < golden.size(); ++i) {
    EXPECT_EQ(RowText(RegisterRows()[i]), golden[i]) << RegisterRows()[i].meaning;
  }
}

TEST(Registers, ShiftIsTheLowestBitOfTheMask) {
  for (const RegisterRow& row : RegisterRows()) {
    EXPECT_EQ(row.shift, static_cast<uint32_t>(__builtin_ctz(row.mask))) << row.meaning;
  }
}

TEST(Registers, ChannelWordsFollowTheChannelTable) {
  const struct {
    RegisterField field;
    uint32_t registers[4];
  } kWanted[] = {
      {RegisterField::ChannelControl, {1, 5, 257, 260}},
      {RegisterField::OutputFrame, {2, 6, 289, 290}},
      {RegisterField::InputFrame, {3, 7, 258, 261}},
      {RegisterField::AccessFrame, {4, 8, 259, 262}},
      {RegisterField::AudioControl, {24, 240, 278, 279}},
      {RegisterField::AudioOffset, {25, 241, 280, 281}},
  };
  const uint32_t channels[] = {1, 2, 9, 10};
  for (const auto& wanted : kWanted) {
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(RegisterNumber(wanted.field, ChannelIndex(channels[i])), wanted.registers[i]);
    }
  }
}

TEST(Registers, AnyOtherChannelActsAsTheFirst) {
  for (const uint32_t channel : {0u, 1u, 3u, 8u, 11u, 0xFFFFFFFFu}) {
    EXPECT_EQ(ChannelIndex(channel), 0u) << channel;
  }
  EXPECT_EQ(RegisterNumber(RegisterField::ChannelMode, 7), 1u);
  EXPECT_EQ(RegisterNumber(RegisterField::SdiTransmitEnable, 1), 130u);
  EXPECT_EQ(RegisterNumber(RegisterField::SdiTransmitEnable, 2), 129u);
}

TEST(Registers, FieldsBesideTheMap) {
  EXPECT_EQ(RowText(RegisterRowOf(RegisterField::InputMode)), "0 0x10000 16");
  EXPECT_EQ(RowText(RegisterRowOf(RegisterField::ChannelOutputLevel)), "1,5 0x10000 16");
  EXPECT_EQ(RowText(RegisterRowOf(RegisterField::SdiStandardDefinition)), "142,147 0x40000000 30");
  EXPECT_EQ(RowText(RegisterRowOf(RegisterField::BitfileHold)), "10100 0x40000000 30");
}

}  // namespace
}  // namespace morvane
