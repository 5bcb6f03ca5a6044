#include "session/vtr_timecode.h"

#include <cstdio>

namespace morvane {
namespace {

// clang-format off
constexpr RQD5TimeBase kTimeBases[] = {
  // name                    fps  scale  duration  drop frame
  { "Base 24",               24,  24000, 1000,     false },
  { "Base 25",               25,  25000, 1000,     false },
  { "Base 25 (50 fps)",      25,  50000, 1000,     false },
  { "Base 30 NDF",           30,  30000, 1001,     false },
  { "Base 30 DF",            30,  30000, 1001,     true  },
  { "Base 30 NDF (60 fps)",  30,  60000, 1001,     false },
  { "Base 30 DF (60 fps)",   30,  60000, 1001,     true  },
};
// clang-format on
static_assert(std::size(kTimeBases) == 7);

constexpr RQD5TimeBase kNoTimeBase = {"None", 24, 24000, 1000, false};

// Nibbles as characters; what is no digit reads as 0.
constexpr char kDigits[] = "01234567890000000000";

constexpr size_t kTextLength = 11;
constexpr size_t kFields = 4;
// Flags share the bytes of frames, seconds, minutes and hours.
constexpr uint8_t kMasks[kFields] = {0x3F, 0x7F, 0x7F, 0x3F};

// Numbers of a text in the order of the line: frames, seconds, minutes, hours.
struct Numbers {
  int frames, seconds, minutes, hours;
};

int Pair(const std::string& text, size_t at) {
  return (text[at] - '0') * 10 + (text[at + 1] - '0');
}

bool HasTimeForm(const std::string& text) {
  if (text.size() != kTextLength) return false;
  for (size_t i = 0; i < kTextLength; ++i) {
    if (i % 3 != 2 && (text[i] < '0' || text[i] > '9')) return false;
  }
  return true;
}

Numbers Split(const std::string& text) {
  return {Pair(text, 9), Pair(text, 6), Pair(text, 3), Pair(text, 0)};
}

std::string Join(const Numbers& time, bool dropFrame) {
  const char separator = dropFrame ? ';' : ':';
  char text[48];
  std::snprintf(text, sizeof text, "%02d%c%02d%c%02d%c%02d", time.hours, separator, time.minutes,
                separator, time.seconds, separator, time.frames);
  return text;
}

// Frames 0 and 1 of a minute that is not a multiple of ten have no number.
bool IsDropped(const Numbers& time) {
  return time.minutes % 10 != 0 && time.seconds == 0 && time.frames < 2;
}

}  // namespace

std::span<const RQD5TimeBase> VtrTimeBases() {
  return kTimeBases;
}

const RQD5TimeBase& NoVtrTimeBase() {
  return kNoTimeBase;
}

std::optional<VtrTime> PackVtrTime(const std::string& text) {
  if (!HasTimeForm(text)) return std::nullopt;
  VtrTime time;
  for (size_t field = 0; field < kFields; ++field) {
    const int value = Pair(text, (kFields - 1 - field) * 3);
    time[field] = static_cast<uint8_t>((value / 10) * 16 + value % 10);
  }
  return time;
}

std::string VtrTimeText(const VtrTime& time, bool dropFrame) {
  std::string text;
  for (size_t field = kFields; field-- > 0;) {
    const uint8_t value = time[field] & kMasks[field];
    text += kDigits[value >> 4];
    text += kDigits[value & 15];
    if (field > 0) text += dropFrame ? ';' : ':';
  }
  return text;
}

std::string NoVtrTimeText(bool dropFrame) {
  return VtrTimeText({}, dropFrame);
}

std::string NextVtrTime(const std::string& text, const RQD5TimeBase& base) {
  if (!HasTimeForm(text)) return text;
  Numbers time = Split(text);
  if (++time.frames >= static_cast<int>(base.framesPerSecond)) {
    time.frames = 0;
    ++time.seconds;
  }
  if (time.seconds >= 60) {
    time.seconds = 0;
    ++time.minutes;
  }
  if (time.minutes >= 60) {
    time.minutes = 0;
    ++time.hours;
  }
  if (time.hours >= 24) time.hours = 0;
  if (base.dropFrame && IsDropped(time)) time.frames = 2;
  return Join(time, base.dropFrame);
}

std::string PreviousVtrTime(const std::string& text, const RQD5TimeBase& base) {
  if (!HasTimeForm(text)) return text;
  Numbers time = Split(text);
  --time.frames;
  if (time.frames < 0 || (base.dropFrame && IsDropped(time))) {
    time.frames = static_cast<int>(base.framesPerSecond) - 1;
    --time.seconds;
  }
  if (time.seconds < 0) {
    time.seconds = 59;
    --time.minutes;
  }
  if (time.minutes < 0) {
    time.minutes = 59;
    --time.hours;
  }
  if (time.hours < 0) time.hours = 23;
  return Join(time, base.dropFrame);
}

}  // namespace morvane
