#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "device/boards.h"
#include "device/fake_driver_port.h"
#include "device/win_driver_interface.h"

// The driver interface over a port that writes down every request.
namespace morvane::test {

using Texts = std::vector<std::string>;
using Words = std::vector<uint32_t>;

inline std::string HexOf(const std::vector<uint8_t>& bytes) {
  static const char digits[] = "0123456789ABCDEF";
  std::string text;
  for (const uint8_t byte : bytes) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

class DriverDoor : public ::testing::Test {
 protected:
  void OpenBoard(uint32_t identity = BoardElm, bool displayError = true) {
    const uint32_t type = FindBoard(identity)->boardType;
    port_.AddBoard(type, identity);
    ASSERT_TRUE(door_.Open(0, displayError, type, nullptr));
    port_.calls.clear();
  }
  [[nodiscard]] const FakeDriverPort::Call& Last() const { return port_.calls.back(); }
  [[nodiscard]] std::vector<uint32_t> LastWords() const {
    std::vector<uint32_t> words;
    for (size_t offset = 24; offset + 4 <= Last().in.size(); offset += 4) {
      words.push_back(Last().Word(offset));
    }
    return words;
  }

  FakeDriverPort port_;
  MessageRecorder messages_;
  CRQD5WinDriverInterface door_;
};

}  // namespace morvane::test
