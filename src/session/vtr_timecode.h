#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

// Time as a tape machine is told it and tells it. One count of a tape's timecode is a frame at 24,
// 25 or 30 a second; 50 and 60 pictures a second share one in pairs.
// Threads: all functions are pure, any thread.
namespace morvane {

// How a tape counts.
struct RQD5TimeBase {
  const char* name;
  uint32_t framesPerSecond;  // whole frames; what timecode counts
  uint32_t scale;            // pictures a second are scale / duration
  uint32_t duration;
  bool dropFrame;
};
inline constexpr uint32_t kDefaultTimeBase = 3;  // "Base 30 NDF"
// Seven rows; what a selection's index counts.
[[nodiscard]] std::span<const RQD5TimeBase> VtrTimeBases();
// The only row of a board without a port: "None".
[[nodiscard]] const RQD5TimeBase& NoVtrTimeBase();

// Frames, seconds, minutes and hours, two decimal digits each, in the order of the line.
using VtrTime = std::array<uint8_t, 4>;

// Reads "HH:MM:SS:FF" with any separators and packs the digits as they stand.
// Returns: nothing when the text has another form.
[[nodiscard]] std::optional<VtrTime> PackVtrTime(const std::string& text);
// Text of the four bytes of a reply; flag bits are masked off, a nibble above nine reads as 0.
[[nodiscard]] std::string VtrTimeText(const VtrTime& time, bool dropFrame);
// "00:00:00:00", or "00;00;00;00" for drop frame.
[[nodiscard]] std::string NoVtrTimeText(bool dropFrame);

// The text of the next and of the previous frame, past midnight too.
// Returns: the text as it is when it has another form.
[[nodiscard]] std::string NextVtrTime(const std::string& text, const RQD5TimeBase& base);
[[nodiscard]] std::string PreviousVtrTime(const std::string& text, const RQD5TimeBase& base);

}  // namespace morvane
