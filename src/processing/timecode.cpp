#include "processing/timecode.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace morvane {
namespace {

constexpr char kNeutralText[] = "00:00:00:00";

struct RateRow {
  int32_t scale;
  bool rate1001;    // 1001 is legal beside 1000
  int32_t outBase;  // frames a second of the text
  bool halved;      // the text counts pairs
  bool drop;        // drop frame may be in force
  int32_t inBase;   // frames a second on the way in; 0 refuses the pair
};

// clang-format off
constexpr RateRow kRates[] = {
  // scale  1001   out  halved drop   in
  { 24000,  true,  24,  false, false, 24 },
  // Deliberate: 15000 counts in 24 on the way out and is refused on the way in.
  { 15000,  true,  24,  false, false, 0  },
  { 25000,  false, 25,  false, false, 25 },
  { 30000,  true,  30,  false, true,  30 },
  { 50000,  false, 25,  true,  false, 50 },
  { 60000,  true,  30,  true,  true,  60 },
};
// clang-format on

const RateRow* FindRate(int32_t scale, int32_t rate) {
  for (const RateRow& row : kRates) {
    if (row.scale != scale) continue;
    return rate == 1000 || (rate == 1001 && row.rate1001) ? &row : nullptr;
  }
  return nullptr;
}

// Numbers the frames of a count in drop frame: two numbers are left out at the head of each minute
// but every tenth. The bound grows with the numbers that were left out.
int64_t SkipDroppedNumbers(int64_t count) {
  int64_t number = count;
  for (int64_t minute = 1800; minute <= number; minute += 1800) {
    if (minute % 18000 != 0) number += 2;
  }
  return number;
}

// The fields of a count, clamped and never wrapped beyond what the split itself does.
TimecodeFields SplitFrames(int64_t count, const RateRow& row, bool drop) {
  const int64_t base = row.outBase;
  if (row.halved) {
    // The product is in single precision, so it is exact to 24 bits only.
    const float half = static_cast<float>(count) * 0.5f;
    count = static_cast<int64_t>(static_cast<double>(half) + 0.5);
  }
  int64_t hours, minutes, seconds, frames;
  if (drop) {
    int64_t rest = SkipDroppedNumbers(count);
    hours = rest / (base * 3600);
    rest %= base * 3600;
    minutes = rest / (base * 60);
    rest %= base * 60;
    seconds = rest / base;
    frames = rest % base;
  } else {
    // Deliberate: hours wrap at 60 before they are clamped to 23, so 60 hours read 00.
    hours = count / (base * 3600) % 60;
    minutes = count / (base * 60) % 60;
    seconds = count / base % 60;
    frames = count % base;
  }
  // Deliberate: clamps frames to the base, not to base - 1.
  return {static_cast<int>(std::min<int64_t>(hours, 23)),
          static_cast<int>(std::min<int64_t>(minutes, 59)),
          static_cast<int>(std::min<int64_t>(seconds, 59)),
          static_cast<int>(std::min(frames, base)), drop};
}

// Counts in 64 bits; the result keeps the low 32.
uint32_t JoinFields(const TimecodeFields& fields, const RateRow& row, bool drop) {
  const int64_t base = row.inBase;
  const int64_t minutes = int64_t{fields.hours} * 60 + fields.minutes;
  int64_t total;
  if (drop) {
    // Deliberate: two numbers a minute at 60 as well, where the text counts pairs and four frames
    // are left out. Who needs true frames converts at 30000 and doubles.
    total = (base * 60 - 2) * minutes + fields.seconds * base + 2 * (minutes / 10);
  } else {
    total = (minutes * 60 + fields.seconds) * base;
  }
  total += int64_t{fields.frames} * (row.inBase >= 50 ? 2 : 1);
  return static_cast<uint32_t>(total);
}

void WriteField(char* text, int value) {
  text[0] = static_cast<char>('0' + value / 10 % 10);
  text[1] = static_cast<char>('0' + value % 10);
}

void WriteText(const TimecodeFields& fields, bool negative, char* text) {
  if (negative) *text++ = '-';
  std::memcpy(text, kNeutralText, sizeof kNeutralText);
  WriteField(text, fields.hours);
  WriteField(text + 3, fields.minutes);
  WriteField(text + 6, fields.seconds);
  WriteField(text + 9, fields.frames);
  if (fields.dropFrame) text[2] = text[5] = text[8] = ';';
}

// The number in two characters of `text`, 0 where the text has ended.
int ReadField(const char* text, size_t length, size_t place) {
  if (place >= length) return 0;
  char digits[3] = {text[place], 0, 0};
  if (place + 1 < length) digits[1] = text[place + 1];
  return std::atoi(digits);
}

TimecodeFields ReadText(const char* text) {
  const size_t length = strnlen(text, 11);
  return {ReadField(text, length, 0), ReadField(text, length, 3), ReadField(text, length, 6),
          ReadField(text, length, 9), length > 2 && text[2] == ';'};
}

uint32_t DigitAt(const uint8_t* text, size_t length, size_t place) {
  if (place >= length || text[place] < '0' || text[place] > '9') return 0;
  return text[place] - uint32_t{'0'};
}

uint32_t BcdByte(int value) {
  return static_cast<uint32_t>(value / 10) << 4 | static_cast<uint32_t>(value % 10);
}

int FromBcd(uint32_t byte) {
  return static_cast<int>((byte >> 4 & 15) * 10 + (byte & 15));
}

int64_t Magnitude(int32_t frame) {
  return frame < 0 ? -int64_t{frame} : int64_t{frame};
}

}  // namespace

int32_t FrameToTimecodeText(int32_t frame, int32_t scale, int32_t rate, uint8_t dropFrame,
                            char* text) {
  const RateRow* row = FindRate(scale, rate);
  if (row == nullptr) {
    std::memcpy(text, kNeutralText, sizeof kNeutralText);
    return 1;
  }
  WriteText(SplitFrames(Magnitude(frame), *row, dropFrame != 0 && row->drop), frame < 0, text);
  return 0;
}

int32_t TimecodeTextToFrame(const char* text, int32_t scale, int32_t rate, uint8_t dropFrame,
                            uint32_t* frame) {
  const RateRow* row = FindRate(scale, rate);
  if (row == nullptr || row->inBase == 0) {
    *frame = 0;
    return 1;
  }
  const bool negative = text[0] == '-';
  const uint32_t count =
      JoinFields(ReadText(negative ? text + 1 : text), *row, dropFrame != 0 && row->drop);
  *frame = negative ? 0u - count : count;
  return 0;
}

int32_t FrameToTimecodeBcd(int32_t frame, int32_t scale, int32_t rate, int8_t dropFrame,
                           uint32_t* word) {
  const RateRow* row = FindRate(scale, rate);
  if (row == nullptr) {
    *word = 0;
    return 1;
  }
  const TimecodeFields fields = SplitFrames(Magnitude(frame), *row, dropFrame != 0 && row->drop);
  *word = BcdByte(fields.hours) | BcdByte(fields.minutes) << 8 | BcdByte(fields.seconds) << 16 |
          BcdByte(fields.frames) << 24;
  return 0;
}

int32_t TimecodeBcdToFrame(int32_t word, int32_t scale, int32_t rate, uint8_t dropFrame,
                           uint32_t* frame) {
  const RateRow* row = FindRate(scale, rate);
  if (row == nullptr || row->inBase == 0) {
    *frame = 0;
    return 1;
  }
  const uint32_t bits = static_cast<uint32_t>(word);
  const TimecodeFields fields{FromBcd(bits), FromBcd(bits >> 8), FromBcd(bits >> 16),
                              FromBcd(bits >> 24 & 0x3F), false};
  *frame = JoinFields(fields, *row, dropFrame != 0 && row->drop);
  return 0;
}

int32_t TimecodeTextToBcd(const uint8_t* text, uint32_t* word, int32_t /*scale*/, int32_t /*rate*/,
                          uint8_t /*dropFrame*/, int32_t /*unused*/) {
  if (*text == '-') ++text;
  size_t length = 0;
  while (length < 11 && text[length] != 0) ++length;
  uint32_t bits = 0;
  for (size_t field = 0; field < 4; ++field) {
    const uint32_t pair =
        DigitAt(text, length, field * 3) << 4 | DigitAt(text, length, field * 3 + 1);
    bits |= pair << (8 * field);
  }
  *word = bits;
  return 0;
}

int32_t NormalizeTimecodeText(const char* input, char* output, int32_t rateClass,
                              uint8_t dropFrame) {
  const bool drop = rateClass == 2 && dropFrame == 1;
  const bool negative = *input == '-';
  char typed[8];
  size_t count = 0;
  for (const char* p = input; *p != 0 && count < sizeof typed; ++p) {
    if (*p >= '0' && *p <= '9') typed[count++] = *p;
  }
  char digits[8];  // HHMMSSFF
  std::memset(digits, '0', sizeof digits);
  std::memcpy(digits + sizeof digits - count, typed, count);

  if (digits[0] > '1') {
    digits[0] = '2';
    digits[1] = std::min(digits[1], '3');
  }
  digits[2] = std::min(digits[2], '5');
  digits[4] = std::min(digits[4], '5');
  if (digits[6] >= '2') {
    digits[6] = '2';
    const char highest = rateClass == 0 ? '3' : rateClass == 1 ? '4' : '9';
    digits[7] = std::min(digits[7], highest);
  }
  if (drop && digits[6] == '0' && digits[7] <= '1' && digits[4] == '0' && digits[5] == '0' &&
      digits[3] != '0') {
    digits[7] = '2';
  }

  if (negative) *output++ = '-';
  const char separator = drop ? ';' : ':';
  for (size_t i = 0; i < sizeof digits; ++i) {
    if (i != 0 && i % 2 == 0) *output++ = separator;
    *output++ = digits[i];
  }
  *output = 0;
  return 0;
}

int32_t CompareTimecodeText(const char* a, const char* b, uint32_t* result) {
  *result = 0;
  for (size_t i = 0; i < 11 && (a[i] != 0 || b[i] != 0); ++i) {
    if (i == 2 || i == 5 || i == 8 || a[i] == b[i]) continue;
    *result = a[i] > b[i] ? 1 : 2;
    break;
  }
  return 0;
}

Rp188Timecode PackRp188(const TimecodeFields& fields, int fieldId) {
  const auto units = [](int value) { return static_cast<uint32_t>(value) % 10; };
  const auto tens = [](int value, uint32_t mask) {
    return static_cast<uint32_t>(value) / 10 & mask;
  };
  Rp188Timecode timecode;
  timecode.flags = kRp188Valid;
  timecode.low = units(fields.frames) | tens(fields.frames, 3) << 8 | units(fields.seconds) << 16 |
                 tens(fields.seconds, 7) << 24;
  if (fields.dropFrame) timecode.low |= kRp188DropFrame;
  if (fieldId & 1) timecode.low |= 1u << 5;
  if (fieldId & 2) timecode.low |= 1u << 4;
  timecode.high = units(fields.minutes) | tens(fields.minutes, 7) << 8 | units(fields.hours) << 16 |
                  tens(fields.hours, 3) << 24;
  return timecode;
}

Rp188Timecode PackRp188(const char* text, int fieldId) {
  return PackRp188(ReadText(*text == '-' ? text + 1 : text), fieldId);
}

bool UnpackRp188(const Rp188Timecode& timecode, TimecodeFields* fields) {
  if ((timecode.flags & kRp188Valid) == 0) return false;
  bool legal = true;
  const auto number = [&legal](uint32_t word, int unitsShift, uint32_t tensMask) {
    const uint32_t units = word >> unitsShift & 15;
    const uint32_t tens = word >> (unitsShift + 8) & tensMask;
    if (units > 9) legal = false;
    return static_cast<int>(tens * 10 + units);
  };
  const TimecodeFields read{number(timecode.high, 16, 3), number(timecode.high, 0, 7),
                            number(timecode.low, 16, 7), number(timecode.low, 0, 3),
                            (timecode.low & kRp188DropFrame) != 0};
  if (legal) *fields = read;
  return legal;
}

bool UnpackRp188(const Rp188Timecode& timecode, char* text) {
  TimecodeFields fields;
  if (!UnpackRp188(timecode, &fields)) return false;
  WriteText(fields, false, text);
  return true;
}

int Rp188FieldId(const Rp188Timecode& timecode) {
  return static_cast<int>((timecode.low >> 5 & 1) | (timecode.low >> 4 & 1) << 1);
}

}  // namespace morvane
