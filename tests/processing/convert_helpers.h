#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "processing/convert.h"
#include "processing/pixel_format.h"

namespace morvane::test {

using Bytes = std::vector<uint8_t>;

inline Bytes FromHex(const std::string& hex) {
  Bytes bytes;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes.push_back(static_cast<uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

inline std::string ToHex(const Bytes& bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (const uint8_t byte : bytes) {
    hex += kDigits[byte >> 4];
    hex += kDigits[byte & 15];
  }
  return hex;
}

// Converts one line of `width` pixels into a zeroed one, as ConvertImage does with one row.
struct LineResult {
  NxErr result;
  Bytes bytes;
};

struct LineOptions {
  bool fullWhite = false;
  bool fullBlack = false;
  bool reference = false;
};

inline LineResult Convert(const char (&from)[5], const Bytes& src, int32_t width,
                          const char (&to)[5], int32_t matrix, LineOptions options = {}) {
  LineResult line{NxErrFailure, {}};
  line.bytes.resize(static_cast<size_t>(std::max(PixelLineBytes(FourCC(to), width), 1)));
  NxColorContext color;
  color.matrix = matrix;
  color.fullWhite = options.fullWhite;
  color.fullBlack = options.fullBlack;
  ConvertContext context;
  context.reference = options.reference;
  line.result =
      ConvertImage(&context, src.data(), width, 1, FourCC(from), static_cast<int32_t>(src.size()),
                   line.bytes.data(), width, 1, FourCC(to), static_cast<int32_t>(line.bytes.size()),
                   false, &color, false, nullptr);
  return line;
}

inline std::string ConvertHex(const char (&from)[5], const std::string& src, int32_t width,
                              const char (&to)[5], int32_t matrix, LineOptions options = {}) {
  const LineResult line = Convert(from, FromHex(src), width, to, matrix, options);
  EXPECT_EQ(line.result, 0);
  return ToHex(line.bytes);
}

}  // namespace morvane::test
