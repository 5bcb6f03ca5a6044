#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>

namespace morvane {
class CRQD5Card2;
}

namespace morvane::tools {

// Selections of the card session by the texts that the board lists; empty means not told.
struct SessionTexts {
  std::string videoFormat;
  std::string videoInput;
  std::string timecodeInput;
};

// Which video format a job takes when none was told.
enum class FormatSource {
  Input,    // the format that is detected on the input; the board's default without a signal
  Default,  // the board's default
};

// Adds --video-format, --video-input and --timecode-input.
void AddSessionOptions(CLI::App& command, SessionTexts* texts);

// Selects what was told in an open session. Returns: words for the user, none when all went well.
[[nodiscard]] std::optional<std::string> ApplySessionTexts(CRQD5Card2& session,
                                                           const SessionTexts& texts,
                                                           FormatSource source);

// Selects the first video format item of that raster and rate (frames a second: scale/rate; 0 or
// less: any rate), cadence items last. Returns: false when the board offers none.
[[nodiscard]] bool SelectFormatOfClip(CRQD5Card2& session, int32_t width, int32_t height,
                                      int32_t timeScale, int32_t timeRate);

}  // namespace morvane::tools
