#pragma once

#include <cstdint>

// Timecode arithmetic: a signed frame count to text or to a packed word and back, what a user typed
// to a legal text, and the two words a card carries beside a picture.
//
// A rate is the pair scale / rate (30000/1001, 25000/1000). Legal pairs are 24000, 15000, 30000
// and 60000 with 1000 or 1001, and 25000 and 50000 with 1000 alone; 15000 is legal on the way out
// only, where it counts in 24. Drop frame is in force when the caller asks for it and the scale is
// 30000 or 60000, whatever `rate` is.
//
// Text is HH:MM:SS:FF with ";" three times when drop frame is in force and "-" before a negative
// count. The packed word holds hours, minutes, seconds and frames from the low byte up, each byte
// two decimal digits with the tens in the high nibble.
//
// At scale 50000 and 60000 the text counts pairs of frames: the count is halved with rounding up
// on the way out and doubled on the way in, so a count does not always come back as it went.
//
// Threads: all functions are pure, any thread. Text in is never read past its terminator.
namespace morvane {

inline constexpr int kTimecodeTextBytes = 16;  // what a buffer for timecode text must hold at least

// Writes the text of `frame`, terminator included, into `text` (kTimecodeTextBytes).
// Returns: 0, or 1 with "00:00:00:00" for a pair that is not legal.
int32_t FrameToTimecodeText(int32_t frame, int32_t scale, int32_t rate, uint8_t dropFrame,
                            char* text);

// Reads two digits each at characters 0, 3, 6 and 9 behind an optional "-"; any separator will do,
// fields behind the end of the text are 0.
// Returns: 0, or 1 with `*frame` 0. A negative count arrives as its two's complement.
int32_t TimecodeTextToFrame(const char* text, int32_t scale, int32_t rate, uint8_t dropFrame,
                            uint32_t* frame);

// As FrameToTimecodeText, as a packed word. The sign is lost.
// Returns: 0, or 1 with `*word` 0.
int32_t FrameToTimecodeBcd(int32_t frame, int32_t scale, int32_t rate, int8_t dropFrame,
                           uint32_t* word);

// As TimecodeTextToFrame, from a packed word; the two top bits (of the frame tens) are ignored.
// Returns: 0, or 1 with `*frame` 0.
int32_t TimecodeBcdToFrame(int32_t word, int32_t scale, int32_t rate, uint8_t dropFrame,
                           uint32_t* frame);

// Packs the digits of a text as they stand, with no check against the rate; a sign is skipped and
// a character that is no digit counts as 0.
// Returns: 0.
int32_t TimecodeTextToBcd(const uint8_t* text, uint32_t* word, int32_t scale, int32_t rate,
                          uint8_t dropFrame, int32_t unused);

// Makes a legal text (kTimecodeTextBytes) of what a user typed: the first eight digits, taken from
// the right, clamped digit by digit. `rateClass` is 0 for 24, 1 for 25, 2 for 30 frames a second;
// any other value is 30 without drop frame.
// Returns: 0.
int32_t NormalizeTimecodeText(const char* input, char* output, int32_t rateClass,
                              uint8_t dropFrame);

// Compares the digits of two well-formed texts without a sign (11 characters each), whatever the
// separators. `*result` is 0 when they are equal, 1 when `a` is the later, 2 when it is the
// earlier. Returns: 0.
int32_t CompareTimecodeText(const char* a, const char* b, uint32_t* result);

// The timecode words that travel beside a picture on a connector and in a transfer record.
//   low   frame units 0-3, field id 4-5, frame tens 8-9, drop frame 10, seconds 16-19 and 24-26
//   high  minutes units 0-3, tens 8-10, hours units 16-19, tens 24-25
//   flags bit 16: the other two words are valid
struct Rp188Timecode {
  uint32_t flags = 0;
  uint32_t low = 0;
  uint32_t high = 0;

  friend bool operator==(const Rp188Timecode&, const Rp188Timecode&) = default;
};

inline constexpr uint32_t kRp188Valid = 1u << 16;      // in flags
inline constexpr uint32_t kRp188DropFrame = 1u << 10;  // in low

// The same in plain numbers.
struct TimecodeFields {
  int hours = 0;
  int minutes = 0;
  int seconds = 0;
  int frames = 0;
  bool dropFrame = false;

  friend bool operator==(const TimecodeFields&, const TimecodeFields&) = default;
};

// Packs the fields, each cut to the bits it has; `fieldId` 0 to 3 (bit 0 of it goes to bit 5 of
// low, bit 1 to bit 4).
[[nodiscard]] Rp188Timecode PackRp188(const TimecodeFields& fields, int fieldId = 0);

// The same from a text; ";" at its first separator marks drop frame, a sign is skipped.
[[nodiscard]] Rp188Timecode PackRp188(const char* text, int fieldId = 0);

// Returns: false, and `*fields` as it was, when the words are not marked valid or a digit is above
// nine.
[[nodiscard]] bool UnpackRp188(const Rp188Timecode& timecode, TimecodeFields* fields);

// The same to a text (kTimecodeTextBytes), with ";" for drop frame and ":" otherwise.
[[nodiscard]] bool UnpackRp188(const Rp188Timecode& timecode, char* text);

// Returns: the field id, 0 to 3.
[[nodiscard]] int Rp188FieldId(const Rp188Timecode& timecode);

}  // namespace morvane
