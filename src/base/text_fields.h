#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/byte_order.h"

// Fixed text fields of packed records: every byte belongs to the record's layout.
namespace morvane {

// A 16-bit text of at most N - 1 characters, zero terminated, at any alignment.
template <size_t N>
struct WideField {
  uint8_t bytes[2 * N];

  [[nodiscard]] std::u16string Get() const {
    std::u16string text;
    for (size_t i = 0; i < N; ++i) {
      const uint16_t unit = LoadLe16(bytes + 2 * i);
      if (unit == 0) break;
      text.push_back(static_cast<char16_t>(unit));
    }
    return text;
  }
  // Cuts what does not fit; the rest of the field becomes zero.
  void Set(std::u16string_view text) {
    for (size_t i = 0; i < N; ++i) {
      StoreLe16(bytes + 2 * i, i < text.size() && i + 1 < N ? text[i] : 0);
    }
  }
};

// An 8-bit text of at most N - 1 bytes, zero terminated.
template <size_t N>
struct NarrowField {
  char bytes[N];

  [[nodiscard]] std::string Get() const {
    return std::string(std::string_view(bytes, N).substr(0, Length()));
  }
  void Set(std::string_view text) {
    for (size_t i = 0; i < N; ++i) bytes[i] = i < text.size() && i + 1 < N ? text[i] : '\0';
  }

 private:
  [[nodiscard]] size_t Length() const {
    size_t length = 0;
    while (length < N && bytes[length] != '\0') ++length;
    return length;
  }
};

}  // namespace morvane
