#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace morvane::tools {

// Files of bare pixels. Each returns words for the user, empty when all went well.

// Reads `path`, which must hold exactly `bytes`.
[[nodiscard]] std::string ReadRawFile(const std::string& path, uint8_t* data, size_t bytes);
// Writes a new file; one that is there is left alone, and a file that could not be completed is
// removed.
[[nodiscard]] std::string WriteRawFile(const std::string& path, const uint8_t* data, size_t bytes);
// Writes 8-bit RGB as a new PNG file, under the same rules. `pitch`: bytes from line to line.
[[nodiscard]] std::string WritePngFile(const std::string& path, const uint8_t* data, uint32_t width,
                                       uint32_t height, uint32_t pitch);

}  // namespace morvane::tools
