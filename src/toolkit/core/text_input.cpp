#include "toolkit/core/text_input.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "processing/timecode.h"
#include "toolkit/core/user_events.h"

namespace morvane::toolkit {
namespace {

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// Bytes of the character that begins with `lead`; what is no UTF-8 counts byte by byte.
size_t CharacterBytes(char lead) {
  const auto byte = static_cast<uint8_t>(lead);
  if (byte >= 0xF0) return 4;
  if (byte >= 0xE0) return 3;
  if (byte >= 0xC0) return 2;
  return 1;
}

// What NormalizeTimecodeText calls the rate.
int32_t RateClass(int32_t timeScale) {
  if (timeScale == 24000) return 0;
  return timeScale == 25000 || timeScale == 50000 ? 1 : 2;
}

// The inverse of NumberText: what is typed is what is shown.
bool TimecodeValue(const WindowState& state, const char* text, int32_t* value) {
  // At 60 the text counts pairs. TimecodeTextToFrame leaves out two numbers a minute there, where
  // the way out leaves out two pairs, so in drop frame the pairs are counted first, at 30.
  const bool pairs = state.timeScale == 60000 && state.dropFrame != 0;
  uint32_t frame = 0;
  if (TimecodeTextToFrame(text, pairs ? 30000 : state.timeScale, state.timeRate,
                          static_cast<uint8_t>(state.dropFrame != 0), &frame) != 0) {
    return false;
  }
  *value = static_cast<int32_t>(pairs ? 2 * frame : frame);
  return true;
}

}  // namespace

bool IsTimecodeRate(int32_t timeScale, int32_t timeRate) {
  uint32_t frame = 0;
  return TimecodeTextToFrame("00:00:00:00", timeScale, timeRate, 0, &frame) == 0;
}

std::string NumberText(const WindowState& state) {
  if (state.numberType != 2) return std::to_string(state.value);
  char text[kTimecodeTextBytes] = {};
  FrameToTimecodeText(state.value, state.timeScale, state.timeRate,
                      static_cast<uint8_t>(state.dropFrame != 0), text);
  return text;
}

bool ReadNumberText(const WindowState& state, const char* text, int32_t* value) {
  if (state.numberType == 2) return TimecodeValue(state, text, value);
  const char* end = text + strlen(text);
  const auto [rest, error] = std::from_chars(text, end, *value);
  return error == std::errc() && rest == end;
}

bool ReadTypedNumber(const WindowState& state, std::string_view text, int32_t* value) {
  if (std::none_of(text.begin(), text.end(), IsDigit)) return false;
  if (state.numberType == 2) {
    char normal[kTimecodeTextBytes] = {};
    NormalizeTimecodeText(std::string(text).c_str(), normal, RateClass(state.timeScale),
                          static_cast<uint8_t>(state.dropFrame != 0));
    return TimecodeValue(state, normal, value);
  }
  const size_t first = std::find_if(text.begin(), text.end(), IsDigit) - text.begin();
  const bool negative = first > 0 && text[first - 1] == '-';
  int64_t sum = 0;
  for (size_t at = first; at < text.size() && IsDigit(text[at]); ++at) {
    sum = std::min<int64_t>(sum * 10 + (text[at] - '0'), int64_t{1} << 40);
  }
  *value = static_cast<int32_t>(std::clamp<int64_t>(negative ? -sum : sum, INT32_MIN, INT32_MAX));
  return true;
}

std::string CutCharacters(std::string_view text, int32_t characters) {
  if (characters <= 0) return std::string(text);
  size_t end = 0;
  for (int32_t count = 0; count < characters && end < text.size(); ++count) {
    end += CharacterBytes(text[end]);
  }
  return std::string(text.substr(0, end));
}

bool CopyText(const std::string& text, char* out, int size) {
  if (out == nullptr || size < 1) return false;
  const auto room = static_cast<size_t>(size - 1);
  size_t end = std::min(text.size(), room);
  // Back to the beginning of a character that would be cut in two.
  while (end < text.size() && end > 0 && (static_cast<uint8_t>(text[end]) & 0xC0) == 0x80) --end;
  memcpy(out, text.data(), end);
  out[end] = '\0';
  return true;
}

std::string FilterTyped(const WindowState& state, std::string_view text) {
  std::string kept;
  for (size_t at = 0; at < text.size();) {
    const size_t bytes = std::min(CharacterBytes(text[at]), text.size() - at);
    const char lead = text[at];
    const bool digit = IsDigit(lead);
    // Characters beyond ASCII count as letters: names are written in every language.
    const bool letter = bytes > 1 || (lead >= 'a' && lead <= 'z') || (lead >= 'A' && lead <= 'Z');
    const bool control = bytes == 1 && (static_cast<uint8_t>(lead) < 0x20 || lead == 0x7F);
    const bool allowed = digit ? state.digits : letter ? state.letters : state.others;
    if (allowed && !control) kept.append(text.substr(at, bytes));
    at += bytes;
  }
  return CutCharacters(kept, state.maxCharacters);
}

}  // namespace morvane::toolkit
