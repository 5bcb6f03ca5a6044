#include "simulator/address_range.h"

#include <gtest/gtest.h>

namespace morvane {
namespace {

TEST(AddressRange, WhatItContains) {
  struct Row {
    const char* range;
    const char* address;
    bool contains;
  };
  constexpr Row kRows[] = {
      {"192.168.7.0/24", "192.168.7.0", true},   {"192.168.7.0/24", "192.168.7.255", true},
      {"192.168.7.0/24", "192.168.8.0", false},  {"192.168.7.77/24", "192.168.7.1", true},
      {"10.0.0.0/8", "10.255.1.2", true},        {"10.0.0.0/8", "11.0.0.0", false},
      {"0.0.0.0/0", "255.255.255.255", true},    {"192.168.7.3", "192.168.7.3", true},
      {"192.168.7.3", "192.168.7.2", false},     {"192.168.7.3/32", "192.168.7.3", true},
      {"192.168.7.2/31", "192.168.7.3", true},   {"192.168.7.2/31", "192.168.7.4", false},
      {"128.0.0.0/1", "127.255.255.255", false},
  };
  for (const Row& row : kRows) {
    const auto range = AddressRange::Parse(row.range);
    ASSERT_TRUE(range) << row.range;
    EXPECT_EQ(range->Contains(*ParseAddress(row.address)), row.contains)
        << row.range << " " << row.address;
  }
}

TEST(AddressRange, TextsThatAreNone) {
  for (const char* text :
       {"", "/", "/24", "192.168.7.0/", "192.168.7.0/33", "192.168.7.0/-1", "192.168.7.0/24 ",
        "192.168.7.0/2x", "192.168.7.0/024", "192.168.7/24", "192.168.7.256", "::1", "::1/64",
        "localhost", " 10.0.0.1", "10.0.0.1/8/8", "0x0a000001"}) {
    EXPECT_FALSE(AddressRange::Parse(text)) << text;
  }
  EXPECT_FALSE(ParseAddress(std::string("10.0.0.1\0 or any", 16)));
}

TEST(AddressRange, AnAddressIsAllowedByAnyRangeAndByNone) {
  const uint32_t address = *ParseAddress("10.1.2.3");
  EXPECT_TRUE(IsAllowed({}, address));
  EXPECT_FALSE(IsAllowed({*AddressRange::Parse("10.2.0.0/16")}, address));
  EXPECT_TRUE(
      IsAllowed({*AddressRange::Parse("10.2.0.0/16"), *AddressRange::Parse("10.1.2.3")}, address));
}

TEST(AddressRange, TextOfAnAddress) {
  EXPECT_EQ(AddressText(0xC0A80703), "192.168.7.3");
  EXPECT_EQ(AddressText(0), "0.0.0.0");
}

}  // namespace
}  // namespace morvane
