#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "device/card.h"
#include "device/fake_driver_port.h"

// A card object over a port that stores registers and writes down every request.
namespace morvane::test {

using Texts = std::vector<std::string>;
using Values = std::vector<uint32_t>;

class CardRig : public ::testing::Test {
 protected:
  void Open(uint32_t identity) {
    card_.Close();
    port_.devices.clear();
    port_.registers.clear();
    const uint32_t type = FindBoard(identity)->boardType;
    if (PropertySetOfBoardType(type) != nullptr) {
      port_.AddBoard(type, identity);
      ASSERT_TRUE(card_.Open(0, true, type, nullptr));
    } else {
      // An external board is not found by its own type; the identity is what the tests need.
      port_.AddBoard(8, identity);
      ASSERT_TRUE(card_.Open(0, true, 8, nullptr));
    }
    port_.calls.clear();
    messages_.texts.clear();
  }
  uint32_t& Reg(uint32_t number) { return port_.registers[number]; }
  [[nodiscard]] std::vector<uint32_t> ValuesWrittenTo(uint32_t number) const {
    std::vector<uint32_t> values;
    for (const auto& call : port_.WritesTo(number)) values.push_back(call.Value());
    return values;
  }

  FakeDriverPort port_;
  MessageRecorder messages_;
  CRQD5Card card_;
};

}  // namespace morvane::test
