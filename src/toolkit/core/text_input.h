#pragma once

#include <string>
#include <string_view>

#include "toolkit/core/binding.h"

// Texts of numbers, and what may stand in a text control.
namespace morvane::toolkit {

// Whether `timeScale` / `timeRate` is a rate that timecode has.
[[nodiscard]] bool IsTimecodeRate(int32_t timeScale, int32_t timeRate);
// The value as the control shows it.
[[nodiscard]] std::string NumberText(const WindowState& state);
// What the application put: timecode as it stands, or digits. False for digits that are no number.
[[nodiscard]] bool ReadNumberText(const WindowState& state, const char* text, int32_t* value);
// What a user typed: the digits of a timecode from the right; the digits of a number, beyond 32
// bits the nearest. False where there is no digit.
[[nodiscard]] bool ReadTypedNumber(const WindowState& state, std::string_view text, int32_t* value);
// At most `characters` characters (0: all) of UTF-8 text.
[[nodiscard]] std::string CutCharacters(std::string_view text, int32_t characters);
// Copies whole characters and a terminator into `size` bytes. False for a null buffer or size < 1.
bool CopyText(const std::string& text, char* out, int size);

}  // namespace morvane::toolkit
